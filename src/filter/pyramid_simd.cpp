// Vector kernels of pyrDown and pyrUp. Bytes run in 16-bit lanes, where every
// intermediate of both filters fits exactly; floats follow the scalar loops'
// order of operations (no fused multiply-add), so both paths agree bit for bit.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/pyramid_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filter/integral_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
// One-lane target: the scalar loops of the callers do all the work.
int PyrDownRowU8(const uint8_t*, int, uint16_t*, int x0, int) {
    return x0;
}
int PyrDownRowF32(const float*, int, float*, int x0, int) {
    return x0;
}
int PyrDownRowU8Cn(const uint8_t*, int, uint16_t*, int x0, int, int) {
    return x0;
}
int PyrDownRowF32Cn(const float*, int, float*, int x0, int, int) {
    return x0;
}
int PyrDownColU8(const uint16_t* const*, uint8_t*, int) {
    return 0;
}
int PyrDownColF32(const float* const*, float*, int) {
    return 0;
}
int PyrUpRowU8(const uint8_t*, int, uint16_t*, int x0, int) {
    return x0;
}
int PyrUpRowF32(const float*, int, float*, int x0, int) {
    return x0;
}
int PyrUpColU8(const uint16_t* const*, uint8_t*, uint8_t*, int) {
    return 0;
}
int PyrUpColF32(const float* const*, float*, float*, int) {
    return 0;
}
#else
// dst[x] = s[2x-2] + 4 s[2x-1] + 6 s[2x] + 4 s[2x+1] + s[2x+2] for x in [x0, x1),
// as long as every read stays inside [0, srcWidth).
int PyrDownRowU8(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1) {
    const hn::ScalableTag<uint16_t> d;
    const hn::Repartition<uint8_t, decltype(d)> d8;
    const int N = (int)hn::Lanes(d);
    const auto lo = hn::Set(d, 0xFF);
    int x = x0 < 1 ? 1 : x0;
    if (x != x0) return x0;
    // Reads span bytes [2x - 2, 2x + 2N + 2).
    for (; x + N <= x1 && 2 * x + 2 * N + 2 <= srcWidth; x += N) {
        const auto a = hn::BitCast(d, hn::LoadU(d8, src + 2 * x - 2));
        const auto b = hn::BitCast(d, hn::LoadU(d8, src + 2 * x));
        const auto c = hn::BitCast(d, hn::LoadU(d8, src + 2 * x + 2));
        const auto em = hn::And(a, lo), om = hn::ShiftRight<8>(a);
        const auto e0 = hn::And(b, lo), o0 = hn::ShiftRight<8>(b);
        const auto ep = hn::And(c, lo);
        auto v = hn::Add(em, ep);
        v = hn::Add(v, hn::ShiftLeft<2>(hn::Add(om, o0)));
        v = hn::Add(v, hn::Add(hn::ShiftLeft<2>(e0), hn::ShiftLeft<1>(e0)));
        hn::StoreU(v, d, dst + x);
    }
    return x;
}

int PyrDownRowF32(const float* src, int srcWidth, float* dst, int x0, int x1) {
    const hn::ScalableTag<float> d;
    const int N = (int)hn::Lanes(d);
    const auto four = hn::Set(d, 4.0f), six = hn::Set(d, 6.0f);
    int x = x0 < 1 ? 1 : x0;
    if (x != x0) return x0;
    for (; x + N <= x1 && 2 * x + 2 * N + 2 <= srcWidth; x += N) {
        const float* p = src + 2 * x;
        const auto a0 = hn::LoadU(d, p - 2), a1 = hn::LoadU(d, p - 2 + N);
        const auto b0 = hn::LoadU(d, p), b1 = hn::LoadU(d, p + N);
        const auto c0 = hn::LoadU(d, p + 2), c1 = hn::LoadU(d, p + 2 + N);
        const auto em = hn::ConcatEven(d, a1, a0), om = hn::ConcatOdd(d, a1, a0);
        const auto e0 = hn::ConcatEven(d, b1, b0), o0 = hn::ConcatOdd(d, b1, b0);
        const auto ep = hn::ConcatEven(d, c1, c0);
        auto v = hn::Add(hn::Add(em, ep), hn::Mul(hn::Add(om, o0), four));
        v = hn::Add(v, hn::Mul(e0, six));
        hn::StoreU(v, d, dst + x);
    }
    return x;
}

