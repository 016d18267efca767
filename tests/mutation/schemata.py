"""Many mutants of a file in one program, of which a variable of the environment chooses one.

The compiler and the linker work once for all of them, and a mutant costs no more than the tests that it is shown to.
What only becomes another program by its text is left out: other arguments, casts, texts and numbers, and what is
declared in one place or another.
"""

import collections

from operators import declared
from syntax import Source, one_line

VARIABLE = "ZEB_MUTANT"
# Lines keep their numbers: assertions tell them. The warnings are those of code that is broken on purpose.
BEGINNING = """#include <cstdlib>
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wreturn-type"
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Waddress"
#pragma GCC diagnostic ignored "-Wnonnull"
namespace {
inline bool zebMutant(int number) {
    static const char* const chosen = std::getenv("ZEB_MUTANT");
    static const int on = chosen ? std::atoi(chosen) : 0;
    return on == number;
}
}
#line 1
"""


class Schemata:
    """A file's text with all of the mutants that can be switched on; who can, and by which number."""

    def __init__(self, source, mutants):
        self.source, self.code = source, Source(source)
        self.numbers = {}
        self.before = collections.defaultdict(list)  # by position, in front of all that begins there
        self.around = []  # from, to, and what comes before and after
        self.asserted = [(token.start, self.code.tokens[self.code.partner[i + 1]].end)
                         for i, token in enumerate(self.code.tokens) if token.text == "ZEB_ASSERT"]
        for mutant in mutants:
            switch = {"delete": self.delete, "swap": self.swap, "condition": self.choose, "comparison": self.choose,
                      "return": self.give_back}.get(mutant.operator)
            number = len(self.numbers) + 1
            if switch and switch(mutant, f"zebMutant({number})"):
                self.numbers[mutant.key] = number

    def statement_at(self, place):
        """The neighbours in a block that begin and end there."""
        for block in self.code.blocks:
            for i, statement in enumerate(block.statements):
                for last in block.statements[i:i + 2]:
                    if place == (self.code.tokens[statement.first].start, self.code.tokens[last.last].end):
                        return statement, last
        return None, None

    def surround(self, start, end, before, after):
        self.around.append((start, end, before, after))
        return True

    def delete(self, mutant, is_on):
        """Not an assertion: its text must be gone from the file, which a test reads."""
        statement, _ = self.statement_at((mutant.start, mutant.end))
        asserts = any(mutant.start <= start < mutant.end for start, _ in self.asserted)
        return (not asserts and not declared(statement) and
                self.surround(mutant.start, mutant.end, f"{{ if (!{is_on}) {{ ", " } }"))

    def swap(self, mutant, is_on):
        """The second stands in both places, and is there in one at a time. Not around a lock: its rules are checked by
        reading."""
        first, other = self.statement_at((mutant.start, mutant.end))
        if declared(other) or first.head == "MutexLock":
            return False
        self.before[mutant.start].append(f"if ({is_on}) {{ {other.text} }} ")
        return self.surround(self.code.tokens[other.first].start, mutant.end, f"{{ if (!{is_on}) {{ ", " } }")

    def choose(self, mutant, is_on):
        """Not within an assertion, which tells its condition as it is written."""
        if any(start <= mutant.start < end for start, end in self.asserted):
            return False
        new = one_line(mutant.new)
        return self.surround(mutant.start, mutant.end,
                             f"({is_on} ? static_cast<bool>({new}) : static_cast<bool>(", "))")

    def give_back(self, mutant, is_on):
        for statement, _ in self.code.returns:
            first, last = self.code.tokens[statement.first], self.code.tokens[statement.last]
            if first.end <= mutant.start and mutant.end <= last.start:
                return self.surround(first.start, last.end, f"{{ if ({is_on}) return {one_line(mutant.new)}; ", " }")
        return False

    def text(self):
        begin, end = collections.defaultdict(list), collections.defaultdict(list)
        for order, (start, stop, before, after) in enumerate(self.around):
            begin[start].append((-stop, order, before))
            end[stop].append(after)
        written, last = [BEGINNING], 0
        for place in sorted({*begin, *end, *self.before}):
            written.append(self.source[last:place])
            written += end[place]  # all that close at one place are alike
            written += self.before[place]
            written += [before for *_, before in sorted(begin[place])]
            last = place
        return "".join([*written, self.source[last:]])
