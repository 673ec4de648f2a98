#!/usr/bin/env bash
# How close enlarged images come to the truth: takes bursts of known scenes with a camera of its own, enlarges them by
# several methods, and writes what it measured to out/quality/quality.json and quality.md.
#
#   scripts/quality.sh [BUILD_FOLDER] [--quick] [--only KIND...] [--half tune|judge|both] [--methods METHOD...]
#                      [--full] [--out FOLDER] [--check]
#
# BUILD_FOLDER is taken as it is; without it, a release tree is built. --help lists kinds and methods. Recorded
# pictures and bursts are used where ORAVO_TEST_DATA names their folder.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/lib.sh

need_packages $program_packages \
    python3-numpy python3-scipy python3-pil
if [ "$#" -gt 0 ] && [[ $1 != -* ]]; then
    build=$1
    shift
else
    build_release
    build=$release_tree
fi
export PYTHONPATH=scripts PYTHONDONTWRITEBYTECODE=1
if [[ " $* " == *" --full "* ]]; then need_packages python3-drizzle siril; fi
exec /usr/bin/python3 -m quality "$build" "$@"
