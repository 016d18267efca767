"""The cost of operations among 1 to 1,000 entities, as a multiple of that among one, on logarithmic scales."""

from math import log10

COUNTS = (1, 10, 100, 1000)
# Of the plot, in pixels, and the decades that it shows upwards.
LEFT, TOP, WIDTH, HEIGHT, DECADES = 70, 20, 420, 420, 6
OPERATIONS = {
    "addAndRemoveAll": ("n handles in and out", "#c0392b"),
    "removeDevice": ("device gone", "#8e44ad"),
    "singleEvent": ("one event", "#2471a3"),
    "askForHandles": ("host asks for handles", "#1e8449"),
    "offerAndDestroy": ("device comes and goes", "#b9770e"),
    "entityTimeout": ("one timeout", "#566573"),
}
IMPLIED = {"n²": lambda n: n * n, "n": lambda n: n}


def place(count, cost):
    return (LEFT + WIDTH * log10(count) / 3, TOP + HEIGHT * (1 - log10(max(cost, 0.5)) / DECADES))


def line(points, style):
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    return f'<polyline points="{path}" fill="none" {style}/>'


def text(x, y, words, more=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" {more}>{words}</text>'


def axes():
    for count in COUNTS:
        x, _ = place(count, 1)
        yield line([(x, TOP), (x, TOP + HEIGHT)], 'stroke="#ddd"')
        yield text(x, TOP + HEIGHT + 18, f"{count:,}", 'text-anchor="middle"')
    for decade in range(DECADES + 1):
        _, y = place(1, 10**decade)
        yield line([(LEFT, y), (LEFT + WIDTH, y)], 'stroke="#ddd"')
        yield text(LEFT - 8, y + 4, f"{10**decade:,}", 'text-anchor="end"')
    yield text(LEFT + WIDTH / 2, TOP + HEIGHT + 38, "entities, or handles", 'text-anchor="middle"')


def implied():
    for name, curve in IMPLIED.items():
        yield line([place(count, curve(count)) for count in COUNTS], 'stroke="#999" stroke-dasharray="6 4"')
        x, y = place(1000, curve(1000))
        yield text(x + 6, y + 4, f"implied: {name}", 'fill="#777"')


def measured(medians):
    for row, (name, (words, colour)) in enumerate(OPERATIONS.items()):
        points = [place(count, medians[f"{name}/{count}"] / medians[f"{name}/1"]) for count in COUNTS]
        yield line(points, f'stroke="{colour}" stroke-width="2"')
        yield text(LEFT + 12, TOP + 22 + 18 * row, words, f'fill="{colour}"')


def svg(medians):
    parts = ["<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 600 490' font-family='sans-serif' "
             "font-size='12'>", "<title>Cost of operations, as a multiple of the cost with one entity</title>",
             "<rect width='600' height='490' fill='white'/>"]
    return "\n".join([*parts, *axes(), *implied(), *measured(medians), "</svg>"]) + "\n"
