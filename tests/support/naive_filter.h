// Slow, obvious correlation used as the reference of the filter tests.
#pragma once

#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// Source index of p on a line of len samples under border mode (1 clamp, 2
// mirror, 3 wrap, 4 mirror without the edge), written as periodic extensions
// independent of the library; -1 for fill (0) and unknown modes.
int sampleIndex(int p, int len, int mode);

// out(y, x, c) = delta + sum over (j, i) of k[j * kw + i] * P(y + j - ay, x + i - ax, c)
// in double, where P reads src through the border rule of `mode` (0 fill with
// zeros, 1 clamp, 2 mirror, 3 wrap, 4 mirror without the edge). 16-bit
// sources are read as unsigned when unsigned16 is set. The result is a double
// matrix with src's size and channels.
Mat naiveCorrelate(const Mat& src, const std::vector<double>& k, int kw, int kh, int ax, int ay,
                   double delta, int mode, bool unsigned16 = false);

// The outer product column x row of two one-dimensional kernels, row-major.
std::vector<double> outerKernel(const std::vector<double>& row, const std::vector<double>& col);

}  // namespace test
}  // namespace tarvo
