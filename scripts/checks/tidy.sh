#!/usr/bin/env bash
# clang-tidy over every source but tests and benchmarks, by the rules in .clang-tidy: check.sh tidy [FILE_PATTERN]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages $test_packages clang-14 clang-tidy-14 clang-tools-14
cmake -S . -B build-tidy -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=clang-14 \
    -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
log=build-tidy/tidy.log
status=0
run-clang-tidy-14 -p build-tidy -quiet -j "$(nproc)" \
    "${1:-$PWD/(capi|support|vision|tools|fuzz)/.*[.]cpp}" >"$log" 2>&1 || status=$?
sources=$(grep -c '^clang-tidy-14 ' "$log") || true
if [ "$status" -ne 0 ] || [ "$sources" -eq 0 ]; then
    # In plain text, without the commands and the count of what system headers were forgiven.
    sed 's/\x1b\[[0-9;]*m//g' "$log" | grep -vE '^clang-tidy-14 |^[0-9]+ warnings? generated' || echo "no source has such a name"
    exit 1
fi
echo "== $sources sources are clean"
