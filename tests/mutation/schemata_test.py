"""Shows that a mutant which is switched on in one program with many does what it does in a program of its own."""

import itertools
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
import mutants as subject  # noqa: E402
from schemata import VARIABLE, Schemata  # noqa: E402

PROGRAM = r"""#include <cstdio>
#include <cstdlib>
#define ZEB_ASSERT(x) if (!(x)) { std::printf("%d: %s\n", __LINE__, #x); std::exit(3); }

enum class Kind { Small, Large, Huge };

struct Counter {
    int count = 0;
    bool isFull() const { return count >= 3; }
    void add(int by) {
        if (by < 0)
            return;
        else
            count += by; // Not more.
        std::printf("added %d\n", by);
    }
    ~Counter() { std::printf("left at %d\n", count); }
};

static Kind kindOf(int size) {
    switch (size) {
    case 0:
    case 1:
        return Kind::Small;
    default:
        break;
    }
    return size > 10 && // And not a dozen.
            size != 12 ? Kind::Huge : Kind::Large;
}

int main() {
    Counter counter;
    for (int i = 0; i < 3; ++i) {
        counter.add(i);
        std::printf("%d %d\n", i, static_cast<int>(kindOf(6 * i)));
    }
    const auto twice = [&counter](int by) {
        counter.add(by);
        counter.add(-by);
        return counter.isFull() || by == 1;
    };
    const bool full = twice(1);
    std::puts(full ? "full" : "not full");
    ZEB_ASSERT(full && counter.count > 3);
    {
        Counter inner;
        inner.add(2);
    }
    ZEB_ASSERT(!full);
    return 0;
}
"""
FLAGS = ["-std=c++20", "-O0", "-Wall", "-Wextra", "-Werror", "-Wno-unused"]


class OneProgram(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.holder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.holder.cleanup)
        cls.folder = Path(cls.holder.name)
        cls.mutants = list(subject.mutants_of("usb/A.cpp", PROGRAM))
        cls.together = Schemata(PROGRAM, cls.mutants)

    def built(self, text):
        """The program, or nothing when the compiler refuses it."""
        (self.folder / "A.cpp").write_text(text)
        compiled = subprocess.run(["c++", *FLAGS, "-o", self.folder / "a", self.folder / "A.cpp"], check=False,
                                  capture_output=True, text=True)
        return None if compiled.returncode else self.folder / "a"

    def output(self, program, number=0):
        ended = subprocess.run([program], env=os.environ | {VARIABLE: str(number)}, check=False, timeout=60,
                               capture_output=True, text=True)
        return ended.returncode, ended.stdout

    def test_is_the_right_one_while_none_is_on(self):
        right = self.output(self.built(PROGRAM))

        self.assertEqual(right[0], 3)
        self.assertEqual(self.output(self.built(self.together.text())), right)

    def test_does_what_each_mutant_does_alone(self):
        program = self.built(self.together.text()).rename(self.folder / "together")
        told = set()
        # Each that loops for ever would take its minute.
        chosen = [mutant for mutant in self.mutants if mutant.key in self.together.numbers and
                  "i < 3 -> true" not in mutant.key and "i < 3 -> !" not in mutant.key]

        for mutant in chosen:
            alone = self.built(mutant.broken())
            if alone:
                with self.subTest(mutant.key):
                    told.add(mutant.operator)
                    self.assertEqual(self.output(program, self.together.numbers[mutant.key]), self.output(alone))
        self.assertEqual(told, {"swap", "delete", "condition", "comparison", "return"})

    def test_leaves_out_what_it_can_not_hold(self):
        out = [mutant for mutant in self.mutants if mutant.key not in self.together.numbers]

        # Within an assertion, and what is declared.
        self.assertEqual([mutant.told for mutant in out if mutant.operator in ("condition", "comparison")],
                         ["full -> true", "counter.count > 3 -> true", "counter.count > 3 -> counter.count >= 3"])
        # A text that must be gone from the file.
        self.assertEqual([mutant.told for mutant in out if mutant.operator == "delete"],
                         ["without ZEB_ASSERT(full && counter.count > 3);", "without ZEB_ASSERT(!full);"])
        self.assertEqual({mutant.operator for mutant in out},
                         {"text", "number", "argument", "cast", "condition", "comparison", "swap", "delete"})

    def test_can_be_written_for_all_of_what_ships(self):
        for path, mutants in itertools.groupby(subject.all_mutants(), key=lambda mutant: mutant.path):
            mutants = list(mutants)
            with self.subTest(path):
                text = Schemata(mutants[0].source, mutants).text()
                self.assertEqual(text.count("{") - text.count("}"),
                                 mutants[0].source.count("{") - mutants[0].source.count("}"))


if __name__ == "__main__":
    unittest.main()
