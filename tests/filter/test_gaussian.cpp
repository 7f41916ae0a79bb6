// Gaussian smoothing against a slow reference written from the rules: float
// sums in tap order, truncation, lines mirrored without repeating the edge.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "support/vector_targets.h"
#include "support/test_util.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using tarvo::test::at;
using tarvo::test::matEqual;
using tarvo::test::randomMat;

namespace {

// ---- reference

std::vector<float> refKernel(float sigma, float support) {
    int r = (int)std::floor(support + 0.5);
    if (r < 0) r = 0;
    std::vector<float> k(2 * r + 1);
    float sum = 0.0f;
    for (int i = -r; i <= r; i++) {
        k[i + r] = i == 0 ? 1.0f : std::exp(-(float)(i * i) / (2.0f * sigma * sigma));
        sum += k[i + r];
    }
    for (float& v : k) v /= sum;
    return k;
}

// Mirror without edge repeat, reflected again until inside (short lines).
int refMirror(int p, int len) {
    if (len == 1) return 0;
    while (p < 0 || p >= len) {
        if (p < 0) p = -p;
        if (p >= len) p = 2 * len - p - 2;
    }
    return p;
}

void refStore(Mat& m, int y, int i, float s) {
    double t = std::trunc((double)s);
    switch (m.type()) {
        case MAT_Tuchar:
            m.ptr<unsigned char>(y)[i] = (unsigned char)std::fmin(255, std::fmax(0, t));
            break;
        case MAT_Tshort:
            m.ptr<short>(y)[i] = (short)std::fmin(32767, std::fmax(-32768, t));
            break;
        case MAT_Tint:
            m.ptr<int>(y)[i] = (int)t;
            break;
        case MAT_Tfloat:
            m.ptr<float>(y)[i] = s;
            break;
        default:
            m.ptr<double>(y)[i] = s;
            break;
    }
}

// One pass; along rows (horizontal) or columns. Doubles keep a float sum but add in double.
Mat refPass(const Mat& src, bool horizontal, const std::vector<float>& k) {
    Mat dst(src.rows(), src.cols(), src.type1());
    const int h = (int)k.size() / 2, cn = src.channels();
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols(); x++)
            for (int c = 0; c < cn; c++) {
                float s = 0.0f;
                for (int t = -h; t <= h; t++) {
                    int yy = horizontal ? y : refMirror(y + t, src.rows());
                    int xx = horizontal ? refMirror(x + t, src.cols()) : x;
                    double v = at(src, yy, xx, c);
                    if (src.type() == MAT_Tdouble)
                        s = (float)((double)s + v * (double)k[t + h]);
                    else
                        s = s + (float)v * k[t + h];
                }
                refStore(dst, y, x * cn + c, s);
            }
    return dst;
}

Mat refGaussian(const Mat& src, float sigma, float support, int passes = 3) {
    if (!(std::fabs(sigma) > 1e-5)) return src;
    std::vector<float> k = refKernel(sigma, support);
    if ((int)k.size() - 1 > src.cols()) return src;
    Mat t = (passes & 1) ? refPass(src, true, k) : src;
    return (passes & 2) ? refPass(t, false, k) : t;
}

// Runs f with the vector paths off and on, one thread and all, and checks that
// the four results are bitwise equal; returns the scalar one-thread result.
template <class F>
Mat allPaths(const F& f) {
    Mat ref;
    bool first = true;
    for (int threads : {1, 0})
        for (bool opt : {false, true}) {
            setNumThreads(threads);
            detail::setUseOptimized(opt);
            Mat out = f();
            if (first) {
                ref = out;
                first = false;
            } else {
                EXPECT_TRUE(matEqual(ref, out)) << "threads " << threads << " vector " << opt;
            }
        }
    setNumThreads(0);
    detail::setUseOptimized(true);
    return ref;
}

Mat gauss(const Mat& src, float sigma) {
    Mat dst;
    ip::gaussian(src, dst, sigma);
    return dst;
}

// ---- kernels and set-up

