#!/usr/bin/env python3
"""Asks test_report.py about results made up here."""

import contextlib
import io
import json
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import coverage_report
import test_report

JUNIT = """<testsuite>
<testcase name="A.Passes" status="run" time="1"><system-out>fine</system-out></testcase>
<testcase name="A.Skips" status="notrun"><skipped message="SKIP"/><system-out>[ RUN ] A.Skips
a_test.cpp:12: Skipped
no second user

[  SKIPPED ] A.Skips</system-out></testcase>
<testcase name="A.IsAChild" status="disabled"><system-out>Disabled</system-out></testcase>
<testcase name="A.Fails" status="fail"><failure message=""/><system-out/></testcase>
<testcase name="NotBuilt" status="notrun"><skipped message="SKIP"/><system-out>skipped: no Qt</system-out></testcase>
</testsuite>"""


def listed(*tests):
    return json.dumps({"tests": [{"name": name, "command": [f"/build/tests/{program}"],
                                  "properties": [{"name": "LABELS", "value": list(labels)}]}
                                 for name, program, *labels in tests]})


class Tests(unittest.TestCase):
    def test_an_outcome_has_the_reason_that_the_test_gave(self):
        self.assertEqual(test_report.outcomes(JUNIT),
                         {"A.Passes": ("passed", ""), "A.Skips": ("skipped", "no second user"),
                          "A.IsAChild": ("disabled", ""), "A.Fails": ("failed", ""), "NotBuilt": ("skipped", "no Qt")})

    def test_a_folder_of_a_test_is_any_folder(self):
        self.assertEqual(test_report.skip_reason("skipped: mount: /tmp/tillvane-test-Ab1/at: no vfat"),
                         "mount: FOLDER/at: no vfat")

    def test_what_the_preset_leaves_out_is_excluded_and_what_is_not_there_failed(self):
        tests = test_report.tests_of("asan", JUNIT, listed(
            ("A.Passes", "tillvane_a_test"), ("B.One", "tillvane_b_test", "threads", "no-asan"),
            ("B.Two", "tillvane_b_test", "no-tsan")))
        self.assertEqual([(test.outcome, test.reason) for test in tests],
                         [("passed", ""), ("excluded", "no-asan"), ("failed", "did not run")])

    def test_a_program_tells_the_kind(self):
        for program, kind in {"tillvane_unit_tests": "unit", "tillvane_seam_tests": "unit",
                              "tillvane_stress_tests": "stress", "tillvane_socket_fault_test": "fault",
                              "tillvane_ledger_kill_test": "process", "tillvane_mac_tests": "GNUstep",
                              "tillvane_qt_example_process_test": "example", "tillvane_soak_watch_test": "soak",
                              "tillvane_storefront_process_test": "example"}.items():
            self.assertEqual(test_report.kind_of(program), kind, program)

    def test_a_label_has_the_comment_above_it_for_its_reason(self):
        text = """# Of all of them.

# The first reason,
# in two lines.
tillvane_add_test(process/a_test.cpp LABELS threads no-asan)
tillvane_add_test(process/a_too_test.cpp LABELS no-asan)
tillvane_add_test(process/b_test.cpp)
# The second one.
tillvane_add_tests(tillvane_c_test ${PROJECT_SOURCE_DIR}/c_test.cpp
  LABELS no-tsan)

tillvane_add_test(process/d_test.cpp LABELS no-tsan)
"""
        self.assertEqual(test_report.label_reasons(text),
                         {("tillvane_a_test", "no-asan"): "The first reason, in two lines.",
                          ("tillvane_a_too_test", "no-asan"): "The first reason, in two lines.",
                          ("tillvane_c_test", "no-tsan"): "The second one.",
                          ("tillvane_d_test", "no-tsan"): ""})

    def test_each_label_of_the_tree_has_a_reason(self):
        reasons = test_report.read_label_reasons()
        self.assertIn(("tillvane_soak_process_test", "no-asan"), reasons)
        self.assertEqual([label for label, reason in reasons.items() if not reason], [])

    def test_a_test_that_failed_is_a_finding(self):
        tests = test_report.tests_of("dev", JUNIT, listed(("A.Passes", "x"), ("A.Fails", "x"), ("A.Skips", "x")))
        lines, findings = test_report.test_section({"dev": tests}, {"dev": {"commit": "abc", "seconds": 7}}, {})
        self.assertIn("| unit | 1 passed, 1 failed, 1 skipped |", lines)
        self.assertIn("| `dev` | 1 | no second user |", lines)
        self.assertEqual(findings, ["dev: A.Fails failed"])


