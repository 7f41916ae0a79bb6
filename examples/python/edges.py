#!/usr/bin/env python3
"""Edges of the sample picture: Gaussian smoothing, Canny, a threshold and an
erosion, each written as a PNG.

    PYTHONPATH=build/python python3 examples/python/edges.py [picture] [out-dir]
"""

import os
import sys

import tarvo

ip = tarvo.ip

here = os.path.dirname(os.path.abspath(__file__))
src = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "..", "data", "coffee.png")
out = sys.argv[2] if len(sys.argv) > 2 else "edges-out"
os.makedirs(out, exist_ok=True)

img = tarvo.imread(src)                       # uint8, (rows, cols, 3), R G B
grey = tarvo.RGBtoGray(img)                   # uint8, (rows, cols)
smooth = ip.gaussian(grey, 1.5)               # sigma in pixels
edges = ip.canny(smooth, 40, 120)             # 255 on edges
level, binary = ip.Threshold(smooth, 0, 255, ip.ThreshBinary | ip.ThreshOtsuBit)
element = ip.getStructuringElement(ip.MorphEllipse, (5, 5))
eroded = ip.erode(binary, element)

for name, picture in [("smooth", smooth), ("edges", edges), ("binary", binary),
                      ("eroded", eroded)]:
    tarvo.imwrite(os.path.join(out, name + ".png"), picture)
print(f"{img.shape[1]} x {img.shape[0]}: Otsu level {level:.0f}, "
      f"{int((edges > 0).sum())} edge pixels; pictures in {out}/")
