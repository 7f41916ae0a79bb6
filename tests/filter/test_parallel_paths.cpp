// Threaded and vector paths of the filter family give the scalar one-thread
// bytes, on shapes that leave vector tails and stripe edges.
#include <vector>

#include <gtest/gtest.h>

#include "support/all_paths.h"
#include "support/reference_morph.h"
#include "support/test_util.h"
#include "tarvo/ip/integral.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace {

const int kDepths[] = {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble};

TEST(ParallelPaths, IntegralTablesInStripes) {
    struct Shape {
        int rows, cols, cn;
    } shapes[] = {{1, 150001, 1}, {140001, 1, 1}, {311, 467, 1}, {173, 301, 3},
                  {129, 263, 4},  {61, 2053, 1},  {29, 1543, 3}};
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

// More threads than processors. Bright byte pictures tall enough that one
// thread's share of the column totals spans several hundred rows: partial sums
// near the top of their range must not wrap. Wide float pictures cut into more
// column blocks than can run at once: a block whose left neighbour has no
// processor yet must still start its rows from the same running sums.
TEST(ParallelPaths, IntegralOnAnyThreadCount) {
    std::vector<Mat> pictures;
    for (int cn : {1, 3}) {
        Mat src = test::randomMat(5003, 67, MAKETYPE(MAT_Tuchar, cn), 41u + cn);
        for (int y = 0; y < src.rows(); y++)
            for (int i = 0; i < src.rowByteSize(); i++)
                if (src.data.ptr[y][i] > 8) src.data.ptr[y][i] = 255;
        pictures.push_back(src);
        pictures.push_back(test::randomMat(83, 2311, MAKETYPE(MAT_Tfloat, cn), 7u + cn, -1e7, 1e7));
    }
    for (const Mat& src : pictures) {
        const Mat ref = test::onEveryPath([&](Mat& d) { ip::integralImage(src, d); });
        for (int threads : {3, 7}) {
            setNumThreads(threads);
            Mat out;
            ip::integralImage(src, out);
            EXPECT_TRUE(test::sameBytes(ref, out)) << src.cols() << " columns, " << src.channels()
                                                   << " channels, " << threads << " threads";
        }
        setNumThreads(0);
    }
}

// Mostly 0 and 255 with some other bytes, which count as "set" for dilation
// and "not set" for erosion.
Mat binaryPicture(int rows, int cols, int type, uint32_t seed) {
    Mat m = test::randomMat(rows, cols, type, seed);
    for (int y = 0; y < rows; y++) {
        unsigned char* p = m.data.ptr[y];
        for (int i = 0; i < m.rowByteSize(); i++) p[i] = p[i] < 40 ? 0 : p[i] < 235 ? 255 : p[i];
    }
    return m;
}

TEST(ParallelPaths, BinaryWindowMorphologyMatchesTheReference) {
    struct Shape {
        int rows, cols, type;
    } shapes[] = {{1, 77, MAT_Tuchar},   {77, 1, MAT_Tuchar},  {5, 6, MAT_Tuchar},
                  {41, 67, MAT_Tuchar3}, {37, 45, MAT_Tshort}, {311, 437, MAT_Tuchar},
                  {263, 519, MAT_Tuchar}};
    const int kernels[][2] = {{3, 3}, {0, 0}, {1, 5}, {7, 2}, {4, 4}, {11, 9}};
    for (const Shape& sh : shapes) {
        const Mat src = binaryPicture(sh.rows, sh.cols, sh.type, 9u + sh.cols);
        const Mat junk = test::randomMat(sh.rows, sh.cols, MAT_Tuchar, 2u + sh.rows);
        for (const auto& k : kernels)
            for (bool dilation : {false, true})
                for (bool reuse : {false, true}) {
                    const std::string tag =
                        std::to_string(sh.rows) + "x" + std::to_string(sh.cols) + " kernel " +
                        std::to_string(k[0]) + "x" + std::to_string(k[1]) +
                        (dilation ? " dilate" : " erode") + (reuse ? " reused" : "");
                    // A reused destination keeps its band in erosion.
                    const auto run = [&](Mat& d, bool reference) {
                        if (reuse) d = junk;
                        if (reference)
                            test::referenceBinaryMorph(dilation, src, d, k[0], k[1]);
                        else if (dilation)
                            ip::dilate(src, d, k[0], k[1]);
                        else
                            ip::erode(src, d, k[0], k[1]);
                    };
                    const Mat got = test::onEveryPath([&](Mat& d) { run(d, false); }, tag);
                    Mat want;
                    run(want, true);
                    EXPECT_TRUE(test::sameBytes(got, want)) << tag;
                }
        // In place: the source is read before any row is written, and the
        // picture itself is the reused destination.
        Mat a = binaryPicture(sh.rows, sh.cols, MAT_Tuchar, 4u);
        const Mat before(a);
        Mat want(a);
        test::referenceBinaryMorph(false, before, want, 3, 5);
        ip::erode(a, 3, 5);
        EXPECT_TRUE(test::sameBytes(a, want));
    }
}

}  // namespace
}  // namespace tarvo
