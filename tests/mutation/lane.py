"""Where mutants are built and tested: a copy of the tree with builds of its own."""

import filecmp
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

from mutants import ROOT
from schemata import VARIABLE, Schemata

COMPILER = "the compiler"
LOCK_RULES = "lock-rules-.*"  # as ctest knows them: clang reads the sources, there is nothing to build
# The quickest first. What begins with "asan/" is built with the address sanitizer.
TESTS = {
    "mxcommon": ["mxcommon-faults-test", "mxcommon-test", "common-test", LOCK_RULES, "libusbthread-test",
                 "handshake-test"],
    "common": ["common-test", "mxcommon-faults-test", "mxcommon-test", "usb-test", "asan/common-test",
               "handle-threads-test", LOCK_RULES, "plugin-entry-test", "throwing-host-test", "libusbthread-test",
               "handshake-test", "random-calls-test", "failure-points-test"],
    "usb": ["usb-test", "asan/usb-test", "plugin-entry-test", "handshake-test", "throwing-host-test",
            "asan/handshake-test", "random-calls-test", "failure-points-test"],
}
# Of the plug-in's file: they see no header.
LOADERS = {"plugin-entry-test", "throwing-host-test", "handshake-test", "asan/handshake-test", "random-calls-test",
           "failure-points-test"}
# Not optimised and without debug information, which no test looks at: that halves the time to build. A name that is
# not used any more is no find: the order and the effect of statements are for tests to hold.
FLAGS = "-O0 -Wno-cpp -Wno-unused -Wno-unused-parameter"
OPTIONS = ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=Mutant", f"-DCMAKE_CXX_FLAGS_MUTANT={FLAGS}",
           "-DCMAKE_C_FLAGS_MUTANT=-O0 -Wno-cpp", "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=12",
           *(f"-DCMAKE_{kind}_LINKER_FLAGS=-fuse-ld=lld -Wl,--strip-debug" for kind in ("EXE", "MODULE"))]


def order(path, found):
    """The tests for a file; those that found most of its mutants first, then those that a header makes build least."""
    tests = TESTS[path.split("/")[0]]
    return sorted(tests, key=lambda test: (-found[path, test], path.endswith(".h") and test not in LOADERS))


def programs_for(mutants):
    """All that may be asked about these."""
    folders = {mutant.path.split("/")[0] for mutant in mutants}
    return sorted({test for folder in folders for test in TESTS[folder]})


def complaint(output):
    """The compiler's; any other trouble of a build says nothing of the mutant."""
    error = re.search(r"\b[Ee]rror: (.*)", output)  # the assembler begins with a capital
    return error[1] if error else sys.exit(output)


def failed(output):
    """The first test that did, or the one that took the program with it."""
    found = (re.findall(r"\[  FAILED  \] ([^\s,]+)", output) or re.findall(r"\[ RUN      \] (\S+)", output)[-1:] or
             re.findall(r"\d+ - (\S+) \(", output))
    return found[0] if found else "no test in particular"


def one_test(name):
    """What the test framework takes as such."""
    return name if name and re.fullmatch(r"[\w/]+\.[\w/]+", name) else None


class Outcome:
    def __init__(self, returncode, stdout, hangs=False):
        self.returncode, self.stdout, self.hangs = returncode, stdout, hangs


class Limits:
    """How long a test may take, by what it took while all was whole; shared by the lanes."""

    def __init__(self):
        self.seconds, self.cpu = {}, {}

    def learn(self, test, seconds, cpu):
        self.seconds[test], self.cpu[test] = seconds, cpu

    def of(self, test):
        """For what waits for ever, and for what a mutant sends round in circles, which does not take longer on a busy
        machine."""
        return 10 + 5 * self.seconds.get(test, 60), int(3 + 3 * self.cpu.get(test, 60))


