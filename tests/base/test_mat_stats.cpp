// Statistics, norms, mask and element operations, checkVector and masked copies.
#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace {

using test::at;

// 2 x 2 colour image with known values per channel.
Mat known() {
    Mat m(2, 2, MAT_Tshort3);
    const short v[12] = {1, -10, 100, 3, -20, 200, 5, -30, 300, 7, -40, 400};
    for (int i = 0; i < 12; i++) m.ptr<short>(i / 6)[i % 6] = v[i];
    return m;
}

TEST(MatStats, PerChannelExtremesMeanAndPopulationDeviation) {
    Mat m = known();
    EXPECT_EQ(m.min(0), 1);
    EXPECT_EQ(m.max(0), 7);
    EXPECT_EQ(m.min(1), -40);
    EXPECT_EQ(m.max(1), -10);
    EXPECT_EQ(m.max(2), 400);
    Point4_<double> mu = m.mean(), sd = m.std();
    EXPECT_DOUBLE_EQ(mu[0], 4.0);
    EXPECT_DOUBLE_EQ(mu[1], -25.0);
    EXPECT_DOUBLE_EQ(mu[2], 250.0);
    EXPECT_EQ(mu[3], 0.0);
    // Population deviation: sqrt(((-3)^2 + (-1)^2 + 1^2 + 3^2) / 4) = sqrt(5).
    EXPECT_DOUBLE_EQ(sd[0], std::sqrt(5.0));
    EXPECT_DOUBLE_EQ(sd[1], 10 * std::sqrt(5.0) / 2);
    EXPECT_DOUBLE_EQ(sd[2], 100 * std::sqrt(5.0) / 2);
    // Bad channels and empty matrices give zeros.
    EXPECT_EQ(m.min(3), 0.0);
    EXPECT_EQ(m.max(-1), 0.0);
    EXPECT_EQ(Mat().mean()[0], 0.0);
    EXPECT_EQ(Mat().std()[0], 0.0);
}

// Large matrices reduce in row stripes on several threads where the result
// cannot depend on the order (integer sums, counts, extremes); every figure
// must equal a one-thread run and a direct scan in row order, including the
// first of two equal zeros and NaN, which never replaces a value.
TEST(MatStats, ThreadedReductionsEqualOneScanInRowOrder) {
    const int rows = 700, cols = 400;
    for (int depth : {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat}) {
        Mat m(rows, cols, MAKETYPE(depth, 2)), mask(rows, cols, MAT_Tuchar);
        unsigned state = 12345u;
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < 2 * cols; x++) {
                state = state * 1103515245u + 12345u;
                const int v = int(state >> 16) % 2001 - 1000;
                const int w = depth == MAT_Tuchar ? std::abs(v) % 256 : v;
                switch (depth) {
                    case MAT_Tuchar:
                        m.ptr<unsigned char>(y)[x] = (unsigned char)w;
                        break;
                    case MAT_Tshort:
                        m.ptr<short>(y)[x] = (short)w;
                        break;
                    case MAT_Tint:
                        m.ptr<int>(y)[x] = w;
                        break;
                    default:
                        m.ptr<float>(y)[x] = float(w);
                }
                mask.ptr<unsigned char>(y)[x / 2] = (state >> 8) & 1;
            }
        if (depth == MAT_Tfloat) {
            // -0 comes first among the zeros in the second stripe half, NaN
            // at a stripe start; the minimum of channel 1 is a late -0 tie.
            for (int y = 0; y < rows; y++)
                for (int x = 0; x < cols; x++) {
                    float& a = m.ptr<float>(y)[2 * x + 1];
                    a = std::fabs(a) + 1.0f;
                }
            m.ptr<float>(400)[1] = -0.0f;
            m.ptr<float>(600)[1] = 0.0f;
            m.ptr<float>(350)[1] = std::nanf("");
        }
        double sum0 = 0.0, lo1 = m.value(0, 0, 1), abs = 0.0;
        long long nz = 0;
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols; x++) {
                sum0 += m.value(y, x, 0);
                const double v = m.value(y, x, 1);
                if (v < lo1) lo1 = v;
                for (int k = 0; k < 2; k++) {
                    abs += std::fabs(m.value(y, x, k));
                    nz += m.value(y, x, k) != 0.0;
                }
            }
        setNumThreads(1);
        const double serial[6] = {m.mean()[0], m.min(1),        m.max(0),
                                  m.norm(1),   m.norm(4, mask), double(m.countNonZero())};
        setNumThreads(0);
        const double threaded[6] = {m.mean()[0], m.min(1),        m.max(0),
                                    m.norm(1),   m.norm(4, mask), double(m.countNonZero())};
        for (int i = 0; i < 6; i++)
            EXPECT_EQ(std::memcmp(&serial[i], &threaded[i], sizeof(double)), 0)
                << "depth " << depth << " figure " << i;
        EXPECT_EQ(std::memcmp(&threaded[1], &lo1, sizeof(double)), 0) << "depth " << depth;
        EXPECT_EQ(threaded[5], double(nz));
        if (depth != MAT_Tfloat) {
            EXPECT_EQ(threaded[0], sum0 / (double(rows) * cols));
            EXPECT_EQ(threaded[3], abs);
        }
    }
}

