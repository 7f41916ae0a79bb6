// Rows of the tarvo tool for the segment operations.
#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/segment.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

// Colour pictures are thresholded on their grey version: the threshold runs
// over one channel.
void runThreshold(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g;
    tarvo::ColorSpace::RGBtoGray(in, g);
    if (g.channels() != 1) return;
    tarvo::ip::Threshold(g, out, a.v[0], a.v[1], a.i(2));
}

void runAdaptiveThreshold(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::adaptiveThreshold(in, out, a.v[0], a.i(1), a.i(2), a.i(3), a.v[4]);
}

const Operation kRows[] = {
    {"threshold",
     "Fixed, Otsu or percentile threshold of the grey version of a picture",
     {{"value", "threshold level (floored), or a percentage for types 9 and 10", 128, -1e6, 1e6,
       false},
      {"max", "value given to samples on the 'on' side", 255, 0, 255, false},
      {"type",
       "0 binary, 1 inverted, 2 truncate, 3 to zero, 4 to zero inverted; +8 takes Otsu's level "
       "(8, 11, 12); 9 / 10 percentile up / down",
       0, 0, 12, true}},
     runThreshold,
     nullptr},
    {"adaptive-threshold",
     "Threshold each sample against the mean of its neighbourhood (each channel on its own)",
     {{"max", "value given to samples on the 'on' side", 255, 0, 255, false},
      {"method", "0 box mean, 1 Gaussian-weighted mean", 0, 0, 1, true},
      {"type", "0 on above mean - delta, 1 the reverse", 0, 0, 1, true},
      {"block", "neighbourhood size in pixels", 11, 1, 1001, true},
      {"delta", "offset subtracted from the mean", 5, -255, 255, false}},
     runAdaptiveThreshold,
     nullptr},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);

}  // namespace tarvotool