class Faults(unittest.TestCase):
    def test_a_fault_has_the_name_of_its_errno(self):
        self.assertEqual(test_report.fault_kind("p open 5"), ("p", "open", "EIO"))
        self.assertEqual(test_report.fault_kind("p new 12"), ("p", "new", "no memory"))
        self.assertEqual(test_report.fault_kind("p socket 12"), ("p", "socket", "ENOMEM"))
        self.assertEqual(test_report.fault_kind("p process killed"), ("p", "process", "killed"))

    def test_they_are_summed(self):
        lines, findings = test_report.fault_section({"dev": "p open 5\np open 5\nq open 4\nq process killed\n"})
        self.assertIn("With `dev`: **4** faults, 3 kinds, in 2 programs.", lines)
        self.assertIn("| `open` | 3 | EINTR 1, EIO 2 |", lines)
        self.assertEqual(findings, [])

    def test_none_is_a_finding(self):
        self.assertEqual(len(test_report.fault_section({"dev": ""})[1]), 1)


class Fuzzing(unittest.TestCase):
    LOG = "Done 1500 runs in 5 second(s)\nstat::number_of_executed_units: 1500\n"

    def test_inputs_are_summed(self):
        lines, findings = test_report.fuzz_section(["a_fuzz", "b_fuzz"], {"a_fuzz": self.LOG, "b_fuzz": self.LOG})
        self.assertIn("| `a_fuzz` | 1,500 | 5 |", lines)
        self.assertTrue(any("**3,000** inputs" in line for line in lines))
        self.assertEqual(findings, [])

    def test_a_crash_and_a_target_that_did_not_run_are_findings(self):
        crash = "==1==ERROR: AddressSanitizer: heap-use-after-free\n" + self.LOG
        self.assertEqual(test_report.fuzz_section(["a_fuzz", "b_fuzz"], {"a_fuzz": crash})[1],
                         ["fuzzing: a_fuzz failed", "fuzzing: b_fuzz did not run"])


class Coverage(unittest.TestCase):
    WHOLE = coverage_report.Measured({1: 1}, [])
    LEFT = coverage_report.Measured({1: 1, 2: 0}, [coverage_report.Branch(1, 3, True, 0),
                                                   coverage_report.Branch(1, 3, False, 1),
                                                   coverage_report.Branch(2, 3, False, 0)])

    def check(self, file, reasons):
        return test_report.check_reasons({"a.cpp": file}, test_report.read_reasons(reasons))

    def test_what_is_left_needs_a_reason_for_as_much(self):
        self.assertEqual(self.check(self.LEFT, "# comment\na.cpp | 1 | 1 | Never | here.\n"), [])
        self.assertEqual(len(self.check(self.LEFT, "")), 1)
        self.assertEqual(len(self.check(self.LEFT, "a.cpp | 0 | 1 | Never here.\n")), 1)
        self.assertEqual(len(self.check(self.LEFT, "a.cpp | 1 | 0 | Never here.\n")), 1)

    def test_a_reason_needs_something_that_is_left(self):
        self.assertEqual(len(self.check(self.WHOLE, "a.cpp | 1 | 1 | Never here.\n")), 1)
        self.assertEqual(self.check(self.WHOLE, "a.cpp | 1 | 1 | By chance: two threads.\n"), [])
        self.assertEqual(len(self.check(self.WHOLE, "b.cpp | 1 | 1 | Never here.\n")), 1)

    def test_below_the_goal_is_a_finding(self):
        lines, findings = test_report.coverage_section({"a.cpp": self.LEFT},
                                                       test_report.read_reasons("a.cpp | 1 | 1 | Never here.\n"))
        self.assertIn("| `a.cpp` | 1 | 1 | Never here. |", lines)
        self.assertEqual(len(findings), 1)
        self.assertIn("below", findings[0])

    def test_the_reasons_of_the_tree_can_be_read(self):
        for name, reason in test_report.read_reasons(test_report.REASONS.read_text()).items():
            self.assertTrue((test_report.ROOT / name).is_file(), name)
            self.assertTrue(reason.lines + reason.branches > 0 and reason.text.endswith("."), name)


class Handlers(unittest.TestCase):
    def test_their_names_are_readable(self):
        self.assertEqual(test_report.handler_names(),
                         ["LDebugSignalHandler", "LIntTermSignalHandler", "OnReportIsLate", "StopThreadSoon"])

    def test_a_library_that_is_not_there_is_a_finding(self):
        self.assertEqual(test_report.handler_section({"x.so": None})[1], ["signal handlers: x.so is not built"])


