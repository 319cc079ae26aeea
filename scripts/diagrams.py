#!/usr/bin/env python3
"""Draws each docs/diagrams/*.txt as an SVG file in the same folder, for light and dark pages.

    diagrams.py            writes the files that differ
    diagrams.py --check    writes nothing, and fails if a file differs

A diagram is described line by line; "#" begins a comment:

    title TEXT                       the title of the picture
    grid COLUMNS ROWS WIDTH HEIGHT   the number of columns and rows; the size of a cell in pixels
    box ID COLUMN ROW WIDTH "text" ["second line"] [weak]   the width in columns; weak is dashed
    arrow FROM TO ["label"] [bend PIXELS]   a positive number bends the arrow to its right side
"""

import html
import math
import pathlib
import shlex
import sys

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "docs" / "diagrams"
MARGIN, GAP = 12, 34
STYLE = """
  text { font: 13px system-ui, sans-serif; text-anchor: middle; fill: #1c2733 }
  .small { font-size: 11.5px; fill: #4a5a6a }
  .box { fill: #e8f0fa; stroke: #35608f; stroke-width: 1.3 }
  .weak { fill: #f4f5f6; stroke: #7b8794; stroke-dasharray: 4 3 }
  .arrow { fill: none; stroke: #35608f; stroke-width: 1.5 }
  .head { fill: #35608f }
  @media (prefers-color-scheme: dark) {
    text { fill: #e3e9ef }
    .small { fill: #a9b7c4 }
    .box { fill: #1d2f42; stroke: #7fb0e0 }
    .weak { fill: #20262c; stroke: #8794a1 }
    .arrow { stroke: #7fb0e0 }
    .head { fill: #7fb0e0 }
  }
"""


class Box:
    def __init__(self, words, cell):
        column, row, width = (float(word) for word in words[1:4])
        self.weak = words[-1] == "weak"
        self.texts = words[4:-1] if self.weak else words[4:]
        gap = min(GAP, cell[1] * 0.3)
        self.x = MARGIN + column * cell[0] + GAP / 2
        self.y = MARGIN + row * cell[1] + gap / 2
        self.width = width * cell[0] - GAP
        self.height = min(cell[1] - gap, 52)
        self.middle = (self.x + self.width / 2, self.y + self.height / 2)

    def edge(self, toward):
        """The point where the straight line from the middle of the box to a point crosses its edge."""
        dx, dy = toward[0] - self.middle[0], toward[1] - self.middle[1]
        scale = max(abs(dx) / (self.width / 2), abs(dy) / (self.height / 2))
        return self.middle[0] + dx / scale, self.middle[1] + dy / scale

    def svg(self):
        kind = "box weak" if self.weak else "box"
        yield (f'<rect class="{kind}" x="{self.x:.1f}" y="{self.y:.1f}" width="{self.width:.1f}" '
               f'height="{self.height:.1f}" rx="6"/>')
        at = self.middle[1] + (4.5 if len(self.texts) == 1 else -3.5)
        for index, text in enumerate(self.texts):
            small = ' class="small"' if index else ""
            yield (f'<text{small} x="{self.middle[0]:.1f}" y="{at + index * 16:.1f}">'
                   f'{html.escape(text, quote=False)}</text>')


def arrow_svg(start, end, label, bend):
    dx, dy = end.middle[0] - start.middle[0], end.middle[1] - start.middle[1]
    length = math.hypot(dx, dy)
    normal = (-dy / length, dx / length)
    middle = ((start.middle[0] + end.middle[0]) / 2, (start.middle[1] + end.middle[1]) / 2)
    control = (middle[0] + normal[0] * bend * 2, middle[1] + normal[1] * bend * 2)
    first, last = start.edge(control if bend else end.middle), end.edge(control if bend else start.middle)
    angle = math.atan2(last[1] - (control[1] if bend else first[1]),
                       last[0] - (control[0] if bend else first[0]))
    tip = [last]
    for side in (-0.4, 0.4):
        tip.append((last[0] - 10 * math.cos(angle + side), last[1] - 10 * math.sin(angle + side)))
    base = (last[0] - 8 * math.cos(angle), last[1] - 8 * math.sin(angle))
    way = f"Q {control[0]:.1f} {control[1]:.1f} " if bend else "L "
    yield f'<path class="arrow" d="M {first[0]:.1f} {first[1]:.1f} {way}{base[0]:.1f} {base[1]:.1f}"/>'
    yield '<polygon class="head" points="' + " ".join(f"{x:.1f},{y:.1f}" for x, y in tip) + '"/>'
    if label:
        at = ((first[0] + last[0]) / 4 + control[0] / 2, (first[1] + last[1]) / 4 + control[1] / 2)
        flat = abs(dy) < abs(dx) / 4
        below = flat and normal[1] * bend > 0
        x, y = at[0], at[1] + (16 if below else -6 if flat else 4)
        # The label of a slanted line is beside the line, on the outer side of the picture.
        half = len(label) * 3.1
        if not flat:
            x += half + 8 if dx * dy <= 0 else -half - 8
        yield f'<text class="small" x="{x:.1f}" y="{y:.1f}">{html.escape(label, quote=False)}</text>'


def drawn(text):
    title, cell, boxes, parts = "", (0, 0), {}, []
    width = height = 0
    for line in text.splitlines():
        words = shlex.split(line, comments=True)
        if not words:
            continue
        kind, words = words[0], words[1:]
        if kind == "title":
            title = " ".join(words)
        elif kind == "grid":
            columns, rows, *cell = (float(word) for word in words)
            width, height = columns * cell[0] + 2 * MARGIN, rows * cell[1] + 2 * MARGIN
        elif kind == "box":
            boxes[words[0]] = Box(words, cell)
            parts += boxes[words[0]].svg()
        elif kind == "arrow":
            bend = float(words[words.index("bend") + 1]) if "bend" in words else 0
            label = words[2] if len(words) > 2 and words[2] != "bend" else ""
            parts += arrow_svg(boxes[words[0]], boxes[words[1]], label, bend)
        else:
            raise ValueError(f"unknown line: {line}")
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height:.0f}" '
        f'width="{width:.0f}" role="img">', f"<title>{html.escape(title)}</title>",
        f"<style>{STYLE}</style>", *parts, "</svg>", ""])


def main(check):
    differ = []
    for source in sorted(FOLDER.glob("*.txt")):
        svg, target = drawn(source.read_text(encoding="utf-8")), source.with_suffix(".svg")
        if not target.exists() or target.read_text(encoding="utf-8") != svg:
            differ.append(target.name)
            if not check:
                target.write_text(svg, encoding="utf-8")
    strays = {path.stem for path in FOLDER.glob("*.svg")} - {path.stem for path in FOLDER.glob("*.txt")}
    differ += [f"{stem}.svg has no text" for stem in sorted(strays)]
    if check and differ:
        sys.exit("diagrams: scripts/diagrams.py would change " + ", ".join(differ))


if __name__ == "__main__":
    main("--check" in sys.argv[1:])
