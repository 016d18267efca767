"""Holds what bench/counts counts against the limits.

usage: counts.py COUNT[,COUNT...] COMMAND...     (allocations, bytes, instructions, system_calls)

The command prints the counts; only those that are named can be had here. Exit status 0 when all limits hold.
"""

import json
import subprocess
import sys

# An operation that only looks; the plug-in's own share of it, without libusb's.
LOOKS = [
    "getDescription by the table",
    "getDeviceInterest by the table",
    "getMultipleEventHandlesEx by the table",
    "handleSingleEvent by the table",
    "entity timeout among 100",
    "device removed among 100",
    "interest in 8x32 interfaces, other class",
]
# What a barrier may add to a bare call: its frame and, for a fetch, the note of what is owed.
BARRIER = {
    "getDescription": 8,
    "getDeviceInterest": 8,
    "getMultipleEventHandlesEx": 8,
    "handleSingleEvent": 8,
    "fetchEntityValue": 120,
}
# How much dearer an operation may be where there is ten times as much: in proportion, but for a walk over
# the entities that finds its place in the tree again after each of them.
GROWING = {
    "single event among": 10.5,
    "device removed among": 20,
    "entity timeout among": 2,
    "asking for handles among": 10.5,
    "handle added and removed among": 10.5,
}


def limits():
    """Pairs of a count's name and a function from all counts to a complaint or None."""
    for name in LOOKS:
        yield "allocations", at_most(name, "allocations", 0)
        yield "system_calls", at_most(name, "system_calls", 0)
    for operation, more in BARRIER.items():
        yield "instructions", adds_at_most(operation, more)
    for record in ("other class", "other protocol"):
        yield "instructions", at_most_times(
            f"interest in 8x32 interfaces, {record}", f"bare loop over 8x32 interfaces, {record}", 3)
    yield "bytes", at_most("accessory phone", "bytes", 8 * 1024)
    yield "bytes", at_most("set up", "bytes", 4 * 1024)
    yield "allocations", at_most("accessory phone", "allocations", 16)
    for name, times in GROWING.items():
        yield "instructions", at_most_times(f"{name} 100", f"{name} 10", times)


def at_most(name, count, limit):
    def check(counts):
        found = counts[name][count]
        return None if found <= limit else f"{name}: {found} {count}, at most {limit} allowed"

    return check


def adds_at_most(operation, more):
    def check(counts):
        table, bare = (counts[f"{operation} {way}"]["instructions"] for way in ("by the table", "bare"))
        if table - bare <= more:
            return None
        return f"{operation}: {table} instructions by the table, {bare} bare; at most {more} more allowed"

    return check


def at_most_times(name, base, times):
    def check(counts):
        found, unit = counts[name]["instructions"], counts[base]["instructions"]
        if found <= times * unit:
            return None
        return f"{name}: {found} instructions; {base}: {unit}; at most {times} times as many allowed"

    return check


def complaints(counts, counted):
    """What is wrong with the counts, as sentences."""
    for count, check in limits():
        if count not in counted:
            continue
        try:
            complaint = check(counts)
        except (KeyError, TypeError) as missing:
            complaint = f"not counted: {missing}"
        if complaint:
            yield complaint


def main(counted, *command):
    output = subprocess.run(command, stdout=subprocess.PIPE, text=True, timeout=500, check=True).stdout
    counts = {line["name"]: line for line in map(json.loads, output.splitlines())}
    found = list(complaints(counts, counted.split(",")))
    print(output, *found, sep="\n")
    return bool(found)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
