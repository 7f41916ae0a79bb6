// ip::resize: hand-computed results of every code, the byte scaler's
// averaging rule, corner-to-corner scaling, block averaging, every depth and
// channel count, in-place calls, vector/scalar and serial/parallel equality,
// cross-checks of the cubic and Lanczos kernels, and refused input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "support/vector_targets.h"
#include "support/test_util.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using tarvo::test::at;
using tarvo::test::matEqual;
using tarvo::test::matNear;
using tarvo::test::randomMat;

namespace {

// A one-channel matrix of the given depth from row-major values.
Mat fromValues(int rows, int cols, int depth, const std::vector<double>& v) {
    Mat m(rows, cols, depth);
    for (int r = 0; r < rows; r++)
        for (int c = 0; c < cols; c++) {
            const double x = v[(size_t)r * cols + c];
            switch (depth) {
                case MAT_Tuchar:
                    m.ptr<unsigned char>(r)[c] = (unsigned char)x;
                    break;
                case MAT_Tshort:
                    m.ptr<short>(r)[c] = (short)x;
                    break;
                case MAT_Tint:
                    m.ptr<int>(r)[c] = (int)x;
                    break;
                case MAT_Tfloat:
                    m.ptr<float>(r)[c] = (float)x;
                    break;
                default:
                    m.ptr<double>(r)[c] = x;
            }
        }
    return m;
}

std::vector<double> rowValues(const Mat& m, int r = 0, int k = 0) {
    std::vector<double> out;
    for (int c = 0; c < m.cols(); c++) out.push_back(at(m, r, c, k));
    return out;
}

Mat resized(const Mat& src, int w, int h, int code) {
    Mat dst;
    ip::resize(src, dst, w, h, code);
    return dst;
}

// Interleaves one-channel planes into a multi-channel matrix.
Mat merge(const std::vector<Mat>& planes) {
    const int cn = (int)planes.size(), depth = planes[0].type();
    Mat m(planes[0].rows(), planes[0].cols(), MAKETYPE(depth, cn));
    const int es = m.elemSize() / cn;
    for (int r = 0; r < m.rows(); r++)
        for (int c = 0; c < m.cols(); c++)
            for (int k = 0; k < cn; k++)
                std::memcpy(m.data.ptr[r] + ((size_t)c * cn + k) * es,
                            planes[k].data.ptr[r] + (size_t)c * es, es);
    return m;
}

Mat plane(const Mat& m, int k) {
    const int cn = m.channels(), depth = m.type(), es = m.elemSize() / cn;
    Mat p(m.rows(), m.cols(), depth);
    for (int r = 0; r < m.rows(); r++)
        for (int c = 0; c < m.cols(); c++)
            std::memcpy(p.data.ptr[r] + (size_t)c * es, m.data.ptr[r] + ((size_t)c * cn + k) * es,
                        es);
    return p;
}

const int kDepths[] = {MAT_Tuchar, MAT_Tshort, MAT_Tfloat, MAT_Tdouble};
const int kCodes[] = {ip::ResizeScaleXY, ip::ResizeLinear, ip::ResizeCubic, ip::ResizeArea,
                      ip::ResizeLanczos4};

// Restores the default switches even when an assertion fails.
struct SwitchGuard {
    ~SwitchGuard() {
        detail::setUseOptimized(true);
        setNumThreads(0);
    }
};

}  // namespace

// ------------------------------------------------------------ hand-computed results

TEST(Resize, SameSizeIsACopyForEveryCodeAndDepth) {
    for (int depth : {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble})
        for (int code : kCodes) {
            if (depth == MAT_Tint && code != ip::ResizeScaleXY) continue;
            const Mat src = randomMat(7, 9, MAKETYPE(depth, 3), 11);
            EXPECT_TRUE(matEqual(resized(src, 9, 7, code), src))
                << "depth " << depth << " code " << code;
        }
}

TEST(Resize, LinearDoublingOfARow) {
    // Pixel centres: outputs sit at -0.25, 0.25, 0.75, 1.25 source pixels; the
    // ends clamp to the edge pixels.
    for (int depth : kDepths) {
        const Mat src = fromValues(1, 2, depth, {0, 100});
        EXPECT_EQ(rowValues(resized(src, 4, 1, ip::ResizeLinear)),
                  (std::vector<double>{0, 25, 75, 100}))
            << depth;
    }
    // Bytes round once at the end: 0.25 * 3 = 0.75 gives 1, 0.75 * 3 = 2.25 gives 2.
    const Mat b = fromValues(1, 2, MAT_Tuchar, {0, 3});
    EXPECT_EQ(rowValues(resized(b, 4, 1, ip::ResizeLinear)), (std::vector<double>{0, 1, 2, 3}));
}

