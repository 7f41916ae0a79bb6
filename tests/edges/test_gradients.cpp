// Hand-written gradients, orientation codes and derivative kernels.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/edges.h"

using namespace tarvo;
using tarvo::test::horizontalStep;
using tarvo::test::verticalStep;

namespace {

std::vector<double> column(const Mat& k) {
    std::vector<double> v;
    for (int i = 0; i < k.rows(); i++) v.push_back(test::at(k, i, 0));
    return v;
}

}  // namespace

TEST(Orientation, CodesOfTheFourDirections) {
    EXPECT_EQ(Sobel::orientationCode(1, 0), 0);    // brighter to the right
    EXPECT_EQ(Sobel::orientationCode(0, -1), 9);   // brighter downwards
    EXPECT_EQ(Sobel::orientationCode(-1, 0), 18);  // brighter to the left
    EXPECT_EQ(Sobel::orientationCode(0, 1), 27);   // brighter upwards
    EXPECT_EQ(Sobel::orientationCode(0, 0), EOF_NO_ORIENTATION);
    EXPECT_EQ(Sobel::orientationCode(1, 1), 31);  // up and right: between 27 and 36
}

TEST(Orientation, TableFollowsTheRuleEverywhereReachable) {
    const unsigned char* t = Sobel::orientationTable();
    EXPECT_EQ(t[32 * 64 + 32], EOF_NO_ORIENTATION);
    for (int a = -31; a < 32; a++)
        for (int b = -31; b < 32; b++) {
            if (a == 0 && b == 0) continue;
            double c = (std::atan2(-double(a), -double(b)) / 6.283185307179586 + 1.25) * 36.0;
            int want = int(c) % 36;
            ASSERT_EQ(t[(a + 32) * 64 + (b + 32)], want) << "a=" << a << " b=" << b;
            ASSERT_LT(t[(a + 32) * 64 + (b + 32)], 36);
        }
}

TEST(Gradients, SignsFollowTheUpwardConvention) {
    Mat right = verticalStep(5, 5, 3, 10, 60);  // brighter to the right
    Mat gx(5, 5, MAT_Tshort), gy(5, 5, MAT_Tshort);
    Sobel::gradientMagnitudeX(&right, &gx, false);
    Sobel::gradientMagnitudeY(&right, &gy, false);
    EXPECT_EQ(gx.ptr<short>(2)[2], 4 * 50);
    EXPECT_EQ(gy.ptr<short>(2)[2], 0);

    Mat up = horizontalStep(5, 5, 3, 60, 10);  // brighter upwards
    Sobel::gradientMagnitudeY(&up, &gy, false);
    EXPECT_EQ(gy.ptr<short>(2)[2], 4 * 50);
    Mat down = horizontalStep(5, 5, 3, 10, 60);
    Sobel::gradientMagnitudeY(&down, &gy, false);
    EXPECT_EQ(gy.ptr<short>(2)[2], -4 * 50);
    // The frame is written as zero.
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(gy.ptr<short>(0)[i], 0);
        EXPECT_EQ(gy.ptr<short>(4)[i], 0);
        EXPECT_EQ(gy.ptr<short>(i)[0], 0);
        EXPECT_EQ(gy.ptr<short>(i)[4], 0);
    }
}

TEST(Gradients, ByteDestinationWrapsAndAbsoluteCannotChangeIt) {
    Mat left = verticalStep(3, 3, 2, 10, 0);  // gx = -2*10 - 10 - 10 = -40
    Mat g(3, 3, MAT_Tuchar);
    Sobel::gradientMagnitudeX(&left, &g, false);
    EXPECT_EQ(g.data.ptr[1][1], 216);
    Sobel::gradientMagnitudeX(&left, &g, true);
    EXPECT_EQ(g.data.ptr[1][1], 216);
    Mat s(3, 3, MAT_Tshort);
    Sobel::gradientMagnitudeX(&left, &s, true);
    EXPECT_EQ(s.ptr<short>(1)[1], 40);
}

