#!/usr/bin/env bash
# Builds and runs all tests: optimised, and with the address and undefined-behaviour sanitizers. Arguments go to CMake.
set -euo pipefail
cd "$(dirname "$0")/.."

cat <<END
Builds everything twice, optimised and with the sanitizers, in build/release and build/debug, and runs all tests in
both: about $((24 / $(nproc) + 1)) minutes on the $(nproc) processors here the first time, 3 GB of disk.
Missing Debian packages are installed: compiler, CMake, GoogleTest, SQLite, PostgreSQL, CLI11, Python.
END
scripts/packages.sh g++ cmake ninja-build libgtest-dev libsqlite3-dev sqlite3 zlib1g-dev libzstd-dev zstd postgresql python3 libcli11-dev nlohmann-json3-dev
mkdir -p build

# Sources are compiled in batches, which halves the time of a build from nothing.
build_preset() {
    local preset=$1
    shift
    echo
    echo "==== $preset: build ===="
    cmake --preset "$preset" -DCMAKE_UNITY_BUILD=ON "$@" >"build/$preset.log" 2>&1 || { cat "build/$preset.log" && exit 1; }
    cmake --build --preset "$preset"
}

run_tests() {
    echo "==== $1 ===="
    scripts/test_suites.py "${@:2}" --parallel "$(nproc)"
}

build_preset release "$@"
run_tests "release: tests" build/release
# The tests that drive programs are the same ones for both builds.
build_preset debug -DVEXLO_PROGRAM_TESTS=OFF "$@"
run_tests "debug: tests" build/debug
VEXLO_PROGRAMS="$PWD/build/debug/bin" run_tests "debug: tests of its programs" build/release --label-regex programs
