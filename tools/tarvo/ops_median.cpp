// Rows of the tarvo tool for the median and direct convolution operations.
#include <new>
#include <vector>

#include "operations.h"
#include "tarvo/matop.h"
#include "tarvo/ip/filter.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

const Choice kKinds[] = {{"square", 0}, {"horizontal", 2}, {"vertical", 3}, {nullptr, 0}};

// The line kinds filter one channel: a colour picture goes through channel by channel.
void runMedian(const Mat& in, Mat& out, const Args& a) {
    out.release();
    const tarvo::filterintype kind = tarvo::filterintype(a.i(1));
    if (kind == 0 || in.channels() == 1) {
        tarvo::ip::median(in, out, a.i(0), kind);
        return;
    }
    const int n = in.channels();
    if (n > 4) return;
    Mat planes[4], filtered[4];
    tarvo::MatOp::split(in, planes);
    for (int c = 0; c < n; c++) {
        tarvo::ip::median(planes[c], filtered[c], a.i(0), kind);
        if (filtered[c].empty()) return;
    }
    tarvo::MatOp::merge(filtered, unsigned(n), out);
}

tarvo::PumpABC* pumpMedian(const Args& a) {
    return new (std::nothrow) tarvo::ipMedian(a.i(0));
}

// A box of ones (size x size for the square kind, size taps for the lines)
// divided by its sum.
void runConvolve(const Mat& in, Mat& out, const Args& a) {
    out.release();
    const int n = a.i(0), kind = a.i(2);
    const std::vector<int> k(size_t(kind == 0 ? n * n : n), 1);
    tarvo::ip::convolve2(in, out, k.data(), n, tarvo::ip::kernelFactor(k.data(), int(k.size())),
                         a.i(1), tarvo::filterintype(kind));
}

void runConvolveSep(const Mat& in, Mat& out, const Args& a) {
    out.release();
    const std::vector<int> k(size_t(a.i(0)), 1);
    tarvo::ip::convolve2sep(in, out, k.data(), a.i(0), a.i(0));
}

// The window's or kernel's reach: half its size (an even size reaches that
// far on one side and one less on the other).
int reachHalfFirst(const Args& a) {
    return a.i(0) / 2;
}

// The square kind leaves a pixel exactly half a window from the top or left
// edge unfiltered, so its band there is one wider than the window reads: a
// tile needs that extra pixel to filter it as the whole picture does.
int reachConvolve(const Args& a) {
    return a.i(0) / 2 + (a.i(2) == 0 ? 1 : 0);
}

const Operation kRows[] = {
    {"median",
     "Median filter: each pixel becomes the middle value of its window (window shrinks at the "
     "edges); 8-bit pictures of any channels, lines on grey only",
     {{"window", "window size in pixels (even sizes reach one pixel further up and left)", 5, 1,
       255, true},
      {"kind", "window: square, horizontal (one row) or vertical (one column)", 0, 0, 3, true,
       kKinds}},
     runMedian,
     pumpMedian,
     "median --window 5 --kind square in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachHalfFirst, "--window / 2; the window shrinks only at the picture's edges"}},
    {"convolve",
     "Direct box filter: mean of the window plus an offset; the edge band, where the window "
     "would cross the picture edge, keeps the source pixels",
     {{"size", "box size in pixels", 3, 1, 63, true},
      {"offset", "value added to every filtered pixel", 0, -255, 255, true},
      {"kind", "box: square, horizontal (one row) or vertical (one column)", 0, 0, 3, true,
       kKinds}},
     runConvolve,
     nullptr,
     "convolve --size 3 --offset 0 --kind square in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachConvolve,
      "--size / 2; the square kind one more, since its unfiltered band along the top and left "
      "edges is that much wider"}},
    {"convolve-sep",
     "Separable box filter along rows then columns; near the edges the missing taps count as "
     "zero, so the borders darken",
     {{"size", "box size in pixels", 5, 1, 255, true}},
     runConvolveSep,
     nullptr,
     "convolve-sep --size 5 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachHalfFirst, "--size / 2"}},
};

const DemoStep kDemo[] = {
    {"median-5.png", "median filter, 5 x 5 window", "", "median", "--window 5", 320},
    {"convolve-box.png", "direct 5 x 5 box, edge band kept", "", "convolve", "--size 5", 321},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
