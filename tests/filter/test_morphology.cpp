// Morphology: structuring elements, the min / max operators, erode and
// dilate against a slow direct min / max for every shape, depth, channel
// count, anchor and border mode, the folding of iterations, the separable and
// 2-D routes against each other, the vector kernels against the scalar loops,
// the simple binary forms and the refusals.
#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "support/vector_targets.h"
#include "support/naive_morph.h"
#include "support/test_util.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using namespace tarvo::ip;
using tarvo::test::matEqual;
using tarvo::test::randomMat;

namespace {

typedef Point2_<int> Pt;

// Set entries per row of a byte element.
std::vector<int> rowCounts(const Mat& e) {
    std::vector<int> n;
    for (int y = 0; y < e.rows(); y++) {
        int k = 0;
        for (int x = 0; x < e.cols(); x++) k += e.ptr<unsigned char>(y)[x] != 0;
        n.push_back(k);
    }
    return n;
}

Mat fromRows(const std::vector<const char*>& rows) {
    Mat m(int(rows.size()), int(std::strlen(rows[0])), MAT_Tuchar);
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols(); x++) m.ptr<unsigned char>(y)[x] = rows[size_t(y)][x] == '#';
    return m;
}

// The fill that the neutral border value turns into, per depth.
double neutralFill(int depth, bool erode) {
    switch (depth) {
        case MAT_Tuchar:
            return erode ? 255 : 0;
        case MAT_Tshort:
            return erode ? 32767 : 0;
        case MAT_Tfloat:
            return erode ? FLT_MAX : -FLT_MAX;
        default:
            return erode ? DBL_MAX : -DBL_MAX;
    }
}

Mat run(bool erodeOp, const Mat& src, const Mat& e, Pt anchor = Pt(-1, -1), int iterations = 1,
        int mode = BorderFill, const Point4_<double>& value = morphologyNeutralBorder()) {
    Mat dst;
    if (erodeOp)
        erode(src, dst, e, anchor, iterations, mode, value);
    else
        dilate(src, dst, e, anchor, iterations, mode, value);
    return dst;
}

// Runs f() with the vector paths off, then on; expects equal results.
template <typename F>
::testing::AssertionResult samePaths(F f) {
    tarvo::detail::setUseOptimized(false);
    const Mat scalar = f();
    tarvo::detail::setUseOptimized(true);
    const Mat vec = f();
    return matEqual(vec, scalar);
}

}  // namespace

// ---------------------------------------------------------------- elements

TEST(StructuringElement, ShapesHaveTheirRows) {
    const Mat ell = getStructuringElement(MorphEllipse, Size_<int>(5, 5));
    ASSERT_FALSE(ell.empty());
    EXPECT_EQ(ell.type1(), int(MAT_Tuchar));
    EXPECT_EQ(rowCounts(ell), (std::vector<int>{1, 5, 5, 5, 1}));
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 5; x++)
            EXPECT_EQ(ell.ptr<unsigned char>(y)[x], ell.ptr<unsigned char>(y)[4 - x]);
    EXPECT_EQ(ell.ptr<unsigned char>(0)[2], 1);

    EXPECT_TRUE(matEqual(getStructuringElement(MorphCross, Size_<int>(3, 3)),
                         fromRows({".#.", "###", ".#."})));
    // The cross follows the anchor; the ellipse always sits at the centre.
    EXPECT_TRUE(matEqual(getStructuringElement(MorphCross, Size_<int>(4, 5), Pt(0, 3)),
                         fromRows({"#...", "#...", "#...", "####", "#..."})));
    EXPECT_EQ(rowCounts(getStructuringElement(MorphEllipse, Size_<int>(7, 5), Pt(0, 0))),
              (std::vector<int>{1, 7, 7, 7, 1}));
    EXPECT_EQ(rowCounts(getStructuringElement(MorphEllipse, Size_<int>(5, 7))),
              (std::vector<int>{1, 3, 5, 5, 5, 3, 1}));
    // One row: no vertical radius, only the centre entry.
    EXPECT_TRUE(
        matEqual(getStructuringElement(MorphEllipse, Size_<int>(5, 1)), fromRows({"..#.."})));
    // 1 x 1 is a rectangle whatever the shape.
    EXPECT_TRUE(matEqual(getStructuringElement(MorphCross, Size_<int>(1, 1)), fromRows({"#"})));
}

