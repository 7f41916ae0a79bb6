// Internal pieces of the warps shared by the scalar loops and the vector kernel.
#pragma once

#include <cstdint>

namespace tarvo {
namespace detail {

// 10-bit bilinear of four bytes; fx, fy in 0..1023. The products replace the
// shifts of the textbook form so that negative factors stay defined; no
// partial sum leaves 32 bits.
inline int bilinear10(int p00, int p01, int p10, int p11, int fx, int fy) {
    const int v = ((p10 * fy + p01 * fx) * 1024 + (p11 - p10 - p01 + p00) * (fx * fy) +
                   (1024 - (fx + fy)) * 1024 * p00) >>
                  20;
    return v > 255 ? 255 : v;
}

// dst[e] = bilinear10 of the bytes at base + off[e], + dx, + dy, + dx + dy
// with fractions fx[e], fy[e], for a leading part of [0, n); returns how many
// elements it wrote (the caller finishes the rest). Reads up to three bytes
// past the last sample address: only for matrices that own their (padded) pixels.
int warpBilinear8u(const uint8_t* base, const int32_t* off, const int32_t* fx, const int32_t* fy,
                   int dx, int dy, uint8_t* dst, int n);

// remap's linear byte routine for a leading part of [0, n): the four table
// weights of code[e] (table entries 4 code .. 4 code + 3, in 1/32768) times
// the bytes at base + off[e], + dx, + dy, + dx + dy, then (sum + 2^14) >> 15
// saturated. Returns how many elements it wrote.
int remapLinear8u(const uint8_t* base, const int32_t* off, const int32_t* code,
                  const int32_t* table, int dx, int dy, uint8_t* dst, int n);

// The constant row pitch of a matrix's rows in bytes, or -1 when the rows are
// not evenly spaced or span 2^31 bytes or more (the kernels use 32-bit offsets).
long long evenPitch(const unsigned char* const* rows, int nrows, int rowBytes);

}  // namespace detail
}  // namespace tarvo
