// Canny edge detector: hand-built edges, thresholds, modes, channels, and
// the vector path against the scalar one.
#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/edges.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using tarvo::test::horizontalStep;
using tarvo::test::verticalStep;

namespace {

int countEdges(const Mat& e) {
    int n = 0;
    for (int y = 0; y < e.rows(); y++)
        for (int x = 0; x < e.cols(); x++) {
            EXPECT_TRUE(e.data.ptr[y][x] == 0 || e.data.ptr[y][x] == 255);
            n += e.data.ptr[y][x] == 255;
        }
    return n;
}

// True when exactly the interior pixels of column `col` are edges.
bool isColumnLine(const Mat& e, int col) {
    for (int y = 0; y < e.rows(); y++)
        for (int x = 0; x < e.cols(); x++) {
            bool want = x == col && y > 0 && y < e.rows() - 1;
            if ((e.data.ptr[y][x] == 255) != want) return false;
        }
    return true;
}

bool isRowLine(const Mat& e, int row) {
    for (int y = 0; y < e.rows(); y++)
        for (int x = 0; x < e.cols(); x++) {
            bool want = y == row && x > 0 && x < e.cols() - 1;
            if ((e.data.ptr[y][x] == 255) != want) return false;
        }
    return true;
}

struct ScalarOnly {
    ScalarOnly() { detail::setUseOptimized(false); }
    ~ScalarOnly() { detail::setUseOptimized(true); }
};

}  // namespace

TEST(Canny, FlatImageHasNoEdges) {
    Mat flat(20, 30, MAT_Tuchar, Scalar(128)), edges;
    ip::canny(flat, edges, 0, 0);
    EXPECT_EQ(edges.rows(), 20);
    EXPECT_EQ(edges.cols(), 30);
    EXPECT_EQ(edges.type1(), MAT_Tuchar);
    EXPECT_EQ(countEdges(edges), 0);
}

TEST(Canny, StepEdgeGivesOnePixelLine) {
    // Columns 4 and 5 share the largest magnitude; only the left one is a maximum.
    Mat src = verticalStep(12, 10, 5, 0, 200), edges;
    ip::canny(src, edges, 50, 100);
    EXPECT_TRUE(isColumnLine(edges, 4));
    Mat h = horizontalStep(10, 12, 5, 200, 0);
    ip::canny(h, edges, 50, 100);
    EXPECT_TRUE(isRowLine(edges, 4));
}

TEST(Canny, ThresholdsAreStrictAndTruncated) {
    Mat src = verticalStep(10, 10, 5, 0, 25), edges;  // magnitude 4 * 25 = 100
    ip::canny(src, edges, 100, 50);                   // equal to low: no candidate
    EXPECT_EQ(countEdges(edges), 0);
    ip::canny(src, edges, 99, 100);  // equal to high: starts nothing
    EXPECT_EQ(countEdges(edges), 0);
    ip::canny(src, edges, 99, 100.9f);  // high truncates to 100: still nothing
    EXPECT_EQ(countEdges(edges), 0);
    ip::canny(src, edges, 99.9f, 99.9f);  // both truncate to 99
    EXPECT_TRUE(isColumnLine(edges, 4));
}

TEST(Canny, HighBelowLowIsNotRepaired) {
    Mat weak = verticalStep(10, 10, 5, 0, 10), strong = verticalStep(10, 10, 5, 0, 30), edges;
    ip::canny(weak, edges, 50, 10);  // magnitude 40 passes high but not low
    EXPECT_EQ(countEdges(edges), 0);
    ip::canny(strong, edges, 50, 10);  // magnitude 120 passes both
    EXPECT_TRUE(isColumnLine(edges, 4));
}

TEST(Canny, ModesSelectGradientDirections) {
    Mat vstep = verticalStep(10, 10, 5, 0, 200), hstep = horizontalStep(10, 10, 5, 0, 200), e;
    ip::canny(vstep, e, 10, 20, 1);  // vertical gradient only: a vertical step has none
    EXPECT_EQ(countEdges(e), 0);
    ip::canny(vstep, e, 10, 20, 2);
    EXPECT_TRUE(isColumnLine(e, 4));
    ip::canny(hstep, e, 10, 20, 1);
    EXPECT_TRUE(isRowLine(e, 4));
    ip::canny(hstep, e, 10, 20, 2);
    EXPECT_EQ(countEdges(e), 0);
    ip::canny(vstep, e, 10, 20, 3);
    EXPECT_EQ(countEdges(e), 0);
    ip::canny(vstep, e, 10, 20, -1);
    EXPECT_EQ(countEdges(e), 0);
}

