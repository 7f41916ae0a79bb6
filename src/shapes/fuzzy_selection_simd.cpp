// Vector kernel of the selection's mask conversions: one compare and one
// select per vector of mask bytes, the row's tail one byte at a time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "shapes/fuzzy_selection_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "shapes/fuzzy_selection_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace ip {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void MaskEquals(uint8_t* p, int n, uint8_t value) {
    const hn::ScalableTag<uint8_t> d;
    const int N = (int)hn::Lanes(d);
    const auto want = hn::Set(d, value), one = hn::Set(d, uint8_t(1));
    int x = 0;
    for (; x + N <= n; x += N)
        hn::StoreU(hn::IfThenElseZero(hn::Eq(hn::LoadU(d, p + x), want), one), d, p + x);
    for (; x < n; x++) p[x] = p[x] == value ? 1 : 0;
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace ip {
namespace detail {
HWY_EXPORT(MaskEquals);

void vecMaskEquals(uint8_t* p, int n, uint8_t value) {
    HWY_DYNAMIC_DISPATCH(MaskEquals)(p, n, value);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
