#!/usr/bin/env bash
# Hosts in C99 and in C++ against an installation of a build: they are built outside the tree, through CMake and through
# pkg-config, reconstruct a burst, and have to arrive at the bits of the build's own library.
#
#   consumers.sh BUILD BURST_WRITER [COMPILER_FLAGS]
set -euo pipefail
build=$1 writer=$2 flags=${3:-}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

cmake --install "$build" --prefix "$scratch/before" >/dev/null
mv "$scratch/before" "$prefix" # an installation may be moved
size=$("$writer" "$scratch/frames" "$scratch/expected")

run() { # HOST: reconstructs the burst; the image must be the expected one
    # shellcheck disable=SC2086 # the size is three words
    LD_LIBRARY_PATH=$library "$1" $size "$scratch/frames" "$scratch/enlarged" >"$scratch/report"
    [ "$(wc -l <"$scratch/report")" -eq 6 ] || { echo "$1: the report does not have six lines"; exit 1; }
    cmp "$scratch/enlarged" "$scratch/expected"
    rm "$scratch/enlarged"
}

library=$(dirname "$(find "$prefix" -name liboravo_superresolution.so)")
cmake -S "$here/consumer" -B "$scratch/hosts" -DCMAKE_PREFIX_PATH="$prefix" \
    -DORAVO_INCLUDE_DIR="$prefix/include/oravo" -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" >"$scratch/log" ||
    { cat "$scratch/log"; exit 1; }
cmake --build "$scratch/hosts" >"$scratch/log" || { cat "$scratch/log"; exit 1; }
for host in c_host cpp_host; do
    run "$scratch/hosts/$host"
    readelf -d "$scratch/hosts/$host" | grep -q 'NEEDED.*liboravo_superresolution\.so\.0\.[0-9]*\]' ||
        { echo "$host does not need the library of its major and minor version"; exit 1; }
done

export PKG_CONFIG_PATH=$library/pkgconfig
options=$(pkg-config --cflags --libs oravo-superresolution | sed 's/-I\([^ ]*opencv4\)/-isystem \1/g')
warnings="-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror" # CMake's way hides what headers would draw
# shellcheck disable=SC2086 # options are several words
{
    "${CC:-cc}" $flags $warnings -std=c99 -pedantic-errors "$here/consumer/host.c" -o "$scratch/c_host" $options
    "${CXX:-c++}" $flags $warnings -std=c++17 -I"$scratch/hosts" "$here/consumer/host.cpp" -o "$scratch/cpp_host" \
        $options
}
run "$scratch/c_host"
run "$scratch/cpp_host"

hosts=four
if [ -e "$library/liboravo_superresolution.a" ]; then
    hosts=six
    mkdir "$scratch/static"
    ln -s "$library/liboravo_superresolution.a" "$scratch/static"
    # shellcheck disable=SC2046,SC2086 # options are several words
    "${CC:-cc}" $flags -std=c99 "$here/consumer/host.c" $(pkg-config --cflags oravo-superresolution) -L"$scratch/static" \
        $(pkg-config --static --libs oravo-superresolution) -o "$scratch/static_host"
    for host in "$scratch/hosts/static_host" "$scratch/static_host"; do
        run "$host"
        ! readelf -d "$host" | grep liboravo || { echo "$host needs the shared library"; exit 1; }
    done
fi

if [ -e "$prefix/bin/oravo-superres" ]; then
    "$prefix/bin/oravo-superres" --version # finds the library of its own prefix
fi
echo "$(find "$prefix/include" -name '*.h' | wc -l) headers installed; $hosts hosts agree with the build"
