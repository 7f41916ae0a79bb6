// Highway kernels of the edge-chain extractor, compiled for every target
// Highway supports and chosen at run time. All arithmetic is exact: integer
// sums that cannot overflow their lanes, and floating quotients whose
// truncation equals the integer quotient (see the notes at each one).
#include "edge_chains_simd.h"

#include <cstdint>

#include "tarvo/parallel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "edges/edge_chains_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Smoothing sums of bytes stay below 64 * 255 = 16320: 16-bit lanes suffice.
int SmoothColumns(const uint8_t* const* r, int16_t* out, int n) {
    const hn::ScalableTag<int16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const int N = (int)hn::Lanes(d16);
    const auto k6 = hn::Set(d16, 6), k15 = hn::Set(d16, 15), k20 = hn::Set(d16, 20);
    auto ld = [&](int k, int x) { return hn::PromoteTo(d16, hn::LoadU(d8, r[k] + x)); };
    int x = 0;
    for (; x + N <= n; x += N) {
        auto s = hn::Add(ld(0, x), ld(6, x));
        s = hn::Add(s, hn::Mul(k6, hn::Add(ld(1, x), ld(5, x))));
        s = hn::Add(s, hn::Mul(k15, hn::Add(ld(2, x), ld(4, x))));
        s = hn::Add(s, hn::Mul(k20, ld(3, x)));
        hn::StoreU(s, d16, out + x);
    }
    return x;
}

int SmoothRow(const uint8_t* in, int16_t* out, int start, int end) {
    const hn::ScalableTag<int16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const int N = (int)hn::Lanes(d16);
    const auto k6 = hn::Set(d16, 6), k15 = hn::Set(d16, 15), k20 = hn::Set(d16, 20);
    auto ld = [&](int x) { return hn::PromoteTo(d16, hn::LoadU(d8, in + x)); };
    int x = start;
    for (; x + N <= end; x += N) {
        auto s = hn::Add(ld(x - 3), ld(x + 3));
        s = hn::Add(s, hn::Mul(k6, hn::Add(ld(x - 2), ld(x + 2))));
        s = hn::Add(s, hn::Mul(k15, hn::Add(ld(x - 1), ld(x + 1))));
        s = hn::Add(s, hn::Mul(k20, ld(x)));
        hn::StoreU(s, d16, out + x);
    }
    return x;
}

// Differences of smoothed values reach 10 * 16320 before the shift: 32-bit
// lanes. The shift is arithmetic, as in the scalar loop.
template <class D32, class V>
HWY_INLINE V DiffTaps(D32 d32, V a0, V a1, V a2, V a4, V a5, V a6) {
    auto s = hn::Sub(a6, a0);
    s = hn::Add(s, hn::Mul(hn::Set(d32, 4), hn::Sub(a5, a1)));
    s = hn::Add(s, hn::Mul(hn::Set(d32, 5), hn::Sub(a4, a2)));
    return hn::ShiftRight<5>(s);
}

int DiffRow(const int16_t* in, int16_t* out, int start, int end) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<int16_t, decltype(d32)> d16;
    const int N = (int)hn::Lanes(d32);
    auto ld = [&](int x) { return hn::PromoteTo(d32, hn::LoadU(d16, in + x)); };
    int x = start;
    for (; x + N <= end; x += N) {
        auto s = DiffTaps(d32, ld(x - 3), ld(x - 2), ld(x - 1), ld(x + 1), ld(x + 2), ld(x + 3));
        hn::StoreU(hn::DemoteTo(d16, s), d16, out + x);
    }
    return x;
}

int DiffColumns(const int16_t* const* r, int16_t* out, int start, int end) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<int16_t, decltype(d32)> d16;
    const int N = (int)hn::Lanes(d32);
    auto ld = [&](int k, int x) { return hn::PromoteTo(d32, hn::LoadU(d16, r[k] + x)); };
    int x = start;
    for (; x + N <= end; x += N) {
        auto s = DiffTaps(d32, ld(0, x), ld(1, x), ld(2, x), ld(4, x), ld(5, x), ld(6, x));
        hn::StoreU(hn::DemoteTo(d16, s), d16, out + x);
    }
    return x;
}

