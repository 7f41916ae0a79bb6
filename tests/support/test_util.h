// Helpers shared by the test suites: random images, exact comparison with
// the first differing element reported, and reading pixels as doubles.
#pragma once

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// Fills every element of m with values drawn from a fixed-seed generator:
// bytes 0..255, shorts -32768..32767, ints in +-2^20, floats/doubles in [lo, hi).
void fillRandom(Mat& m, uint32_t seed, double lo = -100.0, double hi = 100.0);

// A new matrix of the given shape filled by fillRandom.
Mat randomMat(int rows, int cols, int type, uint32_t seed, double lo = -100.0, double hi = 100.0);

// Element (r, c, k) as a double, for any depth.
double at(const Mat& m, int r, int c, int k = 0);

// Success when both matrices have the same shape and type word and every
// element is bitwise equal; otherwise the first difference is described.
::testing::AssertionResult matEqual(const Mat& a, const Mat& b);

// Success when shape and type agree and every element differs by at most tol.
::testing::AssertionResult matNear(const Mat& a, const Mat& b, double tol);

// A byte image whose columns x >= split hold `right` and the others `left`,
// in every channel.
Mat verticalStep(int rows, int cols, int split, int left, int right, int channels = 1);

// A one-channel byte image whose rows y >= split hold `bottom` and the others `top`.
Mat horizontalStep(int rows, int cols, int split, int top, int bottom);

// A unique scratch directory for the calling test, removed by the caller.
std::string tempDir();

}  // namespace test
}  // namespace tarvo
