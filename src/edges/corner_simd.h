// Vector kernels of the corner detectors. Each returns the index where it
// stopped; the caller's scalar loop finishes the row with identical results.
// They do nothing (return their start) when vector code is switched off.
#pragma once

namespace tarvo {
namespace detail {

// FAST predicate and score of the centres x in [start, end) of one row:
// where arcLength (9..12) consecutive ring pixels are all above p + b or all
// below p - b, flags[x] becomes the score plus one (the smallest difference
// to p on the best arc, so at least b + 1), else 0. rows holds the seven rows y - 3 ..
// y + 3; each is read at x - 3 .. x + 3. Only 0 <= b: the caller handles
// negative barriers.
int fastCornerRow(const unsigned char* const* rows, int b, int arcLength, unsigned char* flags,
                  int start, int end);

// Harris gradient products of one row, j in [0, n): xx = gx gx, yy = gy gy,
// xy = gx gy, each an int product converted to float.
int harrisProductsRow(const short* gx, const short* gy, float* xx, float* yy, float* xy, int n);

// Harris strength of one row, j in [0, n): (xx yy - xy xy) / (xx + yy + 1e-6f),
// multiplications, additions and the division in that order, in float. With
// a mask, pixels whose mask byte is 0 get `none` instead.
int harrisStrengthRow(const float* xx, const float* yy, const float* xy, const unsigned char* mask,
                      float none, float* s, int n);

// flags[j] = non-zero where s[j] == localMax[j] and localMax[j] > threshold,
// j in [0, n).
int harrisPeaksRow(const float* s, const float* localMax, float threshold, unsigned char* flags,
                   int n);

}  // namespace detail
}  // namespace tarvo
