"""What a fleet of gateways costs a broker, worked out: messages, bytes, connections, storms, and which limit comes first.

Nothing here is measured. A fleet is described by Fleet, a broker by Limits; load() answers what each broker of the fleet
has to carry. Units: bytes, seconds; "messages" are MQTT PUBLISH packets.
"""
import math
from dataclasses import dataclass, field, replace
from functools import lru_cache

# An example of each, counted; docs/broker.md has the format.
VALUE = '{"tag":"Main.motor[2].speed","value":1234.5,"state":"fresh","time":"2026-11-22T23:00:00.123Z","uptime":86400000},'
ENVELOPE = '{"version":1,"plc":"mixer-0042","sequence":1234567,"pass":1234567,"clock":"set","values":[]}'
TOPICS = {
    "pass": "plant/hall3/mixer-0042/values",
    "scope": "plant/hall3/mixer-0042/values/Main",
    "tag": "plant/hall3/mixer-0042/values/Main.motor[2].speed",
}
TLS_RECORD_BYTES, TLS_LARGEST_RECORD = 22, 16384  # TLS 1.3: header 5, content type 1, tag 16
SEGMENT_BYTES, SEGMENT_HEADERS = 1448, 52         # of Ethernet's 1500: IPv4 20, TCP 20, time stamps 12
PUBACK_BYTES = 4
LIFE_TOPICS = 2  # status and info, always retained


@dataclass(frozen=True)
class Fleet:
    plcs: int = 10000
    tags: int = 500              # of each PLC
    scopes: int = 10             # over which the tags are spread evenly
    cycle: float = 1.0           # from pass to pass
    share: float = 0.1           # of the tags that change from pass to pass, each for itself
    batch: str = "pass"          # pass, scope or tag: what goes into one message
    qos: int = 1
    value_bytes: int = len(VALUE)
    envelope_bytes: int = len(ENVELOPE)
    topic_bytes: int = 0         # 0: of an example for the batch
    largest_message: int = 0     # Maximum Packet Size; 0: none
    tls: bool = True
    retained: bool = False       # values, too; status and info always are
    subscribers: tuple = ((3, 1.0),)  # how many, each of which part of the PLCs
    consumers: int = 1           # that share each of these subscriptions
    brokers: int = 3             # of the cluster of each region
    regions: int = 1             # with a cluster of its own
    down: float = 30.0           # for how long the broker is gone when it restarts
    pause_base: float = 1.0      # of the gateways' pauses before they connect again
    pause_cap: float = 60.0
    outage: float = 3600.0       # of the network, after which gateways send what they kept
    backlog_rate: float = 50.0   # messages a second of each gateway
    store_bytes: int = 256 << 20  # of each gateway

    def __post_init__(self):
        def refuse(what):
            raise ValueError(what)

        self.batch in TOPICS or refuse("batch is pass, scope or tag")
        self.qos in (0, 1) or refuse("QoS is 0 or 1")
        for name in ("plcs", "tags", "scopes", "cycle", "value_bytes", "consumers", "brokers", "regions", "pause_base",
                     "backlog_rate"):
            getattr(self, name) > 0 or refuse(f"{name.replace('_', '-')} is more than 0")
        self.scopes <= self.tags or refuse("there are not more scopes than tags")
        self.regions <= self.plcs or refuse("there are not more regions than PLCs")
        self.pause_base <= self.pause_cap or refuse("the first pause is not longer than the longest")
        0 <= self.share <= 1 or refuse("share is from 0 to 1")
        for count, part in self.subscribers:
            count >= 0 and 0 < part <= 1 or refuse("a subscriber is COUNT:PART, with a part of more than 0, at most 1")
        if self.largest_message:
            self.values_that_fit() >= 1 or refuse("not one value fits into the largest message")

    def topic(self):
        return self.topic_bytes or len(TOPICS[self.batch])

    def groups(self):
        """Messages of a PLC of which all tags have changed, if they need not be split."""
        return {"pass": 1, "scope": self.scopes, "tag": self.tags}[self.batch]

    def values_that_fit(self):
        return (self.largest_message - packet_bytes(self.topic(), self.envelope_bytes, self.qos)) // self.value_bytes


