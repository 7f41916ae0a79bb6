// Transformation operators: crop, expand, resample, rotate, skew, thumbnail
// and the sampler they share.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "geometry/transform_sampler.h"
#include "support/naive_transform.h"
#include "support/test_util.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using test::at;
using test::matEqual;

namespace {

const int kDepths[] = {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble};

// rows x cols of `type` holding 1, 2, 3, ... in reading order (channel k adds 100 k).
Mat counting(int rows, int cols, int type) {
    Mat m(rows, cols, type);
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++)
            for (int k = 0; k < m.channels(); k++) {
                const double v = y * cols + x + 1 + 100 * k;
                switch (m.type()) {
                    case 1:
                        m.ptr<unsigned char>(y)[x * m.channels() + k] = (unsigned char)v;
                        break;
                    case 2:
                        m.ptr<short>(y)[x * m.channels() + k] = (short)v;
                        break;
                    case 3:
                        m.ptr<int>(y)[x * m.channels() + k] = (int)v;
                        break;
                    case 4:
                        m.ptr<float>(y)[x * m.channels() + k] = (float)v;
                        break;
                    default:
                        m.ptr<double>(y)[x * m.channels() + k] = v;
                        break;
                }
            }
    return m;
}

}  // namespace

// ---------------------------------------------------------------- quarter turns

TEST(TransformQuarterTurn, TwoByThreeFollowsTheTableForEveryDepth) {
    for (int depth : kDepths) {
        for (int cn : {1, 3}) {
            const Mat src = counting(2, 3, depth | ((cn - 1) << 3));  // [[1,2,3],[4,5,6]]
            Mat l, r, h;
            ip::rotate(src, l, RotateLeft90);
            ip::rotate(src, r, RotateRight90);
            ip::rotate(src, h, Rotate180);
            ASSERT_EQ(l.rows(), 3);
            ASSERT_EQ(l.cols(), 2);
            ASSERT_EQ(r.rows(), 3);
            ASSERT_EQ(h.rows(), 2);
            EXPECT_EQ(l.type1(), src.type1());
            const double left[3][2] = {{3, 6}, {2, 5}, {1, 4}};
            const double right[3][2] = {{4, 1}, {5, 2}, {6, 3}};
            const double half[2][3] = {{6, 5, 4}, {3, 2, 1}};
            for (int k = 0; k < cn; k++) {
                for (int y = 0; y < 3; y++)
                    for (int x = 0; x < 2; x++) {
                        EXPECT_EQ(at(l, y, x, k), left[y][x] + 100 * k);
                        EXPECT_EQ(at(r, y, x, k), right[y][x] + 100 * k);
                    }
                for (int y = 0; y < 2; y++)
                    for (int x = 0; x < 3; x++) EXPECT_EQ(at(h, y, x, k), half[y][x] + 100 * k);
            }
        }
    }
}

TEST(TransformQuarterTurn, CompositionsGiveTheSourceBack) {
    // Odd sizes over several 32-pixel blocks, every element size of interest.
    for (int type : {MAT_Tuchar, MAT_Tuchar3, MAT_Tshort3, MAT_Tfloat, MAT_Tdouble3}) {
        const Mat src = test::randomMat(37, 70, type, 5);
        Mat a = src;
        for (int i = 0; i < 4; i++) ip::rotate(a, a, RotateLeft90);
        EXPECT_TRUE(matEqual(a, src));
        Mat b;
        ip::rotate(src, b, Rotate180);
        ip::rotate(b, b, Rotate180);
        EXPECT_TRUE(matEqual(b, src));
        Mat c;
        ip::rotate(src, c, RotateLeft90);
        ip::rotate(c, c, RotateRight90);
        EXPECT_TRUE(matEqual(c, src));
        Mat d1, d2;
        ip::rotate(src, d1, RotateLeft90);
        ip::rotate(d1, d1, RotateLeft90);
        ip::rotate(src, d2, Rotate180);
        EXPECT_TRUE(matEqual(d1, d2));
    }
}

TEST(TransformQuarterTurn, UnknownTypeLeavesTheDestination) {
    const Mat src = counting(2, 3, MAT_Tuchar);
    Mat dst(1, 1, MAT_Tuchar, Point4_<double>(7, 7, 7, 7));
    ip::rotate(src, dst, RotateType(3));
    ASSERT_EQ(dst.rows(), 1);
    EXPECT_EQ(at(dst, 0, 0), 7);
}

