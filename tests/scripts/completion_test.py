#!/usr/bin/env python3
"""What Tab offers behind ac500-host, in bash and in zsh: completion_test.py PROGRAM"""
import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
FOLDER = ROOT / "packaging/completion"
PLANT = str(ROOT / "examples/plant.json")
PROGRAM = ""  # the last argument

# Calls the function as bash does, with the words behind the script's name, the last of them half typed.
BASH = """
source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
_ac500_host
((${#COMPREPLY[@]} == 0)) || printf '%s\\n' "${COMPREPLY[@]}"
"""

# Calls it as zsh does, with the functions of its completion replaced by ones that print.
ZSH = """
file=$1; shift
words=("$@"); CURRENT=$#
compadd() {
    local suffix=
    while [[ $1 = -* ]]; do
        case $1 in
            -S) suffix=$2; shift ;;
            --) shift; break ;;
        esac
        shift
    done
    local word
    for word in $@; do [[ $word = ${words[CURRENT]}* ]] && print -r -- $word$suffix; done
}
compset() { [[ $1 = -P ]] && words[CURRENT]=${words[CURRENT]#$2} }
_files() { print -rl -- ${words[CURRENT]}*(N) }
emulate zsh
source $file
"""


class Completion:
    """What both shells have in common. A test gives the words behind the program's name."""

    def offered(self, *words, **variables):
        result = subprocess.run(self.shell() + [PROGRAM, *words], capture_output=True, text=True, timeout=60,
                                env={**os.environ, **variables}, check=False)
        self.assertEqual(result.stderr, "")
        return result.stdout.split("\n")[:-1]

    def test_commands(self):
        offered = self.offered("")
        for command in ["read", "write", "watch", "tags", "status", "check", "plan", "symbols"]:
            self.assertIn(command, offered)
        self.assertEqual(self.offered("wr"), ["write"])
        self.assertEqual(self.offered("--symbols", PLANT, "wat"), ["watch"])

    def test_options_of_the_program_and_of_the_command(self):
        self.assertEqual(self.offered("--sy"), ["--symbols"])
        self.assertEqual(self.offered("--on"), [])
        self.assertEqual(self.offered("watch", "--on"), ["--on-change"])
        self.assertEqual(self.offered("watch", "--sy"), ["--symbols"])
        self.assertEqual(self.offered("read", "--on"), [])
        self.assertIn("--help", self.offered("read", "--"))

    def test_tags_of_the_symbol_file(self):
        self.assertEqual(self.offered("--symbols", PLANT, "read", "Main.re"), ["Main.recipe", "Main.reset"])
        self.assertEqual(self.offered("--symbols", PLANT, "watch", "Main.counter", "Main.setp"), ["Main.setpoint"])
        self.assertEqual(self.offered("--symbols", PLANT, "plan", "Main.setp"), ["Main.setpoint"])
        self.assertEqual(self.offered("--symbols", PLANT, "check", "Main.setp"), ["Main.setpoint"])
        self.assertEqual(self.offered("--symbols", PLANT, "read", "Main.nothing"), [])
        self.assertEqual(len(self.offered("--symbols", PLANT, "read", "")), 573)

    def test_a_target_of_a_write_goes_on_with_its_value(self):
        self.assertEqual(self.offered("--symbols", PLANT, "write", "Main.setp"), ["Main.setpoint="])

    def test_tags_out_of_environment_and_settings_file(self):
        self.assertEqual(self.offered("read", "Main.setp", AC500_SYMBOLS=PLANT), ["Main.setpoint"])
        with tempfile.TemporaryDirectory() as folder:
            settings = Path(folder) / "settings.json"
            settings.write_text(json.dumps({"symbols": PLANT}))
            self.assertEqual(self.offered("--config", str(settings), "read", "Main.setp"), ["Main.setpoint"])

    def test_a_missing_symbol_file_offers_nothing_and_says_nothing(self):
        self.assertEqual(self.offered("--symbols", "/nowhere", "read", "Main."), [])
        self.assertEqual(self.offered("read", "Main."), [])

    def test_a_value_of_an_option_is_no_tag(self):
        self.assertEqual(self.offered("--symbols", PLANT, "watch", "--interval", ""), [])
        self.assertEqual(self.offered("--plc", ""), [])

    def test_files_behind_options_that_name_one(self):
        begin = PLANT[:-len("nt.json")]
        self.assertEqual(self.offered("--symbols", begin), [PLANT])
        self.assertEqual(self.offered("--config", begin), [PLANT])
        self.assertEqual(self.offered("check", "--also", begin), [PLANT])
        self.assertEqual(self.offered("plan", "--expect", begin), [PLANT])

    def test_tags_behind_options_that_take_them(self):
        self.assertEqual(self.offered("--symbols", PLANT, "check", "--writes", "Main.setp"), ["Main.setpoint"])
        self.assertEqual(self.offered("--symbols", PLANT, "watch", "--when", "Main.setp"), ["Main.setpoint"])
        self.assertEqual(self.offered("symbols", "diff", PLANT, PLANT, "--tags", "Main.setp"), ["Main.setpoint"])
        self.assertEqual(self.offered("symbols", "diff", PLANT, PLANT, "--ta"), ["--tags"])
        self.assertEqual(self.offered("symbols", "export", "--ta"), [])

    def test_lists_of_tags(self):
        begin = "@" + PLANT[:-len("nt.json")]
        for words in [["--symbols", PLANT, "read"], ["--symbols", PLANT, "check", "--writes"],
                      ["--symbols", PLANT, "write"], ["symbols", "diff", PLANT, PLANT, "--tags"]]:
            self.assertEqual(self.offered(*words, begin), [self.listed(PLANT)], words)

    def test_what_is_done_with_symbol_files_and_their_names(self):
        self.assertEqual(self.offered("symbols", ""), ["import", "export", "diff"])
        self.assertEqual(self.offered("symbols", "ex"), ["export"])
        self.assertEqual(self.offered("symbols", "diff", PLANT[:-len("nt.json")]), [PLANT])

    def test_what_is_learned_of_the_handshake(self):
        begin = PLANT[:-len("nt.json")]
        self.assertEqual(self.offered("guard", ""), ["learn", "show"])
        self.assertEqual(self.offered("guard", "learn", "--conn"), ["--connections"])
        self.assertEqual(self.offered("guard", "show", "--conn"), [])
        self.assertEqual(self.offered("guard", "show", begin), [PLANT])
        self.assertEqual(self.offered("--handshake", begin), [PLANT])

    def test_a_symbol_file_in_quotes(self):
        self.assertEqual(self.offered("--symbols", f"'{PLANT}'", "read", "Main.setp"), ["Main.setpoint"])


class BashCompletion(Completion, unittest.TestCase):
    def shell(self):
        return ["bash", "--norc", "-c", BASH, "bash", str(FOLDER / "ac500-host.bash")]

    def listed(self, path):
        return "@" + path

    def test_an_option_with_an_equals_sign_is_three_words(self):
        self.assertEqual(self.offered("--symbols", "=", PLANT, "read", "Main.setp"), ["Main.setpoint"])
        self.assertEqual(self.offered("--symbols", "=", PLANT[:-len("nt.json")]), [PLANT])
        self.assertEqual(self.offered("--plc", "="), [])


class ZshCompletion(Completion, unittest.TestCase):
    def shell(self):
        return ["zsh", "-f", "-c", ZSH, "zsh", str(FOLDER / "_ac500-host")]

    def listed(self, path):
        return path  # zsh keeps the @ of compset

    def test_an_option_with_an_equals_sign(self):
        self.assertEqual(self.offered(f"--symbols={PLANT}", "read", "Main.setp"), ["Main.setpoint"])


if __name__ == "__main__":
    PROGRAM = sys.argv.pop()
    unittest.main()
