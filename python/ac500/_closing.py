"""What is closed once: at the end of a ``with`` block, by hand, or when nothing holds it any more."""

from __future__ import annotations

import contextlib
import os
from ctypes import c_void_p
from types import TracebackType
from typing import Optional, Type, TypeVar

from .errors import Error, UsageError

_Self = TypeVar("_Self", bound="Closing")


class Closing:
    """Holds a handle of a library until close(), which may be called again.

    A process that is forked later cannot use the handle: the threads behind it are not there, and a lock that one of them
    held is never let go of. So the library is not called with it there, and no lock is taken.
    """

    _noun = "handle"  # what it is, for messages
    _handle: Optional[c_void_p] = None
    _process = 0  # that opened it

    def _hold(self, handle: c_void_p) -> None:
        self._handle = handle
        self._process = os.getpid()

    def _is_of_a_parent(self) -> bool:
        return self._handle is not None and self._process != os.getpid()

    def _refuse_after_fork(self) -> None:
        if self._is_of_a_parent():
            raise UsageError(
                f"this {self._noun} was opened before a fork(): the child cannot use it; open one in the child"
            )

    def _forget_after_fork(self) -> bool:
        """Was it for the parent alone to close?"""
        is_of_a_parent = self._is_of_a_parent()
        if is_of_a_parent:
            self._handle = None
        return is_of_a_parent

    def close(self) -> None:
        raise NotImplementedError

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __del__(self) -> None:
        if self._handle is not None:
            with contextlib.suppress(Error):  # nobody is there to be told
                self.close()