TEST(MatStats, DeviationIsAccurateFarFromZero) {
    Mat m(1, 4, MAT_Tdouble);
    const double v[4] = {1e9 + 1, 1e9 + 3, 1e9 + 5, 1e9 + 7};
    for (int i = 0; i < 4; i++) m.ptr<double>(0)[i] = v[i];
    EXPECT_NEAR(m.std()[0], std::sqrt(5.0), 1e-6);
    // A reference reads its own elements only.
    Mat big = test::randomMat(5, 5, MAT_Tfloat, 3), ref;
    big.subRefMat(Rect_<int>(1, 2, 3, 2), ref);
    double s = 0;
    for (int r = 2; r < 4; r++)
        for (int c = 1; c < 4; c++) s += at(big, r, c);
    EXPECT_NEAR(ref.mean()[0], s / 6, 1e-5);
}

TEST(MatStats, NormCodesWithAndWithoutMask) {
    Mat m = known();
    double l1 = 0, l2 = 0, inf = 0;
    for (int r = 0; r < 2; r++)
        for (int c = 0; c < 2; c++)
            for (int k = 0; k < 3; k++) {
                const double v = at(m, r, c, k);
                l1 += std::fabs(v);
                l2 += v * v;
                inf = std::max(inf, std::fabs(v));
            }
    EXPECT_EQ(m.norm(1), l1);
    EXPECT_DOUBLE_EQ(m.norm(2), std::sqrt(l2));
    EXPECT_EQ(m.norm(3), inf);
    EXPECT_EQ(m.norm(4), l2);
    EXPECT_DOUBLE_EQ(std::sqrt(m.norm(4)), m.norm(2));

    // One-channel mask selects pixels; a mask with the image's channels selects elements.
    Mat mask(2, 2, MAT_Tuchar);
    mask.zero();
    mask.ptr<unsigned char>(1)[1] = 1;
    EXPECT_EQ(m.norm(4, mask), 7.0 * 7 + 40 * 40 + 400 * 400);
    Mat emask(2, 2, MAT_Tuchar3);
    emask.zero();
    emask.ptr<unsigned char>(0)[1] = 9;  // pixel (0,0), channel 1
    EXPECT_EQ(m.norm(1, emask), 10.0);
    // Refused: unknown codes, a mask of another size or depth.
    EXPECT_EQ(m.norm(0), 0.0);
    EXPECT_EQ(m.norm(5), 0.0);
    EXPECT_EQ(m.norm(4, Mat(3, 2, MAT_Tuchar)), 0.0);
    EXPECT_EQ(m.norm(4, Mat(2, 2, MAT_Tfloat)), 0.0);
    EXPECT_EQ(m.norm(4, Mat(2, 2, MAKETYPE(MAT_Tuchar, 2))), 0.0);
    EXPECT_EQ(Mat().norm(1), 0.0);
}

