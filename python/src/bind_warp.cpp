// Affine and perspective warps, remap and its maps, and the transforms that
// feed them.
#include "points.h"
#include "tarvo/ip/geometry.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;
using tarvo::Point2_;

Point2_<float> toPointF(py::handle o, const char* name) {
    try {
        py::sequence s = py::reinterpret_borrow<py::sequence>(o);
        if (py::isinstance<py::sequence>(o) && !py::isinstance<py::str>(o) && s.size() == 2)
            return Point2_<float>(s[0].cast<float>(), s[1].cast<float>());
    } catch (py::cast_error&) {
    }
    throw py::type_error(std::string(name) + " must be two numbers (x, y)");
}

// Output size of a warp: dsize (width, height) when given, else dst's own
// shape when given, else src's.
void outputSize(const InArray& s, py::handle dsize, py::handle dst, int& rows, int& cols) {
    rows = s.mat.rows();
    cols = s.mat.cols();
    if (!dsize.is_none()) {
        const tarvo::Size_<int> z = toSize(dsize, "dsize");
        rows = z.height;
        cols = z.width;
    } else if (py::isinstance<py::array>(dst)) {
        py::array a = py::reinterpret_borrow<py::array>(dst);
        if (a.ndim() >= 2) {
            rows = int(a.shape(0));
            cols = int(a.shape(1));
        }
    }
}

// A new destination of rows x cols pixels of src's type, cleared.
Dst clearedDst(py::handle dst, const InArray& s, int rows, int cols) {
    Dst d = makeDst(dst, "dst", s, shapeOf(rows, cols, s.mat.type(), s.mat.channels()));
    if (dst.is_none() && rows > 0 && cols > 0 && !s.empty()) {
        Mat fresh(rows, cols, s.mat.type1(), tarvo::Point4_<double>());
        d.mat = std::move(fresh);
    }
    return d;
}

py::object warpAffine(py::handle src, py::handle transform, bool invert, py::handle dsize,
                      py::handle dst) {
    InArray s = matFromArray(src, "src");
    InArray t = matFromArrayLike(transform, "transform");
    int rows, cols;
    outputSize(s, dsize, dst, rows, cols);
    Dst d = clearedDst(dst, s, rows, cols);
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::warpAffine(a, b, t.mat, invert); });
}

py::object warpPerspective(py::handle src, py::handle transform, py::handle dsize, py::handle dst) {
    InArray s = matFromArray(src, "src");
    InArray t = matFromArrayLike(transform, "transform");
    int rows, cols;
    outputSize(s, dsize, dst, rows, cols);
    Dst d = clearedDst(dst, s, rows, cols);
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::warpPerspective(a, b, t.mat); });
}

py::object warpPerspectiveMask(py::handle src, py::handle transform, py::handle mask) {
    InArray s = matFromArray(src, "src");
    InArray t = matFromArrayLike(transform, "transform");
    int rows = s.mat.rows(), cols = s.mat.cols();
    outputSize(s, py::none(), mask, rows, cols);
    Dst d = makeDst(mask, "mask", s, shapeOf(rows, cols, tarvo::MAT_Tuchar, 1));
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::warpPerspectiveMask(a, b, t.mat); });
}

py::object remap(py::handle src, py::handle map1, py::handle map2, int interpolation,
                 int borderType, py::handle borderValue, py::handle dst) {
    InArray s = matFromArray(src, "src");
    InArray m1 = matFromArray(map1, "map1");
    InArray m2;
    if (!map2.is_none()) m2 = matFromArray(map2, "map2");
    const tarvo::Point4_<double> bv = toScalar(borderValue, "borderValue");
    Dst d = makeDst(dst, "dst", s,
                    shapeOf(m1.mat.rows(), m1.mat.cols(), s.mat.type(), s.mat.channels()));
    return callInto(s, d, [&](const Mat& a, Mat& b) {
        ip::remap(a, b, m1.mat, m2.mat, interpolation, borderType, bv);
    });
}

