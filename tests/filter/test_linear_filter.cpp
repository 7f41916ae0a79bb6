// Linear filters: kernel classification, factory choices and refusals,
// filter2D and sepFilter2D against a slow direct correlation for every depth
// pair, fixed-point rounding, saturation, and the vector operators against
// their scalar twins.
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "filter/linear_filter.h"
#include "support/naive_filter.h"
#include "support/test_util.h"
#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using namespace tarvo::ip;

namespace {

Mat kernelMat(const std::vector<double>& v, int rows, int cols, int depth = MAT_Tfloat) {
    Mat k(rows, cols, depth);
    for (int r = 0; r < rows; r++)
        for (int c = 0; c < cols; c++) {
            const double x = v[size_t(r) * cols + c];
            switch (depth) {
                case MAT_Tint:
                    k.ptr<int>(r)[c] = int(x);
                    break;
                case MAT_Tfloat:
                    k.ptr<float>(r)[c] = float(x);
                    break;
                default:
                    k.ptr<double>(r)[c] = x;
                    break;
            }
        }
    return k;
}

std::vector<double> asDouble(const std::vector<double>& v) {
    std::vector<double> out;
    for (double x : v) out.push_back(double(float(x)));  // what a float kernel holds
    return out;
}

// Every element of dst against the reference converted by the filter's rule.
// unsigned16 reads a 16-bit destination as unsigned (float buffers use the
// unsigned 16-bit cast).
::testing::AssertionResult nearReference(const Mat& dst, const Mat& ref, double tol,
                                         bool unsigned16 = false) {
    if (dst.rows() != ref.rows() || dst.cols() != ref.cols() || dst.channels() != ref.channels())
        return ::testing::AssertionFailure() << "shape differs";
    for (int y = 0; y < dst.rows(); y++)
        for (int x = 0; x < dst.cols(); x++)
            for (int c = 0; c < dst.channels(); c++) {
                const double r = test::at(ref, y, x, c);
                double want = r, got = test::at(dst, y, x, c);
                if (dst.type() == MAT_Tuchar) want = saturate_cast<unsigned char>(r);
                if (dst.type() == MAT_Tshort && unsigned16) {
                    want = saturate_cast<unsigned short>(r);
                    if (got < 0) got += 65536;
                } else if (dst.type() == MAT_Tshort) {
                    want = saturate_cast<short>(r);
                }
                const double t = dst.type() >= MAT_Tfloat ? tol * (1 + std::fabs(want)) : tol;
                if (!(std::fabs(got - want) <= t))
                    return ::testing::AssertionFailure()
                           << "at (" << y << "," << x << "," << c << "): " << got << " vs " << want;
            }
    return ::testing::AssertionSuccess();
}

// Runs f with the vector paths off and on and asserts identical output.
template <typename F>
void expectVectorEqualsScalar(F f, const char* what) {
    Mat a, b;
    tarvo::detail::setUseOptimized(false);
    f(a);
    tarvo::detail::setUseOptimized(true);
    f(b);
    ASSERT_FALSE(a.empty()) << what;
    ASSERT_TRUE(test::matEqual(a, b)) << what;
}

const int kModes[] = {BorderFill, BorderClamp, BorderMirror, BorderWrap, BorderMirrorNoEdge};

}  // namespace

