// Slow, obvious references of the region tools: a breadth-first labelling of
// eight-connected regions and a per-pixel breadth-first flood fill.
#pragma once

#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

struct NaiveRegion {
    int left, top, right, bottom;   // inclusive box
    int value;                      // value of the first pixel met in the scan
    std::vector<long long> pixels;  // linear indices y * cols + x, sorted
};

// Regions of pixels differing from background in a one-channel byte image,
// in the order their first pixel is met scanning columns left to right, each
// column top to bottom.
std::vector<NaiveRegion> naiveRegions(const Mat& img, unsigned char background);

// Four-connected region around seed of the pixels whose every channel is
// within tolerance of the seed's, as a byte mask of 255 / 0 (seed included).
Mat naiveFill(const Mat& img, int sx, int sy, int tolerance);

}  // namespace test
}  // namespace tarvo
