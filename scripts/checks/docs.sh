#!/usr/bin/env bash
# the reference of the public headers builds without a warning (in out/docs/html), no part of them is undocumented, and
# every link leads somewhere
#
#   scripts/checks/docs.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
source "$root/scripts/lib.sh"
need_packages doxygen python3 git

cd "$root"
rm -rf out/docs
mkdir -p out
doxygen docs/Doxyfile
# One page for each public class, and the functions of the C interface, stand for a reference that is really there.
for class in SrFloat SrFloatMinimization BadPixel SuperResolution; do
    [ -e "out/docs/html/classoravo_1_1vision_1_1$class.html" ] || { echo "no page for $class"; exit 1; }
done
described=$(grep -c '^<h2 class="memtitle">.*SuperResolution_' out/docs/html/capi_2SuperResolution_8h.html) || true
[ "$described" -eq 8 ] || { echo "the C interface has eight functions, $described are described"; exit 1; }
echo "== $(find out/docs/html -name '*.html' | wc -l) pages in out/docs/html, without a warning"
tracked_files '*.md' | xargs -0 python3 scripts/checks/links.py
