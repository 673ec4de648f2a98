#!/usr/bin/env bash
# Builds the Debian packages: the shared library, the development files with a static library, the program, the NumPy
# package, the GStreamer plugin, and the documentation.
#
#   scripts/package.sh [FOLDER]     where they go; default: out/packages
#   scripts/package.sh --date       prints the date of the files in them, in seconds, and makes none
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/lib.sh"
# What a package holds depends neither on who builds it nor on when: files are dated by the changelog.
changelog_date=$(sed -n 's/^ -- .*  //p' "$root/cmake/debian/changelog.in")
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(date -d "$changelog_date" +%s)}
if [ "${1:-}" = --date ]; then
    echo "$SOURCE_DATE_EPOCH"
    exit 0
fi
out=${1:-$root/out/packages}
build=$root/build-package

need_packages $program_packages $documentation_packages file dpkg-dev libgstreamer-plugins-base1.0-dev

echo "== Building in $build"
# Debian's flags for distributed programs, less those for debuggers, since packages are stripped; the build type's -O3
# comes after their -O2.
cd "$root"
eval "$(DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CFLAGS_MAINT_STRIP=-g DEB_CXXFLAGS_MAINT_STRIP=-g dpkg-buildflags --export=sh)"
build_in "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_RPATH=ON \
    -DCMAKE_C_FLAGS="$CPPFLAGS $CFLAGS" -DCMAKE_CXX_FLAGS="$CPPFLAGS $CXXFLAGS" \
    -DCMAKE_SHARED_LINKER_FLAGS="$LDFLAGS" -DCMAKE_EXE_LINKER_FLAGS="$LDFLAGS" \
    -DORAVO_BUILD_STATIC=ON -DORAVO_BUILD_TESTS=OFF -DORAVO_BUILD_BENCHMARKS=OFF

echo "== The documentation"
bash scripts/docs.sh "$build"
cmake -S . -B "$build" -DORAVO_SITE="$root/out/docs/site" >/dev/null

echo "== Packages in $out"
mkdir -p "$out"
rm -f "$out"/*.deb
(umask 022 && cd "$build" && cpack -G DEB -B "$out" >cpack.log) || { cat "$build/cpack.log"; exit 1; }
rm -rf "$out/_CPack_Packages"
ls -1 "$out"
