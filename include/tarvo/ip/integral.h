// Summed-area tables, the 5-tap image pyramid and border padding.
//
// Integral tables have one row and one column more than the source; row 0 and
// column 0 are zero, and entry (y, x) holds the sum of the source over the
// rows above y and the columns left of x. Multi-channel sources give tables
// with the same channel count, one independent table per channel.
//
// Element types of the tables: byte and int sources give int sums (depth 3);
// short, float and double sources give double sums (depth 5). Square sums are
// always double. Int sums are computed modulo 2^32, so a box sum read back
// with sumIntegralImage is exact whenever the box's true sum fits in an int,
// even when the running table has wrapped.
//
// The tilted (45 degree) table T has the same size and element type as the
// upright one:
//   T(y, x) = sum of src(y', x') over y' < y and |x' - x + 1| <= y - y' - 1,
// i.e. the sum over the upward-opening triangle whose apex is the source pixel
// (y - 1, x - 1). Worked example, source [[1, 2], [3, 4]]:
//   T row 0 = 0 0 0
//   T row 1 = 0 1 2      (apex in row 0 only: T(1, x) = src(0, x - 1))
//   T row 2 = 1 6 7      (T(2, 1) = 3 + (1 + 2); T(2, 2) = 4 + (1 + 2); T(2, 0) = 1)
#pragma once

#include "tarvo/export.h"
#include "tarvo/matptrlist.h"
#include "tarvo/mat.h"
#include "tarvo/types.h"

namespace tarvo {
namespace ip {

// Upright sum table of src into sum ((rows + 1) x (cols + 1), int for byte/int
// sources, double otherwise). An empty source leaves sum unchanged.
TARVO_EXPORTS void integralImage(const Mat& src, Mat& sum);

// Sum table and square-sum table (double) of src. An empty source leaves both unchanged.
TARVO_EXPORTS void integralImage(const Mat& src, Mat& sum, Mat& sqsum);

// Sum, tilted-sum (see the top of this header) and square-sum tables of src.
// Every depth is served; an empty source leaves all three unchanged.
TARVO_EXPORTS void integralImage(const Mat& src, Mat& sum, Mat& tilted, Mat& sqsum);

// Square-sum table alone, in double, for any depth and channel count.
// An empty source leaves sqsum unchanged.
TARVO_EXPORTS void integralSquareImage(const Mat& src, Mat& sqsum);

// Sum and tilted-sum tables of src. An empty source leaves both unchanged.
TARVO_EXPORTS void integralTiltedImage(const Mat& src, Mat& sum, Mat& tilted);

// Sum of the source over r (x, y, width, height in source pixels) read from an
// upright or tilted table's channel 0: sum[y][x] + sum[y+h][x+w] - sum[y][x+w]
// - sum[y+h][x]. Int tables use (wrapping) int arithmetic, double tables
// double. Other depths, negative sizes or corners outside the table give 0.0.
TARVO_EXPORTS double sumIntegralImage(const Mat& sum, const Rect_<int>& r);

// Gaussian 5-tap (1 4 6 4 1)^2 / 256 smoothing and halving. A non-positive
// size component means ((cols + 1) / 2, (rows + 1) / 2). Byte, short, float and
// double sources, any channel count; borderType 0..4 (bit 16 ignored; 0 reads
// zeros outside). Int sources, empty sources, other border codes and sizes over
// 256 times the source's area plus 2^24 pixels leave dst unchanged.
TARVO_EXPORTS void pyrDown(const Mat& src, Mat& dst, const Size_<int>& size = Size_<int>(),
                           int borderType = BorderMirrorNoEdge);

// Doubling with the 5-tap kernel times 4 (even outputs 1 6 1, odd 4 4 per
// axis, / 64). A non-positive size component means (2 cols, 2 rows). Columns
// past the edges always mirror without repeating the edge; rows follow
// borderType 0..4 (bit 16 ignored; 0 reads zero rows). Depths and refusals as pyrDown.
TARVO_EXPORTS void pyrUp(const Mat& src, Mat& dst, const Size_<int>& size = Size_<int>(),
                         int borderType = BorderMirrorNoEdge);

// Pads src by the given margins into dst (same type). borderType 1..4 repeats
// source samples by that rule; 0 fills with value (channel k takes value[k],
// channels beyond 4 repeat the first four); bit 16 is ignored. dst may be src.
// Negative margins, an empty source, an unknown code or an output over 256
// times the source's area plus 2^24 pixels leave dst unchanged.
TARVO_EXPORTS void copyMakeBorder(const Mat& src, Mat& dst, int top, int bottom, int left,
                                  int right, int borderType,
                                  const Point4_<double>& value = Point4_<double>());

// Float image pyramid for the interest-region detectors. Level 0 is src in
// float (scale 1); there are (int)(log(min(cols, rows) / minSize) /
// log(scaleFactor)) + 1 levels (float arithmetic), level i being level 0 scaled
// by the corner-to-corner bilinear scaler to ((int)(cols / s), (int)(rows / s))
// with s = scaleFactor^i, and list.getScale(i) = s. A 64 x 64 source with
// minSize 18 and factor 1.2 gives 64, 53, 44, 37, 30, 25, 21.
// When the list already holds a pyramid whose level 0 has src's size, its
// frames are refreshed in place (no allocation). A source below minSize gives
// level 0 alone; an empty source, minSize < 1 or a factor not above 1 give
// level 0 alone as well, except that an empty source empties the list.
TARVO_EXPORTS void createPyramid(const Mat& src, MatPtrList& list, int minSize, float scaleFactor);

// As above, but the pyramid starts from the scale at which an object of
// minObjectWidth x minObjectHeight pixels fills a detector window of
// winWidth x winHeight: s0 = min(minObjectWidth / winWidth,
// minObjectHeight / winHeight) in float. Level i is src reduced by
// s0 * scaleFactor^i (s0 below 1 enlarges level 0), and getScale(i) gives that
// reduction. Non-positive window or object sizes, or an empty source, leave the
// list empty.
TARVO_EXPORTS void createPyramid(const Mat& src, MatPtrList& list, int minSize, float scaleFactor,
                                 int winWidth, int winHeight, int minObjectWidth,
                                 int minObjectHeight);

}  // namespace ip
}  // namespace tarvo
