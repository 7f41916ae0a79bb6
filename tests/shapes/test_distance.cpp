// Distance transforms and thinning: values fixed by hand on small images, the
// chamfer passes against shortest paths over the mask's moves, the labels
// against the distance to the pixel they name, the exact forms against brute
// force, serial against threaded runs, and refused inputs.
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "shapes/distance_internal.h"
#include "support/naive_distance.h"
#include "support/test_util.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using namespace tarvo::ip;
using tarvo::test::matEqual;

namespace {

Mat filled(int rows, int cols, int v) {
    Mat m(rows, cols, MAT_Tuchar);
    m = double(v);
    return m;
}

float F(const Mat& m, int y, int x) {
    return m.ptr<float>(y)[x];
}

// Random mask: zero with probability about zeroPercent / 100, else 1..255.
Mat randomMask(int rows, int cols, uint32_t seed, int zeroPercent) {
    Mat m = tarvo::test::randomMat(rows, cols, MAT_Tuchar, seed);
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) {
            unsigned char& v = m.ptr<unsigned char>(y)[x];
            v = (v * 100 / 256) < zeroPercent ? 0 : (unsigned char)(v | 1);
        }
    return m;
}

bool isZero(unsigned char v) {
    return v == 0;
}
bool isFull(unsigned char v) {
    return v == 255;
}

TEST(DistanceTransform, CentreFeatureOnFiveByFive) {
    Mat src = filled(5, 5, 255);
    src.ptr<unsigned char>(2)[2] = 0;
    Mat d;
    distanceTransform(src, d, DistL1, 3);
    ASSERT_EQ(d.type1(), MAT_Tfloat);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 5; x++) EXPECT_EQ(F(d, y, x), float(std::abs(x - 2) + std::abs(y - 2)));
    // L1 and C ignore the mask size they are given.
    Mat d7;
    distanceTransform(src, d7, DistL1, 7);
    EXPECT_TRUE(matEqual(d, d7));

    distanceTransform(src, d, DistC, 5);
    EXPECT_EQ(F(d, 0, 0), 2.0f);
    EXPECT_EQ(F(d, 1, 3), 1.0f);

    distanceTransform(src, d, DistL2, 3);
    EXPECT_EQ(F(d, 1, 2), 0.9550018310546875f);
    EXPECT_EQ(F(d, 1, 1), 1.369293212890625f);
    EXPECT_EQ(F(d, 0, 0), 2.73858642578125f);
    EXPECT_EQ(F(d, 2, 2), 0.0f);

    distanceTransform(src, d, DistL2, 5);
    EXPECT_EQ(F(d, 0, 1), 2.1968994140625f);
    EXPECT_EQ(F(d, 0, 0), 2.79998779296875f);

    distanceTransform(src, d, DistL2, 0);
    EXPECT_EQ(F(d, 0, 1), std::sqrt(5.0f));
    EXPECT_EQ(F(d, 0, 0), std::sqrt(8.0f));
    EXPECT_EQ(F(d, 2, 2), 0.0f);

    // The two-argument form takes the 255 pixels as features.
    Mat inv = filled(5, 5, 0), e;
    inv.ptr<unsigned char>(2)[2] = 255;
    distanceTransform(inv, e);
    EXPECT_TRUE(matEqual(d, e));
}

TEST(DistanceTransform, NoFeaturesGiveLargeValues) {
    Mat src = filled(3, 3, 7), d;
    distanceTransform(src, d, DistL1, 3);
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 3; x++)
            EXPECT_EQ(F(d, y, x), (y == 1 && x == 1) ? 8194.0f : 8193.0f) << y << "," << x;
    distanceTransform(src, d, DistL2, 0);
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 3; x++) EXPECT_EQ(F(d, y, x), 31622776.0f);
    Mat e;
    distanceTransform(filled(3, 4, 0), e);
    EXPECT_EQ(F(e, 2, 3), std::sqrt(1e17f));
}

TEST(DistanceTransform, ChamferEqualsShortestPathsOverTheMoves) {
    struct Case {
        int type, mask;
    } cases[] = {{DistL1, 3}, {DistC, 3}, {DistL2, 3}, {DistL2, 5}};
    for (const Case& c : cases)
        for (uint32_t seed = 1; seed <= 3; seed++) {
            const int rows = 17 + int(seed) * 5, cols = 23 - int(seed) * 3;
            Mat src = randomMask(rows, cols, seed * 31 + c.type, seed == 3 ? 1 : 8), d;
            distanceTransform(src, d, c.type, c.mask);
            int w[3];
            ip::detail::chamferWeights(c.type, c.type == DistL2 ? c.mask : 3, w);
            const std::vector<int64_t> ref =
                tarvo::test::chamferShortestPaths(src, w, c.type == DistL2 ? c.mask : 3);
            for (int y = 0; y < rows; y++)
                for (int x = 0; x < cols; x++) {
                    const int64_t r = ref[size_t(y) * cols + x];
                    if (r == INT64_MAX) continue;
                    ASSERT_EQ(F(d, y, x), float(r) * 1.5258789e-5f)
                        << "type " << c.type << " mask " << c.mask << " at " << x << "," << y;
                }
        }
}

