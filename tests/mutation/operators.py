"""The ways to break code, each a function that gives what becomes of a stretch of the source: from, to, new text."""

import re

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
ARITHMETIC = {"+", "-", "*", "/", "%", "<<", ">>", "&", "|"}
NO_CALL = {"if", "for", "while", "switch", "catch", "sizeof", "decltype", "alignof", "noexcept", "return", "throw",
           "static_assert", "requires"}
DECLARATION = re.compile(r"^(?:(?:static|const|constexpr|thread_local|unsigned|signed) )*[\w:]+(?:<[^;=]*>)?"
                         r"(?: const)?[ *&]+(?:const )?(?P<name>\w+)(?:\[[^;]*\])?(?: =|\(|\{|;)")
NO_DECLARATION = {"return", "throw", "delete", "new", "goto", "case", "else", "using", "typedef"}
PLAIN_ASSIGNMENT = re.compile(r"^((\w+)[\w.]*) = ((?:[\w:'.\[\]]+| [-*+] )+);$")
KINDS = {"value": re.compile(r"^(?:-?\d[\w.']*|(?:\w+::)*(?:k[A-Z]\w*|ZEB\w+|[A-Z][A-Z_]+\d*)|sizeof\b.*|true|false)$"),
         "place": re.compile(r'^(?:".*"|this|&.*|\{.*\}|\[.*\}|\w+\.c_str\(\))$', re.DOTALL)}
CONSTANT = re.compile(r"^(?:\w+::)*(?:k[A-Z]\w*|ZEB\w+)$|^(?:\w+::)+[A-Z]\w*$")


def declared(statement):
    """The name that it declares."""
    found = DECLARATION.match(statement.text)
    return found["name"] if found and statement.head not in NO_DECLARATION else None


def speaks_to_compiler(statement):
    heads = ("using", "typedef", "constexpr", "static_assert", "[", "struct", "class", "enum", "union")
    return statement.head in heads or "constexpr" in statement.text[:20]


def mentions(name, text):
    return name is not None and re.search(rf"\b{name}\b", text)


def cannot_tell_apart(one, other):
    """Two plain values that get their places, or two variables that nothing is called for: order means nothing."""
    values = [PLAIN_ASSIGNMENT.match(statement.text) for statement in (one, other)]
    if all(values):
        (place, root, value), (other_place, other_root, other_value) = (found.groups() for found in values)
        return place != other_place and not (mentions(root, other_value) or mentions(other_root, value))
    return all(declared(statement) and "(" not in statement.text for statement in (one, other))


def swapped(source):
    """Two statements that follow each other change places."""
    for block in source.blocks:
        for one, other in zip(block.statements, block.statements[1:]):
            if (one.jumps or other.jumps or other.follows_label or one.text == other.text or
                    speaks_to_compiler(one) or speaks_to_compiler(other) or
                    mentions(declared(one), other.text) or cannot_tell_apart(one, other)):
                continue
            start, end = source.tokens[one.first].start, source.tokens[other.last].end
            between = source.text[source.tokens[one.last].end:source.tokens[other.first].start]
            new = source.written(other.first, other.last + 1) + between + source.written(one.first, one.last + 1)
            yield start, end, new, f"{one.text} <-> {other.text}"


def is_condition_gone(statement):
    """A condition that is never met does the same."""
    return statement.condition is not None and statement.head in ("if", "while") and not statement.has_else


def deleted(source):
    """A statement less."""
    for block in source.blocks:
        for i, statement in enumerate(block.statements):
            rest = " ".join(other.text for other in block.statements[i + 1:])
            is_last = i + 1 == len(block.statements)
            if (statement.head in (";", "{") or speaks_to_compiler(statement) or
                    mentions(declared(statement), rest) or is_condition_gone(statement) or
                    (is_last and statement.text == "break;") or
                    (is_last and block.is_whole and statement.head == "return")):
                continue
            start, end = source.tokens[statement.first].start, source.tokens[statement.last].end
            yield start, end, ";", f"without {statement.text}"


