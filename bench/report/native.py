"""What is measured on this machine."""

from statistics import median

import hosts
from programs import BUILD, benchmarks, counts, output, say
from table import Row, amount, ratio

OPERATIONS = ("getDeviceInterest", "getMultipleEventHandlesEx", "handleSingleEvent", "fetchEntityValue")
RECORDS = (("other class", "otherClass"), ("other protocol", "otherProtocol"))
# What the fixed algorithms imply for a thousand times as many, and why.
CURVES = {
    "singleEvent": ("one event, owner looked for among all", "n", 1000),
    "removeDevice": ("device gone, each entity asked, the next one found by a tree", "n log n", 1000 * 10),
    "entityTimeout": ("one timeout, entity found by a tree", "log n", 10),
    "askForHandles": ("host asks, both sets checked and compared", "n", 1000),
    "offerAndDestroy": ("device comes and goes, its handles checked into the set", "n", 1000),
    "addAndRemoveAll": ("n handles into a set and out, checked at each step", "n²", 1000 * 1000),
}
SPEED_BENCH, LOAD_BENCH, COUNTS = (f"build/native/bench/{name}" for name in ("speed-bench", "load-bench",
                                                                            "speed-counts"))


def measure(quick):
    """The rows, and the medians behind the curves."""
    repetitions = 5 if quick else 9
    say("counting")
    counted = counts()
    say("entry points and interest")
    # Many short ones by turns: a neighbour's burst on a shared machine falls on all alike.
    times = benchmarks("speed-bench", "^(byTheTable|bare|interest|bareLoop)/", 10 * repetitions, seconds=0.005)
    say("loading")
    loads = benchmarks("load-bench", ".", 30 * repetitions, seconds=0.005)
    say("1 to 1,000 entities")
    crowds = benchmarks("speed-bench", "^(" + "|".join(CURVES) + ")/", 3 if quick else 5, interleaved=False)
    rows = [*entry_points(counted, times), *idle(counted), *interest(counted, times), *loading(loads),
            *sizes(counted), *growth(crowds)]
    say("zebhost")
    rows += hosts.measure(quick)
    return rows, crowds


def entry_points(counted, times):
    def both(operation, source):
        if source is times:
            return times[f"byTheTable/{operation}"], times[f"bare/{operation}"]
        return tuple(counted[f"{operation} {way}"]["instructions"] for way in ("by the table", "bare"))

    def worst(source):
        return max(OPERATIONS, key=lambda operation: both(operation, source)[0] / both(operation, source)[1])

    operation = worst(counted)
    yield ratio(f"entry point, worst of {len(OPERATIONS)}: {operation}", *both(operation, counted), "instructions", 1.1,
                COUNTS)
    operation = worst(times)
    yield ratio(f"entry point, worst of {len(OPERATIONS)}: {operation}", *both(operation, times), "ns", 1.1,
                SPEED_BENCH + " --benchmark_filter='^(byTheTable|bare)/'")
    yield ratio("shortest entry point: getDescription", *both("getDescription", counted), "instructions", 1.1, COUNTS)
    yield ratio("shortest entry point: getDescription", *both("getDescription", times), "ns", 1.1,
                SPEED_BENCH + " --benchmark_filter=getDescription")


def idle(counted):
    for what, name in (("handles asked for, nothing new", "getMultipleEventHandlesEx by the table"),
                       ("single event, nothing to do", "handleSingleEvent by the table")):
        for count in ("allocations", "system_calls"):
            yield amount(what, counted[name][count], count.replace("_", " "), 0, COUNTS)


def interest(counted, times):
    for record, short in RECORDS:
        names = f"interest in 8x32 interfaces, {record}", f"bare loop over 8x32 interfaces, {record}"
        yield ratio(f"interest in 8x32 interfaces, {record}", *(counted[name]["instructions"] for name in names),
                    "instructions", 3, COUNTS)
        yield ratio(f"interest in 8x32 interfaces, {record}", times[f"interest/{short}"], times[f"bareLoop/{short}"],
                    "ns", 3, SPEED_BENCH + " --benchmark_filter='^(interest|bareLoop)/'")


def loading(loads):
    yield ratio("load, set up, destroy, unload", loads["plugin"] / 1e3, loads["empty"] / 1e3, "us", 1.1, LOAD_BENCH)


def sizes(counted):
    yield amount("heap a phone, without libusb's", counted["accessory phone"]["bytes"], "bytes", 8192, COUNTS)


def growth(crowds):
    for name, (what, curve, most) in CURVES.items():
        one, thousand = crowds[f"{name}/1"], crowds[f"{name}/1000"]
        command = f"{SPEED_BENCH} --benchmark_filter=^{name}/"
        yield Row(f"1,000 against 1: {what}", f"{thousand / 1e3:.4g} us", f"{one / 1e3:.4g} us", thousand / one, "x",
                  most, command)


def plug_to_published(rounds):
    """Milliseconds beyond the fixed waits: of the clock, and of zebhost's work."""
    lines = output(BUILD / "bench/plug-to-published", rounds).splitlines()
    return [median(map(int, column)) / 1e3 for column in zip(*map(str.split, lines))]
