"""Makes the manual page of docs/oravo-superres.md, which is a page of the site too:

    sphinx-build -b man -c docs/man docs FOLDER
"""

import email.utils
import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
numbers = re.findall(r"^#define ORAVO_VERSION_[A-Z]+ (\d+)", (ROOT / "support/Version.h").read_text(), re.M)
released = re.search(r"^ -- .*  (.*)", (ROOT / "cmake/debian/changelog.in").read_text(), re.M)[1]

project = "oravo-superres"
version = release = ".".join(numbers)
today = f"{email.utils.parsedate_to_datetime(released):%B %d, %Y}"  # the page is the same whenever it is made
extensions = ["myst_parser"]
myst_enable_extensions = ["deflist"]
myst_heading_anchors = 3
root_doc = "oravo-superres"
include_patterns = ["oravo-superres.md"]
man_pages = [(root_doc, "oravo-superres", "turn a burst of infrared frames into one image of twice the resolution", "", 1)]
