// The fast paths of the colour operators (tables, vector code, parallel rows)
// against the plain per-pixel loops: every result must match byte for byte.
#include <climits>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/photo.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

// Restores the vector paths however a test ends.
struct OptimizedGuard {
    ~OptimizedGuard() { detail::setUseOptimized(true); }
};

struct Shape {
    int rows, cols, cn;
};

// Odd widths leave vector tails; 300 x 400 is large enough to be split over threads.
const Shape kShapes[] = {{1, 1, 3},  {3, 7, 3},     {5, 33, 3}, {17, 71, 3}, {300, 400, 3},
                         {4, 19, 1}, {300, 401, 1}, {6, 23, 2}, {7, 29, 4},  {2, 45, 5}};

Mat randomImage(const Shape& s, uint32_t seed) {
    return test::randomMat(s.rows, s.cols, MAT_Tuchar + ((s.cn - 1) << 3), seed);
}

// Every colour whose components are multiples of `step`, greys included, in
// rows of 256 pixels (the last row padded with black).
Mat colourCube(int step) {
    std::vector<unsigned char> v;
    for (int r = 0; r < 256; r += step)
        for (int g = 0; g < 256; g += step)
            for (int b = 0; b < 256; b += step) {
                v.push_back((unsigned char)r);
                v.push_back((unsigned char)g);
                v.push_back((unsigned char)b);
            }
    for (int i = 0; i < 256; i++)
        for (int k = 0; k < 3; k++) v.push_back((unsigned char)i);  // every grey
    const int pixels = int(v.size() / 3);
    const int rows = (pixels + 255) / 256;
    Mat m(rows, 256, MAT_Tuchar3);
    size_t i = 0;
    for (int y = 0; y < rows; y++) {
        unsigned char* p = m.ptr<unsigned char>(y);
        for (int x = 0; x < 256 * 3; x++) p[x] = i < v.size() ? v[i++] : 0;
    }
    return m;
}

// Runs op(src, out) with the plain loops and with the fast paths; both results
// must be equal. op receives a fresh output matrix (possibly empty).
template <typename Op>
::testing::AssertionResult sameBothWays(const Mat& src, const Mat& outInit, Op op) {
    OptimizedGuard guard;
    Mat ref = outInit.empty() ? Mat() : outInit.clone();
    detail::setUseOptimized(false);
    op(src, ref);
    Mat fast = outInit.empty() ? Mat() : outInit.clone();
    detail::setUseOptimized(true);
    op(src, fast);
    return test::matEqual(ref, fast);
}

// The same for an operation done in place on a copy of src.
template <typename Op>
::testing::AssertionResult sameInPlace(const Mat& src, Op op) {
    OptimizedGuard guard;
    Mat ref = src.clone(), fast = src.clone();
    detail::setUseOptimized(false);
    op(ref);
    detail::setUseOptimized(true);
    op(fast);
    return test::matEqual(ref, fast);
}

}  // namespace

TEST(ColorFastPaths, ColorizeMatchesPerPixelLoop) {
    const float blends[] = {0.0f, 0.3f, 0.5f, 0.999f, 0.9995f, 1.0f, 2.0f, -1.0f};
    const int tints[][2] = {{20, 200}, {0, 0}, {255, 255}, {170, 90}};
    uint32_t seed = 1;
    for (const Shape& s : kShapes) {
        const Mat src = randomImage(s, seed++);
        const bool large = s.rows * s.cols > 10000;
        for (float blend : blends) {
            if (large && blend != 0.5f && blend != 1.0f) continue;  // smaller shapes cover them
            for (const auto& t : tints) {
                const unsigned char h = (unsigned char)t[0], sat = (unsigned char)t[1];
                auto into = [&](const Mat& a, Mat& b) { ip::colorize(a, b, h, sat, blend); };
                EXPECT_TRUE(sameBothWays(src, Mat(), into))
                    << s.rows << "x" << s.cols << "x" << s.cn << " blend " << blend;
                EXPECT_TRUE(sameInPlace(src, [&](Mat& m) { ip::colorize(m, h, sat, blend); }))
                    << s.rows << "x" << s.cols << "x" << s.cn << " blend " << blend;
                // dst and src the same matrix through the operator itself.
                EXPECT_TRUE(sameInPlace(src, [&](Mat& m) {
                    ipColorize op;
                    op.hue = h;
                    op.saturation = sat;
                    op.blend = blend;
                    op.process(&m, &m);
                }));
            }
        }
    }
    const Mat cube = colourCube(5);
    for (float blend : {0.4f, 1.0f})
        EXPECT_TRUE(sameBothWays(
            cube, Mat(), [&](const Mat& a, Mat& b) { ip::colorize(a, b, 100, 150, blend); }));
}

