// Polygon and point-set geometry through the public API: simplification,
// hulls and rectangles, ellipse fit, area, lines and peaks.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

namespace {

using namespace tarvo;
typedef Point2_<int> P;
typedef std::vector<std::pair<int, int>> Pts;

ip::PointArray arr(const Pts& v) {
    ip::PointArray a;
    for (auto& p : v) a.add(P(p.first, p.second));
    return a;
}
Pts pts(const ip::PointArray& a) {
    Pts v;
    for (int i = 0; i < a.getSize(); i++) v.emplace_back(a[i].x, a[i].y);
    return v;
}

// The border of the square (1,1)-(5,5) as the tracer lists it: down the left side first.
Pts squareBorder() {
    Pts v;
    for (int y = 1; y <= 5; y++) v.emplace_back(1, y);
    for (int x = 2; x <= 5; x++) v.emplace_back(x, 5);
    for (int y = 4; y >= 1; y--) v.emplace_back(5, y);
    for (int x = 4; x >= 2; x--) v.emplace_back(x, 1);
    return v;
}

TEST(ApproxPolyDP, ClosedSquare) {
    const ip::PointArray sq = arr(squareBorder());
    ASSERT_EQ(sq.getSize(), 16);
    const Pts corners = {{5, 5}, {5, 1}, {1, 1}, {1, 5}};
    for (double eps : {0.0, 1.0}) {
        ip::PointArray out;
        out.add(P(9, 9));  // replaced, not appended to
        ip::approxPolyDP(sq, out, eps, true);
        EXPECT_EQ(pts(out), corners) << eps;
    }
    ip::PointArray one;
    ip::approxPolyDP(sq, one, 100, true);
    EXPECT_EQ(pts(one), (Pts{{1, 1}}));
    // float points and the kernel with or without a stack of the caller
    ip::PointArrayF f, fout;
    for (auto& p : squareBorder()) f.add(Point2_<float>((float)p.first, (float)p.second));
    ip::approxPolyDP(f, fout, 0.5, true);
    ASSERT_EQ(fout.getSize(), 4);
    EXPECT_EQ(fout[0].x, 5.0f);
    EXPECT_EQ(fout[1].y, 1.0f);
    P dst[16];
    AutoBuffer<Range, 520> tiny(1);
    tiny.allocate(1);
    EXPECT_EQ(ip::approxPolyDP(sq.getData(), 16, dst, true, 0, &tiny), 4);
    EXPECT_EQ(ip::approxPolyDP(sq.getData(), 16, dst, true, 0, nullptr), 4);
    EXPECT_EQ(ip::approxPolyDP(sq.getData(), 0, dst, true, 0, nullptr), 0);
    ip::PointArray empty, eout;
    eout.add(P(1, 1));
    ip::approxPolyDP(empty, eout, 1, true);
    EXPECT_EQ(eout.getSize(), 0);
}

TEST(ApproxPolyDP, OpenCurves) {
    const ip::PointArray zig = arr({{0, 0}, {1, 1}, {2, 0}, {3, 1}, {4, 0}});
    ip::PointArray out;
    ip::approxPolyDP(zig, out, 1.0, false);  // the teeth are exactly 1 from the chord
    EXPECT_EQ(pts(out), (Pts{{0, 0}, {4, 0}}));
    ip::approxPolyDP(zig, out, 0.99, false);
    EXPECT_EQ(pts(out), (Pts{{0, 0}, {1, 1}, {4, 0}}));
    ip::approxPolyDP(zig, out, 0.5, false);
    EXPECT_EQ(pts(out), pts(zig));
    // equal ends make the curve closed: no repeated end point is added
    Pts loop = squareBorder();
    loop.push_back(loop[0]);
    ip::approxPolyDP(arr(loop), out, 0, false);
    EXPECT_EQ(pts(out), (Pts{{5, 5}, {5, 1}, {1, 1}, {1, 5}}));
    ip::approxPolyDP(arr({{0, 0}, {5, 5}, {10, 10}}), out, 0, false);
    EXPECT_EQ(pts(out), (Pts{{0, 0}, {10, 10}}));
}

// Twice the signed area of a closed polygon.
long long area2(const Pts& p) {
    long long s = 0;
    for (size_t i = 0; i < p.size(); i++) {
        const auto& a = p[i];
        const auto& b = p[(i + 1) % p.size()];
        s += (long long)a.first * b.second - (long long)b.first * a.second;
    }
    return s;
}

TEST(ConvexHull, SmallSetsBothWays) {
    const Pts five = {{2, 2}, {0, 1}, {4, 3}, {1, 4}, {3, 0}};
    ip::PointArray a = arr(five), h;
    ip::convexHull(a, h, true);
    EXPECT_EQ(pts(h), (Pts{{0, 1}, {1, 4}, {4, 3}, {3, 0}}));
    ip::PointArray b = arr(five), h2;
    ip::convexHull(b, h2, false);
    EXPECT_EQ(pts(h2), (Pts{{4, 3}, {1, 4}, {0, 1}, {3, 0}}));  // the same, reversed
    EXPECT_LT(area2(pts(h)), 0);
    EXPECT_GT(area2(pts(h2)), 0);
    // appended to, never cleared
    ip::convexHull(b, h2, false);
    EXPECT_EQ(h2.getSize(), 8);
    // the input itself ends up sorted by x
    for (int i = 1; i < b.getSize(); i++) EXPECT_LE(b[i - 1].x, b[i].x);

    ip::PointArray line = arr({{3, 3}, {0, 0}, {2, 2}, {1, 1}}), lh;
    ip::convexHull(line, lh, true);
    typedef std::set<std::pair<int, int>> PSet;
    const Pts lhp = pts(lh);
    EXPECT_EQ(PSet(lhp.begin(), lhp.end()), PSet({{0, 0}, {3, 3}}));
    EXPECT_EQ(lh.getSize(), 2);
    ip::PointArray same = arr({{7, 7}, {7, 7}, {7, 7}}), sh;
    ip::convexHull(same, sh, false);
    EXPECT_EQ(pts(sh), (Pts{{7, 7}}));
    ip::PointArray none, nh;
    ip::convexHull(none, nh, true);
    EXPECT_EQ(nh.getSize(), 0);
}

// The smallest area of a rectangle with one side on a hull edge.
double bruteMinArea(const Pts& hull) {
    double best = 1e300;
    for (size_t i = 0; i < hull.size(); i++) {
        const auto& a = hull[i];
        const auto& b = hull[(i + 1) % hull.size()];
        const double ex = b.first - a.first, ey = b.second - a.second;
        const double len = std::sqrt(ex * ex + ey * ey);
        if (len == 0) continue;
        const double ux = ex / len, uy = ey / len;
        double lo = 1e300, hi = -1e300, lo2 = 1e300, hi2 = -1e300;
        for (const auto& p : hull) {
            const double s = p.first * ux + p.second * uy, t = -p.first * uy + p.second * ux;
            lo = std::min(lo, s), hi = std::max(hi, s), lo2 = std::min(lo2, t),
            hi2 = std::max(hi2, t);
        }
        best = std::min(best, (hi - lo) * (hi2 - lo2));
    }
    return best;
}

bool insideBox(const RotatedRect& r, double x, double y, double tol) {
    const double a = r.angle * 3.14159265358979323846 / 180.0;
    const double dx = x - r.cx, dy = y - r.cy;
    const double u = dx * std::cos(a) + dy * std::sin(a), v = -dx * std::sin(a) + dy * std::cos(a);
    return std::fabs(u) <= r.width / 2 + tol && std::fabs(v) <= r.height / 2 + tol;
}

TEST(ConvexHull, RandomSetsAndMinAreaRect) {
    std::mt19937 rng(7);
    for (int trial = 0; trial < 40; trial++) {
        const int n = 3 + (int)(rng() % 60);
        Pts p;
        for (int i = 0; i < n; i++) p.emplace_back((int)(rng() % 200), (int)(rng() % 120));
        ip::PointArray a = arr(p), h;
        ip::convexHull(a, h, trial % 2 == 0);
        const Pts hull = pts(h);
        ASSERT_GE(hull.size(), 2u);
        const int sign = trial % 2 == 0 ? -1 : 1;
        for (size_t i = 0; i < hull.size(); i++) {
            const auto& e0 = hull[i];
            const auto& e1 = hull[(i + 1) % hull.size()];
            for (const auto& q : p) {
                const long long c = (long long)(e1.first - e0.first) * (q.second - e0.second) -
                                    (long long)(e1.second - e0.second) * (q.first - e0.first);
                ASSERT_GE(c * sign, 0) << trial;  // every point on the inner side of every edge
            }
        }
        ip::PointArray b = arr(p);
        const RotatedRect r = ip::minAreaRect(b);
        for (const auto& q : p) ASSERT_TRUE(insideBox(r, q.first, q.second, 1e-2)) << trial;
        if (hull.size() > 2) {
            const double want = bruteMinArea(hull);
            EXPECT_NEAR((double)r.width * r.height, want, 1e-3 * want + 1e-2) << trial;
        }
    }
}

TEST(MinAreaRect, SmallSets) {
    ip::PointArray five = arr({{2, 2}, {0, 1}, {4, 3}, {1, 4}, {3, 0}});
    const RotatedRect r = ip::minAreaRect(five);
    EXPECT_NEAR(r.cx, 2.0, 1e-4);
    EXPECT_NEAR(r.cy, 2.0, 1e-4);
    EXPECT_NEAR((double)r.width * r.height, 10.0, 1e-3);  // the tilted square of side sqrt(10)
    ip::PointArray two = arr({{3, 4}, {0, 0}});
    const RotatedRect t = ip::minAreaRect(two);
    EXPECT_FLOAT_EQ(t.cx, 1.5f);
    EXPECT_FLOAT_EQ(t.cy, 2.0f);
    EXPECT_FLOAT_EQ(t.width, 5.0f);
    EXPECT_EQ(t.height, 0.0f);
    EXPECT_NEAR(t.angle, 53.1301, 1e-3);
    ip::PointArray one = arr({{6, -2}});
    const RotatedRect o = ip::minAreaRect(one);
    EXPECT_EQ(o.cx, 6.0f);
    EXPECT_EQ(o.cy, -2.0f);
    EXPECT_EQ(o.width, 0.0f);
    EXPECT_EQ(o.angle, 0.0f);
    ip::PointArray none;
    const RotatedRect z = ip::minAreaRect(none);
    EXPECT_EQ(z.cx, 0.0f);
    EXPECT_EQ(z.width, 0.0f);
}

TEST(FitEllipse, WideTallAndRound) {
    auto ellipse = [](double a, double b) {
        ip::PointArray p;
        for (int i = 0; i < 12; i++) {
            const double t = i * 3.14159265358979323846 / 6;
            p.add(P((int)std::lround(200 + a * std::cos(t)),
                    (int)std::lround(150 + b * std::sin(t))));
        }
        return p;
    };
    const RotatedRect wide = ip::fitEllipse(ellipse(100, 50));
    EXPECT_NEAR(wide.angle, 90.0, 0.5);
    EXPECT_NEAR(wide.cx, 200, 0.5);
    EXPECT_NEAR(wide.cy, 150, 0.5);
    EXPECT_NEAR(wide.width, 100, 1.5);
    EXPECT_NEAR(wide.height, 200, 1.5);
    const RotatedRect tall = ip::fitEllipse(ellipse(50, 100));
    EXPECT_EQ(tall.angle, 0.0f);
    EXPECT_NEAR(tall.width, 100, 1.5);
    EXPECT_NEAR(tall.height, 200, 1.5);
    const RotatedRect round = ip::fitEllipse(ellipse(80, 80));
    EXPECT_NEAR(round.width, 160, 1.5);
    EXPECT_NEAR(round.height, 160, 1.5);
    const RotatedRect few = ip::fitEllipse(arr({{0, 0}, {1, 0}, {0, 1}, {1, 1}}));
    EXPECT_EQ(few.width, 0.0f);
    // degenerate input never gives a non-finite box
    const RotatedRect flat = ip::fitEllipse(arr({{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}}));
    EXPECT_TRUE(std::isfinite(flat.width) && std::isfinite(flat.height) && std::isfinite(flat.cx));
}

TEST(PointSets, AreaBoxesAndTriangles) {
    EXPECT_EQ(ip::contourArea(arr({{0, 0}, {2, 0}, {0, 3}})), 3.0);
    EXPECT_EQ(ip::contourArea(arr({{0, 0}, {0, 3}, {2, 0}})), -3.0);
    // the closing edge is not part of the sum
    EXPECT_EQ(ip::contourArea(arr({{1, 1}, {3, 1}, {1, 4}})), 4.5);  // closed, it would be 3
    EXPECT_EQ(ip::contourArea(ip::PointArray()), 0.0);
    EXPECT_EQ(ip::contourArea(arr({{100000, 0}, {0, 100000}})), 5e9);  // no 32-bit overflow

    const ip::PointArray two = arr({{0, 0}, {9, 4}});
    EXPECT_EQ(ip::getBoundRect(two), Rect_<int>(0, 0, 9, 4));
    EXPECT_EQ(ip::getBoundRect(ip::PointArray()), Rect_<int>());
    MemStorage* st = createMemStorage(0);
    Sequence* seq = createSeq(SEQ_POLYGON, sizeof(IPContour), sizeof(P), st);
    seqPush(seq, &two[0]);
    seqPush(seq, &two[1]);
    EXPECT_EQ(boundingRect(seq, 0), Rect_<int>());  // the header's rectangle, not set yet
    EXPECT_EQ(boundingRect(seq, 1), Rect_<int>(0, 0, 10, 5));
    EXPECT_EQ(reinterpret_cast<IPContour*>(seq)->rect, Rect_<int>(0, 0, 10, 5));
    Sequence* small = createSeq(SEQ_POLYGON, sizeof(Sequence), sizeof(P), st);
    seqPush(small, &two[1]);
    EXPECT_EQ(boundingRect(small, 0), Rect_<int>(9, 4, 1, 1));
    Sequence* fl = createSeq(SEQ_ELTYPE_POINT2D32F, sizeof(Sequence), sizeof(P), st);
    const Point2_<float> f0(-0.5f, 2.25f), f1(3.75f, -1.0f);
    seqPush(fl, &f0);
    seqPush(fl, &f1);
    EXPECT_EQ(boundingRect(fl, 0), Rect_<int>(-1, -1, 5, 4));
    Sequence* codes = createSeq(SEQ_CHAIN_CONTOUR, sizeof(Chain), 1, st);
    EXPECT_EQ(boundingRect(codes, 1), Rect_<int>());
    EXPECT_EQ(boundingRect(nullptr, 1), Rect_<int>());
    Sequence fake;
    fake.flags = 0;
    EXPECT_EQ(boundingRect(&fake, 1), Rect_<int>());
    releaseMemStorage(&st);

    Mat img(4, 6, MAT_Tuchar, Point4_<double>(0.0));
    img.ptr<unsigned char>(1)[2] = img.ptr<unsigned char>(3)[4] = 9;
    EXPECT_EQ(ip::getBoundRect(img, 9), Rect_<int>(2, 1, 3, 3));
    Mat column(5, 1, MAT_Tuchar, Point4_<double>(0.0));
    EXPECT_EQ(ip::getBoundRect(column, 7), Rect_<int>(0, 4, 1, 0));
    EXPECT_EQ(ip::getBoundRect(Mat(), 7), Rect_<int>());

    EXPECT_EQ(ip::triangleArea(0, 0, 1, 0, 0, 1), 1.0f);
    EXPECT_EQ(ip::triangleArea(0, 0, 0, 3, 4, 0), 12.0f);
    EXPECT_FALSE(ip::fitLine(Mat(), 2, 0, 0.01, 0.01, nullptr));
}

TEST(PointSets, VectorAndScalarBoundsAgree) {
    std::mt19937 rng(3);
    for (int n = 1; n < 70; n += 3) {
        ip::PointArray p;
        for (int i = 0; i < n; i++)
            p.add(P((int)(rng() % 2001) - 1000, (int)(rng() % 2001) - 1000));
        detail::setUseOptimized(false);
        const Rect_<int> a = ip::getBoundRect(p);
        detail::setUseOptimized(true);
        EXPECT_EQ(ip::getBoundRect(p), a) << n;
    }
}

TEST(Lines, BresenhamAndCrossings) {
    P a(0, 0), b(3, 0), c(0, 0), d(1, 3), e(3, 0);
    ip::PointArray out;
    ip::bresenham(a, b, out);
    EXPECT_EQ(pts(out), (Pts{{0, 0}, {1, 0}, {2, 0}}));
    ip::bresenham(a, c, out);
    EXPECT_EQ(out.getSize(), 0);
    ip::bresenham(a, d, out);
    EXPECT_EQ(pts(out), (Pts{{0, 0}, {0, 1}, {1, 2}}));
    ip::bresenham(e, a, out);
    EXPECT_EQ(pts(out), (Pts{{3, 0}, {2, 0}, {1, 0}}));
    int *xs = nullptr, *ys = nullptr, n = -1;
    ip::bresenham(0, 0, -4, -2, xs, ys, n);
    ASSERT_EQ(n, 4);
    EXPECT_EQ(xs[3], -3);
    EXPECT_EQ(ys[3], -2);
    std::free(xs);
    std::free(ys);

    typedef Point2_<float> F;
    const F o = ip::crossPointTwoLines(F(0, 0), F(2, 2), F(0, 2), F(2, 0));
    EXPECT_EQ(o.x, 1.0f);
    EXPECT_EQ(o.y, 1.0f);
    const F par = ip::crossPointTwoLines(F(0, 0), F(1, 1), F(0, 1), F(1, 2));
    EXPECT_EQ(par.x, 0.0f);
    EXPECT_EQ(par.y, 0.0f);
    const F oi = ip::crossPointTwoLines(P(0, 0), P(4, 0), P(1, -1), P(1, 1));
    EXPECT_EQ(oi.x, 1.0f);
    EXPECT_EQ(oi.y, 0.0f);
    // infinite lines cross outside the segments
    const F far = ip::crossPointTwoLines(F(0, 0), F(1, 0), F(5, 1), F(5, 2));
    EXPECT_EQ(far.x, 5.0f);

    F r(-7, -7);
    EXPECT_TRUE(ip::intersectPointTwoLines(F(0, 0), F(1, 0), F(1, 0), F(1, 1), r));  // shared end
    EXPECT_EQ(r.x, 1.0f);
    EXPECT_EQ(r.y, 0.0f);
    r = F(-7, -7);
    EXPECT_FALSE(ip::intersectPointTwoLines(F(0, 0), F(1, 0), F(5, 1), F(5, 2), r));
    EXPECT_FALSE(ip::intersectPointTwoLines(F(0, 0), F(1, 1), F(0, 1), F(1, 2), r));
    EXPECT_EQ(r.x, -7.0f);
}

TEST(Peaks, PlateausAndSharpness) {
    Vec v(5, MAT_Tfloat);
    const float s[5] = {0, 1, 1, 1, 0};
    for (int i = 0; i < 5; i++) v.data.fl[i] = s[i];
    ip::PeakArray peaks;
    ip::detectPeaks(v, peaks);
    ASSERT_EQ(peaks.getSize(), 1);
    EXPECT_EQ(peaks[0].position, 2);
    EXPECT_EQ(peaks[0].width, 3);
    EXPECT_EQ(peaks[0].valley, 0);
    EXPECT_EQ(peaks[0].value, 1.0);

    Vec w(6, MAT_Tint);
    const int t[6] = {0, 2, 0, -1, -1, 3};
    for (int i = 0; i < 6; i++) w.data.i[i] = t[i];
    ip::PeakArray all;
    ip::detectPeaks(w, all);
    ASSERT_EQ(all.getSize(), 2);
    EXPECT_EQ(all[0].position, 1);
    EXPECT_EQ(all[0].width, 1);
    EXPECT_EQ(all[0].valley, 0);
    EXPECT_EQ(all[1].position, 4);
    EXPECT_EQ(all[1].width, 2);
    EXPECT_NE(all[1].valley, 0);
    EXPECT_EQ(all[1].value, -1.0);
    ip::PeakArray mx, mn;
    ip::detectPeaksMax(w, mx);
    ip::detectPeaksMin(w, mn);
    ASSERT_EQ(mx.getSize(), 1);
    ASSERT_EQ(mn.getSize(), 1);
    EXPECT_EQ(mx[0].position, 1);
    EXPECT_EQ(mn[0].position, 4);
    ip::PeakArray none;
    ip::detectPeaks(Vec(2, MAT_Tfloat), none);
    EXPECT_EQ(none.getSize(), 0);

    Vec_<unsigned char> sig(7);
    for (int i = 0; i < 7; i++) sig.data.ptr[i] = (unsigned char)(10 * (i + 1));
    ip::PeakInfo p;
    p.position = 6;
    EXPECT_EQ(p.sharp(sig), 25);  // (50 + 40 + 30 + 20 + 10 + 0) / 6
    p.position = 2;
    EXPECT_EQ(p.sharp(sig), 10);  // one-sided window clipped at the start
    p.position = 7;
    EXPECT_EQ(p.sharp(sig), 0);
}

}  // namespace