TEST(Resize, LinearAndAreaAtHalfSizeAverageTwoByTwoBlocks) {
    const Mat src = randomMat(6, 8, MAT_Tuchar, 3);
    for (int code : {ip::ResizeLinear, ip::ResizeArea}) {
        const Mat d = resized(src, 4, 3, code);
        ASSERT_EQ(d.cols(), 4);
        for (int y = 0; y < 3; y++)
            for (int x = 0; x < 4; x++) {
                const int s = int(at(src, 2 * y, 2 * x) + at(src, 2 * y, 2 * x + 1) +
                                  at(src, 2 * y + 1, 2 * x) + at(src, 2 * y + 1, 2 * x + 1));
                EXPECT_EQ(at(d, y, x), (s + 2) >> 2) << code << " at " << x << "," << y;
            }
    }
    // 16-bit and float blocks: the mean, rounded half up for shorts.
    const Mat s16 = fromValues(2, 2, MAT_Tshort, {-3, -4, -4, -4});  // mean -3.75
    EXPECT_EQ(at(resized(s16, 1, 1, ip::ResizeLinear), 0, 0), -4);
    const Mat s16b = fromValues(2, 2, MAT_Tshort, {-3, -3, -3, -5});  // mean -3.5 rounds up
    EXPECT_EQ(at(resized(s16b, 1, 1, ip::ResizeArea), 0, 0), -3);
    const Mat f = fromValues(2, 2, MAT_Tfloat, {1, 2, 3, 5});
    EXPECT_EQ(at(resized(f, 1, 1, ip::ResizeArea), 0, 0), 2.75);
}

TEST(Resize, AreaFastWithFactorThreeRoundsTheMean) {
    const Mat src = randomMat(9, 6, MAKETYPE(MAT_Tuchar, 3), 5);
    const Mat d = resized(src, 2, 3, ip::ResizeArea);
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 2; x++)
            for (int k = 0; k < 3; k++) {
                double s = 0;
                for (int j = 0; j < 3; j++)
                    for (int i = 0; i < 3; i++) s += at(src, 3 * y + j, 3 * x + i, k);
                EXPECT_LE(std::fabs(at(d, y, x, k) - s / 9.0), 0.5);
            }
}

TEST(Resize, AreaShrinkByOneAndAHalfWeightsPartialPixels) {
    // Cell 0 covers pixel 0 and half of pixel 1; cell 1 the other half and pixel 2.
    EXPECT_EQ(rowValues(resized(fromValues(1, 3, MAT_Tuchar, {30, 60, 90}), 2, 1, ip::ResizeArea)),
              (std::vector<double>{40, 80}));
    const Mat f = resized(fromValues(3, 1, MAT_Tfloat, {3, 6, 9}), 1, 2, ip::ResizeArea);
    EXPECT_NEAR(at(f, 0, 0), 4.0, 1e-5);
    EXPECT_NEAR(at(f, 1, 0), 8.0, 1e-5);
}

TEST(Resize, AreaEnlargingUsesAreaWeightsInTheLinearEngine) {
    // Output cell edges fall on 0, 2/3, 4/3, 2: only the middle cell straddles
    // two source pixels, by half each.
    const Mat f = fromValues(1, 2, MAT_Tfloat, {0, 10});
    EXPECT_EQ(rowValues(resized(f, 3, 1, ip::ResizeArea)), (std::vector<double>{0, 5, 10}));
    // Doubling: every output cell lies inside one source pixel.
    EXPECT_EQ(rowValues(resized(f, 4, 1, ip::ResizeArea)), (std::vector<double>{0, 0, 10, 10}));
    // Shrinking one axis while enlarging the other keeps the area rule per axis.
    const Mat b = fromValues(2, 2, MAT_Tuchar, {0, 10, 20, 30});
    const Mat d = resized(b, 4, 1, ip::ResizeArea);
    EXPECT_EQ(rowValues(d), (std::vector<double>{10, 10, 20, 20}));
}

