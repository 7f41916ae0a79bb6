// Pyramid steps against a direct two-dimensional evaluation.
#include <cmath>

#include <gtest/gtest.h>

#include "support/vector_targets.h"
#include "support/test_util.h"
#include "tarvo/parallel.h"
#include "tarvo/ip/integral.h"

using namespace tarvo;
using tarvo::test::at;

namespace {

// Border rule written out independently of the library: mirror modes as
// periodic sequences, wrap as a plain modulo.
int refIndex(int p, int n, int mode) {
    if (p >= 0 && p < n) return p;
    auto mod = [](long long a, long long m) { return int(((a % m) + m) % m); };
    switch (mode) {
        case BorderClamp:
            return p < 0 ? 0 : n - 1;
        case BorderMirror: {
            int q = mod(p, 2LL * n);
            return q < n ? q : 2 * n - 1 - q;
        }
        case BorderWrap:
            return mod(p, n);
        case BorderMirrorNoEdge: {
            if (n == 1) return 0;
            int q = mod(p, 2LL * n - 2);
            return q < n ? q : 2 * n - 2 - q;
        }
        default:
            return -1;
    }
}

double sample(const Mat& m, int y, int x, int k, int rowMode, int colMode) {
    int yy = refIndex(y, m.rows(), rowMode), xx = refIndex(x, m.cols(), colMode);
    return (yy < 0 || xx < 0) ? 0.0 : at(m, yy, xx, k);
}

// Integer results: (sum + half) / total rounded down; floating: sum / total.
double finish(double v, int depth, double total) {
    if (depth == MAT_Tfloat || depth == MAT_Tdouble) return v / total;
    return std::floor((v + total / 2) / total);
}

Mat refPyrDown(const Mat& src, Size_<int> sz, int mode) {
    const double w[5] = {1, 4, 6, 4, 1};
    Mat dst(sz, src.type1());
    for (int y = 0; y < sz.height; y++)
        for (int x = 0; x < sz.width; x++)
            for (int k = 0; k < src.channels(); k++) {
                double s = 0;
                for (int i = 0; i < 5; i++)
                    for (int j = 0; j < 5; j++)
                        s += w[i] * w[j] * sample(src, 2 * y - 2 + i, 2 * x - 2 + j, k, mode, mode);
                double v = finish(s, src.type(), 256);
                switch (src.type()) {
                    case MAT_Tuchar:
                        dst.ptr<unsigned char>(y)[x * src.channels() + k] = (unsigned char)v;
                        break;
                    case MAT_Tshort:
                        dst.ptr<short>(y)[x * src.channels() + k] = (short)v;
                        break;
                    case MAT_Tfloat:
                        dst.ptr<float>(y)[x * src.channels() + k] = (float)v;
                        break;
                    default:
                        dst.ptr<double>(y)[x * src.channels() + k] = v;
                        break;
                }
            }
    return dst;
}

// Weights of output phase: even (1 6 1 over p-1, p, p+1), odd (4 4 over p, p+1).
void upTaps(int o, int* idx, double* w) {
    int p = o / 2;
    if (o & 1) {
        idx[0] = p;
        idx[1] = p + 1;
        idx[2] = p;
        w[0] = 4;
        w[1] = 4;
        w[2] = 0;
    } else {
        idx[0] = p - 1;
        idx[1] = p;
        idx[2] = p + 1;
        w[0] = 1;
        w[1] = 6;
        w[2] = 1;
    }
}

Mat refPyrUp(const Mat& src, Size_<int> sz, int mode) {
    Mat dst(sz, src.type1());
    for (int y = 0; y < sz.height; y++)
        for (int x = 0; x < sz.width; x++)
            for (int k = 0; k < src.channels(); k++) {
                int iy[3], ix[3];
                double wy[3], wx[3];
                upTaps(y, iy, wy);
                upTaps(x, ix, wx);
                double s = 0;
                for (int i = 0; i < 3; i++)
                    for (int j = 0; j < 3; j++)
                        s += wy[i] * wx[j] * sample(src, iy[i], ix[j], k, mode, BorderMirrorNoEdge);
                double v = finish(s, src.type(), 64);
                switch (src.type()) {
                    case MAT_Tuchar:
                        dst.ptr<unsigned char>(y)[x * src.channels() + k] = (unsigned char)v;
                        break;
                    case MAT_Tshort:
                        dst.ptr<short>(y)[x * src.channels() + k] = (short)v;
                        break;
                    case MAT_Tfloat:
                        dst.ptr<float>(y)[x * src.channels() + k] = (float)v;
                        break;
                    default:
                        dst.ptr<double>(y)[x * src.channels() + k] = v;
                        break;
                }
            }
    return dst;
}

double tolFor(int depth) {
    return depth == MAT_Tfloat ? 1e-4 : depth == MAT_Tdouble ? 1e-10 : 0.0;
}

const int kDepths[] = {MAT_Tuchar, MAT_Tshort, MAT_Tfloat, MAT_Tdouble};
const int kModes[] = {BorderFill, BorderClamp, BorderMirror, BorderWrap, BorderMirrorNoEdge};

}  // namespace

