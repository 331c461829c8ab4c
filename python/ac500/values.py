"""Values as Python has them, and what is known about them."""

from __future__ import annotations

import ctypes
import datetime
import decimal
import enum
import operator
import time
from ctypes import c_char_p, c_double, c_int32, c_int64, c_size_t, c_uint64, c_void_p
from typing import Any, Callable, Dict, List, Mapping, Optional, Sequence, Tuple, Union

from . import _native
from .errors import NotFreshError, ProgramError, UsageError

__all__ = ["Kind", "PlcScalar", "PlcValue", "State", "Value"]

# What a tag of one element has; one of several elements has a list of them.
PlcScalar = Union[bool, int, float, str, datetime.timedelta, datetime.date, datetime.time, datetime.datetime]
PlcValue = Union[PlcScalar, List[PlcScalar]]

_NS_OF_US = 1000
_EPOCH = datetime.datetime(1970, 1, 1)


class Kind(enum.IntEnum):
    """What the elements of a tag are."""

    BOOL = 1  # bool
    INT64 = 2  # int
    UINT64 = 3  # int, never negative
    DOUBLE = 4  # float
    STRING = 5  # str
    DURATION = 6  # datetime.timedelta
    DATE = 7  # datetime.date
    TIME_OF_DAY = 8  # datetime.time
    DATE_TIME = 9  # datetime.datetime without a time zone: the PLC's clock has none


class State(enum.IntEnum):
    """What a value is worth."""

    NEVER_RECEIVED = 0
    FRESH = 1
    STALE = 2  # older than three cycles, and than two seconds; or the connection is down
    WRITE_PENDING = 3  # a write is on its way, or was accepted and the value not read again yet
    WRITE_FAILED = 4  # the last write failed; told for ten seconds, and until the value was read again
    SUSPECT = 5  # received, but perhaps from another program than the symbols describe

    def __str__(self) -> str:
        return _native.text(_native.library().ac500_state_name(int(self)))


def _state(number: int) -> State:
    # A state of a later library counts as one that is not fresh.
    return State(number) if number in State._value2member_map_ else State.STALE


