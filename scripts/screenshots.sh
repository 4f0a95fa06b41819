#!/usr/bin/env bash
# Writes PNG pictures of every page and dialog in both themes, drawn by a real X server (Xvfb), into
# build/screenshots/light and build/screenshots/dark, to be looked at before a page is called done.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash scripts/setup.sh
bash scripts/build.sh release
runtime=$(mktemp -d)
trap 'rm -rf "$runtime"' EXIT
export XDG_RUNTIME_DIR="$runtime"
xvfb-run -a -s "-screen 0 1280x800x24" \
    env QT_QPA_PLATFORM=xcb TACHORIA_SCREENSHOTS="$PWD/build/screenshots" build/bin/test_window_screenshots
echo "Screenshots: $PWD/build/screenshots/light and $PWD/build/screenshots/dark"
