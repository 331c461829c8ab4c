#!/usr/bin/env python3
"""Every promise of docs/security.md is shown by something, and what is named there exists: tests and their files."""
import fnmatch
import sys
import unittest

from promise_tables import ROOT, existing_tests, promises

PAGE = ROOT / "docs/security.md"


def promises_of_page(text):
    return promises(text, "shown by", r"`([^`]+)`")


def missing(names, existing):
    """Those that do not exist. A test has the suite of the one before it, a file its folder, unless it says another one; `*` is
    for what differs. `Suite` alone is all of its tests."""
    absent = []
    suite = folder = ""
    for name in names:
        if "/" in name or name.endswith(".cpp"):
            folder = name.rpartition("/")[0] or folder
            path = ROOT / folder / name.rpartition("/")[2]
            is_there = path.exists()
        else:
            if "." in name:
                suite = name.partition(".")[0]
            wanted = [name] if "." in name else [f"{suite}.{name}", f"{name}.*"]
            is_there = any(fnmatch.filter(existing, pattern) for pattern in wanted)
        if not is_there:
            absent.append(name)
    return absent


class SecurityPageTest(unittest.TestCase):
    def test_every_promise_names_what_exists(self):
        rows = promises_of_page(PAGE.read_text())
        self.assertGreater(len(rows), 35, "the tables of promises are not found")
        existing = existing_tests()
        for promise, names in rows:
            with self.subTest(promise):
                self.assertTrue(names, "nothing is named")
                self.assertEqual(missing(names, existing), [])

    def test_what_is_missing_is_found(self):
        rows = promises_of_page("| Promise | shown by |\n| --- | --- |\n| one | |\n| two | `Sums.Are*`, `Missing`, `No.Such` |\n")
        self.assertEqual(rows, [("one", []), ("two", ["Sums.Are*", "Missing", "No.Such"])])
        self.assertEqual(missing(rows[1][1], {"Sums.AreRight"}), ["Missing", "No.Such"])
        self.assertEqual(missing(["Sums.AreRight", "AreWrong", "Sums"], {"Sums.AreRight", "Sums.AreWrong"}), [])
        self.assertEqual(missing(["Sums.AreRight", "AreWrong"], {"Sums.AreRight", "Others.AreWrong"}), ["AreWrong"])
        files = ["tests/scripts/security_page_test.py", "none.cpp", "tests/none/"]
        self.assertEqual(missing(files, set()), ["none.cpp", "tests/none/"])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
