"""What is installed, used from its scratch root: nothing of the build folder is named to it."""

import os
import subprocess
import unittest
from pathlib import Path

import scratch

LIBRARIES = "usr/lib/x86_64-linux-gnu"


def on_bed(*host):
    """Runs a host against simulated phones; the phones and what shows them are the installed ones."""
    root = scratch.installed_root()
    preload = f"{root}/{LIBRARIES}/zebdiscovery/libzebphones-preload.so:libumockdev-preload.so.0"
    return scratch.run(os.environ["ZEB_ON_BED"], preload, *host,
                       env={**os.environ, "ZEBPHONES_MODELS": str(root / "usr/share/zebphones/models")})


class TheInstalledHost(unittest.TestCase):
    def test_finds_phones_with_the_installed_plugin(self):
        said = on_bed(scratch.installed_root() / "usr/bin/zebhost", "run", "--json")

        self.assertIn("USBAAP", said)

    def test_says_no_more_when_the_plugin_is_not_installed(self):
        root = scratch.empty_root("host-alone")
        scratch.dpkg(root, "--install", scratch.packages()["zebhost"])

        with self.assertRaisesRegex(AssertionError, "libzebdiscoverer-usb.so.* library path"):
            scratch.run(root / "usr/bin/zebhost", "run", "--for", "0")


class TheInstalledPhones(unittest.TestCase):
    def test_play_their_demonstration(self):
        self.assertIn("Both phones were found", scratch.run(scratch.installed_root() / "usr/bin/zebphones-demo"))


class TheExamples(unittest.TestCase):
    """Built against the installed package, as it lies in the documentation."""

    @classmethod
    def setUpClass(cls):
        cls.root = scratch.installed_root()
        cls.source = cls.root / "usr/share/doc/libzebdiscovery-dev/examples"
        cls.build = scratch.SCRATCH / "examples"
        scratch.run("cmake", "-G", "Ninja", "-B", cls.build, "-S", cls.source, f"-DCMAKE_PREFIX_PATH={cls.root}/usr")
        scratch.run("cmake", "--build", cls.build)

    def test_are_short_enough_to_read(self):
        for folder in ("poll-host", "glib-host", "usb-devices", "folder-discoverer"):
            lines = [len(path.read_text().splitlines()) for path in (self.source / folder).iterdir()]
            with self.subTest(folder):
                self.assertLess(sum(lines), 300)

    def test_have_a_host_in_c_that_finds_phones(self):
        on_bed(self.build / "poll-host", self.plugin())

    def test_have_a_host_on_glib_that_finds_phones(self):
        on_bed(self.build / "glib-host", self.plugin())

    def plugin(self):
        return self.root / LIBRARIES / "zebdiscovery/libzebdiscoverer-usb.so"

    def test_have_a_discoverer_that_zebhost_drives(self):
        folder = scratch.SCRATCH / "announced"
        folder.mkdir()
        (folder / "kitchen").write_text("zebcmd:v=1;t=KITCHEN\n")
        host = subprocess.Popen([self.root / "usr/bin/zebhost", "run", "--for", "20", "--plugin",
                                 self.build / "libfolder-discoverer.so", "--property", f"folder={folder}"],
                                text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.addCleanup(host.stdout.close)

        self.await_line(host, "KITCHEN")
        (folder / "hall").write_text("zebcmd:v=1;t=HALL\n")
        self.await_line(host, "HALL")
        (folder / "kitchen").unlink()
        self.await_line(host, "#1 lost")
        host.terminate()

        rest = host.stdout.read()
        self.assertEqual((host.wait(), "violation" in rest), (0, False), rest)

    def await_line(self, host, text):
        """zebhost ends by itself in time, so this does too."""
        while line := host.stdout.readline():
            self.assertNotIn("violation", line)
            if text in line:
                return
        self.fail(f"zebhost never said {text}")

    def test_have_a_discoverer_that_shows_one_symbol(self):
        defined = scratch.run("nm", "-D", "--defined-only", self.build / "libfolder-discoverer.so").splitlines()

        self.assertEqual([line.split()[-1] for line in defined if " A " not in line],
                         ["ZEBDiscovererInitialize@@DISCOVERY_1.0"])


class ThePkgConfigFiles(unittest.TestCase):
    def pkg_config(self, *arguments):
        folder = scratch.installed_root() / LIBRARIES / "pkgconfig"
        return scratch.run("pkg-config", *arguments, env={**os.environ, "PKG_CONFIG_PATH": str(folder)}).split()

    def test_are_all_that_a_host_needs_to_compile(self):
        examples = scratch.installed_root() / "usr/share/doc/libzebdiscovery-dev/examples"

        scratch.run("cc", "-fsyntax-only", *self.pkg_config("--cflags", "zebdiscovery"),
                    examples / "poll-host/host.c", examples / "usb-devices/devices.c")

    def test_lead_to_the_frame_and_to_the_plugins(self):
        folders = [Path(word[2:]) for word in self.pkg_config("--cflags", "--libs", "zebdiscovery-frame")
                   if word[:2] in ("-I", "-L")]
        plugins = Path(*self.pkg_config("--variable=pluginfolder", "zebdiscovery"))

        for file in ("common/ZEBDiscovererImpl.h", "zebdiscovery/zebdiscovery.h", "libzebdiscovery-frame.a",
                     "libzebdiscovery-mxcommon.a"):
            with self.subTest(file):
                self.assertTrue(any((folder / file).exists() for folder in folders))
        self.assertTrue((plugins / "libzebdiscoverer-usb.so").exists())
