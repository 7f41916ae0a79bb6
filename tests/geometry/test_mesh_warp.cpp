// Mesh warps: barycentric coordinates, the single-triangle warp, warpMesh
// against a per-pixel slow version on random meshes, its vector, scalar and
// threaded paths, bounds, and refused input; warping into an existing image.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "support/vector_targets.h"
#include "support/naive_mesh.h"
#include "support/test_util.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using tarvo::test::matEqual;
using tarvo::test::randomMat;
typedef Point2_<float> P;

namespace {

const int kRGB = MAT_Tuchar | (2 << 3);

bool allZero(const Mat& m) {
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols() * m.channels(); x++)
            if (m.ptr<unsigned char>(y)[x]) return false;
    return true;
}

// A grid of (n + 1) x (n + 1) points `cell` pixels apart with one diagonal per
// cell; inner points moved by up to `jitter` pixels when rng is given.
TriangleModel gridModel(int n, float cell, std::vector<P>& pts, float jitter = 0,
                        std::mt19937* rng = nullptr) {
    const int w = n + 1;
    pts.clear();
    std::uniform_real_distribution<float> u(-jitter, jitter);
    for (int y = 0; y <= n; y++)
        for (int x = 0; x <= n; x++) {
            P p(x * cell, y * cell);
            if (rng && x > 0 && y > 0 && x < n && y < n) p = P(p.x + u(*rng), p.y + u(*rng));
            pts.push_back(p);
        }
    std::vector<TriangleModel::Edge> e;
    for (int y = 0; y <= n; y++)
        for (int x = 0; x <= n; x++) {
            const int i = y * w + x;
            if (x < n) e.push_back({i, i + 1});
            if (y < n) e.push_back({i, i + w});
            if (x < n && y < n) e.push_back({i, i + w + 1});
        }
    TriangleModel m;
    m.create((int)e.size());
    for (size_t i = 0; i < e.size(); i++) m.edges[i] = e[i];
    m.generateTriangles();
    return m;
}

Array<P> tri(P a, P b, P c) {
    Array<P> t;
    t.add(a);
    t.add(b);
    t.add(c);
    return t;
}

}  // namespace

TEST(MeshWarp, ComputeCoefficients) {
    const P pts[3] = {P(1, 2), P(9, 3), P(4, 11)};
    const Triangle t(0, 1, 2);
    float a = -7, b = -7, c = -7;
    ip::computeCoefficients(pts, &t, 1, 2, &a, &b, &c);
    EXPECT_NEAR(a, 1, 1e-6);
    EXPECT_NEAR(b, 0, 1e-6);
    EXPECT_NEAR(c, 0, 1e-6);
    ip::computeCoefficients(pts, &t, 14.0f / 3, 16.0f / 3, &a, &b, &c);
    EXPECT_NEAR(a, 1.0 / 3, 1e-6);
    EXPECT_NEAR(b, 1.0 / 3, 1e-6);
    EXPECT_NEAR(c, 1.0 / 3, 1e-6);
    // The coefficients rebuild the point.
    ip::computeCoefficients(pts, &t, 5.5f, 4.25f, &a, &b, &c);
    EXPECT_NEAR(a * 1 + b * 9 + c * 4, 5.5, 1e-5);
    EXPECT_NEAR(a * 2 + b * 3 + c * 11, 4.25, 1e-5);
    a = b = c = -7;
    const Triangle neg(0, -1, 2);
    ip::computeCoefficients(nullptr, &t, 1, 2, &a, &b, &c);
    ip::computeCoefficients(pts, nullptr, 1, 2, &a, &b, &c);
    ip::computeCoefficients(pts, &neg, 1, 2, &a, &b, &c);
    ip::computeCoefficients(pts, &t, 1, 2, nullptr, &b, &c);
    EXPECT_EQ(a, -7);
    EXPECT_EQ(b, -7);
    EXPECT_EQ(c, -7);
}

