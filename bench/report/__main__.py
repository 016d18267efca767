"""Measures, and prints the table; see scripts/bench."""

import sys

import document
import guest
import native
import table


def main(arguments):
    quick = "--quick" in arguments
    rows, curves = native.measure(quick)
    if not quick:
        rows += guest.measure()
    if "--json" in arguments:
        print(table.as_json(rows))
    else:
        print(table.as_text(rows))
    if "--write" in arguments:
        document.write(rows, curves)


if __name__ == "__main__":
    main(sys.argv[1:])
