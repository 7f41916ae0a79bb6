// Vector line kernels of the Gaussian smoothing. They run across output
// samples: each lane holds one output and adds its taps in the same order as
// the scalar loop, with a separate multiply and add, so every lane's float sum
// is the scalar sum bit for bit. Four vectors are kept in flight to hide the
// latency of the dependent adds.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/gaussian_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filter/gaussian_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
// One-lane target: the scalar loops of the callers do all the work.
int GaussRowToU8(const float*, int, int, const float*, int, uint8_t*) {
    return 0;
}
int GaussRowToS16(const float*, int, int, const float*, int, int16_t*) {
    return 0;
}
int GaussRowToF32(const float*, int, int, const float*, int, float*) {
    return 0;
}
int GaussColU8(const uint8_t* const*, int, const float*, int, uint8_t*) {
    return 0;
}
int GaussColS16(const int16_t* const*, int, const float*, int, int16_t*) {
    return 0;
}
int GaussColF32(const float* const*, int, const float*, int, float*) {
    return 0;
}
int GaussWidenU8(const uint8_t*, int, float*) {
    return 0;
}
int GaussWidenS16(const int16_t*, int, float*) {
    return 0;
}
int ConvGroupedF32(const float* const*, ptrdiff_t, int, const float*, int, float*) {
    return 0;
}
#else

using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

// Truncation toward zero and saturation of one vector of sums into T. The
// clamp is done in float first: truncation and clamping to integer bounds
// commute, and the conversion then never sees an out-of-range value.
struct StoreU8 {
    HWY_INLINE void operator()(VF v, uint8_t* p) const {
        const DF df;
        const hn::Rebind<int32_t, DF> di;
        const hn::Rebind<uint8_t, DF> du;
        v = hn::Min(hn::Max(v, hn::Zero(df)), hn::Set(df, 255.0f));
        hn::StoreU(hn::DemoteTo(du, hn::ConvertTo(di, v)), du, p);
    }
};
struct StoreS16 {
    HWY_INLINE void operator()(VF v, int16_t* p) const {
        const DF df;
        const hn::Rebind<int32_t, DF> di;
        const hn::Rebind<int16_t, DF> ds;
        v = hn::Min(hn::Max(v, hn::Set(df, -32768.0f)), hn::Set(df, 32767.0f));
        hn::StoreU(hn::DemoteTo(ds, hn::ConvertTo(di, v)), ds, p);
    }
};
struct StoreF32 {
    HWY_INLINE void operator()(VF v, float* p) const { hn::StoreU(v, DF(), p); }
};

// Loads of N samples widened to float.
HWY_INLINE VF LoadF(const float* p) {
    return hn::LoadU(DF(), p);
}
HWY_INLINE VF LoadF(const uint8_t* p) {
    const DF df;
    const hn::Rebind<int32_t, DF> di;
    const hn::Rebind<uint8_t, DF> du;
    return hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(du, p)));
}
HWY_INLINE VF LoadF(const int16_t* p) {
    const DF df;
    const hn::Rebind<int32_t, DF> di;
    const hn::Rebind<int16_t, DF> ds;
    return hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(ds, p)));
}

