#!/usr/bin/env python3
"""The fields that the Wireshark dissector gives the frames of docs/wire-format.md, its preferences, and what TCP leaves to it."""
import re
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from capture import Capture, Connection, read, read_reply, status_reply, write  # noqa: E402
from tshark import DISSECTOR, Window, fields, said  # noqa: E402

READ = read((1, 8, 2), (3, 2, 2))
REPLY = read_reply(b"\x12\x34", b"\x00\x02")


class Recorded(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.path = Path(folder.name) / "capture.pcap"
        cls.window = cls.enterClassContext(Window(folder.name))

    def setUp(self):
        self.capture = Capture()

    def link(self, **how):
        return Connection(self.capture, **{"opened": False, **how})

    def load(self, **preferences):
        self.window.load(self.capture.save(self.path), **preferences)

    def kept(self, filter):
        """The numbers of the packets that a display filter keeps."""
        return [number for number, _ in self.window.packets(filter)]

    def fields(self, *names, **how):
        return fields(self.capture.save(self.path), *names, **how)


class FieldsTest(Recorded):
    def test_every_field_of_a_session(self):
        link = self.link()
        link.handshake()
        link.panel(READ)
        link.plc(REPLY)
        link.panel(write((1, 8, b"\x12\x34"), (3, 17, b"\x01")))
        link.plc(status_reply(0x0304), wait=0.25)
        names = ["length", "service", "status", "item_count", "item.area", "item.address", "item.size", "item.lead", "item.data",
                 "session", "file", "fixed", "boot_count", "most_request", "most_reply", "device", "version", "reply_in",
                 "request_in", "reply_time"]
        found = []
        for row in self.fields(*[f"ac500.{name}" for name in names], two_passes=True):
            found.append({name: ",".join(values) for name, values in zip(names, row) if values})
        self.assertEqual(found, [
            {"length": "14", "service": "0x01", "fixed": "00000002000000060000000000", "reply_in": "2"},
            {"length": "200", "service": "0x01", "status": "0x0000", "boot_count": "1", "most_request": "65535",
             "most_reply": "65535", "device": "AC500-SIM", "version": "CODESYS V2 simulation 1.0", "request_in": "1",
             "reply_time": "0.001000000"},
            {"length": "17", "service": "0x31", "file": "DOWNLOAD.SDB", "reply_in": "4"},
            {"length": "30", "service": "0x31", "status": "0x0000", "session": "11223344", "boot_count": "1", "request_in": "3",
             "reply_time": "0.001000000"},
            {"length": "30", "service": "0x2e", "item_count": "2", "item.area": "1,3", "item.address": "8,2", "item.size": "2,2",
             "session": "44332211", "reply_in": "6"},
            {"length": "12", "service": "0x2e", "status": "0x0000", "item_count": "2", "item.area": "1,3", "item.address": "8,2",
             "item.size": "2,2", "item.lead": "0x00,0x00", "item.data": "1234,0002", "request_in": "5",
             "reply_time": "0.001000000"},
            {"length": "33", "service": "0x3c", "item_count": "2", "item.area": "1,3", "item.address": "8,17", "item.size": "2,1",
             "item.data": "1234,01", "session": "44332211", "reply_in": "8"},
            {"length": "2", "service": "0x3c", "status": "0x0304", "request_in": "7", "reply_time": "0.250000000"}])

    def test_status_words_have_the_names_of_the_wire_format(self):
        page = (DISSECTOR.parent.parent.parent / "docs/wire-format.md").read_text(encoding="utf-8")
        told = re.findall(r"^\| `(\w\w) (\w\w)` \| ([^|]+) \|[^|]*\|$", page, re.MULTILINE)
        self.assertEqual(len(told), 13)
        link = self.link()
        for high, low, _ in told:
            link.panel(write((1, 8, b"\0")))
            link.plc(status_reply(int(high + low, 16)))
        rows = self.fields("_ws.expert.message", keep="ac500.status")
        self.assertEqual([said(row[0]) for row in rows],
                         [[]] + [[f"Refused: status word 0x{high}{low} ({name})"] for high, low, name in told[1:]])


class WarningsTest(Recorded):
    def test_warnings_are_filters(self):
        link = self.link()
        link.panel(READ)
        link.plc(REPLY)
        link.plc(REPLY)
        link.plc(status_reply(0x0201))
        self.load()
        for name, packets in (("repeated", [3]), ("refused", [4]), ("unasked", [4]), ("late", []), ("short", []),
                              ("wrong_length", []), ("unanswered", [])):
            with self.subTest(name):
                self.assertEqual(self.kept(f"ac500.{name}"), packets)

    def test_the_limit_of_late_replies_is_a_preference(self):
        link = self.link()
        for seconds in (0.4, 0.6):
            link.panel(READ)
            link.plc(REPLY, wait=seconds)
        for limit, packets in ((500, [4]), (300, [2, 4]), (0, []), (2000, [])):
            with self.subTest(limit):
                self.load(ac500_late_ms=limit)
                self.assertEqual(self.kept("ac500.late"), packets)


class TcpTest(Recorded):
    """Segments that TCP keeps from dissectors, unless it is told otherwise."""

    def infos(self, **how):
        return [(row[0][0], row[1][0].split("] ")[-1], said(row[2])) for row in
                self.fields("frame.number", "_ws.col.Info", "_ws.expert.message", **how)]

    def out_of_order(self):
        link = self.link()
        link.panel(READ)
        link.plc(REPLY)
        link.panel(READ)
        first = link.sequence[False]
        link.segment(False, REPLY[7:], sequence=first + 7)
        link.segment(False, REPLY[:7], sequence=first)
        link.sequence[False] += len(REPLY)
        link.panel(READ)
        link.plc(REPLY)

    def test_segments_out_of_order_with_reassembly_by_tcp(self):
        self.out_of_order()
        how = {"preferences": ["tcp.reassemble_out_of_order:TRUE"]}
        expected = [("1", "Read request, 2 items", []), ("2", "Read reply", []), ("3", "Read request, 2 items", []),
                    ("5", "Read reply", []), ("6", "Read request, 2 items", []), ("7", "Read reply", [])]
        for two_passes in (False, True):
            with self.subTest(two_passes=two_passes):
                self.assertEqual(self.infos(two_passes=two_passes, **how), expected)

    def test_segments_out_of_order_without_reassembly_by_tcp(self):
        self.out_of_order()
        self.assertEqual(self.infos(two_passes=True)[2:], [
            ("3", "Read request, 2 items", ["Bytes are missing in the capture where the reply may be"]),
            ("4", "Bytes of no frame", ["The beginning of the frame of these bytes is not in the capture",
                                        "7 bytes before this packet are missing; if they come later, allow TCP to reassemble "
                                        "out-of-order segments"]),
            ("6", "Read request, 2 items", []), ("7", "Read reply", [])])

    def test_retransmitted_segments_that_tcp_hands_over(self):
        link = self.link()
        link.panel(READ)
        link.plc(REPLY[:7])
        link.segment(False, REPLY, sequence=link.sequence[False] - 7)
        self.assertEqual(self.infos(two_passes=True, preferences=["tcp.no_subdissector_on_error:FALSE"]), [
            ("1", "Read request, 2 items", []), ("2", "Part of a frame", []),
            ("3", "Retransmitted bytes | Read reply", ["Retransmitted bytes, shown where they came first"])])

    def test_reassembly_by_tcp_may_be_off(self):
        link = self.link()
        link.panel(READ)
        link.plc(REPLY, [5])
        self.assertEqual(self.infos(two_passes=True, preferences=["tcp.desegment_tcp_streams:FALSE"]), [
            ("1", "Read request, 2 items", []), ("2", "Part of a frame", []), ("3", "Read reply", [])])


class SeveralTest(Recorded):
    def test_two_plcs_at_the_same_time(self):
        links = [self.link(plc="10.0.0.5"), self.link(plc="10.0.0.6")]
        for link in links:
            link.panel(READ)
        for link, wait in zip(reversed(links), (0.1, 0.2)):
            link.plc(REPLY, wait=wait)
        self.load()
        self.assertEqual(self.window.lines(3)[4:6], ["  Request in: 2", "  Time since the request: 0.100000000 seconds"])
        self.assertEqual(self.window.lines(4)[4:6], ["  Request in: 1", "  Time since the request: 0.301000000 seconds"])

    def test_two_panels_ask_one_plc(self):
        links = [self.link(), self.link(panel_port=40001), self.link(panel="10.0.0.2")]
        for link in links:
            link.panel(READ)
        for link in reversed(links):
            link.plc(REPLY)
        self.load()
        self.assertEqual([self.window.lines(number)[4] for number in (4, 5, 6)],
                         ["  Request in: 3", "  Request in: 2", "  Request in: 1"])

    def test_ports_that_are_used_again_are_a_new_connection(self):
        for begin in (1000, 700000):
            link = self.link(opened=True, sequence=begin)
            link.handshake()
            link.panel(READ)
            link.plc(REPLY[:9])
            link.end(True)
            link.end(False)
            self.capture.now += 60
        lists = [self.fields("frame.number", "_ws.col.Info", "_ws.expert.message", two_passes=True, keep=keep)
                 for keep in ("ac500", None)]
        for rows in lists:
            told = [(row[0][0], row[1][0]) for row in rows if said(row[2])]
            self.assertEqual(told, [("9", "Short reply, 9 of 18 bytes"), ("20", "Short reply, 9 of 18 bytes")])

    def test_ports_are_a_preference(self):
        self.link(plc_port=5555).plc(REPLY)
        for ports, packets in (("1201", []), ("1201,5550-5560", [[["1"]]]), ("5555", [[["1"]]])):
            with self.subTest(ports):
                self.assertEqual(self.fields("frame.number", preferences=[f"ac500.ports:{ports}"]), packets)


if __name__ == "__main__":
    unittest.main()
