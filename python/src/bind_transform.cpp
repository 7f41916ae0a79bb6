// The photo-style geometry operators: crop, cropEx, expand, resample, rotate,
// skew and thumbnail. Each works in a matrix of its own and swaps it in at the
// end, so results come back as new arrays or are copied into a given dst.
#include "tarvo/ip/geometry.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

const char* const kSrcHelp =
    "image of any of the five dtypes (uint8, int16, int32, float32, float64) and channel count";
const char* const kDstNote =
    "optional keyword: an array of the result's shape and dtype to copy the result into "
    "(passing src itself works when the shape stays); an array that overlaps src only in part "
    "raises ValueError";
const char* const kInterpNames =
    "InterpNearest (1), InterpBilinear (2), InterpBSpline (3), InterpCubicSharp (4), "
    "InterpCubicHalf (5), InterpLanczos (6), InterpBox (7), InterpHermite (8), "
    "InterpHermiteScaled (9), InterpSinc (10), InterpBlackman (11), InterpBessel (12), "
    "InterpGaussian (13), InterpQuadratic (14), InterpMitchell (15), InterpCatmullRom (16); "
    "other codes act as InterpBilinear";
const char* const kOverflowNames =
    "OverflowColor (1), OverflowBackground (2), OverflowTransparent (3), OverflowWrap (4), "
    "OverflowClamp (5), OverflowMirror (6); other codes act as OverflowColor; the colour, "
    "background and transparent reads give 0";

