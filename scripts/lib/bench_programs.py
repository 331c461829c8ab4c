"""Builds and runs the benchmark programs."""
import os
import subprocess

BIN = "build/bench/bin"

# What the programs see of the environment: the same in every run, whatever the shell exports.
ENVIRONMENT = {"QT_HASH_SEED": "0", "PATH": "/usr/bin:/bin", "LC_ALL": "C"}


def run(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


def build(*targets):
    plain = {name: value for name, value in os.environ.items() if name not in ("CXXFLAGS", "CFLAGS", "LDFLAGS")}
    subprocess.run(["scripts/build", "bench", *targets], check=True, env=plain)


def program_of(name):
    return f"{BIN}/link_bench" if name.startswith("link/") else f"{BIN}/driver_bench"


def figures_of(output):
    return {name: float(value) for name, value in (line.split() for line in output.splitlines())}


def tool_versions():
    return {"compiler": "GCC " + run("g++", "-dumpfullversion").strip(),
            "QtCore": run("pkg-config", "--modversion", "Qt5Core").strip(),
            "libc": run("ldd", "--version").splitlines()[0].split()[-1]}