TEST(KernelType, SymmetrySmoothnessAndIntegers) {
    const Mat k121 = kernelMat({1, 2, 1}, 1, 3);
    EXPECT_EQ(getKernelType(k121, Point2_<int>(1, 0)), KernelSymmetrical | KernelInteger);
    EXPECT_EQ(getKernelType(kernelMat({0.25, 0.5, 0.25}, 1, 3), Point2_<int>(1, 0)),
              KernelSymmetrical | KernelSmooth);
    // A column, centred.
    EXPECT_EQ(getKernelType(kernelMat({-1, 0, 1}, 3, 1), Point2_<int>(0, 1)),
              KernelAsymmetrical | KernelInteger);
    // Off-centre anchor: no symmetry bits.
    EXPECT_EQ(getKernelType(k121, Point2_<int>(0, 0)), KernelInteger);
    // Two rows never get symmetry bits, even when symmetric in every sense.
    EXPECT_EQ(getKernelType(kernelMat({0.25, 0.25, 0.25, 0.25}, 2, 2), Point2_<int>(0, 0)),
              KernelSmooth);
    // All zeros: both symmetries, integer, not smooth (sum 0).
    EXPECT_EQ(getKernelType(kernelMat({0, 0, 0}, 1, 3), Point2_<int>(1, 0)),
              KernelSymmetrical | KernelAsymmetrical | KernelInteger);
    // Single entry 1: symmetric, smooth and integer.
    EXPECT_EQ(getKernelType(kernelMat({1}, 1, 1), Point2_<int>(0, 0)),
              KernelSymmetrical | KernelSmooth | KernelInteger);
    // Sum 1 to single precision only.
    EXPECT_EQ(getKernelType(kernelMat({0.1, 0.8, 0.1}, 1, 3, MAT_Tdouble), Point2_<int>(1, 0)) &
                  KernelSmooth,
              KernelSmooth);
    EXPECT_EQ(getKernelType(kernelMat({0.1, 0.8, 0.1001}, 1, 3, MAT_Tdouble), Point2_<int>(1, 0)) &
                  KernelSmooth,
              0);
    // NaN differs from everything.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(getKernelType(kernelMat({nan, 1, nan}, 1, 3, MAT_Tdouble), Point2_<int>(1, 0)), 0);
    EXPECT_EQ(getKernelType(Mat(), Point2_<int>(0, 0)), KernelInteger);
}

TEST(LinearFactories, ChoicesAndRefusals) {
    const Mat k3 = kernelMat({1, 2, 1}, 1, 3);
    const Mat k5 = kernelMat({1, 4, 6, 4, 1}, 1, 5);
    // Rows: int sources and 16-bit buffers are not served.
    EXPECT_TRUE(getLinearRowFilter(MAT_Tint, MAT_Tint, k3, 1, 0).empty());
    EXPECT_TRUE(getLinearRowFilter(MAT_Tshort, MAT_Tshort, k3, 1, 0).empty());
    EXPECT_TRUE(
        getLinearRowFilter(MAT_Tuchar, MAT_Tint, kernelMat({1, 2, 3, 4}, 2, 2), 1, 0).empty());
    EXPECT_TRUE(getLinearRowFilter(MAT_Tuchar, MAT_Tint, k3, 3, 0).empty());
    EXPECT_TRUE(getLinearRowFilter(MAT_Tuchar, MAT_Tint, Mat(), 0, 0).empty());
    {
        Ptr<BaseRowFilter> f = getLinearRowFilter(MAT_Tuchar, MAT_Tint, k3, 1, KernelSymmetrical);
        ASSERT_FALSE(f.empty());
        typedef SymmRowSmallFilter<unsigned char, int, SymmRowSmallVec_8u32s> SmallRow;
        EXPECT_NE(dynamic_cast<SmallRow*>(f.get()), nullptr);
        EXPECT_EQ(f->ksize, 3);
        EXPECT_EQ(f->anchor, 1);
    }
    // Only the low three bits of the types count.
    EXPECT_FALSE(getLinearRowFilter(MAT_Tuchar3, MAT_Tfloat3, k5, 2, 0).empty());
    // Columns.
    EXPECT_TRUE(getLinearColumnFilter(MAT_Tint, MAT_Tint, k3, 1, 0, 0, 0).empty());
    EXPECT_TRUE(getLinearColumnFilter(MAT_Tuchar, MAT_Tuchar, k3, 1, 0, 0, 0).empty());
    EXPECT_TRUE(getLinearColumnFilter(MAT_Tint, MAT_Tuchar, k3, 1, 0, 0, 31).empty());
    {
        // 3 taps int -> 16-bit with bits 8 takes the general symmetric class.
        Ptr<BaseColumnFilter> f =
            getLinearColumnFilter(MAT_Tint, MAT_Tshort, k3, 1, KernelSymmetrical, 0, 8);
        ASSERT_FALSE(f.empty());
        typedef SymmColumnSmallFilter<Cast<int, short>, SymmColumnSmallVec_32s16s> Small;
        typedef SymmColumnFilter<Cast<int, short>, ColumnNoVec> General;
        EXPECT_EQ(dynamic_cast<Small*>(f.get()), nullptr);
        EXPECT_NE(dynamic_cast<General*>(f.get()), nullptr);
        Ptr<BaseColumnFilter> g =
            getLinearColumnFilter(MAT_Tint, MAT_Tshort, k3, 1, KernelSymmetrical, 0, 0);
        EXPECT_NE(dynamic_cast<Small*>(g.get()), nullptr);
    }
    // 2-D: int sources and unlisted pairs.
    EXPECT_TRUE(getLinearFilter(MAT_Tint, MAT_Tint, k3).empty());
    EXPECT_TRUE(getLinearFilter(MAT_Tfloat, MAT_Tuchar, k3).empty());
    EXPECT_TRUE(getLinearFilter(MAT_Tuchar, MAT_Tuchar, k3, Point2_<int>(3, 0)).empty());
    EXPECT_FALSE(getLinearFilter(MAT_Tshort, MAT_Tdouble, k3).empty());
    EXPECT_TRUE(createLinearFilter(MAT_Tint, MAT_Tint, k3).empty());
    EXPECT_TRUE(createSeparableLinearFilter(MAT_Tint, MAT_Tfloat, k3, k3).empty());
    Ptr<FilterEngine> e =
        createSeparableLinearFilter(MAT_Tuchar, MAT_Tuchar, kernelMat({0.25, 0.5, 0.25}, 1, 3),
                                    kernelMat({0.25, 0.5, 0.25}, 3, 1));
    ASSERT_FALSE(e.empty());
    EXPECT_EQ(e->bufType, MAT_Tint);  // the fixed-point route
}