class Lane:
    """One tree, built in the two ways. No two lanes share anything but what the limits tell."""

    def __init__(self, folder, limits=None):
        self.tree, self.builds = folder / "tree", {"": folder / "build", "asan": folder / "asan"}
        self.limits, self.tests = limits or Limits(), {}
        self.whole = {}  # of the program with many mutants: does it pass which test while none is on?

    def refresh(self):
        """Bring it up to date with this tree, uncommitted changes too; what differs becomes new to the build."""
        listing = self.command(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"])
        for name in listing.stdout.split("\0")[:-1]:
            source, copy = ROOT / name, self.tree / name
            if source.exists() and not (copy.exists() and filecmp.cmp(source, copy, shallow=False)):
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)

    def command(self, words, seconds=None, **more):
        """In a group of its own, so that all it started can be ended. Not a session: the first emulated terminal that
        its leader opens would be the one whose end hangs it up."""
        with subprocess.Popen(words, cwd=more.pop("cwd", ROOT), text=True, errors="replace", process_group=0,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              **more) as process:
            try:
                output, hangs = process.communicate(timeout=seconds)[0], False
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                output, hangs = process.communicate()[0], True
        return Outcome(process.returncode, output, hangs or process.returncode == -signal.SIGXCPU)

    def must(self, words):
        done = self.command(words)
        if done.returncode:
            sys.exit(f"{done.stdout[-3000:]}\nscripts/mutate: {' '.join(words)} fails before anything is broken")
        return done.stdout

    def prepare(self, asked):
        self.refresh()
        for way, folder in self.builds.items():
            programs = [test.rpartition("/")[2] for test in asked if test.rpartition("/")[0] == way]
            if not programs:
                continue
            sanitize = "address,undefined" if way else ""
            self.must(["cmake", "-S", str(self.tree), "-B", str(folder), f"-DZEB_SANITIZE={sanitize}", *OPTIONS])
            self.must(["ninja", "-C", str(folder), *(program for program in programs if program != LOCK_RULES)])
            self.learn(way, folder)
        os.environ.update(GTEST_FAIL_FAST="1", CCACHE_DISABLE="1")

    def learn(self, way, folder):
        """How ctest would start each program: with the same words, variables and folder. It knows no words for one
        that is not built."""
        listing = self.must(["ctest", "--test-dir", str(folder), "--show-only=json-v1"])
        for test in json.loads(listing[listing.index("{"):])["tests"]:
            known = {one["name"]: one["value"] for one in test["properties"]}
            variables = dict(word.split("=", 1) for word in known.get("ENVIRONMENT", []))
            variables.pop("GTEST_OUTPUT", None)
            name = f"{way}/{test['name']}".lstrip("/")
            self.tests[name] = (test.get("command", []), variables, known["WORKING_DIRECTORY"])

    def measure(self, asked):
        """All tests pass while nothing is broken, and take so long."""
        for test in asked:
            cpu, start = children_cpu(), time.monotonic()
            done = self.run(test)
            if done.returncode:
                sys.exit(f"{done.stdout[-3000:]}\nscripts/mutate: {test} fails ({done.returncode}) before anything is "
                         "broken")
            self.limits.learn(test, time.monotonic() - start, children_cpu() - cpu)
            print(f"{time.strftime('%T')} {test} passes in {self.limits.seconds[test]:.1f} s", flush=True)

    def build(self, test):
        way, _, program = test.rpartition("/")
        return self.command(["ninja", "-j1", "-C", str(self.builds[way]),
                             "build.ninja" if program == LOCK_RULES else program])

    def run(self, test, only=None, chosen=0):
        """One program, or the one test of it that is asked first; with a mutant switched on where many are built."""
        seconds, cpu = self.limits.of(test)
        if test == LOCK_RULES:
            return self.command(["ctest", "--test-dir", str(self.builds[""]), "-R", f"^{test}$", "--no-tests=error",
                                 "--output-on-failure"], seconds)
        words, variables, folder = self.tests[test]
        if not words:
            sys.exit(f"scripts/mutate: ctest can't start {test}")
        # The sanitizer reserves more memory than there is.
        memory = [] if "/" in test else [f"--data={2 << 30}"]
        only = [f"--gtest_filter={only}"] if only else []
        more = {VARIABLE: str(chosen), "ZEB_TEST_PATIENCE": "3"}
        return self.command(["prlimit", f"--cpu={cpu}:{cpu + 2}", "--core=0", *memory, *words, *only], seconds,
                            cwd=folder, env=os.environ | variables | more)

    def play(self, mutants, asked, note):
        """A file's mutants: those that fit into one program, then each that needs its own."""
        path, source = self.tree / mutants[0].path, mutants[0].source
        try:
            together = self.together(mutants, asked(mutants[0])[0])
            for mutant in sorted(mutants, key=lambda mutant: mutant.key not in together.numbers):
                note(mutant, *self.verdict(mutant, *asked(mutant), together))
        finally:
            path.write_text(source)

    def together(self, mutants, tests):
        """All that can be built in one program: the compiler tells by their lines, or by lines near, which can't."""
        path, margin = self.tree / mutants[0].path, 0
        left = mutants if path.suffix == ".cpp" else []
        while True:
            schemata = Schemata(mutants[0].source, left)
            if not schemata.numbers:
                return schemata
            path.write_text(schemata.text())
            self.whole = {}
            built = self.build(tests[0])
            if not built.returncode:
                return schemata
            lines = [int(line) for line in re.findall(rf"{path.name}:(\d+):\d+: error", built.stdout)]
            left = [mutant for mutant in left if mutant.key in schemata.numbers and
                    not any(mutant.is_near(line, margin) for line in lines)]
            margin = 0 if len(left) < len(schemata.numbers) else 4 * margin + 4
            if margin > 1000:
                left = []

    def verdict(self, mutant, tests, before=None, together=None):
        """Who finds it, and by what; nobody when it survives."""
        path = self.tree / mutant.path
        if together and mutant.key in together.numbers:
            write(path, together.text())
            try:
                return self.found(tests, before, together.numbers[mutant.key])
            except NotTogether:
                together.numbers.clear()
        write(path, mutant.broken())
        return self.found(tests, before)

    def found(self, tests, before, chosen=0):
        """The test that found it last time is asked first."""
        first = self.found_by(*before, chosen) if before and before[0] in tests else None
        return first or next(filter(None, (self.found_by(test, None, chosen) for test in tests)), (None, ""))

    def found_by(self, test, only=None, chosen=0):
        """A red test is asked twice, by itself the second time: one that lives on time could fail on a busy machine.
        Clang can only read what is in a program of its own."""
        if chosen and test == LOCK_RULES:
            return None
        built = self.build(test)
        if built.returncode and chosen:
            raise NotTogether
        if built.returncode:
            return COMPILER, complaint(built.stdout)
        done = self.run(test, one_test(only), chosen)
        if not done.returncode or not self.is_red_again(test, done, chosen):
            return None
        if chosen and not self.is_whole(test):
            raise NotTogether
        return test, failed(done.stdout)

    def is_red_again(self, test, done, chosen):
        """What fails only in company is asked with all the others."""
        return done.hangs or any(self.run(test, only, chosen).returncode
                                 for only in dict.fromkeys([one_test(failed(done.stdout)), None]))

    def is_whole(self, test):
        """With all its mutants switched off the program must be as good as the right one."""
        if test not in self.whole:
            self.whole[test] = self.run(test).returncode == 0
        return self.whole[test]


