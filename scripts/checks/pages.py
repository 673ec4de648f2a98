"""The parts of scripts/checks/pages.sh, run in a copy of the tree.

    pages.py prepare PAGE...              writes the pages' files, and prints their commands as one script
    pages.py raw                          writes the recording that some of the commands read (called by that script)
    pages.py verify LOG PROGRAM PAGE...   holds what the commands made and printed against each other and the pages
"""

import json
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
from PIL import Image


def blocks(text):
    """Language, file name or "", and contents of each fenced block."""
    return re.findall(r"^```([{}\w]*) ?([^\n]*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


def raw():
    """What the README says lies in raw/: 16-bit frames, here of the burst that it simulates."""
    Path("raw").mkdir(exist_ok=True)
    for source in sorted(Path("burst").glob("frame_*.tif")):
        counts = np.rint((np.array(Image.open(source)) + 273.15) * 100).astype(np.uint16)
        Image.fromarray(counts).save(Path("raw") / f"{source.stem}.png")


def prepare(*pages):
    """Writes the files that pages name, and prints their commands."""
    for page in pages:
        print(f"echo '== {page}'")
        for language, name, contents in blocks(page.read_text()):
            if name and not language.startswith("{"):
                Path(name).write_text(contents)
            elif language == "sh":
                if "raw/" in contents:
                    print(f'/usr/bin/python3 "{Path(__file__).resolve()}" raw')
                # A page that is run after others finds what it makes already there.
                print("rm -rf burst\n" * ("simulate -o burst" in contents) + "set -x\n" + contents + "{ set +x; } 2>/dev/null")
            elif language == "python":
                raise SystemExit(f"{page}: a block without a file name would not be tried")


def floats(path):
    return np.fromfile(path, np.float32).reshape(240, 320)


def verify_images():
    """Holds against each other what should be one image."""
    enlarged, python = (np.array(Image.open(name)) for name in ("enlarged.tif", "from_python.tif"))
    made = {"from_python.tif": (python, enlarged), "from_c.raw": (floats("from_c.raw"), enlarged),
            "from_sessions.raw": (floats("from_sessions.raw"), floats("from_live.raw"))}
    for name, (image, expected) in made.items():
        if not np.array_equal(image, expected):
            raise SystemExit(f"{name} is not the image of the program by up to {np.abs(image - expected).max()}")
    celsius = np.array(Image.open("celsius.tif"))
    if celsius.shape != enlarged.shape or np.abs(celsius - enlarged).mean() > 0.02:
        raise SystemExit("celsius.tif, from rounded counts, is not near enlarged.tif")
    for name in ("comparison.png", "report.html", "from_cpp.tif", "bad.csv", "bad.png", "images", "out/roof.html"):
        if not Path(name).exists():
            raise SystemExit(f"{name} was not made")
    return len(made) + 1


def verify_output(log, *pages):
    """Holds the lines that pages say a command prints against what it printed; ... stands for anything."""
    for page in pages:
        for language, _, contents in blocks(page.read_text()):
            for line in contents.splitlines() if language == "text" else []:
                if not re.search(re.escape(line).replace(r"\.\.\.", ".*"), log):
                    raise SystemExit(f"{page} says {line!r}, which was not printed")


def verify(log, program, *pages):
    ways = verify_images()
    verify_output(log.read_text(), *pages)

    measured = subprocess.run([program, "evaluate", "enlarged.tif", "burst/truth.tif", "--json", "--reference",
                               "burst/frame_001.tif"], capture_output=True, check=True)
    rmse = {image["name"]: image["rmse"] for image in json.loads(measured.stdout)["images"]}
    if not rmse["result"] < 0.7 * rmse["bicubic"]:
        raise SystemExit(f"the image is hardly better than bicubic enlargement: {rmse}")

    gains = re.findall(r"\b(\d+\.\d) dB\b", Path("README.md").read_text())
    unknown = [gain for gain in gains if f"| +{gain} (" not in Path("docs/quality.md").read_text()]
    if unknown or not gains:
        raise SystemExit(f"README.md states gains of {', '.join(unknown) or 'nothing'}, which docs/quality.md does not")

    figures = set(re.findall(r"\b\d\d\.\d\b", Path("docs/gallery.md").read_text()))
    for page in (Path("docs/parameters.md"), Path("docs/limits.md")):
        decibels = " ".join(text for text in page.read_text().split("\n\n") if " dB" in text)
        for figure in re.findall(r"\b\d\d\.\d\b", decibels):
            if figure not in figures:
                raise SystemExit(f"{page} says {figure}, which docs/gallery.md does not know")
    print(f"the image is the same in {ways} ways, and {len(gains)} gains of the README hold")


if __name__ == "__main__":
    {"prepare": prepare, "raw": raw, "verify": verify}[sys.argv[1]](*map(Path, sys.argv[2:]))
