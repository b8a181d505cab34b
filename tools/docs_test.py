#!/usr/bin/env python3
"""Breaks the documentation of a small tree in every way once, and wants Doxygen or docs.py to say so."""

import contextlib
import io
import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

import docs

ROOT = Path(__file__).resolve().parent.parent

HEADER = """#pragma once

/// \\file
/// Things.

/// A thing.
class LThing {
 public:
  /// Does it.
  /// \\param how as one likes
  void Do(int how);

 private:
  void Hidden();
  enum { kHidden };
};

/// How many there are.
int CountThings();

/// One of them.
enum LKind {
  kOne  ///< The first.
};

/// All of them.
#define ALL_THINGS 1

/// A number of things.
using Count = int;

/// What is counted.
extern int counted;
"""

# A small tree with a page, a header and what docs/Doxyfile needs.
GOOD = {
    "docs/mainpage.md": "# Main\n\n[A guide](guide.md), [the worker](../examples/worker), LThing, \\ref tillvane/core.\n",
    "docs/guide.md": "# Guide\n\n## 1. The `part`\n\nText.\n\n```\n## No heading\n```\n",
    "docs/folders.dox": "/// \\dir tillvane/core\n/// Things.\n",
    "examples/worker/worker.cpp": "int main() {}\n",
    "tillvane/core/LThing.h": HEADER,
    "tillvane/store/TillvaneShop.h": "/// \\file\n/// A shop.\n",
    "tillvane/core/thing.h": "int InternalAndUndocumented();\n",
    "tillvane/platform/mac/native_types_mac.h": "int NeedsNoFile();\n",
}


class Tree(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name).resolve()
        for path, text in GOOD.items():
            self.write(path, text)

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text, encoding="utf-8")


class Pages(Tree):
    def test_links_that_leave_the_pages_are_their_text(self):
        self.write("docs/decisions/one.md", "# One\n")
        self.write("docs/guides/stop.md", "# Stop\n")
        page = self.root / "docs/other.md"
        for text, expected in [
                ("[a](guides/stop.md) and [b](guide.md)", "[a](docs/guides/stop.md) and [b](docs/guide.md)"),
                ("[a](guide.md#1-the-part)", "[a](#guide-1-the-part)"),
                ("## On\n[a](#on)", "## On {#other-on}\n[a](#other-on)"),
                ("## On\n## On!\n[a](#on-1)", "## On {#other-on}\n## On! {#other-on-1}\n[a](#other-on-1)"),
                ("[a](guide.md#part) [b](#off)", "[a](#no-heading-guide-part) [b](#no-heading-other-off)"),
                ("[a](guide.md#no-heading)", "[a](#no-heading-guide-no-heading)"),
                ("[`examples/worker`](../examples/worker).", "`examples/worker`."),
                ("[a](../examples/worker/worker.cpp#L1)", "a"),
                ("[a](decisions/one.md)", "a"),
                ("[two\nlines](../examples)", "two\nlines"),
                ("[dead](nowhere.md)", None),
                ("[a](https://example.org/examples#on)", None),
                ('`"`, `"a"` and `\\"<$`', '<code>&quot;</code>, `"a"` and <code>\\\\&quot;&lt;\\$</code>'),
                ("![picture](../examples/worker)", None),
                ("```\n[a](../examples)\n```\n[b](../examples)", "```\n[a](../examples)\n```\nb"),
        ]:
            with self.subTest(text):
                self.write("docs/other.md", text)
                self.assertEqual(docs.page(page, self.root), text if expected is None else expected)

    def test_every_public_header_says_what_it_is_for(self):
        self.assertEqual([header.name for header in docs.undescribed(self.root)[1]],
                         ["LThing.h", "TillvaneShop.h"])
        self.assertEqual(docs.undescribed(self.root)[0], [])
        self.write("tillvane/core/LThing.h", HEADER.replace("/// \\file\n", ""))
        self.assertIn("LThing.h:1: has no \\file", docs.undescribed(self.root)[0][0])