def varint_bytes(number):
    """Bytes of MQTT's variable byte integer."""
    return 1 + (number >= 1 << 7) + (number >= 1 << 14) + (number >= 1 << 21)


def packet_bytes(topic, payload, qos):
    """A PUBLISH of MQTT 5 without properties."""
    remaining = 2 + topic + (2 if qos else 0) + 1 + payload
    return 1 + varint_bytes(math.ceil(remaining)) + remaining


def wire_bytes(packet, tls):
    """What a packet that is sent by itself takes on the wire, with TLS, TCP and IP."""
    if tls:
        packet += TLS_RECORD_BYTES * math.ceil(packet / TLS_LARGEST_RECORD)
    return packet + SEGMENT_HEADERS * math.ceil(packet / SEGMENT_BYTES)


@dataclass(frozen=True)
class Limit:
    value: float
    source: str


ASSUMED = "assumption, to be measured with the broker at hand"


@dataclass(frozen=True)
class Limits:
    """Of one broker. Defaults are assumptions, and say so."""
    connections: Limit = Limit(100000, ASSUMED)
    messages: Limit = Limit(50000, ASSUMED + "; in, out, and between brokers")
    bytes: Limit = Limit(125e6, "arithmetic: a link of 1 Gbit/s in each direction")
    handshakes: Limit = Limit(1000, ASSUMED)
    retained: Limit = Limit(1e6, ASSUMED)
    in_flight: Limit = Limit(20, "mosquitto.conf(5) of Debian 12: default of max_inflight_messages")
    round_trip: Limit = Limit(0.005, "assumption: broker and subscriber in one network")

    def to_a_subscriber(self, qos):
        """Messages a second over one connection, or nothing: no limit but the others."""
        if not qos:
            return None
        return Limit(self.in_flight.value / self.round_trip.value,
                     f"{plain(self.in_flight.value)} in flight ({self.in_flight.source}) in a round trip of "
                     f"{plain(self.round_trip.value * 1000)} ms ({self.round_trip.source})")


@dataclass
class Load:
    """Of a fleet; *_each: of one broker."""
    values_per_message: float = 0
    packet: float = 0                 # bytes of a message
    messages_per_plc: float = 0       # a second
    messages: float = 0               # a second, from all gateways
    wire: float = 0                   # bytes a second from all gateways
    fan_out: float = 0                # copies of a message that subscribers get
    messages_out: float = 0           # a second, to subscribers
    between: float = 0                # a second, from broker to broker
    connections: int = 0              # of gateways and subscribers
    connections_each: float = 0
    messages_each: float = 0          # a second, that a broker handles
    bytes_in_each: float = 0          # a second
    bytes_out_each: float = 0
    to_subscriber: float = 0          # a second, over the busiest connection of a subscriber
    retained: int = 0
    retained_each: float = 0
    handshakes_one: float = 0         # that a broker has to make when another one, or the only one, restarts
    handshakes_all: float = 0         # the same when all brokers of a region restart
    handshakes_rate: float = 0        # in the busiest second, when all restart
    back_half: float = 0              # seconds until half of them are back, when all restart
    back_all: float = 0               # and until less than half a gateway is away, as is to be expected
    back_one: float = 0               # the same when one restarts
    backlog_per_plc: float = 0        # messages that are kept over the outage
    backlog_dropped: float = 0        # of each PLC, because the store is full
    backlog_messages_each: float = 0  # a second that a broker would handle at the gateways' rate
    backlog_seconds: float = 0        # until the backlog is there
    store_seconds: float = 0          # that the store of a gateway lasts
    uses: list = field(default_factory=list)  # of limits: (name, load, Limit), the first one to come first


STEP_S = 0.01


@lru_cache
def returns(down, base, cap):
    """The share of gateways that have tried again, by steps of STEP_S since the broker is back after it was gone for so long.

    Each tries after a pause drawn evenly from 0 to a bound, which is base at first and doubles with each failure up to cap.
    Followed attempt by attempt: when the next one is due, as a density over the time since the broker was gone.
    """
    down = min(down, 5 * cap)  # by then it makes no difference
    steps, bound = round(down / STEP_S), base
    share = [0.0] * (round(cap / STEP_S) + 1)  # that tries again in each step after the return
    due = [1.0] + [0.0] * steps                # share whose last attempt was in this step; all begin when the broker goes
    while sum(due) > 1e-6:
        width = max(1, round(bound / STEP_S))
        reach, window, ahead = len(due) + width, 0.0, [0.0] * steps
        for step in range(reach):
            window += (due[step] if step < len(due) else 0) - (due[step - width] if width <= step < width + len(due) else 0)
            if step < steps:
                ahead[step] = window / width
            elif step - steps < len(share):
                share[step - steps] += window / width
        due, bound = ahead, min(2 * bound, cap)
    sums, total = [], 0.0
    for each in share:
        total += each
        sums.append(min(total, 1.0))
    return sums


