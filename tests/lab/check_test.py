"""The lab's check: it holds on the records of good runs, and each of its facts can fail.

recorded/ holds what real runs left behind, of the bus monitor only the control requests; recorded/sanitized what says
of a run that its host was built with sanitizers.
"""

import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).parent
CHECK = HERE.parents[1] / "lab" / "check"
sys.path.insert(0, str(CHECK))
sys.dont_write_bytecode = True

import claims  # noqa: E402
import endurance  # noqa: E402, F401  for its facts
import facts  # noqa: E402
import moments  # noqa: E402, F401
import run as records  # noqa: E402

KNOWN = {fact.__name__: fact for known in claims.SCENARIOS.values() for fact in known}


def change(pattern, replacement, count=0):
    """Puts the replacement for each match; the pattern has to be there."""

    def edit(text):
        result, changes = re.subn(pattern, replacement, text, count=count, flags=re.MULTILINE)
        assert changes, f"nothing to tamper with: {pattern}"
        return result

    return edit


def drop(pattern):
    return change(rf"^.*{pattern}.*\n", "")


def swap(first, second):
    """Lets the first line and the second change places."""

    def edit(text):
        one, two = (re.search(rf"^.*{pattern}.*$", text, re.MULTILINE)[0] for pattern in (first, second))
        return text.replace(one, "\0").replace(two, one).replace("\0", two)

    return edit


def shift(pattern, microseconds):
    """Moves the stamp of the lines that match."""

    def moved(line):
        return re.sub(r'("time_us":|^\S+ )(\d+)', lambda m: m[1] + str(int(m[2]) + microseconds), line[0], count=1)

    def edit(text):
        result, changes = re.subn(rf"^.*{pattern}.*$", moved, text, flags=re.MULTILINE)
        assert changes, f"nothing to move: {pattern}"
        return result

    return edit


