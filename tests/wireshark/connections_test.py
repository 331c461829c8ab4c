#!/usr/bin/env python3
"""What the Wireshark dissector makes of connections of all kinds, written from bytes: how segments become frames, which reply
goes with which request, and what it warns of; in one pass and in two."""
import random
import re
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from capture import (PLC_PORT, SYMBOLS, Capture, Connection, framed, read, read_reply, status_reply,  # noqa: E402
                     symbols_reply, write)
from tshark import OF_TCP_INFO, Window, fields, said  # noqa: E402

TWO = read((1, 8, 2), (3, 2, 2))
TWO_REPLY = read_reply(b"\x12\x34", b"\x00\x02")  # 18 bytes
ONE = read((1, 8, 2))
ONE_REPLY = read_reply(b"\x12\x34")  # 15 bytes

# Each connection: its name, what happens on it, and the lines that tell of its packets in two passes. A line: "panel" or
# "plc", the packet list's text, "<n" for a reply to the n-th packet with bytes of the connection or ">n" for a request that
# is answered there, and in braces what the dissector warns of.
CONNECTIONS = {}


def connection(*expected, single=None, unfiltered=None, **how):
    """`single`: the lines of a single pass, by number, where they differ: nothing can be known of later packets then.
    `unfiltered`: those of two passes without a filter, where Wireshark keeps the numbers of TCP from dissectors."""
    def register(function):
        CONNECTIONS[function.__name__] = (function, list(expected), single or {}, unfiltered or {}, how)
        return function
    return register


@connection("panel Hello request >2", "plc Hello reply <1", "panel Symbols request, DOWNLOAD.SDB >4", "plc Symbols reply <3",
            "panel Read request, 2 items >6", "plc Read reply <5", "panel Write request, 1 item >8", "plc Write reply <7",
            single={1: "panel Hello request", 3: "panel Symbols request, DOWNLOAD.SDB",
                    5: "panel Read request, 2 items", 7: "panel Write request, 1 item"}, opened=True)
def all_goes_well(link):
    link.handshake()
    link.panel(TWO)
    link.plc(TWO_REPLY)
    link.panel(write((1, 8, b"\x12\x34")))
    link.plc(status_reply())


@connection(*["panel Part of a frame"] * 35, "panel Read request, 2 items >54", *["plc Part of a frame"] * 17,
            "plc Read reply <36",
            single={**{n: f"panel Part of a request, {n} byte{'s' * (n > 1)} of it so far" for n in range(1, 6)},
                    **{n: f"panel Part of a request, {n} of 36 bytes so far" for n in range(6, 36)},
                    36: "panel Read request, 2 items",
                    **{36 + n: f"plc Part of a reply, {n} byte{'s' * (n > 1)} of it so far" for n in range(1, 6)},
                    **{36 + n: f"plc Part of a reply, {n} of 18 bytes so far" for n in range(6, 18)}})
def every_byte_is_a_segment(link):
    link.panel(TWO, [1] * len(TWO))
    link.plc(TWO_REPLY, [1] * len(TWO_REPLY))


@connection("panel Read request, 2 items | Read request, 1 item >2", "plc Read reply | Read reply <1",
            single={1: "panel Read request, 2 items | Read request, 1 item"})
def frames_share_a_segment(link):
    link.panel(TWO + ONE)
    link.plc(TWO_REPLY + ONE_REPLY)


@connection("panel Read request, 2 items >4", "panel Read request, 1 item >5", "plc Part of a frame",
            "plc Read reply | Part of a frame <1", "plc Read reply <2",
            single={1: "panel Read request, 2 items", 2: "panel Read request, 1 item",
                    3: "plc Part of a reply, 10 of 18 bytes so far",
                    4: "plc Read reply | Part of a reply, 3 bytes of it so far <1"})
def borders_of_segments_lie_within_frames(link):
    link.panel(TWO)
    link.panel(ONE)
    link.plc(TWO_REPLY + ONE_REPLY, [10, 11])


