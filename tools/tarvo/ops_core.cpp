// Rows of the tarvo tool for the core operations.
#include "operations.h"
#include "tarvo/colorspace.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runCopy(const Mat& in, Mat& out, const Args&) {
    out = in;
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
     kGreyOrColour | kAlpha,
     nullptr,
     kPointReach},
    {"grey",
     "Grey version of a colour picture (0.299 R + 0.587 G + 0.114 B); grey stays as it is",
     {},
     runGrey,
     nullptr,
     "grey in.png grey.png",
     kGreyOrColour,
     nullptr,
     kPointReach},
};

const DemoStep kDemo[] = {
    {"crop.png", "a rectangle cut out", "", "crop", "--x 150 --y 80 --width 300 --height 240", 100},
    {"grey.png", "grey version (one channel)", "", "grey", "", 101},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
