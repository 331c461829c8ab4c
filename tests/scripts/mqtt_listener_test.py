#!/usr/bin/env python3
"""What scripts/fleet-load takes from the bytes that a broker sends, and what it counts as lost."""
import sys
import threading
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
from lib.mqtt_listener import Listener, PlcRecord, packet, packets  # noqa: E402


def listener():
    """Without a broker, and without its thread."""
    made = Listener.__new__(Listener)
    made.prefix, made.lock, made.plcs, made.messages = "fleet", threading.Lock(), {}, []
    made.connected = threading.Event()
    return made


def publish(topic, payload, number=b"\x12\x34"):
    return packet(0x32, len(topic).to_bytes(2, "big") + topic + number + payload)


VALUES = (b'{"version":1,"plc":"a","sequence":42,"pass":7,"clock":"set","values":[{"tag":"Main.clock","value":1500,"state":"fresh",'
          b'"time":"2026-11-22T23:00:00.250Z","uptime":1}]}')


class PacketsTest(unittest.TestCase):
    def test_lengths_take_one_to_four_bytes(self):
        self.assertEqual(packet(0x30, b"x" * 127)[:2], b"\x30\x7f")
        self.assertEqual(packet(0x30, b"x" * 128)[:3], b"\x30\x80\x01")
        self.assertEqual(packet(0x30, b"x" * 16384)[:4], b"\x30\x80\x80\x01")

    def test_packets_come_in_pieces_of_any_size(self):
        stream = packet(0x30, b"one") + packet(0x40, b"x" * 200) + packet(0xD0, b"")
        for size in range(1, len(stream) + 1):
            buffer, found = bytearray(), []
            for at in range(0, len(stream), size):
                buffer += stream[at:at + size]
                found += packets(buffer)
            self.assertEqual(found, [(0x30, b"one"), (0x40, b"x" * 200), (0xD0, b"")], size)
            self.assertEqual(buffer, b"")


class TakingTest(unittest.TestCase):
    def test_a_message_of_values_is_acknowledged_and_noted(self):
        taken = listener()
        self.assertEqual(taken.take(bytearray(publish(b"fleet/plc-0001/values", VALUES))), b"\x40\x02\x12\x34")
        message, = taken.take_messages()
        self.assertEqual((message.plc, message.bytes, message.clock), ("plc-0001", len(VALUES), 1500))
        self.assertEqual(taken.plcs["plc-0001"].sequences, {42})
        self.assertEqual(taken.take_messages(), [])

    def test_the_age_of_a_value_counts_from_its_time(self):
        taken = listener()
        taken.note("fleet/plc-0001/values", VALUES, 1795388401.0)  # 2026-11-22 23:00:01
        self.assertAlmostEqual(taken.messages[0].age, 0.75, places=3)
        midnight = VALUES.replace(b"23:00:00.250", b"23:59:59.900")
        taken.note("fleet/plc-0001/values", midnight.replace(b":42,", b":43,"), 1795392000.1)  # the next day
        self.assertAlmostEqual(taken.messages[1].age, 0.2, places=3)

    def test_a_repetition_is_counted_and_a_state_is_noted(self):
        taken = listener()
        for _ in range(3):
            taken.note("fleet/plc-0001/values", VALUES, 1795388401.0)
        taken.note("fleet/plc-0001/status", b'{"version":1,"plc":"a","state":"plc away","session":"s"}', 5.0)
        self.assertEqual(taken.plcs["plc-0001"].repeated, 2)
        self.assertEqual(taken.plcs["plc-0001"].states, [(5.0, "plc away")])


class LossesTest(unittest.TestCase):
    def test_a_hole_is_a_number_that_neither_came_nor_is_named(self):
        self.assertEqual(PlcRecord().holes(), [])
        self.assertEqual(PlcRecord(sequences={5, 6, 7}).holes(), [])
        self.assertEqual(PlcRecord(sequences={5, 8, 11}).holes(), [6, 7, 9, 10])
        self.assertEqual(PlcRecord(sequences={5, 8, 11}, dropped=[(6, 7), (9, 9)]).holes(), [10])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
