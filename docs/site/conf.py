"""The documentation as a site: the pages of the repository and the reference from the sources.

scripts/docs runs Sphinx on a folder that holds this file alone. The pages stay where readers of the
repository find them; they are copied beside it here, and their links are turned from paths of the
repository into pages of the site.
"""

import os
import re
import shutil
from pathlib import Path

ROOT = Path(os.environ["QUARN_SOURCE_DIR"])
HERE = Path(os.environ["QUARN_SITE_DIR"])

project = "quarn"
author = "the quarn developers"
version = release = re.search(
    r"VERSION (\d+\.\d+\.\d+)", (ROOT / "CMakeLists.txt").read_text()
).group(1)

extensions = ["myst_parser", "breathe"]
html_theme = "furo"
html_title = f"quarn {release}"
html_copy_source = False
html_static_path = [str(ROOT / "docs" / "site" / "site.css")]
html_css_files = ["site.css"]
highlight_language = "none"
myst_enable_extensions = ["colon_fence", "deflist"]
myst_heading_anchors = 4
breathe_projects = {"quarn": os.environ["QUARN_DOXYGEN_XML"]}
breathe_default_project = "quarn"
breathe_domain_by_extension = {"h": "c", "hpp": "cpp"}
primary_domain = "cpp"

# The Python package is read where it was built; without it its reference is left out by name.
PYTHON_PACKAGE = os.environ.get("QUARN_PYTHON_PACKAGE", "")
if PYTHON_PACKAGE:
    import sys

    sys.path.insert(0, PYTHON_PACKAGE)
    extensions += ["sphinx.ext.autodoc"]
    autodoc_typehints = "none"


def pages():
    """Pairs of a page's name in the site and its file in the repository."""
    for path in sorted((ROOT / "docs").rglob("*.md")):
        yield str(path.relative_to(ROOT / "docs").with_suffix("")), path
    for path in sorted((ROOT / "examples").glob("**/README.md")):
        folder = path.parent.relative_to(ROOT)
        yield str(folder / "index") if folder == Path("examples") else str(folder), path
    yield "figures", ROOT / "benchmarks" / "README.md"
    yield "contributing", ROOT / "CONTRIBUTING.md"
    yield "changes", ROOT / "CHANGELOG.md"


PAGES = dict(pages())
PAGE_OF = {path: page for page, path in PAGES.items()}
LINK = re.compile(r"(!?)\[([^\]]*)\]\(([^)\s]+)\)")


def target_of(page, link):
    """The link as it reads in the site, or None where the file is no page of it."""
    path, _, anchor = link.partition("#")
    file = (PAGES[page].parent / path).resolve()
    if file.is_dir() and file / "README.md" in PAGE_OF:
        file = file / "README.md"
    if file not in PAGE_OF:
        return None
    start = Path(page).parent
    relative = os.path.relpath(PAGE_OF[file], start).replace(os.sep, "/")
    return f"{relative}.md" + (f"#{anchor}" if anchor else "")


def rewritten(page, match):
    """One link of a page. Pictures come along; files that are no page are named, not linked."""
    picture, text, link = match.groups()
    if re.match(r"[a-z]+:|#", link):
        return match.group(0)
    if picture:
        file = (PAGES[page].parent / link).resolve()
        shutil.copy(file, HERE / file.name)
        up = "../" * page.count("/")
        return f"![{text}]({up}{file.name})"
    target = target_of(page, link)
    return f"[{text}]({target})" if target else text


# The way in to the examples is a page of the repository as well, and knows no table of contents.
CONTENTS = {"examples/index": "\n```{toctree}\n:hidden:\n:glob:\n\n*\n```\n"}


def bring_pages():
    for page, path in PAGES.items():
        copy = HERE / f"{page}.md"
        copy.parent.mkdir(parents=True, exist_ok=True)
        text = LINK.sub(lambda match: rewritten(page, match), path.read_text())
        copy.write_text(text + CONTENTS.get(page, ""))


bring_pages()
# What pages show of programs is read from where their links lead.
PROGRAMS = Path("examples", "how_to")
shutil.copytree(ROOT / PROGRAMS, HERE.parent / PROGRAMS, dirs_exist_ok=True)
exclude_patterns = [] if PYTHON_PACKAGE else ["reference/python.md"]
if PYTHON_PACKAGE:
    index = HERE / "index.md"
    index.write_text(index.read_text().replace("reference/cpp\n", "reference/cpp\nreference/python\n"))


ARGUMENT = re.compile(r"([a-z_]+(?:, [a-z_]+)*) {2,}(\S.*)")


def list_arguments(app, what, name, thing, options, lines):
    """Docstrings list arguments in columns, as help() shows them; here they become a list."""
    if what not in ("function", "method"):
        return
    result = []
    listing = False
    for line in lines:
        argument = ARGUMENT.fullmatch(line)
        listing = argument is not None or (listing and line.startswith(" " * 6))
        if argument:
            result.append(f"- **{argument[1]}**: {argument[2]}")
        else:
            result.append("  " + line.strip() if listing else line)
    lines[:] = result


def hide_constructor(app, what, name, thing, options, signature, annotation):
    """Callers make masters; everything else is handed to them."""
    if what == "class" and name != "quarn.Master":
        return "", annotation


def setup(app):
    if PYTHON_PACKAGE:
        app.connect("autodoc-process-signature", hide_constructor)
        app.connect("autodoc-process-docstring", list_arguments)
