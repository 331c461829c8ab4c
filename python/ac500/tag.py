"""What the symbol file knows of a tag."""

from __future__ import annotations

from typing import Optional

from . import _native
from .values import Kind

__all__ = ["Tag"]


class Tag:
    """A tag as the symbol file describes it."""

    __slots__ = (
        "comment",
        "elements",
        "is_list",
        "is_readonly",
        "kind",
        "maximum",
        "minimum",
        "name",
        "type",
        "unit",
        "value_names",
    )

    name: str
    type: str  # as the symbol file spells it: "INT", "STRING(20)"
    kind: Kind
    unit: str  # absent texts are ""
    comment: str
    elements: int
    is_list: bool
    is_readonly: bool
    minimum: Optional[float]  # in the unit
    maximum: Optional[float]
    value_names: str  # of an enumeration: "0=off, 1=automatic"

    def __init__(self, info: _native.TagInfo) -> None:
        self.name = _native.text(info.name)
        self.type = _native.text(info.type)
        self.kind = Kind(info.kind)
        self.unit = _native.text(info.unit)
        self.comment = _native.text(info.comment)
        self.elements = info.elements
        self.is_list = bool(info.is_list)
        self.is_readonly = bool(info.is_readonly)
        self.minimum = info.minimum if info.has_minimum else None
        self.maximum = info.maximum if info.has_maximum else None
        self.value_names = _native.text(info.value_names)

    def __repr__(self) -> str:
        return f"<ac500.Tag {self.name}: {self.type}>"
