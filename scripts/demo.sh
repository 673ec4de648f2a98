#!/usr/bin/env bash
# From nothing to a picture: builds the program, simulates a burst, enlarges it by the precise and by the float pipeline,
# and compares both with the truth and with bicubic enlargement. Leaves demo/comparison.png and demo/report.html.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/lib.sh

need_packages $program_packages

echo "== building into $release_tree/"
build_release oravo-superres
superres=$release_tree/tools/oravo-superres

echo "== simulating five frames into demo/burst/"
mkdir -p demo
rm -rf demo/burst
"$superres" simulate -o demo/burst --width 160 --height 120 --noise 0.05 --seed 3

echo "== enlarging them into demo/precise.tif and, by the pipeline of live cameras, demo/float.tif"
"$superres" enhance demo/burst -o demo/precise.tif --shifts demo/shifts.csv --encoding celsius \
    --report demo/report.html
"$superres" enhance demo/burst -o demo/float.tif --pipeline float

echo "== comparing with the truth (result: precise; bicubic: frame 1 enlarged)"
"$superres" evaluate demo/precise.tif demo/burst/truth.tif --beside demo/float.tif \
    --reference demo/burst/frame_001.tif --picture demo/comparison.png
echo "== look at $PWD/demo/comparison.png and $PWD/demo/report.html"