TEST(MatElementOps, CountNeAndBitOperations) {
    Mat m(2, 3, MAT_Tfloat);
    const float v[6] = {0.0f, 1.5f, -0.0f, 2.0f, 0.0f, 2.0f};
    for (int i = 0; i < 6; i++) m.ptr<float>(i / 3)[i % 3] = v[i];
    EXPECT_EQ(m.countNonZero(), 3);
    Mat ne;
    m.ne(2.0, ne);
    ASSERT_EQ(ne.type1(), MAT_Tuchar);
    const unsigned char expect[6] = {255, 255, 255, 0, 255, 0};
    for (int i = 0; i < 6; i++) EXPECT_EQ(ne.ptr<unsigned char>(i / 3)[i % 3], expect[i]);
    Mat c3(1, 2, MAT_Tint3, Point4_<double>(1, 0, 1, 0)), ne3;
    c3.ne(0.0, ne3);
    EXPECT_EQ(ne3.type1(), MAT_Tuchar3);
    EXPECT_EQ(ne3.countNonZero(), 4);

    Mat a(1, 3, MAT_Tuchar), b(1, 3, MAT_Tuchar);
    const unsigned char av[3] = {0xF0, 0xFF, 0x0F}, bv[3] = {0x3C, 0x00, 0xFF};
    for (int i = 0; i < 3; i++)
        a.ptr<unsigned char>(0)[i] = av[i], b.ptr<unsigned char>(0)[i] = bv[i];
    a &= b;
    EXPECT_EQ(a.ptr<unsigned char>(0)[0], 0x30);
    EXPECT_EQ(a.ptr<unsigned char>(0)[1], 0x00);
    EXPECT_EQ(a.ptr<unsigned char>(0)[2], 0x0F);
    Mat other(1, 3, MAT_Tshort, Point4_<double>(0.0));
    a &= other;  // another type: unchanged
    EXPECT_EQ(a.ptr<unsigned char>(0)[2], 0x0F);
    Mat inv = ~b;
    EXPECT_EQ(inv.ptr<unsigned char>(0)[0], 0xC3);
    EXPECT_EQ(inv.ptr<unsigned char>(0)[2], 0x00);
    Mat s(1, 1, MAT_Tshort, Point4_<double>(5));
    EXPECT_EQ((~s).ptr<short>(0)[0], -6);
    Mat f(1, 1, MAT_Tfloat, Point4_<double>(1.5));
    EXPECT_EQ((~f).ptr<float>(0)[0], 1.5f);  // floats are copied
    EXPECT_FALSE((~Mat()).isValid());
}

TEST(MatElementOps, SquareRootPerDepth) {
    Mat i(1, 4, MAT_Tint);
    const int iv[4] = {16, 17, -4, 0};
    for (int k = 0; k < 4; k++) i.ptr<int>(0)[k] = iv[k];
    i.sqrt();
    EXPECT_EQ(i.ptr<int>(0)[0], 4);
    EXPECT_EQ(i.ptr<int>(0)[1], 4);  // truncated
    EXPECT_EQ(i.ptr<int>(0)[2], 0);  // negative gives 0
    Mat d(1, 2, MAT_Tdouble);
    d.ptr<double>(0)[0] = 2.0;
    d.ptr<double>(0)[1] = -1.0;
    d.sqrt();
    EXPECT_EQ(d.ptr<double>(0)[0], std::sqrt(2.0));
    EXPECT_TRUE(std::isnan(d.ptr<double>(0)[1]));
}

