#!/usr/bin/env bash
# Lists every tracked C++ file that clang-format would change, and fails if there is one.
set -euo pipefail
clang_format=$1
mapfile -t files < <(git ls-files '*.cpp' '*.h')
bad=()
for file in "${files[@]}"; do
    if ! "$clang_format" --dry-run -Werror "$file" >/dev/null 2>&1; then
        bad+=("$file")
    fi
done
if ((${#bad[@]} > 0)); then
    printf 'not formatted with the project'"'"'s .clang-format:\n'
    printf '  %s\n' "${bad[@]}"
    exit 1
fi
echo "${#files[@]} files formatted"
