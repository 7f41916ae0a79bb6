// Connected components and flood fill: records, chains, masks and boundaries
// fixed by hand, the labelling against a slow breadth-first labelling on
// random masks, the fill against a per-pixel breadth-first fill, and stale
// records or bad seeds that must stay in bounds.
#include <algorithm>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "support/naive_components.h"
#include "support/test_util.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using namespace tarvo::ip;
using tarvo::test::matEqual;

namespace {

typedef Point2_<int> Pt;
typedef Array<Pt, const Pt&> PtArray;
typedef Array<ConnectInfo, const ConnectInfo&> Infos;

Mat zeros(int rows, int cols, int type = MAT_Tuchar) {
    return Mat(rows, cols, type, Point4_<double>());
}
void set(Mat& m, int x, int y, int v) {
    m.ptr<unsigned char>(y)[x] = (unsigned char)v;
}

std::vector<Pt> pts(const PtArray& a) {
    return std::vector<Pt>(a.getData(), a.getData() + a.getSize());
}

TEST(ConnectedComponent, RecordsChainsAndMasks) {
    Mat img = zeros(5, 5);
    set(img, 1, 1, 5);
    set(img, 2, 1, 7);
    set(img, 4, 4, 9);
    ConnectedComponent cc;
    Infos r = cc.apply(img, 0, false, false);
    ASSERT_EQ(r.getSize(), 2);
    EXPECT_EQ(r[0].x, 1);
    EXPECT_EQ(r[0].y, 1);
    EXPECT_EQ(r[0].width, 2);
    EXPECT_EQ(r[0].height, 1);
    EXPECT_EQ(r[0].value, 5);
    EXPECT_EQ(r[0].count, 2);
    EXPECT_EQ(r[0].head, 7);
    EXPECT_EQ(r[1].x, 4);
    EXPECT_EQ(r[1].y, 4);
    EXPECT_EQ(r[1].width, 1);
    EXPECT_EQ(r[1].value, 9);
    EXPECT_EQ(r[1].count, 1);
    EXPECT_EQ(r[1].head, 24);
    EXPECT_EQ(cc.getWorkImage().ptr<int>(4)[4], -1);

    PtArray p;
    cc.createPointArrayFromConnect(r[0], p);
    EXPECT_EQ(pts(p), (std::vector<Pt>{Pt(2, 1), Pt(1, 1)}));
    Mat m;
    cc.createImageFromConnect(r[0], m);
    ASSERT_EQ(m.rows(), 1);
    ASSERT_EQ(m.cols(), 2);
    EXPECT_EQ(m.ptr<unsigned char>(0)[0], 0);
    EXPECT_EQ(m.ptr<unsigned char>(0)[1], 0);

    // A minimum count of 2 rejects the lone pixel; erasing it clears the image there.
    ConnectedComponent strict(ConnectedComponent::FilterParams(1, 1, 2));
    Mat copy = img;
    EXPECT_EQ(strict.apply(copy, 0, false, false).getSize(), 1);
    EXPECT_EQ(copy.ptr<unsigned char>(4)[4], 9);
    EXPECT_EQ(strict.apply(copy, 0, true, false).getSize(), 1);
    EXPECT_EQ(copy.ptr<unsigned char>(4)[4], 0);
    EXPECT_EQ(copy.ptr<unsigned char>(1)[2], 7);

    cc.eraseConnect(r[0], 3);
    EXPECT_EQ(img.ptr<unsigned char>(1)[1], 3);
    EXPECT_EQ(img.ptr<unsigned char>(1)[2], 3);
}

TEST(ConnectedComponent, ScanOrderSortingAndMaskHoles) {
    Mat img = zeros(5, 5);
    set(img, 3, 0, 1);
    set(img, 1, 4, 1);
    ConnectedComponent cc;
    Infos r = cc.apply(img, 0, false, false);
    ASSERT_EQ(r.getSize(), 2);
    EXPECT_EQ(r[0].x, 1);  // columns are scanned first
    EXPECT_EQ(r[1].x, 3);

    // Equal counts keep scan order; larger regions come first.
    Mat many = zeros(6, 9);
    set(many, 0, 0, 1);
    set(many, 2, 5, 1);
    for (int y = 1; y <= 3; y++) set(many, 4, y, 1);
    set(many, 7, 2, 1);
    r = cc.apply(many, 0, false, true);
    ASSERT_EQ(r.getSize(), 4);
    EXPECT_EQ(r[0].x, 4);
    EXPECT_EQ(r[1].x, 0);
    EXPECT_EQ(r[2].x, 2);
    EXPECT_EQ(r[3].x, 7);

    // An L of three pixels leaves the fourth pixel of its box white.
    Mat l = zeros(4, 4);
    set(l, 1, 1, 200);
    set(l, 1, 2, 200);
    set(l, 2, 2, 200);
    r = cc.apply(l, 0, false, false);
    ASSERT_EQ(r.getSize(), 1);
    Mat m;
    cc.createImageFromConnect(r[0], m);
    ASSERT_EQ(m.rows(), 2);
    EXPECT_EQ(m.ptr<unsigned char>(0)[1], 255);
    EXPECT_EQ(m.countNonZero(), 1);
}

TEST(ConnectedComponent, EmptyAndRefusedImages) {
    ConnectedComponent cc;
    Mat bg(4, 6, MAT_Tuchar, Point4_<double>(3, 3, 3, 3));
    EXPECT_EQ(cc.apply(bg, 3, false, false).getSize(), 0);
    EXPECT_EQ(cc.getWorkImage().type1(), MAT_Tint);
    EXPECT_EQ(cc.getWorkImage().rows(), 4);
    EXPECT_EQ(cc.getWorkImage().cols(), 6);

    Mat colour(4, 4, MAT_Tuchar3, Point4_<double>(9, 9, 9, 9));
    EXPECT_EQ(cc.apply(colour, 0, false, false).getSize(), 0);
    ConnectInfo info;
    info.count = 3;
    info.width = info.height = 2;
    PtArray p;
    p.add(Pt(1, 1));
    cc.createPointArrayFromConnect(info, p);
    EXPECT_EQ(p.getSize(), 0);
    cc.createBoundaryPointsFromConnect(info, p);
    EXPECT_EQ(p.getSize(), 0);
    cc.eraseConnect(info, 1);
    EXPECT_EQ(colour.ptr<unsigned char>(0)[0], 9);
    Mat none;
    EXPECT_EQ(cc.apply(none, 0, false, false).getSize(), 0);
}

TEST(ConnectedComponent, BoundaryWalk) {
    Mat img = zeros(5, 5);
    for (int y = 1; y <= 3; y++)
        for (int x = 1; x <= 3; x++) set(img, x, y, 255);
    ConnectedComponent cc;
    Infos r = cc.apply(img, 0, false, false);
    ASSERT_EQ(r.getSize(), 1);
    EXPECT_EQ(r[0].head, 7);
    PtArray b;
    cc.createBoundaryPointsFromConnect(r[0], b);
    EXPECT_EQ(pts(b), (std::vector<Pt>{Pt(2, 1), Pt(3, 2), Pt(3, 3), Pt(2, 3), Pt(1, 3), Pt(1, 2),
                                       Pt(1, 1), Pt(2, 1)}));
    Mat lone = zeros(3, 3);
    set(lone, 1, 1, 255);
    r = cc.apply(lone, 0, false, false);
    cc.createBoundaryPointsFromConnect(r[0], b);
    EXPECT_EQ(pts(b), (std::vector<Pt>{Pt(1, 1)}));

    // Mixed values: the walk follows the region's value and ends when it
    // has nowhere to go, within the array's room.
    Mat mixed = zeros(6, 6);
    for (int y = 1; y <= 4; y++)
        for (int x = 1; x <= 4; x++) set(mixed, x, y, (x + y) % 2 ? 255 : 100);
    r = cc.apply(mixed, 0, false, false);
    ASSERT_EQ(r.getSize(), 1);
    cc.createBoundaryPointsFromConnect(r[0], b);
    EXPECT_GE(b.getSize(), 1);
    EXPECT_LE(b.getSize(), r[0].width * r[0].height * 2);
}

TEST(ConnectedComponent, MatchesBreadthFirstLabelling) {
    for (uint32_t seed = 1; seed <= 6; seed++) {
        const int rows = 20 + int(seed) * 3, cols = 41 - int(seed) * 2;
        Mat img = tarvo::test::randomMat(rows, cols, MAT_Tuchar, seed);
        const unsigned char bg = seed % 2 ? 0 : 77;
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols; x++) {
                unsigned char& v = img.ptr<unsigned char>(y)[x];
                if (v < 150) v = bg;  // about 40 percent foreground
            }
        const std::vector<tarvo::test::NaiveRegion> ref = tarvo::test::naiveRegions(img, bg);
        ConnectedComponent cc;
        Infos r = cc.apply(img, bg, false, false);
        ASSERT_EQ(size_t(r.getSize()), ref.size());
        for (int i = 0; i < r.getSize(); i++) {
            const tarvo::test::NaiveRegion& n = ref[size_t(i)];
            EXPECT_EQ(r[i].x, n.left);
            EXPECT_EQ(r[i].y, n.top);
            EXPECT_EQ(r[i].width, n.right - n.left + 1);
            EXPECT_EQ(r[i].height, n.bottom - n.top + 1);
            EXPECT_EQ(r[i].value, n.value);
            ASSERT_EQ(size_t(r[i].count), n.pixels.size());
            PtArray p;
            cc.createPointArrayFromConnect(r[i], p);
            std::vector<long long> got;
            for (int k = 0; k < p.getSize(); k++) got.push_back((long long)p[k].y * cols + p[k].x);
            std::sort(got.begin(), got.end());
            EXPECT_EQ(got, n.pixels);
        }
        // Filters and erasing agree with the reference counts.
        Mat copy = img;
        ConnectedComponent big(ConnectedComponent::FilterParams(2, 3, 4));
        Infos kept = big.apply(copy, bg, true, true);
        size_t want = 0;
        for (const auto& n : ref)
            want += n.pixels.size() >= 4 && n.right - n.left >= 1 && n.bottom - n.top >= 2;
        EXPECT_EQ(size_t(kept.getSize()), want);
        for (int i = 1; i < kept.getSize(); i++) EXPECT_GE(kept[i - 1].count, kept[i].count);
        EXPECT_EQ(tarvo::test::naiveRegions(copy, bg).size(), want);
    }
}