TEST(Preprocess2DKernel, NonZeroTapsInRowMajorOrder) {
    std::vector<Point2_<int>> coords;
    std::vector<unsigned char> coeffs;
    preprocess2DKernel(kernelMat({0, 2, 0, -1, 0, 3}, 2, 3, MAT_Tdouble), coords, coeffs);
    ASSERT_EQ(coords.size(), 3u);
    EXPECT_EQ(coords[0], Point2_<int>(1, 0));
    EXPECT_EQ(coords[1], Point2_<int>(0, 1));
    EXPECT_EQ(coords[2], Point2_<int>(2, 1));
    ASSERT_EQ(coeffs.size(), 24u);
    EXPECT_EQ(reinterpret_cast<const double*>(coeffs.data())[1], -1.0);
    preprocess2DKernel(kernelMat({0, 0}, 1, 2, MAT_Tint), coords, coeffs);
    ASSERT_EQ(coords.size(), 1u);
    EXPECT_EQ(coords[0], Point2_<int>(0, 0));
    EXPECT_EQ(coeffs, std::vector<unsigned char>(4, 0));
    preprocess2DKernel(Mat(), coords, coeffs);
    EXPECT_TRUE(coords.empty());
}

TEST(Filter2D, ImpulseResponseIsTheFlippedKernel) {
    Mat src(9, 9, MAT_Tuchar, Point4_<double>(0, 0, 0, 0));
    src.ptr<unsigned char>(4)[4] = 100;
    const Mat k = kernelMat({0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, 2, 3);
    Mat dst;
    filter2D(src, dst, -1, k, Point2_<int>(1, 1), 0, BorderFill);
    ASSERT_EQ(dst.type1(), MAT_Tuchar);
    // out(4 - j + 1, 4 - i + 1) = 100 * k(j, i), rounded half up.
    const int want[2][3] = {{10, 20, 30}, {40, 50, 60}};
    for (int j = 0; j < 2; j++)
        for (int i = 0; i < 3; i++) EXPECT_EQ(test::at(dst, 5 - j, 5 - i), want[j][i]);
    EXPECT_EQ(test::at(dst, 3, 3), 0);
    // Ties round upwards: 0.5 * 5 = 2.5 -> 3; -2.5 + delta 5 -> 2.5 -> 3.
    Mat one(1, 1, MAT_Tuchar, Point4_<double>(5, 0, 0, 0));
    filter2D(one, dst, -1, kernelMat({0.5}, 1, 1), Point2_<int>(-1, -1), 0, BorderClamp);
    EXPECT_EQ(test::at(dst, 0, 0), 3);
    filter2D(one, dst, -1, kernelMat({-0.5}, 1, 1), Point2_<int>(-1, -1), 5, BorderClamp);
    EXPECT_EQ(test::at(dst, 0, 0), 3);
}

TEST(Filter2D, ZeroKernelGivesTheDeltaAndSaturation) {
    Mat src = test::randomMat(5, 6, MAT_Tuchar3, 3);
    Mat dst;
    filter2D(src, dst, -1, kernelMat({0, 0, 0, 0}, 2, 2), Point2_<int>(-1, -1), 3.5, BorderClamp);
    ASSERT_EQ(dst.type1(), MAT_Tuchar3);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 6; x++) ASSERT_EQ(test::at(dst, y, x, 2), 4);
    Mat bright(4, 4, MAT_Tuchar, Point4_<double>(200, 0, 0, 0));
    filter2D(bright, dst, -1, kernelMat({2}, 1, 1));
    EXPECT_EQ(test::at(dst, 1, 1), 255);
    filter2D(bright, dst, -1, kernelMat({-1}, 1, 1));
    EXPECT_EQ(test::at(dst, 1, 1), 0);
    filter2D(bright, dst, MAT_Tfloat, kernelMat({-1}, 1, 1));
    EXPECT_EQ(test::at(dst, 1, 1), -200);
}

