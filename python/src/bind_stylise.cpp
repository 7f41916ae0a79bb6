// Stylising operators: sketches, vintage, posterize, jitter, noise, denoise,
// the circle transform and bloom.
#include <mutex>

#include "points.h"
#include "tarvo/ip/photo.h"
#include "tarvo/random.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

const char* const kStyliseSrc =
    "uint8 image of 1 to 4 channels (a grey pixel stands for three equal values; channels past "
    "the third are copied)";
const char* const kStyliseRefused =
    "an empty src, another dtype or more than 4 channels give an empty array (dst given: "
    "unchanged)";
const char* const kSeedHelp =
    "Python only: seeds the library's random generator just before the call, so the result "
    "repeats; None leaves the generator as it is";

template <typename Run>
py::object plain(py::handle src, py::handle dst, Run run) {
    InArray s = matFromArray(src, "src");
    return unaryCall(s, dst, sameAs(s.mat), run);
}

void bindStylise(py::module_&, py::module_& m) {
    m.def(
        "sketch",
        [](py::handle src, int amount, py::handle dst) {
            return plain(src, dst, [&](const Mat& a, Mat& b) { ip::sketch(a, b, amount); });
        },
        "src"_a, "amount"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("sketch(src, amount, *, dst=None) -> ndarray", "sketch")
            .what("Pencil outline: 255 - min(S * amount / 50, 255) in the first three channels, S "
                  "the summed absolute differences of each pixel's first byte to its four "
                  "neighbours (the outermost rows and columns read as 0).")
            .arg("src", kStyliseSrc)
            .argFromTool("amount", "amount")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kStyliseRefused)
            .c_str());
    m.def(
        "roughSketch",
        [](py::handle src, py::handle dst) {
            return plain(src, dst, [&](const Mat& a, Mat& b) { ip::roughSketch(a, b); });
        },
        "src"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("roughSketch(src, *, dst=None) -> ndarray", "rough-sketch")
            .what("The sketch outline (gain 1.2) mixed with hatching strokes chosen by the grey "
                  "level.")
            .arg("src", kStyliseSrc)
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kStyliseRefused)
            .c_str());
    m.def(
        "vintage",
        [](py::handle src, int amount, py::handle dst) {
            InArray s = matFromArray(src, "src");
            Shape want = shapeOf(s.mat.rows(), s.mat.cols(), tarvo::MAT_Tuchar, 3);
            // A three-channel result cannot be written over a source of another shape.
            return unaryCall(s, dst, want,
                             [&](const Mat& a, Mat& b) { ip::vintage(a, b, amount); });
        },
        "src"_a, "amount"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("vintage(src, amount, *, dst=None) -> ndarray", "vintage")
            .what("Sepia: every pixel is tinted by its lightness and mixed into a running colour "
                  "carried along the rows. The result always has three channels.")
            .arg("src", kStyliseSrc)
            .argFromTool("amount", "amount", "clamped to 0..100")
            .arg("dst", kDstHelp)
            .returns("dst: uint8 (rows, cols, 3)")
            .refused(kStyliseRefused)
            .c_str());
    m.def(
        "posterize",
        [](py::handle src, int levels, py::handle dst) {
            return plain(src, dst, [&](const Mat& a, Mat& b) { ip::posterize(a, b, levels); });
        },
        "src"_a, "levels"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("posterize(src, levels, *, dst=None) -> ndarray", "posterize")
            .what("Snaps each of the first three bytes of a pixel to the nearer of the two "
                  "table levels around it.")
            .arg("src", kStyliseSrc)
            .argFromTool("levels", "levels", "limited to 2..256")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kStyliseRefused)
            .c_str());
    m.def(
        "jitter",
        [](py::handle src, int amount, py::object seed, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const bool seeded = !seed.is_none();
            const unsigned sv = seeded ? seed.cast<unsigned>() : 0u;
            return unaryCall(s, dst, sameAs(s.mat), [&](const Mat& a, Mat& b) {
                std::lock_guard<std::mutex> lock(randomMutex());
                if (seeded) tarvo::detail::seedRandom(sv);
                ip::jitter(a, b, amount);
            });
        },
        "src"_a, "amount"_a, py::kw_only(), "seed"_a = py::none(), "dst"_a = py::none(),
        Doc("jitter(src, amount, *, seed=None, dst=None) -> ndarray", "jitter")
            .what("Moves every pixel by a random offset of up to amount pixels in x and y; a "
                  "pixel mapped outside keeps its own colour. Draws from the library's one "
                  "random generator, which the call does not seed itself.")
            .arg("src", kStyliseSrc)
            .argFromTool("amount", "amount")
            .arg("seed", kSeedHelp)
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kStyliseRefused)
            .c_str());
    m.def(
        "noise",
        [](py::handle src, int amount, py::object seed, py::handle dst) {
            InArray s = matFromArray(src, "src");
            const bool seeded = !seed.is_none();
            const unsigned sv = seeded ? seed.cast<unsigned>() : 0u;
            return unaryCall(s, dst, sameAs(s.mat), [&](const Mat& a, Mat& b) {
                std::lock_guard<std::mutex> lock(randomMutex());
                // The operator seeds from the clock on every call: pin that seed.
                if (seeded) tarvo::detail::pinClockSeed(true, sv);
                ip::noise(a, b, amount);
                if (seeded) tarvo::detail::pinClockSeed(false);
            });
        },
        "src"_a, "amount"_a, py::kw_only(), "seed"_a = py::none(), "dst"_a = py::none(),
        Doc("noise(src, amount, *, seed=None, dst=None) -> ndarray", "noise")
            .what("Adds uniform noise of +-amount/2 to every byte, clamped to 0..255. Without a "
                  "seed the generator is seeded from the clock (in seconds) on every call, so "
                  "calls within one second repeat.")
            .arg("src", kStyliseSrc)
            .argFromTool("amount", "amount")
            .arg("seed",
                 "Python only: the seed used in place of the clock for this call; None uses "
                 "the clock")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kStyliseRefused)
            .c_str());
    m.def(
        "denoise",
        [](py::handle src, float strength, int method, py::handle dst) {
            InArray s = matFromArray(src, "src");
            Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
            return callInto(s, d,
                            [&](const Mat& a, Mat& b) { ip::denoise(a, b, strength, method); });
        },
        "src"_a, "strength"_a, "method"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("denoise(src, strength, method, *, dst=None) -> ndarray", "denoise")
            .what("Smoothing with an offset: methods 0 to 2 filter with a 3 x 3 box, a 3 x 3 "
                  "and a 5 x 5 weighted kernel and add trunc(strength * 50); method 3 takes the "
                  "3 x 3 median. Pixels whose window crosses the edge keep their value.")
            .arg("src", kStyliseSrc)
            .argFromTool("strength", "strength")
            .argFromTool("method", "method", "any other method gives zeros")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kStyliseRefused)
            .c_str());
    m.def(
        "circleTransform",
        [](py::handle src, int radius, float twist, int mode, py::handle dst) {
            return plain(src, dst, [&](const Mat& a, Mat& b) {
                ip::circleTransform(a, b, radius, twist, mode);
            });
        },
        "src"_a, "radius"_a, "twist"_a, "mode"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("circleTransform(src, radius, twist, mode, *, dst=None) -> ndarray", "circle-transform")
            .what("Lens-like remapping about the centre. Pixels outside the circle, or mapped "
                  "outside the image, take the top left pixel.")
            .arg("src", kStyliseSrc)
            .argFromTool("radius", "radius")
            .argFromTool("twist", "twist")
            .argFromTool("mode", "mode", "other codes shift columns in 32-pixel bands")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kStyliseRefused)
            .c_str());
    m.def(
        "bloom",
        [](py::handle src, float lift, float gain, py::handle dst) {
            return plain(src, dst, [&](const Mat& a, Mat& b) { ip::bloom(a, b, lift, gain); });
        },
        "src"_a, "lift"_a, "gain"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("bloom(src, lift, gain, *, dst=None) -> ndarray", "bloom")
            .what("Glow: luminance raised by gain and lift (w = Y * gain + Y + lift * 0.2 / 0.65 "
                  "* 255, capped at 255), brightened by 40, luminance-stretched and smoothed by "
                  "a 3 x 3 box.")
            .arg("src", "uint8 image of 1, 3 or 4 channels (a fourth channel is copied)")
            .argFromTool("lift", "lift")
            .argFromTool("gain", "gain")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused("an empty src, another dtype or 2 or more than 4 channels give an empty "
                     "array (dst given: unchanged)")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(stylise, bindStylise);

}  // namespace tarvopy
