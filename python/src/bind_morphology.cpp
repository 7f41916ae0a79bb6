// Morphology: erode, dilate, opening, closing (element and binary window
// forms) and structuring elements.
#include "tarvo/ip/morphology.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

using ElementFn = void (*)(const Mat&, Mat&, const Mat&, tarvo::Point2_<int>, int, int,
                           const tarvo::Point4_<double>&);
using BinaryFn = void (*)(const Mat&, Mat&, int, int);
using BinaryInPlaceFn = void (*)(Mat&, int, int);

py::object elementForm(ElementFn f, py::handle src, py::handle element, py::handle anchor,
                       int iterations, int borderType, py::handle borderValue, py::handle dst) {
    InArray s = matFromArray(src, "src");
    InArray e;
    if (!element.is_none()) e = matFromArrayLike(element, "element");
    const tarvo::Point2_<int> a = toPoint(anchor, "anchor");
    const tarvo::Point4_<double> bv = borderValue.is_none() ? ip::morphologyNeutralBorder()
                                                            : toScalar(borderValue, "borderValue");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    return callInto(s, d,
                    [&](const Mat& x, Mat& y) { f(x, y, e.mat, a, iterations, borderType, bv); });
}

py::object binaryForm(BinaryFn f, BinaryInPlaceFn inPlace, py::handle src, int kw, int kh,
                      py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, shapeOf(s.mat.rows(), s.mat.cols(), tarvo::MAT_Tuchar, 1));
    if (d.inPlace) {
        nogil([&] { inPlace(d.mat, kw, kh); });
        return d.result();
    }
    return callInto(s, d, [&](const Mat& x, Mat& y) { f(x, y, kw, kh); });
}

const char* const kElementRefused =
    "an empty src, int32 data, negative iterations, an unknown border mode or an anchor outside "
    "the element give an empty array (dst given: unchanged)";
const char* const kBinaryRefused =
    "an empty src or a negative size gives an empty array (dst given: unchanged)";
const char* const kMorphSrc =
    "uint8, int16, float32 or float64 image, any channel count (each "
    "channel on its own)";
Doc elementDoc(const char* signature, const char* tool, const char* what) {
    Doc d(signature, tool);
    if (what) d.what(what);
    d.arg("src", kMorphSrc)
        .arg("element",
             "structuring element, set where non-zero (see getStructuringElement); None or empty "
             "is a 3 x 3 rectangle")
        .arg("anchor", "(x, y) in the element; -1 is the centre")
        .argFromTool("iterations", "iterations")
        .arg("borderType",
             "BorderFill (0) .. BorderMirrorNoEdge (4); BorderIsolatedBit (16) is ignored")
        .arg("borderValue",
             "fill of BorderFill: a number or up to 4 per channel; None is the neutral value "
             "(edges neither darken nor brighten)")
        .arg("kernelWidth, kernelHeight",
             "binary window form (when these two ints follow src; src is read as bytes, one per "
             "column): window size in pixels, 0 acts as 1")
        .arg("dst", kDstHelp)
        .returns("dst: src's shape and dtype; binary form: uint8 (rows, cols) of 0 and 255")
        .refused(
            std::string(kElementRefused).append("; binary form: ").append(kBinaryRefused).c_str());
    return d;
}

void defMorph(py::module_& m, const char* name, ElementFn f, BinaryFn bf, BinaryInPlaceFn bi,
              bool elementDefault, const char* doc) {
    m.def(
        name,
        [bf, bi](py::handle src, int kw, int kh, py::handle dst) {
            return binaryForm(bf, bi, src, kw, kh, dst);
        },
        "src"_a, "kernelWidth"_a, "kernelHeight"_a, py::kw_only(), "dst"_a = py::none(), doc);
    auto element = [f](py::handle src, py::handle element, py::handle anchor, int iterations,
                       int borderType, py::handle borderValue, py::handle dst) {
        return elementForm(f, src, element, anchor, iterations, borderType, borderValue, dst);
    };
    if (elementDefault)
        m.def(name, element, "src"_a, "element"_a = py::none(), "anchor"_a = py::make_tuple(-1, -1),
              "iterations"_a = 1, "borderType"_a = int(tarvo::BorderFill),
              "borderValue"_a = py::none(), py::kw_only(), "dst"_a = py::none());
    else
        m.def(name, element, "src"_a, "element"_a, "anchor"_a = py::make_tuple(-1, -1),
              "iterations"_a = 1, "borderType"_a = int(tarvo::BorderFill),
              "borderValue"_a = py::none(), py::kw_only(), "dst"_a = py::none());
}

