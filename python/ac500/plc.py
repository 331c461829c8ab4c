"""A PLC."""

from __future__ import annotations

import ctypes
import threading
import weakref
from ctypes import c_void_p
from typing import Any, Dict, Iterable, List, Mapping, Optional, Tuple, Union

from . import _native
from ._closing import Closing
from ._waiting import Deadline
from .errors import Outcome, error_of, write_error_of
from .tag import Tag
from .values import PlcValue, Value, add_write, expect_value, take_values
from .watch import Watch

__all__ = ["Plc", "Status", "connect"]


class Status:
    """How a connection fares. Counted since it was opened; times in seconds."""

    def __init__(self, raw: _native.Status) -> None:
        library = _native.library()
        self.is_online = bool(raw.is_online)  # connected, and the PLC has opened a session
        self.state = _native.text(raw.state)  # "exchanging", "backing off", ... as ac500-host status shows it
        self.events = int(raw.events)  # worth a line in a log, failures or not
        self.last_failure: Optional[str] = None  # "tcp: connection refused ..."
        self.last_failure_age: Optional[float] = None
        if raw.last_failure_ms >= 0:
            layer = _native.text(library.ac500_result_name(raw.last_failure))
            self.last_failure = f"{layer}: {_native.text(raw.last_failure_text)}"
            self.last_failure_age = raw.last_failure_ms / 1000
        # What speaks against the program being the one that the handshake was learned of; "" when nothing does.
        self.handshake = _native.text(raw.handshake_text)
        self.frames_sent = int(raw.frames_sent)
        self.frames_accepted = int(raw.frames_accepted)
        self.bytes_sent = int(raw.bytes_sent)
        self.bytes_received = int(raw.bytes_received)
        self.retries = int(raw.retries)
        self.timeouts = int(raw.timeouts)
        self.refusals = int(raw.refusals)
        self.bad_replies = int(raw.bad_replies)
        self.abandoned = int(raw.abandoned)
        self.connections = int(raw.connections)
        self.handshakes = int(raw.handshakes)
        self.cycles = int(raw.cycles)  # passes over the watched tags
        self.shortest_cycle = raw.cycle_min_us / 1e6 if raw.cycles else None
        self.median_cycle = raw.cycle_median_us / 1e6 if raw.cycles else None
        self.longest_cycle = raw.cycle_max_us / 1e6 if raw.cycles else None

    def __repr__(self) -> str:
        online = "online" if self.is_online else "offline"
        return f"<ac500.Status {online}, {self.frames_accepted} replies, {self.events} events>"


