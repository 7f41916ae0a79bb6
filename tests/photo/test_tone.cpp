// Tone operators: values fixed by the arithmetic, refusals, and the table
// paths against the per-pixel formulas on random images (scalar, vector,
// serial and threaded alike).
#include <cmath>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/naive_photo.h"
#include "support/test_util.h"
#include "tarvo/ip/photo.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

// One row of bytes (or floats) holding the given values, one channel.
Mat row(std::initializer_list<double> v, int type = MAT_Tuchar) {
    Mat m(1, int(v.size()), type);
    int i = 0;
    for (double x : v) {
        if (type == MAT_Tuchar)
            m.data.ptr[0][i++] = (unsigned char)x;
        else
            m.data.fl[0][i++] = float(x);
    }
    return m;
}

std::vector<int> bytes(const Mat& m) {
    std::vector<int> v;
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols() * m.channels(); x++) v.push_back(m.data.ptr[y][x]);
    return v;
}

using V = std::vector<int>;

struct Restore {
    ~Restore() {
        detail::setUseOptimized(true);
        setNumThreads(0);
    }
};

// Runs op(src, dst) with the scalar paths on one thread, then with vector code
// and all threads, both into a fresh destination and in place; all four results
// must equal ref.
template <typename Op>
void expectAllPaths(const Mat& src, const Mat& ref, Op op, const char* what) {
    Restore restore;
    for (int mode = 0; mode < 2; mode++) {
        detail::setUseOptimized(mode == 1);
        setNumThreads(mode == 1 ? 0 : 1);
        Mat out;
        op(src, out);
        EXPECT_TRUE(test::matEqual(out, ref)) << what << " path " << mode;
        Mat inPlace = src.clone();
        op(inPlace, inPlace);
        EXPECT_TRUE(test::matEqual(inPlace, ref)) << what << " in place, path " << mode;
    }
}

}  // namespace

TEST(Tone, ExposureValues) {
    Mat out;
    ip::exposure(row({100, 14, 141, 142}), out, 100);
    EXPECT_EQ(bytes(out), (V{172, 0, 254, 255}));
    const Mat all = test::randomMat(3, 50, MAT_Tuchar3, 4);
    ip::exposure(all, out, 0);
    EXPECT_TRUE(test::matEqual(out, all));
    // Amount 50 must not behave like 0 (slope 1.5, offset 178).
    ip::exposure(row({128, 100}), out, 50);
    EXPECT_EQ(bytes(out), (V{178, 136}));
    // Float elements index the table after truncation and clamping; NaN reads entry 0.
    ip::exposure(row({100.9, -5, 300, NAN}, MAT_Tfloat), out, 100);
    EXPECT_EQ(out.data.fl[0][0], 172.0f);
    EXPECT_EQ(out.data.fl[0][1], 0.0f);
    EXPECT_EQ(out.data.fl[0][2], 255.0f);
    EXPECT_EQ(out.data.fl[0][3], 0.0f);
    // A destination of another channel count is replaced, not overrun.
    Mat grey(3, 50, MAT_Tuchar, Point4_<double>(9, 9, 9, 9));
    ip::exposure(all, grey, 0);
    EXPECT_TRUE(test::matEqual(grey, all));
}

TEST(Tone, LightValues) {
    Mat out;
    ip::light(test::randomMat(4, 64, MAT_Tuchar, 1), out, 0, -100);
    for (int v : bytes(out)) ASSERT_EQ(v, 128);
    ip::light(row({100, 128, 200}), out, 10, 100);
    EXPECT_EQ(bytes(out), (V{82, 138, 255}));
    // The in-place form, and the member holding brightness + 128.
    Mat img = row({100, 128, 200});
    ip::light(img, 10, 100);
    EXPECT_EQ(bytes(img), (V{82, 138, 255}));
    EXPECT_EQ(ipLight(10, 0).brightness, 138);
    // Extreme parameters saturate instead of overflowing.
    ip::light(row({0, 255}), out, INT_MAX, INT_MIN);
    EXPECT_EQ(bytes(out).size(), 2u);
}

