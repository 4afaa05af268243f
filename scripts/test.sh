#!/usr/bin/env bash
# Builds and runs all tests: optimised, and with the address and undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/packages.sh g++ cmake ninja-build libgtest-dev libsqlite3-dev sqlite3 python3 libcli11-dev nlohmann-json3-dev
for preset in release debug; do
    cmake --preset "$preset"
    cmake --build --preset "$preset"
    ctest --preset "$preset" --parallel "$(nproc)" --progress
done
