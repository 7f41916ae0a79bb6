// Slow references for border following: component counts by flood fill.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// Outer borders and holes of a one-channel byte mask (non-zero = object):
// outer = 8-connected object components; holes = 4-connected background
// components that do not reach the image edge (the image is taken as
// surrounded by background).
struct BorderCounts {
    int outer = 0;
    int holes = 0;
};
BorderCounts naiveBorderCounts(const Mat& mask);

}  // namespace test
}  // namespace tarvo
