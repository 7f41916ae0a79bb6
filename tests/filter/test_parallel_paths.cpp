// Threaded and vector paths of the filter family give the scalar one-thread
// bytes, on shapes that leave vector tails and stripe edges.
#include <vector>

#include <gtest/gtest.h>

#include "support/all_paths.h"
#include "support/test_util.h"
#include "tarvo/ip/integral.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace {

const int kDepths[] = {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble};

TEST(ParallelPaths, IntegralTablesInStripes) {
    struct Shape {
        int rows, cols, cn;
    } shapes[] = {{1, 150001, 1}, {140001, 1, 1}, {311, 467, 1}, {173, 301, 3}, {129, 263, 4}};
    for (const Shape& sh : shapes) {
        for (int depth : kDepths) {
            // Wide value ranges: float sums round differently in any other
            // order, int sums wrap.
            Mat src =
                test::randomMat(sh.rows, sh.cols, MAKETYPE(depth, sh.cn), 3u + depth, -1e7, 1e7);
            if (depth == MAT_Tint)
                for (int r = 0; r < sh.rows; r += 2) src.ptr<int>(r)[0] = 2000000000;
            const std::string tag = "depth " + std::to_string(depth) + " " +
                                    std::to_string(sh.rows) + "x" + std::to_string(sh.cols) + "x" +
                                    std::to_string(sh.cn);
            test::onEveryPath([&](Mat& d) { ip::integralImage(src, d); }, "sum " + tag);
            test::onEveryPath([&](Mat& d) { ip::integralSquareImage(src, d); }, "sqsum " + tag);
            Mat sqRef;
            const Mat sumRef = test::onEveryPath(
                [&](Mat& d) {
                    Mat sq;
                    ip::integralImage(src, d, sq);
                    if (sqRef.empty()) sqRef = sq;
                    EXPECT_TRUE(test::sameBytes(sq, sqRef)) << "pair " << tag;
                },
                "pair " + tag);
            ASSERT_EQ(sumRef.rows(), sh.rows + 1);
        }
    }
}

}  // namespace
}  // namespace tarvo
