// Internal pieces shared by the integral, pyramid and border code: the vector
// row kernels (integral_simd.cpp, pyramid_simd.cpp) and the small adapters to
// the border rule, the hardware switch and the parallel loop.
#pragma once

#include <cstdint>
#include <functional>

#include "tarvo/types.h"

namespace tarvo {
namespace detail {

// Source index for coordinate p of a line of len samples under border mode
// 0..4; -1 means "no sample" (fill mode).
int pyrBorderIndex(int p, int len, int mode);

// True when the integer vector kernels may run (the scalar loops are the reference).
bool pyrUseIntVector();
// True when the single-precision vector kernels may run.
bool pyrUseFloatVector();

// Runs body over [0, n) in stripes, possibly on several threads; every index is
// delivered exactly once. pixels is the amount of work, used to stay serial on
// small images.
void pyrParallelRows(int n, double pixels, const std::function<void(int, int)>& body);

// ---- vector kernels. Each returns how many outputs it wrote from the start;
// the caller's scalar loop finishes the row.

// dst[x] = above[x] + (src[0] + ... + src[x]) modulo 2^32, one channel.
int integralRowU8(const uint8_t* src, const uint32_t* above, uint32_t* dst, int width);

// The same for 3 or 4 interleaved channels, each summed on its own: pixels x
// from 0 write dst[x*cn + k]. Returns the first pixel it did not write (0 for
// other channel counts); a 3-channel row leaves at least its last pixel.
int integralRowU8Cn(const uint8_t* src, const uint32_t* above, uint32_t* dst, int width, int cn);

// col[x] += rows[0][x] + ... + rows[nrows-1][x] modulo 2^32 for x in [0, width)
// by column blocks; returns the first column it did not add.
int columnSumsU8(const uint8_t* const* rows, int nrows, uint32_t* col, int width);

// Horizontal 1 4 6 4 1 with decimation, one channel, for outputs x in
// [x0, x1): dst[x] = s[2x-2] + 4 s[2x-1] + 6 s[2x] + 4 s[2x+1] + s[2x+2].
// The kernel keeps its reads inside [0, srcWidth) and returns the first x it
// did not write (x0 when it wrote nothing).
int pyrDownRowU8(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1);
int pyrDownRowF32(const float* src, int srcWidth, float* dst, int x0, int x1);
// The same for 2 to 4 interleaved channels (srcWidth in pixels, dst indexed
// by output pixel times cn); returns the first output pixel not written in full.
int pyrDownRowU8Cn(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1, int cn);
int pyrDownRowF32Cn(const float* src, int srcWidth, float* dst, int x0, int x1, int cn);

// Horizontal pyrUp, one channel, for pairs x in [x0, x1): dst[2x] =
// s[x-1] + 6 s[x] + s[x+1], dst[2x+1] = 4 (s[x] + s[x+1]). Same return rule.
int pyrUpRowU8(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1);
int pyrUpRowF32(const float* src, int srcWidth, float* dst, int x0, int x1);

// Vertical 1 4 6 4 1 of five rows then (v + 128) >> 8 (bytes) or times 1/256 (float).
int pyrDownColU8(const uint16_t* const* rows, uint8_t* dst, int width);
int pyrDownColF32(const float* const* rows, float* dst, int width);

// Vertical pyrUp: even row r0 + 6 r1 + r2, odd row 4 (r1 + r2), then
// (v + 32) >> 6 (bytes) or times 1/64 (float). Either destination may be null.
int pyrUpColU8(const uint16_t* const* rows, uint8_t* dstEven, uint8_t* dstOdd, int width);
int pyrUpColF32(const float* const* rows, float* dstEven, float* dstOdd, int width);

}  // namespace detail
}  // namespace tarvo
