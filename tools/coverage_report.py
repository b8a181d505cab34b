#!/usr/bin/env python3
"""Tells which lines and branches of the library the tests of the preset `coverage` ran.

usage: tools/coverage_report.py BUILD [--details FOLDER] [--minimum LINES BRANCHES]

Writes a Markdown table with a row for each file of tillvane/ but the macOS backend's, and the totals. A line, or one
way out of a condition, counts as run when any process of any test ran it.
  --details FOLDER           beside the table, a file for each source: what of it was not run
  --minimum LINES BRANCHES   in percent; the exit status is 1 where a total is below it
"""

import argparse
import json
import subprocess
import sys
from collections import defaultdict
from pathlib import Path
from typing import NamedTuple

import check_layers

ROOT = Path(__file__).resolve().parent.parent
LLVM = "-14"  # of the compiler that wrote the counters: another version cannot read them


class Segment(NamedTuple):
    """From here on to the next one the count holds; as llvm-cov writes it."""
    line: int
    column: int
    count: int
    has_count: bool
    is_entry: bool
    is_gap: bool

    def begins_code(self):
        return self.has_count and self.is_entry and not self.is_gap


class Branch(NamedTuple):
    """One way out of a condition that stands in the source."""
    line: int
    column: int
    outcome: bool
    count: int


class Measured(NamedTuple):
    lines: dict  # line: how often it ran
    branches: list  # of Branch

    def missed_lines(self):
        return sorted(line for line, count in self.lines.items() if count == 0)

    def missed_branches(self):
        return [branch for branch in self.branches if branch.count == 0]


def line_counts(segments):
    """What each line with code ran: the most of what reaches it and of what begins in it."""
    by_line = defaultdict(list)
    for segment in segments:
        by_line[segment.line].append(segment)
    counts = {}
    wrapped = None
    for line in range(segments[0].line, segments[-1].line + 1) if segments else ():
        here = by_line.get(line, [])
        begun = [segment.count for segment in here if segment.begins_code()]
        is_skipped = bool(here) and here[0].is_entry and not here[0].has_count
        reached = [wrapped.count] if wrapped and wrapped.has_count else []
        if (begun or reached) and not is_skipped:
            counts[line] = max(begun + reached)
        wrapped = here[-1] if here else wrapped
    return counts


def count_at(segments, line, column):
    before = [segment for segment in segments if (segment.line, segment.column) <= (line, column)]
    return before[-1].count if before and before[-1].has_count else 0


def branch_counts(rows, segments):
    """A template's conditions are one, however often it was instantiated. One that the compiler decided is none: it has
    no count, though what it stands in ran."""
    counts = defaultdict(int)
    for line, column, _, _, when_true, when_false, *_ in rows:
        counts[line, column, True] += when_true
        counts[line, column, False] += when_false
    return [Branch(line, column, outcome, count) for (line, column, outcome), count in sorted(counts.items())
            if count or counts[line, column, not outcome] or not count_at(segments, line, column)]


def measured_files(export, root, of_tests=()):
    """The measured files of the library, by their path below root, of what `llvm-cov export` wrote; those of its tests are
    none of it."""
    found = {}
    for file in export["data"][0]["files"]:
        path = Path(file["filename"])
        if not path.is_relative_to(root / "tillvane"):
            continue
        name = path.relative_to(root).as_posix()
        if name.startswith("tillvane/platform/mac/") or name in of_tests:
            continue
        segments = [Segment(*segment) for segment in file["segments"]]
        found[name] = Measured(line_counts(segments), branch_counts(file["branches"], segments))
    if not found:
        sys.exit(f"coverage_report: no file of the library in {root} was measured")
    return dict(sorted(found.items()))


