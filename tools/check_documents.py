#!/usr/bin/env python3
"""Holds the documents to the tree.

- Each link of a Markdown page, wherever in the tree it is, that leads into the tree leads to a file or folder, and to a heading that is there.
- Each page of docs/ is linked from docs/README.md.
- docs/what-works-where.md: each public header, each test of tests/process, tests/faults and tests/mac/gnustep, each
  stress test and each fuzz target stands in exactly one row of its first table, and whatever stands there exists.
"""

import re
import subprocess
import sys
from pathlib import Path

import docs

TABLE = "docs/what-works-where.md"
INDEX = "docs/README.md"

LINK = re.compile(r"\]\(([^)\s]+)\)")

# What a column's words name: folder, and how a file's name goes on behind the word.
TESTS = {
    "process": ("tests/process", ("_process_test.cpp", "_test.cpp")),
    "faults": ("tests/faults", ("_fault_test.cpp", "_test.cpp")),
    "fuzz": ("fuzz", ("_fuzz.cpp",)),
    "stress": ("tillvane", ("_stress_test.cpp",)),
    "GNUstep": ("tests/mac/gnustep", ("_test.mm",)),
}
KIND = re.compile(r"\b(process|faults|fuzz|stress|GNUstep)((?: `[a-z0-9_]+`)+)")


def pages(root):
    """The Markdown pages that are kept, or will be: what was built and what was installed has pages of its own."""
    listed = subprocess.run(["git", "-c", f"safe.directory={root}", "ls-files", "-z", "--cached", "--others",
                             "--exclude-standard", "--", "*.md"], cwd=root, capture_output=True, text=True, check=True)
    return [root / name for name in sorted(set(listed.stdout.split("\0")) - {""}) if (root / name).exists()]


def check_links(root):
    findings = []
    for page in pages(root):
        text = page.read_text(encoding="utf-8")
        for link in LINK.findall(docs.FENCE.sub("", text)):
            if "://" in link or link.startswith("mailto:"):
                continue
            path, _, fragment = link.partition("#")
            target = (page.parent / path).resolve() if path else page
            name = page.relative_to(root)
            if not target.exists():
                findings.append(f"{name}: links to {link}, which is not there")
            elif fragment and (target.suffix != ".md" or fragment not in docs.slugs(target)):
                findings.append(f"{name}: links to {link}, a heading that is not there")
    return findings


def linked_from(index):
    """What an index links, with all pages of a folder, and what an index of a folder links in its turn."""
    text = index.read_text(encoding="utf-8")
    linked = {(index.parent / link.partition("#")[0]).resolve() for link in LINK.findall(text) if "://" not in link}
    linked |= {page for folder in linked if folder.is_dir() for page in folder.rglob("*.md")}
    below = {page for page in linked if page.name == "README.md" and index.parent in page.parent.parents and page.exists()}
    return linked.union(*map(linked_from, below))


def check_index(root):
    linked = linked_from(root.resolve() / INDEX)
    return [f"{INDEX}: does not link {page.relative_to(root / 'docs')}"
            for page in sorted((root / "docs").rglob("*.md")) if page != root / INDEX and page.resolve() not in linked]


def public_headers(root):
    """What a host includes by tillvane.h."""
    text = (root / "tillvane/tillvane.h").read_text(encoding="utf-8")
    return {Path(name).stem for name in re.findall(r"^#include <(\S+)>$", text, re.M)}


def test_files(root, kind):
    """\\return the files of a kind by the names that the table may give them"""
    folder, ends = TESTS[kind]
    files = {}
    for path in sorted((root / folder).rglob("*") if kind == "stress" else (root / folder).glob("*")):
        for end in ends:
            if path.name.endswith(end):
                files[path.name[: -len(end)]] = path
                break
    return files


def rows(root):
    """\\return the rows of the first table, without its head, as lists of cells"""
    text = (root / TABLE).read_text(encoding="utf-8")
    table = re.search(r"(?:^\|.*\n)+", text, re.M)
    lines = table[0].splitlines()[2:] if table else []
    return [[cell.strip() for cell in line.strip("|").split("|")] for line in lines]


def count(named, there, what):
    findings = [f"{TABLE}: has no row for {what} {name}" for name in sorted(there - set(named))]
    findings += [f"{TABLE}: names {what} {name}, which is not there" for name in sorted(set(named) - there)]
    findings += [f"{TABLE}: names {what} {name} twice" for name in sorted({n for n in named if named.count(n) > 1})]
    return findings


def check_table(root):
    cells = rows(root)
    named = [name for row in cells for name in re.findall(r"`(\w+)`", row[1])]
    findings = count(named, public_headers(root), "the header")
    words = [match for row in cells for cell in row[2:] for match in KIND.findall(cell)]
    for kind in TESTS:
        named = [name for found, names in words if found == kind for name in re.findall(r"`(\w+)`", names)]
        findings += count(named, set(test_files(root, kind)), kind)
    return findings


def check(root):
    return check_links(root) + check_index(root) + check_table(root)


def main(arguments):
    root = (Path(arguments[0]) if arguments else Path(__file__).resolve().parent.parent).resolve()
    findings = check(root)
    for finding in findings:
        print(finding)
    # A check that reads nothing finds nothing wrong.
    number = len(rows(root))
    print(f"check_documents: {len(pages(root))} pages, {number} parts")
    return 1 if findings or number == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