TEST(StructuringElement, BadArgumentsGiveEmpty) {
    EXPECT_TRUE(getStructuringElement(3, Size_<int>(3, 3)).empty());
    EXPECT_TRUE(getStructuringElement(-1, Size_<int>(3, 3)).empty());
    EXPECT_TRUE(getStructuringElement(MorphRect, Size_<int>(0, 3)).empty());
    EXPECT_TRUE(getStructuringElement(MorphRect, Size_<int>(3, -2)).empty());
    EXPECT_TRUE(getStructuringElement(MorphCross, Size_<int>(3, 3), Pt(3, 0)).empty());
    EXPECT_TRUE(getStructuringElement(MorphCross, Size_<int>(3, 3), Pt(0, -5)).empty());
}

// ---------------------------------------------------------------- operators

TEST(MorphOps, ByteTableOpsMatchMinAndMaxEverywhere) {
    EXPECT_EQ(ip::detail::saturate8u(-256), 0);
    EXPECT_EQ(ip::detail::saturate8u(-1), 0);
    EXPECT_EQ(ip::detail::saturate8u(0), 0);
    EXPECT_EQ(ip::detail::saturate8u(255), 255);
    EXPECT_EQ(ip::detail::saturate8u(256), 255);
    EXPECT_EQ(ip::detail::saturate8u(511), 255);
    MinOp<unsigned char> mn;
    MaxOp<unsigned char> mx;
    for (int a = 0; a < 256; a++)
        for (int b = 0; b < 256; b++) {
            ASSERT_EQ(mn((unsigned char)a, (unsigned char)b), a < b ? a : b) << a << " " << b;
            ASSERT_EQ(mx((unsigned char)a, (unsigned char)b), a > b ? a : b) << a << " " << b;
        }
}

TEST(MorphOps, FloatsFollowTheTotalOrder) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    MinOp<float> mn;
    MaxOp<float> mx;
    EXPECT_TRUE(std::signbit(mn(0.0f, -0.0f)) && std::signbit(mn(-0.0f, 0.0f)));
    EXPECT_FALSE(std::signbit(mx(0.0f, -0.0f)) || std::signbit(mx(-0.0f, 0.0f)));
    EXPECT_TRUE(std::isnan(mx(inf, nan)) && std::isnan(mx(nan, inf)));
    EXPECT_EQ(mn(nan, inf), inf);
    // A negative NaN orders below -infinity.
    EXPECT_TRUE(std::isnan(mn(-inf, -nan)) && std::signbit(mn(-inf, -nan)));
    EXPECT_EQ(mx(-nan, -inf), -inf);
}

// ---------------------------------------------------------------- against the reference

TEST(Morphology, EveryShapeDepthAnchorAndBorderMatchesDirectMinMax) {
    const int types[] = {MAT_Tuchar, MAT_Tuchar3, MAT_Tshort,  MAT_Tshort3,
                         MAT_Tfloat, MAT_Tfloat3, MAT_Tdouble, MAT_Tdouble3};
    struct Elem {
        int shape;
        Size_<int> size;
        Pt anchor;
    };
    const Elem elems[] = {
        {MorphRect, {3, 3}, {-1, -1}},  {MorphRect, {4, 2}, {0, 1}},
        {MorphRect, {1, 5}, {0, 4}},    {MorphCross, {3, 3}, {-1, -1}},
        {MorphCross, {5, 4}, {3, 0}},   {MorphEllipse, {5, 5}, {-1, -1}},
        {MorphEllipse, {7, 5}, {6, 4}},
    };
    // 13 x 17, and images smaller than the elements.
    for (int type : types)
        for (Size_<int> is : {Size_<int>(17, 13), Size_<int>(3, 2), Size_<int>(1, 1)}) {
            const Mat src = randomMat(is.height, is.width, type, 40 + type);
            for (const Elem& el : elems) {
                const Mat e = getStructuringElement(el.shape, el.size, el.anchor);
                ASSERT_FALSE(e.empty());
                const Pt a = normalizeAnchor(el.anchor, el.size);
                const bool full =
                    rowCounts(e) == std::vector<int>(size_t(el.size.height), el.size.width);
                for (int mode = BorderFill; mode <= BorderMirrorNoEdge; mode++)
                    for (int op = 0; op < 2; op++) {
                        const bool er = op == 0;
                        const double fill = neutralFill(src.type(), er);
                        // Only the 2-D erosion compares 16-bit as unsigned.
                        const Mat want =
                            test::naiveMorph(src, e, a.x, a.y, er, mode, fill, er && !full);
                        EXPECT_TRUE(matEqual(run(er, src, e, el.anchor, 1, mode), want))
                            << "type " << type << " image " << is.width << "x" << is.height
                            << " shape " << el.shape << " " << el.size.width << "x"
                            << el.size.height << " mode " << mode << " op " << op;
                    }
            }
        }
}

