// Integral images, pyramids and border padding.
#include "tarvo/ip/integral.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

// Depth of the running sums of a source depth.
int sumDepth(int depth) {
    return depth == tarvo::MAT_Tuchar || depth == tarvo::MAT_Tint ? tarvo::MAT_Tint
                                                                  : tarvo::MAT_Tdouble;
}

Shape tableShape(const Mat& src, int depth) {
    return shapeOf(src.rows() + 1, src.cols() + 1, depth, src.channels());
}

// An optional output table: False/None skips it, True asks for a new array,
// an array is written in place.
bool wanted(py::handle o) {
    if (o.is_none()) return false;
    if (py::isinstance<py::bool_>(o)) return o.cast<bool>();
    return true;
}
py::handle target(py::handle o) {
    return py::isinstance<py::bool_>(o) ? py::handle(py::none()) : o;
}

py::object integralImage(py::handle src, py::handle sum, py::handle sqsum, py::handle tilted) {
    InArray s = matFromArray(src, "src");
    const Shape sumShape = tableShape(s.mat, sumDepth(s.mat.type()));
    const Shape sqShape = tableShape(s.mat, tarvo::MAT_Tdouble);
    const bool wantSq = wanted(sqsum), wantTilted = wanted(tilted);
    Dst ds = makeDst(target(sum), "sum", s, sumShape);
    Dst dq = makeDst(wantSq ? target(sqsum) : py::handle(py::none()), "sqsum", s, sqShape);
    Dst dt = makeDst(wantTilted ? target(tilted) : py::handle(py::none()), "tilted", s, sumShape);
    if (ds.inPlace || dq.inPlace || dt.inPlace)
        throw py::value_error("an integral table cannot be written over its source");
    nogil([&] {
        if (wantTilted)
            ip::integralImage(s.mat, ds.mat, dt.mat, dq.mat);
        else if (wantSq)
            ip::integralImage(s.mat, ds.mat, dq.mat);
        else
            ip::integralImage(s.mat, ds.mat);
    });
    if (wantTilted) return py::make_tuple(ds.result(), dt.result(), dq.result());
    if (wantSq) return py::make_tuple(ds.result(), dq.result());
    return ds.result();
}

py::object pyramid(bool down, py::handle src, py::handle size, int borderType, py::handle dst) {
    InArray s = matFromArray(src, "src");
    tarvo::Size_<int> sz = toSize(size, "dstsize");
    int w = sz.width, h = sz.height;
    if (w <= 0 || h <= 0) {
        w = down ? (s.mat.cols() + 1) / 2 : 2 * s.mat.cols();
        h = down ? (s.mat.rows() + 1) / 2 : 2 * s.mat.rows();
    }
    Dst d = makeDst(dst, "dst", s, shapeOf(h, w, s.mat.type(), s.mat.channels()));
    if (d.inPlace) throw py::value_error("dst: a pyramid level cannot be written over its source");
    nogil([&] {
        if (down)
            ip::pyrDown(s.mat, d.mat, sz, borderType);
        else
            ip::pyrUp(s.mat, d.mat, sz, borderType);
    });
    return d.result();
}

const char* const kAnySrc = "image of any dtype and channel count";

