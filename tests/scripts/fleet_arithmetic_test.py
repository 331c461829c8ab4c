#!/usr/bin/env python3
"""What scripts/fleet-arithmetic works out, against numbers worked out by hand."""
import subprocess
import sys
import unittest
from dataclasses import replace
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
from lib.fleet import (ENVELOPE, STEP_S, VALUE, Fleet, Limit, Limits, busiest_second, load, packet_bytes, plain, returns,  # noqa: E402
                       seconds, wire_bytes)
from lib.marked import NotMarked, replace_between, text_between  # noqa: E402

# 100 PLCs; figures are easy to work out.
SMALL = Fleet(plcs=100, tags=500, cycle=2, share=0.1, value_bytes=100, envelope_bytes=80, topic_bytes=20, brokers=1,
              subscribers=((2, 1.0),), tls=False)
TENTH_OF_ALL = replace(SMALL, subscribers=((10, 0.1),))


class BytesTest(unittest.TestCase):
    def test_the_examples_are_as_long_as_they_look(self):
        self.assertEqual((len(VALUE), len(ENVELOPE)), (113, 92))

    def test_a_packet_has_header_length_topic_number_properties_and_payload(self):
        # 1 + 1 for a length below 128; 2 + 20 topic, 2 packet id, 1 no properties, 80 payload
        self.assertEqual(packet_bytes(20, 80, qos=1), 107)
        self.assertEqual(packet_bytes(20, 80, qos=0), 105)
        # remaining length 127: one byte; 128: two; 16,383: two; 16,384: three
        self.assertEqual(packet_bytes(20, 102, qos=1), 129)
        self.assertEqual(packet_bytes(20, 103, qos=1), 131)
        self.assertEqual(packet_bytes(20, 16358, qos=1), 16386)
        self.assertEqual(packet_bytes(20, 16359, qos=1), 16388)

    def test_on_the_wire_each_segment_has_headers_and_each_record_of_tls_too(self):
        self.assertEqual(wire_bytes(1448, tls=False), 1500)
        self.assertEqual(wire_bytes(1449, tls=False), 1553)
        self.assertEqual(wire_bytes(100, tls=True), 174)        # 100 + 22 + 52
        self.assertEqual(wire_bytes(16385, tls=True), 17053)    # 16385 + 2 * 22 + 12 * 52


class MessagesTest(unittest.TestCase):
    def test_a_message_for_each_pass(self):
        result = load(SMALL)
        self.assertAlmostEqual(result.messages_per_plc, 0.5)   # a pass every 2 s
        self.assertAlmostEqual(result.messages, 50)
        self.assertAlmostEqual(result.values_per_message, 50)  # a tenth of 500
        # 1 + 2; 2 + 20 + 2 + 1 + 80 + 50 * 100
        self.assertAlmostEqual(result.packet, 5108)
        # four segments: 5108 + 4 * 52 = 5316 bytes, 50 times a second
        self.assertAlmostEqual(result.wire, 265800)

    def test_a_message_for_each_tag(self):
        result = load(replace(SMALL, batch="tag"))
        self.assertAlmostEqual(result.messages_per_plc, 25)  # 50 in 2 s
        self.assertAlmostEqual(result.values_per_message, 1)
        self.assertAlmostEqual(result.packet, 208)           # 1 + 2; 2 + 20 + 2 + 1 + 80 + 100

    def test_a_message_for_each_scope_in_which_something_changed(self):
        # Two scopes of two tags, of which half change: a scope stays as it is once in four times.
        result = load(replace(SMALL, batch="scope", tags=4, scopes=2, share=0.5, cycle=1))
        self.assertAlmostEqual(result.messages_per_plc, 1.5)
        self.assertAlmostEqual(result.values_per_message, 4 / 3)

    def test_nothing_is_sent_where_nothing_changes(self):
        result = load(replace(SMALL, share=0))
        self.assertEqual((result.messages, result.wire, result.backlog_seconds), (0, 0, 0))

    def test_a_large_message_is_split(self):
        # A packet with 10 values has 1 + 2 + 25 + 80 + 1000 = 1108 bytes; one without, of 107: 1001 bytes for values.
        result = load(replace(SMALL, largest_message=1108))
        self.assertAlmostEqual(result.messages_per_plc, 2.5)
        self.assertAlmostEqual(result.values_per_message, 10)

    def test_a_limit_below_one_value_is_refused(self):
        with self.assertRaises(ValueError):
            replace(SMALL, largest_message=206)
        replace(SMALL, largest_message=207)


