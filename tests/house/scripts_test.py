"""Runs the scripts that the documents name as somebody would who has just cloned the tree.

usage: scripts_test.py ROOT

What takes minutes or installs packages is played by stand-ins, which are found first in the path: cmake, ctest and
cpack make the files that the scripts go on with, and the rest just succeed. So this holds the scripts' own paths and
words, and not that the tree can be built. bench, lab and fuzz are only asked for their help; of the options only
those below are played.
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

STAND_INS = {
    "cmake": """
        case $1:$2 in
            --preset:*) mkdir -p "build/$2" ;;
            --build:--preset)
                for program in zebphones-demo tests/endurance/cycles-test; do
                    mkdir -p "$(dirname "build/$3/$program")"
                    ln -sf "$(type -P true)" "build/$3/$program"
                done ;;
        esac""",
    "ctest": """
        while [[ $# != 0 && $1 != --output-junit ]]; do [[ $1 == --preset ]] && preset=$2; shift; done
        [[ $# != 0 ]] || exit 0
        mkdir -p "$(dirname "build/$preset/$2")"
        echo '<testsuite><testcase name="one" status="run"/></testsuite>' >"build/$preset/$2\"""",
    "cpack": "mkdir packages; touch packages/one.deb",
    # Everything is installed.
    "dpkg-query": "echo installed",
    "clang-format": "", "clang-tidy": "", "mandoc": "",
}

# Of each script: its words, and what it then says.
PLAYED = {
    "bench": [(["--help"], "usage: scripts/bench")],
    "build": [([], ""), (["native", "zebhost"], "")],
    "check": [([], "nothing to mend"), (["--changed"], "0 sources formatted")],
    "demo": [(["--list"], "Next: scripts/demo --phone ncm")],
    "endure": [(["--help"], "usage: scripts/endure"), (["--cycles", "1"], "1 cycles on the emulated bus")],
    "fuzz": [(["--help"], "usage: scripts/fuzz")],
    "lab": [(["--help"], "usage: scripts/lab")],
    "mutate": [(["--list", "mxcommon"], "mxcommon/")],
    "package": [([], "build/native/packages/one.deb"), (["--no-build"], "one.deb"), (["--help"], "usage: scripts/package")],
    "steady": [(["--help"], "usage: scripts/steady"), (["--runs", "1"], "steady: 1 passed, 0 failed")],
    "test": [(["--quick"], "1 passed, 0 failed")],
}
# What a build would have left.
NEEDS_A_BUILD = {("package", "--no-build"): "native"}


def run(*words, cwd):
    return subprocess.run(words, cwd=cwd, capture_output=True, text=True, check=True).stdout


class AFreshClone(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.clone, cls.programs = Path(cls.folder.name, "clone"), Path(cls.folder.name, "bin")
        origin = Path(cls.folder.name, "origin")
        origin.mkdir()
        cls.programs.mkdir()
        run("sh", "-ec", "git ls-files -z --cached --others --exclude-standard | "
            f"tar --null --ignore-failed-read -T - -c | tar -x -C {origin}", cwd=ROOT)
        commit = ["git", "-c", "user.name=a", "-c", "user.email=a@b", "commit", "-q", "-m", "as it is"]
        for words in (["git", "init", "-q"], ["git", "add", "--all"], commit, ["git", "clone", "-q", origin, cls.clone]):
            run(*words, cwd=origin)
        for name, text in STAND_INS.items():
            (cls.programs / name).write_text(f"#!/bin/bash\n{text}\n")
            (cls.programs / name).chmod(0o755)

    def said(self, script, *words):
        """By the script, in the clone, in which nothing was done before."""
        run("git", "clean", "-fdxq", cwd=self.clone)
        if preset := NEEDS_A_BUILD.get((script, *words)):
            (self.clone / "build" / preset).mkdir(parents=True)
        environment = {**os.environ, "PATH": f"{self.programs}:{os.environ['PATH']}"}
        done = subprocess.run([f"scripts/{script}", *words], cwd=self.clone, env=environment, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout

    def test_is_all_that_the_scripts_need(self):
        for script, rows in PLAYED.items():
            for words, text in rows:
                with self.subTest(script, words=words):
                    self.assertIn(text, self.said(script, *words))


class TheDocuments(unittest.TestCase):
    def test_name_no_script_that_is_not_run_here(self):
        pages = [page for page in run("git", "ls-files", "*.md", cwd=ROOT).split()]
        named = {name for page in pages for name in re.findall(r"\bscripts/([a-z]+)", Path(ROOT, page).read_text())}

        self.assertEqual(named - set(PLAYED), set())
        self.assertGreater(len(named), 5)


if __name__ == "__main__":
    ROOT = Path(sys.argv.pop())
    unittest.main()
