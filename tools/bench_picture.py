"""The picture of a family for bench_report.py: a dot for each ratio, with its spread, its goal and its limit."""

import textwrap

import matplotlib
from matplotlib.figure import Figure
from matplotlib.lines import Line2D
from matplotlib.transforms import blended_transform_factory

# More lines than this, and only the comparisons with a goal are drawn.
MOST_LINES = 40

LINE_INCHES = 0.23
# For the numbers below a part and its name; for the legend.
AXIS_INCHES, LEGEND_INCHES = 0.55, 0.35
WIDTH_INCHES = 10.0
# Where the labels end and where the numbers begin, of the width.
LEFT, RIGHT = 0.37, 0.82
# A label of more characters has two lines in smaller letters.
LONGEST_LABEL = 50
NORMAL, SMALL = 8, 6.5

MET, MISSED, NO_GOAL, LIMIT = "#1a7f4e", "#c0392b", "#3b5b8c", "#7d3c98"

STYLE = {
    # Text as text: small files, and one can search them. The rest makes two drawings of the same the same.
    "svg.fonttype": "none",
    "svg.hashsalt": "tillvane",
    "font.family": "DejaVu Sans",
    "font.size": NORMAL,
}


class Entry:
    """A line of the picture."""

    def __init__(self, label, value, spread, goal, is_met, text, limit=None):
        self.label, self.value, self.spread, self.goal, self.is_met = label, value, spread, goal, is_met
        self.text, self.limit = text, limit


def number(value):
    """Three digits that count, of a small ratio two."""
    if abs(value) >= 100:
        return f"{value:.0f}"
    if abs(value) >= 10:
        return f"{value:.1f}"
    return f"{value:.2f}" if abs(value) >= 0.0995 else f"{value:.3f}"


def entries_of(table):
    limit = next((peer for peer in table["peers"] if peer["is_limit"]), None)
    for peer in table["peers"]:
        goal = peer.get("goal")
        yield Entry(peer["name"], peer["ratio"], [peer[key] for key in ("least", "lower", "upper", "most")], goal,
                    peer.get("is_met"), number(peer["ratio"]) + (f"  (goal {goal:.3g})" if goal else ""),
                    limit["nanoseconds"] / peer["nanoseconds"] if limit else None)


def entry_of_bound(bound):
    goal = bound["goal"]
    least, most = bound["least"] / goal, bound["most"] / goal
    unit = f" {bound['unit']}" if bound["unit"] else ""
    return Entry(bound["what"], bound["value"] / goal, [least, None, None, most], 1, bound["is_met"],
                 f"{number(bound['value'])}  (goal {goal:.3g}{unit})")


def tables_to_draw(family):
    """The tables, and whether they are all."""
    tables = [table for table in family["tables"] if table["peers"]]
    if sum(1 + len(table["peers"]) for table in tables) <= MOST_LINES:
        return tables, True
    return [table for table in tables if any("goal" in peer for peer in table["peers"])], False


def write_label(axes, x, y, text, **how):
    """In the line y; x is a part of the picture's width."""
    across = blended_transform_factory(axes.get_figure().transFigure, axes.transData)
    axes.text(x, y, text, transform=across, va="center", **how)


def limits_of(entries):
    """What the axis of ratios shows: everything but the ends of the spread, which may be far away."""
    values = [1.0]
    for entry in entries:
        values += [entry.value, entry.goal, entry.limit, *entry.spread[1:3]]
    values = [value for value in values if value is not None and value > 0]
    return min(values) / 1.3, max(values) * 1.3


def ticks_between(least, most):
    """The ticks of a logarithmic axis: more or fewer digits of each ten, as the axis is short or long."""
    for digits in ((1, 1.2, 1.5, 2, 3, 4, 5, 6, 7, 8, 9), (1, 1.5, 2, 3, 5, 7), (1, 2, 5), (1,)):
        ticks = [float(f"{digit}e{power}") for power in range(-4, 5) for digit in digits]
        ticks = [tick for tick in ticks if least <= tick <= most]
        if len(ticks) <= 9:
            break
    return ticks


def frame(axes, lines):
    axes.set_ylim(lines - 0.4, -0.6)
    axes.set_yticks([])
    for side in ("left", "right", "top"):
        axes.spines[side].set_visible(False)
    axes.axvline(1, color="0.35", linewidth=1, zorder=1)
    axes.grid(axis="x", color="0.88", linewidth=0.6)
    axes.set_axisbelow(True)
    axes.tick_params(axis="x", length=3)


