// Colour adjustment and histogram operators.
#include "tarvo/ip/photo.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

const char* const kByteColour =
    "uint8 image, R, G, B (3 channels; other layouts give what the "
    "operator does with them)";
const char* const kHistSrc =
    "uint8 image with 1 channel, or 3 (R, G, B: remapped through its "
    "luminance)";
const char* const kHistRefused =
    "an empty src, another dtype or a channel count other than 1 and 3 give an empty array "
    "(dst given: left unchanged)";

unsigned char byteArg(int v, const char* name) {
    if (v < 0 || v > 255) throw py::value_error(std::string(name) + " must lie in 0..255");
    return (unsigned char)v;
}

py::object colorize(py::handle src, int hue, int saturation, float blend, py::handle dst) {
    const unsigned char h = byteArg(hue, "hue"), s8 = byteArg(saturation, "saturation");
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    if (d.inPlace) {
        nogil([&] { ip::colorize(d.mat, h, s8, blend); });
        return d.result();
    }
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::colorize(a, b, h, s8, blend); });
}

py::object shiftRGB(py::handle src, int s0, int s1, int s2, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    // The operator only writes a destination of the source's shape; channels
    // past the third keep the source's values.
    return callInto(s, d, [&](const Mat& a, Mat& b) {
        copyPixels(a, b);
        ip::shiftRGB(a, b, s0, s1, s2);
    });
}

py::object hsl(py::handle src, int hue, int sat, int light, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    // The operator adjusts what its destination holds: start it as the source.
    nogil([&] {
        copyPixels(s.mat, d.mat);
        ip::hsl(d.mat, d.mat, hue, sat, light);
    });
    return d.result();
}

py::object colorTemperature(py::handle src, int kelvin, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::colorTemperature(a, b, kelvin); });
}

py::object histogramEqualize(py::handle src, int bins, py::handle mask, py::handle dst) {
    InArray s = matFromArray(src, "src");
    InArray m;
    const bool haveMask = !mask.is_none();
    if (haveMask) m = matFromArray(mask, "mask");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    Mat* mp = haveMask ? &m.mat : nullptr;
    if (d.inPlace) {
        nogil([&] { ip::histogramEqualize(d.mat, bins, mp); });
        return d.result();
    }
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::histogramEqualize(a, b, bins, mp); });
}

py::object histogramLog(py::handle src, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    if (s.mat.channels() == 1) {
        // The grey form remaps the pixels it is given: give it dst's.
        nogil([&] {
            copyPixels(s.mat, d.mat);
            ip::histogramLog(d.mat, d.mat);
        });
        return d.result();
    }
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::histogramLog(a, b); });
}

template <void (*F)(const Mat&, Mat&)>
py::object histogramPlain(py::handle src, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    return callInto(s, d, [&](const Mat& a, Mat& b) { F(a, b); });
}

py::object histogramStretch(py::handle src, int mode, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    // The two-matrix form clears a new destination and leaves it so when the
    // image needs no stretch; the in-place form on a copy keeps the picture.
    nogil([&] {
        copyPixels(s.mat, d.mat);
        ip::histogramStretch(d.mat, mode);
    });
    return d.result();
}

