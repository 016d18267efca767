"""How a fact is said and to which scenarios it belongs."""

from run import Refuted

SCENARIOS = {}
PACKAGED, SANITIZED = "packaged", "sanitized"


def fact(claim, *scenarios, build=None):
    """Registers a function as a fact of the scenarios; build: PACKAGED or SANITIZED when it is one of that only."""

    def register(function):
        function.claim = claim
        function.build = build
        for scenario in scenarios:
            SCENARIOS.setdefault(scenario, []).append(function)
        return function

    return register


def seconds(first_us, second_us):
    return f"{(second_us - first_us) / 1e6:.6f} s"


def expect(found, wanted, what):
    if found != wanted:
        raise Refuted(f"{what}: {found!r}, not {wanted!r}")
