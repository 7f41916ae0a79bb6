// Vector kernel of the per-channel byte offsets (ipShiftRGB, and
// ipColorTemperature whenever its offsets reduce to whole numbers): a
// saturating add and a saturating subtract per byte, exact like the scalar clamp.
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

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(PhotoAddSatU8);

int photoAddSatU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* plus,
                  const uint8_t* minus, int period) {
    return HWY_DYNAMIC_DISPATCH(PhotoAddSatU8)(src, dst, n, plus, minus, period);
}
}  // namespace detail
}  // namespace tarvo
#endif