TEST(GaussianFilterSetup, KernelRadiusRoundsSupport) {
    struct Case {
        float support;
        int r;
    } cases[] = {{4.8f, 5}, {3.4f, 3}, {3.5f, 4}, {0.4f, 0}, {-2.0f, 0}};
    for (const Case& c : cases) {
        GaussianFilter f(2.4f, c.support);
        EXPECT_EQ(f.kernelRadius, c.r) << c.support;
        std::vector<float> k = refKernel(2.4f, c.support);
        ASSERT_EQ((int)k.size(), 2 * c.r + 1);
        for (int i = 0; i < 2 * c.r + 1; i++) EXPECT_EQ(f.kernel[i], k[i]);
    }
    // An absurd radius builds no kernel, and the filter then copies.
    GaussianFilter inf(1.0f, INFINITY);
    EXPECT_EQ(inf.kernel, nullptr);
    Mat src = randomMat(4, 9, MAT_Tuchar, 3), dst(4, 9, MAT_Tuchar);
    EXPECT_EQ(inf.apply(src, dst), 0);
    EXPECT_TRUE(matEqual(dst, src));
}

TEST(GaussianFilterSetup, IntegerKernelScaledByTwoToTheTaps) {
    GaussianFilter f(1.0f, 2.0f);
    ASSERT_NE(f.ikernel, nullptr);
    int sum = 0;
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(f.ikernel[i], (int)std::floor(f.kernel[i] * 32.0f + 0.5)) << i;
        sum += f.ikernel[i];
    }
    EXPECT_EQ(f.ikernelSum, sum);
    EXPECT_EQ(f.ikernel[2], 13);  // 0.4026 * 32 = 12.88
    // 41 taps would need 2^41: no integer kernel, the float one is still there.
    GaussianFilter big(5.0f, 20.0f);
    EXPECT_EQ(big.ikernel, nullptr);
    EXPECT_EQ(big.ikernelSum, 0);
    ASSERT_NE(big.kernel, nullptr);
    EXPECT_EQ(big.kernelRadius, 20);
}

// ---- exact values

TEST(GaussianExact, ImpulseShowsTruncationAndNoEdgeRepeat) {
    // Kernel of sigma 1: 0.0545 0.2442 0.4026 0.2442 0.0545.
    Mat src(1, 9, MAT_Tuchar, Point4_<double>(0, 0, 0, 0)), dst;
    src.ptr<unsigned char>(0)[0] = 200;
    ip::gaussianX(src, dst, 1.0f);
    // 80.52 -> 80, 48.84 -> 48, 10.90 -> 10: truncated, not rounded. A mirror
    // that repeated the edge would give 129 at column 0.
    const int expect[9] = {80, 48, 10, 0, 0, 0, 0, 0, 0};
    for (int x = 0; x < 9; x++) EXPECT_EQ(at(dst, 0, x), expect[x]) << x;

    src.ptr<unsigned char>(0)[0] = 0;
    src.ptr<unsigned char>(0)[8] = 200;
    ip::gaussianX(src, dst, 1.0f);
    for (int x = 0; x < 9; x++) EXPECT_EQ(at(dst, 0, 8 - x), expect[x]) << x;

    // The same along a column.
    // (Five columns: the column pass also needs 2h <= columns.)
    Mat col(9, 5, MAT_Tuchar, Point4_<double>(0, 0, 0, 0)), out;
    col.ptr<unsigned char>(0)[1] = 200;
    ip::gaussianY(col, out, 1.0f);
    for (int y = 0; y < 9; y++) EXPECT_EQ(at(out, y, 1), expect[y]) << y;
}

TEST(GaussianExact, ConstantImageLosesOneLevelAtSigmaTwo) {
    // The float sum of v times the normalised kernel can fall just below v and
    // the cast truncates: some levels lose one, others stay.
    Mat src(20, 30, MAT_Tuchar3, Point4_<double>(15, 23, 100, 0));
    Mat dst = allPaths([&] { return gauss(src, 2.0f); });
    EXPECT_TRUE(matEqual(dst, refGaussian(src, 2.0f, 4.0f)));
    for (int y = 0; y < 20; y++)
        for (int x = 0; x < 30; x++) {
            EXPECT_EQ(at(dst, y, x, 0), 14);
            EXPECT_EQ(at(dst, y, x, 1), 22);
            EXPECT_EQ(at(dst, y, x, 2), 100);
        }
}

