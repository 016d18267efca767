"""Runs of zebhost on this machine."""

import subprocess
import time
from pathlib import Path
from statistics import median

import native
from programs import BUILD, FIRST
from table import amount, ratio

HOST = [str(BUILD / "zebhost"), "run", "--json"]
BASELINE = [str(BUILD / "bench/true-baseline")]
COMMAND = "scripts/bench --quick"


def measure(quick):
    pairs = [(time_to_start(HOST), time_to_start(BASELINE)) for _ in range(20 if quick else 60)]
    host, baseline = (median(times) for times in zip(*pairs))
    wakeups, resident = at_rest(2 if quick else 5)
    yield ratio("zebhost run, cold start to \"started\"", host, baseline, "ms", 1.5, COMMAND)
    yield amount("zebhost's resident memory", resident, "KiB", 8 * 1024, COMMAND)
    yield amount("wake-ups of zebhost, nothing plugged", wakeups, "", 0, COMMAND)
    rounds = 3 if quick else 7
    elapsed, worked = native.plug_to_published(rounds)
    command = f"build/native/bench/plug-to-published {rounds}"
    yield amount("plug to published, at work", worked, "ms", 5, command)
    yield amount("plug to published, elapsed, emulated phone and bus included", elapsed, "ms", 5, command)


def start(command):
    return subprocess.Popen([*FIRST, *command], stdout=subprocess.PIPE, stdin=subprocess.DEVNULL)


def wait_for_start(process):
    if not any(b"started" in line for line in process.stdout):
        raise RuntimeError(f"{process.args} did not start")


def time_to_start(command):
    """Milliseconds from the start of a program to its line that says "started"."""
    begin = time.perf_counter()
    with start(command) as process:
        wait_for_start(process)
        took = time.perf_counter() - begin
        process.terminate()
    return took * 1e3


def status(process, name):
    text = Path(f"/proc/{process.pid}/status").read_text()
    return int(next(line.split()[1] for line in text.splitlines() if line.startswith(name + ":")))


def at_rest(seconds):
    """How often a host that has nothing to do woke up, and the most memory it has had, in KiB."""
    with start(HOST) as process:
        wait_for_start(process)
        time.sleep(0.5)
        before = status(process, "voluntary_ctxt_switches")
        time.sleep(seconds)
        wakeups = status(process, "voluntary_ctxt_switches") - before
        resident = status(process, "VmHWM")
        process.terminate()
    return wakeups, resident
