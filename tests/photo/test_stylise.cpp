// Stylising operators: values fixed by the arithmetic, the strip outline
// against a whole-image reference, refusals, and pump against free function.
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "support/naive_photo.h"
#include "support/test_util.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/photo.h"
#include "tarvo/parallel.h"
#include "tarvo/random.h"

using namespace tarvo;

namespace {

Mat greyRow(std::initializer_list<int> v) {
    Mat m(1, int(v.size()), MAT_Tuchar);
    int i = 0;
    for (int x : v) m.data.ptr[0][i++] = (unsigned char)x;
    return m;
}

std::vector<int> bytes(const Mat& m) {
    std::vector<int> v;
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols() * m.channels(); x++) v.push_back(m.data.ptr[y][x]);
    return v;
}

using V = std::vector<int>;

int px(const Mat& m, int y, int x, int k = 0) {
    return m.data.ptr[y][x * m.channels() + k];
}

struct Unpin {
    ~Unpin() {
        detail::pinClockSeed(false);
        detail::setUseOptimized(true);
        setNumThreads(0);
    }
};

}  // namespace

TEST(Stylise, PosterizeLevels) {
    Mat out;
    ip::posterize(greyRow({127, 128, 255, 0}), out, 2);
    EXPECT_EQ(bytes(out), (V{0, 255, 255, 0}));
    ip::posterize(greyRow({63, 64, 127, 200}), out, 3);
    EXPECT_EQ(bytes(out), (V{0, 127, 127, 200}));
    const Mat all = test::randomMat(4, 64, MAT_Tuchar3, 3);
    Mat a, b;
    ip::posterize(all, a, 300);
    ip::posterize(all, b, 256);
    EXPECT_TRUE(test::matEqual(a, b));
    EXPECT_EQ(ipPosterize(1).levels, 2);
    // A fourth channel is copied, and a changed level count rebuilds the table.
    Mat rgba(1, 1, MAT_Tuchar4, Point4_<double>(127, 128, 5, 130));
    ipPosterize op(2);
    op.levels = 3;
    ASSERT_TRUE(op.process(&rgba, &out));
    EXPECT_EQ(bytes(out), (V{127, 128, 0, 130}));  // 128 is above the last entry, 127
    PumpABC* c = op.clone();
    Mat* viaPump = c->pumpProcess(&rgba);
    EXPECT_TRUE(test::matEqual(*viaPump, out));
    delete viaPump;
    delete c;
}

TEST(Stylise, SketchOutline) {
    const Mat step = test::verticalStep(20, 20, 10, 0, 100);
    Mat out;
    ip::sketch(step, out, 50);
    EXPECT_EQ(px(out, 10, 5), 255);
    EXPECT_EQ(px(out, 10, 9), 0);
    EXPECT_EQ(px(out, 10, 10), 0);
    ip::sketch(step, out, 25);
    EXPECT_EQ(px(out, 10, 9), 105);
    ip::sketch(test::randomMat(9, 9, MAT_Tuchar3, 2), out, 0);
    for (int v : bytes(out)) ASSERT_EQ(v, 255);
    // Only the first byte counts: random G and B under a constant R.
    Mat rgb = test::randomMat(30, 30, MAT_Tuchar3, 4);
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 30; x++) rgb.data.ptr[y][3 * x] = 90;
    ip::sketch(rgb, out, 50);
    for (int y = 2; y < 28; y++)
        for (int x = 2; x < 28; x++) ASSERT_EQ(px(out, y, x, 1), 255) << y << "," << x;
    // Flat: two outer rows and columns dark, corner (0, 0) white.
    Mat flat(30, 30, MAT_Tuchar, Point4_<double>(90, 0, 0, 0));
    ip::sketch(flat, out, 50);
    EXPECT_EQ(px(out, 0, 0), 255);
    EXPECT_EQ(px(out, 1, 15), 0);
    EXPECT_EQ(px(out, 28, 15), 0);
    EXPECT_EQ(px(out, 15, 1), 0);
    EXPECT_EQ(px(out, 15, 28), 0);
    EXPECT_EQ(px(out, 15, 15), 255);
}

