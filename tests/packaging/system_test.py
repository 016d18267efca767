"""What the packages give to the system, judged by the system's own programs."""

import os
import re
import shutil
import textwrap
import unittest

import scratch

DEVICE = "/sys/devices/pci0000:00/usb1/1-2"
# systemd's figure for what a service could do to the machine: 0 nothing, 10 everything.
EXPOSURE = 1.5


class TheUdevRules(unittest.TestCase):
    """Run by this machine's udev on a device that is emulated, in folders that no other process sees."""

    def setUp(self):
        self.installed = scratch.installed_root() / "usr/lib/udev/rules.d/60-zebhost.rules"
        self.exclusive = scratch.installed_root() / "usr/share/zebhost/udev/68-zebhost-exclusive.rules"

    def descriptors(self, interfaces, ids):
        """interfaces: six digits each, of one configuration."""
        vendor, product = (int(half, 16).to_bytes(2, "little") for half in ids.split(":"))
        device = bytes([18, 1, 0, 2, 0, 0, 0, 64]) + vendor + product + bytes([0, 1, 1, 2, 3, 1])
        parts = [bytes([9, 4, number, 0, 1]) + bytes.fromhex(interface) + bytes([0, 7, 5, 129 + number, 2, 0, 2, 0])
                 for number, interface in enumerate(interfaces.split(":"))]
        length = (9 + sum(map(len, parts))).to_bytes(2, "little")
        return device + bytes([9, 2]) + length + bytes([len(parts), 1, 0, 128, 50]) + b"".join(parts)

    def told(self, interfaces, ids, *rules):
        """What udev says of a device with these interfaces that is plugged in."""
        vendor, product = ids.split(":")
        record = scratch.SCRATCH / "device.umockdev"
        record.write_text(textwrap.dedent(f"""\
            P: {DEVICE.removeprefix("/sys")}
            N: bus/usb/001/003
            E: DEVTYPE=usb_device
            E: SUBSYSTEM=usb
            E: DEVNAME=/dev/bus/usb/001/003
            E: MAJOR=189
            E: MINOR=2
            A: idVendor={vendor}\\n
            A: idProduct={product}\\n
            A: bDeviceClass=00\\n
            H: descriptors={self.descriptors(interfaces, ids).hex()}
            """))
        steps = ["for folder in /etc/udev/rules.d /run /dev; do mount -t tmpfs none $folder; done",
                 f"cp {' '.join(map(str, rules))} /etc/udev/rules.d",
                 f"exec umockdev-run -d {record} -- udevadm test --action=add {DEVICE}"]
        return scratch.run(*scratch.AS_ROOT, "sh", "-ec", "; ".join(steps),
                           env={**os.environ, "SYSTEMD_DEVICE_VERIFY_SYSFS": "0", "PATH": "/usr/sbin:/usr/bin:/sbin:/bin"})

    def test_give_a_group_access_to_phones_and_to_nothing_else(self):
        for interface, ids, name, is_phone in (
                ("ff4201", "18d1:4ee7", "debugging", True), ("ffff00", "04e8:6860", "file transfer", True),
                ("060101", "18d1:4ee1", "pictures", True), ("ffff00", "18d1:2d00", "accessory", True),
                ("ff0000", "18d1:2d05", "accessory with the last number", True),
                ("ff0000", "18d1:2d06", "a number further", False), ("030102", "046d:c077", "mouse", False),
                ("080650", "0781:5567", "storage", False), ("ff4200", "18d1:4ee0", "not quite debugging", False)):
            with self.subTest(name):
                told = self.told(interface, ids, self.installed)
                self.assertEqual(("60-zebhost.rules:13 GROUP 46" in told, "60-zebhost.rules:13 MODE 0660" in told),
                                 (is_phone, is_phone), told)

    def test_mark_phones_for_other_programs_only_when_that_is_wanted(self):
        marks = ["MTP_NO_PROBE=1", "ID_MM_DEVICE_IGNORE=1"]

        for rules, interface, marked in (([self.installed], "ff4201", []),
                                         ([self.installed, self.exclusive], "ff4201", marks),
                                         ([self.installed, self.exclusive], "080650", [])):
            with self.subTest(rules=len(rules), interface=interface):
                told = self.told(interface, "18d1:4ee7", *rules).splitlines()
                self.assertEqual([mark for mark in marks if mark in told], marked)

    def test_mark_only_what_zebhost_offers_too(self):
        camera = scratch.SCRATCH / "65-camera.rules"
        camera.write_text('ENV{ID_GPHOTO2}="1"\n')

        for interfaces, ids, name, is_marked in (
                ("060101", "18d1:4ee1", "a phone's pictures", True), ("ffff00", "04e8:6860", "a phone's files", True),
                ("060101", "04a9:3218", "a camera", False), ("ffff00", "091e:4b54", "a watch", False),
                ("ff4201", "2207:0006", "debugging of any maker", True), ("ff4201:090000", "18d1:4ee7", "a hub", False),
                ("ffff00", "18d1:2d00", "accessory", True), ("060101:0e0100", "04e8:6860", "a maker's camera", False),
                ("ffff00:070102", "04e8:3292", "a maker's printer", False),
                ("ffff00:030101", "18d1:4ee1", "a maker's keyboard", False),
                ("ffff00:020600", "12d1:14db", "a maker's network adapter", False),
                ("ffff00:020d00", "12d1:14db", "a maker's newer network adapter", False),
                ("ff4201:020d00", "18d1:4ee7", "debugging beside a network", True)):
            with self.subTest(name):
                told = self.told(interfaces, ids, self.installed, camera, self.exclusive).splitlines()
                self.assertEqual(("MTP_NO_PROBE=1" in told, "ID_GPHOTO2=1" in told), (is_marked, not is_marked))

    def test_know_the_makers_that_zebhost_knows(self):
        listed = (scratch.SOURCE / "host/Policy.cpp").read_text().split("kPhoneVendors[] = {")[1].split("}")[0]
        makers = re.findall(r"0x([0-9a-f]{4})", listed)
        rules = [line.split('"')[1] for line in self.exclusive.read_text().splitlines()
                 if line.startswith("ATTR{idVendor}") and "idProduct" not in line]

        self.assertGreater(len(makers), 20)
        self.assertEqual("|".join(rules).split("|"), makers)

    def test_have_nothing_that_udev_does_not_understand(self):
        broken = scratch.SCRATCH / "60-broken.rules"
        broken.write_text(self.installed.read_text().replace("GROUP=", "GROPU="))

        complaints = "(?:zebhost|broken).*rules:[0-9]+ .*(?:Invalid|Unknown|unknown|ignor|Failed)"
        self.assertRegex(self.told("ff4201", "18d1:4ee7", broken), complaints)
        self.assertNotRegex(self.told("ff4201", "18d1:4ee7", self.installed, self.exclusive), complaints)