TEST(MeshWarp, WarpTriangleCopiesInsideOnly) {
    const Mat src = randomMat(12, 12, kRGB, 3);
    const Mat before = randomMat(12, 12, kRGB, 4);
    Mat dst = before;
    const Array<P> t = tri(P(0, 0), P(8, 0), P(0, 8));
    ip::warpTriangle(src, dst, t, t);
    for (int y = 0; y < 12; y++)
        for (int x = 0; x < 12; x++) {
            const Mat& want = x + y <= 8 ? src : before;
            for (int c = 0; c < 3; c++)
                ASSERT_EQ(dst.ptr<unsigned char>(y)[3 * x + c],
                          want.ptr<unsigned char>(y)[3 * x + c])
                    << x << "," << y;
        }
    // An empty dst starts zeroed; the triangle is drawn into it.
    Mat fresh;
    ip::warpTriangle(src, fresh, t, t);
    ASSERT_EQ(fresh.type1(), kRGB);
    EXPECT_EQ(fresh.ptr<unsigned char>(9)[27], 0);
    EXPECT_EQ(fresh.ptr<unsigned char>(4)[12], src.ptr<unsigned char>(4)[12]);
    // In place: the triangle read from the picture before it changes.
    Mat self = src;
    ip::warpTriangle(self, self, tri(P(1, 1), P(9, 1), P(1, 9)), t);
    Mat ref = src;
    ip::warpTriangle(src, ref, tri(P(1, 1), P(9, 1), P(1, 9)), t);
    EXPECT_TRUE(matEqual(self, ref));
}

TEST(MeshWarp, WarpTriangleFractionPairing) {
    // A one-pixel shift right by a quarter: the x fraction weights the row
    // below, so a picture that changes only down the rows shows the blend
    // while one that changes only along the columns does not.
    Mat rowsVary(4, 4, kRGB), colsVary(4, 4, kRGB);
    for (int y = 0; y < 4; y++)
        for (int x = 0; x < 12; x++) {
            rowsVary.ptr<unsigned char>(y)[x] = (unsigned char)(100 * y);
            colsVary.ptr<unsigned char>(y)[x] = (unsigned char)(100 * (x / 3));
        }
    const Array<P> d = tri(P(0, 0), P(2, 0), P(0, 2));
    const Array<P> s = tri(P(0.25f, 0), P(2.25f, 0), P(0.25f, 2));
    Mat a = Mat(4, 4, kRGB, Point4_<double>(1, 1, 1, 1)), b = a;
    ip::warpTriangle(rowsVary, a, s, d);
    ip::warpTriangle(colsVary, b, s, d);
    EXPECT_EQ(a.ptr<unsigned char>(0)[0], 25);  // 0.75 * 0 + 0.25 * 100
    EXPECT_EQ(b.ptr<unsigned char>(0)[0], 0);
}

TEST(MeshWarp, WarpTriangleRefusals) {
    const Mat src = randomMat(12, 12, kRGB, 3);
    const Array<P> t = tri(P(0, 0), P(8, 0), P(0, 8));
    Mat dst = randomMat(12, 12, kRGB, 5);
    const Mat keep = dst;
    ip::warpTriangle(randomMat(12, 12, MAT_Tuchar, 1), dst, t, t);  // grey
    ip::warpTriangle(randomMat(12, 12, MAT_Tfloat | (2 << 3), 1), dst, t, t);
    ip::warpTriangle(Mat(), dst, t, t);
    Array<P> two;
    two.add(P(0, 0));
    two.add(P(1, 1));
    ip::warpTriangle(src, dst, two, t);
    ip::warpTriangle(src, dst, t, tri(P(0, 0), P(4, 4), P(8, 8)));  // zero area
    ip::warpTriangle(src, dst, t, tri(P(0, 0), P(NAN, 4), P(8, 8)));
    EXPECT_TRUE(matEqual(dst, keep));
    // Sources below 0 are off the picture: pixel (2, 0) maps to x = -0.25,
    // which truncation alone would take for column 0.
    ip::warpTriangle(src, dst, tri(P(-3, -3), P(8, 0), P(0, 8)), t);
    for (int c = 0; c < 3; c++) {
        EXPECT_EQ(dst.ptr<unsigned char>(0)[6 + c], keep.ptr<unsigned char>(0)[6 + c]);
        EXPECT_EQ(dst.ptr<unsigned char>(4)[12 + c], src.ptr<unsigned char>(4)[12 + c]);
    }
}