void bindPhoto(py::module_&, py::module_& m) {
    m.def(
        "RGBtoHSL",
        [](int r, int g, int b) {
            unsigned char h, s, l;
            ip::RGBtoHSL(byteArg(r, "r"), byteArg(g, "g"), byteArg(b, "b"), h, s, l);
            return py::make_tuple(int(h), int(s), int(l));
        },
        "r"_a, "g"_a, "b"_a,
        Doc("RGBtoHSL(r, g, b) -> (h, s, l)")
            .what("One R, G, B pixel to hue, saturation and lightness on the byte scale (all "
                  "0..255, a full hue turn is 255), in integer arithmetic. A grey pixel gets hue "
                  "170 and saturation 0.")
            .arg("r, g, b", "channel values 0..255 (others raise ValueError)")
            .c_str());
    m.def(
        "HSLtoRGB",
        [](int h, int s, int l) {
            unsigned char r, g, b;
            ip::HSLtoRGB(byteArg(h, "h"), byteArg(s, "s"), byteArg(l, "l"), r, g, b);
            return py::make_tuple(int(r), int(g), int(b));
        },
        "h"_a, "s"_a, "l"_a,
        Doc("HSLtoRGB(h, s, l) -> (r, g, b)")
            .what("Byte-scale hue, saturation and lightness back to R, G, B, in single precision "
                  "with truncation.")
            .arg("h, s, l", "values 0..255 (others raise ValueError)")
            .c_str());
    m.def("ramp", &ip::ramp, "m1"_a, "m2"_a, "x"_a,
          Doc("ramp(m1, m2, x) -> float")
              .what("The piecewise hue ramp of the HSL to RGB conversion: the channel value in "
                    "0..1 for hue x in degrees (wrapped once into 0..360) between levels m1 and "
                    "m2.")
              .c_str());

    m.def("colorize", &colorize, "src"_a, "hue"_a, "saturation"_a, "blend"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("colorize(src, hue, saturation, blend, *, dst=None) -> ndarray", "colorize")
              .arg("src", kByteColour)
              .argFromTool("hue", "hue", "0..255, others raise ValueError")
              .argFromTool("saturation", "saturation", "0..255, others raise ValueError")
              .argFromTool("blend", "blend", "clamped to 0..1")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("an empty src gives an empty array")
              .c_str());
    m.def("shiftRGB", &shiftRGB, "src"_a, "shift0"_a, "shift1"_a, "shift2"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("shiftRGB(src, shift0, shift1, shift2, *, dst=None) -> ndarray", "shift-rgb")
              .arg("src", "image with 3 or more channels; channels past the third are copied")
              .argFromTool("shift0", "red")
              .argFromTool("shift1", "green")
              .argFromTool("shift2", "blue")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype; bytes are clamped to 0..255")
              .refused("an empty src gives an empty array")
              .c_str());
    m.def("hsl", &hsl, "src"_a, "hueShift"_a, "saturationShift"_a, "lightnessShift"_a,
          py::kw_only(), "dst"_a = py::none(),
          Doc("hsl(src, hueShift, saturationShift, lightnessShift, *, dst=None) -> ndarray", "hsl")
              .arg("src", kByteColour)
              .argFromTool("hueShift", "hue", "wraps once around 0..360")
              .argFromTool("saturationShift", "saturation", "result clamped to 0..100")
              .argFromTool("lightnessShift", "lightness", "result clamped to 0..100")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("an empty src gives an empty array")
              .note("The C++ function adjusts the pixels its destination already holds; here "
                    "dst starts as a copy of src, so the result is always src adjusted.")
              .c_str());
    m.def("colorTemperature", &colorTemperature, "src"_a, "temperature"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("colorTemperature(src, temperature, *, dst=None) -> ndarray", "color-temperature")
              .arg("src", kByteColour)
              .argFromTool("temperature", "kelvin",
                           "values far outside 1000..12000 saturate the channels")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("an empty src gives an empty array")
              .c_str());

    m.def("histogramEqualize", &histogramEqualize, "src"_a, "bins"_a = 256, "mask"_a = py::none(),
          py::kw_only(), "dst"_a = py::none(),
          Doc("histogramEqualize(src, bins=256, mask=None, *, dst=None) -> ndarray", "equalize")
              .arg("src", kHistSrc)
              .arg("bins",
                   "256 without a mask: equalisation with an integer table. Anything else runs "
                   "the general form on a copy: uint8 or float64 one-channel data, each element "
                   "(or each element whose mask byte is non-zero) replaced by its interpolated "
                   "cumulative share in 0..1 over `bins` equal-width bins (uint8 keeps only the "
                   "integer part), masked-out elements 0")
              .arg("mask", "uint8 array of src's size, or None")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("an image with nothing above level 0, or another layout: an empty array "
                       "(general form: dst stays a copy of src)")
              .c_str());
    m.def("histogramLog", &histogramLog, "src"_a, py::kw_only(), "dst"_a = py::none(),
          Doc("histogramLog(src, *, dst=None) -> ndarray")
              .what("Logarithmic tone curve: v -> trunc(log(v + 1) * 255 / log(M + 1)), M the "
                    "largest level. For colour, M is the truncated largest luminance (at least "
                    "1) and only the low byte of the result is kept.")
              .arg("src", kHistSrc)
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused(kHistRefused)
              .note("The C++ function remaps a one-channel source in its own pixels and only "
                    "shapes dst; here src is never written: dst starts as a copy of src and is "
                    "remapped.")
              .c_str());
    m.def("histogramNormalize", &histogramPlain<&ip::histogramNormalize>, "src"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("histogramNormalize(src, *, dst=None) -> ndarray")
              .what("Equalisation with the table computed in double and truncated, always "
                    "through luminance (a grey image is its own luminance).")
              .arg("src", kHistSrc)
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused(kHistRefused)
              .c_str());
    m.def("histogramRoot", &histogramPlain<&ip::histogramRoot>, "src"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("histogramRoot(src, *, dst=None) -> ndarray")
              .what("Square-root tone curve: v -> clamp(sqrt(v + 1) * 128 / log(M + 1), 0, 255) "
                    "with M the largest level (at least 1).")
              .arg("src", kHistSrc)
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused(kHistRefused)
              .c_str());
    m.def("histogramStretch", &histogramStretch, "src"_a, "mode"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("histogramStretch(src, mode, *, dst=None) -> ndarray", "stretch")
              .arg("src", "uint8 image with 3 channels")
              .argFromTool("mode", "mode", "other codes: the luminance range")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("images without three channels, a flat luminance (mode 0) and images "
                       "already spanning 0..255 (mode 2) come back unchanged")
              .note("dst starts as a copy of src and is stretched in place (the C++ two-matrix "
                    "form would clear a new destination and leave it cleared when nothing needs "
                    "stretching).")
              .c_str());
}

}  // namespace

TARVO_PY_FAMILY(photo, bindPhoto);

}  // namespace tarvopy
