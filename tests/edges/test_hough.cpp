// Hough transforms: hand-checked lines, the randomised form under a pinned
// seed, dominant directions, and the darkest disc against direct loops.
#include <gtest/gtest.h>

#include <random>

#include "support/naive_hough.h"
#include "support/test_util.h"
#include "tarvo/ip/edges.h"
#include "tarvo/parallel.h"
#include "tarvo/random.h"

using namespace tarvo;

namespace {

using PointArray = Array<Point2_<int>, const Point2_<int>&>;

Mat white(int rows, int cols) {
    return Mat(rows, cols, MAT_Tuchar, Point4_<double>(255, 0, 0, 0));
}

}  // namespace

TEST(HoughStd, VerticalRunGivesItsEnds) {
    Mat img = white(20, 20);
    for (int y = 2; y <= 17; y++) img.ptr<unsigned char>(y)[5] = 0;
    PointArray lines;
    ip::houghLinesStd(img, lines, 1.0f, 1.5f, 10, 5);
    ASSERT_EQ(lines.getSize(), 2);
    EXPECT_EQ(lines[0], Point2_<int>(5, 17));
    EXPECT_EQ(lines[1], Point2_<int>(5, 1));
    // The whole column: the walk leaves the picture before a bright pixel.
    for (int y = 0; y < 20; y++) img.ptr<unsigned char>(y)[5] = 0;
    ip::houghLinesStd(img, lines, 1.0f, 1.5f, 10, 5);
    ASSERT_EQ(lines.getSize(), 2);
    EXPECT_EQ(lines[0], Point2_<int>(5, 19));
    EXPECT_EQ(lines[1], Point2_<int>(0, 0));

    // The operator reports how many it found, and draws them.
    ipHoughLines h(1.0f, 1.5f, 10, 9);
    EXPECT_FALSE(ipHoughLines().draw(&img));
    ASSERT_TRUE(h.process(&img));
    EXPECT_EQ(h.m_nLines, 1);
    Mat canvas(20, 20, MAT_Tuchar, Point4_<double>(0, 0, 0, 0));
    EXPECT_TRUE(h.draw(&canvas));
    EXPECT_EQ(canvas.ptr<unsigned char>(19)[5], 255);  // from (5, 19) to (0, 0)
    EXPECT_EQ(canvas.ptr<unsigned char>(0)[0], 255);
}

TEST(HoughStd, ThreadedVotesEqualSerialOnes) {
    Mat img = test::randomMat(120, 160, MAT_Tuchar, 3);
    for (int y = 0; y < img.rows(); y++)
        for (int x = 0; x < img.cols(); x++) {
            unsigned char& v = img.ptr<unsigned char>(y)[x];
            v = (v < 20 || (x + 2 * y) % 37 == 0 || x == 77) ? 0 : 255;
        }
    PointArray serial, threaded;
    setNumThreads(1);
    ip::houghLinesStd(img, serial, 1.0f, 3.14159265f / 180, 40, 30);
    setNumThreads(0);
    ip::houghLinesStd(img, threaded, 1.0f, 3.14159265f / 180, 40, 30);
    ASSERT_GT(serial.getSize(), 4);
    ASSERT_EQ(serial.getSize(), threaded.getSize());
    for (int i = 0; i < serial.getSize(); i++) EXPECT_EQ(serial[i], threaded[i]);
}

TEST(HoughStd, EqualsTheDirectSteps) {
    // Many peaks with tied votes, so the order the sort leaves them in shows.
    Mat img = test::randomMat(90, 130, MAT_Tuchar, 17);
    for (int y = 0; y < img.rows(); y++)
        for (int x = 0; x < img.cols(); x++) {
            unsigned char& v = img.ptr<unsigned char>(y)[x];
            v = (v < 40 || (3 * x + y) % 29 == 0) ? 0 : 255;
        }
    for (int linesMax : {1, 7, 60, 5000}) {
        PointArray fast;
        std::vector<Point2_<int>> direct;
        ip::houghLinesStd(img, fast, 1.0f, 3.14159265f / 90, 25, linesMax);
        test::houghLinesStdDirect(img, direct, 1.0f, 3.14159265f / 90, 25, linesMax);
        ASSERT_EQ(fast.getSize(), int(direct.size())) << linesMax;
        for (int i = 0; i < fast.getSize(); i++) EXPECT_EQ(fast[i], direct[size_t(i)]) << i;
    }
}