def draw_entry(axes, y, entry):
    color = NO_GOAL if entry.is_met is None else MET if entry.is_met else MISSED
    least, lower, upper, most = entry.spread
    axes.plot([least, most], [y, y], color=color, linewidth=0.8, solid_capstyle="butt", zorder=2)
    if lower is not None:
        axes.plot([lower, upper], [y, y], color=color, linewidth=5, alpha=0.4, solid_capstyle="butt", zorder=3)
    if entry.goal:
        axes.plot([entry.goal, entry.goal], [y - 0.36, y + 0.36], color="black", linewidth=1.6, zorder=4)
    if entry.limit is not None:
        axes.plot([entry.limit], [y], marker="D", markersize=5, markerfacecolor="white", markeredgecolor=LIMIT,
                  linestyle="none", zorder=5)
    axes.plot([entry.value], [y], marker="s" if entry.is_met is False else "o", markersize=5, markeredgecolor=color,
              markerfacecolor="white" if entry.is_met is None else color, linestyle="none", zorder=6)
    lines = textwrap.wrap(entry.label, LONGEST_LABEL)
    write_label(axes, LEFT - 0.015, y, "\n".join(lines), ha="right", size=SMALL if len(lines) > 1 else NORMAL)
    write_label(axes, RIGHT + 0.015, y, entry.text, ha="left", color=color)


def draw_ratios(axes, tables):
    y, entries = 0, []
    for table in tables:
        write_label(axes, 0.01, y, f"{table['title']}  ({table['clock']})", ha="left", weight="bold",
                    bbox={"facecolor": "white", "edgecolor": "none", "pad": 1})
        for entry in entries_of(table):
            y += 1
            draw_entry(axes, y, entry)
            entries.append(entry)
        y += 1
    frame(axes, y)
    least, most = limits_of(entries)
    axes.set_xscale("log")
    axes.set_xlim(least, most)
    ticks = ticks_between(least, most)
    axes.set_xticks(ticks, [f"{tick:g}" for tick in ticks])
    axes.minorticks_off()
    axes.set_xlabel("ours / this, logarithmic")


def draw_bounds(axes, bounds):
    entries = [entry_of_bound(bound) for bound in bounds]
    for y, entry in enumerate(entries):
        draw_entry(axes, y, entry)
    frame(axes, len(entries))
    values = [entry.value for entry in entries] + [0, 1.1]
    axes.set_xlim(min(values) * 1.1, max(values) * 1.1)
    axes.set_xlabel("part of the goal")


def draw_legend(figure):
    spread = Line2D([], [], color=NO_GOAL, linewidth=5, alpha=0.4)
    ends = Line2D([], [], color=NO_GOAL, linewidth=0.8)
    marks = [("o", MET, MET, 5), ("s", MISSED, MISSED, 5), ("o", NO_GOAL, "white", 5), ("|", "black", "black", 9),
             ("D", LIMIT, "white", 5)]
    handles = [Line2D([], [], linestyle="none", marker=marker, markeredgecolor=edge, markerfacecolor=face,
                      markersize=size, markeredgewidth=1.6 if marker == "|" else 1)
               for marker, edge, face, size in marks]
    figure.legend([*handles, spread, ends],
                  ["goal met", "goal missed", "no goal", "the goal", "physical limit", "quartiles", "least to most"],
                  loc="lower center", ncol=7, frameon=False, handletextpad=0.4, columnspacing=1.4)


def draw(family, path):
    """Writes the picture. Returns whether it has all comparisons."""
    tables, is_whole = tables_to_draw(family)
    lines = sum(1 + len(table["peers"]) for table in tables)
    parts = [(draw_ratios, tables, lines), (draw_bounds, family["bounds"], len(family["bounds"]))]
    parts = [part for part in parts if part[1]]
    with matplotlib.rc_context(STYLE):
        height = sum(part[2] * LINE_INCHES + AXIS_INCHES for part in parts) + LEGEND_INCHES
        figure = Figure(figsize=(WIDTH_INCHES, height))
        top = height - 0.1
        for draw_part, content, part_lines in parts:
            bottom = top - part_lines * LINE_INCHES
            axes = figure.add_axes((LEFT, bottom / height, RIGHT - LEFT, part_lines * LINE_INCHES / height))
            draw_part(axes, content)
            top = bottom - AXIS_INCHES
        draw_legend(figure)
        figure.savefig(path, metadata={"Date": None, "Creator": None})
    return is_whole