TEST(GaussianExact, SigmaNearZeroCopies) {
    Mat src = randomMat(7, 11, MAT_Tuchar3, 5);
    for (float s : {0.0f, 1e-6f, -1e-6f, NAN}) {
        Mat dst = gauss(src, s);
        EXPECT_TRUE(matEqual(dst, src)) << s;
    }
    Mat img = src;
    ip::gaussian(img, 0.0f);
    EXPECT_TRUE(matEqual(img, src));
    ip::gaussian(img, 1.0f);
    EXPECT_TRUE(matEqual(img, refGaussian(src, 1.0f, 2.0f)));
}

// ---- against the reference

TEST(GaussianReference, EveryDepthOddSizes) {
    const int types[] = {MAT_Tuchar,  MAT_Tuchar3, MAT_Tshort,  MAT_Tint,   MAT_Tfloat,
                         MAT_Tfloat3, MAT_Tdouble, MAT_Tshort3, MAT_Tuchar4};
    const int sizes[][2] = {{37, 23}, {5, 41}, {1, 17}, {19, 1}, {2, 13}, {3, 3}};
    uint32_t seed = 10;
    for (int type : types)
        for (const auto& sz : sizes)
            for (float sigma : {0.7f, 1.0f, 2.4f}) {
                Mat src = randomMat(sz[0], sz[1], type, seed++);
                Mat dst = allPaths([&] { return gauss(src, sigma); });
                EXPECT_TRUE(matEqual(dst, refGaussian(src, sigma, 2 * sigma)))
                    << "type " << type << " " << sz[0] << "x" << sz[1] << " sigma " << sigma;
            }
}

TEST(GaussianReference, LargeImagesVectorAndThreadsMatchScalar) {
    // Wide enough for the unrolled vector loop plus a scalar tail.
    for (int type : {MAT_Tuchar, MAT_Tuchar3, MAT_Tshort, MAT_Tfloat, MAT_Tfloat3})
        for (float sigma : {1.0f, 2.0f, 5.0f}) {
            Mat src = randomMat(131, 203, type, 77);
            Mat dst = allPaths([&] { return gauss(src, sigma); });
            EXPECT_TRUE(matEqual(dst, refGaussian(src, sigma, 2 * sigma)))
                << "type " << type << " sigma " << sigma;
        }
}

TEST(GaussianReference, EveryCompiledVectorTargetMatchesScalar) {
    // The processor picks one target; mock the others it can run so that each
    // compiled kernel (AVX-512, AVX2, SSE4, ...) is checked against the scalar loops.
    const int types[] = {MAT_Tuchar, MAT_Tuchar3, MAT_Tshort, MAT_Tfloat3};
    std::vector<Mat> srcs, refs;
    detail::setUseOptimized(false);
    for (int type : types) {
        srcs.push_back(randomMat(37, 151, type, 200 + type));
        refs.push_back(gauss(srcs.back(), 1.6f));
    }
    Mat_<float> fsrc(randomMat(29, 77, MAT_Tfloat, 300)), fref, fout;
    Vec_<float>* g = ip::computeGaussianKernel(1.5f, false);
    ASSERT_NE(g, nullptr);
    ip::convolveImage(&fsrc, g, g, &fref, false);
    detail::setUseOptimized(true);
    const int tried = test::onEveryVectorTarget([&](const char* target) {
        for (size_t i = 0; i < srcs.size(); i++)
            EXPECT_TRUE(matEqual(gauss(srcs[i], 1.6f), refs[i])) << target << " type " << types[i];
        ip::convolveImage(&fsrc, g, g, &fout, false);
        EXPECT_TRUE(matEqual(fout, fref)) << target;
    });
    delete g;
    EXPECT_GT(tried, 0);
}

