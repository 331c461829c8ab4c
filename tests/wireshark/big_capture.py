#!/usr/bin/env python3
"""Writes the large capture by which docs/wireshark.md says what the dissector costs: one read of four items, again and again.

  big_capture.py FILE [MEGABYTES=100]
"""
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from capture import Capture, Connection, read, read_reply  # noqa: E402

ITEMS = [(1, 0, 200), (1, 250, 200), (1, 500, 200), (2, 0, 180)]
EXCHANGES = 200  # at a time
FILE_HEADER_BYTES = 24


def main():
    if len(sys.argv) not in (2, 3):
        print(__doc__, file=sys.stderr)
        return 2
    left = float(sys.argv[2] if len(sys.argv) == 3 else 100) * 1e6
    capture = Capture()
    link = Connection(capture)
    link.handshake()
    request, reply = read(*ITEMS), read_reply(*[bytes(range(size)) for *_, size in ITEMS])
    with open(sys.argv[1], "wb") as file:
        file.write(capture.bytes())
        while left > 0:
            capture.packets.clear()
            for _ in range(EXCHANGES):
                link.panel(request, wait=0.02)
                link.plc(reply, wait=0.002)
            left -= file.write(capture.bytes()[FILE_HEADER_BYTES:])
    return 0


if __name__ == "__main__":
    sys.exit(main())
