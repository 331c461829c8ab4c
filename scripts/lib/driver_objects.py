"""Compiles the driver's sources in ways that no preset does, and links the release preset's own tests with them.

For scripts/coverage and scripts/mutate. Only the driver differs from what the suite runs, so the objects of the tests,
which take most of the time, are those of the release build, and so are the driver's compiler options apart from
optimisation, debug information and warnings.
"""
import collections
import json
import re
import shlex
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from lib.project import ROOT, CommandFailed, run

PROGRAMS = ("core_test", "debug_log_test", "protocol_test", "services_test", "symbols_test", "values_test", "vars_test")
CLANG = "clang++-19"
NICE = ("nice", "-n", "5")


def libraries():
    return shlex.split(run("pkg-config", "--libs", "Qt5Core", "gmock", "gtest_main"))


def text_of(source):
    """A test's source; of a unit that includes several, the text of them all."""
    text = source.read_text()
    if "Unity" not in source.parts:
        return text
    return "".join(Path(path).read_text() for path in re.findall(r'^#include "(.+)"', text, re.MULTILINE))


class TestBuild:
    """A built folder of the release preset: where the objects of the tests are, and how the driver was compiled."""

    def __init__(self, folder):
        self.folder = Path(folder).resolve()
        self._commands, self._test_commands = {}, {}
        for entry in json.loads((self.folder / "compile_commands.json").read_text()):
            command = shlex.split(entry["command"])
            program = re.search(r"/CMakeFiles/(\w+)\.dir/", command[command.index("-o") + 1])
            if program and program[1] == "ac500_core":
                self._commands[str(Path(entry["file"]).relative_to(ROOT))] = command
            elif program and program[1] in PROGRAMS:
                self._test_commands[program[1], Path(entry["file"])] = command
        if not self._commands:
            raise CommandFailed(f"{folder}/compile_commands.json knows no source of the driver: build release first")

    def sources(self):
        """The driver's sources, relative to the root."""
        return sorted(self._commands)

    def options(self, source, root=ROOT):
        """Defines, include folders and language of a source; the project's own headers are taken from `root`."""
        kept = []
        words = iter(self._commands[source][1:])
        for word in words:
            if word in ("-o", "-c"):
                next(words)
            elif word == "-isystem":
                kept += [word, next(words)]
            elif word == f"-I{ROOT}":
                kept.append(f"-I{root}")
            elif word.startswith("-ffile-prefix-map="):
                continue  # what reads the results looks for the sources by their paths
            elif word.startswith(("-D", "-U", "-I", "-f", "-std=")):
                kept.append(word)
        return kept

    def tests_of(self, header):
        """Program to (test source, its object), of the tests that include the header themselves."""
        found = collections.defaultdict(list)
        for (program, source), command in self._test_commands.items():
            if f'#include "{header}"' in text_of(source):
                found[program].append((source, self.folder / command[command.index("-o") + 1]))
        return found

    def compile_test(self, program, source, headers, target):
        """Compiles a test as the release build does, but without warnings, and with the headers in `headers`."""
        command = [word for word in self._test_commands[program, source] if not word.startswith("-W")]
        command[command.index("-o") + 1] = str(target)
        run(*NICE, command[0], "-w", f"-I{headers}", *command[1:], cwd=self.folder, timeout=600)

    def test_objects(self, program):
        folder = self.folder / "tests" / program.removesuffix("_test")
        if program == "debug_log_test":
            folder = self.folder / "tests" / "core"
        objects = sorted((folder / "CMakeFiles" / f"{program}.dir").rglob("*.o"))
        if not objects:
            raise CommandFailed(f"{folder} holds no object of {program}: build release first")
        return objects + sorted((self.folder / "tests/CMakeFiles/ac500_test_places.dir").rglob("*.o"))


def release_build():
    """Brings the release build of the tests up to date."""
    subprocess.run([str(ROOT / "scripts/build"), "release", *PROGRAMS], check=True, cwd=ROOT)
    return TestBuild(ROOT / "build/release")


def for_each(jobs, work, items):
    """Does `work` on every item, so many at a time; after a failure or an interruption no further one is begun."""
    pool = ThreadPoolExecutor(jobs)
    try:
        return list(pool.map(work, items))
    finally:
        pool.shutdown(cancel_futures=True)
