"""The two halves of scripts/checks/readme.sh.

    readme.py prepare README STEPS    writes the README's files, and its commands as one script
    readme.py raw                     writes the recording that one of the commands reads (called by that script)
    readme.py verify README PROGRAM   holds what the commands made against each other and the README
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
    return re.findall(r"^```(\w*) ?(\S*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


def raw():
    """What the README says lies in raw/: 16-bit frames, here of the burst that it simulates."""
    Path("raw").mkdir(exist_ok=True)
    for source in sorted(Path("burst").glob("frame_*.tif")):
        counts = np.rint((np.array(Image.open(source)) + 273.15) * 100).astype(np.uint16)
        Image.fromarray(counts).save(Path("raw") / f"{source.stem}.png")


def prepare(readme, steps):
    commands = []
    for language, name, contents in blocks(readme.read_text()):
        if name:
            Path(name).write_text(contents)
        elif language == "sh":
            if "raw/" in contents:
                commands.append(f'/usr/bin/python3 "{Path(__file__).resolve()}" raw\n')
            commands.append("set -x\n" + contents + "{ set +x; } 2>/dev/null\n")
        elif language:
            raise SystemExit(f"a {language} block without a file name would not be tried")
    steps.write_text("".join(commands))


def verify(readme, program):
    enlarged = np.array(Image.open("enlarged.tif"))
    fast = np.array(Image.open("fast.tif"))  # sessions in C and the class in C++ are the float pipeline
    made = {"from_python.tif": (np.array(Image.open("from_python.tif")), enlarged),
            "from_cpp.tif": (np.array(Image.open("from_cpp.tif")), fast),
            "from_burst.raw": (np.fromfile("from_burst.raw", np.float32).reshape(240, 320), fast),
            "from_c.raw": (np.fromfile("from_c.raw", np.float32).reshape(240, 320), fast)}
    for name, (image, expected) in made.items():
        if not np.array_equal(image, expected):
            raise SystemExit(f"{name} differs from the program's image by up to {np.abs(image - expected).max()}")
    celsius = np.array(Image.open("celsius.tif"))
    if celsius.shape != enlarged.shape or np.abs(celsius - enlarged).mean() > 0.02:
        raise SystemExit("celsius.tif, from rounded counts, is not near enlarged.tif")
    for made_there in ("comparison.png", "bad.csv", "bad.png", "images", "repaired"):
        if not Path(made_there).exists():
            raise SystemExit(f"{made_there} was not made")

    measured = subprocess.run([program, "evaluate", "enlarged.tif", "burst/truth.tif", "--json", "--reference",
                               "burst/frame_001.tif"], capture_output=True, check=True)
    rmse = {image["name"]: image["rmse"] for image in json.loads(measured.stdout)["images"]}
    if not rmse["result"] < 0.7 * rmse["bicubic"]:
        raise SystemExit(f"the image is hardly better than bicubic enlargement: {rmse}")

    table = re.search(r"^\| burst \|.*\n\|[-|]+\n((?:\|.*\n)+)", readme.read_text(), re.M)
    rows = table[1].splitlines()
    for row in rows:
        if row not in Path("docs/quality.md").read_text():
            raise SystemExit(f"README.md says {row}, which docs/quality.md does not know")

    figures = set(re.findall(r"\b\d\d\.\d\b", Path("docs/gallery.md").read_text()))
    for page in (Path("docs/parameters.md"), Path("docs/limits.md")):
        decibels = " ".join(text for text in page.read_text().split("\n\n") if " dB" in text)
        for figure in re.findall(r"\b\d\d\.\d\b", decibels):
            if figure not in figures:
                raise SystemExit(f"{page} says {figure}, which docs/gallery.md does not know")
    print(f"README.md: the image is the same in {len(made) + 1} ways, and {len(rows)} rows of figures hold")


if __name__ == "__main__":
    {"prepare": prepare, "raw": raw, "verify": verify}[sys.argv[1]](*map(Path, sys.argv[2:]))
