"""What is measured in the ARM guest, where one instruction is one nanosecond."""

import subprocess
import sys
import tempfile
from pathlib import Path
from statistics import median

from programs import say
from table import amount, ratio

sys.path.insert(0, str(Path("lab/check")))
from run import load  # noqa: E402

PLUGIN = Path("build/armhf/libzebdiscoverer-usb.so")
RECORDS = Path("build/lab/speed")
COMMAND = "scripts/lab --scenario speed"
FIXED_WAIT_US = 1_000_000


def measure():
    say("the ARM guest")
    subprocess.run(["scripts/lab", "--scenario", "speed"], stdout=sys.stderr, check=True)
    run = load(RECORDS)
    plugin = [int(line.split()[1]) for line in run.texts["plugin.txt"].splitlines()]
    baseline = [int(line.split()[1]) for line in run.texts["baseline.txt"].splitlines()][: len(plugin)]
    yield ratio("ARM guest: hand-shake, opened to last string", median(plugin), median(baseline), "us", 1.05, COMMAND)
    yield amount("ARM guest: plug to published, without the fixed waits", median(own_times(run)) / 1e3, "ms", 15,
                 COMMAND)
    for name, seconds, wakeups in map(str.split, run.texts["wakeups.txt"].splitlines()):
        yield amount(f"ARM guest: wake-ups of zebhost in {seconds} s, {name} plugged", int(wakeups), "", 0, COMMAND)
    yield amount("ARM guest: memory written to, set up", int(run.texts["footprint.txt"]), "KiB", 48, COMMAND)
    resident = int(run.texts["memory.txt"].split()[1])
    yield amount("ARM guest: zebhost's resident memory", resident, "KiB", 8 * 1024, COMMAND)
    yield amount("32-bit ARM plug-in, stripped", stripped_size() / 1024, "KiB", 96,
                 "arm-linux-gnueabihf-strip -o /tmp/plugin.so build/armhf/libzebdiscoverer-usb.so")


def stripped_size():
    with tempfile.TemporaryDirectory() as folder:
        stripped = Path(folder, "plugin.so")
        subprocess.run(["arm-linux-gnueabihf-strip", "-o", stripped, PLUGIN], check=True)
        return stripped.stat().st_size


def own_times(run):
    """Of each phone that zebhost switched: the microseconds in which neither the kernel nor the phone was at work
    nor a fixed wait was on."""
    commands = [event for event in run.events("value", key="zebcmd", error=0)]
    for handshake, command in zip(handshakes_with_wait(run), commands, strict=True):
        first, *_, last_string, start = handshake
        before_first = first.submitted_us - enumerated_us(run, first.bus, first.device, first.submitted_us)
        between = sum(b.submitted_us - a.completed_us for a, b in zip(handshake[:6], handshake[1:7]))
        after_last = start.submitted_us - last_string.completed_us - FIXED_WAIT_US
        bus, device = (int(word.split("=")[1]) for word in command["value"].split(";")[-2:])
        publishing = command["time_us"] - enumerated_us(run, bus, device, command["time_us"]) - FIXED_WAIT_US
        yield before_first + between + after_last + publishing


def handshakes_with_wait(run):
    """The eight requests to each phone, of those hand-shakes that wait before the last as the plug-in does."""
    requests = run.vendor_requests()
    all_of_them = [requests[i : i + 8] for i in range(0, len(requests), 8)]
    return [h for h in all_of_them if h[7].submitted_us - h[6].completed_us >= FIXED_WAIT_US]


def enumerated_us(run, bus, device, before_us):
    """When the kernel had asked the device its last before that time."""
    return max(t.completed_us for t in run.transfers
               if (t.bus, t.device) == (bus, device) and t.request_type & 0x60 == 0 and t.completed_us < before_us)
