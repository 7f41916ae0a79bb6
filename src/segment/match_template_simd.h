// Vector kernel of the normalised template scores (one channel, 32-bit
// integral sums). Returns the column where it stopped; the caller's scalar
// loop finishes the row with identical results. Does nothing (returns 0)
// when vector code is switched off.
#pragma once

#include <cstdint>

namespace tarvo {
namespace detail {

// For x in [0, cols): r[x] (the correlation on entry) becomes the normalised
// score of the window at x, from the window sums of rows s0/s1 (sums) and
// q0/q1 (squares) of the integral tables, template width tw.
int normedScoreRowU32(const uint32_t* s0, const uint32_t* s1, const double* q0, const double* q1,
                      float* r, int cols, int tw, bool coeff, bool sqdiff, double tm,
                      double invArea, double templSum2, double normScale, double other);

}  // namespace detail
}  // namespace tarvo
