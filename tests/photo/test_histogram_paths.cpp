// The histogram operators count and scan in stripes: every thread count and
// the scalar switch give the same bytes, on shapes with ragged stripes.
#include <gtest/gtest.h>

#include "support/all_paths.h"
#include "support/test_util.h"
#include "tarvo/ip/photo.h"

namespace tarvo {
namespace {

TEST(HistogramPaths, StripedCountsAndExtremes) {
    struct Shape {
        int rows, cols, cn;
    } shapes[] = {{1, 70001, 1}, {70001, 1, 1}, {389, 401, 1}, {233, 317, 3}, {1, 9, 3}};
    for (const Shape& sh : shapes) {
        // Few levels used, unevenly: equalise and stretch depend on the tails.
        Mat src = test::randomMat(sh.rows, sh.cols, MAKETYPE(MAT_Tuchar, sh.cn), 17u + sh.cols);
        for (int y = 0; y < sh.rows; y++) {
            unsigned char* p = src.ptr<unsigned char>(y);
            for (int i = 0; i < sh.cols * sh.cn; i++) p[i] = (unsigned char)(40 + (p[i] % 97) / 2);
        }
        src.ptr<unsigned char>(sh.rows - 1)[0] = 7;  // a lone extreme in the last stripe
        const std::string tag =
            std::to_string(sh.rows) + "x" + std::to_string(sh.cols) + "x" + std::to_string(sh.cn);
        const Mat eq =
            test::onEveryPath([&](Mat& d) { ip::histogramEqualize(src, d); }, "equalise " + tag);
        if (sh.cn == 1) {
            // Grey equalisation from a plain count.
            long long cum[256] = {};
            for (int y = 0; y < sh.rows; y++)
                for (int x = 0; x < sh.cols; x++) cum[src.ptr<unsigned char>(y)[x]]++;
            for (int k = 1; k < 256; k++) cum[k] += cum[k - 1];
            for (int y = 0; y < sh.rows; y++)
                for (int x = 0; x < sh.cols; x++) {
                    const int v = src.ptr<unsigned char>(y)[x];
                    ASSERT_EQ(eq.ptr<unsigned char>(y)[x],
                              (cum[v] - cum[0]) * 255 / (cum[255] - cum[0]))
                        << tag;
                }
        }
        test::onEveryPath([&](Mat& d) { ip::histogramNormalize(src, d); }, "normalise " + tag);
        test::onEveryPath([&](Mat& d) { ip::histogramLog(src, d); }, "log " + tag);
        for (int mode : {0, 1, 2})
            test::onEveryPath([&](Mat& d) { ip::histogramStretch(src, d, mode); },
                              "stretch " + std::to_string(mode) + " " + tag);
    }
}

}  // namespace
}  // namespace tarvo
