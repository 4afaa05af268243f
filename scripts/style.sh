#!/usr/bin/env bash
# Checks formatting (.clang-format, .editorconfig), shell scripts, and what clang-tidy finds in the programs
# (.clang-tidy). With --format the sources are formatted first. Arguments otherwise are the sources to give clang-tidy;
# without any it gets those that the last commits have changed.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/packages.sh g++ clang-format clang-tidy cmake ninja-build libsqlite3-dev zlib1g-dev libzstd-dev libcli11-dev nlohmann-json3-dev python3
mapfile -t sources < <(git ls-files '*.cpp' '*.h')
if [ "${1:-}" = --format ]; then
    clang-format -i "${sources[@]}"
    shift
fi
echo "clang-format: ${#sources[@]} files"
clang-format --dry-run --Werror "${sources[@]}"
echo "editorconfig"
git ls-files -z | xargs -0 scripts/editorconfig.py
bash -n scripts/*.sh packaging/completion/* tests/packaging/*.sh .ci/run

# Of the programs, as clang-tidy takes a few seconds a file, what the last commits have changed.
if [ $# -gt 0 ]; then
    programs=("$@")
else
    mapfile -t programs < <(git diff --name-only --diff-filter=d HEAD~8 -- 2>/dev/null |
        grep -E '^(format|src|values|output|convert|rescue)/.*\.cpp$' | head -6)
fi
echo "clang-tidy: ${#programs[@]} files"
[ ${#programs[@]} -gt 0 ] || exit 0
cmake -S . -B build/tidy -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVEXLO_TESTS=OFF >/dev/null
printf '%s\n' "${programs[@]}" | xargs -P "$(nproc)" -n 6 clang-tidy -p build/tidy --quiet --warnings-as-errors='*' 2>/dev/null
