#!/usr/bin/env bash
# every source includes only from rooms that its own may know, by the table in docs/architecture.md; tests mirror the tree
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

need_packages python3 git
tracked_files '*.c' '*.cpp' '*.h' | python3 scripts/checks/rooms.py docs/architecture.md