TEST(Filter2D, RefusalsAndTheIsolatedBit) {
    Mat src = test::randomMat(6, 7, MAT_Tuchar, 4);
    Mat dst;
    filter2D(Mat(), dst, -1, kernelMat({1}, 1, 1));
    EXPECT_TRUE(dst.empty());
    // Unknown border, anchor outside, int source: created, left unwritten.
    dst.create(6, 7, MAT_Tuchar);
    dst = 77.0;
    filter2D(src, dst, -1, kernelMat({1, 1, 1}, 1, 3), Point2_<int>(-1, -1), 0, 9);
    filter2D(src, dst, -1, kernelMat({1, 1, 1}, 1, 3), Point2_<int>(3, 0), 0, BorderClamp);
    EXPECT_EQ(test::at(dst, 2, 2), 77);
    Mat isrc = test::randomMat(6, 7, MAT_Tint, 4), idst(6, 7, MAT_Tint);
    idst = 5.0;
    filter2D(isrc, idst, -1, kernelMat({1}, 1, 1));
    EXPECT_EQ(test::at(idst, 3, 3), 5);
    // The isolated bit changes nothing.
    Mat a, b;
    const Mat k = kernelMat({1, -2, 3, 0.5, 0.25, 1, 2, 2, 1}, 3, 3);
    filter2D(src, a, MAT_Tfloat, k, Point2_<int>(-1, -1), 1, BorderMirror);
    filter2D(src, b, MAT_Tfloat, k, Point2_<int>(-1, -1), 1, BorderMirror | BorderIsolatedBit);
    EXPECT_TRUE(test::matEqual(a, b));
    // In place.
    Mat c = src.clone();
    filter2D(c, c, -1, k, Point2_<int>(-1, -1), 0, BorderWrap);
    filter2D(src, a, -1, k, Point2_<int>(-1, -1), 0, BorderWrap);
    EXPECT_TRUE(test::matEqual(a, c));
    filter2D(c, c, MAT_Tdouble, k);
    EXPECT_EQ(c.type1(), MAT_Tdouble);
}

TEST(Filter2D, EveryDepthPairMatchesDirectCorrelation) {
    struct Pair {
        int s, d;
        double tol;
    };
    const Pair pairs[] = {{1, 1, 1},    {1, 2, 1},     {1, 4, 1e-5}, {1, 5, 1e-12}, {2, 2, 1},
                          {2, 4, 1e-5}, {2, 5, 1e-12}, {4, 4, 1e-5}, {5, 5, 1e-12}};
    const std::vector<double> kv = {0.25, -0.5, 0.125, 1.0, 0.75, -0.25};
    for (const Pair& p : pairs)
        for (int cn : {1, 3})
            for (int mode : kModes) {
                Mat src =
                    test::randomMat(7, 11, MAKETYPE(p.s, cn), unsigned(p.s * 10 + cn), 0, 255);
                if (p.s ==
                    MAT_Tshort)  // keep 16-bit sources in the unsigned range they are read as
                    for (int y = 0; y < 7; y++)
                        for (int i = 0; i < 11 * cn; i++) src.ptr<short>(y)[i] &= 0x3FFF;
                const Mat k = kernelMat(kv, 2, 3, p.d == 5 ? MAT_Tdouble : MAT_Tfloat);
                Mat dst;
                filter2D(src, dst, p.d, k, Point2_<int>(2, 1), 3.0, mode);
                ASSERT_EQ(dst.type1(), MAKETYPE(p.d, cn));
                const Mat ref =
                    test::naiveCorrelate(src, asDouble(kv), 3, 2, 2, 1, 3.0, mode, p.s == 2);
                ASSERT_TRUE(nearReference(dst, ref, p.tol, true))
                    << "pair " << p.s << "->" << p.d << " cn " << cn << " mode " << mode;
            }
}

