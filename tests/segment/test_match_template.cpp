// Spectrum correlation and template matching against brute force: exact
// placements, the normalised scores' special cases, tile seams, channel
// pairing and summing, borders and anchors, and refused input.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "support/naive_transforms.h"
#include "support/test_util.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/segment.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace {

using ip::enTemplateMatchMode;

Point2_<int> best(const Mat& r, bool smallest) {
    Point2_<int> p(0, 0);
    double v = r.value(0, 0);
    for (int y = 0; y < r.rows(); y++)
        for (int x = 0; x < r.cols(); x++) {
            const double s = r.value(y, x);
            if (smallest ? s < v : s > v) v = s, p = Point2_<int>(x, y);
        }
    return p;
}

Mat cut(const Mat& m, int x, int y, int w, int h) {
    return Mat(m, Rect_<int>(x, y, w, h));
}

TEST(MatchTemplate, WholeImageGivesOneScore) {
    Mat img = test::randomMat(9, 7, MAT_Tuchar, 1);
    Mat r;
    ip::matchTemplate(img, img, r, enTemplateMatchMode(2));
    ASSERT_EQ(r.rows(), 1);
    ASSERT_EQ(r.cols(), 1);
    EXPECT_EQ(r.type1(), MAT_Tfloat);
    EXPECT_NEAR(r.value(0, 0), test::naiveMatch(img, img, 2)[0], 1.0);
    ip::matchTemplate(img, img, r, enTemplateMatchMode(5));
    EXPECT_NEAR(r.value(0, 0), 1.0, 1e-5);
    ip::matchTemplate(img, img, r, enTemplateMatchMode(1));
    EXPECT_NEAR(r.value(0, 0), 0.0, 1e-5);
}

TEST(MatchTemplate, EmbeddedTemplateIsFound) {
    Mat img = test::randomMat(60, 80, MAT_Tuchar, 3);
    Mat templ = cut(img, 41, 17, 12, 9);
    for (int mode : {0, 1, 3, 5}) {
        Mat r;
        ip::matchTemplate(img, templ, r, enTemplateMatchMode(mode));
        ASSERT_EQ(r.rows(), 52);
        ASSERT_EQ(r.cols(), 69);
        const Point2_<int> p = best(r, mode <= 1);
        EXPECT_EQ(p.x, 41) << "mode " << mode;
        EXPECT_EQ(p.y, 17) << "mode " << mode;
    }
    Mat r;
    ip::matchTemplate(img, templ, r, enTemplateMatchMode(0));
    for (int y = 0; y < r.rows(); y++)
        for (int x = 0; x < r.cols(); x++) ASSERT_GE(r.value(y, x), 0.0);
}

TEST(MatchTemplate, SpecialCasesOfTheNormalisedScores) {
    Mat img = test::randomMat(20, 20, MAT_Tuchar, 5);
    Mat flat(4, 4, MAT_Tuchar, Point4_<double>(77, 77, 77, 77));
    Mat r;
    ip::matchTemplate(img, flat, r, enTemplateMatchMode(5));
    for (int y = 0; y < r.rows(); y++)
        for (int x = 0; x < r.cols(); x++) ASSERT_EQ(r.value(y, x), 1.0);
    // a black region: no energy under the window
    Mat dark = img.clone();
    for (int y = 0; y < 10; y++)
        for (int x = 0; x < 10; x++) dark.ptr<unsigned char>(y)[x] = 0;
    Mat templ = test::randomMat(4, 4, MAT_Tuchar, 6);
    ip::matchTemplate(dark, templ, r, enTemplateMatchMode(3));
    EXPECT_EQ(r.value(2, 2), 0.0);
    ip::matchTemplate(dark, templ, r, enTemplateMatchMode(1));
    EXPECT_EQ(r.value(2, 2), 1.0);
}

TEST(MatchTemplate, AllModesAgainstBruteForce) {
    for (int depth : {MAT_Tuchar, MAT_Tfloat}) {
        Mat img = test::randomMat(30, 40, depth, 7, 0, 50);
        Mat templ = test::randomMat(5, 7, depth, 8, 0, 50);
        for (int mode = 0; mode <= 5; mode++) {
            Mat r;
            ip::matchTemplate(img, templ, r, enTemplateMatchMode(mode));
            const std::vector<double> want = test::naiveMatch(img, templ, mode);
            ASSERT_EQ(size_t(r.rows()) * size_t(r.cols()), want.size());
            double scale = 0;
            for (double w : want) scale = std::max(scale, std::fabs(w));
            const double tol = (mode % 2 == 1 || mode == 5) ? 1e-4 : 2e-6 * scale;
            for (int i = 0; i < int(want.size()); i++)
                ASSERT_NEAR(r.value(i / r.cols(), i % r.cols()), want[size_t(i)], tol)
                    << "mode " << mode << " depth " << depth << " at " << i;
        }
    }
}

TEST(MatchTemplate, ChannelsAreSummedAndBadInputEmptiesResult) {
    Mat img = test::randomMat(16, 18, MAKETYPE(MAT_Tuchar, 3), 9);
    Mat templ = cut(img, 5, 4, 6, 5);
    for (int mode : {2, 5}) {
        Mat r;
        ip::matchTemplate(img, templ, r, enTemplateMatchMode(mode));
        ASSERT_EQ(r.channels(), 1);
        const std::vector<double> want = test::naiveMatch(img, templ, mode);
        for (int i = 0; i < int(want.size()); i++)
            ASSERT_NEAR(r.value(i / r.cols(), i % r.cols()), want[size_t(i)],
                        mode == 2 ? 2.0 : 1e-4);
        EXPECT_EQ(best(r, false).x, 5);
        EXPECT_EQ(best(r, false).y, 4);
    }
    Mat r(2, 2, MAT_Tfloat);
    ip::matchTemplate(templ, img, r, enTemplateMatchMode(0));  // template larger
    EXPECT_TRUE(r.empty());
    r.create(2, 2, MAT_Tfloat);
    ip::matchTemplate(img, Mat(), r, enTemplateMatchMode(0));
    EXPECT_TRUE(r.empty());
    r.create(2, 2, MAT_Tfloat);
    ip::matchTemplate(img, Mat(3, 3, MAT_Tuchar, Point4_<double>()), r, enTemplateMatchMode(0));
    EXPECT_TRUE(r.empty());
}

