"""usage: check.py COVERAGE.json UNCOVERED.txt ROOT

Holds what gcovr counted (its JSON) against what is promised of the code that ships: every function, 98 % of the
lines, 92 % of the branches, and each line that is not reached has its reason in UNCOVERED.txt, which lists no other.
"""
import json
import os
import sys

GOALS = {"functions": 100.0, "lines": 98.0, "branches": 92.0}


def counts(report):
    """What was reached and what there is, of each kind."""
    files = report["files"]
    functions = [f["execution_count"] for file in files for f in file["functions"]]
    lines = [line for file in files for line in file["lines"] if not line.get("gcovr/noncode")]
    branches = [b["count"] for line in lines for b in line["branches"] if not b.get("throw")]
    return {kind: (sum(1 for n in numbers if n), len(numbers))
            for kind, numbers in (("functions", functions), ("lines", [l["count"] for l in lines]),
                                  ("branches", branches))}


def uncovered(report, root):
    found = set()
    for file in report["files"]:
        with open(os.path.join(root, file["file"])) as source:
            text = source.read().split("\n")
        for line in file["lines"]:
            if line["count"] == 0 and not line.get("gcovr/noncode"):
                found.add(f'{file["file"]}: {text[line["line_number"] - 1].strip()}')
    return found


def listed(path):
    """The lines of the list without their reasons; one without a reason is an error."""
    with open(path) as file:
        entries = [line.rstrip("\n").rpartition(" # ") for line in file if line.strip() and not line.startswith("#")]
    for code, _, reason in entries:
        if not code or not reason:
            sys.exit(f"{path}: no reason for: {code or reason}")
    return {code for code, _, _ in entries}


def faults(report, list_path, root):
    for kind, (reached, total) in counts(report).items():
        if total == 0 or 100.0 * reached / total < GOALS[kind]:
            yield f"{kind}: {reached} of {total} reached, {GOALS[kind]} % wanted"
    missing, known = uncovered(report, root), listed(list_path)
    for code in sorted(missing - known):
        yield f"not reached, and no reason given in {os.path.basename(list_path)}: {code}"
    for code in sorted(known - missing):
        yield f"reached (or gone), and still in {os.path.basename(list_path)}: {code}"


def main(report_path, list_path, root):
    with open(report_path) as file:
        report = json.load(file)
    for kind, (reached, total) in counts(report).items():
        print(f"{kind:9} {reached:5} of {total:5}  {100.0 * reached / max(total, 1):5.1f} %  (goal {GOALS[kind]:g} %)")
    found = list(faults(report, list_path, root))
    for fault in found:
        print(fault)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
