// Corners: FAST on hand-built rings (arc lengths, the p + b boundary,
// suppression of equal and unequal neighbours) and against a slow ring loop
// with brute-force suppression; Harris against window loops with the
// exchange sort, its mask form and refusals; bilinear window sampling and
// sub-pixel refinement on known values.
#include <cstring>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "support/naive_corners.h"
#include "support/test_util.h"
#include "tarvo/ip/edges.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using namespace tarvo::ip;
using tarvo::test::randomMat;

namespace {

typedef Array<Point2_<int>, const Point2_<int>&> Points;

Mat flat(int rows, int cols, int v) {
    Mat m(rows, cols, MAT_Tuchar);
    m = double(v);
    return m;
}

std::vector<std::pair<int, int>> list(const Points& p) {
    std::vector<std::pair<int, int>> v;
    for (int i = 0; i < p.getSize(); i++) v.push_back({p[i].x, p[i].y});
    return v;
}

std::vector<std::pair<int, int>> list(const std::vector<tarvo::test::NaiveCorner>& p) {
    std::vector<std::pair<int, int>> v;
    for (const auto& c : p) v.push_back({c.x, c.y});
    return v;
}

std::vector<std::pair<int, int>> fast(const Mat& m, int b, int arc, int sup) {
    Points p;
    cornerFast(m, b, arc, sup, p);
    return list(p);
}

const std::vector<std::pair<int, int>> kNone;

}  // namespace

TEST(CornerFast, HandBuiltRings) {
    Mat dot = flat(7, 7, 100);
    dot.ptr<unsigned char>(3)[3] = 0;
    const std::vector<std::pair<int, int>> centre = {{3, 3}};
    for (int arc : {9, 10, 11, 12, 0})
        for (int sup : {0, 1}) {
            EXPECT_EQ(fast(dot, 99, arc, sup), centre) << arc << " " << sup;
            EXPECT_EQ(fast(dot, 100, arc, sup), kNone) << arc << " " << sup;
        }
    // Nine consecutive ring pixels brighter: only arc 9 passes (others mean 12).
    const int dx[9] = {0, 1, 2, 3, 3, 3, 2, 1, 0}, dy[9] = {3, 3, 2, 1, 0, -1, -2, -3, -3};
    Mat arc9 = flat(7, 7, 50);
    for (int i = 0; i < 9; i++) arc9.ptr<unsigned char>(3 + dy[i])[3 + dx[i]] = 200;
    EXPECT_EQ(fast(arc9, 20, 9, 0), centre);
    for (int arc : {10, 11, 12, 8, 13, 0}) EXPECT_EQ(fast(arc9, 20, arc, 0), kNone) << arc;
    // A ring pixel exactly at p + b is not brighter; one above it is.
    Mat edge = arc9;
    edge.ptr<unsigned char>(6)[3] = 70;  // ring pixel 0 at 50 + 20
    EXPECT_EQ(fast(edge, 20, 9, 0), kNone);
    edge.ptr<unsigned char>(6)[3] = 71;
    EXPECT_EQ(fast(edge, 20, 9, 0), centre);
    // Six rows find nothing, a flat image nothing, colour leaves the list.
    EXPECT_EQ(fast(Mat(dot, Range(0, 6), true), 10, 9, 0), kNone);
    EXPECT_EQ(fast(flat(30, 30, 77), 0, 9, 1), kNone);
    Points kept;
    kept.add(Point2_<int>(1, 2));
    cornerFast(Mat(7, 7, MAT_Tuchar3, Point4_<double>(100, 100, 100, 0)), 10, 9, 0, kept);
    ASSERT_EQ(kept.getSize(), 1);
    EXPECT_EQ(kept[0].x, 1);
}

TEST(CornerFast, SuppressionOfNeighbours) {
    Mat pair = flat(7, 8, 100);
    pair.ptr<unsigned char>(3)[3] = 0;
    pair.ptr<unsigned char>(3)[4] = 0;
    const std::vector<std::pair<int, int>> both = {{3, 3}, {4, 3}}, left = {{3, 3}};
    EXPECT_EQ(fast(pair, 50, 9, 0), both);
    EXPECT_EQ(fast(pair, 50, 9, 1), kNone);  // equal scores drop each other
    pair.ptr<unsigned char>(3)[4] = 10;
    EXPECT_EQ(fast(pair, 50, 9, 1), left);
}

