// Rows of the tarvo tool for the core operations.
#include "operations.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runCopy(const Mat& in, Mat& out, const Args&) {
    out = in;
}

const Operation kRows[] = {
    {"copy",
     "Re-encode a picture; the output format follows the extension of OUT",
     {},
     runCopy,
     nullptr},
};

const DemoStep kDemo[] = {
    {"crop.png", "a rectangle cut out", "", "crop", "--x 150 --y 80 --width 300 --height 240", 100},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