TEST(Stylise, StripOutlineMatchesWholeImage) {
    Unpin restore;
    uint32_t seed = 50;
    for (int cn : {1, 2, 3, 4})
        for (int cols : {1, 2, 3, 23, 150})
            for (int rows = 1; rows <= 40; rows++) {
                if (cols != 23 && rows % 7 != 1) continue;  // other widths: a few heights
                const Mat src = test::randomMat(rows, cols, MAT_Tuchar + ((cn - 1) << 3), seed++);
                const Mat ref = test::naiveEdgeImage(src, 1.0f);
                for (int threads : {1, 0}) {
                    // Scalar code on one thread, vector code on all of them.
                    setNumThreads(threads);
                    detail::setUseOptimized(threads == 0);
                    Mat out, inPlace = src.clone();
                    ip::sketch(src, out, 50);
                    ip::sketch(inPlace, inPlace, 50);
                    ASSERT_TRUE(test::matEqual(out, ref)) << rows << "x" << cols << "x" << cn;
                    ASSERT_TRUE(test::matEqual(inPlace, ref)) << rows << "x" << cols << "x" << cn;
                }
            }
    // A tall picture split over threads, at another gain.
    const Mat big = test::randomMat(700, 129, MAT_Tuchar3, 9);
    Mat out;
    ip::sketch(big, out, 37);
    EXPECT_TRUE(test::matEqual(out, test::naiveEdgeImage(big, 37 / 50.0f)));
}

TEST(Stylise, RoughSketchHatching) {
    Mat out;
    ip::roughSketch(Mat(20, 20, MAT_Tuchar, Point4_<double>(100, 0, 0, 0)), out);
    EXPECT_EQ(px(out, 5, 5), 194);
    ip::roughSketch(Mat(20, 20, MAT_Tuchar3, Point4_<double>(230, 230, 230, 0)), out);
    EXPECT_EQ(px(out, 5, 5, 0), 249);
    EXPECT_EQ(px(out, 5, 5, 2), 249);
    // Every band on a tall ramp: indices stay inside the tables (checked by the
    // sanitizers), and in place equals out of place.
    Mat ramp(300, 256, MAT_Tuchar);
    for (int y = 0; y < 300; y++)
        for (int x = 0; x < 256; x++) ramp.data.ptr[y][x] = (unsigned char)x;
    Mat a, b = ramp.clone();
    ip::roughSketch(ramp, a);
    ip::roughSketch(b, b);
    EXPECT_TRUE(test::matEqual(a, b));
}

TEST(Stylise, VintageTint) {
    Mat out;
    Mat two(1, 2, MAT_Tuchar3);
    unsigned char* p = two.data.ptr[0];
    p[0] = p[1] = p[2] = 128;
    p[3] = 255;
    p[4] = p[5] = 0;
    ip::vintage(two, out, 100);
    EXPECT_EQ(bytes(out), (V{146, 119, 79, 146, 119, 79}));
    ip::vintage(two, out, 0);
    EXPECT_EQ(bytes(out), (V{0, 0, 0, 0, 0, 0}));
    // The mix runs on from the previous output pixel: 0 -> 73 -> 109.
    ip::vintage(two, out, 50);
    EXPECT_EQ(px(out, 0, 0), 73);
    EXPECT_EQ(px(out, 0, 1), 109);
    // At 100 every pixel is the tint of its HSL lightness alone.
    const Mat rnd = test::randomMat(9, 41, MAT_Tuchar3, 21);
    Mat one(1, 1, MAT_Tuchar3), ref;
    ip::vintage(rnd, out, 100);
    for (int y = 0; y < 9; y++)
        for (int x = 0; x < 41; x++) {
            unsigned char h, s, l;
            const unsigned char* q = rnd.data.ptr[y] + 3 * x;
            ip::RGBtoHSL(q[0], q[1], q[2], h, s, l);
            one = Point4_<double>(l, l, l, 0);
            ip::vintage(one, ref, 100);
            ASSERT_EQ(px(out, y, x, 0), px(ref, 0, 0, 0));
            ASSERT_EQ(px(out, y, x, 2), px(ref, 0, 0, 2));
        }
    // Grey in, three channels out, equal to the same grey given as colour.
    Mat grey = test::randomMat(17, 23, MAT_Tuchar, 8), colour, a, b;
    ColorSpace::GraytoRGB(grey, colour);
    for (int amount : {100, 60}) {
        ip::vintage(grey, a, amount);
        ip::vintage(colour, b, amount);
        EXPECT_EQ(a.channels(), 3);
        EXPECT_TRUE(test::matEqual(a, b));
    }
}