// ---------------------------------------------------------------- sampler pieces

TEST(TransformSampler, OverflowReadsAtMinusOneSizeAndFarOutside) {
    Mat row(1, 5, MAT_Tuchar);
    for (int x = 0; x < 5; x++) row.ptr<unsigned char>(0)[x] = (unsigned char)(10 * (x + 1));
    const unsigned char red[4] = {99, 98, 97, 96};
    struct Case {
        int overflow;
        long long x;
        int want;
    };
    const Case cases[] = {
        {OverflowWrap, -1, 50},
        {OverflowWrap, 5, 10},
        {OverflowWrap, -12, 40},
        {OverflowWrap, 17, 30},
        {OverflowClamp, -1, 10},
        {OverflowClamp, 5, 50},
        {OverflowClamp, -900, 10},
        {OverflowClamp, 900, 50},
        {OverflowMirror, -1, 20},
        {OverflowMirror, 5, 50},
        {OverflowMirror, -7, 30},
        {OverflowMirror, 12, 30},
        {OverflowColor, -1, 99},
        {OverflowColor, 5, 99},
        {OverflowBackground, 900, 99},
        {OverflowTransparent, -900, 99},
        {0, 5, 99},
        {7, -1, 99},
    };
    for (const Case& c : cases) {
        detail::SampleSource<unsigned char> s(row, InterpBilinear, c.overflow, red);
        EXPECT_EQ(s.read(c.x, 0)[0], c.want) << "overflow " << c.overflow << " at " << c.x;
        detail::SampleSource<unsigned char> none(row, InterpBilinear, c.overflow, nullptr);
        if (c.want == 99) {
            EXPECT_EQ(none.read(c.x, 0)[0], 0);  // no colour: zero
        }
    }
    // Rows follow the same rule, and every result lies inside.
    for (int o = 4; o <= 6; o++)
        for (long long y = -40; y < 40; y++) {
            detail::SampleSource<unsigned char> s(row, InterpBilinear, o, nullptr);
            EXPECT_EQ(s.read(2, y)[0], 30);
        }
}

