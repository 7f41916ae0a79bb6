// Vector kernels of the linear filters. Each follows the canonical order of
// operations of its scalar twin in linear_filter.h (separate multiply and
// add, int arithmetic wrapping), so both paths give identical results.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/linear_filter_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filter/linear_filter.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace ip {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
// One-lane target: the scalar loops of the callers do all the work.
int Row8u32s(const uint8_t*, int32_t*, int, const int32_t*, int, int) {
    return 0;
}
int Row32f(const float*, float*, int, const float*, int, int) {
    return 0;
}
int SymmRowSmall8u32s(const uint8_t*, int32_t*, int, const int32_t*, int, int) {
    return 0;
}
int SymmRowSmall32f(const float*, float*, int, const float*, int, int) {
    return 0;
}
int SymmCol32s8u(const int32_t* const*, uint8_t*, int, const int32_t*, int, bool, int32_t, int) {
    return 0;
}
int SymmCol32f(const float* const*, float*, int, const float*, int, bool, float) {
    return 0;
}
int SymmColSmall32s16s(const int32_t* const*, int16_t*, int, int, int32_t, int32_t, int32_t) {
    return 0;
}
int SymmColSmall32f(const float* const*, float*, int, int, float, float, float) {
    return 0;
}
int Filter8u(const uint8_t* const*, const float*, int, uint8_t*, int, float) {
    return 0;
}
int Filter32f(const float* const*, const float*, int, float*, int, float) {
    return 0;
}
#else

// A small closed form on vectors, in the order of evalSmallForm. S(d) loads
// the samples d taps from the centre; k0..k2 are the kernel from its middle.
template <class D, class V, class F>
HWY_INLINE V EvalForm(D d, int form, V k0, V k1, V k2, F S) {
    const V two = hn::Set(d, 2);
    switch (form) {
        case FormCopy:
            return S(0);
        case FormSym121:
            return hn::Add(hn::Add(S(-1), hn::Mul(S(0), two)), S(1));
        case FormSym1m21:
            return hn::Add(hn::Sub(S(-1), hn::Mul(S(0), two)), S(1));
        case FormSym3:
            return hn::Add(hn::Mul(k0, S(0)), hn::Mul(k1, hn::Add(S(-1), S(1))));
        case FormSym5m2:
            return hn::Add(hn::Sub(S(-2), hn::Mul(S(0), two)), S(2));
        case FormSym5:
            return hn::Add(hn::Add(hn::Mul(k0, S(0)), hn::Mul(k1, hn::Add(S(-1), S(1)))),
                           hn::Mul(k2, hn::Add(S(-2), S(2))));
        case FormAsym3Unit:
            return hn::Sub(S(1), S(-1));
        case FormAsym3Neg:
            return hn::Sub(S(-1), S(1));
        case FormAsym3:
            return hn::Mul(k1, hn::Sub(S(1), S(-1)));
        case FormAsym5:
            return hn::Add(hn::Mul(k1, hn::Sub(S(1), S(-1))), hn::Mul(k2, hn::Sub(S(2), S(-2))));
        default:
            return hn::Mul(k0, S(0));
    }
}

// Float to byte as saturate_cast: NaN gives 0, then floor(x + 0.5) clamped.
// Clamping to [-1, 256] first keeps x + 0.5 exact and changes no result.
template <class DF, class DI, class D8>
HWY_INLINE hn::Vec<D8> FloatToU8(DF df, DI di, D8 d8, hn::Vec<DF> x) {
    x = hn::IfThenElseZero(hn::Eq(x, x), x);
    x = hn::Min(hn::Max(x, hn::Set(df, -1.0f)), hn::Set(df, 256.0f));
    x = hn::Floor(hn::Add(x, hn::Set(df, 0.5f)));
    return hn::DemoteTo(d8, hn::ConvertTo(di, x));
}