template <typename T, class Store>
HWY_INLINE int RowImpl(const float* line, int n, int cn, const float* k, int taps, T* dst,
                       Store store) {
    const DF df;
    const int N = (int)hn::Lanes(df);
    const size_t step = (size_t)cn;
    int j = 0;
    for (; j + 4 * N <= n; j += 4 * N) {
        VF a0 = hn::Zero(df), a1 = hn::Zero(df), a2 = hn::Zero(df), a3 = hn::Zero(df);
        const float* p = line + j;
        for (int t = 0; t < taps; t++, p += step) {
            const VF kv = hn::Set(df, k[t]);
            a0 = hn::Add(a0, hn::Mul(hn::LoadU(df, p), kv));
            a1 = hn::Add(a1, hn::Mul(hn::LoadU(df, p + N), kv));
            a2 = hn::Add(a2, hn::Mul(hn::LoadU(df, p + 2 * N), kv));
            a3 = hn::Add(a3, hn::Mul(hn::LoadU(df, p + 3 * N), kv));
        }
        store(a0, dst + j);
        store(a1, dst + j + N);
        store(a2, dst + j + 2 * N);
        store(a3, dst + j + 3 * N);
    }
    for (; j + N <= n; j += N) {
        VF a = hn::Zero(df);
        const float* p = line + j;
        for (int t = 0; t < taps; t++, p += step)
            a = hn::Add(a, hn::Mul(hn::LoadU(df, p), hn::Set(df, k[t])));
        store(a, dst + j);
    }
    return j;
}

template <typename S, typename T, class Store>
HWY_INLINE int ColImpl(const S* const* rows, int n, const float* k, int taps, T* dst, Store store) {
    const DF df;
    const int N = (int)hn::Lanes(df);
    int j = 0;
    for (; j + 4 * N <= n; j += 4 * N) {
        VF a0 = hn::Zero(df), a1 = hn::Zero(df), a2 = hn::Zero(df), a3 = hn::Zero(df);
        for (int t = 0; t < taps; t++) {
            const S* p = rows[t] + j;
            const VF kv = hn::Set(df, k[t]);
            a0 = hn::Add(a0, hn::Mul(LoadF(p), kv));
            a1 = hn::Add(a1, hn::Mul(LoadF(p + N), kv));
            a2 = hn::Add(a2, hn::Mul(LoadF(p + 2 * N), kv));
            a3 = hn::Add(a3, hn::Mul(LoadF(p + 3 * N), kv));
        }
        store(a0, dst + j);
        store(a1, dst + j + N);
        store(a2, dst + j + 2 * N);
        store(a3, dst + j + 3 * N);
    }
    for (; j + N <= n; j += N) {
        VF a = hn::Zero(df);
        for (int t = 0; t < taps; t++)
            a = hn::Add(a, hn::Mul(LoadF(rows[t] + j), hn::Set(df, k[t])));
        store(a, dst + j);
    }
    return j;
}

int GaussRowToU8(const float* line, int n, int cn, const float* k, int taps, uint8_t* dst) {
    return RowImpl(line, n, cn, k, taps, dst, StoreU8());
}
int GaussRowToS16(const float* line, int n, int cn, const float* k, int taps, int16_t* dst) {
    return RowImpl(line, n, cn, k, taps, dst, StoreS16());
}
int GaussRowToF32(const float* line, int n, int cn, const float* k, int taps, float* dst) {
    return RowImpl(line, n, cn, k, taps, dst, StoreF32());
}
int GaussColU8(const uint8_t* const* rows, int n, const float* k, int taps, uint8_t* dst) {
    return ColImpl(rows, n, k, taps, dst, StoreU8());
}
int GaussColS16(const int16_t* const* rows, int n, const float* k, int taps, int16_t* dst) {
    return ColImpl(rows, n, k, taps, dst, StoreS16());
}
int GaussColF32(const float* const* rows, int n, const float* k, int taps, float* dst) {
    return ColImpl(rows, n, k, taps, dst, StoreF32());
}
int GaussWidenU8(const uint8_t* src, int n, float* dst) {
    const DF df;
    const int N = (int)hn::Lanes(df);
    int j = 0;
    for (; j + N <= n; j += N) hn::StoreU(LoadF(src + j), df, dst + j);
    return j;
}
int GaussWidenS16(const int16_t* src, int n, float* dst) {
    const DF df;
    const int N = (int)hn::Lanes(df);
    int j = 0;
    for (; j + N <= n; j += N) hn::StoreU(LoadF(src + j), df, dst + j);
    return j;
}

