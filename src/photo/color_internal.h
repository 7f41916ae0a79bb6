// Helpers shared by the fast paths of the colour operators: a row-parallel
// loop and a saturating per-channel byte offset over whole rows.
#pragma once

#include <cstdint>

#include "tarvo/parallel.h"

namespace tarvo {
namespace detail {

// Runs f(rowBegin, rowEnd) over [0, rows), split into stripes of about 65536
// pixels each, so small pictures stay on the calling thread. f must only touch
// the rows it is given.
template <typename F>
class PhotoRowsBody : public ParallelLoopBody {
public:
    explicit PhotoRowsBody(const F& f) : f_(f) {}
    void operator()(const Range& r) const override { f_(r.start, r.end); }

private:
    const F& f_;
};

template <typename F>
void photoParallelRows(int rows, double pixels, const F& f) {
    if (rows <= 0) return;
    parallel_for_(Range(0, rows), PhotoRowsBody<F>(f), pixels / 65536.0);
}

// Largest vector width in bytes the kernels below may use; pattern buffers are
// padded by this much.
constexpr int kPhotoMaxVectorBytes = 256;

// dst[i] = saturate(src[i] + plus[i % period] - minus[i % period]) for a prefix
// of the n bytes; plus and minus hold the pattern repeated over at least
// period + kPhotoMaxVectorBytes bytes, and only one of them is non-zero at each
// position. Returns how many bytes were done (the caller finishes the row).
// src and dst may be the same row.
int photoAddSatU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* plus,
                  const uint8_t* minus, int period);

// light[x] = (max + min + 1) >> 1 of the packed triple x of src, which equals
// the integer lightness (max + min + 1) * 255 / 510, for a prefix of the n
// triples. Returns how many were done.
int photoLightnessU8C3(const uint8_t* src, uint8_t* light, int n);

// The hue of ipHSL's percent conversion for a prefix of n pixels given as
// planes of bytes: hue[x] = the truncated single-precision hue (170 for a
// grey), maxMin[x] = max * 256 + min of the three bytes. Returns how many
// were done.
int photoPercentHue(const uint8_t* r, const uint8_t* g, const uint8_t* b, int32_t* hue,
                    int32_t* maxMin, int n);

// dst row y byte i = clamp(src row y byte i + adds[i % period], 0, 255) for
// rows [0, rows) and bytes [0, rowBytes), with period in 1..64. Rows may be the
// same (in place). Vector code and parallel rows; exact integer arithmetic.
void photoAddSaturatedRows(unsigned char* const* srcRows, unsigned char* const* dstRows, int rows,
                           int rowBytes, int period, const int* adds);

}  // namespace detail
}  // namespace tarvo
