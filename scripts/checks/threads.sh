#!/usr/bin/env bash
# bursts of all pipelines on several threads race for nothing, by ThreadSanitizer
#
#   scripts/checks/threads.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh
need_packages $library_packages libgtest-dev

build_in build-tsan -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="-fsanitize=thread -g1" -DORAVO_BUILD_TOOLS=OFF \
    -DORAVO_BUILD_BENCHMARKS=OFF -- oravo_tests
TSAN_OPTIONS=halt_on_error=1 build-tsan/tests/oravo_tests --gtest_filter='Burst*:*Threads*'
