"""Holds the manual pages and the shell's completion against --help: each names what the others name.

usage: manuals.py TREE ZEBHOST...    (the program with the words that start it)
"""

import re
import shlex
import subprocess
import sys
import unittest
from pathlib import Path


def help_of(*command):
    return subprocess.run([*PROGRAM, *command, "--help"], capture_output=True, text=True, check=True).stdout


def commands():
    listed = help_of().split("Subcommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  ([a-z]+) ", listed, re.M)


def options(command):
    """Those of a command, but --help, which all have."""
    return set(re.findall(r"^  (--[a-z-]+)", help_of(command), re.M))


def man_page(name):
    return (TREE / "docs/man" / name).read_text()


def man_sections():
    """The text of each command's subsection of zebhost(1)."""
    parts = re.split(r"^\.Ss ", man_page("zebhost.1").split(".Sh ENVIRONMENT")[0], flags=re.M)[1:]
    return {part.split()[0]: part for part in parts}


def completions(*words):
    """What bash offers for the last of these words."""
    script = f"""
        zebhost() {{ {shlex.join(PROGRAM)} "$@"; }}
        source {shlex.quote(str(TREE / "host/completions/zebhost"))}
        COMP_WORDS=(zebhost {shlex.join(words)}); COMP_CWORD={len(words)}
        _zebhost
        printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    return set(subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=True).stdout.split())


class TheManual(unittest.TestCase):
    def test_has_a_section_for_each_command(self):
        self.assertEqual(set(man_sections()), set(commands()))

    def test_names_the_options_of_each_command(self):
        for command, text in man_sections().items():
            with self.subTest(command):
                self.assertEqual({"-" + name for name in re.findall(r"Fl (-[a-z-]+)", text)}, options(command))

    def test_explains_each_option_once(self):
        every = set().union(*(options(command) for command in commands()))
        explained = re.findall(r"^\.It Fl (-[a-z-]+)", man_page("zebhost.1"), re.M)
        self.assertEqual(sorted("-" + name for name in explained), sorted(every))

    def test_names_the_keys_of_the_configuration(self):
        source = (TREE / "host/Configuration.cpp").read_text()
        keys = re.findall(r'^    \{"[a-z]*", "([a-z-]+)",', source, re.M)
        self.assertGreater(len(keys), 5)
        self.assertEqual(sorted(re.findall(r"^\.It Cm ([a-z-]+)", man_page("zebhost.toml.5"), re.M)), sorted(keys))


class TheCompletion(unittest.TestCase):
    def test_offers_the_commands(self):
        self.assertEqual(completions(""), {"--help", "--version", *commands()})
        self.assertEqual(completions("exp"), {"explain"})

    def test_offers_exactly_the_options_of_each_command(self):
        for command in commands():
            with self.subTest(command):
                self.assertEqual(completions(command, "--") - {"--help"}, options(command))

    def test_offers_what_an_option_can_be(self):
        self.assertEqual(completions("run", "--log", ""), {"fatal", "error", "info", "debug"})
        self.assertIn("mouse", completions("demo", "--phone", ""))
        for words in (("run", "--plugin"), ("report",), ("report", "x", "-o"), ("report", "x", "--output")):
            self.assertEqual(completions(*words, str(TREE / "READ")), {str(TREE / "README.md")})


class TheHelp(unittest.TestCase):
    def test_teaches_by_example_and_names_the_exit_status(self):
        for command in commands():
            with self.subTest(command):
                text = help_of(command)
                self.assertIn(f"Examples:\n  zebhost {command}", text)
                self.assertIn("Exit status: 0", text)


if __name__ == "__main__":
    TREE, PROGRAM = Path(sys.argv[1]), sys.argv[2:]
    unittest.main(argv=sys.argv[:1])
