"""Tags that are read in every cycle, and what is new of them."""

from __future__ import annotations

import asyncio
import collections
import contextlib
import ctypes
import os
import threading
from ctypes import c_int, c_void_p
from typing import Callable, Deque, Iterator, List, Optional

from . import _native
from ._closing import Closing
from ._waiting import Deadline
from .errors import UsageError
from .values import Value, take_values

__all__ = ["Watch"]

_ON_CHANGE, _ON_RECEPTION = 0, 1


class Watch(Closing):
    """News of some tags, one value at a time: ``for value in watch`` and ``async for value in watch``.

    Whoever is slow misses values that were replaced meanwhile, never the latest ones. It ends when it is closed, when its
    PLC is closed, and with the ``with`` block that it stands in. To be used by one thread, or one task of an event loop,
    at a time.
    """

    _noun = "watch"

    def __init__(self, plc: c_void_p, names: List[str], on_reception: bool) -> None:
        self._waiting: Deque[Value] = collections.deque()
        # Held while the handle is closed, and while it gives what an event loop waits for: any thread may close the PLC. A
        # signal handler of the thread that closes may do so again.
        self._lock = threading.RLock()
        self._wake: Optional[Callable[[], None]] = None  # ends a wait of the event loop
        handle = c_void_p()
        flags = _ON_RECEPTION if on_reception else _ON_CHANGE
        _native.check(
            _native.library().ac500_subscribe(
                plc, _native.tag_names(names), len(names), flags, None, None, ctypes.byref(handle)
            )
        )
        self._hold(handle)

    def next(self, timeout: Optional[float] = None) -> Value:
        """The next value. Raises TimeoutError when none came within ``timeout`` seconds, and StopIteration when there will
        be no more. None and math.inf wait without an end, 0 does not wait."""
        deadline = Deadline(timeout)
        while not self._waiting:
            if not self._take(deadline.slice_ms) and deadline.is_over:
                raise TimeoutError(f"nothing new within {timeout:g} s")
        return self._waiting.popleft()

    def _take(self, milliseconds: int) -> bool:
        """Waits for an event. Did one come? StopIteration when none ever will."""
        self._refuse_after_fork()
        if self._handle is None:
            raise StopIteration
        values = c_void_p()
        result = _native.library().ac500_next_event(self._handle, milliseconds, ctypes.byref(values))
        if result == _native.NOTHING:
            return False
        if result == _native.CLOSED:
            self.close()
            raise StopIteration
        _native.check(result)
        self._waiting.extend(take_values(values))
        return True

    def close(self) -> None:
        """Ends it. May be called again. After a fork() the child only forgets it."""
        if self._forget_after_fork():
            return
        with self._lock:
            handle, self._handle = self._handle, None
            self._waiting.clear()
            wake = self._wake
            if wake is not None:
                wake()
            if handle is not None:
                # A PLC that was closed before has ended it already.
                _native.library().ac500_unsubscribe(handle)

    def __iter__(self) -> Iterator[Value]:
        return self

    def __next__(self) -> Value:
        return self.next()

    def __aiter__(self) -> Watch:
        return self

    async def __anext__(self) -> Value:
        if self._wake is not None and self._handle is not None:
            raise UsageError("a watch is waited for by one task at a time; open another one")
        try:
            while not self._waiting:
                if not self._take(0):
                    await self._until_readable()
            return self._waiting.popleft()
        except StopIteration:
            raise StopAsyncIteration from None

    async def _until_readable(self) -> None:
        loop = asyncio.get_running_loop()
        ready = asyncio.Event()

        def wake_from_anywhere() -> None:
            with contextlib.suppress(RuntimeError):  # the loop was closed, and nobody waits in it
                loop.call_soon_threadsafe(ready.set)

        descriptor = self._descriptor_waking(wake_from_anywhere)
        if descriptor is None:
            return

        def wake(readable: int) -> None:
            loop.remove_reader(readable)
            ready.set()

        try:
            loop.add_reader(descriptor, wake, descriptor)
            await ready.wait()
        finally:
            self._wake = None
            loop.remove_reader(descriptor)
            os.close(descriptor)

    def _descriptor_waking(self, wake: Callable[[], None]) -> Optional[int]:
        """What is readable when something is new, to be closed by the caller; None when the watch is closed. ``wake`` is
        called when it is closed later.

        It is a descriptor of its own: that of the library is closed with the watch, and the next thing that is opened
        gets its number, while the loop still listens for the one before.
        """
        with self._lock:
            if self._handle is None:
                return None
            descriptor = c_int()
            _native.check(_native.library().ac500_event_fd(self._handle, ctypes.byref(descriptor)))
            own = os.dup(descriptor.value)
            self._wake = wake
            return own

    async def __aenter__(self) -> Watch:
        return self

    async def __aexit__(self, *_: object) -> None:
        self.close()
