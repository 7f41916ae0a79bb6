// Vector row kernels of Mat::convertTo (mat_convert_simd.cpp). Each converts
// the first elements of a row with the scalar cast's exact result (truncate,
// or round half-up when round is set; NaN to 0; saturate) and returns how many
// it wrote; the caller's scalar loop finishes the row.
#pragma once

#include <cstdint>

namespace tarvo {
namespace detail {

int convertRowF32U8(const float* src, uint8_t* dst, int n, bool round);
int convertRowF32S16(const float* src, int16_t* dst, int n, bool round);
int convertRowF64U8(const double* src, uint8_t* dst, int n, bool round);
int convertRowF64S16(const double* src, int16_t* dst, int n, bool round);

}  // namespace detail
}  // namespace tarvo