class SubscribersTest(unittest.TestCase):
    def test_each_subscriber_gets_a_copy(self):
        result = load(SMALL)
        self.assertAlmostEqual(result.messages_out, 100)
        self.assertAlmostEqual(result.to_subscriber, 50)
        self.assertAlmostEqual(result.messages_each, 150)  # in and out of the only broker
        self.assertEqual(result.connections, 102)

    def test_ten_subscribers_of_a_tenth_are_as_one_of_all_and_each_gets_a_tenth(self):
        result = load(TENTH_OF_ALL)
        self.assertAlmostEqual(result.messages_out, 50)
        self.assertAlmostEqual(result.to_subscriber, 5)
        self.assertEqual(result.connections, 110)

    def test_consumers_of_a_shared_subscription_share_its_messages_and_no_copy_is_added(self):
        result = load(replace(SMALL, consumers=5))
        self.assertAlmostEqual(result.messages_out, 100)
        self.assertAlmostEqual(result.to_subscriber, 10)
        self.assertEqual(result.connections, 110)

    def test_bytes_of_answers_count(self):
        result = load(SMALL)
        # In: 50 messages of 5316 and 100 answers of 56; out: 100 messages and 50 answers
        self.assertAlmostEqual(result.bytes_in_each, 271400)
        self.assertAlmostEqual(result.bytes_out_each, 534400)
        # Without an answer a packet is 2 bytes less, 5106: 5314 on the wire.
        self.assertAlmostEqual(load(replace(SMALL, qos=0)).bytes_in_each, 265700)


class BrokersTest(unittest.TestCase):
    def test_brokers_of_a_cluster_pass_messages_to_each_other(self):
        # Of 2 brokers the other one has one of 2 subscribers with 3/4: 37.5 messages/s between them.
        result = load(replace(SMALL, brokers=2))
        self.assertAlmostEqual(result.between, 37.5)
        self.assertAlmostEqual(result.messages_each, 112.5)  # (50 + 100 + 2 * 37.5) / 2
        self.assertAlmostEqual(result.connections_each, 51)

    def test_regions_pass_nothing_and_a_subscriber_of_all_is_connected_to_each(self):
        result = load(replace(SMALL, regions=4))
        self.assertEqual(result.connections, 108)             # 100 + 2 * 4
        self.assertAlmostEqual(result.between, 0)
        self.assertAlmostEqual(result.messages_each, 37.5)    # (50 + 100) / 4
        self.assertAlmostEqual(result.to_subscriber, 12.5)
        self.assertEqual(load(replace(TENTH_OF_ALL, regions=10)).connections, 110)
        self.assertEqual(load(replace(TENTH_OF_ALL, regions=20)).connections, 120)

    def test_every_broker_of_a_cluster_keeps_all_retained_messages(self):
        self.assertEqual(load(SMALL).retained, 200)  # status and info
        self.assertEqual(load(replace(SMALL, retained=True)).retained, 300)
        all_tags = load(replace(SMALL, retained=True, batch="tag", brokers=5, regions=2))
        self.assertEqual((all_tags.retained, all_tags.retained_each), (50200, 25100))


