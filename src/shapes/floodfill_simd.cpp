// Vector kernels of the flood fill's span walks: a vector of pixels is tested
// at once (byte differences by saturating subtraction, three channels
// de-interleaved on load) and skipped while all agree; the vector in which the
// answer lies is finished one pixel at a time, so every result is the scalar
// walk's.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "shapes/floodfill_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include <cstdlib>
#include <cstring>

#include "shapes/floodfill_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace ip {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

namespace {

inline bool passS(const uint8_t* px, const uint8_t* mask, int i, int cn, const uint8_t* t,
                  int tol) {
    if (mask[i]) return false;
    for (int k = 0; k < cn; k++)
        if (std::abs(int(px[i * cn + k]) - int(t[k])) > tol) return false;
    return true;
}

typedef hn::ScalableTag<uint8_t> D8;

// Mask of the pixels [i, i + N) that pass.
template <class M>
HWY_INLINE M PassVec(D8 d, const uint8_t* px, const uint8_t* mask, int i, int cn, const uint8_t* t,
                     int tol) {
    const auto tv = hn::Set(d, uint8_t(tol));
    auto within = [&](hn::Vec<D8> v, uint8_t c) {
        const auto cv = hn::Set(d, c);
        const auto diff = hn::Or(hn::SaturatedSub(v, cv), hn::SaturatedSub(cv, v));
        return hn::SaturatedSub(diff, tv);  // zero where within tolerance
    };
    auto bad = hn::LoadU(d, mask + i);
    if (cn == 3) {
        hn::Vec<D8> a, b, c;
        hn::LoadInterleaved3(d, px + size_t(i) * 3, a, b, c);
        bad = hn::Or(bad, hn::Or(within(a, t[0]), hn::Or(within(b, t[1]), within(c, t[2]))));
    } else {
        bad = hn::Or(bad, within(hn::LoadU(d, px + i), t[0]));
    }
    return hn::Eq(bad, hn::Zero(d));
}

}  // namespace

int FillFindForward(const uint8_t* px, const uint8_t* mask, int x, int end, int cn,
                    const uint8_t* t, int tol, bool stop) {
    const D8 d;
    const int N = (int)hn::Lanes(d);
    for (; x + N <= end; x += N) {
        const auto pass = PassVec<hn::Mask<D8>>(d, px, mask, x, cn, t, tol);
        const auto hit = stop ? pass : hn::Not(pass);
        const intptr_t i = hn::FindFirstTrue(d, hit);
        if (i >= 0) return x + int(i);
    }
    for (; x < end; x++)
        if (passS(px, mask, x, cn, t, tol) == stop) return x;
    return end;
}

int FillFindBackward(const uint8_t* px, const uint8_t* mask, int x, int end, int cn,
                     const uint8_t* t, int tol, bool stop) {
    const D8 d;
    const int N = (int)hn::Lanes(d);
    for (; x - N >= end; x -= N) {
        const auto pass = PassVec<hn::Mask<D8>>(d, px, mask, x - N + 1, cn, t, tol);
        const auto hit = stop ? pass : hn::Not(pass);
        if (!hn::AllFalse(d, hit)) break;
    }
    for (; x > end; x--)
        if (passS(px, mask, x, cn, t, tol) == stop) return x;
    return end;
}

void FillPaint(uint8_t* px, uint8_t* mask, int x0, int x1, int cn, const uint8_t* fill) {
    if (x1 <= x0) return;
    std::memset(mask + x0, 255, size_t(x1 - x0));
    if (cn == 1) {
        std::memset(px + x0, fill[0], size_t(x1 - x0));
        return;
    }
    const D8 d;
    const int N = (int)hn::Lanes(d);
    const auto a = hn::Set(d, fill[0]), b = hn::Set(d, fill[1]), c = hn::Set(d, fill[2]);
    int x = x0;
    for (; x + N <= x1; x += N) hn::StoreInterleaved3(a, b, c, d, px + size_t(x) * 3);
    for (; x < x1; x++) {
        px[size_t(x) * 3] = fill[0];
        px[size_t(x) * 3 + 1] = fill[1];
        px[size_t(x) * 3 + 2] = fill[2];
    }
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
HWY_EXPORT(FillFindForward);
HWY_EXPORT(FillFindBackward);
HWY_EXPORT(FillPaint);

int vecFillFindForward(const uint8_t* px, const uint8_t* mask, int x, int end, int cn,
                       const uint8_t* t, int tol, bool stop) {
    return HWY_DYNAMIC_DISPATCH(FillFindForward)(px, mask, x, end, cn, t, tol, stop);
}
int vecFillFindBackward(const uint8_t* px, const uint8_t* mask, int x, int end, int cn,
                        const uint8_t* t, int tol, bool stop) {
    return HWY_DYNAMIC_DISPATCH(FillFindBackward)(px, mask, x, end, cn, t, tol, stop);
}
void vecFillPaint(uint8_t* px, uint8_t* mask, int x0, int x1, int cn, const uint8_t* fill) {
    HWY_DYNAMIC_DISPATCH(FillPaint)(px, mask, x0, x1, cn, fill);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