TEST(Stylise, CircleTransform) {
    Mat src(10, 10, MAT_Tuchar);
    for (int y = 0; y < 10; y++)
        for (int x = 0; x < 10; x++) src.data.ptr[y][x] = (unsigned char)(10 * y + x);
    Mat out;
    ip::circleTransform(src, out, 7, 1.0f, 1);
    EXPECT_EQ(px(out, 5, 7), px(src, 5, 2));
    ip::circleTransform(src, out, 3, 1.0f, 0);
    EXPECT_EQ(px(out, 9, 9), px(src, 0, 0));
    ipCircleTransform op(0, 0, 0.0f);
    ASSERT_TRUE(op.process(&src, &out));
    EXPECT_EQ(op.radius, 7);
    EXPECT_EQ(op.twist, 1.0f);
    // Every mode, in place and out of place, serial and threaded alike.
    const Mat big = test::randomMat(300, 301, MAT_Tuchar3, 5);
    for (int mode = 0; mode <= 4; mode++) {
        Mat a, b = big.clone();
        setNumThreads(1);
        ip::circleTransform(big, a, 0, 40.0f, mode);
        setNumThreads(0);
        ip::circleTransform(b, b, 0, 40.0f, mode);
        EXPECT_TRUE(test::matEqual(a, b)) << mode;
    }
}

TEST(Stylise, RandomOperators) {
    Unpin restore;
    const Mat src = test::randomMat(13, 29, MAT_Tuchar3, 6);
    Mat out;
    ip::jitter(src, out, 0);
    EXPECT_TRUE(test::matEqual(out, src));
    ip::noise(src, out, 0);
    EXPECT_TRUE(test::matEqual(out, src));
    detail::pinClockSeed(true, 1234);
    ip::noise(src, out, 40);
    EXPECT_TRUE(test::matEqual(out, test::naiveNoise(src, 40, 1234)));
    // Jitter copies whole pixels from at most amount away.
    Mat coords(20, 30, MAT_Tuchar3);
    for (int y = 0; y < 20; y++)
        for (int x = 0; x < 30; x++) {
            coords.data.ptr[y][3 * x] = (unsigned char)x;
            coords.data.ptr[y][3 * x + 1] = (unsigned char)y;
            coords.data.ptr[y][3 * x + 2] = 7;
        }
    detail::seedRandom(3);
    ip::jitter(coords, out, 3);
    int moved = 0;
    for (int y = 0; y < 20; y++)
        for (int x = 0; x < 30; x++) {
            const int sx = px(out, y, x, 0), sy = px(out, y, x, 1);
            ASSERT_LE(std::abs(sx - x), 3);
            ASSERT_LE(std::abs(sy - y), 3);
            ASSERT_EQ(px(out, y, x, 2), 7);
            moved += sx != x || sy != y;
        }
    EXPECT_GT(moved, 300);
    // Jitter does not seed: the same seed before it gives the same picture.
    Mat again = coords.clone();
    detail::seedRandom(3);
    ip::jitter(again, again, 3);
    EXPECT_TRUE(test::matEqual(again, out));
}

TEST(Stylise, DenoiseAndBloom) {
    const Mat flat(5, 5, MAT_Tuchar, Point4_<double>(90, 0, 0, 0));
    Mat out;
    ip::denoise(flat, out, 0.2f, 0);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 5; x++) {
            const bool inner = y >= 2 && y <= 3 && x >= 2 && x <= 3;
            EXPECT_EQ(px(out, y, x), inner ? 100 : 90) << y << "," << x;
        }
    ip::denoise(flat, out, 0.2f, 7);
    ASSERT_EQ(out.rows(), 5);
    for (int v : bytes(out)) ASSERT_EQ(v, 0);
    // Colour keeps its channels; the median removes an isolated spike.
    Mat colour(6, 6, MAT_Tuchar3, Point4_<double>(10, 20, 30, 0));
    colour.data.ptr[3][9] = 250;
    ip::denoise(colour, out, 0.0f, 3);
    EXPECT_EQ(out.channels(), 3);
    EXPECT_EQ(px(out, 3, 3, 0), 10);
    for (int method : {1, 2}) {
        ip::denoise(colour, out, 0.0f, method);
        EXPECT_EQ(out.channels(), 3);
    }

    ip::bloom(Mat(8, 8, MAT_Tuchar, Point4_<double>(100, 0, 0, 0)), out, 0.0f, 0.0f);
    ASSERT_EQ(out.rows(), 8);
    for (int v : bytes(out)) ASSERT_EQ(v, 140);
    // Colour: the same on a flat grey, and an alpha channel passes through.
    ip::bloom(Mat(8, 8, MAT_Tuchar4, Point4_<double>(100, 100, 100, 7)), out, 0.0f, 0.0f);
    EXPECT_EQ(px(out, 4, 4, 0), 140);
    EXPECT_EQ(px(out, 4, 4, 2), 140);
    EXPECT_EQ(px(out, 4, 4, 3), 7);
    // lift 1 raises every level by 78: 100 -> 178 -> 218 after the +40.
    ip::bloom(Mat(8, 8, MAT_Tuchar, Point4_<double>(100, 0, 0, 0)), out, 1.0f, 0.0f);
    EXPECT_EQ(px(out, 4, 4), 218);
    Mat f = test::randomMat(3, 3, MAT_Tfloat, 1), untouched;
    ip::bloom(f, untouched, 0.1f, 0.3f);
    EXPECT_TRUE(untouched.empty());
    ip::denoise(f, untouched, 0.1f, 0);
    EXPECT_TRUE(untouched.empty());
}

