"""What must be true after each scenario, one function a fact.

A fact returns a detail worth reading, or None; it raises Refuted when it does not hold.
"""

import statistics

from run import Refuted, only

IDENTIFIERS = (
    b"Example Company",
    b"AAPTest",
    b"Example Company AAP Bearer",
    b"0.1",
    b"https://www.example.com/",
    b"serial_number",
)
GET_PROTOCOL, SEND_STRING, START = 51, 52, 53
GET_DESCRIPTOR = 6
# Type, request, index and data of the whole hand-shake; data the phone sends included.
HANDSHAKE = (
    [(0xC0, GET_PROTOCOL, 0, b"\x02\x00")]
    + [(0x40, SEND_STRING, index, text) for index, text in enumerate(IDENTIFIERS)]
    + [(0x40, START, 0, b"")]
)

SCENARIOS = {}


def fact(claim, *scenarios):
    """Registers a function as a fact of the scenarios."""

    def register(function):
        function.claim = claim
        for scenario in scenarios:
            SCENARIOS.setdefault(scenario, []).append(function)
        return function

    return register


def seconds(first_us, second_us):
    return f"{(second_us - first_us) / 1e6:.6f} s"


def expect(found, wanted, what):
    if found != wanted:
        raise Refuted(f"{what}: {found!r}, not {wanted!r}")


def plugged(run, product):
    """The host's device event of the phone with that product id."""
    return only(run.events("device", action="add", vendor="18d1", product=product), f"18d1:{product} plugged")


def place(event):
    return {"bus": event["bus"], "device": event["device"]}


def entity_of(run, product):
    events = run.events("entity", **place(plugged(run, product)))
    return only({event["id"] for event in events}, f"entity of 18d1:{product}")


def interest(run, product):
    """The interest in that phone. Until the kernel has configured it there may have been none (100)."""
    found = run.events("interest", **place(plugged(run, product)))
    return only([event for event in found if event["level"] != 100], f"interest in 18d1:{product}")


def expect_interest(run, product, level, description):
    found = interest(run, product)
    expect((found["level"], found["description"]), (level, description), "interest")


def published(run, product):
    where = place(plugged(run, product))
    event = only(run.events("entity", action="published", **where), f"18d1:{product} published")
    return "after " + seconds(plugged(run, product)["time_us"], event["time_us"])


def command(run, product, wanted):
    value = only(run.events("value", id=entity_of(run, product), key="zebcmd"), "answer for the key zebcmd")
    expect((value["error"], value["value"]), (0, wanted), "answer")
    return value


@fact("the scenario ran to its end", "boot", "baseline", "phones", "speed")
def scenario_ended(run):
    expect(run.texts.get("scenario.status"), "0", "exit status")


@fact("zebhost and the plug-in are those of the packages", "phones")
def packaged(run):
    expect(run.texts.get("files.txt", "").split(),
           ["/usr/bin/zebhost", "/usr/lib/arm-linux-gnueabihf/zebdiscovery/libzebdiscoverer-usb.so"], "files in use")


@fact("the host ended by itself with status 0", "phones")
def host_ended(run):
    expect(run.texts.get("zebhost.status"), "0", "exit status")


@fact("the host saw no breach of the contract", "phones")
def no_violation(run):
    breaches = run.events("violation")
    if not run.host:
        raise Refuted("it said nothing at all")
    if breaches:
        raise Refuted("; ".join(breach["text"] for breach in breaches))


@fact("started first, stopped last, both without error", "phones")
def started_and_stopped(run):
    started, stopped = only(run.events("started"), "started"), only(run.events("stopped"), "stopped")
    expect((started.get("error", 0), stopped.get("error", 0)), (0, 0), "errors")
    between = [line["time_us"] for line in run.events("device") + run.events("interest")]
    if not between or started["time_us"] > min(between) or stopped["time_us"] < max(between):
        raise Refuted("devices outside the time between started and stopped")


@fact("tethering phone: the link is real, its address came by DHCP", "phones")
def tether_link(run):
    address = run.texts.get("address.txt", "")
    if "inet 192.168.42." not in address:
        raise Refuted(f"no address 192.168.42.x: {address!r}")


@fact('tethering phone: interest 15, "103"', "phones")
def tether_interest(run):
    expect_interest(run, "4ee3", 15, "103")


@fact("tethering phone: entity published", "phones")
def tether_published(run):
    return published(run, "4ee3")


@fact("tethering phone: connection command", "phones")
def tether_command(run):
    return command(run, "4ee3", "zebcmd:v=1;t=USBAND")["value"]


@fact('accessory phone: interest 30, "105"', "phones")
def accessory_interest(run):
    expect_interest(run, "4ee2", 30, "105")


@fact("accessory phone: entity added, not published before the switch", "phones")
def accessory_added(run):
    events = run.events("entity", id=entity_of(run, "4ee2"))
    expect([event["action"] for event in events if event["action"] in ("added", "published")], ["added"], "entity")


@fact("accessory phone: its own record holds the hand-shake, whole, in order, no NUL", "baseline", "phones")
def phone_record(run):
    requests = run.phone_events("request")
    found = [(r["type"], r["request"], r["index"], bytes.fromhex(r["bytes"])) for r in requests]
    expect(found, HANDSHAKE, "requests")
    if not all(r["answered"] for r in requests):
        raise Refuted("the phone stalled a request")