TEST(Morphology, ExplicitFillValueAndNeutralDefault) {
    Mat src(6, 7, MAT_Tuchar3, Point4_<double>(100, 150, 200, 0));
    const Mat e = getStructuringElement(MorphEllipse, Size_<int>(3, 3));
    // The neutral default never reaches the result of a flat image.
    EXPECT_TRUE(matEqual(run(true, src, e), src));
    EXPECT_TRUE(matEqual(run(false, src, e), src));
    // A given fill is taken per channel.
    const Point4_<double> fill(120, 120, 120, 0);
    const Mat er = run(true, src, e, Pt(-1, -1), 1, BorderFill, fill);
    EXPECT_TRUE(matEqual(er, test::naiveMorph(src, e, 1, 1, true, BorderFill, 120)));
    EXPECT_EQ(er.ptr<unsigned char>(0)[0], 100);
    EXPECT_EQ(er.ptr<unsigned char>(0)[2], 120);
    EXPECT_EQ(er.ptr<unsigned char>(2)[5], 200);
    // Signed 16-bit dilation fills with 0: negative values next to the edge rise.
    Mat neg(4, 4, MAT_Tshort, Point4_<double>(-5, 0, 0, 0));
    const Mat d = run(false, neg, Mat());
    EXPECT_EQ(d.ptr<short>(0)[0], 0);
    EXPECT_EQ(d.ptr<short>(1)[1], -5);
}

TEST(Morphology, SeparableAndTwoDimensionalRoutesAgree) {
    for (int type :
         {int(MAT_Tuchar), int(MAT_Tuchar3), int(MAT_Tshort), int(MAT_Tfloat), int(MAT_Tdouble3)}) {
        // Non-negative 16-bit values: the 2-D erosion compares as unsigned.
        Mat src = randomMat(21, 40, type, 9, -50, 50);
        if (src.type() == MAT_Tshort)
            for (int y = 0; y < src.rows(); y++)
                for (int x = 0; x < src.cols(); x++) src.ptr<short>(y)[x] &= 0x7FFF;
        const Mat e = getStructuringElement(MorphRect, Size_<int>(5, 3), Pt(1, 2));
        for (int op = 0; op < 2; op++)
            for (int mode : {int(BorderFill), int(BorderMirror)}) {
                Ptr<FilterEngine> sep = createMorphologyFilter(op, type, e, Pt(1, 2), mode);
                ASSERT_FALSE(sep.empty());
                EXPECT_TRUE(sep->isSeparable());
                Point4_<double> fill = Point4_<double>::All(neutralFill(src.type(), op == 0));
                if (src.type() == MAT_Tshort && op == 0) fill = Point4_<double>::All(65535);
                FilterEngine twoD(getMorphologyFilter(op, type, e, Pt(1, 2)), Ptr<BaseRowFilter>(),
                                  Ptr<BaseColumnFilter>(), type, type, type, mode, mode, fill);
                ASSERT_FALSE(twoD.isSeparable());
                Mat a(src.rows(), src.cols(), type), b(src.rows(), src.cols(), type);
                sep->apply(src, a);
                twoD.apply(src, b);
                EXPECT_TRUE(matEqual(a, b)) << "type " << type << " op " << op << " mode " << mode;
            }
    }
}