// Rows of 2 to 4 interleaved channels. The filter runs at every source
// element, its taps cn elements apart (the same channel of the neighbouring
// pixels); an output pixel is the filter at the first cn elements of every
// 2 cn, so a repeating mask keeps those lanes and compresses them together.
// The mask of a vector starting j vectors in is the pattern shifted by
// (j N) mod 2 cn, read from a table of the pattern. Returns the first output
// pixel not written in full (a vector may end inside a pixel).
template <class D, typename T, class Kernel>
int PyrDownRowCn(D d, const T* src, int srcWidth, hn::TFromD<D>* dst, int x0, int x1, int cn,
                 const Kernel& f) {
    typedef hn::TFromD<D> WT;
    const hn::RebindToUnsigned<D> du;
    typedef hn::TFromD<decltype(du)> MT;
    const int N = (int)hn::Lanes(d), period = 2 * cn;
    if (x0 < 1 || cn < 2 || cn > 4 || N + period > int(HWY_MAX_BYTES / sizeof(WT)) + 8) return x0;
    MT pattern[HWY_MAX_BYTES / sizeof(WT) + 8];
    for (int t = 0; t < N + period; t++) pattern[t] = (t % period) < cn ? MT(~MT(0)) : MT(0);
    const size_t rowEnd = size_t(srcWidth) * cn, stop = size_t(2) * x1 * cn;
    WT* const first = dst + size_t(x0) * cn;
    WT* const end = dst + size_t(x1) * cn;
    WT* out = first;
    int phase = 0;
    for (size_t e = size_t(2) * x0 * cn; e + N <= stop && e + N + period <= rowEnd; e += N) {
        const auto v = f(src + e, cn);
        const auto keep = hn::RebindMask(d, hn::Ne(hn::LoadU(du, pattern + phase), hn::Zero(du)));
        // A whole-vector store is cheaper than a masked one; its spare lanes
        // land on outputs that a later store or the caller's loop rewrites,
        // as long as the vector ends inside [x0, x1).
        if (out + N <= end)
            out += hn::CompressStore(v, keep, d, out);
        else
            out += hn::CompressBlendedStore(v, keep, d, out);
        phase = (phase + N) % period;
    }
    return x0 + int((out - first) / cn);
}

int PyrDownRowU8Cn(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1, int cn) {
    const hn::ScalableTag<uint16_t> d;
    const hn::Rebind<uint8_t, decltype(d)> d8;
    auto kernel = [&](const uint8_t* s, int step) {
        const auto a = hn::PromoteTo(d, hn::LoadU(d8, s - 2 * step));
        const auto b = hn::PromoteTo(d, hn::LoadU(d8, s - step));
        const auto c = hn::PromoteTo(d, hn::LoadU(d8, s));
        const auto e = hn::PromoteTo(d, hn::LoadU(d8, s + step));
        const auto g = hn::PromoteTo(d, hn::LoadU(d8, s + 2 * step));
        auto v = hn::Add(hn::Add(a, g), hn::ShiftLeft<2>(hn::Add(b, e)));
        return hn::Add(v, hn::Add(hn::ShiftLeft<2>(c), hn::ShiftLeft<1>(c)));
    };
    return PyrDownRowCn(d, src, srcWidth, dst, x0, x1, cn, kernel);
}

int PyrDownRowF32Cn(const float* src, int srcWidth, float* dst, int x0, int x1, int cn) {
    const hn::ScalableTag<float> d;
    const auto four = hn::Set(d, 4.0f), six = hn::Set(d, 6.0f);
    auto kernel = [&](const float* s, int step) {
        const auto a = hn::LoadU(d, s - 2 * step), b = hn::LoadU(d, s - step);
        const auto c = hn::LoadU(d, s), e = hn::LoadU(d, s + step), g = hn::LoadU(d, s + 2 * step);
        return hn::Add(hn::Add(hn::Add(a, g), hn::Mul(hn::Add(b, e), four)), hn::Mul(c, six));
    };
    return PyrDownRowCn(d, src, srcWidth, dst, x0, x1, cn, kernel);
}

