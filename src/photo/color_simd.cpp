// Vector kernels of the colour operators: the per-channel byte offsets
// (ipShiftRGB, and ipColorTemperature whenever its offsets reduce to whole
// numbers) as a saturating add and a saturating subtract per byte, exact like
// the scalar clamp; the lightness byte of packed RGB triples for ipColorize;
// and the percent hue of ipHSL in single precision.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "photo/color_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "photo/color_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

int PhotoAddSatU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* plus,
                  const uint8_t* minus, int period) {
#if HWY_TARGET == HWY_SCALAR
    (void)src;
    (void)dst;
    (void)n;
    (void)plus;
    (void)minus;
    (void)period;
    return 0;
#else
    const hn::ScalableTag<uint8_t> d;
    const int N = int(hn::Lanes(d));
    if (N > kPhotoMaxVectorBytes || period < 1) return 0;
    // The pattern phase of byte x is x % period; it advances by N % period per vector.
    const int step = N % period;
    int phase = 0;
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto v = hn::LoadU(d, src + x);
        const auto p = hn::LoadU(d, plus + phase);
        const auto m = hn::LoadU(d, minus + phase);
        hn::StoreU(hn::SaturatedSub(hn::SaturatedAdd(v, p), m), d, dst + x);
        phase += step;
        if (phase >= period) phase -= period;
    }
    return x;
#endif
}

int PhotoLightnessU8C3(const uint8_t* src, uint8_t* light, int n) {
#if HWY_TARGET == HWY_SCALAR
    (void)src;
    (void)light;
    (void)n;
    return 0;
#else
    const hn::ScalableTag<uint8_t> d;
    const int N = int(hn::Lanes(d));
    int x = 0;
    for (; x + N <= n; x += N) {
        hn::Vec<decltype(d)> r, g, b;
        hn::LoadInterleaved3(d, src + 3 * x, r, g, b);
        const auto mx = hn::Max(r, hn::Max(g, b));
        const auto mn = hn::Min(r, hn::Min(g, b));
        hn::StoreU(hn::AverageRound(mx, mn), d, light + x);
    }
    return x;
#endif
}

int PhotoPercentHue(const uint8_t* r8, const uint8_t* g8, const uint8_t* b8, int32_t* hue,
                    int32_t* maxMin, int n) {
#if HWY_TARGET == HWY_SCALAR
    (void)r8;
    (void)g8;
    (void)b8;
    (void)hue;
    (void)maxMin;
    (void)n;
    return 0;
#else
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = int(hn::Lanes(df));
    const auto k255 = hn::Set(df, 255.0f);
    const auto k60 = hn::Set(df, 60.0f);
    const auto k360 = hn::Set(df, 360.0f);
    const auto k2 = hn::Set(df, 2.0f);
    const auto k4 = hn::Set(df, 4.0f);
    const auto zero = hn::Zero(df);
    const auto grey = hn::Set(di, 170);
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto ri = hn::PromoteTo(di, hn::LoadU(d8, r8 + x));
        const auto gi = hn::PromoteTo(di, hn::LoadU(d8, g8 + x));
        const auto bi = hn::PromoteTo(di, hn::LoadU(d8, b8 + x));
        const auto mxi = hn::Max(ri, hn::Max(gi, bi));
        const auto mni = hn::Min(ri, hn::Min(gi, bi));
        // The single-precision steps of the per-pixel conversion, lane by lane:
        // the same IEEE operations in the same order, so the same results.
        const auto r = hn::Div(hn::ConvertTo(df, ri), k255);
        const auto g = hn::Div(hn::ConvertTo(df, gi), k255);
        const auto b = hn::Div(hn::ConvertTo(df, bi), k255);
        const auto mx = hn::Max(r, hn::Max(g, b));
        const auto mn = hn::Min(r, hn::Min(g, b));
        const auto d = hn::Sub(mx, mn);
        const auto isR = hn::Eq(r, mx);
        const auto isG = hn::AndNot(isR, hn::Eq(g, mx));
        const auto a = hn::IfThenElse(isR, g, hn::IfThenElse(isG, b, r));
        const auto c = hn::IfThenElse(isR, b, hn::IfThenElse(isG, r, g));
        const auto q = hn::Div(hn::Sub(a, c), d);
        // Red as maximum adds nothing (not even 0, which would turn -0 into +0).
        const auto q2 = hn::IfThenElse(isR, q, hn::Add(q, hn::IfThenElse(isG, k2, k4)));
        auto h = hn::Mul(k60, q2);
        h = hn::IfThenElse(hn::Lt(h, zero), hn::Add(h, k360), h);
        // Grey lanes divided by zero; they take the grey hue instead.
        const auto isGrey = hn::Eq(mxi, mni);
        const auto hi = hn::ConvertTo(di, hn::IfThenElse(hn::RebindMask(df, isGrey), zero, h));
        hn::StoreU(hn::IfThenElse(isGrey, grey, hi), di, hue + x);
        hn::StoreU(hn::Add(hn::ShiftLeft<8>(mxi), mni), di, maxMin + x);
    }
    return x;
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(PhotoAddSatU8);
HWY_EXPORT(PhotoLightnessU8C3);
HWY_EXPORT(PhotoPercentHue);

int photoPercentHue(const uint8_t* r, const uint8_t* g, const uint8_t* b, int32_t* hue,
                    int32_t* maxMin, int n) {
    return HWY_DYNAMIC_DISPATCH(PhotoPercentHue)(r, g, b, hue, maxMin, n);
}

int photoLightnessU8C3(const uint8_t* src, uint8_t* light, int n) {
    return HWY_DYNAMIC_DISPATCH(PhotoLightnessU8C3)(src, light, n);
}

int photoAddSatU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* plus,
                  const uint8_t* minus, int period) {
    return HWY_DYNAMIC_DISPATCH(PhotoAddSatU8)(src, dst, n, plus, minus, period);
}
}  // namespace detail
}  // namespace tarvo
#endif
