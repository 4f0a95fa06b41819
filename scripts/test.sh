#!/usr/bin/env bash
# Sets up, builds the release and the sanitizer builds, and runs every test under AddressSanitizer
# and UndefinedBehaviorSanitizer, in the product's own locale (the suite passes under C as well). The last
# lines are CTest's own summary.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash scripts/setup.sh
bash scripts/build.sh release
bash scripts/build.sh asan
exec env -u LC_ALL LANG=ru_RU.UTF-8 ctest --preset asan