class Links(Tree):
    def dead(self, text):
        self.write("html/a.html", text)
        self.write("html/b.html", '<a name="old"></a><p id="new">')
        return [finding.split(": ")[1] for finding in docs.dead_links(self.root / "html")[0]]

    def test_links(self):
        for text, expected in [
                ('<a href="b.html"><a href="b.html#old"><a href="b.html#new">', []),
                ('<p id="here"><a href="#here"><a href="#"><a href="https://example.org/x#y">', []),
                ('<p><a href="#nested-classes"><a href="mailto:x"><img src="data:image/png;base64,AA">', []),
                ('\n<a href="c.html">', ["leads to c.html, which is not there"]),
                ('<a href="b.html#other">', ["leads to b.html#other, which is not there"]),
                ('<a href="#there">', ["leads to #there, which is not there"]),
                ('<img src="picture.png">', ["leads to picture.png, which is not there"]),
                ('<object data="picture.svg">', ["leads to picture.svg, which is not there"]),
                ('<a href="../docs">', ["leads to ../docs, which is not there"]),
        ]:
            with self.subTest(text):
                self.assertEqual(self.dead(text), expected)

    def test_values_that_nobody_could_look_at_are_not_well(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertRegex("".join(docs.undocumented_values(Path(folder))), "is empty; is GENERATE_XML on")

    def test_a_check_that_reads_nothing_fails(self):
        (self.root / "html").mkdir()
        with contextlib.redirect_stdout(io.StringIO()):
            self.assertEqual(docs.check(self.root, self.root), 1)


class WithDoxygen(Tree):
    """The rules of docs/Doxyfile itself."""

    def setUp(self):
        super().setUp()
        (self.root / "tools").symlink_to(ROOT / "tools")
        self.write("docs/Doxyfile", (ROOT / "docs/Doxyfile").read_text(encoding="utf-8"))

    def make(self):
        """\\return (did both find nothing, what they said)"""
        shutil.rmtree(self.root / "build", ignore_errors=True)
        (self.root / "build/docs").mkdir(parents=True)
        made = subprocess.run(["doxygen", "docs/Doxyfile"], cwd=self.root, capture_output=True, text=True, check=False,
                              env={**os.environ, "TILLVANE_VERSION": "1.2.3", "PYTHONDONTWRITEBYTECODE": "1"})
        said = io.StringIO()
        with contextlib.redirect_stdout(said):
            checked = docs.check(self.root / "build/docs", self.root)
        return made.returncode == 0 and checked == 0, made.stderr + said.getvalue()

    def page(self, name):
        return (self.root / "build/docs/html" / name).read_text(encoding="utf-8")

    def test_the_tree_as_it_is(self):
        self.assertEqual(self.make(), (True, "docs: 2 headers, "
                                       f"{len(list(self.root.glob('build/docs/html/**/*.html')))} pages\n"))
        self.assertIn("1.2.3", self.page("index.html"))
        self.assertIn("classLThing.html", self.page("index.html"))
        self.assertIn("LThing_8h.html", self.page("files.html"))
        self.assertNotIn("Hidden", self.page("classLThing.html"))

    def test_what_is_broken_is_said(self):
        header, main = "tillvane/core/LThing.h", "docs/mainpage.md"
        for path, good, bad, expected in [
                (header, "/// A thing.\n", "", "Compound LThing is not documented"),
                (header, "/// How many there are.\n", "", "Member CountThings() (function) of file"),
                (header, "  /// Does it.\n  /// \\param how as one likes\n", "", "Member Do(int how) (function) of class"),
                (header, "  ///< The first.", "", "kOne is not documented"),
                (header, "/// One of them.\n", "", "Member LKind (enumeration) of file"),
                (header, "/// All of them.\n", "", "Member ALL_THINGS (macro definition) of file"),
                (header, "/// A number of things.\n", "", "Member Count (typedef) of file"),
                (header, "/// What is counted.\n", "", "Member counted (variable) of file"),
                (header, "\\param how", "\\param why", "argument 'why' of command @param is not found"),
                (header, "(int how)", "(int how, int often)", "The following parameter"),
                (header, "/// Does it.", "/// Does it as \\ref LOther does.", "unable to resolve reference to 'LOther'"),
                (header, "/// Does it.", "/// Does \\it.", "Found unknown command"),
                (header, "/// \\file\n", "", "has no \\file"),
                (main, "guide.md", "nowhere.md", "nowhere.md"),
                (main, "guide.md", "guide.md#nowhere", "no-heading-guide-nowhere"),
                (main, "guide.md", "#nowhere", "no-heading-mainpage-nowhere"),
                (main, "LThing", "[x](nowhere/a.html)", "nowhere/a.html"),
                ("docs/Doxyfile", " Tillvane*.h ", " ", "TillvaneShop.h: has no page"),
        ]:
            with self.subTest(bad=bad or f"without {good}"):
                text = (self.root / path).read_text(encoding="utf-8")
                self.assertEqual(text.count(good), 1)
                self.write(path, text.replace(good, bad))
                ok, said = self.make()
                self.write(path, text)
                self.assertFalse(ok)
                self.assertIn(expected, said)


if __name__ == "__main__":
    unittest.main()
