#!/usr/bin/env python3
"""Every fault of the simulated PLC, recorded on its way to a client: the dissector says of each request what the simulator's own
log says of its reply.

  faults_test.py AC500-SIM AC500-HOST    the programs
"""
import re
import socket
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
import page  # noqa: E402
from capture import HELLO, SYMBOLS, Capture, read, write  # noqa: E402
from recording_proxy import RecordingProxy  # noqa: E402
from tshark import Window  # noqa: E402

ROOT = Path(__file__).resolve().parent.parent.parent
PLANT = ROOT / "examples/plant.json"
PACE = 3  # of all times, so that a busy machine mistakes none for another
GIVE_UP_S = 0.1 * PACE
LATE_MS = 100 * PACE

# What the dissector warns of for a request whose reply meets the fault.
TOLD = {
    "delay": {"Late reply"},
    "silence": {"Request without a reply in this capture"},
    "late": {"Late reply"},
    "truncate": {"Short reply"},
    "length": {"Wrong length field"},
    "status": {"Refused"},
    "fragments": set(),
    "glue": {"Repeated reply"},
    "reset": {"Request without a reply in this capture"},
    "restart": {"Request without a reply in this capture"},
    "repeat": {"Repeated reply"},
}
ARGUMENTS = {"delay": f",ms={LATE_MS + 50}", "late": f",ms={int(2000 * GIVE_UP_S)}", "glue": ",copies=3", "repeat": ",ms=20"}
SERVICES = ("hello", "symbols", "read", "write")


class Simulator:
    """ac500-sim with `faults`; a context manager. `log` is what it says, when it has ended."""

    def __init__(self, program, folder, faults):
        self.folder = Path(folder)
        self.command = [program, "--symbols", PLANT, "--port", "0", "--verbose", "--run-seconds", "120"]
        for fault in faults:
            self.command += ["--fault", fault]

    def __enter__(self):
        self.errors = open(self.folder / "simulator.log", "w+", encoding="utf-8")
        self.process = subprocess.Popen(self.command, stdout=subprocess.PIPE, stderr=self.errors, text=True)
        self.port = int(re.search(r":(\d+)$", self.process.stdout.readline().strip())[1])
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(60)
        self.process.stdout.close()
        self.errors.close()

    @property
    def log(self):
        return (self.folder / "simulator.log").read_text(encoding="utf-8")


def told_by_simulator(log):
    """By connection: for each request in order, its service and the fault of its reply or None."""
    connections = {}
    for client, text in re.findall(r"client (\d+): (.*)", log):
        requests = connections.setdefault(int(client), [])
        fault = re.match(r"fault (\w+)(?: .*)? on a reply to (\w+)", text)
        if fault:
            service, none = requests.pop()
            assert (service, none) == (fault[2], None), text
            requests.append((service, fault[1]))
        elif text.split()[0].strip(",") in SERVICES:
            requests.append((text.split()[0].strip(","), None))
    return [requests for _, requests in sorted(connections.items())]


def told_by_dissector(window):
    """The same of the capture that is loaded, with the warnings in place of the faults."""
    requests, replies, connections = {}, {}, {}
    for number, _ in window.packets():
        stream = window.stream(number)
        for tree in window.trees(number):
            labels = [node["l"] for node in tree.get("n", [])]
            warnings = {label.split(": ")[1] for label in labels if label.startswith("Expert Info (Warning")}
            to = [int(label.split(": ")[1]) for label in labels if label.startswith("Request in: ")]
            again = [int(label.split(": ")[1]) for label in labels if label.startswith("Repeats the reply in: ")]
            service = re.search(r", (\w+) request", tree["l"])
            if service:
                requests[number] = (service[1].lower(), warnings)
                connections.setdefault(stream, []).append(requests[number])
            elif to or again:
                request = requests[to[0]] if to else replies[again[0]]
                replies[number] = request
                request[1].update(warnings)
    return [requests for _, requests in sorted(connections.items())]