class Report(unittest.TestCase):
    def write(self, *sections):
        with tempfile.TemporaryDirectory() as folder, mock.patch.object(test_report, "sections", lambda _: sections), \
                contextlib.redirect_stdout(io.StringIO()):
            report = Path(folder) / "new" / "README.md"
            return test_report.write(report, ["dev"]), report.read_text()

    def test_it_says_first_what_is_missing(self):
        status, text = self.write((["## One"], []), (["## Two"], ["two is broken"]))
        self.assertEqual(status, 1)
        self.assertLess(text.index("two is broken"), text.index("## One"))

    def test_it_ends_well_where_nothing_is(self):
        status, text = self.write((["## One"], []))
        self.assertEqual(status, 0)
        self.assertNotIn("Missing", text)


class Results(unittest.TestCase):
    def read(self, *presets):
        with tempfile.TemporaryDirectory() as folder, mock.patch.object(test_report, "RESULTS", Path(folder)), \
                mock.patch.object(test_report, "fingerprint", lambda: "now"):
            for preset, made_of in (("dev", "now"), ("asan", "before")):
                (Path(folder) / preset).mkdir()
                for name, text in {"state.json": json.dumps({"made_of": made_of}), "tests.xml": JUNIT,
                                   "all.json": listed(("A.Passes", "x")), "faults.txt": ""}.items():
                    (Path(folder) / preset / name).write_text(text)
            return test_report.read_results(presets)

    def test_those_of_other_sources_and_those_that_are_not_there_are_findings(self):
        self.assertEqual(self.read("dev", "asan", "tsan")[3],
                         ["the results of `asan` are those of other sources",
                          "the tests of `tsan` did not run (g++, ThreadSanitizer)"])

    def test_those_that_nobody_asks_for_are_none(self):
        results, _, _, findings = self.read("dev")
        self.assertEqual((list(results), findings), (["dev"], []))


class Running(unittest.TestCase):
    def run_with(self, ctest):
        """\\return how often ctest was called"""
        calls = []

        def call(command, **_):
            if "ctest" in command and "--output-junit" in command:
                calls.append(command)
                ctest(Path(command[command.index("--output-junit") + 1]))
            return mock.Mock(stdout=listed(("A.Passes", "x")))

        with mock.patch.object(test_report.subprocess, "run", call), \
                mock.patch.object(test_report, "fingerprint", lambda: "now"), \
                mock.patch.object(test_report, "git", lambda *_: "abc\n"), \
                contextlib.redirect_stdout(io.StringIO()):
            test_report.run("dev", "2")
            test_report.run("dev", "2")
        return len(calls)

    def test_what_was_well_is_not_run_again_and_what_failed_is(self):
        well = JUNIT.replace('status="fail"', 'status="run"')
        for junit, runs in ((well, 1), (JUNIT, 2)):
            with tempfile.TemporaryDirectory() as folder, mock.patch.object(test_report, "RESULTS", Path(folder)):
                self.assertEqual(self.run_with(lambda path, text=junit: path.write_text(text)), runs)

    def test_a_run_without_results_is_an_error_and_keeps_nothing(self):
        with tempfile.TemporaryDirectory() as folder, mock.patch.object(test_report, "RESULTS", Path(folder)):
            with self.assertRaisesRegex(SystemExit, "left no results"):
                self.run_with(lambda _: None)
            self.assertFalse((Path(folder) / "dev/state.json").exists())

    def test_a_folder_for_all_is_one_in_which_all_may_write(self):
        with tempfile.TemporaryDirectory() as outer:
            folder = Path(outer) / "profiles"
            test_report.open_for_all(folder)
            self.assertEqual(folder.stat().st_mode & 0o777, 0o777)
            (folder / "a").touch(mode=0o600)

    def test_a_source_changes_the_fingerprint_and_a_document_does_not(self):
        with tempfile.TemporaryDirectory() as outer:
            root = Path(outer)
            (root / "tests").mkdir()
            (root / "tests/a.cpp").write_text("1")
            (root / "README.md").write_text("1")
            with mock.patch.object(test_report, "ROOT", root), \
                    mock.patch.object(test_report, "git", lambda *_: "tests/a.cpp\n"):
                first = test_report.fingerprint()
                self.assertEqual(test_report.fingerprint(), first)
                (root / "tests/a.cpp").write_text("2")
                self.assertNotEqual(test_report.fingerprint(), first)


if __name__ == "__main__":
    unittest.main()
