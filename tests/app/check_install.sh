#!/usr/bin/env bash
# Installs the build into a scratch prefix as `cmake --install` would on a shop's machine, and checks
# what a desktop needs: both programs, the desktop entry pointing at them and its icon, and that the
# installed program starts its interface.
set -euo pipefail
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
fail() { echo "install check: $*" >&2; exit 1; }
for program in tachoria tachoria-sim; do
    [[ -x "$prefix/bin/$program" ]] || fail "bin/$program is missing"
done
entry="$prefix/share/applications/tachoria.desktop"
[[ -f "$entry" ]] || fail "the desktop entry is missing"
grep -qx 'Exec=tachoria' "$entry" || fail "the desktop entry does not start tachoria"
grep -qx 'Icon=tachoria' "$entry" || fail "the desktop entry names another icon"
grep -qx 'Type=Application' "$entry" || fail "the desktop entry is no application"
icon="$prefix/share/icons/hicolor/256x256/apps/tachoria.png"
[[ -f "$icon" ]] || fail "the icon is missing"
[[ $(head -c 8 "$icon" | od -An -tx1 | tr -d ' \n') == 89504e470d0a1a0a ]] || fail "the icon is no PNG"
# Width and height of a PNG stand in its header, at bytes 16 to 23.
[[ $(od -An -j16 -N8 -tx1 "$icon" | tr -d ' \n') == 0000010000000100 ]] || fail "the icon is not 256 x 256"
QT_QPA_PLATFORM=offscreen "$prefix/bin/tachoria" --qml-parse-test || fail "the installed program does not start"
echo "installed: bin/tachoria, bin/tachoria-sim, the desktop entry and its 256 x 256 icon"
