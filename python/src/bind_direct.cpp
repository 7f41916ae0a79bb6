// Median filter and the direct integer-kernel filters.
#include <climits>
#include <string>
#include <vector>

#include "points.h"
#include "tarvo/ip/filter.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

// A kernel argument as a flat list of taps: integers when its dtype is an
// integer one (or a nested list of whole numbers), else floats.
struct Taps {
    std::vector<int> i;
    std::vector<float> f;
    bool isFloat = false;
    py::ssize_t rows = 0, cols = 0;
    int count() const { return int(isFloat ? f.size() : i.size()); }
};

Taps tapsOf(py::handle obj, const char* name) {
    py::module_ np = py::module_::import("numpy");
    py::array a;
    try {
        a = np.attr("asarray")(obj);
    } catch (py::error_already_set&) {
        throw py::type_error(std::string(name) + " must be a numeric array");
    }
    const char kind = a.dtype().kind();
    if (kind != 'i' && kind != 'u' && kind != 'f' && kind != 'b')
        throw py::type_error(std::string(name) + ": dtype " + std::string(py::str(a.dtype())) +
                             " is not a kernel type");
    if (a.ndim() == 0 || a.ndim() > 2)
        throw py::value_error(std::string(name) + " must have 1 or 2 dimensions");
    if (a.size() > (1 << 24)) throw py::value_error(std::string(name) + " is too large");
    Taps t;
    t.rows = a.ndim() == 2 ? a.shape(0) : 1;
    t.cols = a.ndim() == 2 ? a.shape(1) : a.shape(0);
    t.isFloat = kind == 'f';
    if (t.isFloat) {
        py::array_t<float> c = np.attr("ascontiguousarray")(a, "dtype"_a = "float32");
        t.f.assign(c.data(), c.data() + c.size());
    } else {
        if (a.size() > 0 &&
            (a.attr("min")().cast<double>() < INT_MIN || a.attr("max")().cast<double>() > INT_MAX))
            throw py::value_error(std::string(name) + ": taps outside the int32 range");
        py::array_t<int> c = np.attr("ascontiguousarray")(a, "dtype"_a = "int32");
        t.i.assign(c.data(), c.data() + c.size());
    }
    return t;
}

py::object median(py::handle src, int window, int kind, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    const auto k = tarvo::filterintype(kind);
    if (d.inPlace) {
        nogil([&] { ip::median(d.mat, window, k); });
        return d.result();
    }
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::median(a, b, window, k); });
}

py::object convolve2(py::handle src, py::handle kernel, double divisor, int offset, int kind,
                     py::handle area, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Taps t = tapsOf(kernel, "kernel");
    const bool square = !area.is_none() || kind == tarvo::FilterSquare;
    if (square && t.rows != t.cols)
        throw py::value_error("kernel: a square kernel (size x size) is needed, got " +
                              std::to_string(t.rows) + " x " + std::to_string(t.cols));
    if (!square && t.rows != 1 && t.cols != 1)
        throw py::value_error("kernel: one row or one column of taps is needed");
    const int size = int(square ? t.cols : t.rows * t.cols);
    if (!area.is_none() && t.isFloat)
        throw py::type_error("kernel: the area form takes integer taps");
    if (!t.isFloat && (!(divisor >= INT_MIN && divisor <= INT_MAX) || divisor != int(divisor)))
        throw py::value_error("divisor: an integer kernel takes a whole divisor");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    if (!area.is_none()) {
        const tarvo::Rect_<int> r = toRect(area, "area");
        return callInto(s, d, [&](const Mat& a, Mat& b) {
            ip::convolve2(a, b, t.i.data(), size, int(divisor), offset, r);
        });
    }
    const auto k = tarvo::filterintype(kind);
    return callInto(s, d, [&](const Mat& a, Mat& b) {
        if (t.isFloat)
            ip::convolve2(a, b, t.f.data(), size, float(divisor), offset, k);
        else
            ip::convolve2(a, b, t.i.data(), size, int(divisor), offset, k);
    });
}

py::object convolve2sep(py::handle src, py::handle kernel, double divisor, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Taps t = tapsOf(kernel, "kernel");
    if (t.rows != 1 && t.cols != 1)
        throw py::value_error("kernel: one row or one column of taps is needed");
    if (!t.isFloat && (!(divisor >= INT_MIN && divisor <= INT_MAX) || divisor != int(divisor)))
        throw py::value_error("divisor: an integer kernel takes a whole divisor");
    const int size = t.count();
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    return callInto(s, d, [&](const Mat& a, Mat& b) {
        if (t.isFloat)
            ip::convolve2sep(a, b, t.f.data(), size, float(divisor));
        else
            ip::convolve2sep(a, b, t.i.data(), size, int(divisor));
    });
}

