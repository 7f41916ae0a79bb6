// Slow, obvious matrix helpers that the linear-algebra tests compare against.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// op(a) op(b) summed in double by a triple loop; op transposes when asked.
Mat naiveMul(const Mat& a, const Mat& b, bool ta = false, bool tb = false);
// Largest absolute element difference (channel 0); infinity on a shape mismatch.
double maxDiff(const Mat& a, const Mat& b);
// n x n double identity.
Mat eyeDouble(int n);

}  // namespace test
}  // namespace tarvo