TEST(MatCheckVector, ListsOfElements) {
    EXPECT_EQ(Mat(10, 1, MAKETYPE(MAT_Tfloat, 2)).checkVector(2, MAT_Tfloat), 10);
    EXPECT_EQ(Mat(1, 7, MAKETYPE(MAT_Tfloat, 2)).checkVector(2, MAT_Tfloat), 7);
    EXPECT_EQ(Mat(6, 3, MAT_Tdouble).checkVector(3, MAT_Tdouble), 6);
    EXPECT_EQ(Mat(6, 3, MAT_Tdouble).checkVector(3), 6);  // any depth
    EXPECT_LT(Mat(6, 3, MAT_Tdouble).checkVector(3, MAT_Tfloat), 0);
    EXPECT_LT(Mat(6, 4, MAT_Tdouble).checkVector(3), 0);
    EXPECT_LT(Mat(3, 3, MAT_Tfloat3).checkVector(3), 0);  // not a list
    EXPECT_LT(Mat(4, 1, MAT_Tfloat3).checkVector(2), 0);
    EXPECT_LT(Mat().checkVector(1), 0);
    // A column cut out of a wider matrix has gaps.
    Mat parent(5, 4, MAT_Tint), col;
    parent.subRefMat(Rect_<int>(2, 0, 1, 5), col);
    EXPECT_LT(col.checkVector(1, MAT_Tint, true), 0);
    EXPECT_EQ(col.checkVector(1, MAT_Tint, false), 5);
}

TEST(MatCopyTo, MaskedCopies) {
    Mat src = test::randomMat(3, 4, MAT_Tuchar3, 17);
    Mat mask(3, 4, MAT_Tuchar);
    mask.zero();
    mask.ptr<unsigned char>(0)[1] = 1;
    mask.ptr<unsigned char>(2)[3] = 200;
    // A destination that does not fit is created and zeroed first.
    Mat dst;
    src.copyTo(dst, mask);
    ASSERT_TRUE(dst.isEqualMat(src));
    for (int r = 0; r < 3; r++)
        for (int c = 0; c < 4; c++)
            for (int k = 0; k < 3; k++) {
                const bool on = (r == 0 && c == 1) || (r == 2 && c == 3);
                EXPECT_EQ(at(dst, r, c, k), on ? at(src, r, c, k) : 0.0);
            }
    // A fitting destination keeps its unmasked pixels.
    Mat keep(3, 4, MAT_Tuchar3, Point4_<double>(7, 8, 9, 0));
    src.copyTo(keep, mask);
    EXPECT_EQ(at(keep, 1, 1, 1), 8.0);
    EXPECT_EQ(at(keep, 2, 3, 2), at(src, 2, 3, 2));
    // Per-element mask.
    Mat emask(3, 4, MAT_Tuchar3);
    emask.zero();
    emask.ptr<unsigned char>(1)[5] = 1;  // pixel (1,1), channel 2
    Mat keep2(3, 4, MAT_Tuchar3, Point4_<double>(7, 8, 9, 0));
    src.copyTo(keep2, emask);
    EXPECT_EQ(at(keep2, 1, 1, 2), at(src, 1, 1, 2));
    EXPECT_EQ(at(keep2, 1, 1, 1), 8.0);
    // Empty mask copies everything; bad masks leave dst unchanged.
    Mat all;
    src.copyTo(all);
    EXPECT_TRUE(test::matEqual(all, src));
    Mat untouched(2, 2, MAT_Tfloat, Point4_<double>(1));
    src.copyTo(untouched, Mat(2, 2, MAT_Tuchar));
    src.copyTo(untouched, Mat(3, 4, MAT_Tshort));
    EXPECT_EQ(untouched.rows(), 2);
    EXPECT_EQ(at(untouched, 1, 1), 1.0);
    // The mask may be the destination.
    Mat gsrc(2, 2, MAT_Tuchar, Point4_<double>(50)), gm(2, 2, MAT_Tuchar);
    gm.zero();
    gm.ptr<unsigned char>(0)[0] = 1;
    gsrc.copyTo(gm, gm);
    EXPECT_EQ(gm.ptr<unsigned char>(0)[0], 50);
    EXPECT_EQ(gm.ptr<unsigned char>(1)[1], 0);
    // An empty source empties dst.
    Mat().copyTo(all, mask);
    EXPECT_FALSE(all.isValid());
}

}  // namespace
}  // namespace tarvo