int StrengthRow(const int16_t* gx, const int16_t* gy, int16_t* strength, int n, long long* nz,
                int* maxS) {
    const hn::ScalableTag<int16_t> d16;
    const int N16 = (int)hn::Lanes(d16);
    const int end = n - n % N16;
    auto vmax = hn::Set(d16, 1);
    long long count = 0;
    const auto zero16 = hn::Zero(d16);
    for (int x = 0; x < end; x += N16) {
        const auto s = hn::Add(hn::Abs(hn::LoadU(d16, gx + x)), hn::Abs(hn::LoadU(d16, gy + x)));
        hn::StoreU(s, d16, strength + x);
        vmax = hn::Max(vmax, s);
        count += (long long)hn::CountTrue(d16, hn::Ne(s, zero16));
    }
    int16_t lanes[64];
    hn::StoreU(vmax, d16, lanes);
    for (int i = 0; i < N16; i++)
        if (lanes[i] > *maxS) *maxS = lanes[i];
    *nz += count;
    return end;
}

// The polynomial angle in double lanes. Every intermediate is an integer below
// 2^53, so products and the scalings by powers of two are exact and Floor is
// the floor shift; the quotient is the same correctly rounded double division
// as the scalar function's, truncated.
int AngleRow(const int16_t* gx, const int16_t* gy, int16_t* orient, int n) {
    const hn::ScalableTag<double> dd;
    const hn::Rebind<int32_t, decltype(dd)> di32;
    const hn::Rebind<int16_t, decltype(dd)> di16;
    const int Nd = (int)hn::Lanes(dd);
    const int end = n - n % Nd;
    const auto zero = hn::Zero(dd);
    const auto one = hn::Set(dd, 1.0);
    const auto k1024 = hn::Set(dd, 1024.0);
    const auto kNumScale = hn::Set(dd, 1073741824.0);  // 2^10 * 2^20
    const auto kInv20 = hn::Set(dd, 1.0 / 1048576.0);
    const auto kInv10 = hn::Set(dd, 1.0 / 1024.0);
    const auto k16193 = hn::Set(dd, 16193.0);
    const auto k62560 = hn::Set(dd, 62560.0);
    const auto k511 = hn::Set(dd, 511.0);
    const auto k180 = hn::Set(dd, 180.0);
    const auto b0 = hn::Set(dd, -144.0), b1 = hn::Set(dd, 92304.0), b2 = hn::Set(dd, 184464.0),
               b3 = hn::Set(dd, 92016.0), b4 = hn::Set(dd, 368784.0), b5 = hn::Set(dd, 276336.0),
               b6 = hn::Set(dd, 184176.0), b7 = hn::Set(dd, 276624.0);
    auto ld = [&](const int16_t* p) {
        return hn::PromoteTo(dd, hn::PromoteTo(di32, hn::LoadU(di16, p)));
    };
    for (int x = 0; x < end; x += Nd) {
        const auto vx = ld(gx + x);
        auto vy = ld(gy + x);
        vy = hn::IfThenElse(hn::And(hn::Eq(vx, zero), hn::Lt(vy, k1024)), hn::Mul(vy, k1024), vy);
        const auto a = hn::Abs(vx), b = hn::Abs(vy);
        const auto steep = hn::Gt(b, a);
        const auto negX = hn::Lt(vx, zero), negY = hn::Lt(vy, zero);
        const auto small = hn::IfThenElse(steep, a, b), large = hn::IfThenElse(steep, b, a);
        // Index i = 4 negY + 2 negX + steep; the numerator is inverted for
        // i in 1, 2, 4, 7, the indices with an odd number of set bits.
        const auto invert = hn::Xor(hn::Xor(negX, negY), steep);
        auto num = hn::IfThenElse(invert, hn::Sub(hn::Neg(small), one), small);
        num = hn::Mul(num, kNumScale);
        const auto den = hn::Add(hn::Mul(large, k1024), one);
        const auto t = hn::Trunc(hn::Div(num, den));
        const auto u = hn::Sub(k62560, hn::Floor(hn::Mul(hn::Mul(k16193, hn::Abs(t)), kInv20)));
        const auto v = hn::Floor(hn::Mul(hn::Mul(u, t), kInv20));
        const auto base = hn::IfThenElse(
            negY,
            hn::IfThenElse(negX, hn::IfThenElse(steep, b7, b6), hn::IfThenElse(steep, b5, b4)),
            hn::IfThenElse(negX, hn::IfThenElse(steep, b3, b2), hn::IfThenElse(steep, b1, b0)));
        auto angle = hn::Floor(hn::Mul(hn::Add(hn::Add(base, v), k511), kInv10));
        angle = hn::IfThenElse(hn::Gt(angle, k180), hn::Sub(angle, k180), angle);
        hn::StoreU(hn::DemoteTo(di16, hn::DemoteTo(di32, angle)), di16, orient + x);
    }
    return end;
}