// Rough sketch and bloom: table and vector code on all threads against the
// per-pixel code on one, on odd sizes wider than a vector and a conversion chunk.
TEST(Stylise, FastPathsMatchPerPixelCode) {
    Unpin restore;
    uint32_t seed = 70;
    for (int cn : {1, 3, 4})
        for (int cols : {5, 301}) {
            Mat src = test::randomMat(37, cols, MAT_Tuchar + ((cn - 1) << 3), seed++);
            // A dark and a bright block reach the low and high hatching ends.
            for (int y = 3; y < 12; y++)
                for (int x = 0; x < cols * cn / 2; x++) src.data.ptr[y][x] = y < 8 ? 3 : 252;
            Mat ref[2], got[2];
            for (int fast = 0; fast < 2; fast++) {
                detail::setUseOptimized(fast == 1);
                setNumThreads(fast == 1 ? 0 : 1);
                Mat* out = fast ? got : ref;
                ip::roughSketch(src, out[0]);
                ip::bloom(src, out[1], 0.3f, 0.7f);
            }
            EXPECT_TRUE(test::matEqual(got[0], ref[0])) << "rough sketch " << cn << "x" << cols;
            EXPECT_TRUE(test::matEqual(got[1], ref[1])) << "bloom " << cn << "x" << cols;
        }
}

TEST(Stylise, RefusalsAndPumps) {
    Unpin restore;
    Mat empty, f = test::randomMat(3, 3, MAT_Tfloat3, 1), five(3, 3, MAT_Tuchar + (4 << 3));
    Mat out(2, 2, MAT_Tuchar, Point4_<double>(5, 5, 5, 5));
    const Mat keep = out.clone();
    ipCircleTransform circle(1, 0, 1.0f);
    ipSketch sk(50);
    ipRoughSketch rough;
    ipVintage vin(70);
    ipPosterize post(4);
    ipJitter jit(2);
    ipNoise noi(30);
    ipCorePump* ops[] = {&circle, &sk, &rough, &vin, &post, &jit, &noi};
    for (ipCorePump* op : ops) {
        EXPECT_FALSE(op->process(nullptr, &out));
        EXPECT_FALSE(op->process(&empty, &out));
        EXPECT_FALSE(op->process(&f, &out));
        EXPECT_FALSE(op->process(&five, &out));
        EXPECT_TRUE(test::matEqual(out, keep));
    }
    const Mat src = test::randomMat(40, 37, MAT_Tuchar3, 12);
    detail::pinClockSeed(true, 7);
    Mat want[7];
    ip::circleTransform(src, want[0], 0, 1.0f, 1);
    ip::sketch(src, want[1], 50);
    ip::roughSketch(src, want[2]);
    ip::vintage(src, want[3], 70);
    ip::posterize(src, want[4], 4);
    detail::seedRandom(9);
    ip::jitter(src, want[5], 2);
    ip::noise(src, want[6], 30);
    for (int i = 0; i < 7; i++) {
        PumpABC* c = ops[i]->clone();
        ASSERT_NE(c, nullptr);
        if (i == 5) detail::seedRandom(9);
        Mat* got = c->pumpProcess(const_cast<Mat*>(&src));
        ASSERT_NE(got, nullptr);
        EXPECT_TRUE(test::matEqual(*got, want[i])) << i;
        delete got;
        delete c;
    }
}
