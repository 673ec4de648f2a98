#!/usr/bin/env bash
# the NumPy package's annotations hold, in all of it, by mypy's strict rules
#
#   scripts/checks/types.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../../python"
. ../scripts/lib.sh
need_packages mypy python3-numpy

mypy --strict --cache-dir=/dev/null oravo_superres
