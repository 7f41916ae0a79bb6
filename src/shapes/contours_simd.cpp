// Vector kernels of the contour scan: the search for the next byte that
// differs from the previous one, the border starts and label runs of a block
// of the row, and the 0/1 binarisation of the padded copy. All are exact byte
// operations, so they match the scalar loops bit for bit.
#include <cstring>

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

void ScanBits64(const uint8_t* p, int blocks, uint64_t* events, uint64_t* labels) {
    const hn::CappedTag<uint8_t, 64> d;
    const hn::RebindToSigned<decltype(d)> di;
    const int N = (int)hn::Lanes(d);
    if (N < 8) {
        for (int b = 0; b < blocks; b++, p += 64) {
            uint64_t e = 0, l = 0;
            for (int i = 0; i < 64; i++) {
                const int cur = p[i], prev = (signed char)p[i - 1];
                e |= (uint64_t)((prev == 0 && cur == 1) || (cur == 0 && prev >= 1)) << i;
                l |= (uint64_t)(cur != p[i - 1] && cur > 1) << i;
            }
            events[b] = e;
            labels[b] = l;
        }
        return;
    }
    const auto zero = hn::Zero(d), one = hn::Set(d, 1);
    for (int b = 0; b < blocks; b++, p += 64) {
        uint8_t eb[8], lb[8];
        for (int i = 0; i < 64; i += N) {
            const auto cur = hn::LoadU(d, p + i), prev = hn::LoadU(d, p + i - 1);
            const auto outer = hn::And(hn::Eq(prev, zero), hn::Eq(cur, one));
            // prev is 1 or a label below 128: positive as a signed byte
            const auto prevPositive =
                hn::RebindMask(d, hn::Gt(hn::BitCast(di, prev), hn::Zero(di)));
            const auto hole = hn::And(hn::Eq(cur, zero), prevPositive);
            const auto label = hn::And(hn::Ne(cur, prev), hn::Gt(cur, one));
            hn::StoreMaskBits(d, hn::Or(outer, hole), eb + i / 8);
            hn::StoreMaskBits(d, label, lb + i / 8);
        }
        std::memcpy(events + b, eb, sizeof(eb));
        std::memcpy(labels + b, lb, sizeof(lb));
    }
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
HWY_EXPORT(ScanBits64);

int vecFindNextDiff(const uint8_t* row, int x, int end, uint8_t prev) {
    return HWY_DYNAMIC_DISPATCH(FindNextDiff)(row, x, end, prev);
}
FindNextDiffFn findNextDiffKernel() {
    return &HWY_DYNAMIC_DISPATCH(FindNextDiff);
}
ScanBitsFn scanBitsKernel() {
    return &HWY_DYNAMIC_DISPATCH(ScanBits64);
}
void vecBinarise(const uint8_t* src, uint8_t* dst, int n) {
    HWY_DYNAMIC_DISPATCH(Binarise)(src, dst, n);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
