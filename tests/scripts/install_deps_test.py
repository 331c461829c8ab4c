#!/usr/bin/env python3
"""What scripts/install-deps asks of the package manager, on machines that a stub of dpkg and apt describes."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

# Tells of what is installed, and fails as dpkg does when it has never heard of one of the others.
DPKG_QUERY = """#!/bin/sh
result=0
shift 2
for package; do
    case " $INSTALLED " in
        *" $package "*) echo "$package installed" ;;
        *) echo "dpkg-query: no packages found matching $package" >&2; result=1 ;;
    esac
done
exit $result
"""
APT_GET = """#!/bin/sh
echo "$@" >>"$CALLS"
[ "$(grep -c . "$CALLS")" -gt "$APT_FAILURES" ] || exit 100
"""
SLEEP = """#!/bin/sh
echo "sleep $1" >>"$CALLS"
"""


class InstallDeps(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        folder = pathlib.Path(self.folder.name)
        for name, text in (("dpkg-query", DPKG_QUERY), ("apt-get", APT_GET), ("sleep", SLEEP),
                           ("sudo", '#!/bin/sh\nexec "$@"\n')):
            (folder / name).write_text(text)
            (folder / name).chmod(0o755)
        self.calls = folder / "calls"

    def run_script(self, *groups, installed="", apt_failures=0):
        """`apt_failures`: after so many lines of calls apt succeeds."""
        path = f"{self.folder.name}:{os.environ['PATH']}"
        environment = {**os.environ, "PATH": path, "INSTALLED": installed, "CALLS": str(self.calls),
                       "APT_FAILURES": str(apt_failures)}
        return subprocess.run([ROOT / "scripts" / "install-deps", *groups], env=environment, capture_output=True, text=True)

    def installs(self):
        lines = self.calls.read_text().splitlines() if self.calls.exists() else []
        return [set(line.split()) for line in lines if line.startswith("install ")]

    def test_a_machine_that_has_nothing_gets_everything(self):
        result = self.run_script("model")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(len(self.installs()), 1)
        self.assertLessEqual({"g++", "cmake", "qtbase5-dev", "libgtest-dev", "spin"}, self.installs()[0])
        self.assertIn("(for model)", result.stdout)

    def test_only_what_is_missing_is_installed(self):
        self.run_script("model")
        everything = self.installs()[0] - {"install", "-y", "-q", "--no-install-recommends"}
        self.calls.unlink()
        result = self.run_script("model", installed=" ".join(everything - {"spin"}))
        self.assertEqual((result.returncode, result.stdout), (0, "Installing 1 packages (for model): spin\n"))
        self.assertEqual(self.installs(), [{"install", "-y", "-q", "--no-install-recommends", "spin"}])

    def test_nothing_is_done_when_all_is_there(self):
        self.run_script()
        everything = " ".join(self.installs()[0])
        self.calls.unlink()
        result = self.run_script(installed=everything)
        self.assertEqual((result.returncode, result.stdout, self.installs()), (0, "", []))

    def test_what_cannot_be_installed_is_told(self):
        result = self.run_script("model", apt_failures=1000)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(self.calls.read_text().splitlines(), ["update -q", "sleep 10", "update -q", "sleep 40", "update -q"])
        self.assertIn("install-deps: installing failed (see above); try: apt-get install ", result.stderr)

    def test_a_mirror_that_is_busy_is_asked_again(self):
        result = self.run_script("model", apt_failures=1)
        self.assertEqual((result.returncode, result.stderr), (0, "That failed; trying again in 10 s ...\n"))
        self.assertEqual(len(self.installs()), 1)

    def test_an_unknown_group_is_refused(self):
        result = self.run_script("modle")
        self.assertEqual(result.returncode, 2)
        self.assertIn("there is no group modle; choose from ", result.stderr)


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=0))
