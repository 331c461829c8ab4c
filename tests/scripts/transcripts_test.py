#!/usr/bin/env python3
"""scripts/lib/transcripts.py with programs made up for it: what is run, what is written, and which differences count."""
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent / "scripts"))
from lib.transcripts import Broken, Run, masked, pictures_of, renewed  # noqa: E402

HOST = """#!/bin/bash
echo "host $*"
"""
SIMULATOR = """#!/bin/bash
echo "ac500-sim: listening on 127.0.0.1:4711"
echo "ac500-sim: serving $*"
trap 'echo "later"; exit 0' TERM
while :; do sleep 0.05; done
"""


class TranscriptsTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = Path(directory.name)
        (self.root / "examples").mkdir()
        (self.root / "examples/plant.json").write_text("{}", encoding="utf-8")
        for name, text in (("ac500-host", HOST), ("ac500-sim", SIMULATOR)):
            (self.root / name).write_text(text, encoding="utf-8")
            (self.root / name).chmod(0o755)

    def renew(self, *lines, before=""):
        text = "# Page\n\n" + before + "\n".join(["```console", *lines, "```", "", "The end.", ""])
        return renewed(text, Run(self.root, self.root, self.root / "run"), ["Main.counter"])

    def printed(self, *lines):
        text, _ = self.renew(*lines)
        return text.split("```console\n")[1].split("\n```")[0].split("\n")

    def test_outputs_are_written_below_their_commands(self):
        text, differences = self.renew("$ echo one", "$ echo two >&2", "old")
        self.assertEqual(text, "# Page\n\n```console\n$ echo one\none\n$ echo two >&2\ntwo\n```\n\nThe end.\n")
        self.assertEqual(len(differences), 2)

    def test_what_is_as_it_was_makes_no_difference(self):
        text, differences = self.renew("$ echo one", "one")
        self.assertEqual(differences, [])
        self.assertIn("$ echo one\none\n```", text)

    def test_one_shell_keeps_variables_and_exit_codes(self):
        self.assertEqual(self.printed("$ A=5", "$ (exit $A)", "$ echo $?"), ["$ A=5", "$ (exit $A)", "$ echo $?", "5"])

    def test_a_command_may_have_several_lines(self):
        self.assertEqual(self.printed("$ cat <<END", "> one", "> END", "old"), ["$ cat <<END", "> one", "> END", "one"])

    def test_the_host_is_sent_to_the_simulated_plc_which_the_page_shows_at_its_usual_port(self):
        self.assertEqual(self.printed("$ ac500-sim --seed 2", "$ ac500-host read A", "$ ac500-host --plc b:1 read A"), [
            "$ ac500-sim --seed 2", "ac500-sim: listening on 127.0.0.1:1201", "ac500-sim: serving --port 0 --seed 2",
            "$ ac500-host read A", "host --plc 127.0.0.1:1201 read A",
            "$ ac500-host --plc b:1 read A", "host --plc b:1 read A"])

    def test_every_run_begins_in_a_new_folder_with_the_examples(self):
        lines = ["$ ls", "$ touch left"]
        self.assertEqual(self.printed(*lines), ["$ ls", "examples", "$ touch left"])
        self.assertEqual(self.printed(*lines), ["$ ls", "examples", "$ touch left"])

    def test_differences_that_may_be_keep_the_page(self):
        for old, now in (("at 2026-01-02 03:04:05.678", "at 2027-11-12 13:14:15.123"), ("in 5.1 ms", "in 12 ms"),
                         ('"age_ms": 5,', '"age_ms": 123,'), ("Main.counter  7  fresh", "Main.counter  1234  fresh"),
                         ("Main.counter  TRUE", "Main.counter  FALSE")):
            text, differences = self.renew(f"$ echo '{now}'", old)
            self.assertEqual((differences, old in text.split("\n")), ([], True), old)

    def test_differences_that_count_are_told(self):
        for old, now in (("Main.counters  7", "Main.counters  8"), ("Main.setpoint  7", "Main.setpoint  8"),
                         ("Main.counter  7  fresh", "Main.counter  7  stale"), ("5 frames", "6 frames"), ("a", "a\nb"), ("a\nb", "a")):
            text, differences = self.renew(f"$ echo '{now}'".replace("\n", "\n> "), *old.split("\n"))
            self.assertEqual(len(differences), 1, old)
            self.assertIn("\n" + now + "\n```", text)

    def test_numbers_of_a_block_may_vary_when_the_page_says_so(self):
        before = "<!-- transcripts: numbers vary -->\n\n"
        self.assertEqual(self.renew("$ echo 5 frames", "6 frames", before=before)[1], [])
        self.assertEqual(len(self.renew("$ echo 5 frames", "6 bytes", before=before)[1]), 1)

    def test_columns_move_with_what_stands_in_them(self):
        self.assertEqual(masked("Main.counter  7      fresh", ["Main.counter"], False), "Main.counter  <n>  fresh")

    def test_a_picture_that_a_command_writes_belongs_to_the_page(self):
        text = "![a](pictures/a.svg) ![b](pictures/b.svg)\n\n```console\n$ echo '<svg/>' > a.svg\n$ touch c.svg\n```\n"
        run = Run(self.root, self.root, self.root / "run")
        renewed(text, run, [])
        self.assertEqual(pictures_of(text, run), {"pictures/a.svg": b"<svg/>\n"})

    def test_a_page_that_cannot_be_run_is_told(self):
        with self.assertRaises(Broken):
            self.renew("no command")
        with self.assertRaises(Broken):
            renewed("# Nothing\n", Run(self.root, self.root, self.root / "run"), [])


if __name__ == "__main__":
    unittest.main()
