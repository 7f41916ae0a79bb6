// Rows of the tarvo tool for the filter operations.
#include "operations.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/morphology.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runGaussian(const Mat& in, Mat& out, const Args& a) {
    if (a.v[1] > 0)
        tarvo::ip::gaussian(in, out, a.f(0), a.f(1));
    else
        tarvo::ip::gaussian(in, out, a.f(0));
}

// Erosion or dilation with a square element of the given shape; edges take
// the neutral fill, so they neither darken nor brighten the picture.
void runMorph(bool erode, const Mat& in, Mat& out, const Args& a) {
    out.release();
    const Mat e = tarvo::ip::getStructuringElement(a.i(1), tarvo::Size_<int>(a.i(0), a.i(0)));
    if (e.empty()) return;
    if (erode)
        tarvo::ip::erode(in, out, e, tarvo::Point2_<int>(-1, -1), a.i(2));
    else
        tarvo::ip::dilate(in, out, e, tarvo::Point2_<int>(-1, -1), a.i(2));
}

void runErode(const Mat& in, Mat& out, const Args& a) {
    runMorph(true, in, out, a);
}

void runDilate(const Mat& in, Mat& out, const Args& a) {
    runMorph(false, in, out, a);
}

const Operation kRows[] = {
    {"gaussian",
     "Gaussian smoothing (separable, mirrored edges, results truncated to the pixel type)",
     {{"sigma", "standard deviation in pixels, 0 copies", 1.5, 0, 100, false},
      {"support", "kernel half-width in pixels, 0 for 2 * sigma", 0, 0, 300, false}},
     runGaussian,
     nullptr},
    {"erode",
     "Morphological erosion: each pixel becomes the minimum under the element (darkens)",
     {{"size", "element width and height in pixels", 3, 1, 255, true},
      {"shape", "element shape: 0 rectangle, 1 cross, 2 ellipse", 0, 0, 2, true},
      {"iterations", "times the erosion is applied, 0 copies", 1, 0, 1000, true}},
     runErode,
     nullptr},
    {"dilate",
     "Morphological dilation: each pixel becomes the maximum under the element (brightens)",
     {{"size", "element width and height in pixels", 3, 1, 255, true},
      {"shape", "element shape: 0 rectangle, 1 cross, 2 ellipse", 0, 0, 2, true},
      {"iterations", "times the dilation is applied, 0 copies", 1, 0, 1000, true}},
     runDilate,
     nullptr},
};

const DemoStep kDemo[] = {
    {"gaussian-3.png", "Gaussian smoothing, sigma 3", "", "gaussian", "--sigma 3", 300},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
