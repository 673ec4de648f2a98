#!/usr/bin/env bash
# Builds the program and makes the pictures of docs/gallery/ and their page anew.
#
#   scripts/gallery.sh [FOLDER]     default: docs/gallery
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/lib.sh"

need_packages build-essential cmake ninja-build libopencv-dev libtiff-dev libcli11-dev nlohmann-json3-dev python3-numpy python3-pil

cmake -S "$root" -B "$root/build-demo" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DORAVO_BUILD_TESTS=OFF -DORAVO_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$root/build-demo"
/usr/bin/python3 "$root/scripts/gallery.py" "$root/build-demo/tools/oravo-superres" "${1:-$root/docs/gallery}"
