#!/usr/bin/env bash
# all tests but those of recordings under the address, undefined-behaviour and leak sanitizers
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

build_sanitized
# Recordings and large scenes, which are there for the accuracy of images, take the same paths through the code as small scenes do,
# and minutes more.
env -u ORAVO_TEST_DATA ctest --test-dir build-asan --output-on-failure -j "$(nproc)" \
    -E '^(Temperatures\.AreThoseOfTheScene|Program\.EnlargesASimulatedBurstBetterThanBicubic)$'
