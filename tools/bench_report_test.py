#!/usr/bin/env python3
"""Gives bench_report.py results that nobody measured."""

import contextlib
import copy
import io
import json
import os
import tempfile
import unittest
from pathlib import Path
import xml.etree.ElementTree

import bench_picture
import bench_report


def peer(name, ratio, goal=None, note="", is_limit=False):
    one = {"name": name, "nanoseconds": 100 / ratio, "ratio": ratio, "least": ratio * 0.8, "lower": ratio * 0.9,
           "upper": ratio * 1.1, "most": ratio * 1.3, "is_limit": is_limit}
    return one if goal is None else {**one, "goal": goal, "is_met": ratio <= goal, "note": note}


def table(title, *peers):
    return {"title": title, "clock": "wall clock", "ours": {"name": "LOurs", "nanoseconds": 100}, "peers": list(peers)}


def bound(what, value, goal, note=""):
    return {"what": what, "unit": "ms", "value": value, "least": value / 2, "most": value * 2, "goal": goal,
            "is_met": value <= goal, "note": note}


def family(name, *tables, bounds=(), left_out=(), failures=()):
    return {"name": name, "tables": list(tables), "bounds": list(bounds), "left_out": list(left_out),
            "failures": list(failures)}


def results(*families):
    return {"is_quick": False, "only": "", "load_at_begin": [0.5, 1, 2], "load_at_end": [1, 2.25, 3], "seconds": 600,
            "machine": {"processors": 2, "kernel": "Linux 6", "compiler": "GNU 12", "c_library": "2.36",
                        "temporary_files": "ext4"},
            "families": list(families)}


FOLDERS = family("folders", table("list", peer("fts", 0.8, 0.85), peer("find", 0.7, 0.6, "find stats nothing."),
                                  peer("bare calls", 1.25, is_limit=True)),
                 bounds=[bound("growth", 1.1, 1.5)], left_out=[{"what": "a million files", "why": "it takes an hour"}])


class Reading(unittest.TestCase):
    def refusal(self, whole):
        with self.assertRaises(bench_report.BadResults) as raised:
            bench_report.parse(json.dumps(whole))
        return str(raised.exception)

    def test_what_is_whole_is_read(self):
        whole = results(FOLDERS)
        self.assertEqual(bench_report.parse(json.dumps(whole)), whole)

    def test_no_json_is_refused(self):
        with self.assertRaises(bench_report.BadResults):
            bench_report.parse("{")

    def test_each_missing_field_is_named(self):
        places = [[], ["machine"], ["families", 0], ["families", 0, "tables", 0], ["families", 0, "tables", 0, "ours"],
                  ["families", 0, "tables", 0, "peers", 0], ["families", 0, "bounds", 0],
                  ["families", 0, "left_out", 0]]
        for place in places:
            fields = self.at(results(FOLDERS), place)
            for name in fields:
                if name == "goal" and "peers" in place:
                    continue  # then the peer has none
                whole = results(copy.deepcopy(FOLDERS))
                del self.at(whole, place)[name]
                with self.subTest(place=place, name=name):
                    self.assertIn(f"'{name}' is missing", self.refusal(whole))

    def test_each_field_of_another_kind_is_named(self):
        for name, wrong in [("ratio", None), ("ratio", "0.5"), ("goal", True), ("name", 1), ("is_limit", 1)]:
            whole = results(copy.deepcopy(FOLDERS))
            whole["families"][0]["tables"][0]["peers"][0][name] = wrong
            with self.subTest(name=name, wrong=wrong):
                self.assertIn(f"'{name}' is no ", self.refusal(whole))

    def test_a_dot_outside_its_bar_is_refused(self):
        for name, wrong in [("least", 0.75), ("lower", 0.81), ("upper", 0.79), ("most", 0.85)]:
            whole = results(copy.deepcopy(FOLDERS))
            whole["families"][0]["tables"][0]["peers"][0][name] = wrong
            with self.subTest(name=name):
                self.assertIn("'list', 'fts': its ratio and the spread are not in order", self.refusal(whole))

    def test_nothing_measured_is_refused(self):
        self.assertIn("no family", self.refusal(results()))

    def test_a_load_is_three_numbers(self):
        self.assertIn("three numbers", self.refusal({**results(FOLDERS), "load_at_end": [1, 2]}))

    @staticmethod
    def at(whole, place):
        for step in place:
            whole = whole[step]
        return whole