TEST(ConnectedComponent, StaleRecordsStayInBounds) {
    Mat img = tarvo::test::randomMat(9, 11, MAT_Tuchar, 4);
    ConnectedComponent cc;
    Infos r = cc.apply(img, 0, false, false);
    ASSERT_GT(r.getSize(), 0);
    // Scribble over the work image and forge records.
    Mat& w = cc.getWorkImage();
    for (int y = 0; y < 9; y++)
        for (int x = 0; x < 11; x++) w.ptr<int>(y)[x] = (x * 7919 + y * 104729) % 300 - 100;
    ConnectInfo forged[3];
    forged[0].head = -5;
    forged[0].count = 50;
    forged[1].head = 98;
    forged[1].count = 1 << 30;
    forged[1].width = forged[1].height = 3;
    forged[2] = r[0];
    forged[2].count = 1000;
    for (const ConnectInfo& f : forged) {
        PtArray p;
        Mat m;
        cc.createPointArrayFromConnect(f, p);
        EXPECT_LE(p.getSize(), 99);
        cc.createImageFromConnect(f, m);
        cc.eraseConnect(f, 1);
        cc.createBoundaryPointsFromConnect(f, p);
    }
    // The image given to apply was re-created at another size.
    img.create(3, 3, MAT_Tuchar);
    PtArray p;
    cc.createPointArrayFromConnect(r[0], p);
    EXPECT_EQ(p.getSize(), 0);
    cc.eraseConnect(r[0], 1);
}

