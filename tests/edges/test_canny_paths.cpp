// The edge detector's row stripes and vector rows reproduce the one-thread
// scalar detector exactly, including edges that cross stripe boundaries.
#include <cmath>

#include <gtest/gtest.h>

#include "support/all_paths.h"
#include "support/reference_canny.h"
#include "support/test_util.h"
#include "tarvo/ip/edges.h"

namespace tarvo {
namespace {

// Smooth blobs and ramps with noise: long edges that run across many rows,
// so hysteresis must carry them over every stripe boundary.
Mat blobs(int rows, int cols, int cn, uint32_t seed) {
    Mat m = test::randomMat(rows, cols, MAKETYPE(MAT_Tuchar, cn), seed);
    for (int y = 0; y < rows; y++) {
        unsigned char* p = m.ptr<unsigned char>(y);
        for (int x = 0; x < cols; x++)
            for (int k = 0; k < cn; k++) {
                const double v =
                    128 + 90 * std::sin(x * 0.05 + k) * std::cos(y * 0.07) + (p[x * cn + k] & 15);
                p[x * cn + k] = (unsigned char)std::max(0.0, std::min(255.0, v));
            }
    }
    return m;
}

TEST(CannyPaths, StripesAndVectorsMatchTheSerialDetector) {
    struct Shape {
        int rows, cols, cn;
    } shapes[] = {{1, 57, 1},  {57, 1, 1},    {3, 41, 3},    {41, 3, 1},
                  {67, 45, 4}, {331, 419, 1}, {211, 333, 3}, {187, 263, 4}};
    for (const Shape& sh : shapes) {
        const Mat src = blobs(sh.rows, sh.cols, sh.cn, 7u + sh.cols);
        for (int mode : {0, 1, 2}) {
            for (float lo : {20.f, 90.f}) {
                const float hi = lo * 3;
                const std::string tag = std::to_string(sh.rows) + "x" + std::to_string(sh.cols) +
                                        "x" + std::to_string(sh.cn) + " mode " +
                                        std::to_string(mode) + " low " + std::to_string(lo);
                const Mat got =
                    test::onEveryPath([&](Mat& d) { ip::canny(src, d, lo, hi, mode); }, tag);
                EXPECT_TRUE(test::sameBytes(got, test::referenceCanny(src, lo, hi, mode))) << tag;
            }
        }
    }
}

}  // namespace
}  // namespace tarvo