@connection("panel Read request, 2 items >2", "plc Short reply, 9 of 18 bytes <1 {Short reply: 9 of 18 bytes}",
            "panel Read request, 2 items >4 {Sent when the request in frame 1 had waited 301.000 ms for its reply, of which 9 "
            "bytes had come}", "plc Read reply <3",
            single={1: "panel Read request, 2 items", 2: "plc Part of a reply, 9 of 18 bytes so far",
                    3: "panel Read request, 2 items {Sent when the request in frame 1 had waited 301.000 ms for its reply, of "
                       "which 9 bytes had come}"})
def reply_is_short(link):
    link.panel(TWO)
    link.plc(TWO_REPLY[:9])
    link.panel(TWO, wait=0.3)
    link.plc(TWO_REPLY)


@connection("panel Read request, 2 items >2",
            "plc Short reply, 9 of 18 bytes <1 {Short reply: 9 of 18 bytes}",
            single={1: "panel Read request, 2 items", 2: "plc Part of a reply, 9 of 18 bytes so far"})
def last_reply_is_short(link):
    link.panel(TWO)
    link.plc(TWO_REPLY[:9])
    link.end(True)


@connection("panel Read request, 2 items >2",
            "plc Read reply <1 {Short reply: 15 bytes, the request in frame 1 asks for 18}",
            single={1: "panel Read request, 2 items"})
def reply_is_whole_and_too_short(link):
    link.panel(TWO)
    link.plc(ONE_REPLY)


@connection("panel Read request, 1 item >2",
            "plc Read reply <1 {Reply of another size: 18 bytes, the request in frame 1 asks for 15}",
            single={1: "panel Read request, 1 item"})
def reply_is_of_another_request(link):
    link.panel(ONE)
    link.plc(TWO_REPLY)


@connection("panel Read request, 2 items >2",
            "plc Read reply <1 {Wrong length field: it says 13 bytes, and 12 are there, as asked for}",
            "panel Read request, 2 items >4",
            "plc Read reply <3 {Wrong length field: it says 11 bytes, and 12 are there, as asked for}",
            single={1: "panel Read request, 2 items", 3: "panel Read request, 2 items"})
def length_field_is_wrong(link):
    for length in (13, 11):
        link.panel(TWO)
        link.plc(TWO_REPLY[:5] + bytes([length]) + TWO_REPLY[6:])


@connection("panel Read request, 2 items >2", "plc Read reply, refused 0x0201 <1 {Refused: status word 0x0201 (wrong session "
            "bytes)}", "panel Read request, 2 items >4",
            "plc Read reply, refused 0x0F01 <3 {Refused: status word 0x0F01 (injected fault)}",
            "panel Write request, 1 item >6", "plc Write reply, refused 0x7777 <5 {Refused: status word 0x7777 (unknown)}",
            single={1: "panel Read request, 2 items", 3: "panel Read request, 2 items", 5: "panel Write request, 1 item"})
def requests_are_refused(link):
    link.panel(TWO)
    link.plc(status_reply(0x0201))
    link.panel(TWO)
    link.plc(read_reply(b"\x12\x34", b"\x00\x02", status=0x0F01))
    link.panel(write((1, 8, b"\x12\x34")))
    link.plc(status_reply(0x7777))


@connection("panel Read request, 2 items >2", "plc Read reply <1",
            "plc Repeated reply {Repeated reply: the same bytes as in frame 2}",
            "panel Read request, 2 items >5",
            "plc Read reply | Repeated reply | Repeated reply <4 {Repeated reply: the same bytes as in frame 5; Repeated "
            "reply: the same bytes as in frame 5}",
            single={1: "panel Read request, 2 items", 4: "panel Read request, 2 items"})
def replies_are_repeated(link):
    link.panel(TWO)
    link.plc(TWO_REPLY)
    link.plc(TWO_REPLY)
    link.panel(TWO)
    link.plc(read_reply(b"\x12\x35", b"\x00\x02") * 3)


@connection("panel Read request, 2 items >2", "plc Read reply <1", "panel Read request, 1 item >5",
            "plc Repeated reply {Repeated reply: the same bytes as in frame 2}", "plc Read reply <3",
            single={1: "panel Read request, 2 items", 3: "panel Read request, 1 item"})
