"""What a run in the guest left behind, as plain records."""

import json
from dataclasses import dataclass, field
from pathlib import Path


class Refuted(Exception):
    """A fact does not hold; the text says what was found instead."""


@dataclass
class Transfer:
    """A control request as the bus monitor saw it: from submission to completion."""

    bus: int
    device: int
    request_type: int
    request: int
    value: int
    index: int
    length: int
    submitted_us: int
    # What moved, in either direction; the monitor keeps the first 32 bytes.
    data: bytes = b""
    completed_us: int | None = None
    status: int | None = None
    moved: int | None = None


@dataclass
class Run:
    """The records of one run; a record that was not written is empty."""

    host: list[dict] = field(default_factory=list)
    # Of every controller's phone, one after the other.
    phone: list[dict] = field(default_factory=list)
    transfers: list[Transfer] = field(default_factory=list)
    # The small text files, by name: exit statuses, the address of the link, figures.
    texts: dict[str, str] = field(default_factory=dict)

    def events(self, event, **members):
        """The host's events of that name whose members are as given."""
        return matching(self.host, event, members)

    def phone_events(self, event, **members):
        return matching(self.phone, event, members)

    def vendor_requests(self):
        """The vendor requests to any phone; device 1 is a bus's own root hub."""
        return [t for t in self.transfers if t.request_type & 0x60 == 0x40 and t.device != 1]


def matching(lines, event, members):
    wanted = {"event": event, **members}
    return [line for line in lines if wanted.items() <= line.items()]


def only(found, what):
    """The one record that should be there."""
    if len(found) != 1:
        raise Refuted(f"{len(found)} times: {what}")
    return next(iter(found))


def judge(fact, run):
    """Whether the fact holds, and what is to be said of it."""
    try:
        detail = fact(run)
        return True, f"{fact.claim} ({detail})" if detail else fact.claim
    except Refuted as refuted:
        return False, f"{fact.claim}: {refuted}"
    except (AttributeError, IndexError, KeyError, TypeError, ValueError) as missing:
        # A record that is incomplete or damaged proves nothing.
        return False, f"{fact.claim}: the records do not tell ({missing!r})"


def load(folder):
    folder = Path(folder)
    if not folder.is_dir():
        return Run()
    return Run(
        host=json_lines(folder / "zebhost.jsonl"),
        phone=[line for record in sorted(folder.glob("phone-*.jsonl")) for line in json_lines(record)],
        transfers=control_transfers(text(folder / "usbmon.txt")),
        texts={path.name: text(path).strip() for path in folder.iterdir() if path.is_file()},
    )


def text(path):
    return path.read_text(errors="replace") if path.exists() else ""


def json_lines(path):
    return [json.loads(line) for line in text(path).splitlines()]


def control_transfers(monitor):
    """The control requests in the kernel's text form of its bus monitor."""
    transfers, pending = [], {}
    for line in monitor.splitlines():
        tag, time_us, kind, address, *words = line.split()
        endpoint, bus, device, _ = address.split(":")
        if endpoint not in ("Ci", "Co"):
            continue
        if kind == "S" and words[0] == "s":
            transfer = submission(int(bus), int(device), int(time_us), words)
            pending[tag] = transfer
            transfers.append(transfer)
        elif kind == "C" and tag in pending:
            complete(pending.pop(tag), int(time_us), words)
    return transfers


def submission(bus, device, time_us, words):
    request_type, request, value, index, length = (int(word, 16) for word in words[1:6])
    return Transfer(bus, device, request_type, request, value, index, length, time_us, data_of(words))


def complete(transfer, time_us, words):
    transfer.completed_us = time_us
    transfer.status, transfer.moved = int(words[0]), int(words[1])
    transfer.data = transfer.data or data_of(words)


def data_of(words):
    return bytes.fromhex("".join(words[words.index("=") + 1 :])) if "=" in words else b""