class Plc(Closing):
    """A PLC, its symbols, and a connection that comes back by itself. Made by :func:`connect`.

    Every method may be called by any thread. Those that ask the PLC take no longer than ``time_limit``.
    """

    _noun = "PLC"

    def __init__(self, symbols: str, address: str, settings: _native.Settings) -> None:
        self._lock = threading.Lock()  # guards _found
        self._found: Dict[str, Tuple[c_void_p, _native.TagInfo]] = {}
        self._watches: "weakref.WeakSet[Watch]" = weakref.WeakSet()
        handle = c_void_p()
        _native.check(
            _native.library().ac500_open(
                _native.encode(symbols), _native.encode(address), settings, ctypes.byref(handle)
            )
        )
        self._hold(handle)
        self.address = address

    # ---- Reading -----------------------------------------------------------------------------------------------------

    def read(self, name: str) -> PlcValue:
        """The value that the PLC has now."""
        return self.read_values([name])[name].value

    def read_many(self, names: Iterable[str]) -> Dict[str, PlcValue]:
        """The values that the PLC has now, by name, asked for together. Raises when one was not received."""
        return {name: value.value for name, value in self.read_values(names).items()}

    def read_values(self, names: Iterable[str]) -> Dict[str, Value]:
        """The same with all that is known about each. Raises when one was not received."""
        wanted = self._names(names)
        handle = c_void_p()
        result = _native.library().ac500_read(
            self._open_handle(), _native.tag_names(wanted), len(wanted), ctypes.byref(handle)
        )
        error = None if result == _native.OK else error_of(result, _native.last_error())
        values = take_values(handle) if handle else []
        if error is not None:
            raise error
        return dict(zip(wanted, values))

    # ---- Writing -----------------------------------------------------------------------------------------------------

    def write(
        self,
        name: str,
        value: Any,
        *,
        expect: Any = None,
        read_back: bool = False,
        allow_not_finite: bool = False,
    ) -> None:
        """Writes, and returns when the PLC has accepted it. As :meth:`write_many`."""
        expected = {} if expect is None else {name: expect}
        self.write_many({name: value}, expect=expected, read_back=read_back, allow_not_finite=allow_not_finite)

    def write_many(
        self,
        values: Mapping[str, Any],
        *,
        expect: Optional[Mapping[str, Any]] = None,
        read_back: bool = False,
        allow_not_finite: bool = False,
    ) -> Dict[str, Outcome]:
        """Writes several tags, sent together, and returns when the PLC has accepted each. A text is taken for any tag, as
        on the command line: "automatic", "T#1m30s".

        ``expect``: the PLC must hold these values, by name, in the types that are written; they are read immediately before,
        and where it holds another one nothing is written. ``read_back``: each is read afterwards, and another value than the
        written one raises.
        Raises UsageError before anything is sent when one does not fit, else WriteError unless all were done.
        """
        expected = dict(expect or {})
        if not values:
            return {}
        for name in expected:
            if name not in values:
                raise error_of(_native.USAGE, f"{name} is expected to hold a value, but is not written")
        library = _native.library()
        plc = self._open_handle()
        writes = c_void_p()
        _native.check(library.ac500_new_writes(plc, ctypes.byref(writes)))
        try:
            for index, (name, value) in enumerate(values.items()):
                tag, info = self._find(name)
                add_write(writes, tag, info, value)
                if name in expected:
                    expect_value(writes, index, info, expected[name])
            flags = (1 if read_back else 0) | (2 if allow_not_finite else 0)
            result = library.ac500_send_writes(writes, flags)
            error = None if result == _native.OK else error_of(result, _native.last_error())
            outcomes = self._outcomes(writes)
        finally:
            library.ac500_free_writes(writes)
        if error is None:
            return outcomes
        # Nothing was ordered at all: the error says why.
        if all(outcome.outcome == "pending" for outcome in outcomes.values()):
            raise error
        worst = next((outcome for outcome in outcomes.values() if outcome.layer != "ok"), None)
        raise write_error_of(error.code, error.text, outcomes, worst.outcome if worst else "unknown")

    def _outcomes(self, writes: c_void_p) -> Dict[str, Outcome]:
        library = _native.library()
        outcomes = {}
        for index in range(library.ac500_writes_count(writes)):
            raw = _native.WriteOutcome()
            _native.check(library.ac500_get_outcome(writes, index, raw, ctypes.sizeof(raw)))
            name = _native.text(raw.name)
            word = _native.text(library.ac500_outcome_name(raw.outcome))
            layer = _native.text(library.ac500_result_name(raw.result))
            outcomes[name] = Outcome(name, word, layer, _native.text(raw.error_text))
        return outcomes

    # ---- Tags --------------------------------------------------------------------------------------------------------

    def tags(self, pattern: Optional[str] = None) -> List[Tag]:
        """The variables and arrays of the symbol file whose names match ("Main.*"); all without a pattern."""
        library = _native.library()
        handle = c_void_p()
        raw = None if pattern is None else _native.encode(pattern)
        _native.check(library.ac500_browse(self._open_handle(), raw, ctypes.byref(handle)))
        try:
            tags = []
            for index in range(library.ac500_tag_list_count(handle)):
                info = _native.TagInfo()
                _native.check(library.ac500_tag_list_get(handle, index, info, ctypes.sizeof(info)))
                tags.append(Tag(info))
            return tags
        finally:
            library.ac500_free_tag_list(handle)

    def tag(self, name: str) -> Tag:
        """What is known of one tag, which may be an element, a part of an array or a bit."""
        return Tag(self._find(name)[1])

    # ---- Watching ----------------------------------------------------------------------------------------------------

    def watch(self, *names: str, on_reception: bool = False) -> Watch:
        """Reads the tags in every cycle and gives what is new of them: another value, state or error; with
        ``on_reception`` every reception."""
        if not names:
            raise error_of(_native.USAGE, "watch() needs a tag: without one there is never anything new")
        watch = Watch(self._open_handle(), self._names(names), on_reception)
        self._watches.add(watch)
        return watch

    # ---- The connection ----------------------------------------------------------------------------------------------

    def wait_online(self, timeout: float) -> None:
        """Waits until the PLC has opened a session, for as many seconds or math.inf. Raises the layer that failed last when
        that took too long."""
        deadline = Deadline(timeout)
        while True:
            result = _native.library().ac500_wait_online(self._open_handle(), deadline.slice_ms)
            if result == _native.OK:
                return
            if result == _native.CLOSED or deadline.is_over:
                _native.check(result)

    def status(self) -> Status:
        raw = _native.Status()
        _native.check(_native.library().ac500_get_status(self._open_handle(), raw, ctypes.sizeof(raw)))
        return Status(raw)

    def close(self) -> None:
        """Ends everything on the PLC; writes that were not sent are never sent. May be called again. After a fork() the child
        only forgets it."""
        if self._forget_after_fork():
            return
        handle, self._handle = self._handle, None
        if handle is None:
            return
        for watch in list(self._watches):
            watch.close()
        library = _native.library()
        with self._lock:
            found, self._found = self._found, {}
        for tag, _ in found.values():
            library.ac500_free_tag(tag)
        _native.check(library.ac500_close(handle))

    def __repr__(self) -> str:
        return f"<ac500.Plc {self.address}{'' if self._handle else ', closed'}>"

    def _open_handle(self) -> c_void_p:
        self._refuse_after_fork()
        handle = self._handle
        if handle is None:
            raise error_of(_native.CLOSED, "the PLC was closed")
        return handle

    @staticmethod
    def _names(names: Iterable[str]) -> List[str]:
        if isinstance(names, str):
            raise error_of(_native.USAGE, f"several names are given as a list; put {names!r} into one")
        return list(dict.fromkeys(names))

    def _find(self, name: str) -> Tuple[c_void_p, _native.TagInfo]:
        self._refuse_after_fork()
        library = _native.library()
        with self._lock:
            known = self._found.get(name)
            if known is not None:
                return known
            tag = c_void_p()
            _native.check(library.ac500_find_tag(self._open_handle(), _native.tag_name(name), ctypes.byref(tag)), name)
            info = _native.TagInfo()
            _native.check(library.ac500_get_tag_info(tag, info, ctypes.sizeof(info)), name)
            self._found[name] = (tag, info)
            return self._found[name]


