// Warps, remap, map conversion and the transform solvers.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "support/vector_targets.h"
#include "support/naive_warp.h"
#include "support/test_util.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"
#include "tarvo/types.h"

using namespace tarvo;
using test::at;
using test::matEqual;

namespace {

const int kMapShort2 = MAT_Tshort | (1 << 3);
const int kMapFloat2 = MAT_Tfloat | (1 << 3);

Mat byte3x3() {
    Mat m(3, 3, MAT_Tuchar);
    for (int i = 0; i < 9; i++) m.ptr<unsigned char>(i / 3)[i % 3] = (unsigned char)(i + 1);
    return m;
}

Mat coeffs(std::initializer_list<double> v, int rows = 2) {
    Mat t(rows, 3, MAT_Tdouble);
    int i = 0;
    for (double x : v) {
        t.ptr<double>(i / 3)[i % 3] = x;
        i++;
    }
    return t;
}

void expectGrid(const Mat& m, std::initializer_list<int> want) {
    int i = 0;
    for (int v : want) {
        EXPECT_EQ(at(m, i / m.cols(), i % m.cols()), v) << "at " << i;
        i++;
    }
}

Mat identityMaps(int rows, int cols, Mat& mapy) {
    Mat mapx(rows, cols, MAT_Tfloat);
    mapy.create(rows, cols, MAT_Tfloat);
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) {
            mapx.ptr<float>(y)[x] = float(x);
            mapy.ptr<float>(y)[x] = float(y);
        }
    return mapx;
}

}  // namespace

// ---------------------------------------------------------------- warps

TEST(WarpAffine, RowIndexFeedsTheFirstCoefficients) {
    const Mat src = byte3x3();
    Mat dst(3, 3, MAT_Tuchar);
    ip::warpAffine(src, dst, coeffs({1, 0, 0, 0, 1, 0}), false);
    expectGrid(dst, {1, 4, 4, 2, 5, 5, 2, 5, 5});
    ip::warpAffine(src, dst, coeffs({0, 1, 0, 1, 0, 0}), false);
    expectGrid(dst, {1, 2, 2, 4, 5, 5, 4, 5, 5});
    // Zero determinant with invert: every coefficient is 0, every pixel reads (0, 0).
    ip::warpAffine(src, dst, coeffs({0, 0, 5, 0, 0, 7}), true);
    expectGrid(dst, {1, 1, 1, 1, 1, 1, 1, 1, 1});
    // A shift by one row, inverted by hand and through the 3 x 3 inverse.
    Mat a(3, 3, MAT_Tuchar), b(3, 3, MAT_Tuchar);
    ip::warpAffine(src, a, coeffs({0, 1, -1, 1, 0, 0}), true);
    ip::warpAffine(src, b, coeffs({0, 1, -1, 1, 0, 0, 0, 0, 1}, 3), true);
    EXPECT_TRUE(matEqual(a, b));
    expectGrid(a, {4, 5, 5, 4, 5, 5, 4, 5, 5});  // reads row i + 1; never the last row or column
}

TEST(WarpAffine, OtherDepthsInterpolateInFloat) {
    for (int depth : {MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble}) {
        Mat src(2, 4, depth | (1 << 3));
        for (int x = 0; x < 4; x++)
            for (int y = 0; y < 2; y++) {
                Mat one(1, 1, depth | (1 << 3), Point4_<double>(10 * x + 100 * y, -x, 0, 0));
                src.drawMat(one, Point2_<int>(x, y));
            }
        Mat dst(2, 4, src.type1());
        // Half a pixel to the right: averages of neighbours, the edge repeated.
        ip::warpAffine(src, dst, coeffs({0, 1, 0.5, 1, 0, 0}), false);
        const double want[4] = {5, 15, 25, 30};
        for (int y = 0; y < 2; y++)
            for (int x = 0; x < 4; x++) {
                EXPECT_NEAR(at(dst, y, x, 0), want[x] + 100 * y, 1e-5) << depth;
                const double c1 = -(x + std::min(x + 1, 3)) / 2.0;
                EXPECT_NEAR(at(dst, y, x, 1), depth <= MAT_Tint ? double(int(c1)) : c1, 1e-5)
                    << depth;
            }
    }
}