class Client:
    """A client with patience, that stays on a connection whatever comes."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port))
        self.socket.settimeout(60)

    def ask(self, request, length):
        """Waits for so many bytes of the reply; without, for so long that it gives up."""
        self.socket.sendall(request)
        if length is None:
            self.socket.settimeout(GIVE_UP_S)
        received = b""
        try:
            while length is None or len(received) < length:
                piece = self.socket.recv(65536)
                if not piece:
                    return None
                received += piece
        except TimeoutError:
            self.socket.settimeout(60)
        except ConnectionError:
            return None
        return received

    def handshake(self):
        self.ask(HELLO, 206)
        self.session = self.ask(SYMBOLS, 36)[24:28]

    def wait_for_more(self):
        self.socket.recv(65536)

    def close(self):
        self.socket.close()


class FaultsTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        cls.window = cls.enterClassContext(Window(cls.folder))

    def load(self, capture):
        self.window.load(capture.save(self.folder / "faults.pcap"), ac500_late_ms=LATE_MS)

    def test_every_fault_on_a_read_and_on_a_write(self):
        kinds = list(TOLD)
        # On each connection: a good reply, the one with the fault, and two more to see what comes of it.
        rules = [f"{kind}:at={4 * number + 2},service={service}{ARGUMENTS.get(kind, '')}"
                 for service in ("read", "write") for number, kind in enumerate(kinds)]
        capture = Capture()
        with Simulator(SIMULATOR, self.folder, rules) as simulator:
            with RecordingProxy(capture, simulator.port) as proxy:
                for service in ("read", "write"):
                    for kind in kinds:
                        self.meet(proxy.port, service, kind)
        told = told_by_simulator(simulator.log)
        self.assertEqual([[fault for _, fault in requests if fault] for requests in told if any(fault for _, fault in requests)],
                         [[kind] for kind in kinds] * 2)
        self.load(capture)
        expected = [[(service, TOLD[fault] if fault else set()) for service, fault in requests] for requests in told]
        self.assertEqual(told_by_dissector(self.window), expected)

    def meet(self, port, service, kind):
        """Four requests, the second of which meets the fault; on another connection when that one has ended."""
        client = Client(port)
        client.handshake()
        for turn in range(4):
            # Each request asks for another number of bytes, so that no reply can be that to another.
            size = 2 + turn
            if service == "read":
                request, length = read((1, 0, size), session=client.session), 12 + 1 + size
            else:
                request, length = write((2, 200, bytes([turn] * size)), session=client.session), 8
            is_faulty = turn == 1 and kind not in ("delay", "status", "fragments")
            if client.ask(request, None if is_faulty else length) is None:
                client.close()
                client = Client(port)
                client.handshake()
        if kind == "late":
            client.wait_for_more()
        client.close()


class HostTest(unittest.TestCase):
    def test_values_are_those_that_the_host_shows(self):
        with tempfile.TemporaryDirectory() as folder, Window(folder) as window:
            made = Path(folder) / "plant.map"
            with made.open("w") as file:
                subprocess.run([HOST, "symbols", "export", "--wireshark", PLANT], stdout=file, check=True)
            capture = Capture()
            with Simulator(SIMULATOR, folder, []) as simulator, RecordingProxy(capture, simulator.port) as proxy:
                done = subprocess.run([HOST, "--symbols", PLANT, "--plc", f"127.0.0.1:{proxy.port}", "read", "**"],
                                      capture_output=True, text=True, check=True)
            window.load(capture.save(Path(folder) / "host.pcap"), ac500_maps=made)
            variables = [variable for number, _ in window.packets("ac500.value && ac500.request_in")
                         for variable in window.variables(number)]
        shown = {}
        for variable in variables:
            shown.setdefault(*variable.split(" = ", 1))  # the host shows what it read first
        arrays = {}  # by name: the values of the elements, in their order
        for tag, value in shown.items():
            arrays.setdefault(re.sub(r"\[[-\d,]+\]$", "", tag), []).append(value)
        compared = 0
        for line in done.stdout.splitlines():
            tag, text = re.split(r" {2,}", line, maxsplit=1)
            row = re.sub(r",(\d+)\.\.\d+\]$|\[-?\d+\.\.-?\d+\]$", "", tag)
            if any(name.startswith(f"{tag}, bytes ") or name.startswith(f"{tag}[") and ", bytes " in name for name in shown):
                continue  # it came in two replies
            if row == tag:
                self.assertEqual(shown.get(tag, ", ".join(arrays.get(tag, []))), text, tag)
                compared += 1
        self.assertGreater(compared, 500)


class RecordsTest(unittest.TestCase):
    """What the simulator says it did to a reply, the record of the host tells as well: its replay, and its capture."""

    # What the dissector warns of when the client is the host, which closes the connection once it has waited long enough.
    OF_HOST = {**TOLD, "late": {"Request without a reply in this capture"}}
    # What is among the events of the replay.
    REPLAYED = {
        "delay": r"DataCom\(reply of 17 bytes, status word 0\) -> status 1 ",
        "silence": r"DataCom\(no reply\)",
        "late": r"DataCom\(no reply\)",
        "truncate": r"connection brought 8 bytes: bb bb 00 00 00 0b ",
        "length": r"connection brought 17 bytes: bb bb 00 00 00 0c ",
        "status": r"connection brought 17 bytes: bb bb 00 00 00 0b 0f 01 ",
        "fragments": r"connection brought 1 bytes?: bb",
        "glue": r"connection brought 34 bytes: bb bb 00 00 00 0b ",
        "reset": r"DataCom\(no reply\)",
        "restart": r"DataCom\(no reply\)",
        "repeat": r"note reply.unasked: ",
    }
    # What the host does meanwhile. A reply comes again only after the value is there: the host has to stay, and to ask for nothing.
    READS = ["read", "Main.setpoint"]
    STAYS = ["--cycle", "1000", "watch", "Main.setpoint", "--seconds", "3"]

    def test_simulator_replay_and_capture_say_the_same(self):
        with tempfile.TemporaryDirectory() as folder, Window(folder) as window:
            folder = Path(folder)
            for kind, replayed in self.REPLAYED.items():
                with self.subTest(kind):
                    record, capture = folder / f"{kind}.rec", folder / f"{kind}.pcapng"
                    rule = f"{kind}:at=1,service=read{ARGUMENTS.get(kind, '').replace('copies=3', 'copies=2')}"
                    with Simulator(SIMULATOR, folder, [rule]) as simulator:
                        subprocess.run([HOST, "--symbols", PLANT, "--plc", f"127.0.0.1:{simulator.port}", "--timeout",
                                        str(LATE_MS + 200 * PACE if kind == "delay" else LATE_MS), "--record", record,
                                        *(self.STAYS if kind == "repeat" else self.READS)], capture_output=True, check=True)
                    told = told_by_simulator(simulator.log)
                    self.assertEqual([fault for requests in told for _, fault in requests if fault], [kind])
                    events = subprocess.run([HOST, "replay", record, "--events"], capture_output=True, text=True, check=True)
                    self.assertRegex(events.stdout, replayed)
                    self.assertIn("result  exact: ", events.stdout)
                    subprocess.run([HOST, "replay", record, "--pcap", capture], capture_output=True, check=True)
                    window.load(capture, ac500_late_ms=LATE_MS)
                    dissected = told_by_dissector(window)
                    # The host goes once it has the value: what it has just asked for again may be under way then.
                    service, warnings = dissected[-1][-1]
                    if told[-1][-1][1] is None and warnings == {"Request without a reply in this capture"}:
                        dissected[-1][-1] = (service, set())
                    self.assertEqual(dissected,
                                     [[(service, self.OF_HOST[fault] if fault else set()) for service, fault in requests]
                                      for requests in told])


class PageTest(unittest.TestCase):
    maxDiff = None

    def test_the_page_shows_what_its_commands_print(self):
        self.assertEqual(page.EXAMPLE.read_bytes(), page.example(), "tests/wireshark/page.py writes it anew")
        text = page.PAGE.read_text(encoding="utf-8")
        self.assertEqual(len(page.BLOCK.findall(text)), 1)
        self.assertEqual(page.renewed(text, Path(HOST).resolve()), text, "tests/wireshark/page.py writes it anew")


if __name__ == "__main__":
    SIMULATOR, HOST = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
