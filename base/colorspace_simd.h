// Vector row kernels of the colour conversions (colorspace_simd.cpp). Each
// handles the first pixels of a row with the scalar loop's exact result and
// returns how many it wrote; the caller's scalar loop finishes the row.
#pragma once

#include <cstdint>

namespace tarvo {
namespace detail {

// Luminance of n pixels of cn (3 or 4) channels; red first when rgb is set,
// blue first otherwise.
int greyRowU8(const uint8_t* src, uint8_t* dst, int n, int cn, bool rgb);
int greyRowF32(const float* src, float* dst, int n, int cn, bool rgb);
int greyRowF64(const double* src, double* dst, int n, int cn, bool rgb);

}  // namespace detail
}  // namespace tarvo