// Direct convolution with taps grouped by four: s = s + (((p0 k0 + p1 k1) +
// p2 k2) + p3 k3) per group, then s = s + p k for the remaining taps. Tap j of
// output x reads rows[j][x + j * stride].
int ConvGroupedF32(const float* const* rows, ptrdiff_t stride, int len, const float* k, int n,
                   float* dst) {
    const DF df;
    const int N = (int)hn::Lanes(df);
    int x = 0;
    for (; x + N <= n; x += N) {
        VF s = hn::Zero(df);
        int j = 0;
        for (; j + 4 <= len; j += 4) {
            VF g = hn::Mul(hn::LoadU(df, rows[j] + x + j * stride), hn::Set(df, k[j]));
            g = hn::Add(g, hn::Mul(hn::LoadU(df, rows[j + 1] + x + (j + 1) * stride),
                                   hn::Set(df, k[j + 1])));
            g = hn::Add(g, hn::Mul(hn::LoadU(df, rows[j + 2] + x + (j + 2) * stride),
                                   hn::Set(df, k[j + 2])));
            g = hn::Add(g, hn::Mul(hn::LoadU(df, rows[j + 3] + x + (j + 3) * stride),
                                   hn::Set(df, k[j + 3])));
            s = hn::Add(s, g);
        }
        for (; j < len; j++)
            s = hn::Add(s, hn::Mul(hn::LoadU(df, rows[j] + x + j * stride), hn::Set(df, k[j])));
        hn::StoreU(s, df, dst + x);
    }
    return x;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(GaussRowToU8);
HWY_EXPORT(GaussRowToS16);
HWY_EXPORT(GaussRowToF32);
HWY_EXPORT(GaussColU8);
HWY_EXPORT(GaussColS16);
HWY_EXPORT(GaussColF32);
HWY_EXPORT(GaussWidenU8);
HWY_EXPORT(GaussWidenS16);
HWY_EXPORT(ConvGroupedF32);

int gaussRowToU8(const float* line, int n, int cn, const float* k, int taps, uint8_t* dst) {
    return HWY_DYNAMIC_DISPATCH(GaussRowToU8)(line, n, cn, k, taps, dst);
}
int gaussRowToS16(const float* line, int n, int cn, const float* k, int taps, int16_t* dst) {
    return HWY_DYNAMIC_DISPATCH(GaussRowToS16)(line, n, cn, k, taps, dst);
}
int gaussRowToF32(const float* line, int n, int cn, const float* k, int taps, float* dst) {
    return HWY_DYNAMIC_DISPATCH(GaussRowToF32)(line, n, cn, k, taps, dst);
}
int gaussColU8(const uint8_t* const* rows, int n, const float* k, int taps, uint8_t* dst) {
    return HWY_DYNAMIC_DISPATCH(GaussColU8)(rows, n, k, taps, dst);
}
int gaussColS16(const int16_t* const* rows, int n, const float* k, int taps, int16_t* dst) {
    return HWY_DYNAMIC_DISPATCH(GaussColS16)(rows, n, k, taps, dst);
}
int gaussColF32(const float* const* rows, int n, const float* k, int taps, float* dst) {
    return HWY_DYNAMIC_DISPATCH(GaussColF32)(rows, n, k, taps, dst);
}
int gaussWidenU8(const uint8_t* src, int n, float* dst) {
    return HWY_DYNAMIC_DISPATCH(GaussWidenU8)(src, n, dst);
}
int gaussWidenS16(const int16_t* src, int n, float* dst) {
    return HWY_DYNAMIC_DISPATCH(GaussWidenS16)(src, n, dst);
}
int convGroupedF32(const float* const* rows, ptrdiff_t stride, int len, const float* k, int n,
                   float* dst) {
    return HWY_DYNAMIC_DISPATCH(ConvGroupedF32)(rows, stride, len, k, n, dst);
}
}  // namespace detail
}  // namespace tarvo
#endif
