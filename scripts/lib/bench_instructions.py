"""Counts the instructions that the driver and its floors execute, and holds them against bench/instructions.json; for
scripts/bench.
"""
import json
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from lib.bench_broken import check_breaks
from lib.bench_programs import (COUNTING_ENVIRONMENT, PROGRAM, WrongFigures, build, figures_of, program_of, run,
                                tool_versions)
from lib.bench_scenarios import LAYOUTS, Row
from lib.project import begin_gate, end_gate

COUNTS = Path("build/bench/callgrind")
COMMITTED = Path("bench/instructions.json")
ALLOWED_GROWTH = 0.05
COUNTED_SIZE = 1000  # instructions are counted at this size

# Of the caches that misses are counted for: about what one core of a small server has for itself.
FIRST_CACHE_KIB = 32
SECOND_CACHE_KIB = 512

# What the guard counts: the driver's side of every kind of scenario without sockets, and at two sizes where the cost of
# one item might grow with their number.
GUARDED = ([f"{kind}/{layout}/1000/driver" for kind in ("read", "resolve", "rebuild", "cycle") for layout in LAYOUTS]
           + [f"sort/{order}/1000/driver" for order in ("random", "ascending")]
           + [f"{kind}/one-scope/10000/driver" for kind in ("read", "resolve", "rebuild")]
           + [f"{kind}/twenty-scopes/{size}/driver" for kind in ("write", "first-read", "first-cycle", "load")
              for size in (1000, 10000)])

# (kind, layout, items that one count of 10,000 has for each of one of 1,000, most growth): how many times as many
# instructions an item may take at ten times the size, whatever has been committed. In a first cycle the buckets of the
# image double four more times.
GROWTHS = [(kind, "one-scope", 1, 1.2) for kind in ("read", "resolve", "rebuild")] + [
    (kind, "twenty-scopes", 1, 1.2) for kind in ("write", "first-read", "load")] + [
    ("first-cycle", "twenty-scopes", 10, 1.75)]


def counts_file(name):
    return COUNTS / (name.replace("/", "-") + ".out")


def count_instructions(name):
    """Instructions per item of one run, set-up left out."""
    COUNTS.mkdir(parents=True, exist_ok=True)
    output = run("valgrind", "--tool=callgrind", "--instr-atstart=no", f"--callgrind-out-file={counts_file(name)}",
                 program_of(name), "--count", name, env=COUNTING_ENVIRONMENT)
    items = float(re.search(r"^items (\S+)$", output, re.MULTILINE)[1])
    total = int(re.search(r"^totals: (\d+)", counts_file(name).read_text(), re.MULTILINE)[1])
    if total == 0:
        raise RuntimeError(f"{name}: no instructions were counted")
    return total / items


def count_all(names):
    """Several at a time: a count does not depend on what else runs."""
    print(f"  counting the instructions of {len(names)} scenarios", file=sys.stderr, flush=True)
    with ThreadPoolExecutor(os.cpu_count()) as counting:
        return dict(zip(names, counting.map(count_instructions, names)))


# Whose own instructions stand beside their processor time.
CLIENTS = tuple(f"link/twenty-scopes/{COUNTED_SIZE}/{who}" for who in ("driver", "libmodbus", "floor"))


def counted_names(rows):
    return list(dict.fromkeys(name for row in rows if isinstance(row, Row) and row.size == COUNTED_SIZE
                              for name in row.names() if not name.startswith("link") or name in CLIENTS))


# What is counted of a 32-bit ARM build: one of each kind, and how cost grows with size.
ON_ARM = ([f"{kind}/twenty-scopes/1000/{who}" for kind in ("read", "first-read", "rebuild", "cycle", "write", "first-cycle")
           for who in ("floor", "driver")]
          + [f"{kind}/twenty-scopes/10000/driver" for kind in ("read", "rebuild", "write")])


def count_on_arm(name):
    """Instructions per item of one run on 32-bit ARM, as the emulator executes them, what it translates counted block by
    block (bench/arm_instructions.cpp)."""
    output = run("qemu-arm", "-L", "build/sysroot/armhf", "-plugin", PROGRAM["libarm_instructions.so"],
                 "build/armhf/bin/panel_counts", name, env=COUNTING_ENVIRONMENT)
    counts = figures_of(output)
    if not counts["instructions"]:
        raise WrongFigures(f"{name}: no instructions were counted on ARM")
    return counts["instructions"] / counts["items"]


def build_for_arm():
    subprocess.run(["scripts/build", "armhf", "panel_counts"], check=True)


def count_all_on_arm():
    """REQUIRES: build_for_arm was called, and the benchmarks are built."""
    with ThreadPoolExecutor(os.cpu_count()) as counting:
        return dict(zip((f"arm/{name}" for name in ON_ARM), counting.map(count_on_arm, ON_ARM)))