def is_equality(source, first, end):
    """One == or != and nothing that binds less: negated, it is the other."""
    signs = [source.tokens[i].text for i in source.level(first, end) if source.tokens[i].kind == "sign"]
    return sum(sign in ("==", "!=") for sign in signs) == 1 and not {"&&", "||", "?"} & set(signs)


def broken_condition(source, first, end):
    start, stop, text = source.tokens[first].start, source.tokens[end - 1].end, source.written(first, end)
    if text in ("true", "false"):
        return
    if not is_equality(source, first, end):
        yield start, stop, negated(source, first, end)
    for constant in ("true", "false"):
        yield start, stop, constant


def negated(source, first, end):
    text = source.written(first, end)
    is_one = not any(has_blanks(source, i) for i in source.level(first, end) if source.tokens[i].kind == "sign")
    return text[1:] if source.is_sign(first, "!") and is_one else f"!({text})"


def conditions(source):
    """Of an if, a loop or a choice: negated, always met, never met. Of an and, an or: each part that counts no more."""
    for first, end in source.conditions:
        yield from broken_condition(source, first, end)
    for first, end, is_choice in source.expressions():
        if is_choice:
            yield from broken_condition(source, first, end)
        yield from parts_that_count(source, first, end)


def parts_that_count(source, first, end):
    for sign, constant in (("||", "false"), ("&&", "true")):
        for a, b in divided(source, first, end, "||") if sign == "&&" else [(first, end)]:
            parts = divided(source, a, b, sign)
            for one, stop in parts if len(parts) > 1 else ():
                yield source.tokens[one].start, source.tokens[stop - 1].end, constant


def divided(source, first, end, sign):
    """At each such sign that has blanks around it."""
    cuts = [i for i in source.level(first, end) if source.is_sign(i, sign) and has_blanks(source, i)]
    return [(a, b) for a, b in zip([first] + [i + 1 for i in cuts], cuts + [end]) if a < b]


def has_blanks(source, i):
    token = source.tokens[i]
    return source.text[token.start - 1:token.start].isspace() and source.text[token.end:token.end + 1].isspace()


def comparisons(source):
    """Moved by one, or turned round."""
    for first, end, _ in source.expressions():
        for a, b in (pair for part in divided(source, first, end, "||") for pair in divided(source, *part, "&&")):
            for i in source.level(a, b):
                token = source.tokens[i]
                if token.kind == "sign" and token.text in COMPARISONS and has_blanks(source, i):
                    start, stop = source.tokens[a].start, source.tokens[b - 1].end
                    new = source.text[start:token.start] + COMPARISONS[token.text] + source.text[token.end:stop]
                    yield start, stop, new


def returns(source):
    """Another value comes back."""
    for statement, header in source.returns:
        first, end = statement.first + 1, statement.last
        new = other_value(source, first, end, header) if first < end else None
        if new is not None:
            yield (source.tokens[first].start, source.tokens[end - 1].end, new,
                   f"{statement.text} -> return{new and ' '}{new};")


def other_value(source, first, end, header):
    text, signs = source.written(first, end), {source.tokens[i].text for i in source.level(first, end)}
    if text in ("true", "false"):
        return "false" if text == "true" else "true"
    if text in ("nullptr", "*this", "{}") or (end == first + 1 and source.tokens[first].kind in ("text", "number")):
        return None
    header_words = re.findall(r"\w+|[*&]", header or "")
    if signs & {"&&", "||", "!", "==", "!="} and "?" not in signs or "bool" in header_words[:-1]:
        return None if is_equality(source, first, end) else negated(source, first, end)
    if "void" in header_words and "*" not in header_words:
        return ""
    if CONSTANT.match(text):
        return f"static_cast<decltype({text})>(static_cast<int>({text}) + 1)"
    return None if header is None or "auto" in header_words or "&" in header_words else "{}"


