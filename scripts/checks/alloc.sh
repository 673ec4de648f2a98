#!/usr/bin/env bash
# memory: runs allocate nothing of their own, and every allocation of set-up and run may fail
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages $test_packages
build_release oravo_allocation_tests
"$release_tree"/tests/oravo_allocation_tests
