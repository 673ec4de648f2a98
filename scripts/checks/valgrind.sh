#!/usr/bin/env bash
# uninitialised, lost and foreign memory through a whole run of every pipeline, by valgrind
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages $test_packages valgrind
build_release oravo-superres oravo_tests
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
superres="$release_tree"/tools/oravo-superres
"$superres" simulate -o "$work/burst" --width 48 --height 36 --frames 6 --noise 0.2 --defects 3 --seed 4 >/dev/null
watch=(valgrind --quiet --error-exitcode=99 --track-origins=yes --leak-check=full --errors-for-leak-kinds=definite
    --show-leak-kinds=definite --num-callers=25)

for pipeline in precise float "float --registration phase" vector reference; do
    echo "== enhance $pipeline"
    "${watch[@]}" "$superres" enhance "$work/burst" -o "$work/out.tif" --pipeline $pipeline >"$work/log" 2>&1 ||
        { cat "$work/log"; exit 1; }
done
echo "== tests of the C interface and of the fixed-point operators"
tests="$release_tree"/tests/oravo_tests
suites=(CInterface. CameraDescription. DspConvolution/)
for suite in "${suites[@]}"; do  # a pattern that matches nothing is no error to the tests
    "$tests" --gtest_list_tests | grep -F "$suite" >/dev/null || { echo "no suite is called $suite"; exit 1; }
done
"${watch[@]}" "$tests" --gtest_brief=1 --gtest_filter="$(printf '%s*:' "${suites[@]}")"
