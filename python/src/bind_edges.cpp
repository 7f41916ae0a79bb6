// Gradients and edges: canny, sobel, laplace, derivative kernels and the
// edge orientation field.
#include "tarvo/ip/edges.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

py::object canny(py::handle src, float low, float high, int mode, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, shapeOf(s.mat.rows(), s.mat.cols(), tarvo::MAT_Tuchar, 1));
    if (d.inPlace) {
        nogil([&] { ip::canny(d.mat, low, high, mode); });
        return d.result();
    }
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::canny(a, b, low, high, mode); });
}

// sobel and laplace write in the depth their destination has: dst's dtype,
// else ddepth, else src's.
template <typename Run>
py::object derivative(py::handle src, int ddepth, py::handle dst, Run run) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, shapeOf(s.mat.rows(), s.mat.cols(), -1, s.mat.channels()));
    if (d.user.is_none() && !s.empty()) {
        const int depth = ddepth >= 1 && ddepth <= 5 ? ddepth : s.mat.type();
        // Cleared, so that a refused call reads as zeros.
        if (d.mat.create(s.mat.rows(), s.mat.cols(), tarvo::MAKETYPE(depth, s.mat.channels())) >= 0)
            d.mat.zero();
    }
    return callInto(s, d, run);
}

const char* const kDepthHelp =
    "Python only: the dtype of a new result as a depth (MAT_Tuchar .. MAT_Tdouble); -1 takes "
    "src's. A given dst keeps its own dtype.";

void bindEdges(py::module_&, py::module_& m) {
    m.def("canny", &canny, "src"_a, "lowThreshold"_a, "highThreshold"_a, "mode"_a = 0,
          py::kw_only(), "dst"_a = py::none(),
          Doc("canny(src, lowThreshold, highThreshold, mode=0, *, dst=None) -> ndarray", "canny")
              .what("Canny edge map of a uint8 image: 255 on edges, 0 elsewhere; the frame is "
                    "always 0.")
              .arg("src", "uint8 image with 1 or 3 channels (others are read as one channel)")
              .argFromTool("lowThreshold", "low", "truncated to int; not swapped with high")
              .argFromTool("highThreshold", "high", "truncated to int")
              .argFromTool("mode", "mode", "any other code finds nothing")
              .arg("dst", kDstHelp)
              .returns("dst: uint8 (rows, cols)")
              .refused("sources under 3 x 3 give all zeros; an empty src gives an empty array")
              .note("The tool's --sigma smooths with gaussian first; here call ip.gaussian "
                    "yourself.")
              .c_str());
    m.def(
        "sobel",
        [](py::handle src, int dx, int dy, int ksize, py::handle dst, int ddepth) {
            return derivative(src, ddepth, dst,
                              [&](const Mat& a, Mat& b) { ip::sobel(a, b, dx, dy, ksize); });
        },
        "src"_a, "dx"_a, "dy"_a, "ksize"_a = 3, py::kw_only(), "dst"_a = py::none(),
        "ddepth"_a = -1,
        Doc("sobel(src, dx, dy, ksize=3, *, dst=None, ddepth=-1) -> ndarray", "sobel")
            .what("Derivative of order (dx, dy) with a Sobel kernel of size ksize, replicated "
                  "border. A uint8 source into int16 is signed; a float source into int16 "
                  "saturates as unsigned, so use float32 for signed output.")
            .arg("src", "image of any dtype and channel count")
            .argFromTool("dx", "dx")
            .argFromTool("dy", "dy")
            .argFromTool("ksize", "ksize")
            .arg("dst",
                 "optional keyword: array of src's size and channels in the dtype wanted "
                 "(written in place; see the other functions)")
            .arg("ddepth", kDepthHelp)
            .returns("dst")
            .refused("orders or sizes the kernels do not serve give zeros; an empty src gives "
                     "an empty array")
            .c_str());
    m.def(
        "laplace",
        [](py::handle src, int selector, py::handle dst, int ddepth) {
            return derivative(src, ddepth, dst,
                              [&](const Mat& a, Mat& b) { ip::laplace(a, b, selector); });
        },
        "src"_a, "selector"_a, py::kw_only(), "dst"_a = py::none(), "ddepth"_a = -1,
        Doc("laplace(src, selector, *, dst=None, ddepth=-1) -> ndarray", "laplace")
            .what("3 x 3 Laplacian with replicated border: selector 1 (0 1 0 / 1 -4 1 / 0 1 0) or "
                  "3 (2 0 2 / 0 -8 0 / 2 0 2). float results keep the sign; int16 saturates as "
                  "unsigned.")
            .arg("src", "image of any dtype and channel count")
            .argFromTool("selector", "selector")
            .arg("dst", "optional keyword: array of src's size and channels in the dtype wanted")
            .arg("ddepth", kDepthHelp)
            .returns("dst")
            .refused("another selector gives zeros (dst given: unchanged); an empty src gives an "
                     "empty array")
            .c_str());
    m.def(
        "getDerivKernels",
        [](int dx, int dy, int ksize, bool normalize, int ktype) {
            Mat kx, ky;
            ip::getDerivKernels(kx, ky, dx, dy, ksize, normalize, ktype);
            return py::make_tuple(arrayFromMat(std::move(kx)), arrayFromMat(std::move(ky)));
        },
        "dx"_a, "dy"_a, "ksize"_a, "normalize"_a = false, "ktype"_a = int(tarvo::MAT_Tfloat),
        Doc("getDerivKernels(dx, dy, ksize, normalize=False, ktype=MAT_Tfloat) -> (kx, ky)")
            .what("Derivative kernels as (size, 1) columns: ksize > 0 gives Sobel kernels (size 1 "
                  "becomes 3 in a direction of order > 0), ksize <= 0 3-tap Scharr kernels. "
                  "normalize scales Sobel by 1 / 2^(n - order - 1) and Scharr order 0 by 1/32.")
            .arg("dx, dy", "derivative orders")
            .arg("ksize", "kernel size")
            .arg("ktype", "depth of the kernels, MAT_Tfloat or MAT_Tdouble")
            .refused("sizes or orders above 31 and bad depths give two empty arrays")
            .c_str());
    m.def(
        "edgeOrientaitonField",
        [](py::handle src, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const int r = s.mat.rows() >= 2 ? s.mat.rows() - 2 : 0;
            const int c = s.mat.cols() >= 2 ? s.mat.cols() - 2 : 0;
            Dst d = makeDst(dst, "dst", s, shapeOf(r, c, tarvo::MAT_Tuchar, 1));
            if (d.inPlace) throw py::value_error("dst: cannot be written over src");
            nogil([&] { ip::edgeOrientaitonField(s.mat, d.mat); });
            return d.result();
        },
        "src"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("edgeOrientaitonField(src, *, dst=None) -> ndarray")
            .what("Orientation field of a uint8 image: pixel (y, x) of the (rows - 2, cols - 2) "
                  "uint8 result holds the code of source pixel (y + 1, x + 1), 0..35 for 36 "
                  "sectors of 10 degrees (right 0, down 9, left 18, up 27), 36 for none.")
            .arg("src", "uint8 image, one channel")
            .arg("dst", kDstHelp)
            .refused("an empty src gives an empty array")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(edges, bindEdges);

}  // namespace tarvopy
