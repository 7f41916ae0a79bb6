// Internal pieces of ip::resize: the engine entry points of the averaging
// paths (resize_area.cpp), the vector kernels (resize_simd.cpp) and the small
// arithmetic helpers shared by the scalar loops and the kernels' contracts.
//
// Canonical order of operations, followed by scalar and vector code alike:
//   horizontal, interior   v = S[t0]*a0 + S[t1]*a1 + ...      (left to right)
//   horizontal, border     v = 0 + S[t0]*a0 + S[t1]*a1 + ...  (taps clamped to the row)
//   vertical               s = R0*b0 + R1*b1 + ...            then the element cast
// Products and sums are separate operations; int arithmetic wraps modulo 2^32.
#pragma once

#include <cstdint>

#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Work-type arithmetic: int wraps instead of overflowing, other types are plain.
template <typename T>
inline T rAdd(T a, T b) {
    return a + b;
}
template <>
inline int rAdd<int>(int a, int b) {
    return int(unsigned(a) + unsigned(b));
}
template <typename T>
inline T rMul(T a, T b) {
    return a * b;
}
template <>
inline int rMul<int>(int a, int b) {
    return int(unsigned(a) * unsigned(b));
}

// Byte result of the fixed-point passes: (v + 2^21) >> 22, saturated. Both
// axes carry coefficients scaled by 2048, so the shift removes 2^22.
inline unsigned char fixedPtCast22(int v) {
    const int r = int(unsigned(v) + (1u << 21)) >> 22;
    return (unsigned char)(r < 0 ? 0 : r > 255 ? 255 : r);
}

// One entry of an area table: source offset si and destination offset di (in
// elements, multiplied by the channel count for the x table) and weight alpha.
struct DecimateAlpha {
    int si, di;
    float alpha;
};

// Fills tab (room for at least 2 * (ssize + dsize) entries) with the area
// weights of dsize cells of width scale over ssize samples; returns the count.
int computeResizeAreaTab(int ssize, int dsize, int cn, double scale, DecimateAlpha* tab);

// The two averaging paths for shrinking (code 3). dst has its final size and
// src's type; src and dst do not share pixels. False for a depth without a
// routine (int), dst then unwritten.
bool resizeAreaFast(const Mat& src, Mat& dst, int scaleX, int scaleY);
bool resizeArea(const Mat& src, Mat& dst, double scaleX, double scaleY);

// Runs codes 1 to 4 from src into dst, which has its final size and src's
// type and shares no pixels with src.
void resizeEngine(const Mat& src, Mat& dst, int code);
// False when codes 1 to 4 cannot serve this depth (int) or the coefficient
// tables for this output size would be absurdly large.
bool resizeEngineAccepts(int depth, int width, int height, int cn);

// True when the integer / float vector kernels may run.
bool resizeUseIntVector();
bool resizeUseFloatVector();

// ---- vector kernels (resize_simd.cpp). Each returns how many leading outputs
// it wrote; the scalar loop finishes the row.

// dst[x] = fixedPtCast22(sum_k rows[k][x] * beta[k]) in wrapping int32.
int vresizeFixed8u(const int32_t* const* rows, const int16_t* beta, int ksize, uint8_t* dst, int n);
// dst[x] = sum_k rows[k][x] * beta[k] in float.
int vresize32f(const float* const* rows, const float* beta, int ksize, float* dst, int n);
// The float sum above, then rounded half up and saturated to int16 (NaN gives 0).
int vresize32f16s(const float* const* rows, const float* beta, int ksize, int16_t* dst, int n);

// 2 x 2 block averages of byte / int16 rows r0, r1 (cn of 1, 3 or 4), output
// elements [0, n) of a row of outputs: (a + b + c + d + 2) >> 2 per element.
// Horizontal pass of the byte engine for output elements [dx0, dx1) of one
// row: D[dx] = sum over the ksize taps of S[xofs[dx] - (ksize / 2 - 1) * cn
// + j * cn] * alpha[dx * ksize + j], for 1, 3 or 4 channels. Reads stay
// inside [0, swidth) and writes inside [0, dwidth); returns the first
// element not written (dx0 when none), always a pixel boundary.
int hresizeFixed8u(const uint8_t* src, int swidth, int32_t* dst, int dwidth, const int* xofs,
                   const int16_t* alpha, int ksize, int cn, int dx0, int dx1);
// The same for the float engine's work rows: float sources, and short
// sources converted to float, with float weights; dst[dx] is summed left to
// right in float. Same bounds and return contract.
int hresize32f(const float* src, int swidth, float* dst, int dwidth, const int* xofs,
               const float* alpha, int ksize, int cn, int dx0, int dx1);
int hresize16s32f(const int16_t* src, int swidth, float* dst, int dwidth, const int* xofs,
                  const float* alpha, int ksize, int cn, int dx0, int dx1);
int areaFast2x8u(const uint8_t* r0, const uint8_t* r1, uint8_t* dst, int n, int cn);
int areaFast2x16s(const int16_t* r0, const int16_t* r1, int16_t* dst, int n, int cn);

}  // namespace detail
}  // namespace tarvo