// ---- flood fill

TEST(Floodfill, ToleranceDecidesTheRegion) {
    Mat img(5, 5, MAT_Tuchar, Point4_<double>(50, 50, 50, 50));
    set(img, 0, 0, 10);
    set(img, 1, 0, 10);
    set(img, 2, 1, 10);
    Mat a = img, mask;
    floodfill(a, mask, Pt(0, 0), 0, Point4_<double>(99.9, 0, 0, 0));
    EXPECT_EQ(mask.countNonZero(), 2);
    EXPECT_EQ(mask.ptr<unsigned char>(0)[1], 255);
    EXPECT_EQ(a.ptr<unsigned char>(0)[0], 99);
    EXPECT_EQ(a.ptr<unsigned char>(0)[1], 99);
    EXPECT_EQ(a.ptr<unsigned char>(1)[2], 10);
    a = img;
    floodfill(a, mask, Pt(0, 0), 40, Point4_<double>(99.9, 0, 0, 0));
    EXPECT_EQ(mask.countNonZero(), 25);
    EXPECT_EQ(a.countNonZero(), 25);
    EXPECT_EQ(a.min(), 99.0);
    // Colours are truncated and saturated; NaN gives 0.
    Mat c(3, 4, MAT_Tuchar3, Point4_<double>(1, 2, 3, 0));
    floodfill(c, mask, Pt(3, 2), 0, Point4_<double>(-5, 300.7, std::nan(""), 0));
    EXPECT_EQ(mask.countNonZero(), 12);
    EXPECT_EQ(c.ptr<unsigned char>(1)[0], 0);
    EXPECT_EQ(c.ptr<unsigned char>(1)[1], 255);
    EXPECT_EQ(c.ptr<unsigned char>(1)[2], 0);
}

