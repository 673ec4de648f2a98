"""Gives Doxygen what it does not derive from Markdown by itself: an anchor for each heading, unique among the pages,
and links that lead to them. Prints the page; the repository's own renderers need none of it.

    doxygen-filter.py FILE
"""

import collections
import re
import sys
from pathlib import Path


def slug(heading):
    return re.sub(r"[^\w\- ]", "", heading.lower().replace("+", "p")).replace(" ", "-")


def link(match, here):
    path, anchor = match.group(1), match.group(2)
    target = Path(path).stem if path.endswith(".md") else here if not path else None
    if target is None or path.startswith("http"):
        return match.group(0)
    return f"](@ref {target}{'-' + anchor if anchor else ''})"


def main(path):
    page = path.stem
    code = False
    slugs = collections.Counter()
    for line in path.read_text().splitlines():
        code ^= line.startswith("```")
        heading = re.match(r"(#+) (.*)", line)
        if code:
            line = re.sub(r"^```\w* \S+$", "```", line)
        elif heading and heading.group(1) == "#":
            line += f" {{#{page}}}" if page != "README" else ""
        elif heading:
            name = slug(heading.group(2))
            line += f" {{#{page}-{name}{'-' + str(slugs[name]) if slugs[name] else ''}}}"
            slugs[name] += 1
        else:
            line = re.sub(r"\]\(([^()#\s]*)(?:#([^()\s]*))?\)", lambda match: link(match, page), line)
        print(line)


main(Path(sys.argv[1]))
