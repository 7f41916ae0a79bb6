// Border following through ip::findContours: exact borders of small shapes,
// modes and nesting, refused input, and counts against a flood fill.
#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "shapes/contours_internal.h"
#include "support/vector_targets.h"
#include "support/naive_contours.h"
#include "support/test_util.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

namespace {

using namespace tarvo;
typedef Point2_<int> P;
typedef Matrix<P, const P&> Contours;
typedef std::vector<std::pair<int, int>> Pts;

// A byte mask from rows of '.' (0) and any other character (255).
Mat mask(const std::vector<const char*>& rows) {
    const int h = (int)rows.size(), w = (int)std::char_traits<char>::length(rows[0]);
    Mat m(h, w, MAT_Tuchar);
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) m.ptr<unsigned char>(y)[x] = rows[y][x] == '.' ? 0 : 255;
    return m;
}

Pts pts(const Array<P, const P&>& a) {
    Pts v;
    for (int i = 0; i < a.getSize(); i++) v.emplace_back(a[i].x, a[i].y);
    return v;
}

// Runs findContours and checks that the image was not written.
Contours find(const Mat& img, int mode, int method, P offset = P()) {
    const Mat before = img.clone();
    Contours c;
    ip::findContours(img, c, mode, method, offset);
    EXPECT_TRUE(test::matEqual(img, before));
    return c;
}

std::vector<std::vector<int>> flatten(const Contours& c) {
    std::vector<std::vector<int>> out;
    for (int i = 0; i < c.getSize(); i++) {
        std::vector<int> v;
        for (int j = 0; j < c[i].getSize(); j++) {
            v.push_back(c[i][j].x);
            v.push_back(c[i][j].y);
        }
        out.push_back(v);
    }
    return out;
}

const std::vector<const char*> kBlock = {".....", ".###.", ".###.", ".###.", "....."};

TEST(FindContours, BlockInEveryMethod) {
    const Mat img = mask(kBlock);
    // chain codes: packed bytes from the origin, down the left side first
    Contours c0 = find(img, 1, 0);
    ASSERT_EQ(c0.getSize(), 1);
    ASSERT_EQ(c0[0].getSize(), 8);
    const unsigned char* codes = reinterpret_cast<const unsigned char*>(c0[0].getData());
    EXPECT_EQ(std::vector<int>(codes, codes + 8), (std::vector<int>{6, 6, 0, 0, 2, 2, 4, 4}));

    Contours c1 = find(img, 1, 1);
    ASSERT_EQ(c1.getSize(), 1);
    EXPECT_EQ(pts(c1[0]), (Pts{{1, 1}, {1, 2}, {1, 3}, {2, 3}, {3, 3}, {3, 2}, {3, 1}, {2, 1}}));

    const Pts corners = {{1, 1}, {1, 3}, {3, 3}, {3, 1}};
    EXPECT_EQ(pts(find(img, 1, 2)[0]), corners);
    for (int method : {3, 4}) {
        Contours c = find(img, 1, method);
        ASSERT_EQ(c.getSize(), 1) << method;
        Pts p = pts(c[0]);
        typedef std::set<std::pair<int, int>> PSet;
        EXPECT_EQ(PSet(p.begin(), p.end()), PSet(corners.begin(), corners.end())) << method;
        EXPECT_EQ(p.size(), 4u) << method;
    }
    // the labelled tracer of the tree modes gives the same borders
    for (int method = 0; method <= 4; method++)
        EXPECT_EQ(flatten(find(img, 3, method)), flatten(find(img, 1, method))) << method;
}

