"""Transcripts: the blocks of a page that show commands and what they print, between ```console and ```.

    $ a command, with further lines
    > that continue it
    what it prints

All commands of a page run in one shell, one after the other, in an empty folder with a copy of examples/. A command that
begins with `ac500-sim` is left running, as in a second terminal, until the next such command or the end of the page; it
gets a free port, and ac500-host is sent there. The pages show the port that a reader gets, 1201.

A picture of the page that one of its commands writes, by the same name, is written into docs/ with the page, and has to be
the same, byte for byte.

A page is right when a new run prints the same, but for what cannot be the same twice: dates and times; durations and ages
with their unit (12 ms, 0.3 s, "age_ms": 5); on a line that names a variable which the simulated PLC moves, numbers, TRUE
and FALSE behind the name; and all numbers of a block below a line <!-- transcripts: numbers vary -->.
"""
import difflib
import json
import os
import re
import shutil
import signal
import socket
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

BLOCK = re.compile(r"^(?P<vary><!-- transcripts: numbers vary -->\n+)?```console\n(?P<body>.*?)^```$", re.MULTILINE | re.DOTALL)
TIME_LIMIT_S = 120  # of a page

TIME = re.compile(r"\d{4}-\d\d-\d\d[ T]\d\d:\d\d:\d\d(\.\d+)?Z?")
DURATION = re.compile(r"\b\d+(\.\d+)?(?= (ms|s)\b)")
DURATION_FIELD = re.compile(r'(?<=_ms":)( ?)\d+(\.\d+)?')
PICTURE = re.compile(r"!\[[^\]]*\]\(([\w/-]+\.svg)\)")
NUMBER = re.compile(r"-?\d+(\.\d+)?(e[+-]?\d+)?")
MOVING = re.compile(NUMBER.pattern + r"|\bTRUE\b|\bFALSE\b")
SPACES = re.compile(r" {2,}")

SHELL = r"""
set_status() { return "$1"; }
end_simulator() {
    [ -z "$simulator" ] || { kill "$simulator" && wait "$simulator"; } 2>/dev/null
    simulator=
}
start_simulator() {
    end_simulator
    : >"$2"
    eval "exec $1" >"$2" 2>&1 </dev/null &
    simulator=$!
    for _ in $(seq 200); do
        if grep -q '^ac500-sim: serving' "$2"; then break; fi
        kill -0 "$simulator" 2>/dev/null || break
        sleep 0.05
    done
    export TRANSCRIPT_PLC
    TRANSCRIPT_PLC=$(sed -n 's/^ac500-sim: listening on //p' "$2")
    cp "$2" "$2.begin"
}
trap end_simulator EXIT
status=0
simulator=
"""


class Broken(Exception):
    """A page whose transcripts cannot be run; the text says why."""


@dataclass
class Command:
    text: str                       # as the shell takes it
    typed: list = field(default_factory=list)    # as the page shows it
    printed: list = field(default_factory=list)  # the lines below


def commands_of(body):
    commands = []
    for line in body.splitlines():
        if line.startswith("$ "):
            commands.append(Command(line[2:], [line]))
        elif not commands:
            raise Broken(f"a block begins with {line!r} instead of a command")
        elif line.startswith("> ") and not commands[-1].printed:
            commands[-1].text += "\n" + line[2:]
            commands[-1].typed.append(line)
        else:
            commands[-1].printed.append(line)
    return commands


def moving_tags(root):
    """The variables that the plant of the examples moves by itself."""
    signals = json.loads((root / "examples/plant.json").read_text(encoding="utf-8"))["simulation"]["signals"]
    return [signal_["tag"] for signal_ in signals if signal_["signal"] != "constant"]


