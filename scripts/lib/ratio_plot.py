"""Draws how many times as fast the library is as its peers, as an SVG with one bar for each."""

import math
from dataclasses import dataclass
from html import escape


@dataclass
class Bar:
    rule: str
    peer: str
    ratio: float
    wanted: float | None


WIDTH = 900
LABEL_WIDTH = 400
VALUE_WIDTH = 70
ROW = 22
BAR = 13
RULE_GAP = 12
TOP = 78
BOTTOM = 30

# Of middling lightness, so that they are seen on white and on black alike; the text takes the
# reader's own choice of the two.
STYLE = """
  text { font: 12px system-ui, sans-serif; fill: #24292f }
  .title { font-size: 16px; font-weight: 600 }
  .rule { font-weight: 600 }
  .faint { fill: #6e7781 }
  .grid { stroke: #8c959f; stroke-opacity: .35 }
  .even { stroke: #8c959f; stroke-width: 1.5 }
  .met { fill: #2da44e }
  .missed { fill: #d4583b }
  .plain { fill: #4f8fd6 }
  .wanted { stroke: #24292f; stroke-width: 2 }
  @media (prefers-color-scheme: dark) {
    text { fill: #e6edf3 }
    .faint { fill: #9aa4ae }
    .wanted { stroke: #e6edf3 }
  }"""


class Scale:
    """A logarithmic one: twice as fast and half as fast are equally far from the peer."""

    def __init__(self, values):
        self.low = 2 ** math.floor(min(-1.0, *(math.log2(value) for value in values)))
        self.high = 2 ** math.ceil(max(1.0, *(math.log2(value) for value in values)))

    def x(self, value):
        share = math.log(value / self.low) / math.log(self.high / self.low)
        return LABEL_WIDTH + share * (WIDTH - LABEL_WIDTH - VALUE_WIDTH)

    def marks(self):
        value = self.low
        while value <= self.high:
            yield value
            value *= 2


def text(x, y, content, kind="", anchor="start"):
    return f'<text x="{x:.1f}" y="{y:.1f}" class="{kind}" text-anchor="{anchor}">{escape(content)}</text>'


def line(x, top, bottom, kind):
    return f'<line x1="{x:.1f}" y1="{top:.1f}" x2="{x:.1f}" y2="{bottom:.1f}" class="{kind}"/>'


def bar_elements(bar, scale, y):
    even, end = scale.x(1), scale.x(bar.ratio)
    kind = "plain" if bar.wanted is None else "met" if bar.ratio >= bar.wanted else "missed"
    left, right = min(even, end), max(even, end)
    yield text(24, y + BAR - 2, f"beside {bar.peer.replace('_', ' ')}")
    yield (
        f'<rect x="{left:.1f}" y="{y:.1f}" width="{max(right - left, 1):.1f}" height="{BAR}" '
        f'class="{kind}"/>'
    )
    reach = right
    if bar.wanted is not None:
        wanted = scale.x(bar.wanted)
        yield line(wanted, y - 3, y + BAR + 3, "wanted")
        reach = max(right, wanted)
    yield text(reach + 6, y + BAR - 2, f"{bar.ratio:.3g} ×")


def svg(bars, note):
    """The whole file, for bars in the order of their rules."""
    scale = Scale([value for bar in bars for value in (bar.ratio, bar.wanted) if value] or [1.0])
    y = TOP
    rows = []
    rule = None
    for bar in bars:
        if bar.rule != rule:
            rule = bar.rule
            y += RULE_GAP
            rows.append(text(8, y + BAR - 2, rule, "rule"))
            y += ROW
        rows.extend(bar_elements(bar, scale, y))
        y += ROW
    height = y + BOTTOM
    grid = [line(scale.x(mark), TOP, y, "even" if mark == 1 else "grid") for mark in scale.marks()]
    numbers = [text(scale.x(mark), TOP - 6, f"{mark:g} ×", "faint", "middle") for mark in scale.marks()]
    legend = "Right of 1 × the library is the faster one. A short line marks what is wanted."
    return "\n".join(
        [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" '
            f'width="{WIDTH}" height="{height}" role="img">',
            "<title>Times as fast as peers</title>",
            f"<style>{STYLE}\n</style>",
            text(8, 24, "Times as fast as peers", "title"),
            text(8, 44, legend, "faint"),
            *grid,
            *numbers,
            *rows,
            text(8, height - 10, note, "faint"),
            "</svg>",
            "",
        ]
    )
