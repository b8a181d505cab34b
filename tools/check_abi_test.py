#!/usr/bin/env python3
"""Builds a small library, changes it in one way after the other, and sees what check_abi.py says."""

import contextlib
import io
import subprocess
import tempfile
import unittest
from pathlib import Path

import check_abi

HEADER = """#pragma once
#include <string>
enum class Colour { kRed, kGreen };
struct Point {
  int x, y;
  std::string name;
};
class Shape {
 public:
  virtual ~Shape();
  virtual int Sides() const;
  virtual Point Middle() const;
  Point corner;
};
void Draw(const Shape& shape, Colour colour);
bool Move(Shape& shape, int by);
"""

SOURCE = """#include "shape.h"
#include "inside.h"
Shape::~Shape() = default;
int Shape::Sides() const { return 0; }
Point Shape::Middle() const { return {}; }
void Draw(const Shape&, Colour) {}
bool Move(Shape&, int) { return true; }
int inside(Inside*) { return 0; }
"""

# As in the library, nothing of the C++ library's leaves.
MAP = """VERSION_1 {
  global: extern "C++" { Shape*; Draw*; Move*; Hide*; vtable*; typeinfo*; };
  local: *;
};
"""

INSIDE = "struct Inside { int a; };\n"

# (what changes, the old text, the new text)
CHANGES = [
    ("a member is added", "int x, y;", "int x, y, z;"),
    ("a member changes its type", "int x, y;", "int x; float y;"),
    ("two members change places", "int x, y;", "int y, x;"),
    ("a member of the C++ library's changes its type", "std::string name;", "std::u16string name;"),
    ("a virtual function is added", "  Point corner;", "  virtual void More();\n  Point corner;"),
    ("virtual functions change places", "  virtual int Sides() const;\n  virtual Point Middle() const;",
     "  virtual Point Middle() const;\n  virtual int Sides() const;"),
    ("a function is removed", "bool Move(Shape& shape, int by);", ""),
    ("a parameter changes its type", "int by)", "long by)"),
    ("a parameter is added", "int by)", "int by, int more)"),
    ("a result changes its type", "bool Move", "int Move"),
    ("an enumerator changes its value", "kRed, kGreen", "kGreen, kRed"),
    ("an enumerator is added", "kRed, kGreen", "kRed, kGreen, kBlue"),
    ("a function is added", "bool Move", "void Hide(Shape& shape);\nbool Move"),
]

# What the definitions become where a change of the header asks for it.
DEFINITIONS = {
    "a virtual function is added": ("int inside", "void Shape::More() {}\nint inside"),
    "a function is removed": ("bool Move(Shape&, int) { return true; }", ""),
    "a parameter changes its type": ("(Shape&, int)", "(Shape&, long)"),
    "a parameter is added": ("(Shape&, int)", "(Shape&, int, int)"),
    "a result changes its type": ("bool Move", "int Move"),
    "a function is added": ("int inside", "void Hide(Shape&) {}\nint inside"),
}


def replaced(text, old, new):
    assert old in text, old
    return text.replace(old, new)


class CheckAbi(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.kept = self.folder / "kept.abi"

    def build(self, header=HEADER, source=SOURCE, inside=INSIDE, below="build", options=("-O0",)):
        """\\return the arguments that name what was built, in a folder of its own"""
        for place, text in (("include/shape.h", header), ("source/inside.h", inside), ("source/shape.cpp", source),
                            ("source/shape.map", MAP)):
            (self.folder / place).parent.mkdir(exist_ok=True)
            (self.folder / place).write_text(text)
        (self.folder / below).mkdir(parents=True, exist_ok=True)
        up = "../" * len(Path(below).parts)
        subprocess.run(["g++", "-std=c++20", "-g", *options, "-shared", "-fPIC", f"-I{up}include",
                        f"-Wl,--version-script={up}source/shape.map", f"{up}source/shape.cpp", "-o", "library.so"],
                       cwd=self.folder / below, check=True)
        return [str(self.folder / below / "library.so"), str(self.folder / "include"), str(self.kept)]

    def check(self, *arguments):
        """\\return (exit status, what it prints)"""
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            status = check_abi.main(list(arguments))
        return status, printed.getvalue()

    def test_every_change_is_found(self):
        self.check("--update", *self.build())
        for what, old, new in CHANGES:
            with self.subTest(what):
                source = replaced(SOURCE, *DEFINITIONS[what]) if what in DEFINITIONS else SOURCE
                status, printed = self.check(*self.build(replaced(HEADER, old, new), source))
                self.assertEqual(status, 1)
                self.assertIn("./dev abi --update", printed)

    def test_what_no_header_shows_may_change(self):
        self.check("--update", *self.build())
        inside = "struct Inside { long a, b; };\n"
        self.assertEqual(self.check(*self.build(inside=inside))[0], 0)

    def test_the_folder_and_the_optimiser_change_nothing(self):
        self.check("--update", *self.build())
        kept = self.kept.read_text()
        self.assertNotIn(str(self.folder), kept)
        self.check("--update", *self.build(below="another/build"))
        self.assertEqual(self.kept.read_text(), kept)
        self.assertEqual(self.check(*self.build(options=["-O2"]))[0], 0)

    def test_an_update_is_what_is_compared_with(self):
        self.check("--update", *self.build())
        larger = self.build(replaced(HEADER, "int x, y;", "int x, y, z;"))
        self.check("--update", *larger)
        self.assertEqual(self.check(*larger)[0], 0)

    def test_what_cannot_be_compared_is_an_error(self):
        arguments = self.build()
        with self.assertRaises(SystemExit) as none_kept:
            self.check(*arguments)
        self.assertIn("--update", str(none_kept.exception))
        with self.assertRaises(SystemExit) as no_debug_information:
            self.check("--update", *self.build(options=["-g0"]))
        self.assertIn("-g", str(no_debug_information.exception))
        self.kept.write_text("not a description")
        with self.assertRaises(SystemExit):
            self.check(*self.build())
        with self.assertRaises(SystemExit):
            self.check("--update")


if __name__ == "__main__":
    unittest.main()
