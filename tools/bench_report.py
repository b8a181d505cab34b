#!/usr/bin/env python3
"""Makes pages and pictures of what run_bench --json has written.

usage: bench_report.py [--strict] RESULTS FOLDER

For each family a page and a picture, and README.md with every goal. A measurement that could not be made is an error:
exit status 1, after the pages are written. With --strict so is a missed goal about which the benchmarks have no note;
without it the pages say that there is none, since another machine may miss what no one has seen missed. Results that
lack something are refused before (exit status 2).
"""

import json
import os
import sys

import bench_picture
from bench_picture import number

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

PEER = {"name": str, "nanoseconds": float, "ratio": float, "least": float, "lower": float, "upper": float,
        "most": float, "is_limit": bool}
GOAL_OF_PEER = {"goal": float, "is_met": bool, "note": str}
TABLE = {"title": str, "clock": str, "ours": dict, "peers": list}
BOUND = {"what": str, "unit": str, "value": float, "least": float, "most": float, "goal": float, "is_met": bool,
         "note": str}
FAMILY = {"name": str, "tables": list, "bounds": list, "left_out": list, "failures": list}
MACHINE = {"processors": int, "kernel": str, "compiler": str, "c_library": str, "temporary_files": str}
RESULTS = {"is_quick": bool, "only": str, "machine": dict, "load_at_begin": list, "load_at_end": list, "seconds": float,
           "families": list}


class BadResults(Exception):
    """What is read are no results; the text says where."""


# --- Reading ---


def check(value, fields, where):
    """Is there every field, of its kind? JSON writes a whole number without a point, and no number as null."""
    if not isinstance(value, dict):
        raise BadResults(f"{where}: not an object")
    for name, kind in fields.items():
        if name not in value:
            raise BadResults(f"{where}: '{name}' is missing")
        kinds = (int, float) if kind is float else kind
        if not isinstance(value[name], kinds) or (isinstance(value[name], bool) and kind is not bool):
            raise BadResults(f"{where}: '{name}' is no {kind.__name__}")


def check_spread(peer, where):
    """The ratio of medians cannot lie outside the quartiles of all pairs of repetitions."""
    spread = [peer[key] for key in ("least", "lower", "ratio", "upper", "most")]
    # The mean of two in the middle is rounded.
    if any(left > right * (1 + 1e-9) for left, right in zip(spread, spread[1:])):
        raise BadResults(f"{where}: its ratio and the spread are not in order")


def check_family(family, where):
    check(family, FAMILY, where)
    where = f"{where} '{family['name']}'"
    for table in family["tables"]:
        check(table, TABLE, f"{where}, a table")
        in_table = f"{where}, '{table['title']}'"
        check(table["ours"], {"name": str, "nanoseconds": float}, in_table)
        for peer in table["peers"]:
            check(peer, PEER, f"{in_table}, a peer")
            check_spread(peer, f"{in_table}, '{peer['name']}'")
            if "goal" in peer:
                check(peer, GOAL_OF_PEER, f"{in_table}, '{peer['name']}'")
    for bound in family["bounds"]:
        check(bound, BOUND, f"{where}, a bound")
    for left_out in family["left_out"]:
        check(left_out, {"what": str, "why": str}, f"{where}, left out")


def parse(text):
    try:
        results = json.loads(text)
    except ValueError as error:
        raise BadResults(f"not JSON: {error}") from error
    check(results, RESULTS, "the results")
    check(results["machine"], MACHINE, "the machine")
    for load in (results["load_at_begin"], results["load_at_end"]):
        if len(load) != 3 or not all(isinstance(one, (int, float)) for one in load):
            raise BadResults("the results: a load is not three numbers")
    if not results["families"]:
        raise BadResults("the results: no family was measured")
    for family in results["families"]:
        check_family(family, "family")
    return results


# --- Goals ---


class Goal:
    """One goal of a family, about a ratio or about a number of its own."""

    def __init__(self, family, what, beside, entry, value, spread, unit):
        self.family, self.what, self.beside = family, what, beside
        self.is_met, self.note = entry["is_met"], entry["note"]
        self.value, self.spread = value, spread
        self.goal = f"{entry['goal']:.3g}{unit}"

    def title(self):
        return f"{self.family}: {self.what}" + (f", of {self.beside}" if self.beside else "")


