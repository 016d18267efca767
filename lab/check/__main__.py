"""python3 lab/check [--sanitized] FOLDER SCENARIO...: says of each fact of the scenarios whether the records in
FOLDER/SCENARIO prove it. With --sanitized they are those of a build with sanitizers, which has facts of its own, and
of which some others are not judged.

Exit status 0 when all facts hold that were judged.
"""

import sys
from pathlib import Path

import facts  # noqa: F401, I001  in the order in which they are told
import endurance  # noqa: F401
import moments  # noqa: F401
from claims import PACKAGED, SANITIZED, SCENARIOS
from run import judge, load


def check(scenario, folder, build):
    """Whether each fact holds that can be judged of the build."""
    print(f"{scenario}:")
    run = load(folder)
    verdicts = [judge(fact, run) for fact in SCENARIOS[scenario] if fact.build in (None, build)]
    for holds, sentence in verdicts:
        print("  ok     " if holds else "  FAILED ", sentence, sep="")
    for fact in SCENARIOS[scenario]:
        if build == SANITIZED and fact.build == PACKAGED:
            print(f"  -       {fact.claim}: not judged of a build with sanitizers")
    return [holds for holds, _ in verdicts]


def main(*words):
    build = SANITIZED if words[0] == "--sanitized" else PACKAGED
    folder, *scenarios = words[build == SANITIZED :]
    for scenario in scenarios:
        if scenario not in SCENARIOS:
            print(f"lab {scenario}: nothing is known that must be true after it", file=sys.stderr)
            return 2
    all_hold = [holds for scenario in scenarios for holds in check(scenario, Path(folder) / scenario, build)]
    print(f"lab: {sum(all_hold)} passed, {len(all_hold) - sum(all_hold)} failed")
    return not all(all_hold)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