py::tuple convertMaps(py::handle map1, py::handle map2, int dstMapType, bool nearest) {
    InArray m1 = matFromArray(map1, "map1");
    InArray m2;
    if (!map2.is_none()) m2 = matFromArray(map2, "map2");
    Mat o1, o2;
    nogil([&] { ip::convertMaps(m1.mat, m2.mat, o1, o2, dstMapType, nearest); });
    py::object a = arrayFromMat(std::move(o1));
    return py::make_tuple(a, arrayFromMat(std::move(o2)));
}

py::object warpPoint(py::handle points, py::handle transform) {
    InArray t = matFromArrayLike(transform, "transform");
    py::array a = py::module_::import("numpy").attr("asarray")(points);
    if (a.ndim() == 1 && a.shape(0) == 2) {
        const Point2_<float> p = toPointF(points, "points");
        Point2_<float> q;
        nogil([&] { q = ip::warpPoint(p, t.mat); });
        return makePointF(q.x, q.y);
    }
    if (pointsAreFloat(points, "points")) {
        PointsF in = pointsInF(points, "points"), out;
        nogil([&] { ip::warpPoint(in, out, t.mat); });
        return pointsOut(out);
    }
    PointsI in = pointsIn(points, "points"), out;
    nogil([&] { ip::warpPoint(in, out, t.mat); });
    return pointsOut(out);
}

