#!/usr/bin/env python3
"""Asks coverage_report.py about counts made up here, and about a small program that the preset's options instrument."""

import contextlib
import io
import json
import subprocess
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import coverage_report

ROOT = Path("/sources")


def export_of(**files):
    return {"data": [{"files": [{"filename": str(ROOT / name.replace("__", "/")) + ".cpp", **file}
                                for name, file in files.items()]}]}


def file_of(segments, branches=()):
    return {"segments": segments, "branches": branches}


def measured(segments, branches=()):
    return coverage_report.measured_files(export_of(tillvane__a=file_of(segments, branches)), ROOT)["tillvane/a.cpp"]


class Lines(unittest.TestCase):
    def test_a_region_counts_for_all_its_lines_and_for_none_after_it(self):
        file = measured([[2, 1, 5, True, True, False], [4, 2, 0, False, False, False]])
        self.assertEqual(file.lines, {2: 5, 3: 5, 4: 5})

    def test_a_line_ran_as_often_as_what_reaches_it_or_what_begins_in_it(self):
        file = measured([[1, 1, 3, True, True, False], [2, 9, 0, True, True, False], [3, 4, 3, True, False, False],
                         [4, 9, 7, True, True, False], [5, 4, 3, True, False, False], [6, 2, 0, False, False, False]])
        self.assertEqual(file.lines, {1: 3, 2: 3, 3: 0, 4: 7, 5: 7, 6: 3})
        self.assertEqual(file.missed_lines(), [3])

    def test_gaps_between_statements_begin_nothing(self):
        file = measured([[1, 1, 2, True, True, False], [1, 20, 9, True, True, True], [2, 1, 0, False, False, False]])
        self.assertEqual(file.lines, {1: 2, 2: 9})

    def test_what_the_preprocessor_skipped_is_no_code(self):
        file = measured([[1, 1, 2, True, True, False], [2, 1, 0, False, True, False], [3, 1, 2, True, False, False],
                         [4, 1, 0, False, False, False]])
        self.assertEqual(file.lines, {1: 2, 4: 2})


class Branches(unittest.TestCase):
    region = [[1, 1, 4, True, True, False], [9, 1, 0, False, False, False]]

    def test_each_way_out_of_a_condition_is_one(self):
        file = measured(self.region, [[2, 7, 2, 9, 4, 0, 0, 0, 4]])
        self.assertEqual(file.branches, [(2, 7, False, 0), (2, 7, True, 4)])
        self.assertEqual(file.missed_branches(), [(2, 7, False, 0)])

    def test_what_another_instantiation_took_is_taken(self):
        file = measured(self.region, [[2, 7, 2, 9, 4, 0, 0, 0, 4], [2, 7, 2, 9, 0, 1, 0, 0, 4]])
        self.assertEqual(file.branches, [(2, 7, False, 1), (2, 7, True, 4)])

    def test_a_condition_that_the_compiler_decided_is_none(self):
        self.assertEqual(measured(self.region, [[2, 7, 2, 9, 0, 0, 0, 0, 4]]).branches, [])

    def test_a_condition_that_was_not_reached_has_missed_both(self):
        file = measured([[1, 1, 0, True, True, False], [9, 1, 0, False, False, False]], [[2, 7, 2, 9, 0, 0, 0, 0, 4]])
        self.assertEqual(len(file.missed_branches()), 2)