TEST(SepFilter2D, EveryDepthPairMatchesDirectCorrelation) {
    struct Pair {
        int s, d;
        double tol;
        bool unsigned16;
    };
    const Pair pairs[] = {{1, 1, 1, false},     {1, 4, 1e-5, false},  {1, 5, 1e-12, false},
                          {2, 4, 1e-5, false},  {2, 5, 1e-12, false}, {4, 4, 1e-5, false},
                          {4, 5, 1e-12, false}, {5, 5, 1e-12, false}, {1, 2, 1, true}};
    // General kernels (float route) of several lengths.
    const std::vector<double> rk = {0.5, -1.25, 2.0, 0.75}, ck = {-0.25, 1.5, 0.5};
    for (const Pair& p : pairs)
        for (int cn : {1, 3})
            for (int mode : kModes) {
                Mat src = test::randomMat(9, 13, MAKETYPE(p.s, cn), unsigned(p.s + cn), 0, 255);
                if (p.s == MAT_Tshort)
                    for (int y = 0; y < 9; y++)
                        for (int i = 0; i < 13 * cn; i++) src.ptr<short>(y)[i] &= 0x3FFF;
                const int kd = p.d == 5 ? MAT_Tdouble : MAT_Tfloat;
                Mat dst;
                sepFilter2D(src, dst, p.d, kernelMat(rk, 1, 4, kd), kernelMat(ck, 3, 1, kd),
                            Point2_<int>(1, 2), -2.0, mode);
                ASSERT_EQ(dst.type1(), MAKETYPE(p.d, cn));
                const Mat ref =
                    test::naiveCorrelate(src, test::outerKernel(asDouble(rk), asDouble(ck)), 4, 3,
                                         1, 2, -2.0, mode, p.s == 2);
                ASSERT_TRUE(nearReference(dst, ref, p.tol, p.unsigned16))
                    << "pair " << p.s << "->" << p.d << " cn " << cn << " mode " << mode;
            }
}

TEST(SepFilter2D, FixedPointRouteRoundsOnceAtTheEnd) {
    // Smooth symmetric kernels on bytes: coefficients round(k * 256), sums in
    // int, then (v + 2^15) >> 16 - an exact integer reference.
    const std::vector<double> rk = {0.1, 0.2, 0.4, 0.2, 0.1}, ck = {0.3, 0.4, 0.3};
    for (int mode : kModes) {
        Mat src = test::randomMat(12, 17, MAT_Tuchar3, unsigned(mode));
        Mat dst;
        sepFilter2D(src, dst, -1, kernelMat(rk, 1, 5), kernelMat(ck, 3, 1), Point2_<int>(-1, -1),
                    0.5, mode);
        std::vector<double> ri, ci;
        for (double v : rk) ri.push_back(std::floor(double(float(v)) * 256 + 0.5));
        for (double v : ck) ci.push_back(std::floor(double(float(v)) * 256 + 0.5));
        const Mat ref =
            test::naiveCorrelate(src, test::outerKernel(ri, ci), 5, 3, 2, 1, 0.5 * 65536, mode);
        for (int y = 0; y < 12; y++)
            for (int x = 0; x < 17; x++)
                for (int c = 0; c < 3; c++) {
                    const long long v = (long long)test::at(ref, y, x, c);
                    const long long want = std::min(255LL, std::max(0LL, (v + 32768) >> 16));
                    ASSERT_EQ(test::at(dst, y, x, c), double(want)) << mode << " " << y << " " << x;
                }
    }
}