def busiest_second(shares):
    """The largest share that comes within a second."""
    second = round(1 / STEP_S)
    return max(here - (shares[i - second] if i >= second else 0) for i, here in enumerate(shares))


def until_all_but(shares, rest, at_most, count):
    """Seconds until no more than `rest` of the share are away, with at most so many of `count` in a second."""
    most, done = at_most * STEP_S / count, 0.0
    for i, here in enumerate(shares):
        done = min(here, done + most)
        if 1 - done <= rest:
            return (i + 1) * STEP_S
    return len(shares) * STEP_S + (1 - rest - done) * count / at_most


def load(fleet, limits=Limits()):
    result = Load()
    messages(fleet, result)
    fan_out(fleet, result)
    brokers(fleet, limits, result)
    restart(fleet, limits, result)
    backlog(fleet, limits, result)
    result.uses = uses(fleet, limits, result)
    return result


def messages(fleet, result):
    groups = fleet.groups()
    per_pass = groups * (1 - (1 - fleet.share) ** (fleet.tags / groups))  # groups in which something has changed
    values = fleet.tags * fleet.share
    if per_pass and fleet.largest_message:
        per_pass *= math.ceil(values / per_pass / fleet.values_that_fit())
    result.values_per_message = values / per_pass if per_pass else 0
    payload = fleet.envelope_bytes + result.values_per_message * fleet.value_bytes
    result.packet = packet_bytes(fleet.topic(), payload, fleet.qos)
    result.messages_per_plc = per_pass / fleet.cycle
    result.messages = result.messages_per_plc * fleet.plcs
    result.wire = result.messages * wire_bytes(result.packet, fleet.tls)


def fan_out(fleet, result):
    result.fan_out = sum(count * part for count, part in fleet.subscribers)
    result.messages_out = result.messages * result.fan_out
    # A message goes once to each other broker that has a subscriber for it; subscribers are spread by chance.
    others = (fleet.brokers - 1) * (1 - (1 - 1 / fleet.brokers) ** result.fan_out)
    result.between = result.messages * others
    widest = max((part for count, part in fleet.subscribers if count), default=0)
    result.to_subscriber = min(widest, 1 / fleet.regions) * result.messages / fleet.consumers


def subscriber_connections(fleet):
    """A subscriber of PLCs in several regions has a connection with each of them."""
    return sum(count * fleet.consumers * math.ceil(round(part * fleet.regions, 9)) for count, part in fleet.subscribers)


def brokers(fleet, limits, result):
    all_brokers = fleet.brokers * fleet.regions
    result.connections = fleet.plcs + subscriber_connections(fleet)
    result.connections_each = result.connections / all_brokers
    result.messages_each = (result.messages + result.messages_out + 2 * result.between) / all_brokers
    whole = wire_bytes(result.packet, fleet.tls)
    answer = wire_bytes(PUBACK_BYTES, fleet.tls) if fleet.qos else 0
    result.bytes_in_each = ((result.messages + result.between) * whole + result.messages_out * answer) / all_brokers
    result.bytes_out_each = ((result.messages_out + result.between) * whole + result.messages * answer) / all_brokers
    result.retained = fleet.plcs * (LIFE_TOPICS + (fleet.groups() if fleet.retained else 0))
    result.retained_each = result.retained / fleet.regions  # each broker of a cluster has all of them


