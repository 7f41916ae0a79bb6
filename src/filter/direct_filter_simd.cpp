// Vector kernel of convolve2 (square kernel) on bytes: int32 lanes sum
// kernel x sample in tap order, then the quotient is taken in float and
// truncated. The caller admits a kernel only when every reachable sum is
// below 2^24 in magnitude and |divisor| <= 2^24: both are then exact floats,
// and a non-integer quotient S / d lies at least 1 / |d| from the next
// integer while the rounding error of the division is below |S / d| * 2^-24
// < 1 / |d|, so the truncated float quotient equals the integer one.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/direct_filter_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filter/direct_filter.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
int ConvolveRow(const uint8_t* const*, const int*, int, int, int, int, int from, int, uint8_t*) {
    return from;
}
int SepTaps(const uint8_t* const*, const int*, int, int, int, uint8_t*) {
    return 0;
}
#else
int ConvolveRow(const uint8_t* const* rows, const int* kernel, int n, int cn, int divisor,
                int offset, int from, int to, uint8_t* dst) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<uint8_t, decltype(d32)> d8;
    const hn::Rebind<float, decltype(d32)> df;
    const int N = int(hn::Lanes(d32));
    const auto vdiv = hn::Set(df, float(divisor));
    const auto voff = hn::Set(d32, offset);
    const auto zero = hn::Zero(d32), top = hn::Set(d32, 255);
    int e = from;
    for (; e + N <= to; e += N) {
        auto sum = hn::Zero(d32);
        for (int j = 0; j < n; j++) {
            const uint8_t* r = rows[j] + e;
            const int* kr = kernel + size_t(j) * size_t(n);
            for (int i = 0; i < n; i++) {
                if (kr[i] == 0) continue;
                const auto s = hn::PromoteTo(d32, hn::LoadU(d8, r + size_t(i) * size_t(cn)));
                sum = hn::Add(sum, hn::Mul(s, hn::Set(d32, kr[i])));
            }
        }
        const auto q = hn::ConvertTo(d32, hn::Div(hn::ConvertTo(df, sum), vdiv));
        const auto v = hn::Min(hn::Max(hn::Add(q, voff), zero), top);
        hn::StoreU(hn::DemoteTo(d8, v), d8, dst + e);
    }
    return e;
}

// dst[j] = clamp(trunc(sum_i k[i] ptrs[i][j] / divisor), 0, 255) for j in
// [0, count), two vectors at a time.
int SepTaps(const uint8_t* const* ptrs, const int* k, int taps, int divisor, int count,
            uint8_t* dst) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<uint8_t, decltype(d32)> d8;
    const hn::Rebind<float, decltype(d32)> df;
    const int N = int(hn::Lanes(d32));
    const auto vdiv = hn::Set(df, float(divisor));
    const auto zero = hn::Zero(d32), top = hn::Set(d32, 255);
    auto finish = [&](decltype(zero) sum, uint8_t* out) {
        const auto q = hn::ConvertTo(d32, hn::Div(hn::ConvertTo(df, sum), vdiv));
        hn::StoreU(hn::DemoteTo(d8, hn::Min(hn::Max(q, zero), top)), d8, out);
    };
    int j = 0;
    for (; j + 2 * N <= count; j += 2 * N) {
        auto a = hn::Zero(d32), b = hn::Zero(d32);
        for (int i = 0; i < taps; i++) {
            const auto kv = hn::Set(d32, k[i]);
            const uint8_t* p = ptrs[i] + j;
            a = hn::Add(a, hn::Mul(hn::PromoteTo(d32, hn::LoadU(d8, p)), kv));
            b = hn::Add(b, hn::Mul(hn::PromoteTo(d32, hn::LoadU(d8, p + N)), kv));
        }
        finish(a, dst + j);
        finish(b, dst + j + N);
    }
    for (; j + N <= count; j += N) {
        auto a = hn::Zero(d32);
        for (int i = 0; i < taps; i++)
            a = hn::Add(
                a, hn::Mul(hn::PromoteTo(d32, hn::LoadU(d8, ptrs[i] + j)), hn::Set(d32, k[i])));
        finish(a, dst + j);
    }
    return j;
}
#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(ConvolveRow);
HWY_EXPORT(SepTaps);

int vecSepTapsU8(const uint8_t* const* ptrs, const int* k, int taps, int divisor, int count,
                 uint8_t* dst) {
    if (divisor == 0 || divisor > (1 << 24) || divisor < -(1 << 24)) return 0;
    return HWY_DYNAMIC_DISPATCH(SepTaps)(ptrs, k, taps, divisor, count, dst);
}

int vecConvolveRowU8(const uint8_t* const* rows, const int* kernel, int n, int cn, int divisor,
                     int offset, int from, int to, uint8_t* dst) {
    // Outside these limits the int32 offset addition or the float quotient
    // could be inexact; the scalar loop handles such filters.
    if (divisor == 0 || divisor > (1 << 24) || divisor < -(1 << 24)) return from;
    if (offset > (1 << 30) || offset < -(1 << 30)) return from;
    return HWY_DYNAMIC_DISPATCH(ConvolveRow)(rows, kernel, n, cn, divisor, offset, from, to, dst);
}
}  // namespace detail
}  // namespace tarvo
#endif  // HWY_ONCE
