"""Completes Debian's copy of the theme: pages are opened as files, too, and follow the system's choice of light or dark.

Its script imports a helper as a module, which browsers refuse in a plain script, so that no switch worked; its style sheet
imports another one from below /javascript, which only web servers have, and lost the rules for systems that are dark.
"""

import re
from pathlib import Path
from typing import Optional

from sphinx.application import Sphinx
from sphinx.errors import ExtensionError

_NORMALIZE = Path("/usr/share/javascript/normalize.css/normalize.css")


def _replaced(text: str, old: str, new: str) -> str:
    if old not in text:
        raise ExtensionError(f"the theme is another one than expected: it lacks {old!r}")
    return text.replace(old, new)


def _unite(script: Path) -> None:
    helper = script.with_name("gumshoe-patched.js")
    text = _replaced(script.read_text(), 'import Gumshoe from "./gumshoe-patched.js";\n', "")
    # The helper fails on pages without headings of their own.
    text = _replaced(text, "  // Scrollspy", '  if (!document.querySelector(".toc-tree ul ul a")) return;\n  // Scrollspy')
    script.write_text(helper.read_text() + text)
    helper.unlink()


def _complete_sheet(sheet: Path) -> None:
    text = _replaced(sheet.read_text(), "@import url(/javascript/normalize.css/normalize.css);", _NORMALIZE.read_text())
    chosen = 'body[data-theme="dark"]'
    dark = re.search(r"@media not print \{(\n  " + re.escape(chosen) + r" \{.*?\n *display: block !important; \} \})", text, re.DOTALL)
    if dark is None or "prefers-color-scheme" in text:
        raise ExtensionError("the theme's rules for dark pages are others than expected")
    wanted = dark[1].replace(chosen, 'body:not([data-theme="light"])')
    sheet.write_text(f"{text[:dark.end()]}\n@media screen and (prefers-color-scheme: dark) {{{wanted}{text[dark.end():]}")


def _complete(app: Sphinx, error: Optional[Exception]) -> None:
    if error is None and app.builder.name == "html":
        static = Path(app.outdir) / "_static"
        _unite(static / "scripts/furo.js")
        _complete_sheet(static / "styles/furo.css")


def setup(app: Sphinx) -> dict:
    app.connect("build-finished", _complete)
    return {"parallel_read_safe": True, "parallel_write_safe": True}
