#!/usr/bin/env python3
"""What scripts/site makes of pages, and what its checks find in a site."""
import re
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent.parent / "scripts"))
from lib.site_checks import links_that_lead_nowhere, loaded_from_elsewhere, read_pages, search_index  # noqa: E402
from lib.site_pages import Site, for_mkdocs  # noqa: E402


class Folder(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = Path(directory.name)

    def put(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text, encoding="utf-8")


class GatheringTest(Folder):
    def page(self, name, text):
        """What becomes of docs/`name` with `text`."""
        self.put("README.md", "# First\n")
        self.put("CONTRIBUTING.md", "# Contributing\n")
        self.put("examples/README.md", "# Examples\n")
        self.put("core/codes.h", "enum { kOne };\n")
        self.put("docs/other.md", "# Other\n")
        self.put(f"docs/{name}", text)
        site = Site(self.root, self.root / "pages")
        site.gather()
        return (self.root / "pages" / name).read_text(encoding="utf-8")

    def test_links_between_pages_and_to_other_hosts_stay(self):
        text = "[a](other.md#part) [b](https://example.org/x) [c](#here)\n"
        self.assertEqual(self.page("one.md", text), text)

    def test_a_page_outside_docs_is_a_page_of_the_site(self):
        self.assertEqual(self.page("one.md", "[a](../CONTRIBUTING.md) [b](../examples/README.md#run) [c](../README.md)"),
                         "[a](contributing.md) [b](examples.md#run) [c](index.md)")

    def test_a_source_that_is_linked_is_copied_into_a_page(self):
        self.assertEqual(self.page("deep/one.md", "see [`codes.h`](../../core/codes.h)"),
                         "see [`codes.h`](../source/core/codes.h.md)")
        self.assertEqual((self.root / "pages/source/core/codes.h.md").read_text(encoding="utf-8"),
                         "# core/codes.h\n\n~~~~~~cpp\nenum { kOne };\n~~~~~~\n")

    def test_of_a_link_to_a_folder_the_text_is_left(self):
        self.assertEqual(self.page("one.md", "in [core/](../core), and"), "in core/, and")

    def test_a_link_that_leads_nowhere_stays_for_the_checks_to_find(self):
        self.assertEqual(self.page("one.md", "[a](gone.md) [b](../core/gone.h)"), "[a](gone.md) [b](../core/gone.h)")

    def test_code_is_left_alone(self):
        text = "`[a](../CONTRIBUTING.md)`\n\n```\n[a](../CONTRIBUTING.md)\n- b\n  - c\n```\n"
        self.assertEqual(self.page("one.md", text), text)


class DialectTest(unittest.TestCase):
    def test_what_belongs_to_an_item_is_indented_by_four(self):
        self.assertEqual(for_mkdocs("1. one\n   goes on\n\n   | a |\n   | - |\n\n2. two\n\nend\n  of it"),
                         "1. one\n    goes on\n\n    | a |\n    | - |\n\n2. two\n\nend\n  of it")

    def test_items_within_items(self):
        self.assertEqual(for_mkdocs("- one\n  - two\n    goes on\n\n    more\n- three"),
                         "- one\n    - two\n        goes on\n\n        more\n\n- three")

    def test_code_within_an_item_keeps_its_own_indentation(self):
        self.assertEqual(for_mkdocs("2. two:\n\n       set(A)\n         B"), "2. two:\n\n        set(A)\n          B")

    def test_a_bar_in_code_in_a_table_needs_no_backslash(self):
        self.assertEqual(for_mkdocs("| `a \\| b` | c \\| d |\n`a \\| b`"), "| `a | b` | c \\| d |\n`a \\| b`")


class CheckTest(Folder):
    def elsewhere(self):
        return loaded_from_elsewhere(self.root, read_pages(self.root))

    def test_links_for_a_person_and_names_of_vocabularies_are_fine(self):
        self.put("a.html", '<link href="a.css"><a href="https://example.org">x</a><img src="a.svg"><code>http://e.org</code>')
        self.put("a.css", "p { background: url(a.svg); }")
        self.put("a.svg", '<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink"></svg>')
        self.assertEqual(self.elsewhere(), [])

    def test_whatever_a_browser_loads_from_elsewhere_is_found(self):
        for number, text in enumerate((
                '<img src="http://example.org/a.png">', '<script src="//example.org/a.js"></script>',
                '<link rel="stylesheet" href="https://example.org/a.css">', '<img srcset="a.png 1x, https://e.org/b.png 2x">',
                '<iframe src="HTTPS://example.org"></iframe>', '<form action="https://example.org"></form>',
                '<object data="https://example.org/a.svg"></object>', '<video poster="https://example.org/a.png"></video>',
                '<p style="background: url(https://example.org/a.png)">x</p>',
                '<style>@import "https://example.org/a.css";</style>',
                '<script>fetch("https://example.org/a.json")</script>',
                '<meta http-equiv="refresh" content="0; url=https://example.org">')):
            self.put("a.html", text)
            self.assertEqual(len(self.elsewhere()), 1, f"{number}: {text}")

    def test_so_are_style_sheets_scripts_pictures_and_unknown_files(self):
        for name, text in (("a.css", "@font-face { src: url(https://example.org/a.woff2); }"),
                           ("b.css", "@import 'c.css';"), ("c.css", "p { background: url(//example.org/a.png); }"),
                           ("a.js", 'import("https://example.org/a.js")'), ("b.js", 'new WebSocket("wss://example.org")'),
                           ("a.svg", '<svg><image xlink:href="http://example.org/a.png"/></svg>'), ("a.woff2", "x")):
            self.put(name, text)
            self.assertEqual(len(self.elsewhere()), 1, name)
            (self.root / name).unlink()

    def test_links_within_the_site_lead_somewhere(self):
        self.put("a.html", '<h2 id="here">x</h2><a href="#here">1</a><a href="b/c.html#there">2</a><img src="a.svg">')
        self.put("b/c.html", '<h2 id="there">x</h2><a href="../a.html#gone">3</a><a href="d.html">4</a>')
        self.assertEqual(links_that_lead_nowhere(self.root, read_pages(self.root)), [
            "a.html: a.svg is not there", 'b/c.html: a.html has no heading "gone"', "b/c.html: d.html is not there"])

    def test_the_search_knows_each_section_by_its_place(self):
        self.put("a.html", '<nav>no</nav><article><h1 id="a">A<a href="#a">#</a></h1><p>one\n two</p><h2 id="b">B</h2>x</article>')
        self.assertEqual(search_index(read_pages(self.root)), [
            {"page": "A", "title": "A", "url": "a.html#a", "text": "one two"},
            {"page": "A", "title": "B", "url": "a.html#b", "text": "x"}])


class PicturesTest(unittest.TestCase):
    ROOT = Path(__file__).resolve().parent.parent.parent

    def test_the_picture_of_a_connection_shows_the_states_of_the_loop(self):
        header = (self.ROOT / "tools/host/poll_loop.h").read_text(encoding="utf-8")
        body = re.search(r"enum class LoopState \{(.*?)\};", header, re.DOTALL)[1]
        states = re.findall(r"^ +(\w+),", body, re.MULTILINE)
        picture = (self.ROOT / "docs/pictures/connection.svg").read_text(encoding="utf-8")
        shown = [text for text in re.findall(r">([^<>]+)</text>", picture) if text.isupper()]
        self.assertEqual(sorted(shown), sorted(re.sub(r"(?<=[a-z])(?=[A-Z])", " ", state).upper() for state in states))


if __name__ == "__main__":
    unittest.main()
