"""A subscriber that keeps up with a fleet: takes what the gateways publish, and keeps of each message what figures need.

Speaks as much of MQTT 3.1.1 as that takes, with a session that the broker keeps (clean session off, QoS 1), so that what comes
while it is away is not lost.
"""
import re
import socket
import struct
import threading
import time
from dataclasses import dataclass, field

CONNACK, PUBLISH, PUBACK, SUBACK, PINGREQ = 0x20, 0x30, 0x40, 0x90, 0xC0
KEEP_ALIVE_S = 30
RETRY_S = 0.02

SEQUENCE = re.compile(rb'"sequence":(\d+)')
TIME = re.compile(rb'"state":"fresh","time":"\d\d\d\d-\d\d-\d\dT(\d\d):(\d\d):(\d\d)\.(\d\d\d)Z"')
CLOCK = re.compile(rb'"tag":"Main\.clock","value":(\d+)')
STATE = re.compile(rb'"state":"([^"]*)"')
GAP = re.compile(rb'"gap":\{"first":(\d+),"last":(\d+)')
DAY_S = 86400


def text(value):
    encoded = value.encode()
    return struct.pack(">H", len(encoded)) + encoded


def packet(kind, body):
    length, digits = len(body), bytearray()
    while True:
        length, digit = divmod(length, 128)
        digits.append(digit | (0x80 if length else 0))
        if not length:
            return bytes([kind]) + bytes(digits) + body


def packets(buffer):
    """(kind, body) of each whole packet; takes them out of the buffer."""
    at = 0
    while True:
        length = shift = 0
        place = at + 1
        while True:
            if place >= len(buffer):
                del buffer[:at]
                return
            digit = buffer[place]
            length |= (digit & 0x7F) << shift
            place, shift = place + 1, shift + 7
            if digit < 0x80:
                break
        if place + length > len(buffer):
            del buffer[:at]
            return
        yield buffer[at], bytes(buffer[place:place + length])
        at = place + length


@dataclass
class PlcRecord:
    """What came of one PLC."""
    sequences: set = field(default_factory=set)
    repeated: int = 0
    dropped: list = field(default_factory=list)     # (first, last) of gap records
    states: list = field(default_factory=list)      # (when, state) of its status
    live: list = field(default_factory=list)        # when a message came whose values are younger than LIVE_S
    fastest: float = float("inf")                   # arrival minus the clock that a value carries

    def holes(self):
        """Sequence numbers between the first and the last that neither came nor are named by a gap record, ascending."""
        if not self.sequences:
            return []
        missing = set(range(min(self.sequences), max(self.sequences) + 1)) - self.sequences
        for first, last in self.dropped:
            missing -= set(range(first, last + 1))
        return sorted(missing)


LIVE_S = 2.5


@dataclass
class Message:
    at: float      # seconds since 1970
    bytes: int
    age: float     # of its first fresh value, from its reception by the gateway; -1: none
    plc: str
    clock: int     # of the value Main.clock, ms; -1: none


class Listener:
    def __init__(self, port, prefix):
        self.port, self.prefix = port, prefix
        self.lock = threading.Lock()
        self.plcs = {}        # lock
        self.messages = []    # lock
        self.connected = threading.Event()
        self.connected_at = 0
        self.stopping = False
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def stop(self):
        self.stopping = True
        self.thread.join()

    def take_messages(self):
        with self.lock:
            taken, self.messages = self.messages, []
            return taken

    def record(self, plc):
        return self.plcs.setdefault(plc, PlcRecord())

    def run(self):
        while not self.stopping:
            try:
                self.listen()
            except OSError:
                pass
            self.connected.clear()
            time.sleep(RETRY_S)

    def listen(self):
        with socket.create_connection(("127.0.0.1", self.port), timeout=5) as connection:
            connection.settimeout(0.2)
            connection.sendall(packet(0x10, text("MQTT") + bytes([4, 0]) + struct.pack(">H", KEEP_ALIVE_S) + text("listener")))
            connection.sendall(packet(0x82, b"\0\1" + text(f"{self.prefix}/#") + b"\1"))
            buffer, told = bytearray(), time.monotonic()
            while not self.stopping:
                if time.monotonic() - told > KEEP_ALIVE_S / 2:
                    connection.sendall(bytes([PINGREQ, 0]))
                    told = time.monotonic()
                try:
                    received = connection.recv(1 << 20)
                except TimeoutError:
                    continue
                if not received:
                    return
                buffer += received
                answer = self.take(buffer)
                if answer:
                    connection.sendall(answer)

    def take(self, buffer):
        answer = bytearray()
        now = time.time()
        with self.lock:
            for kind, body in packets(buffer):
                if kind & 0xF0 == PUBLISH:
                    length = body[0] << 8 | body[1]
                    topic, place = body[2:2 + length].decode(), 2 + length
                    if kind & 0x06:
                        answer += bytes([PUBACK, 2]) + body[place:place + 2]
                        place += 2
                    self.note(topic, body[place:], now)
                elif kind == SUBACK:
                    self.connected_at = now
                    self.connected.set()
        return answer

    def note(self, topic, payload, now):
        """REQUIRES: the lock is held."""
        plc, _, what = topic[len(self.prefix) + 1:].partition("/")
        record = self.record(plc)
        if what == "status":
            state = STATE.search(payload)
            record.states.append((now, state[1].decode() if state else ""))
            return
        if not what.startswith("values"):
            return
        sequence = int(SEQUENCE.search(payload)[1])
        if sequence in record.sequences:
            record.repeated += 1
        record.sequences.add(sequence)
        gap = GAP.search(payload)
        if gap:
            record.dropped.append((int(gap[1]), int(gap[2])))
        found = TIME.search(payload)
        age = -1.0
        if found:
            received = int(found[1]) * 3600 + int(found[2]) * 60 + int(found[3]) + int(found[4]) / 1000
            age = (now - received + DAY_S / 2) % DAY_S - DAY_S / 2  # around midnight, too
            if age < LIVE_S:
                record.live.append(now)
        clock = CLOCK.search(payload)
        ticks = int(clock[1]) if clock else -1
        if ticks >= 0:
            record.fastest = min(record.fastest, now - ticks / 1000)
        self.messages.append(Message(now, len(payload), age, plc, ticks))
