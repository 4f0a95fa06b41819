#!/usr/bin/env bash
# Installs the Debian packages listed in scripts/packages.txt that are not installed yet.
# Quick when everything is there; needs root (or sudo) only when something is missing.
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