TEST(Resize, CubicImpulseResponse) {
    // Doubling puts outputs at fractions 0.25 and 0.75, whose weights are
    // exact in binary: (-0.10546875, 0.87890625, 0.26171875, -0.03515625).
    std::vector<double> v(8, 0.0);
    v[4] = 1.0;
    for (int depth : {MAT_Tfloat, MAT_Tdouble}) {
        const std::vector<double> got =
            rowValues(resized(fromValues(1, 8, depth, v), 16, 1, ip::ResizeCubic));
        const std::vector<double> want = {0,           0,           0,           0,
                                          0,           -0.03515625, -0.10546875, 0.26171875,
                                          0.87890625,  0.87890625,  0.26171875,  -0.10546875,
                                          -0.03515625, 0,           0,           0};
        EXPECT_EQ(got, want) << depth;
    }
    // Bytes: weights 2048 * c = (-216, 1800, 536, -72) around a level of 100.
    std::vector<double> b(8, 100.0);
    b[4] = 200.0;
    EXPECT_EQ(rowValues(resized(fromValues(1, 8, MAT_Tuchar, b), 16, 1, ip::ResizeCubic)),
              (std::vector<double>{100, 100, 100, 100, 100, 96, 89, 126, 188, 188, 126, 89, 96, 100,
                                   100, 100}));
}

// Slow reference: separable interpolation with the textbook kernels in double.
double kernelWeight(int code, double t) {
    t = std::fabs(t);
    if (code == ip::ResizeCubic) {
        const double A = -0.75;
        if (t < 1) return ((A + 2) * t - (A + 3)) * t * t + 1;
        if (t < 2) return ((A * t - 5 * A) * t + 8 * A) * t - 4 * A;
        return 0;
    }
    if (t < 1e-12) return 1;
    if (t >= 4) return 0;
    const double pi = 3.14159265358979323846;
    return 4 * std::sin(pi * t) * std::sin(pi * t / 4) / (pi * pi * t * t);
}

double referenceRow(const Mat& src, int dstCols, int code, int dx) {
    const int taps = code == ip::ResizeCubic ? 4 : 8;
    const double pos = (dx + 0.5) * src.cols() / dstCols - 0.5;
    const int sx = (int)std::floor(pos);
    double sum = 0, wsum = 0;
    for (int i = 0; i < taps; i++) {
        const int p = sx - taps / 2 + 1 + i;
        const int c = p < 0 ? 0 : p >= src.cols() ? src.cols() - 1 : p;
        const double w = kernelWeight(code, pos - p);
        sum += w * at(src, 0, c);
        wsum += w;
    }
    return sum / wsum;
}

TEST(Resize, CubicAndLanczosMatchTheTextbookKernels) {
    const Mat src = randomMat(1, 23, MAT_Tfloat, 9, -50.0, 50.0);
    for (int code : {ip::ResizeCubic, ip::ResizeLanczos4})
        for (int w : {37, 15, 46, 9}) {
            const Mat d = resized(src, w, 1, code);
            ASSERT_EQ(d.cols(), w);
            for (int x = 0; x < w; x++)
                EXPECT_NEAR(at(d, 0, x), referenceRow(src, w, code, x), 2e-4)
                    << "code " << code << " width " << w << " x " << x;
        }
}

TEST(Resize, LanczosIsSymmetricAtHalfPixel) {
    // Shrinking 8 -> 4 puts outputs exactly between two source pixels.
    std::vector<double> v(8, 0.0);
    v[3] = v[4] = 64.0;
    const std::vector<double> got =
        rowValues(resized(fromValues(1, 8, MAT_Tdouble, v), 4, 1, ip::ResizeLanczos4));
    EXPECT_NEAR(got[0], got[3], 1e-9);
    EXPECT_NEAR(got[1], got[2], 1e-9);
    // Output 1 sits 0.5 and 1.5 pixels from the pair: 64 * (L(0.5) + L(1.5)).
    EXPECT_NEAR(got[1], 64 * (0.6189 - 0.1660), 0.05);
}

// ------------------------------------------------------------ code 0