def repeat_comes_before_the_next_reply(link):
    link.panel(TWO)
    link.plc(TWO_REPLY)
    link.panel(ONE)
    link.plc(TWO_REPLY)
    link.plc(ONE_REPLY)


@connection("panel Read request, 1 item >2", "plc Read reply <1", "plc Reply {Unasked reply: no request waits for one}",
            single={1: "panel Read request, 1 item"})
def reply_is_unasked(link):
    link.panel(ONE)
    link.plc(ONE_REPLY)
    link.plc(TWO_REPLY)


@connection("panel Read request, 1 item >2", "plc Read reply <1 {Late reply: 2500.000 ms after the request in frame 1}",
            "panel Read request, 1 item >4", "plc Read reply <3",
            single={1: "panel Read request, 1 item", 3: "panel Read request, 1 item"})
def reply_is_late(link):
    link.panel(ONE)
    link.plc(ONE_REPLY, wait=2.5)
    link.panel(ONE)
    link.plc(ONE_REPLY, wait=2.0)


@connection("panel Read request, 2 items >4",
            "panel Read request, 1 item >3 {Sent when the request in frame 1 had waited 300.000 ms for its reply}",
            "plc Read reply <2",
            "plc Read reply <1 {Late reply: 302.000 ms after the request in frame 1, which was given up in between}",
            single={1: "panel Read request, 2 items",
                    2: "panel Read request, 1 item {Sent when the request in frame 1 had waited 300.000 ms for its reply}"})
def late_reply_is_overtaken(link):
    link.panel(TWO)
    link.panel(ONE, wait=0.3)
    link.plc(ONE_REPLY)
    link.plc(TWO_REPLY)


@connection("panel Read request, 1 item {Request without a reply in this capture}",
            "panel Read request, 1 item >3 {Sent when the request in frame 1 had waited 300.000 ms for its reply}",
            "plc Read reply <2 {May as well be the late reply to the request in frame 1}",
            "panel Read request, 1 item >5", "plc Read reply <4",
            single={1: "panel Read request, 1 item",
                    2: "panel Read request, 1 item {Sent when the request in frame 1 had waited 300.000 ms for its reply}",
                    4: "panel Read request, 1 item"})
def reply_may_be_that_to_the_request_before(link):
    link.panel(ONE)
    link.panel(ONE, wait=0.3)
    link.plc(ONE_REPLY)
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("panel Read request, 1 item {Request without a reply in this capture}", single={1: "panel Read request, 1 item"})
def plc_is_silent(link):
    link.panel(ONE)
    link.end(False)


@connection("plc Bytes of no frame {The beginning of the frame of these bytes is not in the capture}", "panel Read request, 1 item >3",
            "plc Read reply <2", single={2: "panel Read request, 1 item"})
def capture_begins_within_a_reply(link):
    link.plc(TWO_REPLY[7:])
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("plc Reply {The request to this reply is not in the capture}", "panel Read request, 1 item >3",
            "plc Read reply <2", single={2: "panel Read request, 1 item"})
def capture_begins_with_a_reply(link):
    link.plc(TWO_REPLY)
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("panel Bytes of no frame | Read request, 1 item >2 {The beginning of the frame of these bytes is not in the capture}",
            "plc Read reply <1",
            single={1: "panel Bytes of no frame | Read request, 1 item {The beginning of the frame of these bytes is not in the capture}"})
def capture_begins_within_a_request(link):
    link.panel(TWO[20:] + ONE)
    link.plc(ONE_REPLY)


@connection("panel Read request, 2 items {Bytes are missing in the capture where the reply may be}", "plc Part of a reply, 7 of "
            "18 bytes", "panel Read request, 1 item >4", "plc Read reply <3 {11 bytes before this packet are missing; if they "
            "come later, allow TCP to reassemble out-of-order segments}",
            single={1: "panel Read request, 2 items", 2: "plc Part of a reply, 7 of 18 bytes so far",
                    3: "panel Read request, 1 item"},
            unfiltered={1: "panel Read request, 2 items >2",
                        2: "plc Short reply, 7 of 18 bytes <1 {Short reply: 7 of 18 bytes}", 4: "plc Read reply <3"})
