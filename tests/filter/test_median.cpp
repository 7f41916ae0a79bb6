// Median and direct convolution: hand-computed cases of the edge rules, the
// divisor and offset arithmetic and the refusals, then every path (vector
// networks, histogram rank search, scalar loops, one or several threads)
// against the slow window loops of tests/support.
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "support/vector_targets.h"
#include "support/naive_median.h"
#include "support/test_util.h"
#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using namespace tarvo::ip;
using tarvo::test::matEqual;
using tarvo::test::naiveConvolve;
using tarvo::test::naiveMedian;
using tarvo::test::randomMat;

namespace {

const int kOnes9[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};

// Restores the vector paths and the thread count at the end of a test.
struct PathGuard {
    ~PathGuard() {
        detail::setUseOptimized(true);
        setNumThreads(0);
    }
};

// Runs f(out) with vector code on, off, and on a single thread; all three
// results must be identical and are returned as the first.
template <typename F>
Mat allPaths(F f) {
    PathGuard g;
    Mat a, b, c;
    f(a);
    detail::setUseOptimized(false);
    f(b);
    detail::setUseOptimized(true);
    setNumThreads(1);
    f(c);
    EXPECT_TRUE(matEqual(a, b)) << "vector vs scalar";
    EXPECT_TRUE(matEqual(a, c)) << "threads vs one thread";
    return a;
}

Mat filled(int rows, int cols, int type, double v) {
    Mat m(rows, cols, type);
    m = v;
    return m;
}

// Few grey levels make many ties.
Mat fewLevels(int rows, int cols, int type, uint32_t seed) {
    Mat m = randomMat(rows, cols, type, seed);
    const int n = cols * m.channels();
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < n; x++) {
            unsigned char* p = m.ptr<unsigned char>(y) + x * m.step();
            if (m.type() == MAT_Tuchar) p[0] = (unsigned char)(p[0] % 3 * 100);
            if (m.type() == MAT_Tshort) reinterpret_cast<short*>(p)[0] %= 3;
            if (m.type() == MAT_Tint) reinterpret_cast<int*>(p)[0] %= 2;
        }
    return m;
}

}  // namespace

TEST(Convolve2, SquareBoxKeepsTheStrictFrameAndTruncatesTheMeans) {
    Mat src(6, 6, MAT_Tuchar);
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 6; x++) src.ptr<unsigned char>(y)[x] = (unsigned char)(7 * y + 3 * x);
    const Mat out = allPaths([&](Mat& d) { convolve2(src, d, kOnes9, 3, 9, 0, FilterSquare); });
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 6; x++) {
            int want = src.ptr<unsigned char>(y)[x];
            if (y >= 2 && y <= 4 && x >= 2 && x <= 4) {
                int s = 0;
                for (int dy = -1; dy <= 1; dy++)
                    for (int dx = -1; dx <= 1; dx++) s += src.ptr<unsigned char>(y + dy)[x + dx];
                want = s / 9;
            }
            EXPECT_EQ(out.ptr<unsigned char>(y)[x], want) << y << "," << x;
        }
}

TEST(Convolve2, OffsetNegativeKernelAndClamp) {
    // Centre -1 plus offset 10: 3 gives 7 and 20 gives -10, clamped to 0.
    const int k[9] = {0, 0, 0, 0, -1, 0, 0, 0, 0};
    Mat src = filled(5, 5, MAT_Tuchar, 3);
    src.ptr<unsigned char>(3)[3] = 20;
    Mat dst;
    convolve2(src, dst, k, 3, 1, 10, FilterSquare);
    EXPECT_EQ(dst.ptr<unsigned char>(2)[2], 7);
    EXPECT_EQ(dst.ptr<unsigned char>(3)[3], 0);
    EXPECT_EQ(dst.ptr<unsigned char>(1)[1], 3);  // strict frame keeps the source
    // Divisor 0 acts as 1, and a negative divisor truncates towards zero.
    const int k2[9] = {0, 0, 0, 0, 7, 0, 0, 0, 0};
    convolve2(src, dst, k2, 3, 0, 0, FilterSquare);
    EXPECT_EQ(dst.ptr<unsigned char>(2)[2], 21);
    convolve2(src, dst, k2, 3, -2, 20, FilterSquare);
    EXPECT_EQ(dst.ptr<unsigned char>(2)[2], 10);  // 20 + trunc(21 / -2) = 20 - 10
}

