"""Shows that scripts/mutate finds what there is to break, and that its list of harmless mutants stays true."""

import collections
import contextlib
import io
import sys
import tempfile
import unittest
from importlib.machinery import SourceFileLoader
from importlib.util import module_from_spec, spec_from_loader
from pathlib import Path
from types import SimpleNamespace

sys.dont_write_bytecode = True
HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import mutants as subject  # noqa: E402

LOADER = SourceFileLoader("mutate", str(HERE.parents[1] / "scripts" / "mutate"))
player = module_from_spec(spec_from_loader("mutate", LOADER))
LOADER.exec_module(player)


def changes(source):
    return [(mutant.old, mutant.new) for mutant in subject.mutants_of("usb/A.cpp", source)]


class Finding(unittest.TestCase):
    def test_breaks_each_text_and_each_number(self):
        for source, change in {
            'log("got %s")': ('"got %s"', '"got %sx"'),
            r'log("a\"b")': (r'"a\"b"', r'"a\"bx"'),
            'return "";': ('""', '"x"'),
            "int x = 9;": ("9", "10"),
            "int x = 1'000'000;": ("1'000'000", "1000001"),
            "int x = 0xFF;": ("0xFF", "0x100"),
            "unsigned x = 15u;": ("15", "16"),
            "double x = 1.5;": ("1.5", "2.5"),
            "int x GUARDED_BY(mutex) = 0;": ("0", "1"),
        }.items():
            with self.subTest(source):
                self.assertEqual(changes(source), [change])

    def test_passes_over_what_is_no_value(self):
        for source in ('// 1 "a"', '/* 1\n "a" */', '#include "common/A2.h"', "#define A 3", "char c = '7';",
                       "int a1 = b2;", "virtual void stop() = 0;", "int* last) const = 0;",
                       'static_assert(sizeof(int) == 4, "wide");', 'extern "C" {', "[[deprecated]] int x = 1;"):
            with self.subTest(source):
                self.assertEqual(changes(source), [])

    def test_changes_nothing_but_that_one_place(self):
        mutants = list(subject.mutants_of("usb/A.cpp", "one(1);\ntwo(1, 1);\n"))

        self.assertEqual([mutant.broken() for mutant in mutants],
                         ["one(2);\ntwo(1, 1);\n", "one(1);\ntwo(2, 1);\n", "one(1);\ntwo(1, 2);\n"])
        self.assertEqual([mutant.number for mutant in mutants], [1, 2, 2])

    def test_names_each_by_its_broken_line(self):
        keys = [mutant.key for mutant in subject.mutants_of("usb/A.cpp", "  two(1, 1);\nother();\n  two(1, 1);\n")]

        self.assertEqual(keys, ["usb/A.cpp: two(2, 1);", "usb/A.cpp: two(1, 2);", "usb/A.cpp: two(2, 1); (2)",
                                "usb/A.cpp: two(1, 2); (2)"])

    def test_finds_a_hundred_and_more_in_what_ships(self):
        folders = collections.Counter(mutant.path.split("/")[0] for mutant in subject.all_mutants())

        self.assertEqual(set(folders), set(subject.FOLDERS))
        self.assertGreater(min(folders.values()), 100)

    def test_takes_a_folder_a_file_or_a_line(self):
        mutant = next(subject.mutants_of("usb/A.cpp", "\n\nint x = 1;"))

        for wanted, answer in {(): True, ("usb",): True, ("usb/",): True, ("usb/A.cpp",): True, ("usb/A.cpp:3",): True,
                               ("common",): False, ("usb/A.cpp:2",): False, ("usb/B.cpp", "usb"): True}.items():
            with self.subTest(wanted):
                self.assertEqual(subject.is_wanted(mutant, wanted), answer)


class HarmlessList(unittest.TestCase):
    def test_has_an_entry_for_a_mutant_only_while_it_exists(self):
        mutants = list(subject.mutants_of("usb/A.cpp", "int x = 1;"))
        known = subject.harmless(["# said", "", "usb/A.cpp: int x = 2; # never read", "usb/A.cpp: int y = 2; # gone"])

        self.assertEqual(known["usb/A.cpp: int x = 2;"], "never read")
        self.assertEqual(subject.stale(known, mutants), ["usb/A.cpp: int y = 2;"])

    def test_wants_a_reason(self):
        for line in ("usb/A.cpp: int x = 2;", "usb/A.cpp: int x = 2; # "):
            with self.subTest(line), self.assertRaises(SystemExit):
                subject.harmless([line])

    def test_of_this_tree_has_no_entry_that_is_gone(self):
        known = subject.harmless(subject.HARMLESS.read_text().splitlines())

        self.assertEqual(subject.stale(known, subject.all_mutants()), [])


