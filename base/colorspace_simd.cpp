// Vector kernels of the colour conversions. Luminance of bytes is
// (299 r + 587 g + 114 b + 500) / 1000 in integers; the quotient is taken as
// trunc(float(sum) * 0.001f), which equals the integer quotient for every sum
// the weights can produce (0 ... 255500: checked exhaustively, and the sums
// are exact in float). Floating luminance is g + 0.299 (r - g) + 0.114 (b - g)
// with the same operation order as the scalar loop and no fused multiply-add.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "colorspace_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "colorspace_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
int GreyU8(const uint8_t*, uint8_t*, int, int, int) {
    return 0;
}
int GreyF32(const float*, float*, int, int, int) {
    return 0;
}
int GreyF64(const double*, double*, int, int, int) {
    return 0;
}
#else
// Loads pixels [i, i + lanes) as red, green and blue lanes.
template <class D, typename T>
HWY_INLINE void LoadRGB(D d, const T* p, int cn, bool rgb, hn::Vec<D>& r, hn::Vec<D>& g,
                        hn::Vec<D>& b) {
    hn::Vec<D> c0, c2;
    if (cn == 3) {
        hn::LoadInterleaved3(d, p, c0, g, c2);
    } else {
        hn::Vec<D> c3;
        hn::LoadInterleaved4(d, p, c0, g, c2, c3);
    }
    r = rgb ? c0 : c2;
    b = rgb ? c2 : c0;
}

int GreyU8(const uint8_t* src, uint8_t* dst, int n, int cn, int rgb) {
    if (cn != 3 && cn != 4) return 0;
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<float, decltype(di)> df;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(di);
    const auto wr = hn::Set(di, 299), wg = hn::Set(di, 587), wb = hn::Set(di, 114);
    const auto bias = hn::Set(di, 500);
    const auto inv = hn::Set(df, 0.001f);
    int i = 0;
    for (; i + N <= n; i += N) {
        hn::Vec<decltype(d8)> r, g, b;
        LoadRGB(d8, src + size_t(i) * cn, cn, rgb != 0, r, g, b);
        auto sum = hn::Add(hn::Mul(hn::PromoteTo(di, r), wr), hn::Mul(hn::PromoteTo(di, g), wg));
        sum = hn::Add(hn::Add(sum, hn::Mul(hn::PromoteTo(di, b), wb)), bias);
        const auto q = hn::ConvertTo(di, hn::Mul(hn::ConvertTo(df, sum), inv));
        hn::StoreU(hn::DemoteTo(d8, q), d8, dst + i);
    }
    return i;
}

template <typename T>
int GreyFloat(const T* src, T* dst, int n, int cn, int rgb) {
    if (cn != 3 && cn != 4) return 0;
    const hn::ScalableTag<T> d;
    const int N = (int)hn::Lanes(d);
    const auto kr = hn::Set(d, T(0.299)), kb = hn::Set(d, T(0.114));
    int i = 0;
    for (; i + N <= n; i += N) {
        hn::Vec<decltype(d)> r, g, b;
        LoadRGB(d, src + size_t(i) * cn, cn, rgb != 0, r, g, b);
        const auto y = hn::Add(hn::Add(g, hn::Mul(kr, hn::Sub(r, g))), hn::Mul(kb, hn::Sub(b, g)));
        hn::StoreU(y, d, dst + i);
    }
    return i;
}

int GreyF32(const float* src, float* dst, int n, int cn, int rgb) {
    return GreyFloat(src, dst, n, cn, rgb);
}
int GreyF64(const double* src, double* dst, int n, int cn, int rgb) {
    return GreyFloat(src, dst, n, cn, rgb);
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(GreyU8);
HWY_EXPORT(GreyF32);
HWY_EXPORT(GreyF64);

int greyRowU8(const uint8_t* src, uint8_t* dst, int n, int cn, bool rgb) {
    return HWY_DYNAMIC_DISPATCH(GreyU8)(src, dst, n, cn, rgb ? 1 : 0);
}
int greyRowF32(const float* src, float* dst, int n, int cn, bool rgb) {
    return HWY_DYNAMIC_DISPATCH(GreyF32)(src, dst, n, cn, rgb ? 1 : 0);
}
int greyRowF64(const double* src, double* dst, int n, int cn, bool rgb) {
    return HWY_DYNAMIC_DISPATCH(GreyF64)(src, dst, n, cn, rgb ? 1 : 0);
}
}  // namespace detail
}  // namespace tarvo
#endif