def capture_lacks_the_rest_of_a_reply(link):
    link.panel(TWO)
    link.plc(TWO_REPLY[:7])
    link.lose(False, TWO_REPLY[7:])
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("panel Read request, 2 items >2", "plc Read reply <1",
            "panel Read request, 2 items {Bytes are missing in the capture where the reply may be}",
            "panel Read request, 2 items >5", "plc Read reply <4 {18 bytes before this packet are missing; if they "
            "come later, allow TCP to reassemble out-of-order segments}",
            single={1: "panel Read request, 2 items", 3: "panel Read request, 2 items", 4: "panel Read request, 2 items"},
            unfiltered={3: "panel Read request, 2 items >5",
                        4: "panel Read request, 2 items {Request without a reply in this capture}", 5: "plc Read reply <3"})
def capture_lacks_a_reply(link):
    for is_seen in (True, False, True):
        link.panel(TWO)
        (link.plc if is_seen else lambda data: link.lose(False, data))(TWO_REPLY)


@connection("panel Read request, 1 item >2", "plc Read reply <1",
            "plc Reply {The request to this reply is not in the capture}", "panel Read request, 1 item >5 {36 bytes before "
            "this packet are missing; if they come later, allow TCP to reassemble out-of-order segments}", "plc Read reply <4",
            single={1: "panel Read request, 1 item",
                    4: "panel Read request, 1 item {36 bytes before this packet are missing; if they come later, allow TCP to "
                       "reassemble out-of-order segments}"},
            unfiltered={3: "plc Reply {Unasked reply: no request waits for one}", 4: "panel Read request, 1 item >5"})
def capture_lacks_a_request(link):
    link.panel(ONE)
    link.plc(ONE_REPLY)
    link.lose(True, TWO)
    link.plc(TWO_REPLY)
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("panel Read request, 2 items >2", "plc Part of a reply, 12 of 18 bytes {Packet cut off by the capture}",
            single={1: "panel Read request, 2 items"})
def capture_cuts_packets_off(link):
    link.panel(TWO)
    link.segment(False, TWO_REPLY, cut_to=14 + 20 + 20 + 12)


@connection("panel Read request, 2 items >2", "plc Read reply <1", "panel Read request, 1 item >4", "plc Read reply <3",
            single={1: "panel Read request, 2 items", 3: "panel Read request, 1 item"})
def segments_are_retransmitted(link):
    link.panel(TWO)
    again = link.sequence[True] - len(TWO)
    link.segment(True, TWO, sequence=again)
    link.plc(TWO_REPLY)
    again = link.sequence[False] - len(TWO_REPLY)
    link.segment(False, TWO_REPLY, sequence=again)
    link.segment(False, TWO_REPLY[6:], sequence=again + 6)
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("panel Service 0x77 request, malformed {Malformed request: there is no service 0x77; Request without a reply in "
            "this capture}", "panel Read request, malformed {Malformed request: items and length do not match; Request "
            "without a reply in this capture}",
            single={1: "panel Service 0x77 request, malformed {Malformed request: there is no service 0x77}",
                    2: "panel Read request, malformed {Malformed request: items and length do not match}"})
def requests_are_malformed(link):
    link.panel(framed(b"\x77\0\0"))
    link.panel(framed(ONE[6:-5]))


@connection("panel Read request, 1 item >2", "plc Read reply <1 {Upper half of the length not 0: clients look at the lower "
            "half alone}", single={1: "panel Read request, 1 item"})
def upper_half_of_the_length_is_not_zero(link):
    link.panel(ONE)
    link.plc(ONE_REPLY[:2] + b"\0\1" + ONE_REPLY[4:])


@connection("panel Symbols request, DOWNLOAD.SDB >2", "plc Symbols reply <1",
            "panel Read request, 1 item >4 {Session bytes of another handshake than that of frame 2}", "plc Read reply <3",
            single={1: "panel Symbols request, DOWNLOAD.SDB",
                    3: "panel Read request, 1 item {Session bytes of another handshake than that of frame 2}"})
def session_bytes_are_old(link):
    link.panel(SYMBOLS)
    link.plc(symbols_reply(b"\x55\x66\x77\x88"))
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("panel Read request, 1 item >2", "plc Read reply <1", single={1: "panel Read request, 1 item"}, panel="fd00::1",
            plc="fd00::5")
