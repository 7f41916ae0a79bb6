#!/usr/bin/env python3
"""Shapes in the sample picture: Canny edges, their outer contours, and for
each larger one a simplified polygon, its convex hull, the smallest rotated
rectangle and a fitted ellipse. Writes the edge map and the outlines as PNGs
and prints one line per shape.

    PYTHONPATH=build/python python3 examples/python/shapes.py [picture] [out-dir]
"""

import os
import sys

import numpy as np

import tarvo

ip = tarvo.ip

here = os.path.dirname(os.path.abspath(__file__))
src = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "..", "data", "coffee.png")
out = sys.argv[2] if len(sys.argv) > 2 else "shapes-out"
os.makedirs(out, exist_ok=True)

grey = tarvo.RGBtoGray(tarvo.imread(src))
smooth = ip.gaussian(grey, 1.5)
# Canny on each gradient alone, joined: each suppresses along one axis, so
# slanted outlines stay closed (as `tarvo shapes` traces them).
edges = np.maximum(ip.canny(smooth, 40, 120, 1), ip.canny(smooth, 40, 120, 2))
contours = ip.findContours(edges, ip.RetrExternal, ip.ChainApproxNone)  # (n, 2) int32 each

outlines = np.zeros_like(grey)
shown = 0
for c in contours:
    if len(c) < 80:
        continue
    poly = ip.approxPolyDP(c, 3.0, True)      # tolerance in pixels
    hull = ip.convexHull(c)
    box = ip.minAreaRect(c)                   # tarvo.RotatedRect named tuple
    ell = ip.fitEllipse(c)
    for a, b in zip(poly, np.roll(poly, -1, axis=0)):   # draw the closed polygon
        line = ip.bresenham(tuple(a), tuple(b))
        outlines[line[:, 1], line[:, 0]] = 255
    print(f"shape {shown}: {len(c)} border points, {len(poly)} vertices, hull {len(hull)}, "
          f"box {box.width:.1f} x {box.height:.1f} at ({box.cx:.1f}, {box.cy:.1f}), "
          f"ellipse {ell.width:.1f} x {ell.height:.1f}, area {abs(ip.contourArea(c)):.0f}")
    shown += 1

tarvo.imwrite(os.path.join(out, "edges.png"), edges)
tarvo.imwrite(os.path.join(out, "polygons.png"), outlines)
print(f"{shown} shapes of {len(contours)} outer contours; pictures in {out}/")