TEST(MeshWarp, EqualMeshesCopyCoveredRegion) {
    const Mat src = randomMat(30, 40, kRGB, 11);
    std::vector<P> pts;
    const TriangleModel m = gridModel(3, 8, pts);  // covers 0..24
    Mat dst = randomMat(5, 5, MAT_Tuchar, 2);
    Rect_<int> box(9, 9, 9, 9);
    ip::warpMesh(src, dst, box, pts.data(), pts.data(), &m);
    ASSERT_EQ(dst.type1(), kRGB);
    EXPECT_EQ(box, Rect_<int>(0, 0, 24, 24));
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 40; x++)
            for (int c = 0; c < 3; c++) {
                const int want = x <= 24 && y <= 24 ? src.ptr<unsigned char>(y)[3 * x + c] : 0;
                ASSERT_EQ(dst.ptr<unsigned char>(y)[3 * x + c], want) << x << "," << y;
            }
}

TEST(MeshWarp, DegenerateEmptyAndRefused) {
    const Mat src = randomMat(20, 30, kRGB, 1);
    Mat dst;
    Rect_<int> box;
    // Three points on a line.
    const P line[3] = {P(2, 2), P(10, 10), P(18, 18)};
    TriangleModel deg;
    deg.triangleList.add(new Triangle(0, 1, 2));
    deg.triangleList.add(new Triangle(0, -1, 2));  // skipped
    ip::warpMesh(src, dst, box, line, line, &deg);
    EXPECT_TRUE(allZero(dst));
    EXPECT_EQ(box, Rect_<int>(29, 19, 2 - 30, 2 - 20));
    TriangleModel empty;
    dst = src;
    ip::warpMesh(src, dst, box, line, line, &empty);
    EXPECT_TRUE(allZero(dst));
    EXPECT_EQ(box, Rect_<int>(29, 19, -28, -18));

    Mat keep = src;
    Rect_<int> b0(1, 2, 3, 4);
    ip::warpMesh(src, keep, b0, nullptr, line, &deg);
    ip::warpMesh(src, keep, b0, line, nullptr, &deg);
    ip::warpMesh(src, keep, b0, line, line, nullptr);
    ip::warpMesh(randomMat(20, 30, MAT_Tshort, 1), keep, b0, line, line, &deg);
    ip::warpMesh(Mat(), keep, b0, line, line, &deg);
    EXPECT_TRUE(matEqual(keep, src));
    EXPECT_EQ(b0, Rect_<int>(1, 2, 3, 4));
}

TEST(MeshWarp, MatchesPerPixelVersionOnEveryPath) {
    std::mt19937 rng(5);
    // 420 x 330 runs in several stripes. Two channels, and a picture whose
    // rows are not one block (a view into a larger one), take the per-pixel
    // bilinear step; smaller pictures suffice there.
    const struct {
        int cn;
        bool view;
        int cols, rows;
        float cell;
    } cases[] = {{1, false, 420, 330, 55},
                 {3, false, 420, 330, 55},
                 {4, false, 420, 330, 55},
                 {2, false, 150, 120, 20},
                 {3, true, 150, 120, 20}};
    for (const auto& cs : cases) {
        const int cn = cs.cn;
        Mat src = randomMat(cs.rows, cs.cols, MAT_Tuchar | ((cn - 1) << 3), 20 + cn);
        const Mat outer = randomMat(cs.rows + 10, cs.cols + 12, MAT_Tuchar | ((cn - 1) << 3), 30);
        if (cs.view) outer.subRefMat(Rect_<int>(7, 5, cs.cols, cs.rows), src);
        std::vector<P> sp, dp;
        const TriangleModel m = gridModel(7, cs.cell, sp, 12, &rng);
        gridModel(7, cs.cell, dp, 12, &rng);
        // Points pushed off the picture on both sides exercise the clamped boxes.
        dp[9] = P(-30, 20);
        sp[10] = P(500, -4);
        Mat want, got;
        Rect_<int> wantBox, box;
        test::naiveWarpMesh(src, want, wantBox, sp.data(), dp.data(), m);
        for (int path = 0; path < 3; path++) {
            detail::setUseOptimized(path != 1);
            if (path == 2) setNumThreads(1);
            ip::warpMesh(src, got, box, sp.data(), dp.data(), &m);
            detail::setUseOptimized(true);
            setNumThreads(0);
            EXPECT_TRUE(matEqual(got, want))
                << "channels " << cn << " view " << cs.view << " path " << path;
            EXPECT_EQ(box, wantBox);
        }
        // In place gives the same picture.
        Mat self = src.clone();
        ip::warpMesh(self, self, box, sp.data(), dp.data(), &m);
        EXPECT_TRUE(matEqual(self, want));
    }
}