TEST(Convolve2, WindowLargerThanImageCopiesAndFloatKernelsNeverFilter) {
    const Mat small = randomMat(2, 2, MAT_Tuchar, 3);
    Mat dst;
    convolve2(small, dst, kOnes9, 3, 9, 0, FilterSquare);
    EXPECT_TRUE(matEqual(dst, small));

    const float fk[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    const double dk[3] = {1, 2, 1};
    const Mat src = randomMat(8, 8, MAT_Tuchar, 4);
    Mat filledDst = filled(8, 8, MAT_Tuchar, 77);
    convolve2(src, filledDst, fk, 3, 9.0f, 0, FilterSquare);
    convolve2(src, filledDst, dk, 3, 4.0, 0, FilterHorizontal);
    EXPECT_TRUE(matEqual(filledDst, filled(8, 8, MAT_Tuchar, 77)));
    Mat image = src;
    convolve2(image, fk, 3, 9.0f, 0, FilterSquare);
    EXPECT_TRUE(matEqual(image, src));
}

TEST(Convolve2, LineKindsFilterWhereAllTapsAreInside) {
    // Kinds 2 and 3 filter x - h >= 0: column 1 of a width-3 kernel is filtered.
    const int k[3] = {1, 1, 1};
    Mat src(4, 5, MAT_Tuchar);
    for (int y = 0; y < 4; y++)
        for (int x = 0; x < 5; x++) src.ptr<unsigned char>(y)[x] = (unsigned char)(10 * x + y);
    Mat h, v;
    convolve2(src, h, k, 3, 3, 0, FilterHorizontal);
    convolve2(src, v, k, 3, 3, 0, FilterVertical);
    EXPECT_EQ(h.ptr<unsigned char>(0)[0], 0);
    EXPECT_EQ(h.ptr<unsigned char>(0)[1], 10);
    EXPECT_EQ(h.ptr<unsigned char>(2)[3], 32);
    EXPECT_EQ(h.ptr<unsigned char>(2)[4], 42);
    EXPECT_EQ(v.ptr<unsigned char>(0)[2], 20);
    EXPECT_EQ(v.ptr<unsigned char>(1)[2], 21);
    EXPECT_EQ(v.ptr<unsigned char>(3)[2], 23);
    // Kind 1 does not filter a Mat.
    Mat untouched = filled(4, 5, MAT_Tuchar, 9);
    convolve2(src, untouched, k, 3, 3, 0, FilterVec);
    EXPECT_TRUE(matEqual(untouched, filled(4, 5, MAT_Tuchar, 9)));
}

TEST(Convolve2, RectangleFormZeroesOutsideTheArea) {
    const Mat src = filled(6, 6, MAT_Tuchar, 50);
    Mat dst;
    convolve2(src, dst, kOnes9, 3, 9, 1, Rect_<int>(1, 1, 2, 2));
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 6; x++) {
            const bool inside = y >= 1 && y <= 2 && x >= 1 && x <= 2;
            // (1, 1) crosses the strict frame and keeps 50; the rest is 50 + 1.
            const int want = !inside ? 0 : (y == 2 && x == 2) ? 51 : 50;
            EXPECT_EQ(dst.ptr<unsigned char>(y)[x], want) << y << "," << x;
        }
    // A huge rectangle is clipped; colour images are refused.
    convolve2(src, dst, kOnes9, 3, 9, 0, Rect_<int>(-5, -5, 1 << 30, 1 << 30));
    EXPECT_EQ(dst.ptr<unsigned char>(3)[3], 50);
    Mat colour = filled(6, 6, MAT_Tuchar3, 1), before = colour;
    convolve2(colour, kOnes9, 3, 9, 0, Rect_<int>(0, 0, 6, 6));
    EXPECT_TRUE(matEqual(colour, before));
}

