#!/usr/bin/env bash
# Installs what is missing on Debian 12, builds library, program and tests, and runs all tests.
#
#   scripts/test.sh [BUILD_FOLDER]     default: build-test
#
# Tests on recorded bursts run when ORAVO_TEST_DATA names their folder; without it they are skipped.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/lib.sh"
build=${1:-$root/build-test}

need_packages build-essential cmake ninja-build libopencv-dev libtiff-dev libcli11-dev nlohmann-json3-dev libgtest-dev \
    libbenchmark-dev pkg-config python3-numpy python3-pytest

echo "== Building in $build"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DORAVO_WARNINGS_AS_ERRORS=ON >"$build.configure.log" 2>&1 ||
    { cat "$build.configure.log"; exit 1; }
rm -f "$build.configure.log"
cmake --build "$build"

echo "== Running the tests"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