TEST(MeshWarp, SamplesAtTheImageEndStayInside) {
    // Two triangles cover the picture and read it shifted by a fraction, so
    // the last sampled pixels have their right and lower neighbours in the
    // last column and row: the vector sampler's wide reads, moved back so as
    // to stop at the end of the image, must still pick the right bytes.
    for (int cn : {1, 3, 4})
        for (int cols : {3, 8, 16}) {
            const int rows = 5;
            const Mat src = randomMat(rows, cols, MAT_Tuchar | ((cn - 1) << 3), 40 + cn + cols);
            const float w = float(cols - 1), h = float(rows - 1);
            std::vector<P> dp = {P(0, 0), P(w, 0), P(w, h), P(0, h)}, sp;
            // Rows of 8 and 16 pixels fill whole vectors, the last one reading the
            // last column pair.
            for (const P& p : dp)
                sp.push_back(P(p.x * (1 - 0.5f / w) + 0.4f, p.y * (1 - 0.5f / h) + 0.4f));
            TriangleModel m;
            m.create(5);
            const int e[5][2] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 2}};
            for (int i = 0; i < 5; i++) m.edges[i] = {e[i][0], e[i][1]};
            m.generateTriangles();
            Mat want, got;
            Rect_<int> wantBox, box;
            test::naiveWarpMesh(src, want, wantBox, sp.data(), dp.data(), m);
            ip::warpMesh(src, got, box, sp.data(), dp.data(), &m);
            EXPECT_TRUE(matEqual(got, want)) << "channels " << cn << " cols " << cols;
            EXPECT_EQ(box, wantBox);
        }
}

TEST(MeshWarp, WarpingKeepsPixelsItDoesNotReach) {
    const Mat src = randomMat(40, 40, kRGB, 8);
    std::vector<P> sp, dp;
    const TriangleModel m = gridModel(4, 8, sp);  // 0..32
    dp = sp;
    for (P& p : sp) p.x += 10;  // sources past column 39 are off the picture
    const Mat before = randomMat(40, 40, kRGB, 9);
    Mat dst = before;
    Rect_<int> box;
    TriangleModel model = m;
    ip::warping(src, dst, &box, sp.data(), dp.data(), &model);
    EXPECT_EQ(box.x, 0);
    EXPECT_EQ(box.y, 0);
    EXPECT_EQ(box.height, 32);
    EXPECT_EQ(box.x + box.width, 28);  // source x = x + 10 must stay below 39
    for (int y = 0; y <= 32; y += 4)
        for (int x = 0; x < 40; x += 3) {
            const unsigned char* o = dst.ptr<unsigned char>(y) + 3 * x;
            if (x <= 28)
                EXPECT_EQ(o[1], src.ptr<unsigned char>(y)[3 * (x + 10) + 1]) << x << "," << y;
            else
                EXPECT_EQ(o[1], before.ptr<unsigned char>(y)[3 * x + 1]) << x << "," << y;
        }
    // A dst that does not fit starts zeroed; bounds may be null.
    Mat other;
    ip::warping(src, other, nullptr, sp.data(), dp.data(), &model);
    ASSERT_EQ(other.type1(), kRGB);
    EXPECT_EQ(other.ptr<unsigned char>(39)[0], 0);
}

