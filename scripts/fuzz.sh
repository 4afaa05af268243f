#!/usr/bin/env bash
# Fuzzes: scripts/fuzz.sh SECONDS [TARGET...]. Every target runs its corpus, then SECONDS seconds of new inputs. Without
# targets all of them run. New inputs are kept in build/fuzz/inputs/TARGET, findings in build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! [[ "${1:-}" =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: $0 SECONDS [TARGET...]" >&2
    exit 2
fi
seconds=$1
shift

can_fuzz() {
    echo 'extern "C" int LLVMFuzzerTestOneInput(const char *, unsigned long) { return 0; }' |
        clang++ -x c++ -fsanitize=fuzzer,address,undefined -o /dev/null - 2>/dev/null
}

scripts/packages.sh clang cmake ninja-build libsqlite3-dev zlib1g-dev libzstd-dev libcli11-dev nlohmann-json3-dev
# Some distributions pack the libraries of the fuzzer and the sanitizers by themselves.
can_fuzz || scripts/packages.sh "libclang-rt-$(clang++ -dumpversion | cut -d. -f1)-dev"

build=$PWD/build/fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS_DEBUG="-g1 -O1" -DCMAKE_UNITY_BUILD=ON -DVEXLO_FUZZ=ON -DVEXLO_TESTS=OFF >/dev/null
cmake --build "$build" --target fuzz_targets
rm -rf "$build/seeds"
"$build/bin/make_corpus" "$build/seeds"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for path in "$build"/bin/fuzz_*; do
        targets+=("${path##*/fuzz_}")
    done
fi

# What a target writes; one that ends with a finding leaves it behind.
TMPDIR=$(mktemp -d -p /dev/shm vexlo-fuzz-XXXXXX)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

export UBSAN_OPTIONS=print_stacktrace=1
mkdir -p "$build/findings" "$build/logs"
failed=()
for target in "${targets[@]}"; do
    program=$build/bin/fuzz_$target
    log=$build/logs/$target
    inputs=$build/inputs/$target
    mkdir -p "$inputs"
    corpus=("$inputs")
    for dir in "$build/seeds/$target" "fuzz/corpus/$target"; do
        [ -d "$dir" ] && corpus+=("$dir")
    done
    options=(-timeout=20 -rss_limit_mb=2048 -artifact_prefix="$build/findings/$target-")
    if "$program" "${options[@]}" -runs=0 "${corpus[@]}" >"$log" 2>&1 &&
        "$program" "${options[@]}" -max_total_time="$seconds" -print_final_stats=1 -dict=fuzz/tokens.dict \
            "${corpus[@]}" >>"$log" 2>&1; then
        runs=$(sed -n 's/^stat::number_of_executed_units: //p' "$log" | tail -1)
        coverage=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1)
        printf '%-12s %10s executions, %s\n' "$target" "$runs" "$coverage"
    else
        failed+=("$target")
        printf '%-12s FAILED, the end of %s:\n' "$target" "$log"
        tail -60 "$log"
    fi
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "findings in: ${failed[*]}; inputs in $build/findings" >&2
    exit 1
fi
