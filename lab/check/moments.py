"""What must be true of phones that fail in the middle of their hand-shake, one after the other."""

import bisect
from dataclasses import dataclass

from claims import expect, fact
from facts import GET_PROTOCOL, HANDSHAKE, SEND_STRING, START
from run import Refuted, Transfer, only

NO_PROTOCOL = "Device doesn't support AAP protocol"
REQUESTS = [(request, index) for _, request, index, _ in HANDSHAKE]
# What the bus monitor tells of the failed request: EPROTO, EPIPE, ENOENT (given up by the host), success.
STATUS = {"unplug": -71, "stall": -32, "silent": -2, "short": 0}


@dataclass
class Try:
    """One phone, from its plug to the next one's."""

    way: str
    request: int
    index: int
    host: list[dict]
    phone: list[dict]
    bus: list[Transfer]

    def __str__(self):
        return f"{self.way} at {self.request}/{self.index}"

    def failures(self):
        """What the plug-in said of the failure."""
        lines = [event for event in self.host if event["event"] == "log"]
        return [line["text"] for line in lines if line["severity"] <= 10 or line["text"] == NO_PROTOCOL]


def split(events, begins):
    """The events by the phone that they belong to: those before the first phone to none."""
    events = sorted(events, key=lambda event: event["time_us"])
    starts = [event["time_us"] for event in events if begins(event)]
    parts = [[] for _ in starts]
    for event in events:
        if number := bisect.bisect_right(starts, event["time_us"]):
            parts[number - 1].append(event)
    return parts


def tries(run):
    """The phones that failed and, last, the one that answered late."""
    asked = [line.split() for line in run.texts["asked.txt"].splitlines()] + [["late", 0, 0]]
    host = split(run.host, lambda e: e["event"] == "device" and (e["action"], e["product"]) == ("add", "4ee2"))
    phone = split(run.phone, lambda e: e["event"] == "plugged" and e["product"] == "4ee2")
    expect((len(host), len(phone)), (len(asked), len(asked)), "phones")
    result = []
    for (way, request, index), told, shown in zip(asked, host, phone):
        bus = [t for t in run.vendor_requests() if (t.bus, t.device) == (told[0]["bus"], told[0]["device"])]
        result.append(Try(way, int(request), int(index), told, shown, bus))
    return result


def failing(run, way, requests):
    """The phones that fail in this way, at all of these requests."""
    found = [each for each in tries(run) if each.way == way]
    expect([(each.request, each.index) for each in found], requests, f"requests with {way}")
    return found


def expect_failures(run, way, text_of, requests=tuple(REQUESTS)):
    for each in failing(run, way, list(requests)):
        text = text_of(each)
        expect(each.failures(), [text] if text else [], str(each))


@fact("unplugged with the request pending, each of the eight: failed with status 1", "moments")
def unplugged_at_each(run):
    expect_failures(run, "unplug", lambda _: "USB transfer failed with status 1")


@fact("stalled, each of the eight: no accessory protocol at the first, status 4 at the others", "moments")
def stalled_at_each(run):
    expect_failures(run, "stall", lambda each: NO_PROTOCOL if each.request == GET_PROTOCOL
                    else "USB transfer failed with status 4")


def incomplete(each, moved):
    (_, _, _, data) = HANDSHAKE[REQUESTS.index((each.request, each.index))]
    return f"USB transfer failed to be transfered completely ({moved} instead of {len(data)})"


@fact("silent, each of the eight: incomplete, and the start request, which has no data, taken as done", "moments")
def silent_at_each(run):
    expect_failures(run, "silent", lambda each: None if each.request == START else incomplete(each, 0))


@fact("one byte of the version: incomplete", "moments")
def short_version(run):
    expect_failures(run, "short", lambda each: incomplete(each, 1), [(GET_PROTOCOL, 0)])


@fact("each phone was asked up to the request at which it failed, and nothing afterwards", "moments")
def asked_so_far(run):
    for each in tries(run)[:-1]:
        wanted = REQUESTS[: REQUESTS.index((each.request, each.index)) + 1]
        told = [event for event in each.phone if event["event"] == "request"]
        expect([(r["request"], r["index"]) for r in told], wanted, f"requests to the phone, {each}")
        expect([r["answered"] for r in told], [True] * (len(wanted) - 1) + [False], f"answers, {each}")
        expect([(t.request, t.index) for t in each.bus], wanted, f"requests on the bus, {each}")


@fact("the bus saw each failure: the kernel's own status, and how much time a silent phone got", "moments")
def seen_on_the_bus(run):
    for each in tries(run)[:-1]:
        last = each.bus[-1]
        expect(last.status, STATUS[each.way], f"kernel's status, {each}")
        taken = last.completed_us - last.submitted_us
        if (taken >= 500_000) != (each.way == "silent") or taken > 600_000:
            raise Refuted(f"{taken} us, {each}")


def lost_first(each):
    """Whether the entity was lost before its phone left: the plug-in gave it up, without an error."""
    lost = [event for event in each.host if (event["event"], event.get("action")) == ("entity", "lost")]
    left = [event for event in each.host if (event["event"], event.get("action")) == ("device", "remove")]
    return only(lost, f"lost, {each}")["time_us"] < only(left, f"left, {each}")["time_us"]


@fact("an entity is kept for a second try after an error, and given up without one; lost and destroyed once", "moments")
def one_life(run):
    for each in tries(run)[:-1]:
        actions = [event["action"] for event in each.host if event["event"] == "entity"]
        expect(actions, ["added", "lost", "destroyed"], f"entity, {each}")
        # Unplugged, who is first is a race: events of libusb's own use up the tries as well.
        if each.way != "unplug":
            kept = each.request == START or (each.way == "stall" and each.request == SEND_STRING)
            expect(lost_first(each), not kept, f"given up before it left, {each}")


@fact("the next phone, which takes 400 ms for each answer, was switched and found", "moments")
def late_and_found(run):
    late = tries(run)[-1]
    expect([(t.request, t.index) for t in late.bus], REQUESTS, "requests")
    times = [t.completed_us - t.submitted_us for t in late.bus]
    if min(times) < 400_000:
        raise Refuted(f"answers after {times} us")
    command = only([event for event in late.host if event["event"] == "value" and event["key"] == "zebcmd"], "command")
    expect(late.failures(), [], "failures")
    return command["value"]
