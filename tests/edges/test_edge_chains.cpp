// Edge chains: the extractor's pipeline on hand-checked images, the explicit
// following against a plain recursion, and the NMS operator.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "edges/edge_chains_simd.h"
#include "edges/edge_follow.h"
#include "support/naive_hough.h"
#include "support/test_util.h"
#include "tarvo/ip/edges.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

std::vector<unsigned char*> rowsOf(Mat& m) {
    std::vector<unsigned char*> r(size_t(m.rows()));
    for (int y = 0; y < m.rows(); y++) r[size_t(y)] = m.ptr<unsigned char>(y);
    return r;
}

}  // namespace

TEST(EdgeChains, FlatImageAndMissingImage) {
    Mat flat(30, 30, MAT_Tuchar, Point4_<double>(90, 0, 0, 0));
    std::vector<unsigned char*> rows = rowsOf(flat);
    MCEdgeExtractor ex(rows.data(), 30, 30);
    EXPECT_EQ(ex.GetEdgeData(), 0);
    EXPECT_EQ(ex.GetBackgroundEdgeValue(), 0);
    EXPECT_EQ(ex.GetEdgeList()->getEdgeCount(), 0);
    EXPECT_EQ(ex.getEdgeCount(), 0);

    MCEdgeExtractor none;
    EXPECT_EQ(none.GetEdgeData(), -50100);
    EXPECT_EQ(none.GetEdgeMapFromEdgeList(nullptr, 0), -50100);
    MCEdgeExtractor zero(rows.data(), 0, 30);
    EXPECT_EQ(zero.GetEdgeData(), -50100);
    MCEdgeExtractor tooWide(rows.data(), 40000, 30);
    EXPECT_EQ(tooWide.GetEdgeData(), -50100);
}

TEST(EdgeChains, ListKeepsChainsOfTenOrMore) {
    MCEdgeList list;
    std::vector<short> pts(40);
    for (int i = 0; i < 20; i++) {
        pts[size_t(2 * i)] = short(i);
        pts[size_t(2 * i + 1)] = 1;
    }
    list.addEdge(pts.data(), 9);
    list.addEdge(nullptr, 12);
    EXPECT_EQ(list.getEdgeCount(), 0);
    list.addEdge(pts.data(), 10);
    list.addEdge(pts.data(), 20);
    ASSERT_EQ(list.getEdgeCount(), 2);
    EXPECT_EQ(list.getCurrentEdge()->count, 20);
    EXPECT_EQ(list.getFirstEdge()->next, list.getCurrentEdge());
    Mat map(3, 20, MAT_Tuchar, Point4_<double>(0, 0, 0, 0));
    std::vector<unsigned char*> rows = rowsOf(map);
    _tagEdge* table[1024];
    list.getEdgeIndexMap(rows.data(), table);
    EXPECT_EQ(table[1], list.getFirstEdge());
    EXPECT_EQ(table[2], list.getCurrentEdge());
    EXPECT_EQ(table[0], nullptr);
    EXPECT_EQ(map.ptr<unsigned char>(1)[5], 2);  // the later chain paints over
    EXPECT_EQ(map.ptr<unsigned char>(1)[15], 2);
    list.getEdgeMap(rows.data());
    EXPECT_EQ(map.ptr<unsigned char>(1)[19], 255);
    EXPECT_EQ(map.ptr<unsigned char>(0)[0], 0);
}