TEST(MeshWarp, EveryVectorTargetMatchesPerPixelVersion) {
    // Each instruction set has its own vector width, so its own partial
    // vectors at span ends and at the row end; a shrinking and a growing mesh
    // give source steps below and above one pixel.
    std::mt19937 rng(11);
    struct Case {
        int cn, cols, rows;
        float cell, srcCell;
    };
    const Case cases[] = {{1, 61, 47, 12, 11}, {3, 61, 47, 12, 9}, {4, 61, 47, 12, 14}};
    std::vector<Mat> srcs, wants;
    std::vector<std::vector<P>> sps, dps;
    std::vector<Rect_<int>> boxes;
    const TriangleModel m = [] {
        std::vector<P> unused;
        return gridModel(5, 12, unused);
    }();
    for (const Case& c : cases) {
        std::vector<P> sp, dp;
        gridModel(5, c.srcCell, sp, 3, &rng);
        gridModel(5, c.cell, dp, 3, &rng);
        srcs.push_back(randomMat(c.rows, c.cols, MAT_Tuchar | ((c.cn - 1) << 3), 60 + c.cn));
        Mat want;
        Rect_<int> box;
        test::naiveWarpMesh(srcs.back(), want, box, sp.data(), dp.data(), m);
        wants.push_back(want);
        boxes.push_back(box);
        sps.push_back(sp);
        dps.push_back(dp);
    }
    const int tried = test::onEveryVectorTarget([&](const char* target) {
        for (size_t i = 0; i < srcs.size(); i++) {
            Mat got;
            Rect_<int> box;
            ip::warpMesh(srcs[i], got, box, sps[i].data(), dps[i].data(), &m);
            EXPECT_TRUE(matEqual(got, wants[i])) << target << " case " << i;
            EXPECT_EQ(box, boxes[i]) << target << " case " << i;
        }
    });
    EXPECT_GT(tried, 0);
}

TEST(MeshWarp, WarpingGivesTheScalarResultOnEveryPath) {
    // warping tests sub-areas in the triangleArea form and keeps what it does
    // not reach, so the vector walk is checked against the scalar walk on a
    // destination that already holds a picture: threaded (420 x 330 runs in
    // several stripes), one thread, and (the small pictures) every
    // instruction set.
    std::mt19937 rng(17);
    const struct {
        int cn, cols, rows;
        float cell;
    } cases[] = {{3, 420, 330, 55}, {1, 150, 120, 20}, {4, 150, 120, 20}};
    for (const auto& cs : cases) {
        const int cn = cs.cn;
        const int type = MAT_Tuchar | ((cn - 1) << 3);
        const Mat src = randomMat(cs.rows, cs.cols, type, 70 + cn);
        const Mat before = randomMat(cs.rows, cs.cols, type, 80 + cn);
        std::vector<P> sp, dp;
        TriangleModel m = gridModel(7, cs.cell, sp, 12, &rng);
        gridModel(7, cs.cell * 1.1f, dp, 12, &rng);
        dp[9] = P(-30, 20);
        sp[10] = P(500, -4);
        Mat want = before.clone();
        Rect_<int> wantBox;
        detail::setUseOptimized(false);
        ip::warping(src, want, &wantBox, sp.data(), dp.data(), &m);
        detail::setUseOptimized(true);
        auto check = [&](const std::string& what) {
            Mat got = before.clone();
            Rect_<int> box;
            ip::warping(src, got, &box, sp.data(), dp.data(), &m);
            EXPECT_TRUE(matEqual(got, want)) << "channels " << cn << " " << what;
            EXPECT_EQ(box, wantBox) << "channels " << cn << " " << what;
        };
        check("threaded");
        setNumThreads(1);
        check("one thread");
        if (cs.cols < 400) test::onEveryVectorTarget(check);
        setNumThreads(0);
    }
}