TEST(CornerFast, MatchesTheRingLoopOnRandomImages) {
    Mat img = randomMat(40, 47, MAT_Tuchar, 5);
    // Blocks of similar values give plateaus and many neighbouring corners.
    for (int y = 0; y < img.rows(); y++)
        for (int x = 0; x < img.cols(); x++)
            if ((x / 5 + y / 4) % 3 == 0) img.ptr<unsigned char>(y)[x] = (unsigned char)(x % 2 * 9);
    for (int arc : {9, 10, 11, 12, 5})
        for (int b : {-5, 0, 20})
            for (int sup : {0, 1})
                EXPECT_EQ(fast(img, b, arc, sup), list(tarvo::test::naiveFast(img, b, arc, sup)))
                    << "arc " << arc << " b " << b << " suppress " << sup;
    // A sub-matrix finds its copy's corners.
    Mat sub;
    img.subRefMat(Rect_<int>(5, 4, 30, 25), sub);
    const Mat copy(img, Rect_<int>(5, 4, 30, 25));
    EXPECT_EQ(fast(sub, 10, 9, 1), fast(copy, 10, 9, 1));
    EXPECT_FALSE(fast(copy, 10, 9, 1).empty());
}

TEST(CornerFast, VectorThreadedAndScalarRunsAgree) {
    // Large enough for several stripes; widths around the vector lengths so
    // the overlapping last block and the scalar row ends both run.
    for (int cols : {301, 70, 38}) {
        Mat img = randomMat(260, cols, MAT_Tuchar, 11, 0, 255);
        for (int y = 0; y < img.rows(); y++)
            for (int x = 0; x < cols; x++) {
                unsigned char& v = img.ptr<unsigned char>(y)[x];
                if ((x / 7 + y / 5) % 4 == 0)
                    v = (unsigned char)(200 + v % 40);
                else if ((x / 6 + y / 9) % 3 == 0)
                    v = (unsigned char)(v % 30);
            }
        for (int arc : {9, 10, 11, 12})
            for (int b : {-5, 0, 20, 60, 256})
                if (b >= 20 || cols < 100)
                    for (int sup : {0, 1}) {
                        const auto vec = fast(img, b, arc, sup);
                        tarvo::detail::setUseOptimized(false);
                        setNumThreads(1);
                        const auto ref = fast(img, b, arc, sup);
                        tarvo::detail::setUseOptimized(true);
                        const auto serialVec = fast(img, b, arc, sup);
                        setNumThreads(0);
                        EXPECT_EQ(vec, ref)
                            << cols << " arc " << arc << " b " << b << " sup " << sup;
                        EXPECT_EQ(serialVec, ref) << cols << " arc " << arc << " b " << b;
                        if (b == 20 && cols == 301) {
                            EXPECT_GT(ref.size(), 50u) << arc << " " << sup;
                            // Many stripes: suppression across their borders.
                            if (sup) {
                                EXPECT_EQ(ref, list(tarvo::test::naiveFast(img, b, arc, 1)));
                            }
                        }
                    }
    }
}

