"""The pages of the site, made of the pages of the project: links that lead out of docs/ get another target, and what the
two dialects of Markdown differ in is written so that mkdocs understands it as the repository view does.

A link from a page leads
  - to a page of the site: there;
  - to another file of the project: to a copy of it, which is a page of the site, too, below source/;
  - to a folder: nowhere, its text is left;
  - to another host: there, for a person to follow.

The manual pages are pages, too, as a terminal shows them.
"""
import os
import re
import shutil
import subprocess
from pathlib import Path

# Pages that do not lie in docs/, and what they are called in the site.
FURTHER_PAGES = {"README.md": "index.md", "CONTRIBUTING.md": "contributing.md", "examples/README.md": "examples.md"}

FENCED = r"^(?P<fence>```|~~~).*?^(?P=fence)[ ]*$"
CODE = r"`[^`\n]*`"
LINK = r"(?P<image>!?)\[(?P<text>(?:`[^`\n]*`|[^\]`])*)\]\((?P<target>[^()\s]+)\)"
PARTS = re.compile(f"{FENCED}|{LINK}|{CODE}", re.MULTILINE | re.DOTALL)
LANGUAGES = {".h": "cpp", ".cpp": "cpp", ".json": "json", ".py": "python", ".cmake": "cmake", ".dot": "dot"}


class Site:
    """Gathers pages below `folder`. After gather() they are complete."""

    def __init__(self, root, folder):
        self.root = root
        self.folder = folder
        self.places = {}  # of a project's file, relative to its root: where it stands in the site
        self.sources = []  # files that pages link to, in the order in which they are met

    def gather(self):
        docs = self.root / "docs"
        pages = [path for path in sorted(docs.rglob("*")) if path.suffix in (".md", ".svg", ".png") or path.name.endswith(".schema.json")]
        for path in pages:
            self.places[path.relative_to(self.root).as_posix()] = path.relative_to(docs).as_posix()
        for source, place in FURTHER_PAGES.items():
            self.places.setdefault(source, place)
        for source, place in list(self.places.items()):
            # The first page of the repository is for people who stand before it; the site has one of its own.
            if source.endswith(".png"):
                self.copy(source, place)
            elif source != "README.md":
                self.put(place, self.content(source))
        for manual in sorted((docs / "man").glob("*.1")):
            self.places[manual.relative_to(self.root).as_posix()] = f"man/{manual.name}.md"
            self.put(f"man/{manual.name}.md", listing(f"{manual.stem}(1)", "text", as_in_terminal(manual)))
        for source in self.sources:
            self.put(self.places[source], self.listing(source))

    def put(self, place, text):
        (self.folder / place).parent.mkdir(parents=True, exist_ok=True)
        (self.folder / place).write_text(text, encoding="utf-8")

    def copy(self, source, place):
        (self.folder / place).parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(self.root / source, self.folder / place)

    def content(self, source):
        text = (self.root / source).read_text(encoding="utf-8")
        if not source.endswith(".md"):
            return text
        return for_mkdocs(self.with_links_of_the_site(source, text))

    def with_links_of_the_site(self, source, text):
        def replaced(match):
            if match["target"] is None or re.match(r"\w+:|#", match["target"]):
                return match[0]
            path, hash_sign, anchor = match["target"].partition("#")
            target = os.path.normpath(os.path.join(os.path.dirname(source), path))
            if (self.root / target).is_dir():
                return match["text"]
            if not (self.root / target).is_file():
                return match[0]  # leads nowhere, and the checks of the site say so
            if target not in self.places:
                self.places[target] = f"source/{target}.md"
                self.sources.append(target)
            place = os.path.relpath(self.places[target], os.path.dirname(self.places[source]) or ".")
            return f"{match['image']}[{match['text']}]({place}{hash_sign}{anchor})"

        return PARTS.sub(replaced, text)

    def listing(self, source):
        return listing(source, LANGUAGES.get(Path(source).suffix, "text"), (self.root / source).read_text(encoding="utf-8"))


def listing(title, language, text):
    text = text.strip("\n")
    return f"# {title}\n\n~~~~~~{language}\n{text}\n~~~~~~\n"


def as_in_terminal(manual):
    """Without the marks for bold and underlined letters."""
    command = ["groff", "-mdoc", "-Tutf8", "-P-cbou", manual]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


# ---- dialects

ITEM = re.compile(r"^( *)([-*]|\d+\.) +")


def for_mkdocs(text):
    """Items of lists are indented by four columns, as mkdocs wants it whatever the item's mark, an item that follows a
    paragraph gets an empty line before it, and a bar inside code in a table's cell stands there without the backslash that
    the repository view needs."""
    lines = []
    contents = []  # of the list items that are open: the column of their text
    fence = ""
    blank = True  # the line before
    in_item = False  # the block of lines before began with an item
    for line in text.split("\n"):
        mark = re.match(r"^ *(```|~~~)", line)
        if mark and fence in ("", mark[1]):
            fence = "" if fence else mark[1]
        elif not fence and line.strip():
            column = len(line) - len(line.lstrip(" "))
            item = ITEM.match(line)
            # A line right below a paragraph belongs to it, however it is indented.
            if item or blank:
                while contents and column < contents[-1]:
                    contents.pop()
            if contents:
                line = " " * (4 * len(contents) + max(column - contents[-1], 0)) + line.lstrip(" ")
            if item:
                if not blank and not in_item:
                    lines.append("")  # mkdocs would take it for a part of the paragraph above
                contents.append(len(item[0]))
            if item or blank:
                in_item = bool(item)
        if line.lstrip().startswith("|") and not fence:
            line = re.sub(CODE, lambda code: code[0].replace("\\|", "|"), line)
        blank = not line.strip()
        lines.append(line)
    return "\n".join(lines)