TEST(TransformSampler, KernelsHaveTheirDefiningValues) {
    auto k = [](int m, float x) { return detail::transformKernel(m, x); };
    // Interpolating kernels: 1 at 0, 0 at the other integers.
    for (int m : {InterpCubicSharp, InterpCubicHalf, InterpLanczos, InterpHermite, InterpSinc,
                  InterpCatmullRom}) {
        EXPECT_NEAR(k(m, 0.0f), 1.0f, 1e-6f) << m;
        EXPECT_NEAR(k(m, 1.0f), 0.0f, 1e-6f) << m;
        EXPECT_NEAR(k(m, -1.0f), 0.0f, 1e-6f) << m;
    }
    // Partition of unity over four taps at any fraction.
    for (int m : {InterpBSpline, InterpCubicSharp, InterpCubicHalf, InterpBox, InterpHermite,
                  InterpQuadratic, InterpMitchell, InterpCatmullRom}) {
        for (float f : {0.0f, 0.125f, 0.3f, 0.5f, 0.77f}) {
            float sum = 0.0f;
            for (int i = -1; i <= 2; i++) sum += k(m, float(i) - f);
            EXPECT_NEAR(sum, 1.0f, 2e-6f) << m << " at " << f;
        }
    }
    EXPECT_NEAR(k(InterpBSpline, 0.0f), 4.0f / 6.0f, 1e-6f);
    EXPECT_NEAR(k(InterpBSpline, 1.5f), 0.125f / 6.0f, 1e-6f);
    EXPECT_EQ(k(InterpBSpline, 2.5f), 0.0f);
    EXPECT_NEAR(k(InterpCubicSharp, 0.5f), 1.0f - 0.5f + 0.125f, 1e-6f);
    EXPECT_NEAR(k(InterpCubicSharp, 1.5f), 4.0f - 12.0f + 11.25f - 3.375f, 1e-6f);
    EXPECT_NEAR(k(InterpCubicHalf, 0.5f), 0.5625f, 1e-6f);
    EXPECT_NEAR(k(InterpCatmullRom, 0.5f), 0.5625f, 1e-6f);
    EXPECT_NEAR(k(InterpCatmullRom, -1.5f), -0.0625f, 1e-6f);
    EXPECT_NEAR(k(InterpMitchell, 0.0f), 0.8888889f, 1e-6f);
    EXPECT_NEAR(k(InterpMitchell, 1.5f), -0.38888887f * 3.375f + 4.5f - 5.0f + 1.7777778f, 1e-5f);
    EXPECT_NEAR(k(InterpMitchell, -1.5f), k(InterpMitchell, 1.5f), 1e-6f);
    EXPECT_NEAR(k(InterpLanczos, 0.5f), (2.0 / M_PI) * std::sin(M_PI / 12) / (M_PI / 12), 1e-6);
    EXPECT_EQ(k(InterpLanczos, 6.5f), 0.0f);
    EXPECT_EQ(k(InterpBox, -0.5f), 1.0f);
    EXPECT_EQ(k(InterpBox, 0.5f), 0.0f);
    EXPECT_NEAR(k(InterpHermite, -0.5f), 0.5f, 1e-6f);
    EXPECT_NEAR(k(InterpHermiteScaled, 0.5f), 1.0f - 2.0f * 0.92f * 0.25f, 1e-6f);
    EXPECT_NEAR(k(InterpHermiteScaled, -0.5f), 1.0f - 2.0f * 0.92f * 0.25f, 1e-6f);
    EXPECT_NEAR(k(InterpSinc, 0.5f), 2.0 / M_PI, 1e-6);
    EXPECT_NEAR(k(InterpSinc, 3.5f), -2.0 / (7.0 * M_PI), 1e-6);  // no window
    EXPECT_NEAR(k(InterpBlackman, 0.0f), 1.0f, 1e-6f);
    EXPECT_NEAR(k(InterpBlackman, 0.5f), 0.42f - 0.08f, 1e-6f);
    EXPECT_NEAR(k(InterpBlackman, 2.0f), 1.0f, 1e-6f);  // no window limit
    EXPECT_EQ(k(InterpBessel, 0.0f), 0.7853982f);
    EXPECT_NEAR(k(InterpBessel, 0.5f), test::seriesJ1(M_PI / 2), 1e-6);
    EXPECT_NEAR(k(InterpGaussian, 0.0f), 0.7978846f, 1e-7f);
    EXPECT_NEAR(k(InterpGaussian, 1.0f), 0.7978846 * std::exp(-2.0), 1e-6);
    EXPECT_NEAR(k(InterpQuadratic, 0.0f), 0.75f, 1e-7f);
    EXPECT_NEAR(k(InterpQuadratic, 1.0f), 0.125f, 1e-7f);
    EXPECT_NEAR(k(InterpQuadratic, -1.0f), 0.125f, 1e-7f);
    EXPECT_EQ(k(InterpQuadratic, 1.6f), 0.0f);
    for (int m : {0, 1, 2, 17}) EXPECT_EQ(k(m, 0.25f), 0.0f);
}

TEST(TransformSampler, BesselJ1MatchesTheSeries) {
    for (double x = -20.0; x <= 20.0; x += 0.173) {
        EXPECT_NEAR(detail::besselJ1(x), test::seriesJ1(x), 1e-6) << x;
    }
    EXPECT_EQ(detail::besselJ1(0.0), 0.0);
    EXPECT_NEAR(detail::besselJ1(8.0), test::seriesJ1(8.0), 1e-6);
    EXPECT_EQ(detail::besselJ1(std::nan("")), 0.0);
}

// ---------------------------------------------------------------- resample

TEST(TransformResample, NearestWalksByRunningFloatSums) {
    Mat src(1, 2, MAT_Tuchar);
    src.ptr<unsigned char>(0)[0] = 10;
    src.ptr<unsigned char>(0)[1] = 20;
    Mat dst;
    ip::resample(src, dst, 24, 1, 1);
    ASSERT_EQ(dst.cols(), 24);
    // Twelve additions of 1/12 in float stay just below 1.
    EXPECT_EQ(at(dst, 0, 12), 10);
    EXPECT_EQ(at(dst, 0, 13), 20);
    for (int x = 0; x < 12; x++) EXPECT_EQ(at(dst, 0, x), 10);
    for (int x = 13; x < 24; x++) EXPECT_EQ(at(dst, 0, x), 20);
}

