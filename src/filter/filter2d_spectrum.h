// The spectrum route of filter2D: large kernels correlate tile by tile
// through the Fourier transform instead of tap by tap.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Route choice of filter2D: 0 automatic (the default), 1 always the direct
// sum, 2 the spectrum whenever the input allows it (finite values, a depth
// pair the direct route serves). For tests and benchmarks; set it between calls.
TARVO_EXPORTS void setFilter2DRoute(int route);
TARVO_EXPORTS int filter2DRoute();

// Smallest kernel (rows * cols) that takes the spectrum route for integer
// destinations, set at the measured break-even with the direct sum.
constexpr int kFilter2DIntegerTaps = 50;

// Filters src into dst (already created with its final type) through the
// spectrum when the route rules choose it; returns false, dst untouched, when
// the direct sum must run. mode is the border mode without the isolated bit.
bool filter2DSpectrum(const Mat& src, Mat& dst, const Mat& kernel, Point2_<int> anchor,
                      double delta, int mode);

}  // namespace detail
}  // namespace tarvo
