// Vector row kernel of the integral image: a running prefix sum of bytes added
// to the row above, four 32-bit lanes at a time. Integer arithmetic, so the
// result equals the scalar loop exactly.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/integral_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filter/integral_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

int IntegralRowU8(const uint8_t* src, const uint32_t* above, uint32_t* dst, int width) {
#if HWY_TARGET == HWY_SCALAR
    (void)src;
    (void)above;
    (void)dst;
    (void)width;
    return 0;
#else
    // Fixed 128-bit vectors: the in-register prefix needs whole-vector lane shifts.
    const hn::FixedTag<uint32_t, 4> d;
    const hn::FixedTag<uint8_t, 4> d8;
    auto carry = hn::Zero(d);
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        auto v0 = hn::PromoteTo(d, hn::LoadU(d8, src + x));
        auto v1 = hn::PromoteTo(d, hn::LoadU(d8, src + x + 4));
        v0 = hn::Add(v0, hn::ShiftLeftLanes<1>(d, v0));
        v1 = hn::Add(v1, hn::ShiftLeftLanes<1>(d, v1));
        v0 = hn::Add(v0, hn::ShiftLeftLanes<2>(d, v0));
        v1 = hn::Add(v1, hn::ShiftLeftLanes<2>(d, v1));
        v0 = hn::Add(v0, carry);
        v1 = hn::Add(v1, hn::Broadcast<3>(v0));
        hn::StoreU(hn::Add(v0, hn::LoadU(d, above + x)), d, dst + x);
        hn::StoreU(hn::Add(v1, hn::LoadU(d, above + x + 4)), d, dst + x + 4);
        carry = hn::Broadcast<3>(v1);
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
HWY_EXPORT(IntegralRowU8);

int integralRowU8(const uint8_t* src, const uint32_t* above, uint32_t* dst, int width) {
    return HWY_DYNAMIC_DISPATCH(IntegralRowU8)(src, above, dst, width);
}
}  // namespace detail
}  // namespace tarvo
#endif