TEST(TransformResample, SimpleSamplersOnRampsAndConstants) {
    for (int depth : kDepths) {
        // A constant stays constant under all three simple samplers.
        Mat c(5, 7, depth | (2 << 3), Point4_<double>(40, 80, 120, 0));
        for (int sampler : {0, 1, 2, 5}) {
            Mat d;
            ip::resample(c, d, 11, 3, sampler);
            ASSERT_EQ(d.rows(), 3);
            ASSERT_EQ(d.cols(), 11);
            for (int y = 0; y < 3; y++)
                for (int x = 0; x < 11; x++)
                    for (int k = 0; k < 3; k++)
                        EXPECT_NEAR(at(d, y, x, k), 40.0 * (k + 1), sampler == 2 ? 1.0 : 0.0)
                            << depth << " sampler " << sampler;
        }
    }
    // Bilinear doubling of a ramp 0, 10, 20, 30: halves between, edge repeated.
    Mat ramp(1, 4, MAT_Tfloat);
    for (int x = 0; x < 4; x++) ramp.ptr<float>(0)[x] = 10.0f * x;
    Mat d;
    ip::resample(ramp, d, 8, 1, 0);
    const float want[8] = {0, 5, 10, 15, 20, 25, 30, 30};
    for (int x = 0; x < 8; x++) EXPECT_FLOAT_EQ(d.ptr<float>(0)[x], want[x]);
}

TEST(TransformResample, ByteBilinearKeepsTheFixedPointForm) {
    // Interior pixels: weights summing to 256 taken modulo 256 give 0; the ring
    // whose neighbours reach outside runs in float and keeps 100.
    const Mat src(4, 4, MAT_Tuchar, Point4_<double>(100, 100, 100, 100));
    Mat dst;
    ip::resample(src, dst, 8, 8, InterpBilinear, OverflowClamp, false);
    ASSERT_EQ(dst.rows(), 8);
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 8; x++) {
            const bool ring = x == 0 || y == 0 || x == 7 || y == 7;
            EXPECT_EQ(at(dst, y, x), ring ? 100 : 0) << y << "," << x;
        }
    // The first channel's value fills every channel.
    Mat rgb(4, 4, MAT_Tuchar3);
    for (int y = 0; y < 4; y++)
        for (int x = 0; x < 4; x++) {
            unsigned char* p = rgb.ptr<unsigned char>(y) + 3 * x;
            p[0] = (unsigned char)(10 * x);
            p[1] = 200;
            p[2] = 7;
        }
    ip::resample(rgb, dst, 8, 8, InterpBilinear, OverflowClamp, false);
    for (int y = 1; y < 7; y++)
        for (int x = 1; x < 7; x++) {
            EXPECT_EQ(at(dst, y, x, 1), at(dst, y, x, 0));
            EXPECT_EQ(at(dst, y, x, 2), at(dst, y, x, 0));
        }
}

TEST(TransformResample, UnknownCodesRunAsBilinear) {
    const Mat src = test::randomMat(9, 7, MAT_Tuchar3, 3);
    Mat two, zero, seventeen;
    ip::resample(src, two, 13, 17, InterpBilinear, OverflowMirror, false);
    ip::resample(src, zero, 13, 17, InterpolationMethod(0), OverflowMirror, false);
    ip::resample(src, seventeen, 13, 17, InterpolationMethod(17), OverflowMirror, false);
    EXPECT_TRUE(matEqual(two, zero));
    EXPECT_TRUE(matEqual(two, seventeen));
}

TEST(TransformResample, KernelsClampToByteRangeForEveryDepth) {
    for (int depth : {MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble}) {
        const Mat src(4, 4, depth, Point4_<double>(1000, 0, 0, 0));
        Mat dst;
        ip::resample(src, dst, 6, 6, InterpCatmullRom, OverflowClamp, false);
        ASSERT_EQ(dst.rows(), 6);
        for (int y = 0; y < 6; y++)
            for (int x = 0; x < 6; x++) EXPECT_EQ(at(dst, y, x), 255.0) << depth;
        // Bilinear is not clamped.
        ip::resample(src, dst, 6, 6, InterpBilinear, OverflowClamp, false);
        EXPECT_EQ(at(dst, 0, 0), 1000.0);
    }
}