TEST(Morphology, SixteenBitTwoDimensionalErosionIsUnsigned) {
    // -1 is 0xFFFF: the largest value for the 2-D erosion, the smallest for
    // the separable one.
    Mat src(3, 3, MAT_Tshort, Point4_<double>(5, 0, 0, 0));
    src.ptr<short>(1)[1] = -1;
    const Mat cross = getStructuringElement(MorphCross, Size_<int>(3, 3));
    const Mat rect = getStructuringElement(MorphRect, Size_<int>(3, 3));
    for (int mode : {int(BorderClamp), int(BorderMirror)}) {
        EXPECT_EQ(run(true, src, cross, Pt(-1, -1), 1, mode).ptr<short>(1)[1], 5);
        EXPECT_EQ(run(true, src, rect, Pt(-1, -1), 1, mode).ptr<short>(1)[1], -1);
        EXPECT_EQ(run(false, src, cross, Pt(-1, -1), 1, mode).ptr<short>(1)[1], 5);
    }
}

// ---------------------------------------------------------------- iterations

TEST(Morphology, IterationsOfARectangleFoldIntoOneElement) {
    const Mat src = randomMat(19, 23, MAT_Tuchar3, 5);
    const Mat e = getStructuringElement(MorphRect, Size_<int>(3, 2));
    // 3 x 2 at (0, 1), 3 times: 7 x 4 at (0, 3).
    const Mat big = getStructuringElement(MorphRect, Size_<int>(7, 4));
    for (int mode = BorderFill; mode <= BorderMirrorNoEdge; mode++) {
        EXPECT_TRUE(
            matEqual(run(true, src, e, Pt(0, 1), 3, mode), run(true, src, big, Pt(0, 3), 1, mode)))
            << mode;
        EXPECT_TRUE(matEqual(run(false, src, e, Pt(0, 1), 3, mode),
                             test::naiveMorph(src, big, 0, 3, false, mode, 0)))
            << mode;
    }
    // An empty element is 3 x 3 at the centre: 2 iterations are one 5 x 5 pass.
    const Mat five = getStructuringElement(MorphRect, Size_<int>(5, 5));
    EXPECT_TRUE(matEqual(run(true, src, Mat(), Pt(0, 0), 2),
                         test::naiveMorph(src, five, 2, 2, true, BorderFill, 255)));
    // Centred, the folded element equals repeated passes.
    for (int mode : {int(BorderFill), int(BorderClamp), int(BorderWrap)}) {
        const Mat once = run(true, src, Mat(), Pt(-1, -1), 1, mode);
        const Mat twice = run(true, once, Mat(), Pt(-1, -1), 1, mode);
        EXPECT_TRUE(matEqual(run(true, src, Mat(), Pt(-1, -1), 2, mode), twice)) << mode;
    }
}

TEST(Morphology, HugeIterationCountsReachTheWholeImage) {
    const Mat src = randomMat(9, 14, MAT_Tfloat, 77);
    const double lo = src.min(), hi = src.max();
    const Mat corner = getStructuringElement(MorphRect, Size_<int>(2, 3));
    for (int mode : {int(BorderWrap), int(BorderMirrorNoEdge)}) {
        const Mat er = run(true, src, Mat(), Pt(-1, -1), INT_MAX, mode);
        const Mat di = run(false, src, corner, Pt(0, 0), 1 << 30, mode);
        ASSERT_FALSE(er.empty() || di.empty());
        for (int y = 0; y < src.rows(); y++)
            for (int x = 0; x < src.cols(); x++) {
                ASSERT_EQ(test::at(er, y, x), lo) << mode;
                ASSERT_EQ(test::at(di, y, x), hi) << mode;
            }
    }
}

TEST(Morphology, IterationsOfOtherElementsArePasses) {
    const Mat src = randomMat(16, 21, MAT_Tshort3, 12);
    const Mat e = getStructuringElement(MorphCross, Size_<int>(3, 5), Pt(2, 1));
    for (int mode = BorderFill; mode <= BorderMirrorNoEdge; mode++) {
        Mat chain = src;
        for (int it = 1; it <= 4; it++) {
            chain = run(false, chain, e, Pt(2, 1), 1, mode);
            EXPECT_TRUE(matEqual(run(false, src, e, Pt(2, 1), it, mode), chain))
                << "mode " << mode << " iterations " << it;
        }
    }
}

TEST(Morphology, NoIterationsOrAOneByOneElementCopy) {
    const Mat src = randomMat(5, 6, MAT_Tfloat3, 3);
    Mat dst;
    erode(src, dst, Mat(), Pt(-1, -1), 0);
    EXPECT_TRUE(matEqual(dst, src));
    dst.ptr<float>(0)[0] += 1;  // a copy, not a view
    EXPECT_NE(test::at(dst, 0, 0), test::at(src, 0, 0));
    const Mat one = getStructuringElement(MorphRect, Size_<int>(1, 1));
    Mat d2;
    dilate(src, d2, one, Pt(-1, -1), 5, BorderWrap);
    EXPECT_TRUE(matEqual(d2, src));
}