class Value:
    """The value of a tag as it was when it was handed out; it never changes.

    ``value`` gives it as long as it passes for the present one, and raises :class:`NotFreshError` otherwise, so that an old
    number never goes on as a new one. ``latest`` gives whatever was received last.
    """

    __slots__ = (
        "_latest",
        "_taken",
        "age_when_taken",
        "elements",
        "error",
        "is_list",
        "kind",
        "name",
        "received",
        "state",
        "suspicion",
        "text",
        "unit",
    )

    name: str  # as the tag was named
    state: State
    kind: Kind
    unit: str  # "" without any
    text: str  # as ac500-host shows it, with its unit; "" when nothing is known
    error: str  # why it was not received or not written; "" without an error
    suspicion: str  # why it may be from another program; "" unless it is suspect, whatever its state
    elements: int
    is_list: bool
    received: Optional[datetime.datetime]  # in UTC; None unless known
    age_when_taken: Optional[datetime.timedelta]

    def __init__(
        self, info: _native.ValueInfo, latest: Optional[PlcValue], shown: str, suspicion: str = ""
    ) -> None:
        self.name = _native.text(info.name)
        self.unit = _native.text(info.unit)
        self.error = _native.text(info.error_text)
        self.kind = Kind(info.kind)
        self.state = _state(info.state)
        self.elements = info.elements
        self.is_list = bool(info.is_list)
        self.text = shown
        self.suspicion = suspicion
        self._latest = latest
        self._taken = time.monotonic()
        known = bool(info.is_known)
        self.age_when_taken = datetime.timedelta(milliseconds=info.age_ms) if known and info.age_ms >= 0 else None
        self.received = None
        if known and info.received_unix_ms >= 0:
            utc = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
            self.received = utc + datetime.timedelta(milliseconds=info.received_unix_ms)

    @property
    def is_known(self) -> bool:
        """Was it ever received, whatever its age? Of a suspect one nobody knows."""
        return self._latest is not None

    @property
    def is_fresh(self) -> bool:
        """Was it the present one when it was handed out? A write that is on its way, or failed, does not make it old."""
        return self.is_known and self.state not in (State.STALE, State.NEVER_RECEIVED)

    @property
    def age(self) -> Optional[datetime.timedelta]:
        """Since its oldest byte was received, up to now. None when nothing was. The clock of the system does not matter."""
        if self.age_when_taken is None:
            return None
        return self.age_when_taken + datetime.timedelta(seconds=time.monotonic() - self._taken)

    @property
    def value(self) -> PlcValue:
        self._refuse_suspect()
        if self._latest is None or not self.is_fresh:
            age = f", {self.age.total_seconds():.1f} s old" if self.age is not None else ""
            why = f": {self.error}" if self.error else ""
            raise NotFreshError(f"{self.name} is {self.state}{age}{why}")
        return self._latest

    @property
    def latest(self) -> PlcValue:
        """What was received last, however old. Raises NotFreshError when nothing was, and ProgramError for a suspect one:
        nobody knows what it is a value of."""
        self._refuse_suspect()
        if self._latest is None:
            raise NotFreshError(f"{self.name} is {self.state}{': ' + self.error if self.error else ''}")
        return self._latest

    def _refuse_suspect(self) -> None:
        if self.suspicion:
            raise ProgramError(self.suspicion)

    def __float__(self) -> float:
        value = self.value
        if isinstance(value, datetime.timedelta):
            return value.total_seconds()
        if isinstance(value, (bool, int, float)):
            return float(value)
        raise TypeError(f"{self.name} is no number, but {value!r}")

    def __int__(self) -> int:
        value = self.value
        if isinstance(value, (bool, int, float)):
            return int(value)
        raise TypeError(f"{self.name} is no number, but {value!r}")

    def __bool__(self) -> bool:
        raise TypeError(f"ask for {self.name}.value, .is_known or .is_fresh: a value itself is neither true nor false")

    def __repr__(self) -> str:
        return f"<ac500.Value {self.name} = {self.text or '?'} ({self.state})>"


# ---- From the library ------------------------------------------------------------------------------------------------


