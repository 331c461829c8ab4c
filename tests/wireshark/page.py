#!/usr/bin/env python3
"""The example capture, and what docs/wireshark.md shows of it: the blocks of the page that begin with a command.

  page.py AC500-HOST    writes examples/faults.pcap and the blocks of the page; a test compares both with a new run
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from capture import Capture, Connection, read, read_reply, status_reply, write  # noqa: E402
from tshark import DISSECTOR  # noqa: E402

ROOT = DISSECTOR.parent.parent.parent
PAGE = ROOT / "docs/wireshark.md"
EXAMPLE = ROOT / "examples/faults.pcap"
BLOCK = re.compile(r"^```text\n(\$ .*?)^```$", re.MULTILINE | re.DOTALL)


def example():
    """A panel and the PLC of examples/plant.json, and everything that can go wrong between them."""
    capture = Capture()
    link = Connection(capture)
    link.handshake()
    setpoint, counter = (1, 4, 4), (1, 0, 2)
    link.panel(write((1, 4, bytes.fromhex("41AC0000"))), wait=0.05)
    link.plc(status_reply())
    both, answer = read(counter, setpoint), read_reply(b"\x01\xF4", bytes.fromhex("41AC0000"))
    link.panel(both, wait=0.05)
    link.plc(answer, [7])
    link.panel(write((1, 65535, b"\x00\x01")), wait=0.05)
    link.plc(status_reply(0x0302))
    link.panel(both, wait=0.05)
    link.plc(answer)
    link.plc(answer, wait=0.05)
    link.panel(both, wait=0.05)
    link.plc(answer[:11])
    link.panel(read(setpoint), wait=2)
    link.plc(read_reply(bytes.fromhex("41AC0000")), wait=2.5)
    link.panel(read(counter), wait=0.05)
    link.panel(read(setpoint), wait=2)
    link.plc(read_reply(bytes.fromhex("41AC0000")))
    link.plc(read_reply(b"\x01\xF5"), wait=0.2)
    link.plc(status_reply(), wait=0.2)
    link.panel(both, wait=0.05)
    link.end(True)
    link.end(False)
    return capture.bytes()


def renewed(text, host):
    """The page with what its commands print now. They run in a folder with the examples, the plugin installed."""
    with tempfile.TemporaryDirectory() as folder:
        plugins = Path(folder) / "home/.local/lib/wireshark/plugins"
        plugins.mkdir(parents=True)
        shutil.copy(DISSECTOR, plugins)
        shutil.copytree(ROOT / "examples", Path(folder) / "examples")
        home = str(Path(folder) / "home")
        (plugins.parent.parent.parent / "bin").mkdir()
        os.symlink(host, plugins.parent.parent.parent / "bin/ac500-host")
        environment = {**os.environ, "HOME": home, "XDG_CONFIG_HOME": home, "LC_ALL": "C.UTF-8", "TZ": "UTC",
                       "PATH": f"{plugins.parent.parent.parent / 'bin'}:{os.environ['PATH']}"}

        def run(block):
            shown = ""
            for command in re.findall(r"^\$ (.*)$", block[1], re.MULTILINE):
                done = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, capture_output=True, text=True,
                                      check=True)
                shown += f"$ {command}\n" + "".join(f"{line.rstrip()}\n" for line in done.stdout.splitlines())
            return f"```text\n{shown}```"
        return BLOCK.sub(run, text)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    EXAMPLE.write_bytes(example())
    PAGE.write_text(renewed(PAGE.read_text(encoding="utf-8"), Path(sys.argv[1]).resolve()), encoding="utf-8")
