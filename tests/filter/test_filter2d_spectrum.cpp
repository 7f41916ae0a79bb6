// The spectrum route of filter2D: integer destinations equal the direct sum
// byte for byte whichever route runs (every border mode, anchors, kernels
// larger than the image, channels, in place), floating destinations stay
// within the error bound, and the route switches at fixed tap counts.
#include <cfloat>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "filter/filter2d_spectrum.h"
#include "support/test_util.h"
#include "tarvo/ip/filter.h"

namespace tarvo {
namespace {

// Restores automatic routing when a test ends, even on failure.
struct RouteGuard {
    ~RouteGuard() { detail::setFilter2DRoute(0); }
};

Mat filtered(int route, const Mat& src, int ddepth, const Mat& k, Point2_<int> anchor, double delta,
             int border) {
    detail::setFilter2DRoute(route);
    Mat dst;
    ip::filter2D(src, dst, ddepth, k, anchor, delta, border);
    detail::setFilter2DRoute(0);
    return dst;
}

Mat kernelOf(int rows, int cols, unsigned seed, double lo, double hi, int depth = MAT_Tfloat) {
    return test::randomMat(rows, cols, depth, seed, lo, hi);
}

TEST(Filter2DSpectrum, IntegerDestinationsEqualTheDirectSum) {
    RouteGuard guard;
    struct Case {
        int stype, ddepth;
    } cases[] = {{MAT_Tuchar, MAT_Tuchar},
                 {MAKETYPE(MAT_Tuchar, 3), MAT_Tuchar},
                 {MAT_Tuchar, MAT_Tshort},
                 {MAKETYPE(MAT_Tshort, 2), MAT_Tshort}};
    Mat kernels[] = {
        kernelOf(9, 7, 1, -0.05, 0.1),                                // general float kernel
        Mat(5, 11, MAT_Tfloat, Point4_<double>(0.5, 0.5, 0.5, 0.5)),  // many exact halves
        kernelOf(31, 29, 2, 0, 0.002),                                // larger than the image
        Mat(7, 7, MAT_Tint, Point4_<double>(1, 1, 1, 1)),             // whole numbers
    };
    const Point2_<int> anchors[] = {Point2_<int>(-1, -1), Point2_<int>(0, 0), Point2_<int>(4, 1)};
    for (const Case& c : cases) {
        Mat src = test::randomMat(23, 19, c.stype, 3);
        if (MAT_DEPTH(c.stype) == MAT_Tshort)
            for (int y = 0; y < src.rows(); y++)
                for (int x = 0; x < src.cols() * src.channels(); x++)
                    src.ptr<unsigned short>(y)[x] &= 0x3FFF;
        for (int ki = 0; ki < 4; ki++)
            for (int border = BorderFill; border <= BorderMirrorNoEdge; border++)
                for (const auto& a : anchors) {
                    if (a.x >= kernels[ki].cols() || a.y >= kernels[ki].rows()) continue;
                    const double delta = ki == 1 ? 0.5 : -3.0;
                    SCOPED_TRACE(testing::Message()
                                 << "type " << c.stype << " -> " << c.ddepth << " kernel " << ki
                                 << " border " << border << " anchor " << a.x << "," << a.y);
                    const Mat d = filtered(1, src, c.ddepth, kernels[ki], a, delta, border);
                    const Mat s = filtered(2, src, c.ddepth, kernels[ki], a, delta, border);
                    ASSERT_FALSE(d.empty());
                    ASSERT_TRUE(test::matEqual(s, d));
                }
    }
    // in place, and the automatic choice on a large blur
    Mat src = test::randomMat(40, 45, MAKETYPE(MAT_Tuchar, 3), 4);
    Mat box(15, 15, MAT_Tfloat, Point4_<double>(1.0 / 225, 0, 0, 0));
    const Mat d = filtered(1, src, -1, box, Point2_<int>(-1, -1), 0, BorderMirror);
    Mat inplace = src.clone();
    detail::setFilter2DRoute(2);
    ip::filter2D(inplace, inplace, -1, box, Point2_<int>(-1, -1), 0, BorderMirror);
    detail::setFilter2DRoute(0);
    EXPECT_TRUE(test::matEqual(inplace, d));
    EXPECT_TRUE(
        test::matEqual(filtered(0, src, -1, box, Point2_<int>(-1, -1), 0, BorderMirror), d));
    // whole-number kernels past the integer threshold take the route on their own
    Mat ones(30, 30, MAT_Tint, Point4_<double>(1, 1, 1, 1));
    Mat dark = test::randomMat(40, 45, MAT_Tuchar, 12);
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 45; x++) dark.ptr<unsigned char>(y)[x] &= 63;
    EXPECT_TRUE(
        test::matEqual(filtered(0, dark, MAT_Tshort, ones, Point2_<int>(-1, -1), 0, BorderWrap),
                       filtered(1, dark, MAT_Tshort, ones, Point2_<int>(-1, -1), 0, BorderWrap)));
}

TEST(Filter2DSpectrum, FloatingDestinationsStayWithinTheBound) {
    RouteGuard guard;
    Mat fsrc = test::randomMat(37, 41, MAT_Tfloat, 5, -50, 50);
    Mat k = kernelOf(13, 11, 6, -1, 1);
    const double delta = 0.75;
    double sumAbs = 0;
    int nz = 0;
    for (int j = 0; j < 13; j++)
        for (int i = 0; i < 11; i++) {
            sumAbs += std::fabs(k.value(j, i));
            nz += k.value(j, i) != 0;
        }
    const double S = delta + sumAbs * 50;
    const double E = (nz + 2) * std::ldexp(1.0, -23) * S;
    for (int border : {BorderFill, BorderWrap}) {
        const Mat d = filtered(1, fsrc, -1, k, Point2_<int>(2, 9), delta, border);
        const Mat s = filtered(2, fsrc, -1, k, Point2_<int>(2, 9), delta, border);
        for (int y = 0; y < d.rows(); y++)
            for (int x = 0; x < d.cols(); x++) {
                const float a = d.ptr<float>(y)[x], b = s.ptr<float>(y)[x];
                ASSERT_LE(std::fabs(double(a) - b), E + std::fabs(b) * FLT_EPSILON / 2);
            }
        // double destinations from bytes: within 1e-9 S
        Mat bsrc = test::randomMat(37, 41, MAT_Tuchar, 7);
        const double Sb = delta + sumAbs * 255;
        EXPECT_TRUE(test::matNear(
            filtered(2, bsrc, MAT_Tdouble, k, Point2_<int>(-1, -1), delta, border),
            filtered(1, bsrc, MAT_Tdouble, k, Point2_<int>(-1, -1), delta, border), 1e-9 * Sb));
    }
}

TEST(Filter2DSpectrum, RouteSwitchesAtFixedTapCounts) {
    RouteGuard guard;
    Mat fsrc = test::randomMat(30, 30, MAT_Tfloat, 8, -10, 10);
    Mat bsrc = test::randomMat(30, 30, MAT_Tuchar, 9);
    struct Step {
        const Mat* src;
        int ddepth, rows, cols;
        bool spectrum;
    } steps[] = {{&fsrc, -1, 3, 43, false},          // float -> float, 129 taps
                 {&fsrc, -1, 13, 10, true},          // 130 taps
                 {&bsrc, MAT_Tfloat, 7, 7, false},   // other pairs: 49 taps
                 {&bsrc, MAT_Tfloat, 5, 10, true}};  // 50 taps
    for (const Step& st : steps) {
        SCOPED_TRACE(testing::Message() << st.rows << "x" << st.cols);
        Mat k = kernelOf(st.rows, st.cols, 10, -0.3, 0.3);
        const Mat a = filtered(0, *st.src, st.ddepth, k, Point2_<int>(-1, -1), 0.1, BorderClamp);
        const Mat d = filtered(1, *st.src, st.ddepth, k, Point2_<int>(-1, -1), 0.1, BorderClamp);
        const Mat s = filtered(2, *st.src, st.ddepth, k, Point2_<int>(-1, -1), 0.1, BorderClamp);
        ASSERT_FALSE(test::matEqual(d, s));  // the two routes are told apart by their last bits
        EXPECT_TRUE(test::matEqual(a, st.spectrum ? s : d));
    }
    // non-finite kernels, deltas and samples always take the direct sum
    Mat k = kernelOf(13, 10, 11, -0.3, 0.3);
    k.ptr<float>(3)[4] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(test::matEqual(filtered(2, fsrc, -1, k, Point2_<int>(-1, -1), 0, BorderClamp),
                               filtered(1, fsrc, -1, k, Point2_<int>(-1, -1), 0, BorderClamp)));
    Mat inf = fsrc.clone();
    inf.ptr<float>(5)[5] = std::numeric_limits<float>::infinity();
    k = kernelOf(13, 10, 11, -0.3, 0.3);
    EXPECT_TRUE(test::matEqual(filtered(2, inf, -1, k, Point2_<int>(-1, -1), 0, BorderClamp),
                               filtered(1, inf, -1, k, Point2_<int>(-1, -1), 0, BorderClamp)));
}

}  // namespace
}  // namespace tarvo
