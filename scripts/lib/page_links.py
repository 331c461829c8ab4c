#!/usr/bin/env python3
"""Follows the links of pages in Markdown.

  scripts/lib/page_links.py FILE_OR_FOLDER...      a folder: all pages below it

Names every link to a file that is not there or to a heading that its page does not have; links to other hosts are not
followed. Exits with 0 when there are links and all of them lead somewhere.
"""
import re
import sys
from pathlib import Path

FENCED = re.compile(r"^(```|~~~).*?^\1", re.MULTILINE | re.DOTALL)
CODE = re.compile(r"`[^`\n]*`")
LINK = re.compile(r"\]\(([^()\s]+)\)")
HEADING = re.compile(r"^#+ (.*)$", re.MULTILINE)


def anchor_of(heading):
    """As the renderers of Markdown in use name it."""
    kept = re.sub(r"[^\w\- ]", "", heading.strip().lower())
    return kept.replace(" ", "-")


def anchors_of(page):
    return {anchor_of(heading) for heading in HEADING.findall(FENCED.sub("", page.read_text()))}


def problem_of(page, target):
    """None when the link leads somewhere."""
    path, _, anchor = target.partition("#")
    file = page.parent / path if path else page
    if not file.exists():
        return "is not there"
    if anchor and anchor not in anchors_of(file):
        return f"has no heading \"{anchor}\""
    return None


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    links = 0
    problems = []
    for place in map(Path, sys.argv[1:]):
        for page in sorted(place.rglob("*.md")) if place.is_dir() else [place]:
            for target in LINK.findall(CODE.sub("", FENCED.sub("", page.read_text()))):
                if re.match(r"\w+:", target):
                    continue
                links += 1
                if problem := problem_of(page, target):
                    problems.append(f"{page}: {target} {problem}")
    print("\n".join(problems) if problems else f"{links} links lead somewhere")
    return 1 if problems or links == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