def goals_of(family):
    goals = []
    for table in family["tables"]:
        for peer in table["peers"]:
            if "goal" in peer:
                goals.append(Goal(family["name"], table["title"], peer["name"], peer, number(peer["ratio"]),
                                  between(peer["lower"], peer["upper"]), ""))
    for bound in family["bounds"]:
        unit = f" {bound['unit']}" if bound["unit"] else ""
        is_one = bound["least"] == bound["most"]
        goals.append(Goal(family["name"], bound["what"], "", bound, number(bound["value"]) + unit,
                          "" if is_one else between(bound["least"], bound["most"]), unit))
    return goals


def without_note(goals):
    return [goal for goal in goals if not goal.is_met and not goal.note.strip()]


# --- Writing ---


def between(least, most):
    return f"{number(least)} to {number(most)}"


def cell(text):
    return text.replace("|", "\\|").replace("*", "\\*").replace("_", "\\_").replace("<", "&lt;")


def row(*cells):
    return "| " + " | ".join(cells) + " |"


def yes(is_met):
    return "yes" if is_met else "**no**"


def table_lines(table):
    limit = next((peer for peer in table["peers"] if peer["is_limit"]), None)
    yield f"### {cell(table['title'])}"
    yield ""
    yield f"`{table['ours']['name']}`, {table['clock']}."
    yield ""
    yield row("beside", "ours/this", "quartiles", "least to most", *(["the limit/this"] if limit else []), "goal", "met")
    yield row("---", "---:", "---:", "---:", *(["---:"] if limit else []), "---:", "---")
    for peer in table["peers"]:
        of_limit = [number(limit["nanoseconds"] / peer["nanoseconds"])] if limit else []
        has_goal = "goal" in peer
        yield row(cell(peer["name"]) + (" (the limit)" if peer is limit else ""), number(peer["ratio"]),
                  between(peer["lower"], peer["upper"]), between(peer["least"], peer["most"]), *of_limit,
                  f"{peer['goal']:.3g}" if has_goal else "", yes(peer["is_met"]) if has_goal else "")
    yield ""


def bounds_lines(family):
    if not family["bounds"]:
        return
    yield "### Bounds"
    yield ""
    yield row("what", "is", "least to most", "goal", "met")
    yield row("---", "---:", "---:", "---:", "---")
    for goal in goals_of({**family, "tables": []}):
        yield row(cell(goal.what), goal.value, goal.spread, goal.goal, yes(goal.is_met))
    yield ""


def missed_lines(goals):
    for goal in goals:
        if not goal.is_met:
            note = goal.note.strip() or "**No note says why.**"
            spread = f" ({goal.spread})" if goal.spread else ""
            yield f"- **{cell(goal.title())}**: {goal.value}{spread}, goal {goal.goal}. {note}"


def not_measured_lines(family):
    for left_out in family["left_out"]:
        yield f"- {cell(left_out['what'])}: {left_out['why']}."
    for failure in family["failures"]:
        yield f"- {cell(failure)}: **it could not be measured**."


def section(title, lines):
    lines = list(lines)
    return [f"## {title}", "", *lines, ""] if lines else []


def link_to_benchmarks(folder):
    return os.path.relpath(os.path.join(ROOT, "bench", "README.md"), folder).replace(os.sep, "/")


def family_page(family, folder, is_whole):
    name = family["name"]
    lines = [f"# Speed: {name}", "",
             f"What is compared, and how: [the benchmarks]({link_to_benchmarks(folder)}#{name}). How to read this, and on "
             "which machine it was measured: [all families](README.md).", "",
             f"![{name}: ours beside the peers]({name}.svg)", ""]
    if not is_whole:
        lines += ["The picture has only the comparisons with a goal; the tables have all.", ""]
    lines += section("Goals that are missed", missed_lines(goals_of(family)))
    lines += section("Not measured", not_measured_lines(family))
    lines += ["## Measured", ""]
    for table in family["tables"]:
        lines += table_lines(table)
    lines += bounds_lines(family)
    return "\n".join(lines).rstrip() + "\n"


