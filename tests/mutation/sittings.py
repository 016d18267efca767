"""What has been played of one state of the tree, in however many sittings.

A verdict counts for the very code and tests that it was made of. Each state of the code has a file of its own, named
by the content of all that every verdict depends on; a line in it says of what state of the tests it is: a find, of
those of the program that found it; a survival, of all of them. What is known of another state is only asked first.
"""

import hashlib
import json
import subprocess

from mutants import FOLDERS, ROOT

CODE = [*FOLDERS, "include", "phones", "cmake", "CMakeLists.txt", "tests/support"]
# Folders of tests, and what of their own is asked about mutants.
PROGRAMS = {
    "mxcommon": ["mxcommon-test", "mxcommon-faults-test", "libusbthread-test", "lock-rules-.*"],
    "common": ["common-test"],
    "usb": ["usb-test", "plugin-entry-test"],
    "handshake": ["handshake-test"],
    "reliability": ["failure-points-test", "throwing-host-test", "handle-threads-test"],
    "fuzz": ["random-calls-test"],
}
FOLDER_OF = {program: folder for folder, programs in PROGRAMS.items() for program in programs}


def state(paths, root=ROOT):
    """A name for the content of these, uncommitted changes too."""
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", *paths],
                           cwd=root, check=True, capture_output=True, text=True).stdout.split("\0")[:-1]
    content = hashlib.sha256()
    for name in sorted(set(names)):
        if (root / name).exists():
            content.update(f"{name}\0".encode() + hashlib.sha256((root / name).read_bytes()).digest())
    return content.hexdigest()[:16]


class Sittings:
    """Verdicts by the mutants' keys: who found it, and by what."""

    def __init__(self, folder, root=ROOT):
        self.tests = {name: state([f"tests/{name}"], root) for name in PROGRAMS}
        self.file = folder / f"{state(CODE, root)}.jsonl"
        self.verdicts, self.before = {}, {}
        files = [path for path in folder.glob("*.jsonl") if path != self.file]
        for path in [*sorted(files, key=lambda path: path.stat().st_mtime), self.file]:
            for key, (test, what, tests) in read(path).items():
                self.before[key] = (test, what)
                if path == self.file and tests == self.deciding(test):
                    self.verdicts[key] = (test, what)

    def deciding(self, test):
        """The state of the tests that a verdict is of; the compiler's depends on none."""
        if test is None:
            return ".".join(self.tests.values())
        return self.tests.get(FOLDER_OF.get(test.rpartition("/")[2]), "")

    def note(self, key, test, what):
        self.verdicts[key] = (test, what)
        self.file.parent.mkdir(parents=True, exist_ok=True)
        with open(self.file, "a", encoding="utf-8") as log:
            row = {"key": key, "test": test, "what": what, "tests": self.deciding(test)}
            print(json.dumps(row), file=log, flush=True)

    def asked_first(self, key):
        test, what = self.before.get(key, (None, ""))
        return (test, what) if test else None


def read(path):
    """The last verdict counts; a line that was cut off by the end of a sitting does not."""
    found = {}
    for line in path.read_text(encoding="utf-8").splitlines() if path.exists() else ():
        try:
            row = json.loads(line)
            found[row["key"]] = (row["test"], row["what"], row["tests"])
        except (ValueError, KeyError):
            continue
    return found


class Standing:
    """How far the mutants of this state are played."""

    def __init__(self, mutants, known, verdicts):
        self.played = [mutant for mutant in mutants if mutant.key in verdicts]
        self.missing = [mutant for mutant in mutants if mutant.key not in verdicts and mutant.key not in known]
        self.judged = [mutant for mutant in mutants if mutant.key in known]
        found = {key for key, (test, _) in verdicts.items() if test}
        self.found = [mutant for mutant in self.played if mutant.key in found]
        self.survivors = [mutant for mutant in self.played if mutant.key not in found and mutant.key not in known]
        self.misjudged = [mutant for mutant in self.judged if mutant.key in found]
        self.mutants = mutants

    def is_good(self):
        return not (self.survivors or self.misjudged)

    def row(self, chosen):
        return [sum(map(chosen, part)) for part in
                (self.mutants, self.found, self.judged, self.survivors, self.missing)]

    def table(self):
        yield f"{'':12}{'mutants':>9}{'found':>9}{'judged':>9}{'survive':>9}{'missing':>9}"
        for operator in dict.fromkeys(mutant.operator for mutant in self.mutants):
            yield self.line(operator, lambda mutant, operator=operator: mutant.operator == operator)
        for folder in FOLDERS:
            yield self.line(f"{folder}/", lambda mutant, folder=folder: mutant.path.startswith(f"{folder}/"))
        yield self.line("all", lambda mutant: True)

    def line(self, name, chosen):
        return f"{name:12}" + "".join(f"{count:9}" for count in self.row(chosen))
