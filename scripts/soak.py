#!/usr/bin/env python3
"""Fits a straight line to each quantity of a soak, after the first quarter of the time, and draws it.

    soak.py SAMPLES.tsv DRAWING.svg

Each row of SAMPLES.tsv has seconds, KiB of resident memory, descriptors, threads, and microseconds of
latency (0 without visitors). Fails if a line rises by more than QUANTITIES allow.
"""
import math
import sys

# Name, unit, and the allowed rise of the line: a share of its first value, plus a fixed amount for a long
# run, or another one for a short run. In a short run the caches of allocators and sanitizers still fill;
# latency is not checked, since it depends on the load of the machine.
QUANTITIES = [("resident memory", "KiB", 0.05, 4096, 16384), ("descriptors", "", 0.02, 20, 20),
              ("threads", "", 0.02, 10, 10), ("latency", "µs", 0.5, 500, math.inf)]
LONG_RUN_SECONDS = 600
WIDTH, HEIGHT, MARGIN = 720, 150, 40


def fit(points):
    """The values of the fitted straight line at the first and the last point."""
    count = len(points)
    mean_x = sum(x for x, _ in points) / count
    mean_y = sum(y for _, y in points) / count
    spread = sum((x - mean_x) ** 2 for x, _ in points)
    slope = sum((x - mean_x) * (y - mean_y) for x, y in points) / spread if spread else 0.0
    return [mean_y + slope * (x - mean_x) for x in (points[0][0], points[-1][0])]


def chart(top, title, points, line_x, line_y):
    end, high = max(points[-1][0], 1), max(max(y for _, y in points), 1)

    def place(x, y):
        return f"{MARGIN + x * WIDTH / end:.1f},{top + HEIGHT - y * (HEIGHT - 20) / high:.1f}"

    dots = " ".join(place(x, y) for x, y in points)
    line = " ".join(place(x, y) for x, y in zip(line_x, line_y))
    return (f'<text x="{MARGIN}" y="{top + 12}">{title}</text>\n'
            f'<path class="axis" d="M{MARGIN} {top + 20}V{top + HEIGHT}h{WIDTH}"/>\n'
            f'<polyline class="samples" points="{dots}"/>\n'
            f'<polyline class="line" points="{line}"/>\n')


def main():
    with open(sys.argv[1]) as samples:
        rows = [[float(value) for value in row.split("\t")] for row in samples]
    if len(rows) < 8:
        sys.exit("soak: there are too few samples")
    seconds = rows[-1][0]
    later = [row for row in rows if row[0] >= seconds / 4]
    height = len(QUANTITIES) * (HEIGHT + MARGIN)
    svg = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH + 2 * MARGIN} {height}" '
           'font-family="sans-serif" font-size="12" fill="none">\n'
           "<title>Memory, descriptors, threads and latency of a soak</title>\n"
           "<style>text{fill:#555}.axis{stroke:#999}.samples{stroke:#47a}"
           ".line{stroke:#c40;stroke-width:2}</style>\n")
    grown = []
    for i, (name, unit, share, in_long, in_short) in enumerate(QUANTITIES, start=1):
        if not any(row[i] for row in rows):
            continue
        begin, end = fit([(row[0], row[i]) for row in later])
        measure = f" {unit}" if unit else ""
        title = (f"{name}: {begin:.0f}{measure} after the first quarter, {end:.0f}{measure} "
                 "at the end")
        print(title)
        svg += chart((i - 1) * (HEIGHT + MARGIN) + 10, title, [(row[0], row[i]) for row in rows],
                     (later[0][0], later[-1][0]), (begin, end))
        amount = in_long if seconds >= LONG_RUN_SECONDS else in_short
        if end - begin > share * begin + amount:
            grown.append(name)
    with open(sys.argv[2], "w") as drawing:
        drawing.write(svg + "</svg>\n")
    if grown:
        sys.exit(f"soak: {', '.join(grown)} grew")


main()
