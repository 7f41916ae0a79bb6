// Rows of the tarvo tool for the segment operations.
#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/segment.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

// Colour pictures are thresholded on their grey version: the threshold runs
// over one channel. Grey pictures are used as they are.
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

using namespace tarvo::ip;

const Choice kThresholdTypes[] = {{"binary", ThreshBinary},
                                  {"binary-inv", ThreshBinaryInv},
                                  {"trunc", ThreshTrunc},
                                  {"to-zero", ThreshToZero},
                                  {"to-zero-inv", ThreshToZeroInv},
                                  {"otsu", ThreshOtsuBit | ThreshBinary},
                                  {"percentile-up", ThreshPercentUp},
                                  {"percentile-down", ThreshPercentDown},
                                  {"otsu-to-zero", ThreshOtsuBit | ThreshToZero},
                                  {"otsu-to-zero-inv", ThreshOtsuBit | ThreshToZeroInv},
                                  {nullptr, 0}};
const Choice kAdaptiveMethods[] = {
    {"mean", AdaptiveMean}, {"gaussian", AdaptiveGaussian}, {nullptr, 0}};
const Choice kAdaptiveTypes[] = {
    {"binary", ThreshBinary}, {"binary-inv", ThreshBinaryInv}, {nullptr, 0}};

// Fixed levels compare each sample alone; Otsu and percentile levels come
// from the whole picture's histogram.
int reachThreshold(const Args& a) {
    const int type = a.i(2);
    if ((type & ThreshOtsuBit) || type == ThreshPercentUp || type == ThreshPercentDown)
        return kWholePicture;
    return 0;
}

// The local mean is taken over the block, box or Gaussian alike.
int reachAdaptive(const Args& a) {
    return a.i(3) / 2;
}

const Operation kRows[] = {
    {"threshold",
     "Fixed, Otsu or percentile threshold of the grey version of a picture",
     {{"value", "threshold level (floored), or a percentage for the percentile types", 128, -1e6,
       1e6, false},
      {"max", "value given to samples on the 'on' side", 255, 0, 255, false},
      {"type",
       "binary: max above the level, else 0; trunc: the level above it; to-zero: 0 at or below "
       "it; -inv the reverse; otsu*: the level from Otsu's method; percentile-up/-down: the "
       "level below which --value percent of the samples lie",
       0, 0, 12, true, kThresholdTypes}},
     runThreshold,
     nullptr,
     "threshold --type otsu in.png mask.png",
     kGreyOrColour,
     nullptr,
     {reachThreshold, "a point; the otsu and percentile types read the whole picture"}},
    {"adaptive-threshold",
     "Threshold each sample against the mean of its neighbourhood (each channel on its own)",
     {{"max", "value given to samples on the 'on' side", 255, 0, 255, false},
      {"method", "local mean: box mean or Gaussian-weighted mean", 0, 0, 1, true, kAdaptiveMethods},
      {"type", "binary: max above mean - delta, else 0; binary-inv the reverse", 0, 0, 1, true,
       kAdaptiveTypes},
      {"block", "neighbourhood size in pixels", 11, 1, 1001, true},
      {"delta", "offset subtracted from the mean", 5, -255, 255, false}},
     runAdaptiveThreshold,
     nullptr,
     "adaptive-threshold --method gaussian --block 15 --delta 4 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachAdaptive, "--block / 2"}},
};

const DemoStep kDemo[] = {
    {"threshold-otsu.png", "Otsu threshold of the grey picture", "grey.png", "threshold",
     "--type otsu", 1000},
    {"threshold-trunc.png", "grey picture truncated at level 100", "grey.png", "threshold",
     "--value 100 --type trunc", 1001},
    {"adaptive-threshold.png", "adaptive threshold, Gaussian mean over 15x15", "grey.png",
     "adaptive-threshold", "--method gaussian --block 15 --delta 4", 1002},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