TEST(HoughStd, RefusalsAndEmptyResults) {
    PointArray lines;
    lines.add(Point2_<int>(1, 1));
    ip::houghLinesStd(white(30, 30), lines, 1.0f, 0.01f, 5, 10);
    EXPECT_EQ(lines.getSize(), 0);  // a white picture has no features
    for (float bad : {0.0f, -1.0f, std::nanf(""), INFINITY}) {
        lines.add(Point2_<int>(1, 1));
        ip::houghLinesStd(white(10, 10), lines, bad, 0.1f, 5, 10);
        EXPECT_EQ(lines.getSize(), 0);
        ip::houghLinesStd(white(10, 10), lines, 1.0f, bad, 5, 10);
        EXPECT_EQ(lines.getSize(), 0);
    }
    // Far more cells than any picture needs: refused before allocating.
    ip::houghLinesStd(white(10, 10), lines, 1e-6f, 1e-6f, 5, 10);
    EXPECT_EQ(lines.getSize(), 0);
    Mat colour(10, 10, MAKETYPE(MAT_Tuchar, 3));
    ip::houghLinesStd(colour, lines, 1.0f, 0.1f, 5, 10);
    EXPECT_EQ(lines.getSize(), 0);
    // Black: votes are cut to the byte range, so the line count stays finite.
    Mat black(30, 30, MAT_Tuchar, Point4_<double>(0, 0, 0, 0));
    ip::houghLinesStd(black, lines, 1.0f, 0.05f, 200, 1000);
    EXPECT_LE(lines.getSize(), 2000);
}

TEST(HoughSegments, PinnedSeedRepeatsAndSegmentsLieOnTheLine) {
    Mat img = white(60, 80);
    img.drawLine(Point2_<int>(5, 10), Point2_<int>(70, 50), Point4_<unsigned char>(0, 0, 0, 0));
    for (int x = 10; x < 70; x++) img.ptr<unsigned char>(30)[x] = 0;
    detail::pinClockSeed(true, 1234);
    PointArray a, b;
    ip::houghLines(img, a, 1.0f, 3.14159265f / 180, 20, 20, 3);
    ip::houghLines(img, b, 1.0f, 3.14159265f / 180, 20, 20, 3);
    ASSERT_GE(a.getSize(), 4);
    ASSERT_EQ(a.getSize(), b.getSize());
    for (int i = 0; i < a.getSize(); i++) EXPECT_EQ(a[i], b[i]);
    for (int i = 0; i < a.getSize(); i++)
        EXPECT_EQ(img.ptr<unsigned char>(a[i].y)[a[i].x], 0) << "segment ends lie on features";
    // Segments shorter than asked are not reported.
    PointArray none;
    ip::houghLines(img, none, 1.0f, 3.14159265f / 180, 20, 500, 3);
    EXPECT_EQ(none.getSize(), 0);
    // No features: lines unchanged.
    none.add(Point2_<int>(3, 4));
    ip::houghLines(white(10, 10), none, 1.0f, 0.1f, 1, 1, 1);
    EXPECT_EQ(none.getSize(), 1);
    detail::pinClockSeed(false);
}

TEST(HoughPoints, DominantDirections) {
    struct Case {
        int dx, dy, angle;
    } cases[] = {{1, 0, 0}, {0, 1, 90}, {1, 1, 45}, {-1, 1, 135}};
    for (const Case& c : cases) {
        PointArray pts;
        for (int i = 0; i < 20; i++) pts.add(Point2_<int>(50 + c.dx * 3 * i, 50 + c.dy * 3 * i));
        Vec_<int> result;
        ip::houghLinePoints(pts, 2, result);
        ASSERT_EQ(result.length(), 180);
        EXPECT_EQ(result.data.i[0], c.angle) << c.dx << "," << c.dy;
    }
    Vec_<int> result;
    PointArray single;
    single.add(Point2_<int>(1, 1));
    ip::houghLinePoints(single, 5, result);  // k limited to n - 1 = 0
    EXPECT_EQ(result.length(), 180);
}

TEST(HoughCircle, DarkestDiscMatchesDirectLoops) {
    Mat img = white(40, 40);
    img.ptr<unsigned char>(20)[20] = 0;
    Point2_<int> c(-1, -1);
    int r = 4;
    ip::houghCircle(img, c, r);
    EXPECT_EQ(c, Point2_<int>(20, 20));
    EXPECT_EQ(r, 4);
    // No dark pixel.
    c = Point2_<int>(-1, -1);
    r = 4;
    ip::houghCircle(white(30, 30), c, r);
    EXPECT_EQ(c, Point2_<int>(-1, -1));
    EXPECT_EQ(r, -1);

    std::mt19937 rng(5);
    for (int round = 0; round < 12; round++) {
        const int rows = 20 + int(rng() % 40), cols = 20 + int(rng() % 40);
        Mat m = test::randomMat(rows, cols, MAT_Tuchar, 100 + round);
        Point2_<int> c1(-1, -1), c2(-1, -1);
        if (round % 2) c1 = c2 = Point2_<int>(int(rng() % cols), int(rng() % rows));
        int r1 = round % 3 == 0 ? -1 : 2 + int(rng() % 9), r2 = r1;
        ip::houghCircle(m, c1, r1);
        test::houghCircleDirect(m, c2, r2);
        EXPECT_EQ(c1, c2) << round;
        EXPECT_EQ(r1, r2) << round;
    }
}