@fact("accessory phone: the bus carried just that", "baseline", "phones")
def bus_record(run):
    transfers = run.vendor_requests()
    expect([(t.request_type, t.request, t.index, t.data) for t in transfers], HANDSHAKE, "requests")
    expect([t.value for t in transfers], [0] * len(HANDSHAKE), "wValue")
    expect([t.length for t in transfers], [len(step[3]) for step in HANDSHAKE], "wLength")
    expect([(t.status, t.moved) for t in transfers], [(0, t.length) for t in transfers], "outcome")
    return f"version to last string {seconds(transfers[0].submitted_us, transfers[6].completed_us)}"


@fact("accessory phone: start request no sooner than 1 s after the last string", "phones")
def start_waits(run):
    last = only([t for t in run.vendor_requests() if t.request == SEND_STRING and t.index == 5], "last string")
    start = only([t for t in run.vendor_requests() if t.request == START], "start request")
    if start.submitted_us - last.completed_us < 1_000_000:
        raise Refuted("only " + seconds(last.completed_us, start.submitted_us))
    return "after " + seconds(last.completed_us, start.submitted_us)


@fact("accessory phone: gone after the start request, back at the same port as 18d1:2d00", "phones")
def gone_and_back(run):
    first, second = plugged(run, "4ee2"), plugged(run, "2d00")
    gone = only(run.events("device", action="remove", **place(first)), "18d1:4ee2 gone")
    start = only([t for t in run.vendor_requests() if t.request == START], "start request")
    expect(second["bus"], first["bus"], "bus")
    if not start.submitted_us < gone["time_us"] < second["time_us"]:
        raise Refuted("not in this order")
    return "after " + seconds(start.completed_us, second["time_us"])


@fact('accessory mode: interest 10, "106"', "phones")
def switched_interest(run):
    expect_interest(run, "2d00", 10, "106")


@fact("accessory mode: entity published", "phones")
def switched_published(run):
    return published(run, "2d00")


@fact("accessory mode: connection command with the kernel's own numbers, no sooner than after 1 s", "phones")
def switched_command(run):
    where = accessory_address(run)
    value = command(run, "2d00", "zebcmd:v=1;t=USBAAP;bus={};dev={}".format(*where))
    claimed_us = interest(run, "2d00")["time_us"]
    if value["time_us"] - claimed_us < 1_000_000:
        raise Refuted("only " + seconds(claimed_us, value["time_us"]))
    return value["value"] + " after " + seconds(claimed_us, value["time_us"])


def accessory_address(run):
    """Bus and device of whoever told the kernel that it is 18d1:2d00, in its device descriptor."""
    told = [t for t in run.transfers if t.request == GET_DESCRIPTOR and t.data[8:12] == b"\xd1\x18\x00\x2d"]
    # Each device is asked once as number 0, before it has a number.
    return only({(t.bus, t.device) for t in told if t.device != 0}, "device descriptor with 18d1:2d00")


@fact("each phone unplugged: entity lost, then destroyed, once", "phones")
def withdrawn(run):
    for product in ("4ee3", "4ee2", "2d00"):
        entity = entity_of(run, product)
        gone = only(run.events("device", action="remove", **place(plugged(run, product))), f"{product} gone")
        lost = run.events("entity", action="lost", id=entity)
        destroyed = only(run.events("entity", action="destroyed", id=entity), f"{product} destroyed")
        if not lost or not gone["time_us"] <= lost[0]["time_us"] <= destroyed["time_us"]:
            raise Refuted(f"18d1:{product}: not gone, lost, destroyed in this order")


@fact("the emulated buses are there", "boot")
def buses(run):
    found = run.texts.get("devices.txt", "").split()
    for bus in ("usb1", "usb2", "usb3", "usb4"):
        if bus not in found:
            raise Refuted(f"no {bus} among {found}")


@fact("the hand-shake was timed", "baseline")
def baseline_timed(run):
    version, strings, start = (int(word) for word in run.texts["handshake.txt"].split())
    if not 0 < version < strings < start:
        raise Refuted(f"{version}, {strings}, {start} us")
    return f"version {version} us, last string {strings} us, start {start} us"


def to_last_string(run, record):
    """The microseconds from the opening to the last string of each hand-shake, in order."""
    return [int(line.split()[1]) for line in run.texts[record].splitlines()]


@fact("hand-shakes of the plain program and of the plug-in were timed by turns", "speed")
def both_timed(run):
    plugin = to_last_string(run, "plugin.txt")
    plain = to_last_string(run, "baseline.txt")[: len(plugin)]
    if not plugin or len(plain) != len(plugin) or min(plain + plugin) <= 0:
        raise Refuted(f"{len(plain)} and {len(plugin)}")
    medians = statistics.median(plain), statistics.median(plugin)
    return "medians of {}: {} us and {} us".format(len(plugin), *medians)


@fact("the host sleeps while nothing happens, without a phone and with one", "speed")
def host_sleeps(run):
    wakeups = {name: int(count) for name, _, count in map(str.split, run.texts["wakeups.txt"].splitlines())}
    expect(wakeups, {"nothing": 0, "accessory": 0}, "wake-ups")