// s * 127 < 2^24 and maxS <= 10200: the float quotient is correctly rounded,
// its ulp below 128 is at most 2^-17, and a non-integer quotient lies at least
// 1/maxS from every integer, so truncation gives the integer quotient.
int ScaleRow(const int16_t* strength, uint8_t* s8, int maxS, int n) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<int16_t, decltype(d32)> d16;
    const hn::Rebind<uint8_t, decltype(d32)> d8;
    const hn::Rebind<float, decltype(d32)> df;
    const int N = (int)hn::Lanes(d32);
    const auto k127 = hn::Set(d32, 127);
    const auto m = hn::Set(df, float(maxS));
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto s = hn::Mul(hn::PromoteTo(d32, hn::LoadU(d16, strength + x)), k127);
        const auto q = hn::ConvertTo(d32, hn::Div(hn::ConvertTo(df, s), m));
        hn::StoreU(hn::DemoteTo(d8, q), d8, s8 + x);
    }
    return x;
}

// Weights come from float quotients of integers below 2^24 by at most 5100, as
// in the scalar loop; the weighted sums stay below 127 * 1024 * 2.
int SuppressRow(const uint8_t* up, const uint8_t* mid, const uint8_t* dn, const int16_t* gx,
                const int16_t* gy, int k, int hi, int lo, int8_t* strong, int8_t* weak, int start,
                int end) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<int16_t, decltype(d32)> d16;
    const hn::Rebind<uint8_t, decltype(d32)> d8;
    const hn::Rebind<int8_t, decltype(d32)> ds8;
    const hn::Rebind<float, decltype(d32)> df;
    const int N = (int)hn::Lanes(d32);
    const auto zero = hn::Zero(d32);
    const auto one = hn::Set(d32, 1);
    const auto k1024 = hn::Set(d32, 1024);
    const auto vk = hn::Set(d32, k);
    const auto hi1 = hn::Set(d32, 1 - hi), lo1 = hn::Set(d32, 1 - lo);
    const auto k127 = hn::Set(d32, 127);
    auto ld = [&](const uint8_t* p) { return hn::PromoteTo(d32, hn::LoadU(d8, p)); };
    int x = start;
    for (; x + N <= end; x += N) {
        const auto c = ld(mid + x);
        const auto vx = hn::PromoteTo(d32, hn::LoadU(d16, gx + x));
        const auto vy = hn::PromoteTo(d32, hn::LoadU(d16, gy + x));
        const auto ax = hn::Abs(vx), ay = hn::Abs(vy);
        const auto same = hn::Not(hn::Lt(hn::Xor(vx, vy), zero));
        const auto horiz = hn::Not(hn::Lt(ax, ay));
        const auto small = hn::IfThenElse(horiz, ay, ax);
        // A zero gradient (strength 0, dropped by the c > k test below)
        // divides by 1 instead of 0.
        const auto large = hn::Max(hn::IfThenElse(horiz, ax, ay), one);
        const auto w = hn::ConvertTo(
            d32, hn::Div(hn::ConvertTo(df, hn::Mul(small, k1024)), hn::ConvertTo(df, large)));
        const auto w1 = hn::Sub(k1024, w);
        const auto right = ld(mid + x + 1), left = ld(mid + x - 1);
        const auto fa = hn::IfThenElse(horiz, hn::IfThenElse(same, right, left), ld(dn + x));
        const auto fb = hn::IfThenElse(same, ld(dn + x + 1), ld(dn + x - 1));
        const auto ba = hn::IfThenElse(horiz, hn::IfThenElse(same, left, right), ld(up + x));
        const auto bb = hn::IfThenElse(same, ld(up + x - 1), ld(up + x + 1));
        const auto p = hn::Add(hn::Mul(fa, w1), hn::Mul(fb, w));
        const auto q = hn::Add(hn::Mul(ba, w1), hn::Mul(bb, w));
        const auto c1024 = hn::ShiftLeft<10>(c);
        const auto keep =
            hn::And(hn::Gt(c, vk), hn::And(hn::Lt(p, c1024), hn::Not(hn::Gt(q, c1024))));
        const auto o = hn::IfThenElseZero(keep, c);
        const auto s = hn::Min(hn::Max(hn::Add(o, hi1), zero), k127);
        const auto wk = hn::Min(hn::Max(hn::Add(o, lo1), zero), k127);
        hn::StoreU(hn::DemoteTo(ds8, s), ds8, strong + x);
        hn::StoreU(hn::DemoteTo(ds8, wk), ds8, weak + x);
    }
    return x;
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {

HWY_EXPORT(SmoothColumns);
HWY_EXPORT(SmoothRow);
HWY_EXPORT(DiffRow);
HWY_EXPORT(DiffColumns);
HWY_EXPORT(StrengthRow);
HWY_EXPORT(AngleRow);
HWY_EXPORT(ScaleRow);
HWY_EXPORT(SuppressRow);

int edgeSmoothColumns(const unsigned char* const* rows7, short* out, int n) {
    if (!checkHardwareSupport(3)) return 0;
    return HWY_DYNAMIC_DISPATCH(SmoothColumns)(rows7, out, n);
}

int edgeSmoothRow(const unsigned char* in, short* out, int start, int end) {
    if (!checkHardwareSupport(3)) return start;
    return HWY_DYNAMIC_DISPATCH(SmoothRow)(in, out, start, end);
}

int edgeDiffRow(const short* in, short* out, int start, int end) {
    if (!checkHardwareSupport(3)) return start;
    return HWY_DYNAMIC_DISPATCH(DiffRow)(in, out, start, end);
}

int edgeDiffColumns(const short* const* rows7, short* out, int start, int end) {
    if (!checkHardwareSupport(3)) return start;
    return HWY_DYNAMIC_DISPATCH(DiffColumns)(rows7, out, start, end);
}

int edgeStrengthRow(const short* gx, const short* gy, short* strength, int n, long long* nz,
                    int* maxS) {
    if (!checkHardwareSupport(3)) return 0;
    return HWY_DYNAMIC_DISPATCH(StrengthRow)(gx, gy, strength, n, nz, maxS);
}

int edgeAngleRow(const short* gx, const short* gy, short* orient, int n) {
    if (!checkHardwareSupport(3)) return 0;
    return HWY_DYNAMIC_DISPATCH(AngleRow)(gx, gy, orient, n);
}

int edgeScaleRow(const short* strength, unsigned char* s8, int maxS, int n) {
    if (!checkHardwareSupport(3)) return 0;
    return HWY_DYNAMIC_DISPATCH(ScaleRow)(strength, s8, maxS, n);
}

int edgeSuppressRow(const unsigned char* up, const unsigned char* mid, const unsigned char* dn,
                    const short* gx, const short* gy, int k, int hi, int lo, signed char* strong,
                    signed char* weak, int start, int end) {
    if (!checkHardwareSupport(3)) return start;
    return HWY_DYNAMIC_DISPATCH(SuppressRow)(up, mid, dn, gx, gy, k, hi, lo,
                                             reinterpret_cast<int8_t*>(strong),
                                             reinterpret_cast<int8_t*>(weak), start, end);
}

}  // namespace detail
}  // namespace tarvo
#endif