TEST(Morphology, InPlaceAndParallelRunsEqualTheSerialOutOfPlaceRun) {
    const Mat src = randomMat(700, 400, MAT_Tuchar, 31);
    const Mat e = getStructuringElement(MorphEllipse, Size_<int>(5, 7));
    setNumThreads(1);
    const Mat serial = run(true, src, e, Pt(-1, -1), 3, BorderMirror);
    const Mat serialRect = run(false, src, Mat(), Pt(-1, -1), 2, BorderClamp);
    setNumThreads(0);
    EXPECT_TRUE(matEqual(run(true, src, e, Pt(-1, -1), 3, BorderMirror), serial));
    EXPECT_TRUE(matEqual(run(false, src, Mat(), Pt(-1, -1), 2, BorderClamp), serialRect));
    Mat img = src;
    erode(img, img, e, Pt(-1, -1), 3, BorderMirror);
    EXPECT_TRUE(matEqual(img, serial));
}

// ---------------------------------------------------------------- opening and closing

TEST(Morphology, OpeningAndClosingWithAnElementAreOneFunction) {
    const Mat src = randomMat(17, 19, MAT_Tuchar, 8);
    const Mat e = getStructuringElement(MorphEllipse, Size_<int>(5, 5));
    Mat o, c, o2;
    opening(src, o, e);
    closing(src, c, e);
    EXPECT_TRUE(matEqual(o, c));
    EXPECT_TRUE(matEqual(o, run(false, run(true, src, e), e)));
    // Opening with a symmetric element is idempotent.
    opening(o, o2, e);
    EXPECT_TRUE(matEqual(o2, o));
}

// ---------------------------------------------------------------- vector paths

TEST(Morphology, VectorAndScalarPathsAgreeOnOddWidths) {
    const int types[] = {MAT_Tuchar, MAT_Tuchar3, MAT_Tshort, MAT_Tshort3, MAT_Tfloat, MAT_Tfloat3};
    const Mat elems[] = {getStructuringElement(MorphRect, Size_<int>(3, 3)),
                         getStructuringElement(MorphRect, Size_<int>(6, 1)),
                         getStructuringElement(MorphRect, Size_<int>(1, 4)),
                         getStructuringElement(MorphCross, Size_<int>(3, 3)),
                         getStructuringElement(MorphEllipse, Size_<int>(7, 5))};
    for (int width : {1, 7, 15, 33, 1023})
        for (int type : types) {
            const Mat src = randomMat(6, width, type, uint32_t(width + type));
            for (const Mat& e : elems)
                for (int op = 0; op < 2; op++)
                    EXPECT_TRUE(samePaths([&] {
                        return run(op == 0, src, e, Pt(-1, -1), 1, BorderMirror);
                    })) << "width "
                        << width << " type " << type << " op " << op;
        }
}

TEST(Morphology, SignedZerosAndNaNsAreTheSameOnBothPaths) {
    Mat src(5, 41, MAT_Tfloat);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float vals[] = {0.0f, -0.0f, nan, -nan, std::numeric_limits<float>::infinity(), 1.0f};
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 41; x++) src.ptr<float>(y)[x] = vals[(x * 7 + y * 3) % 6];
    for (const Mat& e : {getStructuringElement(MorphRect, Size_<int>(3, 3)),
                         getStructuringElement(MorphCross, Size_<int>(3, 3))})
        for (int op = 0; op < 2; op++)
            EXPECT_TRUE(samePaths([&] { return run(op == 0, src, e, Pt(-1, -1), 1, BorderWrap); }));
    // A row of +0 and -0: the minimum is -0 everywhere.
    Mat z(1, 40, MAT_Tfloat);
    for (int x = 0; x < 40; x++) z.ptr<float>(0)[x] = x % 2 ? -0.0f : 0.0f;
    const Mat er = run(true, z, getStructuringElement(MorphRect, Size_<int>(3, 1)));
    for (int x = 0; x < 40; x++) EXPECT_TRUE(std::signbit(er.ptr<float>(0)[x])) << x;
}

