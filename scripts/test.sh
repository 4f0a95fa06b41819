#!/usr/bin/env bash
# Sets up, builds the release and the sanitizer builds, and runs every test under AddressSanitizer
# and UndefinedBehaviorSanitizer. The last lines are CTest's own summary.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash scripts/setup.sh
bash scripts/build.sh release
bash scripts/build.sh asan
exec ctest --preset asan