class Total(NamedTuple):
    lines: int
    missed_lines: int
    branches: int
    missed_branches: int

    @staticmethod
    def of(files):
        files = list(files)
        return Total(sum(len(file.lines) for file in files), sum(len(file.missed_lines()) for file in files),
                     sum(len(file.branches) for file in files), sum(len(file.missed_branches()) for file in files))

    def line_percentage(self):
        return percentage(self.lines, self.missed_lines)

    def branch_percentage(self):
        return percentage(self.branches, self.missed_branches)


def percentage(count, missed):
    return 100.0 * (count - missed) / count if count else 100.0


def table(files):
    rows = [(f"`{name}`", Total.of([file])) for name, file in files.items()]
    rows.append(("**all**", Total.of(files.values())))
    lines = ["| File | Lines | Missed | Run | Branches | Missed | Taken |", "|---|--:|--:|--:|--:|--:|--:|"]
    lines += [f"| {name} | {total.lines} | {total.missed_lines} | {total.line_percentage():.1f} % | {total.branches} | "
              f"{total.missed_branches} | {total.branch_percentage():.1f} % |" for name, total in rows]
    return "\n".join(lines) + "\n"


def details(file, source_lines):
    """The lines that have something left, each with what it is."""
    notes = defaultdict(list)
    for line in file.missed_lines():
        notes[line].append("not run")
    for branch in file.missed_branches():
        # Of what was not run at all, the conditions are no news.
        if file.lines.get(branch.line) != 0:
            notes[branch.line].append(f"column {branch.column} never {'true' if branch.outcome else 'false'}")
    return "".join(f"{line}: {source_lines[line - 1]}\n    ^ {'; '.join(notes[line])}\n" for line in sorted(notes))


def write_details(files, root, folder):
    folder.mkdir(parents=True, exist_ok=True)
    for name, file in files.items():
        text = details(file, (root / name).read_text().splitlines())
        if text:
            (folder / (name.replace("/", "-") + ".txt")).write_text(text)
    (folder / "table.md").write_text(table(files))


def has_counters(path):
    """Is this a program, or a shared library, with a map of its counters?"""
    if path.is_symlink() or not path.is_file() or not path.stat().st_mode & 0o100:
        return False
    with path.open("rb") as file:
        if file.read(4) != b"\x7fELF":
            return False
    return b"__llvm_covmap" in path.read_bytes()


def exported(build, root):
    """What llvm-cov knows of a build folder whose tests have run."""
    profiles = sorted((build / "profiles").glob("*.profraw"))
    if not profiles:
        sys.exit(f"coverage_report: no test of {build} has run")
    merged = build / "coverage.profdata"
    names = build / "coverage.profiles"
    names.write_text("".join(f"{profile}\n" for profile in profiles if profile.stat().st_size))
    subprocess.run([f"llvm-profdata{LLVM}", "merge", "--sparse", f"--input-files={names}", "-o", merged], check=True)
    first, *others = sorted(path for path in build.rglob("*") if has_counters(path))
    objects = [first] + [f"--object={program}" for program in others]
    options = ["--skip-functions", "--skip-expansions", f"--instr-profile={merged}"]
    export = subprocess.run([f"llvm-cov{LLVM}", "export", *options, *objects, root / "tillvane"],
                            check=True, stdout=subprocess.PIPE)
    return json.loads(export.stdout)


def measure(build):
    tree = check_layers.Tree(ROOT)
    of_tests = {source.path for source in tree.library() if check_layers.needs_googletest(tree, source.path)}
    return measured_files(exported(build, ROOT), ROOT, of_tests)


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("--details", type=Path, metavar="FOLDER")
    parser.add_argument("--minimum", type=float, nargs=2, metavar=("LINES", "BRANCHES"), default=(0, 0))
    options = parser.parse_args(arguments)
    files = measure(options.build.resolve())
    print(table(files), end="")
    if options.details:
        write_details(files, ROOT, options.details)
    total = Total.of(files.values())
    is_enough = total.line_percentage() >= options.minimum[0] and total.branch_percentage() >= options.minimum[1]
    return 0 if is_enough else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