TEST(TransformResample, FullModeMatchesTheDirectReference) {
    // Enlarging, shrinking (area), mixed, with and without averaging, every
    // interpolator, every overflow rule, several depths and channel counts.
    struct Size {
        int w, h;
    };
    const Size sizes[] = {{17, 13}, {4, 3}, {15, 5}, {3, 11}};
    int checked = 0;
    for (int type : {MAT_Tuchar, MAT_Tuchar3, MAT_Tshort, MAT_Tfloat3, MAT_Tdouble, MAT_Tint}) {
        const Mat src = type == MAT_Tfloat3 ? test::randomMat(9, 8, type, 7, 0.0, 300.0)
                                            : test::randomMat(9, 8, type, 7);
        for (int method = 0; method <= 17; method++)
            for (int overflow : {1, 2, 4, 5, 6, 9})
                for (const Size& s : sizes)
                    for (bool noAvg : {false, true}) {
                        if ((method + overflow + s.w) % 3 != 0 && method != 6)
                            continue;  // a spread
                        Mat dst;
                        ip::resample(src, dst, s.w, s.h, InterpolationMethod(method),
                                     OverflowMethod(overflow), noAvg);
                        const Mat want =
                            test::naiveResampleFull(src, s.w, s.h, method, overflow, noAvg);
                        ASSERT_TRUE(matEqual(dst, want))
                            << "type " << type << " method " << method << " overflow " << overflow
                            << " size " << s.w << "x" << s.h << " noAvg " << noAvg;
                        checked++;
                    }
    }
    EXPECT_GT(checked, 300);
}

TEST(TransformResample, SerialAndParallelRunsAgree) {
    const Mat src = test::randomMat(260, 300, MAT_Tuchar3, 21);
    for (int method : {InterpCatmullRom, InterpLanczos, InterpBilinear, InterpNearest}) {
        Mat par, ser, area1, area2;
        ip::resample(src, par, 400, 330, InterpolationMethod(method), OverflowClamp, false);
        ip::resample(src, area1, 130, 90, InterpolationMethod(method), OverflowClamp, false);
        setNumThreads(1);
        ip::resample(src, ser, 400, 330, InterpolationMethod(method), OverflowClamp, false);
        ip::resample(src, area2, 130, 90, InterpolationMethod(method), OverflowClamp, false);
        setNumThreads(0);
        EXPECT_TRUE(matEqual(par, ser)) << method;
        EXPECT_TRUE(matEqual(area1, area2)) << method;
    }
}

TEST(TransformResample, SameSizeCopiesAndBadSizesRefuse) {
    const Mat src = test::randomMat(6, 5, MAT_Tfloat, 2);
    Mat dst;
    ip::resample(src, dst, 5, 6, InterpLanczos, OverflowColor, false);
    EXPECT_TRUE(matEqual(dst, src));
    Mat keep(2, 2, MAT_Tuchar, Point4_<double>(9, 9, 9, 9));
    const Mat before = keep;
    ip::resample(src, keep, 0, 6, 1);
    ip::resample(src, keep, 5, -3, InterpBilinear, OverflowClamp, false);
    ip::resample(src, keep, 70000, 70000, 1);  // too many elements
    ip::resample(Mat(), keep, 4, 4, 1);
    EXPECT_TRUE(matEqual(keep, before));
}

// ---------------------------------------------------------------- rotate by an angle

TEST(TransformRotate, BoxTurnIgnoresMethodsAndFlags) {
    const Mat src = test::randomMat(21, 30, MAT_Tuchar3, 4);
    Mat ref;
    ip::rotate(src, ref, 33.0f, InterpBilinear, OverflowColor, nullptr, false, false);
    ASSERT_FALSE(ref.empty());
    Point4_<unsigned char> red(255, 0, 0, 0);
    for (int m = 0; m <= 17; m++)
        for (int o = 1; o <= 6; o++) {
            Mat d;
            ip::rotate(src, d, 33.0f, InterpolationMethod(m), OverflowMethod(o),
                       (m & 1) ? &red : nullptr, m & 2, o & 1);
            ASSERT_TRUE(matEqual(d, ref)) << m << " " << o;
        }
}

TEST(TransformRotate, BoxTurnByZeroAndNinetyDegrees) {
    // Even sizes: the box of the corners is the image, and 0 degrees copies it.
    const Mat src = counting(4, 6, MAT_Tshort);
    Mat d;
    ip::rotate(src, d, 0.0f, InterpNearest, OverflowColor, nullptr, false, false);
    EXPECT_TRUE(matEqual(d, src));
    // A quarter turn swaps the extents.
    ip::rotate(src, d, 90.0f, InterpNearest, OverflowColor, nullptr, false, false);
    EXPECT_EQ(d.rows(), 6);
    EXPECT_EQ(d.cols(), 4);
    // Bad angles and sources leave the destination.
    Mat keep(1, 1, MAT_Tshort, Point4_<double>(3, 3, 3, 3));
    ip::rotate(src, keep, std::nanf(""), InterpNearest, OverflowColor, nullptr, false, false);
    ip::rotate(Mat(1, 1, MAT_Tshort), keep, 20.0f, InterpNearest, OverflowColor, nullptr, false,
               false);
    EXPECT_EQ(keep.rows(), 1);
    EXPECT_EQ(at(keep, 0, 0), 3);
}