def _date_time(nanoseconds: int) -> datetime.datetime:
    return _EPOCH + datetime.timedelta(microseconds=nanoseconds // _NS_OF_US)


def _time_of_day(nanoseconds: int) -> datetime.time:
    # The PLC may hold more than a day, which no time of day is.
    return (_EPOCH + datetime.timedelta(microseconds=nanoseconds // _NS_OF_US % 86_400_000_000)).time()


_Reader = Tuple[str, Any, Callable[[Any], PlcScalar]]
_READERS: Dict[Kind, _Reader] = {
    Kind.BOOL: ("ac500_get_bools", c_int32, bool),
    Kind.INT64: ("ac500_get_int64s", c_int64, int),
    Kind.UINT64: ("ac500_get_uint64s", c_uint64, int),
    Kind.DOUBLE: ("ac500_get_doubles", c_double, float),
    Kind.STRING: ("ac500_get_strings", c_char_p, _native.text),
    Kind.DURATION: ("ac500_get_nanoseconds", c_int64, lambda ns: datetime.timedelta(microseconds=ns // _NS_OF_US)),
    Kind.DATE: ("ac500_get_nanoseconds", c_int64, lambda ns: _date_time(ns).date()),
    Kind.TIME_OF_DAY: ("ac500_get_nanoseconds", c_int64, _time_of_day),
    Kind.DATE_TIME: ("ac500_get_nanoseconds", c_int64, _date_time),
}


def _value_at(library: ctypes.CDLL, handle: c_void_p, index: int) -> Value:
    info = _native.ValueInfo()
    _native.check(library.ac500_get_value_info(handle, index, info, ctypes.sizeof(info)))
    if not info.is_known:
        return Value(info, None, "")
    function, element, convert = _READERS[Kind(info.kind)]
    elements = (element * info.elements)()
    result = getattr(library, function)(handle, index, elements, info.elements)
    if result == _native.PROGRAM:
        return Value(info, None, "", _native.last_error())
    _native.check(result)
    shown = c_char_p()
    _native.check(library.ac500_get_text(handle, index, ctypes.byref(shown)))
    items: List[PlcScalar] = [convert(item) for item in elements]
    return Value(info, items if info.is_list else items[0], _native.text(shown.value))


def take_values(handle: c_void_p) -> List[Value]:
    """The values of a handle of the library, which is freed."""
    library = _native.library()
    try:
        # Whether an old one passes is decided here, by Value.
        _native.check(library.ac500_accept_stale(handle))
        return [_value_at(library, handle, index) for index in range(library.ac500_values_count(handle))]
    finally:
        library.ac500_free_values(handle)


# ---- To the library --------------------------------------------------------------------------------------------------


def _nanoseconds(item: Any) -> int:
    if isinstance(item, datetime.datetime):
        if item.tzinfo is not None:
            raise UsageError("the PLC's clock has no time zone; give a datetime without one, in the PLC's time")
        span = item - _EPOCH
    elif isinstance(item, datetime.date):
        span = datetime.datetime.combine(item, datetime.time()) - _EPOCH
    elif isinstance(item, datetime.time):
        if item.tzinfo is not None:
            raise UsageError("the PLC's clock has no time zone; give a time without one")
        span = datetime.datetime.combine(_EPOCH.date(), item) - _EPOCH
    else:
        span = item
    return span // datetime.timedelta(microseconds=1) * _NS_OF_US


# What the PLC counts.
_NS_OF_COUNT: Dict[Kind, int] = {
    Kind.DURATION: 1_000_000,
    Kind.DATE: 1_000_000_000,
    Kind.TIME_OF_DAY: 1_000_000,
    Kind.DATE_TIME: 1_000_000_000,
}

_TIMES: Dict[Kind, type] = {
    Kind.DURATION: datetime.timedelta,
    Kind.DATE: datetime.date,
    Kind.TIME_OF_DAY: datetime.time,
    Kind.DATE_TIME: datetime.datetime,
}


def _is_int(item: Any) -> bool:
    if isinstance(item, bool) or getattr(item, "dtype", None) == bool:  # the latter is numpy's
        return False
    try:
        operator.index(item)
    except TypeError:
        return False
    return True


def _is_truth(item: Any) -> bool:
    try:
        return hasattr(item, "__index__") and int(item) in (0, 1)
    except (TypeError, ValueError):  # several numbers
        return False


def _is_number(item: Any) -> bool:
    if isinstance(item, (bool, str)) or not hasattr(item, "__float__"):
        return False
    try:
        float(item)
    except (TypeError, ValueError, OverflowError):  # several numbers, or one that no float comes near
        return False
    return True


def _expected(kind: Kind) -> str:
    return {
        Kind.BOOL: "a bool",
        Kind.INT64: "an int",
        Kind.UINT64: "an int that is not negative",
        Kind.DOUBLE: "a number",
        Kind.STRING: "a str",
        Kind.DURATION: "a datetime.timedelta",
        Kind.DATE: "a datetime.date",
        Kind.TIME_OF_DAY: "a datetime.time",
        Kind.DATE_TIME: "a datetime.datetime",
    }[kind]


def _fits(kind: Kind, item: Any) -> bool:
    if kind == Kind.BOOL:
        return _is_truth(item)
    if kind in (Kind.INT64, Kind.UINT64):
        return _is_int(item)
    if kind == Kind.DOUBLE:
        return _is_number(item)
    if kind == Kind.STRING:
        return isinstance(item, str)
    if kind == Kind.DATE and isinstance(item, datetime.datetime):
        return False  # it is a date too, and its time would be lost
    return isinstance(item, _TIMES[kind])


def _integer(item: Any, kind: Kind, name: str) -> int:
    number = operator.index(item)
    least, most = (-(2**63), 2**63 - 1) if kind == Kind.INT64 else (0, 2**64 - 1)
    if not least <= number <= most:
        shown = str(number) if number.bit_length() < 256 else "the number"
        raise UsageError(f"{name}: {shown} is outside {least} to {most}")
    return number


def _array_for(kind: Kind, items: Sequence[Any], name: str) -> Tuple[str, Any]:
    count = len(items)
    if kind == Kind.BOOL:
        return "ac500_add_bools", (c_int32 * count)(*[int(bool(item)) for item in items])
    if kind == Kind.INT64:
        return "ac500_add_int64s", (c_int64 * count)(*[_integer(item, kind, name) for item in items])
    if kind == Kind.UINT64:
        return "ac500_add_uint64s", (c_uint64 * count)(*[_integer(item, kind, name) for item in items])
    if kind == Kind.DOUBLE:
        return "ac500_add_doubles", (c_double * count)(*[float(item) for item in items])
    if kind == Kind.STRING:
        return "ac500_add_strings", (c_char_p * count)(*[_native.encode(item) for item in items])
    spans = [_nanoseconds(item) for item in items]
    if any(not -(2**63) <= span < 2**63 for span in spans):
        raise UsageError(f"{name}: a time of more than 292 years")
    return "ac500_add_nanoseconds", (c_int64 * count)(*spans)


def _elements(kind: Kind, name: str, info: _native.TagInfo, value: Any) -> List[Any]:
    """The elements of a value, each of a type that the tag takes. Raises UsageError otherwise."""
    is_sequence = (
        hasattr(value, "__len__") and hasattr(value, "__getitem__") and not isinstance(value, (str, bytes, Mapping))
    )
    if is_sequence != bool(info.is_list):
        what = f"a list of {info.elements}" if info.is_list else _expected(kind)
        raise UsageError(f"{name} takes {what}, not {value!r}")
    items = list(value) if is_sequence else [value]
    for item in items:
        if not _fits(kind, item):
            raise UsageError(f"{name} takes {_expected(kind)}, not {item!r}")
    return items


def add_write(writes: c_void_p, tag: c_void_p, info: _native.TagInfo, value: Any) -> None:
    """Adds one write to a handle of the library. Raises UsageError for what does not fit; nothing was added then."""
    library = _native.library()
    kind, name = Kind(info.kind), _native.text(info.name)
    if isinstance(value, str) and kind != Kind.STRING:
        # As on the command line: "automatic", "T#1m30s", "21.5".
        _native.check(library.ac500_add_text(writes, tag, _native.encode(value)), name)
        return
    items = _elements(kind, name, info, value)
    function, elements = _array_for(kind, items, name)
    _native.check(getattr(library, function)(writes, tag, elements, c_size_t(len(items))), name)


def expect_value(writes: c_void_p, index: int, info: _native.TagInfo, value: Any) -> None:
    """The PLC must hold this at the tag of write number ``index`` of a handle of the library. Takes what a write takes, and
    raises UsageError for what the tag never holds: another value than the given one would be expected in its place."""
    kind, name = Kind(info.kind), _native.text(info.name)
    if isinstance(value, str) and kind != Kind.STRING:
        shown = value
    else:
        shown = ",".join(_text_of(kind, item, name) for item in _elements(kind, name, info, value))
    _native.check(_native.library().ac500_expect_text(writes, index, _native.encode(shown)), name)


def _text_of(kind: Kind, item: Any, name: str) -> str:
    """An element as ac500-host takes it behind TAG=, and as the same value to the last bit."""
    if kind == Kind.BOOL:
        return "1" if item else "0"
    if kind in (Kind.INT64, Kind.UINT64):
        return str(_integer(item, kind, name))
    if kind == Kind.DOUBLE:
        # With all its digits: rounded first to 17 of them, and then to a REAL, it may become another one.
        return str(decimal.Decimal(float(item)))
    if kind == Kind.STRING:
        escaped = item.replace("\\", "\\\\").replace('"', '\\"')
        return f'"{escaped}"'
    count, rest = divmod(_nanoseconds(item), _NS_OF_COUNT[kind])
    if rest or not 0 <= count < 2**32:
        unit = "milliseconds" if _NS_OF_COUNT[kind] == 1_000_000 else "seconds"
        raise UsageError(f"{name} never holds {item!r}: it counts {unit} from 0 to {2**32 - 1}")
    return str(count)