TEST(DistanceTransform, LabelsNameANearestZero) {
    for (int type : {DistL1, DistC, DistL2})
        for (uint32_t seed = 1; seed <= 2; seed++) {
            const int rows = 19, cols = 21;
            Mat src = randomMask(rows, cols, seed + 7 * type, 4), d, labels;
            distanceTransform(src, d, labels, type, 3, 1);
            ASSERT_EQ(labels.type1(), MAT_Tint);
            // Zero pixels are numbered 1, 2, ... in row-major order.
            std::vector<std::pair<int, int>> zeros;
            for (int y = 0; y < rows; y++)
                for (int x = 0; x < cols; x++)
                    if (src.ptr<unsigned char>(y)[x] == 0) {
                        zeros.push_back({x, y});
                        ASSERT_EQ(labels.ptr<int>(y)[x], int(zeros.size()));
                    }
            ASSERT_FALSE(zeros.empty());
            int w[3];
            ip::detail::chamferWeights(type, 5, w);
            const int R = 24, n = 2 * R + 1;
            const std::vector<int64_t> off = tarvo::test::chamferOffsets(w, 5, R);
            const std::vector<int64_t> ref = tarvo::test::chamferShortestPaths(src, w, 5);
            for (int y = 0; y < rows; y++)
                for (int x = 0; x < cols; x++) {
                    const int l = labels.ptr<int>(y)[x];
                    ASSERT_GE(l, 1);
                    ASSERT_LE(l, int(zeros.size()));
                    const int dx = x - zeros[l - 1].first, dy = y - zeros[l - 1].second;
                    const int64_t viaLabel = off[size_t(dy + R) * n + dx + R];
                    EXPECT_EQ(viaLabel, ref[size_t(y) * cols + x]) << type << " " << x << "," << y;
                    EXPECT_EQ(F(d, y, x), float(viaLabel) * 1.5258789e-5f);
                }
        }
}

TEST(DistanceTransform, ContourLabelsNameRegionBorders) {
    // A lone zero and a 2 x 2 zero block: one border each, in scan order.
    Mat src = filled(7, 9, 255), d, labels;
    src.ptr<unsigned char>(1)[1] = 0;
    for (int y = 4; y <= 5; y++)
        for (int x = 5; x <= 6; x++) src.ptr<unsigned char>(y)[x] = 0;
    distanceTransform(src, d, labels, DistL2, 3, 0);
    EXPECT_EQ(labels.ptr<int>(1)[1], 1);
    EXPECT_EQ(labels.ptr<int>(0)[0], 1);
    EXPECT_EQ(labels.ptr<int>(2)[2], 1);
    EXPECT_EQ(labels.ptr<int>(6)[8], 2);
    EXPECT_EQ(labels.ptr<int>(4)[5], 2);
    EXPECT_EQ(labels.ptr<int>(3)[6], 2);
    EXPECT_EQ(F(d, 0, 0), 1.399993896484375f);

    // A zero ring: its outer border and its hole get their own labels, the
    // island inside takes the hole's.
    Mat ring = filled(11, 11, 255);
    for (int y = 1; y <= 9; y++)
        for (int x = 1; x <= 9; x++)
            if (y <= 2 || y >= 8 || x <= 2 || x >= 8) ring.ptr<unsigned char>(y)[x] = 0;
    distanceTransform(ring, d, labels, DistL1, 5, 0);
    EXPECT_EQ(labels.ptr<int>(0)[0], 1);
    EXPECT_EQ(labels.ptr<int>(1)[5], 1);
    EXPECT_EQ(labels.ptr<int>(5)[5], 2);
    EXPECT_EQ(labels.ptr<int>(2)[5], 2);
    EXPECT_EQ(labels.ptr<int>(1)[1], 1);
    EXPECT_EQ(F(d, 5, 5), 3.0f);
    EXPECT_EQ(F(d, 1, 1), 0.0f);
}

