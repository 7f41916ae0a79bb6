// Resizing.
#include <climits>
#include <cmath>

#include "tarvo/ip/geometry.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

py::object resizeTo(py::handle src, int width, int height, int interpolation, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, shapeOf(height, width, s.mat.type(), s.mat.channels()));
    return callInto(s, d,
                    [&](const Mat& a, Mat& b) { ip::resize(a, b, width, height, interpolation); });
}

py::object resizeBy(py::handle src, float scale, py::handle dst) {
    InArray s = matFromArray(src, "src");
    // The factor form's size: (int)(cols * scale + 0.5), likewise for rows.
    const double w = std::floor(double(s.mat.cols()) * scale + 0.5);
    const double h = std::floor(double(s.mat.rows()) * scale + 0.5);
    const int wi = w >= 0 && w <= INT_MAX ? int(w) : 0, hi = h >= 0 && h <= INT_MAX ? int(h) : 0;
    Dst d = makeDst(dst, "dst", s, shapeOf(hi, wi, s.mat.type(), s.mat.channels()));
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::resize(a, b, scale); });
}

void bindGeometry(py::module_&, py::module_& m) {
    m.attr("ResizeScaleXY") = int(ip::ResizeScaleXY);
    m.attr("ResizeLinear") = int(ip::ResizeLinear);
    m.attr("ResizeCubic") = int(ip::ResizeCubic);
    m.attr("ResizeArea") = int(ip::ResizeArea);
    m.attr("ResizeLanczos4") = int(ip::ResizeLanczos4);
    m.def("resize", &resizeTo, "src"_a, "width"_a, "height"_a,
          "interpolation"_a = int(ip::ResizeScaleXY), py::kw_only(), "dst"_a = py::none(),
          Doc("resize(src, width, height, interpolation=ResizeScaleXY, *, dst=None) -> ndarray\n"
              "resize(src, scale, *, dst=None) -> ndarray",
              "resize")
              .arg("src", "image of any dtype and channel count (int32 only with ResizeScaleXY)")
              .argFromTool("width", "width")
              .argFromTool("height", "height")
              .argFromTool("interpolation", "interpolation",
                           "ResizeScaleXY, ResizeLinear, ResizeCubic, ResizeArea, ResizeLanczos4")
              .arg("scale",
                   "factor form (a float in place of width and height): width = "
                   "(int)(cols * scale + 0.5), height likewise, with ResizeScaleXY")
              .arg("dst", kDstHelp)
              .returns("dst of shape (height, width[, channels]) and src's dtype")
              .refused("an empty src, a non-positive or too large size, an unknown code, int32 "
                       "data with codes 1 to 4, or a NaN or negative factor give an empty array "
                       "(dst given: unchanged)")
              .c_str());
    m.def("resize", &resizeBy, "src"_a, "scale"_a, py::kw_only(), "dst"_a = py::none());
}

}  // namespace

TARVO_PY_FAMILY(geometry, bindGeometry);

}  // namespace tarvopy