TEST(ResizeScaleXYBytes, ColumnCarryAndRowPairs) {
    // 5 -> 3 columns: step 1, remainder 2; the carry reaches 3 at the second output.
    EXPECT_EQ(rowValues(resized(fromValues(1, 5, MAT_Tuchar, {10, 20, 31, 40, 50}), 3, 1, 0)),
              (std::vector<double>{10, 25, 40}));
    // 2 -> 4 columns: the carry averages once, the last pixel never does.
    EXPECT_EQ(rowValues(resized(fromValues(1, 2, MAT_Tuchar, {10, 20}), 4, 1, 0)),
              (std::vector<double>{10, 15, 20, 20}));
    // 3 rows -> 1: rows 0 and 1 are averaged by a truncating shift, row 2 is not read.
    EXPECT_EQ(at(resized(fromValues(3, 1, MAT_Tuchar, {10, 21, 90}), 1, 1, 0), 0, 0), 15);
    // Exact halving: rows are paired, columns are picked (no column carry).
    const Mat src = randomMat(4, 6, MAKETYPE(MAT_Tuchar, 3), 21);
    const Mat d = resized(src, 3, 2, 0);
    for (int y = 0; y < 2; y++)
        for (int x = 0; x < 3; x++)
            for (int k = 0; k < 3; k++)
                EXPECT_EQ(at(d, y, x, k),
                          (int(at(src, 2 * y, 2 * x, k)) + int(at(src, 2 * y + 1, 2 * x, k))) >> 1);
}

TEST(ResizeScaleXYOtherDepths, CornersMapOntoCorners) {
    for (int depth : {MAT_Tshort, MAT_Tint}) {
        EXPECT_EQ(rowValues(resized(fromValues(1, 2, depth, {0, 3}), 3, 1, 0)),
                  (std::vector<double>{0, 1, 3}))
            << "truncated, depth " << depth;
        EXPECT_EQ(rowValues(resized(fromValues(1, 2, depth, {0, -3}), 3, 1, 0)),
                  (std::vector<double>{0, -1, -3}))
            << "towards zero, depth " << depth;
    }
    const Mat f = randomMat(5, 7, MAKETYPE(MAT_Tfloat, 3), 4);
    const Mat d = resized(f, 13, 9, 0);
    for (int k = 0; k < 3; k++) {
        EXPECT_EQ(at(d, 0, 0, k), at(f, 0, 0, k));
        EXPECT_EQ(at(d, 0, 12, k), at(f, 0, 6, k));
        EXPECT_EQ(at(d, 8, 0, k), at(f, 4, 0, k));
        EXPECT_EQ(at(d, 8, 12, k), at(f, 4, 6, k));
        EXPECT_NEAR(at(d, 0, 1, k), (at(f, 0, 0, k) + at(f, 0, 1, k)) / 2, 1e-5);
    }
    // A one-column target reads the first column only.
    const Mat one = resized(fromValues(1, 3, MAT_Tdouble, {4, 5, 6}), 1, 1, 0);
    EXPECT_EQ(at(one, 0, 0), 4.0);
}

TEST(ResizeScaleXY, ScaleAndInPlaceFormsUseCodeZero) {
    const Mat src = randomMat(10, 16, MAKETYPE(MAT_Tuchar, 3), 8);
    Mat byScale;
    ip::resize(src, byScale, 0.5f);
    EXPECT_TRUE(matEqual(byScale, resized(src, 8, 5, 0)));
    Mat image = src;
    ip::resize(image, 7, 3);
    EXPECT_TRUE(matEqual(image, resized(src, 7, 3, 0)));
    image = src;
    ip::resize(image, 1.3f);  // 16 * 1.3 + 0.5 = 21.3, 10 * 1.3 + 0.5 = 13.5
    EXPECT_TRUE(matEqual(image, resized(src, 21, 13, 0)));
}

// ------------------------------------------------------------ depths, channels, aliasing

TEST(Resize, ConstantImagesStayConstant) {
    for (int depth : kDepths)
        for (int cn : {1, 3, 4})
            for (int code : kCodes)
                for (int w : {5, 17, 40}) {
                    Mat src(11, 13, MAKETYPE(depth, cn), Point4_<double>(37, 37, 37, 37));
                    const Mat d = resized(src, w, 23 - w / 3, code);
                    ASSERT_EQ(d.type1(), src.type1());
                    Mat want(d.rows(), d.cols(), d.type1(), Point4_<double>(37, 37, 37, 37));
                    EXPECT_TRUE(matNear(d, want, 1e-4))
                        << "depth " << depth << " cn " << cn << " code " << code << " w " << w;
                }
}

