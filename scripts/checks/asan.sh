#!/usr/bin/env bash
# all tests under the address, undefined-behaviour and leak sanitizers
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages $test_packages
build_in build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORAVO_SANITIZE=address,undefined -DORAVO_BUILD_BENCHMARKS=OFF
ASAN_OPTIONS=strict_string_checks=1:detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --test-dir build-asan --output-on-failure -j "$(nproc)"