TEST(WarpPerspective, IdentityWritesOnlyTheInterior) {
    const Mat src = byte3x3();
    const Mat eye = coeffs({1, 0, 0, 0, 1, 0, 0, 0, 1}, 3);
    Mat zeros(3, 3, MAT_Tuchar, Point4_<double>());
    ip::warpPerspective(src, zeros, eye);
    expectGrid(zeros, {1, 2, 0, 4, 5, 0, 0, 0, 0});
    Mat nines(3, 3, MAT_Tuchar, Point4_<double>(9, 9, 9, 9));
    ip::warpPerspective(src, nines, eye);
    expectGrid(nines, {1, 2, 9, 4, 5, 9, 9, 9, 9});
    Mat mask;
    ip::warpPerspectiveMask(src, mask, eye);
    expectGrid(mask, {0, 0, 255, 0, 0, 255, 255, 255, 255});
    // Float images take the same inside test.
    Mat f;
    src.convertTo(f, MAT_Tfloat);
    Mat fz(3, 3, MAT_Tfloat, Point4_<double>());
    ip::warpPerspective(f, fz, eye);
    expectGrid(fz, {1, 2, 0, 4, 5, 0, 0, 0, 0});
}

TEST(WarpBoth, ThinSourcesStayInBounds) {
    for (int depth : {MAT_Tuchar, MAT_Tfloat}) {
        for (int shape = 0; shape < 3; shape++) {
            const int rows = shape == 0 ? 1 : shape == 1 ? 7 : 1, cols = shape == 0 ? 7 : 1;
            const Mat src = test::randomMat(rows, cols, depth, 3, 0, 200);
            Mat dst(5, 6, depth);
            ip::warpAffine(src, dst, coeffs({0.7, 1.3, -2, 0.4, -0.2, 9}), false);
            ip::warpAffine(src, dst, coeffs({0, 1, 0, 1, 0, 0}), false);
            if (rows == 1 && cols == 7) {  // one row: every output row repeats it
                for (int x = 0; x < 6; x++) EXPECT_EQ(at(dst, 4, x), at(src, 0, x));
            }
            ip::warpPerspective(src, dst, coeffs({1.1, 0.1, -1, 0.2, 0.9, 2, 0.001, 0.002, 1}, 3));
            Mat mask;
            ip::warpPerspectiveMask(src, mask, coeffs({1, 0, 0, 0, 1, 0}));
            EXPECT_EQ(mask.countNonZero(), src.rows() * src.cols());  // nothing inside
        }
    }
}

TEST(WarpBoth, RefusalsLeaveTheDestination) {
    const Mat src = byte3x3();
    Mat dst(3, 3, MAT_Tuchar, Point4_<double>(7, 7, 7, 7));
    const Mat before = dst;
    ip::warpAffine(src, dst, Mat(2, 2, MAT_Tdouble, Point4_<double>()), false);
    ip::warpAffine(src, dst, Mat(2, 3, MAT_Tdouble | (1 << 3), Point4_<double>()), false);
    ip::warpAffine(src, dst, Mat(), false);
    ip::warpPerspective(src, dst, Mat(4, 3, MAT_Tdouble, Point4_<double>()));
    EXPECT_TRUE(matEqual(dst, before));
    Mat wrongType(3, 3, MAT_Tfloat, Point4_<double>(7, 7, 7, 7));
    const Mat wrongBefore = wrongType;
    ip::warpAffine(src, wrongType, coeffs({1, 0, 0, 0, 1, 0}), false);
    ip::warpPerspective(src, wrongType, coeffs({1, 0, 0, 0, 1, 0}));
    EXPECT_TRUE(matEqual(wrongType, wrongBefore));
    Mat empty;
    ip::warpAffine(src, empty, coeffs({1, 0, 0, 0, 1, 0}), false);
    EXPECT_TRUE(empty.empty());
    Mat mask(2, 2, MAT_Tuchar, Point4_<double>(3, 3, 3, 3));
    ip::warpPerspectiveMask(src, mask, Mat());
    EXPECT_EQ(at(mask, 0, 0), 3);
    // NaN coefficients read (0, 0) and write only defined values.
    ip::warpAffine(src, dst, coeffs({NAN, 0, 0, 0, NAN, 0}), false);
    expectGrid(dst, {1, 1, 1, 1, 1, 1, 1, 1, 1});
}

