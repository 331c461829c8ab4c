"""Finds the places where scripts/mutate makes a deliberate error in the driver: an operator, a constant, a comparison, a
condition, a result or a statement, in the text of one file.
"""
import collections
import hashlib
import re

from lib.project import DRIVER_FOLDERS, ROOT

TOKEN = re.compile(r"""
      (?P<comment>//[^\n]*|/\*.*?\*/)
    | (?P<preprocessor>^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*)
    | (?P<string>"(?:[^"\\\n]|\\.)*")
    | (?P<character>'(?:[^'\\\n]|\\.)+')
    | (?P<number>0[xX][0-9a-fA-F]+[uUlL]*|\d+\.\d+|\d+[uUlL]*)
    | (?P<word>[A-Za-z_]\w*)
    | (?P<operator><<=|>>=|\+\+|--|->|::|<<|>>|<=|>=|==|!=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|\^=
        |[-+*/%&|^<>=!~?:;,.(){}\[\]])
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

Token = collections.namedtuple("Token", "kind text start end")

OPERATORS = {  # kind to operator to what takes its place; only where white space stands on both sides of it
    "comparison": {"<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",),
                   "!=": ("==",)},
    "arithmetic": {"+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("*",)},
    "bits": {"&": ("|",), "|": ("&",), "^": ("&",), "<<": (">>",), ">>": ("<<",)},
    "logic": {"&&": ("||",), "||": ("&&",)},
    "assignment": {"+=": ("-=",), "-=": ("+=",), "*=": ("+=",), "|=": ("&=",), "&=": ("|=",), "^=": ("|=",)},
}
WORDS = {  # the same for words
    "arithmetic": {"wrapAdd": "wrapSub", "wrapSub": "wrapAdd", "wrapMul": "wrapAdd", "qMin": "qMax", "qMax": "qMin"},
    "truth": {"true": "false", "false": "true"},
    "jump": {"continue": "break", "break": "continue"},
}
DECLARING = {"static_assert", "typedef", "using", "template", "namespace"}
NO_STATEMENT = {"return", "if", "for", "while", "do", "switch", "case", "default", "break", "continue", "goto", "else",
                "const", "static", "enum", "struct", "class", "public", "private", "extern", "friend", "explicit",
                "Q_DISABLE_COPY"}
KINDS = ("comparison", "condition", "logic", "negation", "arithmetic", "bits", "constant", "truth", "step",
         "assignment", "jump", "result", "statement")


class Mutation:
    """One error: `after` in place of [start, end) of the file."""

    def __init__(self, file, text, kind, start, end, after):
        self.file, self.kind, self.start, self.end, self.after = file, kind, start, end, after
        self.line = text.count("\n", 0, start) + 1
        self.column = start - text.rfind("\n", 0, start)
        first = text.rfind("\n", 0, start) + 1
        last = text.find("\n", end)
        last = len(text) if last < 0 else last
        # How survivors.txt names it: the lines it touches, before and after, so that it may move within its file.
        self.old = " ".join(text[first:last].split())
        self.new = " ".join((text[first:start] + after + text[end:last]).split()) or "(nothing)"
        self.key = hashlib.sha1(f"{file}\n{start}\n{end}\n{after}\n{text}".encode()).hexdigest()

    def applied_to(self, text):
        return text[:self.start] + self.after + text[self.end:]


def tokens_of(text):
    return [Token(m.lastgroup, m.group(), m.start(), m.end()) for m in TOKEN.finditer(text)
            if m.lastgroup not in ("comment", "preprocessor")]


def matching(tokens, opening):
    """Index of the bracket that closes the one at `opening`."""
    depth = 0
    for i in range(opening, len(tokens)):
        depth += tokens[i].text in ("(", "{", "[")
        depth -= tokens[i].text in (")", "}", "]")
        if depth == 0:
            return i
    return len(tokens) - 1


def declared(tokens):
    """Indices of tokens in declarations that are no code."""
    inside = set()
    for i, token in enumerate(tokens):
        if token.text in DECLARING:
            end = next((j for j in range(i, len(tokens)) if tokens[j].text in (";", "{", ">", "class")), i)
            inside.update(range(i, end + 1))
    return inside


def constants(token):
    if token.kind == "character":
        return (f"({token.text} + 1)",) if token.text != r"'\0'" else ()
    digits = token.text.rstrip("uUlL")
    if "." in digits:
        return ()
    suffix = token.text[len(digits):]
    value = int(digits, 0)
    return tuple(dict.fromkeys(f"{v}{suffix}" if v >= 0 else f"({v})" for v in (value + 1, value - 1, 0) if v != value))


def statement_starts(tokens):
    starts, parentheses = set(), 0
    for i, token in enumerate(tokens):
        parentheses += (token.text == "(") - (token.text == ")")
        if token.text in (";", "{", "}", "else", ":") and parentheses == 0:  # not the parts of a for
            starts.add(i + 1)
    for i, token in enumerate(tokens[:-1]):
        if token.text in ("if", "for", "while") and tokens[i + 1].text == "(":
            starts.add(matching(tokens, i + 1) + 1)
    return starts


def is_statement(tokens, i):
    """Whether an expression statement begins at i, not a declaration: a name, then what only follows a value."""
    first = tokens[i]
    if first.text in ("++", "--", "*"):
        return True
    if first.kind != "word" or first.text in NO_STATEMENT or first.text in DECLARING:
        return False
    j = i + 1
    while j + 1 < len(tokens) and tokens[j].text == "::" and tokens[j + 1].kind == "word":
        j += 2
    return j < len(tokens) and tokens[j].text in (".", "->", "(", "[", "=", "++", "--", *OPERATORS["assignment"], "<<=",
                                                  ">>=")


def mutations_of(file, text):
    tokens = tokens_of(text)
    skipped = declared(tokens)
    found = []

    def add(kind, start, end, after):
        found.append(Mutation(file, text, kind, start, end, after))

    for i, token in enumerate(tokens):
        if i in skipped:
            continue
        spaced = text[token.start - 1:token.start].isspace() and text[token.end:token.end + 1].isspace()
        following = tokens[i + 1] if i + 1 < len(tokens) else token
        if token.kind == "operator" and spaced:
            for kind, table in OPERATORS.items():
                for after in table.get(token.text, ()):
                    add(kind, token.start, token.end, after)
        if token.text == "!":
            add("negation", token.start, token.end, "")
        if token.text in ("++", "--"):
            add("step", token.start, token.end, "--" if token.text == "++" else "++")
        if token.kind in ("number", "character"):
            for after in constants(token):
                add("constant", token.start, token.end, after)
        if token.kind == "word":
            for kind, table in WORDS.items():
                if token.text in table:
                    add(kind, token.start, token.end, table[token.text])
        if token.text in ("if", "while") and following.text == "(":
            start, end = following.end, tokens[matching(tokens, i + 1)].start
            for after in ("true", "false") if token.text == "if" else ("false",):
                add("condition", start, end, after)
        if token.text == "return" and following.text not in (";", "{", "nullptr", "false", "true"):
            end = next(j for j in range(i, len(tokens)) if tokens[j].text == ";")
            if [t.text for t in tokens[i + 1:end]] != ["0"]:
                add("result", following.start, tokens[end].start, "{}")
    for i in sorted(statement_starts(tokens)):
        if i < len(tokens) and i not in skipped and is_statement(tokens, i):
            end = i
            while tokens[end].text not in (";", "{", "}"):
                end = matching(tokens, end) + 1 if tokens[end].text in ("(", "[") else end + 1
            if tokens[end].text == ";":
                add("statement", tokens[i].start, tokens[end].start, "")
    return found


def driver_files():
    return sorted(str(path.relative_to(ROOT)) for folder in DRIVER_FOLDERS for path in (ROOT / folder).glob("*")
                  if path.suffix in (".h", ".cpp"))
