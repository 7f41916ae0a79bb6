// Integral tables against brute-force sums.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/parallel.h"
#include "tarvo/ip/integral.h"

using namespace tarvo;
using tarvo::test::at;

namespace {

// Sum of channel k over rows [y0, y1) and columns [x0, x1).
double boxSum(const Mat& m, int y0, int x0, int y1, int x1, int k) {
    double s = 0;
    for (int y = y0; y < y1; y++)
        for (int x = x0; x < x1; x++) s += at(m, y, x, k);
    return s;
}

double sqBoxSum(const Mat& m, int y1, int x1, int k) {
    double s = 0;
    for (int y = 0; y < y1; y++)
        for (int x = 0; x < x1; x++) s += at(m, y, x, k) * at(m, y, x, k);
    return s;
}

// The tilted table straight from its definition.
double tiltedSum(const Mat& m, int y, int x, int k) {
    double s = 0;
    for (int yy = 0; yy < y; yy++)
        for (int xx = 0; xx < m.cols(); xx++) {
            int dx = xx - x + 1;
            if (dx < 0) dx = -dx;
            if (dx <= y - yy - 1) s += at(m, yy, xx, k);
        }
    return s;
}

bool isIntSum(int depth) {
    return depth == MAT_Tuchar || depth == MAT_Tint;
}

// Float sources lose a little in the running double sums of float values.
double tolFor(int depth) {
    return depth == MAT_Tfloat || depth == MAT_Tdouble ? 1e-9 : 0.0;
}

const int kDepths[] = {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble};

}  // namespace

TEST(IntegralImage, TablesMatchBruteForceForEveryDepthAndChannelCount) {
    for (int depth : kDepths)
        for (int cn : {1, 3}) {
            SCOPED_TRACE(testing::Message() << "depth " << depth << " cn " << cn);
            // 37 columns: a vector body plus a scalar tail on the byte path.
            Mat src = test::randomMat(9, 37, MAKETYPE(depth, cn), 11 + depth * 7 + cn);
            Mat sum, sq, tilted, sum2;
            ip::integralImage(src, sum, tilted, sq);
            ip::integralImage(src, sum2);
            ASSERT_EQ(sum.rows(), 10);
            ASSERT_EQ(sum.cols(), 38);
            EXPECT_EQ(sum.type1(), MAKETYPE(isIntSum(depth) ? MAT_Tint : MAT_Tdouble, cn));
            EXPECT_EQ(tilted.type1(), sum.type1());
            EXPECT_EQ(sq.type1(), MAKETYPE(MAT_Tdouble, cn));
            EXPECT_TRUE(test::matEqual(sum, sum2));
            for (int y = 0; y <= 9; y++)
                for (int x = 0; x <= 37; x++)
                    for (int k = 0; k < cn; k++) {
                        double tol = tolFor(depth) * (1 + y * x);
                        ASSERT_NEAR(at(sum, y, x, k), boxSum(src, 0, 0, y, x, k), tol)
                            << y << "," << x;
                        ASSERT_NEAR(at(tilted, y, x, k), tiltedSum(src, y, x, k), tol * 4)
                            << y << "," << x;
                        ASSERT_NEAR(at(sq, y, x, k), sqBoxSum(src, y, x, k),
                                    tolFor(depth) * 1e4 * (1 + y * x))
                            << y << "," << x;
                    }
        }
}

TEST(IntegralImage, BoxSumsThroughSumIntegralImage) {
    for (int depth : kDepths) {
        Mat src = test::randomMat(23, 41, MAKETYPE(depth, 1), 5 + depth);
        Mat sum;
        ip::integralImage(src, sum);
        const Rect_<int> rects[] = {{0, 0, 41, 23}, {3, 4, 10, 7}, {40, 22, 1, 1},
                                    {0, 5, 41, 1},  {7, 0, 0, 9},  {12, 12, 29, 11}};
        for (const auto& r : rects)
            EXPECT_NEAR(ip::sumIntegralImage(sum, r),
                        boxSum(src, r.y, r.x, r.y + r.height, r.x + r.width, 0),
                        tolFor(depth) * 1e3)
                << "depth " << depth << " rect " << r.x << "," << r.y;
    }
}

TEST(IntegralImage, SumIntegralImageRefusesOtherTablesAndOutsideRects) {
    Mat src = test::randomMat(6, 6, MAT_Tuchar, 3);
    Mat sum;
    ip::integralImage(src, sum);
    EXPECT_EQ(ip::sumIntegralImage(sum, Rect_<int>(0, 0, 6, 6)), boxSum(src, 0, 0, 6, 6, 0));
    EXPECT_EQ(ip::sumIntegralImage(sum, Rect_<int>(1, 0, 6, 6)), 0.0);
    EXPECT_EQ(ip::sumIntegralImage(sum, Rect_<int>(-1, 0, 2, 2)), 0.0);
    EXPECT_EQ(ip::sumIntegralImage(sum, Rect_<int>(0, 0, -1, 2)), 0.0);
    EXPECT_EQ(ip::sumIntegralImage(Mat(), Rect_<int>(0, 0, 1, 1)), 0.0);
    Mat fsum(7, 7, MAT_Tfloat, Point4_<double>(1.0));
    Mat ssum(7, 7, MAT_Tshort, Point4_<double>(1.0));
    EXPECT_EQ(ip::sumIntegralImage(fsum, Rect_<int>(0, 0, 2, 2)), 0.0);
    EXPECT_EQ(ip::sumIntegralImage(ssum, Rect_<int>(0, 0, 2, 2)), 0.0);
}