def addresses_are_of_ipv6(link):
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("panel Read request, 1 item >2", "plc Read reply <1", single={1: "panel Read request, 1 item"}, panel_port=1201,
            plc="10.0.0.6")
def both_ports_are_equal(link):
    link.panel(ONE)
    link.plc(ONE_REPLY)


@connection("panel Read request, 1 item >2", "plc Read reply <1", single={1: "panel Read request, 1 item"}, plc_port=5555)
def port_is_another(link):
    link.panel(ONE)
    link.plc(ONE_REPLY)


class ConnectionsTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        capture = Capture()
        cls.packets = {}  # by name: the numbers of its packets
        for number, (name, (function, *_, how)) in enumerate(CONNECTIONS.items()):
            link = Connection(capture, **{"panel_port": 40000 + number, "opened": False, **how})
            before = len(capture.packets)
            function(link)
            cls.packets[name] = range(before + 1, len(capture.packets) + 1)
        cls.path = capture.save(Path(cls.folder.name) / "connections.pcap")

    def lines(self, **how):
        """By name of the connection: a line for each packet that the dissector saw."""
        rows = fields(self.path, "frame.number", "tcp.srcport", "tcp.dstport", "_ws.col.Info", "ac500.request_in", "ac500.reply_in",
                      "_ws.expert.message", "ip.src", "_ws.col.Protocol", **how)
        rows = [row[:-1] for row in rows if row[-1] == ["AC500"]]
        lines = {}
        for name, numbers in self.packets.items():
            own = [row for row in rows if int(row[0][0]) in numbers]
            place = {row[0][0]: str(position) for position, row in enumerate(own, 1)}
            lines[name] = []
            for number, source, target, info, request_in, reply_in, messages, address in own:
                is_plc = int(source[0]) in (PLC_PORT, 5555) and address != ["10.0.0.1"]
                line = ("plc " if is_plc else "panel ") + OF_TCP_INFO.sub("", info[0])
                line += " >" + place[reply_in[0]] if reply_in else ""
                line += " <" + place[request_in[0]] if request_in else ""
                about = sorted(re.sub(r"frame (\d+)", lambda match: "frame " + place[match[1]], message)
                               for message in said(messages))
                lines[name].append(line + (" {" + "; ".join(about) + "}" if about else ""))
        return lines

    def check(self, lines, differing_in=None):
        for name, (_, expected, *differing, _) in CONNECTIONS.items():
            if differing_in is not None:
                expected = [differing[differing_in].get(number, line) for number, line in enumerate(expected, 1)]
            with self.subTest(name):
                self.assertEqual(lines[name], expected)

    def test_two_passes(self):
        self.check(self.lines(two_passes=True))

    def test_single_pass(self):
        self.check(self.lines(), 0)

    def test_two_passes_without_a_filter(self):
        self.check(self.lines(keep=None, two_passes=True), 1)

    def test_packets_are_visited_in_any_order(self):
        other = Capture()
        Connection(other, panel_port=40000, opened=False).plc(TWO_REPLY)
        last = max(numbers[-1] for numbers in self.packets.values())
        with Window(self.folder.name) as window:
            window.load(self.path)
            in_order = {number: window.lines(number) for number in range(1, last + 1)}
            order = list(in_order) * 2
            random.Random(1).shuffle(order)
            for number in order:
                self.assertEqual(window.lines(number), in_order[number], f"packet {number}")
            window.load(other.save(Path(self.folder.name) / "other.pcap"))
            self.assertIn("  Expert Info (Chat/Sequence): The request to this reply is not in the capture", window.lines(1))
            window.load(self.path)
            self.assertEqual({number: window.lines(number) for number in in_order}, in_order, "loaded again")
        short = self.packets["reply_is_short"]
        self.assertEqual(in_order[short[1]][:4], [
            "AC500 (CODESYS V2), Short reply, 9 of 18 bytes", "  Part of a frame: bbbb0000000c000000",
            "  Service: Read (0x2e)", f"  Request in: {short[0]}"])


if __name__ == "__main__":
    unittest.main()
