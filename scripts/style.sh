#!/usr/bin/env bash
# Checks formatting (.clang-format, .editorconfig), shell scripts, and what clang-tidy finds in the programs
# (.clang-tidy). With --format the sources are formatted first. Arguments otherwise are the sources to give clang-tidy.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/packages.sh g++ clang-format clang-tidy cmake ninja-build libsqlite3-dev libcli11-dev nlohmann-json3-dev python3
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

[ $# -gt 0 ] || mapfile -t programs < <(git ls-files 'format/*.cpp' 'src/*.cpp' 'values/*.cpp' 'output/*.cpp' 'convert/*.cpp' 'rescue/*.cpp')
[ $# -eq 0 ] || programs=("$@")
echo "clang-tidy: ${#programs[@]} files"
cmake -S . -B build/tidy -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVEXLO_TESTS=OFF >/dev/null
printf '%s\n' "${programs[@]}" | xargs -P "$(nproc)" -n 6 clang-tidy -p build/tidy --quiet --warnings-as-errors='*' 2>/dev/null