int Row8u32s(const uint8_t* src, int32_t* dst, int n, const int32_t* kx, int ksize, int cn) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(di);
    int i = 0;
    for (; i + N <= n; i += N) {
        auto acc = hn::Zero(di);
        const uint8_t* s = src + i;
        for (int k = 0; k < ksize; k++, s += cn)
            acc = hn::Add(acc, hn::Mul(hn::Set(di, kx[k]), hn::PromoteTo(di, hn::LoadU(d8, s))));
        hn::StoreU(acc, di, dst + i);
    }
    return i;
}

int Row32f(const float* src, float* dst, int n, const float* kx, int ksize, int cn) {
    const hn::ScalableTag<float> df;
    const int N = (int)hn::Lanes(df);
    int i = 0;
    for (; i + 2 * N <= n; i += 2 * N) {
        auto a0 = hn::Zero(df), a1 = hn::Zero(df);
        const float* s = src + i;
        for (int k = 0; k < ksize; k++, s += cn) {
            const auto kv = hn::Set(df, kx[k]);
            a0 = hn::Add(a0, hn::Mul(kv, hn::LoadU(df, s)));
            a1 = hn::Add(a1, hn::Mul(kv, hn::LoadU(df, s + N)));
        }
        hn::StoreU(a0, df, dst + i);
        hn::StoreU(a1, df, dst + i + N);
    }
    for (; i + N <= n; i += N) {
        auto acc = hn::Zero(df);
        const float* s = src + i;
        for (int k = 0; k < ksize; k++, s += cn)
            acc = hn::Add(acc, hn::Mul(hn::Set(df, kx[k]), hn::LoadU(df, s)));
        hn::StoreU(acc, df, dst + i);
    }
    return i;
}

int SymmRowSmall8u32s(const uint8_t* src, int32_t* dst, int n, const int32_t* kc, int form,
                      int cn) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(di);
    const auto k0 = hn::Set(di, kc[0]), k1 = hn::Set(di, kc[1]), k2 = hn::Set(di, kc[2]);
    int i = 0;
    for (; i + N <= n; i += N) {
        const uint8_t* s = src + i;
        auto S = [&](int dd) { return hn::PromoteTo(di, hn::LoadU(d8, s + dd * cn)); };
        hn::StoreU(EvalForm(di, form, k0, k1, k2, S), di, dst + i);
    }
    return i;
}

int SymmRowSmall32f(const float* src, float* dst, int n, const float* kc, int form, int cn) {
    const hn::ScalableTag<float> df;
    const int N = (int)hn::Lanes(df);
    const auto k0 = hn::Set(df, kc[0]), k1 = hn::Set(df, kc[1]), k2 = hn::Set(df, kc[2]);
    int i = 0;
    for (; i + N <= n; i += N) {
        const float* s = src + i;
        auto S = [&](int dd) { return hn::LoadU(df, s + dd * cn); };
        hn::StoreU(EvalForm(df, form, k0, k1, k2, S), df, dst + i);
    }
    return i;
}

int SymmCol32s8u(const int32_t* const* rows, uint8_t* dst, int n, const int32_t* kc, int half,
                 bool symmetric, int32_t delta, int shift) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(di);
    const auto vdelta = hn::Set(di, delta);
    const auto round = hn::Set(di, shift ? int32_t(1) << (shift - 1) : 0);
    int i = 0;
    for (; i + N <= n; i += N) {
        auto acc = vdelta;
        if (symmetric) acc = hn::Add(acc, hn::Mul(hn::Set(di, kc[0]), hn::LoadU(di, rows[0] + i)));
        for (int k = 1; k <= half; k++) {
            const auto a = hn::LoadU(di, rows[k] + i), b = hn::LoadU(di, rows[-k] + i);
            acc = hn::Add(acc,
                          hn::Mul(hn::Set(di, kc[k]), symmetric ? hn::Add(a, b) : hn::Sub(a, b)));
        }
        acc = hn::ShiftRightSame(hn::Add(acc, round), shift);
        hn::StoreU(hn::DemoteTo(d8, acc), d8, dst + i);
    }
    return i;
}