def restart(fleet, limits, result):
    most = limits.handshakes.value if fleet.tls else math.inf
    away = returns(fleet.down, fleet.pause_base, fleet.pause_cap)
    result.handshakes_all = fleet.plcs / fleet.brokers / fleet.regions
    result.handshakes_one = result.handshakes_all / max(fleet.brokers - 1, 1)  # by those that stay
    result.handshakes_rate = result.handshakes_all * busiest_second(away)
    result.back_half = until_all_but(away, 0.5, most, result.handshakes_all)
    result.back_all = until_all_but(away, min(0.5, 0.5 / result.handshakes_all), most, result.handshakes_all)
    # With another broker in their list, or a load balancer, they are away for no longer than the first pause.
    one = away if fleet.brokers == 1 else returns(0, fleet.pause_base, fleet.pause_cap)
    result.back_one = until_all_but(one, min(0.5, 0.5 / result.handshakes_one), most, result.handshakes_one)


def backlog(fleet, limits, result):
    payload = fleet.envelope_bytes + result.values_per_message * fleet.value_bytes + fleet.topic()
    a_second = result.messages_per_plc * payload
    result.store_seconds = fleet.store_bytes / a_second if a_second else math.inf
    kept = min(fleet.outage, result.store_seconds)
    result.backlog_per_plc = kept * result.messages_per_plc
    result.backlog_dropped = (fleet.outage - kept) * result.messages_per_plc
    all_brokers = fleet.brokers * fleet.regions
    handled = result.messages_each * all_brokers / result.messages if result.messages else 0  # by brokers, for a message
    result.backlog_messages_each = result.messages_each + fleet.plcs * fleet.backlog_rate * handled / all_brokers
    at_their_rate = result.backlog_per_plc / fleet.backlog_rate
    free = limits.messages.value - result.messages_each
    waiting = result.backlog_per_plc * fleet.plcs * handled / all_brokers
    at_brokers_rate = (waiting / free if free > 0 else math.inf) if waiting else 0
    result.backlog_seconds = max(at_their_rate, at_brokers_rate)


def uses(fleet, limits, result):
    rows = [
        ("connections of a broker", result.connections_each, limits.connections),
        ("messages/s of a broker", result.messages_each, limits.messages),
        ("bytes/s into a broker", result.bytes_in_each, limits.bytes),
        ("bytes/s out of a broker", result.bytes_out_each, limits.bytes),
        ("retained messages of a broker", result.retained_each, limits.retained),
    ]
    if fleet.tls:
        rows.append(("TLS handshakes/s of a broker, all restart", result.handshakes_rate, limits.handshakes))
    if fleet.qos:
        rows.append(("messages/s to one subscriber", result.to_subscriber, limits.to_a_subscriber(fleet.qos)))
    return sorted(rows, key=lambda row: row[1] / row[2].value, reverse=True)


def variants(fleet):
    """What else can be done with it: (in words, the fleet)."""
    shared = replace(fleet, consumers=10)
    rows = [("as it is", fleet)]
    rows += [(f"a message for each {batch}", replace(fleet, batch=batch)) for batch in TOPICS if batch != fleet.batch]
    rows += [
        ("10 times the time from pass to pass", replace(fleet, cycle=10 * fleet.cycle)),
        ("values retained", replace(fleet, retained=True)),
        ("values retained, a message for each tag", replace(fleet, retained=True, batch="tag")),
        ("QoS 0", replace(fleet, qos=0)),
        ("10 consumers share each subscription", shared),
        ("that, and three times the brokers", replace(shared, brokers=3 * fleet.brokers)),
        ("10 regions, a single broker in each", replace(fleet, regions=10, brokers=1)),
        ("10 regions, each with such a cluster", replace(fleet, regions=10)),
        ("10 times the subscribers", replace(fleet, subscribers=tuple((10 * n, part) for n, part in fleet.subscribers))),
    ]
    return [(name, other) for name, other in rows if other.regions <= other.plcs]


def plain(number, digits=3):
    """With so many digits at least, and commas: 1,234,000 or 0.05."""
    if math.isinf(number):
        return "never"
    if number == 0:
        return "0"
    decimals = max(0, digits - 1 - math.floor(math.log10(abs(number))))
    text = f"{number:,.{decimals}f}"
    return text.rstrip("0").rstrip(".") if "." in text else text


def seconds(number):
    for unit, size in (("days", 86400), ("h", 3600), ("min", 60)):
        if number >= 2 * size and not math.isinf(number):
            return f"{plain(number / size)} {unit}"
    return f"{plain(number)} s" if not math.isinf(number) else "never"
