"""Lists what each public header declares, as pages of the reference: headers.py XML_FOLDER REFERENCE_FOLDER

Pages hold lines ``<!-- header PATH -->``, which become directives of Breathe. That a header is on no page is an error, and so
is a declaration without a description, of which Doxygen warns only within what is described itself.
"""

import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

KINDS = {"function": "doxygenfunction", "enum": "doxygenenum", "typedef": "doxygentypedef", "define": "doxygendefine",
         "variable": "doxygenvariable"}
PRIVATE = re.compile(r"::detail(::|$)|_H$|^ORAVO_(EXPORT|HIDDEN|NEON)$")


def directive(kind, name, *options):
    lines = [f"```{{{kind}}} {name}", *options, "```", ""]
    return "\n".join(lines)


def is_described(member):
    return any("".join(member.find(part).itertext()).strip() for part in ("briefdescription", "detaileddescription"))


def without_friends(file):
    """A class, after friends, which are nothing to its users, are taken out of its file."""
    tree = ElementTree.parse(file)
    for section in tree.iter("sectiondef"):
        for friend in section.findall("memberdef[@kind='friend']"):
            section.remove(friend)
    for compound in tree.iter("compounddef"):
        for section in compound.findall("sectiondef"):
            if section.find("memberdef") is None:
                compound.remove(section)
    tree.write(file)
    return tree.getroot()


def undescribed(header):
    """Names of what a header or class declares for its users and does not describe."""
    for member in header.iter("memberdef"):
        name = member.findtext("qualifiedname") or member.findtext("name")
        for value in member.iter("enumvalue"):
            if not is_described(value):
                yield f"{name}: {value.findtext('name')}"
        needs_none = (PRIVATE.search(name) or member.get("prot") == "private" or member.findtext("name").startswith("~")
                      or (member.findtext("argsstring") or "").endswith("=delete"))
        if not needs_none and not is_described(member):
            yield name


def declared(header):
    """Directives for a header's own description, for all that it declares outside of classes, and for its classes."""
    if is_described(header):
        yield directive("doxygenfile", header.find("location").get("file"), ":sections: briefdescription detaileddescription")
    for inner in header.findall("innerclass"):
        if not PRIVATE.search(inner.text):
            kind = "struct" if inner.get("refid").startswith("struct") else "class"
            yield directive(f"doxygen{kind}", inner.text, ":members:", ":undoc-members:")
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
    headers, silent = {}, []
    for file in sorted(xml.glob("class*.xml")) + sorted(xml.glob("struct*.xml")):
        silent += undescribed(without_friends(file))
    for file in sorted(xml.glob("*_8h.xml")):
        header = ElementTree.parse(file).getroot().find("compounddef")
        path = header.find("location").get("file")
        known = {member.get("id") for member in header.iter("memberdef")}
        header.extend(member for member in namespaced(xml, path) if member.get("id") not in known)
        silent += undescribed(header)
        headers[path] = list(declared(header))
    for page in sorted(reference.glob("*.md")):
        text = re.sub(r"<!-- header (\S+) -->", lambda match: "\n".join(headers.pop(match[1])), page.read_text())
        page.write_text(text)
    if silent:
        sys.exit(f"not described: {', '.join(silent)}")
    missing = [path for path, lines in headers.items() if lines]
    if missing:
        sys.exit(f"on no page of the reference: {', '.join(missing)}")


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]))