void bindMorphology(py::module_&, py::module_& m) {
    m.attr("MorphErode") = int(ip::MorphErode);
    m.attr("MorphDilate") = int(ip::MorphDilate);
    m.attr("MorphRect") = int(ip::MorphRect);
    m.attr("MorphCross") = int(ip::MorphCross);
    m.attr("MorphEllipse") = int(ip::MorphEllipse);

    m.def(
        "getStructuringElement",
        [](int shape, py::handle ksize, py::handle anchor) {
            const tarvo::Size_<int> k = toSize(ksize, "ksize");
            const tarvo::Point2_<int> a = toPoint(anchor, "anchor");
            return arrayFromMat(ip::getStructuringElement(shape, k, a));
        },
        "shape"_a, "ksize"_a, "anchor"_a = py::make_tuple(-1, -1),
        Doc("getStructuringElement(shape, ksize, anchor=(-1, -1)) -> ndarray")
            .what("uint8 structuring element (1 set, 0 clear) of ksize: MorphRect all set; "
                  "MorphCross the anchor's row and column; MorphEllipse the ellipse inscribed in "
                  "ksize. 1 x 1 is always a rectangle.")
            .arg("shape", "MorphRect (0), MorphCross (1) or MorphEllipse (2)")
            .arg("ksize", "(width, height) in pixels")
            .arg("anchor", "(x, y); -1 is the centre")
            .returns("array of shape (height, width)")
            .refused("a bad shape code, a non-positive size or an anchor outside ksize give an "
                     "empty array")
            .c_str());

    defMorph(m, "erode", &ip::erode, &ip::erode, &ip::erode, true,
             elementDoc("erode(src, element=None, anchor=(-1, -1), iterations=1, "
                        "borderType=BorderFill, borderValue=None, *, dst=None) -> ndarray\n"
                        "erode(src, kernelWidth, kernelHeight, *, dst=None) -> ndarray",
                        "erode", nullptr)
                 .note("Binary window form: 255 where every byte of the window is exactly 255, "
                       "else 0; a band of kernelHeight // 2 rows and kernelWidth // 2 columns "
                       "along the edges keeps dst's previous pixels (0 for a new array).")
                 .c_str());
    defMorph(m, "dilate", &ip::dilate, &ip::dilate, &ip::dilate, true,
             elementDoc("dilate(src, element=None, anchor=(-1, -1), iterations=1, "
                        "borderType=BorderFill, borderValue=None, *, dst=None) -> ndarray\n"
                        "dilate(src, kernelWidth, kernelHeight, *, dst=None) -> ndarray",
                        "dilate", nullptr)
                 .note("Binary window form: 255 where any byte of the window is non-zero, else "
                       "0; the band along the edges is 0.")
                 .c_str());
    defMorph(m, "opening", &ip::opening, &ip::opening, &ip::opening, false,
             elementDoc("opening(src, element, anchor=(-1, -1), iterations=1, "
                        "borderType=BorderFill, borderValue=None, *, dst=None) -> ndarray\n"
                        "opening(src, kernelWidth, kernelHeight, *, dst=None) -> ndarray",
                        nullptr, "Erosion then dilation with the same arguments.")
                 .c_str());
    defMorph(m, "closing", &ip::closing, &ip::closing, &ip::closing, false,
             elementDoc("closing(src, element, anchor=(-1, -1), iterations=1, "
                        "borderType=BorderFill, borderValue=None, *, dst=None) -> ndarray\n"
                        "closing(src, kernelWidth, kernelHeight, *, dst=None) -> ndarray",
                        nullptr,
                        "Element form: erosion then dilation, exactly like opening (the library's "
                        "element closing erodes first too). Binary window form: dilation then "
                        "erosion.")
                 .c_str());
}

}  // namespace

TARVO_PY_FAMILY(morphology, bindMorphology);

}  // namespace tarvopy
