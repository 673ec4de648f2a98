#!/usr/bin/env bash
# Installs what is missing on Debian 12, builds library, program and tests, and runs all tests.
#
#   scripts/test.sh [BUILD_FOLDER]     default: build-release
#
# Tests on recorded bursts run when ORAVO_TEST_DATA names their folder; without it they are skipped.
set -euo pipefail
build=${1:+$(realpath -m "$1")}
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/lib.sh
release_tree=${build:-$release_tree}

need_packages $test_packages

echo "== Building in $release_tree"
build_release

echo "== Running the tests"
ctest --test-dir "$release_tree" --output-on-failure -j "$(nproc)"
