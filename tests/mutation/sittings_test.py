"""Shows that scripts/mutate keeps each verdict for the code and tests that it was made of, and adds them up."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import lane as lanes  # noqa: E402
import mutants as subject  # noqa: E402
import sittings  # noqa: E402


def mutant():
    return next(subject.values_of("usb/A.cpp", "int x = 1;"))


class Sitting(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.root = Path(holder.name) / "tree"
        self.root.mkdir()
        subprocess.run(["git", "init", "-q", self.root], check=True)
        for name in ("usb/A.cpp", "tests/usb/ATest.cpp", "tests/fuzz/B.cpp", "docs/a.md"):
            self.write(name, "one")

    def write(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text)

    def sitting(self):
        return sittings.Sittings(self.root.parent / "sittings", self.root)

    def test_adds_up_with_others_of_the_same_state(self):
        self.sitting().note("a", "usb-test", "A.Works")
        self.sitting().note("b", None, "")

        self.assertEqual(self.sitting().verdicts, {"a": ("usb-test", "A.Works"), "b": (None, "")})

    def test_takes_nothing_from_another_state_but_whom_to_ask_first(self):
        self.sitting().note("a", "usb-test", "A.Works")
        self.sitting().note("b", None, "")
        self.write("usb/A.cpp", "two")

        self.assertEqual(self.sitting().verdicts, {})
        self.assertEqual(self.sitting().asked_first("a"), ("usb-test", "A.Works"))
        self.assertIsNone(self.sitting().asked_first("b"))
        self.assertIsNone(self.sitting().asked_first("c"))

    def test_counts_the_last_verdict_and_none_that_was_cut_off(self):
        sitting = self.sitting()
        sitting.note("a", None, "")
        sitting.note("a", "usb-test", "A.Works")
        with open(sitting.file, "a", encoding="utf-8") as log:
            log.write('{"key": "b", "te')

        self.assertEqual(self.sitting().verdicts, {"a": ("usb-test", "A.Works")})

    def test_is_of_another_state_once_anything_that_decides_is_changed(self):
        first = self.sitting().file

        for name in ("docs/a.md", "tests/usb/ATest.cpp"):
            self.write(name, "two")
            self.assertEqual(self.sitting().file, first)
        for name in ("usb/A.cpp", "usb/B.cpp", "include/a.h", "tests/support/Host.h"):
            self.write(name, "two")
            self.assertNotEqual(self.sitting().file, first)
            first = self.sitting().file

    def test_keeps_a_find_while_the_finders_own_tests_stay_and_a_survival_while_all_do(self):
        for key, test in {"a": "usb-test", "b": "asan/usb-test", "c": "random-calls-test", "d": None,
                          "e": lanes.COMPILER}.items():
            self.sitting().note(key, test, "")

        self.write("tests/fuzz/B.cpp", "two")
        self.assertEqual("".join(self.sitting().verdicts), "abe")
        self.write("tests/fuzz/B.cpp", "one")
        self.write("tests/usb/ATest.cpp", "two")
        self.assertEqual("".join(self.sitting().verdicts), "ce")

    def test_knows_the_folder_of_each_program_that_is_asked(self):
        for folder, programs in sittings.PROGRAMS.items():
            made = (subject.ROOT / "tests" / folder / "CMakeLists.txt").read_text()
            for program in programs:
                self.assertIn(program.removesuffix(".*"), made)
        asked = {test.rpartition("/")[2] for tests in lanes.TESTS.values() for test in tests}
        self.assertEqual(asked, set(sittings.FOLDER_OF))


class Standing(unittest.TestCase):
    KEY = "usb/A.cpp: int x = 2;"

    def standing(self, known, verdicts):
        return sittings.Standing([mutant()], known, verdicts)

    def test_is_good_when_each_mutant_is_found_or_judged(self):
        self.assertTrue(self.standing({}, {self.KEY: ("usb-test", "")}).is_good())
        self.assertTrue(self.standing({self.KEY: "never read"}, {self.KEY: (None, "")}).is_good())

    def test_is_bad_for_a_survivor_and_for_a_find_that_was_judged_harmless(self):
        self.assertFalse(self.standing({}, {self.KEY: (None, "")}).is_good())
        self.assertFalse(self.standing({self.KEY: "never read"}, {self.KEY: ("usb-test", "")}).is_good())

    def test_counts_by_way_and_by_folder(self):
        for known, verdicts, row in (({}, {self.KEY: ("usb-test", "")}, [1, 1, 0, 0, 0]),
                                     ({self.KEY: "never read"}, {}, [1, 0, 1, 0, 0]),
                                     ({}, {self.KEY: (None, "")}, [1, 0, 0, 1, 0]), ({}, {}, [1, 0, 0, 0, 1])):
            lines = [line.split() for line in self.standing(known, verdicts).table()]

            self.assertIn(["number", *map(str, row)], lines)
            self.assertIn(["usb/", *map(str, row)], lines)
            self.assertIn(["common/", "0", "0", "0", "0", "0"], lines)
            self.assertEqual(lines[-1], ["all", *map(str, row)])


if __name__ == "__main__":
    unittest.main()