TEST(Convolve2, SeparableEdgesDarken) {
    const int k[3] = {1, 1, 1};
    const Mat src = filled(5, 6, MAT_Tuchar, 90);
    Mat dst;
    convolve2sep(src, dst, k, 3, 3);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 6; x++) {
            const int edges = (y == 0 || y == 4) + (x == 0 || x == 5);
            EXPECT_EQ(dst.ptr<unsigned char>(y)[x], edges == 2 ? 40 : edges == 1 ? 60 : 90);
        }
    // Float kernel on a float image, divisor 0 acting as 1.
    const float fk[3] = {0.25f, 0.5f, 0.25f};
    Mat f = filled(4, 4, MAT_Tfloat, 8.0);
    convolve2sep(f, fk, 3, 0.0f);
    EXPECT_FLOAT_EQ(f.ptr<float>(0)[0], 4.5f);  // (0.75 * 8) * 0.75
    EXPECT_FLOAT_EQ(f.ptr<float>(2)[2], 8.0f);
    // Other depths keep the copy.
    const Mat s16 = randomMat(4, 4, MAT_Tshort, 5);
    Mat d16;
    convolve2sep(s16, d16, k, 3, 3);
    EXPECT_TRUE(matEqual(d16, s16));
}

TEST(Convolve2, SeparablePathsAgree) {
    // The vector passes stream rows through a ring: odd sizes, images smaller
    // than the kernel, negative taps and divisors, divisor 0, even kernels,
    // and enough rows for several stripes.
    const std::vector<std::vector<int>> kernels = {
        {1, 4, 6, 4, 1}, {-1, 3, -2}, {2, 1, 1, 3}, {1, 1, 1, 1, 1, 1, 1, 1, 1}, {7}};
    const int divisors[] = {16, -3, 0, 9, 2};
    for (int cn : {1, 3})
        for (const auto& shape :
             {std::make_pair(3, 2), std::make_pair(23, 41), std::make_pair(150, 67)}) {
            const Mat src = randomMat(shape.first, shape.second, MAKETYPE(MAT_Tuchar, cn), 5 + cn);
            for (size_t i = 0; i < kernels.size(); i++)
                allPaths([&](Mat& d) {
                    convolve2sep(src, d, kernels[i].data(), int(kernels[i].size()), divisors[i]);
                });
        }
}

TEST(Convolve2, FilterObjectCreateOnceAndVecKind) {
    ipFilter f;
    const int k[3] = {1, 2, 1};
    const int k2[3] = {0, 5, 0};
    EXPECT_EQ(f.create(k, 3, 0, 0, FilterVec), 1);
    EXPECT_EQ(f.divisor, 1);
    EXPECT_EQ(f.create(k2, 3, 1, 0, FilterVec), 0);  // the first kernel stays
    EXPECT_EQ(f.kernel[1], 2);
    Vec v(5, MAT_Tuchar), out;
    for (int i = 0; i < 5; i++) v.data.ptr[i] = (unsigned char)(10 * i);
    EXPECT_TRUE(f.process(&v, &out));
    const int want[5] = {0, 40, 80, 120, 40};
    for (int i = 0; i < 5; i++) EXPECT_EQ(out.data.ptr[i], want[i]) << i;
    Mat m = filled(3, 3, MAT_Tuchar, 1);
    EXPECT_FALSE(f.process(&m, &m));  // kind 1 does not run on a Mat
    f.release();
    EXPECT_EQ(f.create(k2, 3, 1, 0, FilterHorizontal), 1);

    EXPECT_EQ(kernelFactor(kOnes9, 9), 9);
    const int wrap[2] = {0x7FFFFFFF, 1};
    EXPECT_EQ(kernelFactor(wrap, 2), int(0x80000000u));
    const float fk[3] = {0.5f, 0.25f, 0.25f};
    EXPECT_FLOAT_EQ(kernelFactor(fk, 3), 1.0f);
    const double dk[2] = {1.5, 2.5};
    EXPECT_DOUBLE_EQ(kernelFactor(dk, 2), 4.0);
    EXPECT_EQ(kernelFactor(static_cast<const int*>(nullptr), 4), 0);
}