TEST(TransformRotate, CanvasTurnGrowsAndKeepsPixels) {
    for (int depth : kDepths) {
        const Mat src = counting(3, 5, depth | (2 << 3));
        Mat d;
        ip::rotate(src, d, 0.0f);
        // Corners (5,0), (0,3), (4,3): the canvas is 3 + 2 rows by 5 + 2 columns.
        ASSERT_EQ(d.rows(), 5);
        ASSERT_EQ(d.cols(), 7);
        EXPECT_EQ(d.type1(), src.type1());
        for (int y = 0; y < 5; y++)
            for (int x = 0; x < 7; x++)
                for (int k = 0; k < 3; k++)
                    EXPECT_EQ(at(d, y, x, k), at(src, std::min(y, 2), std::min(x, 4), k));
        ip::rotate(src, d, 90.0f);
        // (5,0) -> (0,5), (0,3) -> (-3,0), (4,3) -> (-3,4): x from -3, y up to 5 + 2.
        ASSERT_EQ(d.rows(), 7);
        ASSERT_EQ(d.cols(), 5);
        // Destination (x, y) reads source (y, -(x - 3)) clamped.
        EXPECT_EQ(at(d, 0, 3), at(src, 0, 0));
        EXPECT_EQ(at(d, 4, 1), at(src, 2, 4));
    }
}

// ---------------------------------------------------------------- crop

TEST(TransformCrop, PlainCropsAndRefusals) {
    for (int depth : kDepths) {
        const Mat src = counting(5, 6, depth);
        Mat d;
        ip::crop(src, d, Rect_<int>(1, 2, 3, 2));
        ASSERT_EQ(d.rows(), 2);
        ASSERT_EQ(d.cols(), 3);
        EXPECT_EQ(at(d, 0, 0), 14);
        EXPECT_EQ(at(d, 1, 2), 22);
        Mat e;
        ip::crop(src, e, 1, 2, 4, 4);  // left, top, right, bottom
        EXPECT_TRUE(matEqual(d, e));
        Mat f;
        ip::crop(src, f, 1, 2, 3, 2, 0.0f);  // angle 0 is a plain crop
        EXPECT_TRUE(matEqual(d, f));
    }
    const Mat src = counting(5, 6, MAT_Tuchar);
    Mat keep(1, 1, MAT_Tuchar, Point4_<double>(8, 8, 8, 8));
    const Mat before = keep;
    ip::crop(src, keep, Rect_<int>(4, 0, 3, 2));   // past the right edge
    ip::crop(src, keep, Rect_<int>(-1, 0, 2, 2));  // past the left edge
    ip::crop(src, keep, Rect_<int>(0, 0, 0, 2));   // empty
    ip::crop(src, keep, Rect_<int>(0, 0, 2147483647, 2));
    ip::crop(src, keep, 0, 0, 5, 5, 30.0f);  // turned corners outside
    ip::crop(src, keep, 0, 0, 5, 5, std::nanf(""));
    EXPECT_TRUE(matEqual(keep, before));
}

TEST(TransformCrop, TurnedCropReadsTheTurnedRectangle) {
    const Mat src = counting(21, 21, MAT_Tfloat);
    // A half turn about the centre of a 5 x 5 square reads it backwards (the
    // floor of a sine that is not exactly 0 may move a read by one pixel).
    Mat d;
    ip::crop(src, d, 8, 8, 5, 5, 180.0f);
    ASSERT_EQ(d.rows(), 5);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 5; x++) {
            const int v = int(at(d, y, x)) - 1, sy = v / 21, sx = v % 21;
            EXPECT_LE(std::abs(sy - (10 + 2 - y)), 1) << y << "," << x;
            EXPECT_LE(std::abs(sx - (10 + 2 - x)), 1) << y << "," << x;
        }
    // Between 45 and 135 degrees the result turns again: extents swap.
    Mat t;
    ip::crop(src, t, 6, 8, 8, 4, 90.0f);
    EXPECT_EQ(t.rows(), 8);
    EXPECT_EQ(t.cols(), 4);
    Mat u;
    ip::crop(src, u, 6, 8, 8, 4, 30.0f);
    EXPECT_EQ(u.rows(), 4);
    EXPECT_EQ(u.cols(), 8);
}

