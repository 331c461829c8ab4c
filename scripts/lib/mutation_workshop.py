"""Builds the driver with one deliberate error in a private copy and asks the driver's tests whether they notice; for
scripts/mutate.
"""
import collections
import re
import resource
import shutil
import subprocess

from lib.driver_objects import CLANG, NICE, PROGRAMS, for_each, libraries
from lib.mutations import driver_files
from lib.project import ROOT, CommandFailed, run

WORK = ROOT / "build/mutation"
TREE = WORK / "tree"

MEMORY = 2 << 30
CHECKS = ("-fsanitize=undefined", "-fno-sanitize=vptr,function", "-fsanitize-trap=undefined")
BUILDS = {  # name: compiler options, linker options
    "plain": (("-O0", *CHECKS), ()),
    "address": (("-O0", "-g1", "-fsanitize=address", *CHECKS), ("-fsanitize=address",)),
    "optimised": (("-O2",), ()),
}


def linker():
    return ("-fuse-ld=lld",) if shutil.which("ld.lld") else ()


class Workshop:
    """The private copy of the driver, its objects, and the test programs that load it as a library."""

    def __init__(self, tests, jobs):
        self.tests = tests
        self.system = libraries()
        shutil.rmtree(TREE, ignore_errors=True)
        for file in driver_files():
            (TREE / file).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / file, TREE / file)
        self.text = {file: (TREE / file).read_text() for file in driver_files()}
        headers = {h for text in self.text.values() for h in re.findall(r"^#include <(.*)>", text, re.MULTILINE)}
        (WORK / "system.h").write_text("".join(f"#include <{header}>\n" for header in sorted(headers)))
        for build in BUILDS:
            (WORK / build).mkdir(parents=True, exist_ok=True)
            self._compile(WORK / "system.h", self._system_header(build), build, (), header=True)
        for build in ("plain", "address"):
            for_each(jobs, lambda source: self.compile(source, TREE, self.base_object(build, source), build),
                     tests.sources())
            self.link(build, {}, WORK / build / "libdriver.so")
            for_each(jobs, lambda program: self._link_program(build, program, WORK / build / program), PROGRAMS)
        self.users = self._users()
        self.usual = {build: {program: self._usual_time(build, program) for program in PROGRAMS}
                      for build in ("plain", "address")}

    def base_object(self, build, source):
        return WORK / build / source.replace("/", "_").replace(".cpp", ".o")

    @staticmethod
    def _system_header(build):
        return WORK / build / "system.pch"

    def _compile(self, source, target, build, options, header=False):
        kind = ("-x", "c++-header") if header else ("-include-pch", self._system_header(build))
        any_source = self.tests.sources()[0]
        common = [o for o in self.tests.options(any_source, TREE) if not o.startswith("-fvisibility")]
        run(*NICE, CLANG, *options, *common, "-w", *BUILDS[build][0], *kind, "-c", source, "-o", target, timeout=300)

    def compile(self, source, root, target, build):
        """Compiles a source of `root`; headers that `root` has hide those of the copy."""
        path = root / source if (root / source).exists() else TREE / source
        self._compile(path, target, build, (f"-I{root}", "-MD", "-MF", target.with_suffix(".d")))

    def link(self, build, replaced, target):
        objects = [replaced.get(source, self.base_object(build, source)) for source in self.tests.sources()]
        run(*NICE, CLANG, "-shared", *linker(), *BUILDS[build][1], *objects, "-o", target, timeout=300)

    def _link_program(self, build, program, target, replaced=()):
        """`replaced`: a test's object to another one; these come first, so that their inline functions are kept."""
        objects = [*dict(replaced).values(), *(o for o in self.tests.test_objects(program) if o not in dict(replaced))]
        run(*NICE, CLANG, *linker(), *BUILDS[build][1], *objects, f"-L{WORK / build}", "-ldriver", *self.system,
            "-o", target)

    def _users(self):
        """File to the sources that must be compiled anew when it changes."""
        users = collections.defaultdict(set)
        for source in self.tests.sources():
            users[source].add(source)
            for word in self.base_object("plain", source).with_suffix(".d").read_text().split():
                if word.startswith(str(TREE)):
                    users[word[len(str(TREE)) + 1:]].add(source)
        return users

    def _usual_time(self, build, program):
        """Seconds of processor time that the program takes without an error."""
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        if not self.passes(build, program, WORK / build, 300):
            raise CommandFailed(f"{program} fails without any error in the driver ({build}): see to that first")
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime

    def passes(self, build, program, library_folder, seconds, program_folder=None):
        """Whether all tests pass, in so many seconds of processor time at most."""

        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (int(seconds) + 1, int(seconds) + 2))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            if build != "address":
                resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))

        environment = {"LD_LIBRARY_PATH": str(library_folder), "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8",
                       "ASAN_OPTIONS": f"hard_rss_limit_mb={MEMORY >> 20}", "HOME": str(WORK)}
        command = [*NICE, str((program_folder or WORK / build) / program), "--gtest_brief=1", "--gtest_fail_fast"]
        child = subprocess.Popen(command, preexec_fn=limit, env=environment, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL, cwd=library_folder, start_new_session=True)
        try:
            return child.wait(timeout=10 * seconds + 20) == 0  # one that waits for ever uses no processor time
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()
            return False

    def programs_for(self, file):
        own = file.split("/")[0] + "_test"
        return sorted(PROGRAMS, key=lambda program: (program != own, self.usual["plain"][program]))

    def rebuilt(self, mutation, folder, build, text):
        """Compiles what the file is part of, with `text` as its content; answers source to object."""
        shutil.rmtree(folder / "src", ignore_errors=True)
        (folder / "src" / mutation.file).parent.mkdir(parents=True)
        (folder / "src" / mutation.file).write_text(text)
        objects = {}
        for number, source in enumerate(sorted(self.users[mutation.file])):
            objects[source] = folder / f"{number}.o"
            self.compile(source, folder / "src", objects[source], build)
        return objects

    def noticed_by(self, mutation, folder, build):
        """The first program that fails, or None."""
        objects = self.rebuilt(mutation, folder, build, mutation.applied_to(self.text[mutation.file]))
        self.link(build, objects, folder / "libdriver.so")
        for program in self.programs_for(mutation.file):
            if not self.passes(build, program, folder, 3 * self.usual[build][program] + 1):
                return program
        return None

    def noticed_by_users(self, mutation, folder):
        """As above, for a header that tests include too: they carry inline code of their own, now with the error."""
        if not mutation.file.endswith(".h"):
            return None
        objects = self.rebuilt(mutation, folder, "plain", mutation.applied_to(self.text[mutation.file]))
        self.link("plain", objects, folder / "libdriver.so")
        for program, tests in self.tests.tests_of(mutation.file).items():
            replaced = {}
            for number, (source, test) in enumerate(tests):
                replaced[test] = folder / f"test-{number}.o"
                try:
                    self.tests.compile_test(program, source, folder / "src", replaced[test])
                except CommandFailed:
                    return program
            self._link_program("plain", program, folder / program, replaced)
            if not self.passes("plain", program, folder, 3 * self.usual["plain"][program] + 1, folder):
                return program
        return None

    def same_code(self, mutation, folder):
        def code(text):
            objects = self.rebuilt(mutation, folder, "optimised", text)
            return [objects[source].read_bytes() for source in sorted(objects)]

        text = self.text[mutation.file]
        return code(text) == code(mutation.applied_to(text))

    def judge(self, mutation, folder):
        """(outcome, program that noticed)."""
        try:
            program = self.noticed_by(mutation, folder, "plain")
        except CommandFailed:
            return "not compiled", None
        if program:
            return "noticed", program
        if self.same_code(mutation, folder):
            return "same code", None
        program = self.noticed_by_users(mutation, folder)
        if program:
            return "noticed", program
        program = self.noticed_by(mutation, folder, "address")
        return ("noticed", f"{program}, address sanitizer") if program else ("survived", None)