TEST(IntegralImage, IntTablesWrapButBoxSumsStayExact) {
    // The running total passes 2^31; boxes that fit in an int still read back exactly.
    Mat src(4, 4, MAT_Tint, Point4_<double>(double(1 << 29)));
    src.ptr<int>(3)[3] = -7;
    Mat sum;
    ip::integralImage(src, sum);
    EXPECT_EQ(ip::sumIntegralImage(sum, Rect_<int>(3, 3, 1, 1)), -7.0);
    EXPECT_EQ(ip::sumIntegralImage(sum, Rect_<int>(2, 2, 1, 1)), double(1 << 29));
    EXPECT_EQ(ip::sumIntegralImage(sum, Rect_<int>(0, 0, 1, 3)), 3.0 * (1 << 29));
}

TEST(IntegralImage, SquareTableNeedsNoSumTarget) {
    for (int depth : kDepths) {
        Mat src = test::randomMat(8, 19, MAKETYPE(depth, 2), 77 + depth, -3.0, 3.0);
        Mat sq;
        ip::integralSquareImage(src, sq);
        ASSERT_EQ(sq.type1(), MAKETYPE(MAT_Tdouble, 2));
        ASSERT_EQ(sq.rows(), 9);
        ASSERT_EQ(sq.cols(), 20);
        for (int y = 0; y <= 8; y++)
            for (int x = 0; x <= 19; x++)
                for (int k = 0; k < 2; k++)
                    ASSERT_NEAR(at(sq, y, x, k), sqBoxSum(src, y, x, k), 1e-9 * (1 + y * x))
                        << "depth " << depth;
        // The three-table form gives the same squares.
        Mat sum, sq2;
        ip::integralImage(src, sum, sq2);
        EXPECT_TRUE(test::matEqual(sq, sq2));
    }
}

TEST(IntegralImage, TiltedWorkedExampleAndThinImages) {
    Mat src(2, 2, MAT_Tuchar);
    src.ptr<unsigned char>(0)[0] = 1;
    src.ptr<unsigned char>(0)[1] = 2;
    src.ptr<unsigned char>(1)[0] = 3;
    src.ptr<unsigned char>(1)[1] = 4;
    Mat sum, tilted;
    ip::integralTiltedImage(src, sum, tilted);
    const int expect[3][3] = {{0, 0, 0}, {0, 1, 2}, {1, 6, 7}};
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 3; x++) EXPECT_EQ(tilted.ptr<int>(y)[x], expect[y][x]) << y << x;
    EXPECT_EQ(sum.ptr<int>(2)[2], 10);

    // One column, one row and a tall narrow picture exercise both edge forms at once.
    for (Size_<int> sz : {Size_<int>(1, 9), Size_<int>(9, 1), Size_<int>(2, 12)}) {
        Mat s = test::randomMat(sz.height, sz.width, MAT_Tshort, 9);
        ip::integralTiltedImage(s, sum, tilted);
        for (int y = 0; y <= s.rows(); y++)
            for (int x = 0; x <= s.cols(); x++)
                ASSERT_EQ(at(tilted, y, x), tiltedSum(s, y, x, 0)) << sz.width << "x" << sz.height;
    }
}

TEST(IntegralImage, EmptySourceLeavesTablesUnchanged) {
    Mat sum(3, 3, MAT_Tint, Point4_<double>(5.0));
    Mat sq(3, 3, MAT_Tdouble, Point4_<double>(6.0));
    Mat before = sum;
    ip::integralImage(Mat(), sum, sq);
    ip::integralSquareImage(Mat(), sq);
    EXPECT_TRUE(test::matEqual(sum, before));
    EXPECT_EQ(at(sq, 2, 2), 6.0);
}

TEST(IntegralImage, ExistingTableOfTheRightShapeIsOverwritten) {
    Mat src = test::randomMat(5, 5, MAT_Tuchar, 1);
    Mat sum(6, 6, MAT_Tint, Point4_<double>(99.0));
    ip::integralImage(src, sum);
    EXPECT_EQ(at(sum, 0, 3), 0.0);
    EXPECT_EQ(at(sum, 5, 5), boxSum(src, 0, 0, 5, 5, 0));
}

TEST(IntegralImage, VectorRowPrefixEqualsScalar) {
    Mat src = test::randomMat(31, 1027, MAT_Tuchar, 12);
    Mat vec, ref;
    ip::integralImage(src, vec);
    detail::setUseOptimized(false);
    ip::integralImage(src, ref);
    detail::setUseOptimized(true);
    EXPECT_TRUE(test::matEqual(vec, ref));
    EXPECT_EQ(ip::sumIntegralImage(vec, Rect_<int>(0, 0, 1027, 31)),
              boxSum(src, 0, 0, 31, 1027, 0));
}
