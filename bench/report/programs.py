"""Runs the programs that measure."""

import json
import os
import subprocess
import sys
from pathlib import Path

BUILD = Path("build/native")
# Before other programs of the machine, where that is allowed.
FIRST = ["nice", "-n", "-19"] if os.geteuid() == 0 else []
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def say(text):
    print(f"bench: {text}", file=sys.stderr)


def output(*command):
    return subprocess.run([*FIRST, *map(str, command)], stdout=subprocess.PIPE, text=True, check=True).stdout


def benchmarks(program, names, repetitions, interleaved=True, seconds=0.05):
    """Medians of processor time in ns, by name, of the benchmarks that match; each repetition lasts that long."""
    found = output(
        BUILD / "bench" / program, f"--benchmark_filter={names}", f"--benchmark_repetitions={repetitions}",
        f"--benchmark_min_time={seconds}", "--benchmark_report_aggregates_only=true", "--benchmark_format=json",
        f"--benchmark_enable_random_interleaving={'true' if interleaved else 'false'}")
    return {
        one["run_name"]: one["cpu_time"] * NANOSECONDS[one["time_unit"]]
        for one in json.loads(found)["benchmarks"]
        if one["aggregate_name"] == "median"
    }


def counts():
    """What bench/counts counts, by name."""
    return {one["name"]: one for one in map(json.loads, output(BUILD / "bench/speed-counts").splitlines())}
