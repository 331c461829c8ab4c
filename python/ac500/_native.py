"""libac500client as ctypes sees it: one line for each function of ac500_client.h, which says what they do."""

from __future__ import annotations

import ctypes
import ctypes.util
import os
from ctypes import POINTER, c_char, c_char_p, c_double, c_int, c_int32, c_int64, c_size_t, c_uint64, c_void_p
from typing import Any, Dict, Iterable, List, Tuple

from .errors import FileError, error_of

OK, USAGE, FILE, NAME, TCP, HANDSHAKE, REQUEST, OUTPUT, MEMORY, CLOSED, INTERNAL, NOTHING, PROGRAM = range(13)


class Settings(ctypes.Structure):
    _fields_ = [
        ("struct_size", c_size_t),
        ("driver", c_char_p),
        ("time_limit_ms", c_int32),
        ("reply_timeout_ms", c_int32),
        ("cycle_ms", c_int32),
        ("max_request_words", c_int32),
        ("retry_limit", c_int32),
        ("simulator", c_int32),
        ("handshake", c_char_p),
    ]


class Status(ctypes.Structure):
    _fields_ = [
        ("struct_size", c_size_t),
        ("is_online", c_int32),
        ("last_failure", c_int32),
        ("events", c_int64),
        ("last_failure_ms", c_int64),
        ("frames_sent", c_int64),
        ("frames_accepted", c_int64),
        ("bytes_sent", c_int64),
        ("bytes_received", c_int64),
        ("retries", c_int64),
        ("timeouts", c_int64),
        ("refusals", c_int64),
        ("bad_replies", c_int64),
        ("abandoned", c_int64),
        ("connections", c_int64),
        ("handshakes", c_int64),
        ("cycles", c_int64),
        ("cycle_min_us", c_int64),
        ("cycle_median_us", c_int64),
        ("cycle_max_us", c_int64),
        ("state", c_char * 32),
        ("last_failure_text", c_char * 512),
        ("handshake_text", c_char * 512),
    ]


class TagInfo(ctypes.Structure):
    _fields_ = [
        ("struct_size", c_size_t),
        ("name", c_char_p),
        ("type", c_char_p),
        ("unit", c_char_p),
        ("comment", c_char_p),
        ("kind", c_int32),
        ("elements", c_int32),
        ("is_list", c_int32),
        ("is_readonly", c_int32),
        ("has_minimum", c_int32),
        ("has_maximum", c_int32),
        ("minimum", c_double),
        ("maximum", c_double),
        ("value_names", c_char_p),
    ]


class ValueInfo(ctypes.Structure):
    _fields_ = [
        ("struct_size", c_size_t),
        ("name", c_char_p),
        ("unit", c_char_p),
        ("kind", c_int32),
        ("state", c_int32),
        ("elements", c_int32),
        ("is_known", c_int32),
        ("is_list", c_int32),
        ("error", c_int32),
        ("age_ms", c_int64),
        ("received_unix_ms", c_int64),
        ("error_text", c_char_p),
    ]


class WriteOutcome(ctypes.Structure):
    _fields_ = [
        ("struct_size", c_size_t),
        ("name", c_char_p),
        ("outcome", c_int32),
        ("result", c_int32),
        ("error_text", c_char_p),
    ]


STRUCTURES: Dict[str, Any] = {
    "ac500_settings": Settings,
    "ac500_status": Status,
    "ac500_tag_info": TagInfo,
    "ac500_value_info": ValueInfo,
    "ac500_write_outcome": WriteOutcome,
}

_texts = POINTER(c_char_p)
_handle = POINTER(c_void_p)