class Pages(unittest.TestCase):
    def test_the_index_has_every_goal_and_counts_them(self):
        page = bench_report.index_page(results(FOLDERS))
        self.assertIn("**2 of 3 goals are met.**", page)
        self.assertIn("| [folders](folders.md) | list | fts | 0.80 | 0.72 to 0.88 | 0.85 | yes |", page)
        self.assertIn("| [folders](folders.md) | list | find | 0.70 | 0.63 to 0.77 | 0.6 | **no** |", page)
        self.assertIn("| [folders](folders.md) | growth |  | 1.10 ms | 0.55 to 2.20 | 1.5 ms | yes |", page)
        self.assertNotIn("bare calls", page)

    def test_the_index_says_why_a_goal_is_missed(self):
        page = bench_report.index_page(results(FOLDERS))
        self.assertIn("- **folders: list, of find**: 0.70 (0.63 to 0.77), goal 0.6. find stats nothing.", page)

    def test_the_index_tells_the_machine_and_its_load(self):
        page = bench_report.index_page(results(FOLDERS))
        self.assertIn("0.5 1.0 2.0 at the beginning, 1.0 2.2 3.0 at the end, 10 minutes later", page)
        self.assertIn("Compiler: GNU 12", page)
        self.assertIn("Files were made on ext4.", page)

    def test_only_a_quick_run_says_that_it_is_one(self):
        whole = results(FOLDERS)
        self.assertNotIn("quick", bench_report.index_page(whole))
        whole["is_quick"] = True
        page = bench_report.index_page(whole)
        self.assertIn("A quick run", page)
        self.assertIn("./dev bench --report --quick", page)

    def test_a_run_of_one_family_says_which(self):
        whole = results(FOLDERS)
        self.assertIn("which measures everything again", bench_report.index_page(whole))
        whole.update(only="folders", is_quick=True)
        page = bench_report.index_page(whole)
        self.assertIn("    ./dev bench --report --quick --only=folders\n", page)
        self.assertIn("which measures this one family again", page)

    def test_what_was_not_measured_is_told(self):
        page = bench_report.index_page(results({**FOLDERS, "failures": ["no disk"]}))
        self.assertIn("- a million files: it takes an hour.", page)
        self.assertIn("- no disk: **it could not be measured**.", page)

    def test_a_familys_page_has_the_limit_beside_each_peer(self):
        page = bench_report.family_page(FOLDERS, bench_report.ROOT, True)
        self.assertIn("| fts | 0.80 | 0.72 to 0.88 | 0.64 to 1.04 | 0.64 | 0.85 | yes |", page)
        self.assertIn("| bare calls (the limit) | 1.25 | 1.12 to 1.38 | 1.00 to 1.62 | 1.00 |  |  |", page)
        self.assertIn("(bench/README.md#folders)", page)
        self.assertIn("![folders: ours beside the peers](folders.svg)", page)

    def test_a_name_does_not_break_a_table(self):
        self.assertEqual(bench_report.cell("'a*b_c' | <d>"), "'a\\*b\\_c' \\| &lt;d>")


