// Scalar one-thread edge detector, kept as the reference for the library's
// striped and vector paths: same thresholds, modes and channel rule.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

Mat referenceCanny(const Mat& src, float lowThreshold, float highThreshold, int mode);

}  // namespace test
}  // namespace tarvo
