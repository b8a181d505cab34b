#!/usr/bin/env python3
"""Holds the code in docs/*.md to the files that it is taken from.

A block of code below a line such as `<!-- examples/qt-host/host.cpp -->` stands in that file, line by line, as far as
the block goes. A block of C++ without such a line is an error: code that nobody compiles becomes wrong unnoticed. In
docs/guides a block below its name, as `**hello.cpp**`, is a file that run_guides.py compiles.
"""

import re
import sys
from pathlib import Path

BLOCK = re.compile(
    r"(?:^<!-- (?P<source>\S+) -->\n|^\*\*(?P<file>\S+)\*\*\n\n)?^```cpp\n(?P<code>.*?)^```$", re.M | re.S)


def check(root):
    """\\return (findings, number of blocks)"""
    findings, blocks = [], 0
    for page in sorted((root / "docs").rglob("*.md")):
        text = page.read_text(encoding="utf-8")
        for block in BLOCK.finditer(text):
            blocks += 1
            if block["file"] and page.parent == root / "docs" / "guides":
                continue
            where = f"{page.relative_to(root)}:{text.count(chr(10), 0, block.start('code'))}"
            source = block["source"]
            if source is None:
                findings.append(f"{where}: does not say which file it is taken from")
            elif not (root / source).is_file():
                findings.append(f"{where}: is taken from {source}, which does not exist")
            elif "\n" + block["code"] not in "\n" + (root / source).read_text(encoding="utf-8"):
                findings.append(f"{where}: does not stand in {source} any more; copy it anew")
    return findings, blocks


def main(arguments):
    root = Path(arguments[0]) if arguments else Path(__file__).resolve().parent.parent
    findings, blocks = check(root)
    for finding in findings:
        print(finding)
    print(f"check_excerpts: {blocks} blocks of code")
    # A check that reads nothing finds nothing wrong.
    return 1 if findings or blocks == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