TEST(EdgeChains, VerticalStepGivesOneChain) {
    Mat step = test::verticalStep(40, 40, 20, 0, 200);
    std::vector<unsigned char*> rows = rowsOf(step);
    MCEdgeExtractor ex(rows.data(), 40, 40);
    ASSERT_EQ(ex.GetEdgeData(), 0);
    MCEdgeList* list = ex.GetEdgeList();
    ASSERT_EQ(list->getEdgeCount(), 1);
    const _tagEdge* e = list->getFirstEdge();
    ASSERT_EQ(e->count, 32);
    EXPECT_EQ(e->points[0], 20);
    EXPECT_EQ(e->points[1], 36);
    EXPECT_EQ(e->points[2 * 31], 20);
    EXPECT_EQ(e->points[2 * 31 + 1], 5);
    EXPECT_EQ(ex.getEdgeCount(), 32);
    EXPECT_EQ(ex.GetBackgroundEdgeValue(), 31);
    // Labels: the first chain's 1, and 3 for the short pieces after it.
    bool seen1 = false, seen3 = false;
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 40; x++) {
            seen1 |= ex.getEdgeMap()[y][x] == 1;
            seen3 |= ex.getEdgeMap()[y][x] == 3;
        }
    EXPECT_TRUE(seen1);
    EXPECT_TRUE(seen3);
    // Orientation of a vertical step is 0; the strength frame is 0.
    EXPECT_EQ(ex.GetEdgeOrient()[20 * 40 + 20], 0);
    EXPECT_EQ(ex.GetGrdX(), nullptr);

    // Drawing takes chains strictly longer than the limit, removal strictly shorter.
    Mat canvas(40, 40, MAT_Tuchar, Point4_<double>(7, 0, 0, 0));
    std::vector<unsigned char*> c = rowsOf(canvas);
    ex.GetEdgeMapFromEdgeList(c.data(), 32);
    EXPECT_EQ(canvas.ptr<unsigned char>(20)[20], 7);
    ex.GetEdgeMapFromEdgeList(c.data(), 31);
    EXPECT_EQ(canvas.ptr<unsigned char>(20)[20], 255);
    ex.RemoveEdgeByLength(c.data(), 32);
    EXPECT_EQ(canvas.ptr<unsigned char>(20)[20], 255);
    ex.RemoveEdgeByLength(c.data(), 33);
    EXPECT_EQ(canvas.ptr<unsigned char>(20)[20], 0);

    // A second run starts again and gives the same chain.
    ASSERT_EQ(ex.GetEdgeData(), 0);
    EXPECT_EQ(ex.GetEdgeList()->getEdgeCount(), 1);

    Mat horiz = test::horizontalStep(40, 40, 20, 0, 200);
    std::vector<unsigned char*> hr = rowsOf(horiz);
    MCEdgeExtractor hx(hr.data(), 40, 40);
    ASSERT_EQ(hx.GetEdgeData(), 0);
    EXPECT_EQ(hx.GetEdgeOrient()[20 * 40 + 20], 90);
}

