#!/usr/bin/env bash
# Sets up, builds, and shows the program's main job: the window of a service shop's workbench finding a
# tachograph. A demonstration needs no hardware: the program starts its bundled tachograph simulator on
# a pseudo-terminal, points its ports at it and finds it by scanning, as it finds a real one.
# With a display the window opens. Without one the demonstration runs under Xvfb, writes a picture of
# the main menu with the found tachograph, and the console probe talks to a simulator as well.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash scripts/setup.sh
bash scripts/build.sh release

if [[ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]]; then
    exec build/bin/tachoria --demo "$@"
fi

workdir=$(mktemp -d)
chmod 700 "$workdir"
link="$workdir/tachograph"
sim_pid=
cleanup() {
    [[ -n "$sim_pid" ]] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
    rm -rf "$workdir"
}
trap cleanup EXIT
export XDG_RUNTIME_DIR="$workdir"

shot="$PWD/build/demo-main-menu.png"
echo "\$ build/bin/tachoria --demo --demo-screenshot $shot   (no display: under Xvfb)"
xvfb-run -a -s "-screen 0 1280x800x24" build/bin/tachoria --demo --demo-screenshot "$shot"
echo "The main menu with the found tachograph: $shot"

build/bin/tachoria-sim --link "$link" > "$workdir/sim.out" &
sim_pid=$!
for _ in $(seq 100); do
    grep -q '^READY ' "$workdir/sim.out" 2>/dev/null && break
    sleep 0.1
done
echo "\$ build/bin/tachoria --probe-port $link"
status=0
build/bin/tachoria --probe-port "$link" || status=$?
echo "exit code $status; journal: build/bin/Tachoria.log"
exit "$status"
