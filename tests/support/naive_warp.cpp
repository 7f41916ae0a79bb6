#include "support/naive_warp.h"

#include <cmath>

#include "support/test_util.h"

namespace tarvo {
namespace test {

double naiveBilinear32(const Mat& src, double x, double y, int k) {
    const double gx = std::floor(x * 32.0 + 0.5) / 32.0, gy = std::floor(y * 32.0 + 0.5) / 32.0;
    const double x0 = std::floor(gx), y0 = std::floor(gy), fx = gx - x0, fy = gy - y0;
    auto px = [&](double xx, double yy) {
        const int cx = xx < 0 ? 0 : xx > src.cols() - 1 ? src.cols() - 1 : int(xx);
        const int cy = yy < 0 ? 0 : yy > src.rows() - 1 ? src.rows() - 1 : int(yy);
        return at(src, cy, cx, k);
    };
    return (1 - fx) * (1 - fy) * px(x0, y0) + fx * (1 - fy) * px(x0 + 1, y0) +
           (1 - fx) * fy * px(x0, y0 + 1) + fx * fy * px(x0 + 1, y0 + 1);
}

void rotationMaps(int rows, int cols, int srcRows, int srcCols, double degrees, Mat& mapx,
                  Mat& mapy) {
    mapx.create(rows, cols, MAT_Tfloat);
    mapy.create(rows, cols, MAT_Tfloat);
    const double a = degrees * 3.14159265358979323846 / 180.0, c = std::cos(a), s = std::sin(a);
    const double cx = (cols - 1) / 2.0, cy = (rows - 1) / 2.0;
    const double sx = (srcCols - 1) / 2.0, sy = (srcRows - 1) / 2.0;
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) {
            const double dx = x - cx, dy = y - cy;
            mapx.ptr<float>(y)[x] = float(sx + c * dx + s * dy);
            mapy.ptr<float>(y)[x] = float(sy - s * dx + c * dy);
        }
}

}  // namespace test
}  // namespace tarvo
