// Tone operators: exposure, light, level, shadow and gamma.
#include "points.h"
#include "tarvo/ip/photo.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

const char* const kToneSrc =
    "uint8 image of any channel count (float32 and float64 too: their values index the table "
    "as clamp(trunc(v), 0, 255), NaN as 0)";
const char* const kToneRefused =
    "an empty src or another dtype gives an empty array (dst given: unchanged)";

// A new destination of src's shape, cleared: for the operators that refuse
// a destination of another shape, or leave a new one created but unwritten.
void clearedLike(const InArray& s, Dst& d) {
    if (d.user.is_none() && !s.empty() &&
        d.mat.create(s.mat.rows(), s.mat.cols(), s.mat.type1()) >= 0)
        d.mat.zero();
}

py::object light(py::handle src, int brightness, int contrast, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    if (d.inPlace) {
        nogil([&] { ip::light(d.mat, brightness, contrast); });
        return d.result();
    }
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::light(a, b, brightness, contrast); });
}

py::object level(py::handle src, int low, int high, int mode, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    // Mode 2 writes only into a destination of src's shape; mode 1 leaves a
    // new one cleared when it refuses. Either way a refusal reads as zeros.
    if (mode == 1 || mode == 2) clearedLike(s, d);
    return callInto(s, d, [&](const Mat& a, Mat& b) { ip::level(a, b, low, high, mode); });
}

void bindTone(py::module_&, py::module_& m) {
    m.def(
        "exposure",
        [](py::handle src, int amount, py::handle dst) {
            InArray s = matFromArray(src, "src");
            return unaryCall(s, dst, sameAs(s.mat),
                             [&](const Mat& a, Mat& b) { ip::exposure(a, b, amount); });
        },
        "src"_a, "amount"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("exposure(src, amount, *, dst=None) -> ndarray", "exposure")
            .what("Brightness and contrast in one table: v -> clamp(trunc((v - 128) * (amount + "
                  "100) / 100 + amount + 128), 0, 255), on every channel.")
            .arg("src", kToneSrc)
            .argFromTool("amount", "amount")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kToneRefused)
            .c_str());
    m.def("light", &light, "src"_a, "brightness"_a, "contrast"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("light(src, brightness, contrast, *, dst=None) -> ndarray", "light")
              .what("Brightness and contrast about mid grey: v -> clamp(trunc((v - 128) * "
                    "(contrast + 100) / 100 + brightness + 128), 0, 255), on every channel.")
              .arg("src", kToneSrc)
              .argFromTool("brightness", "brightness")
              .argFromTool("contrast", "contrast")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused(kToneRefused)
              .c_str());
    m.def("level", &level, "src"_a, "low"_a, "high"_a, "mode"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("level(src, low, high, mode, *, dst=None) -> ndarray", "level")
              .what("Levels. Mode 1 stretches the luminance range of a 1- or 3-channel image "
                    "onto low..high; mode 2 lifts the shadows by low and pulls the highlights by "
                    "255 - high through one table on the first three channels (further "
                    "channels copied).")
              .arg("src", "uint8 image")
              .argFromTool("low", "low")
              .argFromTool("high", "high")
              .argFromTool("mode", "mode")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("a flat image or low == high in mode 1, another dtype, or another mode "
                       "give zeros (mode 1 and 2) or an empty array (other modes); a given dst "
                       "is left unchanged")
              .c_str());
    m.def(
        "shadow",
        [](py::handle src, float depth, float limit, py::handle dst) {
            InArray s = matFromArray(src, "src");
            return unaryCall(s, dst, sameAs(s.mat),
                             [&](const Mat& a, Mat& b) { ip::shadow(a, b, depth, limit); });
        },
        "src"_a, "depth"_a, "limit"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("shadow(src, depth, limit, *, dst=None) -> ndarray", "shadow")
            .what("Lifts dark values more than bright ones: v = p + (m - trunc(p * (m + 0.0001) "
                  "/ 255)) / 2 with m = trunc(depth * 255), capped at trunc(255 - limit * 50), "
                  "on the first three channels.")
            .arg("src", "uint8 image")
            .argFromTool("depth", "depth")
            .argFromTool("limit", "limit")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused(kToneRefused)
            .c_str());
    m.def(
        "gamma",
        [](py::handle src, double g, py::handle dst) {
            InArray s = matFromArray(src, "src");
            Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
            return callInto(s, d, [&](const Mat& a, Mat& b) { ip::gamma(a, b, g); });
        },
        "src"_a, "gamma"_a, py::kw_only(), "dst"_a = py::none(),
        Doc("gamma(src, gamma, *, dst=None) -> ndarray", "gamma")
            .what("Power-law tone curve with |gamma|. uint8: v -> trunc(v^gamma * 255 / "
                  "255^gamma), so 0 and 255 stay; gamma 0 gives a logarithmic curve. float32 "
                  "and float64: v -> pow(v, gamma) (gamma 0: log(max(v, 1) / 256 + v)) on the "
                  "first cols elements of each row only, so with several channels the rest of "
                  "a new result stays 0.")
            .arg("src", "uint8, float32 or float64 image, any channel count")
            .argFromTool("gamma", "gamma")
            .arg("dst", kDstHelp)
            .returns("dst, src's shape and dtype")
            .refused("an empty src, int16 or int32 give an empty array (dst given: unchanged)")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(tone, bindTone);

}  // namespace tarvopy