# Name, result, arguments. A c_int result is one of the numbers above.
FUNCTIONS: List[Tuple[str, Any, List[Any]]] = [
    ("ac500_result_name", c_char_p, [c_int]),
    ("ac500_last_error", c_char_p, []),
    ("ac500_client_version", c_char_p, []),
    ("ac500_settings_init", c_int, [POINTER(Settings), c_size_t]),
    ("ac500_open", c_int, [c_char_p, c_char_p, POINTER(Settings), _handle]),
    ("ac500_close", c_int, [c_void_p]),
    ("ac500_wait_online", c_int, [c_void_p, c_int32]),
    ("ac500_get_status", c_int, [c_void_p, POINTER(Status), c_size_t]),
    ("ac500_find_tag", c_int, [c_void_p, c_char_p, _handle]),
    ("ac500_free_tag", c_int, [c_void_p]),
    ("ac500_get_tag_info", c_int, [c_void_p, POINTER(TagInfo), c_size_t]),
    ("ac500_browse", c_int, [c_void_p, c_char_p, _handle]),
    ("ac500_free_tag_list", c_int, [c_void_p]),
    ("ac500_tag_list_count", c_size_t, [c_void_p]),
    ("ac500_tag_list_get", c_int, [c_void_p, c_size_t, POINTER(TagInfo), c_size_t]),
    ("ac500_state_name", c_char_p, [c_int]),
    ("ac500_free_values", c_int, [c_void_p]),
    ("ac500_values_count", c_size_t, [c_void_p]),
    ("ac500_get_value_info", c_int, [c_void_p, c_size_t, POINTER(ValueInfo), c_size_t]),
    ("ac500_accept_stale", c_int, [c_void_p]),
    ("ac500_get_bools", c_int, [c_void_p, c_size_t, POINTER(c_int32), c_size_t]),
    ("ac500_get_int64s", c_int, [c_void_p, c_size_t, POINTER(c_int64), c_size_t]),
    ("ac500_get_uint64s", c_int, [c_void_p, c_size_t, POINTER(c_uint64), c_size_t]),
    ("ac500_get_doubles", c_int, [c_void_p, c_size_t, POINTER(c_double), c_size_t]),
    ("ac500_get_nanoseconds", c_int, [c_void_p, c_size_t, POINTER(c_int64), c_size_t]),
    ("ac500_get_strings", c_int, [c_void_p, c_size_t, _texts, c_size_t]),
    ("ac500_get_text", c_int, [c_void_p, c_size_t, _texts]),
    ("ac500_read", c_int, [c_void_p, _texts, c_size_t, _handle]),
    ("ac500_read_tags", c_int, [c_void_p, _handle, c_size_t, _handle]),
    ("ac500_latest", c_int, [c_void_p, _handle, c_size_t, _handle]),
    ("ac500_new_writes", c_int, [c_void_p, _handle]),
    ("ac500_free_writes", c_int, [c_void_p]),
    ("ac500_writes_count", c_size_t, [c_void_p]),
    ("ac500_add_bools", c_int, [c_void_p, c_void_p, POINTER(c_int32), c_size_t]),
    ("ac500_add_int64s", c_int, [c_void_p, c_void_p, POINTER(c_int64), c_size_t]),
    ("ac500_add_uint64s", c_int, [c_void_p, c_void_p, POINTER(c_uint64), c_size_t]),
    ("ac500_add_doubles", c_int, [c_void_p, c_void_p, POINTER(c_double), c_size_t]),
    ("ac500_add_strings", c_int, [c_void_p, c_void_p, _texts, c_size_t]),
    ("ac500_add_nanoseconds", c_int, [c_void_p, c_void_p, POINTER(c_int64), c_size_t]),
    ("ac500_add_text", c_int, [c_void_p, c_void_p, c_char_p]),
    ("ac500_expect_text", c_int, [c_void_p, c_size_t, c_char_p]),
    ("ac500_send_writes", c_int, [c_void_p, c_int32]),
    ("ac500_outcome_name", c_char_p, [c_int]),
    ("ac500_get_outcome", c_int, [c_void_p, c_size_t, POINTER(WriteOutcome), c_size_t]),
    ("ac500_subscribe", c_int, [c_void_p, _texts, c_size_t, c_int32, c_void_p, c_void_p, _handle]),
    ("ac500_unsubscribe", c_int, [c_void_p]),
    ("ac500_next_event", c_int, [c_void_p, c_int32, _handle]),
    ("ac500_event_fd", c_int, [c_void_p, POINTER(c_int)]),
]

# Shortcuts that C has and Python does not need.
LEFT_OUT = {
    "ac500_read_bool",
    "ac500_read_int64",
    "ac500_read_uint64",
    "ac500_read_double",
    "ac500_read_string",
    "ac500_read_text",
    "ac500_write_bool",
    "ac500_write_int64",
    "ac500_write_uint64",
    "ac500_write_double",
    "ac500_write_string",
    "ac500_write_text",
}

SONAME = "libac500client.so.0"


def load_library(variable: str, soname: str) -> ctypes.CDLL:
    """The library that the environment names, else where the system looks."""
    path = os.environ.get(variable, "") or soname
    try:
        return ctypes.CDLL(path)
    except OSError as error:
        raise FileError(
            f"{path} cannot be loaded: {error}; install the package of the library, or name the file in {variable}"
        ) from None


def bind(library: ctypes.CDLL, functions: List[Tuple[str, Any, List[Any]]]) -> ctypes.CDLL:
    for name, result, arguments in functions:
        try:
            function = getattr(library, name)
        except AttributeError:
            raise FileError(f"{library._name} has no function {name}: it is older than this package") from None
        function.restype = result
        function.argtypes = arguments
    return library


_loaded: List[ctypes.CDLL] = []


def library() -> ctypes.CDLL:
    if not _loaded:
        _loaded.append(bind(load_library("AC500_CLIENT", SONAME), FUNCTIONS))
    return _loaded[0]


def text(raw: "bytes | None") -> str:
    return (raw or b"").decode("utf-8", "replace")


def last_error() -> str:
    """What the library says, with the words of this package for those of C."""
    return text(library().ac500_last_error()).replace("AC500_ALLOW_NOT_FINITE", "allow_not_finite=True")


def check(result: int, name: "str | None" = None) -> None:
    """Raises what a result of the library says, unless all is well."""
    if result != OK:
        raise error_of(result, last_error(), name)


def texts(items: "Iterable[bytes]") -> Any:
    """Encoded texts as the library takes several."""
    encoded = list(items)
    return (c_char_p * len(encoded))(*encoded)


def tag_names(names: "Iterable[str]") -> Any:
    return texts(tag_name(name) for name in names)


def tag_name(name: str) -> bytes:
    if not isinstance(name, str):
        raise TypeError(f"a tag is named by a str, not by {name!r}")
    return encode(name, NAME)


def encode(item: str, result: int = USAGE) -> bytes:
    """A text as the library takes it. One with a null in it would be cut there without a word. ``result``: what it is to
    hold what is no character."""
    if "\0" in item:
        raise error_of(USAGE, f"{item!r} holds a character 0, which no text here may have")
    try:
        return item.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError:
        raise error_of(result, f"{item!r} holds half a character, which no text here may have") from None
