#!/usr/bin/env bash
# 64-bit ARM: all tests under emulation, and the bytes of results against those of this machine
#
# Cross-builds library and tests in build-arm/ with Debian's compiler and the arm64 packages of OpenCV, which install
# beside the machine's own. Results of the library's own arithmetic have to be equal; those that OpenCV has a part in
# are only reported, since its filters may fuse multiplications and additions where a machine can.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

dpkg --print-foreign-architectures | grep -qx arm64 || as_root dpkg --add-architecture arm64
need_packages $test_packages g++-aarch64-linux-gnu qemu-user-static libgtest-dev:arm64 \
    libopencv-core-dev:arm64 libopencv-imgproc-dev:arm64 libopencv-video-dev:arm64

echo "== building for ARM in build-arm"
build_in build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64.cmake -DCMAKE_BUILD_TYPE=Release -DORAVO_BUILD_TOOLS=OFF \
    -DORAVO_BUILD_BENCHMARKS=OFF -- oravo_tests oravo_result_bytes
build_in build-test -DCMAKE_BUILD_TYPE=Release -- oravo_result_bytes

echo "== running the tests under emulation"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
shards=$(nproc)
running=()
for ((shard = 0; shard < shards; ++shard)); do
    GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$shard \
        qemu-aarch64-static build-arm/tests/oravo_tests >"$work/tests.$shard" 2>&1 &
    running+=($!)
done
failed=0
for process in "${running[@]}"; do
    wait "$process" || failed=1
done
if [ "$failed" -ne 0 ]; then
    cat "$work"/tests.*
    exit 1
fi
grep -h -E '^\[  PASSED|^\[  SKIPPED \] [0-9]' "$work"/tests.*

echo "== comparing results with those of $(uname -m)"
build-test/tests/oravo_result_bytes "$work/here"
qemu-aarch64-static build-arm/tests/oravo_result_bytes "$work/arm"
count=0
for result in "$work"/here/own/*; do
    cmp "$result" "$work/arm/own/${result##*/}"
    count=$((count + 1))
done
echo "own arithmetic: $count results, all equal"
different=()
for result in "$work"/here/opencv/*; do
    cmp -s "$result" "$work/arm/opencv/${result##*/}" || different+=("${result##*/}")
done
echo "with OpenCV: ${#different[@]} results differ ${different[*]-}"
