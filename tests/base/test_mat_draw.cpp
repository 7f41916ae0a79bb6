// Drawing: widths, opacity blended once per pixel, clipping that never writes
// outside the image, pasted matrices, line points and polygon masks.
#include <climits>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/mat.h"
#include "tarvo/matop.h"

namespace tarvo {
namespace {

using test::at;

const Point4_<unsigned char> kWhite(255, 255, 255, 255);

int rowsTouched(const Mat& m) {
    int n = 0;
    for (int r = 0; r < m.rows(); r++) {
        bool any = false;
        for (int c = 0; c < m.cols(); c++) any = any || at(m, r, c) != 0;
        n += any;
    }
    return n;
}

TEST(MatDraw, LineWidthIsTheNumberOfRowsAHorizontalLineCovers) {
    for (int w = 1; w <= 7; w++) {
        Mat m(30, 30, MAT_Tuchar, Point4_<double>(0.0));
        m.drawLine(Point2_<int>(5, 15), Point2_<int>(20, 15), kWhite, w);
        EXPECT_EQ(rowsTouched(m), w) << "width " << w;
        // The middle of the line covers exactly w pixels in its column.
        int col = 0;
        for (int r = 0; r < 30; r++) col += at(m, r, 12) != 0;
        EXPECT_EQ(col, w);
    }
    Mat thin(10, 10, MAT_Tuchar, Point4_<double>(0.0));
    thin.drawLine(Point2_<int>(1, 1), Point2_<int>(8, 4), kWhite, 1);
    EXPECT_EQ(thin.countNonZero(), 8);  // max(|dx|, |dy|) + 1 points
    EXPECT_EQ(at(thin, 1, 1), 255);
    EXPECT_EQ(at(thin, 4, 8), 255);
    // Widths below 1 draw nothing.
    thin.zero();
    thin.drawLine(Point2_<int>(1, 1), Point2_<int>(8, 4), kWhite, 0);
    EXPECT_EQ(thin.countNonZero(), 0);
}

TEST(MatDraw, ColourChannelsAndDepths) {
    Mat c(5, 5, MAT_Tuchar3, Point4_<double>(0.0));
    c.drawLine(Point2_<int>(0, 2), Point2_<int>(4, 2), Point4_<unsigned char>(10, 20, 30, 0));
    EXPECT_EQ(at(c, 2, 3, 0), 10);
    EXPECT_EQ(at(c, 2, 3, 1), 20);
    EXPECT_EQ(at(c, 2, 3, 2), 30);
    Mat f(5, 5, MAT_Tfloat, Point4_<double>(0.0));
    f.drawCross(Point2_<int>(2, 2), 1, Point4_<unsigned char>(7, 0, 0, 0));
    EXPECT_EQ(f.countNonZero(), 5);
    EXPECT_EQ(at(f, 1, 2), 7.0);
}

TEST(MatDraw, OpacityBlendsEachPixelOnce) {
    Mat m(20, 20, MAT_Tuchar, Point4_<double>(100.0));
    const Point2_<int> sq[4] = {{2, 2}, {10, 2}, {10, 10}, {2, 10}};
    m.drawPolygon(sq, 4, Point4_<unsigned char>(200, 0, 0, 0), 3, true, 0.5f);
    // Corners where two edges meet and the edges themselves: 100 + 0.5 * 100.
    EXPECT_EQ(at(m, 2, 2), 150);
    EXPECT_EQ(at(m, 10, 10), 150);
    EXPECT_EQ(at(m, 2, 6), 150);
    EXPECT_EQ(at(m, 6, 6), 100);
    for (int r = 0; r < 20; r++)
        for (int c = 0; c < 20; c++) ASSERT_TRUE(at(m, r, c) == 100 || at(m, r, c) == 150);

    Mat x(9, 9, MAT_Tuchar, Point4_<double>(0.0));
    x.drawCross(Point2_<int>(4, 4), 3, Point4_<unsigned char>(100, 0, 0, 0), 1, 0.8f);
    EXPECT_EQ(at(x, 4, 4), 80);  // the centre belongs to both arms, blended once
    EXPECT_EQ(at(x, 1, 4), 80);
    EXPECT_EQ(x.countNonZero(), 13);
    // Opacity above 1 is opaque; 0, negative or NaN draw nothing.
    x.drawLine(Point2_<int>(0, 0), Point2_<int>(8, 0), kWhite, 1, 7.0f);
    EXPECT_EQ(at(x, 0, 5), 255);
    Mat y(4, 4, MAT_Tuchar, Point4_<double>(0.0));
    y.drawRect(Rect_<int>(0, 0, 4, 4), kWhite, 1, 0.0f);
    y.drawRect(Rect_<int>(0, 0, 4, 4), kWhite, 1, -1.0f);
    y.drawRect(Rect_<int>(0, 0, 4, 4), kWhite, 1, std::nanf(""));
    EXPECT_EQ(y.countNonZero(), 0);
}

TEST(MatDraw, RectangleBorderGrowsInwards) {
    Mat m(12, 12, MAT_Tuchar, Point4_<double>(0.0));
    m.drawRect(Rect_<int>(2, 3, 6, 5), kWhite, 2);
    EXPECT_EQ(m.countNonZero(), 6 * 5 - 2 * 1);
    EXPECT_EQ(at(m, 3, 2), 255);
    EXPECT_EQ(at(m, 7, 7), 255);
    EXPECT_EQ(at(m, 8, 7), 0);  // nothing below the rectangle
    EXPECT_EQ(at(m, 5, 4), 0);  // the hole
    m.zero();
    m.drawRect(Rect_<int>(2, 3, 6, 5), kWhite, 3);  // thick enough to fill
    EXPECT_EQ(m.countNonZero(), 30);
    m.zero();
    m.drawRect(Rect_<int>(2, 3, 0, 5), kWhite, 1);
    m.drawRect(Rect_<int>(2, 3, -4, 5), kWhite, 1);
    EXPECT_EQ(m.countNonZero(), 0);
}

// Draws through a reference into the middle of a larger image: everything
// outside the reference must stay untouched, whatever the coordinates.
TEST(MatDraw, ClippingNeverWritesOutsideTheImage) {
    Mat parent(40, 40, MAT_Tuchar3, Point4_<double>(0.0)), img;
    parent.subRefMat(Rect_<int>(10, 10, 20, 20), img);
    const Point4_<unsigned char> col(1, 2, 3, 4);
    for (float op : {1.0f, 0.5f}) {
        img.drawLine(Point2_<int>(-50, 5), Point2_<int>(70, 12), col, 9, op);
        img.drawLine(Point2_<int>(INT_MIN, INT_MIN), Point2_<int>(INT_MAX, INT_MAX), col, 5, op);
        img.drawLine(Point2_<int>(INT_MAX, 0), Point2_<int>(INT_MIN, 3), col, 2, op);
        img.drawLine(Point2_<int>(-5, -5), Point2_<int>(-1, -30), col, 128, op);
        img.drawCross(Point2_<int>(19, 0), 30, col, 7, op);
        img.drawCross(Point2_<int>(INT_MAX, INT_MAX), INT_MAX, col, 3, op);
        img.drawRect(Rect_<int>(-3, -3, 26, 26), col, 4, op);
        img.drawRect(Rect_<int>(INT_MAX - 5, 0, INT_MAX, 10), col, 4, op);
        const Point2_<int> poly[3] = {{-100, 10}, {10, INT_MIN}, {INT_MAX, 25}};
        img.drawPolygon(poly, 3, col, 11, true, op);
        img.drawLine(Point2_<int>(0, 0), Point2_<int>(19, 19), col, 100000, op);
    }
    Mat patch(30, 30, MAT_Tuchar3, Point4_<double>(9.0));
    img.drawMat(patch, Point2_<int>(-5, 7), 1.0f);
    img.drawMat(patch, Point2_<int>(15, -20), 0.5f);
    for (int r = 0; r < 40; r++)
        for (int c = 0; c < 40; c++)
            if (r < 10 || r >= 30 || c < 10 || c >= 30) {
                for (int k = 0; k < 3; k++) ASSERT_EQ(at(parent, r, c, k), 0.0) << r << "," << c;
            }
    EXPECT_GT(img.countNonZero(), 0);
    // Drawing on an empty image does nothing.
    Mat empty;
    empty.drawLine(Point2_<int>(0, 0), Point2_<int>(5, 5), col);
    empty.drawPolygon(nullptr, 3, col);
    EXPECT_FALSE(empty.isValid());
}

TEST(MatDraw, DrawMatPastesClippedAndBlended) {
    Mat m(4, 4, MAT_Tuchar, Point4_<double>(0.0));
    Mat p(3, 3, MAT_Tuchar, Point4_<double>(100.0));
    m.drawMat(p, Point2_<int>(-1, -1));
    EXPECT_EQ(m.countNonZero(), 4);
    EXPECT_EQ(at(m, 1, 1), 100);
    m.drawMat(p, Point2_<int>(2, 2), 0.5f);
    EXPECT_EQ(at(m, 3, 3), 50);
    EXPECT_EQ(at(m, 1, 1), 100);
    // Other types, empty sources and disjoint positions change nothing.
    const Mat before = m.clone();
    m.drawMat(Mat(2, 2, MAT_Tuchar3, Point4_<double>(1.0)), Point2_<int>(0, 0));
    m.drawMat(Mat(), Point2_<int>(0, 0));
    m.drawMat(p, Point2_<int>(4, 0));
    m.drawMat(p, Point2_<int>(INT_MIN, INT_MAX));
    EXPECT_TRUE(test::matEqual(m, before));
    // Pasting a matrix into itself, shifted, reads the original pixels.
    Mat g(1, 4, MAT_Tint);
    for (int i = 0; i < 4; i++) g.ptr<int>(0)[i] = i + 1;
    g.drawMat(g, Point2_<int>(1, 0));
    EXPECT_EQ(g.ptr<int>(0)[0], 1);
    EXPECT_EQ(g.ptr<int>(0)[1], 1);
    EXPECT_EQ(g.ptr<int>(0)[2], 2);
    EXPECT_EQ(g.ptr<int>(0)[3], 3);
}

TEST(LinePoints, BresenhamPointsFromEndToEnd) {
    int *xs = nullptr, *ys = nullptr, n = 0;
    linePoints(0, 0, 5, -2, xs, ys, n);
    ASSERT_EQ(n, 6);
    EXPECT_EQ(xs[0], 0);
    EXPECT_EQ(ys[0], 0);
    EXPECT_EQ(xs[5], 5);
    EXPECT_EQ(ys[5], -2);
    for (int i = 1; i < n; i++) {
        EXPECT_EQ(xs[i] - xs[i - 1], 1);
        EXPECT_LE(std::abs(ys[i] - ys[i - 1]), 1);
    }
    delete[] xs;
    delete[] ys;
    linePoints(3, 3, 3, 3, xs, ys, n);
    ASSERT_EQ(n, 1);
    EXPECT_EQ(xs[0], 3);
    delete[] xs;
    delete[] ys;
    linePoints(INT_MIN, 0, INT_MAX, 0, xs, ys, n);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(xs, nullptr);
    EXPECT_EQ(ys, nullptr);
}

TEST(SelectionPolygonFill, FilledPolygonWithItsOutline) {
    Mat src(10, 12, MAT_Tuchar3), mask;
    Rect_<int> rect;
    const Point2_<int> tri[3] = {{0, 0}, {8, 0}, {0, 8}};
    selectionPolygonFill(src, mask, rect, tri, 3, 255);
    ASSERT_EQ(mask.type1(), MAT_Tuchar);
    ASSERT_TRUE(mask.isEqualSize(src));
    // Exactly the pixels with x + y <= 8.
    for (int y = 0; y < 10; y++)
        for (int x = 0; x < 12; x++)
            EXPECT_EQ(at(mask, y, x), x + y <= 8 ? 255 : 0) << x << "," << y;
    EXPECT_EQ(rect, Rect_<int>(0, 0, 9, 9));

    const Point2_<int> sq[4] = {{3, 2}, {6, 2}, {6, 5}, {3, 5}};
    selectionPolygonFill(src, mask, rect, sq, 4, 300);  // value saturates
    EXPECT_EQ(mask.countNonZero(), 16);
    EXPECT_EQ(at(mask, 5, 6), 255);
    EXPECT_EQ(rect, Rect_<int>(3, 2, 4, 4));

    // Partly outside: clipped; far outside: an empty mask and a zero rect.
    const Point2_<int> big[4] = {{-100, -100}, {100, -100}, {100, 100}, {-100, 100}};
    selectionPolygonFill(src, mask, rect, big, 4, 1);
    EXPECT_EQ(mask.countNonZero(), 120);
    EXPECT_EQ(rect, Rect_<int>(0, 0, 12, 10));
    const Point2_<int> away[3] = {{100, 100}, {INT_MAX, 100}, {100, INT_MAX}};
    selectionPolygonFill(src, mask, rect, away, 3, 1);
    EXPECT_EQ(mask.countNonZero(), 0);
    EXPECT_EQ(rect, Rect_<int>());
    selectionPolygonFill(Mat(), mask, rect, tri, 3, 1);
    EXPECT_FALSE(mask.isValid());
    selectionPolygonFill(src, mask, rect, nullptr, 3, 1);
    EXPECT_FALSE(mask.isValid());
}

}  // namespace
}  // namespace tarvo
