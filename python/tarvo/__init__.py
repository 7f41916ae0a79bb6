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

Point lists are (n, 2) int32 arrays of (x, y) (float32 where a function has a
float form); rectangles and other small records are named tuples (Rect, Point,
Size, RotatedRect, ConnectInfo).

Meshes are ip.TriangleModel objects; feature files are read and written as
nested named tuples (readFeature, writeFeature, FeatureSet, FeatureVec).

Kept in C++ only for now: the filter engine and its stage factories
(FilterEngine, createLinearFilter, createSeparableLinearFilter,
createMorphologyFilter, getLinear*/getMorphology* stages), the operator and
filter classes (ipColorize, ipExposure, ipSketch and the other ip* pumps,
GammaCorrection, ipDenoise, ipFilter, ipMedian, ipHoughLines, GaussianFilter,
GaussianDiffFilter, DoGFilter, Sobel, ScaleXY, the transformation operators
ipTransformation, ipCrop, ipExpand, ipResample, ipRotate, ipSkew and
ipThumbnail, and ipCorner; ipNMS and MCEdgeExtractor are reached through
ip.ipNMS and ip.edgeChains, the transformation operators and ipCorner through
their free functions), the sequence store and the contour scanner records
(MemStorage, Sequence, Chain, IPContour, the scan steps), the raw-pointer
forms (edgeOrientaitonField with a strength table, approxPolyDP on a point
pointer, bresenham into malloc'ed arrays, convolve on Vec, getAffineTransform
on three-point pointers, sepConvSmall; getRectSubPixel is bound on an array),
the mesh model's XFile loader and TriangleList, the feature classes and
detector bases themselves (FeatureABC, FeatureDescriptor, FeatureFactory and
its registry, FeatureDescriptorArray, BlobABC, the interest-region records),
detectPeaks and its variants, and fitLine, which has no behaviour.
"""

from . import _tarvo
from ._tarvo import *  # noqa: F401,F403  imread, imwrite, RGBtoGray, constants, named tuples
from ._tarvo import ip  # noqa: F401

__all__ = [n for n in dir(_tarvo) if not n.startswith("_")]
