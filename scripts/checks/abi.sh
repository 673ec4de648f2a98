#!/usr/bin/env bash
# the library's binary interface is the stored one: exported symbols, and layouts and signatures of what the
# installed headers declare
#
#   scripts/checks/abi.sh            reports what changed; fails on any change
#   scripts/checks/abi.sh --update   stores the present interface in abi/ and cmake/debian/symbols.in
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
source "$root/scripts/lib.sh"
build=$root/build-abi
library=$build/liboravo_superresolution.so
describe() { # LIBRARY OUT: without what depends on places or on the compiler's order
    abidw --suppressions "$root/abi/suppressions.ini" --headers-dir "$build/prefix/include/oravo" --drop-private-types \
        --exported-interfaces-only --type-id-style hash --no-show-locs --no-corpus-path --no-comp-dir-path "$1" >"$2"
}
# Since which version the library has each symbol, for Debian's packages: new ones since this one.
date_symbols() { # FILE LIST
    local version
    version=$(sed -nE 's/^#define ORAVO_VERSION_[A-Z]+ ([0-9]+).*/\1/p' "$root/support/Version.h" | paste -sd.)
    awk -v version="$version" '
        FILENAME == ARGV[1] && FNR == 1 { print; next }
        FILENAME == ARGV[1] { name = $0; sub(/^ (\(c\+\+\)")?/, "", name); sub(/@Base.*/, "", name); known[name] = $0; next }
        $0 in known { print known[$0]; next }
        /::/ { print " (c++)\"" $0 "@Base\" " version; next }
        { print " " $0 "@Base " version }' "$1" "$2" >"$1.new"
    mv "$1.new" "$1"
}

need_packages $library_packages abigail-tools xz-utils

cd "$root"
build_in "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS=-g -DCMAKE_CXX_FLAGS=-g \
    -DORAVO_BUILD_TOOLS=OFF -DORAVO_BUILD_TESTS=OFF -DORAVO_BUILD_BENCHMARKS=OFF
cmake --install "$build" --prefix "$build/prefix" --component development >/dev/null
describe "$library" "$build/present.abi"

if [ "${1:-}" = --update ]; then
    xz -9e --stdout "$build/present.abi" >"$root/abi/baseline.abi.xz"
    "$root/tests/packaging/symbols.sh" --list "$library" >"$root/abi/exported-symbols.txt"
    date_symbols "$root/cmake/debian/symbols.in" "$root/abi/exported-symbols.txt"
    echo "== stored in abi/: $(wc -l <"$root/abi/exported-symbols.txt") symbols"
    exit 0
fi
xz --decompress --stdout "$root/abi/baseline.abi.xz" >"$build/baseline.abi"
abidiff --suppressions "$root/abi/suppressions.ini" "$build/baseline.abi" "$build/present.abi" || {
    echo "== the interface differs from abi/baseline.abi.xz; after a wanted change: scripts/checks/abi.sh --update"
    exit 1
}
"$root/tests/packaging/symbols.sh" "$library" "$root/abi/exported-symbols.txt"
echo "== the interface is the stored one"