TEST(FindContours, RingHoleFollowsItsOuterBorder) {
    const Mat img =
        mask({".......", ".#####.", ".#...#.", ".#...#.", ".#...#.", ".#####.", "......."});
    Contours outerOnly = find(img, 0, 2);
    ASSERT_EQ(outerOnly.getSize(), 1);
    EXPECT_EQ(pts(outerOnly[0]), (Pts{{1, 1}, {1, 5}, {5, 5}, {5, 1}}));
    for (int mode = 1; mode <= 3; mode++) {
        Contours c = find(img, mode, 2);
        ASSERT_EQ(c.getSize(), 2) << mode;
        EXPECT_EQ(pts(c[0]), pts(outerOnly[0])) << mode;
        // the hole starts at the object pixel left of the first hole pixel
        ASSERT_GE(c[1].getSize(), 1);
        EXPECT_EQ(c[1][0].x, 1);
        EXPECT_EQ(c[1][0].y, 2);
        for (int i = 0; i < c[1].getSize(); i++) {
            // hole border pixels are the ring's inner pixels
            EXPECT_TRUE(c[1][i].x == 1 || c[1][i].x == 5 || c[1][i].y == 1 || c[1][i].y == 5);
        }
    }
    // mode 0 also skips objects inside the hole
    const Mat nested =
        mask({".......", ".#####.", ".#...#.", ".#.#.#.", ".#...#.", ".#####.", "......."});
    EXPECT_EQ(find(nested, 0, 1).getSize(), 1);
    EXPECT_EQ(find(nested, 1, 1).getSize(), 3);
    Contours tree = find(nested, 3, 1);
    ASSERT_EQ(tree.getSize(), 3);
    EXPECT_EQ(pts(tree[2]), (Pts{{3, 3}}));
}

TEST(FindContours, LonePixelOnTheEdgeWithOffset) {
    Mat img(3, 4, MAT_Tuchar, Point4_<double>(0.0));
    img.ptr<unsigned char>(0)[3] = 7;
    for (int method = 1; method <= 4; method++) {
        Contours c = find(img, 1, method, P(10, 20));
        ASSERT_EQ(c.getSize(), 1) << method;
        EXPECT_EQ(pts(c[0]), (Pts{{13, 20}})) << method;
    }
    Contours c0 = find(img, 3, 0, P(10, 20));
    ASSERT_EQ(c0.getSize(), 1);
    EXPECT_EQ(c0[0].getSize(), 0);
    // a full image: its border runs along the image edge
    Mat full(2, 3, MAT_Tuchar, Point4_<double>(1.0));
    EXPECT_EQ(pts(find(full, 1, 2)[0]), (Pts{{0, 0}, {0, 1}, {2, 1}, {2, 0}}));
}

TEST(FindContours, RefusedInputEmptiesTheList) {
    const Mat img = mask(kBlock);
    auto prefilled = []() {
        Contours c;
        c.setSize(3);
        c[1].add(P(4, 4));
        return c;
    };
    for (int method : {5, -1, 6, 100}) {
        Contours c = prefilled();
        ip::findContours(img, c, 1, method, P());
        EXPECT_EQ(c.getSize(), 0) << method;
    }
    std::vector<Mat> bad = {Mat(), Mat(5, 5, MAT_Tuchar, Point4_<double>(0.0)),
                            Mat(5, 5, MAKETYPE(MAT_Tuchar, 3), Point4_<double>(255.0)),
                            Mat(5, 5, MAT_Tfloat, Point4_<double>(1.0)),
                            Mat(5, 5, MAT_Tshort, Point4_<double>(1.0))};
    for (size_t i = 0; i < bad.size(); i++) {
        Contours c = prefilled();
        ip::findContours(bad[i], c, 3, 1, P());
        EXPECT_EQ(c.getSize(), 0) << i;
    }
    // out-of-range modes act as the nearest defined one
    EXPECT_EQ(flatten(find(img, -4, 1)), flatten(find(img, 1, 1)));
    EXPECT_EQ(flatten(find(img, 9, 1)), flatten(find(img, 3, 1)));
}

TEST(FindContours, ThinShapes) {
    const Mat ell = mask({"#..", "#..", "###"});
    // the way back cuts the inner corner diagonally
    EXPECT_EQ(pts(find(ell, 1, 2)[0]), (Pts{{0, 0}, {0, 2}, {2, 2}, {1, 2}, {0, 1}}));
    EXPECT_EQ(find(ell, 1, 1)[0].getSize(), 7);
    const Mat diag = mask({"#..", ".#.", "..#"});
    EXPECT_EQ(pts(find(diag, 1, 1)[0]), (Pts{{0, 0}, {1, 1}, {2, 2}, {1, 1}}));
    EXPECT_EQ(pts(find(diag, 1, 2)[0]), (Pts{{0, 0}, {2, 2}}));
    // the anti-diagonal is one eight-connected object too
    EXPECT_EQ(find(mask({"..#", ".#.", "#.."}), 1, 1).getSize(), 1);
}