def connect(
    address: str = "127.0.0.1:1201",
    symbols: "Union[str, Any]" = "",
    *,
    driver: "Optional[Union[str, Any]]" = None,
    time_limit: float = 5.0,
    reply_timeout: float = 2.0,
    cycle: float = 0.1,
    max_request_words: int = 100,
    retry_limit: int = 2,
    simulator: bool = False,
    handshake: "Optional[Union[str, Any]]" = None,
) -> Plc:
    """Opens a PLC: ``address`` is "HOST", "HOST:PORT" or "[IPV6]:PORT", ``symbols`` the path of the symbol file. Does not wait
    for the PLC: the first call that needs it does.

    "unix:PATH" is the socket of an ac500-gateway on this machine, whose session with the PLC is used then; ``symbols`` may be
    left out, and of the rest ``time_limit`` alone counts.

    ``time_limit``, ``reply_timeout`` and ``cycle`` are in seconds; watched tags are read every ``cycle``.
    ``max_request_words``: the largest request that the PLC takes. ``simulator``: the variables that ac500-sim has of its
    own (Sim.*) are known, too. ``handshake``: the path of what ``ac500-host guard learn`` has stored;
    ``status().handshake`` then tells when the PLC answers otherwise, which is a hint and holds nothing.
    """
    settings = _native.Settings()
    _native.check(_native.library().ac500_settings_init(settings, ctypes.sizeof(settings)))
    path = None if driver is None else _native.encode(str(driver))  # alive until the library has copied it
    settings.driver = path
    settings.time_limit_ms = _milliseconds("time_limit", time_limit)
    settings.reply_timeout_ms = _milliseconds("reply_timeout", reply_timeout)
    settings.cycle_ms = _milliseconds("cycle", cycle)
    settings.max_request_words = _int32("max_request_words", max_request_words)
    settings.retry_limit = _int32("retry_limit", retry_limit)
    settings.simulator = int(simulator)
    learned = None if handshake is None else _native.encode(str(handshake))  # likewise
    settings.handshake = learned
    return Plc(str(symbols), address, settings)


def _milliseconds(name: str, seconds: float) -> int:
    if not 0 <= seconds <= 86400:
        raise error_of(_native.USAGE, f"{name} is {seconds}; give seconds, up to a day")
    return round(1000 * seconds)


def _int32(name: str, number: int) -> int:
    if not -(2**31) <= number < 2**31:
        raise error_of(_native.USAGE, f"{name} is {number}, which is far too large")
    return number
