// Rows of the tarvo tool for the geometry operations.
#include <algorithm>
#include <cmath>

#include "operations.h"
#include "tarvo/ip/geometry.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

// Parameters of the resize row, in order.
enum { kScale, kWidth, kHeight, kInterp };
constexpr int kAutoInterpolation = -1;

// Output size from --scale, or from --width and/or --height (one of them
// keeps the aspect ratio). False when the size is not positive or too large.
bool resizeTarget(const Mat& in, const Args& a, int& w, int& h) {
    double fw, fh;
    if (a.v[kScale] > 0) {
        fw = in.cols() * a.v[kScale];
        fh = in.rows() * a.v[kScale];
    } else if (a.v[kWidth] > 0 && a.v[kHeight] > 0) {
        fw = a.v[kWidth];
        fh = a.v[kHeight];
    } else if (a.v[kWidth] > 0) {
        fw = a.v[kWidth];
        fh = in.rows() * a.v[kWidth] / in.cols();
    } else {
        fh = a.v[kHeight];
        fw = in.cols() * a.v[kHeight] / in.rows();
    }
    fw = std::floor(fw + 0.5);
    fh = std::floor(fh + 0.5);
    if (!(fw >= 1 && fh >= 1 && fw <= 32768 && fh <= 32768)) return false;
    w = int(fw);
    h = int(fh);
    return true;
}

const char* checkResize(const Mat& in, const Args& a) {
    const bool scale = a.v[kScale] > 0, size = a.v[kWidth] > 0 || a.v[kHeight] > 0;
    if (scale && size) return "give --scale or --width/--height, not both";
    if (!scale && !size) return "give --scale, --width or --height";
    int w, h;
    if (!resizeTarget(in, a, w, h)) return "the new size must lie in 1..32768 pixels a side";
    return nullptr;
}

void runResize(const Mat& in, Mat& out, const Args& a) {
    out.release();
    int w, h;
    if (!resizeTarget(in, a, w, h)) return;
    int interpolation = a.i(kInterp);
    if (interpolation == kAutoInterpolation)
        interpolation =
            (w < in.cols() || h < in.rows()) ? tarvo::ip::ResizeArea : tarvo::ip::ResizeLinear;
    tarvo::ip::resize(in, out, w, h, interpolation);
}

const Choice kInterpolations[] = {{"auto", kAutoInterpolation},
                                  {"scale-xy", tarvo::ip::ResizeScaleXY},
                                  {"linear", tarvo::ip::ResizeLinear},
                                  {"cubic", tarvo::ip::ResizeCubic},
                                  {"area", tarvo::ip::ResizeArea},
                                  {"lanczos4", tarvo::ip::ResizeLanczos4},
                                  {nullptr, 0}};

// With --scale, an output pixel reads the taps of its interpolation (area and
// scale-xy: the source pixels it covers) about its source position, so the
// reach grows with the shrink factor. With --width or --height the factor
// follows the picture's size, which a tile does not know.
int reachResize(const Args& a) {
    const double scale = a.v[kScale];
    if (!(scale > 0)) return kWholePicture;
    const int interpolation = a.i(kInterp);
    const int taps = interpolation == tarvo::ip::ResizeLanczos4 ? 4
                     : interpolation == tarvo::ip::ResizeCubic  ? 2
                                                                : 1;
    return int(std::ceil(taps * std::max(1.0, 1.0 / scale))) + 1;
}

const Operation kRows[] = {
    {"resize",
     "Scale a picture by a factor or to a new width and/or height",
     {{"scale", "factor for both sides (0.5 halves), 0 when sizes are given", 0, 0, 64, false},
      {"width", "new width in pixels; alone, the height follows the aspect ratio", 0, 0, 32768,
       true},
      {"height", "new height in pixels; alone, the width follows the aspect ratio", 0, 0, 32768,
       true},
      {"interpolation",
       "auto: area when shrinking, linear otherwise; scale-xy: the simple averaging scaler; "
       "lanczos4: 8 taps",
       kAutoInterpolation, -1, 4, true, kInterpolations}},
     runResize,
     nullptr,
     "resize --width 300 --interpolation lanczos4 in.png out.png",
     kGreyOrColour,
     checkResize,
     {reachResize,
      "interpolation taps times the shrink factor; whole picture with --width or --height", true}},
};

const DemoStep kDemo[] = {
    {"resize-half.png", "shrunk to half size (area averaging)", "", "resize", "--scale 0.5", 350},
    {"resize-zoom.png", "the cut-out enlarged twice, Lanczos", "crop.png", "resize",
     "--scale 2 --interpolation lanczos4", 351},
    {"pyr-down.png", "Gaussian pyramid, two levels down (a quarter of each side)", "", "pyr-down",
     "--levels 2", 352},
    {"pyr-up.png", "the cut-out doubled by the pyramid's 5-tap kernel", "crop.png", "pyr-up",
     "--levels 1", 353},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
