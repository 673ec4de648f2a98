#!/usr/bin/env bash
# a bounded run of every fuzzer: check.sh fuzz [SECONDS_EACH] [FUZZER...]; new inputs stay in build-asan/corpus/
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh
seconds=${1:-60}
fuzzers=("${@:2}")
if [ "${#fuzzers[@]}" -eq 0 ]; then
    fuzzers=(session frames guards table levels badpixel classes)
fi

build_sanitized "${fuzzers[@]/#/oravo_fuzz_}"
for fuzzer in "${fuzzers[@]}"; do
    echo "== fuzzing $fuzzer for $seconds s"
    mkdir -p "build-asan/corpus/$fuzzer"
    log=build-asan/corpus/$fuzzer.log
    build-asan/fuzz/oravo_fuzz_"$fuzzer" "build-asan/corpus/$fuzzer" "fuzz/seeds/$fuzzer" \
        -max_total_time="$seconds" -max_len=2000 -timeout=60 -rss_limit_mb=4096 -malloc_limit_mb=65536 \
        -print_final_stats=1 -verbosity=0 -artifact_prefix="build-asan/$fuzzer-" >"$log" 2>&1 ||
        { tail -n 60 "$log"; exit 1; }
    grep '^stat::number_of_executed_units' "$log"
done
