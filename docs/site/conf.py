"""How Sphinx makes the site of the pages that scripts/site lays out."""
import json
import os
import pathlib
import posixpath

from docutils import nodes
from sphinx.util.nodes import make_refnode

project = "sealkit"
version = release = os.environ["SITE_VERSION"]
extensions = ["myst_parser"]

myst_heading_anchors = 4
myst_enable_extensions = ["deflist"]
highlight_language = "none"
smartquotes = False  # "--host" is an option, not a dash.

# For each name that the library declares its pages, and its anchor there.
declarations = json.loads(pathlib.Path(os.environ["SITE_DECLARATIONS"]).read_text())

html_theme = "furo"
html_title = f"sealkit {version}"
html_static_path = ["static"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_copyright = False
html_show_sphinx = False
pygments_style = "default"
pygments_dark_style = "github-dark"


def page_of(name, current, pages):
    """The page that stands for a path of the source tree or a header's name, or nothing."""
    for path in (name, posixpath.normpath(posixpath.join(posixpath.dirname(current), name))):
        path = path.rstrip("/")
        base, ending = posixpath.splitext(path)
        candidates = {".md": [base, posixpath.join(posixpath.dirname(path), "index")], "": [f"{path}/index"],
                      ".h": [f"include/{base}", f"include/sealkit/{base}", base]}.get(ending, [])
        for candidate in candidates:
            if candidate in pages and (ending != ".md" or base == candidate or base.endswith("README")):
                return candidate
    return None


def link_names(app, doctree, current):
    """Makes links of the files and declarations that a text names in code type."""
    for literal in list(doctree.findall(nodes.literal)):
        if isinstance(literal.parent, (nodes.reference, nodes.title)):
            continue
        text = literal.astext()
        page, anchor = page_of(text, current, app.env.found_docs), ""
        if not page:
            name = text.removesuffix("()")
            places = declarations.get(name, {})
            if current not in places and name.islower():
                continue  # A word, which another header has as a name.
            page = current if current in places else next(iter(places)) if len(places) == 1 else None
            anchor = places.get(page, "")
        if page and (anchor or page != current):
            literal.replace_self(make_refnode(app.builder, current, page, anchor, literal.deepcopy()))


def open_one_branch(app, current, template, context, doctree):
    """Lets the contents beside a page show the branch that the page is in, and of the others their root."""
    whole = context["toctree"]
    context["toctree"] = lambda **options: whole(**options | {"collapse": True})


def setup(app):
    app.connect("doctree-resolved", link_names)
    app.connect("html-page-context", open_one_branch, priority=400)