TEST(TransformCrop, CropExPadsOutsideWithTheFill) {
    for (int type : {MAT_Tuchar, MAT_Tuchar3, MAT_Tdouble}) {
        const Mat src = counting(3, 4, type);
        Mat d;
        ip::cropEx(src, d, Rect_<int>(-2, 1, 4, 4), Point4_<double>(7, 8, 9, 0));
        ASSERT_EQ(d.rows(), 4);
        ASSERT_EQ(d.cols(), 4);
        EXPECT_EQ(d.type1(), src.type1());
        for (int y = 0; y < 4; y++)
            for (int x = 0; x < 4; x++)
                for (int k = 0; k < src.channels(); k++) {
                    const int sx = x - 2, sy = y + 1;
                    const bool in = sx >= 0 && sy < 3;
                    EXPECT_EQ(at(d, y, x, k), in ? at(src, sy, sx, k) : 7.0 + k);
                }
        Mat inside;
        ip::cropEx(src, inside, Rect_<int>(1, 1, 2, 2), Point4_<double>());
        Mat plain;
        ip::crop(src, plain, Rect_<int>(1, 1, 2, 2));
        EXPECT_TRUE(matEqual(inside, plain));
        Mat keep = src;
        ip::cropEx(src, keep, Rect_<int>(0, 0, 0, 3), Point4_<double>());
        ip::cropEx(src, keep, Rect_<int>(-2000000000, 0, 5, 3), Point4_<double>());
        EXPECT_TRUE(matEqual(keep, src));
    }
}

// ---------------------------------------------------------------- expand, skew, thumbnail

TEST(TransformExpand, MarginsAndDestinationRules) {
    for (int depth : kDepths) {
        const Mat src = counting(2, 3, depth | (2 << 3));
        Mat d;
        ip::expand(src, d, 1, 2, 3, 0, Point4_<unsigned char>(5, 6, 7, 8));
        ASSERT_EQ(d.rows(), 4);
        ASSERT_EQ(d.cols(), 7);
        for (int y = 0; y < 4; y++)
            for (int x = 0; x < 7; x++)
                for (int k = 0; k < 3; k++) {
                    const bool in = x >= 1 && x < 4 && y >= 2;
                    EXPECT_EQ(at(d, y, x, k), in ? at(src, y - 2, x - 1, k) : 5.0 + k);
                }
        Mat e;
        ip::expand(src, e, 5, 4, Point4_<unsigned char>(5, 6, 7, 8));
        Mat f;
        ip::expand(src, f, 0, 0, 2, 2, Point4_<unsigned char>(5, 6, 7, 8));
        EXPECT_TRUE(matEqual(e, f));
    }
    const Mat src = counting(2, 3, MAT_Tuchar);
    Mat keep(5, 5, MAT_Tuchar, Point4_<double>(1, 1, 1, 1));
    const Mat before = keep;
    ip::expand(src, keep, 1, 1, 1, 1, Point4_<unsigned char>());  // holds pixels, other shape
    Mat fresh;
    ip::expand(src, fresh, -1, 0, 0, 0, Point4_<unsigned char>());
    ip::expand(src, fresh, 2, 1, Point4_<unsigned char>());  // smaller than src
    ip::expand(src, fresh, 0, 0, 2147483647, 0, Point4_<unsigned char>());
    EXPECT_TRUE(matEqual(keep, before));
    EXPECT_TRUE(fresh.empty());
}

TEST(TransformSkew, ShearsAndKeepsUncoveredPixels) {
    for (int depth : kDepths) {
        const Mat src = counting(4, 5, depth | (2 << 3));
        Mat d;
        ip::skew(src, d, 0.0f, 0.0f, 2, 2, false);
        EXPECT_TRUE(matEqual(d, src));
        // slopeX 1 about row 0: row y reads columns shifted by y.
        ip::skew(src, d, 1.0f, 0.0f, 0, 0, false);
        for (int y = 0; y < 4; y++)
            for (int x = 0; x < 5; x++)
                EXPECT_EQ(at(d, y, x, 1), at(src, y, x + y < 5 ? x + y : x, 1));
    }
    // Interpolated zero slope: exact positions hit the fixed-point form (0) in
    // the interior, the last row and column run in float and keep their value.
    const Mat f = counting(3, 4, MAT_Tfloat);
    Mat d;
    ip::skew(f, d, 0.0f, 0.0f, 0, 0, true);
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 4; x++)
            EXPECT_EQ(at(d, y, x), (x == 3 || y == 2) ? at(f, y, x) : 0.0) << y << "," << x;
    Mat keep(2, 2, MAT_Tfloat);
    keep = 4.0;
    const Mat before = keep;
    ip::skew(f, keep, 0.5f, 0.0f, 0, 0, false);
    EXPECT_TRUE(matEqual(keep, before));
}

