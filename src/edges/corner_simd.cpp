// Highway kernels of the corner detectors, compiled for every target Highway
// supports and chosen at run time.
#include "corner_simd.h"

#include <algorithm>
#include <cstdint>

#include "tarvo/parallel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "edges/corner_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// The ring of radius 3 as (dx, dy), starting straight below the centre.
constexpr int kDx[16] = {0, 1, 2, 3, 3, 3, 2, 1, 0, -1, -2, -3, -3, -3, -2, -1};
constexpr int kDy[16] = {3, 3, 2, 1, 0, -1, -2, -3, -3, -3, -2, -1, 0, 1, 2, 3};

// Per lane, the largest over the 16 cyclic starts of the smallest of n
// (9..12) consecutive values: minima over runs of 2, 4 and 8 by doubling,
// then an 8-run joined with the n - 8 run that follows it.
template <class D, class V>
HWY_INLINE V BestArc(D d, const V* v, int n) {
    V a2[16], a4[16], a8[16];
    for (int i = 0; i < 16; i++) a2[i] = hn::Min(v[i], v[(i + 1) & 15]);
    for (int i = 0; i < 16; i++) a4[i] = hn::Min(a2[i], a2[(i + 2) & 15]);
    for (int i = 0; i < 16; i++) a8[i] = hn::Min(a4[i], a4[(i + 4) & 15]);
    V best = hn::Zero(d);
    for (int i = 0; i < 16; i++) {
        const int j = (i + 8) & 15;
        V tail;
        switch (n) {
            case 9:
                tail = v[j];
                break;
            case 10:
                tail = a2[j];
                break;
            case 11:
                tail = hn::Min(a2[j], v[(j + 2) & 15]);
                break;
            default:
                tail = a4[j];
                break;
        }
        best = hn::Max(best, hn::Min(a8[i], tail));
    }
    return best;
}

int FastCornerRow(const uint8_t* const* rows, int b, int n, uint8_t* flags, int start, int end) {
    const hn::ScalableTag<uint8_t> d8;
    const int N = (int)hn::Lanes(d8);
    if (end - start < N) return start;
    // Above 255 nothing can pass either way, exactly as at 255.
    const auto vb = hn::Set(d8, (uint8_t)std::min(b, 255));
    const uint8_t* mid = rows[3];
    int x = start;
    for (;;) {
        // The last block ends at `end`, overlapping the one before: the
        // lanes it recomputes get the same flags.
        if (x + N > end) x = end - N;
        const auto p = hn::LoadU(d8, mid + x);
        // Saturation keeps the comparisons exact: p + b above 255 admits no
        // brighter pixel, p - b below 0 no darker one.
        const auto hi = hn::SaturatedAdd(p, vb), lo = hn::SaturatedSub(p, vb);
        auto ring = [&](int i) { return hn::LoadU(d8, rows[3 + kDy[i]] + x + kDx[i]); };
        const auto r0 = ring(0), r4 = ring(4), r8 = ring(8), r12 = ring(12);
        // A run of 9 or more covers two adjacent ones of pixels 0, 4, 8, 12,
        // i.e. (0 or 8) and (4 or 12).
        const auto bright = hn::And(hn::Or(hn::Gt(r0, hi), hn::Gt(r8, hi)),
                                    hn::Or(hn::Gt(r4, hi), hn::Gt(r12, hi)));
        const auto dark = hn::And(hn::Or(hn::Lt(r0, lo), hn::Lt(r8, lo)),
                                  hn::Or(hn::Lt(r4, lo), hn::Lt(r12, lo)));
        if (hn::AllFalse(d8, hn::Or(bright, dark))) {
            hn::StoreU(hn::Zero(d8), d8, flags + x);
        } else {
            // Differences above p (for brighter arcs) and below it (darker),
            // saturated at 0: the best arc of a corner has every difference
            // above b >= 0, so it keeps its exact value, and arcs that
            // saturate cannot beat it. A corner is a best arc above b.
            // A polarity that fails the screen in every lane has no corner
            // and is left out (its best stays 0, below every barrier).
            hn::VFromD<decltype(d8)> diff[16];
            auto best = hn::Zero(d8);
            if (!hn::AllFalse(d8, bright)) {
                for (int i = 0; i < 16; i++) diff[i] = hn::SaturatedSub(ring(i), p);
                best = BestArc(d8, diff, n);
            }
            if (!hn::AllFalse(d8, dark)) {
                for (int i = 0; i < 16; i++) diff[i] = hn::SaturatedSub(p, ring(i));
                best = hn::Max(best, BestArc(d8, diff, n));
            }
            hn::StoreU(hn::IfThenElseZero(hn::Gt(best, vb), best), d8, flags + x);
        }
        x += N;
        if (x >= end) break;
    }
    return end;
}

