// The aliasing rule and checked sizes, through the public API: a destination
// that owns (or is) the source's pixels gives the same bytes as a separate
// destination, and hostile sizes are refused or clipped instead of wrapping.
#include <climits>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/ip/integral.h"
#include "tarvo/ip/photo.h"
#include "tarvo/ip/segment.h"

using namespace tarvo;

namespace {

using Op = std::function<void(const Mat&, Mat&)>;

std::vector<unsigned char> rawBytes(const Mat& m) {
    std::vector<unsigned char> out;
    if (m.empty()) return out;
    const size_t rb = size_t(m.rowByteSize());
    for (int y = 0; y < m.rows(); y++) out.insert(out.end(), m.data.ptr[y], m.data.ptr[y] + rb);
    return out;
}

struct Case {
    const char* name;
    int type;
    Op op;
};

Mat kernel3() {
    Mat k(3, 3, MAT_Tfloat);
    const float v[9] = {1, 2, 1, 0, 1, 0, -1, 2, 1};
    for (int i = 0; i < 9; i++) k.ptr<float>(i / 3)[i % 3] = v[i] / 8;
    return k;
}

const std::vector<Case>& cases() {
    static const std::vector<Case> all = {
        {"copyMakeBorder", MAT_Tuchar3,
         [](const Mat& s, Mat& d) { ip::copyMakeBorder(s, d, 1, 2, 3, 1, BorderMirror, {}); }},
        {"gaussian", MAT_Tuchar, [](const Mat& s, Mat& d) { ip::gaussian(s, d, 1.2f); }},
        {"gaussianX", MAT_Tfloat, [](const Mat& s, Mat& d) { ip::gaussianX(s, d, 1.0f); }},
        {"gaussianDiffX", MAT_Tfloat,
         [](const Mat& s, Mat& d) { ip::gaussianDiffX(s, d, 1.0f, 3.0f); }},
        {"filter2D", MAT_Tuchar,
         [](const Mat& s, Mat& d) {
             ip::filter2D(s, d, MAT_Tshort, kernel3(), Point2_<int>(-1, -1), 2.0, BorderClamp);
         }},
        {"sepFilter2D", MAT_Tfloat,
         [](const Mat& s, Mat& d) {
             Mat k(1, 3, MAT_Tfloat);
             k.ptr<float>(0)[0] = 0.25f, k.ptr<float>(0)[1] = 0.5f, k.ptr<float>(0)[2] = 0.25f;
             ip::sepFilter2D(s, d, -1, k, k, Point2_<int>(-1, -1), 0.0, BorderWrap);
         }},
        {"sobel", MAT_Tuchar, [](const Mat& s, Mat& d) { ip::sobel(s, d, 1, 0, 3); }},
        {"laplace", MAT_Tuchar, [](const Mat& s, Mat& d) { ip::laplace(s, d, 1); }},
        {"pyrDown", MAT_Tuchar3, [](const Mat& s, Mat& d) { ip::pyrDown(s, d); }},
        {"canny", MAT_Tuchar, [](const Mat& s, Mat& d) { ip::canny(s, d, 20.f, 60.f, 0); }},
        {"Threshold", MAT_Tuchar,
         [](const Mat& s, Mat& d) { ip::Threshold(s, d, 100, 255, ip::ThreshBinary); }},
        {"integralImage", MAT_Tuchar, [](const Mat& s, Mat& d) { ip::integralImage(s, d); }},
        {"adaptiveThreshold", MAT_Tuchar,
         [](const Mat& s, Mat& d) { ip::adaptiveThreshold(s, d, 255, 0, 0, 3, 1.0); }},
        {"edgeOrientaitonField", MAT_Tuchar,
         [](const Mat& s, Mat& d) { ip::edgeOrientaitonField(s, d); }},
        {"histogramEqualize", MAT_Tuchar3,
         [](const Mat& s, Mat& d) { ip::histogramEqualize(s, d, 256, nullptr); }},
        {"histogramEqualizeGeneral", MAT_Tuchar,
         [](const Mat& s, Mat& d) { ip::histogramEqualize(s, d, 100, nullptr); }},
        {"histogramLog", MAT_Tuchar3, [](const Mat& s, Mat& d) { ip::histogramLog(s, d); }},
        {"colorize", MAT_Tuchar3, [](const Mat& s, Mat& d) { ip::colorize(s, d, 30, 200, 0.5f); }},
        {"blurringCircle", MAT_Tuchar3,
         [](const Mat& s, Mat& d) { ip::blurringCircle(s, d, 4, 2, 3, Point2_<int>(4, 3)); }},
        {"RGBtoGray", MAT_Tuchar3,
         [](const Mat& s, Mat& d) { ColorSpace::RGBtoGray(s, d, BMP_RGB); }},
        {"GraytoRGB", MAT_Tuchar,
         [](const Mat& s, Mat& d) { ColorSpace::GraytoRGB(s, d, BMP_RGB); }},
        {"extractChannel", MAT_Tuchar3,
         [](const Mat& s, Mat& d) { ColorSpace::extractChannel(s, d, 1); }},
        {"copyTo", MAT_Tshort, [](const Mat& s, Mat& d) { s.copyTo(d); }},
        {"copyToMasked", MAT_Tuchar,
         [](const Mat& s, Mat& d) {
             Mat mask;
             ip::Threshold(s, mask, 90, 255, ip::ThreshBinary);
             s.copyTo(d, mask);
         }},
        {"convertTo", MAT_Tuchar, [](const Mat& s, Mat& d) { s.convertTo(d, MAT_Tfloat, 0.5, 1); }},
    };
    return all;
}

}  // namespace

