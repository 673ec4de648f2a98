#!/usr/bin/env bash
# What the linker and the compiler were to make of a program or library: hardening.sh FILE...
set -euo pipefail
export LC_ALL=C

for file in "$@"; do
    segments=$(readelf -lW "$file")
    dynamic=$(readelf -dW "$file")
    symbols=$(readelf --dyn-syms -W "$file")
    fail() {
        echo "$file: $1" >&2
        exit 1
    }
    grep -q 'GNU_STACK.* RW ' <<<"$segments" || fail "the stack is executable"
    grep -q 'GNU_RELRO' <<<"$segments" || fail "relocated tables stay writable"
    grep -q 'LOAD.* RWE ' <<<"$segments" && fail "a segment is writable and executable"
    grep -q 'BIND_NOW' <<<"$dynamic" || fail "symbols are bound lazily"
    grep -q 'TEXTREL' <<<"$dynamic" && fail "code is relocated in place"
    grep -q '__stack_chk_fail' <<<"$symbols" || fail "the stack is not protected"
    # The library calls no C function that writes to a buffer of known size.
    grep -q '__vsnprintf_chk' <<<"$symbols" || [[ $file == *.so* ]] || fail "C functions are not fortified"
    readelf -hW "$file" | grep -q 'Type: *DYN' || fail "is not position-independent"
done
