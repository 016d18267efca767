"""python3 lab/check FOLDER SCENARIO...: says of each fact of the scenarios whether the records in FOLDER/SCENARIO
prove it.

Exit status 0 when all facts hold.
"""

import sys
from pathlib import Path

import facts  # noqa: F401, I001  in the order in which they are told
import endurance  # noqa: F401
import moments  # noqa: F401
from claims import SCENARIOS
from run import judge, load


def check(scenario, folder):
    """Whether each fact holds."""
    print(f"{scenario}:")
    run = load(folder)
    verdicts = [judge(fact, run) for fact in SCENARIOS[scenario]]
    for holds, sentence in verdicts:
        print("  ok     " if holds else "  FAILED ", sentence, sep="")
    return [holds for holds, _ in verdicts]


def main(folder, *scenarios):
    for scenario in scenarios:
        if scenario not in SCENARIOS:
            print(f"lab {scenario}: nothing is known that must be true after it", file=sys.stderr)
            return 2
    all_hold = [holds for scenario in scenarios for holds in check(scenario, Path(folder) / scenario)]
    print(f"lab: {sum(all_hold)} passed, {len(all_hold) - sum(all_hold)} failed")
    return not all(all_hold)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
