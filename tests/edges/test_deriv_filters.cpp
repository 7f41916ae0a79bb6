// ip::sobel and ip::laplace: ordinary sign, replicated border, signed results
// in wide destinations, the size-1 kernel rule and the selector rules.
#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/edges.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using tarvo::test::at;
using tarvo::test::matEqual;

namespace {

// A byte image whose value grows by `step` per column (a horizontal ramp) or
// per row.
Mat ramp(int rows, int cols, int step, bool alongX) {
    Mat m(rows, cols, MAT_Tbyte);
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) m.ptr<uint8_t>(y)[x] = uint8_t((alongX ? x : y) * step);
    return m;
}

Mat filled(int rows, int cols, int type, double v) {
    return Mat(rows, cols, type, Point4_<double>(v, v, v, v));
}

}  // namespace

TEST(SobelFrontEnd, OrdinarySignAndReplicatedBorderOnARamp) {
    const Mat src = ramp(6, 8, 10, true);
    Mat dx = filled(1, 1, MAT_Tshort, 0);  // present depth short, reshaped to the source
    ip::sobel(src, dx, 1, 0, 3);
    ASSERT_EQ(dx.type1(), MAT_Tshort);
    ASSERT_TRUE(dx.isEqualSize(src));
    for (int y = 0; y < 6; y++) {
        // Interior: (x+1 - (x-1)) * 10 * (1 + 2 + 1); the replicated edge halves it.
        EXPECT_EQ(at(dx, y, 0), 40);
        for (int x = 1; x < 7; x++) EXPECT_EQ(at(dx, y, x), 80) << y << "," << x;
        EXPECT_EQ(at(dx, y, 7), 40);
    }
    Mat dy = filled(1, 1, MAT_Tshort, 0);
    ip::sobel(src, dy, 0, 1, 3);
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 8; x++) EXPECT_EQ(at(dy, y, x), 0);
}

TEST(SobelFrontEnd, FallingEdgeIsNegativeInShortAndFloatAndClipsInBytes) {
    const Mat src = ramp(5, 7, 30, false);  // brighter downwards
    Mat flipped(5, 7, MAT_Tbyte);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 7; x++) flipped.ptr<uint8_t>(y)[x] = src.ptr<uint8_t>(4 - y)[x];
    Mat s = filled(1, 1, MAT_Tshort, 0), f = filled(1, 1, MAT_Tfloat, 0), b;
    ip::sobel(flipped, s, 0, 1, 3);
    ip::sobel(flipped, f, 0, 1, 3);
    ip::sobel(flipped, b, 0, 1, 3);  // empty destination takes the byte depth
    ASSERT_EQ(b.type1(), MAT_Tbyte);
    EXPECT_EQ(at(s, 2, 3), -240);
    EXPECT_EQ(at(f, 2, 3), -240.0);
    EXPECT_EQ(at(b, 2, 3), 0);
    ip::sobel(src, b, 0, 1, 3);
    EXPECT_EQ(at(b, 2, 3), 240);
    ip::sobel(ramp(5, 7, 60, false), b, 0, 1, 3);
    EXPECT_EQ(at(b, 2, 3), 255);  // 480 saturates
}

TEST(SobelFrontEnd, KernelSizeOneIsAPlainCentralDifference) {
    const Mat src = test::randomMat(9, 11, MAT_Tbyte, 5);
    Mat d = filled(1, 1, MAT_Tshort, 0);
    ip::sobel(src, d, 1, 0, 1);
    for (int y = 0; y < 9; y++)
        for (int x = 1; x < 10; x++)
            ASSERT_EQ(at(d, y, x), at(src, y, x + 1) - at(src, y, x - 1)) << y << "," << x;
}

