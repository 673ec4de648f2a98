#!/usr/bin/env bash
# Holds what a shared library exports against a list.
#
#   symbols.sh LIBRARY LIST      fails, with the difference, when they are not the same
#   symbols.sh --list LIBRARY    prints the list
set -euo pipefail
export LC_ALL=C

exported() {
    nm --dynamic --defined-only --demangle --format=posix "$1" |
        sed 's/ [A-Za-z] [0-9a-f]*\( [0-9a-f]*\)\?$//' | sort -u
}

if [ "$1" = --list ]; then
    exported "$2"
    exit 0
fi
exported "$1" | diff -u "$2" - || {
    echo "The library does not export what ${2##*/} says; after a wanted change: scripts/checks/abi.sh --update"
    exit 1
}