TEST(PyrDown, MatchesDirectEvaluationForEveryDepthModeAndShape) {
    const Size_<int> shapes[] = {{40, 9}, {41, 10}, {3, 3}, {1, 1}, {2, 7}};
    for (int depth : kDepths)
        for (int cn : {1, 3})
            for (Size_<int> s : shapes)
                for (int mode : kModes) {
                    SCOPED_TRACE(testing::Message()
                                 << "depth " << depth << " cn " << cn << " " << s.width << "x"
                                 << s.height << " mode " << mode);
                    Mat src =
                        test::randomMat(s.height, s.width, MAKETYPE(depth, cn), s.width + mode);
                    Mat dst;
                    ip::pyrDown(src, dst, Size_<int>(), mode);
                    Size_<int> want((s.width + 1) / 2, (s.height + 1) / 2);
                    ASSERT_EQ(dst.size(), want);
                    ASSERT_EQ(dst.type1(), src.type1());
                    ASSERT_TRUE(test::matNear(dst, refPyrDown(src, want, mode), tolFor(depth)));
                }
}

TEST(PyrDown, ImpulseResponseIsTheKernel) {
    Mat src(15, 15, MAT_Tfloat, Point4_<double>(0.0));
    src.ptr<float>(6)[6] = 256.0f;   // even position: taps 1 6 1 land on outputs 2, 3, 4
    src.ptr<float>(7)[11] = 256.0f;  // odd position: taps 4 4 on outputs 3, 4 and 5, 6
    Mat dst;
    ip::pyrDown(src, dst);
    EXPECT_EQ(at(dst, 3, 3), 36.0);
    EXPECT_EQ(at(dst, 2, 3), 6.0);
    EXPECT_EQ(at(dst, 2, 2), 1.0);
    EXPECT_EQ(at(dst, 3, 4), 6.0);
    EXPECT_EQ(at(dst, 4, 5), 16.0);
    EXPECT_EQ(at(dst, 3, 6), 16.0);
    EXPECT_EQ(at(dst, 5, 6), 0.0);
    EXPECT_EQ(at(dst, 0, 0), 0.0);
}

TEST(PyrDown, OneRowImageMirrorsRowZero) {
    Mat src = test::randomMat(1, 21, MAT_Tuchar, 4);
    Mat dst;
    ip::pyrDown(src, dst);
    ASSERT_EQ(dst.size(), Size_<int>(11, 1));
    // All five rows are row 0: the column taps sum to 16.
    for (int x = 0; x < 11; x++) {
        int h = 0;
        const int w[5] = {1, 4, 6, 4, 1};
        for (int j = 0; j < 5; j++) h += w[j] * int(at(src, 0, refIndex(2 * x - 2 + j, 21, 4)));
        EXPECT_EQ(at(dst, 0, x), double((16 * h + 128) >> 8)) << x;
    }
}

TEST(PyrDown, ExplicitSizeAndInPlace) {
    Mat src = test::randomMat(13, 29, MAT_Tuchar, 8);
    Mat dst;
    ip::pyrDown(src, dst, Size_<int>(14, 6), BorderMirror);
    EXPECT_TRUE(test::matEqual(dst, refPyrDown(src, Size_<int>(14, 6), BorderMirror)));
    Mat m = src;
    ip::pyrDown(m, m);
    EXPECT_TRUE(test::matEqual(m, refPyrDown(src, Size_<int>(15, 7), BorderMirrorNoEdge)));
}