TEST(FindContours, BlobsInRasterOrder) {
    // the right blob starts on an earlier row, so it comes first in every mode
    const Mat img = mask({".....##", ".....##", "##.....", "##....."});
    for (int mode = 0; mode <= 3; mode++) {
        Contours c = find(img, mode, 2);
        ASSERT_EQ(c.getSize(), 2) << mode;
        EXPECT_EQ(c[0][0].x, 5) << mode;
        EXPECT_EQ(c[1][0].x, 0) << mode;
    }
}

// Two towers of nested square rings side by side: 160 borders, so labels wrap.
Mat towers(int rings, int* towerWidth) {
    const int n = 4 * rings + 1;
    *towerWidth = n + 2;
    Mat m(n, 2 * n + 2, MAT_Tuchar, Point4_<double>(0.0));
    for (int t = 0; t < 2; t++) {
        const int ox = t * (n + 2);
        for (int k = 0; k < rings; k++) {
            const int a = 2 * k, b = n - 1 - 2 * k;
            for (int i = a; i <= b; i++) {
                m.ptr<unsigned char>(a)[ox + i] = m.ptr<unsigned char>(b)[ox + i] = 255;
                m.ptr<unsigned char>(i)[ox + a] = m.ptr<unsigned char>(i)[ox + b] = 255;
            }
        }
    }
    return m;
}

TEST(FindContours, NestedRingsPastTheLabelWrap) {
    const int rings = 40;
    int tw = 0;
    const Mat img = towers(rings, &tw);
    // the tree lists one tower depth-first, then the other
    Contours c = find(img, 3, 2);
    ASSERT_EQ(c.getSize(), 4 * rings);
    for (int t = 0; t < 2; t++)
        for (int k = 0; k < rings; k++) {
            const Array<P, const P&>& outer = c[t * 2 * rings + 2 * k];
            const Array<P, const P&>& hole = c[t * 2 * rings + 2 * k + 1];
            ASSERT_EQ(outer[0].x, t * tw + 2 * k) << t << " " << k;
            ASSERT_EQ(outer[0].y, 2 * k) << t << " " << k;
            ASSERT_EQ(hole[0].x, t * tw + 2 * k) << t << " " << k;
            ASSERT_EQ(hole[0].y, 2 * k + 1) << t << " " << k;
        }
    // two levels: outer borders in raster order, each followed by its hole
    Contours two = find(img, 2, 2);
    ASSERT_EQ(two.getSize(), 4 * rings);
    for (int k = 0; k < rings; k++)
        for (int t = 0; t < 2; t++) {
            const int i = 4 * k + 2 * t;
            ASSERT_EQ(flatten(two)[i], flatten(c)[t * 2 * rings + 2 * k]) << k << " " << t;
            ASSERT_EQ(flatten(two)[i + 1], flatten(c)[t * 2 * rings + 2 * k + 1]) << k << " " << t;
        }
    // flat: raster order of first pixels, so the towers interleave
    Contours flat = find(img, 1, 2);
    ASSERT_EQ(flat.getSize(), 4 * rings);
    EXPECT_EQ(flat[0][0].x, 0);
    EXPECT_EQ(flat[1][0].x, tw);
    EXPECT_EQ(find(img, 0, 2).getSize(), 2);
}

// Outer and hole borders counted from the scanner's own flags.
test::BorderCounts scanCounts(const Mat& m) {
    test::BorderCounts bc;
    const int W = m.cols() + 2, H = m.rows() + 2;
    std::vector<signed char> img((size_t)W * H, 0);
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols(); x++)
            img[(size_t)(y + 1) * W + x + 1] = m.ptr<unsigned char>(y)[x] != 0;
    MemStorage* st = createMemStorage(0);
    _ContourScanner sc;
    EXPECT_TRUE(
        ip::detail::beginContourScan(&sc, img.data(), W, H, st, sizeof(IPContour), 3, 1, P()));
    while (Sequence* s = ip::detail::nextContour(&sc))
        (s->flags & SEQ_FLAG_HOLE ? bc.holes : bc.outer)++;
    ip::detail::endContourScan(&sc);
    releaseMemStorage(&st);
    return bc;
}