def code_of(source):
    return [i for first, end, _ in source.regions for i in range(first, end)]


def casts(source):
    """Left out, or made a step earlier or later than the sum that it belongs to."""
    for i in code_of(source):
        token = source.tokens[i]
        if token.text != "static_cast":
            continue
        bracket = next(j for j in range(i, len(source.tokens)) if source.is_sign(j, "("))
        end, kind = source.partner[bracket] + 1, source.written(i, bracket)
        inner = source.written(bracket + 1, end - 1)
        yield token.start, source.tokens[end - 1].end, f"({inner})"
        for j in source.level(bracket + 1, end - 1):
            if source.tokens[j].text in ARITHMETIC and has_blanks(source, j):
                left, right = source.written(bracket + 1, j), source.written(j + 1, end - 1)
                yield token.start, source.tokens[end - 1].end, f"{kind}({left}) {source.tokens[j].text} ({right})"
        if source.is_sign(end, *ARITHMETIC) and has_blanks(source, end):
            stop = operand_end(source, end + 1)
            yield (token.start, source.tokens[stop - 1].end,
                   f"{kind}(({inner}) {source.tokens[end].text} {source.written(end + 1, stop)})")


def operand_end(source, i):
    """Of the one that begins there."""
    first = i
    while not source.is_sign(i, ")", "]", "}", ";", ",", "?", ":") and (
            i == first or not (source.tokens[i].kind == "sign" and has_blanks(source, i))):
        i = source.after(i)
    return i


def arguments(source):
    """Two that follow each other change places, in calls and in lists."""
    for i in code_of(source):
        token = source.tokens[i]
        if not source.is_sign(i, "(", "{") or not is_list(source, i):
            continue
        parts = split(source, i + 1, source.partner[i])
        for (a, b), (c, d) in zip(parts, parts[1:]):
            one, other = source.written(a, b), source.written(c, d)
            if one != other and not (source.is_sign(a, ".") or source.is_sign(c, ".") or unlike(one, other)):
                start, stop = source.tokens[a].start, source.tokens[d - 1].end
                callee = source.tokens[i - 1].text if token.text == "(" else ""
                brackets = "()" if token.text == "(" else "{}"
                context = ", ".join(source.squeezed(*part) for part in parts)
                yield (start, stop, other + source.text[source.tokens[b - 1].end:source.tokens[c].start] + one,
                       f"{callee}{brackets[0]}{context}{brackets[1]} with {source.squeezed(c, d)} before "
                       f"{source.squeezed(a, b)}")


def unlike(one, other):
    """No function takes them the other way round: a number or a constant, and what is an object's or a text's place."""
    kinds = {kind for text in (one, other) for kind, pattern in KINDS.items() if pattern.match(text)}
    return kinds == set(KINDS)


def is_list(source, i):
    before = source.tokens[i - 1]
    if source.is_sign(i, "("):
        return (before.kind == "word" and before.text not in NO_CALL) or source.is_sign(i - 1, ">", ")", "}")
    return source.is_sign(i - 1, "=", "(", ",", "{") or before.kind == "word" and before.text == "return"


def split(source, first, end):
    """At the commas; those between the brackets of a template do not count."""
    parts, start, depth = [], first, 0
    for i in source.level(first, end):
        token = source.tokens[i]
        if token.kind == "sign" and token.text == "<" and not has_blanks(source, i):
            depth += 1
        elif token.kind == "sign" and token.text in (">", ">>") and depth and not has_blanks(source, i):
            depth -= len(token.text)
        elif source.is_sign(i, ",") and depth <= 0:
            parts.append((start, i))
            start = i + 1
    return [(a, b) for a, b in [*parts, (start, end)] if a < b]


OPERATORS = {"swap": swapped, "delete": deleted, "condition": conditions, "comparison": comparisons,
             "return": returns, "cast": casts, "argument": arguments}