int HarrisProductsRow(const int16_t* gx, const int16_t* gy, float* xx, float* yy, float* xy,
                      int n) {
    const hn::ScalableTag<int32_t> d32;
    const hn::ScalableTag<float> df;
    const hn::Rebind<int16_t, decltype(d32)> d16;
    const int N = (int)hn::Lanes(d32);
    int j = 0;
    for (; j + N <= n; j += N) {
        const auto x = hn::PromoteTo(d32, hn::LoadU(d16, gx + j));
        const auto y = hn::PromoteTo(d32, hn::LoadU(d16, gy + j));
        hn::StoreU(hn::ConvertTo(df, hn::Mul(x, x)), df, xx + j);
        hn::StoreU(hn::ConvertTo(df, hn::Mul(y, y)), df, yy + j);
        hn::StoreU(hn::ConvertTo(df, hn::Mul(x, y)), df, xy + j);
    }
    return j;
}

int HarrisStrengthRow(const float* xx, const float* yy, const float* xy, const uint8_t* mask,
                      float none, float* s, int n) {
    const hn::ScalableTag<float> df;
    const hn::Rebind<int32_t, decltype(df)> d32;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const int N = (int)hn::Lanes(df);
    const auto eps = hn::Set(df, 1e-06f), vnone = hn::Set(df, none);
    int j = 0;
    for (; j + N <= n; j += N) {
        const auto a = hn::LoadU(df, xx + j), b = hn::LoadU(df, yy + j), c = hn::LoadU(df, xy + j);
        auto v = hn::Div(hn::Sub(hn::Mul(a, b), hn::Mul(c, c)), hn::Add(hn::Add(a, b), eps));
        if (mask) {
            const auto m = hn::PromoteTo(d32, hn::LoadU(d8, mask + j));
            v = hn::IfThenElse(hn::RebindMask(df, hn::Eq(m, hn::Zero(d32))), vnone, v);
        }
        hn::StoreU(v, df, s + j);
    }
    return j;
}

int HarrisPeaksRow(const float* s, const float* lm, float threshold, uint8_t* flags, int n) {
    const hn::ScalableTag<float> df;
    const hn::Rebind<int32_t, decltype(df)> d32;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const int N = (int)hn::Lanes(df);
    const auto thr = hn::Set(df, threshold);
    const auto one = hn::Set(d32, 1);
    int j = 0;
    for (; j + N <= n; j += N) {
        const auto v = hn::LoadU(df, s + j), m = hn::LoadU(df, lm + j);
        const auto peak = hn::And(hn::Eq(v, m), hn::Gt(m, thr));
        hn::StoreU(hn::DemoteTo(d8, hn::IfThenElseZero(hn::RebindMask(d32, peak), one)), d8,
                   flags + j);
    }
    return j;
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {

HWY_EXPORT(FastCornerRow);
HWY_EXPORT(HarrisProductsRow);
HWY_EXPORT(HarrisStrengthRow);
HWY_EXPORT(HarrisPeaksRow);

int harrisProductsRow(const short* gx, const short* gy, float* xx, float* yy, float* xy, int n) {
    if (!checkHardwareSupport(CPU_INT_VECTORS)) return 0;
    return HWY_DYNAMIC_DISPATCH(HarrisProductsRow)(gx, gy, xx, yy, xy, n);
}

int harrisStrengthRow(const float* xx, const float* yy, const float* xy, const unsigned char* mask,
                      float none, float* s, int n) {
    if (!checkHardwareSupport(CPU_FLOAT_VECTORS)) return 0;
    return HWY_DYNAMIC_DISPATCH(HarrisStrengthRow)(xx, yy, xy, mask, none, s, n);
}

int harrisPeaksRow(const float* s, const float* localMax, float threshold, unsigned char* flags,
                   int n) {
    if (!checkHardwareSupport(CPU_FLOAT_VECTORS)) return 0;
    return HWY_DYNAMIC_DISPATCH(HarrisPeaksRow)(s, localMax, threshold, flags, n);
}

int fastCornerRow(const unsigned char* const* rows, int b, int arcLength, unsigned char* flags,
                  int start, int end) {
    if (b < 0 || arcLength < 9 || arcLength > 12 || !checkHardwareSupport(CPU_INT_VECTORS))
        return start;
    return HWY_DYNAMIC_DISPATCH(FastCornerRow)(rows, b, arcLength, flags, start, end);
}

}  // namespace detail
}  // namespace tarvo
#endif
