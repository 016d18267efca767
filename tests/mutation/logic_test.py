"""Shows that scripts/mutate finds what there is to break, and that its list of harmless mutants stays true."""

import collections
import contextlib
import io
import re
import subprocess
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
import lane as lanes  # noqa: E402
import mutants as subject  # noqa: E402

LOADER = SourceFileLoader("mutate", str(HERE.parents[1] / "scripts" / "mutate"))
player = module_from_spec(spec_from_loader("mutate", LOADER))
LOADER.exec_module(player)


def changes(source):
    return [(mutant.old, mutant.new) for mutant in subject.values_of("usb/A.cpp", source)]


def mutant():
    return next(subject.values_of("usb/A.cpp", "int x = 1;"))


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
        mutants = list(subject.values_of("usb/A.cpp", "one(1);\ntwo(1, 1);\n"))

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
        found = next(subject.mutants_of("usb/A.cpp", "\n\nint x = 1;"))

        for wanted, answer in {(): True, ("usb",): True, ("usb/",): True, ("usb/A.cpp",): True, ("usb/A.cpp:3",): True,
                               ("common",): False, ("usb/A.cpp:2",): False, ("usb/B.cpp", "usb"): True}.items():
            with self.subTest(wanted):
                self.assertEqual(subject.is_wanted(found, wanted), answer)


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


GOOD, RED = (0, ""), (8, "[  FAILED  ] A.Works")