HOW_TO_READ = """## How to read it

**The ratio is the result**: our median through the peer's, by the same clock, in one run; 0.5 is half its time. A time by
itself says something about the machine and its other guests, so no page has one. *Processor time* leaves out what other
processes do meanwhile, though not what they do to the caches; *wall clock* leaves out nothing.

- The dot is that ratio, the thick bar goes from quartile to quartile of the same ratio in single repetitions, the thin
  line from the least to the most. The line at 1 is the peer. A long bar says: look with care, measure again.
  The dot is a ratio of two medians; the bar is of single pairs, each repetition of ours with each of the peer's, since
  they run in random order. So the dot always lies in its bar.
- The upright tick is the goal: how much of the peer's time ours may take. No tick, no goal: the peer shows something
  else.
- The diamond is the physical limit where there is one: where the dot would be if ours did nothing but what no way can
  leave out, such as the bare system calls, or a look at each byte. Who is left of it makes fewer or larger calls, or
  shows how far the clock on the wall can be trusted.
- A goal of a number of its own, such as milliseconds, stands in a second part of the picture, each through its goal."""


def machine_lines(results):
    machine = results["machine"]
    yield f"- Processors: {machine['processors']}. Kernel: {machine['kernel']}."
    yield f"- Compiler: {machine['compiler']}, release build. C library: {machine['c_library']}."
    yield f"- Files were made on {machine['temporary_files']}."
    load = [" ".join(f"{one:.1f}" for one in results[when]) for when in ("load_at_begin", "load_at_end")]
    yield (f"- Load (1, 5 and 15 minutes): {load[0]} at the beginning, {load[1]} at the end, "
           f"{results['seconds'] / 60:.0f} minutes later. Above the number of processors, other processes were at work.")
    if results["is_quick"]:
        yield "- **A quick run** (`--quick`): five short repetitions instead of fifteen, and the longest measurements left out."


def index_page(results):
    goals = [goal for family in results["families"] for goal in goals_of(family)]
    met = sum(goal.is_met for goal in goals)
    options = " --quick" if results["is_quick"] else ""
    options += f" --only={results['only']}" if results["only"] else ""
    measured = "this one family" if results["only"] else "everything"
    lines = ["# Speed", "",
             "Each of ours beside what else one could use for the same work. "
             f"**{met} of {len(goals)} goals are met.** These pages and pictures were written by", "",
             f"    ./dev bench --report{options}", "",
             f"which measures {measured} again and leaves its pages in `build/report/bench`.", "",
             "| family | comparisons | goals met |", "|---|---:|---:|"]
    for family in results["families"]:
        own = goals_of(family)
        lines.append(row(f"[{family['name']}]({family['name']}.md)", str(len(family["tables"]) + len(family["bounds"])),
                         f"{sum(goal.is_met for goal in own)} of {len(own)}" if own else ""))
    lines += ["", HOW_TO_READ, ""]
    lines += section("The machine", machine_lines(results))
    lines += section("Goals that are missed, and why", missed_lines(goals))
    lines += section("Not measured in this run",
                     (line for family in results["families"] for line in not_measured_lines(family)))
    lines += ["## Every goal", "", row("family", "what", "beside", "is", "quartiles", "goal", "met"),
              row("---", "---", "---", "---:", "---:", "---:", "---")]
    lines += [row(f"[{goal.family}]({goal.family}.md)", cell(goal.what), cell(goal.beside), goal.value, goal.spread,
                  goal.goal, yes(goal.is_met)) for goal in goals]
    return "\n".join(lines).rstrip() + "\n"


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def write_report(results, folder):
    os.makedirs(folder, exist_ok=True)
    for family in results["families"]:
        path = os.path.join(folder, family["name"])
        is_whole = bench_picture.draw(family, path + ".svg")
        write(path + ".md", family_page(family, folder, is_whole))
    write(os.path.join(folder, "README.md"), index_page(results))


def complaints(results, is_strict):
    for family in results["families"]:
        for failure in family["failures"]:
            yield f"{family['name']}: could not be measured: {failure}"
        for goal in without_note(goals_of(family)) if is_strict else ():
            yield f"{goal.title()}: missed ({goal.value}, goal {goal.goal}), and no note says why"


def main(arguments):
    is_strict = arguments[:1] == ["--strict"]
    if len(arguments) != 2 + is_strict:
        print(__doc__, file=sys.stderr)
        return 2
    source, folder = arguments[is_strict:]
    try:
        with open(source, encoding="utf-8") as file:
            results = parse(file.read())
    except (OSError, BadResults) as error:
        print(f"bench_report: {source}: {error}", file=sys.stderr)
        return 2
    write_report(results, folder)
    print(f"bench_report: {os.path.join(folder, 'README.md')}")
    found = list(complaints(results, is_strict))
    for one in found:
        print(f"bench_report: {one}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