TEST(EdgeChains, FixedPointAngle) {
    EXPECT_EQ(MCEdgeExtractor::fixedPointAngle(0, -1), 135);
    EXPECT_EQ(MCEdgeExtractor::fixedPointAngle(1, -1), 121);
    EXPECT_EQ(MCEdgeExtractor::fixedPointAngle(0, -100), 180);
    EXPECT_EQ(MCEdgeExtractor::fixedPointAngle(0, 0), 0);
    // The fast quotient equals the 64-bit division on every gradient pair the
    // filters can produce (|g| <= 5100); the sanitizer build samples the grid.
#ifdef NDEBUG
    const int step = 1;
#else
    const int step = 13;
#endif
    // The vector row kernel (orientation folded into 0..180) is held to the
    // same division, a row of gx at a time.
    long long mismatches = 0, rowMismatches = 0;
    std::vector<short> gxs(10201), gys(10201), orient(10201);
    for (int i = 0; i < 10201; i++) gxs[size_t(i)] = short(i - 5100);
    for (int gy = -5100; gy <= 5100; gy += step) {
        std::fill(gys.begin(), gys.end(), short(gy));
        const int done = detail::edgeAngleRow(gxs.data(), gys.data(), orient.data(), 10201);
        for (int gx = -5100; gx <= 5100; gx++) {
            int ref = test::fixedPointAngleDivision(gy, gx);
            mismatches += MCEdgeExtractor::fixedPointAngle(gy, gx) != ref;
            if (ref > 180) ref -= 180;
            if (gx + 5100 < done) rowMismatches += orient[size_t(gx + 5100)] != ref;
        }
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(rowMismatches, 0);
    // The polynomial stays within two degrees of the true angle.
    for (int gy = -300; gy <= 300; gy += 37)
        for (int gx = -300; gx <= 300; gx += 41) {
            if (gx == 0) continue;
            double truth = std::atan2(double(gy), double(gx)) * 180.0 / 3.14159265358979;
            if (truth < 0) truth += 360;
            const int a = MCEdgeExtractor::fixedPointAngle(gy, gx);
            double diff = std::fabs(a - truth);
            if (diff > 180) diff = 360 - diff;
            EXPECT_LE(diff, 2.0) << gx << "," << gy;
        }
}

TEST(EdgeChains, ThreadedRunsEqualSerialOnes) {
    Mat img = test::randomMat(301, 517, MAT_Tuchar, 9);
    Mat smooth;
    for (int y = 0; y < img.rows(); y++)  // blocky structure so that chains form
        for (int x = 0; x < img.cols(); x++)
            img.ptr<unsigned char>(y)[x] =
                (unsigned char)((x / 23 + y / 17) % 3 * 80 + (img.ptr<unsigned char>(y)[x] & 15));
    std::vector<unsigned char*> rows = rowsOf(img);
    auto run = [&](int threads, std::vector<short>& pts, std::vector<short>& orient,
                   std::vector<unsigned char>& s8) {
        setNumThreads(threads);
        MCEdgeExtractor ex(rows.data(), (unsigned short)img.cols(), (unsigned short)img.rows());
        ASSERT_EQ(ex.GetEdgeData(), 0);
        for (const _tagEdge* e = ex.GetEdgeList()->getFirstEdge(); e; e = e->next)
            pts.insert(pts.end(), e->points, e->points + 2 * e->count);
        const size_t n = size_t(img.rows()) * img.cols();
        orient.assign(ex.GetEdgeOrient(), ex.GetEdgeOrient() + n);
        s8.assign(ex.GetStrength8(), ex.GetStrength8() + n);
    };
    std::vector<short> p1, o1, p2, o2;
    std::vector<unsigned char> s1, s2;
    run(1, p1, o1, s1);
    run(0, p2, o2, s2);
    EXPECT_GT(p1.size(), 1000u);
    EXPECT_EQ(p1, p2);
    EXPECT_EQ(o1, o2);
    EXPECT_EQ(s1, s2);
}

TEST(EdgeChains, VectorRunsEqualScalarOnes) {
    // Widths around the vector lengths and the 7-tap frame, tiny images,
    // noise, blocks with noise, and thresholds of 0 (every pixel passes).
    // pattern 0: noise; 1: blocks with noise; 2: rings with noise, whose
    // staircases at every angle cross the row bands of the parallel passes.
    struct Case {
        int w, h, seed, nonEdge, high, low, pattern;
    };
    const Case cases[] = {{1, 1, 1, 35, 12, 10, 0},      {6, 9, 2, 35, 12, 10, 0},
                          {7, 7, 3, 35, 12, 10, 0},      {9, 40, 4, 35, 12, 10, 1},
                          {37, 23, 5, 20, 0, 0, 0},      {70, 65, 6, 35, 12, 10, 1},
                          {131, 97, 7, 60, 30, 5, 1},    {257, 130, 8, 35, 12, 10, 0},
                          {255, 200, 9, 0, 12, 10, 1},   {200, 101, 10, 100, 12, 10, 1},
                          {301, 517, 11, 35, 12, 10, 1}, {400, 300, 12, 35, 12, 10, 2},
                          {333, 260, 13, 20, 8, 4, 2}};
    struct Result {
        std::vector<short> points, orient, strength;
        std::vector<unsigned char> s8, map;
        int background = 0, chains = 0;
    };
    for (const Case& c : cases) {
        Mat img = test::randomMat(c.h, c.w, MAT_Tuchar, c.seed);
        for (int y = 0; y < c.h && c.pattern > 0; y++)
            for (int x = 0; x < c.w; x++) {
                unsigned char& v = img.ptr<unsigned char>(y)[x];
                const int band = c.pattern == 1 ? (x / 11 + y / 7) % 3
                                                : int(std::hypot(x - c.w / 3, y - c.h / 2)) / 5 % 2;
                v = (unsigned char)(band * 90 + (v & 31));
            }
        std::vector<unsigned char*> rows = rowsOf(img);
        auto run = [&](bool optimized) {
            detail::setUseOptimized(optimized);
            Result r;
            MCEdgeExtractor ex(rows.data(), (unsigned short)c.w, (unsigned short)c.h, c.nonEdge,
                               c.high, c.low);
            EXPECT_EQ(ex.GetEdgeData(), 0);
            detail::setUseOptimized(true);
            const size_t n = size_t(c.w) * c.h;
            for (const _tagEdge* e = ex.GetEdgeList()->getFirstEdge(); e; e = e->next)
                r.points.insert(r.points.end(), e->points, e->points + 2 * e->count);
            r.orient.assign(ex.GetEdgeOrient(), ex.GetEdgeOrient() + n);
            r.strength.assign(ex.GetEdgeStrength(), ex.GetEdgeStrength() + n);
            r.s8.assign(ex.GetStrength8(), ex.GetStrength8() + n);
            r.map.assign(ex.getEdgeMap()[0], ex.getEdgeMap()[0] + n);
            r.background = ex.GetBackgroundEdgeValue();
            r.chains = ex.GetEdgeList()->getEdgeCount();
            return r;
        };
        const Result a = run(false), b = run(true);
        EXPECT_EQ(a.points, b.points) << c.w << "x" << c.h;
        EXPECT_EQ(a.orient, b.orient) << c.w << "x" << c.h;
        EXPECT_EQ(a.strength, b.strength) << c.w << "x" << c.h;
        EXPECT_EQ(a.s8, b.s8) << c.w << "x" << c.h;
        EXPECT_EQ(a.map, b.map) << c.w << "x" << c.h;
        EXPECT_EQ(a.background, b.background) << c.w << "x" << c.h;
        EXPECT_EQ(a.chains, b.chains) << c.w << "x" << c.h;
        if (c.w == 301) {
            EXPECT_GT(a.chains, 50);
        }
    }
}

TEST(EdgeChains, ExplicitFollowingEqualsRecursion) {
    std::mt19937 rng(11);
    for (int round = 0; round < 40; round++) {
        const int w = 5 + int(rng() % 30), h = 5 + int(rng() % 30);
        std::vector<signed char> strong(size_t(w) * h, 0), weak(size_t(w) * h, 0);
        const unsigned density = 30 + rng() % 60;
        for (int y = 1; y < h - 1; y++)
            for (int x = 1; x < w - 1; x++) {
                const size_t i = size_t(y) * w + x;
                weak[i] = (rng() % 100) < density ? 5 : 0;
                // Some strong pixels have no weak value, as after staircase removal.
                strong[i] = (weak[i] > 0 && rng() % 4 == 0) || rng() % 16 == 0 ? 5 : 0;
            }
        std::vector<unsigned char> mapRef(size_t(w) * h, 0), block(size_t(w) * h, 0);
        std::vector<unsigned char*> rows(static_cast<size_t>(h));
        for (int y = 0; y < h; y++) rows[size_t(y)] = block.data() + size_t(y) * w;
        const auto ref = test::followChainsRecursive(strong.data(), weak.data(), mapRef, w, h);
        for (const bool optimized : {false, true}) {
            std::fill(block.begin(), block.end(), 0);
            MCEdgeList list;
            unsigned char label = 1;
            detail::setUseOptimized(optimized);
            ASSERT_TRUE(detail::followEdgeChains(strong.data(), weak.data(), rows.data(), w, h,
                                                 label, list));
            detail::setUseOptimized(true);
            ASSERT_EQ(list.getEdgeCount(), int(ref.size())) << round;
            int i = 0;
            for (const _tagEdge* e = list.getFirstEdge(); e; e = e->next, i++)
                ASSERT_EQ(std::vector<short>(e->points, e->points + 2 * e->count), ref[size_t(i)]);
            EXPECT_EQ(block, mapRef);
        }
    }
}

TEST(EdgeChains, LongChainsNeedNoCallDepth) {
    // A one-pixel square spiral on a 2000 x 2000 map, arms three pixels
    // apart: following it from the outer end goes about 1.3 million pixels
    // deep, far beyond what a call stack allows.
    const int n = 2000, L = n - 5;
    std::vector<signed char> weak(size_t(n) * n, 0), strong(size_t(n) * n, 0);
    int x = 2, y = 2, total = 0;
    const int dx[4] = {1, 0, -1, 0}, dy[4] = {0, 1, 0, -1};
    for (int seg = 0;; seg++) {
        const int len = seg == 0 ? L : L - 3 * ((seg - 1) / 2);
        if (len < 3) break;
        for (int k = 0; k < len; k++, total++) {
            weak[size_t(y) * n + x] = 1;
            x += dx[seg % 4];
            y += dy[seg % 4];
        }
    }
    strong[size_t(2) * n + 2] = 1;
    std::vector<unsigned char> block(size_t(n) * n, 0);
    std::vector<unsigned char*> rows(static_cast<size_t>(n));
    for (int r = 0; r < n; r++) rows[size_t(r)] = block.data() + size_t(r) * n;
    MCEdgeList list;
    unsigned char label = 1;
    ASSERT_TRUE(
        detail::followEdgeChains(strong.data(), weak.data(), rows.data(), n, n, label, list));
    EXPECT_GT(total, 1000000);
    int unmarked = 0;
    for (size_t i = 0; i < weak.size(); i++) unmarked += weak[i] > 0 && block[i] == 0;
    EXPECT_EQ(unmarked, 0);
    EXPECT_GT(list.getEdgeCount(), 0);

    // The whole pipeline on a picture of that size runs as well.
    Mat img(n, n, MAT_Tuchar, Point4_<double>(0, 0, 0, 0));
    for (int r = 0; r < n; r++)
        for (int c = 0; c < n; c++)
            img.ptr<unsigned char>(r)[c] = weak[size_t(r) * n + c] ? 200 : 0;
    std::vector<unsigned char*> irows = rowsOf(img);
    MCEdgeExtractor ex(irows.data(), n, n);
    EXPECT_EQ(ex.GetEdgeData(), 0);
    EXPECT_GT(ex.getEdgeCount(), 1000);
}

TEST(EdgeChains, NMSOperator) {
    Mat step = test::verticalStep(40, 40, 20, 0, 200, 3);
    Mat dst;
    ipNMS nms;
    ASSERT_TRUE(nms.process(&step, &dst));
    ASSERT_EQ(dst.channels(), 3);
    int zeros = 0;
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 40; x++) zeros += dst.ptr<unsigned char>(y)[3 * x] == 0;
    EXPECT_EQ(zeros, 204);
    // In place, on one channel: the same map.
    Mat grey = test::verticalStep(40, 40, 20, 0, 200);
    ASSERT_TRUE(nms.process(&grey, nullptr));
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 40; x++)
            ASSERT_EQ(grey.ptr<unsigned char>(y)[x], dst.ptr<unsigned char>(y)[3 * x]);
    Mat two(10, 10, MAKETYPE(MAT_Tuchar, 2)), f(10, 10, MAT_Tfloat), keep(3, 3, MAT_Tuchar);
    EXPECT_FALSE(nms.process(&two, &keep));
    EXPECT_FALSE(nms.process(&f, &keep));
    EXPECT_FALSE(nms.process(nullptr, &keep));
    EXPECT_EQ(keep.rows(), 3);
}