TEST(Gradients, ShortDestinationWrapsFromShortSource) {
    Mat src(3, 3, MAT_Tshort);
    src.zero();
    for (int y = 0; y < 3; y++) src.ptr<short>(y)[2] = 30000;  // gx = 4 * 30000
    Mat d16(3, 3, MAT_Tshort), d32(3, 3, MAT_Tint), df(3, 3, MAT_Tfloat);
    Sobel::gradientMagnitudeX(&src, &d16, false);
    Sobel::gradientMagnitudeX(&src, &d32, false);
    Sobel::gradientMagnitudeX(&src, &df, false);
    EXPECT_EQ(d32.ptr<int>(1)[1], 120000);
    EXPECT_EQ(d16.ptr<short>(1)[1], (short)(120000 - 131072));
    EXPECT_EQ(df.ptr<float>(1)[1], 120000.0f);
}

TEST(Gradients, IllegalPairsAndSizesLeaveTheDestinationAlone) {
    Mat src = test::randomMat(6, 6, MAT_Tfloat, 1);
    Mat dst(6, 6, MAT_Tuchar, Scalar(7));
    Sobel::gradientMagnitudeX(&src, &dst, true);  // float into byte is not a legal pair
    Sobel::gradientMagnitudeY(&src, &dst, true);
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 6; x++) ASSERT_EQ(dst.data.ptr[y][x], 7);
    Mat small(4, 4, MAT_Tfloat, Scalar(3));
    Sobel::gradientMagnitudeX(&src, &small, false);
    EXPECT_EQ(small.ptr<float>(1)[1], 3.0f);
    Sobel::gradientMagnitudeX(nullptr, &small, false);
    Mat empty;
    Sobel::gradientMagnitudeX(&empty, &small, false);
    Sobel::gradientMagnitude(&src, &empty);
}

TEST(Gradients, MagnitudeKeepsLowBitsAndLeavesFrame) {
    Mat src = verticalStep(4, 4, 2, 0, 255);  // |gx| = 1020 inside
    Mat b(4, 4, MAT_Tuchar, Scalar(9)), s(4, 4, MAT_Tshort), d(4, 4, MAT_Tdouble);
    Sobel::gradientMagnitude(&src, &b);
    Sobel::gradientMagnitude(&src, &s);
    Sobel::gradientMagnitude(&src, &d);
    EXPECT_EQ(b.data.ptr[1][1], 1020 & 0xFF);
    EXPECT_EQ(b.data.ptr[0][0], 9);  // frame untouched
    EXPECT_EQ(s.ptr<short>(2)[2], 1020);
    EXPECT_EQ(d.ptr<double>(1)[2], 1020.0);
}

TEST(Gradients, IntensityImagesSaturateAndKeepAZeroFrame) {
    Mat src = verticalStep(5, 6, 3, 0, 200);
    Mat ix(5, 6, MAT_Tuchar), iy(5, 6, MAT_Tuchar);
    Sobel sobel;
    sobel.getIntensityX(&src, &ix);
    sobel.getIntensityY(&src, &iy);
    EXPECT_EQ(ix.data.ptr[2][2], 255);  // 800 saturates
    EXPECT_EQ(ix.data.ptr[2][0], 0);
    EXPECT_EQ(ix.data.ptr[0][2], 0);
    EXPECT_EQ(iy.data.ptr[2][2], 0);
    Mat l1;
    sobel.process(&src, &l1);
    EXPECT_EQ(l1.rows(), 5);
    EXPECT_EQ(l1.data.ptr[2][3], 255);
    EXPECT_EQ(l1.data.ptr[2][1], 0);
    // In place.
    Mat inplace = src.clone();
    sobel.process(&inplace, nullptr);
    EXPECT_TRUE(test::matEqual(inplace, l1));
}

TEST(OrientationField, TableAndExactFormsAgreeOnStrongEdges) {
    Mat src = verticalStep(6, 7, 3, 0, 200);
    Mat field;
    ip::edgeOrientaitonField(src, field);
    ASSERT_EQ(field.rows(), 4);
    ASSERT_EQ(field.cols(), 5);
    Mat exact(4, 5, MAT_Tuchar);
    Sobel::processEOF(&src, &exact, 0);
    Mat_<int> strength(4, 5);
    strength = 0;
    Mat f2(4, 5, MAT_Tuchar);
    ip::edgeOrientaitonField(&src, &f2, &strength);
    for (int y = 0; y < 4; y++)
        for (int x = 0; x < 5; x++) {
            bool onEdge = x == 1 || x == 2;  // source columns 2 and 3
            EXPECT_EQ(field.data.ptr[y][x], onEdge ? 0 : EOF_NO_ORIENTATION);
            EXPECT_EQ(exact.data.ptr[y][x], onEdge ? 0 : EOF_NO_ORIENTATION);
            EXPECT_EQ(strength[y][x], onEdge ? 800 / 32 : 0);
        }
}

