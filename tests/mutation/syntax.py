"""As much of C++ as it takes to see statements, conditions, calls and the functions that they stand in.

It reads what clang-format has laid out: a comparison has blanks on both sides, the bracket of a template argument has
none. Macros and templates are seen as they are written, which is what gets broken; nothing but Python is needed.
"""

import re
from bisect import bisect_left

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*|\s+)"""
    r"""|(?P<text>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])+')"""
    r"""|(?P<word>[A-Za-z_~]\w*)|(?P<number>\.?\d[\w.']*)"""
    r"""|(?P<sign>\.\.\.|->\*|<=>|<<=|>>=|->|::|\+\+|--|&&|\|\||[-+*/%&|^=!<>]=|<<|>>|.)""",
    re.DOTALL | re.MULTILINE)
PAIRS = {"(": ")", "[": "]", "{": "}"}
SCOPE = re.compile(r'^(?:template < .*? > )?(namespace|class|struct|union|enum|extern)\b')
BEFORE_BODY = {")", "]", "const", "noexcept", "override", "final", "mutable", "try"}
PARTING = {",", ";", "=", "+=", "-=", "|=", "&=", ":", "?", "return", "throw", "else"}
JUMPS = {"return", "break", "continue", "throw", "goto"}


class Token:
    def __init__(self, match):
        self.kind, self.text, self.start, self.end = match.lastgroup, match[0], match.start(), match.end()


def one_line(text):
    """What is written, without comments."""
    kept = "".join(" " if match["skip"] else match[0] for match in TOKEN.finditer(text))
    return " ".join(kept.split())


class Statement:
    """From the first token to the last; the blocks that it holds are lists of statements."""

    def __init__(self, source, first, last):
        self.first, self.last = first, last
        self.head = source.tokens[first].text
        self.text = source.squeezed(first, last + 1)
        self.condition = None  # its tokens, from and to
        self.has_else = False
        self.follows_label = False

    @property
    def is_simple(self):
        return self.text.endswith(";") and self.head not in ("if", "for", "while", "do", "switch", "try")

    @property
    def jumps(self):
        return self.head in JUMPS


class Block:
    """The statements between two braces; is it all of a function?"""

    def __init__(self, statements, is_whole):
        self.statements, self.is_whole = statements, is_whole