TEST(DistanceTransform, ExactFormsEqualBruteForce) {
    for (uint32_t seed = 1; seed <= 4; seed++) {
        const int rows = 9 + int(seed) * 7, cols = 31 - int(seed) * 4;
        Mat src = randomMask(rows, cols, seed * 5, seed == 4 ? 1 : 6), d;
        distanceTransform(src, d, DistL2, 0);
        const std::vector<int64_t> ref = tarvo::test::nearestSquared(src, isZero);
        // The two-argument form on the image with features at 255.
        Mat flip(rows, cols, MAT_Tuchar), e;
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols; x++)
                flip.ptr<unsigned char>(y)[x] = src.ptr<unsigned char>(y)[x] ? 17 : 255;
        distanceTransform(flip, e);
        const std::vector<int64_t> ref2 = tarvo::test::nearestSquared(flip, isFull);
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols; x++) {
                const int64_t r = ref[size_t(y) * cols + x];
                ASSERT_EQ(r, ref2[size_t(y) * cols + x]);
                if (r < 0) continue;
                ASSERT_EQ(F(d, y, x), std::sqrt(float(r))) << x << "," << y;
                ASSERT_EQ(F(e, y, x), std::sqrt(float(r))) << x << "," << y;
            }
    }
}

// Every form and thinning give the same bytes with vectors on and off, on one
// thread and on all. The sizes are odd; the wide thinning image has blocks
// that take many rounds, one of them ending where the fast path's change map
// passes from one 64-bit word to the next (x 4096).
TEST(DistanceTransform, PathsAndThreadCountsAgree) {
    Mat src = randomMask(301, 271, 99, 1);
    for (int y = 100; y < 200; y++)
        for (int x = 50; x < 250; x++) src.ptr<unsigned char>(y)[x] = 255;
    Mat wide(37, 4211, MAT_Tuchar, Point4_<double>());
    for (int y = 1; y < 36; y++)
        for (int x = 1; x < 4210; x++)
            if (((x + 32) / 70 + y / 9) % 3 != 0 || (x * 7 + y * 3) % 23 == 0)
                wide.ptr<unsigned char>(y)[x] = 255;
    auto runAll = [&](std::vector<Mat>& out) {
        out.assign(10, Mat());
        distanceTransform(src, out[0], DistL2, 0);
        distanceTransform(src, out[1], DistL2, 3);
        distanceTransform(src, out[2], DistL1, 3);
        distanceTransform(src, out[3], DistL2, 5);
        distanceTransform(src, out[4], out[5], DistL2, 5, 1);
        distanceTransform(src, out[6]);
        thinning(src, out[7]);
        thinning(wide, out[8]);
        distanceTransform(wide, out[9], DistC, 3);
    };
    std::vector<Mat> ref, got;
    setNumThreads(1);
    tarvo::detail::setUseOptimized(false);
    runAll(ref);
    for (int run = 1; run < 4; run++) {
        setNumThreads(run & 1 ? 0 : 1);
        tarvo::detail::setUseOptimized(run >= 2);
        runAll(got);
        for (size_t i = 0; i < ref.size(); i++)
            EXPECT_TRUE(matEqual(ref[i], got[i])) << "run " << run << " result " << i;
    }
    tarvo::detail::setUseOptimized(true);
    setNumThreads(0);
}

TEST(DistanceTransform, UnknownTypesGiveZeroWeights) {
    Mat src = randomMask(12, 14, 3, 10), d;
    for (int type : {int(DistUser), 0, 4, 1000})
        for (int mask : {0, 3, 5, 7, -3}) {
            distanceTransform(src, d, type, mask);
            ASSERT_EQ(d.rows(), 12);
            EXPECT_EQ(d.countNonZero(), 0) << type << " " << mask;
        }
    // L2 with an odd mask size: 3 x 3 pass, zero weights.
    distanceTransform(src, d, DistL2, 4);
    EXPECT_EQ(d.countNonZero(), 0);
    Mat none = filled(4, 4, 1);
    distanceTransform(none, d, DistUser, 3);
    EXPECT_EQ(F(d, 3, 3), 8192.0f);
}

TEST(DistanceTransform, RefusedInputsLeaveOutputsAlone) {
    Mat d(2, 2, MAT_Tint, Point4_<double>(7, 7, 7, 7)),
        l(3, 3, MAT_Tshort, Point4_<double>(5, 5, 5, 5));
    const Mat d0 = d, l0 = l;
    const Mat bad[] = {Mat(), Mat(4, 4, MAT_Tshort, Point4_<double>()),
                       Mat(4, 4, MAT_Tfloat, Point4_<double>()),
                       Mat(4, 4, MAT_Tuchar3, Point4_<double>())};
    for (const Mat& b : bad) {
        distanceTransform(b, d);
        distanceTransform(b, d, DistL1, 3);
        distanceTransform(b, d, l, DistL2, 5, 1);
        distanceTransform(b, d, l, DistL2, 5, 0);
        thinning(b, d);
        EXPECT_TRUE(matEqual(d, d0));
        EXPECT_TRUE(matEqual(l, l0));
    }
}