TEST(OrientationField, ThresholdPassesAtEqualityAndZeroGradientIsNone) {
    Mat src = horizontalStep(5, 5, 2, 0, 10);  // |gy| = 40 on rows 1 and 2
    Mat out(3, 3, MAT_Tuchar);
    Sobel::processEOF(&src, &out, 40);
    EXPECT_EQ(out.data.ptr[0][1], 9);  // brighter downwards
    Sobel::processEOF(&src, &out, 41);
    EXPECT_EQ(out.data.ptr[0][1], EOF_NO_ORIENTATION);
    Mat flat(5, 5, MAT_Tuchar, Scalar(3));
    Sobel::processEOF(&flat, &out, 0);
    EXPECT_EQ(out.data.ptr[1][1], EOF_NO_ORIENTATION);
    Mat tiny(2, 2, MAT_Tuchar, Scalar(1)), none;
    ip::edgeOrientaitonField(tiny, none);
    EXPECT_FALSE(none.isValid());
}

TEST(DerivKernels, SobelSizesAndOrders) {
    Mat kx, ky;
    ip::getDerivKernels(kx, ky, 1, 0, 1, false, MAT_Tfloat);
    EXPECT_EQ(column(kx), (std::vector<double>{-1, 0, 1}));  // size 1 widens for order 1
    EXPECT_EQ(column(ky), (std::vector<double>{1}));
    ip::getDerivKernels(kx, ky, 0, 2, 3, false, MAT_Tfloat);
    EXPECT_EQ(column(kx), (std::vector<double>{1, 2, 1}));
    EXPECT_EQ(column(ky), (std::vector<double>{1, -2, 1}));
    ip::getDerivKernels(kx, ky, 1, 2, 5, false, MAT_Tint);
    EXPECT_EQ(column(kx), (std::vector<double>{-1, -2, 0, 2, 1}));
    EXPECT_EQ(column(ky), (std::vector<double>{1, 0, -2, 0, 1}));
    ip::getDerivKernels(kx, ky, 0, 1, 7, false, MAT_Tdouble);
    EXPECT_EQ(column(kx), (std::vector<double>{1, 6, 15, 20, 15, 6, 1}));
    EXPECT_EQ(column(ky), (std::vector<double>{-1, -4, -5, 0, 5, 4, 1}));
    // Normalised smoothing kernels sum to 1.
    ip::getDerivKernels(kx, ky, 0, 1, 7, true, MAT_Tdouble);
    double sum = 0;
    for (double v : column(kx)) sum += v;
    EXPECT_DOUBLE_EQ(sum, 1.0);
    EXPECT_DOUBLE_EQ(test::at(ky, 6, 0), 1.0 / 32);
}

TEST(DerivKernels, ScharrAndRefusals) {
    Mat kx, ky;
    ip::getDerivKernels(kx, ky, 0, 1, 0, true, MAT_Tfloat);
    EXPECT_EQ(column(kx), (std::vector<double>{3.0 / 32, 10.0 / 32, 3.0 / 32}));
    EXPECT_DOUBLE_EQ(column(kx)[0] + column(kx)[1] + column(kx)[2], 0.5);
    EXPECT_EQ(column(ky), (std::vector<double>{-1, 0, 1}));
    ip::getDerivKernels(kx, ky, 0, 1, -1, false, MAT_Tshort);
    EXPECT_EQ(column(kx), (std::vector<double>{3, 10, 3}));
    ip::getDerivKernels(kx, ky, 1, 0, 33, false, MAT_Tfloat);
    EXPECT_FALSE(kx.isValid());
    EXPECT_FALSE(ky.isValid());
    ip::getDerivKernels(kx, ky, 1, 0, 3, false, 7);
    EXPECT_FALSE(kx.isValid());
}
