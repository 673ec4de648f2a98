#!/usr/bin/env bash
# One verb for each thing that can be checked, the same for people and for .ci/run:
#
#   scripts/check.sh VERB [ARGUMENT...]     runs scripts/checks/VERB.sh
#   scripts/check.sh                        lists the verbs
set -euo pipefail
checks=$(dirname "${BASH_SOURCE[0]}")/checks
verb=${1:-}

if [[ ! $verb =~ ^[a-z]+$ || ! -f $checks/$verb.sh ]]; then
    echo "usage: scripts/check.sh VERB [ARGUMENT...]" >&2
    for script in "$checks"/*.sh; do
        # The first comment line after the interpreter's says what is checked.
        printf '  %-10s %s\n' "$(basename "$script" .sh)" "$(sed -n '2,$s/^# *//p' "$script" | head -n 1)" >&2
    done
    exit 2
fi
shift
exec bash "$checks/$verb.sh" "$@"