class Source:
    def __init__(self, text):
        self.text = text
        self.tokens = [Token(match) for match in TOKEN.finditer(text) if match.lastgroup != "skip"]
        self.starts = [token.start for token in self.tokens]
        self.partner = self.matched()
        self.blocks, self.conditions, self.returns = [], [], []
        self.regions = []  # of code: token ranges, each with the name of its function
        self.declarations(0, len(self.tokens), ())

    def matched(self):
        partner, stack = {}, []
        for i, token in enumerate(self.tokens):
            if token.kind == "sign" and token.text in PAIRS:
                stack.append(i)
            elif token.kind == "sign" and token.text in PAIRS.values():
                partner[stack[-1]], partner[i] = i, stack[-1]
                stack.pop()
        return partner

    def is_sign(self, i, *texts):
        return i < len(self.tokens) and self.tokens[i].kind == "sign" and self.tokens[i].text in texts

    def squeezed(self, first, end):
        """The tokens as written, without comments, on one line."""
        words, last = [], None
        for token in self.tokens[first:end]:
            words.append(" " if last is not None and token.start > last else "")
            words.append(token.text)
            last = token.end
        return "".join(words)

    def written(self, first, end):
        return self.text[self.tokens[first].start:self.tokens[end - 1].end] if end > first else ""

    def function_at(self, position):
        """The name of the one that a place in the text belongs to."""
        i = bisect_left(self.starts, position)
        return next((name for first, end, name in reversed(self.regions) if first <= i < end), "")

    def after(self, i):
        """The next token on the same level."""
        return self.partner[i] + 1 if self.is_sign(i, *PAIRS) else i + 1

    def level(self, first, end):
        """The tokens of a range that stand in no bracket within it."""
        i = first
        while i < end:
            yield i
            i = self.after(i)

    def expressions(self):
        """All stretches without a sign that parts expressions, and whether one is what a choice depends on."""
        for first, end, _ in self.regions:
            yield from self.stretches(first, end)

    def stretches(self, first, end):
        start = first
        for i in [*self.level(first, end), end]:
            if i == end or self.tokens[i].text in PARTING:
                if start < i:
                    yield start, i, self.is_sign(i, "?")
                start = i + 1
            elif i in self.partner:
                yield from self.stretches(i + 1, self.partner[i])

    # Outside of functions.

    def declarations(self, i, end, scopes):
        header = i
        while i < end:
            if self.is_sign(i, ";") or (self.is_sign(i, ":") and self.tokens[i - 1].text in
                                        ("public", "protected", "private")):
                header = i + 1
            elif self.is_sign(i, "{"):
                if self.braces(header, i, scopes):
                    header = self.partner[i] + 1
            i = self.after(i)

    def braces(self, header, i, scopes):
        """What stands in them; true when they end what the header began."""
        words = " ".join(token.text for token in self.tokens[header:i])
        scope, end = SCOPE.match(words), self.partner[i]
        if scope and scope[1] != "enum":
            self.declarations(i + 1, end, scopes + self.scope_name(header, i))
            return True
        if scope:
            return True
        follows_member = self.is_sign(i - 1, "}") and i > header  # that a constructor gives its value
        if (self.tokens[i - 1].text in BEFORE_BODY or follows_member) and "(" in words:
            name = self.function_name(header, i, scopes)
            self.regions.append((self.initialisers(header, i), i, name))
            self.function(header, i, name)
            return True
        self.regions.append((i, end + 1, "::".join(scopes)))
        return False

    def scope_name(self, header, i):
        """A class's own; a namespace has none here."""
        names = []
        for j in self.level(self.after_template(header), i):
            if self.is_sign(j, ":", "<"):
                break
            if self.tokens[j].kind == "word" and not self.is_sign(j + 1, "("):
                names.append(self.tokens[j].text)
        return (names[-1],) if names and names[0] != "namespace" and names[-1] not in ("class", "struct") else ()

    def after_template(self, header):
        """What its parameters belong to."""
        if self.tokens[header].text != "template":
            return header
        depth = 0
        for j in range(header + 1, len(self.tokens)):
            depth += {"<": 1, ">": -1, ">>": -2}.get(self.tokens[j].text, 0)
            if depth == 0:
                return j + 1
        return header

    def parameters(self, header, i):
        """The bracket in which they stand."""
        for j in self.level(header, i):
            if self.is_sign(j, "(") and j > header and not self.tokens[j - 1].text.startswith("ZEB_"):
                return j
        return i

    def function_name(self, header, i, scopes):
        end = first = self.parameters(header, i)
        while first > header and (self.tokens[first - 1].kind == "word" or self.is_sign(first - 1, "::") or
                                  first == end or self.tokens[first - 1].end == self.tokens[first].start):
            if (self.tokens[first - 1].kind == "word" and first < end and self.tokens[first].kind == "word" or
                    self.is_sign(first - 1, "*", "&") and self.tokens[first].kind == "word"):
                break
            first -= 1
        return "::".join((*scopes, self.squeezed(first, end)))

    def initialisers(self, header, i):
        """Where those of a constructor begin."""
        parameters = self.parameters(header, i)
        return self.partner[parameters] + 1 if parameters in self.partner else i

    # In functions.

    def function(self, header, brace, name):
        self.regions.append((brace + 1, self.partner[brace], name))
        returned = self.squeezed(header, self.parameters(header, brace)) if header is not None else None
        self.block(brace, name, returned, True)

    def block(self, brace, name, returned, is_whole):
        i, end, statements, labelled = brace + 1, self.partner[brace], [], True
        while i < end:
            label = self.label_end(i, end)
            if label:
                i, labelled = label, True
                continue
            statement, i = self.statement(i, name, returned)
            statement.follows_label, labelled = labelled, False
            statements.append(statement)
        self.blocks.append(Block(statements, is_whole))

    def label_end(self, i, end):
        if self.tokens[i].text not in ("case", "default"):
            return None
        return next((j + 1 for j in self.level(i, end) if self.is_sign(j, ":")), None)

    def statement(self, i, name, returned):
        """The one that begins there, and where the next does."""
        first, head = i, self.tokens[i].text
        read = {"{": self.compound, "if": self.conditional, "while": self.conditional, "for": self.conditional,
                "switch": self.conditional, "do": self.do, "try": self.tries}.get(head, self.simple)
        condition, has_else, i = read(i, name, returned)
        made = Statement(self, first, i - 1)
        made.condition, made.has_else = condition, has_else
        if condition:
            self.conditions.append(condition)
        if head == "return":
            self.returns.append((made, returned))
        return made, i

    def compound(self, i, name, returned):
        self.block(i, name, returned, False)
        return None, False, self.partner[i] + 1

    def conditional(self, i, name, returned):
        head, i = self.tokens[i].text, i + 1
        while not self.is_sign(i, "("):
            i += 1
        condition = self.condition_in(head, i)
        self.lambdas(i + 1, self.partner[i], name)
        i = self.branch(self.partner[i] + 1, name, returned)
        has_else = head == "if" and i < len(self.tokens) and self.tokens[i].text == "else"
        if has_else:
            i = self.branch(i + 1, name, returned)
        return condition, has_else, i

    def branch(self, i, name, returned):
        return self.statement(i, name, returned)[1]

    def condition_in(self, head, bracket):
        first, end = bracket + 1, self.partner[bracket]
        parts = [first] + [j + 1 for j in self.level(first, end) if self.is_sign(j, ";")]
        if head == "switch" or (head == "for" and len(parts) != 3):
            return None
        if head == "for":
            first, end = parts[1], parts[2] - 1
        else:
            first = parts[-1]
        declares = any(self.is_sign(j, "=") for j in self.level(first, end))
        return None if declares or first >= end else (first, end)

    def do(self, i, name, returned):
        i = self.branch(i + 1, name, returned) + 1
        condition = (i + 1, self.partner[i])
        return condition, False, self.partner[i] + 2

    def tries(self, i, name, returned):
        i = self.branch(i + 1, name, returned)
        while i < len(self.tokens) and self.tokens[i].text == "catch":
            i = self.branch(self.partner[i + 1] + 1, name, returned)
        return None, False, i

    def simple(self, i, name, _returned):
        first = i
        while not self.is_sign(i, ";"):
            i = self.after(i)
        self.lambdas(first, i, name)
        return None, False, i + 1

    def lambdas(self, first, end, name):
        """Their bodies, wherever they stand in an expression."""
        i = first
        while i < end:
            if self.is_sign(i, "{") and self.tokens[i - 1].text in BEFORE_BODY:
                self.block(i, name, None, True)
                i = self.partner[i]
            i += 1