TEST(Resize, ChannelsAreResizedIndependently) {
    for (int depth : kDepths)
        for (int cn : {3, 4})
            for (int code : kCodes) {
                std::vector<Mat> planes;
                for (int k = 0; k < cn; k++)
                    planes.push_back(randomMat(13, 17, depth, 30 + k, -300.0, 300.0));
                const Mat src = merge(planes);
                for (auto size : {std::pair<int, int>(29, 7), {8, 6}, {6, 26}, {17, 13}}) {
                    const Mat d = resized(src, size.first, size.second, code);
                    for (int k = 0; k < cn; k++)
                        EXPECT_TRUE(matEqual(plane(d, k),
                                             resized(planes[k], size.first, size.second, code)))
                            << "depth " << depth << " cn " << cn << " code " << code << " size "
                            << size.first << "x" << size.second << " channel " << k;
                }
            }
}

TEST(Resize, SourceAndDestinationMayBeTheSameMatrix) {
    for (int code : kCodes) {
        const Mat src = randomMat(20, 30, MAKETYPE(MAT_Tuchar, 3), 2);
        Mat m = src;
        ip::resize(m, m, 41, 13, code);
        EXPECT_TRUE(matEqual(m, resized(src, 41, 13, code))) << code;
        // Same size: the destination keeps its storage, the source is read from a copy.
        Mat n = src;
        ip::resize(n, n, 30, 20, code);
        EXPECT_TRUE(matEqual(n, resized(src, 30, 20, code))) << code;
    }
    // A destination that refers to the source's own pixels.
    Mat big = randomMat(16, 16, MAT_Tfloat, 6);
    const Mat before = big;
    Mat part;
    big.subRefMat(Rect_<int>(4, 4, 8, 8), part);
    ip::resize(big, part, 8, 8, ip::ResizeCubic);
    EXPECT_TRUE(matEqual(part, resized(before, 8, 8, ip::ResizeCubic)));
}

// ------------------------------------------------------------ fast paths

TEST(Resize, VectorAndParallelRunsEqualTheScalarSerialRun) {
    SwitchGuard guard;
    struct Case {
        int sw, sh, dw, dh;
    };
    const Case cases[] = {{333, 211, 517, 301},   // enlarge, odd
                          {641, 483, 319, 241},   // shrink by about 2, not exactly
                          {1000, 600, 500, 300},  // exact halving: block averaging
                          {901, 601, 300, 200},   // factor 3 with a partial block
                          {97, 1201, 411, 400}};
    for (int depth : kDepths)
        for (int cn : {1, 3, 4})
            for (int code : kCodes)
                for (const Case& c : cases) {
                    const Mat src =
                        randomMat(c.sh, c.sw, MAKETYPE(depth, cn), 77 + cn, -1000.0, 1000.0);
                    detail::setUseOptimized(false);
                    setNumThreads(1);
                    const Mat ref = resized(src, c.dw, c.dh, code);
                    detail::setUseOptimized(true);
                    setNumThreads(0);
                    EXPECT_TRUE(matEqual(resized(src, c.dw, c.dh, code), ref))
                        << "depth " << depth << " cn " << cn << " code " << code << " " << c.sw
                        << "x" << c.sh << " -> " << c.dw << "x" << c.dh;
                }
}