def misses_file(name):
    return counts_file(name).with_suffix(".misses")


def count_misses(name):
    """How often one item misses the first and the second of the caches that callgrind is told to imagine, when earlier
    runs have filled them."""
    COUNTS.mkdir(parents=True, exist_ok=True)
    output = run("valgrind", "--tool=callgrind", "--cache-sim=yes", "--collect-atstart=no",
                 f"--D1={FIRST_CACHE_KIB * 1024},8,64", f"--LL={SECOND_CACHE_KIB * 1024},8,64",
                 f"--callgrind-out-file={misses_file(name)}", program_of(name), "--count-misses", name,
                 env=COUNTING_ENVIRONMENT)
    items = float(re.search(r"^items (\S+)$", output, re.MULTILINE)[1])
    text = misses_file(name).read_text()
    events = re.search(r"^events: (.+)$", text, re.MULTILINE)[1].split()
    counts = [int(count) for count in re.search(r"^totals: (.+)$", text, re.MULTILINE)[1].split()]
    total = dict(zip(events, counts))  # zeros at the end are left out
    if not total["Ir"]:
        raise RuntimeError(f"{name}: nothing was counted")
    return tuple((total.get(f"{cache}mr", 0) + total.get(f"{cache}mw", 0)) / items for cache in ("D1", "DL"))


def dearest_functions(name, most=5):
    """(share, function) of those that take the most instructions themselves."""
    return listed_functions(most, counts_file(name))


def missing_functions(name, most=5):
    """(share, function) of those that read most often what the second cache does not hold."""
    return listed_functions(most, misses_file(name), "--show=DLmr", "--sort=DLmr")


def listed_functions(most, file, *options):
    listing = run("callgrind_annotate", "--threshold=100", "--auto=no", *options, str(file), env=COUNTING_ENVIRONMENT)
    shares = {}
    row = r"^ *[\d,]+ \( *([\d.]+)%\)  \S*?:(.+?)(?: \[(?:.*/)?([^/]+)\])?$"
    for share, function, library in re.findall(row, listing, re.MULTILINE):
        if function.startswith("0x"):
            function = f"without a name in {library}"
        shares[function] = shares.get(function, 0) + float(share)
    return sorted(((share, function) for function, share in shares.items()), reverse=True)[:most]


def renew():
    counts = count_all(GUARDED)
    COMMITTED.write_text(json.dumps({"counted with": tool_versions(),
                                     "instructions per item": {name: round(counts[name], 3) for name in GUARDED}},
                                    indent=2) + "\n")
    print(f"Wrote {COMMITTED}: commit it with the change that it counts.")


def compare(name, now, before):
    """Prints a line; answers whether the count is within its limit."""
    if before is None:
        print(f"  {name}: FAILED: {COMMITTED} has no count: run scripts/bench --renew and commit the file")
        return False
    growth = now / before - 1
    seen = f"{now:,.1f} instructions per item, {COMMITTED} says {before:,.1f} ({growth:+.1%})"
    if growth > ALLOWED_GROWTH:
        print(f"  {name}: FAILED: {seen}, more than {ALLOWED_GROWTH:.0%} are allowed: make it cheaper, or run "
              "scripts/bench --renew and commit the file when the growth is meant")
        return False
    print(f"  {name}: {seen}" + (": run scripts/bench --renew to hold the gain" if growth < -ALLOWED_GROWTH else ""))
    return True


def compare_growth(kind, layout, items, most, counts):
    """Of the counts of 1,000 and 10,000. Prints a line; answers whether the growth is within its limit."""
    small, large = (counts[f"{kind}/{layout}/{size}/driver"] for size in (1000, 10000))
    growth = large / small / items
    failed = growth > most
    print(f"  {kind}/{layout}, from 1,000 to 10,000: {'FAILED: ' if failed else ''}x {growth:.2f} per item, x {most} "
          "is allowed")
    return not failed


def guard():
    begin_gate("bench")
    build("driver_bench", "broken_driver")
    print("Counting instructions ...", flush=True)
    committed = json.loads(COMMITTED.read_text()) if COMMITTED.is_file() else {}
    before = committed.get("instructions per item", {})
    counts = count_all(GUARDED)
    results = [compare(name, counts[name], before.get(name)) for name in GUARDED]
    results += [compare_growth(*growth, counts) for growth in GROWTHS]
    results += check_breaks()
    failed = results.count(False)
    if failed and committed.get("counted with") != tool_versions():
        print(f"bench: counted with {tool_versions()}, the committed figures with {committed.get('counted with')}: "
              "that may be the reason", file=sys.stderr)
    if failed:
        print(f"bench: {failed} of {len(results)} checks failed (see above)", file=sys.stderr)
    return end_gate("bench", results.count(True), failed)
