// Front ends of the filter engine: filter2D, sepFilter2D and the border helpers.
#include <cstring>

#include "tarvo/ip/filter.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

// Output type of a filter with ddepth (negative: the source's depth). Depths
// the library has no element type for are left to the library to refuse.
Shape filterShape(const Mat& src, int ddepth) {
    const int depth = ddepth < 0 ? src.type() : ddepth;
    if (depth < 1 || depth > 5) return shapeOf(src.rows(), src.cols(), -1, src.channels());
    return shapeOf(src.rows(), src.cols(), depth, src.channels());
}

// The filters leave a destination they refuse to fill created but unwritten:
// start a new one cleared so such a result reads as zeros.
void startCleared(Dst& d, const Shape& want) {
    if (!d.user.is_none() || want.type1 < 0 || want.rows <= 0) return;
    if (d.mat.create(want.rows, want.cols, want.type1) >= 0) d.mat.zero();
}

py::object filter2D(py::handle src, int ddepth, py::handle kernel, py::handle anchor, double delta,
                    int borderType, py::handle dst) {
    InArray s = matFromArray(src, "src");
    InArray k = matFromArrayLike(kernel, "kernel");
    const tarvo::Point2_<int> a = toPoint(anchor, "anchor");
    const Shape want = filterShape(s.mat, ddepth);
    Dst d = makeDst(dst, "dst", s, want);
    startCleared(d, want);
    return callInto(s, d, [&](const Mat& x, Mat& y) {
        ip::filter2D(x, y, ddepth, k.mat, a, delta, borderType);
    });
}

py::object sepFilter2D(py::handle src, int ddepth, py::handle rowKernel, py::handle columnKernel,
                       py::handle anchor, double delta, int borderType, py::handle dst) {
    InArray s = matFromArray(src, "src");
    InArray kx = matFromArrayLike(rowKernel, "rowKernel");
    InArray ky = matFromArrayLike(columnKernel, "columnKernel");
    const tarvo::Point2_<int> a = toPoint(anchor, "anchor");
    const Shape want = filterShape(s.mat, ddepth);
    Dst d = makeDst(dst, "dst", s, want);
    startCleared(d, want);
    return callInto(s, d, [&](const Mat& x, Mat& y) {
        ip::sepFilter2D(x, y, ddepth, kx.mat, ky.mat, a, delta, borderType);
    });
}

const char* const kFilterRefused =
    "an empty src or kernel gives an empty array (dst given: unchanged); an unsupported depth "
    "pair, an anchor outside the kernel or an unknown border mode give a new array of zeros "
    "(dst given: unchanged)";
const char* const kBorderHelp =
    "BorderFill (0, reads zeros), BorderClamp (1), BorderMirror (2), BorderWrap (3), "
    "BorderMirrorNoEdge (4); BorderIsolatedBit (16) is ignored";

