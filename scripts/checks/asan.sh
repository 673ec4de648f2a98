#!/usr/bin/env bash
# all tests but those of recordings under the address, undefined-behaviour and leak sanitizers
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

build_sanitized
# Recordings go the ways that rendered scenes go, and take minutes more.
env -u ORAVO_TEST_DATA ctest --test-dir build-asan --output-on-failure -j "$(nproc)"