TEST(CornerHarris, MatchesWindowLoopsAndMaskForm) {
    Mat img = randomMat(36, 41, MAT_Tuchar, 8);
    for (int y = 10; y < 25; y++)
        for (int x = 12; x < 30; x++) img.ptr<unsigned char>(y)[x] = 240;
    Mat mask = flat(36, 41, 255);
    for (int y = 0; y < 36; y++) mask.ptr<unsigned char>(y)[y % 41] = 0;
    int total = 0;
    for (int w = 1; w <= 9; w++)
        for (const Mat* m : {static_cast<const Mat*>(nullptr), static_cast<const Mat*>(&mask)}) {
            Points pts;
            cornerHarris(img, m ? *m : Mat(), pts, 0, 0.0f, w, 1000.0f);
            EXPECT_EQ(list(pts), list(tarvo::test::naiveHarris(img, m ? *m : Mat(), w, 1000.0f)))
                << "window " << w << (m ? " masked" : "");
            ipCorner c(Size_<int>(41, 36), 0, 0.0f, w, 1000.0f);
            Mat result(36, 41, MAT_Tuchar);
            ASSERT_EQ(c.processHarris(&img, &result, m), 1);
            EXPECT_EQ(result.countNonZero(), pts.getSize());
            total += pts.getSize();
        }
    EXPECT_GT(total, 9);
    // Copies of two patches, alternating, on a flat ground give corners of
    // equal strength in both rows: the order of ties is the exchange loop's,
    // whatever sort runs.
    Mat tiles = flat(63, 93, 30);
    const Mat patch[2] = {randomMat(9, 9, MAT_Tuchar, 17), randomMat(9, 9, MAT_Tuchar, 18)};
    for (int ty = 0; ty < 2; ty++)
        for (int tx = 0; tx < 3; tx++)
            for (int y = 0; y < 9; y++)
                for (int x = 0; x < 9; x++)
                    tiles.ptr<unsigned char>(12 + 30 * ty + y)[12 + 30 * tx + x] =
                        patch[(tx + ty) % 2].ptr<unsigned char>(y)[x];
    Points tied;
    cornerHarris(tiles, Mat(), tied, 0, 0.0f, 3, 1.0f);
    EXPECT_EQ(list(tied), list(tarvo::test::naiveHarris(tiles, Mat(), 3, 1.0f)));
    EXPECT_GE(tied.getSize(), 6);
    // Flat image and an all-zero mask give nothing.
    Points none;
    cornerHarris(flat(40, 40, 90), Mat(), none, 0, 0.0f, 3, 0.0f);
    cornerHarris(img, flat(36, 41, 0), none, 0, 0.0f, 3, -1.0f);
    EXPECT_EQ(none.getSize(), 0);
}

TEST(CornerHarris, VectorThreadedAndScalarRunsAgree) {
    // Several stripes, an odd width; blocks give strong, well-separated peaks.
    Mat img = randomMat(251, 300, MAT_Tuchar, 21, 0, 60);
    for (int y = 0; y < img.rows(); y++)
        for (int x = 0; x < img.cols(); x++)
            if ((x / 23 + y / 17) % 3 == 0) img.ptr<unsigned char>(y)[x] += 150;
    Mat mask = flat(251, 300, 255);
    for (int y = 0; y < 251; y++)
        for (int x = 0; x < 300; x += 7) mask.ptr<unsigned char>(y)[(x + y) % 300] = 0;
    // Windows 1 and 2 make most pixels corners (and the tie sort quadratic).
    for (int w : {3, 4, 5, 8})
        for (const Mat* m : {static_cast<const Mat*>(nullptr), static_cast<const Mat*>(&mask)}) {
            Points vec, ref;
            cornerHarris(img, m ? *m : Mat(), vec, 0, 0.0f, w, 500.0f);
            tarvo::detail::setUseOptimized(false);
            setNumThreads(1);
            cornerHarris(img, m ? *m : Mat(), ref, 0, 0.0f, w, 500.0f);
            tarvo::detail::setUseOptimized(true);
            setNumThreads(0);
            EXPECT_EQ(list(vec), list(ref)) << "window " << w << (m ? " masked" : "");
            EXPECT_GT(ref.getSize(), 20) << w;
        }
    // The object keeps its smoothed products and strength as planes; both
    // paths fill them alike, also on images barely taller than the smoothing.
    for (const Mat& im : {img, Mat(randomMat(21, 23, MAT_Tuchar, 5))}) {
        const Size_<int> size(im.cols(), im.rows());
        ipCorner fast(size, 0, 0.0f, 5, 500.0f), slow(size, 0, 0.0f, 5, 500.0f);
        Points a, b;
        ASSERT_EQ(fast.processHarris(&im, a, im.rows() == 251 ? &mask : nullptr), 1);
        tarvo::detail::setUseOptimized(false);
        ASSERT_EQ(slow.processHarris(&im, b, im.rows() == 251 ? &mask : nullptr), 1);
        tarvo::detail::setUseOptimized(true);
        EXPECT_EQ(list(a), list(b));
        for (auto planes :
             {std::make_pair(&fast.xx, &slow.xx), std::make_pair(&fast.yy, &slow.yy),
              std::make_pair(&fast.xy, &slow.xy), std::make_pair(&fast.strength, &slow.strength),
              std::make_pair(&fast.localMax, &slow.localMax)})
            for (int y = 0; y < im.rows(); y++)
                ASSERT_EQ(std::memcmp(planes.first->ptr<float>(y), planes.second->ptr<float>(y),
                                      size_t(im.cols()) * 4),
                          0)
                    << "row " << y << " of " << im.rows();
    }
}