TEST(GaussianReference, ExplicitSupportAndSinglePasses) {
    Mat src = randomMat(29, 45, MAT_Tuchar3, 8);
    Mat dst = allPaths([&] {
        Mat d;
        ip::gaussian(src, d, 1.5f, 4.5f);
        return d;
    });
    EXPECT_TRUE(matEqual(dst, refGaussian(src, 1.5f, 4.5f)));
    Mat fsrc = randomMat(29, 45, MAT_Tfloat, 9);
    Mat x = allPaths([&] {
        Mat d;
        ip::gaussianX(fsrc, d, 1.3f);
        return d;
    });
    EXPECT_TRUE(matEqual(x, refGaussian(fsrc, 1.3f, 2.6f, 1)));
    Mat y = allPaths([&] {
        Mat d;
        ip::gaussianY(fsrc, d, 1.3f);
        return d;
    });
    EXPECT_TRUE(matEqual(y, refGaussian(fsrc, 1.3f, 2.6f, 2)));
    // In place through the same object.
    Mat img = fsrc;
    ip::gaussianY(img, img, 1.3f);
    EXPECT_TRUE(matEqual(img, y));
}

// ---- short lines

TEST(GaussianShortLines, NarrowerThanTheKernelIsLeftAsSource) {
    // 3 columns, radius 2: both passes skip, and the destination equals the
    // source even when it held other pixels before.
    Mat src = randomMat(6, 3, MAT_Tuchar, 4);
    Mat dst(6, 3, MAT_Tuchar, Point4_<double>(7, 7, 7, 7));
    ip::gaussian(src, dst, 1.0f);
    EXPECT_TRUE(matEqual(dst, src));
    Mat x(6, 3, MAT_Tuchar, Point4_<double>(7, 7, 7, 7));
    ip::gaussianX(src, x, 1.0f);
    EXPECT_TRUE(matEqual(x, src));
    // The column test is on columns too: 3 columns skip the column pass.
    Mat tall = randomMat(40, 3, MAT_Tfloat, 5), y;
    ip::gaussianY(tall, y, 1.0f);
    EXPECT_TRUE(matEqual(y, tall));
    // 4 columns hold radius 2.
    Mat four = randomMat(6, 4, MAT_Tuchar, 6);
    EXPECT_TRUE(matEqual(gauss(four, 1.0f), refGaussian(four, 1.0f, 2.0f)));
}

TEST(GaussianShortLines, ColumnsShorterThanTheRadiusReflectRepeatedly) {
    // Radius 6 on 1, 2 and 3 rows: the column pass reflects more than once.
    for (int rows : {1, 2, 3}) {
        Mat src = randomMat(rows, 40, MAT_Tuchar3, 20 + rows);
        Mat dst = allPaths([&] { return gauss(src, 3.0f); });
        EXPECT_TRUE(matEqual(dst, refGaussian(src, 3.0f, 6.0f))) << rows;
    }
    // One row of a float image: the column pass sees the row 2h + 1 times.
    Mat one = randomMat(1, 33, MAT_Tfloat, 30);
    EXPECT_TRUE(matEqual(gauss(one, 1.0f), refGaussian(one, 1.0f, 2.0f)));
}

// ---- the filter object

TEST(GaussianFilterApply, BadInputAndReuse) {
    GaussianFilter f(1.0f, 2.0f);
    Mat empty, dst(3, 3, MAT_Tuchar), src = randomMat(5, 8, MAT_Tuchar, 1);
    EXPECT_EQ(f.apply(empty, dst), -1);
    EXPECT_EQ(f.apply(src, empty), -1);
    EXPECT_TRUE(empty.empty());
    // A destination of another shape is re-created.
    EXPECT_EQ(f.apply(src, dst), 0);
    EXPECT_TRUE(matEqual(dst, refGaussian(src, 1.0f, 2.0f)));
    // The intermediate follows the source's shape and type.
    Mat fsrc = randomMat(9, 12, MAT_Tfloat3, 2);
    EXPECT_EQ(f.apply(fsrc, dst), 0);
    EXPECT_EQ(f.tmp.type1(), MAT_Tfloat3);
    EXPECT_TRUE(matEqual(dst, refGaussian(fsrc, 1.0f, 2.0f)));
    // ip::gaussian on an empty source leaves dst alone.
    Mat keep = randomMat(2, 2, MAT_Tuchar, 3), before = keep;
    ip::gaussian(empty, keep, 1.0f);
    EXPECT_TRUE(matEqual(keep, before));
}

