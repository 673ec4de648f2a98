"""Builds the documentation site; scripts/docs.sh runs it."""

import os
import re
import sys
from pathlib import Path

from docutils import nodes
from docutils.utils.math import latex2mathml
from numpy.typing import ArrayLike
from sphinx.pycode import ModuleAnalyzer
from sphinx.util import logging
from sphinx.util.typing import stringify
from sphinx_gallery.sorting import FileNameSortKey

LOGGER = logging.getLogger(__name__)
ROOT = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "docs"), str(ROOT / "python"), str(ROOT / "examples" / "gallery")]

project = "oravo super-resolution"
author = "the oravo developers"
copyright = author  # pylint: disable=redefined-builtin
release = version = ".".join(
    re.findall(r"^#define ORAVO_VERSION_[A-Z]+ (\d+)", (ROOT / "support/Version.h").read_text(), re.M))

extensions = ["myst_parser", "breathe", "sphinx.ext.autodoc", "sphinx.ext.napoleon",
              "sphinx_copybutton", "sphinx_gallery.gen_gallery", "narrow", "offline"]
exclude_patterns = ["gallery/*.md5", "gallery/sg_execution_times.rst", "README.md"]

myst_enable_extensions = ["dollarmath", "amsmath", "colon_fence", "deflist"]
myst_heading_anchors = 4

breathe_projects = {"oravo": str(ROOT / "out" / "docs" / "xml")}
breathe_default_project = "oravo"
breathe_default_members = ("members", "undoc-members")
breathe_domain_by_extension = {"h": "cpp"}
breathe_domain_by_file_pattern = {"*capi/*.h": "c"}
cpp_id_attributes = ["ORAVO_EXPORT", "ORAVO_HIDDEN"]
c_id_attributes = ["ORAVO_EXPORT"]

autodoc_member_order = "groupwise"
autodoc_default_options = {"members": True}
napoleon_use_ivar = True
napoleon_attr_annotations = False
autodoc_typehints = "signature"

sphinx_gallery_conf = {
    "examples_dirs": str(ROOT / "examples" / "gallery"),
    "gallery_dirs": "gallery",
    "within_subsection_order": FileNameSortKey,
    "ignore_pattern": r"scene\.py$",
    "download_all_examples": False,
    "min_reported_time": 1e9,
    "show_memory": False,
    "capture_repr": (),
    "show_signature": False,
    "remove_config_comments": True,
    "abort_on_example_error": True,
    "only_warn_on_example_error": False,
}
highlight_language = "none"  # of blocks that do not name theirs
copybutton_prompt_text = "$ "

html_theme = "furo"
pygments_style = "default"  # these two have enough contrast
pygments_dark_style = "github-dark"
html_title = project
html_static_path = ["_static"]
html_extra_path = ["extra"]  # made by scripts/docs.sh
html_copy_source = False
html_show_sourcelink = False
html_math_renderer = "mathml"


def mathml(inline):
    """Writes a formula as MathML, which browsers set by themselves: no script, and nothing from the network."""
    def visit(self, node):
        formula = latex2mathml.tex2mathml(node.astext(), inline=inline)
        self.body.append(formula if inline else f'<div class="math" tabindex="0">{formula}</div>')
        raise nodes.SkipNode
    return visit, None


def shorten(app, what, name, obj, options, signature, result):
    """Names the types of NumPy as the sources do; by themselves they are unions of a dozen names."""
    def named(text):
        return text and re.sub(r"~numpy\.ndarray\[~typing\.Any, ~numpy\.dtype\[~?([\w.]+)\]\]", r"~numpy.typing.NDArray[~\1]",
                               text.replace(stringify(ArrayLike, "smart"), "~numpy.typing.ArrayLike"))
    return named(signature), named(result)


def has_description(owner, name, comments):
    """Whether a class says anything about a member: there, in a comment, or among its attributes."""
    member = vars(owner).get(name)
    own = isinstance(member, property) or callable(member)
    return ((own and member.__doc__) or (owner.__name__, name) in comments
            or re.search(rf"^ +(\w+, )*{name}(, \w+)*:", owner.__doc__ or "", re.M))


def warn_of_silence(app, what, name, obj, options, lines):
    """Warns of members that the reference would leave out, and of constants that would get the docstring of their type."""
    if what == "data" and type(obj).__doc__.startswith(lines[0] if lines else ""):
        LOGGER.warning("%s has no docstring", name)
    elif what in ("class", "exception"):
        comments = ModuleAnalyzer.for_module(obj.__module__).find_attr_docs()
        for member in {**vars(obj), **vars(obj).get("__annotations__", {})}:
            if not member.startswith("_") and not has_description(obj, member, comments):
                LOGGER.warning("%s.%s has no docstring", name, member)


def setup(app):
    app.connect("autodoc-process-docstring", warn_of_silence)
    app.connect("autodoc-process-signature", shorten)
    app.add_html_math_renderer("mathml", mathml(True), mathml(False))