TEST(Morphology, EveryCompiledVectorTargetMatchesScalar) {
    const Mat elems[] = {getStructuringElement(MorphRect, Size_<int>(5, 3)),
                         getStructuringElement(MorphEllipse, Size_<int>(5, 5))};
    std::vector<Mat> srcs;
    for (int type : {int(MAT_Tuchar), int(MAT_Tshort3), int(MAT_Tfloat)})
        srcs.push_back(randomMat(11, 131, type, 500 + type));
    auto all = [&] {
        std::vector<Mat> out;
        for (const Mat& s : srcs)
            for (const Mat& e : elems)
                for (int op = 0; op < 2; op++) out.push_back(run(op == 0, s, e));
        return out;
    };
    tarvo::detail::setUseOptimized(false);
    const std::vector<Mat> refs = all();
    tarvo::detail::setUseOptimized(true);
    const int tried = test::onEveryVectorTarget([&](const char* target) {
        const std::vector<Mat> got = all();
        for (size_t k = 0; k < got.size(); k++)
            EXPECT_TRUE(matEqual(got[k], refs[k])) << target << " run " << k;
    });
    EXPECT_GT(tried, 0);
}

TEST(Morphology, StreamedRowsShareColumnWorkCorrectly) {
    // proceed hands the column stage several rows at once, which takes the
    // paired-row loops; the result must equal apply's.
    for (int type : {int(MAT_Tuchar), int(MAT_Tfloat3)})
        for (int kh : {1, 2, 5}) {
            const Mat src = randomMat(23, 37, type, uint32_t(kh));
            const Mat e = getStructuringElement(MorphRect, Size_<int>(3, kh));
            for (bool vec : {false, true}) {
                tarvo::detail::setUseOptimized(vec);
                Ptr<FilterEngine> eng =
                    createMorphologyFilter(MorphDilate, type, e, Pt(-1, -1), BorderClamp);
                ASSERT_FALSE(eng.empty());
                Mat want(src.rows(), src.cols(), type);
                eng->apply(src, want);
                // Contiguous copies for the step interface.
                const int step = src.rowByteSize();
                std::vector<unsigned char> in(size_t(step) * src.rows()),
                    out(size_t(step) * src.rows());
                for (int y = 0; y < src.rows(); y++)
                    std::memcpy(&in[size_t(y) * step], src.data.ptr[y], size_t(step));
                const int y0 = eng->start(src.size(), Rect_<int>(0, 0, src.cols(), src.rows()), -1);
                EXPECT_EQ(y0, 0);
                int written = 0;
                for (int y = 0; y < src.rows(); y += 8) {
                    const int n = std::min(8, eng->remainingInputRows());
                    written += eng->proceed(&in[size_t(y) * step], step, n,
                                            &out[size_t(written) * step], step);
                }
                EXPECT_EQ(written, src.rows());
                for (int y = 0; y < src.rows(); y++)
                    ASSERT_EQ(std::memcmp(&out[size_t(y) * step], want.data.ptr[y], size_t(step)),
                              0)
                        << "row " << y << " kh " << kh << " vec " << vec;
            }
            tarvo::detail::setUseOptimized(true);
        }
}

// ---------------------------------------------------------------- refusals

TEST(Morphology, BadInputLeavesTheDestinationAlone) {
    const Mat marker(2, 2, MAT_Tuchar, Point4_<double>(9, 0, 0, 0));
    const Mat src = randomMat(8, 8, MAT_Tuchar, 1);
    const Mat e = getStructuringElement(MorphRect, Size_<int>(3, 3));
    auto untouched = [&](auto f) {
        Mat dst = marker;
        f(dst);
        return matEqual(dst, marker);
    };
    EXPECT_TRUE(untouched([&](Mat& d) { erode(Mat(), d, e); }));
    EXPECT_TRUE(untouched([&](Mat& d) { dilate(randomMat(4, 4, MAT_Tint, 2), d, e); }));
    EXPECT_TRUE(untouched([&](Mat& d) { erode(src, d, e, Pt(-1, -1), -1); }));
    EXPECT_TRUE(untouched([&](Mat& d) { erode(src, d, e, Pt(-1, -1), 1, 7); }));
    EXPECT_TRUE(untouched([&](Mat& d) { dilate(src, d, e, Pt(3, 0)); }));
    EXPECT_TRUE(untouched([&](Mat& d) { dilate(src, d, e, Pt(-2, 1)); }));
    EXPECT_TRUE(untouched([&](Mat& d) { opening(src, d, e, Pt(0, 7)); }));
    EXPECT_TRUE(untouched([&](Mat& d) { dilate(src, d, -1, 3); }));
    EXPECT_TRUE(untouched([&](Mat& d) { erode(src, d, 3, -3); }));
    EXPECT_TRUE(untouched([&](Mat& d) { closing(Mat(), d, 3, 3); }));
    // The isolated flag is accepted and ignored.
    Mat a, b;
    erode(src, a, e, Pt(-1, -1), 1, BorderClamp | BorderIsolatedBit);
    erode(src, b, e, Pt(-1, -1), 1, BorderClamp);
    EXPECT_TRUE(matEqual(a, b));
}

