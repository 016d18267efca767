"""What scripts/mutate can break in the code that ships, and the list of what breaks nothing."""

import collections
import re
import sys
from pathlib import Path

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
    """One change of one file; the key names it by the broken line, so that it outlives changes around it."""

    def __init__(self, path, source, match):
        self.path = path
        self.source = source
        self.start = match.start()
        self.number = source.count("\n", 0, self.start) + 1
        self.old = match[0]
        self.new = self.old[:-1] + 'x"' if match["text"] else next_number(self.old)
        self.key = f"{path}: {line_at(self.broken(), self.start).strip()}"

    def broken(self):
        return self.source[:self.start] + self.new + self.source[self.start + len(self.old):]

    def __str__(self):
        return f"{self.path}:{self.number}: {self.old} -> {self.new}"


def next_number(text):
    digits = text.replace("'", "")
    if "." in digits:
        return str(float(digits) + 1)
    return hex(int(digits, 16) + 1) if digits[:2] in ("0x", "0X") else str(int(digits) + 1)


def line_at(source, position):
    end = source.find("\n", position)
    return source[source.rfind("\n", 0, position) + 1:end if end >= 0 else len(source)]


def mutants_of(path, source):
    """Equal broken lines of a file are told apart by a count."""
    seen = collections.Counter()
    for match in TOKEN.finditer(source):
        if match.lastgroup and not NO_VALUE.search(line_at(source, match.start())):
            mutant = Mutant(path, source, match)
            seen[mutant.key] += 1
            if seen[mutant.key] > 1:
                mutant.key += f" ({seen[mutant.key]})"
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
