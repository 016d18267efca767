"""How a fact is said and to which scenarios it belongs."""

from run import Refuted

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