TEST(WarpBoth, InPlaceAndParallelRunsAgree) {
    const Mat src = test::randomMat(300, 420, MAT_Tuchar3, 8);
    const Mat rot = ip::getRotationMatrix2D(Point2_<float>(210, 150), 17, 1.1);
    Mat swapped(2, 3, MAT_Tdouble);
    for (int c = 0; c < 3; c++) {
        swapped.ptr<double>(0)[c] = rot.value(1, c);
        swapped.ptr<double>(1)[c] = rot.value(0, c);
    }
    const Mat persp = coeffs({1.05, 0.1, -10, 0.02, 0.95, 5, 1e-4, 2e-4, 1}, 3);
    Mat a(300, 420, MAT_Tuchar3), b(300, 420, MAT_Tuchar3), p1, p2;
    ip::warpAffine(src, a, swapped, true);
    p1 = src;
    ip::warpPerspective(src, p1, persp);
    setNumThreads(1);
    ip::warpAffine(src, b, swapped, true);
    p2 = src;
    ip::warpPerspective(src, p2, persp);
    setNumThreads(0);
    EXPECT_TRUE(matEqual(a, b));
    EXPECT_TRUE(matEqual(p1, p2));
    // Writing over the source reads a copy of it.
    Mat inPlace = src;
    ip::warpAffine(inPlace, inPlace, swapped, true);
    EXPECT_TRUE(matEqual(inPlace, a));
}

// ---------------------------------------------------------------- solvers and points

