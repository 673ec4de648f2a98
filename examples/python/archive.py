"""An archive: each recording below a folder becomes an image and a report; those that need a look are named.

    archive.py RECORDINGS/ RESULTS/

What a run before this one finished is left as it is. The program oravo-superres does the work, on all processors.
"""

import json
import sys
from pathlib import Path

from oravo_superres import archive


def main(recordings: str, results: str) -> int:
    reports = Path(results).resolve()
    summary = archive.run_archive(recordings, results, scheduler="none", options=["--report", f"{reports}/{{}}.json"])
    print(f"{summary.done} made, {summary.unchanged} finished before, {summary.failed} failed")
    for line in Path(summary.report).read_text().splitlines():
        entry = json.loads(line)  # one of each recording
        if entry["state"] == "failed":
            print(f"{entry['recording']}: {entry['message']}")
            continue
        verdict = json.loads(Path(entry["result"]).with_suffix(".json").read_text())["image"]["verdict"]
        if verdict["level"] != "better":
            print(f"{entry['recording']}: {verdict['headline']}")
    return summary.exit_code


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
