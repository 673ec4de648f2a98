#!/usr/bin/env bash
# what README.md says works as it stands, and its figures hold
#
# Its sh blocks run in their order in one shell, and blocks that name a file are written under that name, in a copy of
# the tree and an empty home. The resulting images have to be the same in all languages. The gallery's figures, and those
# that other pages take from it, are measured anew.
#
#   scripts/checks/readme.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
source "$root/scripts/lib.sh"
need_packages build-essential cmake pkg-config libopencv-dev libtbb-dev libtiff-dev libmagic-dev libssl-dev libcli11-dev nlohmann-json3-dev python3-numpy python3-pil git

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/tree" "$scratch/home"
(cd "$root" && tracked_files | xargs -0 cp --parents -t "$scratch/tree")
cd "$scratch/tree"

/usr/bin/python3 "$root/scripts/checks/readme.py" prepare README.md "$scratch/steps.sh"
export HOME=$scratch/home PATH=/usr/bin:$PATH CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
echo "== running README.md"
bash -euo pipefail "$scratch/steps.sh" >"$scratch/log" 2>&1 || { tail -n 30 "$scratch/log"; exit 1; }
/usr/bin/python3 "$root/scripts/checks/readme.py" verify README.md "$HOME/oravo/bin/oravo-superres"
echo "== measuring the gallery"
/usr/bin/python3 "$root/scripts/gallery.py" "$HOME/oravo/bin/oravo-superres" "$scratch/docs"
diff "$scratch/docs/gallery.md" docs/gallery.md
