#!/usr/bin/env bash
# the layout of every C and C++ source is clang-format's, by the rules in .clang-format: check.sh format [--fix]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages clang-format-14 git
mapfile -t -d '' sources < <(tracked_files '*.c' '*.cpp' '*.h')
if [ "${1:-}" = --fix ]; then
    clang-format-14 -i "${sources[@]}"
fi
clang-format-14 --dry-run -Werror "${sources[@]}" || {
    echo "== after: scripts/check.sh format --fix"
    exit 1
}
echo "== ${#sources[@]} sources are laid out by .clang-format"
