#!/usr/bin/env bash
# Configures (once) and builds one preset: release (build/) or asan (build-asan/).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
preset=${1:-release}
case "$preset" in
    release) dir=build ;;
    asan) dir=build-asan ;;
    *) echo "unknown preset: $preset" >&2; exit 2 ;;
esac
if [[ ! -f "$dir/build.ninja" ]]; then
    cmake --preset "$preset" >/dev/null
fi
cmake --build --preset "$preset"
