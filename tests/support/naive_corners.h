// Slow, obvious corner detectors used as references: the FAST ring tested
// start by start with the score found by bisection and a brute-force
// 8-neighbour suppression, and Harris strength and local maxima by window
// loops with the exchange sort.
#pragma once

#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

struct NaiveCorner {
    int x, y;
};

// FAST on a one-channel byte image (threshold used as given).
std::vector<NaiveCorner> naiveFast(const Mat& image, int threshold, int arcLength, bool suppress);

// Harris corners of a one-channel byte image, strongest first (mask may be empty).
std::vector<NaiveCorner> naiveHarris(const Mat& image, const Mat& mask, int window,
                                     float threshold);

}  // namespace test
}  // namespace tarvo
