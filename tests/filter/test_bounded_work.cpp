// Requests whose work would be out of all proportion to their input: outputs
// far larger than the source are refused, iteration counts past the point
// where nothing can change are cut, and kernels wider than the image are not
// built.
#include <climits>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/ip/integral.h"
#include "tarvo/ip/morphology.h"

using namespace tarvo;
using tarvo::test::matEqual;
using tarvo::test::randomMat;

namespace {

TEST(BoundedWork, OutputsFarLargerThanTheSourceAreRefused) {
    const Mat src = randomMat(70, 70, MAT_Tuchar, 3, 0.0, 255.0);
    Mat dst(2, 2, MAT_Tuchar, Point4_<double>(7.0));
    const Mat before = dst.clone();
    ip::pyrDown(src, dst, Size_<int>(1 << 20, 35));
    ip::pyrUp(src, dst, Size_<int>(140, 1 << 20));
    ip::copyMakeBorder(src, dst, 0, 0, 0, 1 << 20, BorderClamp);
    ip::copyMakeBorder(src, dst, 1 << 17, 1 << 17, 0, 0, BorderFill);
    ip::resize(src, dst, 1 << 20, 70, ip::ResizeLinear);
    ip::resize(src, dst, 70, 1 << 20, ip::ResizeScaleXY);
    EXPECT_TRUE(matEqual(dst, before));
    Mat self = src.clone();
    ip::resize(self, 1 << 20, 70);
    EXPECT_TRUE(matEqual(self, src));

    // The limit: 256 times the source's area plus a 4096 x 4096 canvas.
    const Mat dot = randomMat(1, 1, MAT_Tuchar, 4, 0.0, 255.0);
    Mat canvas;
    ip::copyMakeBorder(dot, canvas, 2048, 2047, 2048, 2047, BorderFill);
    EXPECT_EQ(canvas.size(), Size_<int>(4096, 4096));
    Mat tooBig = before.clone();
    ip::copyMakeBorder(dot, tooBig, 2048, 2048, 2048, 2047, BorderFill);
    EXPECT_TRUE(matEqual(tooBig, before));
    // A 16-fold enlargement per side of any source stays legal.
    Mat up;
    ip::resize(src, up, 70 * 16, 70 * 16, ip::ResizeScaleXY);
    EXPECT_EQ(up.size(), Size_<int>(1120, 1120));
    ip::pyrUp(src, up, Size_<int>(1120, 1120));
    EXPECT_EQ(up.size(), Size_<int>(1120, 1120));
}

// Repeated single passes until one changes nothing: the fixed point.
Mat erodeToFixedPoint(const Mat& src, const Mat& element, int border) {
    Mat cur = src.clone(), next;
    for (;;) {
        ip::erode(cur, next, element, Point2_<int>(-1, -1), 1, border);
        if (matEqual(next, cur)) return cur;
        cur = next.clone();
    }
}

TEST(BoundedWork, ErosionIterationsStopAtTheFixedPoint) {
    const Mat src = randomMat(9, 13, MAT_Tuchar, 5, 0.0, 255.0);
    const Mat cross = ip::getStructuringElement(ip::MorphCross, Size_<int>(3, 3));
    for (int border : {int(BorderFill), int(BorderClamp), int(BorderMirror)}) {
        const Mat want = erodeToFixedPoint(src, cross, border);
        Mat got;
        ip::erode(src, got, cross, Point2_<int>(-1, -1), INT_MAX, border);
        EXPECT_TRUE(matEqual(got, want)) << border;
        // Counts below the fixed point still run every pass.
        Mat three, step = src.clone();
        ip::erode(src, three, cross, Point2_<int>(-1, -1), 3, border);
        for (int i = 0; i < 3; i++) ip::erode(step, step, cross, Point2_<int>(-1, -1), 1, border);
        EXPECT_TRUE(matEqual(three, step)) << border;
    }
}

TEST(BoundedWork, ElementsWithoutTheirAnchorRefuseCountsPastThePixelCount) {
    // A ring: passes shift values around and may cycle, so the count matters
    // up to the bound and larger counts are refused.
    Mat ring = ip::getStructuringElement(ip::MorphRect, Size_<int>(3, 3));
    ring.ptr<unsigned char>(1)[1] = 0;
    const Mat src = randomMat(5, 6, MAT_Tuchar, 6, 0.0, 255.0);
    Mat dst(2, 2, MAT_Tuchar, Point4_<double>(7.0));
    const Mat before = dst.clone();
    ip::dilate(src, dst, ring, Point2_<int>(-1, -1), 31, BorderMirror);
    EXPECT_TRUE(matEqual(dst, before));
    Mat step = src.clone();
    for (int i = 0; i < 30; i++)
        ip::dilate(step, step, ring, Point2_<int>(-1, -1), 1, BorderMirror);
    ip::dilate(src, dst, ring, Point2_<int>(-1, -1), 30, BorderMirror);
    EXPECT_TRUE(matEqual(dst, step));
}

TEST(BoundedWork, DiscBlurWithAHugeSupportLeavesThePixelsAndReturnsPromptly) {
    // Every support in the disc but its rim is wider than the image, which
    // leaves those pixels as they are; the rim's support rounds to nothing.
    const Mat src = randomMat(70, 70, MAT_Tuchar3, 7, 0.0, 255.0);
    Mat dst = src.clone();
    EXPECT_EQ(ip::blurringCircle(src, dst, 35, 2, INT_MAX, Point2_<int>(35, 35)), 1);
    EXPECT_TRUE(matEqual(dst, src));
}

}  // namespace
