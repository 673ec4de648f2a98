#!/usr/bin/env bash
# all tests under the address, undefined-behaviour and leak sanitizers
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

build_sanitized
ctest --test-dir build-asan --output-on-failure -j "$(nproc)"
