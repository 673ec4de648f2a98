"""Follows the relative links of Markdown pages: each must lead to a file, and to a heading of it where it names one.

    links.py PAGE...
"""

import re
import sys
from pathlib import Path


def headings(page):
    """The anchors of a page, as repository browsers form them."""
    text = re.sub(r"^```.*?^```", "", page.read_text(), flags=re.MULTILINE | re.DOTALL)
    titles = re.findall(r"^#+ (.*)", text, re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles}


def dead_links(page):
    text = re.sub(r"^```.*?^```", "", page.read_text(), flags=re.MULTILINE | re.DOTALL)
    for path, anchor in re.findall(r"\]\(([^()#\s]*)#?([^()\s]*)\)", text):
        if path.startswith("http"):
            continue
        target = page.parent / path if path else page
        if not target.exists() or (anchor and anchor not in headings(target)):
            yield f"{page}: {path}{'#' + anchor if anchor else ''} leads nowhere"


dead = [line for page in sys.argv[1:] for line in dead_links(Path(page))]
print("\n".join(dead) or f"{len(sys.argv) - 1} pages: every link leads somewhere")
sys.exit(1 if dead else 0)
