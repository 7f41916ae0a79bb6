// Vector kernels of the byte affine warp and of remap's linear byte routine:
// bilinear sums of gathered samples.
// Integer arithmetic is exact (no sum leaves 32 bits), so the result equals
// the scalar formula's for every element.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/warp_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "geometry/warp_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
int WarpBilinear8u(const uint8_t*, const int32_t*, const int32_t*, const int32_t*, int, int,
                   uint8_t*, int) {
    return 0;
}
int RemapLinear8u(const uint8_t*, const int32_t*, const int32_t*, const int32_t*, int, int,
                  uint8_t*, int) {
    return 0;
}
#else
int WarpBilinear8u(const uint8_t* base, const int32_t* off, const int32_t* fx, const int32_t* fy,
                   int dx, int dy, uint8_t* dst, int n) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(di);
    // Each gather reads the four bytes at a sample's address; the low byte is the sample.
    const int32_t* b = reinterpret_cast<const int32_t*>(base);
    const auto m255 = hn::Set(di, 255), k1024 = hn::Set(di, 1024);
    const auto vdx = hn::Set(di, dx), vdy = hn::Set(di, dy), vdxy = hn::Set(di, dx + dy);
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto o = hn::LoadU(di, off + x);
        const auto p00 = hn::And(hn::GatherOffset(di, b, o), m255);
        const auto p01 = hn::And(hn::GatherOffset(di, b, hn::Add(o, vdx)), m255);
        const auto p10 = hn::And(hn::GatherOffset(di, b, hn::Add(o, vdy)), m255);
        const auto p11 = hn::And(hn::GatherOffset(di, b, hn::Add(o, vdxy)), m255);
        const auto vx = hn::LoadU(di, fx + x), vy = hn::LoadU(di, fy + x);
        const auto t1 = hn::Mul(hn::Add(hn::Mul(p10, vy), hn::Mul(p01, vx)), k1024);
        const auto t2 = hn::Mul(hn::Add(hn::Sub(hn::Sub(p11, p10), p01), p00), hn::Mul(vx, vy));
        const auto t3 = hn::Mul(hn::Mul(hn::Sub(k1024, hn::Add(vx, vy)), k1024), p00);
        const auto v = hn::Min(hn::ShiftRight<20>(hn::Add(hn::Add(t1, t2), t3)), m255);
        hn::StoreU(hn::DemoteTo(d8, v), d8, dst + x);
    }
    return x;
}

int RemapLinear8u(const uint8_t* base, const int32_t* off, const int32_t* code,
                  const int32_t* table, int dx, int dy, uint8_t* dst, int n) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(di);
    const int32_t* b = reinterpret_cast<const int32_t*>(base);
    const auto m255 = hn::Set(di, 255), zero = hn::Zero(di), half = hn::Set(di, 1 << 14);
    const auto vdx = hn::Set(di, dx), vdy = hn::Set(di, dy), vdxy = hn::Set(di, dx + dy);
    const auto one = hn::Set(di, 1);
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto o = hn::LoadU(di, off + x);
        const auto p00 = hn::And(hn::GatherOffset(di, b, o), m255);
        const auto p01 = hn::And(hn::GatherOffset(di, b, hn::Add(o, vdx)), m255);
        const auto p10 = hn::And(hn::GatherOffset(di, b, hn::Add(o, vdy)), m255);
        const auto p11 = hn::And(hn::GatherOffset(di, b, hn::Add(o, vdxy)), m255);
        const auto w0i = hn::ShiftLeft<2>(hn::LoadU(di, code + x));
        const auto w1i = hn::Add(w0i, one), w2i = hn::Add(w1i, one), w3i = hn::Add(w2i, one);
        auto s = hn::Mul(hn::GatherIndex(di, table, w0i), p00);
        s = hn::Add(s, hn::Mul(hn::GatherIndex(di, table, w1i), p01));
        s = hn::Add(s, hn::Mul(hn::GatherIndex(di, table, w2i), p10));
        s = hn::Add(s, hn::Mul(hn::GatherIndex(di, table, w3i), p11));
        const auto r = hn::Max(hn::Min(hn::ShiftRight<15>(hn::Add(s, half)), m255), zero);
        hn::StoreU(hn::DemoteTo(d8, r), d8, dst + x);
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
HWY_EXPORT(WarpBilinear8u);
HWY_EXPORT(RemapLinear8u);

int remapLinear8u(const uint8_t* base, const int32_t* off, const int32_t* code,
                  const int32_t* table, int dx, int dy, uint8_t* dst, int n) {
    return HWY_DYNAMIC_DISPATCH(RemapLinear8u)(base, off, code, table, dx, dy, dst, n);
}

int warpBilinear8u(const uint8_t* base, const int32_t* off, const int32_t* fx, const int32_t* fy,
                   int dx, int dy, uint8_t* dst, int n) {
    return HWY_DYNAMIC_DISPATCH(WarpBilinear8u)(base, off, fx, fy, dx, dy, dst, n);
}
}  // namespace detail
}  // namespace tarvo
#endif