class Files(unittest.TestCase):
    def test_only_the_librarys_own_sources_for_this_system_count(self):
        line = file_of([[1, 1, 1, True, True, False], [1, 9, 0, False, False, False]])
        export = export_of(tillvane__b=line, tillvane__a=line, tillvane__a_test=line, tests__c=line, tillvanes__d=line,
                           tillvane__platform__mac__e=line, tillvane__platform__linux__f=line)
        self.assertEqual(list(coverage_report.measured_files(export, ROOT, {"tillvane/a_test.cpp"})),
                         ["tillvane/a.cpp", "tillvane/b.cpp", "tillvane/platform/linux/f.cpp"])

    def test_nothing_measured_is_an_error(self):
        with self.assertRaisesRegex(SystemExit, "no file of the library in /root was measured"):
            coverage_report.measured_files({"data": [{"files": []}]}, Path("/root"))

    def test_the_table_has_a_row_for_each_and_the_sums(self):
        files = coverage_report.measured_files(export_of(
            tillvane__a=file_of([[1, 1, 1, True, True, False], [3, 9, 0, False, False, False]],
                                [[1, 2, 1, 3, 1, 0, 0, 0, 4]]),
            tillvane__b=file_of([[1, 1, 0, True, True, False], [1, 9, 0, False, False, False]])), ROOT)
        self.assertEqual(coverage_report.table(files).splitlines()[2:], [
            "| `tillvane/a.cpp` | 3 | 0 | 100.0 % | 2 | 1 | 50.0 % |",
            "| `tillvane/b.cpp` | 1 | 1 | 0.0 % | 0 | 0 | 100.0 % |",
            "| **all** | 4 | 1 | 75.0 % | 2 | 1 | 50.0 % |"])

    def test_details_name_what_is_left_beside_its_source(self):
        file = measured([[1, 1, 4, True, True, False], [2, 19, 0, True, True, False], [4, 1, 0, False, False, False]],
                        [[2, 7, 2, 9, 4, 0, 0, 0, 4], [3, 1, 3, 2, 0, 0, 0, 0, 4]])
        self.assertEqual(coverage_report.details(file, ["one", "two", "three", "four"]),
                         "2: two\n    ^ column 7 never false\n3: three\n    ^ not run\n4: four\n    ^ not run\n")


PROGRAM = """#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

int Doubled(int number) {
  if (number == 7 || number < 0) {
    return 0;
  }
  return 2 * number;
}

void InChild(bool is_killed) {
  if (is_killed) {
    kill(getpid(), SIGKILL);
  }
  _exit(Doubled(1));
}

int main() {
  for (const bool is_killed : {false, true}) {
    if (fork() == 0) {
      InChild(is_killed);
    }
    wait(nullptr);
  }
}
"""


class InstrumentedProgram(unittest.TestCase):
    """A child that ends itself at once and one that is killed."""

    def test_children_that_end_at_once_count(self):
        flags = self.flags_of_the_preset()
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder).resolve()
            build = root / "build" / "coverage"
            source = root / "tillvane" / "program.cpp"
            source.parent.mkdir()
            source.write_text(PROGRAM)
            (build / "bin").mkdir(parents=True)
            flags = [flag.replace("${sourceDir}", str(root)).replace("${presetName}", "coverage") for flag in flags]
            program = build / "bin" / "program"
            subprocess.run(["clang++", "-std=c++20", *flags, "-o", program, source], check=True)
            with mock.patch.object(coverage_report, "ROOT", root), self.assertRaises(SystemExit):
                coverage_report.main([str(build)])
            subprocess.run([program], check=True, env={})
            output = io.StringIO()
            with mock.patch.object(coverage_report, "ROOT", root), contextlib.redirect_stdout(output):
                self.assertEqual(coverage_report.main([str(build), "--details", str(root / "details")]), 0)
                self.assertEqual(coverage_report.main([str(build), "--minimum", "50", "50"]), 0)
                self.assertEqual(coverage_report.main([str(build), "--minimum", "95", "50"]), 1)
                self.assertEqual(coverage_report.main([str(build), "--minimum", "50", "95"]), 1)
            self.assertIn("| `tillvane/program.cpp` | ", output.getvalue())
            left = (root / "details" / "tillvane-program.cpp.txt").read_text()
            # The counters, which parent and child share, saw one process come to the fork and two go on; the library
            # itself does not fork.
            self.assertEqual(left, "8:   if (number == 7 || number < 0) {\n"
                                   "    ^ column 7 never true; column 22 never true\n"
                                   "9:     return 0;\n    ^ not run\n"
                                   "10:   }\n    ^ not run\n"
                                   "23:     if (fork() == 0) {\n    ^ column 9 never false\n")

    @staticmethod
    def flags_of_the_preset():
        presets = json.loads((coverage_report.ROOT / "CMakePresets.json").read_text())["configurePresets"]
        preset = next(preset for preset in presets if preset["name"] == "coverage")
        return preset["cacheVariables"]["CMAKE_CXX_FLAGS"].split()


if __name__ == "__main__":
    unittest.main()
