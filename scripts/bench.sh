#!/usr/bin/env bash
# Builds the benchmarks and runs them beside their limits; arguments go to bench/run.py (--help lists them).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/packages.sh g++ cmake ninja-build libgtest-dev libbenchmark-dev libsqlite3-dev zlib1g-dev libzstd-dev libcli11-dev nlohmann-json3-dev sqlite3 python3 time
cmake --preset release -B build/bench -DVEXLO_BENCH=ON >/dev/null
cmake --build build/bench --target vexlo vexlo-convert vexlo-rescue vexlo-bench-data vexlo-bench-loops vexlo_interposer
bench/run.py --build build/bench --work build/bench/data "$@"
bench/rescue.py --build build/bench --work build/bench/data
