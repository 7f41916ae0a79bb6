// The vector kernels of the outline, luminance and table paths under every
// instruction set compiled in, against the scalar code.
#include <vector>

#include <gtest/gtest.h>

#include "support/vector_targets.h"
#include "support/test_util.h"
#include "tarvo/ip/photo.h"
#include "tarvo/parallel.h"

using namespace tarvo;

TEST(PhotoTargets, EveryInstructionSetMatchesScalarCode) {
    // Widths below and above one vector and one 256-pixel conversion chunk.
    std::vector<Mat> srcs;
    uint32_t seed = 90;
    for (int cn : {1, 2, 3, 4})
        for (int cols : {7, 301})
            srcs.push_back(test::randomMat(13, cols, MAT_Tuchar + ((cn - 1) << 3), seed++));
    const auto all = [&] {
        std::vector<Mat> out;
        for (const Mat& s : srcs) {
            Mat d;
            ip::sketch(s, d, 37);
            out.push_back(d);
            ip::roughSketch(s, d);
            out.push_back(d);
            ip::exposure(s, d, 30);
            out.push_back(d);
            if (s.channels() == 2) continue;
            ip::bloom(s, d, 0.2f, 0.4f);
            out.push_back(d);
            if (s.channels() == 4) continue;
            ip::level(s, d, 20, 230, 1);
            out.push_back(d);
            ip::histogramStretch(s, d, 0);
            out.push_back(d);
        }
        return out;
    };
    detail::setUseOptimized(false);
    const std::vector<Mat> refs = all();
    detail::setUseOptimized(true);
    const int tried = test::onEveryVectorTarget([&](const char* target) {
        const std::vector<Mat> got = all();
        for (size_t k = 0; k < got.size(); k++)
            EXPECT_TRUE(test::matEqual(got[k], refs[k])) << target << " run " << k;
    });
    EXPECT_GT(tried, 0);
}
