"""Holds every JSON line that the tests of zebhost have seen against the schema that is documented.

usage: kept_lines.py SCHEMA FILE...
Fails for a line that does not fit, and for a kind of line that the schema describes and no test has shown.
"""

import copy
import json
import sys
from pathlib import Path

import jsonschema


def kind_of(line):
    """A line's definition: by its event or its record, as the schema's constants have them."""
    return ("event", line["event"]) if "event" in line else ("record", line.get("record"))


def validators(schema):
    """For each kind of line its validator."""
    found = {}
    for name, definition in schema["$defs"].items():
        for member in ("event", "record"):
            if member in definition["properties"]:
                kind = (member, definition["properties"][member]["const"])
                found[kind] = jsonschema.Draft202012Validator({"$ref": f"#/$defs/{name}", "$defs": schema["$defs"]})
    return found


def distinct(files):
    """The lines, each content once: runs say much the same at other times."""
    lines = {}
    for file in files:
        for text in Path(file).read_text().splitlines():
            line = json.loads(text)
            lines[json.dumps({**line, "time_us": 0 if "time_us" in line else None})] = line
    return lines.values()


def complaints(schema, lines):
    known = validators(schema)
    seen = set()
    for line in lines:
        kind = kind_of(line)
        if kind not in known:
            yield f"no such kind of line in the schema: {line}"
            continue
        seen.add(kind)
        for error in known[kind].iter_errors(line):
            yield f"{error.message}: {line}"
    for kind in known.keys() - seen:
        yield f"no test has shown a line of {kind[0]} {kind[1]}"


def tampered(lines):
    """Each line without its last member, and with one more: neither may fit."""
    for line in lines:
        less = copy.deepcopy(line)
        less.popitem()
        yield less
        yield {**line, "unheard_of": 1}


if __name__ == "__main__":
    description = json.loads(Path(sys.argv[1]).read_text())
    jsonschema.Draft202012Validator.check_schema(description)
    kept = list(distinct(sys.argv[2:]))
    wrong = list(complaints(description, kept))
    known = validators(description)
    wrong += [f"fits and should not: {line}" for line in tampered(kept)
              if kind_of(line) in known and known[kind_of(line)].is_valid(line)]
    print(f"{len(kept)} different lines of {len({kind_of(line) for line in kept})} kinds")
    sys.exit("\n".join(wrong[:20]) or 0)
