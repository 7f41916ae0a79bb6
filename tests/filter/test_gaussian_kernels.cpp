// Gaussian kernel builders, scale indices, the direct float convolutions and
// bilinear sampling.
#include <climits>
#include <cmath>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using tarvo::test::matEqual;
using tarvo::test::randomMat;

namespace {

TEST(GaussianKernels, GetGaussianKernelFixedRows) {
    const std::vector<std::vector<double>> rows = {
        {1.0},
        {0.25, 0.5, 0.25},
        {0.0625, 0.25, 0.375, 0.25, 0.0625},
        {0.03125, 0.109375, 0.21875, 0.28125, 0.21875, 0.109375, 0.03125}};
    for (const auto& row : rows) {
        const int n = (int)row.size();
        for (TYPE t : {MAT_Tfloat, MAT_Tdouble}) {
            std::unique_ptr<Mat> k(ip::getGaussianKernel(n, 0.0, t));
            ASSERT_TRUE(k) << n;
            EXPECT_EQ(k->rows(), n);
            EXPECT_EQ(k->cols(), 1);
            EXPECT_EQ(k->type(), (int)t);
            double sum = 0;
            for (int i = 0; i < n; i++) {
                EXPECT_EQ(k->value(i, 0), row[i]) << n << " " << i;
                sum += k->value(i, 0);
            }
            EXPECT_EQ(sum, 1.0);
        }
    }
    // Any type other than float stores doubles.
    std::unique_ptr<Mat> b(ip::getGaussianKernel(3, -1.0, MAT_Tuchar));
    ASSERT_TRUE(b);
    EXPECT_EQ(b->type(), MAT_Tdouble);
}

TEST(GaussianKernels, GetGaussianKernelComputed) {
    // Sigma 1, size 5: exp(-x^2 / 2) normalised.
    std::unique_ptr<Mat> k(ip::getGaussianKernel(5, 1.0, MAT_Tdouble));
    ASSERT_TRUE(k);
    double e[5], sum = 0;
    for (int i = 0; i < 5; i++) sum += e[i] = std::exp(-0.5 * (i - 2) * (i - 2));
    for (int i = 0; i < 5; i++) EXPECT_DOUBLE_EQ(k->value(i, 0), e[i] / sum);
    EXPECT_NEAR(k->value(2, 0), 0.40262, 1e-5);
    // Size 9 without sigma: sigma = ((9 - 1) / 2 - 1) * 0.3 + 0.8 = 1.7.
    std::unique_ptr<Mat> a(ip::getGaussianKernel(9, 0.0, MAT_Tfloat)),
        b(ip::getGaussianKernel(9, 1.7, MAT_Tfloat));
    ASSERT_TRUE(a && b);
    EXPECT_TRUE(matEqual(*a, *b));
    EXPECT_EQ(ip::getGaussianKernel(0, 1.0, MAT_Tfloat), nullptr);
    EXPECT_EQ(ip::getGaussianKernel(-3, 1.0, MAT_Tfloat), nullptr);
    EXPECT_EQ(ip::getGaussianKernel(INT_MAX, 1.0, MAT_Tfloat), nullptr);
}

TEST(GaussianKernels, GaussiankernelAndTwoDimensional) {
    Vec_<double> k;
    ip::gaussiankernel(1.0f, 2.0f, k);
    ASSERT_EQ(k.length(), 5);
    double sum = 0;
    for (int i = 0; i < 5; i++) sum += k[i];
    EXPECT_NEAR(sum, 1.0, 1e-15);
    EXPECT_DOUBLE_EQ(k[1] / k[2], std::exp(-0.5));
    // Sigma 0: the unit impulse, however wide.
    ip::gaussiankernel(0.0f, 3.0f, k);
    ASSERT_EQ(k.length(), 1);
    EXPECT_EQ(k[0], 1.0);
    ip::gaussiankernel(0.5f, -4.0f, k);
    ASSERT_EQ(k.length(), 1);

    Mat_<double> k2;
    ip::gaussiankernel2D(1.0f, 2.0f, 2.0f, k2);
    Vec_<double> kx, ky;
    ip::gaussiankernel(1.0f, 2.0f, kx);
    ip::gaussiankernel(2.0f, 2.0f, ky);
    ASSERT_EQ(k2.cols(), kx.length());
    ASSERT_EQ(k2.rows(), ky.length());
    for (int y = 0; y < k2.rows(); y++)
        for (int x = 0; x < k2.cols(); x++) EXPECT_EQ(k2.at(y, x), ky[y] * kx[x]);
}

TEST(GaussianKernels, DetectorKernels) {
    // Sigma 1.5: radius (int)(4.5) = 4.
    std::unique_ptr<Vec_<float>> g(ip::computeGaussianKernel(1.5f, false));
    ASSERT_TRUE(g);
    ASSERT_EQ(g->length(), 9);
    EXPECT_FLOAT_EQ((*g)[4], 1.0f / 1.5f);
    EXPECT_FLOAT_EQ((*g)[5], std::exp(-1.0f / 4.5f) / 1.5f);
    std::unique_ptr<Vec_<float>> gn(ip::computeGaussianKernel(1.5f, true));
    EXPECT_FLOAT_EQ((*gn)[4] / (*gn)[5], (*g)[4] / (*g)[5]);

    // Derivative: odd, negative on the positive side, -i exp(-i^2/(2 s^2)) / s^3.
    std::unique_ptr<Vec_<float>> d(ip::computeGaussianDerivationKernel(1.05f));
    ASSERT_TRUE(d);
    ASSERT_EQ(d->length(), 7);  // (int)(3.15) = 3
    EXPECT_EQ((*d)[3], 0.0f);
    for (int i = 1; i <= 3; i++) {
        EXPECT_EQ((*d)[3 + i], -(*d)[3 - i]);
        EXPECT_LT((*d)[3 + i], 0.0f);
    }
    EXPECT_NEAR((*d)[4], -std::exp(-1.0 / (2 * 1.05 * 1.05)) / std::pow(1.05, 3), 1e-6);

    // 2-D Gaussian weights of sigma 6: radius 18, not normalised, 1/sigma^2 at the centre.
    std::unique_ptr<Mat_<float>> w(ip::computeGaussianKernel2D(6.0f));
    ASSERT_TRUE(w);
    EXPECT_EQ(w->rows(), 37);
    EXPECT_EQ(w->cols(), 37);
    EXPECT_FLOAT_EQ(w->at(18, 18), 1.0f / 36.0f);
    EXPECT_FLOAT_EQ(w->at(18 + 3, 18 - 4), std::exp(-25.0f / 72.0f) / 36.0f);

    // LoG: -2 / sigma^2 at the centre, zero crossing at q = 2 sigma^2.
    std::unique_ptr<Mat_<float>> log(ip::computeLoGKernel2D(1.5f));
    ASSERT_TRUE(log);
    ASSERT_EQ(log->rows(), 9);
    EXPECT_FLOAT_EQ(log->at(4, 4), -2.0f / 2.25f);
    EXPECT_LT(log->at(4, 5), 0.0f);  // q = 1 < 4.5
    EXPECT_GT(log->at(4, 7), 0.0f);  // q = 9 > 4.5
    // (x, y) = (2, 1): q = 5.
    EXPECT_NEAR(log->at(5, 6), std::exp(-5.0 / 4.5) * (5.0 - 4.5) / (2.25 * 2.25), 1e-6);

    // Disc mask of radius 4 in 9 x 9.
    std::unique_ptr<Mat_<unsigned char>> m(ip::computeCircleMask2D(1.5f));
    ASSERT_TRUE(m);
    ASSERT_EQ(m->rows(), 9);
    EXPECT_EQ(m->at(4, 0), 1);  // (-4, 0): on the circle
    EXPECT_EQ(m->at(0, 0), 0);
    EXPECT_EQ(m->at(1, 2), 1);  // (-2, -3): 13
    EXPECT_EQ(m->at(1, 1), 0);  // (-3, -3): 18
    int ones = 0;
    for (int y = 0; y < 9; y++)
        for (int x = 0; x < 9; x++) ones += m->at(y, x);
    EXPECT_EQ(ones, 49);

    for (float bad : {0.0f, -1.0f, NAN, INFINITY, 1e9f}) {
        EXPECT_EQ(ip::computeGaussianKernel(bad, true), nullptr) << bad;
        EXPECT_EQ(ip::computeGaussianDerivationKernel(bad), nullptr) << bad;
        EXPECT_EQ(ip::computeGaussianKernel2D(bad), nullptr) << bad;
        EXPECT_EQ(ip::computeLoGKernel2D(bad), nullptr) << bad;
        EXPECT_EQ(ip::computeCircleMask2D(bad), nullptr) << bad;
    }
}

TEST(GaussianKernels, ConvertSigma2Seq) {
    const float step = std::exp(std::log(1.2f));
    EXPECT_EQ(ip::convertSigma2Seq(1.5f, 1.5f, step), 0);
    EXPECT_EQ(ip::convertSigma2Seq(1.5f * 1.2f * 1.2f * 1.2f, 1.5f, step), 3);
    EXPECT_EQ(ip::convertSigma2Seq(1.5f * std::pow(1.2f, 2.6f), 1.5f, 1.2f), 3);
    EXPECT_EQ(ip::convertSigma2Seq(1.5f * std::pow(1.2f, 2.4f), 1.5f, 1.2f), 2);
    // Below the base: -0.7 + 0.5 truncates to 0, -1.7 + 0.5 to -1.
    EXPECT_EQ(ip::convertSigma2Seq(1.5f * std::pow(1.2f, -0.7f), 1.5f, 1.2f), 0);
    EXPECT_EQ(ip::convertSigma2Seq(1.5f * std::pow(1.2f, -1.7f), 1.5f, 1.2f), -1);
    // Undefined ratios are defined here.
    EXPECT_EQ(ip::convertSigma2Seq(2.0f, 1.0f, 1.0f), INT_MAX);
    EXPECT_EQ(ip::convertSigma2Seq(0.0f, 1.0f, 2.0f), INT_MIN);
    EXPECT_EQ(ip::convertSigma2Seq(-1.0f, 1.0f, 2.0f), 0);
}

// ---- direct convolutions

// The rule written out: taps in groups of four added to the running sum.
float refTaps(const std::vector<float>& v, const float* k, int len) {
    float s = 0.0f;
    int j = 0;
    for (; j + 4 <= len; j += 4) {
        float g = v[j] * k[j];
        g = g + v[j + 1] * k[j + 1];
        g = g + v[j + 2] * k[j + 2];
        g = g + v[j + 3] * k[j + 3];
        s = s + g;
    }
    for (; j < len; j++) s = s + v[j] * k[j];
    return s;
}

Mat_<float> refConvolve(const Mat_<float>& src, const Vec_<float>& k, bool horiz, bool keep) {
    Mat_<float> dst(src.rows(), src.cols());
    const int len = k.length(), h = len / 2;
    const int n = horiz ? src.cols() : src.rows();
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols(); x++) {
            const int i = horiz ? x : y;
            if (i < h || i >= n - h) {
                dst.at(y, x) = keep ? src.at(y, x) : 0.0f;
                continue;
            }
            std::vector<float> v(len);
            for (int j = 0; j < len; j++)
                v[j] = horiz ? src.at(y, x - h + j) : src.at(y - h + j, x);
            dst.at(y, x) = refTaps(v, k.ptr(), len);
        }
    return dst;
}

