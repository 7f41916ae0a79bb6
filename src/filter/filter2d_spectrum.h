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
// destinations: the measured break-even with the vectorised direct sum on
// byte pictures when no pixel needs recomputing (1080p: 25 x 25 direct 27 ms,
// spectrum 37 ms; 33 x 33 direct 46 ms, spectrum 36 ms; one thread).
constexpr int kFilter2DIntegerTaps = 870;

// A recomputed pixel costs about this many times a tap of the vectorised
// direct sum (measured), which bounds the share of pixels near a rounding
// step that still leaves the spectrum route faster.
constexpr double kFilter2DRecomputeCost = 50.0;

// Filters src into dst (already created with its final type) through the
// spectrum when the route rules choose it; returns false, dst untouched, when
// the direct sum must run. mode is the border mode without the isolated bit.
bool filter2DSpectrum(const Mat& src, Mat& dst, const Mat& kernel, Point2_<int> anchor,
                      double delta, int mode);

}  // namespace detail
}  // namespace tarvo