TEST(Convolve2, RefusalsLeaveTheDestination) {
    const Mat src = randomMat(6, 6, MAT_Tuchar, 6);
    const Mat keep = filled(2, 3, MAT_Tuchar, 5);
    Mat dst = keep;
    convolve2(src, dst, kOnes9, 0, 9, 0, FilterSquare);
    convolve2(src, dst, static_cast<const int*>(nullptr), 3, 9, 0, FilterSquare);
    convolve2(src, dst, kOnes9, 5000, 9, 0, FilterSquare);  // over 2^24 entries
    convolve2(Mat(), dst, kOnes9, 3, 9, 0, FilterSquare);
    convolve2(randomMat(6, 6, MAT_Tshort, 1), dst, kOnes9, 3, 9, 0, FilterSquare);
    convolve2sep(Mat(), dst, kOnes9, 3, 3);
    convolve2sep(src, dst, kOnes9, -1, 3);
    median(src, dst, 0);
    median(randomMat(6, 6, MAT_Tfloat, 1), dst, 3);
    median(randomMat(6, 6, MAT_Tuchar3, 1), dst, 3, FilterHorizontal);
    EXPECT_TRUE(matEqual(dst, keep));
    Vec v, vd(3, MAT_Tuchar);
    convolve(v, vd, kOnes9, 3, 3, 0);
    EXPECT_EQ(vd.length(), 3);
}

