"""Holds docs/parameters.md against what can be set: options of the program, of bursts in C and Python, and C++ setters.

    parameters.py PROGRAM
"""

import re
import subprocess
import sys
from pathlib import Path

page = Path("docs/parameters.md").read_text()
named = set(re.findall(r"[\w-]+", " ".join(re.findall(r"`([^`]+)`", page))))


def structure(path, name):
    """The members of a structure: names that stand before a semicolon, an initial value or a function's parameters."""
    body = re.search(rf"struct {name} {{(.*?)\n}}", Path(path).read_text(), re.DOTALL)[1]
    body = re.sub(r"/\*.*?\*/|//[^\n]*", "", body, flags=re.DOTALL)
    return set(re.findall(r"(\w+)(?:\)\([^)]*\))?(?: = [^;]+)?;", body))


settable = set(re.findall(r"(?<![\w-])--[a-z][\w-]*", subprocess.run(
    [sys.argv[1], "enhance", "--help"], capture_output=True, check=True, text=True).stdout)) - {"--help"}
settable |= structure("capi/Burst.h", "oravo_burst_options") - {"size", "user"}  # neither is a parameter
settable |= structure("vision/superresolution/SrPrecise.h", "SrPreciseOptions")
settable |= set(re.findall(r"^    (\w+): .* = ", Path("python/oravo_superres/_parameters.py").read_text(), re.MULTILINE))
for header in Path("vision/superresolution").rglob("*.h"):
    if "detail" not in header.parts:
        settable |= set(re.findall(r"^    void (set\w+)\(", header.read_text(), re.MULTILINE))
missing = sorted(settable - named)
print(f"docs/parameters.md does not name {', '.join(missing)}" if missing else f"{len(settable)} parameters are named")
sys.exit(1 if missing else 0)