TEST(WarpSolvers, RotationAffineAndPerspective) {
    const Mat r = ip::getRotationMatrix2D(Point2_<float>(10, 20), 90, 1);
    const double want[6] = {0, 1, -10, -1, 0, 30};
    for (int k = 0; k < 6; k++) EXPECT_NEAR(r.value(k / 3, k % 3), want[k], 1e-12);
    const Mat id = ip::getRotationMatrix2D(Point2_<float>(3, 4), 0, 1);
    for (int k = 0; k < 6; k++) EXPECT_EQ(id.value(k / 3, k % 3), k == 0 || k == 4 ? 1.0 : 0.0);

    const Point2_<float> s3[3] = {{0, 0}, {1, 0}, {0, 1}}, d3[3] = {{2, 3}, {4, 3}, {2, 5}};
    const Mat a = ip::getAffineTransform(s3, d3);
    ASSERT_EQ(a.rows(), 2);
    const double wa[6] = {2, 0, 2, 0, 2, 3};
    for (int k = 0; k < 6; k++) EXPECT_NEAR(a.value(k / 3, k % 3), wa[k], 1e-12);

    // An inconsistent fourth pair: the least-squares fit has zero gradient.
    Array<Point2_<float>> s, d;
    for (int i = 0; i < 3; i++) {
        s.add(s3[i]);
        d.add(d3[i]);
    }
    s.add(Point2_<float>(1, 1));
    d.add(Point2_<float>(5, 6));
    const Mat ls = ip::getAffineTransform(s, d);
    ASSERT_EQ(ls.rows(), 2);
    for (int row = 0; row < 2; row++) {
        double g[3] = {0, 0, 0};
        for (int i = 0; i < 4; i++) {
            const double x = s[i].x, y = s[i].y, t = row == 0 ? d[i].x : d[i].y;
            const double e = ls.value(row, 0) * x + ls.value(row, 1) * y + ls.value(row, 2) - t;
            g[0] += e * x;
            g[1] += e * y;
            g[2] += e;
        }
        for (double v : g) EXPECT_NEAR(v, 0.0, 1e-9);
    }
    EXPECT_GT(std::fabs(ls.value(0, 0) - 2.0), 0.1);  // the fourth pair moved it

    // Unit square to side 2, and a fifth pair that is ignored.
    Array<Point2_<float>> ps, pd;
    Array<Point2_<int>> is, id2;
    const float sq[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    for (auto& q : sq) {
        ps.add(Point2_<float>(q[0], q[1]));
        pd.add(Point2_<float>(2 * q[0], 2 * q[1]));
        is.add(Point2_<int>(int(q[0]), int(q[1])));
        id2.add(Point2_<int>(int(2 * q[0]), int(2 * q[1])));
    }
    ps.add(Point2_<float>(5, 5));
    pd.add(Point2_<float>(-40, 3));
    is.add(Point2_<int>(5, 5));
    id2.add(Point2_<int>(-40, 3));
    for (const Mat& p :
         {ip::getPerspectiveTransform(ps, pd), ip::getPerspectiveTransform(is, id2)}) {
        ASSERT_EQ(p.rows(), 3);
        const double wp[9] = {2, 0, 0, 0, 2, 0, 0, 0, 1};
        for (int k = 0; k < 9; k++) EXPECT_NEAR(p.value(k / 3, k % 3), wp[k], 1e-12);
    }
    // Degenerate points: the pseudo-inverse still gives a finite answer.
    Array<Point2_<float>> same, other;
    for (int i = 0; i < 4; i++) {
        same.add(Point2_<float>(1, 1));
        other.add(Point2_<float>(float(i), 2));
    }
    const Mat deg = ip::getPerspectiveTransform(same, other);
    ASSERT_EQ(deg.rows(), 3);
    for (int k = 0; k < 9; k++) EXPECT_TRUE(std::isfinite(deg.value(k / 3, k % 3)));
    // Too few or unequal arrays.
    Array<Point2_<float>> two;
    two.add(Point2_<float>(0, 0));
    two.add(Point2_<float>(1, 0));
    EXPECT_TRUE(ip::getAffineTransform(two, two).empty());
    EXPECT_TRUE(ip::getAffineTransform(s, two).empty());
    EXPECT_FALSE(ip::getPerspectiveTransform(s, d).empty());
    Array<Point2_<float>> three(s);
    three.setSize(3);
    EXPECT_TRUE(ip::getPerspectiveTransform(three, three).empty());
    EXPECT_TRUE(ip::getAffineTransform(nullptr, d3).empty());
}

TEST(WarpPoints, InitWarpWarpPointAndRectangles) {
    Mat t;
    ip::initWarp(t, 0, 0, 0, 0, 5, 7);
    const Point2_<float> p = ip::warpPoint(Point2_<float>(1, 1), t);
    EXPECT_EQ(p.x, 6.0f);
    EXPECT_EQ(p.y, 8.0f);
    // Perspective division, double matrix, and the array forms.
    const Mat h = coeffs({2, 0, 0, 0, 2, 0, 0, 0, 2}, 3);
    Array<Point2_<float>> fs, fd;
    fs.add(Point2_<float>(3, 4));
    ip::warpPoint(fs, fd, h);
    ASSERT_EQ(fd.getSize(), 1);
    EXPECT_EQ(fd[0].x, 3.0f);
    Array<Point2_<int>> is, id;
    is.add(Point2_<int>(1, 1));
    is.add(Point2_<int>(2, 3));
    Mat shear;
    ip::initWarp(shear, 0.5f, 0, 0, 0, 0, 0);  // x' = 1.5 x
    ip::warpPoint(is, id, shear);
    ASSERT_EQ(id.getSize(), 2);
    EXPECT_EQ(id[0].x, 1);  // 1.5 truncated
    EXPECT_EQ(id[1].x, 3);
    // Other matrices give (0, 0) and draw nothing.
    const Point2_<float> z = ip::warpPoint(Point2_<float>(1, 1), coeffs({1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(z.x, 0.0f);
    EXPECT_EQ(z.y, 0.0f);
    Mat img(20, 20, MAT_Tuchar3, Point4_<double>());
    ip::drawWarpRect(img, Rect_<int>(2, 3, 5, 4), coeffs({1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(img.countNonZero(), 0);
    Mat t2;
    ip::initWarp(t2, 0, 0, 0, 0, 1, 1);
    ip::drawWarpRect(img, Rect_<int>(2, 3, 5, 4), t2);
    EXPECT_EQ(at(img, 4, 3, 0), 255);  // top-left corner moved by (1, 1)
    EXPECT_EQ(at(img, 8, 8, 2), 255);  // bottom-right
    EXPECT_EQ(at(img, 6, 5, 0), 0);    // inside stays
}

// ---------------------------------------------------------------- maps

TEST(RemapMaps, ConvertMapsRoundTrips) {
    Mat mx(1, 1, MAT_Tfloat, Point4_<double>(1.25, 0, 0, 0));
    Mat my(1, 1, MAT_Tfloat, Point4_<double>(2.5, 0, 0, 0));
    Mat i1, i2;
    ip::convertMaps(mx, my, i1, i2, kMapShort2, false);
    ASSERT_EQ(i1.type1(), kMapShort2);
    ASSERT_EQ(i2.type1(), MAT_Tshort);
    EXPECT_EQ(i1.ptr<short>(0)[0], 1);
    EXPECT_EQ(i1.ptr<short>(0)[1], 2);
    EXPECT_EQ(i2.ptr<short>(0)[0], 520);
    Mat b1, b2;
    ip::convertMaps(i1, i2, b1, b2, MAT_Tfloat, false);
    EXPECT_EQ(b1.ptr<float>(0)[0], 1.25f);
    EXPECT_EQ(b2.ptr<float>(0)[0], 2.5f);
    Mat x2, none;
    ip::convertMaps(i2, i1, x2, none, kMapFloat2, false);  // maps in the other order
    EXPECT_EQ(x2.ptr<float>(0)[0], 1.25f);
    EXPECT_EQ(x2.ptr<float>(0)[1], 2.5f);
    EXPECT_TRUE(none.empty());
    Mat n1, n2(1, 1, MAT_Tuchar);
    ip::convertMaps(x2, Mat(), n1, n2, kMapShort2, true);  // nearest: rounded, no fractions
    EXPECT_EQ(n1.ptr<short>(0)[0], 1);
    EXPECT_EQ(n1.ptr<short>(0)[1], 3);
    EXPECT_TRUE(n2.empty());
    // Out-of-range and NaN coordinates saturate.
    Mat far(1, 2, kMapFloat2);
    far.ptr<float>(0)[0] = 1e9f;
    far.ptr<float>(0)[1] = NAN;
    far.ptr<float>(0)[2] = -1e9f;
    far.ptr<float>(0)[3] = 0;
    ip::convertMaps(far, Mat(), n1, n2, kMapShort2, false);
    EXPECT_EQ(n1.ptr<short>(0)[0], 32767);
    EXPECT_EQ(n1.ptr<short>(0)[1], -32768);
    EXPECT_EQ(n1.ptr<short>(0)[2], -32768);
    // Bad pairs leave both outputs alone.
    Mat k1(1, 1, MAT_Tuchar, Point4_<double>(4, 4, 4, 4)), k2 = k1;
    ip::convertMaps(mx, Mat(), k1, k2, kMapShort2, false);
    ip::convertMaps(mx, Mat(2, 2, MAT_Tfloat), k1, k2, kMapShort2, false);
    ip::convertMaps(i1, i2, k1, k2, MAT_Tdouble, false);
    EXPECT_EQ(at(k1, 0, 0), 4);
    EXPECT_EQ(at(k2, 0, 0), 4);
}

TEST(RemapMaps, IdentityMapsCopyForEveryCodeAndBorder) {
    for (int type : {MAT_Tuchar, MAT_Tuchar3, MAT_Tfloat, MAT_Tshort3, MAT_Tdouble}) {
        // Wide enough for whole vector groups of inside positions.
        const Mat src = test::randomMat(12, 40, type, 4, -50, 300);
        Mat my;
        const Mat mx = identityMaps(12, 40, my);
        Mat xy, fr;
        ip::convertMaps(mx, my, xy, fr, kMapShort2, false);
        Mat both;
        ip::convertMaps(mx, my, both, fr, kMapFloat2, false);
        for (int code : {0, 1, 2, 3, 4})
            for (int border = 0; border <= 4; border++) {
                Mat a, b, c;
                ip::remap(src, a, mx, my, code, border | (border == 2 ? 16 : 0),
                          Point4_<double>(1, 2, 3, 4));
                ip::remap(src, b, xy, Mat(), code, border, Point4_<double>());
                ip::remap(src, c, both, Mat(), code, border, Point4_<double>());
                EXPECT_TRUE(matEqual(a, src)) << type << " " << code << " " << border;
                EXPECT_TRUE(matEqual(b, src)) << type << " " << code << " " << border;
                EXPECT_TRUE(matEqual(c, src)) << type << " " << code << " " << border;
            }
    }
}

TEST(RemapMaps, RampBordersAndFill) {
    Mat ramp(1, 3, MAT_Tuchar);
    for (int x = 0; x < 3; x++) ramp.ptr<unsigned char>(0)[x] = (unsigned char)(10 * x);
    Mat my;
    Mat mx = identityMaps(1, 3, my);
    for (int x = 0; x < 3; x++) mx.ptr<float>(0)[x] += 0.5f;
    Mat d;
    ip::remap(ramp, d, mx, my, 1, BorderClamp, Point4_<double>());
    expectGrid(d, {5, 15, 20});
    ip::remap(ramp, d, mx, my, 1, BorderWrap, Point4_<double>());
    expectGrid(d, {5, 15, 10});
    ip::remap(ramp, d, mx, my, 1, BorderFill, Point4_<double>(100, 0, 0, 0));
    expectGrid(d, {5, 15, 60});
    // Everything outside: channel k takes the fill value k % 4.
    const Mat src(4, 4, MAT_Tfloat | (5 << 3), Point4_<double>());
    Mat far(2, 2, kMapFloat2, Point4_<double>(-50, -50, -50, -50));
    for (int code : {0, 1, 2, 4}) {
        ip::remap(src, d, far, Mat(), code, BorderFill, Point4_<double>(1, 2, 3, 4));
        ASSERT_EQ(d.channels(), 6);
        for (int k = 0; k < 6; k++) EXPECT_EQ(at(d, 1, 1, k), double(1 + k % 4)) << code;
    }
}

TEST(RemapMaps, RotationMatchesASlowBilinear) {
    for (int type : {MAT_Tuchar, MAT_Tuchar3, MAT_Tfloat}) {
        const Mat src = test::randomMat(40, 50, type, 12, 0, 255);
        Mat mx, my;
        test::rotationMaps(45, 47, 40, 50, 17.0, mx, my);
        Mat d;
        ip::remap(src, d, mx, my, 1, BorderClamp, Point4_<double>());
        ASSERT_EQ(d.rows(), 45);
        double worst = 0;
        for (int y = 0; y < 45; y++)
            for (int x = 0; x < 47; x++)
                for (int k = 0; k < src.channels(); k++) {
                    const double want =
                        test::naiveBilinear32(src, mx.ptr<float>(y)[x], my.ptr<float>(y)[x], k);
                    worst = std::max(worst, std::fabs(at(d, y, x, k) - want));
                }
        EXPECT_LE(worst, 1.0) << type;
    }
}

TEST(RemapMaps, RefusalsLeaveTheDestination) {
    const Mat src = test::randomMat(5, 5, MAT_Tuchar, 1);
    Mat my;
    const Mat mx = identityMaps(5, 5, my);
    Mat keep(1, 1, MAT_Tuchar, Point4_<double>(6, 6, 6, 6));
    const Mat before = keep;
    ip::remap(src, keep, Mat(), Mat(), 1, 0, Point4_<double>());
    ip::remap(src, keep, mx, Mat(), 1, 0, Point4_<double>());                  // x map alone
    ip::remap(src, keep, mx, Mat(4, 5, MAT_Tfloat), 1, 0, Point4_<double>());  // unequal
    ip::remap(src, keep, mx, my, 5, 0, Point4_<double>());
    ip::remap(src, keep, mx, my, -1, 0, Point4_<double>());
    ip::remap(src, keep, mx, my, 1, 5, Point4_<double>());
    ip::remap(test::randomMat(5, 5, MAT_Tint, 1), keep, mx, my, 1, 0, Point4_<double>());
    ip::remap(Mat(), keep, mx, my, 1, 0, Point4_<double>());
    Mat dmx;
    mx.convertTo(dmx, MAT_Tdouble);
    ip::remap(src, keep, dmx, dmx, 1, 0, Point4_<double>());  // double maps are not a form
    EXPECT_TRUE(matEqual(keep, before));
}

TEST(RemapMaps, ThreadsAndFirstCallsAgree) {
    const Mat src = test::randomMat(200, 330, MAT_Tuchar3, 6);
    Mat mx, my;
    test::rotationMaps(260, 300, 200, 330, 17.0, mx, my);
    // Eight threads making their first table requests at once.
    std::vector<Mat> out(8);
    std::vector<std::thread> th;
    for (int t = 0; t < 8; t++)
        th.emplace_back([&, t] {
            ip::remap(src, out[size_t(t)], mx, my, t % 2 ? 2 : 4, BorderMirror, Point4_<double>());
        });
    for (auto& t : th) t.join();
    for (int t = 2; t < 8; t++) EXPECT_TRUE(matEqual(out[size_t(t)], out[size_t(t % 2)]));
    for (int code : {1, 2, 4}) {
        Mat par, ser;
        ip::remap(src, par, mx, my, code, BorderMirrorNoEdge, Point4_<double>(9, 8, 7, 6));
        setNumThreads(1);
        ip::remap(src, ser, mx, my, code, BorderMirrorNoEdge, Point4_<double>(9, 8, 7, 6));
        setNumThreads(0);
        EXPECT_TRUE(matEqual(par, ser)) << code;
    }
}

TEST(WarpAffine, VectorAndScalarPathsAgree) {
    // Column steps that cross zero and powers of two, and steps of one and a
    // half units of the last place on [2, 4), whose rounded additions
    // alternate between two increments (visible in float pixels).
    const Mat steps[] = {coeffs({0.27, 1.13, -7.5, 0.96, -0.31, 12.25}),
                         coeffs({0.01, 1.00000011920928955, 2.0, 0.5, 0.3, -9.0}),
                         coeffs({0.3, -0.0625, 0.75, 0.02, 0.7, -20.0}),
                         coeffs({0.04, 3.5762786865234375e-07, 2.5, 0.9, -5.0e-7, 3.0})};
    for (const Mat& t : steps)
        for (int type : {int(MAT_Tuchar), int(MAT_Tuchar) | (1 << 3), int(MAT_Tuchar3),
                         int(MAT_Tuchar4), int(MAT_Tfloat3)}) {
            for (int shape = 0; shape < 3; shape++) {
                const int rows = shape == 1 ? 1 : 37, cols = shape == 2 ? 1 : 53;
                const Mat src = test::randomMat(rows, cols, type, 31);
                Mat vec(41, 67, type), sca(41, 67, type);
                ip::warpAffine(src, vec, t, false);
                detail::setUseOptimized(false);
                ip::warpAffine(src, sca, t, false);
                detail::setUseOptimized(true);
                EXPECT_TRUE(matEqual(vec, sca)) << type << " " << rows << "x" << cols;
            }
        }
    // A sub-matrix reference (rows spaced by the parent's pitch) as the source.
    const Mat big = test::randomMat(60, 80, MAT_Tuchar3, 2);
    Mat part;
    big.subRefMat(Rect_<int>(10, 5, 40, 30), part);
    Mat copy = part.clone(), a(30, 40, MAT_Tuchar3), b(30, 40, MAT_Tuchar3);
    ip::warpAffine(part, a, steps[0], false);
    ip::warpAffine(copy, b, steps[0], false);
    EXPECT_TRUE(matEqual(a, b));
}

TEST(RemapMaps, VectorAndScalarPathsAgree) {
    // Wider than the source, so that whole runs of positions fall outside it.
    Mat mx, my;
    test::rotationMaps(47, 121, 40, 50, 23.0, mx, my);
    for (int type :
         {int(MAT_Tuchar), int(MAT_Tuchar) | (1 << 3), int(MAT_Tuchar3), int(MAT_Tuchar4)}) {
        const Mat src = test::randomMat(40, 50, type, 17);
        Mat xy, fr;
        ip::convertMaps(mx, my, xy, fr, kMapShort2, false);
        for (int code : {1, 2, 4})
            for (int border : {BorderFill, BorderClamp, BorderWrap}) {
                Mat v1, v2, s1, s2;
                ip::remap(src, v1, mx, my, code, border, Point4_<double>(7, 8, 9, 10));
                ip::remap(src, v2, xy, fr, code, border, Point4_<double>(7, 8, 9, 10));
                detail::setUseOptimized(false);
                ip::remap(src, s1, mx, my, code, border, Point4_<double>(7, 8, 9, 10));
                ip::remap(src, s2, xy, fr, code, border, Point4_<double>(7, 8, 9, 10));
                detail::setUseOptimized(true);
                EXPECT_TRUE(matEqual(v1, s1)) << type << " " << code << " " << border;
                EXPECT_TRUE(matEqual(v2, s2)) << type << " " << code << " " << border;
                EXPECT_TRUE(matEqual(v1, v2)) << type << " " << code << " " << border;
            }
    }
}

TEST(WarpBoth, EveryVectorTargetMatchesTheScalarPath) {
    // The turn and the tie-rounding column step, warps and each remap code.
    const Mat turn = coeffs({0.29, 0.96, -6.0, 0.96, -0.29, 14.0});
    const Mat tie = coeffs({0.04, 3.5762786865234375e-07, 2.5, 0.9, -5.0e-7, 3.0});
    const Mat persp = coeffs({1.05, 0.1, -10, 0.02, 0.95, 5, 1e-4, 2e-4, 1}, 3);
    Mat mx, my;
    test::rotationMaps(29, 90, 30, 41, 19.0, mx, my);
    auto runAll = [&] {
        std::vector<Mat> out;
        for (int type : {int(MAT_Tuchar), int(MAT_Tuchar3), int(MAT_Tfloat3)}) {
            const Mat src = test::randomMat(30, 41, type, 23, 0, 255);
            for (const Mat* t : {&turn, &tie}) {
                Mat d(29, 90, type);
                ip::warpAffine(src, d, *t, false);
                out.push_back(d);
            }
            Mat p(29, 90, type, Point4_<double>(3, 3, 3, 3));
            ip::warpPerspective(src, p, persp);
            out.push_back(p);
            if (type == MAT_Tfloat3) continue;
            for (int code : {1, 2, 4})
                for (int border : {BorderFill, BorderClamp}) {
                    Mat r;
                    ip::remap(src, r, mx, my, code, border, Point4_<double>(5, 6, 7, 8));
                    out.push_back(r);
                }
        }
        return out;
    };
    detail::setUseOptimized(false);
    const std::vector<Mat> ref = runAll();
    detail::setUseOptimized(true);
    const int tried = test::onEveryVectorTarget([&](const char* target) {
        const std::vector<Mat> got = runAll();
        for (size_t i = 0; i < ref.size(); i++)
            EXPECT_TRUE(matEqual(got[i], ref[i])) << target << " case " << i;
    });
    EXPECT_GT(tried, 0);
}
