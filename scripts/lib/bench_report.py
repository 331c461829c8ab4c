"""The table of scripts/bench and the page docs/performance.md: what the driver costs beside what it is compared with."""
import os
import re
import statistics
import subprocess
import textwrap
from pathlib import Path

from lib.bench_instructions import (COUNTED_SIZE, FIRST_CACHE_KIB, SECOND_CACHE_KIB, count_instructions, count_misses,
                                    dearest_functions, missing_functions)
from lib.bench_programs import run, tool_versions
from lib.bench_scenarios import LAYOUTS, LOCAL_ROWS, SIZES, Growth
from lib.project import DRIVER_FOLDERS, git, has_changes

PAGE = Path("docs/performance.md")
PLOT = Path("docs/performance.svg")
PAGE_TEMPLATE = Path("bench/performance.md.in")
PLOT_SCRIPT = Path("bench/performance.gnuplot")
BUDGET_PAGE = Path("docs/budget.md")

LONGEST_READ_WAIT_US = 1000  # microseconds, as long as they need no other unit
LONGEST_WRITE_WAIT_US = 20000


class Figures:
    """Nanoseconds per item (read, tag or cycle) by metric and scenario, one per round; instructions per item."""

    def __init__(self):
        self.rounds = {"wall": {}, "cpu": {}}
        self.instructions = {}
        self.others = {}

    def add(self, name, wall, cpu):
        self.rounds["wall"].setdefault(name, []).append(wall)
        self.rounds["cpu"].setdefault(name, []).append(cpu)

    def values(self, name, metric="wall"):
        return self.rounds[metric][name]

    def median(self, name, metric="wall"):
        return statistics.median(self.values(name, metric))

    def as_json(self):
        return {"wall_ns": self.rounds["wall"], "cpu_ns": self.rounds["cpu"], "instructions": self.instructions,
                "others": self.others}


def other_rows(others):
    """(title, figure, goal, unit)"""
    rows = [("longest wait in GetRegisterData while replies are stored", others["read_wait"], LONGEST_READ_WAIT_US,
             "us"),
            ("longest wait in SetRegisterData while 10,000 tags are rebuilt", others["write_wait"],
             LONGEST_WRITE_WAIT_US, "us"),
            ("heap per byte of the image, 64-bit", others["heap_image"], 60, "bytes")]
    if "heap_image_32" in others:
        rows.append((f"heap per byte of the image, 32-bit ({BUDGET_PAGE})", others["heap_image_32"], 36, "bytes"))
    return rows + [(f"heap per cyclic tag, everything derived, {title}", others[f"heap_tag_{layout}"], 250, "bytes")
                   for layout, title in LAYOUTS.items()]


# ----------------------------------------------------------------------------------------------------------------------
# The table
# ----------------------------------------------------------------------------------------------------------------------

def scale_of(nanoseconds):
    return next(((size, unit) for size, unit in ((1e6, "ms"), (1e3, "us")) if nanoseconds >= size), (1, "ns"))


def digits(number):
    return f"{number:#.3g}".rstrip(".") if number < 1000 else f"{number:.0f}"


def spread_text(values):
    """Median, minimum and maximum in one unit."""
    size, unit = scale_of(statistics.median(values))
    middle, low, high = (digits(value / size) for value in (statistics.median(values), min(values), max(values)))
    return f"{middle} [{low}, {high}] {unit}"


def verdict(figure, goal):
    if goal is None:
        return ""
    return "met" if figure <= goal else f"missed +{figure / goal - 1:.0%}"