class Report(unittest.TestCase):
    def run_on(self, whole, *options):
        """The exit status, what was complained about, and what was written, by name."""
        with tempfile.TemporaryDirectory() as folder:
            source, target = os.path.join(folder, "results.json"), os.path.join(folder, "report")
            with open(source, "w", encoding="utf-8") as file:
                json.dump(whole, file)
            errors = io.StringIO()
            with contextlib.redirect_stderr(errors), contextlib.redirect_stdout(io.StringIO()):
                status = bench_report.main([*options, source, target])
            written = sorted(Path(target).iterdir()) if os.path.isdir(target) else []
            return status, errors.getvalue(), {path.name: path.read_text(encoding="utf-8") for path in written}

    def test_pages_and_pictures_are_written(self):
        status, errors, written = self.run_on(results(FOLDERS, family("tick", bounds=[bound("late", 1, 5)])))
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(list(written), ["README.md", "folders.md", "folders.svg", "tick.md", "tick.svg"])

    def test_a_missed_goal_without_a_note_is_an_error_for_who_is_strict(self):
        for missed in (family("one", table("walk", peer("fts", 2, 1, " "))), family("one", bounds=[bound("walk", 2, 1)])):
            status, errors, written = self.run_on(results(missed))
            self.assertEqual((status, errors), (0, ""))
            for page in ("README.md", "one.md"):
                self.assertRegex(written[page], r"- \*\*one: walk.*\*\*No note says why\.\*\*")
            status, errors, strictly_written = self.run_on(results(missed), "--strict")
            self.assertEqual(status, 1)
            self.assertIn("one: walk", errors)
            self.assertIn("no note says why", errors)
            self.assertEqual(strictly_written, written)

    def test_a_failed_measurement_is_an_error(self):
        status, errors, written = self.run_on(results(family("one", failures=["no disk"])))
        self.assertEqual(status, 1)
        self.assertIn("one: could not be measured: no disk", errors)
        self.assertIn("one.svg", written)

    def test_bad_results_are_refused_before_anything_is_written(self):
        status, errors, written = self.run_on({})
        self.assertEqual((status, written), (2, {}))
        self.assertIn("is missing", errors)

    def test_a_file_that_is_not_there(self):
        with contextlib.redirect_stderr(io.StringIO()) as errors:
            self.assertEqual(bench_report.main(["/nowhere/results.json", "/nowhere"]), 2)
        self.assertIn("/nowhere/results.json", errors.getvalue())

    def test_a_wrong_number_of_arguments_shows_the_usage(self):
        with contextlib.redirect_stderr(io.StringIO()) as errors:
            for arguments in ([], ["--strict", "results.json"], ["results.json", "folder", "--strict"]):
                self.assertEqual(bench_report.main(arguments), 2)
        self.assertIn("usage:", errors.getvalue())


class Pictures(unittest.TestCase):
    def drawn(self, one):
        """What the picture says, and whether it has all."""
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "one.svg")
            is_whole = bench_picture.draw(one, path)
            with open(path, encoding="utf-8") as file:
                text = file.read()
            xml.etree.ElementTree.fromstring(text)
            return text, is_whole

    def test_every_comparison_and_bound_is_in_it(self):
        text, is_whole = self.drawn(FOLDERS)
        self.assertTrue(is_whole)
        for words in ("list  (wall clock)", "fts", "find", "bare calls", "growth", "0.70  (goal 0.6)", "quartiles",
                      "1.10  (goal 1.5 ms)"):
            self.assertIn(words, text)

    def test_the_same_results_make_the_same_picture(self):
        self.assertEqual(self.drawn(FOLDERS), self.drawn(FOLDERS))
        self.assertNotIn("<dc:date>", self.drawn(FOLDERS)[0])

    def test_of_very_many_only_those_with_goals_are_drawn(self):
        many = family("many", *(table(f"plain {i}", peer("peer", 1)) for i in range(bench_picture.MOST_LINES)),
                      table("aimed", peer("peer", 1, 2)))
        text, is_whole = self.drawn(many)
        self.assertFalse(is_whole)
        self.assertIn("aimed", text)
        self.assertNotIn("plain 1", text)

    def test_the_axis_shows_dots_goals_limits_and_quartiles_but_no_far_end(self):
        entry = bench_picture.Entry("", 0.5, [0.001, 0.4, 0.6, 1000], 0.25, False, "", limit=2)
        self.assertEqual(bench_picture.limits_of([entry]), (0.25 / 1.3, 2 * 1.3))

    def test_a_long_label_has_two_lines(self):
        text, _ = self.drawn(family("one", bounds=[bound("what takes " + "very " * 10 + "long", 1, 2)]))
        for words in ("what takes very", "very long", f"{bench_picture.SMALL}px"):
            self.assertIn(words, text)
        self.assertNotIn("very " * 10, text)

    def test_ticks_become_fewer_on_a_long_axis(self):
        self.assertEqual(bench_picture.ticks_between(0.4, 3), [0.5, 0.7, 1, 1.5, 2, 3])
        self.assertEqual(bench_picture.ticks_between(0.03, 3), [0.05, 0.1, 0.2, 0.5, 1, 2])
        self.assertEqual(bench_picture.ticks_between(0.009, 110), [0.01, 0.1, 1, 10, 100])

    def test_numbers_have_the_digits_that_count(self):
        for value, text in [(0.0312, "0.031"), (0.0999, "0.10"), (0.5, "0.50"), (9.994, "9.99"), (12.34, "12.3"),
                            (204.6, "205"), (-0.04, "-0.040")]:
            self.assertEqual(bench_picture.number(value), text)


if __name__ == "__main__":
    unittest.main()
