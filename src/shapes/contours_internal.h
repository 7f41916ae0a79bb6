// The steps of the contour scanner, shared by ip::findContours and the other
// users of border following inside the library.
#pragma once

#include "tarvo/ip/shapes.h"

namespace tarvo {
namespace ip {
namespace detail {

// Sets up a scan of a contiguous byte image of width x height (row step =
// width): clears its frame, picks the sequence kinds of both stages and the
// storages. False when a storage cannot be made.
TARVO_EXPORTS bool beginContourScan(_ContourScanner* sc, signed char* img, int width, int height,
                                    MemStorage* storage, int headerSize, int mode, int method,
                                    Point2_<int> offset);
// The next border, or null at the end of the image.
TARVO_EXPORTS Sequence* nextContour(_ContourScanner* sc);
// Links the last border, releases the child storages; returns the first top-level border.
TARVO_EXPORTS Sequence* endContourScan(_ContourScanner* sc);

// Follows one border from ptr (modes without labels): marks it 2 / 130 and
// writes codes (method 0) or points into contour.
void traceBorder(signed char* ptr, int step, Point2_<int> pt, Sequence* contour, int method);
// As traceBorder with label nbd / nbd | 128, also giving the bounding rectangle.
void traceBorderLabelled(signed char* ptr, int step, Point2_<int> pt, Sequence* contour, int method,
                         int nbd, Rect_<int>* rect);
// Whether stopPtr lies on the border that starts at ptr.
bool isOnBorder(signed char* ptr, int step, const signed char* stopPtr, int isHole);
// Points of a chain (method 1 all, 2 turns, 3 / 4 dominant points) as a new
// point sequence of headerSize bytes in storage. Null for anything but a chain
// of code bytes, a header smaller than IPContour or another method.
TARVO_EXPORTS Sequence* polygonFromChain(const Chain* chain, int headerSize, MemStorage* storage,
                                         int method);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