def cells(row, figures):
    """Title, tags, beside, driver, ratio, ratio of instructions, goal, verdict."""
    goal = "" if row.goal is None else f"{row.goal:g}"
    if isinstance(row, Growth):
        floor, ours = (figures.median(large) / figures.median(small) for small, large in (row.floors, row.ours))
        return (row.title, f"x {row.large // row.small}", f"floor: x {floor:.2f}", f"x {ours:.2f}", f"{ours:.2f}", "",
                goal, verdict(ours, row.goal))
    ratio = figures.median(row.ours, row.metric) / figures.median(row.beside, row.metric)
    counts = [figures.instructions.get(name) for name in row.names()]
    beside, ours = (spread_text(figures.values(name, row.metric)) for name in row.names())
    who = "" if row.beside_title() == "floor" else row.beside_title() + " "
    return (row.title, f"{row.size:,}", who + beside, ours, f"{ratio:.2f}",
            f"{counts[1] / counts[0]:.2f}" if all(counts) else "", goal, verdict(ratio, row.goal))


HEAD = ("scenario", "tags", "floor or peer [min, max]", "driver [min, max]", "ratio", "instr", "goal", "verdict")


def print_table(rows, figures):
    layout = "{:<33.33} {:>6} {:>26} {:>20} {:>6} {:>5} {:>4} {}"
    print(layout.format(*HEAD))
    print("-" * 120)
    for row in rows:
        title, tags, beside, *rest = cells(row, figures)
        print(layout.format(title, tags, beside.replace("libmodbus", "libm.").replace("qtmodbus", "Qt"), *rest))
    if figures.others:
        print("-" * 120)
        for title, figure, goal, unit in other_rows(figures.others):
            print(f"{title:<70} {figure:>10.1f} {unit:<6} goal {goal:>6}  {verdict(figure, goal)}")


# ----------------------------------------------------------------------------------------------------------------------
# The page
# ----------------------------------------------------------------------------------------------------------------------

def table_text(rows, figures):
    lines = ["| " + " | ".join(HEAD) + " |", "| " + " | ".join("---" for _ in HEAD) + " |"]
    lines += ["| " + " | ".join(cells(row, figures)) + " |" for row in rows]
    return "\n".join(lines)


def others_text(figures):
    lines = ["| figure | measured | goal | verdict |", "| --- | --- | --- | --- |"]
    lines += [f"| {title} | {figure:.1f} {unit} | {goal} | {verdict(figure, goal)} |"
              for title, figure, goal, unit in other_rows(figures.others)]
    return "\n".join(lines)


def instructions_text(figures):
    lines = ["| scenario | floor | driver |", "| --- | --- | --- |"]
    for name in figures.instructions:
        if name.endswith("/driver"):
            floor = figures.instructions.get(name.replace("/driver", "/floor"))
            lines.append(f"| {name.rsplit('/', 1)[0]} | {floor:,.0f} | {figures.instructions[name]:,.0f} |")
    return "\n".join(lines)


def filled(item):
    """As an item of a Markdown list."""
    return textwrap.fill(item, 118, initial_indent="- ", subsequent_indent="  ", break_on_hyphens=False)


def explain(row, figures):
    """One item of the list of missed goals. Counts instructions of scenarios for which that was not done yet."""
    def count(name):
        return figures.instructions.get(name) or count_instructions(name)

    head = f"{row.title}, {cells(row, figures)[1]}: {verdict_of(row, figures)}."
    if isinstance(row, Growth):
        small, large = (count(name) for name in row.ours)
        text = (f"{head} The driver executes {small:,.0f} instructions per tag with {row.small:,} tags and "
                f"{large:,.0f} with {row.large:,}")
        return filled(f"{text}: the work itself grows.") if large > 1.05 * small else explain_misses(row, text)
    if row.ours.startswith("link/"):
        return filled(head)
    floor, driver = count(row.beside), count(row.ours)
    functions = "".join(f"\n    - {share:.0f} % `{function}`" for share, function in dearest_functions(row.ours))
    return filled(f"{head} The driver executes {driver:,.0f} instructions, the floor {floor:,.0f} "
                  f"(x {driver / floor:.2f}); the driver's by function:") + functions


