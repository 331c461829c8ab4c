#!/usr/bin/env python3
"""A capture that nobody meant, one in which two mistakes were found; scripts/fuzz-wireshark makes more of them."""
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from fuzz import problem_of  # noqa: E402


class FuzzTest(unittest.TestCase):
    def test_captures_that_nobody_meant(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertIsNone(problem_of(1005, folder))


if __name__ == "__main__":
    unittest.main()
