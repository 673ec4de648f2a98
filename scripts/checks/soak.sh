#!/usr/bin/env bash
# long service of one session, others opened and released between: check.sh soak [FRAMES], default 20000
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages $test_packages
build_release oravo_allocation_tests
ORAVO_SOAK_FRAMES=${1:-20000} "$release_tree"/tests/oravo_allocation_tests \
    --gtest_filter=Endurance.LongServiceLeavesNoTrace:Endurance.ReleasedSessionsGiveTheirMemoryBack
