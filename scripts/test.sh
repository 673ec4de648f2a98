#!/usr/bin/env bash
# Installs what is missing on Debian 12, builds library, program and tests, and runs all tests.
#
#   scripts/test.sh [BUILD_FOLDER]     default: build-test
#
# Tests on recorded bursts run when ORAVO_TEST_DATA names their folder; without it they are skipped.
set -euo pipefail
build=$(realpath -m "${1:-$(dirname "${BASH_SOURCE[0]}")/../build-test}")
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/lib.sh

need_packages $test_packages

echo "== Building in $build"
build_in "$build" -DCMAKE_BUILD_TYPE=Release

echo "== Running the tests"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
