#!/usr/bin/env bash
# a bounded run of every fuzzer: check.sh fuzz [SECONDS_EACH] [FUZZER...]; new inputs stay in build-fuzz/corpus/
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh
seconds=${1:-60}
fuzzers=("${@:2}")
if [ "${#fuzzers[@]}" -eq 0 ]; then
    fuzzers=(session tiff table levels badpixel)
fi

need_packages $test_packages clang-14 libclang-rt-14-dev
build_in build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    -DORAVO_SANITIZE=address,undefined -DORAVO_FUZZ_ENGINE=ON -DORAVO_BUILD_BENCHMARKS=OFF \
    -- "${fuzzers[@]/#/oravo_fuzz_}"
# An allocation that the system refuses is one that the code has to live with.
export ASAN_OPTIONS=allocator_may_return_null=1:detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1
for fuzzer in "${fuzzers[@]}"; do
    echo "== fuzzing $fuzzer for $seconds s"
    mkdir -p "build-fuzz/corpus/$fuzzer"
    build-fuzz/fuzz/oravo_fuzz_"$fuzzer" "build-fuzz/corpus/$fuzzer" "fuzz/seeds/$fuzzer" \
        -max_total_time="$seconds" -max_len=2000 -timeout=60 -rss_limit_mb=4096 -malloc_limit_mb=65536 \
        -print_final_stats=1 -verbosity=0 -artifact_prefix="build-fuzz/$fuzzer-" 2>&1 | tail -n 40
done
