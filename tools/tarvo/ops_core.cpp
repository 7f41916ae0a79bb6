// Rows of the tarvo tool for the core operations.
#include "operations.h"
#include "tarvo/colorspace.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runCopy(const Mat& in, Mat& out, const Args&) {
    out = in;
}

void runCrop(const Mat& in, Mat& out, const Args& a) {
    tarvo::Rect r(a.i(0), a.i(1), a.i(2), a.i(3));
    if (r.width == 0) r.width = in.cols() - r.x;
    if (r.height == 0) r.height = in.rows() - r.y;
    out.release();
    if (r.x >= in.cols() || r.y >= in.rows() || r.width <= 0 || r.height <= 0) return;
    in.subMat(r, out);
}

const char* checkCrop(const Mat& in, const Args& a) {
    if (a.i(0) >= in.cols() || a.i(1) >= in.rows()) return "the corner lies outside the picture";
    return nullptr;
}

void runGrey(const Mat& in, Mat& out, const Args&) {
    tarvo::ColorSpace::RGBtoGray(in, out);
}

const Operation kRows[] = {
    {"copy",
     "Re-encode a picture; the output format follows the extension of OUT",
     {},
     runCopy,
     nullptr,
     "copy photo.jpg photo.png",
     kGreyOrColour | kAlpha},
    {"crop",
     "Cut a rectangle out of a picture (clipped to the picture)",
     {{"x", "left edge in pixels", 0, 0, 1e6, true},
      {"y", "top edge in pixels", 0, 0, 1e6, true},
      {"width", "width in pixels, 0 for up to the right edge", 0, 0, 1e6, true},
      {"height", "height in pixels, 0 for up to the bottom edge", 0, 0, 1e6, true}},
     runCrop,
     nullptr,
     "crop --x 150 --y 80 --width 300 --height 240 in.png out.png",
     kGreyOrColour | kAlpha,
     checkCrop},
    {"grey",
     "Grey version of a colour picture (0.299 R + 0.587 G + 0.114 B); grey stays as it is",
     {},
     runGrey,
     nullptr,
     "grey in.png grey.png"},
};

const DemoStep kDemo[] = {
    {"crop.png", "a rectangle cut out", "", "crop", "--x 150 --y 80 --width 300 --height 240", 100},
    {"grey.png", "grey version (one channel)", "", "grey", "", 101},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
