// Rows of the tarvo tool for the geometry operations.
#include "operations.h"
#include "tarvo/ip/geometry.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runResize(const Mat& in, Mat& out, const Args& a) {
    out.release();
    tarvo::ip::resize(in, out, a.i(0), a.i(1), a.i(2));
}

const Operation kRows[] = {
    {"resize",
     "Scale a picture to a new width and height",
     {{"width", "new width in pixels", 640, 1, 32768, true},
      {"height", "new height in pixels", 480, 1, 32768, true},
      {"interpolation",
       "0 simple averaging, 1 bilinear, 2 bicubic, 3 pixel area, 4 Lanczos (8 taps)", 1, 0, 4,
       true}},
     runResize,
     nullptr},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);

}  // namespace tarvotool
