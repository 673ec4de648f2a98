#!/usr/bin/env bash
# Builds the program and makes the pictures of docs/gallery/ and their page, docs/gallery.md, anew.
#
#   scripts/gallery.sh [DOCS]     default: docs
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/lib.sh"

need_packages $program_packages python3-numpy python3-pil

cd "$root"
build_release oravo-superres
/usr/bin/python3 scripts/gallery.py "$release_tree"/tools/oravo-superres "${1:-docs}"
