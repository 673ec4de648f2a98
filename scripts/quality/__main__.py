"""Makes bursts, enlarges them by several methods, and writes what was measured: quality.json and quality.md."""

import argparse
import json
import multiprocessing
import os
import sys
import time
from pathlib import Path

import numpy as np

from . import measure, peers, tables, targets
from .bursts import KINDS, bursts
from .methods import Methods

USUAL = ["bicubic", "float", "float-unguarded", "precise"]
# Methods that show more about some kinds; --full adds them.
MORE = {"noise_1": ["float-long", "precise-patternless", "precise-best"], "noise_5": ["float-long", "precise-best"],
        "noise_15": ["precise-best"], "white_3": ["precise-patternless"], "columns_3": ["precise-patternless"],
        "real": ["precise-best"], "real_video": ["precise-best"]}
for kind, way, _ in tables.SENSOR:
    MORE[kind] = MORE.get(kind, []) + [f"float-{way}", f"precise-{way}"]
    if way == "measured":
        MORE[kind] += ["float-given", "precise-given"]
BEGIN, END = "<!-- measured by scripts/quality.sh -->", "<!-- end -->"


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/quality.sh", description=__doc__)
    parser.add_argument("build", help="folder that the project was built in")
    parser.add_argument("--out", default="out/quality",
                        help="folder for quality.json and quality.md (default: %(default)s)")
    parser.add_argument("--half", choices=["tune", "judge", "both"], default="judge",
                        help="pictures to tune by, or those to judge by (default: %(default)s)")
    parser.add_argument("--only", nargs="+", metavar="KIND", default=list(KINDS), choices=list(KINDS),
                        help=f"kinds of bursts: {', '.join(KINDS)}")
    parser.add_argument("--methods", nargs="+", metavar="METHOD",
                        help=f"default: {' '.join(USUAL)}")
    parser.add_argument("--views", type=int, default=2, help="parts of each picture (default: %(default)s)")
    parser.add_argument("--full", action="store_true", help="peers and further methods, too, where they tell something")
    parser.add_argument("--quick", action="store_true", help="one part of each picture")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="processes (default: one a processor)")
    parser.add_argument("--check", action="store_true", help="fail when a target is missed")
    parser.add_argument("--from", dest="measured", nargs="+", metavar="JSON",
                        help="what was measured before, in place of new bursts")
    parser.add_argument("--page", metavar="PAGE.md", help="write the tables into this page, too, between its marks")
    parser.add_argument("--keep", metavar="FOLDER", help="write frames, truth and images there, as NumPy arrays")
    return parser.parse_args()


def methods_for(kind, options, first):
    if options.methods:
        return ["bicubic"] + [name for name in options.methods if name != "bicubic"]
    more = MORE.get(kind, []) + peers.suiting(kind, first) if options.full else []
    return USUAL + ["precise-5"] * (KINDS[kind].frames > 5) + more


def work(task):
    """Measures one burst by all methods; returns rows for the table."""
    (kind, half, number, index), options = task
    burst = bursts(kind, half, number)[index]()
    methods = Methods(options.build)
    rows = []
    for name in methods_for(kind, options, index % number == 0):
        result = methods.run(name, burst)
        found = measure.figures(result.image, burst)
        base = found if not rows else rows[0]["figures"]
        rows.append({"kind": kind, "view": burst.view, "half": burst.half, "recorded": burst.recorded, "method": name,
                     "gain": 20 * np.log10(base["rmse"] / found["rmse"]), "figures": found, "contrast": burst.contrast,
                     "blur": [burst.blur.gauss, burst.blur.box], "warnings": result.warnings, "facts": result.facts})
        if options.keep:
            np.save(f"{options.keep}/{kind}.{burst.view}.{name}.npy", result.image)
    if options.keep:
        np.savez(f"{options.keep}/{kind}.{burst.view}.npz", frames=burst.frames, truth=burst.truth)
    return rows


def measured(options):
    """Rows of all bursts and methods."""
    number = 1 if options.quick else options.views
    halves = ["tune", "judge"] if options.half == "both" else [options.half]
    tasks = [((kind, half, number, index), options) for kind in options.only for half in halves
             if not (KINDS[kind].scene in ("mwir", "lwir") and half == "tune" and len(halves) == 2)
             for index in range(len(bursts(kind, half, number)))]
    for kind in options.only:
        if not any(task[0][0] == kind for task in tasks):
            print(f"{kind}: left out, ORAVO_TEST_DATA names no folder with recordings", file=sys.stderr)
    if options.keep:
        Path(options.keep).mkdir(parents=True, exist_ok=True)
    start, rows = time.time(), []
    with multiprocessing.Pool(options.jobs) as pool:
        for done, found in enumerate(pool.imap(work, tasks), 1):
            rows += found
            if sys.stderr.isatty():
                print(f"\r{done} of {len(tasks)} bursts, {time.time() - start:.0f} s", end="", file=sys.stderr)
    print(f"\r{len(tasks)} bursts, {time.time() - start:.0f} s\n", file=sys.stderr)
    return rows


def main():
    options = arguments()
    if options.measured:
        earlier = [row for name in options.measured for row in json.loads(Path(name).read_text())["rows"]]
        rows = list({(row["kind"], row["view"], row["method"]): row for row in earlier}.values())
    else:
        rows = measured(options)
    Path(options.out).mkdir(parents=True, exist_ok=True)
    outcome = targets.judged(rows)
    text = tables.page(rows, outcome)
    with open(f"{options.out}/quality.json", "w") as file:
        json.dump({"rows": rows, "targets": outcome}, file, indent=1)
    Path(options.out, "quality.md").write_text(text)
    if options.page:
        before, rest = Path(options.page).read_text().split(BEGIN)
        Path(options.page).write_text(f"{before}{BEGIN}\n\n{text}\n{END}{rest.split(END)[1]}")
    print(text)
    return 1 if options.check and any(not target["met"] for target in outcome) else 0


if __name__ == "__main__":
    sys.exit(main())