TEST(DistanceTransform, InPlaceReadsTheSourceFirst) {
    Mat src = randomMask(15, 13, 11, 8), ref, img = src;
    distanceTransform(src, ref, DistL2, 0);
    distanceTransform(img, img, DistL2, 0);
    EXPECT_TRUE(matEqual(img, ref));
    img = src;
    distanceTransform(src, ref, DistL1, 3);
    distanceTransform(img, img, DistL1, 3);
    EXPECT_TRUE(matEqual(img, ref));
}

TEST(DistanceTransform, ByteCityBlockWrapsAt256) {
    // 255 + 1 is 0 in the byte pass, so the far value of a first pixel becomes
    // a zero for its neighbour, and counts past 255 restart from 0.
    Mat src = filled(1, 5, 9), d;
    src.ptr<unsigned char>(0)[4] = 0;
    ASSERT_TRUE(ip::detail::distanceL1Byte(src, d));
    ASSERT_EQ(d.type1(), MAT_Tuchar);
    const unsigned char want[5] = {1, 0, 1, 1, 0};
    for (int x = 0; x < 5; x++) EXPECT_EQ(d.ptr<unsigned char>(0)[x], want[x]) << x;

    Mat wide = filled(2, 300, 9);
    wide.ptr<unsigned char>(0)[0] = 0;
    ASSERT_TRUE(ip::detail::distanceL1Byte(wide, d));
    EXPECT_EQ(d.ptr<unsigned char>(0)[0], 0);
    EXPECT_EQ(d.ptr<unsigned char>(0)[100], 100);
    EXPECT_EQ(d.ptr<unsigned char>(0)[256], 0);
    EXPECT_EQ(d.ptr<unsigned char>(0)[255], 1);
    EXPECT_EQ(d.ptr<unsigned char>(0)[200], 56);
    EXPECT_EQ(d.ptr<unsigned char>(1)[0], 1);
    EXPECT_EQ(d.ptr<unsigned char>(1)[255], 0);
    EXPECT_FALSE(ip::detail::distanceL1Byte(Mat(3, 3, MAT_Tfloat), d));
}

// ---- thinning

Mat thinned(const Mat& src) {
    Mat d;
    thinning(src, d);
    return d;
}

TEST(Thinning, KnownSkeletons) {
    Mat bar = filled(9, 15, 0);
    for (int y = 3; y <= 5; y++)
        for (int x = 2; x <= 12; x++) bar.ptr<unsigned char>(y)[x] = 255;
    Mat s = thinned(bar);
    for (int y = 0; y < 9; y++)
        for (int x = 0; x < 15; x++)
            EXPECT_EQ(s.ptr<unsigned char>(y)[x], (y == 4 && x >= 3 && x <= 10) ? 255 : 0)
                << x << "," << y;

    Mat block = filled(9, 9, 0);
    for (int y = 2; y <= 6; y++)
        for (int x = 2; x <= 6; x++) block.ptr<unsigned char>(y)[x] = 255;
    s = thinned(block);
    EXPECT_EQ(s.countNonZero(), 1);
    EXPECT_EQ(s.ptr<unsigned char>(4)[4], 255);

    Mat line = filled(7, 12, 0);
    for (int x = 1; x <= 10; x++) line.ptr<unsigned char>(3)[x] = 255;
    for (int y = 1; y <= 5; y++) line.ptr<unsigned char>(y)[1] = 255;
    EXPECT_TRUE(matEqual(thinned(line), line));
}

TEST(Thinning, OnlyFullValuesAreForeground) {
    Mat grey = filled(8, 8, 254);
    grey.ptr<unsigned char>(0)[0] = 255;  // a lone pixel on the frame stays
    Mat s = thinned(grey);
    EXPECT_EQ(s.countNonZero(), 1);
    EXPECT_EQ(s.ptr<unsigned char>(0)[0], 255);
}

TEST(Thinning, SkeletonIsAFixedPointAndInPlaceWorks) {
    Mat src = randomMask(40, 50, 21, 40);
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 50; x++) {
            unsigned char& v = src.ptr<unsigned char>(y)[x];
            v = v ? 255 : 0;
        }
    Mat s = thinned(src);
    EXPECT_TRUE(matEqual(thinned(s), s));
    // Nothing is added: the skeleton lies inside the foreground.
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 50; x++)
            if (s.ptr<unsigned char>(y)[x]) {
                ASSERT_EQ(src.ptr<unsigned char>(y)[x], 255);
            }
    Mat img = src;
    thinning(img, img);
    EXPECT_TRUE(matEqual(img, s));
}

}  // namespace
