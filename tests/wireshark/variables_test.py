#!/usr/bin/env python3
"""Names and values of variables in the Wireshark dissector, by maps written here: types, byte order, places, notes, and which map
belongs to which PLC."""
import struct
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from capture import Capture, Connection, read, read_reply, status_reply, write  # noqa: E402
from tshark import Window  # noqa: E402

HEADER = "ac500-wireshark-map 1"


def line(area, unit, address, kind, bounds, tag, *notes):
    return "\t".join([str(area), unit, str(address), kind, bounds, tag, *notes])


class VariablesTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        cls.window = cls.enterClassContext(Window(cls.folder))

    def setUp(self):
        self.capture = Capture()

    def link(self, **how):
        return Connection(self.capture, **{"opened": False, **how})

    def map(self, *lines, name="plant.map"):
        path = self.folder / name
        path.write_text("\n".join([HEADER, *lines, ""]), encoding="utf-8")
        return path

    def load(self, maps):
        self.window.load(self.capture.save(self.folder / "capture.pcap"), ac500_maps=maps)

    def read_values(self, path, data, area=1, address=0):
        link = self.link()
        link.panel(read((area, address, len(data))))
        link.plc(read_reply(data))
        self.load(path)
        return self.window.variables(2)

    def check_types(self, rows):
        """`rows`: type, bytes, text; one behind the other in area 1."""
        lines, data, expected = [], b"", []
        for number, (kind, content, text) in enumerate(rows):
            lines.append(line(1, "byte", len(data), kind, "", f"Main.v{number}"))
            data += content
            expected.append(f"Main.v{number} = {text}")
        self.assertEqual(self.read_values(self.map(*lines), data), expected)

    def test_whole_numbers(self):
        h = bytes.fromhex
        self.check_types([
            ("BOOL", b"\0", "FALSE"), ("BOOL", b"\1", "TRUE"), ("BOOL", b"\xff", "TRUE"),
            ("SINT", b"\x80", "-128"), ("USINT", b"\x80", "128"), ("BYTE", b"\x0a", "0x0A"),
            ("INT", h("8001"), "-32767"), ("UINT", h("8001"), "32769"), ("WORD", h("00ff"), "0x00FF"),
            ("DINT", h("80000001"), "-2147483647"), ("UDINT", h("ffffffff"), "4294967295"), ("DWORD", h("00010002"), "0x00010002"),
            ("LINT", h("8000000000000001"), "-9223372036854775807"), ("ULINT", h("ffffffffffffffff"), "18446744073709551615"),
            ("LWORD", h("0123456789abcdef"), "0x0123456789ABCDEF")])

    def test_floating_point_numbers(self):
        def single(number):
            return struct.pack(">f", number)

        def double(number):
            return struct.pack(">d", number)
        self.check_types([
            ("REAL", bytes.fromhex("41ac0000"), "21.5"), ("REAL", single(0.1), "0.1"), ("REAL", single(-105.79668), "-105.79668"),
            ("REAL", single(100.0), "100"), ("REAL", single(1e20), "1e+20"), ("REAL", single(1.5e-7), "1.5e-07"),
            ("REAL", single(123456789.0), "123456790"), ("REAL", single(0.0), "0"), ("REAL", single(-0.0), "-0"),
            ("REAL", bytes.fromhex("7f800000"), "inf"), ("REAL", bytes.fromhex("ff800000"), "-inf"),
            ("REAL", bytes.fromhex("7fc00000"), "nan"), ("REAL", bytes.fromhex("00000001"), "1e-45"),
            ("LREAL", bytes.fromhex("4035800000000000"), "21.5"), ("LREAL", double(0.1), "0.1"), ("LREAL", double(1 / 3), "0.3333333333333333"),
            ("LREAL", double(1e15), "1000000000000000"), ("LREAL", double(1e16), "1e+16"), ("LREAL", double(0.0001), "0.0001"),
            ("LREAL", double(0.00001), "1e-05"), ("LREAL", double(1.7976931348623157e308), "1.7976931348623157e+308")])

    def test_texts_times_and_dates(self):
        def count(number):
            return struct.pack(">I", number)
        self.check_types([
            ("STRING(7)", b"Pump\0xxx", '"Pump"'), ("STRING(3)", b"full", '"full"'), ("CSTRING(9)", b"K\xfchl\"\\\x01\0\0\0", '"Kühl\\"\\\\\\x01"'),
            ("STRING(1)", b"\0\0", '""'),
            ("TIME", count(0), "T#0ms"), ("TIME", count(90061001), "T#1d1h1m1s1ms"), ("TIME", count(4294967295), "T#49d17h2m47s295ms"),
            ("DATE", count(1795305600), "D#2026-11-22"), ("TOD", count(45296789), "TOD#12:34:56.789"), ("TOD", count(1000), "TOD#00:00:01"),
            ("DT", count(1795305600 + 3661), "DT#2026-11-22-01:01:01"), ("DT", count(4294967295), "DT#2106-02-07-06:28:15")])

    def test_elements_of_arrays_and_bits(self):
        path = self.map(line(1, "byte", 0, "INT", "1..3", "Main.row"), line(1, "byte", 6, "BYTE", "0..1,-1..0", "Main.grid"),
                        line(3, "bit", 21, "BIT", "", "Main.start"), line(3, "bit", 14, "BIT", "1..3", "Main.lamps"))
        self.assertEqual(self.read_values(path, bytes.fromhex("0001fffe0003 0a0b0c0d")), [
            "Main.row[1] = 1", "Main.row[2] = -2", "Main.row[3] = 3", "Main.grid[0,-1] = 0x0A", "Main.grid[0,0] = 0x0B",
            "Main.grid[1,-1] = 0x0C", "Main.grid[1,0] = 0x0D"])
        self.capture.packets.clear()
        # Bits 14 and 15 are the upper ones of the word at byte 0; 16 and 21 stand in the low byte of the word at byte 2.
        self.assertEqual(self.read_values(path, bytes.fromhex("8000 0020"), area=3), [
            "Main.lamps[1] = 0", "Main.lamps[2] = 1", "Main.lamps[3] = 0", "Main.start = 1"])

    def test_what_is_read_in_part_is_told_in_part(self):
        path = self.map(line(1, "byte", 0, "DINT", "", "Main.a"), line(1, "byte", 4, "STRING(9)", "", "Main.b"),
                        line(1, "byte", 14, "INT", "0..3", "Main.c"), line(1, "byte", 100, "INT", "", "Main.far"))
        self.assertEqual(self.read_values(path, b"\x12\x34" + b"0123456789" + b"\0\1\2", address=2), [
            "Main.a, bytes 2..3 of 4 = 0x1234", 'Main.b = "0123456789"', "Main.c[0] = 1",
            "Main.c[1], bytes 0..0 of 2 = 0x02"])

    def test_places_with_two_names_and_gaps(self):
        path = self.map(line(1, "byte", 0, "DWORD", "", "Main.all"), line(1, "byte", 2, "INT", "", "Main.low"),
                        line(1, "byte", 8, "INT", "", "Main.behind"), line(2, "byte", 0, "INT", "", "Other.area"))
        self.assertEqual(self.read_values(path, bytes.fromhex("00010002 ffffffff 0007")), [
            "Main.all = 0x00010002", "Main.low = 2", "Main.behind = 7"])

    def test_units_scales_and_names(self):
        path = self.map(line(1, "byte", 0, "INT", "", "Main.temperature", "°C", "0.1", "-40"),
                        line(1, "byte", 2, "UINT", "", "Main.speed", "1/min", "", ""),
                        line(1, "byte", 4, "REAL", "", "Main.level", "m", "0.01", "0"),
                        line(1, "byte", 8, "INT", "", "Main.mode", "", "", "", "-1=off", "2=automatic"),
                        line(1, "byte", 10, "INT", "", "Main.other", "", "", "", "-1=off"),
                        line(1, "byte", 12, "BOOL", "", "Main.door", "", "", "", "0=closed", "1=open"))
        self.assertEqual(self.read_values(path, struct.pack(">hHfhhB", 615, 1500, 123.0, 2, 5, 1)), [
            "Main.temperature = 21.5 °C", "Main.speed = 1500 1/min", "Main.level = 1.23 m", "Main.mode = automatic",
            "Main.other = 5", "Main.door = open"])

    def test_requests_name_variables_and_writes_have_their_values(self):
        path = self.map(line(1, "byte", 4, "REAL", "", "Main.setpoint"), line(1, "byte", 8, "INT", "1..40", "Main.recipe"),
                        line(3, "bit", 17, "BIT", "", "Main.start"), line(3, "byte", 18, "BYTE", "", "Main.lamp"),
                        line(3, "bit", 18, "BIT", "", "Main.doubtful"))
        link = self.link()
        link.panel(read((1, 4, 4), (1, 8, 6)))
        link.panel(write((1, 4, bytes.fromhex("41ac0000")), (3, 17, b"\1"), (3, 18, b"\1")))
        link.plc(read_reply(bytes.fromhex("41ac0000"), bytes(6)))
        link.plc(status_reply())
        self.load(path)
        self.assertEqual(self.window.variables(1), ["Main.setpoint", "Main.recipe[1]", "Main.recipe[2]", "Main.recipe[3]"])
        # A byte and a bit share the address 18: then a byte is written.
        self.assertEqual(self.window.variables(2), ["Main.setpoint = 21.5", "Main.start = 1", "Main.lamp = 0x01"])
        self.assertEqual(self.window.packets(), [
            (1, "Read request, 2 items: Main.setpoint, Main.recipe[1], Main.recipe[2] and 1 more"),
            (2, "Write request, 3 items: Main.setpoint = 21.5, Main.start = 1, Main.lamp = 0x01"),
            (3, "Read reply: Main.setpoint = 21.5, Main.recipe[1] = 0, Main.recipe[2] = 0 and 1 more"), (4, "Write reply")])
        kept = self.window.packets('ac500.tag == "Main.setpoint" && ac500.value == "21.5"')
        self.assertEqual([number for number, _ in kept], [2, 3])

    def test_each_plc_has_its_map(self):
        for name in ("one", "two", "three"):
            self.map(line(1, "byte", 0, "INT", "", f"Main.{name}"), name=name)
        for where in ({"plc": "10.0.0.5"}, {"plc": "10.0.0.6"}, {"plc": "10.0.0.6", "plc_port": 5555}, {"panel": "::1", "plc": "fd00::5"}):
            self.link(**where).panel(read((1, 0, 2)))
        one, two, three = (self.folder / name for name in ("one", "two", "three"))
        for maps, expected in ((one, ["Main.one"] * 4), (f"10.0.0.5={one}; 10.0.0.6={two};10.0.0.6:5555={three}",
                                                         ["Main.one", "Main.two", "Main.three", ""]),
                               (f"{one};[fd00::5]:1201={two};[fd00::6]={three}", ["Main.one"] * 3 + ["Main.two"]),
                               (f"[fd00::5]={three}", ["", "", "", "Main.three"]), ("", [""] * 4)):
            with self.subTest(maps):
                self.load(maps)
                self.assertEqual([",".join(self.window.variables(number)) for number in range(1, 5)], expected)

    def test_a_wrong_map_is_told_and_the_rest_is_shown(self):
        self.link().panel(read((1, 0, 2)))
        good = line(1, "byte", 0, "INT", "", "Main.a")
        for content, problem in (("", ": is empty"), ("kind,name\n", ":1: does not begin with"), (f"{HEADER}\n{good}\nrest\n", ":3: no variable"),
                                 (f"{HEADER}\n{good.replace('INT', 'WROD')}\n", ":2: unknown type WROD"),
                                 (f"{HEADER}\n1\tbyte\t0\tINT\t3..1\tMain.a\n", ":2: wrong bounds 3..1"), (None, "No such file")):
            with self.subTest(problem):
                path = self.folder / "wrong.map"
                path.unlink(missing_ok=True)
                if content is not None:
                    path.write_text(content)
                self.window.complaints.truncate(0)
                self.load(path)
                self.assertEqual(self.window.packets(), [(1, "Read request, 1 item")])
                complaints = (self.folder / "complaints").read_text(encoding="utf-8", errors="replace")
                self.assertEqual(complaints.count("ac500: the map of variables cannot be used: "), 1, complaints)
                self.assertIn(problem, complaints)

    def test_more_variables_than_are_shown(self):
        path = self.map(line(1, "byte", 0, "BOOL", "0..9999", "Main.many"))
        link = self.link()
        link.panel(read((1, 0, 10000)))
        link.plc(read_reply(bytes(10000)))
        self.load(path)
        self.assertEqual(len(self.window.variables(2)), 4096)
        self.assertEqual(self.window.warnings(2), ["More variables than are shown"])


if __name__ == "__main__":
    unittest.main()