TEST(CrossCorr, SeamsBetweenTilesMatchBruteForce) {
    // 40 x 40 template: tiles of 217 outputs, so the 261 x 261 result spans two per side.
    Mat img = test::randomMat(300, 300, MAT_Tuchar, 11);
    Mat templ = test::randomMat(40, 40, MAT_Tfloat, 12, -1, 1);
    Mat corr;
    ip::crossCorr(img, templ, corr, Size_<int>(261, 261), MAT_Tdouble);
    ASSERT_EQ(corr.rows(), 261);
    const int lines[] = {0, 215, 216, 217, 218, 260};
    for (int a : lines)
        for (int b = 0; b < 261; b += 3)
            for (int k = 0; k < 2; k++) {
                const int y = k ? a : b, x = k ? b : a;
                double s = 0;
                for (int j = 0; j < 40; j++)
                    for (int i = 0; i < 40; i++) s += img.value(y + j, x + i) * templ.value(j, i);
                ASSERT_NEAR(corr.value(y, x), s, 1e-6) << y << "," << x;
            }
}

TEST(MatchTemplate, SameBitsWhateverThreadsAndVectorPaths) {
    // Three channels, and one channel (the vector score rows) in every mode,
    // with a result width that is no multiple of any vector length.
    Mat img3 = test::randomMat(400, 500, MAKETYPE(MAT_Tuchar, 3), 21);
    Mat img1 = test::randomMat(300, 231, MAT_Tuchar, 22);
    struct Case {
        const Mat* img;
        int mode;
    };
    const Case cases[] = {{&img3, 5}, {&img1, 0}, {&img1, 1}, {&img1, 2},
                          {&img1, 3}, {&img1, 4}, {&img1, 5}};
    for (const Case& c : cases) {
        Mat templ = cut(*c.img, 120, 100, 30, 20);
        Mat base;
        ip::matchTemplate(*c.img, templ, base, enTemplateMatchMode(c.mode));
        ASSERT_FALSE(base.empty());
        Mat other;
        setNumThreads(1);
        ip::matchTemplate(*c.img, templ, other, enTemplateMatchMode(c.mode));
        setNumThreads(0);
        EXPECT_TRUE(test::matEqual(base, other)) << "mode " << c.mode;
        detail::setUseOptimized(false);
        ip::matchTemplate(*c.img, templ, other, enTemplateMatchMode(c.mode));
        detail::setUseOptimized(true);
        EXPECT_TRUE(test::matEqual(base, other)) << "mode " << c.mode;
    }
}

TEST(CrossCorr, ChannelPairingBordersAnchorsAndDelta) {
    Mat img = test::randomMat(13, 11, MAKETYPE(MAT_Tfloat, 3), 13, -4, 4);
    Mat t1 = test::randomMat(4, 5, MAT_Tfloat, 14, -1, 1);
    Mat t3 = test::randomMat(4, 5, MAKETYPE(MAT_Tfloat, 3), 15, -1, 1);
    for (int border = BorderFill; border <= BorderMirrorNoEdge; border++) {
        Mat corr;
        ip::crossCorr(img, t1, corr, Size_<int>(11, 13), MAKETYPE(MAT_Tdouble, 3),
                      Point2_<int>(3, 1), 0.25, border);
        const auto want = test::naiveCorrelate(img, t1, 13, 11, 3, 1, border, false);
        for (int y = 0; y < 13; y++)
            for (int x = 0; x < 11; x++)
                for (int c = 0; c < 3; c++)
                    ASSERT_NEAR(corr.value(y, x, c),
                                double(want[size_t((y * 11 + x) * 3 + c)]) + 0.25, 1e-9)
                        << "border " << border;
    }
    // summed into one channel, delta added once
    Mat corr;
    ip::crossCorr(img, t3, corr, Size_<int>(8, 10), MAT_Tdouble, Point2_<int>(0, 0), 5.0,
                  BorderClamp);
    const auto want = test::naiveCorrelate(img, t3, 10, 8, 0, 0, BorderClamp, true);
    for (int y = 0; y < 10; y++)
        for (int x = 0; x < 8; x++)
            ASSERT_NEAR(corr.value(y, x), double(want[size_t(y * 8 + x)]) + 5.0, 1e-9);
    // refused combinations leave corr alone
    Mat keep = corr.clone();
    ip::crossCorr(img, t3, corr, Size_<int>(8, 10), MAKETYPE(MAT_Tdouble, 2));
    ip::crossCorr(img, Mat(2, 2, MAKETYPE(MAT_Tfloat, 2)), corr, Size_<int>(8, 10), MAT_Tdouble);
    ip::crossCorr(img, t1, corr, Size_<int>(0, 10), MAT_Tdouble);
    ip::crossCorr(Mat(), t1, corr, Size_<int>(8, 10), MAT_Tdouble);
    EXPECT_TRUE(test::matEqual(corr, keep));
}

}  // namespace
}  // namespace tarvo
