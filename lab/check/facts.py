"""What must be true after the scenarios, one function a fact.

A fact returns a detail worth reading, or None; it raises Refuted when it does not hold.
"""

import statistics

from claims import PACKAGED, SANITIZED, expect, fact, seconds
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


@fact("the scenario ran to its end", "boot", "baseline", "phones", "speed", "before", "replug", "rights", "endure", "moments")
def scenario_ended(run):
    expect(run.texts.get("scenario.status"), "0", "exit status")


@fact("zebhost and the plug-in are those of the packages", "phones", build=PACKAGED)
def packaged(run):
    expect(run.texts.get("files.txt", "").split(),
           ["/usr/bin/zebhost", "/usr/lib/arm-linux-gnueabihf/zebdiscovery/libzebdiscoverer-usb.so"], "files in use")


@fact("the sanitizers for addresses, undefined behaviour and leaks were in the host and said nothing",
      "phones", "before", "replug", "rights", "moments", "endure", build=SANITIZED)
def sanitizers_silent(run):
    files = [file.rsplit("/", 1)[1].split(".")[0] for file in run.texts["files.txt"].split()]
    expect(sorted(files), ["libasan", "libubsan", "libzebdiscoverer-usb", "zebhost"], "files in use")
    reports = [line for line in run.texts["zebhost.log"].splitlines() if "Sanitizer" in line or "runtime error" in line]
    expect(reports, [], "reports")


@fact("the host ended by itself with status 0", "phones", "before", "replug", "rights", "endure", "moments")
def host_ended(run):
    expect(run.texts.get("zebhost.status"), "0", "exit status")


@fact("the host saw no breach of the contract", "phones", "before", "replug", "rights", "moments")
def no_violation(run):
    breaches = run.events("violation")
    if not run.host:
        raise Refuted("it said nothing at all")
    if breaches:
        raise Refuted("; ".join(breach["text"] for breach in breaches))


@fact("started first, stopped last, both without error", "phones", "before", "replug", "rights", "moments")
def started_and_stopped(run):
    started, stopped = only(run.events("started"), "started"), only(run.events("stopped"), "stopped")
    expect((started.get("error", 0), stopped.get("error", 0)), (0, 0), "errors")
    between = [line["time_us"] for line in run.events("device") + run.events("interest")]
    if not between or started["time_us"] > min(between) or stopped["time_us"] < max(between):
        raise Refuted("devices outside the time between started and stopped")


@fact("tethering phone: the link is real, its address came by DHCP", "phones")
def tether_link(run):
    address = run.texts.get("address-0.txt", "")
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


@fact('accessory phone: interest 30, "105"', "phones", "before", "rights")
def accessory_interest(run):
    expect_interest(run, "4ee2", 30, "105")


@fact("accessory phone: entity added, not published before the switch", "phones", "before", "rights")
def accessory_added(run):
    events = run.events("entity", id=entity_of(run, "4ee2"))
    expect([event["action"] for event in events if event["action"] in ("added", "published")], ["added"], "entity")


@fact("accessory phone: its own record holds the hand-shake, whole, in order, no NUL", "baseline", "phones", "before", "rights")
def phone_record(run):
    requests = run.phone_events("request")
    found = [(r["type"], r["request"], r["index"], bytes.fromhex(r["bytes"])) for r in requests]
    expect(found, HANDSHAKE, "requests")
    if not all(r["answered"] for r in requests):
        raise Refuted("the phone stalled a request")


@fact("accessory phone: the bus carried just that", "baseline", "phones", "before", "rights")
def bus_record(run):
    transfers = run.vendor_requests()
    expect([(t.request_type, t.request, t.index, t.data) for t in transfers], HANDSHAKE, "requests")
    expect([t.value for t in transfers], [0] * len(HANDSHAKE), "wValue")
    expect([t.length for t in transfers], [len(step[3]) for step in HANDSHAKE], "wLength")
    expect([(t.status, t.moved) for t in transfers], [(0, t.length) for t in transfers], "outcome")
    return f"version to last string {seconds(transfers[0].submitted_us, transfers[6].completed_us)}"


@fact("accessory phone: start request no sooner than 1 s after the last string", "phones", "before", "rights")
def start_waits(run):
    last = only([t for t in run.vendor_requests() if t.request == SEND_STRING and t.index == 5], "last string")
    start = only([t for t in run.vendor_requests() if t.request == START], "start request")
    if start.submitted_us - last.completed_us < 1_000_000:
        raise Refuted("only " + seconds(last.completed_us, start.submitted_us))
    return "after " + seconds(last.completed_us, start.submitted_us)


@fact("accessory phone: gone after the start request, back at the same port as 18d1:2d00", "phones", "before", "rights")
def gone_and_back(run):
    first, second = plugged(run, "4ee2"), plugged(run, "2d00")
    gone = only(run.events("device", action="remove", **place(first)), "18d1:4ee2 gone")
    start = only([t for t in run.vendor_requests() if t.request == START], "start request")
    expect(second["bus"], first["bus"], "bus")
    if not start.submitted_us < gone["time_us"] < second["time_us"]:
        raise Refuted("not in this order")
    return "after " + seconds(start.completed_us, second["time_us"])


@fact('accessory mode: interest 10, "106"', "phones", "before", "rights")
def switched_interest(run):
    expect_interest(run, "2d00", 10, "106")


@fact("accessory mode: entity published", "phones", "before", "rights")
def switched_published(run):
    return published(run, "2d00")


