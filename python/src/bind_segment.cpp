// Thresholds: fixed, Otsu, percentile, adaptive, and the grey-level threshold.
#include "tarvo/ip/segment.h"
#include "tarvo_py.h"

namespace tarvopy {

namespace {

namespace ip = tarvo::ip;
using tarvo::Mat;

py::object threshold(py::handle src, double thresh, double maxval, int type, py::handle dst) {
    InArray s = matFromArray(src, "src");
    const bool percent = type == ip::ThreshPercentUp || type == ip::ThreshPercentDown;
    const int depth = percent ? tarvo::MAT_Tuchar : s.mat.type();
    Dst d = makeDst(dst, "dst", s, shapeOf(s.mat.rows(), s.mat.cols(), depth, 1));
    // int32 and float64 sources only get their destination prepared: clear it.
    if (d.user.is_none() && !s.empty() &&
        (depth == tarvo::MAT_Tint || depth == tarvo::MAT_Tdouble) &&
        d.mat.create(s.mat.rows(), s.mat.cols(), depth) >= 0)
        d.mat.zero();
    double t = 0;
    py::object out = callInto(
        s, d, [&](const Mat& a, Mat& b) { t = ip::Threshold(a, b, thresh, maxval, type); });
    return py::make_tuple(t, out);
}

py::object adaptive(py::handle src, double maxValue, int method, int type, int blockSize,
                    double delta, py::handle dst) {
    InArray s = matFromArray(src, "src");
    Dst d = makeDst(dst, "dst", s, sameAs(s.mat));
    return callInto(s, d, [&](const Mat& a, Mat& b) {
        ip::adaptiveThreshold(a, b, maxValue, method, type, blockSize, delta);
    });
}

void bindSegment(py::module_&, py::module_& m) {
    m.attr("ThreshBinary") = int(ip::ThreshBinary);
    m.attr("ThreshBinaryInv") = int(ip::ThreshBinaryInv);
    m.attr("ThreshTrunc") = int(ip::ThreshTrunc);
    m.attr("ThreshToZero") = int(ip::ThreshToZero);
    m.attr("ThreshToZeroInv") = int(ip::ThreshToZeroInv);
    m.attr("ThreshOtsuBit") = int(ip::ThreshOtsuBit);
    m.attr("ThreshPercentUp") = int(ip::ThreshPercentUp);
    m.attr("ThreshPercentDown") = int(ip::ThreshPercentDown);
    m.attr("AdaptiveMean") = int(ip::AdaptiveMean);
    m.attr("AdaptiveGaussian") = int(ip::AdaptiveGaussian);

    m.def("Threshold", &threshold, "src"_a, "thresh"_a, "maxval"_a, "type"_a, py::kw_only(),
          "dst"_a = py::none(),
          Doc("Threshold(src, thresh, maxval, type, *, dst=None) -> (t, dst)", "threshold")
              .what("Thresholds a one-channel image; a sample equal to the threshold counts as "
                    "below it.")
              .arg("src",
                   "uint8, int16 or float32 image with one channel (only the first cols "
                   "samples of each row are read)")
              .argFromTool("thresh", "value",
                           "uint8 and int16 use floor(thresh); float32 compares as given")
              .argFromTool("maxval", "max", "rounded and kept to the low 8 / 16 bits")
              .argFromTool("type", "type",
                           "ThreshBinary (0), ThreshBinaryInv (1), ThreshTrunc (2), ThreshToZero "
                           "(3), ThreshToZeroInv (4), | ThreshOtsuBit (8), ThreshPercentUp (9), "
                           "ThreshPercentDown (10)")
              .arg("dst", kDstHelp)
              .returns("(t, dst): the threshold used (Otsu's value with ThreshOtsuBit, the "
                       "level reached for the percentile types) and dst, one channel of src's "
                       "size and dtype (uint8 for the percentile types)")
              .refused(
                  "an empty src returns (0.0, empty array); int32 and float64 sources "
                  "return thresh and a dst that is only prepared (a new one is zeros, a given one "
                  "unchanged)")
              .c_str());
    m.def("adaptiveThreshold", &adaptive, "src"_a, "maxValue"_a, "method"_a, "type"_a,
          "blockSize"_a, "delta"_a, py::kw_only(), "dst"_a = py::none(),
          Doc("adaptiveThreshold(src, maxValue, method, type, blockSize, delta, *, dst=None) -> "
              "ndarray",
              "adaptive-threshold")
              .what("Local threshold of a uint8 image: maxValue where src > mean - delta "
                    "(ThreshBinary), 0 otherwise; ThreshBinaryInv inverts. Channels are "
                    "thresholded independently.")
              .arg("src", "uint8 image, any channel count")
              .argFromTool("maxValue", "max", "rounded and saturated to 0..255; negative zeroes")
              .argFromTool("method", "method", "AdaptiveMean (0) or AdaptiveGaussian (1)")
              .argFromTool("type", "type", "ThreshBinary (0) or ThreshBinaryInv (1)")
              .argFromTool("blockSize", "block")
              .argFromTool("delta", "delta")
              .arg("dst", kDstHelp)
              .returns("dst, src's shape and dtype")
              .refused("other methods, dtypes, blockSize < 1: zeros; other type codes: zeros; "
                       "an empty src: an empty array")
              .c_str());
    m.def(
        "otsuThreshold",
        [](py::handle src, py::handle mask) {
            InArray s = matFromArray(src, "src");
            InArray mk;
            if (!mask.is_none()) mk = matFromArray(mask, "mask");
            int t = 0;
            nogil([&] { t = ip::otsuThreshold(s.mat, mk.mat); });
            return t;
        },
        "src"_a, "mask"_a = py::none(),
        Doc("otsuThreshold(src, mask=None) -> int")
            .what("Otsu's threshold (0..255, single-precision search) of the first cols bytes of "
                  "each row, counting only pixels whose mask byte is non-zero.")
            .arg("src", "uint8 image")
            .arg("mask", "uint8 array of src's size, or None for all pixels")
            .refused("a constant image, an empty selection, an empty src or a mask of another "
                     "size give 0")
            .c_str());
    m.def(
        "thresholdOfGray",
        [](py::handle src) {
            InArray s = matFromArray(src, "src");
            int t = 0;
            nogil([&] { t = ip::thresholdOfGray(s.mat); });
            return t;
        },
        "src"_a,
        Doc("thresholdOfGray(src) -> int")
            .what("Grey level k (0..255) that maximises q2 log q2 + q1 log q1 - 0.5 log s, with "
                  "q1 / q2 the shares of samples at or below / above k and s the variance of the "
                  "samples about their own class mean.")
            .arg("src", "uint8 image (rows * cols bytes are read)")
            .refused("an empty src gives 0")
            .c_str());
}

}  // namespace

TARVO_PY_FAMILY(segment, bindSegment);

}  // namespace tarvopy
