"""Reads, writes and watches the variables of AC500 PLCs, by their names.

    import ac500

    with ac500.connect("192.168.0.10", symbols="plant.json") as plc:
        plc.write("Main.setpoint", 21.5)
        print(plc.read("Main.setpoint"))
        for value in plc.watch("Main.temperature"):
            print(value.text, value.state)

It stands on the C library libac500client, which the environment names in AC500_CLIENT unless it is installed.
"""

from .errors import (
    ClosedError,
    Error,
    FileError,
    HandshakeError,
    InternalError,
    NameNotFoundError,
    NotFreshError,
    Outcome,
    OutOfMemoryError,
    ProgramError,
    RequestError,
    TcpError,
    UsageError,
    WriteError,
)
from .plc import Plc, Status, connect
from .tag import Tag
from .values import Kind, PlcScalar, PlcValue, State, Value
from .watch import Watch

__version__ = "0.1.0"

__all__ = [
    "ClosedError",
    "Error",
    "FileError",
    "HandshakeError",
    "InternalError",
    "Kind",
    "NameNotFoundError",
    "NotFreshError",
    "OutOfMemoryError",
    "Outcome",
    "Plc",
    "PlcScalar",
    "PlcValue",
    "ProgramError",
    "RequestError",
    "State",
    "Status",
    "Tag",
    "TcpError",
    "UsageError",
    "Value",
    "Watch",
    "WriteError",
    "connect",
    "__version__",
]
