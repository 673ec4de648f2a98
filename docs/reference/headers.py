"""Lists what each public header declares, as pages of the reference: headers.py XML_FOLDER REFERENCE_FOLDER

Pages hold lines ``<!-- header PATH -->``, which become directives of Breathe. That a header is on no page is an error.
"""

import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

KINDS = {"function": "doxygenfunction", "enum": "doxygenenum", "typedef": "doxygentypedef", "define": "doxygendefine",
         "variable": "doxygenvariable"}
PRIVATE = re.compile(r"::detail(::|$)|_H$|^ORAVO_")


def directive(kind, name, *options):
    lines = [f"```{{{kind}}} {name}", *(f":{option}:" for option in options), "```", ""]
    return "\n".join(lines)


def declared(header):
    """Directives for all that a header declares outside of classes, and for its classes."""
    for inner in header.findall("innerclass"):
        if not PRIVATE.search(inner.text):
            kind = "struct" if inner.get("refid").startswith("struct") else "class"
            yield directive(f"doxygen{kind}", inner.text, "members", "undoc-members")
    classes = {inner.text for inner in header.findall("innerclass")}
    for member in header.iter("memberdef"):
        name = member.findtext("qualifiedname") or member.findtext("name")
        if PRIVATE.search(name) or name in classes:  # a structure and its type of the same name
            continue
        arguments = member.findtext("argsstring") if member.get("kind") == "function" else ""
        yield directive(KINDS[member.get("kind")], name + (arguments or ""))


def namespaced(xml, path):
    """Members that a header declares in namespaces, which Doxygen lists with these."""
    for file in sorted(xml.glob("namespace*.xml")):
        for member in ElementTree.parse(file).iter("memberdef"):
            if member.find("location").get("file") == path:
                yield member


def main(xml, reference):
    headers = {}
    for file in sorted(xml.glob("*_8h.xml")):
        header = ElementTree.parse(file).getroot().find("compounddef")
        path = header.find("location").get("file")
        known = {member.get("id") for member in header.iter("memberdef")}
        header.extend(member for member in namespaced(xml, path) if member.get("id") not in known)
        headers[path] = list(declared(header))
    for page in sorted(reference.glob("*.md")):
        text = re.sub(r"<!-- header (\S+) -->", lambda match: "\n".join(headers.pop(match[1])), page.read_text())
        page.write_text(text)
    missing = [path for path, lines in headers.items() if lines]
    if missing:
        sys.exit(f"on no page of the reference: {', '.join(missing)}")


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]))
