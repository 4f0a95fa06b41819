#!/usr/bin/env bash
# Builds the Debian package as a release would (cpack -G DEB), reads its control data and contents, and
# unpacks it into a scratch root: the unpacked program must find the simulated tachograph on a port.
# The update helper it ships must wait for the program to leave and start it again when the install fails.
set -euo pipefail
build=$1
work=$(mktemp -d)
sim_pid=
cleanup() {
    [[ -n "$sim_pid" ]] && kill "$sim_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "package check: $*" >&2; exit 1; }

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
(cd "$work" && cpack -G DEB -B "$work/out" --config "$build/CPackConfig.cmake" >/dev/null)
package="$work/out/tachoria_${version}_amd64.deb"
[[ -f "$package" ]] || fail "no $package"

info=$(dpkg-deb --info "$package")
grep -q '^ Package: tachoria$' <<<"$info" || fail "wrong package name"
grep -q "^ Version: ${version}\$" <<<"$info" || fail "wrong version"
grep -q '^ Architecture: amd64$' <<<"$info" || fail "wrong architecture"
depends=$(sed -n 's/^ Depends: //p' <<<"$info")
for dependency in libqt6core6 libqt6quick6 libqt6serialport6 libpcsclite1 qml6-module-qtquick-controls libqt6sql6-sqlite; do
    grep -q "$dependency" <<<"$depends" || fail "no dependency on $dependency"
done
contents=$(dpkg-deb --contents "$package")
for file in usr/bin/tachoria usr/bin/tachoria-sim usr/bin/tachoria-install-update \
            usr/share/applications/tachoria.desktop usr/share/icons/hicolor/256x256/apps/tachoria.png; do
    grep -q " \./$file\$" <<<"$contents" || fail "the package lacks $file"
done

root="$work/root"
dpkg -x "$package" "$root"
"$root/usr/bin/tachoria-sim" --link "$work/tacho" > "$work/sim.out" &
sim_pid=$!
for _ in $(seq 100); do grep -q '^READY ' "$work/sim.out" 2>/dev/null && break; sleep 0.1; done
line=$(LOCALAPPDATA="$work/profile" "$root/usr/bin/tachoria" --probe-port "$work/tacho")
[[ "$line" == "matched=true port=$work/tacho baud=115200 "* ]] || fail "the unpacked program did not find the tachograph: $line"

# The helper: it waits for the program to leave; a package that does not install starts it again as it was.
sleep 1 &
waited=$!
printf '#!/bin/sh\necho "arguments:$*" > %s\n' "$work/restarted" > "$work/program"
chmod +x "$work/program"
echo "not a package" > "$work/broken.deb"
"$root/usr/bin/tachoria-install-update" --package "$work/broken.deb" --wait-pid "$waited" \
    --restart "$work/program" 2>/dev/null || true
kill -0 "$waited" 2>/dev/null && fail "the helper did not wait for the program"
[[ $(cat "$work/restarted" 2>/dev/null) == "arguments:" ]] || fail "the helper did not start the program again without --update-completed"
echo "package tachoria_${version}_amd64.deb: control data, contents, a working program, the update helper"