class Playing(unittest.TestCase):
    def lane(self, *outcomes):
        """A lane whose commands, building and testing by turns, end with these statuses and outputs."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        lane, left, self.asked = lanes.Lane(Path(folder.name)), list(outcomes), []
        self.texts, self.times = [], []
        (lane.tree / "usb").mkdir(parents=True)

        def outcome(*words):
            self.texts.append((lane.tree / "usb" / "A.cpp").read_text())
            self.times.append((lane.tree / "usb" / "A.cpp").stat().st_mtime_ns)
            self.asked.append(words)
            status, output, *hangs = left.pop(0)
            return lanes.Outcome(status, output, bool(hangs))

        lane.build, lane.run = outcome, outcome
        return lane

    def verdict(self, lane, before=None):
        results = []
        lane.play([mutant()], lambda _: (["first-test", "second-test"], before),
                  lambda _, *result: results.append(result))
        self.assertEqual((lane.tree / "usb" / "A.cpp").read_text(), "int x = 1;")
        self.assertEqual(set(self.texts), {"int x = 2;"})
        return results[0]

    def test_tells_who_finds_a_mutant_and_by_what(self):
        red = "[ RUN      ] A.Works\n[  FAILED  ] A.Works (0 ms)"
        dead = "[ RUN      ] A.Lives\n[ RUN      ] A.Dies\n"
        good = (0, "")

        for outcomes, found in {
            (good, (8, red), (8, red)): ("first-test", "A.Works"),
            (good, (8, dead), (8, dead)): ("first-test", "A.Dies"),
            (good, (8, "12 - rules-hold (Failed)"), (8, "12 - rules-hold (Failed)")): ("first-test", "rules-hold"),
            (good, (-9, "[ RUN      ] A.Hangs\n", "hangs")): ("first-test", "A.Hangs"),
            (good, good, good, (8, red), (8, red)): ("second-test", "A.Works"),
            ((1, "A.cpp:1: error: too much"),): ("the compiler", "too much"),
            ((1, "a.s:1: Error: no such instruction"),): ("the compiler", "no such instruction"),
        }.items():
            with self.subTest(outcomes):
                self.assertEqual(self.verdict(self.lane(*outcomes)), found)

    def test_asks_a_test_that_was_red_alone_and_then_in_company(self):
        red = (8, "[  FAILED  ] A.Works")

        self.assertEqual(self.verdict(self.lane((0, ""), red, (0, ""), red)), ("first-test", "A.Works"))

        self.assertEqual(self.asked, [("first-test",), ("first-test", None, 0), ("first-test", "A.Works", 0),
                                      ("first-test", None, 0)])

    def test_does_not_count_a_test_that_fails_once(self):
        self.assertEqual(self.verdict(self.lane((0, ""), (8, ""), (0, ""), (0, ""), (0, ""))), (None, ""))

    def test_tells_when_nobody_does(self):
        self.assertEqual(self.verdict(self.lane((0, ""), (0, ""), (0, ""), (0, ""))), (None, ""))

    def test_takes_no_other_trouble_of_the_build_for_a_find(self):
        with self.assertRaises(SystemExit):
            self.verdict(self.lane((1, "no space left on device")))

    def test_asks_first_who_found_it_last_time_and_then_all(self):
        red = (8, "[  FAILED  ] A.Works")

        self.assertEqual(self.verdict(self.lane((0, ""), red, red), ("second-test", "A.Works")),
                         ("second-test", "A.Works"))
        again = ("second-test", "A.Works", 0)
        self.assertEqual(self.asked, [("second-test",), again, again])
        self.assertEqual(self.verdict(self.lane(*[(0, "")] * 6), ("second-test", "A.Works")), (None, ""))
        self.assertEqual(self.verdict(self.lane(*[(0, "")] * 4), ("the compiler", "too much")), (None, ""))

    SEVERAL = "void f() {\n    a(1);\n    b();\n}"

    def several(self, lane):
        """Two mutants that fit into one program and one that does not; who finds which."""
        made, found = subject.mutants_of("usb/A.cpp", self.SEVERAL), {}
        lane.play([one for one in made if one.operator in ("number", "delete")], lambda _: (["a-test"], None),
                  lambda one, *result: found.update({one.told: result}))
        self.assertEqual((lane.tree / "usb" / "A.cpp").read_text(), self.SEVERAL)
        return [found[key] for key in ("without a(1);", "without b();", "1 -> 2")]

    def test_builds_those_once_that_fit_into_one_program(self):
        lane = self.lane(GOOD, GOOD, RED, RED, GOOD, GOOD, RED, RED, GOOD, GOOD)
        found = ("a-test", "A.Works")

        self.assertEqual(self.several(lane), [found, found, (None, "")])
        built, whole = ("a-test",), ("a-test",)
        self.assertEqual(self.asked, [built, built, ("a-test", None, 1), ("a-test", "A.Works", 1), whole, built,
                                      ("a-test", None, 2), ("a-test", "A.Works", 2), built, ("a-test", None, 0)])
        self.assertEqual(len(set(self.texts)), 2)
        self.assertIn("zebMutant(2)", self.texts[0])
        self.assertEqual(len(set(self.times)), 2)

    def test_believes_no_program_that_fails_with_all_mutants_switched_off(self):
        survivors = [(None, "")] * 3

        self.assertEqual(self.several(self.lane(GOOD, GOOD, RED, RED, RED, *[GOOD] * 6)), survivors)
        twice = self.lane(*[GOOD, GOOD, RED, RED, GOOD, GOOD, GOOD, GOOD, GOOD],
                          *[GOOD, GOOD, RED, RED, RED, *[GOOD] * 6])
        self.assertEqual(self.several(twice)[0], ("a-test", "A.Works"))
        self.assertEqual(self.several(twice), survivors)

    def test_takes_out_what_the_compiler_refuses_in_one_program(self):
        refused, built = (1, "A.cpp:2:5: error: not so"), GOOD

        self.assertEqual(self.several(self.lane(refused, built, built, GOOD, built, GOOD, refused)),
                         [("the compiler", "not so"), (None, ""), (None, "")])
        self.assertNotIn("zebMutant(2)", self.texts[1])

    def test_takes_out_more_when_the_compiler_names_another_line(self):
        refused, built = (1, "A.cpp:5:5: error: not so"), GOOD

        self.assertEqual(self.several(self.lane(refused, refused, *[built, GOOD] * 3)), [(None, "")] * 3)
        self.assertEqual(self.several(self.lane(*[(1, "no space left")] * 5, *[built, GOOD] * 3)), [(None, "")] * 3)

    def test_builds_each_by_itself_when_another_way_refuses_them_together(self):
        refused, built = (1, "A.cpp:2:5: error: not so"), GOOD

        self.assertEqual(self.several(self.lane(built, refused, *[built, GOOD] * 3)), [(None, "")] * 3)

    def test_begins_with_the_program_that_found_the_last_of_the_file(self):
        found = collections.Counter({("usb/A.cpp", "handshake-test"): 1, ("usb/B.cpp", "random-calls-test"): 2})

        self.assertEqual(lanes.order("usb/A.cpp", found)[:2], ["handshake-test", "usb-test"])
        self.assertEqual(lanes.order("usb/C.cpp", found)[0], "usb-test")
        self.assertEqual(lanes.order("usb/C.h", found)[-2:], ["usb-test", "asan/usb-test"])

    def test_builds_only_what_may_be_asked(self):
        self.assertEqual(lanes.programs_for([mutant()]), sorted(lanes.TESTS["usb"]))
        self.assertEqual(lanes.programs_for([]), [])

    def test_asks_each_program_that_tests_what_ships(self):
        there = {name for folder in (*subject.FOLDERS, "handshake", "reliability") for name in re.findall(
            r"zeb_add_test\(([\w-]+)", (subject.ROOT / "tests" / folder / "CMakeLists.txt").read_text())}

        # One has a mistake of its own, for the thread sanitizer to find.
        there.remove("deliberate-race")
        self.assertEqual(there - {test for tests in lanes.TESTS.values() for test in tests}, set())

    def test_takes_no_program_that_ctest_cannot_start_for_one_that_passes(self):
        lane = lanes.Lane(Path("nowhere"))
        lane.tests["usb-test"] = ([], {}, ".")

        with self.assertRaisesRegex(SystemExit, "can't start usb-test"):
            lane.measure(["usb-test"])

    def test_learns_how_a_program_is_started_when_it_is_built(self):
        lane, done = lanes.Lane(Path("nowhere")), []
        lane.refresh, lane.must = lambda: None, lambda words: done.append(words[0])
        lane.learn = lambda *_: done.append("learn")

        lane.prepare(["usb-test"])

        self.assertEqual(done, ["cmake", "ninja", "learn"])

    def test_ends_what_waits_for_ever_with_all_that_it_started(self):
        done = lanes.Lane(Path("nowhere")).command(["sh", "-c", "echo begun; sleep 1000"], 0.2)

        self.assertTrue(done.hangs)
        self.assertEqual(done.stdout, "begun\n")
        self.assertNotEqual(done.returncode, 0)

    def test_ends_what_goes_round_in_circles(self):
        done = lanes.Lane(Path("nowhere")).command(["prlimit", "--cpu=1:3", "sh", "-c", "while :; do :; done"])

        self.assertTrue(done.hangs)

    def test_ends_without_a_word_when_nobody_reads_its_list_to_the_end(self):
        with subprocess.Popen([subject.ROOT / "scripts/mutate", "--list"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as listing:
            listing.stdout.readline()
            listing.stdout.close()

            self.assertEqual(listing.stderr.read(), b"")

    def test_plays_each_once_whatever_the_number_of_lanes(self):
        for count in (1, 3):
            side_by_side, played = lanes.Lanes(subject.ROOT / "build" / "none", count), []
            side_by_side.play([[1, 2], [3], [4, 5, 6]], lambda _, portion: played.append(portion))

            self.assertEqual(sorted(played), [[1, 2], [3], [4, 5, 6]])

    def test_ends_all_lanes_at_the_first_trouble(self):
        def trouble(*_):
            raise SystemExit("no space left on device")

        with self.assertRaises(SystemExit):
            lanes.Lanes(subject.ROOT / "build" / "none", 2).play([[1], [2], [3]], trouble)

    def test_keeps_no_survival_that_only_the_quick_programs_tell_of(self):
        def answer(portion, ask, note):
            asked.extend(ask(portion[0])[0])
            note(portion[0], None, "")

        lane = SimpleNamespace(play=answer)
        played = SimpleNamespace(prepare=lambda _: {"handshake-test"},
                                 play=lambda portions, play_portion: play_portion(lane, portions[0]))
        for quickly in (True, False):
            asked, kept = [], []
            sitting = SimpleNamespace(asked_first=lambda _: None, note=lambda *verdict: kept.append(verdict))
            with contextlib.redirect_stdout(io.StringIO()):
                player.play([mutant()], player.Score({}, 1), sitting, played, quickly)

            self.assertEqual("handshake-test" in asked, not quickly)
            self.assertEqual(len(kept), 0 if quickly else 1)

    def test_gives_a_lane_neighbours_of_one_file(self):
        made = [SimpleNamespace(path=path) for path in ["a"] * 250 + ["b"] * 130]

        self.assertEqual([(part[0].path, len(part)) for part in player.portions(made)],
                         [("a", 120), ("a", 120), ("b", 120), ("a", 10), ("b", 10)])


if __name__ == "__main__":
    unittest.main()