class NotTogether(Exception):
    """The program with many mutants is none that shows anything."""


def write(path, text):
    """What does not change must not be built again."""
    if not path.exists() or path.read_text() != text:
        path.write_text(text)


def children_cpu():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


class Lanes:
    """Several, each playing one file's mutants for a while; the next does as soon as it has nothing left."""

    def __init__(self, folder, count):
        limits = Limits()
        self.lanes = [Lane(folder / f"lane{number}", limits) for number in range(1, count + 1)]

    def prepare(self, asked):
        """Build all that is asked about the mutants, and see it pass. Which of them take seconds?"""
        self.lanes[0].must(["scripts/setup", "build", "mutation"])
        for lane in self.lanes:
            print(f"{time.strftime('%T')} building {lane.tree.parent.relative_to(ROOT)}", flush=True)
            lane.prepare(asked)
        self.lanes[0].measure(asked)
        limits = self.lanes[0].limits
        return {test for test in asked if limits.seconds[test] > 2}

    def play(self, portions, play_portion):
        """play_portion(lane, portion) for each of them; the first trouble ends all."""
        lock, trouble = threading.Lock(), []

        def work(lane):
            while not trouble:
                with lock:
                    portion = portions.pop(0) if portions else None
                if portion is None:
                    return
                try:
                    play_portion(lane, portion)
                except BaseException as problem:  # pylint: disable=broad-except
                    trouble.append(problem)

        workers = [threading.Thread(target=work, args=(lane,)) for lane in self.lanes]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()
        if trouble:
            raise trouble[0]
