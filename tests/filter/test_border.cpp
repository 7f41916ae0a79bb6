// copyMakeBorder in every mode against an index rule written out by hand.
#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/integral.h"

using namespace tarvo;
using tarvo::test::at;

namespace {

// Expected source index for a coordinate p of a line of n samples.
int expectIndex(int p, int n, int mode) {
    if (p >= 0 && p < n) return p;
    auto mod = [](long long a, long long m) { return int(((a % m) + m) % m); };
    switch (mode) {
        case BorderClamp:
            return p < 0 ? 0 : n - 1;
        case BorderMirror: {  // ... 1 0 | 0 1 2 ... period 2n
            int q = mod(p, 2LL * n);
            return q < n ? q : 2 * n - 1 - q;
        }
        case BorderWrap:
            return mod(p, n);
        case BorderMirrorNoEdge: {  // ... 2 1 | 0 1 2 ... period 2n - 2
            if (n == 1) return 0;
            int q = mod(p, 2LL * n - 2);
            return q < n ? q : 2 * n - 2 - q;
        }
        default:
            return -1;
    }
}

void checkPadded(const Mat& src, const Mat& dst, int top, int left, int mode,
                 const Point4_<double>& fill) {
    ASSERT_EQ(dst.type1(), src.type1());
    for (int y = 0; y < dst.rows(); y++)
        for (int x = 0; x < dst.cols(); x++)
            for (int k = 0; k < src.channels(); k++) {
                int sy = expectIndex(y - top, src.rows(), mode);
                int sx = expectIndex(x - left, src.cols(), mode);
                double want = (sy < 0 || sx < 0) ? fill[k & 3] : at(src, sy, sx, k);
                ASSERT_EQ(at(dst, y, x, k), want) << "mode " << mode << " at " << y << "," << x;
            }
}

}  // namespace

TEST(CopyMakeBorder, EveryModeDepthAndMarginWiderThanTheImage) {
    const int modes[] = {BorderFill, BorderClamp, BorderMirror, BorderWrap, BorderMirrorNoEdge};
    const Point4_<double> fill(3, 5, 7, 9);
    for (int depth : {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble})
        for (int cn : {1, 3})
            for (int mode : modes) {
                Mat src = test::randomMat(3, 4, MAKETYPE(depth, cn), 17 + mode);
                Mat dst;
                ip::copyMakeBorder(src, dst, 2, 7, 9, 1, mode, fill);
                ASSERT_EQ(dst.rows(), 12);
                ASSERT_EQ(dst.cols(), 14);
                checkPadded(src, dst, 2, 9, mode, fill);
            }
    // One-sample lines: every mirror maps to the sample itself.
    Mat one = test::randomMat(1, 1, MAT_Tuchar, 2), dst;
    ip::copyMakeBorder(one, dst, 3, 3, 3, 3, BorderMirrorNoEdge, fill);
    checkPadded(one, dst, 3, 3, BorderMirrorNoEdge, fill);
}

TEST(CopyMakeBorder, IsolatedBitIsIgnored) {
    Mat src = test::randomMat(5, 6, MAT_Tuchar, 1);
    Mat a, b;
    ip::copyMakeBorder(src, a, 1, 2, 3, 4, BorderWrap | BorderIsolatedBit, Point4_<double>());
    ip::copyMakeBorder(src, b, 1, 2, 3, 4, BorderWrap, Point4_<double>());
    EXPECT_TRUE(test::matEqual(a, b));
    // Code 16 alone is the fill mode.
    ip::copyMakeBorder(src, a, 1, 1, 1, 1, BorderIsolatedBit, Point4_<double>(42.0));
    checkPadded(src, a, 1, 1, BorderFill, Point4_<double>(42.0));
}

TEST(CopyMakeBorder, FillValueIsRoundedAndSaturatedPerChannel) {
    Mat src = test::randomMat(2, 2, MAT_Tuchar3, 3);
    Mat dst;
    ip::copyMakeBorder(src, dst, 1, 0, 0, 1, BorderFill, Point4_<double>(300, -4, 2.5, 0));
    EXPECT_EQ(at(dst, 0, 0, 0), 255.0);
    EXPECT_EQ(at(dst, 0, 0, 1), 0.0);
    EXPECT_EQ(at(dst, 0, 0, 2), 3.0);
    EXPECT_EQ(at(dst, 2, 2, 0), 255.0);
    EXPECT_EQ(at(dst, 1, 0, 0), at(src, 0, 0, 0));
}

TEST(CopyMakeBorder, ZeroMarginsCopyTheSource) {
    Mat src = test::randomMat(4, 5, MAT_Tfloat, 6);
    Mat dst;
    ip::copyMakeBorder(src, dst, 0, 0, 0, 0, BorderClamp, Point4_<double>());
    EXPECT_TRUE(test::matEqual(dst, src));
    EXPECT_NE(dst.data.ptr[0], src.data.ptr[0]);
    ip::copyMakeBorder(src, src, 0, 0, 0, 0, BorderClamp, Point4_<double>());
    EXPECT_TRUE(test::matEqual(dst, src));
}

TEST(CopyMakeBorder, SharedRowTableReadsFromACopy) {
    Mat src = test::randomMat(6, 7, MAT_Tshort, 9);
    Mat original = src;
    ip::copyMakeBorder(src, src, 2, 2, 2, 2, BorderMirror, Point4_<double>());
    checkPadded(original, src, 2, 2, BorderMirror, Point4_<double>());
    // A reference to the same rows as destination.
    Mat m = original, ref;
    m.sharedTo(ref);
    ip::copyMakeBorder(m, ref, 1, 1, 1, 1, BorderClamp, Point4_<double>());
    checkPadded(original, ref, 1, 1, BorderClamp, Point4_<double>());
    EXPECT_TRUE(test::matEqual(m, original));
}

TEST(CopyMakeBorder, BadArgumentsLeaveDestinationUnchanged) {
    Mat src = test::randomMat(3, 3, MAT_Tuchar, 1);
    Mat dst(2, 2, MAT_Tuchar, Point4_<double>(1.0));
    Mat before = dst;
    ip::copyMakeBorder(src, dst, -1, 0, 0, 0, BorderClamp, Point4_<double>());
    ip::copyMakeBorder(src, dst, 1, 1, 1, 1, 5, Point4_<double>());
    ip::copyMakeBorder(Mat(), dst, 1, 1, 1, 1, BorderClamp, Point4_<double>());
    ip::copyMakeBorder(src, dst, 1, 1, 0x7fffffff, 1, BorderClamp, Point4_<double>());
    EXPECT_TRUE(test::matEqual(dst, before));
}
