"""The tables of scripts/bench and the page docs/performance.md: what the driver costs beside what it is compared with."""
import statistics
import subprocess
import textwrap
from pathlib import Path

from lib.bench_instructions import (COUNTED_SIZE, FIRST_CACHE_KIB, SECOND_CACHE_KIB, count_instructions, count_misses,
                                    dearest_functions, missing_functions)
from lib.bench_figures import Spread
from lib.bench_goals import GOALS
from lib.bench_programs import build, run, tool_versions
from lib.bench_scenarios import LAYOUTS, LOCAL_ROWS, SIZES, Growth

PAGE = Path("docs/performance.md")
PLOT = Path("docs/performance.svg")
PAGE_TEMPLATE = Path("bench/performance.md.in")
PLOT_SCRIPT = Path("bench/performance.gnuplot")
BUDGET_PAGE = Path("docs/budget.md")

LONGEST_READ_WAIT_US = 1000  # microseconds, as long as they need no other unit
LONGEST_WRITE_WAIT_US = 20000


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


def ratio_text(spread):
    if len(spread.medians) == 1:
        return f"{spread.median:.2f}"
    return f"{spread.median:.2f} [{spread.least:.2f}, {spread.most:.2f}]"


def verdict(figure, goal):
    if goal is None:
        return ""
    return "met" if figure <= goal else f"missed +{figure / goal - 1:.0%}"


def verdict_over(spread, is_met, miss):
    """Says so when the runs disagree."""
    met = [value for value in spread.medians if is_met(value)]
    if len(met) == len(spread.medians):
        return "met"
    if met:
        return f"runs disagree: met in {len(met)} of {len(spread.medians)}"
    return f"missed +{miss(spread.median):.0%}"


def row_verdict(spread, goal):
    return "" if goal is None else verdict_over(spread, lambda value: value <= goal, lambda value: value / goal - 1)


def all_values(runs, name, metric="wall"):
    return [value for figures in runs for value in figures.values(name, metric)]


def growth_over(runs, names):
    small, large = names
    return Spread(runs, lambda figures: figures.ratios(large, small))


def ratio_over(runs, row):
    if isinstance(row, Growth):
        return growth_over(runs, row.ours)
    return Spread(runs, lambda figures: figures.ratios(row.ours, row.beside, row.metric))


def instruction_ratio(runs, row):
    counts = [runs[-1].instructions.get(name) for name in (row.ours, row.beside)]
    return f"{counts[0] / counts[1]:.2f}" if all(counts) else ""


def cells(row, runs):
    """Title, tags, beside, expert, driver, ratio, ratio to the expert's, ratio of instructions, goal, verdict."""
    goal = "" if row.goal is None else f"{row.goal:g}"
    ratio = ratio_over(runs, row)
    if isinstance(row, Growth):
        return (row.title, f"x {row.large // row.small}", f"floor: x {growth_over(runs, row.floors).median:.2f}", "",
                f"x {ratio.median:.2f}", ratio_text(ratio), "", "", goal, row_verdict(ratio, row.goal))
    who = "" if row.beside_title() == "floor" else row.beside_title() + " "
    beside, ours = (spread_text(all_values(runs, name, row.metric)) for name in (row.beside, row.ours))
    expert = spread_text(all_values(runs, row.expert, row.metric)) if row.expert else ""
    over_expert = Spread(runs, lambda figures: figures.ratios(row.ours, row.expert, row.metric)) if row.expert else None
    return (row.title, f"{row.size:,}", who + beside, expert, ours, ratio_text(ratio),
            ratio_text(over_expert) if over_expert else "", instruction_ratio(runs, row), goal,
            row_verdict(ratio, row.goal))


# ----------------------------------------------------------------------------------------------------------------------
# The goals
# ----------------------------------------------------------------------------------------------------------------------

GOAL_HEAD = ("what", "tags", "before", "now", "goal", "verdict")


def number_text(value):
    if value is None:
        return ""
    return f"{value:.0f}" if abs(value) >= 100 else f"{value:.3g}"


def goal_cells(goal, runs):
    """With one run its rounds' extremes, with several those of the runs' medians."""
    spread = Spread(runs, lambda figures: figures.per_round(goal.figure, goal.names))
    extremes = spread.medians if len(runs) > 1 else runs[0].per_round(goal.figure, goal.names)
    now = f"{number_text(spread.median)} [{number_text(min(extremes))}, {number_text(max(extremes))}] {goal.unit}"
    before, limit = (f"{number_text(value)} {goal.unit}" if value is not None else "" for value in (goal.before, goal.goal))
    return (goal.what, goal.size, before, now, limit,
            "" if goal.goal is None else verdict_over(spread, goal.is_met, goal.miss))


