#!/usr/bin/env bash
# the same bytes at every instruction-set level of this machine: the program's images, and all tests
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages $test_packages
build_release
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
superres="$release_tree"/tools/oravo-superres
"$superres" simulate -o "$work/burst" --width 75 --height 58 --frames 7 --noise 0.5 --seed 4 >"$work/log"
for level in baseline avx2 avx512; do
    echo "== level $level"
    for pipeline in precise float; do
        ORAVO_SIMD=$level "$superres" enhance "$work/burst" -o "$work/$level/$pipeline/" --every \
            --pipeline $pipeline >"$work/log"
    done
    (cd "$work/$level" && sha256sum -- */*) >"$work/$level.sums"
    cmp "$work/baseline.sums" "$work/$level.sums"
    ORAVO_SIMD=$level ctest --test-dir "$release_tree" --output-on-failure -j "$(nproc)" | tail -n 8
done