TEST(Resize, EveryCompiledVectorTargetMatchesScalar) {
    // The processor picks one target; mock the others it can run so that each
    // compiled kernel (AVX-512, AVX2, SSE4, ...) is checked against the scalar loops.
    SwitchGuard guard;
    struct Case {
        int type, w, h, code;
    };
    const Case cases[] = {
        {MAT_Tuchar3, 67, 29, ip::ResizeLinear},
        {MAT_Tuchar, 103, 41, ip::ResizeCubic},
        {MAT_Tuchar4, 39, 17, ip::ResizeLanczos4},
        {MAT_Tshort3, 71, 33, ip::ResizeCubic},
        {MAT_Tfloat, 97, 45, ip::ResizeLinear},
        {MAT_Tfloat3, 30, 13, ip::ResizeLanczos4},
        {MAT_Tuchar, 26, 12, ip::ResizeArea},
        {MAT_Tuchar3, 26, 12, ip::ResizeLinear},
        {MAT_Tuchar4, 26, 12, ip::ResizeArea},
        {MAT_Tshort, 26, 12, ip::ResizeArea},
        {MAT_Tshort3, 26, 12, ip::ResizeLinear},
        {MAKETYPE(MAT_Tshort, 4), 26, 12, ip::ResizeArea},
        {MAT_Tfloat, 29, 11, ip::ResizeLanczos4},
        {MAT_Tshort, 31, 13, ip::ResizeCubic},
        {MAKETYPE(MAT_Tfloat, 4), 33, 14, ip::ResizeCubic},
    };
    std::vector<Mat> srcs, refs;
    detail::setUseOptimized(false);
    for (const Case& c : cases) {
        srcs.push_back(randomMat(24, 52, c.type, 400 + c.type, -500.0, 500.0));
        refs.push_back(resized(srcs.back(), c.w, c.h, c.code));
    }
    detail::setUseOptimized(true);
    const int tried = test::onEveryVectorTarget([&](const char* target) {
        for (size_t i = 0; i < srcs.size(); i++)
            EXPECT_TRUE(matEqual(resized(srcs[i], cases[i].w, cases[i].h, cases[i].code), refs[i]))
                << target << " case " << i;
    });
    EXPECT_GT(tried, 0);
}

// ------------------------------------------------------------ refused input

TEST(Resize, BadInputLeavesTheDestinationUnchanged) {
    const Mat src = randomMat(8, 8, MAT_Tuchar, 1);
    const Mat marker = randomMat(3, 4, MAT_Tfloat, 2);
    auto unchanged = [&](const Mat& s, int w, int h, int code) {
        Mat d = marker;
        ip::resize(s, d, w, h, code);
        return matEqual(d, marker);
    };
    EXPECT_TRUE(unchanged(Mat(), 4, 4, ip::ResizeLinear));
    for (int code : kCodes) {
        EXPECT_TRUE(unchanged(src, 0, 4, code));
        EXPECT_TRUE(unchanged(src, 4, -1, code));
        EXPECT_TRUE(unchanged(src, 100000, 100000, code));  // 10^10 elements
        EXPECT_TRUE(unchanged(src, 1 << 30, 3, code));
    }
    EXPECT_TRUE(unchanged(src, 4, 4, 5));
    EXPECT_TRUE(unchanged(src, 4, 4, -1));
    // Int images have no interpolating routine; code 0 serves them.
    const Mat i32 = randomMat(8, 8, MAT_Tint, 3);
    for (int code : {1, 2, 3, 4}) EXPECT_TRUE(unchanged(i32, 4, 4, code));
    EXPECT_EQ(resized(i32, 4, 4, 0).type1(), MAT_Tint);
    // Factors that give no pixels or are not numbers.
    Mat d = marker;
    ip::resize(src, d, 0.01f);
    ip::resize(src, d, -2.0f);
    ip::resize(src, d, std::nanf(""));
    EXPECT_TRUE(matEqual(d, marker));
    Mat image = src;
    ip::resize(image, 0, 5);
    ip::resize(image, std::nanf(""));
    EXPECT_TRUE(matEqual(image, src));
}

TEST(Resize, TinySourcesAndExtremeFactors) {
    for (int depth : kDepths)
        for (int code : kCodes) {
            const Mat one = fromValues(1, 1, depth, {42});
            const Mat big = resized(one, 9, 5, code);
            ASSERT_EQ(big.cols(), 9) << code;
            EXPECT_NEAR(at(big, 4, 8), 42.0, 1e-4) << "depth " << depth << " code " << code;
            // Averaging codes stay inside the source's range at any factor.
            const Mat wide = randomMat(3, 500, depth, 4, 0.0, 100.0);
            const Mat thin = resized(wide, 1, 1, code);
            ASSERT_EQ(thin.cols(), 1) << code;
            if (code == ip::ResizeCubic || code == ip::ResizeLanczos4) continue;
            double lo = 1e300, hi = -1e300;
            for (int y = 0; y < 3; y++)
                for (int x = 0; x < 500; x++) {
                    lo = std::min(lo, at(wide, y, x));
                    hi = std::max(hi, at(wide, y, x));
                }
            EXPECT_GE(at(thin, 0, 0), lo) << "depth " << depth << " code " << code;
            EXPECT_LE(at(thin, 0, 0), hi) << "depth " << depth << " code " << code;
        }
}