class RestartTest(unittest.TestCase):
    def at(self, shares, second):
        return shares[round(second / STEP_S) - 1]

    def test_of_a_broker_that_is_back_at_once_as_many_try_in_each_part_of_the_first_pause(self):
        shares = returns(0, 4, 60)
        self.assertAlmostEqual(self.at(shares, 1), 0.25, places=2)
        self.assertAlmostEqual(self.at(shares, 3), 0.75, places=2)
        self.assertAlmostEqual(self.at(shares, 4), 1, places=6)
        self.assertAlmostEqual(busiest_second(shares), 0.25, places=2)

    def test_after_a_long_absence_all_are_in_the_midst_of_the_longest_pause(self):
        # The part of an even pause that is left: of x of the longest, 1 - (1 - x)^2 have tried.
        shares = returns(500, 1, 10)
        self.assertAlmostEqual(self.at(shares, 1), 0.19, places=2)
        self.assertAlmostEqual(self.at(shares, 5), 0.75, places=2)
        self.assertAlmostEqual(self.at(shares, 10), 1, places=3)

    def test_those_that_have_failed_often_come_later(self):
        # Bounds 1, 2, 2, 2 ..., gone for 1 s: the first attempt always fails, the second is before the return once in four
        # times, the third once in 24, the k-th once in 2^(k-1) k!: half of the sum of these tries in the first second,
        # which is the root of e less 1.
        self.assertAlmostEqual(self.at(returns(1, 1, 2), 1), 0.6487, places=2)

    def test_handshakes_take_as_long_as_the_broker_needs_for_them(self):
        fleet = replace(SMALL, plcs=6000, tls=True, brokers=3, down=0, pause_base=10, pause_cap=10)
        slow = load(fleet, Limits(handshakes=Limit(50, "given")))
        self.assertAlmostEqual(slow.handshakes_all, 2000)
        self.assertAlmostEqual(slow.handshakes_one, 1000)                # the 2000 of one, by two
        self.assertAlmostEqual(slow.handshakes_rate, 200, delta=1)       # 2000 over 10 s
        self.assertAlmostEqual(slow.back_half, 20, delta=0.1)            # 1000 / 50
        self.assertAlmostEqual(slow.back_all, 40, delta=0.1)
        self.assertAlmostEqual(slow.back_one, 20, delta=0.1)
        fast = load(fleet, Limits(handshakes=Limit(1000, "given")))
        self.assertAlmostEqual(fast.back_half, 5, delta=0.1)
        self.assertAlmostEqual(fast.back_all, 10, delta=0.1)
        without = load(replace(fleet, tls=False), Limits(handshakes=Limit(1, "given")))
        self.assertAlmostEqual(without.back_all, 10, delta=0.1)


class OutageTest(unittest.TestCase):
    def test_a_store_lasts_as_long_as_its_bytes(self):
        # 0.5 messages/s of 80 + 5000 + 20 bytes: 2550 bytes/s
        self.assertAlmostEqual(load(replace(SMALL, store_bytes=2550000)).store_seconds, 1000)

    def test_what_does_not_fit_is_dropped(self):
        result = load(replace(SMALL, store_bytes=2550000, outage=3000))
        self.assertAlmostEqual(result.backlog_per_plc, 500)
        self.assertAlmostEqual(result.backlog_dropped, 1000)

    def test_a_backlog_goes_at_the_gateways_rate_if_the_broker_bears_it(self):
        # 1800 messages at 50/s
        self.assertAlmostEqual(load(SMALL).backlog_seconds, 36)
        # One message and two copies: 150/s now, and 100 gateways with 50/s
        self.assertAlmostEqual(load(SMALL).backlog_messages_each, 15150)

    def test_else_at_the_brokers(self):
        # 180,000 messages, each handled three times, over the 1000/s that are left of 1150
        result = load(SMALL, Limits(messages=Limit(1150, "given")))
        self.assertAlmostEqual(result.backlog_seconds, 540)
        never = load(SMALL, Limits(messages=Limit(150, "given")))
        self.assertEqual(seconds(never.backlog_seconds), "never")


