// The routines of the simple scaler (resize code 0): the byte averaging
// scaler and the corner-to-corner bilinear scaler for the other depths.
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

// The byte scaler (any channel count) into dst, created by the caller with
// the wanted size and src's type. Output row y averages source row
// sy = rows * y / dstRows with row sy + 1 when the row span
// rows * (y + 1) / dstRows - sy is at least 2. Along the row the source column
// advances by cols / dstCols, the remainder cols % dstCols being carried in an
// accumulator: when the accumulator reaches dstCols (and the pixel is not the
// last of the row) columns sx and sx + 1 are averaged, the accumulator drops
// by dstCols and sx moves one further. Sums are shifted right (truncated).
// False, dst untouched, for empty images, a type mismatch, shared storage or
// a non-byte image.
TARVO_EXPORTS bool scaleXYByte(const Mat& src, Mat& dst);

}  // namespace detail
}  // namespace tarvo
