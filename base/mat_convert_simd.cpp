// Vector kernels of Mat::convertTo from float and double to bytes and shorts.
// Each lane follows the scalar element cast exactly: NaN becomes 0, the value
// is clamped to the destination range (the bounds are integers, so clamping
// before rounding gives the same result), then truncated towards zero or
// rounded half-up. Half-up is built from the round-half-even instruction: the
// difference v - round(v) is exact for values in range, and equals +0.5 only
// where round-half-even went down on a tie.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "mat_convert_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "mat_convert_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
int CvtF32U8(const float*, uint8_t*, int, int) {
    return 0;
}
int CvtF32S16(const float*, int16_t*, int, int) {
    return 0;
}
int CvtF64U8(const double*, uint8_t*, int, int) {
    return 0;
}
int CvtF64S16(const double*, int16_t*, int, int) {
    return 0;
}
#else
// Clamped, NaN-free, integer-valued lanes of v.
template <class D, class V>
HWY_INLINE V CastLanes(D d, V v, V lo, V hi, bool round) {
    v = hn::IfThenElseZero(hn::Eq(v, v), v);
    v = hn::Min(hn::Max(v, lo), hi);
    if (!round) return hn::Trunc(v);
    const V r = hn::Round(v);
    const V half = hn::Set(d, 0.5);
    return hn::Add(r, hn::IfThenElseZero(hn::Eq(hn::Sub(v, r), half), hn::Set(d, 1.0)));
}

// float lanes -> int32 lanes -> T (u8 or i16), four vectors per step.
template <typename T>
int CvtF32(const float* src, T* dst, int n, int round, float lo, float hi) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<T, decltype(di)> dt;
    const int N = (int)hn::Lanes(df);
    const auto vlo = hn::Set(df, lo), vhi = hn::Set(df, hi);
    const bool r = round != 0;
    int i = 0;
    for (; i + 2 * N <= n; i += 2 * N) {
        const auto a = CastLanes(df, hn::LoadU(df, src + i), vlo, vhi, r);
        const auto b = CastLanes(df, hn::LoadU(df, src + i + N), vlo, vhi, r);
        hn::StoreU(hn::DemoteTo(dt, hn::ConvertTo(di, a)), dt, dst + i);
        hn::StoreU(hn::DemoteTo(dt, hn::ConvertTo(di, b)), dt, dst + i + N);
    }
    for (; i + N <= n; i += N) {
        const auto a = CastLanes(df, hn::LoadU(df, src + i), vlo, vhi, r);
        hn::StoreU(hn::DemoteTo(dt, hn::ConvertTo(di, a)), dt, dst + i);
    }
    return i;
}

// double lanes -> int32 (half width) -> T.
template <typename T>
int CvtF64(const double* src, T* dst, int n, int round, double lo, double hi) {
    const hn::ScalableTag<double> dd;
    const hn::Rebind<int32_t, decltype(dd)> di;
    const hn::Rebind<T, decltype(dd)> dt;
    const int N = (int)hn::Lanes(dd);
    const auto vlo = hn::Set(dd, lo), vhi = hn::Set(dd, hi);
    const bool r = round != 0;
    int i = 0;
    for (; i + N <= n; i += N) {
        const auto a = CastLanes(dd, hn::LoadU(dd, src + i), vlo, vhi, r);
        hn::StoreU(hn::DemoteTo(dt, hn::DemoteTo(di, a)), dt, dst + i);
    }
    return i;
}

int CvtF32U8(const float* src, uint8_t* dst, int n, int round) {
    return CvtF32<uint8_t>(src, dst, n, round, 0.0f, 255.0f);
}
int CvtF32S16(const float* src, int16_t* dst, int n, int round) {
    return CvtF32<int16_t>(src, dst, n, round, -32768.0f, 32767.0f);
}
int CvtF64U8(const double* src, uint8_t* dst, int n, int round) {
    return CvtF64<uint8_t>(src, dst, n, round, 0.0, 255.0);
}
int CvtF64S16(const double* src, int16_t* dst, int n, int round) {
    return CvtF64<int16_t>(src, dst, n, round, -32768.0, 32767.0);
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(CvtF32U8);
HWY_EXPORT(CvtF32S16);
HWY_EXPORT(CvtF64U8);
HWY_EXPORT(CvtF64S16);

int convertRowF32U8(const float* src, uint8_t* dst, int n, bool round) {
    return HWY_DYNAMIC_DISPATCH(CvtF32U8)(src, dst, n, round ? 1 : 0);
}
int convertRowF32S16(const float* src, int16_t* dst, int n, bool round) {
    return HWY_DYNAMIC_DISPATCH(CvtF32S16)(src, dst, n, round ? 1 : 0);
}
int convertRowF64U8(const double* src, uint8_t* dst, int n, bool round) {
    return HWY_DYNAMIC_DISPATCH(CvtF64U8)(src, dst, n, round ? 1 : 0);
}
int convertRowF64S16(const double* src, int16_t* dst, int n, bool round) {
    return HWY_DYNAMIC_DISPATCH(CvtF64S16)(src, dst, n, round ? 1 : 0);
}
}  // namespace detail
}  // namespace tarvo
#endif