TEST(Floodfill, RefusedImagesAndSeeds) {
    Mat two(4, 4, MAT_Tuchar | (1 << 3), Point4_<double>(7, 7, 7, 7)), mask;
    const Mat before = two;
    floodfill(two, mask, Pt(1, 1), 10, Point4_<double>(1, 1, 1, 1));
    EXPECT_TRUE(matEqual(two, before));
    ASSERT_EQ(mask.rows(), 4);
    EXPECT_EQ(mask.countNonZero(), 0);
    Mat grey(4, 4, MAT_Tuchar, Point4_<double>(7, 7, 7, 7));
    for (Pt seed : {Pt(-1, 0), Pt(4, 0), Pt(0, 4), Pt(0, -100000)}) {
        floodfill(grey, mask, seed, 10, Point4_<double>(1, 1, 1, 1));
        EXPECT_EQ(mask.countNonZero(), 0);
        EXPECT_EQ(grey.min(), 7.0);
    }
    Mat f(4, 4, MAT_Tfloat, Point4_<double>(7, 7, 7, 7));
    floodfill(f, mask, Pt(0, 0), 10, Point4_<double>(1, 1, 1, 1));
    EXPECT_EQ(f.min(), 7.0);
    EXPECT_EQ(mask.countNonZero(), 0);
    // Extreme tolerances do not overflow.
    floodfill(grey, mask, Pt(0, 0), INT_MAX, Point4_<double>(1, 1, 1, 1));
    EXPECT_EQ(mask.countNonZero(), 16);
    grey = 7.0;
    floodfill(grey, mask, Pt(2, 2), INT_MIN, Point4_<double>(1, 1, 1, 1));
    EXPECT_EQ(mask.countNonZero(), 1);  // the seed itself
}