namespace {

// The whole shape request on a square, a triangle and a disc: Gaussian, the
// edge map as the union of the one-direction Canny maps (what `tarvo shapes`
// draws from), outer contours, simplification: 4, 3 and many vertices. The
// two-direction Canny map is kept as a check that it leaves outlines open.
TEST(WholeRequest, SquareTriangleDisc) {
    using namespace tarvo;
    Mat img(160, 300, MAT_Tuchar, Point4_<double>(30.0));
    for (int y = 0; y < 160; y++)
        for (int x = 0; x < 300; x++) {
            unsigned char& p = img.ptr<unsigned char>(y)[x];
            if (x >= 20 && x < 80 && y >= 40 && y < 100) p = 220;                  // square
            if (y >= 30 && y < 130 && std::abs(x - 150) * 2 <= (y - 30)) p = 200;  // triangle
            if ((x - 240) * (x - 240) + (y - 80) * (y - 80) <= 35 * 35) p = 180;   // disc
        }
    // Vertex count of the longest outline in each third of the picture.
    auto vertexCounts = [](const Mat& edges) {
        Matrix<Point2_<int>, const Point2_<int>&> contours;
        ip::findContours(edges, contours, 0, 1);
        std::vector<int> counts(3, -1), longest(3, 0);
        for (int i = 0; i < contours.getSize(); i++) {
            const Rect_<int> box = ip::getBoundRect(contours[i]);
            const int cx = box.x + box.width / 2;
            const int which = cx > 200 ? 2 : cx > 100 ? 1 : 0;
            if (contours[i].getSize() <= longest[which]) continue;
            longest[which] = contours[i].getSize();
            ip::PointArray poly;
            ip::approxPolyDP(contours[i], poly, 4.0, true);
            counts[which] = poly.getSize();
        }
        return counts;
    };
    Mat smooth, both, vertical, horizontal;
    ip::gaussian(img, smooth, 1.5f);
    ip::canny(smooth, both, 40, 120, 0);
    ip::canny(smooth, vertical, 40, 120, 1);
    ip::canny(smooth, horizontal, 40, 120, 2);
    Mat edges(vertical);
    for (int y = 0; y < edges.rows(); y++)
        for (int x = 0; x < edges.cols(); x++)
            edges.ptr<unsigned char>(y)[x] |= horizontal.ptr<unsigned char>(y)[x];
    const std::vector<int> v = vertexCounts(edges);
    EXPECT_EQ(v, (std::vector<int>{4, 3, v[2]}));
    EXPECT_GT(v[2], 6);
    // With both gradients the diagonal rule drops the triangle's sloping sides.
    EXPECT_NE(vertexCounts(both)[1], 3);
}

}  // namespace
