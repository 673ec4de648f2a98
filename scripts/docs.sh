#!/usr/bin/env bash
# Builds the documentation site into out/docs/site, from the headers, the package, docs/ and examples/, and draws its
# pictures anew; any warning fails.
#
#   scripts/docs.sh [BUILD_FOLDER]     takes program and library from there; without it, builds them
set -euo pipefail
build=${1:+$(realpath "$1")}
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/lib.sh
need_packages $program_packages $documentation_packages
if [ -z "$build" ]; then
    build_release oravo-superres oravo_superresolution
    build=$PWD/$release_tree
fi
library=$(realpath "$build/liboravo_superresolution.so")

# In a copy, so that what is generated beside the pages does not lie about in the tree.
source=out/docs/source
rm -rf out/docs
mkdir -p "$source"
tracked_files | xargs -0 cp --parents -t "$source"
# Pages of the root become pages of the site.
for page in CONTRIBUTING CHANGELOG SECURITY; do
    sed -E 's#\]\(docs/#](#g; s#\]\((CONTRIBUTING|CHANGELOG|SECURITY)\.md#](\L\1.md#g; s#\]\(([A-Za-z]+/)#](\1#g' "$page.md" \
        >"$source/docs/${page,,}.md"
done
sed -E 's#\]\((c|cpp|python)/#](../examples/\1/#g; s#\]\(gallery\)#](gallery/index)#' examples/README.md >"$source/docs/examples.md"
site=$(realpath -m out/docs/site)
/usr/bin/python3 scripts/gallery.py "$build/tools/oravo-superres" "$source/docs"
for made in docs/gallery.md docs/gallery/*.png; do
    diff "$made" "$source/$made" || { echo "the gallery has changed: run scripts/gallery.sh"; exit 1; }
done
# The report that docs/report.md shows: of the burst and by the command of the first guide.
mkdir -p "$source/docs/extra"
(
    cd out/docs
    "$build/tools/oravo-superres" simulate -o burst --seed 3
    "$build/tools/oravo-superres" enhance burst -o enlarged.tif --encoding celsius --report source/docs/extra/example-report.html
) >out/docs/report.log 2>&1 || { cat out/docs/report.log; exit 1; }
cd "$source"
mkdir -p out
doxygen docs/Doxyfile
/usr/bin/python3 docs/reference/headers.py out/docs/xml docs/reference
export ORAVO_SUPERRESOLUTION_LIBRARY=$library PYTHONDONTWRITEBYTECODE=1 MPLBACKEND=agg
/usr/bin/python3 -m sphinx -W --keep-going -q -b html docs "$site"
echo "== $(find "$site" -name '*.html' | wc -l) pages in $site, without a warning"
