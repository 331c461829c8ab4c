"""A simulated PLC inside the program, for tests of programs that use this package.

    with simulator.start("plant.json") as simulated, ac500.connect(simulated.address, "plant.json") as plc:
        simulated["Main.setpoint"] = 21.5
        simulated.inject("silence:count=2")
        ...

It stands on the C library libac500simulator, which the environment names in AC500_SIMULATOR unless it is installed.
"""

from __future__ import annotations

import ctypes
from ctypes import POINTER, c_char, c_char_p, c_double, c_int, c_size_t, c_uint64, c_void_p
from typing import Any, Dict, List, Optional, Sequence, Tuple, Union

from . import _native
from ._closing import Closing
from .errors import ClosedError, UsageError, error_of

__all__ = ["Simulator", "start"]

_SONAME = "libac500simulator.so.0"
_MOST_TEXT_BYTES = 4096


class Settings(ctypes.Structure):
    _fields_ = [
        ("struct_size", c_size_t),
        ("seed", c_uint64),
        ("faults", POINTER(c_char_p)),
        ("fault_count", c_size_t),
    ]


class Counters(ctypes.Structure):
    _fields_ = [
        ("struct_size", c_size_t),
        ("connections", c_uint64),
        ("requests", c_uint64),
        ("reads", c_uint64),
        ("writes", c_uint64),
        ("refused", c_uint64),
        ("faults", c_uint64),
    ]


STRUCTURES: Dict[str, Any] = {"ac500_simulator_settings": Settings, "ac500_simulator_counters": Counters}

_handle = POINTER(c_void_p)
FUNCTIONS: List[Tuple[str, Any, List[Any]]] = [
    ("ac500_simulator_last_error", c_char_p, []),
    ("ac500_simulator_settings_init", c_int, [POINTER(Settings), c_size_t]),
    ("ac500_simulator_start", c_int, [c_char_p, POINTER(Settings), _handle]),
    ("ac500_simulator_stop", c_int, [c_void_p]),
    ("ac500_simulator_address", c_char_p, [c_void_p]),
    ("ac500_simulator_set_number", c_int, [c_void_p, c_char_p, c_double]),
    ("ac500_simulator_get_number", c_int, [c_void_p, c_char_p, POINTER(c_double)]),
    ("ac500_simulator_set_text", c_int, [c_void_p, c_char_p, c_char_p]),
    ("ac500_simulator_get_text", c_int, [c_void_p, c_char_p, POINTER(c_char), c_size_t]),
    ("ac500_simulator_inject", c_int, [c_void_p, c_char_p]),
    ("ac500_simulator_restart", c_int, [c_void_p]),
    ("ac500_simulator_drop_connections", c_int, [c_void_p]),
    ("ac500_simulator_get_counters", c_int, [c_void_p, POINTER(Counters), c_size_t]),
]

_loaded: List[ctypes.CDLL] = []


def _library() -> ctypes.CDLL:
    if not _loaded:
        _loaded.append(_native.bind(_native.load_library("AC500_SIMULATOR", _SONAME), FUNCTIONS))
    return _loaded[0]


def _check(result: int) -> None:
    if result != _native.OK:
        raise error_of(result, _native.text(_library().ac500_simulator_last_error()))


class Simulator(Closing):
    """A simulated PLC on 127.0.0.1 and a free port. Every method may be called by any thread.

    Names are those of the symbol file and of the simulator itself (Sim.*), one element at a time: "Main.recipe[3]".
    """

    _noun = "simulator"

    def __init__(self, symbols: str, faults: Sequence[str], seed: int) -> None:
        library = _library()
        settings = Settings()
        _check(library.ac500_simulator_settings_init(settings, ctypes.sizeof(settings)))
        rules = _native.texts(_native.encode(fault) for fault in faults)  # alive until the library has copied them
        settings.seed = seed
        settings.faults = rules
        settings.fault_count = len(faults)
        handle = c_void_p()
        _check(library.ac500_simulator_start(_native.encode(symbols), settings, ctypes.byref(handle)))
        self._hold(handle)
        self.address = _native.text(library.ac500_simulator_address(handle))

    def __setitem__(self, name: str, value: Union[bool, int, float, str]) -> None:
        """Sets a variable, as the PLC's program would. A text is taken for every variable: "16#FF", "T#1m30s"."""
        if isinstance(value, bool):
            shown = "TRUE" if value else "FALSE"
        elif isinstance(value, int):
            if value.bit_length() > 64:  # Python does not even print a very large one
                raise UsageError(f"{name} is set to more than the 64 bits of the largest variable")
            shown = str(value)
        elif isinstance(value, str):
            shown = value
        elif isinstance(value, float):
            _check(_library().ac500_simulator_set_number(self._running(), _native.tag_name(name), value))
            return
        else:
            raise UsageError(f"{name} is set to a bool, a number or a str, not to {value!r}")
        _check(_library().ac500_simulator_set_text(self._running(), _native.tag_name(name), _native.encode(shown)))

    def __getitem__(self, name: str) -> float:
        """The number that a variable has; of a boolean 0 or 1."""
        number = c_double()
        _check(_library().ac500_simulator_get_number(self._running(), _native.tag_name(name), ctypes.byref(number)))
        return number.value

    def text(self, name: str) -> str:
        """What a variable has, as text: "TRUE", "-12", "1.5", a STRING in quotes."""
        buffer = ctypes.create_string_buffer(_MOST_TEXT_BYTES)
        _check(_library().ac500_simulator_get_text(self._running(), _native.tag_name(name), buffer, len(buffer)))
        return _native.text(buffer.value)

    def inject(self, fault: str) -> None:
        """The next good replies meet a fault: "silence", "delay:ms=200,count=3"; "none" takes it back."""
        _check(_library().ac500_simulator_inject(self._running(), _native.encode(fault)))

    def restart(self) -> None:
        """The PLC restarts: every session ends, memory stays."""
        _check(_library().ac500_simulator_restart(self._running()))

    def drop_connections(self) -> None:
        """Closes every connection, as if the link had gone."""
        _check(_library().ac500_simulator_drop_connections(self._running()))

    def counters(self) -> Dict[str, int]:
        """How many "connections", "requests", "reads", "writes", "refused" and "faults" there were since the start."""
        raw = Counters()
        _check(_library().ac500_simulator_get_counters(self._running(), raw, ctypes.sizeof(raw)))
        return {field[0]: int(getattr(raw, field[0])) for field in Counters._fields_[1:]}

    def stop(self) -> None:
        """Closes all connections and frees the port. May be called again. After a fork() the child only forgets it."""
        if self._forget_after_fork():
            return
        handle, self._handle = self._handle, None
        if handle is not None:
            _check(_library().ac500_simulator_stop(handle))

    close = stop

    def __repr__(self) -> str:
        return f"<ac500.simulator.Simulator {self.address}{'' if self._handle else ', stopped'}>"

    def _running(self) -> c_void_p:
        self._refuse_after_fork()
        handle = self._handle
        if handle is None:
            raise ClosedError("the simulator was stopped")
        return handle


def start(symbols: Any, *, faults: Sequence[str] = (), seed: int = 1) -> Simulator:
    """Starts a simulated PLC with the variables of a symbol file. ``faults``: rules as ac500-sim takes them, such as
    "reset:every=50"; the same ``seed`` gives the same run."""
    return Simulator(str(symbols), faults, seed)
