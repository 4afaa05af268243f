#!/usr/bin/env bash
# Builds the program instrumented, runs all tests and prints which share of its lines and branches they reach.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/packages.sh g++ cmake ninja-build libgtest-dev libsqlite3-dev zlib1g-dev libzstd-dev libcli11-dev nlohmann-json3-dev python3 gcovr
cmake --preset coverage >/dev/null
cmake --build --preset coverage
cmake --build --preset coverage --target coverage
cat build/coverage/coverage.txt
