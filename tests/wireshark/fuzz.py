"""Captures that nobody meant: conversations with bytes changed, cut anew, lost, sent again and in another order, by a seed.
What tshark must make of every one of them: no complaint of Lua, an end in good time, and a word on each segment. A map of
variables, changed as well, goes with them."""
import random
import subprocess
from pathlib import Path

from capture import HELLO, SYMBOLS, Capture, Connection, framed, hello_reply, read, read_reply, status_reply, symbols_reply, write
from tshark import TsharkFailed, tshark

CONNECTIONS = 150  # in a capture
SECONDS = 120  # for one run of tshark; it takes less than two

MAP = """ac500-wireshark-map 1
1\tbyte\t0\tUINT\t\tMain.counter
1\tbyte\t4\tREAL\t\tMain.setpoint\t°C\t0.1\t-40
1\tbyte\t8\tINT\t0..3,1..6\tMain.grid
1\tbyte\t60\tSTRING(20)\t\tMain.title
1\tbyte\t2\tLINT\t\tMain.total\t\t\t\t-1=off\t0=on
3\tbit\t17\tBIT\t1..8\tMain.lamps
"""


def conversation(rng):
    """What panel and PLC say, good as a whole: (from the panel?, bytes)."""
    said = [(True, HELLO), (False, hello_reply()), (True, SYMBOLS), (False, symbols_reply())] if rng.random() < 0.5 else []
    for _ in range(rng.randrange(1, 6)):
        items = [(rng.choice((1, 1, 3, 65535)), rng.choice((0, 2, 8, 17, 60, 2**32 - 1)), rng.choice((0, 1, 2, 4, 40, 400)))
                 for _ in range(rng.randrange(4))]
        if rng.random() < 0.6:
            said.append((True, read(*items)))
            said.append((False, read_reply(*[rng.randbytes(size) for *_, size in items])))
        else:
            said.append((True, write(*[(area, address, rng.randbytes(size)) for area, address, size in items])))
            said.append((False, status_reply()))
    return said


def changed(rng, data):
    """The bytes with one mistake."""
    data = bytearray(data)
    at = rng.randrange(len(data) + 1)
    kind = rng.randrange(7)
    if kind == 0 and data:
        data[at % len(data)] ^= 1 << rng.randrange(8)
    elif kind == 1 and len(data) >= 6:  # the length
        data[2:6] = rng.choice((0, 1, 2, 9, 10, 65535, 65536, 2**31, 2**32 - 1, len(data) - 5, len(data) - 7)).to_bytes(4, "big")
    elif kind == 2 and len(data) >= 12:  # the count, or what stands there
        data[8:12] = rng.choice((0, 1, 2, 1000, 2**16, 2**32 - 1)).to_bytes(4, "big")
    elif kind == 3:
        del data[at:at + rng.randrange(1, 20)]
    elif kind == 4:
        data[at:at] = rng.choice((b"\xBB", b"\xBB\xBB", b"\xBB\xBB\0\0", rng.randbytes(rng.randrange(1, 30)), bytes(data[:at])))
    elif kind == 5 and len(data) >= 22:  # an item
        where = rng.choice((12, 14, 18))
        data[where:where + 4] = rng.choice((0, 1, 2**16, 2**31, 2**32 - 1)).to_bytes(4, "big")
    else:
        data[:] = rng.choice((framed(rng.randbytes(rng.randrange(12))), framed(bytes([rng.randrange(256)]) + data[7:]), b"\xBB"))
    return bytes(data)


def sent(rng, link, said):
    """Puts what is said on the line in segments, with what may befall them."""
    for from_panel, data in said:
        for _ in range(rng.choice((0, 0, 1, 1, 2))):
            data = changed(rng, data)
        link.capture.now += rng.choice((0.0001, 0.001, 0.02, 3))
        while data:
            size = rng.choice((1, 2, 3, 5, 6, 7, 11, len(data), len(data), len(data)))
            piece, data = data[:size], data[size:]
            fate = rng.randrange(40)
            if fate == 0:
                link.lose(from_panel, piece)
            elif fate == 1:
                link.segment(from_panel, piece, cut_to=54 + rng.randrange(len(piece) + 1))
            elif fate == 2:
                back = rng.randrange(30)
                link.segment(from_panel, rng.randbytes(back) + piece, sequence=link.sequence[from_panel] - back)
                link.sequence[from_panel] += len(piece)
            else:
                link.segment(from_panel, piece)
        if rng.randrange(30) == 0:
            link.segment(rng.random() < 0.5, rng.randbytes(rng.randrange(1, 40)))


def capture_of(seed):
    rng = random.Random(seed)
    capture = Capture()
    for number in range(CONNECTIONS):
        where = {"plc_port": 5555} if rng.random() < 0.2 else {}
        link = Connection(capture, panel_port=20000 + number, opened=rng.random() < 0.5, **where)
        sent(rng, link, conversation(rng))
    for _ in range(CONNECTIONS // 2):  # out of order
        at = rng.randrange(len(capture.packets) - 1)
        capture.packets[at:at + 2] = reversed(capture.packets[at:at + 2])
    return capture


def map_of(seed):
    rng = random.Random(seed)
    data = bytearray(MAP.encode())
    for _ in range(rng.choice((0, 0, 1, 3))):
        at = rng.randrange(23, len(data))  # behind the header: a wrong one is told off, and that is all
        data[at:at + rng.randrange(3)] = rng.choice((b"", b"\t", b"\n", b"-", b"0", b"99999999999", b"..", rng.randbytes(2)))
    return bytes(data)


def problem_of(seed, folder):
    """What is wrong with what tshark makes of the capture of this seed, or nothing. The capture is left in `folder`."""
    capture = capture_of(seed).save(Path(folder) / f"dissector-{seed}.pcap")
    names = Path(folder) / f"dissector-{seed}.map"
    names.write_bytes(map_of(seed))
    rng = random.Random(seed)
    preferences = [f"ac500.maps:{names}", f"tcp.no_subdissector_on_error:{rng.choice(('TRUE', 'FALSE'))}",
                   f"tcp.reassemble_out_of_order:{rng.choice(('TRUE', 'FALSE'))}"]
    try:
        for two_passes in (False, True):
            output = tshark(capture, "-V", preferences=preferences, two_passes=two_passes, seconds=SECONDS,
                            allowed=r"ac500: the map of variables cannot be used: |^$")
            if output.count("\nAC500 (CODESYS V2), ") < CONNECTIONS:
                return "hardly a segment is dissected"
            if "[Dissector bug" in output or "[Malformed Packet: AC500" in output:
                return "tshark calls the dissector broken"
    except (TsharkFailed, subprocess.TimeoutExpired) as problem:
        return str(problem)
    return None
