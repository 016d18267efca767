"""python3 lab/check SCENARIO FOLDER: says of each fact of a scenario whether the records in FOLDER prove it.

Exit status 0 when all facts hold.
"""

import sys

import facts
from run import judge, load


def main(scenario, folder):
    if scenario not in facts.SCENARIOS:
        print(f"lab {scenario}: nothing is known that must be true after it", file=sys.stderr)
        return 2
    run = load(folder)
    verdicts = [judge(fact, run) for fact in facts.SCENARIOS[scenario]]
    for holds, sentence in verdicts:
        print("  ok     " if holds else "  FAILED ", sentence, sep="")
    passed = sum(holds for holds, _ in verdicts)
    print(f"lab {scenario}: {passed} passed, {len(verdicts) - passed} failed")
    return passed != len(verdicts)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