TEST(Tone, LevelValuesAndRefusals) {
    const Mat five = row({0, 50, 100, 200, 255});
    Mat out;
    // Mode 2 refuses a destination of another shape, and an empty one.
    ip::level(five, out, 50, 255, 2);
    EXPECT_TRUE(out.empty());
    out.create(five, false);
    ip::level(five, out, 50, 255, 2);
    EXPECT_EQ(bytes(out), (V{0, 0, 7, 167, 255}));
    ip::level(five, out, 0, 200, 2);
    EXPECT_EQ(bytes(out), (V{0, 83, 166, 255, 255}));
    // Mode 3: false, a filled destination keeps its pixels.
    Mat filled(1, 5, MAT_Tuchar, Point4_<double>(77, 0, 0, 0));
    ipLevel op(10, 200, 3);
    Mat src = five.clone();
    EXPECT_FALSE(op.process(&src, &filled));
    EXPECT_EQ(bytes(filled), (V{77, 77, 77, 77, 77}));
    // Mode 1: flat image and low == high are refused after the destination was shaped.
    Mat flat(4, 4, MAT_Tuchar3, Point4_<double>(50, 60, 70, 0)), d2;
    ipLevel flatOp(0, 255, 1);
    EXPECT_FALSE(flatOp.process(&flat, &d2));
    ASSERT_EQ(d2.rows(), 4);
    for (int v : bytes(d2)) ASSERT_EQ(v, 0);
    ipLevel same(9, 9, 1);
    EXPECT_FALSE(same.process(&src, &filled));
    // Mode 1 on grey 0..255 with (0, 255) is the identity.
    Mat ramp(1, 256, MAT_Tuchar);
    for (int i = 0; i < 256; i++) ramp.data.ptr[0][i] = (unsigned char)i;
    ip::level(ramp, out, 0, 255, 1);
    EXPECT_TRUE(test::matEqual(out, ramp));
    // Other depths are refused by every mode.
    Mat f = test::randomMat(3, 3, MAT_Tfloat3, 2), fd;
    for (int mode : {1, 2}) {
        ip::level(f, fd, 0, 200, mode);
        EXPECT_TRUE(fd.empty());
    }
}

TEST(Tone, ShadowValues) {
    const Mat four = row({0, 100, 200, 255});
    Mat out;
    ip::shadow(four, out, 1.0f, 1.0f);
    EXPECT_EQ(bytes(out), (V{127, 177, 205, 205}));
    ip::shadow(four, out, 0.5f, 0.0f);
    EXPECT_EQ(bytes(out), (V{63, 139, 214, 255}));
    // A fourth channel passes through untouched.
    Mat rgba(1, 1, MAT_Tuchar4, Point4_<double>(0, 100, 200, 33));
    ip::shadow(rgba, out, 1.0f, 1.0f);
    EXPECT_EQ(bytes(out), (V{127, 177, 205, 33}));
}

TEST(Tone, GammaValues) {
    Mat out;
    ip::gamma(row({64, 128, 255}), out, 2.0);
    EXPECT_EQ(bytes(out), (V{16, 64, 255}));
    ip::gamma(row({64, 128, 255}), out, -2.0);
    EXPECT_EQ(bytes(out), (V{16, 64, 255}));
    ip::gamma(row({1, 64, 128}), out, 0.5);
    EXPECT_EQ(bytes(out), (V{15, 127, 180}));
    // Gamma 0: the log curve, black staying black and white white.
    ip::gamma(row({0, 255}), out, 0.0);
    EXPECT_EQ(bytes(out), (V{0, 255}));
    GammaCorrection g(-3);
    EXPECT_EQ(g.getGamma(), 3.0);

    // Float: only the first cols elements of each row are curved.
    Mat f(1, 1, MAT_Tfloat3, Point4_<double>(4, 4, 4, 0));
    Mat fd(1, 1, MAT_Tfloat3, Point4_<double>(-1, -1, -1, 0));
    ip::gamma(f, fd, 2.0);
    EXPECT_EQ(fd.data.fl[0][0], 16.0f);
    EXPECT_EQ(fd.data.fl[0][1], -1.0f);
    EXPECT_EQ(fd.data.fl[0][2], -1.0f);
    Mat d(2, 2, MAT_Tdouble, Point4_<double>(3, 0, 0, 0)), dd;
    ip::gamma(d, dd, 2.0);
    EXPECT_EQ(test::at(dd, 1, 1), 9.0);

    // Refusals: null arguments and other depths.
    GammaCorrection gc;
    Mat s16(2, 2, MAT_Tshort), o16;
    EXPECT_EQ(gc.process(nullptr, &out), -1);
    EXPECT_EQ(gc.process(&f, nullptr), -1);
    EXPECT_EQ(gc.process(&s16, &o16), -1);
    EXPECT_TRUE(o16.empty());
}

TEST(Tone, GammaPerThreadTables) {
    // Two threads alternating gammas on the same picture: each result must be
    // its own gamma's exact table, whatever the other thread does meanwhile.
    const Mat src = test::randomMat(16, 64, MAT_Tuchar, 11);
    const Mat ref2 = test::naiveGamma(src, 2.0), ref05 = test::naiveGamma(src, 0.5);
    bool ok[2] = {true, true};
    auto work = [&](int id) {
        for (int i = 0; i < 300; i++) {
            const bool two = (i + id) % 2 == 0;
            Mat out;
            ip::gamma(src, out, two ? 2.0 : 0.5);
            if (!test::matEqual(out, two ? ref2 : ref05)) ok[id] = false;
        }
    };
    std::thread a(work, 0), b(work, 1);
    a.join();
    b.join();
    EXPECT_TRUE(ok[0]);
    EXPECT_TRUE(ok[1]);
}