int PyrDownColU8(const uint16_t* const* rows, uint8_t* dst, int width) {
    const hn::ScalableTag<uint16_t> d;
    const hn::RebindToSigned<decltype(d)> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(d);
    const auto bias = hn::Set(d, 128);
    const uint16_t *r0 = rows[0], *r1 = rows[1], *r2 = rows[2], *r3 = rows[3], *r4 = rows[4];
    int x = 0;
    for (; x + N <= width; x += N) {
        const auto c = hn::LoadU(d, r2 + x);
        auto v = hn::Add(hn::LoadU(d, r0 + x), hn::LoadU(d, r4 + x));
        v = hn::Add(v, hn::ShiftLeft<2>(hn::Add(hn::LoadU(d, r1 + x), hn::LoadU(d, r3 + x))));
        v = hn::Add(v, hn::Add(hn::ShiftLeft<2>(c), hn::ShiftLeft<1>(c)));
        v = hn::ShiftRight<8>(hn::Add(v, bias));
        hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di, v)), d8, dst + x);
    }
    return x;
}

int PyrDownColF32(const float* const* rows, float* dst, int width) {
    const hn::ScalableTag<float> d;
    const int N = (int)hn::Lanes(d);
    const auto four = hn::Set(d, 4.0f), six = hn::Set(d, 6.0f), scale = hn::Set(d, 0.00390625f);
    const float *r0 = rows[0], *r1 = rows[1], *r2 = rows[2], *r3 = rows[3], *r4 = rows[4];
    int x = 0;
    for (; x + N <= width; x += N) {
        auto v = hn::Add(hn::LoadU(d, r0 + x), hn::LoadU(d, r4 + x));
        v = hn::Add(v, hn::Mul(hn::Add(hn::LoadU(d, r1 + x), hn::LoadU(d, r3 + x)), four));
        v = hn::Add(v, hn::Mul(hn::LoadU(d, r2 + x), six));
        hn::StoreU(hn::Mul(v, scale), d, dst + x);
    }
    return x;
}

// Pairs (2x, 2x+1) for x in [x0, x1): even s[x-1] + 6 s[x] + s[x+1], odd 4 (s[x] + s[x+1]).
int PyrUpRowU8(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1) {
    const hn::ScalableTag<uint16_t> d;
    const hn::Rebind<uint8_t, decltype(d)> d8;
    const int N = (int)hn::Lanes(d);
    int x = x0 < 1 ? 1 : x0;
    if (x != x0) return x0;
    for (; x + N <= x1 && x + N + 1 <= srcWidth; x += N) {
        const auto a = hn::PromoteTo(d, hn::LoadU(d8, src + x - 1));
        const auto b = hn::PromoteTo(d, hn::LoadU(d8, src + x));
        const auto c = hn::PromoteTo(d, hn::LoadU(d8, src + x + 1));
        const auto even = hn::Add(hn::Add(a, c), hn::Add(hn::ShiftLeft<2>(b), hn::ShiftLeft<1>(b)));
        const auto odd = hn::ShiftLeft<2>(hn::Add(b, c));
        hn::StoreInterleaved2(even, odd, d, dst + 2 * x);
    }
    return x;
}

int PyrUpRowF32(const float* src, int srcWidth, float* dst, int x0, int x1) {
    const hn::ScalableTag<float> d;
    const int N = (int)hn::Lanes(d);
    const auto four = hn::Set(d, 4.0f), six = hn::Set(d, 6.0f);
    int x = x0 < 1 ? 1 : x0;
    if (x != x0) return x0;
    for (; x + N <= x1 && x + N + 1 <= srcWidth; x += N) {
        const auto a = hn::LoadU(d, src + x - 1);
        const auto b = hn::LoadU(d, src + x);
        const auto c = hn::LoadU(d, src + x + 1);
        const auto even = hn::Add(hn::Add(a, c), hn::Mul(b, six));
        const auto odd = hn::Mul(hn::Add(b, c), four);
        hn::StoreInterleaved2(even, odd, d, dst + 2 * x);
    }
    return x;
}

