#!/usr/bin/env bash
# Sets up, builds, and shows the program's main job: it starts the tachograph simulator on a
# pseudo-terminal and lets Tachoria find the tachograph behind that port.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash scripts/setup.sh
bash scripts/build.sh release

workdir=$(mktemp -d)
link="$workdir/tachograph"
sim_pid=
cleanup() {
    [[ -n "$sim_pid" ]] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
    rm -rf "$workdir"
}
trap cleanup EXIT

build/bin/tachoria-sim --link "$link" > "$workdir/sim.out" &
sim_pid=$!
for _ in $(seq 100); do
    grep -q '^READY ' "$workdir/sim.out" 2>/dev/null && break
    sleep 0.1
done

echo "Simulated tachograph on $link"
echo "\$ build/bin/tachoria --probe-port $link"
status=0
build/bin/tachoria --probe-port "$link" "$@" || status=$?
echo "exit code $status; journal: build/bin/Tachoria.log"
exit "$status"
