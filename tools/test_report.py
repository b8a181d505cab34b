#!/usr/bin/env python3
"""Runs the tests of a preset and keeps what came out; writes the report of ./dev test --report.

usage: tools/test_report.py run PRESET JOBS
       tools/test_report.py write REPORT PRESET...

`run` leaves the results in build/report/tests/PRESET; where they are there, all is well in them and no source has changed
since, it runs nothing. `write` takes what is there: the tests of these presets, the faults that they noted, what ./dev fuzz left in
build/fuzz, the coverage with the reasons of tests/coverage_reasons.txt, and what check_signal_safety.py says of the
libraries in build/release and build/report/clang++. The exit status is 1 where something of it is missing or not well.
"""

import errno
import hashlib
import json
import os
import re
import struct
import subprocess
import sys
import time
import xml.etree.ElementTree as ElementTree
from collections import Counter, defaultdict
from pathlib import Path
from typing import NamedTuple

import check_signal_safety
import coverage_report

ROOT = Path(__file__).resolve().parent.parent
RESULTS = ROOT / "build/report/tests"
REASONS = ROOT / "tests/coverage_reasons.txt"
GOAL = (95, 85)  # percent of the lines, of the branches

PRESETS = {
    "dev": "g++, debug",
    "coverage": "clang++, with counters",
    "asan": "g++, AddressSanitizer and UndefinedBehaviorSanitizer",
    "tsan": "g++, ThreadSanitizer",
}
KINDS = ("unit", "process", "fault", "stress", "GNUstep", "example", "soak")
LIBRARIES = ("build/release/libtillvane.so", "build/report/clang++/libtillvane.so")


def git(*arguments):
    # Whoever runs this trusts the tree already, even if it belongs to somebody else.
    return subprocess.run(["git", "-c", f"safe.directory={ROOT}", *arguments], cwd=ROOT, check=True,
                          stdout=subprocess.PIPE, text=True).stdout


def fingerprint():
    """Of all that the tests are made of."""
    names = git("ls-files", "--cached", "--others", "--exclude-standard", "--", "CMakeLists.txt", "CMakePresets.json",
                "cmake", "examples", "packaging", "tests", "tillvane")
    whole = hashlib.sha256()
    for name in sorted(names.splitlines()):
        path = ROOT / name
        if path.is_file() and path != REASONS:
            whole.update(name.encode() + b"\0" + hashlib.sha256(path.read_bytes()).digest())
    return whole.hexdigest()


# --- Running the tests -----------------------------------------------------------------------------------------------

def open_for_all(folder):
    """Whoever a test's process becomes, it may write there, and so may the others what it has made."""
    folder.mkdir(parents=True, exist_ok=True)
    folder.chmod(0o777)
    # An access list as the kernel keeps it: version 2; tag, rights and no number for the owner, the group, the others.
    entries = b"".join(struct.pack("<HHI", tag, 7, 0xFFFFFFFF) for tag in (0x01, 0x04, 0x20))
    try:
        os.setxattr(folder, "system.posix_acl_default", struct.pack("<I", 2) + entries)
    except OSError as error:
        if error.errno != errno.EOPNOTSUPP:
            raise
        print(f"test_report: {folder} has no access lists: what runs as another user is not counted")


def prepare(preset, folder):
    """\\return what the tests have in their environment besides"""
    folder.mkdir(parents=True, exist_ok=True)
    for name in ("tests.xml", "all.json", "faults.txt", "state.json"):
        (folder / name).unlink(missing_ok=True)
    (folder / "faults.txt").touch()
    (folder / "faults.txt").chmod(0o666)
    if preset == "coverage":
        profiles = ROOT / "build/coverage/profiles"
        for profile in profiles.glob("*.profraw"):
            profile.unlink()
        open_for_all(profiles)
    return {"TILLVANE_TEST_FAULTS": str(folder / "faults.txt")}