@fact("accessory mode: connection command with the kernel's own numbers, no sooner than after 1 s", "phones", "before", "rights")
def switched_command(run):
    where = only(accessory_addresses(run), "device descriptor with 18d1:2d00")
    value = command(run, "2d00", "zebcmd:v=1;t=USBAAP;bus={};dev={}".format(*where))
    claimed_us = interest(run, "2d00")["time_us"]
    if value["time_us"] - claimed_us < 1_000_000:
        raise Refuted("only " + seconds(claimed_us, value["time_us"]))
    return value["value"] + " after " + seconds(claimed_us, value["time_us"])


def accessory_addresses(run):
    """Bus and device of those that told the kernel that they are 18d1:2d00, in the device descriptor."""
    told = [t for t in run.transfers if t.request == GET_DESCRIPTOR and t.data[8:12] == b"\xd1\x18\x00\x2d"]
    # Each device is asked once as number 0, before it has a number.
    return {(t.bus, t.device) for t in told if t.device != 0}


@fact("each phone unplugged: entity lost, then destroyed, once", "phones", "before", "rights")
def withdrawn(run):
    products = {event["product"] for event in run.events("device", action="add")}
    if not {"4ee2", "2d00"} <= products:
        raise Refuted(f"only {products} were plugged")
    for product in sorted(products):
        entity = entity_of(run, product)
        gone = only(run.events("device", action="remove", **place(plugged(run, product))), f"{product} gone")
        lost = run.events("entity", action="lost", id=entity)
        destroyed = only(run.events("entity", action="destroyed", id=entity), f"{product} destroyed")
        if not lost or not gone["time_us"] <= lost[0]["time_us"] <= destroyed["time_us"]:
            raise Refuted(f"18d1:{product}: not gone, lost, destroyed in this order")


@fact("both phones at once: the tether still held when the other was an accessory", "phones")
def at_once(run):
    tether, accessory = command(run, "4ee3", "zebcmd:v=1;t=USBAND"), plugged(run, "4ee2")
    lost = only(run.events("entity", action="lost", id=tether["id"]), "tether lost")
    switched = only(run.events("value", id=entity_of(run, "2d00"), key="zebcmd"), "accessory's command")
    if not tether["time_us"] < accessory["time_us"] < switched["time_us"] < lost["time_us"]:
        raise Refuted("not in this order")


@fact("the phone was plugged before the host started", "before")
def plugged_before(run):
    first = run.phone_events("plugged", product="4ee2")[0]
    started = only(run.events("started"), "started")
    if first["time_us"] > started["time_us"]:
        raise Refuted("it came " + seconds(started["time_us"], first["time_us"]) + " later")
    return seconds(first["time_us"], started["time_us"])


@fact("plugged twice into the same port, and switched there twice", "replug")
def same_port(run):
    comings = [(event["product"], event["port"]) for event in run.events("device", action="add")]
    expect(comings, [("4ee2", "2-1"), ("2d00", "2-1")] * 2, "devices")
    numbers = [event["device"] for event in run.events("device", action="add")]
    expect(len(set(numbers)), 4, "different numbers on the bus")


@fact("the whole hand-shake each time, by the phone's own record and on the bus", "replug")
def two_handshakes(run):
    told = [(r["type"], r["request"], r["index"], bytes.fromhex(r["bytes"])) for r in run.phone_events("request")]
    expect(told, HANDSHAKE * 2, "the phone's requests")
    carried = [(t.request_type, t.request, t.index, t.data) for t in run.vendor_requests()]
    expect(carried, HANDSHAKE * 2, "requests on the bus")


@fact("a connection command each time, with the kernel's own numbers", "replug")
def two_commands(run):
    found = [event["value"] for event in run.events("value", key="zebcmd", error=0)]
    wanted = ["zebcmd:v=1;t=USBAAP;bus={};dev={}".format(*where) for where in sorted(accessory_addresses(run))]
    expect((found, len(found)), (wanted, 2), "commands")


@fact("what came was lost and destroyed, each entity once", "replug")
def two_lives(run):
    for action in ("lost", "destroyed"):
        ids = [event["id"] for event in run.events("entity", action=action)]
        expect(ids, [1, 2, 3, 4], action)


@fact("the host ran as an ordinary user", "rights")
def ordinary_user(run):
    users = run.texts["zebhost.user"].split()[1:]
    expect(set(users), {"1000"}, "users")


@fact("it named the node, its rights, and the rule that is missing", "rights")
def node_named(run):
    where = place(plugged(run, "4ee2"))
    first = run.events("advice", topic="node-access", **where)[0]["text"]
    node = "/dev/bus/usb/{bus:03}/{device:03} ".format(**where)
    for part in (node, "rw-------", "udev rule is missing", 'ATTR{idVendor}=="18d1"', "root"):
        if part not in first:
            raise Refuted(f"nothing of {part!r} in {first!r}")


@fact("the phone was neither offered nor asked before its node opened", "rights")
def asked_afterwards(run):
    where = place(plugged(run, "4ee2"))
    advice = run.events("advice", topic="node-access", **where)[0]
    offer = only(run.events("offer", **where), "offer")
    asked = run.vendor_requests()[0]
    if not advice["time_us"] < offer["time_us"] < asked.submitted_us:
        raise Refuted("not in this order")
    return "offered " + seconds(advice["time_us"], offer["time_us"]) + " after the advice"


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
