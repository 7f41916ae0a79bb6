// Vector kernels of Mat::convertTo: float and double to bytes and shorts, and
// the scaled form between any two depths. Each lane follows the scalar element
// cast exactly: NaN becomes 0, the value is clamped to the destination range
// (the bounds are integers, so clamping before rounding gives the same
// result), then truncated towards zero or rounded half-up.
//
// Half-up in double lanes is the scalar formula itself, floor(v + 0.5), sum
// rounding included (0.49999999999999994 + 0.5 is 1.0 in double, so it rounds
// to 1 on both paths). Float lanes would round that sum in single precision,
// so half-up there is built from the round-half-even instruction instead:
// v - round(v) is exact for values in range and equals +0.5 only where
// round-half-even went down on a tie; float sources promoted to double add
// 0.5 exactly, so this is the scalar result too.
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
int ScaleRowImpl(int, const void*, int, void*, int, double, double) {
    return 0;
}
#else
// Clamped, NaN-free, integer-valued lanes of v.
template <class D, class V>
HWY_INLINE V CastLanes(D d, V v, V lo, V hi, bool round) {
    v = hn::IfThenElseZero(hn::Eq(v, v), v);
    v = hn::Min(hn::Max(v, lo), hi);
    if (!round) return hn::Trunc(v);
    if constexpr (sizeof(hn::TFromD<D>) == 8) {
        return hn::Floor(hn::Add(v, hn::Set(d, 0.5)));
    } else {
        const V r = hn::Round(v);
        const V half = hn::Set(d, 0.5);
        return hn::Add(r, hn::IfThenElseZero(hn::Eq(hn::Sub(v, r), half), hn::Set(d, 1.0)));
    }
}

// ---- scaled form: every source depth is widened to double lanes, scaled and
// shifted in double (no fused multiply-add, like the scalar loop), then
// narrowed to the destination depth.

template <class DD>
HWY_INLINE hn::Vec<DD> LoadWide(DD dd, const uint8_t* p) {
    const hn::Rebind<int32_t, DD> di;
    return hn::PromoteTo(dd, hn::PromoteTo(di, hn::LoadU(hn::Rebind<uint8_t, DD>(), p)));
}
template <class DD>
HWY_INLINE hn::Vec<DD> LoadWide(DD dd, const int16_t* p) {
    const hn::Rebind<int32_t, DD> di;
    return hn::PromoteTo(dd, hn::PromoteTo(di, hn::LoadU(hn::Rebind<int16_t, DD>(), p)));
}
template <class DD>
HWY_INLINE hn::Vec<DD> LoadWide(DD dd, const int32_t* p) {
    return hn::PromoteTo(dd, hn::LoadU(hn::Rebind<int32_t, DD>(), p));
}
template <class DD>
HWY_INLINE hn::Vec<DD> LoadWide(DD dd, const float* p) {
    return hn::PromoteTo(dd, hn::LoadU(hn::Rebind<float, DD>(), p));
}
template <class DD>
HWY_INLINE hn::Vec<DD> LoadWide(DD dd, const double* p) {
    return hn::LoadU(dd, p);
}

// Integer lanes of v rounded half-up and saturated to [lo, hi].
template <class DD, class V>
HWY_INLINE hn::Vec<hn::Rebind<int32_t, DD> > RoundSat(DD dd, V v, double lo, double hi) {
    return hn::DemoteTo(hn::Rebind<int32_t, DD>(),
                        CastLanes(dd, v, hn::Set(dd, lo), hn::Set(dd, hi), true));
}

template <class DD, class V>
HWY_INLINE void StoreNarrow(DD dd, V v, uint8_t* p) {
    const hn::Rebind<uint8_t, DD> d8;
    hn::StoreU(hn::DemoteTo(d8, RoundSat(dd, v, 0.0, 255.0)), d8, p);
}
template <class DD, class V>
HWY_INLINE void StoreNarrow(DD dd, V v, int16_t* p) {
    const hn::Rebind<int16_t, DD> d16;
    hn::StoreU(hn::DemoteTo(d16, RoundSat(dd, v, -32768.0, 32767.0)), d16, p);
}
template <class DD, class V>
HWY_INLINE void StoreNarrow(DD dd, V v, int32_t* p) {
    hn::StoreU(RoundSat(dd, v, -2147483648.0, 2147483647.0), hn::Rebind<int32_t, DD>(), p);
}
template <class DD, class V>
HWY_INLINE void StoreNarrow(DD, V v, float* p) {
    const hn::Rebind<float, DD> df;
    hn::StoreU(hn::DemoteTo(df, v), df, p);
}
template <class DD, class V>
HWY_INLINE void StoreNarrow(DD dd, V v, double* p) {
    hn::StoreU(v, dd, p);
}

template <typename S, typename T>
int ScaleT(const void* src, void* dst, int n, double scale, double shift) {
    const hn::ScalableTag<double> dd;
    const int N = (int)hn::Lanes(dd);
    const S* s = static_cast<const S*>(src);
    T* d = static_cast<T*>(dst);
    const auto a = hn::Set(dd, scale), b = hn::Set(dd, shift);
    int i = 0;
    for (; i + 2 * N <= n; i += 2 * N) {
        const auto v0 = hn::Add(hn::Mul(LoadWide(dd, s + i), a), b);
        const auto v1 = hn::Add(hn::Mul(LoadWide(dd, s + i + N), a), b);
        StoreNarrow(dd, v0, d + i);
        StoreNarrow(dd, v1, d + i + N);
    }
    for (; i + N <= n; i += N) StoreNarrow(dd, hn::Add(hn::Mul(LoadWide(dd, s + i), a), b), d + i);
    return i;
}

// Depth codes: 1 bytes, 2 shorts, 3 ints, 4 floats, 5 doubles.
template <typename S>
int ScaleFrom(const void* s, int dstDepth, void* d, int n, double scale, double shift) {
    switch (dstDepth) {
        case 1:
            return ScaleT<S, uint8_t>(s, d, n, scale, shift);
        case 2:
            return ScaleT<S, int16_t>(s, d, n, scale, shift);
        case 3:
            return ScaleT<S, int32_t>(s, d, n, scale, shift);
        case 4:
            return ScaleT<S, float>(s, d, n, scale, shift);
        case 5:
            return ScaleT<S, double>(s, d, n, scale, shift);
        default:
            return 0;
    }
}

int ScaleRowImpl(int srcDepth, const void* s, int dstDepth, void* d, int n, double scale,
                 double shift) {
    switch (srcDepth) {
        case 1:
            return ScaleFrom<uint8_t>(s, dstDepth, d, n, scale, shift);
        case 2:
            return ScaleFrom<int16_t>(s, dstDepth, d, n, scale, shift);
        case 3:
            return ScaleFrom<int32_t>(s, dstDepth, d, n, scale, shift);
        case 4:
            return ScaleFrom<float>(s, dstDepth, d, n, scale, shift);
        case 5:
            return ScaleFrom<double>(s, dstDepth, d, n, scale, shift);
        default:
            return 0;
    }
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
HWY_EXPORT(ScaleRowImpl);

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
int scaleRow(int srcDepth, const void* src, int dstDepth, void* dst, int n, double scale,
             double shift) {
    return HWY_DYNAMIC_DISPATCH(ScaleRowImpl)(srcDepth, src, dstDepth, dst, n, scale, shift);
}
}  // namespace detail
}  // namespace tarvo
#endif
