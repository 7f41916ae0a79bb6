// Rows of the tarvo tool for the core operations.
#include "operations.h"

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

const Operation kRows[] = {
    {"copy",
     "Re-encode a picture; the output format follows the extension of OUT",
     {},
     runCopy,
     nullptr},
    {"crop",
     "Cut a rectangle out of a picture (clipped to the picture)",
     {{"x", "left edge in pixels", 0, 0, 1e6, true},
      {"y", "top edge in pixels", 0, 0, 1e6, true},
      {"width", "width in pixels, 0 for up to the right edge", 0, 0, 1e6, true},
      {"height", "height in pixels, 0 for up to the bottom edge", 0, 0, 1e6, true}},
     runCrop,
     nullptr},
};

const DemoStep kDemo[] = {
    {"crop.png", "a rectangle cut out", "", "crop", "--x 150 --y 80 --width 300 --height 240", 100},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