// Both paths: the vector walks only act on rows wider than a vector, hence the
// wide images.
TEST(Floodfill, MatchesBreadthFirstFill) {
    for (uint32_t seed = 1; seed <= 16; seed++) {
        tarvo::detail::setUseOptimized(seed > 8);
        const int cn = seed % 2 ? 1 : 3;
        const int rows = 17 + int(seed % 8), cols = seed % 4 < 2 ? 33 - int(seed % 8) : 211;
        Mat img = tarvo::test::randomMat(rows, cols, MAKETYPE(MAT_Tuchar, cn), seed);
        // Coarse levels make large, winding regions.
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols * cn; x++) {
                unsigned char& v = img.ptr<unsigned char>(y)[x];
                v = (unsigned char)(v / 64 * 40);
            }
        const int sx = int(seed * 5) % cols, sy = int(seed * 3) % rows;
        const int tol = seed % 8 == 7 ? 300 : int(seed % 3) * 40;  // on the level steps
        const Mat ref = tarvo::test::naiveFill(img, sx, sy, tol);
        Mat a = img, mask;
        floodfill(a, mask, Pt(sx, sy), tol, Point4_<double>(255, 1, 2, 0));
        EXPECT_TRUE(matEqual(mask, ref)) << "seed " << seed;
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols; x++)
                for (int k = 0; k < cn; k++) {
                    const int want = ref.ptr<unsigned char>(y)[x]
                                         ? (k == 0 ? 255 : k)
                                         : img.ptr<unsigned char>(y)[x * cn + k];
                    ASSERT_EQ(a.ptr<unsigned char>(y)[x * cn + k], want);
                }
    }
    tarvo::detail::setUseOptimized(true);
    // A fill over a long winding region grows the span queue.
    Mat comb(64, 64, MAT_Tuchar, Point4_<double>());
    for (int x = 1; x < 64; x += 2)
        for (int y = (x % 4 == 1 ? 0 : 1); y < (x % 4 == 1 ? 63 : 64); y++) set(comb, x, y, 9);
    const Mat ref = tarvo::test::naiveFill(comb, 0, 0, 0);
    Mat mask;
    floodfill(comb, mask, Pt(0, 0), 0, Point4_<double>(1, 1, 1, 1));
    EXPECT_TRUE(matEqual(mask, ref));
}

}  // namespace

// ---- magic-wand selection

namespace {

typedef Matrix<Pt, const Pt&> PtMatrix;

TEST(FuzzySelection, GreyImageComparesThreeBytes) {
    Mat img(3, 8, MAT_Tuchar, Point4_<double>());
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 8; x++) set(img, x, y, x < 4 ? 10 : 90);
    PtArray poly;
    bool flag = false;
    fuzzySelection(img, Pt(0, 0), 0, poly, flag);
    EXPECT_TRUE(flag);
    // Column 2 is compared with 10, 10, 90 and stays out.
    EXPECT_EQ(pts(poly),
              (std::vector<Pt>{Pt(0, 0), Pt(0, 1), Pt(0, 2), Pt(1, 2), Pt(1, 1), Pt(1, 0)}));
    // The last pixel reads two bytes past the image: zeros.
    fuzzySelection(img, Pt(7, 2), 0, poly, flag);
    EXPECT_TRUE(flag);
    ASSERT_GE(poly.getSize(), 1);
    EXPECT_EQ(poly[0], Pt(7, 2));
}

TEST(FuzzySelection, RingGivesOuterBorderAndHole) {
    Mat img(12, 12, MAT_Tuchar3, Point4_<double>(200, 30, 30, 0));
    for (int y = 2; y <= 9; y++)
        for (int x = 2; x <= 9; x++) {
            unsigned char* p = img.ptr<unsigned char>(y) + 3 * x;
            const bool body = y <= 3 || y >= 8 || x <= 3 || x >= 8;
            p[0] = body ? 20 : 200;
            p[1] = body ? 120 : 30;
            p[2] = body ? 220 : 30;
        }
    PtArray outer, poly;
    PtMatrix holes;
    bool flag = false;
    fuzzySelection(img, Pt(2, 5), 10, outer, holes, flag);
    EXPECT_TRUE(flag);
    ASSERT_EQ(holes.getSize(), 1);
    int x0 = 99, x1 = -1;
    for (int k = 0; k < outer.getSize(); k++) {
        x0 = std::min(x0, outer[k].x);
        x1 = std::max(x1, outer[k].x);
    }
    EXPECT_EQ(x0, 2);
    EXPECT_EQ(x1, 9);
    for (int k = 0; k < holes[0].getSize(); k++) {
        EXPECT_GE(holes[0][k].x, 3);
        EXPECT_LE(holes[0][k].x, 8);
    }
    // One polygon: the outer border, with the seed inside it.
    fuzzySelection(img, Pt(9, 9), 10, poly, flag);
    EXPECT_TRUE(flag);
    EXPECT_EQ(poly.getSize(), outer.getSize());
}

