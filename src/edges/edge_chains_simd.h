// Vector kernels of the edge-chain extractor. Each works on one row, returns
// the index where it stopped, and leaves the rest of the row to the caller's
// scalar loop, which gives identical results. They do nothing (return their
// start) when vector code is switched off.
#pragma once

#include "tarvo/export.h"

namespace tarvo {
namespace detail {

// out[x] = 7-tap smoothing (1 6 15 20 15 6 1) down the columns of the seven
// rows rows7[0..6], for x in [0, n).
int edgeSmoothColumns(const unsigned char* const* rows7, short* out, int n);
// out[x] = 7-tap smoothing along the row in[x-3..x+3], for x in [start, end).
int edgeSmoothRow(const unsigned char* in, short* out, int start, int end);
// out[x] = (7-tap difference (-1 -4 -5 0 5 4 1) along the row in[x-3..x+3]) >> 5,
// for x in [start, end).
int edgeDiffRow(const short* in, short* out, int start, int end);
// out[x] = (7-tap difference down the columns of rows7[0..6]) >> 5, x in [start, end).
int edgeDiffColumns(const short* const* rows7, short* out, int start, int end);
// strength[x] = |gx[x]| + |gy[x]|, for x in [0, n), with |g| <= 5100. Adds the
// count of non-zero strengths to *nz and raises *maxS to the largest one.
int edgeStrengthRow(const short* gx, const short* gy, short* strength, int n, long long* nz,
                    int* maxS);
// orient[x] = the polynomial angle of (gy[x], gx[x]) folded into 0..180, for x
// in [0, n), with |g| <= 5100.
TARVO_EXPORTS int edgeAngleRow(const short* gx, const short* gy, short* orient, int n);
// s8[x] = strength[x] * 127 / maxS, for x in [0, n), 0 <= strength <= maxS <= 10200.
int edgeScaleRow(const short* strength, unsigned char* s8, int maxS, int n);
// Non-maximum suppression of the 8-bit strength row mid (rows up and dn above
// and below) across the gradient (gx, gy), then both thresholds: with o the
// kept strength or 0, strong = clamp(o - hi + 1, 0, 127) and weak =
// clamp(o - lo + 1, 0, 127), for x in [start, end).
int edgeSuppressRow(const unsigned char* up, const unsigned char* mid, const unsigned char* dn,
                    const short* gx, const short* gy, int k, int hi, int lo, signed char* strong,
                    signed char* weak, int start, int end);

}  // namespace detail
}  // namespace tarvo
