#!/usr/bin/env bash
# Installs the Debian packages listed in scripts/packages.txt that are not installed yet.
# Also makes the product's own locale, ru_RU.UTF-8, under which the tests run. Quick when everything is
# there; needs root (or sudo) only when something is missing.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

missing=()
while read -r package _; do
    [[ -z "$package" || "$package" == \#* ]] && continue
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done < "$here/packages.txt"

if ((${#missing[@]} > 0)); then
    echo "Installing: ${missing[*]}"
    sudo=()
    [[ $(id -u) -ne 0 ]] && sudo=(sudo)
    export DEBIAN_FRONTEND=noninteractive
    "${sudo[@]}" apt-get update -qq
    "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# The Russian locale the users run under; Debian ships only C until it is generated.
if ! locale -a 2>/dev/null | grep -qix 'ru_RU.utf8'; then
    echo "Generating the locale ru_RU.UTF-8"
    sudo=()
    [[ $(id -u) -ne 0 ]] && sudo=(sudo)
    "${sudo[@]}" sed -i 's/^# *\(ru_RU.UTF-8 UTF-8\)/\1/' /etc/locale.gen
    grep -qx 'ru_RU.UTF-8 UTF-8' /etc/locale.gen || echo 'ru_RU.UTF-8 UTF-8' | "${sudo[@]}" tee -a /etc/locale.gen >/dev/null
    "${sudo[@]}" locale-gen >/dev/null
fi