int PyrUpColU8(const uint16_t* const* rows, uint8_t* dstEven, uint8_t* dstOdd, int width) {
    const hn::ScalableTag<uint16_t> d;
    const hn::RebindToSigned<decltype(d)> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(d);
    const auto bias = hn::Set(d, 32);
    const uint16_t *r0 = rows[0], *r1 = rows[1], *r2 = rows[2];
    int x = 0;
    for (; x + N <= width; x += N) {
        const auto b = hn::LoadU(d, r1 + x), c = hn::LoadU(d, r2 + x);
        if (dstEven) {
            auto e = hn::Add(hn::Add(hn::LoadU(d, r0 + x), c),
                             hn::Add(hn::ShiftLeft<2>(b), hn::ShiftLeft<1>(b)));
            hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di, hn::ShiftRight<6>(hn::Add(e, bias)))), d8,
                       dstEven + x);
        }
        if (dstOdd) {
            auto o = hn::ShiftLeft<2>(hn::Add(b, c));
            hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di, hn::ShiftRight<6>(hn::Add(o, bias)))), d8,
                       dstOdd + x);
        }
    }
    return x;
}

int PyrUpColF32(const float* const* rows, float* dstEven, float* dstOdd, int width) {
    const hn::ScalableTag<float> d;
    const int N = (int)hn::Lanes(d);
    const auto four = hn::Set(d, 4.0f), six = hn::Set(d, 6.0f), scale = hn::Set(d, 0.015625f);
    const float *r0 = rows[0], *r1 = rows[1], *r2 = rows[2];
    int x = 0;
    for (; x + N <= width; x += N) {
        const auto b = hn::LoadU(d, r1 + x), c = hn::LoadU(d, r2 + x);
        if (dstEven) {
            auto e = hn::Add(hn::Add(hn::LoadU(d, r0 + x), c), hn::Mul(b, six));
            hn::StoreU(hn::Mul(e, scale), d, dstEven + x);
        }
        if (dstOdd) hn::StoreU(hn::Mul(hn::Mul(hn::Add(b, c), four), scale), d, dstOdd + x);
    }
    return x;
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(PyrDownRowU8);
HWY_EXPORT(PyrDownRowF32);
HWY_EXPORT(PyrDownRowU8Cn);
HWY_EXPORT(PyrDownRowF32Cn);
HWY_EXPORT(PyrDownColU8);
HWY_EXPORT(PyrDownColF32);
HWY_EXPORT(PyrUpRowU8);
HWY_EXPORT(PyrUpRowF32);
HWY_EXPORT(PyrUpColU8);
HWY_EXPORT(PyrUpColF32);

int pyrDownRowU8(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1) {
    return HWY_DYNAMIC_DISPATCH(PyrDownRowU8)(src, srcWidth, dst, x0, x1);
}
int pyrDownRowF32(const float* src, int srcWidth, float* dst, int x0, int x1) {
    return HWY_DYNAMIC_DISPATCH(PyrDownRowF32)(src, srcWidth, dst, x0, x1);
}
int pyrDownRowU8Cn(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1, int cn) {
    return HWY_DYNAMIC_DISPATCH(PyrDownRowU8Cn)(src, srcWidth, dst, x0, x1, cn);
}
int pyrDownRowF32Cn(const float* src, int srcWidth, float* dst, int x0, int x1, int cn) {
    return HWY_DYNAMIC_DISPATCH(PyrDownRowF32Cn)(src, srcWidth, dst, x0, x1, cn);
}
int pyrDownColU8(const uint16_t* const* rows, uint8_t* dst, int width) {
    return HWY_DYNAMIC_DISPATCH(PyrDownColU8)(rows, dst, width);
}
int pyrDownColF32(const float* const* rows, float* dst, int width) {
    return HWY_DYNAMIC_DISPATCH(PyrDownColF32)(rows, dst, width);
}
int pyrUpRowU8(const uint8_t* src, int srcWidth, uint16_t* dst, int x0, int x1) {
    return HWY_DYNAMIC_DISPATCH(PyrUpRowU8)(src, srcWidth, dst, x0, x1);
}
int pyrUpRowF32(const float* src, int srcWidth, float* dst, int x0, int x1) {
    return HWY_DYNAMIC_DISPATCH(PyrUpRowF32)(src, srcWidth, dst, x0, x1);
}
int pyrUpColU8(const uint16_t* const* rows, uint8_t* dstEven, uint8_t* dstOdd, int width) {
    return HWY_DYNAMIC_DISPATCH(PyrUpColU8)(rows, dstEven, dstOdd, width);
}
int pyrUpColF32(const float* const* rows, float* dstEven, float* dstOdd, int width) {
    return HWY_DYNAMIC_DISPATCH(PyrUpColF32)(rows, dstEven, dstOdd, width);
}
}  // namespace detail
}  // namespace tarvo
#endif
