// Internal pieces of the Gaussian smoothing: the vector line kernels
// (gaussian_simd.cpp) and the mirror rule shared by every pass.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarvo/parallel.h"

namespace tarvo {
namespace detail {

// Index of sample p in a line of len samples mirrored at both ends without
// repeating the edge sample (-1 reads 1, len reads len - 2), applied repeatedly
// so any p maps inside [0, len). A one-sample line always reads sample 0.
inline int gaussMirror(long long p, int len) {
    if (p >= 0 && p < len) return (int)p;
    if (len <= 1) return 0;
    const long long period = 2LL * (len - 1);
    if (p < 0) p = -p;
    p %= period;
    return (int)(p < len ? p : period - p);
}

// Runs f(y0, y1) over the rows [0, rows) in stripes, one stripe per 64K
// multiply-adds of work (rowWork per row), so small images stay on the
// calling thread.
template <class F>
class StripeBody : public ParallelLoopBody {
public:
    explicit StripeBody(const F& f) : f_(f) {}
    void operator()(const Range& r) const override { f_(r.start, r.end); }

private:
    const F& f_;
};
template <class F>
void forRows(int rows, double rowWork, const F& f) {
    parallel_for_(Range(0, rows), StripeBody<F>(f), (double)rows * rowWork / 65536.0);
}

// ---- vector kernels. Each writes outputs [0, n') and returns n', the count it
// wrote from the start (a multiple of the vector width); the caller's scalar
// loop finishes the line with the same arithmetic. For every output j:
//   s = 0.0f; for each tap t in order: s = s + (float)in(t, j) * k[t]
// with separate multiply and add, then stored with truncation toward zero and
// saturation (bytes, shorts) or as is (float).

// Row pass: in(t, j) = line[j + t * cn], line being a float copy of the row
// with the mirrored ends in place.
int gaussRowToU8(const float* line, int n, int cn, const float* k, int taps, uint8_t* dst);
int gaussRowToS16(const float* line, int n, int cn, const float* k, int taps, int16_t* dst);
int gaussRowToF32(const float* line, int n, int cn, const float* k, int taps, float* dst);

// Column pass: in(t, j) = rows[t][j].
int gaussColU8(const uint8_t* const* rows, int n, const float* k, int taps, uint8_t* dst);
int gaussColS16(const int16_t* const* rows, int n, const float* k, int taps, int16_t* dst);
int gaussColF32(const float* const* rows, int n, const float* k, int taps, float* dst);

// Byte / short samples to float, n elements; returns how many it converted.
int gaussWidenU8(const uint8_t* src, int n, float* dst);
int gaussWidenS16(const int16_t* src, int n, float* dst);

// Direct float convolution with taps grouped by four (see convolveImageHoriz):
// for outputs x in [0, n'), tap j reads rows[j][x + j * stride], the sum being
// s = s + (((p0 k0 + p1 k1) + p2 k2) + p3 k3) per group of four, then s = s + p k.
int convGroupedF32(const float* const* rows, ptrdiff_t stride, int len, const float* k, int n,
                   float* dst);

}  // namespace detail
}  // namespace tarvo