Vec_<float> randomKernel(int len, uint32_t seed) {
    Mat m = randomMat(1, len, MAT_Tfloat, seed, -1.0, 1.0);
    Vec_<float> k(len);
    for (int i = 0; i < len; i++) k[i] = m.ptr<float>(0)[i];
    return k;
}

TEST(GaussianConvolve, HorizontalAndVerticalAgainstTheRule) {
    Mat_<float> src(randomMat(23, 45, MAT_Tfloat, 90));
    for (bool opt : {false, true}) {
        detail::setUseOptimized(opt);
        for (int len : {1, 3, 4, 9, 13})
            for (bool keep : {true, false}) {
                Vec_<float> k = randomKernel(len, 100 + len);
                Mat_<float> h, v;
                ip::convolveImageHoriz(&src, &k, &h, keep);
                ip::convolveImageVert(&src, &k, &v, keep);
                EXPECT_TRUE(matEqual(h, refConvolve(src, k, true, keep))) << len << keep << opt;
                EXPECT_TRUE(matEqual(v, refConvolve(src, k, false, keep))) << len << keep << opt;
            }
    }
    detail::setUseOptimized(true);
}

TEST(GaussianConvolve, SeparableInPlaceAndTooSmall) {
    Mat_<float> src(randomMat(40, 50, MAT_Tfloat, 91));
    std::unique_ptr<Vec_<float>> g(ip::computeGaussianKernel(1.5f, false));
    Mat_<float> out, tmp;
    ip::convolveImage(&src, g.get(), g.get(), &out, false);
    ip::convolveImageHoriz(&src, g.get(), &tmp, false);
    EXPECT_TRUE(matEqual(out, refConvolve(tmp, *g, false, false)));
    Mat_<float> same(src);
    ip::convolveImage(&same, g.get(), g.get(), &same, false);
    EXPECT_TRUE(matEqual(same, out));
    Mat_<float> h2(src);
    ip::convolveImageVert(&h2, g.get(), &h2, true);
    EXPECT_TRUE(matEqual(h2, refConvolve(src, *g, false, true)));

    // A 9-tap kernel on 5 columns reaches no column: all border.
    Mat_<float> narrow(randomMat(6, 5, MAT_Tfloat, 92)), nout;
    ip::convolveImageHoriz(&narrow, g.get(), &nout, true);
    EXPECT_TRUE(matEqual(nout, narrow));
    ip::convolveImageHoriz(&narrow, g.get(), &nout, false);
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 5; x++) EXPECT_EQ(nout.at(y, x), 0.0f);

    // Null arguments and empty images leave the destination alone.
    Mat_<float> keep(randomMat(2, 2, MAT_Tfloat, 93)), before(keep), empty;
    ip::convolveImageHoriz(nullptr, g.get(), &keep, true);
    ip::convolveImageVert(&src, nullptr, &keep, true);
    ip::convolveImage(&empty, g.get(), g.get(), &keep, true);
    EXPECT_TRUE(matEqual(keep, before));
}

