// Contours and polygon / point-set geometry.
#include <cstring>

#include "points.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/seq.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;
using tarvo::Point2_;

const char* const kPointsHelp = "(n, 2) int32 array of (x, y), or a sequence of pairs";
const char* const kPointsEitherHelp =
    "(n, 2) int32 or float32 array of (x, y), or a sequence of pairs (float values select the "
    "float form)";

py::list findContours(py::handle image, int mode, int method, py::handle offset) {
    InArray s = matFromArray(image, "image");
    const Point2_<int> off = toPoint(offset, "offset");
    tarvo::Matrix<Point2_<int>, const Point2_<int>&> contours;
    nogil([&] { ip::findContours(s.mat, contours, mode, method, off); });
    py::list out;
    for (int i = 0; i < contours.getSize(); i++) {
        const PointsI& c = contours[i];
        if (method == ip::ChainCode) {
            // The codes are packed bytes at the start of the point array.
            py::array_t<unsigned char> codes(py::ssize_t(c.getSize()));
            if (c.getSize() > 0)
                std::memcpy(codes.mutable_data(), c.getData(), size_t(c.getSize()));
            out.append(codes);
        } else {
            out.append(pointsOut(c));
        }
    }
    return out;
}

py::object approxPolyDP(py::handle curve, double eps, bool closed) {
    if (pointsAreFloat(curve, "curve")) {
        PointsF src = pointsInF(curve, "curve"), dst;
        nogil([&] { ip::approxPolyDP(src, dst, eps, closed); });
        return pointsOut(dst);
    }
    PointsI src = pointsIn(curve, "curve"), dst;
    nogil([&] { ip::approxPolyDP(src, dst, eps, closed); });
    return pointsOut(dst);
}

py::object boundingRect(py::handle points) {
    const bool isFloat = pointsAreFloat(points, "points");
    PointsI pi;
    PointsF pf;
    if (isFloat)
        pf = pointsInF(points, "points");
    else
        pi = pointsIn(points, "points");
    tarvo::Rect_<int> r;
    nogil([&] {
        // The library's form reads a sequence: build one in a storage of its own.
        tarvo::MemStorage* st = tarvo::createMemStorage();
        if (!st) return;
        const int n = isFloat ? pf.getSize() : pi.getSize();
        const int elem = isFloat ? int(sizeof(Point2_<float>)) : int(sizeof(Point2_<int>));
        tarvo::Sequence* seq =
            tarvo::createSeq(tarvo::SEQ_MAGIC_VAL |
                                 (isFloat ? tarvo::SEQ_ELTYPE_POINT2D32F : tarvo::SEQ_ELTYPE_POINT),
                             int(sizeof(tarvo::Sequence)), elem, st);
        bool ok = seq != nullptr;
        for (int i = 0; ok && i < n; i++)
            ok = tarvo::seqPush(seq, isFloat ? static_cast<const void*>(&pf[i])
                                             : static_cast<const void*>(&pi[i])) != nullptr;
        if (ok) r = tarvo::boundingRect(seq, 0);
        tarvo::releaseMemStorage(&st);
    });
    return makeRect(r);
}