TEST(Convolve2, EveryKindMatchesTheWindowLoops) {
    for (int depth : {MAT_Tuchar, MAT_Tfloat}) {
        for (int cn : {1, 3}) {
            const Mat src = randomMat(23, 41, MAKETYPE(depth, cn), 11 + cn, -50.0, 200.0);
            for (int n : {1, 2, 3, 4, 5, 7}) {
                std::vector<int> k(size_t(n) * n);
                for (size_t i = 0; i < k.size(); i++) k[i] = int(i * 7 % 11) - 3;
                const int div = n * 3 - 1;
                for (int kind : {0, 2, 3}) {
                    const Mat out = allPaths([&](Mat& d) {
                        convolve2(src, d, k.data(), n, div, 5, filterintype(kind));
                    });
                    EXPECT_TRUE(matEqual(out, naiveConvolve(src, k.data(), n, div, 5, kind)))
                        << "depth " << depth << " cn " << cn << " n " << n << " kind " << kind;
                }
            }
        }
    }
    // Large kernels of ones (vector path, many taps) and a weighted 3 x 3 on
    // an image wide enough for several threads.
    const Mat big = randomMat(300, 257, MAT_Tuchar3, 21);
    const int k3[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
    const Mat out = allPaths([&](Mat& d) { convolve2(big, d, k3, 3, 16, 0, FilterSquare); });
    EXPECT_TRUE(matEqual(out, naiveConvolve(big, k3, 3, 16, 0, 0)));
    std::vector<int> ones(15 * 15, 1);
    const Mat grey = randomMat(64, 70, MAT_Tuchar, 22);
    const Mat o15 =
        allPaths([&](Mat& d) { convolve2(grey, d, ones.data(), 15, 225, -3, FilterSquare); });
    EXPECT_TRUE(matEqual(o15, naiveConvolve(grey, ones.data(), 15, 225, -3, 0)));
}

TEST(Median, EdgeWindowsShrinkAndEvenWindowsLeanBack) {
    Mat src(4, 4, MAT_Tuchar);
    for (int y = 0; y < 4; y++)
        for (int x = 0; x < 4; x++) src.ptr<unsigned char>(y)[x] = (unsigned char)(16 * y + x);
    Mat dst;
    median(src, dst, 3);
    // Corner (0, 0): samples 0, 1, 16, 17; index 2 of the sorted four is 16.
    EXPECT_EQ(dst.ptr<unsigned char>(0)[0], 16);
    // Window 4 takes taps -2..1: at (2, 2) rows 0..3 and columns 0..3, all 16
    // samples, index 8 is 32.
    median(src, dst, 4);
    EXPECT_EQ(dst.ptr<unsigned char>(2)[2], 32);
    // At (3, 3) rows and columns 1..3 (the tap +1 falls outside): index 4 is 34.
    EXPECT_EQ(dst.ptr<unsigned char>(3)[3], 34);
    // Lines: kind 2 horizontal, kind 3 vertical.
    median(src, dst, 3, FilterHorizontal);
    EXPECT_EQ(dst.ptr<unsigned char>(1)[0], 17);
    median(src, dst, 3, FilterVertical);
    EXPECT_EQ(dst.ptr<unsigned char>(0)[1], 17);
    // In place reads a copy, so results never feed later windows.
    Mat image = src;
    median(image, 3);
    median(src, dst, 3);
    EXPECT_TRUE(matEqual(image, dst));
    // The pump form is the square median.
    ipMedian op(3);
    Mat viaOp;
    EXPECT_TRUE(op.process(&src, &viaOp));
    EXPECT_TRUE(matEqual(viaOp, dst));
    EXPECT_FALSE(op.process(nullptr, &viaOp));
}

TEST(Median, MatchesTheSortedSampleRule) {
    // Every window 1..35 on bytes (networks, histograms, edges, even windows).
    const Mat grey = randomMat(29, 37, MAT_Tuchar, 31);
    const Mat colour = randomMat(19, 23, MAT_Tuchar3, 32);
    for (int n = 1; n <= 35; n++) {
        const Mat& src = n % 2 ? grey : colour;
        const Mat out = allPaths([&](Mat& d) { median(src, d, n); });
        ASSERT_TRUE(matEqual(out, naiveMedian(src, n, 0))) << "window " << n;
    }
    // 16-bit and int, ties, constants, images smaller than the window, lines.
    for (int depth : {MAT_Tuchar, MAT_Tshort, MAT_Tint}) {
        for (int cn : {1, 3}) {
            const int type = MAKETYPE(depth, cn);
            const Mat imgs[3] = {randomMat(17, 21, type, 40 + depth), fewLevels(16, 13, type, 7),
                                 filled(5, 4, type, 9)};
            for (const Mat& src : imgs)
                for (int n : {2, 3, 5, 6, 9}) {
                    Mat out = allPaths([&](Mat& d) { median(src, d, n); });
                    EXPECT_TRUE(matEqual(out, naiveMedian(src, n, 0)))
                        << "depth " << depth << " cn " << cn << " n " << n;
                    if (cn != 1) continue;
                    for (int kind : {2, 3}) {
                        out = allPaths([&](Mat& d) { median(src, d, n, filterintype(kind)); });
                        EXPECT_TRUE(matEqual(out, naiveMedian(src, n, kind)))
                            << "depth " << depth << " n " << n << " kind " << kind;
                    }
                }
        }
    }
    // Networks on an image big enough for several threads, with ties.
    const Mat big = fewLevels(260, 300, MAT_Tuchar, 9);
    for (int n : {3, 5, 8}) {
        const Mat out = allPaths([&](Mat& d) { median(big, d, n); });
        EXPECT_TRUE(matEqual(out, naiveMedian(big, n, 0))) << "window " << n;
    }
    // Rows whose interior is not a whole number of vectors: the last vector
    // overlaps the one before, in colour too. Tall narrow images run their
    // side columns as long rows, with an odd count of interior rows.
    // Three columns: every window is clipped at both sides.
    const Mat images[5] = {randomMat(9, 67, MAT_Tuchar3, 33), randomMat(9, 131, MAT_Tuchar3, 34),
                           randomMat(71, 9, MAT_Tuchar3, 35), fewLevels(135, 6, MAT_Tuchar, 36),
                           randomMat(70, 3, MAT_Tuchar, 37)};
    for (const Mat& src : images)
        for (int n : {3, 5}) {
            const Mat out = allPaths([&](Mat& d) { median(src, d, n); });
            EXPECT_TRUE(matEqual(out, naiveMedian(src, n, 0)))
                << src.rows() << " x " << src.cols() << " window " << n;
        }
}

TEST(Median, NetworksAgreeOnEveryVectorTarget) {
    // Vector widths change the chunking, the overlapping last vector and which
    // side bands are long enough for the clipped-window kernel.
    PathGuard g;
    const Mat srcs[2] = {fewLevels(97, 150, MAT_Tuchar, 41), randomMat(40, 67, MAT_Tuchar3, 42)};
    const int tried = test::onEveryVectorTarget([&](const char* target) {
        for (const Mat& src : srcs)
            for (int n : {3, 5}) {
                Mat out;
                median(src, out, n);
                EXPECT_TRUE(matEqual(out, naiveMedian(src, n, 0)))
                    << target << " channels " << src.channels() << " n " << n;
            }
    });
    EXPECT_GT(tried, 0);
}