TEST(Morphology, FactoriesRefuseWhatTheyCannotBuild) {
    const Mat e = getStructuringElement(MorphCross, Size_<int>(3, 3));
    EXPECT_TRUE(getMorphologyRowFilter(MorphErode, MAT_Tint, 3, -1).empty());
    EXPECT_TRUE(getMorphologyRowFilter(MorphErode, MAT_Tuchar, 0, -1).empty());
    EXPECT_TRUE(getMorphologyRowFilter(MorphErode, MAT_Tuchar, 3, 3).empty());
    EXPECT_TRUE(getMorphologyColumnFilter(MorphDilate, 0, 3, 1).empty());
    EXPECT_TRUE(getMorphologyColumnFilter(MorphDilate, MAT_Tfloat, -2, -1).empty());
    EXPECT_TRUE(getMorphologyFilter(MorphErode, MAT_Tint, e).empty());
    EXPECT_TRUE(getMorphologyFilter(MorphErode, MAT_Tuchar, Mat()).empty());
    EXPECT_TRUE(getMorphologyFilter(MorphErode, MAT_Tuchar, e, Pt(0, 3)).empty());
    EXPECT_TRUE(createMorphologyFilter(MorphErode, MAT_Tint3, e).empty());
    EXPECT_TRUE(createMorphologyFilter(MorphErode, MAT_Tuchar, Mat()).empty());
    // Any other op code dilates.
    const Mat src = randomMat(7, 9, MAT_Tuchar, 4);
    Ptr<FilterEngine> d7 = createMorphologyFilter(7, MAT_Tuchar, e);
    ASSERT_FALSE(d7.empty());
    Mat got(7, 9, MAT_Tuchar);
    d7->apply(src, got);
    EXPECT_TRUE(matEqual(got, run(false, src, e)));
}

TEST(Morphology, ElementsWithoutSetEntriesOrOfOtherDepths) {
    const Mat src = randomMat(6, 8, MAT_Tuchar, 6);
    // A float element counts its non-zero entries like a byte one.
    Mat fe(3, 3, MAT_Tfloat, Point4_<double>(0, 0, 0, 0));
    fe.ptr<float>(0)[1] = 0.5f;
    fe.ptr<float>(1)[1] = -2.0f;
    Mat be(3, 3, MAT_Tuchar, Point4_<double>(0, 0, 0, 0));
    be.ptr<unsigned char>(0)[1] = 1;
    be.ptr<unsigned char>(1)[1] = 1;
    EXPECT_TRUE(matEqual(run(true, src, fe, Pt(-1, -1), 1, BorderClamp),
                         run(true, src, be, Pt(-1, -1), 1, BorderClamp)));
    // No set entry: one tap at the element's corner, a shift by the anchor.
    const Mat zero(3, 3, MAT_Tuchar, Point4_<double>(0, 0, 0, 0));
    const Mat corner = fromRows({"#..", "...", "..."});
    EXPECT_TRUE(matEqual(run(false, src, zero, Pt(-1, -1), 1, BorderWrap),
                         run(false, src, corner, Pt(-1, -1), 1, BorderWrap)));
}

// ---------------------------------------------------------------- binary forms

