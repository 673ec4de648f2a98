#!/usr/bin/env bash
# 64-bit ARM: library and program linked, all tests under emulation, and the bytes of results against those of this machine
#
# Cross-builds library, program and tests in build-arm/ with Debian's compiler and the arm64 packages of OpenCV, libtiff, libjpeg,
# libmagic and OpenSSL, which install beside the machine's own. The program is linked, not run: OpenCV's codecs for ARM cannot be installed
# beside the machine's own, they are only unpacked. Results of the library's own arithmetic have to be equal; those that
# OpenCV has a part in are only reported, since its filters may fuse multiplications and additions where a machine can.
#
#   scripts/check.sh arm             all of that
#   scripts/check.sh arm --results   without the tests, which take half of the time to build and to run
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

dpkg --print-foreign-architectures | grep -qx arm64 || as_root dpkg --add-architecture arm64
need_packages $test_packages g++-aarch64-linux-gnu qemu-user-static libgtest-dev:arm64 \
    libopencv-core-dev:arm64 libopencv-imgproc-dev:arm64 libopencv-video-dev:arm64 libtbb-dev:arm64 libtiff-dev:arm64 libjpeg-dev:arm64 libpng-dev:arm64 libmagic-dev:arm64 \
    libssl-dev:arm64
codecs=$PWD/build-arm/codecs
if [ ! -e "$codecs/usr" ]; then
    mkdir -p "$codecs"
    as_root apt-get update -qq
    (cd "$codecs" && apt-get download -qq -o APT::Sandbox::User=root libopencv-imgcodecs406:arm64 && dpkg -x ./*.deb .)
fi

tests=(oravo_tests)
if [ "${1:-}" = --results ]; then tests=(); fi

echo "== building for ARM in build-arm"
build_in build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64.cmake -DCMAKE_BUILD_TYPE=Release \
    -DORAVO_BUILD_BENCHMARKS=OFF -DCMAKE_EXE_LINKER_FLAGS=-Wl,--allow-shlib-undefined \
    -DOpenCV_imgcodecs_LIBRARY="$codecs/usr/lib/aarch64-linux-gnu/libopencv_imgcodecs.so.406" \
    -- oravo_superresolution oravo-superres oravo_result_bytes "${tests[@]}"
build_release oravo_write_burst oravo_result_bytes

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Runs the tests in one process for each processor.
run_tests() {
    echo "== running the tests under emulation"
    local shards running=() failed=0
    shards=$(nproc)
    for ((shard = 0; shard < shards; ++shard)); do
        GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$shard \
            qemu-aarch64-static build-arm/tests/oravo_tests >"$work/tests.$shard" 2>&1 &
        running+=($!)
    done
    for process in "${running[@]}"; do
        wait "$process" || failed=1
    done
    if [ "$failed" -ne 0 ]; then
        cat "$work"/tests.*
        exit 1
    fi
    grep -h -E '^\[  PASSED|^\[  SKIPPED \] [0-9]' "$work"/tests.*
}
if [ "${#tests[@]}" -ne 0 ]; then run_tests; fi

echo "== the program is linked; a host of the shared library runs under emulation"
readelf -h build-arm/tools/oravo-superres | grep 'Machine:.*AArch64'
aarch64-linux-gnu-gcc -std=c99 -I. tests/packaging/consumer/host.c -o "$work/host" -Lbuild-arm -loravo_superresolution
size=$("$release_tree"/tests/packaging/oravo_write_burst "$work/frames" "$work/enlarged")
# shellcheck disable=SC2086 # the size is three words
LD_LIBRARY_PATH=build-arm qemu-aarch64-static "$work/host" $size "$work/frames" "$work/arm-enlarged"
cmp -s "$work/enlarged" "$work/arm-enlarged" && echo "the same image" || echo "an image that differs, by OpenCV's part in it"

echo "== comparing results with those of $(uname -m)"
"$release_tree"/tests/oravo_result_bytes "$work/here"
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