class FirstLimitTest(unittest.TestCase):
    def first(self, fleet, **limits):
        result = load(fleet, Limits(**{name: Limit(value, "given") for name, value in limits.items()}))
        return result.uses[0][0]

    def test_the_fullest_comes_first(self):
        self.assertEqual(self.first(SMALL, connections=103), "connections of a broker")
        self.assertEqual(self.first(SMALL, messages=151), "messages/s of a broker")
        self.assertEqual(self.first(SMALL, bytes=534401), "bytes/s out of a broker")
        self.assertEqual(self.first(SMALL, retained=201), "retained messages of a broker")
        self.assertEqual(self.first(replace(SMALL, tls=True), handshakes=3), "TLS handshakes/s of a broker, all restart")

    def test_a_subscriber_gets_what_is_in_flight_in_each_round_trip(self):
        # 2 in flight in 50 ms: 40/s, and 50 are sent
        result = load(SMALL, Limits(in_flight=Limit(2, "given"), round_trip=Limit(0.05, "given")))
        name, amount, limit = result.uses[0]
        self.assertEqual(name, "messages/s to one subscriber")
        self.assertAlmostEqual(amount, 50)
        self.assertAlmostEqual(limit.value, 40)

    def test_what_is_not_given_is_called_an_assumption(self):
        for name in ("connections", "messages", "handshakes", "retained", "round_trip"):
            self.assertTrue(getattr(Limits(), name).source.startswith("assumption"), name)


class InputsTest(unittest.TestCase):
    def test_what_cannot_be_is_refused(self):
        for wrong in ({"plcs": 0}, {"share": 1.1}, {"share": -0.1}, {"qos": 2}, {"batch": "all"}, {"scopes": 501},
                      {"regions": 101}, {"pause_cap": 0.5}, {"subscribers": ((1, 0.0),)}, {"subscribers": ((1, 1.5),)}):
            with self.subTest(wrong), self.assertRaises(ValueError):
                replace(SMALL, **wrong)


class TextTest(unittest.TestCase):
    def test_numbers(self):
        self.assertEqual([plain(number) for number in (0, 0.051234, 1.5, 12.345, 999.6, 1234567.8)],
                         ["0", "0.0512", "1.5", "12.3", "1,000", "1,234,568"])
        self.assertEqual([seconds(number) for number in (0.5, 90, 120, 7200, 172800)], ["0.5 s", "90 s", "2 min", "2 h", "2 days"])

    def test_a_part_of_a_page(self):
        page = "a\n<!-- begin: x y -->\n\nold\n\n<!-- end: x y -->\nb\n"
        self.assertEqual(text_between(page, "x y"), "old\n")
        self.assertEqual(replace_between(page, "x y", "new\nnew\n"),
                         "a\n<!-- begin: x y -->\n\nnew\nnew\n\n<!-- end: x y -->\nb\n")
        with self.assertRaises(NotMarked):
            text_between(page, "x")


class CommandTest(unittest.TestCase):
    def run_it(self, *arguments):
        return subprocess.run([ROOT / "scripts/fleet-arithmetic", *arguments], capture_output=True, text=True, check=False)

    def test_the_page_shows_what_it_works_out(self):
        done = self.run_it("--check")
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_it_tells_of_one_fleet(self):
        done = self.run_it("--plcs", "6000", "--subscriber", "4:0.5", "--limit", "connections=3000", "--qos", "0")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stdout, r"Messages/s to subscribers +12,000\n")
        self.assertRegex(done.stdout, r"connections of a broker +2,001 +3,000 +67 % +given\n")

    def test_wrong_inputs_are_told(self):
        for arguments, said in ((("--share", "2"), "share is from 0 to 1"), (("--limit", "speed=1"), "there is no limit speed"),
                                (("--limit", "messages=0"), "the limit messages is more than 0")):
            done = self.run_it(*arguments)
            self.assertEqual((done.returncode, done.stderr), (2, f"fleet-arithmetic: {said}\n"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