class TheService(unittest.TestCase):
    def systemd_analyze(self, *arguments):
        return scratch.run("systemd-analyze", f"--root={scratch.installed_root()}", "--no-pager", *arguments)

    def test_is_a_unit_that_systemd_accepts(self):
        """Beside the machine's own units, which it names."""
        root = scratch.SCRATCH / "units"
        shutil.copytree(scratch.installed_root() / "usr", root / "usr")
        shutil.copytree("/lib/systemd/system", root / "usr/lib/systemd/system", symlinks=True, dirs_exist_ok=True)

        said = scratch.run("systemd-analyze", f"--root={root}", "--man=no", "--recursive-errors=no", "verify",
                           "zebhost.service")
        self.assertEqual(said, "")

    def test_can_do_little_to_the_machine(self):
        said = self.systemd_analyze("--offline=true", "security", "zebhost.service")

        figure = float(re.search(r"exposure level for zebhost.service: ([0-9.]+)", said).group(1))
        self.assertLessEqual(figure, EXPOSURE)

    def test_is_not_started_again_when_that_can_not_help(self):
        unit = (scratch.installed_root() / "usr/lib/systemd/system/zebhost.service").read_text()
        statuses = (scratch.SOURCE / "host/ExitStatus.h").read_text()
        hopeless = [re.search(rf"{name} = (\d)", statuses).group(1) for name in ("kExitUsage", "kExitViolation")]

        self.assertIn("\nRestart=on-failure\n", unit)
        self.assertIn(f"\nRestartPreventExitStatus={' '.join(hopeless)}\n", unit)

    def test_runs_without_root(self):
        said = self.systemd_analyze("--offline=true", "security", "zebhost.service")

        self.assertRegex(said, "✓ User=/DynamicUser=")