int SymmCol32f(const float* const* rows, float* dst, int n, const float* kc, int half,
               bool symmetric, float delta) {
    const hn::ScalableTag<float> df;
    const int N = (int)hn::Lanes(df);
    const auto vdelta = hn::Set(df, delta);
    int i = 0;
    for (; i + N <= n; i += N) {
        auto acc = vdelta;
        if (symmetric) acc = hn::Add(acc, hn::Mul(hn::Set(df, kc[0]), hn::LoadU(df, rows[0] + i)));
        for (int k = 1; k <= half; k++) {
            const auto a = hn::LoadU(df, rows[k] + i), b = hn::LoadU(df, rows[-k] + i);
            acc = hn::Add(acc,
                          hn::Mul(hn::Set(df, kc[k]), symmetric ? hn::Add(a, b) : hn::Sub(a, b)));
        }
        hn::StoreU(acc, df, dst + i);
    }
    return i;
}

int SymmColSmall32s16s(const int32_t* const* rows, int16_t* dst, int n, int form, int32_t k0,
                       int32_t k1, int32_t delta) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<int16_t, decltype(di)> d16;
    const int N = (int)hn::Lanes(di);
    const auto vk0 = hn::Set(di, k0), vk1 = hn::Set(di, k1), vdelta = hn::Set(di, delta);
    int i = 0;
    for (; i + N <= n; i += N) {
        auto S = [&](int dd) { return hn::LoadU(di, rows[dd] + i); };
        const auto v = hn::Add(EvalForm(di, form, vk0, vk1, vk1, S), vdelta);
        hn::StoreU(hn::DemoteTo(d16, v), d16, dst + i);
    }
    return i;
}

int SymmColSmall32f(const float* const* rows, float* dst, int n, int form, float k0, float k1,
                    float delta) {
    const hn::ScalableTag<float> df;
    const int N = (int)hn::Lanes(df);
    const auto vk0 = hn::Set(df, k0), vk1 = hn::Set(df, k1), vdelta = hn::Set(df, delta);
    int i = 0;
    for (; i + N <= n; i += N) {
        auto S = [&](int dd) { return hn::LoadU(df, rows[dd] + i); };
        hn::StoreU(hn::Add(EvalForm(df, form, vk0, vk1, vk1, S), vdelta), df, dst + i);
    }
    return i;
}

int Filter8u(const uint8_t* const* ptrs, const float* coeffs, int nz, uint8_t* dst, int n,
             float delta) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(df);
    const auto vdelta = hn::Set(df, delta);
    int i = 0;
    for (; i + 2 * N <= n; i += 2 * N) {
        auto a0 = vdelta, a1 = vdelta;
        for (int k = 0; k < nz; k++) {
            const auto c = hn::Set(df, coeffs[k]);
            const uint8_t* s = ptrs[k] + i;
            a0 = hn::Add(a0, hn::Mul(c, hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, s)))));
            a1 =
                hn::Add(a1, hn::Mul(c, hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, s + N)))));
        }
        hn::StoreU(FloatToU8(df, di, d8, a0), d8, dst + i);
        hn::StoreU(FloatToU8(df, di, d8, a1), d8, dst + i + N);
    }
    for (; i + N <= n; i += N) {
        auto acc = vdelta;
        for (int k = 0; k < nz; k++)
            acc = hn::Add(
                acc, hn::Mul(hn::Set(df, coeffs[k]),
                             hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, ptrs[k] + i)))));
        hn::StoreU(FloatToU8(df, di, d8, acc), d8, dst + i);
    }
    return i;
}

