"""Where a host feels the driver: what it cost before, what it may cost, and how that is measured; for scripts/bench.

A goal's figure is one number a round: a ratio of two scenarios that were measured in the same round, or a time.
"""
from dataclasses import dataclass
from typing import Callable, Optional

from lib.bench_programs import ENVIRONMENT, PROGRAM, TOO_BUSY, TooBusy, figures_of, run

TAGS = 10000
READER_SECONDS = 1
SIDES = ("driver", "floor", "expert")

# Scenarios whose programs measure a whole process: the figures' names are those that the program prints, behind its own.
WHOLE = {
    **{f"readers/two-processors/{who}": (0, ("reader_bench", who, READER_SECONDS)) for who in SIDES},
    **{f"readers/one-processor/{who}": (1, ("reader_bench", who, READER_SECONDS)) for who in SIDES},
    **{f"first-use/{who}": (1, ("first_use_bench", who, TAGS)) for who in SIDES},
    "holds": (0, ("hold_bench", TAGS)),
}


def measure_whole(name, allowed, processor):
    """{figure: number} of a scenario of WHOLE."""
    pinned, command = WHOLE[name]
    where = processor if pinned else ",".join(str(number) for number in sorted(allowed))
    program, *arguments = command
    pinned_run = ("taskset", "-c", where, PROGRAM[program], *arguments)
    try:
        output = run(*pinned_run, env=ENVIRONMENT, repeat_on=TOO_BUSY)
    except TooBusy:
        output = run(*pinned_run, "at-most", env=ENVIRONMENT)
    return {f"{name}:{figure}": value for figure, value in figures_of(output).items()}


@dataclass
class Goal:
    """`figure` takes a function that answers a round's number by name. `goal`: the most it may be, or the least."""
    what: str
    size: str
    before: Optional[float]
    goal: Optional[float]
    figure: Callable
    names: tuple
    unit: str = "x"
    at_least: bool = False

    def is_met(self, value):
        return value >= self.goal if self.at_least else value <= self.goal

    def miss(self, value):
        """By how much, as a share of the goal."""
        return self.goal / value - 1 if self.at_least else value / self.goal - 1


def ratio(what, size, before, goal, ours, beside):
    return Goal(what, size, before, goal, lambda of: of(ours) / of(beside), (ours, beside))


def time_of(what, size, before, goal, name, unit, scale):
    """`scale`: what a figure of the name is multiplied with to be one of the unit."""
    return Goal(what, size, before, goal, lambda of: of(name) * scale, (name,), unit)


def beside(stem, who="floor"):
    return f"{stem}/driver", f"{stem}/{who}"


def stem(kind, size, layout="twenty-scopes"):
    return f"{kind}/{layout}/{size}"


WRITES, READ, MANY = stem("write", 1000), stem("read", 10000), stem("read", 100000)
TWO, ONE = "readers/two-processors", "readers/one-processor"

GOALS = (
    ratio("writes until the last report, CPU", "1,000", 10.8, 2.5, *beside(WRITES)),
    ratio("the same", "10,000", 74, 2.5, *beside(stem("write", 10000))),
    Goal("the same, the burst of 10,000 beside the burst of 1,000", "", 64, 12,
         lambda of: 10 * of(stem("write", 10000) + "/driver") / of(WRITES + "/driver"),
         (stem("write", 10000) + "/driver", WRITES + "/driver")),
    ratio("the same, beside an expert's floor", "10,000", None, None, *beside(stem("write", 10000), "expert")),
    ratio("read by name, all in turn, beside a hash look-up", "10,000", 3.3, 2.2, *beside(READ, "expert")),
    ratio("the same, beside a `QHash` and a mutex", "10,000", None, None, *beside(READ)),
    ratio("read by name, growth from 100 to 10,000", "", 2.2, 1.4, READ + "/driver", stem("read", 100) + "/driver"),
    ratio("the same of the hash look-up", "", 1.1, None, READ + "/expert", stem("read", 100) + "/expert"),
    ratio("100,000 names in turn, beside 10,000", "100,000", 9.4, 2, MANY + "/driver", READ + "/driver"),
    ratio("300,000 names in turn, beside 10,000", "300,000", None, None, stem("read", 300000) + "/driver",
          READ + "/driver"),
    ratio("first `GetRegisterData` of a name, beside an expert's floor", "10,000", 6.4, 2.5,
          *beside(stem("first-read", 10000), "expert")),
    Goal("4 readers beside the loop, two processors, share of the floor's calls", "10,000", 24, 60,
         lambda of: 100 * of(f"{TWO}/driver:calls") / of(f"{TWO}/floor:calls"),
         (f"{TWO}/driver:calls", f"{TWO}/floor:calls"), "%", at_least=True),
    time_of("the same, p99", "10,000", 37, 10, f"{TWO}/driver:p99", "us", 1),
    time_of("the same of the floor", "10,000", None, None, f"{TWO}/floor:p99", "us", 1),
    time_of("4 readers beside the loop, one processor, p99.99", "10,000", 6.5, 1, f"{ONE}/driver:p99.99", "ms", 1e-3),
    time_of("the same of the floor", "10,000", None, None, f"{ONE}/floor:p99.99", "ms", 1e-3),
    time_of("the same of an expert's floor, without a lock", "10,000", None, None, f"{ONE}/expert:p99.99", "ms", 1e-3),
    time_of("list lock held by a rebuild", "10,000", 1.2, 0.3, "holds:list_later", "ms", 1e-3),
    time_of("the same, for the first time", "10,000", 5.4, 0.5, "holds:list_first", "ms", 1e-3),
    time_of("image lock while replies are stored, first fill", "10,000", 356, 30, "holds:image_first", "us", 1),
    time_of("the same, later", "10,000", None, None, "holds:image_later", "us", 1),
    ratio("first cycle of a process beside a steady one", "10,000", 12, 5, "first-use/driver:first",
          "first-use/driver:steady"),
    ratio("the same of the floor", "10,000", None, None, "first-use/floor:first", "first-use/floor:steady"),
    time_of("rebuild of 10,000", "10,000", 1.19, 0.7, stem("rebuild", 10000) + "/driver", "ms", 1e4 * 1e-6),
    ratio("cycle, no network, beside the same steps over a `QHash`", "1,000", 0.77, 0.5, *beside(stem("cycle", 1000))),
    ratio("the same, beside a flat image", "1,000", 41, None, *beside(stem("cycle", 1000), "expert")),
    ratio("cycle over loopback, `maxRequestWords` 500, beside raw sockets", "10,000", 1.8, 1.5,
          *beside(stem("link-500", 10000))),
    ratio("cycle + every tag by name, `maxRequestWords` 500, beside libmodbus's bare cycle", "10,000", 1.2, 1,
          stem("link-500", 10000) + "/panel", stem("link", 10000) + "/libmodbus"),
)


def scenarios():
    """Of which the goals' figures are made, in the order of the goals."""
    return list(dict.fromkeys(name.split(":")[0] for goal in GOALS for name in goal.names))