void bindDirect(py::module_&, py::module_& m) {
    m.attr("FilterSquare") = int(tarvo::FilterSquare);
    m.attr("FilterVec") = int(tarvo::FilterVec);
    m.attr("FilterHorizontal") = int(tarvo::FilterHorizontal);
    m.attr("FilterVertical") = int(tarvo::FilterVertical);

    m.def("median", &median, "src"_a, "window"_a, "kind"_a = int(tarvo::FilterSquare),
          py::kw_only(), "dst"_a = py::none(),
          Doc("median(src, window, kind=FilterSquare, *, dst=None) -> ndarray")
              .what("Median of the window about every pixel, the window shrinking at the image "
                    "edges. FilterHorizontal is a 1 x window line, FilterVertical a window x 1 "
                    "line (one channel only); any other kind a window x window square, each "
                    "channel on its own.")
              .arg("src", "uint8, int16 or int32 image")
              .arg("window", "window width (and height) in pixels, 1 or more")
              .arg("kind", "FilterSquare (0), FilterHorizontal (2) or FilterVertical (3)")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("a window below 1, an empty src, float data or a line kind on several "
                       "channels give an empty array (dst given: unchanged)")
              .c_str());
    m.def(
        "convolve2", &convolve2, "src"_a, "kernel"_a, "divisor"_a, "offset"_a = 0,
        "kind"_a = int(tarvo::FilterSquare), py::kw_only(), "area"_a = py::none(),
        "dst"_a = py::none(),
        Doc("convolve2(src, kernel, divisor, offset=0, kind=FilterSquare, *, area=None, "
            "dst=None) -> ndarray")
            .what("Direct integer filter: offset + sum / divisor (truncating), bytes clamped "
                  "to 0..255; pixels whose window crosses the edge keep the source value (the "
                  "square kind also counts the pixels exactly half a window from the top and "
                  "left edges as crossing). "
                  "kind FilterSquare takes a size x size kernel, FilterHorizontal and "
                  "FilterVertical one line of taps. With area=(x, y, width, height) the "
                  "square kernel runs only inside the area of a one-channel uint8 image "
                  "(clipped; max(result, 0) capped at 255) and the rest of dst is 0.")
            .arg("src", "uint8 or float32 image (area form: uint8, one channel)")
            .arg("kernel",
                 "integer taps (array or nested lists); a float kernel is accepted and does "
                 "nothing, as in C++")
            .arg("divisor", "whole number; 0 acts as 1")
            .arg("offset", "added to every result")
            .arg("kind", "FilterSquare (0), FilterHorizontal (2) or FilterVertical (3)")
            .arg("area", "optional keyword: Rect or any four numbers")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused("a float kernel, FilterVec, an empty src or another dtype give an empty "
                     "array (dst given: unchanged); a kernel of the wrong shape raises ValueError")
            .c_str());
    m.def("convolve2sep", &convolve2sep, "src"_a, "kernel"_a, "divisor"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("convolve2sep(src, kernel, divisor, *, dst=None) -> ndarray")
              .what("The same line of taps along x, then along y, centred, summing only the taps "
                    "inside the image and dividing by the full divisor (0 acts as 1), so edges "
                    "darken. uint8 passes truncate then saturate.")
              .arg("src", "uint8 or float32 image, any channel count")
              .arg("kernel", "one row or column of integer or float taps")
              .arg("divisor", "whole number for integer taps")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("an empty src or kernel gives an empty array (dst given: unchanged); an "
                       "integer kernel on another dtype gives a copy of src")
              .c_str());
    m.def(
        "kernelFactor",
        [](py::handle kernel) -> py::object {
            Taps t = tapsOf(kernel, "kernel");
            if (t.isFloat) return py::float_(ip::kernelFactor(t.f.data(), t.count()));
            return py::int_(ip::kernelFactor(t.i.data(), t.count()));
        },
        "kernel"_a,
        Doc("kernelFactor(kernel) -> int or float")
            .what("Sum of the taps, the natural divisor of a smoothing kernel. Integer taps sum "
                  "in 32-bit arithmetic that wraps.")
            .arg("kernel", "integer or float taps (array or nested lists)")
            .refused("an empty kernel gives 0")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(direct, bindDirect);

}  // namespace tarvopy