TEST(ColorFastPaths, ShiftRGBMatchesPerPixelLoop) {
    const int shifts[][3] = {{20, -10, 5},           {0, 0, 0},
                             {255, -255, 128},       {300, -300, 1},
                             {INT_MAX, INT_MIN, -1}, {-7, 250, -200}};
    uint32_t seed = 100;
    for (const Shape& s : kShapes) {
        const Mat src = randomImage(s, seed++);
        const Mat dstInit(s.rows, s.cols, src.type1());
        for (const auto& sh : shifts) {
            auto into = [&](const Mat& a, Mat& b) { ip::shiftRGB(a, b, sh[0], sh[1], sh[2]); };
            EXPECT_TRUE(sameBothWays(src, test::randomMat(s.rows, s.cols, src.type1(), seed), into))
                << s.rows << "x" << s.cols << "x" << s.cn << " shift " << sh[0];
            EXPECT_TRUE(sameInPlace(src, [&](Mat& m) { ip::shiftRGB(m, m, sh[0], sh[1], sh[2]); }))
                << s.rows << "x" << s.cols << "x" << s.cn << " shift " << sh[0];
        }
        // A fresh destination stays empty on both paths.
        EXPECT_TRUE(
            sameBothWays(src, Mat(), [](const Mat& a, Mat& b) { ip::shiftRGB(a, b, 1, 2, 3); }));
    }
    // Float pictures take the same loop either way, in place included.
    const Mat f = test::randomMat(9, 37, MAT_Tfloat3, 7);
    EXPECT_TRUE(sameInPlace(f, [](Mat& m) { ip::shiftRGB(m, m, 3, -4, 5); }));
}

TEST(ColorFastPaths, HSLMatchesPerPixelLoop) {
    // Hue shifts beyond a full turn leave hues outside 0..360 after the single
    // correction; those take the per-pixel conversion inside the fast path.
    const int shifts[][3] = {{0, 0, 0},      {10, 5, -5},     {-10, -30, 20},
                             {180, 200, 0},  {360, 0, 10},    {-360, -100, 0},
                             {400, 0, -50},  {-1000, 10, 10}, {INT_MAX, 0, 0},
                             {0, -100, 100}, {-170, 0, 0},    {0, INT_MIN, INT_MAX}};
    uint32_t seed = 200;
    for (const Shape& s : kShapes) {
        if (s.cn == 1 && s.rows > 100) continue;  // covered by the smaller one-channel case
        const Mat src = randomImage(s, seed++);
        for (const auto& sh : shifts) {
            EXPECT_TRUE(sameInPlace(src, [&](Mat& m) { ip::hsl(m, m, sh[0], sh[1], sh[2]); }))
                << s.rows << "x" << s.cols << "x" << s.cn << " shifts " << sh[0] << "," << sh[1]
                << "," << sh[2];
            // The destination's own pixels are adjusted; src only sets the loop bounds.
            auto into = [&](const Mat& a, Mat& b) { ip::hsl(a, b, sh[0], sh[1], sh[2]); };
            EXPECT_TRUE(sameBothWays(src, src, into));
        }
        // A destination that has to be re-created starts cleared on both paths.
        EXPECT_TRUE(
            sameBothWays(src, Mat(), [](const Mat& a, Mat& b) { ip::hsl(a, b, 0, 0, 30); }));
    }
    // Every colour on a grid of step 3, greys included, for a few shift sets.
    const Mat cube = colourCube(3);
    for (const auto& sh : {std::vector<int>{0, 0, 0}, std::vector<int>{50, -20, 10},
                           std::vector<int>{-200, 40, -30}, std::vector<int>{0, -100, 0}})
        EXPECT_TRUE(sameInPlace(cube, [&](Mat& m) { ip::hsl(m, m, sh[0], sh[1], sh[2]); }))
            << sh[0] << "," << sh[1] << "," << sh[2];
}

TEST(ColorFastPaths, ColorTemperatureMatchesPerPixelLoop) {
    const int temps[] = {6600, 6599, 6601, 4500, 1000, 12000, 0, -100000, 100000, INT_MAX, INT_MIN};
    uint32_t seed = 300;
    for (const Shape& s : kShapes) {
        const Mat src = randomImage(s, seed++);
        for (int t : temps) {
            auto into = [&](const Mat& a, Mat& b) { ip::colorTemperature(a, b, t); };
            EXPECT_TRUE(sameBothWays(src, Mat(), into))
                << s.rows << "x" << s.cols << "x" << s.cn << " T " << t;
            EXPECT_TRUE(sameInPlace(src, [&](Mat& m) { ip::colorTemperature(m, m, t); }))
                << s.rows << "x" << s.cols << "x" << s.cn << " T " << t;
        }
    }
    // Other depths are walked byte by byte with the channel pattern.
    const Mat sh = test::randomMat(5, 13, MAT_Tshort + (2 << 3), 9);
    EXPECT_TRUE(
        sameBothWays(sh, Mat(), [](const Mat& a, Mat& b) { ip::colorTemperature(a, b, 3000); }));
}

TEST(ColorFastPaths, ResultsDoNotDependOnThreadCount) {
    const Shape big{300, 400, 3};
    const Mat src = randomImage(big, 77);
    Mat one, all;
    setNumThreads(1);
    ip::colorize(src, one, 30, 120, 0.6f);
    setNumThreads(0);
    ip::colorize(src, all, 30, 120, 0.6f);
    EXPECT_TRUE(test::matEqual(one, all));
    Mat h1 = src.clone(), h2 = src.clone();
    setNumThreads(1);
    ip::hsl(h1, h1, 25, -10, 5);
    setNumThreads(0);
    ip::hsl(h2, h2, 25, -10, 5);
    EXPECT_TRUE(test::matEqual(h1, h2));
}
