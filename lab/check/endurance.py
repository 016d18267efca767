"""What must be true after many phones, one after the other; as a program, what the host held meanwhile.

usage: python3 lab/check/endurance.py FOLDER     prints the records in FOLDER as a table
"""

import re
import statistics
import sys
from dataclasses import dataclass

from claims import PACKAGED, expect, fact
from run import Refuted, load

FOUND = re.compile(r'"key":"zebcmd","error":0,"value":"zebcmd:v=1;t=USBAAP;bus=2;dev=\d+"')
# Pages of the C library's heap; the same for fifty phones as for thousands.
KIB_TO_SPARE = 16
# The first phone also pays for what is loaded only once.
FIRST = 1


@dataclass
class Cycle:
    """One phone, and what the host held when it was gone."""

    phone: int
    descriptors: int
    threads: int
    resident: int  # KiB
    used: float  # µs of processor time since the phone before
    told: str


def cycles(run):
    result, before = [], 0
    for line in run.texts["cycles.txt"].splitlines():
        *numbers, told = line.split(" ", 5)
        phone, descriptors, threads, resident, used_ns = map(int, numbers)
        result.append(Cycle(phone, descriptors, threads, resident, (used_ns - before) / 1000, told))
        before = used_ns
    return result


def slope(rows, column):
    """By how much the column grows with each phone."""
    return statistics.linear_regression([row.phone for row in rows], [getattr(row, column) for row in rows]).slope


@fact("each phone was found, switched and found again, without a breach of the contract", "endure")
def each_found(run):
    rows = cycles(run)
    expect([row.phone for row in rows], list(range(1, int(run.texts["asked.txt"]) + 1)), "phones")
    missing = [row.phone for row in rows if not FOUND.search(row.told)]
    expect(missing, [], "phones without a command")
    expect(run.texts.get("violations.txt", ""), "", "breaches")
    return f"{len(rows)} phones"


@fact("no descriptor and no thread is kept", "endure")
def nothing_kept(run):
    held = {(row.descriptors, row.threads) for row in cycles(run)}
    if len(held) != 1:
        raise Refuted(f"descriptors and threads: {sorted(held)}")
    return "{} and {} after each phone".format(*held.pop())


# A sanitizer keeps what was freed for a while, to see its use.
@fact("resident memory does not grow", "endure", build=PACKAGED)
def memory_rests(run):
    rows = cycles(run)
    growth = rows[-1].resident - rows[len(rows) // 2].resident
    figures = f"{rows[0].resident} to {rows[-1].resident} KiB, slope {1024 * slope(rows, 'resident'):.2f} bytes a phone"
    if growth > KIB_TO_SPARE:
        raise Refuted(f"{figures}, {growth} KiB in the second half")
    return figures


@fact("the last phones take no more time than the first", "endure")
def time_rests(run):
    rows = cycles(run)[FIRST:]
    fifth = len(rows) // 5
    first, last = (statistics.median(row.used for row in part) for part in (rows[:fifth], rows[-fifth:]))
    figures = f"processor time {first:.0f} us and {last:.0f} us, slope {slope(rows, 'used'):.3f} us a phone"
    if last > 1.1 * first:
        raise Refuted(figures)
    return figures


def table(run):
    rows = cycles(run)
    yield f"{'phones':>8} {'descriptors':>12} {'threads':>8} {'resident KiB':>13} {'us/phone':>10}"
    looks = [0] + [len(rows) * part // 5 - 1 for part in range(1, 6)]
    for begin, end in zip([FIRST] + [look + 1 for look in looks[:-1]], looks):
        row = rows[end]
        used = statistics.mean(each.used for each in rows[begin : end + 1] or rows[: FIRST])
        yield f"{row.phone:>8} {row.descriptors:>12} {row.threads:>8} {row.resident:>13} {used:>10.1f}"
    slopes = [slope(rows[FIRST:], column) for column in ("descriptors", "threads", "resident", "used")]
    yield "{:>8} {:>12.4f} {:>8.4f} {:>13.4f} {:>10.4f}".format("slope", *slopes)


if __name__ == "__main__":
    print("\n".join(table(load(sys.argv[1]))))
