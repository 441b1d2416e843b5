"""The site: the Markdown pages of the repository and the Python module's reference; see scripts/site."""

import re

project = "qip-gauss"
copyright = "the owner of qip-gauss"  # noqa: A001, the name is given

extensions = ["myst_parser", "sphinx.ext.autodoc"]
root_doc = "docs/index"
include_patterns = ["docs/*.md", "README.md", "HACKING.md", "NEWS.md", "CONTRIBUTING.md", "bench/README.md"]
myst_heading_anchors = 4
autodoc_member_order = "bysource"
html_theme = "furo"
html_title = "qip-gauss"


def as_definitions(app, what, name, obj, options, lines):
    """The help of the functions has parameters in columns; here they become a list of definitions."""
    text, inside = [], False
    for line in lines:
        entry = re.match(r"([a-z][a-z_, ]*?)(?: {2,}(\S.*))?$", line)
        if what == "function" and entry and (entry[2] or "_" in line):
            text += ([] if inside else [""]) + [entry[1]] + (["    " + entry[2]] if entry[2] else [])
            inside = True
        elif inside and line.startswith(" "):
            text.append("    " + line.strip())
        else:
            text += ["", line] if inside else [line]
            inside = False
    lines[:] = text


def setup(app):
    app.connect("autodoc-process-docstring", as_definitions)
