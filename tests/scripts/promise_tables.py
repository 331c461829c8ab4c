"""The tables of a page that name, in their last column, what shows that a promise is kept; and the tests that there are."""
import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def cells(line):
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


def promises(text, heading, name):
    """Of each table whose last column has that heading its rows: (first cell, what `name` finds in the last)."""
    rows = []
    columns = None
    for line in text.splitlines():
        if not line.startswith("|"):
            columns = None
        elif columns is None:
            columns = cells(line)
        elif columns[-1] == heading and not set(line) <= set("|- "):
            row = cells(line)
            rows.append((row[0], re.findall(name, row[-1])))
    return rows


def existing_tests():
    """"Suite.Name" of each test in C++."""
    found = set()
    for source in (ROOT / "tests").rglob("*.cpp"):
        found.update(".".join(names) for names in re.findall(r"^TEST(?:_[FP])?\(\s*(\w+),\s*(\w+)\)", source.read_text(),
                                                             re.MULTILINE))
    return found
