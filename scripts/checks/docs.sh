#!/usr/bin/env bash
# the site builds without a warning (in out/docs/site), all that is public is documented in it, every parameter is on its
# page, every link leads somewhere, and what README.md and the guides say works
#
#   scripts/checks/docs.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
source "$root/scripts/lib.sh"
need_packages git python3

cd "$root"
build_release
bash scripts/docs.sh "$release_tree"
# The C interface, and a class of each family, stand for a reference that is really there.
for name in oravo_burst_reconstruct SuperResolution_init; do
    grep -q "id=\"c.$name\"" out/docs/site/reference/c.html || { echo "$name is not described"; exit 1; }
done
for class in SrPrecise SrFloat SrFloatMinimization BadPixel SuperResolution; do
    grep -q "id=\"classoravo_1_1vision_1_1$class\"" out/docs/site/reference/cpp.html || { echo "$class is not described"; exit 1; }
done
for name in $(sed -n '/^__all__/,/]/s/^ *"\([A-Za-z]\w*\)",$/\1/p' python/oravo_superres/__init__.py); do
    grep -q "id=\"oravo_superres.$name\"" out/docs/site/reference/python.html || { echo "$name is not described"; exit 1; }
done
python3 scripts/checks/parameters.py "$release_tree/tools/oravo-superres"
tracked_files '*.md' | xargs -0 python3 scripts/checks/links.py
bash scripts/checks/pages.sh "$release_tree"
