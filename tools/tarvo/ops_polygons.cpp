// Rows of the tarvo tool for polygon and point-set geometry: the whole shape
// request from a picture to simplified outlines and fitted figures.
#include <cmath>
#include <cstdio>

#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/shapes.h"

namespace tarvotool {

namespace {

using tarvo::Mat;
typedef tarvo::Point2_<int> P;
typedef tarvo::Point4_<unsigned char> Colour;

// Figures to draw, summed: 1 polygon, 2 hull, 4 rotated rectangle, 8 ellipse.
// Edge maps the request can trace: the union of the vertical-only and the
// horizontal-only Canny maps (each suppresses along one axis, so slanted
// outlines stay closed), or Canny with both gradients, whose diagonal test
// compares cells along the edge and leaves outlines near 45 degrees open.
const Choice kEdges[] = {{"axes", 0}, {"canny", 1}, {nullptr, 0}};

const Choice kDraw[] = {{"none", 0},
                        {"polygon", 1},
                        {"hull", 2},
                        {"polygon,hull", 3},
                        {"rect", 4},
                        {"polygon,rect", 5},
                        {"hull,rect", 6},
                        {"polygon,hull,rect", 7},
                        {"ellipse", 8},
                        {"polygon,ellipse", 9},
                        {"hull,ellipse", 10},
                        {"polygon,hull,ellipse", 11},
                        {"rect,ellipse", 12},
                        {"polygon,rect,ellipse", 13},
                        {"hull,rect,ellipse", 14},
                        {"all", 15},
                        {nullptr, 0}};

const Colour kPolygon(255, 64, 64, 255), kHull(64, 220, 64, 255), kRect(80, 140, 255, 255),
    kEllipse(255, 220, 40, 255);

// A rotated box as its four corners, or the ellipse inscribed in it as 64
// points, drawn as a closed polygon.
void drawRotated(Mat& out, const tarvo::RotatedRect& r, bool ellipse, Colour c) {
    const double a = r.angle * 3.14159265358979323846 / 180.0;
    const double ca = std::cos(a), sa = std::sin(a);
    P pts[64];
    int n = 0;
    if (ellipse) {
        for (; n < 64; n++) {
            const double t = n * 2 * 3.14159265358979323846 / 64;
            const double u = 0.5 * r.width * std::cos(t), v = 0.5 * r.height * std::sin(t);
            pts[n] = P((int)std::lround(r.cx + u * ca - v * sa),
                       (int)std::lround(r.cy + u * sa + v * ca));
        }
    } else {
        const double hu[4] = {-0.5, 0.5, 0.5, -0.5}, hv[4] = {-0.5, -0.5, 0.5, 0.5};
        for (; n < 4; n++) {
            const double u = hu[n] * r.width, v = hv[n] * r.height;
            pts[n] = P((int)std::lround(r.cx + u * ca - v * sa),
                       (int)std::lround(r.cy + u * sa + v * ca));
        }
    }
    out.drawPolygon(pts, n, c, 1, true);
}

void runShapes(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat grey;
    if (in.channels() >= 3 && in.type() == tarvo::MAT_Tuchar)
        tarvo::ColorSpace::RGBtoGray(in, grey);
    else
        grey = in;
    if (!grey.isValid() || grey.channels() != 1 || grey.type() != tarvo::MAT_Tuchar) return;
    Mat smooth, edges;
    if (a.v[0] > 0)
        tarvo::ip::gaussian(grey, smooth, a.f(0));
    else
        smooth = grey;
    if (a.i(6) == 1) {
        tarvo::ip::canny(smooth, edges, a.f(1), a.f(2), 0);
    } else {
        Mat horizontal;
        tarvo::ip::canny(smooth, edges, a.f(1), a.f(2), 1);
        tarvo::ip::canny(smooth, horizontal, a.f(1), a.f(2), 2);
        if (!edges.isEqualMat(horizontal)) return;
        for (int y = 0; y < edges.rows(); y++) {
            unsigned char* e = edges.ptr<unsigned char>(y);
            const unsigned char* h = horizontal.ptr<unsigned char>(y);
            for (int x = 0; x < edges.cols(); x++) e[x] |= h[x];
        }
    }
    tarvo::Matrix<P, const P&> contours;
    tarvo::ip::findContours(edges, contours, 0, 1);

    // the picture in colour, dimmed to half so the figures stand out
    if (out.create(grey.rows(), grey.cols(), tarvo::MAKETYPE(tarvo::MAT_Tuchar, 3)) < 0) return;
    for (int y = 0; y < grey.rows(); y++) {
        const unsigned char* g = grey.ptr<unsigned char>(y);
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < grey.cols(); x++) o[3 * x] = o[3 * x + 1] = o[3 * x + 2] = g[x] / 2;
    }
    const int draw = a.i(4), minPoints = a.i(5);
    int shown = 0;
    for (int i = 0; i < contours.getSize(); i++) {
        tarvo::ip::PointArray& c = contours[i];
        if (c.getSize() < minPoints) continue;
        tarvo::ip::PointArray poly, hull, sorted(c);
        tarvo::ip::approxPolyDP(c, poly, a.v[3], true);
        tarvo::ip::convexHull(sorted, hull, true);
        const tarvo::RotatedRect box = tarvo::ip::minAreaRect(sorted);
        const tarvo::RotatedRect ell = tarvo::ip::fitEllipse(c);
        if (draw & 1) out.drawPolygon(poly.getData(), poly.getSize(), kPolygon, 1, true);
        if (draw & 2) out.drawPolygon(hull.getData(), hull.getSize(), kHull, 1, true);
        if (draw & 4) drawRotated(out, box, false, kRect);
        if ((draw & 8) && ell.width > 0) drawRotated(out, ell, true, kEllipse);
        std::printf(
            "shape %d: %d border points, %d vertices, hull %d, rectangle %.1f x %.1f at "
            "(%.1f, %.1f) angle %.1f, ellipse %.1f x %.1f angle %.1f\n",
            shown, c.getSize(), poly.getSize(), hull.getSize(), box.width, box.height, box.cx,
            box.cy, box.angle, ell.width, ell.height, ell.angle);
        shown++;
    }
    std::printf("%d shapes of %d outer contours\n", shown, contours.getSize());
}

const Operation kRows[] = {
    {"shapes",
     "Gaussian smoothing, Canny edges, the outer contours, each simplified to a closed polygon; "
     "the chosen figures are drawn over the dimmed picture and one line per shape is printed",
     {{"sigma", "Gaussian smoothing before Canny, 0 for none", 1.5, 0, 100, false},
      {"low", "Canny lower hysteresis threshold", 40, 0, 1e6, false},
      {"high", "Canny upper hysteresis threshold", 120, 0, 1e6, false},
      {"eps", "simplification tolerance in pixels", 3, 0, 1e6, false},
      {"draw",
       "figures to draw: polygon = the simplified outline, hull = the convex hull, rect = the "
       "smallest rotated rectangle, ellipse = the fitted ellipse; names joined by commas in "
       "this order, or their sum 1 + 2 + 4 + 8",
       3, 0, 15, true, kDraw},
      {"min-points", "skip contours with fewer border points", 20, 1, 1e9, true},
      {"edges",
       "edge map traced: axes = Canny on the vertical and on the horizontal gradient alone, "
       "joined (outlines at any slope close); canny = one Canny with both gradients (its "
       "diagonal test leaves outlines near 45 degrees open)",
       0, 0, 1, true, kEdges}},
     runShapes,
     nullptr,
     "shapes --sigma 1.5 --eps 3 --draw polygon,hull in.png shapes.png",
     kGreyOrColour,
     nullptr,
     globalReach("Canny's hysteresis and the contours follow edges anywhere")},
};

const DemoStep kDemo[] = {
    {"shapes.png", "outer contours simplified to polygons around cup, saucer and spoon", "",
     "shapes", "--sigma 2 --low 15 --high 50 --eps 3 --draw polygon --min-points 200", 990},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