TEST(Canny, HysteresisFollowsWeakNeighboursOfStrongEdges) {
    // Left half of the step is strong, right half weak: the weak part is kept
    // only because it connects to the strong part.
    Mat src(12, 16, MAT_Tuchar);
    for (int y = 0; y < 12; y++)
        for (int x = 0; x < 16; x++) src.data.ptr[y][x] = y >= 6 ? (x < 8 ? 200 : 30) : 0;
    Mat edges;
    ip::canny(src, edges, 50, 300);
    int kept = 0;
    for (int x = 1; x < 15; x++) kept += edges.data.ptr[5][x] == 255;
    EXPECT_GE(kept, 13);
    // A weak step alone finds nothing at the same thresholds.
    Mat weak = horizontalStep(12, 16, 6, 0, 30);
    ip::canny(weak, edges, 50, 300);
    EXPECT_EQ(countEdges(edges), 0);
}

TEST(Canny, StrongestChannelWins) {
    // Channel 0 holds a weak vertical step (no candidate), channel 2 a strong horizontal one.
    Mat src(12, 12, MAT_Tuchar3);
    for (int y = 0; y < 12; y++)
        for (int x = 0; x < 12; x++) {
            unsigned char* p = src.data.ptr[y] + 3 * x;
            p[0] = x >= 6 ? 20 : 0;  // magnitude 80: below the low threshold
            p[1] = 0;
            p[2] = y >= 6 ? 200 : 0;
        }
    Mat edges;
    ip::canny(src, edges, 100, 200);
    EXPECT_EQ(edges.channels(), 1);
    for (int x = 1; x < 11; x++) EXPECT_EQ(edges.data.ptr[5][x], 255) << x;
    EXPECT_EQ(edges.data.ptr[2][5], 0);
    EXPECT_EQ(edges.data.ptr[8][5], 0);
}

TEST(Canny, FrameIsAlwaysZeroAndSmallSourcesAreSafe) {
    Mat src = test::randomMat(37, 41, MAT_Tuchar, 7), edges;
    ip::canny(src, edges, 1, 2);
    EXPECT_GT(countEdges(edges), 0);
    for (int x = 0; x < 41; x++) {
        EXPECT_EQ(edges.data.ptr[0][x], 0);
        EXPECT_EQ(edges.data.ptr[36][x], 0);
    }
    for (int y = 0; y < 37; y++) {
        EXPECT_EQ(edges.data.ptr[y][0], 0);
        EXPECT_EQ(edges.data.ptr[y][40], 0);
    }
    for (auto sz :
         {std::make_pair(1, 1), std::make_pair(2, 2), std::make_pair(1, 9), std::make_pair(9, 2)}) {
        Mat s = test::randomMat(sz.first, sz.second, MAT_Tuchar, 3), e;
        ip::canny(s, e, 0, 0);
        EXPECT_EQ(e.rows(), sz.first);
        EXPECT_EQ(e.cols(), sz.second);
        EXPECT_EQ(countEdges(e), 0);
    }
    Mat empty, e(3, 3, MAT_Tuchar);
    ip::canny(empty, e, 1, 2);
    EXPECT_FALSE(e.isValid());
}

TEST(Canny, InPlaceFormMatchesTwoImageForm) {
    Mat src = test::randomMat(30, 33, MAT_Tuchar, 11), edges;
    ip::canny(src, edges, 100, 300);
    Mat image = src.clone();
    ip::canny(image, 100, 300);
    EXPECT_TRUE(test::matEqual(image, edges));
}

TEST(Canny, SubMatrixSourceWorksThroughRowTable) {
    Mat big = test::randomMat(40, 50, MAT_Tuchar, 5), part, ref, edges;
    big.subRefMat(Rect(7, 3, 31, 29), part);
    ref = part;  // continuous copy
    ip::canny(part, edges, 80, 200);
    Mat expect;
    ip::canny(ref, expect, 80, 200);
    EXPECT_TRUE(test::matEqual(edges, expect));
}

TEST(Canny, VectorAndScalarPathsAgree) {
    for (int cn : {1, 3})
        for (int w : {3, 7, 15, 33, 64, 1023}) {
            Mat src = test::randomMat(19, w, MAKETYPE(MAT_Tuchar, cn), 100 + w), fast, slow;
            ip::canny(src, fast, 60, 180);
            {
                ScalarOnly scalar;
                ip::canny(src, slow, 60, 180);
            }
            ASSERT_TRUE(test::matEqual(fast, slow)) << "width " << w << " channels " << cn;
        }
}
