#!/usr/bin/env python3
"""Breaks what check_documents.py holds the documents to, in a tree of its own, and wants each breach found."""

import subprocess
import tempfile
import unittest
from pathlib import Path

import check_documents

TABLE = "docs/what-works-where.md"
GOOD = {
    "README.md": "[A page](docs/page.md#two-words) [elsewhere](https://example.org/x)\n```\n[code](nowhere)\n```\n",
    "docs/README.md": "[A page](page.md) [The table](what-works-where.md) [Decisions](decisions)\n",
    "docs/page.md": "# A page\n\n## Two words!\n\n[This one](#two-words)\n",
    "docs/decisions/1.md": "One.\n",
    TABLE: """| Part | Headers | On Linux | Checked | On macOS |
|---|---|---|---|---|
| Things | `LThing` `LOther` | works | process `thing` `kill`; faults `thing`; stress `thing` | cross-built; GNUstep `thing` |
| More | – | works | fuzz `thing` | cross-built |

| Another | `table` |
""",
    "tillvane/tillvane.h": "#include <tillvane/core/LThing.h>\n#include <tillvane/text/LOther.h>\n",
    "tillvane/core/thing_stress_test.cpp": "",
    "tests/process/thing_process_test.cpp": "",
    "tests/process/kill_test.cpp": "",
    "tests/process/thing_child.cpp": "",
    "tests/faults/thing_fault_test.cpp": "",
    "tests/mac/gnustep/thing_test.mm": "",
    "fuzz/thing_fuzz.cpp": "",
}


class Documents(unittest.TestCase):
    def check(self, replace=None):
        with tempfile.TemporaryDirectory() as name:
            root = Path(name).resolve()
            for path, text in {**GOOD, **(replace or {})}.items():
                if text is None:
                    continue
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text, encoding="utf-8")
            subprocess.run(["git", "init", "--quiet", root], check=True)
            return check_documents.check(root)

    def table(self, old, new):
        self.assertIn(old, GOOD[TABLE])
        return self.check({TABLE: GOOD[TABLE].replace(old, new)})

    def test_good_tree(self):
        self.assertEqual(self.check(), [])

    def test_link_to_nothing(self):
        self.assertEqual(self.check({"README.md": "[x](docs/none.md)"}),
                         ["README.md: links to docs/none.md, which is not there"])

    def test_link_to_a_heading_that_is_not_there(self):
        self.assertEqual(self.check({"README.md": "[x](docs/page.md#three)"}),
                         ["README.md: links to docs/page.md#three, a heading that is not there"])

    def test_second_heading_of_a_name_has_a_number(self):
        page = {"docs/page.md": "# A page\n\n## Two words!\n\n## Two words\n"}
        self.assertEqual(self.check({**page, "README.md": "[1](docs/page.md#two-words) [2](docs/page.md#two-words-1)"}), [])
        self.assertEqual(self.check({**page, "README.md": "[3](docs/page.md#two-words-2)"}),
                         ["README.md: links to docs/page.md#two-words-2, a heading that is not there"])

    def test_comment_in_a_block_of_code_is_no_heading(self):
        page = {"docs/page.md": "## Two words\n\n```sh\n## then this\n```\n"}
        self.assertEqual(self.check({**page, "README.md": "[x](docs/page.md#then-this)"}),
                         ["README.md: links to docs/page.md#then-this, a heading that is not there"])

    def test_place_in_a_file_that_is_no_page(self):
        self.assertEqual(self.check({"README.md": "[x](fuzz/thing_fuzz.cpp#L1)"}),
                         ["README.md: links to fuzz/thing_fuzz.cpp#L1, a heading that is not there"])

    def test_page_anywhere_in_the_tree(self):
        self.assertEqual(self.check({"tests/mac/README.md": "[x](../none.md)"}),
                         ["tests/mac/README.md: links to ../none.md, which is not there"])

    def test_page_that_git_ignores(self):
        self.assertEqual(self.check({"build/page.md": "[x](none.md)", ".gitignore": "/build/\n"}), [])

    def test_page_that_is_not_in_the_index(self):
        self.assertEqual(self.check({"docs/guides/new.md": ""}), ["docs/README.md: does not link guides/new.md"])

    def test_page_of_an_index_of_a_folder(self):
        index = {"docs/README.md": GOOD["docs/README.md"] + "[Speed](speed/README.md)\n",
                 "docs/speed/README.md": "[Net](net.md) [up](../README.md)\n", "docs/speed/net.md": ""}
        self.assertEqual(self.check(index), [])
        self.assertEqual(self.check({**index, "docs/speed/tick.md": ""}), ["docs/README.md: does not link speed/tick.md"])

    def test_header_without_a_row(self):
        self.assertEqual(self.table(" `LOther`", ""), [f"{TABLE}: has no row for the header LOther"])

    def test_header_that_is_not_there(self):
        self.assertEqual(self.table("`LOther`", "`LOther` `LGone`"),
                         [f"{TABLE}: names the header LGone, which is not there"])

    def test_header_in_two_rows(self):
        self.assertEqual(self.table("| – |", "| `LOther` |"), [f"{TABLE}: names the header LOther twice"])

    def test_test_without_a_row(self):
        for path, kind in {"tests/process/b_process_test.cpp": "process", "tests/faults/b_fault_test.cpp": "faults",
                           "tests/mac/gnustep/b_test.mm": "GNUstep", "fuzz/b_fuzz.cpp": "fuzz",
                           "tillvane/net/b_stress_test.cpp": "stress"}.items():
            with self.subTest(path):
                self.assertEqual(self.check({path: ""}), [f"{TABLE}: has no row for {kind} b"])

    def test_test_that_is_not_there(self):
        self.assertEqual(self.check({"tests/process/kill_test.cpp": None}),
                         [f"{TABLE}: names process kill, which is not there"])

    def test_test_in_two_rows(self):
        self.assertEqual(self.table("fuzz `thing`", "fuzz `thing`; faults `thing`"),
                         [f"{TABLE}: names faults thing twice"])


if __name__ == "__main__":
    unittest.main()