int Filter32f(const float* const* ptrs, const float* coeffs, int nz, float* dst, int n,
              float delta) {
    const hn::ScalableTag<float> df;
    const int N = (int)hn::Lanes(df);
    const auto vdelta = hn::Set(df, delta);
    int i = 0;
    for (; i + 2 * N <= n; i += 2 * N) {
        auto a0 = vdelta, a1 = vdelta;
        for (int k = 0; k < nz; k++) {
            const auto c = hn::Set(df, coeffs[k]);
            a0 = hn::Add(a0, hn::Mul(c, hn::LoadU(df, ptrs[k] + i)));
            a1 = hn::Add(a1, hn::Mul(c, hn::LoadU(df, ptrs[k] + i + N)));
        }
        hn::StoreU(a0, df, dst + i);
        hn::StoreU(a1, df, dst + i + N);
    }
    for (; i + N <= n; i += N) {
        auto acc = vdelta;
        for (int k = 0; k < nz; k++)
            acc = hn::Add(acc, hn::Mul(hn::Set(df, coeffs[k]), hn::LoadU(df, ptrs[k] + i)));
        hn::StoreU(acc, df, dst + i);
    }
    return i;
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace ip {
namespace detail {
HWY_EXPORT(Row8u32s);
HWY_EXPORT(Row32f);
HWY_EXPORT(SymmRowSmall8u32s);
HWY_EXPORT(SymmRowSmall32f);
HWY_EXPORT(SymmCol32s8u);
HWY_EXPORT(SymmCol32f);
HWY_EXPORT(SymmColSmall32s16s);
HWY_EXPORT(SymmColSmall32f);
HWY_EXPORT(Filter8u);
HWY_EXPORT(Filter32f);

int vecRow8u32s(const uint8_t* src, int32_t* dst, int n, const int32_t* kx, int ksize, int cn) {
    return HWY_DYNAMIC_DISPATCH(Row8u32s)(src, dst, n, kx, ksize, cn);
}
int vecRow32f(const float* src, float* dst, int n, const float* kx, int ksize, int cn) {
    return HWY_DYNAMIC_DISPATCH(Row32f)(src, dst, n, kx, ksize, cn);
}
int vecSymmRowSmall8u32s(const uint8_t* src, int32_t* dst, int n, const int32_t* kc, int form,
                         int cn) {
    return HWY_DYNAMIC_DISPATCH(SymmRowSmall8u32s)(src, dst, n, kc, form, cn);
}
int vecSymmRowSmall32f(const float* src, float* dst, int n, const float* kc, int form, int cn) {
    return HWY_DYNAMIC_DISPATCH(SymmRowSmall32f)(src, dst, n, kc, form, cn);
}
int vecSymmCol32s8u(const int32_t* const* rows, uint8_t* dst, int n, const int32_t* kc, int half,
                    bool symmetric, int32_t delta, int shift) {
    return HWY_DYNAMIC_DISPATCH(SymmCol32s8u)(rows, dst, n, kc, half, symmetric, delta, shift);
}
int vecSymmCol32f(const float* const* rows, float* dst, int n, const float* kc, int half,
                  bool symmetric, float delta) {
    return HWY_DYNAMIC_DISPATCH(SymmCol32f)(rows, dst, n, kc, half, symmetric, delta);
}
int vecSymmColSmall32s16s(const int32_t* const* rows, int16_t* dst, int n, int form, int32_t k0,
                          int32_t k1, int32_t delta) {
    return HWY_DYNAMIC_DISPATCH(SymmColSmall32s16s)(rows, dst, n, form, k0, k1, delta);
}
int vecSymmColSmall32f(const float* const* rows, float* dst, int n, int form, float k0, float k1,
                       float delta) {
    return HWY_DYNAMIC_DISPATCH(SymmColSmall32f)(rows, dst, n, form, k0, k1, delta);
}
int vecFilter8u(const uint8_t* const* ptrs, const float* coeffs, int nz, uint8_t* dst, int n,
                float delta) {
    return HWY_DYNAMIC_DISPATCH(Filter8u)(ptrs, coeffs, nz, dst, n, delta);
}
int vecFilter32f(const float* const* ptrs, const float* coeffs, int nz, float* dst, int n,
                 float delta) {
    return HWY_DYNAMIC_DISPATCH(Filter32f)(ptrs, coeffs, nz, dst, n, delta);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