def add_in_second_half(column, amount):
    """What each phone of the second half leaves behind, summed up, in that column of the record."""

    def edit(text):
        rows = [line.split(" ", 5) for line in text.splitlines()]
        for number, row in enumerate(rows[len(rows) // 2 :]):
            row[column] = str(int(row[column]) + round(number * amount))
        return "".join(" ".join(row) + "\n" for row in rows)

    return edit


HOST, PHONE, BUS, CYCLES = "zebhost.jsonl", "phone-1.jsonl", "usbmon.txt", "cycles.txt"
DESCRIPTORS, THREADS, RESIDENT, USED = range(1, 5)
VIOLATION = '{"time_us":9000000,"event":"violation","text":"a string was freed twice"}\n'

# Scenario, the fact that has to fail, the record, what is done to it.
TAMPERINGS = [
    ("boot", "scenario_ended", "scenario.status", change("0", "1")),
    ("boot", "scenario_ended", "scenario.status", drop("0")),
    ("boot", "buses", "devices.txt", drop("usb3")),
    ("baseline", "baseline_timed", "handshake.txt", lambda _: "300 200 400"),
    ("baseline", "baseline_timed", "handshake.txt", lambda _: ""),
    ("baseline", "phone_record", PHONE, drop('"index":3')),
    ("baseline", "bus_record", BUS, drop("40 35 0000")),
    ("phones", "packaged", "files.txt", change("/usr/bin", "/bin")),
    ("phones", "packaged", "files.txt", drop("zebdiscoverer")),
    ("phones", "host_ended", "zebhost.status", change("0", "3")),
    ("phones", "no_violation", HOST, lambda text: text + VIOLATION),
    ("phones", "started_and_stopped", HOST, drop('"started"')),
    ("phones", "started_and_stopped", HOST, drop('"stopped"')),
    ("phones", "started_and_stopped", HOST, change('"stopped","error":0', '"stopped","error":15')),
    ("phones", "started_and_stopped", HOST, shift('"started"', 5_000_000)),
    ("phones", "started_and_stopped", HOST, shift('"stopped"', -5_000_000)),
    ("phones", "tether_link", "address-0.txt", change(r"192\.168\.42", "192.168.43")),
    ("phones", "tether_interest", HOST, change('"level":15', '"level":30')),
    ("phones", "tether_interest", HOST, change('"103"', '"105"')),
    ("phones", "tether_interest", HOST, change("(.*\"level\":15.*\n)", r"\1\1")),
    ("phones", "tether_published", HOST, drop('"published","id":1')),
    ("phones", "tether_command", HOST, change("t=USBAND", "t=USBWM")),
    ("phones", "tether_command", HOST, change('0,"value":"zebcmd:v=1;t=USBAND"', '3,"value":null')),
    ("phones", "accessory_interest", HOST, change('"level":30', '"level":100')),
    ("phones", "accessory_interest", HOST, drop('"105"')),
    ("phones", "accessory_added", HOST, change('"added","id":2', '"published","id":2')),
    ("phones", "accessory_added", HOST, drop('"added"')),
    ("phones", "phone_record", PHONE, swap('"index":1', '"index":2')),
    ("phones", "phone_record", PHONE, change("302e31", "302e3100")),
    ("phones", "phone_record", PHONE, change('"answered":true', '"answered":false', count=1)),
    ("phones", "phone_record", PHONE, change("(.*\"request\":53.*\n)", r"\1\1")),
    ("phones", "bus_record", BUS, change("0003 0003 3 = 302e31", "0003 0004 4 = 302e3100")),
    ("phones", "bus_record", BUS, change("s 40 34 0000 0000", "s 40 34 0001 0000")),
    ("phones", "bus_record", BUS, change("000d 13 = 73657269 616c", "000d 13 = 53657269 616c")),
    ("phones", "bus_record", BUS, change(r"0 7 >", "-32 0")),
    ("phones", "bus_record", BUS, drop("s c0 33")),
    ("phones", "start_waits", BUS, shift("s 40 35", -1_000)),
    ("phones", "start_waits", BUS, drop("s 40 35")),
    ("phones", "gone_and_back", HOST, drop('"remove","bus":2,"device":2')),
    ("phones", "gone_and_back", HOST, drop('"add","bus":2,"device":3')),
    ("phones", "gone_and_back", HOST, shift('"remove","bus":2,"device":2', -1_000_000)),
    ("phones", "gone_and_back", HOST, change('"bus":2,"device":3', '"bus":4,"device":3')),
    ("phones", "switched_interest", HOST, change('"level":10', '"level":30')),
    ("phones", "switched_interest", HOST, change('"106"', '"105"')),
    ("phones", "switched_published", HOST, change('"published","id":3', '"added","id":3')),
    ("phones", "switched_command", HOST, change("bus=2;dev=3", "bus=2;dev=2")),
    ("phones", "switched_command", HOST, change("bus=2;dev=3", "bus=3;dev=3")),
    ("phones", "switched_command", HOST, shift("USBAAP", -1_000)),
    ("phones", "switched_command", BUS, drop("d118002d")),
    ("phones", "withdrawn", HOST, drop('"lost","id":1')),
    ("phones", "withdrawn", HOST, drop('"destroyed","id":2')),
    ("phones", "withdrawn", HOST, change("(.*destroyed.*id\":3.*\n)", r"\1\1")),
    ("phones", "withdrawn", HOST, drop('"remove","bus":1')),
    ("phones", "withdrawn", HOST, shift('"lost","id":3', 1_000_000)),
    ("phones", "at_once", HOST, shift('"lost","id":1', -4_000_000)),
    ("phones", "at_once", HOST, drop("t=USBAND")),
    ("before", "plugged_before", PHONE, shift('"4ee2"', 5_000_000)),
    ("before", "plugged_before", HOST, drop('"started"')),
    ("before", "gone_and_back", HOST, drop('"event":"device","action":"add".*"2d00"')),
    ("before", "switched_command", HOST, drop("USBAAP")),
    ("replug", "same_port", HOST, change('"port":"2-1"', '"port":"2-2"', count=1)),
    ("replug", "same_port", HOST, drop('"event":"device","action":"add".*"2d00"')),
    ("replug", "two_handshakes", PHONE, drop('"request":53')),
    ("replug", "two_handshakes", BUS, drop("s 40 35")),
    ("replug", "two_commands", HOST, change(r"(bus=2;dev=)\d+", r"\g<1>99", count=1)),
    ("replug", "two_commands", HOST, drop("t=USBAAP")),
    ("replug", "two_lives", HOST, drop('"destroyed","id":3')),
    ("replug", "two_lives", HOST, change('"lost","id":2', '"lost","id":1')),
    ("rights", "ordinary_user", "zebhost.user", change("1000", "0", count=1)),
    ("rights", "node_named", HOST, change("a udev rule is missing", "something is wrong")),
    ("rights", "node_named", HOST, change("/dev/bus/usb/002/", "/dev/bus/usb/003/")),
    ("rights", "node_named", HOST, drop('"node-access"')),
    ("rights", "asked_afterwards", HOST, shift('"event":"offer"', -2_000_000)),
    ("rights", "asked_afterwards", BUS, shift("s c0 33", -2_000_000)),
    ("speed", "scenario_ended", "scenario.status", change("0", "143")),
    ("speed", "both_timed", "plugin.txt", change(r"(?s).*", "", count=1)),
    ("speed", "both_timed", "baseline.txt", change(r"(?s)\n.*", "\n", count=1)),
    ("speed", "both_timed", "plugin.txt", change(r"^(\d+) \d+", r"\1 0", count=1)),
    ("speed", "host_sleeps", "wakeups.txt", change("accessory 30 0", "accessory 30 1")),
    ("speed", "host_sleeps", "wakeups.txt", drop("nothing")),
    ("endure", "each_found", CYCLES, drop("^50 ")),
    ("endure", "each_found", CYCLES, drop("^25 ")),
    ("endure", "each_found", CYCLES, change(r"(^25 .*)zebcmd:v=1.*", r"\1")),
    ("endure", "each_found", CYCLES, change('(^25 .*"error":)0', r"\g<1>3")),
    ("endure", "each_found", "asked.txt", change("50", "51")),
    ("endure", "each_found", "violations.txt", lambda _: VIOLATION),
    ("endure", "nothing_kept", CYCLES, add_in_second_half(DESCRIPTORS, 0.05)),
    ("endure", "nothing_kept", CYCLES, add_in_second_half(THREADS, 0.05)),
    ("endure", "memory_rests", CYCLES, add_in_second_half(RESIDENT, 1)),
    ("endure", "memory_rests", CYCLES, change("^50 .*\n", "50\n")),
    ("endure", "time_rests", CYCLES, add_in_second_half(USED, 5_000_000)),
    ("sanitized", "sanitizers_silent", "files.txt", drop("libasan")),
    ("sanitized", "sanitizers_silent", "files.txt", drop("libubsan")),
    ("sanitized", "sanitizers_silent", "zebhost.log", lambda _: "==123==ERROR: LeakSanitizer: detected memory leaks\n"),
    ("sanitized", "sanitizers_silent", "zebhost.log", lambda _: "usb/A.cpp:1:2: runtime error: signed integer overflow\n"),
    ("moments", "unplugged_at_each", HOST, change("with status 1", "with status 5", count=1)),
    ("moments", "unplugged_at_each", HOST, change(r"(.*with status 1.*\n)", r"\1\1", count=1)),
    ("moments", "unplugged_at_each", "asked.txt", change("unplug 52 3", "unplug 52 2")),
    ("moments", "stalled_at_each", HOST, change("with status 4", "with status 1", count=1)),
    ("moments", "stalled_at_each", HOST, drop("Device doesn't support")),
    ("moments", "silent_at_each", HOST, change("0 instead of 26", "0 instead of 25")),
    ("moments", "silent_at_each", HOST, drop("0 instead of 2\\)")),
    ("moments", "short_version", HOST, change("1 instead of 2", "0 instead of 2")),
    ("moments", "short_version", "asked.txt", drop("short")),
    ("moments", "asked_so_far", PHONE, change("(.*\"answered\":false.*\n)", r"\1\1", count=1)),
    ("moments", "asked_so_far", PHONE, change('"answered":false', '"answered":true', count=1)),
    ("moments", "asked_so_far", BUS, change(r"^\S+ \d+ S Co:2:009:0 s 40 35(?s:.*?)\n", "", count=1)),
    ("moments", "seen_on_the_bus", BUS, change(" -71 0", " -2 0", count=1)),
    ("moments", "seen_on_the_bus", BUS, change(" -2 0", " -32 0", count=1)),
    ("moments", "seen_on_the_bus", BUS, shift(" -2 0", -1_000)),
    ("moments", "seen_on_the_bus", BUS, shift(" -32 0", 600_000)),
    ("moments", "one_life", HOST, drop('"destroyed","id":12')),
    ("moments", "one_life", HOST, change("(.*\"lost\",\"id\":12.*\n)", r"\1\1")),
    ("moments", "one_life", HOST, shift('"lost","id":9,', 100_000)),
    ("moments", "one_life", HOST, shift('"lost","id":12', -1_000)),
    ("moments", "late_and_found", HOST, drop("t=USBAAP")),
    ("moments", "late_and_found", BUS, shift("C Co:2:027:0 0 13", -10_000)),
    ("moments", "late_and_found", BUS, drop("S Co:2:027:0 s 40 35")),
]


class TheCheck(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def tampered(self, number, scenario, record, edit):
        folder = self.folder / str(number)
        shutil.copytree(HERE / "recorded" / scenario, folder)
        file = folder / record
        file.write_text(edit(records.text(file)))
        return folder

    def test_finds_every_fact_in_the_records_of_a_good_run(self):
        for scenario, known in claims.SCENARIOS.items():
            for fact in known:
                run = records.load(HERE / "recorded" / (scenario if fact.build != claims.SANITIZED else "sanitized"))
                with self.subTest(scenario=scenario, fact=fact.__name__):
                    self.assertEqual((True, fact.claim), (records.judge(fact, run)[0], fact.claim))

    def test_refutes_a_fact_when_its_record_was_tampered_with(self):
        for number, (scenario, fact, record, edit) in enumerate(TAMPERINGS):
            with self.subTest(number=number, fact=fact, record=record):
                run = records.load(self.tampered(number, scenario, record, edit))
                self.assertFalse(records.judge(KNOWN[fact], run)[0])

    def test_takes_no_interest_before_the_right_one_as_a_phone_not_yet_configured(self):
        early = change(r"(.*)\"level\":15,\"description\":\"103\"(.*\n)", r'\1"level":100,"description":""\2\g<0>')
        run = records.load(self.tampered("early", "phones", HOST, early))

        self.assertEqual(2, len(run.events("interest", bus=1, device=2)))
        self.assertTrue(records.judge(facts.tether_interest, run)[0])

    def test_has_no_fact_that_nothing_refutes(self):
        refuted = {fact for _, fact, _, _ in TAMPERINGS}
        self.assertEqual(set(KNOWN), refuted)

    def test_proves_nothing_when_a_record_is_missing(self):
        for scenario in claims.SCENARIOS:
            empty = self.folder / f"empty-{scenario}"
            empty.mkdir()
            run = records.load(empty)
            held = [fact.__name__ for fact in claims.SCENARIOS[scenario] if records.judge(fact, run)[0]]
            self.assertEqual([], held)

    def test_ends_with_a_summary_and_a_status_that_say_the_same(self):
        good = self.checked(HERE / "recorded", "boot")
        self.tampered("boot", "boot", "scenario.status", change("0", "1"))
        shutil.copytree(HERE / "recorded" / "baseline", self.folder / "baseline")
        bad = self.checked(self.folder, "boot", "baseline")

        self.assertEqual((0, "lab: 2 passed, 0 failed"), good)
        self.assertEqual((1, "lab: 5 passed, 1 failed"), bad)

    def test_does_not_judge_of_a_build_with_sanitizers_what_is_true_of_the_packages(self):
        said = self.said("--sanitized", HERE / "recorded", "endure").stdout

        self.assertIn("  -       resident memory does not grow: not judged of a build with sanitizers\n", said)
        self.assertIn("lab: 5 passed, 1 failed", said)  # the records are not those of such a build

    def test_does_not_pass_a_scenario_that_it_does_not_know(self):
        self.assertEqual(2, self.checked(HERE / "recorded", "boot", "picnic")[0])

    def test_does_not_pass_a_scenario_that_left_nothing(self):
        self.assertEqual((1, "lab: 0 passed, 2 failed"), self.checked(self.folder, "boot"))

    def said(self, *words):
        return subprocess.run([sys.executable, "-B", CHECK, *words], capture_output=True, text=True, check=False)

    def checked(self, folder, *scenarios):
        done = self.said(folder, *scenarios)
        return done.returncode, (done.stdout.splitlines() or [""])[-1]


if __name__ == "__main__":
    unittest.main()