void bindWarp(py::module_&, py::module_& m) {
    m.def("warpAffine", &warpAffine, "src"_a, "transform"_a, "invert"_a = false,
          "dsize"_a = py::none(), py::kw_only(), "dst"_a = py::none(),
          Doc("warpAffine(src, transform, invert=False, dsize=None, *, dst=None) -> ndarray",
              "warp-affine")
              .what("Warps src by affine coefficients a0..a5 (the transform's first two rows): "
                    "destination row i, column j reads the source at column a0 i + a1 j + a2 "
                    "and row a3 i + a4 j + a5, so the ROW index multiplies a0 and a3. A usual "
                    "forward matrix on (x, y), such as getRotationMatrix2D gives, goes in with "
                    "its two rows exchanged and invert=True. uint8 data: 10-bit bilinear with "
                    "positions clamped to cols - 2 and rows - 2; other dtypes: bilinear in float "
                    "(double for int32 and float64) on positions clamped to the image.")
              .arg("src", "image of any of the five dtypes and channel count")
              .arg("transform",
                   "2 x 3 or 3 x 3 one-channel matrix (array or nested lists, any "
                   "dtype, read as float)")
              .arg("invert", "True applies the inverse of the transform")
              .arg("dsize", "(width, height) of the result; default dst's size, else src's")
              .arg("dst",
                   "optional keyword: an array of src's dtype and channels whose size "
                   "decides the output; it is cleared first. Passing src runs from a copy")
              .returns("dst")
              .refused("a transform of another shape or channel count, or an empty src, give "
                       "zeros (a new dst is created cleared; a given dst is unchanged)")
              .c_str());
    m.def("warpPerspective", &warpPerspective, "src"_a, "transform"_a, "dsize"_a = py::none(),
          py::kw_only(), "dst"_a = py::none(),
          Doc("warpPerspective(src, transform, dsize=None, *, dst=None) -> ndarray",
              "warp-perspective")
              .what("Perspective warp: destination (x, y) reads the source at the inverse "
                    "transform's (X / W, Y / W), bilinear. Only destinations whose source "
                    "position lies strictly inside src are written; the other pixels of dst "
                    "keep their values, so a given dst can be drawn over.")
              .arg("src", "image of any of the five dtypes and channel count")
              .arg("transform",
                   "2 x 3 or 3 x 3 one-channel matrix (array or nested lists, any "
                   "dtype, read as float); 2 x 3 gets the row (0, 0, 1)")
              .arg("dsize", "(width, height) of a new result; default dst's size, else src's")
              .arg("dst",
                   "optional keyword: an array of src's dtype and channels to draw "
                   "into; a new one starts cleared. Passing src runs from a copy")
              .returns("dst")
              .refused("a transform of another shape, or an empty src, leave dst as it was (a "
                       "new one: zeros)")
              .c_str());
    m.def("warpPerspectiveMask", &warpPerspectiveMask, "src"_a, "transform"_a, py::kw_only(),
          "mask"_a = py::none(),
          Doc("warpPerspectiveMask(src, transform, *, mask=None) -> ndarray")
              .what("The pixels warpPerspective would write: 0 there and 255 elsewhere, in a "
                    "uint8 mask of src's size (or of the given mask's size).")
              .arg("src", "the source image (only its size is read)")
              .arg("transform", "2 x 3 or 3 x 3 one-channel matrix, as for warpPerspective")
              .arg("mask", "optional keyword: a one-channel uint8 array of any size to write")
              .returns("the mask")
              .refused("a transform of another shape gives an empty array (mask given: "
                       "unchanged)")
              .c_str());
    m.def("remap", &remap, "src"_a, "map1"_a, "map2"_a = py::none(), "interpolation"_a = 1,
          "borderType"_a = int(tarvo::BorderFill), "borderValue"_a = 0, py::kw_only(),
          "dst"_a = py::none(),
          Doc("remap(src, map1, map2=None, interpolation=1, borderType=BorderFill, "
              "borderValue=0, *, dst=None) -> ndarray",
              "remap")
              .what("Samples src at the positions of the maps, one output pixel per map "
                    "entry. Maps: a (rows, cols, 2) float32 map1 of (x, y) with no map2; "
                    "float32 map1 = x and map2 = y of shape (rows, cols); or a (rows, cols, 2) "
                    "int16 map1 of whole positions with map2 None or an int16 (rows, cols) map "
                    "of fractions (y fraction * 32 + x fraction, in 1/32), in either order "
                    "(convertMaps makes these).")
              .arg("src", "uint8, int16, float32 or float64 image, any channel count")
              .arg("map1, map2", "the maps, as above")
              .argFromTool("interpolation", "interpolation",
                           "0 nearest, 1 bilinear (3 too), 2 bicubic, 4 Lanczos (8 x 8)")
              .argFromTool("borderType", "border",
                           "BorderFill .. BorderMirrorNoEdge; BorderIsolatedBit is ignored")
              .arg("borderValue",
                   "fill for BorderFill: one number or up to four (channel k "
                   "takes component k % 4)")
              .arg("dst", kDstHelp)
              .returns("dst, map1's size with src's dtype and channels")
              .refused("empty, mistyped or unequal maps, int32 images and unknown codes give "
                       "an empty array (dst given: unchanged)")
              .c_str());
    m.def("convertMaps", &convertMaps, "map1"_a, "map2"_a = py::none(), "dstMapType"_a = 10,
          "nearest"_a = false,
          Doc("convertMaps(map1, map2=None, dstMapType=10, nearest=False) -> (dstMap1, dstMap2)")
              .what("Converts maps between the forms remap takes.")
              .arg("map1, map2", "maps in any form remap takes")
              .arg("dstMapType",
                   "4: two float32 maps x and y; 12: one (rows, cols, 2) float32 map (dstMap2 "
                   "empty); 10: (rows, cols, 2) int16 whole positions and an int16 map of "
                   "fraction codes, or with nearest rounded positions and an empty dstMap2")
              .arg("nearest", "with dstMapType 10, round the positions and make no fractions")
              .returns("(dstMap1, dstMap2); an unused map is an empty array")
              .refused("bad pairs or types give two empty arrays")
              .c_str());
    m.def(
        "getAffineTransform",
        [](py::handle src, py::handle dst) {
            PointsF s = pointsInF(src, "src"), d = pointsInF(dst, "dst");
            Mat t;
            nogil([&] { t = ip::getAffineTransform(s, d); });
            return arrayFromMat(std::move(t));
        },
        "src"_a, "dst"_a,
        Doc("getAffineTransform(src, dst) -> ndarray")
            .what("The 2 x 3 affine transform on (x, y) that maps src[i] to dst[i], least "
                  "squares over all pairs (exact for three).")
            .arg("src", "(n, 2) array of points, n >= 3 (converted to float32)")
            .arg("dst", "(n, 2) array of the same length")
            .returns("2 x 3 float64 array")
            .refused("fewer than 3 pairs or unequal counts give an empty array")
            .c_str());
    m.def(
        "getPerspectiveTransform",
        [](py::handle src, py::handle dst) {
            Mat t;
            if (pointsAreFloat(src, "src") || pointsAreFloat(dst, "dst")) {
                PointsF s = pointsInF(src, "src"), d = pointsInF(dst, "dst");
                nogil([&] { t = ip::getPerspectiveTransform(s, d); });
            } else {
                PointsI s = pointsIn(src, "src"), d = pointsIn(dst, "dst");
                nogil([&] { t = ip::getPerspectiveTransform(s, d); });
            }
            return arrayFromMat(std::move(t));
        },
        "src"_a, "dst"_a,
        Doc("getPerspectiveTransform(src, dst) -> ndarray")
            .what("The 3 x 3 perspective transform on (x, y) that maps the first four src "
                  "points to the first four dst points (last element 1).")
            .arg("src",
                 "(n, 2) array of points, n >= 4; int32 or float32 (float if either "
                 "list holds floats)")
            .arg("dst", "(n, 2) array of the same length")
            .returns("3 x 3 float64 array")
            .refused("fewer than 4 pairs or unequal counts give an empty array")
            .c_str());
    m.def(
        "getRotationMatrix2D",
        [](py::handle centre, double angle, double scale) {
            const Point2_<float> c = toPointF(centre, "centre");
            return arrayFromMat(ip::getRotationMatrix2D(c, angle, scale));
        },
        "centre"_a, "angle"_a, "scale"_a = 1.0,
        Doc("getRotationMatrix2D(centre, angle, scale=1.0) -> ndarray")
            .what("2 x 3 matrix on (x, y) points turning by angle degrees (counter-clockwise "
                  "on screen for positive angles) and scaling about centre. For warpAffine, "
                  "exchange its rows and pass invert=True.")
            .arg("centre", "(x, y) in pixels")
            .arg("angle", "degrees")
            .arg("scale", "scale factor")
            .returns("2 x 3 float64 array")
            .c_str());
    m.def(
        "initWarp",
        [](float a, float b, float c, float d, float e, float f) {
            Mat t;
            ip::initWarp(t, a, b, c, d, e, f);
            return arrayFromMat(std::move(t));
        },
        "a"_a, "b"_a, "c"_a, "d"_a, "e"_a, "f"_a,
        Doc("initWarp(a, b, c, d, e, f) -> ndarray")
            .what("The 3 x 3 float32 matrix (a + 1, b, e; c, d + 1, f; 0, 0, 1): the "
                  "parameters are offsets from the identity.")
            .arg("a, b, c, d", "offsets of the linear part from the identity")
            .arg("e, f", "translation in pixels")
            .returns("3 x 3 float32 array")
            .c_str());
    m.def("warpPoint", &warpPoint, "points"_a, "transform"_a,
          Doc("warpPoint(points, transform) -> Point or ndarray")
              .what("Applies a 3 x 3 transform to a point or a point list, dividing by the "
                    "third coordinate.")
              .arg("points",
                   "one point (x, y), or an (n, 2) int32 or float32 array (integer "
                   "results are truncated)")
              .arg("transform", "3 x 3 one-channel float32 or float64 array")
              .returns("a Point of floats for one point, else an (n, 2) array of the points' "
                       "dtype")
              .refused("another transform gives (0, 0) for every point")
              .c_str());
    m.def(
        "drawWarpRect",
        [](py::handle image, py::handle rect, py::handle transform) {
            InArray img = matFromArray(image, "image", true);
            if (img.copied)
                throw py::value_error(
                    "image: drawWarpRect draws on the array it is given, which "
                    "must be writable with pixels contiguous within each row");
            const tarvo::Rect_<int> r = toRect(rect, "rect");
            InArray t = matFromArrayLike(transform, "transform");
            nogil([&] { ip::drawWarpRect(img.mat, r, t.mat); });
        },
        "image"_a, "rect"_a, "transform"_a,
        Doc("drawWarpRect(image, rect, transform) -> None")
            .what("Draws the outline of rect mapped by a 3 x 3 transform (without dividing by "
                  "the third coordinate) in white, one pixel wide, on image itself.")
            .arg("image", "a writable array whose pixels are contiguous within each row")
            .arg("rect", "Rect or four numbers (x, y, width, height)")
            .arg("transform", "3 x 3 one-channel float32 or float64 array")
            .refused("another transform draws nothing; an array that would have to be copied "
                     "raises ValueError")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(warp, bindWarp);

}  // namespace tarvopy
