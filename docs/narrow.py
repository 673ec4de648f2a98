"""Lets pages be read at a phone's width: tables that do not fit become a card for each row, and names and commands break
where words do.

Each cell is given the heading of its column, which narrow.css shows beside it where a table is made into cards.
"""

import html
import re

from docutils import nodes
from sphinx.application import Sphinx
from sphinx.writers.html5 import HTML5Translator

_FITS = 44  # characters that a phone shows of a table's row
_SHORT = 24  # characters of code that are not broken


def _narrowest(cells: list) -> int:
    """Characters of the longest word of a column, which no line can be narrower than, and of the space around it."""
    return 2 + max((len(word) for cell in cells for word in cell.astext().split()), default=0)


def _mark_tables(tree: nodes.document) -> None:
    for table in tree.findall(nodes.table):
        rows = [list(row.findall(nodes.entry)) for row in table.findall(nodes.row)]
        heads = [list(row.findall(nodes.entry)) for head in table.findall(nodes.thead) for row in head.findall(nodes.row)]
        if len(heads) != 1 or any(len(row) != len(heads[0]) for row in rows):
            continue
        if sum(map(_narrowest, zip(*rows))) > _FITS:
            table["classes"].append("cards")
            for row in rows[1:]:
                for head, cell in zip(heads[0], row):
                    cell["heading"] = head.astext()


def _mark(app: Sphinx, tree: nodes.document) -> None:
    _mark_tables(tree)
    for code in tree.findall(nodes.literal):
        if len(code.astext()) <= _SHORT:
            code["classes"].append("short")


def _open_cell(self: HTML5Translator, node: nodes.entry) -> None:
    place = len(self.body)
    HTML5Translator.visit_entry(self, node)
    if node.get("heading"):
        self.body[place] = self.body[place].replace("<td", f'<td data-heading="{html.escape(node["heading"])}"', 1)


def _close_cell(self: HTML5Translator, node: nodes.entry) -> None:
    HTML5Translator.depart_entry(self, node)


def _breakable(name: re.Match) -> str:
    return re.sub(r"(?<=_)(?=\w)|(?<=[a-z])(?=[A-Z])", "<wbr>", name[0])


def _open_code(self: HTML5Translator, node: nodes.literal) -> None:
    node["place"] = len(self.body)
    HTML5Translator.visit_literal(self, node)


def _close_code(self: HTML5Translator, node: nodes.literal) -> None:
    """A name may break after an underscore or before a capital, and not within the hyphens of an option."""
    HTML5Translator.depart_literal(self, node)
    for place in range(node["place"] + 1, len(self.body)):
        part = re.sub(r'(?<=<span class="pre">)(--?\w)', r'<span class="whole">\1</span>', self.body[place])
        self.body[place] = re.sub(r"(?<=>)[^<>]+(?=<)", _breakable, part)


def _open_block(self: HTML5Translator, node: nodes.literal_block) -> None:
    """A command may break between its words, and not within an option."""
    try:
        HTML5Translator.visit_literal_block(self, node)
    except nodes.SkipNode:
        if node.get("language") in ("sh", "bash"):
            self.body[-1] = re.sub(r"(?<=[\s>])--?\w[\w-]*", r'<span class="whole">\g<0></span>', self.body[-1])
        raise


def _close_block(self: HTML5Translator, node: nodes.literal_block) -> None:
    HTML5Translator.depart_literal_block(self, node)


def setup(app: Sphinx) -> dict:
    app.connect("doctree-read", _mark)
    app.add_node(nodes.entry, override=True, html=(_open_cell, _close_cell))
    app.add_node(nodes.literal, override=True, html=(_open_code, _close_code))
    app.add_node(nodes.literal_block, override=True, html=(_open_block, _close_block))
    app.add_css_file("narrow.css")
    return {"parallel_read_safe": True, "parallel_write_safe": True}
