#!/usr/bin/env python3
"""soak.py FIGURES [PICTURE] - judges what the program soak noted, draws it as an SVG, and ends with 1 unless its lines are
flat: what is held in the last third of the time isn't above what is held in the middle third, but for a small margin, and
descriptors, threads, children and what is allocated are what they were before when all is closed. The first tenth of the time doesn't count.
"""
import csv
import sys
from html import escape
from statistics import mean

WARM_UP = 0.1
# Column, title, what one is shown in, by how much the last third may be above the middle third (a share of it, and so much
# more), and by how much what is left at the end may be above what was there before: None where that proves nothing, because
# the heap keeps for later what it got from the system. Which decoder holds how much just then is left to chance.
LINES = [
    ("resident_kib", "Memory of the process, MiB", 1024, 0.05, 2, None),
    ("allocated_kib", "Of it allocated, MiB", 1024, 0.05, 1, 256),
    ("descriptors", "Open descriptors", 1, 0.05, 2, 0),
    ("threads", "Threads", 1, 0.05, 2, 0),
    ("children", "Child processes", 1, 0.05, 2, 0),
]
WIDTH, HEIGHT, LEFT, TOP, ROW, GAP = 900, 700, 70, 44, 102, 24


def thirds(rows, column):
    """The means of the middle and of the last third."""
    end = rows[-1]["seconds"]
    rows = [row for row in rows if row["seconds"] >= WARM_UP * end]
    bounds = [end * (WARM_UP + (1 - WARM_UP) * part / 3) for part in (1, 2)]
    middle = [row[column] for row in rows if bounds[0] <= row["seconds"] < bounds[1]]
    last = [row[column] for row in rows if row["seconds"] >= bounds[1]]
    return mean(middle), mean(last)


def judge(before, rows, after):
    """What is said of each line, and whether all are flat."""
    texts, flat = {}, True
    for column, title, unit, share, more, left in LINES:
        middle, last = (value / unit for value in thirds(rows, column))
        limit = middle * (1 + share) + more
        good = last <= limit
        text = f"middle third {middle:.1f}, last third {last:.1f} (at most {limit:.1f})"
        if left is not None:
            good = good and after[column] <= before[column] + left
            text += f", before {before[column] / unit:.4g}, after {after[column] / unit:.4g}"
        texts[column] = text + ("" if good else "  NOT FLAT")
        flat = flat and good
        print(f"{title}: {texts[column]}")
    return texts, flat


def points(rows, column, unit, top, most):
    end = rows[-1]["seconds"]
    for row in rows:
        x = LEFT + (WIDTH - LEFT - 20) * row["seconds"] / end
        yield f"{x:.1f},{top + ROW - ROW * row[column] / unit / most:.1f}"


def draw(before, rows, after, texts):
    minutes = rows[-1]["seconds"] / 60
    counts = f"{after['opens']:,.0f} opens, {after['seeks']:,.0f} seeks, {after['tag_jobs']:,.0f} tag jobs"
    yield f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">'
    yield '<rect width="100%" height="100%" fill="white"/>'
    yield f'<text x="{LEFT}" y="24" font-size="16">64 decoders side by side for {minutes:.0f} minutes: {counts}</text>'
    for index, (column, title, unit, _, _, _) in enumerate(LINES):
        top = TOP + index * (ROW + GAP)
        most = 1.25 * max(row[column] for row in rows) / unit or 1
        yield f'<rect x="{LEFT}" y="{top}" width="{WIDTH - LEFT - 20}" height="{ROW}" fill="#f4f6f8"/>'
        for value in (0, most / 2, most):
            y = top + ROW - ROW * value / most
            yield f'<path d="M{LEFT} {y:.1f}H{WIDTH - 20}" stroke="#d0d5da"/>'
            yield f'<text x="{LEFT - 6}" y="{y + 4:.1f}" text-anchor="end" fill="#555">{value:.0f}</text>'
        line = " ".join(points(rows, column, unit, top, most))
        yield f'<polyline points="{line}" fill="none" stroke="#1f5f99" stroke-width="1.2"/>'
        yield f'<text x="{LEFT + 8}" y="{top + 15}"><tspan font-weight="bold">{escape(title)}</tspan> {escape(texts[column])}</text>'
    bottom = TOP + len(LINES) * (ROW + GAP) - GAP
    for part in range(6):
        x = LEFT + (WIDTH - LEFT - 20) * part / 5
        yield f'<text x="{x:.0f}" y="{bottom + 16}" text-anchor="middle" fill="#555">{minutes * part / 5:.3g} min</text>'
    yield "</svg>"


def main(figures, picture=None):
    with open(figures, newline="", encoding="utf-8") as file:
        table = [{name: value if name == "phase" else float(value) for name, value in row.items()} for row in csv.DictReader(file)]
    if [table[0]["phase"], table[-1]["phase"]] != ["before", "after"] or len(table) < 20:
        print(f"{figures} isn't whole", file=sys.stderr)
        return 1
    before, *rows, after = table
    texts, flat = judge(before, rows, after)
    print(f"{after['opens']:.0f} opens, {after['seeks']:.0f} seeks, {after['tag_jobs']:.0f} tag jobs in {after['seconds']:.0f} seconds: "
          + ("flat lines" if flat else "something grows"))  # fmt: skip
    if picture:
        with open(picture, "w", encoding="utf-8") as file:
            file.writelines(f"{line}\n" for line in draw(before, rows, after, texts))
    return int(not flat)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
