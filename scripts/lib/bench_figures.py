"""What one whole run of the benchmarks measured, and the runs that are kept in bench/runs.json; for scripts/bench."""
import json
import os
import re
import statistics
import time
from pathlib import Path

from lib.project import DRIVER_FOLDERS, git, has_changes

RUNS = Path("bench/runs.json")
KEPT_RUNS = 12
LEAST_RUNS = 3  # that a page is made of


def machine_text():
    model = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return f"{model[1] if model else 'unknown processor'}, {os.cpu_count()} processors"


def commit_text():
    return git("log", "-1", "--format=%h of %cs") + (
        " with changes to the driver" if has_changes(*DRIVER_FOLDERS) else "")


def driver_tree():
    """What tells two drivers apart: the committed content of their folders."""
    return " ".join(line.split()[2][:10] for line in git("ls-tree", "HEAD", *DRIVER_FOLDERS).splitlines())


class Figures:
    """Numbers by metric and scenario, one per round: nanoseconds per item (read, tag, write or cycle), or what a program
    that measures a whole process prints. Numbers of one round belong together: ratios are made of them, not of medians.
    """

    def __init__(self, about=None):
        self.about = about or {"date": time.strftime("%Y-%m-%d %H:%M"), "commit": commit_text(),
                               "driver": driver_tree(), "machine": machine_text()}
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

    def ratios(self, ours, beside, metric="wall"):
        """One per round."""
        return [a / b for a, b in zip(self.values(ours, metric), self.values(beside, metric), strict=True)]

    def per_round(self, function, names):
        """The function's result for each round; it is called with a function that answers a round's number by name."""
        count = len(self.values(names[0]))
        return [function(lambda name, number=number: self.values(name)[number]) for number in range(count)]

    def as_json(self):
        def rounded(by_name):
            return {name: [float(f"{value:.4g}") for value in values] for name, values in by_name.items()}

        return {**self.about, "wall": rounded(self.rounds["wall"]), "cpu": rounded(self.rounds["cpu"]),
                "instructions": {name: round(count, 1) for name, count in self.instructions.items()},
                "others": self.others}

    @staticmethod
    def from_json(data):
        figures = Figures({name: data[name] for name in ("date", "commit", "driver", "machine")})
        figures.rounds = {"wall": data["wall"], "cpu": data["cpu"]}
        figures.instructions, figures.others = data["instructions"], data["others"]
        return figures


class Spread:
    """One figure over several runs: each run's median over its rounds."""

    def __init__(self, runs, values_of):
        self.medians = [statistics.median(values_of(figures)) for figures in runs]
        self.median, self.least, self.most = statistics.median(self.medians), min(self.medians), max(self.medians)


def kept_runs():
    return [Figures.from_json(data) for data in json.loads(RUNS.read_text())] if RUNS.is_file() else []


def record(figures):
    runs = [run.as_json() for run in kept_runs()][-KEPT_RUNS + 1:] + [figures.as_json()]
    RUNS.write_text("[\n" + ",\n".join(json.dumps(run) for run in runs) + "\n]\n")
    print(f"Appended this run to {RUNS}, which holds {len(runs)}.")


def runs_for_page():
    """The last runs on one machine of the driver as the last run found it."""
    runs = kept_runs()
    alike = [run for run in runs if (run.about["driver"], run.about["machine"]) ==
             (runs[-1].about["driver"], runs[-1].about["machine"])]
    if len(alike) < LEAST_RUNS:
        raise SystemExit(f"bench: {RUNS} holds {len(alike)} runs of one driver on one machine, a page needs {LEAST_RUNS}: "
                         "run scripts/bench --record at different times")
    return alike
