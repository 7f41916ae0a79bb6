// Slow references for the transform and matching tests: the direct Fourier
// sum in long double, the direct cosine sum, and brute-force correlation.
#pragma once

#include <complex>
#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

using CLD = std::complex<long double>;

// Direct 2-D transform of a rows x cols complex grid (row-major), sign -1
// forward, +1 inverse (unscaled).
std::vector<CLD> naiveDft2(const std::vector<CLD>& in, int rows, int cols, int sign);

// One- or two-channel float/double matrix as a complex grid.
std::vector<CLD> toComplex(const Mat& m);

// Orthonormal type-II cosine transform of a row-major grid, rows then columns
// (rows == 1 gives the one-dimensional transform).
std::vector<long double> naiveDct2(const std::vector<long double>& in, int rows, int cols);

// corr(y, x) = sum over channels c and template (j, i) of
// image(y + j - ay, x + i - ax, c) * templ(j, i, tc), with the border read by
// borderInterpolate (fill mode reads 0); tc = c, or 0 for a one-channel template.
// Result: rows x cols x (sumChannels ? 1 : image channels), row-major, long double.
std::vector<long double> naiveCorrelate(const Mat& image, const Mat& templ, int rows, int cols,
                                        int ax, int ay, int border, bool sumChannels);

// Brute-force matchTemplate score for the six modes (one-channel result, row-major),
// channels summed; window statistics straight from the pixels.
std::vector<double> naiveMatch(const Mat& image, const Mat& templ, int mode);

}  // namespace test
}  // namespace tarvo
