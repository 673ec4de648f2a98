#!/usr/bin/env bash
# what README.md and the guides say works as it stands, and their figures hold
#
# Their sh blocks run in the order of the pages in one shell, and blocks that name a file are written under that name, in a
# copy of the tree and an empty home. The resulting images have to be the same in all languages. Figures that pages take from
# the gallery are those of the gallery. Blocks of bash, for files that only readers have, are not run.
#
#   scripts/checks/pages.sh [BUILD_FOLDER]     installs from there; without it, as docs/guides/install.md says
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
source "$root/scripts/lib.sh"
need_packages $program_packages pkg-config python3-numpy python3-pil git
build=${1:+$(realpath "$1")}
guides=$(printf 'docs/guides/%s.md ' first-image inspector camera-maker python researcher c cpp live)

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/tree" "$scratch/home"
cd "$root"
tracked_files | xargs -0 cp --parents -t "$scratch/tree"
cd "$scratch/tree"
export ORAVO_SOURCE=$scratch/tree HOME=$scratch/home PATH=/usr/bin:$PATH
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}

if [ -n "$build" ]; then
    cmake --install "$build" --prefix "$HOME/oravo" >"$scratch/log"
    grep '^export' docs/guides/install.md >"$scratch/steps.sh"
    set -- $guides README.md
else
    set -- docs/guides/install.md $guides README.md
fi
/usr/bin/python3 scripts/checks/pages.py prepare "$@" >>"$scratch/steps.sh"
echo "== running $*"
bash -euo pipefail "$scratch/steps.sh" >"$scratch/log" 2>&1 || { tail -n 30 "$scratch/log"; exit 1; }
/usr/bin/python3 scripts/checks/pages.py verify "$scratch/log" "$HOME/oravo/bin/oravo-superres" "$@"