TEST(TransformThumbnail, FitsAndPadsRightAndBottomOnly) {
    for (int depth : kDepths) {
        const Mat small = counting(3, 4, depth | (2 << 3));
        Mat d;
        ip::thumbnail(small, d, 6, 5, Point4_<unsigned char>(1, 2, 3, 0));
        ASSERT_EQ(d.rows(), 5);
        ASSERT_EQ(d.cols(), 6);
        for (int y = 0; y < 5; y++)
            for (int x = 0; x < 6; x++)
                for (int k = 0; k < 3; k++)
                    EXPECT_EQ(at(d, y, x, k), (x < 4 && y < 3) ? at(small, y, x, k) : 1.0 + k);
    }
    // A wide picture scales by the width: 40 x 10 into 20 x 20 gives 20 x 5.
    const Mat wide(10, 40, MAT_Tuchar, Point4_<double>(50, 0, 0, 0));
    Mat d;
    ip::thumbnail(wide, d, 20, 20, Point4_<unsigned char>(200, 0, 0, 0));
    ASSERT_EQ(d.rows(), 20);
    ASSERT_EQ(d.cols(), 20);
    EXPECT_EQ(at(d, 4, 19), 50);
    EXPECT_EQ(at(d, 5, 0), 200);
    // A tall picture scales by the height.
    const Mat tall(40, 10, MAT_Tuchar, Point4_<double>(50, 0, 0, 0));
    // (d now holds pixels of another shape than `tall`, so it is refused.)
    Mat before = d;
    ip::thumbnail(tall, d, 20, 20, Point4_<unsigned char>(200, 0, 0, 0));
    EXPECT_TRUE(matEqual(d, before));
    d.release();
    ip::thumbnail(tall, d, 20, 20, Point4_<unsigned char>(200, 0, 0, 0));
    EXPECT_EQ(at(d, 19, 4), 50);
    EXPECT_EQ(at(d, 0, 5), 200);
    Mat fresh;
    ip::thumbnail(tall, fresh, 0, 20, Point4_<unsigned char>());
    EXPECT_TRUE(fresh.empty());
}

TEST(TransformOperators, InPlaceFormsAndOtherDepthsAreHarmless) {
    // Operators with a null destination write over their source.
    Mat img = counting(2, 3, MAT_Tint);
    ipRotate<int> r;
    r.mode = 0;
    r.rotateType = RotateRight90;
    EXPECT_TRUE(r.process(img, nullptr));
    EXPECT_EQ(img.rows(), 3);
    EXPECT_EQ(at(img, 0, 0), 4);
    // An empty source is refused by every operator.
    Mat empty, out;
    ipCrop<float> c;
    ipExpand<float> e;
    ipResample<float> s;
    ipSkew<float> k;
    ipThumbnail<float> t;
    EXPECT_FALSE(c.process(empty, &out));
    EXPECT_FALSE(e.process(empty, &out));
    EXPECT_FALSE(s.process(empty, &out));
    EXPECT_FALSE(k.process(empty, &out));
    EXPECT_FALSE(t.process(empty, &out));
    EXPECT_TRUE(out.empty());
    // NaN and huge slopes stay in bounds.
    const Mat src = test::randomMat(6, 7, MAT_Tuchar3, 9);
    Mat d;
    ip::skew(src, d, std::nanf(""), 1e30f, -2000000000, 2000000000, true);
    EXPECT_EQ(d.rows(), 6);
    ip::skew(src, d, 1e30f, std::nanf(""), 2000000000, 0, false);
    EXPECT_EQ(d.rows(), 6);
    ip::rotate(src, d, 1e30f);
    ip::rotate(src, d, std::nanf(""));
    ip::rotate(src, d, 1e30f, InterpLanczos, OverflowWrap, nullptr, true, true);
}
