"""Completes Debian's copy of the theme, which expects a web server: pages are opened as files, too.

Its script imports a helper as a module, which browsers refuse in a plain script, so that the switch between light and dark
did nothing; and its style sheet imports another one from below /javascript.
"""

from pathlib import Path
from typing import Optional

from sphinx.application import Sphinx

_HELPER = 'import Gumshoe from "./gumshoe-patched.js";\n'
_SHEET = "@import url(/javascript/normalize.css/normalize.css);"
_JAVASCRIPT = Path("/usr/share/javascript")


def _unite(script: Path) -> None:
    text = script.read_text()
    if _HELPER in text:
        helper = script.with_name("gumshoe-patched.js")
        script.write_text(helper.read_text() + text.replace(_HELPER, ""))
        helper.unlink()


def _include(sheet: Path) -> None:
    normalize = (_JAVASCRIPT / "normalize.css/normalize.css").read_text()
    sheet.write_text(sheet.read_text().replace(_SHEET, normalize))


def _complete(app: Sphinx, error: Optional[Exception]) -> None:
    if error is None and app.builder.name == "html":
        static = Path(app.outdir) / "_static"
        _unite(static / "scripts/furo.js")
        _include(static / "styles/furo.css")


def setup(app: Sphinx) -> dict:
    app.connect("build-finished", _complete)
    return {"parallel_read_safe": True, "parallel_write_safe": True}