TEST(GaussianFilterApply, SinglePixelMatchesTheWholeImage) {
    for (int type : {MAT_Tuchar3, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble}) {
        Mat src = randomMat(13, 17, type, 40 + type);
        Mat full = gauss(src, 1.7f);
        GaussianFilter f(1.7f, 3.4f);
        Mat dst(13, 17, src.type1(), Point4_<double>(0, 0, 0, 0));
        for (int y = 0; y < 13; y++)
            for (int x = 0; x < 17; x++) ASSERT_TRUE(f.applyPixel(src, dst, x, y));
        EXPECT_TRUE(matEqual(dst, full)) << type;
        EXPECT_FALSE(f.applyPixel(src, dst, 17, 0));
        EXPECT_FALSE(f.applyPixel(src, src, 0, 0));
    }
}

// ---- derivative and difference

Mat refDiff(const Mat& src, float sigma, float mult, bool dx) {
    int h = (int)(sigma * mult + 0.5);
    std::vector<float> g(2 * h + 1), d(2 * h + 1);
    const float c = (float)(-1.0 / std::sqrt(2.0 * M_PI) / ((double)sigma * sigma * sigma));
    float sum = 0.0f;
    for (int i = -h; i <= h; i++) {
        g[i + h] = std::exp(-(float)(i * i) / (2.0f * sigma * sigma));
        d[i + h] = (float)i * c * g[i + h];
        sum += g[i + h];
    }
    for (float& v : g) v /= sum;
    if (2 * h > src.cols()) return src;
    return refPass(refPass(src, !dx, g), dx, d);
}

TEST(GaussianDiff, MatchesReferenceForBytesAndFloats) {
    for (int type : {MAT_Tuchar, MAT_Tfloat, MAT_Tfloat3}) {
        Mat src = randomMat(21, 34, type, 50 + type);
        for (bool dx : {true, false}) {
            Mat dst = allPaths([&] {
                Mat d;
                if (dx)
                    ip::gaussianDiffX(src, d, 1.2f, 3.0f);
                else
                    ip::gaussianDiffY(src, d, 1.2f, 3.0f);
                return d;
            });
            EXPECT_TRUE(matEqual(dst, refDiff(src, 1.2f, 3.0f, dx))) << type << " " << dx;
        }
    }
}

TEST(GaussianDiff, RampGivesTheSlopeAndOtherDepthsAreRefused) {
    // f(x, y) = 2x: the derivative along x is constant away from the ends (the
    // kernel has the sign of -i, so a rising ramp reads negative); along y it is 0.
    Mat ramp(15, 31, MAT_Tfloat);
    for (int y = 0; y < 15; y++)
        for (int x = 0; x < 31; x++) ramp.ptr<float>(y)[x] = 2.0f * x;
    Mat dx, dy;
    ip::gaussianDiffX(ramp, dx, 1.0f, 3.0f);
    ip::gaussianDiffY(ramp, dy, 1.0f, 3.0f);
    const float mid = dx.ptr<float>(7)[15];
    EXPECT_LT(mid, 0.0f);
    for (int x = 3; x < 28; x++) EXPECT_NEAR(dx.ptr<float>(7)[x], mid, 1e-4) << x;
    for (int x = 0; x < 31; x++) EXPECT_NEAR(dy.ptr<float>(7)[x], 0.0f, 1e-4) << x;

    Mat s = randomMat(5, 9, MAT_Tshort, 1), keep = randomMat(2, 2, MAT_Tuchar, 2), before = keep;
    ip::gaussianDiffX(s, keep, 1.0f, 3.0f);
    EXPECT_TRUE(matEqual(keep, before));
}

