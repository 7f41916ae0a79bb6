// Slow, obvious median and direct convolution used as references: window
// loops written straight from the rules, with no shared code with the library.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// Median of byte, 16-bit or int images: window taps -n/2 .. n - n/2 - 1 (rows
// unless kind 2, columns unless kind 3), samples inside the image gathered,
// sorted, the one at index count / 2 taken.
Mat naiveMedian(const Mat& src, int n, int kind);

// Direct integer-kernel filter of a byte or float image, kind 0 (square), 2
// (horizontal) or 3 (vertical): offset + sum / divisor (bytes: integer
// quotient, clamped to 0..255; floats: float sum in tap order, / divisor, +
// offset). Kind 0 filters pixels with y - h > 0, x - h > 0 and the last tap
// inside; kinds 2 and 3 pixels whose taps all lie inside; the rest is copied.
Mat naiveConvolve(const Mat& src, const int* kernel, int n, int divisor, int offset, int kind);

}  // namespace test
}  // namespace tarvo
