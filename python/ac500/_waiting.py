"""Waiting in slices: Python handles Ctrl-C between two calls into the library only."""

from __future__ import annotations

import math
import time
from typing import Optional

from .errors import UsageError

_SLICE_SECONDS = 0.2


class Deadline:
    """``timeout`` seconds from now. None and infinity: never."""

    def __init__(self, timeout: Optional[float]) -> None:
        seconds = math.inf if timeout is None else timeout
        if math.isnan(seconds):
            raise UsageError(f"timeout is {timeout}; give seconds, or math.inf to wait without an end")
        self._at = time.monotonic() + seconds

    @property
    def is_over(self) -> bool:
        return time.monotonic() >= self._at

    @property
    def slice_ms(self) -> int:
        """How long to wait until it is asked again; 0 when it is over."""
        return int(1000 * max(0.0, min(_SLICE_SECONDS, self._at - time.monotonic())))
