"""Parts of a page that a script writes: between <!-- begin: NAME --> and <!-- end: NAME -->, each on a line of its own."""
import re


class NotMarked(Exception):
    """The page has no such part."""


def find(text, name):
    found = re.search(rf"(?<=<!-- begin: {re.escape(name)} -->\n\n).*?(?=\n<!-- end: {re.escape(name)} -->\n)", text, re.DOTALL)
    if found is None:
        raise NotMarked(f"no part {name} is marked")
    return found


def text_between(text, name):
    return find(text, name)[0]


def replace_between(text, name, part):
    found = find(text, name)
    return text[:found.start()] + part + text[found.end():]