TEST(Tone, TablesMatchPerPixelFormulas) {
    const int shapes[][3] = {{1, 1, 1}, {3, 37, 1}, {5, 33, 3}, {7, 29, 4}, {300, 211, 3}};
    uint32_t seed = 20;
    for (const auto& s : shapes) {
        const Mat src = test::randomMat(s[0], s[1], MAT_Tuchar + ((s[2] - 1) << 3), seed++);
        for (int amount : {-100, -37, 0, 50, 100, 250}) {
            expectAllPaths(
                src, test::naiveSlope(src, amount + 100, amount + 128),
                [&](const Mat& a, Mat& b) { ip::exposure(a, b, amount); }, "exposure");
        }
        for (int b : {-200, -20, 0, 77}) {
            for (int c : {-100, -50, 0, 35, 300})
                expectAllPaths(
                    src, test::naiveSlope(src, c + 100, b + 128),
                    [&](const Mat& x, Mat& y) { ip::light(x, y, b, c); }, "light");
        }
        const int levels[][2] = {{0, 255}, {50, 255}, {0, 200}, {30, 220}, {200, 40}};
        for (const auto& lv : levels)
            expectAllPaths(
                src, test::naiveLevel2(src, lv[0], lv[1]),
                [&](const Mat& a, Mat& b) {
                    if (&a != &b) b.create(a, false);
                    ip::level(a, b, lv[0], lv[1], 2);
                },
                "level 2");
        if (s[2] != 4 && s[0] * s[1] > 1)  // one pixel is flat: refused
            for (const auto& lv : levels)
                expectAllPaths(
                    src, test::naiveLevel1(src, lv[0], lv[1]),
                    [&](const Mat& a, Mat& b) { ip::level(a, b, lv[0], lv[1], 1); }, "level 1");
        const float sh[][2] = {{1, 1}, {0.5f, 0}, {0.25f, 0.3f}, {0, 0}, {2, -1}};
        for (const auto& p : sh)
            expectAllPaths(
                src, test::naiveShadow(src, p[0], p[1]),
                [&](const Mat& a, Mat& b) { ip::shadow(a, b, p[0], p[1]); }, "shadow");
        for (double g : {0.0, 0.3, 0.5, 1.0, 2.2, 7.0})
            expectAllPaths(
                src, test::naiveGamma(src, g), [&](const Mat& a, Mat& b) { ip::gamma(a, b, g); },
                "gamma");
    }
    // Float exposure and light on every row, including a sub-matrix view.
    const Mat f = test::randomMat(40, 77, MAT_Tfloat3, 5, -20.0, 300.0);
    expectAllPaths(
        f, test::naiveSlope(f, 130, 158), [](const Mat& a, Mat& b) { ip::exposure(a, b, 30); },
        "float exposure");
    Mat big = test::randomMat(30, 40, MAT_Tuchar3, 6), view;
    big.subRefMat(Rect_<int>(3, 2, 31, 20), view);
    Mat viewCopy = view.clone(), out;
    ip::light(view, out, 15, 40);
    EXPECT_TRUE(test::matEqual(out, test::naiveSlope(viewCopy, 140, 143)));
}

TEST(Tone, RefusalsAndPumps) {
    Mat empty, out(2, 2, MAT_Tuchar, Point4_<double>(5, 5, 5, 5));
    Mat s16(2, 2, MAT_Tshort);
    const Mat keep = out.clone();
    ipExposure e(10);
    ipLight l(10, 10);
    ipLevel lv(10, 200, 1);
    ipShadows sh(0.5f, 0.5f);
    ipCorePump* ops[] = {&e, &l, &lv, &sh};
    for (ipCorePump* op : ops) {
        EXPECT_FALSE(op->process(nullptr, &out));
        EXPECT_FALSE(op->process(&empty, &out));
        EXPECT_FALSE(op->process(&s16, &out));
        EXPECT_TRUE(test::matEqual(out, keep));
    }
    // Pump results equal the free functions'.
    const Mat src = test::randomMat(9, 31, MAT_Tuchar3, 8);
    Mat f1, f2, f3, f4;
    ip::exposure(src, f1, 10);
    ip::light(src, f2, 10, 10);
    ip::level(src, f3, 10, 200, 1);
    ip::shadow(src, f4, 0.5f, 0.5f);
    const Mat* want[] = {&f1, &f2, &f3, &f4};
    for (int i = 0; i < 4; i++) {
        PumpABC* c = ops[i]->clone();
        ASSERT_NE(c, nullptr);
        Mat* got = c->pumpProcess(const_cast<Mat*>(&src));
        ASSERT_NE(got, nullptr);
        EXPECT_TRUE(test::matEqual(*got, *want[i])) << i;
        delete got;
        delete c;
    }
}
