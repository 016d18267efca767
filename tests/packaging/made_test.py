"""The packages themselves, on every architecture."""

import gzip
import os
import re
import unittest

import scratch


class ThePackages(unittest.TestCase):
    def test_are_four_for_this_architecture(self):
        self.assertEqual(sorted(scratch.packages()), sorted(scratch.NAMES))
        for name in scratch.NAMES:
            with self.subTest(name):
                self.assertEqual(scratch.field(name, "Architecture"), scratch.ARCHITECTURE)

    def test_have_the_same_bytes_when_they_are_packed_again(self):
        first = scratch.packages()

        for file in scratch.make():
            with self.subTest(file.name):
                self.assertEqual(file.read_bytes(), first[file.name.split("_")[0]].read_bytes())

    def test_carry_the_time_of_the_last_commit(self):
        utc = {**os.environ, "TZ": "UTC"}
        epoch = scratch.run("git", "-C", scratch.SOURCE, "log", "-1", "--format=%cd", "--date=format-local:%F %H:%M",
                            env=utc).strip()

        for name, file in scratch.packages().items():
            listing = scratch.run("dpkg-deb", "-c", file, env=utc).splitlines()
            with self.subTest(name):
                self.assertEqual([line for line in listing if epoch not in line], [])

    def test_have_no_error_that_lintian_knows(self):
        said = scratch.run("lintian", "--allow-root", "--fail-on", "none", *scratch.packages().values())

        self.assertEqual([line for line in said.splitlines() if line.startswith("E:")], [])

    def test_depend_on_the_libraries_they_need_and_on_each_other(self):
        """Whoever found the dependencies of this architecture, the list for foreign ones must agree in the names."""
        others = {"zebdiscoverer-usb": set(), "zebhost": {"zebdiscoverer-usb"}, "zebphones": {"zebhost"},
                  "libzebdiscovery-dev": {"libc6-dev", "libusb-1.0-0-dev"}}
        listed = (scratch.SOURCE / "packaging/debian/shlibs.local").read_text()
        known = dict(re.findall(r"^(\S+ \S+) (\S+)", listed, re.M))
        for name, own in others.items():
            depends = scratch.field(name, "Depends").split(", ")
            libraries = {known[library] for library in scratch.needed_libraries(name)}
            with self.subTest(name):
                self.assertEqual({one.split(" ")[0] for one in depends}, own | libraries)
                self.assertEqual([one for one in depends if "(" not in one and not one.endswith("-dev")], [])

    def test_say_that_no_licence_has_been_chosen(self):
        for name in scratch.NAMES:
            said = scratch.installed_root() / "usr/share/doc" / name / "copyright"
            with self.subTest(name):
                self.assertIn("No licence has been chosen for zebdiscovery", said.read_text())

    def test_bring_what_belongs_to_the_programs(self):
        for path in ("share/man/man1/zebhost.1.gz", "share/man/man5/zebhost.toml.5.gz",
                     "share/man/man7/zebdiscoverer-usb.7.gz", "share/bash-completion/completions/zebhost",
                     "lib/udev/rules.d/60-zebhost.rules", "lib/systemd/system/zebhost.service",
                     "share/zebphones/models/accessory.toml"):
            with self.subTest(path):
                self.assertTrue((scratch.installed_root() / "usr" / path).is_file())

    def test_carry_the_documents_that_their_manuals_cite(self):
        for manual, least in (("man1/zebhost.1", 5), ("man5/zebhost.toml.5", 0), ("man7/zebdiscoverer-usb.7", 1)):
            page = gzip.decompress((scratch.installed_root() / f"usr/share/man/{manual}.gz").read_bytes()).decode()
            cited = re.findall(r"^\.Pa (\S+\.(?:md|json))$", page, re.M)
            with self.subTest(manual):
                self.assertEqual([path for path in cited if not (scratch.installed_root() / path[1:]).is_file()], [])
                self.assertGreaterEqual(len(cited), least)

    def test_install_and_purge_without_a_trace(self):
        root = scratch.empty_root("purged")
        before = scratch.contents(root)
        scratch.dpkg(root, "--install", *scratch.packages().values())
        self.assertGreater(len(scratch.contents(root)), len(before) + 50)

        scratch.dpkg(root, "--purge", *scratch.NAMES)

        self.assertEqual(scratch.contents(root), before)
        self.assertEqual(re.findall("^Package:.*", (root / "var/lib/dpkg/status").read_text(), re.M), [])

    def test_name_no_folder_of_the_machine_that_made_them(self):
        folders = [str(folder).encode() for folder in (scratch.SOURCE, scratch.BUILD)]

        for path, content in scratch.contents(scratch.installed_root()).items():
            with self.subTest(path):
                self.assertEqual([folder for folder in folders if folder in (content or b"")], [])
