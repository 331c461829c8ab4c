#!/usr/bin/env python3
"""Every promise of docs/writes.md names a test, and every test that is named there exists."""
import sys
import unittest

from promise_tables import ROOT, existing_tests, promises

PAGE = ROOT / "docs/writes.md"


def promises_of_page(text):
    return promises(text, "Test", r"`(\w+\.\w+)`")


class WritesPageTest(unittest.TestCase):
    def test_every_promise_names_tests_that_exist(self):
        rows = promises_of_page(PAGE.read_text())
        self.assertGreater(len(rows), 20, "the tables of promises are not found")
        existing = existing_tests()
        for promise, names in rows:
            with self.subTest(promise):
                self.assertTrue(names, "no test is named")
                self.assertEqual([name for name in names if name not in existing], [])

    def test_a_promise_without_a_test_and_a_test_that_is_missing_are_found(self):
        rows = promises_of_page("| Promise | Test |\n| --- | --- |\n| one | |\n| two | `NoSuchTest.AtAll` |\n")
        self.assertEqual(rows, [("one", []), ("two", ["NoSuchTest.AtAll"])])
        self.assertNotIn("NoSuchTest.AtAll", existing_tests())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