void bindShapes(py::module_&, py::module_& m) {
    m.attr("RetrExternal") = int(ip::RetrExternal);
    m.attr("RetrList") = int(ip::RetrList);
    m.attr("RetrCComp") = int(ip::RetrCComp);
    m.attr("RetrTree") = int(ip::RetrTree);
    m.attr("ChainCode") = int(ip::ChainCode);
    m.attr("ChainApproxNone") = int(ip::ChainApproxNone);
    m.attr("ChainApproxSimple") = int(ip::ChainApproxSimple);
    m.attr("ChainApproxTC89L1") = int(ip::ChainApproxTC89L1);
    m.attr("ChainApproxTC89KCOS") = int(ip::ChainApproxTC89KCOS);
    m.attr("ChainRefused") = int(ip::ChainRefused);

    m.def("findContours", &findContours, "image"_a, "mode"_a = int(ip::RetrList),
          "method"_a = int(ip::ChainApproxSimple), "offset"_a = py::make_tuple(0, 0),
          Doc("findContours(image, mode=RetrList, method=ChainApproxSimple, offset=(0, 0)) -> "
              "list of ndarray",
              "contours")
              .what("Borders of the objects of a one-channel image (non-zero pixels are the "
                    "object) by border following; pixels on the image edge count. The image is "
                    "never written.")
              .arg("image",
                   "uint8 image, one channel (int32 is scanned as bytes, not "
                   "thresholded)")
              .argFromTool("mode", "mode",
                           "RetrExternal (0), RetrList (1), RetrCComp (2), RetrTree (3); values "
                           "above 3 act as 3, other values below 2 as 1")
              .argFromTool("method", "method",
                           "ChainCode (0), ChainApproxNone (1), ChainApproxSimple (2), "
                           "ChainApproxTC89L1 (3), ChainApproxTC89KCOS (4); values outside 0..5 "
                           "act as ChainRefused (5), which finds nothing")
              .arg("offset", "(x, y) added to every point")
              .returns("a list with one entry per border: an (n, 2) int32 array of (x, y) "
                       "points, or with ChainCode a uint8 array of the n chain codes (0..7, "
                       "counter-clockwise from right on the screen; the start point is the "
                       "border's first point under ChainApproxNone)")
              .refused("another dtype, several channels or an empty image give an empty list")
              .note("The nesting is not reported: RetrCComp lists each outer border followed by "
                    "its holes, RetrTree the whole nesting depth-first.")
              .c_str());
    m.def("approxPolyDP", &approxPolyDP, "curve"_a, "epsilon"_a, "closed"_a,
          Doc("approxPolyDP(curve, epsilon, closed) -> ndarray")
              .what("Douglas-Peucker simplification of a polyline (closed: a polygon): every "
                    "dropped point lies within epsilon of the result.")
              .arg("curve", kPointsEitherHelp)
              .arg("epsilon",
                   "tolerance in pixels (a negative or non-finite value is used as "
                   "given)")
              .arg("closed", "True for a polygon")
              .returns("(m, 2) array of the kept points, curve's dtype (int32 or float32)")
              .refused("an empty curve gives an empty (0, 2) array")
              .c_str());
    m.def(
        "convexHull",
        [](py::handle points, bool clockwise) {
            PointsI pts = pointsIn(points, "points"), hull;
            nogil([&] { ip::convexHull(pts, hull, clockwise); });
            return pointsOut(hull);
        },
        "points"_a, "clockwise"_a = false,
        Doc("convexHull(points, clockwise=False) -> ndarray")
            .what("Convex hull of a point set. clockwise True: from the leftmost point along the "
                  "side of larger y; False: from the rightmost point along the side of larger "
                  "y. Points sharing an x come in no meaningful order, so hulls of such sets "
                  "may carry an extra collinear point.")
            .arg("points", kPointsHelp)
            .arg("clockwise", "orientation of the result")
            .returns("(m, 2) int32 array of the hull's corners")
            .refused("no points give an empty (0, 2) array")
            .note("The C++ function sorts its input in place and appends to the hull; here "
                  "points is not changed and the hull is a new array.")
            .c_str());
    m.def(
        "minAreaRect",
        [](py::handle points) {
            PointsI pts = pointsIn(points, "points");
            tarvo::RotatedRect r{};
            nogil([&] { r = ip::minAreaRect(pts); });
            return makeRotatedRect(r);
        },
        "points"_a,
        Doc("minAreaRect(points) -> RotatedRect")
            .what("Smallest-area rotated rectangle around the points, by rotating calipers on "
                  "their hull.")
            .arg("points", kPointsHelp)
            .returns("RotatedRect(cx, cy, width, height, angle): centre, side lengths in "
                     "pixels, angle in degrees")
            .refused("no points give all zeros")
            .c_str());
    m.def(
        "fitEllipse",
        [](py::handle points) {
            PointsI pts = pointsIn(points, "points");
            tarvo::RotatedRect r{};
            nogil([&] { r = ip::fitEllipse(pts); });
            return makeRotatedRect(r);
        },
        "points"_a,
        Doc("fitEllipse(points) -> RotatedRect")
            .what("Least-squares ellipse through the points: centre, full axes, angle 0 unless "
                  "the width would exceed the height (then swapped and 90 + rotation).")
            .arg("points", kPointsHelp)
            .returns("RotatedRect(cx, cy, width, height, angle)")
            .refused("fewer than five points, or a non-finite fit, give all zeros")
            .c_str());
    m.def(
        "contourArea",
        [](py::handle points) {
            PointsI pts = pointsIn(points, "points");
            double a = 0;
            nogil([&] { a = ip::contourArea(pts); });
            return a;
        },
        "points"_a,
        Doc("contourArea(points) -> float")
            .what("Signed area of the open chain: half the sum over consecutive pairs of y_i "
                  "x_(i-1) - x_i y_(i-1); the closing edge from the last point back to the "
                  "first is not included. The sign follows the orientation.")
            .arg("points", kPointsHelp)
            .refused("no points give 0")
            .c_str());
    m.def(
        "getBoundRect",
        [](py::handle arg, py::object value) {
            if (!value.is_none()) {
                InArray s = matFromArray(arg, "image");
                const int v = value.cast<int>();
                tarvo::Rect_<int> r;
                nogil([&] { r = ip::getBoundRect(s.mat, v); });
                return makeRect(r);
            }
            PointsI pts = pointsIn(arg, "points");
            tarvo::Rect_<int> r;
            nogil([&] { r = ip::getBoundRect(pts); });
            return makeRect(r);
        },
        "points"_a, "value"_a = py::none(),
        Doc("getBoundRect(points) -> Rect\ngetBoundRect(image, value) -> Rect")
            .what("Points: the box (min x, min y, max x - min x, max y - min y), without the "
                  "+1 of boundingRect. Image and value: the box of the pixels equal to value, "
                  "width and height the extent + 1.")
            .arg("points", kPointsHelp)
            .arg("image", "uint8 image, one channel (given with value)")
            .arg("value", "the pixel value searched; selects the image form")
            .returns("Rect(x, y, width, height)")
            .refused("no points, or another image, give Rect(0, 0, 0, 0); no pixel equal to "
                     "value gives (cols - 1, rows - 1, ...) with a width and height of at "
                     "least 0")
            .c_str());
    m.def("boundingRect", &boundingRect, "points"_a,
          Doc("boundingRect(points) -> Rect")
              .what("Bounding rectangle of a point list, width and height max - min + 1.")
              .arg("points", kPointsEitherHelp)
              .returns("Rect(x, y, width, height)")
              .refused("no points give Rect(0, 0, 0, 0)")
              .note("The C++ function reads a Sequence and may store the rectangle in its "
                    "header; here the points go through a private sequence.")
              .c_str());
    m.def(
        "bresenham",
        [](py::handle p1, py::handle p2) {
            Point2_<int> a = toPoint(p1, "p1"), b = toPoint(p2, "p2");
            PointsI pts;
            nogil([&] { ip::bresenham(a, b, pts); });
            return pointsOut(pts);
        },
        "p1"_a, "p2"_a,
        Doc("bresenham(p1, p2) -> ndarray")
            .what("Pixels of the line from p1 to p2, p2 itself excluded.")
            .arg("p1, p2", "(x, y) ends")
            .returns("(n, 2) int32 array; equal ends give an empty (0, 2) array")
            .c_str());
    m.def(
        "crossPointTwoLines",
        [](py::handle a, py::handle b, py::handle c, py::handle d) {
            PointsF p = pointsInF(py::make_tuple(a, b, c, d), "a, b, c, d");
            const Point2_<float> r = ip::crossPointTwoLines(p[0], p[1], p[2], p[3]);
            return makePointF(r.x, r.y);
        },
        "a"_a, "b"_a, "c"_a, "d"_a,
        Doc("crossPointTwoLines(a, b, c, d) -> Point")
            .what("Crossing of the infinite lines ab and cd, in single precision.")
            .arg("a, b, c, d", "(x, y) points")
            .returns("Point(x, y) of floats")
            .refused("parallel lines give Point(0.0, 0.0)")
            .c_str());
    m.def(
        "intersectPointTwoLines",
        [](py::handle a, py::handle b, py::handle c, py::handle d) -> py::object {
            PointsF p = pointsInF(py::make_tuple(a, b, c, d), "a, b, c, d");
            Point2_<float> r;
            if (!ip::intersectPointTwoLines(p[0], p[1], p[2], p[3], r)) return py::none();
            return makePointF(r.x, r.y);
        },
        "a"_a, "b"_a, "c"_a, "d"_a,
        Doc("intersectPointTwoLines(a, b, c, d) -> Point or None")
            .what("Crossing of the segments ab and cd, ends included.")
            .arg("a, b, c, d", "(x, y) points")
            .returns("Point(x, y) of floats, or None when the segments are parallel or do not "
                     "cross (the C++ bool is False)")
            .c_str());
    m.def("triangleArea", &ip::triangleArea, "x1"_a, "y1"_a, "x2"_a, "y2"_a, "x3"_a, "y3"_a,
          Doc("triangleArea(x1, y1, x2, y2, x3, y3) -> float")
              .what("Twice the area of the triangle, always >= 0, in single precision.")
              .arg("x1, y1", "first corner")
              .arg("x2, y2", "second corner")
              .arg("x3, y3", "third corner")
              .c_str());
}

}  // namespace

TARVO_PY_FAMILY(shapes, bindShapes);

}  // namespace tarvopy
