#!/usr/bin/env bash
# Nothing is compiled twice but the loops that are, once per instruction set: what is linked from one object cannot have
# state that exists twice.
#
#   once.sh COMPILE_COMMANDS
set -euo pipefail
files=$(sed -n 's/^ *"file": "\(.*\)",\?$/\1/p' "$1")
[ -n "$files" ] || { echo "$1 names no file"; exit 1; }
twice=$(sort <<<"$files" | uniq -d | grep -vE '/(Precise|Solver)Kernels[.]cpp$' || true)
[ -z "$twice" ] || { echo "compiled more than once:" "$twice"; exit 1; }
