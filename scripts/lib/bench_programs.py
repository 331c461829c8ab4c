"""Builds and runs the benchmark programs."""
import os
import subprocess

BIN = "build/bench/bin"

# What the programs see of the environment: the same in every run, whatever the shell exports. Qt picks the seed of its
# hashes anew in each process, as it does in a host.
ENVIRONMENT = {"PATH": "/usr/bin:/bin", "LC_ALL": "C"}

# Instructions are counted with one seed, or two counts of the same code would differ.
COUNTING_ENVIRONMENT = {**ENVIRONMENT, "QT_HASH_SEED": "0"}

MOST_REPEATS = 8
TOO_BUSY = 3  # what a program answers that could not measure on a machine this busy


class WrongFigures(Exception):
    """A benchmark program found that the work was not done, or not done rightly; the text is what it said."""


class TooBusy(WrongFigures):
    """A program could not measure because the machine was too busy, again and again."""


class Programs(dict):
    def __missing__(self, name):
        return f"{BIN}/{name}"


PROGRAM = Programs()


def run(*command, repeat_on=None, **options):
    """What the command printed. It is repeated when it answers `repeat_on`."""
    for _ in range(MOST_REPEATS):
        done = subprocess.run([str(part) for part in command], check=False, text=True, **{
            "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options})
        if repeat_on is None or done.returncode != repeat_on:
            break
    if done.returncode != 0:
        kind = TooBusy if done.returncode == repeat_on else WrongFigures
        raise kind(f"{' '.join(str(part) for part in command)} answered {done.returncode}: "
                           f"{(done.stderr or '').strip()[-400:]}")
    return done.stdout


def build(*targets):
    plain = {name: value for name, value in os.environ.items() if name not in ("CXXFLAGS", "CFLAGS", "LDFLAGS")}
    subprocess.run(["scripts/build", "bench", *targets], check=True, env=plain)


def program_of(name):
    return PROGRAM["link_bench" if name.startswith("link") else "driver_bench"]


def figures_of(output):
    return {name: float(value) for name, value in (line.split() for line in output.splitlines())}


def tool_versions():
    return {"compiler": "GCC " + run("g++", "-dumpfullversion").strip(),
            "QtCore": run("pkg-config", "--modversion", "Qt5Core").strip(),
            "libc": run("ldd", "--version").splitlines()[0].split()[-1]}
