"""What became of deliberate errors: the results that a run keeps, the arguments for those that no test should notice, and
the parts of the pages about them; for scripts/mutate and scripts/mutate-tools.
"""
import collections
import json
import threading

from lib.mutations import KINDS
from lib.project import ROOT, CommandFailed


class Results:
    """Lines of JSON in a file, one for each error that was tried; later ones hide earlier ones. Thread-safe."""

    def __init__(self, file):
        self.file = file
        self._writing = threading.Lock()

    def read(self):
        results = {}
        if self.file.exists():
            for line in self.file.read_text().splitlines():
                entry = json.loads(line)
                results[entry["key"]] = entry
        return results

    def append(self, mutation, outcome, by):
        line = json.dumps({"key": mutation.key, "file": mutation.file, "line": mutation.line, "kind": mutation.kind,
                           "old": mutation.old, "new": mutation.new, "outcome": outcome, "by": by})
        with self._writing, self.file.open("a") as results:
            results.write(line + "\n")


def read_arguments(file):
    """(file, old, new) to the argument."""
    arguments, place = {}, []
    for line in file.read_text().splitlines() if file.exists() else ():
        if not line or line.startswith("#"):
            continue
        if not line.startswith(" "):
            place = [line.strip()]
        elif line.strip().startswith(("- ", "+ ")) and len(place) < 3:
            place.append(line.strip()[2:])
        elif len(place) == 3:
            key = tuple(place)
            arguments[key] = f"{arguments.get(key, '')} {line.strip()}".strip()
        else:
            raise CommandFailed(f"{file.relative_to(ROOT)}: cannot read \"{line}\": its head says how entries look")
    return arguments


def is_argued(entry, arguments):
    return (entry["file"], entry["old"], entry["new"]) in arguments


def code_span(text):
    fence = "``" if "`" in text else "`"
    return f"{fence}{text}{fence}"


def survivors_text(survivors, arguments, file):
    """How many are argued, which is read where it is argued, and the others one by one."""
    left = [entry for entry in survivors if not is_argued(entry, arguments)]
    text = (f"{len(survivors)}. Of {len(survivors) - len(left)} of them "
            f"[{file.name}](../../{file.relative_to(ROOT)}) argues that no test should notice.")
    if not left:
        return text
    return text + " Not argued yet:\n\n" + "\n".join(
        f"- `{entry['file']}`: {code_span(entry['old'])} became {code_span(entry['new'])}."
        for entry in sorted(left, key=lambda e: (e["file"], e["line"])))


def counts_by(name, done):
    counts = collections.defaultdict(collections.Counter)
    for entry in done:
        counts[entry[name]][entry["outcome"]] += 1
    return counts


def kind_rows(done):
    by_kind = counts_by("kind", done)
    total = sum(by_kind.values(), collections.Counter())
    row = "| {} | {} | {} | {} | {} |".format
    return "\n".join(
        row(name, sum(c.values()) - c["not compiled"], c["noticed"], c["same code"], c["survived"])
        for name, c in [*((kind, by_kind[kind]) for kind in KINDS if kind in by_kind), ("all", total)])


def file_rows(done):
    return "\n".join(f"| {file} | {c['noticed']} | {c['survived']} |"
                     for file, c in sorted(counts_by("file", done).items()))
