#!/usr/bin/env python3
"""Breaks what check_excerpts.py holds the documents to, and wants each breach found."""

import tempfile
import unittest
from pathlib import Path

import check_excerpts

EXCERPT = "<!-- examples/a.cpp -->\n```cpp\nint a;\n```\n"
FILE = "**hello.cpp**\n\n```cpp\nint main() {}\n```\n"


class Excerpts(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = Path(scratch.name)
        self.write("examples/a.cpp", "// A.\nint a;\nint b;\n")

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text, encoding="utf-8")

    def check(self, page, text):
        self.write(page, text)
        return check_excerpts.check(self.root)

    def test_excerpt(self):
        self.assertEqual(self.check("docs/page.md", EXCERPT), ([], 1))

    def test_code_that_is_not_the_files(self):
        findings, _ = self.check("docs/page.md", EXCERPT.replace("int a;", "int c;"))
        self.assertEqual(findings, ["docs/page.md:2: does not stand in examples/a.cpp any more; copy it anew"])

    def test_file_that_is_not_there(self):
        findings, _ = self.check("docs/page.md", EXCERPT.replace("a.cpp", "b.cpp"))
        self.assertEqual(findings, ["docs/page.md:2: is taken from examples/b.cpp, which does not exist"])

    def test_code_of_nobody(self):
        for page in "docs/page.md", "docs/guides/page.md":
            findings, _ = self.check(page, EXCERPT.split("\n", 1)[1])
            self.assertEqual(findings, [f"{page}:1: does not say which file it is taken from"])
            (self.root / page).unlink()

    def test_file_of_a_guide(self):
        self.assertEqual(self.check("docs/guides/page.md", FILE), ([], 1))

    def test_file_elsewhere(self):
        findings, _ = self.check("docs/page.md", FILE)
        self.assertEqual(findings, ["docs/page.md:3: does not say which file it is taken from"])


if __name__ == "__main__":
    unittest.main()
