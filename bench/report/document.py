"""Puts the table and the plot into docs/."""

import re
from pathlib import Path

import plot
import table

PAGE = Path("docs/performance.md")
PLOT = Path("docs/performance.svg")


def write(rows, curves):
    marked = r"(<!-- table -->\n).*?(<!-- /table -->)"
    text = PAGE.read_text()
    if not re.search(marked, text, re.DOTALL):
        raise RuntimeError(f"{PAGE} has no marks for the table")
    new = re.sub(marked, lambda found: found[1] + table.as_markdown(rows) + "\n" + found[2], text, flags=re.DOTALL)
    PAGE.write_text(new)
    PLOT.write_text(plot.svg(curves))