namespace {

// 255 exactly inside rows [y0, y1) and columns [x0, x1), 0 elsewhere.
::testing::AssertionResult isBlock(const Mat& m, int y0, int y1, int x0, int x1) {
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols(); x++) {
            const int want = y >= y0 && y < y1 && x >= x0 && x < x1 ? 255 : 0;
            if (m.ptr<unsigned char>(y)[x] != want)
                return ::testing::AssertionFailure() << "at " << y << "," << x;
        }
    return ::testing::AssertionSuccess();
}

Mat block(int rows, int cols, int y0, int y1, int x0, int x1, int v = 255) {
    Mat m(rows, cols, MAT_Tuchar, Point4_<double>(0, 0, 0, 0));
    for (int y = y0; y < y1; y++)
        for (int x = x0; x < x1; x++) m.ptr<unsigned char>(y)[x] = (unsigned char)v;
    return m;
}

}  // namespace

TEST(BinaryMorphology, DilateSpreadsAndLeavesAZeroBand) {
    Mat dst;
    dilate(block(7, 8, 3, 4, 4, 5, 1), dst, 3, 3);  // any non-zero byte counts
    EXPECT_TRUE(isBlock(dst, 2, 5, 3, 6));
    // A full image keeps the band of h rows and w columns at 0.
    dilate(block(6, 9, 0, 6, 0, 9), dst, 5, 3);
    EXPECT_TRUE(isBlock(dst, 1, 5, 2, 7));
    // One row with a window of 3 rows: nothing is computed.
    dilate(block(1, 10, 0, 1, 0, 10), dst, 1, 3);
    EXPECT_TRUE(isBlock(dst, 0, 0, 0, 0));
    // Sizes 0 and 1 are a one-pixel window.
    dilate(block(5, 5, 1, 2, 3, 4, 9), dst, 0, 0);
    EXPECT_TRUE(isBlock(dst, 1, 2, 3, 4));
}

TEST(BinaryMorphology, ErodeNeedsExactly255AndKeepsTheBand) {
    Mat src = block(9, 9, 2, 7, 2, 7), dst;
    erode(src, dst, 3, 3);
    EXPECT_TRUE(isBlock(dst, 3, 6, 3, 6));
    src.ptr<unsigned char>(4)[4] = 254;  // not set
    erode(src, dst, 3, 3);
    EXPECT_TRUE(isBlock(dst, 0, 0, 0, 0));
    // A reused destination keeps its band: columns 0 and 8 are never written,
    // band rows are eroded from the old pixels (77 is not set).
    Mat reused(9, 9, MAT_Tuchar, Point4_<double>(77, 0, 0, 0));
    erode(block(9, 9, 0, 9, 0, 9), reused, 3, 3);
    EXPECT_EQ(reused.ptr<unsigned char>(4)[0], 77);
    EXPECT_EQ(reused.ptr<unsigned char>(0)[4], 0);
    EXPECT_EQ(reused.ptr<unsigned char>(4)[4], 255);
}

TEST(BinaryMorphology, OpeningRemovesSpecksClosingFillsHoles) {
    Mat speck = block(11, 11, 2, 9, 2, 9), hole = speck, got;
    speck.ptr<unsigned char>(0)[10] = 255;  // far from the square, outside the band
    speck.ptr<unsigned char>(5)[0] = 0;
    speck.ptr<unsigned char>(9)[5] = 255;
    opening(speck, got, 3, 3);
    EXPECT_TRUE(isBlock(got, 2, 9, 2, 9));
    hole.ptr<unsigned char>(5)[5] = 0;
    closing(hole, got, 3, 3);
    EXPECT_TRUE(isBlock(got, 2, 9, 2, 9));
    // In-place and aliased forms equal the plain ones.
    Mat img = hole;
    closing(img, 3, 3);
    EXPECT_TRUE(matEqual(img, got));
    img = speck;
    dilate(img, img, 3, 3);
    dilate(speck, got, 3, 3);
    EXPECT_TRUE(matEqual(img, got));
    // A three-channel source is read as its first cols bytes per row.
    const Mat rgb = randomMat(6, 5, MAT_Tuchar3, 2);
    Mat bytes(6, 5, MAT_Tuchar), a, b;
    for (int y = 0; y < 6; y++) std::memcpy(bytes.data.ptr[y], rgb.data.ptr[y], 5);
    dilate(rgb, a, 3, 3);
    dilate(bytes, b, 3, 3);
    EXPECT_TRUE(matEqual(a, b));
}