TEST(SobelFrontEnd, EveryChannelInPlaceAndVectorPathsAgree) {
    const Mat src = test::randomMat(33, 47, MAT_Tuchar3, 17);
    Mat ref = filled(1, 1, MAT_Tshort, 0);
    ip::sobel(src, ref, 1, 1, 5);
    ASSERT_EQ(ref.type1(), MAT_Tshort3);
    // Each channel alone gives the same plane.
    for (int k = 0; k < 3; k++) {
        Mat plane(33, 47, MAT_Tbyte), out = filled(1, 1, MAT_Tshort, 0);
        for (int y = 0; y < 33; y++)
            for (int x = 0; x < 47; x++) plane.ptr<uint8_t>(y)[x] = src.ptr<uint8_t>(y)[x * 3 + k];
        ip::sobel(plane, out, 1, 1, 5);
        for (int y = 0; y < 33; y++)
            for (int x = 0; x < 47; x++) ASSERT_EQ(at(out, y, x), at(ref, y, x, k));
    }
    detail::setUseOptimized(false);
    Mat scalar = filled(1, 1, MAT_Tshort, 0);
    ip::sobel(src, scalar, 1, 1, 5);
    detail::setUseOptimized(true);
    EXPECT_TRUE(matEqual(scalar, ref));

    Mat f = test::randomMat(21, 30, MAT_Tfloat, 3), out;
    ip::sobel(f, out, 2, 0, 3);
    ip::sobel(f, f, 2, 0, 3);
    EXPECT_TRUE(matEqual(f, out));
}

TEST(SobelFrontEnd, BadInputLeavesTheDestination) {
    Mat dst = filled(2, 2, MAT_Tshort, 7), empty;
    ip::sobel(empty, dst, 1, 0, 3);
    EXPECT_EQ(dst.rows(), 2);
    EXPECT_EQ(at(dst, 1, 1), 7);
    const Mat src = ramp(4, 4, 1, true);
    ip::sobel(src, dst, 40, 0, 3);  // order beyond any kernel
    EXPECT_TRUE(dst.isEqualSize(src));
    ip::sobel(ramp(1, 1, 0, true), dst, 1, 0, 7);  // one pixel, kernel far wider
    EXPECT_EQ(at(dst, 0, 0), 0);
}

TEST(LaplaceFrontEnd, SelectorsOnAnImpulse) {
    Mat src = filled(7, 7, MAT_Tbyte, 0);
    src.ptr<uint8_t>(3)[3] = 10;
    Mat one = filled(1, 1, MAT_Tfloat, 0), three = filled(1, 1, MAT_Tfloat, 0);
    ip::laplace(src, one, 1);
    ip::laplace(src, three, 3);
    EXPECT_EQ(at(one, 3, 3), -40);
    EXPECT_EQ(at(one, 2, 3), 10);
    EXPECT_EQ(at(one, 3, 4), 10);
    EXPECT_EQ(at(one, 2, 2), 0);
    EXPECT_EQ(at(three, 3, 3), -80);
    EXPECT_EQ(at(three, 2, 2), 20);
    EXPECT_EQ(at(three, 4, 4), 20);
    EXPECT_EQ(at(three, 2, 3), 0);
    // The 2-D stage casts into 16 bits as unsigned: the negative centre
    // saturates at 0 while the positive ring passes.
    Mat u = filled(1, 1, MAT_Tshort, 0);
    ip::laplace(src, u, 1);
    EXPECT_EQ(at(u, 3, 3), 0);
    EXPECT_EQ(at(u, 4, 3), 10);
    // A constant image has zero Laplacian up to the edges (replicated border).
    Mat flat = filled(5, 6, MAT_Tbyte, 200), lap = filled(1, 1, MAT_Tshort, 0);
    ip::laplace(flat, lap, 3);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 6; x++) EXPECT_EQ(at(lap, y, x), 0);
}

TEST(LaplaceFrontEnd, OtherSelectorCreatesButDoesNotWrite) {
    const Mat src = ramp(4, 5, 3, true);
    Mat dst = filled(4, 5, MAT_Tshort, -9);
    ip::laplace(src, dst, 2);
    EXPECT_EQ(dst.type1(), MAT_Tshort);
    for (int y = 0; y < 4; y++)
        for (int x = 0; x < 5; x++) EXPECT_EQ(at(dst, y, x), -9);
    Mat fresh;
    ip::laplace(src, fresh, 0);
    EXPECT_TRUE(fresh.isEqualSize(src));
    EXPECT_EQ(fresh.type1(), MAT_Tbyte);
}
