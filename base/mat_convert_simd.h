// Vector row kernels of Mat::convertTo (mat_convert_simd.cpp). Each converts
// the first elements of a row with the scalar loop's exact result and returns
// how many it wrote; the caller's scalar loop finishes the row.
#pragma once

#include <cstdint>

namespace tarvo {
namespace detail {

// Plain casts: truncate, or round half-up when round is set; NaN to 0;
// saturate.
int convertRowF32U8(const float* src, uint8_t* dst, int n, bool round);
int convertRowF32S16(const float* src, int16_t* dst, int n, bool round);
int convertRowF64U8(const double* src, uint8_t* dst, int n, bool round);
int convertRowF64S16(const double* src, int16_t* dst, int n, bool round);

// Scaled form: dst = saturate_cast(double(src) * scale + shift) between any
// two of the element depths (MAT_Tuchar ... MAT_Tdouble, given as codes).
int scaleRow(int srcDepth, const void* src, int dstDepth, void* dst, int n, double scale,
             double shift);

}  // namespace detail
}  // namespace tarvo