TEST(SepFilter2D, IntegerKernelsIntoShortAreSigned) {
    // The Sobel-like pair [-1 0 1] x [1 2 1] on bytes goes to signed 16-bit exactly.
    Mat src = test::randomMat(10, 9, MAT_Tuchar, 12);
    for (int mode : kModes) {
        Mat dst;
        sepFilter2D(src, dst, MAT_Tshort, kernelMat({-1, 0, 1}, 1, 3), kernelMat({1, 2, 1}, 3, 1),
                    Point2_<int>(-1, -1), 0, mode);
        const Mat ref = test::naiveCorrelate(src, test::outerKernel({-1, 0, 1}, {1, 2, 1}), 3, 3, 1,
                                             1, 0, mode);
        ASSERT_TRUE(nearReference(dst, ref, 0)) << mode;
    }
}

TEST(SepFilter2D, SmallColumnClassRunsTwoOneTwoAsOneTwoOne) {
    // The 3-tap column class tests centre 1 / side 2 but computes [1 2 1].
    Mat src = test::randomMat(8, 8, MAT_Tfloat, 13, -10, 10);
    Mat a;
    sepFilter2D(src, a, -1, kernelMat({1}, 1, 1), kernelMat({2, 1, 2}, 3, 1));
    const Mat ref121 = test::naiveCorrelate(src, {1, 2, 1}, 1, 3, 0, 1, 0, BorderClamp);
    const Mat ref212 = test::naiveCorrelate(src, {2, 1, 2}, 1, 3, 0, 1, 0, BorderClamp);
    EXPECT_TRUE(nearReference(a, ref121, 1e-5));
    EXPECT_FALSE(nearReference(a, ref212, 1e-2));
}

