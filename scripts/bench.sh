#!/usr/bin/env bash
# Builds the benchmarks and prints what they measure, ending with a table of ratios. Takes about six minutes; leave
# the machine alone meanwhile.
#
#   scripts/bench.sh [--benchmark_filter=REGEX ...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/lib.sh

need_packages $library_packages libbenchmark-dev
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DORAVO_BUILD_TESTS=OFF -DORAVO_BUILD_TOOLS=OFF >/dev/null
cmake --build build-bench
build-bench/bench/oravo_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
    --benchmark_min_time=0.2 "$@"
