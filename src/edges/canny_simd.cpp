// Highway kernels of the Canny detector, compiled for every target Highway
// supports and chosen at run time.
#include "canny_simd.h"

#include <cstdint>

#include "tarvo/parallel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "edges/canny_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

int GradientsRow(const uint8_t* u, const uint8_t* m, const uint8_t* d, int16_t* ox, int16_t* oy,
                 int cn, int start, int n) {
    const hn::ScalableTag<int16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const int N = (int)hn::Lanes(d16);
    const auto two = hn::Set(d16, 2);
    auto ld = [&](const uint8_t* p) { return hn::PromoteTo(d16, hn::LoadU(d8, p)); };
    int i = start;
    for (; i + N <= n; i += N) {
        auto ur = ld(u + i + cn), ul = ld(u + i - cn), uc = ld(u + i);
        auto dr = ld(d + i + cn), dl = ld(d + i - cn), dc = ld(d + i);
        auto mr = ld(m + i + cn), ml = ld(m + i - cn);
        // Same term order as the scalar formulas; 16-bit sums cannot overflow here.
        auto gx = hn::Sub(hn::Sub(hn::Add(hn::Add(hn::Mul(two, hn::Sub(mr, ml)), ur), dr), ul), dl);
        auto gy = hn::Sub(hn::Sub(hn::Add(hn::Add(hn::Mul(two, hn::Sub(uc, dc)), ul), ur), dl), dr);
        hn::StoreU(gx, d16, ox + i);
        hn::StoreU(gy, d16, oy + i);
    }
    return i;
}

int NormRow(const int16_t* x, const int16_t* y, int32_t* norm, int n) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<int16_t, decltype(d32)> d16;
    const int N = (int)hn::Lanes(d32);
    int j = 0;
    for (; j + N <= n; j += N) {
        auto ax = hn::Abs(hn::PromoteTo(d32, hn::LoadU(d16, x + j)));
        auto ay = hn::Abs(hn::PromoteTo(d32, hn::LoadU(d16, y + j)));
        hn::StoreU(hn::Add(ax, ay), d32, norm + j);
    }
    return j;
}

int MaximaRow(const int32_t* m, const int32_t* above, const int32_t* below, const int16_t* dx,
              const int16_t* dy, int low, uint8_t* flags, int n) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<int16_t, decltype(d32)> d16;
    const hn::Rebind<uint8_t, decltype(d32)> d8;
    const int N = (int)hn::Lanes(d32);
    const auto vlow = hn::Set(d32, low);
    const auto k22 = hn::Set(d32, 13573);
    const auto zero = hn::Zero(d32);
    const auto one = hn::Set(d32, 1);
    int j = 0;
    // Gradients come from byte images (|g| <= 1020), so every product below
    // fits in 32 bits, as in the scalar loop.
    for (; j + N <= n; j += N) {
        auto v = hn::LoadU(d32, m + j);
        auto sx = hn::PromoteTo(d32, hn::LoadU(d16, dx + j));
        auto sy = hn::PromoteTo(d32, hn::LoadU(d16, dy + j));
        auto ax = hn::Abs(sx);
        auto ay = hn::ShiftLeft<15>(hn::Abs(sy));
        auto t22 = hn::Mul(ax, k22);
        auto t67 = hn::Add(t22, hn::ShiftLeft<16>(ax));
        auto horiz = hn::Lt(ay, t22);
        auto vert = hn::Gt(ay, t67);
        auto maxH = hn::And(hn::Gt(v, hn::LoadU(d32, m + j - 1)),
                            hn::Not(hn::Lt(v, hn::LoadU(d32, m + j + 1))));
        auto maxV = hn::And(hn::Gt(v, hn::LoadU(d32, above + j)),
                            hn::Not(hn::Lt(v, hn::LoadU(d32, below + j))));
        auto neg = hn::Lt(hn::Xor(sx, sy), zero);
        auto a = hn::IfThenElse(neg, hn::LoadU(d32, above + j + 1), hn::LoadU(d32, above + j - 1));
        auto b = hn::IfThenElse(neg, hn::LoadU(d32, below + j - 1), hn::LoadU(d32, below + j + 1));
        auto maxD = hn::And(hn::Gt(v, a), hn::Gt(v, b));
        auto notH = hn::Or(hn::And(vert, maxV), hn::AndNot(vert, maxD));
        auto isMax = hn::Or(hn::And(horiz, maxH), hn::AndNot(horiz, notH));
        auto flag = hn::IfThenElseZero(hn::And(isMax, hn::Gt(v, vlow)), one);
        hn::StoreU(hn::DemoteTo(d8, flag), d8, flags + j);
    }
    return j;
}

int OutputRow(const uint8_t* map, uint8_t* out, int n) {
    const hn::ScalableTag<uint8_t> d8;
    const int N = (int)hn::Lanes(d8);
    const auto two = hn::Set(d8, 2);
    const auto full = hn::Set(d8, 255);
    int j = 0;
    for (; j + N <= n; j += N) {
        auto v = hn::LoadU(d8, map + j);
        hn::StoreU(hn::IfThenElseZero(hn::Eq(v, two), full), d8, out + j);
    }
    return j;
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {

HWY_EXPORT(GradientsRow);
HWY_EXPORT(NormRow);
HWY_EXPORT(OutputRow);
HWY_EXPORT(MaximaRow);

int cannyMaximaRow(const int* m, const int* above, const int* below, const short* dx,
                   const short* dy, int low, unsigned char* flags, int n) {
    if (!checkHardwareSupport(CPU_INT_VECTORS)) return 0;
    return HWY_DYNAMIC_DISPATCH(MaximaRow)(m, above, below, dx, dy, low, flags, n);
}

int cannyGradientsRow(const unsigned char* up, const unsigned char* mid, const unsigned char* dn,
                      short* dx, short* dy, int cn, int start, int n) {
    if (!checkHardwareSupport(CPU_INT_VECTORS)) return start;
    return HWY_DYNAMIC_DISPATCH(GradientsRow)(up, mid, dn, dx, dy, cn, start, n);
}

int cannyNormRow(const short* dx, const short* dy, int* norm, int n) {
    if (!checkHardwareSupport(CPU_INT_VECTORS)) return 0;
    return HWY_DYNAMIC_DISPATCH(NormRow)(dx, dy, norm, n);
}

int cannyOutputRow(const unsigned char* map, unsigned char* out, int n) {
    if (!checkHardwareSupport(CPU_INT_VECTORS)) return 0;
    return HWY_DYNAMIC_DISPATCH(OutputRow)(map, out, n);
}

}  // namespace detail
}  // namespace tarvo
#endif
