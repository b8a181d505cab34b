#!/usr/bin/env python3
"""What Doxygen 1.9.4 cannot do for the documentation. It runs at the root of the tree, as Doxygen does.

docs.py page FILE       writes a page as Doxygen is to read it: a link to a file of the tree that is no page is its text,
                        and a heading can be linked to as in other readers of Markdown.
docs.py check FOLDER    looks at the HTML and the XML that were made: Doxygen passes in silence over what a header without
                        \\file declares and over the values of enumerations, and does not follow links.
"""

import html
import re
import sys
from collections import Counter
from html.parser import HTMLParser
from itertools import chain
from pathlib import Path
from urllib.parse import unquote, urlsplit
from xml.etree import ElementTree

import check_layers

# Declared where the system is macOS: the reference shows the types of Linux.
OTHER_SYSTEM = "tillvane/platform/mac/"
# Doxygen 1.9.4 puts this link over a class with a private class in it, of which it then lists none.
DOXYGENS_OWN = "#nested-classes"

LINK = re.compile(r"(?<!!)\[(?P<text>[^\]\n]*(?:\n[^\]\n]+)?)\]\((?P<target>[^)\s]+)\)")
HEADING = re.compile(r"^##+ (?P<text>.+?)$", re.M)
CODE = re.compile(r"`(?P<code>[^`\n]+)`")
FENCE = re.compile(r"(^```.*?^```$)", re.M | re.S)


def is_page(root, path):
    """Is it a page of the documentation?"""
    return path.suffix == ".md" and path.is_relative_to(root / "docs") and not path.is_relative_to(
        root / "docs" / "decisions")


def slug(heading):
    """What a link calls a heading: "1. Which loop?" is "1-which-loop"."""
    return re.sub(r"[^\w -]", "", heading.strip().lower()).replace(" ", "-")


def label(root, path, fragment):
    """What Doxygen calls it: there are no two of a name on all pages."""
    name = path.relative_to(root / "docs").with_suffix("").as_posix()
    return re.sub(r"[^A-Za-z0-9]", "-", f"{name}-{fragment}")


def prose(text, change):
    """The text with its prose changed, and its blocks of code as they are."""
    return "".join(part if part.startswith("```") else change(part) for part in FENCE.split(text))


def code(match):
    """Of a span of code with one double quote in it Doxygen does not find the end."""
    if match["code"].count('"') % 2 == 0:
        return match.group(0)
    escaped = html.escape(re.sub(r"([\\@#%$])", r"\\\1", match["code"]), quote=False)
    return "<code>" + escaped.replace('"', "&quot;") + "</code>"


class Slugs:
    """The names of a page's headings, in order: a heading that was there before has a number, as GitHub gives it."""

    def __init__(self):
        self.seen = Counter()

    def next(self, text):
        name = slug(text)
        number = self.seen[name]
        self.seen[name] += 1
        return f"{name}-{number}" if number else name


def slugs(path):
    parts = FENCE.split(path.read_text(encoding="utf-8"))
    names = Slugs()
    return {names.next(heading["text"]) for part in parts[::2] for heading in HEADING.finditer(part)}


def page(path, root):
    """The text of a page for Doxygen. A link that leads nowhere stays as it is."""
    path = path.resolve()
    names = Slugs()

    def link(match):
        target = urlsplit(match["target"])
        file = (path.parent / unquote(target.path)).resolve() if target.path else path
        if target.scheme or not file.exists():
            return match.group(0)
        if not is_page(root, file):
            return match["text"]
        if not target.fragment:
            # Of pages with one name Doxygen takes any, unless it is given the way from the root.
            return f"[{match['text']}]({file.relative_to(root).as_posix()})"
        found = "" if target.fragment in slugs(file) else "no-heading-"
        return f"[{match['text']}](#{found}{label(root, file, target.fragment)})"

    def heading(match):
        return f"{match.group(0)} {{#{label(root, path, names.next(match['text']))}}}"

    return prose(path.read_text(encoding="utf-8"), lambda part: CODE.sub(code, LINK.sub(link, HEADING.sub(heading, part))))


def undescribed(root):
    """The public headers without \\file, and how many there are altogether."""
    headers = sorted(path for path in root.glob("tillvane/**/*.h")
                     if check_layers.is_public(path.relative_to(root).as_posix())
                     and OTHER_SYSTEM not in path.as_posix())
    return [f"{path.relative_to(root)}:1: has no \\file: Doxygen would pass over its functions; say what it is for"
            for path in headers if not re.search(r"^/// \\file$", path.read_text(encoding="utf-8"), re.M)], headers


class _Page(HTMLParser):
    """Where a page's links lead, and what they may lead to."""

    def __init__(self, text):
        super().__init__()
        self.links, self.anchors = [], set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if value is None:
                continue
            if name in ("href", "src") or (tag == "object" and name == "data"):
                self.links.append((self.getpos()[0], value))
            elif name == "id" or (name == "name" and tag == "a"):
                self.anchors.add(value)


def dead_links(folder):
    """The links of all pages in a folder that lead to no file, or to no place in it."""
    pages = {path: _Page(path.read_text(encoding="utf-8")) for path in sorted(folder.rglob("*.html"))}
    findings = []
    for path, content in pages.items():
        for line, link in content.links:
            target = urlsplit(link)
            if target.scheme or target.netloc or link in ("", "#", DOXYGENS_OWN):
                continue
            file = (path.parent / unquote(target.path)).resolve() if target.path else path
            there = pages.get(file)
            if not file.is_file() or (there is not None and target.fragment
                                      and unquote(target.fragment) not in there.anchors):
                findings.append(f"{path.name}:{line}: leads to {link}, which is not there")
    return findings, len(pages)


def missing_pages(folder, headers):
    """The headers that Doxygen has made no page of."""
    text = "\n".join(path.read_text(encoding="utf-8") for path in folder.glob("*_8h.html"))
    titles = set(re.findall(r'<div class="title">(\S+) File Reference', text))
    return [f"{header.name}: has no page; is its name in FILE_PATTERNS of docs/Doxyfile?"
            for header in headers if header.name not in titles]


def undocumented_values(folder):
    """The values of enumerations that nothing is said of."""
    paths = sorted(folder.glob("*.xml"))
    if not paths:
        yield f"{folder} is empty; is GENERATE_XML on in docs/Doxyfile?"
    for path in paths:
        for member in ElementTree.parse(path).iter("memberdef"):
            for value in member.iter("enumvalue") if member.get("prot") != "private" else ():
                said = chain(value.find("briefdescription").itertext(), value.find("detaileddescription").itertext())
                if not "".join(said).strip():
                    place = member.find("location")
                    yield f"{place.get('file')}:{place.get('line')}: {value.findtext('name')} is not documented"


def check(folder, root):
    folder = folder.resolve()
    findings, headers = undescribed(root)
    findings += missing_pages(folder / "html", headers)
    findings += sorted(set(undocumented_values(folder / "xml")))
    dead, pages = dead_links(folder / "html")
    for finding in findings + dead:
        print(finding)
    print(f"docs: {len(headers)} headers, {pages} pages")
    # A check that reads nothing finds nothing wrong.
    return 1 if findings or dead or not headers or not pages else 0


def main(arguments):
    if len(arguments) != 2 or arguments[0] not in ("page", "check"):
        print(__doc__, file=sys.stderr)
        return 2
    if arguments[0] == "check":
        return check(Path(arguments[1]), Path.cwd())
    sys.stdout.write(page(Path(arguments[1]), Path.cwd()))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