void bindTransform(py::module_&, py::module_& m) {
#define TARVO_PY_CONST(name) m.attr(#name) = int(tarvo::name)
    TARVO_PY_CONST(InterpNearest);
    TARVO_PY_CONST(InterpBilinear);
    TARVO_PY_CONST(InterpBSpline);
    TARVO_PY_CONST(InterpCubicSharp);
    TARVO_PY_CONST(InterpCubicHalf);
    TARVO_PY_CONST(InterpLanczos);
    TARVO_PY_CONST(InterpBox);
    TARVO_PY_CONST(InterpHermite);
    TARVO_PY_CONST(InterpHermiteScaled);
    TARVO_PY_CONST(InterpSinc);
    TARVO_PY_CONST(InterpBlackman);
    TARVO_PY_CONST(InterpBessel);
    TARVO_PY_CONST(InterpGaussian);
    TARVO_PY_CONST(InterpQuadratic);
    TARVO_PY_CONST(InterpMitchell);
    TARVO_PY_CONST(InterpCatmullRom);
    TARVO_PY_CONST(OverflowColor);
    TARVO_PY_CONST(OverflowBackground);
    TARVO_PY_CONST(OverflowTransparent);
    TARVO_PY_CONST(OverflowWrap);
    TARVO_PY_CONST(OverflowClamp);
    TARVO_PY_CONST(OverflowMirror);
#undef TARVO_PY_CONST
    // Quarter turns are a type of their own, so rotate(img, RotateLeft90)
    // cannot be taken for a turn by 0 degrees.
    py::enum_<tarvo::RotateType>(m, "RotateType", py::arithmetic(),
                                 "RotateType(value)\n\nQuarter turns of rotate: RotateLeft90 "
                                 "(0, counter-clockwise), RotateRight90 (1, clockwise), Rotate180 "
                                 "(2). A type of its own, so that rotate(img, RotateLeft90) is "
                                 "not read as a turn by 0 degrees.")
        .value("RotateLeft90", tarvo::RotateLeft90)
        .value("RotateRight90", tarvo::RotateRight90)
        .value("Rotate180", tarvo::Rotate180)
        .export_values();

    // ------------------------------------------------------------ crop
    m.def(
        "crop",
        [](py::handle src, py::handle rect, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const tarvo::Rect_<int> r = toRect(rect, "rect");
            return produce(s, dst, [&](const Mat& a, Mat& b) { ip::crop(a, b, r); });
        },
        "src"_a, "rect"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("crop(src, rect, *, dst=None) -> ndarray\n"
            "crop(src, left, top, right, bottom, *, dst=None) -> ndarray\n"
            "crop(src, topX, topY, width, height, angle, *, dst=None) -> ndarray",
            "crop")
            .what("Cuts a rectangle out of src. crop(src, rect) copies rect (x, y, width, "
                  "height), which must lie inside src with a positive size; the four-number form "
                  "takes the corners (left, top) and (right, bottom), the latter exclusive. With "
                  "angle the width x height rectangle at (topX, topY) is turned by angle degrees "
                  "counter-clockwise about its centre and read without interpolation; all four "
                  "turned corners must lie inside, and angles strictly between 45 and 135 turn "
                  "the result upright (a further 90 degrees, width and height exchanged). Below "
                  "0.0002 radians the turned form is a plain crop.")
            .arg("src", kSrcHelp)
            .arg("rect", "Rect or any four numbers (x, y, width, height) in pixels")
            .arg("angle", "degrees, counter-clockwise")
            .arg("dst", kDstNote)
            .returns("the rectangle's pixels, src's dtype and channels")
            .refused("a rectangle (or turned rectangle) not wholly inside src, a width or height "
                     "below 1, an empty src or another dtype give an empty array (dst given: "
                     "unchanged)")
            .note("The tool's row clips a plain rectangle to the picture first; this function "
                  "refuses it instead.")
            .c_str());
    m.def(
        "crop",
        [](py::handle src, int left, int top, int right, int bottom, py::handle dst) {
            InArray s = matFromArray(src, "src");
            return produce(s, dst,
                           [&](const Mat& a, Mat& b) { ip::crop(a, b, left, top, right, bottom); });
        },
        "src"_a, "left"_a, "top"_a, "right"_a, "bottom"_a, py::kw_only(), "dst"_a = py::none());
    m.def(
        "crop",
        [](py::handle src, int topX, int topY, int width, int height, float angle, py::handle dst) {
            InArray s = matFromArray(src, "src");
            return produce(s, dst, [&](const Mat& a, Mat& b) {
                ip::crop(a, b, topX, topY, width, height, angle);
            });
        },
        "src"_a, "topX"_a, "topY"_a, "width"_a, "height"_a, "angle"_a, py::kw_only(),
        "dst"_a = py::none());

    m.def(
        "cropEx",
        [](py::handle src, py::handle rect, py::handle fill, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const tarvo::Rect_<int> r = toRect(rect, "rect");
            const tarvo::Point4_<double> f = toScalar(fill, "fill");
            return produce(s, dst, [&](const Mat& a, Mat& b) { ip::cropEx(a, b, r, f); });
        },
        "src"_a, "rect"_a, "fill"_a = 0, py::kw_only(), "dst"_a = py::none(),
        Doc("cropEx(src, rect, fill=0, *, dst=None) -> ndarray")
            .what("Cuts rect out of src; the rectangle may reach outside src, and the outside "
                  "is filled with fill (channel k takes component k).")
            .arg("src", kSrcHelp)
            .arg("rect", "Rect or any four numbers (x, y, width, height) in pixels")
            .arg("fill", "one number for every channel, or up to four components")
            .arg("dst", kDstNote)
            .returns("an array of height x width pixels, src's dtype and channels")
            .refused("a width or height below 1, an empty src or another dtype give an empty "
                     "array (dst given: unchanged)")
            .c_str());

    // ------------------------------------------------------------ expand
    m.def(
        "expand",
        [](py::handle src, int left, int top, int right, int bottom, py::handle fill,
           py::handle dst) {
            InArray s = matFromArray(src, "src");
            const tarvo::Point4_<unsigned char> f = toFill(fill, "fill");
            return produce(s, dst, [&](const Mat& a, Mat& b) {
                ip::expand(a, b, left, top, right, bottom, f);
            });
        },
        "src"_a, "left"_a, "top"_a, "right"_a, "bottom"_a, "fill"_a = 0, py::kw_only(),
        "dst"_a = py::none(),
        Doc("expand(src, left, top, right, bottom, fill=0, *, dst=None) -> ndarray\n"
            "expand(src, newWidth, newHeight, fill=0, *, dst=None) -> ndarray",
            "expand")
            .what("Pads src with margins of one colour: the four margins, or up to newWidth x "
                  "newHeight at the right and bottom.")
            .arg("src", kSrcHelp)
            .argFromTool("left", "left")
            .argFromTool("top", "top")
            .argFromTool("right", "right")
            .argFromTool("bottom", "bottom")
            .arg("newWidth, newHeight", "size of the result, each at least src's")
            .arg("fill",
                 "colour of the margins, 0..255: one number for the first three channels or up "
                 "to three components (a fourth channel gets 0; other dtypes take the numbers "
                 "as they are)")
            .arg("dst", kDstNote)
            .returns("the padded array, src's dtype and channels")
            .refused("negative margins, a new size below src's, an empty src or another dtype "
                     "give an empty array (dst given: unchanged)")
            .c_str());
    m.def(
        "expand",
        [](py::handle src, int newWidth, int newHeight, py::handle fill, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const tarvo::Point4_<unsigned char> f = toFill(fill, "fill");
            return produce(s, dst,
                           [&](const Mat& a, Mat& b) { ip::expand(a, b, newWidth, newHeight, f); });
        },
        "src"_a, "newWidth"_a, "newHeight"_a, "fill"_a = 0, py::kw_only(), "dst"_a = py::none());

    // ------------------------------------------------------------ resample
    m.def(
        "resample",
        [](py::handle src, int newWidth, int newHeight, int mode, py::handle dst) {
            InArray s = matFromArray(src, "src");
            return produce(s, dst, [&](const Mat& a, Mat& b) {
                ip::resample(a, b, newWidth, newHeight, mode);
            });
        },
        "src"_a, "newWidth"_a, "newHeight"_a, "mode"_a = 0, py::kw_only(), "dst"_a = py::none(),
        Doc("resample(src, newWidth, newHeight, mode=0, *, dst=None) -> ndarray\n"
            "resample(src, newWidth, newHeight, interpolation, overflow, disableAveraging=False, "
            "*, dst=None) -> ndarray",
            "resample")
            .what("Resamples src to newWidth x newHeight. The simple form steps through the "
                  "source on running float positions: mode 1 nearest pixel, 2 bicubic B-spline, "
                  "anything else bilinear. The full form samples at output pixel centres with "
                  "one of sixteen interpolators and a rule for reads outside the image; "
                  "shrinking on either axis averages pixel areas unless disableAveraging. The "
                  "same size copies.")
            .arg("src", kSrcHelp)
            .argFromTool("newWidth", "width")
            .argFromTool("newHeight", "height")
            .arg("mode", "simple form's sampler: 1 nearest, 2 B-spline, others bilinear")
            .argFromTool("interpolation", "interpolation", kInterpNames)
            .argFromTool("overflow", "overflow", kOverflowNames)
            .arg("disableAveraging", "True samples plainly when shrinking too")
            .arg("dst", kDstNote)
            .returns("newHeight x newWidth array, src's dtype and channels")
            .refused("a size below 1, an empty src or another dtype give an empty array (dst "
                     "given: unchanged)")
            .note("Interpolated values are clamped to 0..255 whatever the dtype, and the "
                  "bilinear sampler on uint8 data away from the border stores the first "
                  "channel's sum in every channel.")
            .c_str());
    m.def(
        "resample",
        [](py::handle src, int newWidth, int newHeight, int interpolation, int overflow,
           bool disableAveraging, py::handle dst) {
            InArray s = matFromArray(src, "src");
            return produce(s, dst, [&](const Mat& a, Mat& b) {
                ip::resample(a, b, newWidth, newHeight, tarvo::InterpolationMethod(interpolation),
                             tarvo::OverflowMethod(overflow), disableAveraging);
            });
        },
        "src"_a, "newWidth"_a, "newHeight"_a, "interpolation"_a, "overflow"_a,
        "disableAveraging"_a = false, py::kw_only(), "dst"_a = py::none());

    // ------------------------------------------------------------ rotate
    m.def(
        "rotate",
        [](py::handle src, tarvo::RotateType type, py::handle dst) {
            InArray s = matFromArray(src, "src");
            return produce(s, dst, [&](const Mat& a, Mat& b) { ip::rotate(a, b, type); });
        },
        "src"_a, "type"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("rotate(src, type, *, dst=None) -> ndarray\n"
            "rotate(src, angle, *, dst=None) -> ndarray\n"
            "rotate(src, angle, interpolation, overflow, replacement=None, flag1=False, "
            "flag2=False, *, dst=None) -> ndarray",
            "rotate")
            .what("Turns src. With a RotateType: a quarter turn (RotateLeft90 counter-clockwise, "
                  "RotateRight90 clockwise, Rotate180). With a number alone: by angle degrees "
                  "CLOCKWISE onto a canvas grown to the turned corners plus two pixels, nearest "
                  "source pixel clamped to the image. With interpolation and overflow (the "
                  "tool's form): by angle degrees counter-clockwise onto the box of the turned "
                  "corners, reads outside the image giving 0; interpolation, overflow, "
                  "replacement and the flags are accepted and do not change the result.")
            .arg("src", kSrcHelp)
            .arg("type", "RotateType: RotateLeft90, RotateRight90 or Rotate180")
            .argFromTool("angle", "angle", "clockwise in the two-argument form")
            .argFromTool("interpolation", "interpolation", "an InterpolationMethod code")
            .argFromTool("overflow", "overflow", "an OverflowMethod code")
            .arg("replacement", "None or up to four colour components 0..255 (stored only)")
            .arg("dst", kDstNote)
            .returns("the turned array, src's dtype and channels")
            .refused("an empty src or another dtype give an empty array (dst given: unchanged)")
            .c_str());
    m.def(
        "rotate",
        [](py::handle src, float angle, py::handle dst) {
            InArray s = matFromArray(src, "src");
            return produce(s, dst, [&](const Mat& a, Mat& b) { ip::rotate(a, b, angle); });
        },
        "src"_a, "angle"_a, py::kw_only(), "dst"_a = py::none());
    m.def(
        "rotate",
        [](py::handle src, float angle, int interpolation, int overflow, py::handle replacement,
           bool flag1, bool flag2, py::handle dst) {
            InArray s = matFromArray(src, "src");
            tarvo::Point4_<unsigned char> colour;
            const bool hasColour = !replacement.is_none();
            if (hasColour) colour = toFill(replacement, "replacement");
            return produce(s, dst, [&](const Mat& a, Mat& b) {
                ip::rotate(a, b, angle, tarvo::InterpolationMethod(interpolation),
                           tarvo::OverflowMethod(overflow), hasColour ? &colour : nullptr, flag1,
                           flag2);
            });
        },
        "src"_a, "angle"_a, "interpolation"_a, "overflow"_a, "replacement"_a = py::none(),
        "flag1"_a = false, "flag2"_a = false, py::kw_only(), "dst"_a = py::none());

    // ------------------------------------------------------------ skew, thumbnail
    m.def(
        "skew",
        [](py::handle src, float slopeX, float slopeY, int pivotX, int pivotY, bool interpolate,
           py::handle dst) {
            InArray s = matFromArray(src, "src");
            return produce(s, dst, [&](const Mat& a, Mat& b) {
                ip::skew(a, b, slopeX, slopeY, pivotX, pivotY, interpolate);
            });
        },
        "src"_a, "slopeX"_a, "slopeY"_a = 0.0f, "pivotX"_a = 0, "pivotY"_a = 0,
        "interpolate"_a = false, py::kw_only(), "dst"_a = py::none(),
        Doc("skew(src, slopeX, slopeY=0, pivotX=0, pivotY=0, interpolate=False, *, dst=None) -> "
            "ndarray",
            "skew")
            .what("Shears src: output (x, y) reads the source at ((y - pivotY) slopeX + x, "
                  "(x - pivotX) slopeY + y). With interpolate the read is bilinear with 0 "
                  "outside (on uint8 data the first channel fills all); without, the position "
                  "is truncated and pixels whose read falls outside keep the source pixel.")
            .arg("src", kSrcHelp)
            .argFromTool("slopeX", "slope-x")
            .argFromTool("slopeY", "slope-y")
            .argFromTool("pivotX", "pivot-x")
            .argFromTool("pivotY", "pivot-y")
            .arg("interpolate", "True for the bilinear read")
            .arg("dst", kDstNote)
            .returns("an array of src's shape and dtype")
            .refused("an empty src or another dtype give an empty array (dst given: unchanged)")
            .c_str());
    m.def(
        "thumbnail",
        [](py::handle src, int newWidth, int newHeight, py::handle fill, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const tarvo::Point4_<unsigned char> f = toFill(fill, "fill");
            return produce(
                s, dst, [&](const Mat& a, Mat& b) { ip::thumbnail(a, b, newWidth, newHeight, f); });
        },
        "src"_a, "newWidth"_a, "newHeight"_a, "fill"_a = 0, py::kw_only(), "dst"_a = py::none(),
        Doc("thumbnail(src, newWidth, newHeight, fill=0, *, dst=None) -> ndarray", "thumbnail")
            .what("Fits src into newWidth x newHeight keeping its proportions (bilinear "
                  "resample when it does not fit already, each side at least 1), then pads at "
                  "the right and bottom with fill.")
            .arg("src", kSrcHelp)
            .argFromTool("newWidth", "width")
            .argFromTool("newHeight", "height")
            .arg("fill", "padding colour 0..255: one number or up to three components")
            .arg("dst", kDstNote)
            .returns("newHeight x newWidth array, src's dtype and channels")
            .refused("a size below 1, an empty src or another dtype give an empty array (dst "
                     "given: unchanged)")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(transform, bindTransform);

}  // namespace tarvopy