def print_goals(figures):
    layout = "{:<84.84} {:>7} {:>7} {:>24} {:>7} {}"
    print(layout.format(*GOAL_HEAD))
    print("-" * 142)
    for goal in GOALS:
        print(layout.format(*goal_cells(goal, [figures])))


def goals_text(runs):
    lines = ["| " + " | ".join(GOAL_HEAD) + " |", "|" + " --- |" * len(GOAL_HEAD)]
    return "\n".join(lines + ["| " + " | ".join(goal_cells(goal, runs)) + " |" for goal in GOALS])


# ----------------------------------------------------------------------------------------------------------------------
# The table of all scenarios
# ----------------------------------------------------------------------------------------------------------------------

HEAD = ("scenario", "tags", "floor or peer [min, max]", "expert [min, max]", "driver [min, max]", "ratio", "to expert",
        "instr", "goal", "verdict")


def print_table(rows, figures):
    layout = "{:<33.33} {:>7} {:>26} {:>23} {:>23} {:>6} {:>9} {:>5} {:>4} {}"
    print(layout.format(*HEAD))
    print("-" * 155)
    for row in rows:
        title, tags, beside, *rest = cells(row, [figures])
        print(layout.format(title, tags, beside.replace("libmodbus", "libm.").replace("qtmodbus", "Qt"), *rest))
    for title, figure, goal, unit in other_rows(figures.others) if figures.others else ():
        print(f"{title}: {figure:.1f} {unit}, goal {goal} {unit}: {verdict(figure, goal)}")


# ----------------------------------------------------------------------------------------------------------------------
# The page
# ----------------------------------------------------------------------------------------------------------------------

def table_text(rows, runs):
    lines = ["| " + " | ".join(HEAD) + " |", "|" + " --- |" * len(HEAD)]
    lines += ["| " + " | ".join(cells(row, runs)) + " |" for row in rows]
    return "\n".join(lines)


def others_text(figures):
    lines = ["| figure | measured | goal | verdict |", "| --- | --- | --- | --- |"]
    lines += [f"| {title} | {figure:.1f} {unit} | {goal} | {verdict(figure, goal)} |"
              for title, figure, goal, unit in other_rows(figures.others)]
    return "\n".join(lines)


def instructions_text(figures):
    lines = ["| scenario | floor | driver |", "| --- | --- | --- |"]
    for name in figures.instructions:
        if name.endswith("/driver") and not name.startswith(("link", "arm")):
            floor = figures.instructions.get(name.replace("/driver", "/floor"))
            lines.append(f"| {name.rsplit('/', 1)[0]} | {floor:,.0f} | {figures.instructions[name]:,.0f} |")
    return "\n".join(lines)


def filled(item):
    """As an item of a Markdown list."""
    return textwrap.fill(item, 118, initial_indent="- ", subsequent_indent="  ", break_on_hyphens=False)


def explain(row, runs):
    """One item of the list of missed goals. Counts instructions of scenarios for which that was not done yet."""
    figures = runs[-1]

    def count(name):
        return figures.instructions.get(name) or count_instructions(name)

    head = f"{row.title}, {cells(row, [figures])[1]}: {verdict_of(row, runs)}."
    if isinstance(row, Growth):
        small, large = (count(name) for name in row.ours)
        text = (f"{head} The driver executes {small:,.0f} instructions per tag with {row.small:,} tags and "
                f"{large:,.0f} with {row.large:,}")
        return filled(f"{text}: the work itself grows.") if large > 1.05 * small else explain_misses(row, text)
    if row.ours.startswith("link"):
        return filled(head)
    floor, driver = count(row.beside), count_instructions(row.ours)  # which leaves what is listed below
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


def verdict_of(row, runs):
    return cells(row, runs)[-1]


def is_open(text):
    return text.startswith(("missed", "runs disagree"))


