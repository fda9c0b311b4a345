#!/usr/bin/env bash
# Fails when a C or C++ file in the repository is not formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files -co --exclude-standard -- '*.h' '*.hpp' '*.c' '*.cpp')
if [ "${#files[@]}" -eq 0 ]; then
  exit 0
fi
clang-format --dry-run -Werror "${files[@]}"
echo "clang-format: ${#files[@]} files clean"