def masked(line, moving, numbers_vary):
    """What of a line has to be the same in every run."""
    line = TIME.sub("<time>", line)
    line = DURATION.sub("<n>", line)
    line = DURATION_FIELD.sub(r"\1<n>", line)
    if numbers_vary:
        line = NUMBER.sub("<n>", line)
    for tag in moving:
        name, found, rest = line.partition(tag)
        if found and not re.match(r"[\w.]", rest):
            line = name + found + MOVING.sub("<n>", rest)
    return SPACES.sub("  ", line).rstrip()  # columns are as wide as what stands in them


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Run:
    """Runs the commands of a page in `folder`, with the programs in `programs`."""

    def __init__(self, root, programs, folder):
        self.root = root
        self.programs = programs
        self.folder = folder
        self.work = folder / "work"
        self.outputs = folder / "outputs"

    def prepare(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        for folder in (self.work, self.outputs, self.folder / "bin"):
            folder.mkdir(parents=True)
        shutil.copytree(self.root / "examples", self.work / "examples")
        self.wrap("ac500-sim", f'exec "{self.programs}/ac500-sim" --port 0 "$@"')
        self.wrap("ac500-host", 'case " $* " in *" --plc "*) ;; *) set -- --plc "$TRANSCRIPT_PLC" "$@" ;; esac\n'
                                f'exec "{self.programs}/ac500-host" "$@"')

    def wrap(self, name, text):
        path = self.folder / "bin" / name
        path.write_text(f"#!/bin/bash\n{text}\n", encoding="utf-8")
        path.chmod(0o755)

    def script(self, commands):
        lines = [SHELL]
        for at, command in enumerate(commands):
            (self.outputs / f"{at}.command").write_text(command.text, encoding="utf-8")
            lines.append(f'text=$(cat "{self.outputs}/{at}.command")')
            if command.text.startswith("ac500-sim"):
                lines.append(f'start_simulator "$text" "{self.outputs}/{at}"')
            else:
                lines.append(f'set_status "$status"\neval "$text" >"{self.outputs}/{at}" 2>&1 </dev/null\nstatus=$?')
        return "\n".join(lines) + "\n"

    def outputs_of(self, commands):
        """What each command prints now, in lines."""
        self.prepare()
        environment = {"PATH": f"{self.folder}/bin:/usr/bin:/bin", "HOME": str(self.work), "LC_ALL": "C.UTF-8", "TZ": "UTC",
                       "TRANSCRIPT_PLC": f"127.0.0.1:{free_port()}"}
        shell = subprocess.Popen(["bash", "--noprofile", "--norc", "-c", self.script(commands)], cwd=self.work,
                                 env=environment, start_new_session=True)
        try:
            shell.wait(TIME_LIMIT_S)
        except subprocess.TimeoutExpired as late:
            os.killpg(shell.pid, signal.SIGKILL)
            shell.wait()
            raise Broken(f"its commands take longer than {TIME_LIMIT_S} s") from late
        return [self.output_of(at) for at in range(len(commands))]

    def output_of(self, at):
        begin = self.outputs / f"{at}.begin"  # of a simulated PLC, which may have gone on talking
        output = begin if begin.exists() else self.outputs / str(at)
        return self.shown(output.read_text(encoding="utf-8"))

    def shown(self, text):
        """As the page shows it: with the reader's port, and without the place of this project."""
        text = re.sub(r"127\.0\.0\.1:\d+", "127.0.0.1:1201", text)
        text = text.replace(f"{self.programs}/", "").replace(f"{self.work}/", "").replace(f"{self.root}/", "")
        return [line.rstrip() for line in text.splitlines()]


@dataclass
class Difference:
    """A command that prints something else than the page shows."""
    command: Command
    now: list

    def __str__(self):
        return "\n".join(difflib.unified_diff(self.command.printed, self.now, "on the page", "now", lineterm="", n=1))


def renewed(text, run, moving):
    """The page with what its commands print now, and the differences that count. Where the new output differs only as it
    may, the page keeps the old one."""
    blocks = [commands_of(match["body"]) for match in BLOCK.finditer(text)]
    if not blocks:
        raise Broken("it shows no commands")
    outputs = iter(run.outputs_of([command for commands in blocks for command in commands]))
    of_block = iter(blocks)
    differences = []

    def new_block(match):
        lines = []
        for command in next(of_block):
            now = next(outputs)
            forms = [[masked(line, moving, bool(match["vary"])) for line in printed] for printed in (command.printed, now)]
            if forms[0] != forms[1]:
                differences.append(Difference(command, now))
                lines += command.typed + now
            else:
                lines += command.typed + command.printed
        return (match["vary"] or "") + "\n".join(["```console", *lines, "```"])

    return BLOCK.sub(new_block, text), differences


def pictures_of(text, run):
    """Of the pictures that the page shows those that its commands have just written: where they belong, and their bytes."""
    written = {name: run.work / Path(name).name for name in PICTURE.findall(text)}
    return {name: path.read_bytes() for name, path in written.items() if path.is_file()}
