// Vector kernels of the contour scan: the search for the next byte that
// differs from the previous one, and the 0/1 binarisation of the padded copy.
// Both are exact byte operations, so they match the scalar loops bit for bit.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "shapes/contours_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "shapes/contours_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace ip {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

int FindNextDiff(const uint8_t* row, int x, int end, uint8_t prev) {
    const hn::ScalableTag<uint8_t> d;
    const int N = (int)hn::Lanes(d);
    const auto vp = hn::Set(d, prev);
    // Two vectors per round: long runs of equal bytes are the common case.
    for (; x + 2 * N <= end; x += 2 * N) {
        const auto ma = hn::Ne(hn::LoadU(d, row + x), vp);
        const auto mb = hn::Ne(hn::LoadU(d, row + x + N), vp);
        if (hn::AllFalse(d, hn::Or(ma, mb))) continue;
        const intptr_t ia = hn::FindFirstTrue(d, ma);
        if (ia >= 0) return x + (int)ia;
        return x + N + (int)hn::FindFirstTrue(d, mb);
    }
    for (; x + N <= end; x += N) {
        const intptr_t i = hn::FindFirstTrue(d, hn::Ne(hn::LoadU(d, row + x), vp));
        if (i >= 0) return x + (int)i;
    }
    return findNextDiffScalar(row, x, end, prev);
}

void Binarise(const uint8_t* src, uint8_t* dst, int n) {
    const hn::ScalableTag<uint8_t> d;
    const int N = (int)hn::Lanes(d);
    const auto zero = hn::Zero(d), one = hn::Set(d, 1);
    int i = 0;
    for (; i + N <= n; i += N)
        hn::StoreU(hn::IfThenZeroElse(hn::Eq(hn::LoadU(d, src + i), zero), one), d, dst + i);
    for (; i < n; i++) dst[i] = src[i] != 0;
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
HWY_EXPORT(FindNextDiff);
HWY_EXPORT(Binarise);

int vecFindNextDiff(const uint8_t* row, int x, int end, uint8_t prev) {
    return HWY_DYNAMIC_DISPATCH(FindNextDiff)(row, x, end, prev);
}
FindNextDiffFn findNextDiffKernel() {
    return &HWY_DYNAMIC_DISPATCH(FindNextDiff);
}
void vecBinarise(const uint8_t* src, uint8_t* dst, int n) {
    HWY_DYNAMIC_DISPATCH(Binarise)(src, dst, n);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