// Both paths of the mask conversions give the same polygons: rows from
// shorter than a vector to wider than the widest, so every tail length occurs.
TEST(FuzzySelection, VectorAndScalarPathsAgree) {
    for (uint32_t seed = 1; seed <= 12; seed++) {
        const int cn = seed % 2 ? 1 : 3;
        const int rows = 9 + int(seed % 5), cols = int(seed * 13) % 150 + 1;
        Mat img = tarvo::test::randomMat(rows, cols, MAKETYPE(MAT_Tuchar, cn), seed, 0, 255);
        // Few levels: regions with holes and several borders.
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols * cn; x++) {
                unsigned char& v = img.ptr<unsigned char>(y)[x];
                v = (unsigned char)(v / 128 * 100);
            }
        const Pt seedPt(int(seed * 7) % cols, int(seed * 3) % rows);
        PtArray outer[2], poly[2];
        PtMatrix holes[2];
        bool flagHoles[2] = {false, false}, flagPoly[2] = {false, false};
        for (int k = 0; k < 2; k++) {
            tarvo::detail::setUseOptimized(k == 1);
            fuzzySelection(img, seedPt, 20, outer[k], holes[k], flagHoles[k]);
            fuzzySelection(img, seedPt, 20, poly[k], flagPoly[k]);
        }
        tarvo::detail::setUseOptimized(true);
        EXPECT_TRUE(flagHoles[0]) << "seed " << seed;
        EXPECT_EQ(flagHoles[0], flagHoles[1]) << "seed " << seed;
        EXPECT_EQ(flagPoly[0], flagPoly[1]) << "seed " << seed;
        EXPECT_GT(outer[0].getSize(), 0) << "seed " << seed;
        EXPECT_EQ(pts(outer[0]), pts(outer[1])) << "seed " << seed;
        EXPECT_EQ(pts(poly[0]), pts(poly[1])) << "seed " << seed;
        ASSERT_EQ(holes[0].getSize(), holes[1].getSize()) << "seed " << seed;
        for (int i = 0; i < holes[0].getSize(); i++)
            EXPECT_EQ(pts(holes[0][i]), pts(holes[1][i])) << "seed " << seed << " hole " << i;
    }
}

TEST(FuzzySelection, RefusedInputsLeaveOutputsAlone) {
    Mat img(4, 4, MAT_Tuchar, Point4_<double>(5, 5, 5, 5));
    PtArray outer, poly;
    PtMatrix holes;
    outer.add(Pt(7, 7));
    poly.add(Pt(8, 8));
    bool flag = true;
    for (Pt seed : {Pt(-1, 0), Pt(0, 4), Pt(4, 0)}) {
        fuzzySelection(img, seed, 3, outer, holes, flag);
        EXPECT_FALSE(flag);
        flag = true;
        fuzzySelection(img, seed, 3, poly, flag);
        EXPECT_FALSE(flag);
    }
    Mat f(4, 4, MAT_Tfloat, Point4_<double>(5, 5, 5, 5));
    flag = true;
    fuzzySelection(f, Pt(1, 1), 3, poly, flag);
    EXPECT_FALSE(flag);
    ASSERT_EQ(outer.getSize(), 1);
    EXPECT_EQ(outer[0], Pt(7, 7));
    ASSERT_EQ(poly.getSize(), 1);
    EXPECT_EQ(poly[0], Pt(8, 8));
}

}  // namespace