TEST(GaussianDoG, DifferenceOfTwoFloatGaussians) {
    Mat src = randomMat(19, 27, MAT_Tuchar3, 60), dst;
    ip::dogfilter(src, dst, 1.0f, 2.0f, 3.0f);
    ASSERT_EQ(dst.type1(), MAT_Tfloat3);
    Mat f;
    src.convertTo(f, MAT_Tfloat);
    Mat a = refGaussian(f, 1.0f, 3.0f), b = refGaussian(f, 2.0f, 6.0f);
    for (int y = 0; y < 19; y++)
        for (int i = 0; i < 27 * 3; i++)
            ASSERT_EQ(dst.ptr<float>(y)[i], a.ptr<float>(y)[i] - b.ptr<float>(y)[i]);
    Mat flat(9, 9, MAT_Tfloat, Point4_<double>(5, 0, 0, 0)), out;
    ip::dogfilter(flat, out, 1.0f, 1.0f, 3.0f);
    for (int y = 0; y < 9; y++)
        for (int x = 0; x < 9; x++) ASSERT_EQ(out.ptr<float>(y)[x], 0.0f);
}

// ---- disc blur

TEST(GaussianBlurringCircle, BlursInsideTheDiscOnly) {
    Mat src = randomMat(30, 40, MAT_Tuchar3, 70), dst = src;
    const Point2_<int> c(20, 15);
    EXPECT_EQ(ip::blurringCircle(src, dst, 6, 2, 4, c), 1);
    // At the centre t = radius: sigma a + 0.1, support b + 0.1.
    Mat full;
    ip::gaussian(src, full, 2.1f, 4.1f);
    for (int k = 0; k < 3; k++) EXPECT_EQ(at(dst, 15, 20, k), at(full, 15, 20, k));
    int changed = 0;
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 40; x++) {
            const int dx = x - 20, dy = y - 15;
            const bool rowInDisc = dy >= -6 && dy <= 6;
            const int w = rowInDisc ? (int)std::sqrt(36.0 - dy * dy) : -1;
            const bool inside = rowInDisc && dx >= -w && dx <= w - 1;
            for (int k = 0; k < 3; k++) {
                if (!inside)
                    ASSERT_EQ(at(dst, y, x, k), at(src, y, x, k)) << x << "," << y;
                else
                    changed += at(dst, y, x, k) != at(src, y, x, k);
            }
        }
    EXPECT_GT(changed, 50);
    // Centre at the corner and beyond the image: the outside part is skipped.
    // A destination that does not fit starts as a copy of the source.
    Mat d2;
    EXPECT_EQ(ip::blurringCircle(src, d2, 10, 2, 4, Point2_<int>(0, 0)), 1);
    ASSERT_EQ(d2.type1(), src.type1());
    EXPECT_EQ(at(d2, 29, 39, 1), at(src, 29, 39, 1));
    EXPECT_NE(at(d2, 1, 1, 0) + at(d2, 2, 2, 1) + at(d2, 3, 1, 2),
              at(src, 1, 1, 0) + at(src, 2, 2, 1) + at(src, 3, 1, 2));
    Mat d3 = src;
    EXPECT_EQ(ip::blurringCircle(src, d3, 10, 2, 4, Point2_<int>(-100, 500)), 1);
    EXPECT_TRUE(matEqual(d3, src));
    // In place equals out of place.
    Mat in = src, out = src;
    ip::blurringCircle(src, out, 8, 3, 5, Point2_<int>(5, 25));
    ip::blurringCircle(in, in, 8, 3, 5, Point2_<int>(5, 25));
    EXPECT_TRUE(matEqual(in, out));
    Mat empty;
    EXPECT_EQ(ip::blurringCircle(empty, d2, 3, 1, 1, c), 0);
}

}  // namespace