def missed_text(rows, runs):
    figures = runs[-1]
    items = [filled(f"{goal.what}, {goal.size or 'growth'}: {goal_cells(goal, runs)[-1]}.") for goal in GOALS
             if is_open(goal_cells(goal, runs)[-1])]
    items += [explain(row, runs) for row in rows if is_open(verdict_of(row, runs))]
    items += [f"- {title}: {verdict(figure, goal)}." for title, figure, goal, _ in other_rows(figures.others)
              if figure > goal]
    return "\n".join(items) if items else "No goal is missed."


def panel_text(figures):
    """What the instructions of a 32-bit ARM build amount to at 300 in a microsecond."""
    def count(kind, size=COUNTED_SIZE, who="driver"):
        return figures.instructions[f"arm/{kind}/twenty-scopes/{size}/{who}"]

    def milliseconds(kind, items):
        return f"{count(kind) * items / 300000:.2g} ms"

    kinds = (("read", "read by name", 1), ("first-read", "1st read", 1), ("rebuild", "rebuild, per tag", 1),
             ("write", "write until reported", 1), ("cycle", "cycle of 1,000 tags", 1),
             ("first-cycle", "1st cycle of 1,000 tags", 1))
    table = ["| 1,000 tags | floor, ARM | driver, ARM | ratio | driver, x86-64 |", "| --- | --- | --- | --- | --- |"]
    for kind, title, _ in kinds:
        wide = figures.instructions.get(f"{kind}/twenty-scopes/{COUNTED_SIZE}/driver")
        table.append(f"| {title} | {count(kind, who='floor'):,.0f} | {count(kind):,.0f} | "
                     f"{count(kind) / count(kind, who='floor'):.2f} | {f'{wide:,.0f}' if wide else ''} |")
    growth = ", ".join(f"{title} {count(kind, 10000) / count(kind):.2f}" for kind, title in
                       (("read", "reads by name"), ("rebuild", "rebuilds"), ("write", "writes")))
    text = filled(
        "A core of 600 MHz that completes an instruction every second cycle, which is a cautious figure for look-ups "
        "that miss its small caches, executes 300 in a microsecond. By that measure reading each of 1,000 tags by name "
        f"takes {milliseconds('read', 1000)}, reading them for the first time {milliseconds('first-read', 1000)}, a cycle "
        f"of 1,000 tags {milliseconds('cycle', 1)} without the network, a rebuild of their list "
        f"{milliseconds('rebuild', 1000)}, and writing all of them {milliseconds('write', 1000)}.")
    grown = filled(f"With 10,000 tags instead of 1,000 an item takes this many times the instructions: {growth}.")
    intro = textwrap.fill("These are instructions of the armhf build, counted under the emulator; divisions that have no "
                          "instruction of their own there are within, as calls of a library:", 118)
    return "\n\n".join((intro, "\n".join(table), text + "\n" + grown))


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


def runs_text(runs):
    return "\n".join(f"- {run.about['date']}, commit {run.about['commit']}" for run in runs)


def user_instructions_text(figures):
    """What a client executes for one cycle, system calls left out, beside its processor time."""
    lines = ["| client | instructions | processor time |", "| --- | --- | --- |"]
    for who, title in (("driver", "the driver over blocking sockets"), ("libmodbus", "libmodbus"), ("floor", "raw sockets")):
        name = f"link/twenty-scopes/{COUNTED_SIZE}/{who}"
        lines.append(f"| {title} | {figures.instructions[name]:,.0f} | {figures.median(name, 'cpu') / 1000:.1f} us |")
    return "\n".join(lines)


def write_page(rows, runs):
    build("driver_bench")
    figures = runs[-1]
    write_plot(figures)
    local = [row for row in rows if row in LOCAL_ROWS]
    links = [row for row in rows if row not in LOCAL_ROWS]
    PAGE.write_text(PAGE_TEMPLATE.read_text().format(
        machine=figures.about["machine"], runs=runs_text(runs), goals=goals_text(runs),
        rounds=len(figures.values(local[0].ours)),
        compiler=tool_versions()["compiler"], qt=tool_versions()["QtCore"],
        libmodbus=run("pkg-config", "--modversion", "libmodbus").strip(),
        local=table_text(local, runs), links=table_text(links, runs), others=others_text(figures),
        read_wait_wall=figures.others["read_wait_wall"], write_wait_wall=figures.others["write_wait_wall"],
        instructions=instructions_text(figures), user_instructions=user_instructions_text(figures),
        missed=missed_text(rows, runs), panel=panel_text(figures)))
    print(f"Wrote {PAGE} and {PLOT} from {len(runs)} runs: look at both before you commit them.")
