// The corner-to-corner bilinear scaler shared by the pyramid builder and the
// resize front end (code 0) for short, int, float and double images.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Scales src into dst, which the caller has created with the wanted size and
// src's type. Corner pixels map onto corner pixels: the step along x is
// (srcCols - 1) / (dstCols - 1) in double (0 for a one-column target), and
// likewise along y. Positions advance by repeated addition of the step; each
// output blends its four neighbours with float fractions (double for int and
// double elements) and the element cast truncates. Returns false, leaving dst
// untouched, for empty images, a type mismatch or a byte image (bytes have
// their own averaging scaler).
TARVO_EXPORTS bool scaleXYBilinear(const Mat& src, Mat& dst);

}  // namespace detail
}  // namespace tarvo