def fixed_layout():
    """ThreadSanitizer of these compilers cannot start where the kernel spreads mappings too widely."""
    command = ["setarch", "-R"]
    return command if subprocess.run([*command, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0 else []


def run(preset, jobs):
    folder = RESULTS / preset
    made_of = fingerprint()
    state, results = folder / "state.json", folder / "tests.xml"
    if state.exists() and json.loads(state.read_text())["made_of"] == made_of and all_is_well(results.read_text()):
        print(f"test_report: the tests of {preset} have run")
        return
    environment = {**os.environ, **prepare(preset, folder)}
    begin = time.time()
    command = [*(fixed_layout() if preset == "tsan" else []), "ctest", "--preset", preset, "--parallel", jobs,
               "--output-junit", str(results)]
    with (folder / "ctest.log").open("w") as log:
        subprocess.run(command, cwd=ROOT, env=environment, stdout=log, check=False)
    if not results.exists():
        sys.exit(f"test_report: ctest left no results; what it wrote is in {log.name}")
    listed = subprocess.run(["ctest", "--test-dir", f"build/{preset}", "--show-only=json-v1"], cwd=ROOT, check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    (folder / "all.json").write_text(listed)
    state.write_text(json.dumps({"made_of": made_of, "commit": git("rev-parse", "--short", "HEAD").strip(),
                                 "seconds": round(time.time() - begin)}))


# --- Tests -----------------------------------------------------------------------------------------------------------

class Test(NamedTuple):
    name: str
    program: str
    kind: str
    outcome: str  # passed, failed, skipped, disabled, excluded
    reason: str  # why it was skipped, or the label by which it is excluded


def kind_of(program):
    name = program.removeprefix("tillvane_")
    if name.startswith("mac_"):
        return "GNUstep"
    if "_example_" in name or name.startswith(("storefront_", "window_shop_")):
        return "example"
    if name.startswith("soak_"):
        return "soak"
    if name == "stress_tests":
        return "stress"
    for folder, kind in (("process", "process"), ("faults", "fault")):
        if (ROOT / "tests" / folder / f"{name}.cpp").exists():
            return kind
    return "unit"


def skip_reason(output):
    """Of what GoogleTest wrote, or what CMake did for a test that could not be built."""
    match = re.search(r": Skipped\n\s*([^\n]+)", output) or re.search(r"^skipped: (.+)$", output, re.M)
    # A test's folder has another name each time.
    return re.sub(r"\S*/tillvane-test-\w+", "FOLDER", match.group(1).strip()) if match else "without a word"


def outcomes(junit):
    """{test: (outcome, reason)} of what ctest wrote"""
    found = {}
    for case in ElementTree.fromstring(junit).iter("testcase"):
        if case.find("skipped") is not None:
            found[case.get("name")] = ("skipped", skip_reason(case.findtext("system-out") or ""))
        else:
            found[case.get("name")] = ({"run": "passed", "disabled": "disabled"}.get(case.get("status"), "failed"), "")
    return found


def all_is_well(junit):
    return all(outcome != "failed" for outcome, _ in outcomes(junit).values())


def labels_of(test):
    return next((one["value"] for one in test.get("properties", []) if one["name"] == "LABELS"), [])


def tests_of(preset, junit, listed):
    """All tests of a build, those too that the preset leaves out."""
    ran = outcomes(junit)
    tests = []
    for test in json.loads(listed)["tests"]:
        name = test["name"]
        program = Path(test["command"][0]).name if test.get("command") else "not built"
        excluded = f"no-{preset}" if f"no-{preset}" in labels_of(test) else ""
        outcome, reason = ran.get(name, ("excluded", excluded) if excluded else ("failed", "did not run"))
        tests.append(Test(name, program, kind_of(program), outcome, reason))
    return tests


def label_reasons(text):
    """{(program, label): the comment above it in tests/CMakeLists.txt, which may be for several calls, one below the
    other, that have labels}"""
    found, comment, statement = {}, [], ""
    was_comment = False
    for line in text.splitlines():
        stripped = line.strip()
        if stripped.startswith("#"):
            comment = (comment if was_comment else []) + [stripped.lstrip("# ")]
            was_comment = True
            continue
        was_comment = False
        statement += " " + stripped
        if statement.count("(") != statement.count(")"):
            continue
        called = re.match(r"\s*tillvane_add_tests?\((\S+)", statement)
        labels = re.findall(r"\bno-\w+\b", statement) if called else []
        for label in labels:
            name = Path(called.group(1)).stem.removeprefix("tillvane_")
            found[f"tillvane_{name}", label] = " ".join(comment)
        if not labels:
            comment = []
        statement = ""
    return found


def count_table(results):
    """A row for each kind, a column for each preset."""
    lines = ["| Tests | " + " | ".join(f"`{preset}`" for preset in results) + " |", "|---|" + "--:|" * len(results)]
    for kind in (*KINDS, "**all**"):
        cells = []
        for tests in results.values():
            counts = Counter(test.outcome for test in tests or () if kind in (test.kind, "**all**"))
            cells.append(", ".join(f"{counts[outcome]} {outcome}" for outcome in
                                   ("passed", "failed", "skipped", "disabled", "excluded") if counts[outcome]) or "none")
        lines.append(f"| {kind} | " + " | ".join(cells) + " |")
    return lines


def test_section(results, states, reasons):
    lines = ["## Tests", "",
             "ctest runs each test in a process of its own. Presets: " +
             "; ".join(f"`{preset}`: {PRESETS[preset]}" for preset in results) + ". A test that is disabled is run by "
             "another one, in a child.", "", *count_table(results), ""]
    findings = []
    for preset, tests in results.items():
        lines.append(f"`{preset}`: commit {states[preset]['commit']}, {states[preset]['seconds']} s.")
        findings += [f"{preset}: {test.name} failed {test.reason}".rstrip() for test in tests if test.outcome == "failed"]
    skipped = Counter((preset, test.reason) for preset, tests in results.items() for test in tests
                      if test.outcome == "skipped")
    if skipped:
        lines += ["", "Skipped here, and why:", "", "| Preset | Tests | Reason |", "|---|--:|---|"]
        lines += [f"| `{preset}` | {count} | {reason} |" for (preset, reason), count in sorted(skipped.items())]
    excluded = Counter((test.program, test.reason) for tests in results.values() for test in tests
                       if test.outcome == "excluded")
    if excluded:
        lines += ["", "Excluded, and why:", "", "| Program | Tests | Label | Reason |", "|---|--:|---|---|"]
        for (program, label), count in sorted(excluded.items()):
            reason = reasons.get((program, label), "")
            if not reason and not program.startswith("tillvane_mac_"):
                findings.append(f"{program} has the label {label} without a reason above it")
            lines.append(f"| `{program}` | {count} | `{label}` | "
                         f"{reason or 'ThreadSanitizer reports the order of locks in the Objective-C runtime.'} |")
    return lines, findings


# --- Faults ----------------------------------------------------------------------------------------------------------

def fault_kind(line):
    """\\return (program, the call, how it failed) of a line that a test has noted"""
    program, call, how = line.split()
    if how.isdigit():
        how = {errno.ENOMEM: "no memory"}.get(int(how)) if call in ("new", "malloc") else errno.errorcode.get(int(how))
    return program, call, how or "failed"


def fault_section(texts):
    """texts: {preset: what its tests noted}"""
    lines = ["## Faults injected and survived", "",
             "Each is a call of the system that a test lets fail, an allocation for which there is no memory, or a process",
             "that is killed, and was noted as it happened (`tests/support/faults.h`). The tests that did it passed:",
             "nothing crashed, leaked or stayed open, and what the library promises for it held. Not counted: damaged and",
             "foreign files, folders without rights, full disks, signals but SIGKILL, short reads and writes, answers that",
             "are only late, and calls that never came.", ""]
    findings = []
    for preset, text in texts.items():
        noted = [fault_kind(line) for line in text.splitlines()]
        lines += [f"With `{preset}`: **{len(noted)}** faults, {len({fault[1:] for fault in noted})} kinds, "
                  f"in {len({fault[0] for fault in noted})} programs.", ""]
        if not noted:
            findings.append(f"no fault was injected with `{preset}`")
    if texts:
        preset, text = next(iter(texts.items()))
        by_call = defaultdict(Counter)
        programs = Counter()
        for program, call, how in map(fault_kind, text.splitlines()):
            by_call[call][how] += 1
            programs[program] += 1
        lines += [f"By call, with `{preset}`:", "", "| Call | Faults | How |", "|---|--:|---|"]
        lines += [f"| `{call}` | {sum(hows.values())} | " +
                  ", ".join(f"{how} {count}" for how, count in sorted(hows.items())) + " |"
                  for call, hows in sorted(by_call.items())]
        lines += ["", "By program:", "", "| Program | Faults |", "|---|--:|"]
        lines += [f"| `{program}` | {count} |" for program, count in sorted(programs.items())]
    return lines, findings


# --- Fuzzing ---------------------------------------------------------------------------------------------------------

def fuzz_section(targets, logs):
    """targets: their names; logs: {name: what libFuzzer wrote}"""
    lines = ["## Fuzzing", "", "By `./dev fuzz SECONDS`, with AddressSanitizer and UndefinedBehaviorSanitizer.", ""]
    findings, rows, total = [], [], 0
    for target in targets:
        inputs = re.search(r"^stat::number_of_executed_units: *(\d+)", logs.get(target, ""), re.M)
        seconds = re.search(r"^Done \d+ runs in (\d+) second", logs.get(target, ""), re.M)
        if "ERROR: " in logs.get(target, "") or not inputs or not seconds:
            findings.append(f"fuzzing: {target} " + ("failed" if target in logs else "did not run"))
            continue
        total += int(inputs.group(1))
        rows.append(f"| `{target}` | {int(inputs.group(1)):,} | {seconds.group(1)} |")
    lines += [f"**{total:,}** inputs, no crash, no leak, no time-out.", "", "| Target | Inputs | Seconds |",
              "|---|--:|--:|", *rows] if rows else ["No target ran."]
    return lines, findings


# --- Coverage --------------------------------------------------------------------------------------------------------

class Reason(NamedTuple):
    lines: int  # that may be left, at most
    branches: int
    by_chance: bool  # that some are left depends on when threads run
    text: str


def read_reasons(text):
    reasons = {}
    for line in text.splitlines():
        if line.strip() and not line.startswith("#"):
            name, lines, branches, why = (part.strip() for part in line.split("|", 3))
            reasons[name] = Reason(int(lines), int(branches), why.startswith("By chance:"), why)
    return reasons


def left_in(file):
    """(lines, branches) that were not run; a condition in a line that was not run is no news."""
    branches = [branch for branch in file.missed_branches() if file.lines.get(branch.line) != 0]
    return len(file.missed_lines()), len(branches)


def check_reasons(files, reasons):
    findings = []
    for name, file in files.items():
        lines, branches = left_in(file)
        reason = reasons.get(name)
        if reason is None and (lines or branches):
            findings.append(f"coverage: {name}: {lines} lines and {branches} branches left, without a reason")
        elif reason and not reason.by_chance and not lines and not branches:
            findings.append(f"coverage: {name}: has a reason, but nothing is left")
        elif reason and (lines > reason.lines or branches > reason.branches):
            findings.append(f"coverage: {name}: {lines} lines and {branches} branches left, the reason is for "
                            f"{reason.lines} and {reason.branches}")
    findings += [f"coverage: {name}: has a reason, but is no file that was measured"
                 for name in sorted(set(reasons) - set(files))]
    return findings


def coverage_section(files, reasons):
    total = coverage_report.Total.of(files.values())
    reached = (total.line_percentage(), total.branch_percentage())
    findings = check_reasons(files, reasons)
    if reached[0] < GOAL[0] or reached[1] < GOAL[1]:
        findings.append(f"coverage: {reached[0]:.1f} % of the lines and {reached[1]:.1f} % of the branches are below "
                        f"{GOAL[0]} % and {GOAL[1]} %")
    lines = ["## Coverage", "",
             f"`tillvane/` without `platform/mac`: **{reached[0]:.1f} %** of {total.lines} lines (goal {GOAL[0]} %), "
             f"**{reached[1]:.1f} %** of {total.branches} branches (goal {GOAL[1]} %), counted in every process of every "
             "test, killed ones too. A branch is one of the two ways out of a condition.", "",
             "What is left, and why:", "", "| File | Lines | Branches | Reason |", "|---|--:|--:|---|"]
    for name, file in files.items():
        left = left_in(file)
        if any(left):
            why = reasons[name].text if name in reasons else "**none is known**"
            lines.append(f"| `{name}` | {left[0]} | {left[1]} | {why} |")
    return lines + ["", "Every file:", "", coverage_report.table(files).rstrip()], findings


# --- Signal handlers -------------------------------------------------------------------------------------------------

def handler_section(libraries):
    """libraries: {where it is: what objdump shows of it, None where it is not there}"""
    lines = ["## Signal handlers", "",
             "`tools/check_signal_safety.py` follows every call from " +
             ", ".join(f"`{name}`" for name in handler_names()) +
             " through the machine code. What leaves the library has to be one of those below.", "",
             "| Library | Handlers | Functions followed | Calls that leave it | Findings |", "|---|--:|--:|--:|--:|"]
    findings, used = [], set()
    for name, disassembly in libraries.items():
        if disassembly is None:
            findings.append(f"signal handlers: {name} is not built")
            continue
        found, followed, leaving = check_signal_safety.check(disassembly)
        findings += [f"{name}: {check_signal_safety.readable(finding).rstrip()}" for finding in found]
        lines.append(f"| `{name}` | {len(check_signal_safety.HANDLERS)} | {followed} | {leaving} | {len(found)} |")
        functions = check_signal_safety.read_functions(disassembly)
        roots = [root for root in functions if root.startswith(tuple(check_signal_safety.HANDLERS)) and "." not in root]
        used |= {call for root in roots for way in check_signal_safety.reached(functions, root)
                 for call in functions[way].outside}
    lines += ["", "| Call | Why a signal handler may call it |", "|---|---|"]
    lines += [f"| `{call}` | {check_signal_safety.ALLOWED[call]} |" for call in sorted(used & set(check_signal_safety.ALLOWED))]
    return lines, findings


def handler_names():
    """The last part of each mangled name: a number, and so many characters."""
    names = []
    for mangled in check_signal_safety.HANDLERS:
        rest, name = mangled.removeprefix("_Z").removeprefix("N"), ""
        while part := re.match(r"\d+", rest):
            name, rest = rest[part.end():][:int(part.group())], rest[part.end() + int(part.group()):]
        names.append(name)
    return names


# --- The report ------------------------------------------------------------------------------------------------------

HEAD = """# What the tests show

Written by `./dev test --report` (`./dev test --report=quick` without the sanitizers' two presets): on Debian 12 it
installs what it lacks, builds, runs all this and writes `build/report/tests/README.md`. It ends with an error where
something of it is missing, or is not well.
""".splitlines()


def read_results(presets):
    results, states, faults, findings = {}, {}, {}, []
    made_of = fingerprint()
    for preset in presets:
        folder = RESULTS / preset
        if not (folder / "state.json").exists():
            findings.append(f"the tests of `{preset}` did not run ({PRESETS[preset]})")
            continue
        states[preset] = json.loads((folder / "state.json").read_text())
        if states[preset]["made_of"] != made_of:
            findings.append(f"the results of `{preset}` are those of other sources")
        results[preset] = tests_of(preset, (folder / "tests.xml").read_text(), (folder / "all.json").read_text())
        faults[preset] = (folder / "faults.txt").read_text()
    return results, states, faults, findings


def read_label_reasons():
    found = {}
    for path in ("tests/CMakeLists.txt", "tests/soak/CMakeLists.txt"):
        found |= label_reasons((ROOT / path).read_text())
    return found


def sections(presets):
    results, states, faults, findings = read_results(presets)
    yield [], findings
    yield test_section(results, states, read_label_reasons())
    yield fault_section(faults)
    targets = sorted(path.name for path in (ROOT / "fuzz/corpus").iterdir())
    logs = {path.stem: path.read_text(errors="replace") for path in (ROOT / "build/fuzz").glob("*_fuzz.log")}
    yield fuzz_section(targets, logs)
    if "coverage" in results:
        files = coverage_report.measure(ROOT / "build/coverage")
        yield coverage_section(files, read_reasons(REASONS.read_text()))
    yield handler_section({name: check_signal_safety.disassemble(ROOT / name) if (ROOT / name).exists() else None
                           for name in LIBRARIES})


def write(report, presets):
    body, findings = [], []
    for lines, found in sections(presets):
        body += ["", *lines] if lines else []
        findings += found
    missing = ["", "Missing here:", "", *(f"- {finding}" for finding in findings)] if findings else []
    report.parent.mkdir(parents=True, exist_ok=True)
    report.write_text("\n".join([*HEAD, *missing, *body]) + "\n")
    for finding in findings:
        print(f"test_report: {finding}")
    return 1 if findings else 0


def main(arguments):
    if len(arguments) == 3 and arguments[0] == "run" and arguments[1] in PRESETS:
        return run(arguments[1], arguments[2])
    if len(arguments) > 2 and arguments[0] == "write" and set(arguments[2:]) <= set(PRESETS):
        return write(Path(arguments[1]), arguments[2:])
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
