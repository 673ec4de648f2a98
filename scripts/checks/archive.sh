#!/usr/bin/env bash
# archives go on where they were ended: workers and driver of a run are killed at random moments, nothing that was finished
# is made again, nothing is missing, and all results are those of a serial run; its efficiency and memory are measured, too
#
#   scripts/checks/archive.sh [RECORDINGS [KILLS]]     default: 5000 recordings, 20 kills; takes a quarter of an hour
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh
need_packages $test_packages
build_release oravo-superres oravo_superresolution

export PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$PWD/python
/usr/bin/python3 scripts/checks/archive.py "$release_tree/tools/oravo-superres" --recordings "${1:-5000}" --kills "${2:-20}" \
    --measure 1000 -- --pipeline float
