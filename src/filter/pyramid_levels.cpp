#include "filter/pyramid_levels.h"

#include <cmath>

#include "tarvo/ip/geometry.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {

std::vector<PyramidLevel> planPyramid(int cols, int rows, int minSize, float scaleFactor) {
    std::vector<PyramidLevel> levels;
    if (cols <= 0 || rows <= 0) return levels;
    levels.push_back({Size_<int>(cols, rows), 1.0f});
    if (minSize < 1 || !(scaleFactor > 1.0f) || !std::isfinite(scaleFactor)) return levels;
    const float ratio = float(cols < rows ? cols : rows) / float(minSize);
    const float logRatio = std::log(ratio);
    if (logRatio < 0.0f) return levels;
    const int count = truncInt(logRatio / std::log(scaleFactor)) + 1;
    float s = scaleFactor;
    const long long areaLimit = (long long)cols * rows * kMaxPyramidAreaFactor;
    long long area = (long long)cols * rows;
    for (int i = 1; i < count && i < kMaxPyramidLevels; i++) {
        const int w = truncInt(float(cols) / s), h = truncInt(float(rows) / s);
        if (w < 1 || h < 1) break;
        area += (long long)w * h;
        if (area > areaLimit) break;
        levels.push_back({Size_<int>(w, h), s});
        s *= scaleFactor;
    }
    return levels;
}

bool makePyramidLevel(const Mat& level0, Mat& out, Size_<int> size) {
    if (!level0.isValid() || level0.type() != MAT_Tfloat) return false;
    if (size.width <= 0 || size.height <= 0) return false;
    if (&out == &level0) return false;
    // Code 0 of resize is the corner-to-corner scaler for float images.
    ip::resize(level0, out, size.width, size.height, ip::ResizeScaleXY);
    return out.isValid() && out.isEqualSize(size) && out.type1() == level0.type1();
}

}  // namespace detail
}  // namespace tarvo
