"""Runs tshark with the dissector of this tree and nothing of the user's."""
import json
import os
import re
import subprocess
import tempfile
from pathlib import Path

DISSECTOR = Path(__file__).resolve().parent.parent.parent / "tools/wireshark/ac500.lua"
# What TCP itself has to say.
OF_TCP = re.compile(r"^(Connection |This frame |Previous segment|ACKed segment|A new tcp|Duplicate ACK|TCP )")


OF_TCP_INFO = re.compile(r"\[TCP [^]]*\] ")


class TsharkFailed(Exception):
    pass


def tshark(capture, *options, preferences=(), two_passes=False, seconds=60, allowed=None):
    """The standard output. What tshark or Lua complains about is a failure, but for complaints that `allowed` matches."""
    command = ["tshark", "-n", "-X", f"lua_script:{DISSECTOR}", "-r", str(capture), *(["-2"] if two_passes else [])]
    for preference in preferences:
        command += ["-o", preference]
    with tempfile.TemporaryDirectory() as home:
        done = subprocess.run([*command, *options], capture_output=True, timeout=seconds,
                              env={**os.environ, "HOME": home, "XDG_CONFIG_HOME": home, "LC_ALL": "C.UTF-8"})
    expected = re.compile("Running as user" + (f"|{allowed}" if allowed else ""))
    complaints = [line for line in done.stderr.decode(errors="replace").splitlines() if not expected.search(line)]
    output = done.stdout.decode(errors="replace")
    complaints += [line for line in output.splitlines() if "Lua Error" in line]
    if done.returncode != 0 or complaints:
        raise TsharkFailed(f"tshark ended with {done.returncode}: {complaints[:5]}")
    return output


def fields(capture, *names, keep="ac500", **how):
    """A row for each packet that `keep` keeps: the values of each field, as lists. None keeps all."""
    options = [*(["-Y", keep] if keep else []), "-T", "fields", "-E", "separator=/t", "-E", "aggregator=\x1f"]
    for name in names:
        options += ["-e", name]
    rows = []
    for line in tshark(capture, *options, **how).splitlines():
        cells = line.split("\t")
        rows.append([cell.split("\x1f") if cell else [] for cell in cells])
    return rows


def said(messages):
    return [message for message in messages if not OF_TCP.match(message)]


class Window:
    """What Wireshark's window does: a file is loaded whole, then packets are visited in any order. A context manager."""

    def __init__(self, folder):
        plugins = Path(folder) / ".local/lib/wireshark/plugins"
        plugins.mkdir(parents=True, exist_ok=True)
        (plugins / DISSECTOR.name).write_bytes(DISSECTOR.read_bytes())
        self.home = str(folder)

    def __enter__(self):
        self.complaints = open(Path(self.home) / "complaints", "w+", encoding="utf-8", errors="replace")
        self.process = subprocess.Popen(["sharkd", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.complaints,
                                        text=True, encoding="utf-8",
                                        env={**os.environ, "HOME": self.home, "XDG_CONFIG_HOME": self.home})
        self.filters = 0
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait(60)
        self.process.stdout.close()
        self.complaints.close()

    def ask(self, method, **params):
        self.process.stdin.write(json.dumps({"jsonrpc": "2.0", "id": 1, "method": method, "params": params}) + "\n")
        self.process.stdin.flush()
        return json.loads(self.process.stdout.readline())["result"]

    def load(self, capture, **preferences):
        """Preferences stay until they are set anew: ac500_maps="..." is ac500.maps."""
        for name, value in preferences.items():
            self.ask("setconf", name=name.replace("_", ".", 1), value=str(value))
        self.ask("load", file=str(capture))

    def packets(self, kept="ac500"):
        """Number and text of the packet list, of those that a display filter keeps."""
        self.filters += 1  # results are kept by the filter's text, whatever file is loaded
        rows = self.ask("frames", filter=f"({kept}) && frame.number != {10**6 + self.filters}")
        return [(row["num"], OF_TCP_INFO.sub("", row["c"][-1])) for row in rows]

    def lines(self, number):
        """What the window shows of the AC500 frames of a packet, line by line, indented."""
        return ["  " * depth + node.get("l", "") for depth, node in self.nodes(number)]

    def trees(self, number):
        """The AC500 frames of a packet."""
        return [node for node in self.ask("frame", frame=number, proto=True)["tree"] if node["l"].startswith("AC500")]

    def stream(self, number):
        """TCP's number of the packet's connection."""
        return int(self.ask("frame", frame=number, proto=True)["fol"][0][1].split()[-1])  # "tcp.stream eq 0"

    def nodes(self, number):
        def flat(nodes, depth):
            for node in nodes:
                yield depth, node
                yield from flat(node.get("n", []), depth + 1)
        return flat(self.trees(number), 0)

    def variables(self, number):
        """"Main.setpoint = 21.5" for each variable of a packet, without the value where it has none."""
        return [node["l"].removeprefix("Variable: ") for _, node in self.nodes(number)
                if node.get("f", "").startswith("ac500.tag ==")]

    def warnings(self, number):
        return [node["l"].split(": ", 1)[1] for _, node in self.nodes(number) if node["l"].startswith("Expert Info")]
