#!/usr/bin/env bash
# clang-tidy over sources, by the rules in .clang-tidy: all but tests and benchmarks, or those that a change touches
#
#   scripts/check.sh tidy                    all of capi, support, vision, tools, gstreamer and fuzz
#   scripts/check.sh tidy FILE_PATTERN       those whose path has the pattern, a regular expression
#   scripts/check.sh tidy --since COMMIT [MOST]
#                                            those that differ from a commit, themselves or by a header of the same name; of
#                                            more than MOST, those that changed last
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages $test_packages clang-14 clang-tidy-14 clang-tools-14 git
folders='(capi|support|vision|tools|gstreamer|fuzz)'
pattern=${1:-$PWD/$folders/.*[.]cpp}
if [ "${1:-}" = --since ]; then
    mapfile -t changed < <({ git -c safe.directory="$PWD" ls-files --others --exclude-standard
        git -c safe.directory="$PWD" diff --name-only --diff-filter=d HEAD --
        git -c safe.directory="$PWD" log --format= --name-only "$2"..HEAD; } |
        grep -E "^$folders/.*[.](cpp|h)$" | sed 's/[.]h$/.cpp/' | awk '!seen[$0]++')
    names=()
    for source in "${changed[@]}"; do
        if [ -f "$source" ] && [ "${#names[@]}" -lt "${3:-${#changed[@]}}" ]; then names+=("${source//./[.]}"); fi
    done
    if [ "${#names[@]}" -eq 0 ]; then
        echo "== no source differs from $2"
        exit 0
    fi
    echo "== ${#names[@]} of ${#changed[@]} sources that changed since $2"
    pattern="$PWD/($(IFS='|' && echo "${names[*]}"))\$"
fi
cmake -S . -B build-tidy -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=clang-14 \
    -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
log=build-tidy/tidy.log
status=0
run-clang-tidy-14 -p build-tidy -quiet -j "$(nproc)" "$pattern" >"$log" 2>&1 || status=$?
sources=$(grep -c '^clang-tidy-14 ' "$log") || true
if [ "$status" -ne 0 ] || [ "$sources" -eq 0 ]; then
    # In plain text, without the commands and the count of what system headers were forgiven.
    sed 's/\x1b\[[0-9;]*m//g' "$log" | grep -vE '^clang-tidy-14 |^[0-9]+ warnings? generated' || echo "no source has such a name"
    exit 1
fi
echo "== $sources sources are clean"
