"""Drivers that are broken on purpose (bench/broken_driver.cpp), and that each of them is noticed; for scripts/bench."""
import os
import re

from lib.bench_programs import BIN, ENVIRONMENT, WrongFigures, program_of, run

# What a broken driver does wrong, and the scenarios that must notice.
BREAKS = {
    "stale-value": ("read/twenty-scopes/100/driver", "screen/one-scope/100/driver", "first-read/twenty-scopes/100/driver",
                    "cycle/one-scope/100/driver", "write/twenty-scopes/100/driver"),
    "dropped-reply": ("cycle/twenty-scopes/1000/driver", "first-cycle/twenty-scopes/1000/driver",
                      "write/twenty-scopes/1000/driver"),
    "unsent-write": ("write/twenty-scopes/100/driver", "write/twenty-scopes/1000/driver"),
    "unread-tags": ("rebuild/one-scope/100/driver", "load/twenty-scopes/1000/driver"),
}


def broken_environment(how):
    return {"LD_PRELOAD": os.path.abspath(f"{BIN}/libbroken_driver.so"), "AC500_BROKEN": how}


def is_noticed(how, name):
    """Whether measuring the broken driver fails, in the way of a benchmark that found a wrong figure."""
    try:
        run(program_of(name), f"--benchmark_filter=^{name}/", "--benchmark_min_time=0.001",
            env={**ENVIRONMENT, **broken_environment(how)})
    except WrongFigures as error:
        return re.search(r"^benchmark: ", str(error), re.MULTILINE) is not None
    return False


def check_breaks():
    """One result for each pair of a broken driver and a scenario."""
    results = []
    for how, names in BREAKS.items():
        for name in names:
            results.append(is_noticed(how, name))
            if not results[-1]:
                print(f"  {name}: FAILED: a broken driver ({how}) was measured as if nothing were wrong")
    print(f"  {results.count(True)} of {len(results)} measurements of drivers broken on purpose failed, as they must")
    return results