// ---- bilinear sampling

TEST(GaussianInterpLinear, ClampsAndWeights) {
    Mat b(2, 2, MAT_Tuchar);
    b.ptr<unsigned char>(0)[0] = 10;
    b.ptr<unsigned char>(0)[1] = 20;
    b.ptr<unsigned char>(1)[0] = 30;
    b.ptr<unsigned char>(1)[1] = 40;
    EXPECT_DOUBLE_EQ(ip::interpLinear(b, 0.5, 0.5), 25.0);
    EXPECT_DOUBLE_EQ(ip::interpLinear(b, 0.25, 0.0), 12.5);
    EXPECT_DOUBLE_EQ(ip::interpLinear(b, 1.0, 1.0), 40.0);
    // Past the right edge both columns clamp to the last one.
    EXPECT_DOUBLE_EQ(ip::interpLinear(b, 1.5, 0.0), 20.0);
    // Negative x: (int)x truncates toward zero (x0 = 0, x1 = 1) while the
    // weight comes from floor (fx = 0.5), so -0.5 reads halfway between 10 and 20.
    EXPECT_DOUBLE_EQ(ip::interpLinear(b, -0.5, 0.0), 15.0);
    EXPECT_DOUBLE_EQ(ip::interpLinear(b, -0.25, -3.5), 0.25 * 10 + 0.75 * 20);
    EXPECT_DOUBLE_EQ(ip::interpLinear(b, -1.75, -3.5), 10.0);
    EXPECT_DOUBLE_EQ(ip::interpLinear(b, 1e300, -1e300), 20.0);

    Mat d(1, 3, MAT_Tdouble3, Point4_<double>(0, 9, 9, 0));
    d.ptr<double>(0)[3] = 4.0;  // channel 0 of pixel 1
    EXPECT_DOUBLE_EQ(ip::interpLinear(d, 0.5, 0.0), 2.0);
    for (int t : {MAT_Tshort, MAT_Tint, MAT_Tfloat}) {
        Mat m(2, 2, t, Point4_<double>(7, 7, 7, 7));
        EXPECT_EQ(ip::interpLinear(m, 0.5, 0.5), 0.0) << t;
    }
    EXPECT_EQ(ip::interpLinear(Mat(), 0.0, 0.0), 0.0);
}

}  // namespace