def explain_misses(row, text):
    """The work is the same, so what it works on is further away: how far, and who waits for it."""
    (small, large), (floor_small, floor_large) = ([count_misses(name) for name in names]
                                                  for names in (row.ours, row.floors))
    functions = "".join(f"\n    - {share:.0f} % `{function}`" for share, function in missing_functions(row.ours[1]))
    return filled(
        f"{text}, the same work. What grows is the way to its memory: it misses a cache of {FIRST_CACHE_KIB} KiB "
        f"{small[0]:.1f} times per tag with {row.small:,} tags and {large[0]:.1f} times with {row.large:,}, and one of "
        f"{SECOND_CACHE_KIB} KiB {small[1]:.1f} and {large[1]:.1f} times (the floor: {floor_small[0]:.1f} and "
        f"{floor_large[0]:.1f}, {floor_small[1]:.1f} and {floor_large[1]:.1f}), as callgrind models them. Who misses "
        f"the larger one with {row.large:,} tags:") + functions


def verdict_of(row, figures):
    return cells(row, figures)[-1]


def missed_text(rows, figures):
    items = [explain(row, figures) for row in rows if verdict_of(row, figures).startswith("missed")]
    items += [f"- {title}: {verdict(figure, goal)}." for title, figure, goal, _ in other_rows(figures.others)
              if figure > goal]
    return "\n".join(items) if items else "No goal is missed."


def panel_text(figures):
    """What the counted instructions amount to at 300 in a microsecond."""
    def milliseconds(kind, items):
        return f"{figures.instructions[f'{kind}/twenty-scopes/{COUNTED_SIZE}/driver'] * items / 300000:.2g} ms"

    return filled(
        "A core of 600 MHz that completes an instruction every second cycle, which is a cautious figure for look-ups "
        "that miss its small caches, executes 300 in a microsecond. By that measure reading each of 1,000 tags by name "
        f"takes {milliseconds('read', 1000)}, a cycle of 1,000 tags {milliseconds('cycle', 1)} without the network, a "
        f"rebuild of their list {milliseconds('rebuild', 1000)}, and resolving them for the first time "
        f"{milliseconds('resolve', 1000)}.")


def commit_text():
    return git("log", "-1", "--format=%h of %cs") + (
        " with changes to the driver" if has_changes(*DRIVER_FOLDERS) else "")


def machine_text():
    model = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return f"{model[1] if model else 'unknown processor'}, {os.cpu_count()} processors"


def write_plot(figures):
    """One data block per curve, for the plot script: number of tags, nanoseconds."""
    data = Path("build/bench/plot.dat")
    curves = [f"{kind}/{layout}/{{}}/{who}" for kind in ("read", "resolve", "rebuild", "cycle")
              for layout in LAYOUTS for who in ("floor", "driver")]
    blocks = []
    for curve in curves:
        points = [(size, figures.median(curve.format(size))) for size in SIZES]
        if curve.startswith("cycle/"):
            points = [(size, cycle / size) for size, cycle in points]
        blocks.append("\n".join(f"{size} {value:.2f}" for size, value in points))
    data.write_text("\n\n\n".join(blocks) + "\n")
    subprocess.run(["gnuplot", "-e", f"data='{data}'; output_file='{PLOT}'", str(PLOT_SCRIPT)], check=True)


def write_page(rows, figures, rounds):
    write_plot(figures)
    local = [row for row in rows if row in LOCAL_ROWS]
    links = [row for row in rows if row not in LOCAL_ROWS]
    PAGE.write_text(PAGE_TEMPLATE.read_text().format(
        commit=commit_text(), machine=machine_text(), rounds=rounds,
        compiler=tool_versions()["compiler"], qt=tool_versions()["QtCore"],
        libmodbus=run("pkg-config", "--modversion", "libmodbus").strip(),
        local=table_text(local, figures), links=table_text(links, figures), others=others_text(figures),
        read_wait_wall=figures.others["read_wait_wall"], write_wait_wall=figures.others["write_wait_wall"],
        instructions=instructions_text(figures), missed=missed_text(rows, figures), panel=panel_text(figures)))
    print(f"Wrote {PAGE} and {PLOT}: look at both before you commit them.")
