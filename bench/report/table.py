"""One row a figure, and the table of them."""

import json
from dataclasses import asdict, dataclass

HEADINGS = ("what", "measured", "baseline", "figure", "goal", "")


@dataclass
class Row:
    what: str
    measured: str
    # Empty: there is nothing to hold it against but the goal.
    baseline: str
    figure: float
    # What the figure is a number of; "x" for a ratio.
    unit: str
    limit: float
    # What measures it.
    command: str

    @property
    def met(self):
        return self.figure <= self.limit

    def cells(self):
        goal = f"<= {self.limit:g} {self.unit}"
        return (self.what, self.measured, self.baseline, f"{self.figure:.4g} {self.unit}", goal,
                "met" if self.met else "MISSED")


def ratio(what, measured, baseline, unit, limit, command):
    """A row for two medians of the same unit."""
    return Row(what, f"{measured:.4g} {unit}", f"{baseline:.4g} {unit}", measured / baseline, "x", limit, command)


def amount(what, measured, unit, limit, command):
    """A row for a figure that stands for itself."""
    return Row(what, f"{measured:.4g} {unit}", "", measured, unit, limit, command)


def as_text(rows):
    lines = [HEADINGS, *(row.cells() for row in rows)]
    widths = [max(map(len, column)) for column in zip(*lines)]
    return "\n".join("  ".join(map(str.ljust, line, widths)).rstrip() for line in lines)


def as_json(rows):
    return json.dumps([{**asdict(row), "met": row.met} for row in rows], indent=1)


def as_markdown(rows):
    lines = ["| what | measured | baseline | figure | goal | | command |", "|---|---|---|---|---|---|---|"]
    for row in rows:
        # A bar would end the cell, even in code.
        cells = (cell.replace("|", "\\|") for cell in (*row.cells(), f"`{row.command}`"))
        lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines)
