"""Captures written from bytes: Ethernet, IP and TCP around what a panel and a PLC say, as a pcap file. Needs no network and
no rights. Frames follow docs/wire-format.md, written down here once more, so that the dissector is not held against itself."""
import ipaddress
import struct
from pathlib import Path

FIN, SYN, RST, PSH, ACK = 0x01, 0x02, 0x04, 0x08, 0x10
PLC_PORT = 1201

# ---- frames

HELLO = bytes.fromhex("BBBB0000000E 01 000000020000000600000000 00")
SYMBOLS = bytes.fromhex("BBBB00000011 31 00 000D 444F574E4C4F41442E53444200")
SESSION = bytes.fromhex("11223344")


def framed(payload):
    return b"\xBB\xBB" + struct.pack(">I", len(payload)) + payload


def hello_reply(boot=1):
    head = struct.pack(">HIIII", 0, 0x01000000, boot, 0xFFFF, 0xFFFF)
    return framed((head + b"AC500-SIM".ljust(32, b"\0") + b"CODESYS V2 simulation 1.0".ljust(32, b"\0")).ljust(200, b"\0"))


def symbols_reply(session=SESSION):
    return framed(struct.pack(">HIIQ", 0, 0x31000000, 1, 0) + session + bytes(8))


def read(*items, session=SESSION):
    """`items`: (area, address, size)."""
    heads = b"".join(struct.pack(">HII", *item) for item in items)
    return framed(b"\x2E\0" + struct.pack(">I", len(items)) + heads + session[::-1])


def read_reply(*data, status=0):
    return framed(struct.pack(">HI", status, len(data)) + b"".join(b"\0" + one for one in data))


def write(*items, session=SESSION):
    """`items`: (area, address, data)."""
    body = b"".join(struct.pack(">HII", area, address, len(data)) + data for area, address, data in items)
    return framed(b"\x3C\0" + struct.pack(">I", len(items)) + body + session[::-1])


def status_reply(status=0):
    return framed(struct.pack(">H", status))


# ---- packets

def checksum(data):
    total = sum(struct.unpack(f">{len(data) // 2}H", data)) if len(data) % 2 == 0 else checksum(data + b"\0")
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return total


class Capture:
    """Packets in the order in which they were seen, with times in seconds."""

    def __init__(self):
        self.packets = []  # (time, bytes, bytes on the wire)
        self.now = 0.0

    def add(self, packet, cut_to=None, time=None):
        kept = packet if cut_to is None else packet[:cut_to]
        self.packets.append((self.now if time is None else time, kept, len(packet)))

    def bytes(self):
        head = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 1)
        records = []
        for time, packet, length in self.packets:
            micro = round((1_700_000_000 + time) * 1e6)
            records.append(struct.pack("<IIII", micro // 1_000_000, micro % 1_000_000, len(packet), length) + packet)
        return head + b"".join(records)

    def save(self, path):
        Path(path).write_bytes(self.bytes())
        return path


class Connection:
    """One TCP connection, whose two sides send; each call is one segment unless it says otherwise."""

    def __init__(self, capture, panel="10.0.0.1", plc="10.0.0.5", panel_port=40000, plc_port=PLC_PORT, opened=True,
                 sequence=1000):
        self.capture = capture
        self.ends = {True: (ipaddress.ip_address(panel), panel_port), False: (ipaddress.ip_address(plc), plc_port)}
        self.sequence = {True: sequence, False: sequence + 0xFFFFFB18}  # the PLC's passes through 0
        self.wait = 0.001
        if opened:
            self.segment(True, b"", SYN)
            self.sequence[True] += 1
            self.segment(False, b"", SYN | ACK)
            self.sequence[False] += 1
            self.segment(True, b"", ACK)

    def packet(self, from_panel, data, flags=PSH | ACK, sequence=None):
        (source, source_port), (target, target_port) = self.ends[from_panel], self.ends[not from_panel]
        sequence = self.sequence[from_panel] if sequence is None else sequence
        acknowledged = 0 if flags == SYN else self.sequence[not from_panel] % 2**32
        tcp = struct.pack(">HHIIBBHHH", source_port, target_port, sequence % 2**32, acknowledged, 5 << 4, flags, 65535, 0, 0)
        if source.version == 4:
            ip = struct.pack(">BBHHHBBH", 0x45, 0, 40 + len(data), 0, 0x4000, 64, 6, 0) + source.packed + target.packed
            ip = ip[:10] + struct.pack(">H", 0xFFFF - checksum(ip)) + ip[12:]
            kind = 0x0800
        else:
            ip = struct.pack(">IHBB", 6 << 28, 20 + len(data), 6, 64) + source.packed + target.packed
            kind = 0x86DD
        return b"\x02\0\0\0\0\x01\x02\0\0\0\0\x02" + struct.pack(">H", kind) + ip + tcp + data

    def segment(self, from_panel, data, flags=PSH | ACK, sequence=None, cut_to=None):
        self.capture.add(self.packet(from_panel, data, flags, sequence), cut_to)
        if sequence is None:
            self.sequence[from_panel] += len(data)

    def say(self, from_panel, data, pieces=None, wait=None):
        """`data` in segments of the sizes `pieces`, the rest in one; `wait` seconds after what came before."""
        self.capture.now += self.wait if wait is None else wait
        for size in pieces or []:
            self.segment(from_panel, data[:size])
            data = data[size:]
        if data:
            self.segment(from_panel, data)

    def panel(self, data, pieces=None, wait=None):
        self.say(True, data, pieces, wait)

    def plc(self, data, pieces=None, wait=None):
        self.say(False, data, pieces, wait)

    def lose(self, from_panel, data):
        """Sent, but not in the capture."""
        self.sequence[from_panel] += len(data)

    def end(self, from_panel, flags=FIN | ACK):
        self.capture.now += self.wait
        self.segment(from_panel, b"", flags)
        self.sequence[from_panel] += 1

    def handshake(self):
        self.panel(HELLO)
        self.plc(hello_reply())
        self.panel(SYMBOLS)
        self.plc(symbols_reply())