// The parent owns the pixels; the source is a sub-matrix reference into it and
// the parent itself is the destination. Re-creating the destination must not
// free what is still to be read, and the bytes must equal a separate call.
TEST(Aliasing, DestinationOwningTheSourceGivesTheSeparateResult) {
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.name);
        const Mat parentPixels = test::randomMat(11, 13, c.type, 7, 0.0, 255.0);
        const Rect_<int> part(2, 1, 9, 8);
        Mat plain;
        parentPixels.subMat(part, plain);
        Mat expected;
        c.op(plain, expected);
        ASSERT_FALSE(expected.empty());

        Mat parent(parentPixels), ref;
        parent.subRefMat(part, ref);
        c.op(ref, parent);
        EXPECT_EQ(parent.type1(), expected.type1());
        EXPECT_EQ(rawBytes(parent), rawBytes(expected));

        // In place on one object: the same bytes as well (a copy onto itself
        // is a no-op by definition).
        if (std::string(c.name) == "copyToMasked") continue;
        Mat self(plain);
        c.op(self, self);
        EXPECT_EQ(rawBytes(self), rawBytes(expected));
    }
}

TEST(Aliasing, AssigningASubReferenceToItsParentKeepsItsPixels) {
    const Mat pixels = test::randomMat(6, 7, MAT_Tuchar3, 3, 0.0, 255.0);
    Mat want;
    pixels.subMat(Rect_<int>(1, 2, 4, 3), want);

    Mat a(pixels), s;
    a.subRefMat(Rect_<int>(1, 2, 4, 3), s);
    a = s;
    EXPECT_EQ(rawBytes(a), rawBytes(want));

    Mat b(pixels), t;
    b.subRefMat(Rect_<int>(1, 2, 4, 3), t);
    b.create(t, true);
    EXPECT_EQ(rawBytes(b), rawBytes(want));

    Mat c(pixels), rows;
    pixels.subMat(Rect_<int>(0, 1, 7, 2), rows);
    c = Mat(c, Range(1, 3), false);
    EXPECT_EQ(rawBytes(c), rawBytes(rows));
}

TEST(CheckedSizes, OverflowingRowsAndRectanglesAreRefusedOrClipped) {
    // 2^28 doubles make a row of 2^31 bytes: refused, so rowByteSize never wraps.
    Mat wide(1, 1 << 28, MAT_Tdouble);
    EXPECT_TRUE(wide.empty());
    EXPECT_LT(wide.create(1, INT_MAX, MAKETYPE(MAT_Tuchar, 4)), 0);

    const Mat a = test::randomMat(9, 8, MAT_Tuchar, 5, 0.0, 255.0);
    const Mat clipped(a, Rect_<int>(5, 5, INT_MAX, INT_MAX));
    ASSERT_EQ(clipped.rows(), 4);
    ASSERT_EQ(clipped.cols(), 3);
    EXPECT_EQ(clipped.ptr<unsigned char>(0)[0], a.ptr<unsigned char>(5)[5]);
    EXPECT_EQ(Rect_<int>(INT_MIN, INT_MIN, INT_MAX, INT_MAX).intersectRect(Rect_<int>(0, 0, 4, 4)),
              Rect_<int>());

    // Anchors and sizes at the edge of int neither wrap nor crash.
    Mat k(1, 3, MAT_Tfloat, Point4_<double>(1.0));
    EXPECT_EQ(ip::getKernelType(k, Point2_<int>(INT_MAX, 0)) & ip::KernelSymmetrical, 0);
    Mat out(2, 2, MAT_Tuchar, Point4_<double>(9.0));
    ip::resize(a, out, INT_MAX, INT_MAX, 1);
    EXPECT_EQ(out.rows(), 2);
    ip::blurringCircle(a, out, INT_MIN, 1, 1, Point2_<int>(2, 2));
    EXPECT_EQ(rawBytes(out), rawBytes(a));  // no disc: a plain copy
}

TEST(CheckedSizes, AbsurdRingAndUnknownModesLeaveNoUnwrittenPixels) {
    const Mat a = test::randomMat(9, 8, MAT_Tuchar, 5, 0.0, 255.0);
    Ptr<ip::FilterEngine> e =
        ip::createLinearFilter(MAT_Tuchar, MAT_Tuchar, kernel3(), Point2_<int>(-1, -1), 0.0,
                               BorderClamp, -1, Point4_<double>());
    ASSERT_FALSE(e.empty());
    EXPECT_EQ(e->start(a, Rect_<int>(0, 0, -1, -1), false, INT_MAX), 0);
    EXPECT_EQ(e->start(a, Rect_<int>(0, 0, -1, -1), false, 1 << 26), 0);

    // An unknown border mode is refused before the destination is touched.
    Mat dst(3, 3, MAT_Tuchar, Point4_<double>(7.0));
    ip::filter2D(a, dst, -1, kernel3(), Point2_<int>(-1, -1), 0.0, 9);
    EXPECT_EQ(dst.rows(), 3);
    EXPECT_EQ(dst.countNonZero(), 9);
}
