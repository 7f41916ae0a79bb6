"""tarvo: the tarvoip image library on numpy arrays.

Images are numpy arrays of shape (rows, cols) or (rows, cols, channels) with
dtype uint8, int16, int32, float32 or float64; colour pixels are R, G, B.
Arrays whose pixels are contiguous within each row are used in place, without
a copy; results are arrays over the library's own pixels, again without a
copy.

    import tarvo
    img = tarvo.imread("coffee.png")
    edges = tarvo.ip.canny(tarvo.ip.gaussian(img, 1.5), 40, 120)
    tarvo.imwrite("edges.png", edges)

The functions of tarvo.ip carry the C++ names letter for letter and take
f(src, ..., dst=None): they return the destination, or a tuple with the C++
return value first. help(tarvo.ip.<name>) tells the arguments, their units
and ranges, and what a refused input gives. Misuse (a dtype the library has no
element type for, an impossible shape, a dst that does not fit) raises
TypeError or ValueError; every call releases the GIL.

Kept in C++ only for now: the filter engine and its stage factories
(FilterEngine, createLinearFilter, createSeparableLinearFilter,
createMorphologyFilter, getLinear*/getMorphology* stages), the operator and
filter classes (ipColorize and the other ip* pumps, GaussianFilter,
GaussianDiffFilter, DoGFilter, Sobel, ScaleXY), and the raw-pointer forms
(edgeOrientaitonField with a strength table).
"""

from collections import namedtuple as _namedtuple

from . import _tarvo
from ._tarvo import *  # noqa: F401,F403  imread, imwrite, RGBtoGray, constants
from ._tarvo import ip  # noqa: F401

Rect = _namedtuple("Rect", "x y width height")
Rect.__doc__ = "Rectangle in pixels: left column x, top row y, width, height."
Point = _namedtuple("Point", "x y")
Point.__doc__ = "Pixel position: column x, row y."
Size = _namedtuple("Size", "width height")
Size.__doc__ = "Image size: width (columns), height (rows)."

__all__ = [n for n in dir(_tarvo) if not n.startswith("_")] + ["Rect", "Point", "Size"]