void bindIntegral(py::module_&, py::module_& m) {
    m.def("integralImage", &integralImage, "src"_a, py::kw_only(), "sum"_a = py::none(),
          "sqsum"_a = py::none(), "tilted"_a = py::none(),
          Doc("integralImage(src, *, sum=None, sqsum=None, tilted=None) -> sum | (sum, sqsum) | "
              "(sum, tilted, sqsum)")
              .what("Summed-area tables with one row and one column more than src: row 0 and "
                    "column 0 are zero and entry (y, x) is the sum over the rows above y and the "
                    "columns left of x, per channel. The tilted table sums the upward-opening "
                    "45-degree triangle whose apex is src pixel (y - 1, x - 1).")
              .arg("src", kAnySrc)
              .arg("sum",
                   "array to write the sums into, or None: int32 for uint8 and int32 "
                   "sources (wrapping modulo 2^32), float64 otherwise")
              .arg("sqsum",
                   "None/False: not computed; True: a new float64 table of squares; "
                   "an array: written in place")
              .arg("tilted",
                   "as sqsum, for the tilted table (same dtype as sum); asking for it "
                   "computes sqsum too")
              .returns("sum alone, (sum, sqsum), or (sum, tilted, sqsum) when tilted is asked "
                       "for (the C++ argument order)")
              .refused("an empty src gives empty arrays (tables given: unchanged)")
              .c_str());
    m.def(
        "integralSquareImage",
        [](py::handle src, py::handle dst) {
            InArray s = matFromArray(src, "src");
            Dst d = makeDst(dst, "dst", s, tableShape(s.mat, tarvo::MAT_Tdouble));
            if (d.inPlace) throw py::value_error("dst: cannot be written over src");
            nogil([&] { ip::integralSquareImage(s.mat, d.mat); });
            return d.result();
        },
        "src"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("integralSquareImage(src, *, dst=None) -> ndarray")
            .what("The square-sum table alone, float64, (rows + 1, cols + 1).")
            .arg("src", kAnySrc)
            .arg("dst", kDstHelp)
            .refused("an empty src gives an empty array (dst given: unchanged)")
            .c_str());
    m.def(
        "integralTiltedImage",
        [](py::handle src, py::handle sum, py::handle tilted) {
            InArray s = matFromArray(src, "src");
            const Shape sh = tableShape(s.mat, sumDepth(s.mat.type()));
            Dst ds = makeDst(sum, "sum", s, sh), dt = makeDst(tilted, "tilted", s, sh);
            if (ds.inPlace || dt.inPlace)
                throw py::value_error("an integral table cannot be written over its source");
            nogil([&] { ip::integralTiltedImage(s.mat, ds.mat, dt.mat); });
            return py::make_tuple(ds.result(), dt.result());
        },
        "src"_a, py::kw_only(), "sum"_a = py::none(), "tilted"_a = py::none(),
        Doc("integralTiltedImage(src, *, sum=None, tilted=None) -> (sum, tilted)")
            .what("The upright and the tilted sum tables (see integralImage).")
            .arg("src", kAnySrc)
            .arg("sum, tilted", "arrays to write into, or None")
            .refused("an empty src gives empty arrays (tables given: unchanged)")
            .c_str());
    m.def(
        "sumIntegralImage",
        [](py::handle sum, py::handle r) {
            InArray s = matFromArray(sum, "sum");
            const tarvo::Rect_<int> rect = toRect(r, "r");
            return ip::sumIntegralImage(s.mat, rect);
        },
        "sum"_a, "r"_a,
        Doc("sumIntegralImage(sum, r) -> float")
            .what("Sum of the source over rectangle r read from channel 0 of an upright or "
                  "tilted table: sum[y][x] + sum[y+h][x+w] - sum[y][x+w] - sum[y+h][x]; int32 "
                  "tables in wrapping int arithmetic, float64 tables in double.")
            .arg("sum", "a table from integralImage")
            .arg("r", "Rect(x, y, width, height) or any 4 numbers, in source pixels")
            .refused("other dtypes, negative sizes or corners outside the table give 0.0")
            .c_str());
    m.def(
        "pyrDown",
        [](py::handle src, py::handle size, int borderType, py::handle dst) {
            return pyramid(true, src, size, borderType, dst);
        },
        "src"_a, "dstsize"_a = py::make_tuple(0, 0),
        "borderType"_a = int(tarvo::BorderMirrorNoEdge), py::kw_only(), "dst"_a = py::none(),
        Doc("pyrDown(src, dstsize=(0, 0), borderType=BorderMirrorNoEdge, *, dst=None) -> ndarray")
            .what("Gaussian 5-tap (1 4 6 4 1)^2 / 256 smoothing and halving.")
            .arg("src", "uint8, int16, float32 or float64 image, any channel count")
            .arg("dstsize",
                 "(width, height); a non-positive component means ((cols + 1) // 2, "
                 "(rows + 1) // 2)")
            .arg("borderType", "0..4 (BorderFill reads zeros); bit 16 is ignored")
            .arg("dst", kDstHelp)
            .refused("int32 or empty sources and other border codes give an empty array (dst "
                     "given: unchanged)")
            .c_str());
    m.def(
        "pyrUp",
        [](py::handle src, py::handle size, int borderType, py::handle dst) {
            return pyramid(false, src, size, borderType, dst);
        },
        "src"_a, "dstsize"_a = py::make_tuple(0, 0),
        "borderType"_a = int(tarvo::BorderMirrorNoEdge), py::kw_only(), "dst"_a = py::none(),
        Doc("pyrUp(src, dstsize=(0, 0), borderType=BorderMirrorNoEdge, *, dst=None) -> ndarray")
            .what("Doubling with the 5-tap kernel times 4 (even outputs 1 6 1, odd 4 4 per axis, "
                  "/ 64). Columns past the edges always mirror without repeating the edge.")
            .arg("src", "uint8, int16, float32 or float64 image, any channel count")
            .arg("dstsize", "(width, height); a non-positive component means (2 cols, 2 rows)")
            .arg("borderType", "rows: 0..4 (BorderFill reads zero rows); bit 16 is ignored")
            .arg("dst", kDstHelp)
            .refused("as pyrDown")
            .c_str());
    m.def(
        "copyMakeBorder",
        [](py::handle src, int top, int bottom, int left, int right, int borderType,
           py::handle value, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const tarvo::Point4_<double> v = toScalar(value, "value");
            const long long rows = (long long)s.mat.rows() + top + bottom;
            const long long cols = (long long)s.mat.cols() + left + right;
            if (rows > INT_MAX || cols > INT_MAX)
                throw py::value_error("the padded size is too large");
            Dst d = makeDst(dst, "dst", s,
                            shapeOf(int(rows), int(cols), s.mat.type(), s.mat.channels()));
            if (d.inPlace) throw py::value_error("dst: a padded image cannot be written over src");
            nogil(
                [&] { ip::copyMakeBorder(s.mat, d.mat, top, bottom, left, right, borderType, v); });
            return d.result();
        },
        "src"_a, "top"_a, "bottom"_a, "left"_a, "right"_a, "borderType"_a, "value"_a = 0.0,
        py::kw_only(), "dst"_a = py::none(),
        Doc("copyMakeBorder(src, top, bottom, left, right, borderType, value=0, *, dst=None) -> "
            "ndarray")
            .what("Pads src by the given margins (pixels) into a larger image of the same dtype.")
            .arg("src", kAnySrc)
            .arg("top, bottom, left, right", "margins in pixels, not negative")
            .arg("borderType",
                 "BorderClamp .. BorderMirrorNoEdge repeat source samples; "
                 "BorderFill (0) fills with value; bit 16 is ignored")
            .arg("value",
                 "fill of BorderFill: a number, or up to 4 per channel (channels beyond "
                 "4 repeat the first four)")
            .arg("dst", kDstHelp)
            .refused("negative margins, an empty src or an unknown code give an empty array (dst "
                     "given: unchanged)")
            .c_str());
    m.def(
        "createPyramid",
        [](py::handle src, int minSize, float scaleFactor, py::object window, py::object object) {
            InArray s = matFromArray(src, "src");
            tarvo::MatPtrList list;
            const bool windowed = !window.is_none() || !object.is_none();
            tarvo::Size_<int> win, obj;
            if (windowed) {
                if (window.is_none() || object.is_none())
                    throw py::value_error("window and minObject go together");
                win = toSize(window, "window");
                obj = toSize(object, "minObject");
            }
            nogil([&] {
                if (windowed)
                    ip::createPyramid(s.mat, list, minSize, scaleFactor, win.width, win.height,
                                      obj.width, obj.height);
                else
                    ip::createPyramid(s.mat, list, minSize, scaleFactor);
            });
            py::list levels, scales;
            for (int i = 0; i < list.count(); i++) {
                Mat* f = list[i];
                levels.append(f ? arrayFromMat(std::move(*f)) : arrayFromMat(Mat()));
                scales.append(list.getScale(i));
            }
            return py::make_tuple(levels, scales);
        },
        "src"_a, "minSize"_a, "scaleFactor"_a, "window"_a = py::none(), "minObject"_a = py::none(),
        Doc("createPyramid(src, minSize, scaleFactor, window=None, minObject=None) -> (levels, "
            "scales)")
            .what("float32 image pyramid: level 0 is src in float32 (scale 1), level i src "
                  "reduced by scaleFactor^i with the corner-to-corner bilinear scaler, down to "
                  "minSize. With window (w, h) and minObject (w, h), the pyramid starts from the "
                  "scale at which an object of minObject fills a detector window: s0 = min(ow / "
                  "ww, oh / wh), level i reduced by s0 * scaleFactor^i.")
            .arg("src", kAnySrc)
            .arg("minSize", "smallest side of the last level, in pixels")
            .arg("scaleFactor", "reduction between levels, above 1")
            .returns("a list of float32 arrays and the list of their reductions")
            .refused("a source below minSize, minSize < 1 or a factor not above 1 give level 0 "
                     "alone; an empty src, or with window non-positive sizes, give empty lists")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(integral, bindIntegral);

}  // namespace tarvopy
