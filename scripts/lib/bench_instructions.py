"""Counts the instructions that the driver and its floors execute, and holds them against bench/instructions.json; for
scripts/bench.
"""
import json
import re
import subprocess
import sys
from pathlib import Path

from lib.bench_programs import ENVIRONMENT, build, program_of, run, tool_versions
from lib.bench_scenarios import LAYOUTS, Row
from lib.project import begin_gate, end_gate

COUNTS = Path("build/bench/callgrind")
COMMITTED = Path("bench/instructions.json")
ALLOWED_GROWTH = 0.05
COUNTED_SIZE = 1000  # instructions are counted at this size

# Of the caches that misses are counted for: about what one core of a small server has for itself.
FIRST_CACHE_KIB = 32
SECOND_CACHE_KIB = 512

# What the guard counts: the driver's side of every kind of scenario without sockets.
GUARDED = ([f"{kind}/{layout}/1000/driver" for kind in ("read", "resolve", "rebuild", "cycle") for layout in LAYOUTS]
           + [f"sort/{order}/1000/driver" for order in ("random", "ascending")]
           + [f"{kind}/one-scope/10000/driver" for kind in ("read", "resolve", "rebuild")])


def counts_file(name):
    return COUNTS / (name.replace("/", "-") + ".out")


def count_instructions(name):
    """Instructions per item of one run, set-up left out."""
    COUNTS.mkdir(parents=True, exist_ok=True)
    output = run("valgrind", "--tool=callgrind", "--instr-atstart=no", f"--callgrind-out-file={counts_file(name)}",
                 program_of(name), "--count", name, env=ENVIRONMENT, stderr=subprocess.DEVNULL)
    items = float(re.search(r"^items (\S+)$", output, re.MULTILINE)[1])
    total = int(re.search(r"^totals: (\d+)", counts_file(name).read_text(), re.MULTILINE)[1])
    if total == 0:
        raise RuntimeError(f"{name}: no instructions were counted")
    return total / items


def count_all(names):
    counts = {}
    for number, name in enumerate(names):
        if number % 10 == 0:
            print(f"  counting instructions, {number} of {len(names)}", file=sys.stderr, flush=True)
        counts[name] = count_instructions(name)
    return counts


def counted_names(rows):
    return list(dict.fromkeys(name for row in rows if isinstance(row, Row) and row.size == COUNTED_SIZE
                              for name in row.names() if not name.startswith("link/")))


def misses_file(name):
    return counts_file(name).with_suffix(".misses")


def count_misses(name):
    """How often one item misses the first and the second of the caches that callgrind is told to imagine, when earlier
    runs have filled them."""
    COUNTS.mkdir(parents=True, exist_ok=True)
    output = run("valgrind", "--tool=callgrind", "--cache-sim=yes", "--collect-atstart=no",
                 f"--D1={FIRST_CACHE_KIB * 1024},8,64", f"--LL={SECOND_CACHE_KIB * 1024},8,64",
                 f"--callgrind-out-file={misses_file(name)}", program_of(name), "--count-misses", name,
                 env=ENVIRONMENT, stderr=subprocess.DEVNULL)
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
    listing = run("callgrind_annotate", "--threshold=100", "--auto=no", *options, str(file), env=ENVIRONMENT)
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


def guard():
    begin_gate("bench")
    build("driver_bench")
    print("Counting instructions ...", flush=True)
    committed = json.loads(COMMITTED.read_text()) if COMMITTED.is_file() else {}
    before = committed.get("instructions per item", {})
    counts = count_all(GUARDED)
    results = [compare(name, counts[name], before.get(name)) for name in GUARDED]
    failed = results.count(False)
    if failed and committed.get("counted with") != tool_versions():
        print(f"bench: counted with {tool_versions()}, the committed figures with {committed.get('counted with')}: "
              "that may be the reason", file=sys.stderr)
    if failed:
        print(f"bench: {failed} of {len(results)} counts failed (see above)", file=sys.stderr)
    return end_gate("bench", results.count(True), failed)
