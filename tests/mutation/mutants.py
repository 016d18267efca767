"""What scripts/mutate can break in the code that ships, and the list of what breaks nothing."""

import collections
import itertools
import re
import sys
from pathlib import Path

from operators import OPERATORS
from syntax import Source, one_line

ROOT = Path(__file__).resolve().parents[2]
HARMLESS = ROOT / "tests" / "mutation" / "harmless.txt"
FOLDERS = ("mxcommon", "common", "usb")

TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|^[ \t]*\#[^\n]*|'(?:\\.|[^'\\\n])+'|[A-Za-z_]\w*"""  # passed over
    r"""|(?P<text>"(?:\\.|[^"\\\n])*")|(?P<number>0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d+)?)""",
    re.DOTALL | re.MULTILINE)
# Pure virtual functions, and what speaks to the compiler alone.
NO_VALUE = re.compile(r'\bvirtual\b.*=\s*0;|^[^(]*\)[\sa-z]*=\s*0;|static_assert|extern "C"|\[\[')


class Mutant:
    """One change of one file; its key names it by what is written there, so that it outlives changes around it."""

    def __init__(self, path, source, place, operator, new):
        self.path, self.source, self.operator, self.new = path, source, operator, new
        self.start, self.end = place
        self.number = source.count("\n", 0, self.start) + 1
        self.old = source[self.start:self.end]
        self.told = f"{one_line(self.old)} -> {one_line(new)}"
        self.key = ""

    def broken(self):
        """The lines that follow keep their numbers, which assertions tell."""
        lines = max(0, self.old.count("\n") - self.new.count("\n"))
        return self.source[:self.start] + self.new + lines * "\n" + self.source[self.end:]

    def is_near(self, line, margin):
        """Does it touch that line, or one so many lines away?"""
        return self.number - margin <= line <= self.number + self.old.count("\n") + margin

    def __str__(self):
        return f"{self.path}:{self.number}: {self.told}"


def next_number(text):
    digits = text.replace("'", "")
    if "." in digits:
        return str(float(digits) + 1)
    return hex(int(digits, 16) + 1) if digits[:2] in ("0x", "0X") else str(int(digits) + 1)


def line_at(source, position):
    end = source.find("\n", position)
    return source[source.rfind("\n", 0, position) + 1:end if end >= 0 else len(source)]


def values_of(path, source):
    """A text gets one character more, a number becomes the next one: known by the broken line."""
    for match in TOKEN.finditer(source):
        if match.lastgroup and not NO_VALUE.search(line_at(source, match.start())):
            new = match[0][:-1] + 'x"' if match["text"] else next_number(match[0])
            mutant = Mutant(path, source, match.span(), match.lastgroup, new)
            mutant.key = f"{path}: {line_at(mutant.broken(), mutant.start).strip()}"
            yield mutant


def structures_of(path, source):
    """What the operators break: known by the function and by what it becomes there."""
    code = Source(source)
    for operator, breaks in OPERATORS.items():
        for start, end, new, *told in breaks(code):
            mutant = Mutant(path, source, (start, end), operator, new)
            mutant.told = told[0] if told else mutant.told
            if not NO_VALUE.search(line_at(source, start)):
                mutant.key = f"{path}: {code.function_at(start)}: {operator}: {mutant.told}"
                yield mutant


def mutants_of(path, source):
    """Equal keys of a file are told apart by a count."""
    keys = collections.Counter()
    for mutant in itertools.chain(values_of(path, source), structures_of(path, source)):
        keys[mutant.key] += 1
        if keys[mutant.key] > 1:
            mutant.key += f" ({keys[mutant.key]})"
        yield mutant


def all_mutants():
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).glob("*.[ch]*")):
            yield from mutants_of(f"{folder}/{path.name}", path.read_text())


def is_wanted(mutant, wanted):
    names = {mutant.path, mutant.path.split("/")[0], f"{mutant.path}:{mutant.number}"}
    return not wanted or any(name.rstrip("/") in names for name in wanted)


def harmless(lines):
    """The keys in the list, each with its reason."""
    entries = (line.rstrip("\n").rpartition(" # ") for line in lines if line.strip() and not line.startswith("#"))
    known = {}
    for key, _, reason in entries:
        if not key or not reason:
            sys.exit(f"{HARMLESS.relative_to(ROOT)}: no reason for: {key or reason}")
        known[key] = reason
    return known


def stale(known, mutants):
    """Entries of the list that no mutant answers to any more."""
    return sorted(set(known) - {mutant.key for mutant in mutants})
