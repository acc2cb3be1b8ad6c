#!/usr/bin/env python3
"""Draws what `events_bench --soak MINUTES` has printed: soak_plot.py < OUTPUT > PLOT.svg. Memory of the process, one point for each line of the soak."""

import re
import sys

WIDTH, HEIGHT, LEFT, BOTTOM = 640, 220, 56, 32

kilobytes = [int(found[1]) for found in re.finditer(r"soak: (\d+) KB", sys.stdin.read())]
if len(kilobytes) < 2:
    sys.exit("There is no soak in this output.")
top = max(kilobytes) * 1.25
step = (WIDTH - LEFT - 8) / (len(kilobytes) - 1)


def y_of(value):
    return HEIGHT - BOTTOM - value / top * (HEIGHT - BOTTOM - 12)


points = " ".join(f"{LEFT + i * step:.1f},{y_of(value):.1f}" for i, value in enumerate(kilobytes))
print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="11">')
print(f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>')
for megabytes in range(0, int(top / 1024) + 1, 25):
    y = y_of(megabytes * 1024)
    print(f'<line x1="{LEFT}" x2="{WIDTH - 8}" y1="{y:.1f}" y2="{y:.1f}" stroke="#dddddd"/>')
    print(f'<text x="{LEFT - 6}" y="{y + 4:.1f}" text-anchor="end">{megabytes} MB</text>')
print(f'<polyline points="{points}" fill="none" stroke="#1f6feb" stroke-width="2"/>')
print(f'<text x="{LEFT}" y="{HEIGHT - 10}">start</text><text x="{WIDTH - 8}" y="{HEIGHT - 10}" text-anchor="end">end of the soak</text>')
print("</svg>")
