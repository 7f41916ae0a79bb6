// Slow, obvious grey-level morphology used as the reference of the
// morphology tests: every output element folds min or max over the set
// entries of the element, reading the source through the border rule.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// out(y, x, c) = min (erode) or max (dilate) over set entries (i, j) of
// element (non-zero in channel 0) of P(y + j - ay, x + i - ax, c), where P
// reads src through border mode (0 fill with `fill`, 1 clamp, 2 mirror, 3
// wrap, 4 mirror without the edge). 16-bit values compare as unsigned when
// unsigned16 is set. Values compare as doubles (no NaN or signed zeros in
// the inputs). The result has src's type; fill must be representable in it.
Mat naiveMorph(const Mat& src, const Mat& element, int ax, int ay, bool erode, int mode,
               double fill, bool unsigned16 = false);

}  // namespace test
}  // namespace tarvo
