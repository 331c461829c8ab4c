"""What can go wrong, by the layer that failed: the same words as ac500-host uses, and the same numbers."""

from __future__ import annotations

from typing import Dict, Optional, Type

__all__ = [
    "Error",
    "UsageError",
    "FileError",
    "NameNotFoundError",
    "TcpError",
    "HandshakeError",
    "RequestError",
    "OutOfMemoryError",
    "ClosedError",
    "InternalError",
    "ProgramError",
    "NotFreshError",
    "WriteError",
]


class Error(Exception):
    """Something failed. ``layer`` is the word of the layer ("tcp"), ``code`` its number."""

    layer = "internal"
    code = 10

    def __init__(self, text: str) -> None:
        super().__init__(text)
        self.text = text

    def __str__(self) -> str:
        return f"{self.layer}: {self.text}"


class UsageError(Error, ValueError):
    """An argument, or a value that does not fit its variable."""

    layer, code = "usage", 1


class FileError(Error):
    """The symbol file or the driver library."""

    layer, code = "file", 2


class NameNotFoundError(Error, KeyError):
    """A name that does not resolve; the text says which names are near."""

    layer, code = "name", 3
    __str__ = Error.__str__


class TcpError(Error, ConnectionError):
    """The connection to the PLC."""

    layer, code = "tcp", 4


class HandshakeError(Error):
    """The two requests that open a session with the PLC."""

    layer, code = "handshake", 5


class RequestError(Error):
    """Reading and writing; also: no answer within the time limit."""

    layer, code = "request", 6


class OutOfMemoryError(Error):
    """There is no memory left; nothing was changed."""

    layer, code = "memory", 8


class ClosedError(Error):
    """The PLC was closed, before the call or while it waited."""

    layer, code = "closed", 9


class InternalError(Error):
    """A mistake of the library; please report the text."""

    layer, code = "internal", 10


class ProgramError(Error):
    """Another program is in the PLC than the symbols describe, by their guard: nothing is written, and no value passes."""

    layer, code = "program", 12


class NotFreshError(RequestError):
    """A value was asked for its number, and it is not known or stale; ``Value.latest`` gives a stale one, too."""


class Outcome:
    """What became of the write of one tag."""

    __slots__ = ("tag", "outcome", "layer", "text")

    def __init__(self, tag: str, outcome: str, layer: str, text: str) -> None:
        self.tag = tag
        self.outcome = outcome  # "done", "refused", "not sent", "unknown", "pending"
        self.layer = layer  # "ok", or the layer that failed
        self.text = text  # "" without an error

    def __repr__(self) -> str:
        return f"<ac500.Outcome {self.tag}: {self.outcome}{': ' + self.text if self.text else ''}>"


class WriteError(Error):
    """A write that was not done. ``outcomes`` says of each tag what became of it, by its name; ``outcome`` is that of the
    first that was not done: "refused" (the PLC has said no), "not sent" (nothing of it went out, and nothing will) or
    "unknown" (it went out, and nobody knows what the PLC made of it). "done" means that it was done, but that the PLC
    had another value when it was read back. It is an error of its layer, too: a TcpError, a RequestError, ..."""

    outcomes: Dict[str, Outcome]
    outcome: str


_CLASSES: Dict[int, Type[Error]] = {
    error.code: error
    for error in (
        UsageError,
        FileError,
        NameNotFoundError,
        TcpError,
        HandshakeError,
        RequestError,
        OutOfMemoryError,
        ClosedError,
        InternalError,
        ProgramError,
    )
}


def error_of(code: int, text: str, name: Optional[str] = None) -> Error:
    """The exception for a result of the library. ``name``: the tag that it is about, if the text does not say so."""
    if name and name not in text:
        text = f"{name}: {text}"
    return _CLASSES.get(code, InternalError)(text)


_WRITE_CLASSES: Dict[int, Type[WriteError]] = {
    code: type("WriteError", (WriteError, error), {"__str__": Error.__str__, "__module__": __name__})
    for code, error in _CLASSES.items()
}


def write_error_of(code: int, text: str, outcomes: Dict[str, Outcome], outcome: str) -> WriteError:
    error = _WRITE_CLASSES.get(code, _WRITE_CLASSES[InternalError.code])(text)
    error.outcomes = outcomes
    error.outcome = outcome
    return error