void bindFilter(py::module_&, py::module_& m) {
    m.def("filter2D", &filter2D, "src"_a, "ddepth"_a, "kernel"_a,
          "anchor"_a = py::make_tuple(-1, -1), "delta"_a = 0.0,
          "borderType"_a = int(tarvo::BorderClamp), py::kw_only(), "dst"_a = py::none(),
          Doc("filter2D(src, ddepth, kernel, anchor=(-1, -1), delta=0, borderType=BorderClamp, "
              "*, dst=None) -> ndarray")
              .what("Correlation of every channel of src with a two-dimensional kernel: "
                    "dst(y, x) = delta + sum kernel(j, i) * src(y + j - anchor.y, x + i - "
                    "anchor.x), converted to ddepth with rounding and saturation.")
              .arg("src", "image of any dtype and channel count")
              .arg("ddepth",
                   "result depth: MAT_Tuchar (1), MAT_Tshort (2), MAT_Tint (3), MAT_Tfloat (4), "
                   "MAT_Tdouble (5), or -1 for src's")
              .arg("kernel",
                   "one-channel kernel (array or nested lists; any dtype the library "
                   "has, others become float64)")
              .arg("anchor", "(x, y) of the kernel tap over the output pixel; -1 is the centre")
              .arg("delta", "added to every sum")
              .arg("borderType", kBorderHelp)
              .arg("dst", kDstHelp)
              .returns("dst: src's size and channels, depth ddepth")
              .refused(kFilterRefused)
              .c_str());
    m.def("sepFilter2D", &sepFilter2D, "src"_a, "ddepth"_a, "rowKernel"_a, "columnKernel"_a,
          "anchor"_a = py::make_tuple(-1, -1), "delta"_a = 0.0,
          "borderType"_a = int(tarvo::BorderClamp), py::kw_only(), "dst"_a = py::none(),
          Doc("sepFilter2D(src, ddepth, rowKernel, columnKernel, anchor=(-1, -1), delta=0, "
              "borderType=BorderClamp, *, dst=None) -> ndarray")
              .what("Separable correlation: rowKernel along x, then columnKernel along y, plus "
                    "delta, converted to ddepth. Same rules as filter2D.")
              .arg("src", "image of any dtype and channel count")
              .arg("ddepth", "result depth 1..5, or -1 for src's")
              .arg("rowKernel", "one row or column of taps")
              .arg("columnKernel", "one row or column of taps")
              .arg("anchor", "(x, y) in the kernels; -1 is the centre")
              .arg("delta", "added to every sum")
              .arg("borderType", kBorderHelp)
              .arg("dst", kDstHelp)
              .returns("dst: src's size and channels, depth ddepth")
              .refused(kFilterRefused)
              .c_str());
    m.def("borderInterpolate", &ip::borderInterpolate, "p"_a, "len"_a, "mode"_a,
          Doc("borderInterpolate(p, len, mode) -> int")
              .what("Source index of coordinate p on a line of len samples under a border "
                    "mode: p itself inside [0, len); BorderClamp the nearest end; BorderMirror "
                    "and BorderMirrorNoEdge reflect (with / without repeating the edge sample); "
                    "BorderWrap is periodic; BorderFill gives -1.")
              .refused("an unknown mode returns p; a non-positive len gives -1")
              .c_str());
    m.def(
        "normalizeAnchor",
        [](py::handle anchor, py::handle ksize) {
            const tarvo::Point2_<int> a =
                ip::normalizeAnchor(toPoint(anchor, "anchor"), toSize(ksize, "ksize"));
            return py::make_tuple(a.x, a.y);
        },
        "anchor"_a, "ksize"_a,
        Doc("normalizeAnchor(anchor, ksize) -> (x, y)")
            .what("A component of exactly -1 becomes the kernel centre (ksize // 2); any other "
                  "value passes unchanged, without a range check.")
            .arg("anchor", "(x, y)")
            .arg("ksize", "(width, height)")
            .c_str());
    m.def(
        "preprocess2DKernel",
        [](py::handle kernel) {
            InArray k = matFromArrayLike(kernel, "kernel");
            std::vector<tarvo::Point2_<int>> coords;
            std::vector<unsigned char> coeffs;
            nogil([&] { ip::preprocess2DKernel(k.mat, coords, coeffs); });
            py::array_t<int> c({py::ssize_t(coords.size()), py::ssize_t(2)});
            auto cv = c.mutable_unchecked<2>();
            for (size_t i = 0; i < coords.size(); i++) {
                cv(i, 0) = coords[i].x;
                cv(i, 1) = coords[i].y;
            }
            py::array_t<unsigned char> b(py::ssize_t(coeffs.size()));
            if (!coeffs.empty()) std::memcpy(b.mutable_data(), coeffs.data(), coeffs.size());
            return py::make_tuple(c, b);
        },
        "kernel"_a,
        Doc("preprocess2DKernel(kernel) -> (coords, coeffs)")
            .what("Lists the non-zero entries of a one-channel kernel in row-major order: their "
                  "(x, y) as an (n, 2) int32 array and their raw bytes (the element's bytes in "
                  "memory order) as a uint8 array.")
            .refused("a kernel without a non-zero entry gives one zero coefficient at (0, 0); "
                     "an empty or int16 kernel gives two empty arrays")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(filter, bindFilter);

}  // namespace tarvopy