class Playing(unittest.TestCase):
    def lane(self, *outcomes):
        """A lane whose commands, building and testing by turns, end with these statuses and outputs."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        lane, left = player.Lane(Path(folder.name)), list(outcomes)
        (lane.tree / "usb").mkdir(parents=True)

        def command(*_, **__):
            self.assertEqual((lane.tree / "usb" / "A.cpp").read_text(), "int x = 2;")
            status, output = left.pop(0)
            return SimpleNamespace(returncode=status, stdout=output)

        lane.command = command
        return lane

    def verdict(self, lane):
        result = lane.verdict(next(subject.mutants_of("usb/A.cpp", "int x = 1;")), ["first-test", "second-test"])
        self.assertEqual((lane.tree / "usb" / "A.cpp").read_text(), "int x = 1;")
        return result

    def test_tells_who_finds_a_mutant_and_by_what(self):
        red = "[ RUN      ] A.Works\n[  FAILED  ] A.Works (0 ms)"
        dead = "[ RUN      ] A.Lives\n[ RUN      ] A.Dies\n"
        good = (0, "")

        for outcomes, found in {
            (good, (8, red), (8, red)): ("first-test", "A.Works"),
            (good, (8, dead), (8, dead)): ("first-test", "A.Dies"),
            (good, (8, "12 - rules-hold (Failed)"), (8, "12 - rules-hold (Failed)")): ("first-test", "rules-hold"),
            (good, (8, "[ RUN      ] A.Hangs\n12 - a-test (Timeout)")): ("first-test", "A.Hangs"),
            (good, good, good, (8, red), (8, red)): ("second-test", "A.Works"),
            ((1, "A.cpp:1: error: too much"),): ("the compiler", "too much"),
        }.items():
            with self.subTest(outcomes):
                self.assertEqual(self.verdict(self.lane(*outcomes)), found)

    def test_does_not_count_a_test_that_fails_once(self):
        self.assertEqual(self.verdict(self.lane((0, ""), (8, ""), (0, ""), (0, ""), (0, ""))), (None, ""))

    def test_tells_when_nobody_does(self):
        self.assertEqual(self.verdict(self.lane((0, ""), (0, ""), (0, ""), (0, ""))), (None, ""))

    def test_takes_no_other_trouble_of_the_build_for_a_find(self):
        with self.assertRaises(SystemExit):
            self.verdict(self.lane((1, "no space left on device")))

    def test_begins_with_the_program_that_found_the_last_of_the_file(self):
        found = collections.Counter({("usb/A.cpp", "handshake-test"): 1, ("usb/B.cpp", "random-calls-test"): 2})

        self.assertEqual(player.order("usb/A.cpp", found)[:2], ["handshake-test", "usb-test"])
        self.assertEqual(player.order("usb/C.cpp", found)[0], "usb-test")
        self.assertEqual(player.order("usb/C.h", found)[-2:], ["usb-test", "asan/usb-test"])


class Scoring(unittest.TestCase):
    def good(self, known, test):
        mutant = next(subject.mutants_of("usb/A.cpp", "int x = 1;"))
        score = player.Score(known, 1)
        with contextlib.redirect_stdout(io.StringIO()):
            score.note(mutant, test, "")
            return score.summary(0)

    def test_is_good_when_each_mutant_is_found_or_judged(self):
        self.assertTrue(self.good({}, "usb-test"))
        self.assertTrue(self.good({"usb/A.cpp: int x = 2;": "never read"}, None))

    def test_is_bad_for_a_survivor_and_for_a_find_that_was_judged_harmless(self):
        self.assertFalse(self.good({}, None))
        self.assertFalse(self.good({"usb/A.cpp: int x = 2;": "never read"}, "usb-test"))


if __name__ == "__main__":
    unittest.main()
