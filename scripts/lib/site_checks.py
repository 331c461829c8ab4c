"""What must hold of the site that was built: a browser loads nothing from elsewhere, and every link within the site leads
somewhere. Links that a person may follow to other hosts are fine.
"""
import os
import re
from html.parser import HTMLParser
from urllib.parse import unquote

# Attributes whose target a browser fetches by itself, or when a form is sent. A link's href is fetched only of <link>.
LOADED = {"src", "srcset", "poster", "data", "action", "formaction", "background", "manifest", "xlink:href"}
ELSEWHERE = re.compile(r"^\s*(?:[a-z][a-z0-9+.-]*:)?//", re.IGNORECASE)
# In a style sheet, a script or a picture any address is too much, but for the names of vocabularies, which nobody fetches.
ADDRESS = re.compile(r"""(?:https?|ftp|wss?):(?://)|url\(\s*['"]?//|@import|["'`]//\w""", re.IGNORECASE)
VOCABULARY = re.compile(r"""xmlns(?::\w+)?=["'][^"']*["']""")


class Page(HTMLParser):
    """One page: where its headings are, where its links lead, what it loads, and the words of its sections."""

    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.anchors = set()
        self.links = []
        self.loads = []
        self.sections = []  # [anchor, title, text]
        self.in_article = self.in_heading = self.in_style = False
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        attributes = dict(attrs)
        if attributes.get("id"):
            self.anchors.add(attributes["id"])
        if tag == "a" and attributes.get("href"):
            self.links.append(attributes["href"])
        for name, value in attrs:
            if value and (name in LOADED or (name == "href" and tag != "a")):
                self.loads += [one.split()[0] for one in value.split(",") if one.strip()] if name == "srcset" else [value]
            if value and name == "style" and ADDRESS.search(value):
                self.loads.append("//" + value)
        if tag == "meta" and (attributes.get("http-equiv") or "").lower() == "refresh":
            self.loads.append("//" + (attributes.get("content") or ""))
        self.in_style = tag in ("style", "script")
        if tag == "article":
            self.in_article = True
        if self.in_article and re.fullmatch("h[1-3]", tag):
            self.in_heading = True
            self.sections.append([attributes.get("id", ""), "", ""])

    def handle_endtag(self, tag):
        if re.fullmatch("h[1-3]", tag):
            self.in_heading = False
        if tag == "article":
            self.in_article = False
        self.in_style = False

    def handle_data(self, data):
        if self.in_style and ADDRESS.search(data):
            self.loads.append("//" + data.strip()[:60])
        elif self.in_article and self.sections:
            self.sections[-1][1 if self.in_heading else 2] += data


def read_pages(folder):
    return {path.relative_to(folder).as_posix(): Page(path.read_text(encoding="utf-8"))
            for path in sorted(folder.rglob("*.html"))}


def loaded_from_elsewhere(folder, pages):
    found = [f"{name} loads {target}" for name, page in pages.items() for target in page.loads if ELSEWHERE.match(target)]
    for path in sorted(folder.rglob("*")):
        if path.suffix in (".css", ".js", ".svg"):
            text = VOCABULARY.sub("", path.read_text(encoding="utf-8"))
            # The index of the search holds the words of the pages, addresses among them; as text they load nothing.
            if path.name != "search-index.js":
                found += [f"{path.relative_to(folder)} names {text[one.start():one.start() + 60]!r}"
                          for one in ADDRESS.finditer(text)]
        elif path.is_file() and path.suffix not in (".html", ".json", ".png"):
            found.append(f"{path.relative_to(folder)} is of a kind that nobody checks")
    return found


def links_that_lead_nowhere(folder, pages):
    found = []
    for name, page in pages.items():
        for target in page.links + page.loads:
            if re.match(r"\w+:", target) or ELSEWHERE.match(target):
                continue
            path, _, anchor = target.partition("#")
            goal = os.path.normpath(os.path.join(os.path.dirname(name), unquote(path))) if path else name
            if not (folder / goal).is_file():
                found.append(f"{name}: {target} is not there")
            elif anchor and goal in pages and unquote(anchor) not in pages[goal].anchors:
                found.append(f"{name}: {goal} has no heading \"{anchor}\"")
    return found


def search_index(pages):
    """A record for each section: what it is called, where it is and what it says. Listings of sources are left out."""
    index = []
    for name, page in pages.items():
        if name.startswith("source/"):
            continue
        titles = [re.sub(r"#$", "", section[1]).strip() for section in page.sections]
        for (anchor, _, text), title in zip(page.sections, titles):
            index.append({"page": titles[0], "title": title, "url": f"{name}#{anchor}", "text": " ".join(text.split())})
    return index