TEST(PyrUp, MatchesDirectEvaluationForEveryDepthModeAndShape) {
    const Size_<int> shapes[] = {{20, 5}, {21, 6}, {1, 1}, {2, 3}, {1, 4}};
    for (int depth : kDepths)
        for (int cn : {1, 3})
            for (Size_<int> s : shapes)
                for (int mode : kModes) {
                    SCOPED_TRACE(testing::Message()
                                 << "depth " << depth << " cn " << cn << " " << s.width << "x"
                                 << s.height << " mode " << mode);
                    Mat src =
                        test::randomMat(s.height, s.width, MAKETYPE(depth, cn), 3 * s.width + mode);
                    Mat dst;
                    ip::pyrUp(src, dst, Size_<int>(), mode);
                    Size_<int> want(2 * s.width, 2 * s.height);
                    ASSERT_EQ(dst.size(), want);
                    ASSERT_TRUE(test::matNear(dst, refPyrUp(src, want, mode), tolFor(depth)));
                }
}

TEST(PyrUp, ImpulseResponseIsTheKernelAndColumnsIgnoreTheBorderCode) {
    Mat src(7, 7, MAT_Tfloat, Point4_<double>(0.0));
    src.ptr<float>(3)[3] = 64.0f;
    Mat dst;
    ip::pyrUp(src, dst);
    const double w[5] = {1, 4, 6, 4, 1};
    for (int y = 0; y < 14; y++)
        for (int x = 0; x < 14; x++) {
            double want = (y >= 4 && y <= 8 && x >= 4 && x <= 8) ? w[y - 4] * w[x - 4] : 0.0;
            ASSERT_EQ(at(dst, y, x), want) << y << "," << x;
        }
    // A bright last column: whatever the code, the columns mirror without the edge.
    Mat edge(3, 4, MAT_Tuchar, Point4_<double>(0.0));
    for (int y = 0; y < 3; y++) edge.ptr<unsigned char>(y)[3] = 200;
    Mat a, b;
    ip::pyrUp(edge, a, Size_<int>(), BorderClamp);
    ip::pyrUp(edge, b, Size_<int>(), BorderMirrorNoEdge);
    EXPECT_TRUE(test::matEqual(a, b));  // rows are constant, so only columns could differ
    EXPECT_EQ(at(a, 2, 7), double((8 * 64 * 0 + 8 * (4 * 200 + 4 * 0) + 32) >> 6));
}

TEST(Pyramid, RefusedInputsLeaveDestinationUnchanged) {
    Mat dst(2, 2, MAT_Tuchar, Point4_<double>(7.0));
    Mat before = dst;
    Mat ints = test::randomMat(8, 8, MAT_Tint, 1);
    ip::pyrDown(ints, dst);
    ip::pyrUp(ints, dst);
    ip::pyrDown(Mat(), dst);
    Mat bytes = test::randomMat(8, 8, MAT_Tuchar, 1);
    ip::pyrDown(bytes, dst, Size_<int>(), 7);
    ip::pyrUp(bytes, dst, Size_<int>(), -1);
    EXPECT_TRUE(test::matEqual(dst, before));
    // Bit 16 is ignored.
    Mat a, b;
    ip::pyrDown(bytes, a, Size_<int>(), BorderClamp | BorderIsolatedBit);
    ip::pyrDown(bytes, b, Size_<int>(), BorderClamp);
    EXPECT_TRUE(test::matEqual(a, b));
}

TEST(Pyramid, VectorAndThreadedRunsEqualScalar) {
    // 1920 x 200 bytes is above the one-stripe threshold, so rows run in stripes.
    // Every compiled vector target: the multi-channel rows compress lanes,
    // which targets without a compress instruction emulate.
    for (int depth : {MAT_Tuchar, MAT_Tfloat})
        for (int cn : {1, 3, 4}) {
            Mat src = test::randomMat(200, 1921, MAKETYPE(depth, cn), 21, 0.0, 255.0);
            Mat downRef, upRef;
            detail::setUseOptimized(false);
            ip::pyrDown(src, downRef);
            ip::pyrUp(src, upRef, Size_<int>(), BorderClamp);
            detail::setUseOptimized(true);
            test::onEveryVectorTarget([&](const char* target) {
                Mat downVec, upVec;
                ip::pyrDown(src, downVec);
                ip::pyrUp(src, upVec, Size_<int>(), BorderClamp);
                EXPECT_TRUE(test::matEqual(downVec, downRef))
                    << target << " depth " << depth << " cn " << cn;
                EXPECT_TRUE(test::matEqual(upVec, upRef))
                    << target << " depth " << depth << " cn " << cn;
            });
            EXPECT_TRUE(
                test::matNear(upRef, refPyrUp(src, upRef.size(), BorderClamp), tolFor(depth)));
        }
}
