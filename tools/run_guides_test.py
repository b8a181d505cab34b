#!/usr/bin/env python3
"""Breaks what run_guides.py holds a page to, and wants each breach found."""

import tempfile
import time
import unittest
from pathlib import Path
from unittest import mock

import run_guides

GOOD = """# A page

**hello.cpp**

```cpp
int main() {}
```

```sh
export GREETING=hello
export CMAKE_PREFIX_PATH=prefix
```

Words.

```sh
echo "$GREETING, $HOME"
```

```text
hello, /home/you
```
"""

README = """<!-- run by ./dev ci -->
```sh
./dev demo   # it sells
```

**host.cpp**

```cpp
int main() {}
```

```sh
export LD_LIBRARY_PATH="$CMAKE_PREFIX_PATH/lib"
```

```sh
ls -1; echo "$LD_LIBRARY_PATH"
```

```text
docs
host.cpp
prefix/lib
```
"""

FIRST = GOOD.replace("**hello.cpp**", "**CMakeLists.txt**\n\n```cmake\nproject(guides)\n```\n\n**first.cpp**")
SECOND = """**second.cpp**

```cpp
int main() {}
```

```sh
echo "$GREETING"; cat CMakeLists.txt; ls -1
```

```text
hello
project(guides)
CMakeLists.txt
second.cpp
```
"""


def found_in(text):
    return run_guides.read_page("page", text)[1]


CI = """usage() { echo './dev demo'; }
ci_demo() { ./dev demo; }
ci_shop() {
  ci_demo;
}
command_ci() {
  need_build
  step 'demo' ci_shop
}
"""


class Reading(unittest.TestCase):
    def test_good_page(self):
        page, wrong = run_guides.read_page("page", GOOD)
        self.assertEqual(wrong, [])
        self.assertEqual(page.files, {"hello.cpp": "int main() {}\n"})
        self.assertEqual([command.output for command in page.commands], [None, "hello, /home/you\n"])

    def test_page_without_a_program(self):
        self.assertEqual(found_in(GOOD.replace("hello.cpp", "hello.txt")), ["page.md: has no program"])

    def test_page_without_an_output(self):
        self.assertEqual(found_in(GOOD[: GOOD.index("```text")]), ["page.md: has no command whose output it shows"])

    def test_code_that_is_no_file(self):
        self.assertIn("page.md:3: neither a file, nor a command, nor what one writes",
                      found_in(GOOD.replace("**hello.cpp**\n\n", "")))

    def test_output_that_stands_apart_from_its_command(self):
        self.assertTrue(found_in(GOOD.replace("```text", "Words.\n\n```text")))

    def test_excerpt_is_left_to_the_other_check(self):
        self.assertEqual(found_in(GOOD + "\n<!-- examples/a.cpp -->\n```cpp\nint a;\n```\n"), [])


class Running(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.tree = Path(scratch.name)
        (self.tree / "docs/guides").mkdir(parents=True)
        (self.tree / "README.md").write_text(README, encoding="utf-8")
        (self.tree / "dev").write_text(CI, encoding="utf-8")

    def run_pages(self, names=(), **pages):
        for name, text in pages.items():
            (self.tree / "docs/guides" / f"{name.replace('_', '-')}.md").write_text(text, encoding="utf-8")
        return run_guides.run(self.tree, list(names))

    def test_good_pages(self):
        wrong, told = self.run_pages(start_here=FIRST, second=SECOND)
        self.assertEqual(wrong, [])
        self.assertEqual([line.split(":")[0] for line in told], ["start-here", "second", "README"])
        self.assertFalse((self.tree / "host.cpp").exists())

    def test_command_that_ci_does_not_run(self):
        for script in (CI.replace("./dev demo", "./dev demonstrate"), CI.replace("./dev demo", "# ./dev demo"),
                       CI.replace("step 'demo'", "say 'demo'"), CI.replace("command_ci", "command_all"),
                       CI.replace("ci_demo;", "ci_demos;")):
            with self.subTest(script):
                (self.tree / "dev").write_text(script, encoding="utf-8")
                wrong, _ = self.run_pages(start_here=FIRST)
                self.assertEqual(wrong, ["README.md:2: ./dev demo is not run by ./dev ci"])

    def test_command_that_another_command_of_ci_runs(self):
        script = CI.replace("{ ./dev demo", "{ ./dev sell") + "command_sell() {\n  ./dev demo\n}\n"
        (self.tree / "dev").write_text(script, encoding="utf-8")
        self.assertEqual(self.run_pages(start_here=FIRST)[0], [])

    def test_other_output_of_the_readme(self):
        (self.tree / "README.md").write_text(README.replace("prefix/lib", "nothing"), encoding="utf-8")
        wrong, _ = self.run_pages(start_here=FIRST)
        self.assertTrue(wrong[0].startswith("README.md:16: writes"), wrong)

    def test_command_in_the_source_tree(self):
        (self.tree / "LICENCE").touch()
        page = FIRST.replace("```sh\necho", "<!-- in the source tree -->\n```sh\nls LICENCE; echo")
        wrong, _ = self.run_pages(start_here=page.replace("```text\n", "```text\nLICENCE\n"))
        self.assertEqual(wrong, [])

    def test_other_output(self):
        wrong, _ = self.run_pages(start_here=FIRST, second=SECOND.replace("hello\n", "hullo\n"))
        self.assertEqual(len(wrong), 1)
        self.assertTrue(wrong[0].startswith("second.md:7: writes\nhello\n"), wrong)

    def test_output_that_is_too_long(self):
        wrong, _ = self.run_pages(start_here=FIRST.replace("/home/you\n", "/home/you\nmore\n"))
        self.assertEqual(len(wrong), 1)

    def test_command_that_fails(self):
        wrong, _ = self.run_pages(start_here=FIRST.replace("export", "false\nexport"))
        self.assertTrue(wrong[0].startswith("start-here.md:"), wrong)
        self.assertIn("ends with 1", wrong[0])

    def test_command_that_does_not_end(self):
        with mock.patch.object(run_guides, "LIMIT_S", 1):
            began = time.monotonic()
            wrong, _ = self.run_pages(start_here=FIRST.replace("export", "sleep 60 &\nwait\nexport"))
        self.assertIn("takes more than 1 s", wrong[0])
        self.assertLess(time.monotonic() - began, 30)

    def test_command_in_the_source_tree_has_a_limit_of_its_own(self):
        page = FIRST.replace("```sh\necho", "<!-- in the source tree -->\n```sh\nsleep 60; echo")
        with mock.patch.object(run_guides, "LIMIT_IN_TREE_S", 2):
            wrong, _ = self.run_pages(start_here=page)
        self.assertIn("takes more than 2 s", wrong[0])

    def test_order_of_what_is_written(self):
        page = FIRST.replace('echo "$GREETING, $HOME"', "echo a; echo b >&2; echo c").replace(
            "hello, /home/you\n```", "a\nb\nc\n```")
        self.assertEqual(self.run_pages(start_here=page)[0], [])

    def test_two_pages_with_one_file(self):
        wrong, _ = self.run_pages(start_here=FIRST, second=SECOND.replace("second.cpp", "first.cpp"))
        self.assertEqual(wrong, ["start-here.md: second.md has a file first.cpp too"])

    def test_page_that_is_not_there(self):
        wrong, _ = self.run_pages(["third"], start_here=FIRST)
        self.assertEqual(wrong, ["there is no page third"])

    def test_no_page_at_all(self):
        self.assertEqual(run_guides.run(self.tree, [])[0], ["there is no page start-here"])


if __name__ == "__main__":
    unittest.main()
