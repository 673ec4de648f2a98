#!/usr/bin/env bash
# From nothing to a picture: builds the program, simulates a burst, enhances it and compares the result with the
# truth and with bicubic enlargement. Leaves demo/comparison.png.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/lib.sh

need_packages build-essential cmake ninja-build libopencv-dev libtiff-dev libcli11-dev nlohmann-json3-dev

echo "== building into $release_tree/"
build_release oravo-superres
superres=$release_tree/tools/oravo-superres

echo "== simulating five frames into demo/burst/"
mkdir -p demo
rm -rf demo/burst
"$superres" simulate -o demo/burst --width 160 --height 120 --noise 0.05 --seed 3

echo "== enhancing them into demo/enhanced.tif"
"$superres" enhance demo/burst -o demo/enhanced.tif --shifts demo/shifts.csv

echo "== comparing with the truth (result: this library; bicubic: frame 1 enlarged)"
"$superres" evaluate demo/enhanced.tif demo/burst/truth.tif --reference demo/burst/frame_001.tif \
    --picture demo/comparison.png
echo "== look at $PWD/demo/comparison.png"