TEST(VectorOperators, EqualTheirScalarTwins) {
    struct SepCase {
        const char* what;
        int stype, ddepth;
        std::vector<double> rk, ck;
    };
    const SepCase sepCases[] = {
        // byte -> int rows, general (7 taps) and small forms; int -> byte columns
        {"RowVec_8u32s + SymmColumnVec_32s8u",
         MAT_Tuchar,
         1,
         {0.05, 0.1, 0.2, 0.3, 0.2, 0.1, 0.05},
         {0.1, 0.2, 0.4, 0.2, 0.1}},
        {"SymmRowSmallVec_8u32s (5) + small 32s8u",
         MAT_Tuchar3,
         1,
         {0.1, 0.2, 0.4, 0.2, 0.1},
         {0.25, 0.5, 0.25}},
        {"SymmRowSmallVec_8u32s 121 + SymmColumnSmallVec_32s16s",
         MAT_Tuchar,
         2,
         {1, 2, 1},
         {-1, 0, 1}},
        {"SymmRowSmallVec_8u32s asym + 32s16s 1-21", MAT_Tuchar3, 2, {-1, 0, 1}, {1, -2, 1}},
        {"SymmRowSmallVec_8u32s 1-21 + 32s16s 212", MAT_Tuchar, 2, {1, -2, 1}, {2, 1, 2}},
        {"SymmRowSmallVec_8u32s 5-tap forms", MAT_Tuchar, 2, {1, 0, -2, 0, 1}, {-1, -2, 0, 2, 1}},
        {"RowVec_32f + SymmColumnVec_32f",
         MAT_Tfloat,
         4,
         {0.3, -1.1, 0.7, 2.5, 0.1, 0.2, 0.9},
         {0.1, 0.2, 0.4, 0.2, 0.1}},
        {"SymmRowSmallVec_32f + SymmColumnSmallVec_32f",
         MAT_Tfloat3,
         4,
         {0.2, 0.6, 0.2},
         {0.3, 0.7, 0.3}},
        {"SymmRowSmallVec_32f 5 asym + small 32f asym",
         MAT_Tfloat,
         4,
         {-1.5, 0.5, 0, -0.5, 1.5},
         {0.5, 0, -0.5}},
        {"SymmRowSmallVec_32f 121 + small 32f unit forms", MAT_Tfloat, 4, {1, 2, 1}, {-1, 0, 1}},
        {"SymmColumnVec_32f antisymmetric", MAT_Tfloat, 4, {1}, {-0.5, -1.5, 0, 1.5, 0.5}},
    };
    const int widths[] = {1, 7, 15, 33, 1023};
    for (const SepCase& c : sepCases)
        for (int w : widths)
            for (int mode : {BorderFill, BorderMirror}) {
                const Mat src = test::randomMat(9, w, c.stype, unsigned(w), -300, 300);
                auto run = [&](Mat& out) {
                    sepFilter2D(src, out, c.ddepth, kernelMat(c.rk, 1, int(c.rk.size())),
                                kernelMat(c.ck, int(c.ck.size()), 1), Point2_<int>(-1, -1), 0.75,
                                mode);
                };
                SCOPED_TRACE(::testing::Message() << c.what << " width " << w << " mode " << mode);
                expectVectorEqualsScalar(run, c.what);
            }
    // FilterVec_8u and FilterVec_32f.
    const std::vector<double> k2 = {0.1, -0.3, 0.25, 1.5, 0.6, -0.2, 0.05, 0.3, 0.125};
    for (int type : {MAT_Tuchar, MAT_Tuchar3, MAT_Tfloat, MAT_Tfloat3})
        for (int w : widths) {
            const Mat src = test::randomMat(6, w, type, unsigned(w + type), -1e3, 1e3);
            auto run = [&](Mat& out) {
                filter2D(src, out, -1, kernelMat(k2, 3, 3), Point2_<int>(-1, -1), -7.5,
                         BorderMirrorNoEdge);
            };
            SCOPED_TRACE(::testing::Message() << "FilterVec type " << type << " width " << w);
            expectVectorEqualsScalar(run, "FilterVec");
        }
    // Float specials: NaN and infinities reach the byte cast of FilterVec_8u
    // only through huge coefficients; check the float path keeps them equal.
    Mat f = test::randomMat(3, 40, MAT_Tfloat, 2);
    f.ptr<float>(1)[5] = std::numeric_limits<float>::quiet_NaN();
    f.ptr<float>(1)[9] = std::numeric_limits<float>::infinity();
    auto runF = [&](Mat& out) { filter2D(f, out, -1, kernelMat({0.5, 1, 0.5}, 1, 3)); };
    Mat a, b;
    tarvo::detail::setUseOptimized(false);
    runF(a);
    tarvo::detail::setUseOptimized(true);
    runF(b);
    for (int x = 0; x < 40; x++) {
        const float va = a.ptr<float>(1)[x], vb = b.ptr<float>(1)[x];
        EXPECT_TRUE((va != va && vb != vb) || va == vb) << x;
    }
}

TEST(VectorOperators, ByteCastOfHugeAndNaNSums) {
    // Coefficients that push float sums far outside the byte range, both ways.
    Mat src = test::randomMat(4, 37, MAT_Tuchar, 6);
    auto run = [&](Mat& out) {
        filter2D(src, out, -1, kernelMat({3e37, -3e37, 1e38}, 1, 3), Point2_<int>(-1, -1), 0.5);
    };
    expectVectorEqualsScalar(run, "huge");
}

TEST(LinearFilters, LargeImagesRunStripedWithTheSameResult) {
    Mat src = test::randomMat(600, 700, MAT_Tuchar, 33);
    const Mat k = kernelMat({0.1, 0.2, 0.4, 0.2, 0.1}, 1, 5),
              kc = kernelMat({0.25, 0.5, 0.25}, 3, 1);
    Mat a, b;
    sepFilter2D(src, a, -1, k, kc, Point2_<int>(-1, -1), 0, BorderWrap);
    const int threads = getNumThreads();
    setNumThreads(1);
    // One engine fed row by row, never striped.
    Ptr<FilterEngine> e = createSeparableLinearFilter(MAT_Tuchar, MAT_Tuchar, k, kc,
                                                      Point2_<int>(-1, -1), 0, BorderWrap);
    b.create(600, 700, MAT_Tuchar);
    e->start(src);
    int produced = 0;
    for (int y = e->startY; e->remainingInputRows() > 0; y++)
        produced += e->proceed(src.data.ptr[y], 0, 1, b.data.ptr[produced], 700);
    setNumThreads(threads);
    ASSERT_EQ(produced, 600);
    EXPECT_TRUE(test::matEqual(a, b));
}
