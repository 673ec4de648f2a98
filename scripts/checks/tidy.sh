#!/usr/bin/env bash
# clang-tidy over every source of the project, by the rules in .clang-tidy: check.sh tidy [FILE_PATTERN]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages $test_packages clang-14 clang-tidy-14 clang-tools-14
cmake -S . -B build-tidy -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=clang-14 \
    -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
run-clang-tidy-14 -p build-tidy -quiet -j "$(nproc)" "${1:-$PWD/(capi|support|vision|tools)/.*[.]cpp}" 2>/dev/null