TEST(CornerHarris, Refusals) {
    ipCorner notCreated;
    Points pts;
    const Mat img = randomMat(20, 20, MAT_Tuchar, 3);
    EXPECT_EQ(notCreated.processHarris(&img, pts, nullptr), 0);
    ipCorner c(Size_<int>(20, 20), 0, 0.0f, 3, 0.0f);
    EXPECT_TRUE(c.flagCreate());
    const Mat other = randomMat(21, 20, MAT_Tuchar, 3), colour = randomMat(20, 20, MAT_Tuchar3, 3);
    EXPECT_EQ(c.processHarris(&other, pts, nullptr), 0);
    EXPECT_EQ(c.processHarris(&colour, pts, nullptr), 0);
    EXPECT_EQ(c.processHarris(&img, pts, &other), 0);
    Mat small(5, 5, MAT_Tuchar);
    EXPECT_EQ(c.processHarris(&img, &small, nullptr), 0);
    EXPECT_EQ(pts.getSize(), 0);
    c.release();
    EXPECT_FALSE(c.flagCreate());
    EXPECT_EQ(c.processHarris(&img, pts, nullptr), 0);
}

TEST(CornerSubPix, WindowSamplingAndRefinement) {
    Mat g(5, 5, MAT_Tuchar);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 5; x++) g.ptr<unsigned char>(y)[x] = (unsigned char)(10 * y + x);
    float out[9];
    EXPECT_TRUE(getRectSubPixel(g.data.ptr[0], 5, Size_<int>(5, 5), out, 12, Size_<int>(3, 3),
                                Point2_<float>(2, 2)));
    for (int i = 0; i < 9; i++) EXPECT_EQ(out[i], float(10 * (1 + i / 3) + 1 + i % 3)) << i;
    getRectSubPixel(g.data.ptr[0], 5, Size_<int>(5, 5), out, 12, Size_<int>(3, 3),
                    Point2_<float>(-100, -100));
    for (float v : out) EXPECT_EQ(v, 0.0f);
    getRectSubPixel(g.data.ptr[0], 5, Size_<int>(5, 5), out, 12, Size_<int>(3, 3),
                    Point2_<float>(1000, 1000));
    for (float v : out) EXPECT_EQ(v, 44.0f);
    getRectSubPixel(g.data.ptr[0], 5, Size_<int>(5, 5), out, 12, Size_<int>(3, 3),
                    Point2_<float>(1.5f, 4.0f));  // bottom rows replicated
    EXPECT_FLOAT_EQ(out[7], 41.5f);

    // A bright quadrant from (10, 10): the corner settles on the diagonal.
    Mat q = flat(20, 20, 0);
    for (int y = 10; y < 20; y++)
        for (int x = 10; x < 20; x++) q.ptr<unsigned char>(y)[x] = 255;
    Point2_<float> pt(8.0f, 8.0f);
    findCornerSubPix(q, &pt, 1, Size_<int>(3, 3), Size_<int>(-1, -1), TermCriteria(3, 30, 0.01));
    EXPECT_NEAR(pt.x, 9.59f, 0.1f);
    EXPECT_NEAR(pt.y, pt.x, 1e-4f);
    // Count 0, a flat image and bad windows leave the points alone.
    Point2_<float> keep(4.25f, 5.5f);
    findCornerSubPix(q, &keep, 0, Size_<int>(3, 3), Size_<int>(-1, -1), TermCriteria());
    findCornerSubPix(flat(20, 20, 9), &keep, 1, Size_<int>(3, 3), Size_<int>(-1, -1),
                     TermCriteria(3, 30, 0.01));
    findCornerSubPix(q, &keep, 1, Size_<int>(0, 3), Size_<int>(-1, -1), TermCriteria());
    EXPECT_EQ(keep.x, 4.25f);
    EXPECT_EQ(keep.y, 5.5f);
}
