// Planning and building of the scale pyramid of the interest-region
// extractors: level 0 is the source in float, every further level is made
// from level 0 by resize code 0 (the corner-to-corner bilinear scaler).
#pragma once

#include <vector>

#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

struct PyramidLevel {
    Size_<int> size;
    float scale;  // reduction factor of the level against level 0
};

// Levels for a cols x rows source down to a smallest side of minSize, each
// scaleFactor times smaller than the one before. The count is
// (int)(log(min(cols, rows) / minSize) / log(scaleFactor)) + 1 in float; level
// i has the scale scaleFactor^i (a running float product) and the size
// ((int)(cols / s), (int)(rows / s)). A source already below minSize, a
// minSize below 1 or a factor not above 1 give level 0 alone; an empty source
// gives no level.
// The work is bounded by the request: at most kMaxPyramidLevels levels, and
// the levels' areas together at most kMaxPyramidAreaFactor times level 0's;
// the plan stops before the first level that would break either bound.
constexpr int kMaxPyramidLevels = 256;
constexpr long long kMaxPyramidAreaFactor = 32;
TARVO_EXPORTS std::vector<PyramidLevel> planPyramid(int cols, int rows, int minSize,
                                                    float scaleFactor);

// Makes one level of the given size from a float level 0. False (out left
// as it was) when level0 is not a float image or size is empty.
TARVO_EXPORTS bool makePyramidLevel(const Mat& level0, Mat& out, Size_<int> size);

}  // namespace detail
}  // namespace tarvo