TEST(FindContours, RandomMasksMatchFloodFillCounts) {
    for (uint32_t seed = 1; seed <= 12; seed++) {
        Mat m = test::randomMat(23 + seed, 31, MAT_Tuchar, seed);
        // sparse to dense masks
        const int cut = 60 + 12 * (int)seed;
        for (int y = 0; y < m.rows(); y++)
            for (int x = 0; x < m.cols(); x++)
                m.ptr<unsigned char>(y)[x] = m.ptr<unsigned char>(y)[x] < cut ? 200 : 0;
        const test::BorderCounts ref = test::naiveBorderCounts(m);
        const test::BorderCounts got = scanCounts(m);
        EXPECT_EQ(got.outer, ref.outer) << seed;
        EXPECT_EQ(got.holes, ref.holes) << seed;
        for (int mode = 1; mode <= 3; mode++)
            EXPECT_EQ(find(m, mode, 1).getSize(), ref.outer + ref.holes) << seed << " " << mode;
        // every border pixel is an object pixel
        Contours c = find(m, 3, 1);
        for (int i = 0; i < c.getSize(); i++)
            for (int j = 0; j < c[i].getSize(); j++)
                ASSERT_NE(m.ptr<unsigned char>(c[i][j].y)[c[i][j].x], 0);
    }
}

TEST(FindContours, IntImagesAreScannedAsBytes) {
    // No threshold, and the padded int image is read as a byte image of its
    // own width: source row 0 of ones lands on byte rows 4..7, where the
    // cleared frame leaves the bytes at x = 4 of rows 4..6: one vertical line.
    Mat m(6, 6, MAT_Tint, Point4_<double>(0.0));
    for (int x = 0; x < 6; x++) m.ptr<int>(0)[x] = 1;
    m.ptr<int>(3)[3] = 1;  // beyond the bytes that are scanned
    Contours c = find(m, 3, 1);
    ASSERT_EQ(c.getSize(), 1);
    EXPECT_EQ(pts(c[0]), (Pts{{3, 3}, {3, 4}, {3, 5}, {3, 4}}));
}

TEST(FindContours, VectorAndScalarPathsAgree) {
    std::vector<Mat> imgs;
    for (uint32_t seed = 1; seed <= 4; seed++) {
        Mat m = test::randomMat(70, 97, MAT_Tuchar, seed + 100);
        for (int y = 0; y < m.rows(); y++)
            for (int x = 0; x < m.cols(); x++)
                m.ptr<unsigned char>(y)[x] = m.ptr<unsigned char>(y)[x] < 40 * seed ? 255 : 0;
        imgs.push_back(m);
    }
    int tw;
    imgs.push_back(towers(12, &tw));
    // Wider rows in 64-byte blocks, past the label wrap; and an int image
    // scanned as bytes, whose values are neither 0 nor 1 everywhere.
    imgs.push_back(towers(40, &tw));
    imgs.push_back(test::randomMat(17, 70, MAT_Tint, 7, -300.0, 300.0));
    const auto all = [&] {
        std::vector<decltype(flatten(Contours()))> out;
        for (const Mat& img : imgs)
            for (int mode = 0; mode <= 3; mode++)
                for (int method = 0; method <= 4; method++)
                    out.push_back(flatten(find(img, mode, method)));
        return out;
    };
    detail::setUseOptimized(false);
    const auto refs = all();
    detail::setUseOptimized(true);
    // Every instruction set compiled in.
    test::onEveryVectorTarget([&](const char* target) {
        const auto got = all();
        for (size_t k = 0; k < got.size(); k++)
            EXPECT_EQ(got[k], refs[k])
                << target << " image " << k / 20 << " mode " << k / 5 % 4 << " method " << k % 5;
    });
}

}  // namespace
