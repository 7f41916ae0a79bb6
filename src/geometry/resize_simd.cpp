// Vector kernels of ip::resize. Each computes exactly what its scalar loop
// computes (same products and sums in the same order, int arithmetic
// wrapping, the same rounding), so vector and scalar results are identical.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/resize_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include <cstring>

#include "geometry/resize_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
// One-lane target: the scalar loops of the callers do all the work.
int VresizeFixed8u(const int32_t* const*, const int16_t*, int, uint8_t*, int) {
    return 0;
}
int Vresize32f(const float* const*, const float*, int, float*, int) {
    return 0;
}
int Vresize32f16s(const float* const*, const float*, int, int16_t*, int) {
    return 0;
}
int AreaFast2x8u(const uint8_t*, const uint8_t*, uint8_t*, int, int) {
    return 0;
}
int AreaFast2x16s(const int16_t*, const int16_t*, int16_t*, int, int) {
    return 0;
}
int HresizeFixed8u(const uint8_t*, int, int32_t*, int, const int*, const int16_t*, int, int,
                   int dx0, int) {
    return dx0;
}
int Hresize32f(const float*, int, float*, int, const int*, const float*, int, int, int dx0, int) {
    return dx0;
}
int Hresize16s32f(const int16_t*, int, float*, int, const int*, const float*, int, int, int dx0,
                  int) {
    return dx0;
}
#else

// s = R0*b0 + R1*b1 + ... over ksize rows at element x.
template <class D, typename T>
HWY_INLINE hn::Vec<D> FoldRows(D d, const T* const* rows, const hn::Vec<D>* b, int ksize, int x) {
    auto s = hn::Mul(hn::LoadU(d, rows[0] + x), b[0]);
    for (int k = 1; k < ksize; k++) s = hn::Add(s, hn::Mul(hn::LoadU(d, rows[k] + x), b[k]));
    return s;
}

int VresizeFixed8u(const int32_t* const* rows, const int16_t* beta, int ksize, uint8_t* dst,
                   int n) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int N = (int)hn::Lanes(di);
    hn::Vec<decltype(di)> b[8];
    for (int k = 0; k < ksize; k++) b[k] = hn::Set(di, beta[k]);
    const auto half = hn::Set(di, 1 << 21);
    int x = 0;
    for (; x + N <= n; x += N) {
        auto s = FoldRows(di, rows, b, ksize, x);
        s = hn::ShiftRight<22>(hn::Add(s, half));
        hn::StoreU(hn::DemoteTo(d8, s), d8, dst + x);
    }
    return x;
}

int Vresize32f(const float* const* rows, const float* beta, int ksize, float* dst, int n) {
    const hn::ScalableTag<float> df;
    const int N = (int)hn::Lanes(df);
    hn::Vec<decltype(df)> b[8];
    for (int k = 0; k < ksize; k++) b[k] = hn::Set(df, beta[k]);
    int x = 0;
    for (; x + N <= n; x += N) hn::StoreU(FoldRows(df, rows, b, ksize, x), df, dst + x);
    return x;
}

int Vresize32f16s(const float* const* rows, const float* beta, int ksize, int16_t* dst, int n) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<int16_t, decltype(df)> d16;
    const int N = (int)hn::Lanes(df);
    hn::Vec<decltype(df)> b[8];
    for (int k = 0; k < ksize; k++) b[k] = hn::Set(df, beta[k]);
    const auto lo = hn::Set(df, -32769.0f), hi = hn::Set(df, 32768.0f), h = hn::Set(df, 0.5f);
    int x = 0;
    for (; x + N <= n; x += N) {
        auto s = FoldRows(df, rows, b, ksize, x);
        // NaN gives 0; clamping first keeps s + 0.5 exact and changes no result.
        s = hn::IfThenElseZero(hn::Eq(s, s), s);
        s = hn::Floor(hn::Add(hn::Min(hn::Max(s, lo), hi), h));
        hn::StoreU(hn::DemoteTo(d16, hn::ConvertTo(di, s)), d16, dst + x);
    }
    return x;
}

// Sums of neighbouring pixel pairs of one channel plane (unsigned bytes in
// 16-bit lanes, shorts in 32-bit lanes).
template <class DW, class V>
HWY_INLINE hn::Vec<DW> PairSumsU8(DW dw, V v) {
    const auto w = hn::BitCast(dw, v);
    return hn::Add(hn::And(w, hn::Set(dw, 0xFF)), hn::ShiftRight<8>(w));
}
template <class DW, class V>
HWY_INLINE hn::Vec<DW> PairSums16(DW dw, V v) {
    const auto w = hn::BitCast(dw, v);
    return hn::Add(hn::ShiftRight<16>(hn::ShiftLeft<16>(w)), hn::ShiftRight<16>(w));
}

int AreaFast2x8u(const uint8_t* r0, const uint8_t* r1, uint8_t* dst, int n, int cn) {
    const hn::ScalableTag<uint8_t> d8;
    const hn::Repartition<uint16_t, decltype(d8)> d16;
    const hn::Rebind<uint8_t, decltype(d16)> dh;  // half the bytes of d8
    const hn::Rebind<int16_t, decltype(d16)> ds;
    const int N = (int)hn::Lanes(d8), H = N / 2;  // N source pixels give H outputs
    const auto two = hn::Set(d16, 2);
    auto avg = [&](hn::Vec<decltype(d8)> a, hn::Vec<decltype(d8)> b) {
        const auto s = hn::Add(hn::Add(PairSumsU8(d16, a), PairSumsU8(d16, b)), two);
        return hn::DemoteTo(dh, hn::BitCast(ds, hn::ShiftRight<2>(s)));
    };
    int x = 0;
    if (cn == 1) {
        for (; x + H <= n; x += H)
            hn::StoreU(avg(hn::LoadU(d8, r0 + 2 * x), hn::LoadU(d8, r1 + 2 * x)), dh, dst + x);
    } else if (cn == 3) {
        for (; x + 3 * H <= n; x += 3 * H) {
            hn::Vec<decltype(d8)> a0, a1, a2, b0, b1, b2;
            hn::LoadInterleaved3(d8, r0 + 2 * x, a0, a1, a2);
            hn::LoadInterleaved3(d8, r1 + 2 * x, b0, b1, b2);
            hn::StoreInterleaved3(avg(a0, b0), avg(a1, b1), avg(a2, b2), dh, dst + x);
        }
    } else if (cn == 4) {
        for (; x + 4 * H <= n; x += 4 * H) {
            hn::Vec<decltype(d8)> a0, a1, a2, a3, b0, b1, b2, b3;
            hn::LoadInterleaved4(d8, r0 + 2 * x, a0, a1, a2, a3);
            hn::LoadInterleaved4(d8, r1 + 2 * x, b0, b1, b2, b3);
            hn::StoreInterleaved4(avg(a0, b0), avg(a1, b1), avg(a2, b2), avg(a3, b3), dh, dst + x);
        }
    }
    return x;
}

int AreaFast2x16s(const int16_t* r0, const int16_t* r1, int16_t* dst, int n, int cn) {
    const hn::ScalableTag<int16_t> d16;
    const hn::Repartition<int32_t, decltype(d16)> d32;
    const hn::Rebind<int16_t, decltype(d32)> dh;
    const int N = (int)hn::Lanes(d16), H = N / 2;
    const auto two = hn::Set(d32, 2);
    auto avg = [&](hn::Vec<decltype(d16)> a, hn::Vec<decltype(d16)> b) {
        const auto s = hn::Add(hn::Add(PairSums16(d32, a), PairSums16(d32, b)), two);
        return hn::DemoteTo(dh, hn::ShiftRight<2>(s));
    };
    int x = 0;
    if (cn == 1) {
        for (; x + H <= n; x += H)
            hn::StoreU(avg(hn::LoadU(d16, r0 + 2 * x), hn::LoadU(d16, r1 + 2 * x)), dh, dst + x);
    } else if (cn == 3) {
        for (; x + 3 * H <= n; x += 3 * H) {
            hn::Vec<decltype(d16)> a0, a1, a2, b0, b1, b2;
            hn::LoadInterleaved3(d16, r0 + 2 * x, a0, a1, a2);
            hn::LoadInterleaved3(d16, r1 + 2 * x, b0, b1, b2);
            hn::StoreInterleaved3(avg(a0, b0), avg(a1, b1), avg(a2, b2), dh, dst + x);
        }
    } else if (cn == 4) {
        for (; x + 4 * H <= n; x += 4 * H) {
            hn::Vec<decltype(d16)> a0, a1, a2, a3, b0, b1, b2, b3;
            hn::LoadInterleaved4(d16, r0 + 2 * x, a0, a1, a2, a3);
            hn::LoadInterleaved4(d16, r1 + 2 * x, b0, b1, b2, b3);
            hn::StoreInterleaved4(avg(a0, b0), avg(a1, b1), avg(a2, b2), avg(a3, b3), dh, dst + x);
        }
    }
    return x;
}

// ---- horizontal pass, bytes with fixed-point weights into int work rows.
// ---- horizontal pass of the float engine (float and short sources, float
// work rows). Each output element is s[0]*a[0] + s[cn]*a[1] + ... in float,
// summed left to right like the scalar loop. Colour rows take one pixel per
// 128-bit step: the taps of all its channels share one weight (the tables
// repeat it per channel), so each tap is one load times one broadcast.

HWY_INLINE hn::Vec128<float> LoadPixel(hn::Full128<float> d, const float* p) {
    return hn::LoadU(d, p);
}
HWY_INLINE hn::Vec128<float> LoadPixel(hn::Full128<float> d, const int16_t* p) {
    const hn::Full128<int32_t> di;
    return hn::ConvertTo(d, hn::PromoteTo(di, hn::LoadU(hn::Full64<int16_t>(), p)));
}

template <int K, typename T>
int HresizeFloatPixels(const T* S, int swidth, float* D, int dwidth, const int* xofs,
                       const float* alpha, int cn, int dx0, int dx1) {
    const hn::Full128<float> d;
    const int before = (K / 2 - 1) * cn;
    int dx = dx0;
    // Four lanes are stored per pixel: the spare lane of a 3-channel pixel
    // lands on the next pixel's first element, written next (or by the
    // caller's scalar loop, which resumes at the returned element).
    for (; dx < dx1 && dx + 4 <= dwidth; dx += cn) {
        const int base = xofs[dx] - before;
        if (base < 0 || base + (K - 1) * cn + 4 > swidth) break;
        const float* a = alpha + (size_t)dx * K;
        auto v = hn::Mul(LoadPixel(d, S + base), hn::Set(d, a[0]));
        for (int j = 1; j < K; j++)
            v = hn::Add(v, hn::Mul(LoadPixel(d, S + base + j * cn), hn::Set(d, a[j])));
        hn::StoreU(v, d, D + dx);
    }
    return dx;
}

// Grey rows of 4 or 8 taps, four outputs per step: each output's taps are
// consecutive, so one load of four samples times one load of four weights
// gives four products of one output; a 4 x 4 transpose turns them into tap
// vectors, which are then summed in tap order.
template <int K, typename T>
int HresizeFloatGrey(const T* S, float* D, const int* xofs, const float* alpha, int dx0, int dx1) {
    static_assert(K % 4 == 0, "four taps per load");
    const hn::Full128<float> d;
    const int before = K / 2 - 1;
    int dx = dx0;
    for (; dx + 4 <= dx1; dx += 4) {
        hn::Vec128<float> v;
        for (int q = 0; q < K; q += 4) {
            hn::Vec128<float> p[4];
            for (int o = 0; o < 4; o++)
                p[o] = hn::Mul(LoadPixel(d, S + xofs[dx + o] - before + q),
                               hn::LoadU(d, alpha + (size_t)(dx + o) * K + q));
            const auto lo01 = hn::InterleaveLower(d, p[0], p[1]);
            const auto lo23 = hn::InterleaveLower(d, p[2], p[3]);
            const auto hi01 = hn::InterleaveUpper(d, p[0], p[1]);
            const auto hi23 = hn::InterleaveUpper(d, p[2], p[3]);
            const auto t0 = hn::ConcatLowerLower(d, lo23, lo01);
            v = q == 0 ? t0 : hn::Add(v, t0);
            v = hn::Add(v, hn::ConcatUpperUpper(d, lo23, lo01));
            v = hn::Add(v, hn::ConcatLowerLower(d, hi23, hi01));
            v = hn::Add(v, hn::ConcatUpperUpper(d, hi23, hi01));
        }
        hn::StoreU(v, d, D + dx);
    }
    return dx;
}

template <typename T>
int HresizeFloat(const T* S, int swidth, float* D, int dwidth, const int* xofs, const float* alpha,
                 int ksize, int cn, int dx0, int dx1) {
    if (dx0 >= dx1) return dx0;
    if (cn == 1) {
        // Two taps stay with the scalar loop, which is as fast for them.
        if (ksize == 4) return HresizeFloatGrey<4>(S, D, xofs, alpha, dx0, dx1);
        if (ksize == 8) return HresizeFloatGrey<8>(S, D, xofs, alpha, dx0, dx1);
        return dx0;
    }
    if ((cn != 3 && cn != 4) || dx0 % cn != 0) return dx0;
    switch (ksize) {
        case 2:
            return HresizeFloatPixels<2>(S, swidth, D, dwidth, xofs, alpha, cn, dx0, dx1);
        case 4:
            return HresizeFloatPixels<4>(S, swidth, D, dwidth, xofs, alpha, cn, dx0, dx1);
        case 8:
            return HresizeFloatPixels<8>(S, swidth, D, dwidth, xofs, alpha, cn, dx0, dx1);
        default:
            return dx0;
    }
}

int Hresize32f(const float* S, int swidth, float* D, int dwidth, const int* xofs,
               const float* alpha, int ksize, int cn, int dx0, int dx1) {
    return HresizeFloat(S, swidth, D, dwidth, xofs, alpha, ksize, cn, dx0, dx1);
}
int Hresize16s32f(const int16_t* S, int swidth, float* D, int dwidth, const int* xofs,
                  const float* alpha, int ksize, int cn, int dx0, int dx1) {
    return HresizeFloat(S, swidth, D, dwidth, xofs, alpha, ksize, cn, dx0, dx1);
}

// Products of a byte and a 16-bit weight are summed in pairs by the
// multiply-add of 16-bit lanes into 32-bit lanes; every sum is exact integer
// arithmetic, so grouping the taps differently from the scalar loop gives the
// same value. The pairing is the x86 multiply-add (adjacent lanes), hence the
// kernel is compiled for x86 targets only. 128-bit vectors throughout: one
// output pixel of 3 or 4 channels, or four outputs of one channel, per step.
#if HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128
template <int K>
int HresizeColour(const uint8_t* S, int swidth, int32_t* D, int dwidth, const int* xofs,
                  const int16_t* alpha, int cn, int dx0, int dx1) {
    const hn::Full128<uint8_t> d8;
    const hn::Full128<int16_t> d16;
    const hn::Full128<int32_t> d32;
    const hn::Full128<uint32_t> du32;
    // 16-bit lane 2c + j takes tap j of channel c (byte j * cn + c), zero-extended.
    alignas(16) uint8_t idx[16];
    for (int l = 0; l < 8; l++) {
        const int c = l >> 1, j = l & 1;
        idx[2 * l] = c < cn ? uint8_t(j * cn + c) : uint8_t(0x80);
        idx[2 * l + 1] = 0x80;
    }
    const auto vidx = hn::Load(d8, idx);
    const int before = (K / 2 - 1) * cn;
    int dx = dx0;
    // Four int lanes are stored per pixel: the spare lane of a 3-channel
    // pixel lands on the next pixel's first element, written next.
    for (; dx < dx1 && dx + 4 <= dwidth; dx += cn) {
        const int base = xofs[dx] - before;
        if (base < 0 || base + (K - 2) * cn + 16 > swidth) break;
        const int16_t* a = alpha + (size_t)dx * K;
        auto acc = hn::Zero(d32);
        auto spare = hn::Zero(d32);
        for (int q = 0; q < K / 2; q++) {
            const auto bytes = hn::LoadU(d8, S + base + 2 * q * cn);
            const auto v = hn::BitCast(d16, hn::TableLookupBytesOr0(bytes, vidx));
            uint32_t w;
            std::memcpy(&w, a + 2 * q, sizeof w);
            acc = hn::ReorderWidenMulAccumulate(d32, v, hn::BitCast(d16, hn::Set(du32, w)), acc,
                                                spare);
        }
        hn::StoreU(acc, d32, D + dx);
    }
    return dx;
}

template <int K>
int HresizeGrey(const uint8_t* S, int swidth, int32_t* D, const int* xofs, const int16_t* alpha,
                int dx0, int dx1) {
    const hn::Full128<uint8_t> d8;
    const hn::Full128<int16_t> d16;
    const hn::Full128<int32_t> d32;
    const hn::Full64<uint8_t> d8h;
    const int before = K / 2 - 1;
    int dx = dx0;
    for (; dx + 4 <= dx1; dx += 4) {
        bool inside = true;
        for (int o = 0; o < 4; o++)
            inside = inside && xofs[dx + o] - before >= 0 && xofs[dx + o] - before + 8 <= swidth;
        if (!inside) break;
        hn::Vec128<int32_t> m[4];
        for (int o = 0; o < 4; o++) {
            auto spare = hn::Zero(d32);
            const auto px = hn::BitCast(
                d16,
                hn::PromoteTo(hn::Full128<uint16_t>(), hn::LoadU(d8h, S + xofs[dx + o] - before)));
            // The K weights of this output only (lanes K..7 zero): a full load
            // would read past the table's end at the row's last outputs.
            alignas(16) int16_t wbuf[8] = {0, 0, 0, 0, 0, 0, 0, 0};
            std::memcpy(wbuf, alpha + (size_t)(dx + o) * K, sizeof(int16_t) * K);
            const auto w = hn::Load(d16, wbuf);
            m[o] = hn::ReorderWidenMulAccumulate(d32, px, w, hn::Zero(d32), spare);
        }
        // Lane sums of m[0..3] into one vector, by two rounds of even + odd.
        const auto s01 = hn::Add(hn::ConcatEven(d32, m[1], m[0]), hn::ConcatOdd(d32, m[1], m[0]));
        const auto s23 = hn::Add(hn::ConcatEven(d32, m[3], m[2]), hn::ConcatOdd(d32, m[3], m[2]));
        hn::StoreU(hn::Add(hn::ConcatEven(d32, s23, s01), hn::ConcatOdd(d32, s23, s01)), d32,
                   D + dx);
    }
    (void)d8;
    return dx;
}

template <int K>
int HresizeK(const uint8_t* S, int swidth, int32_t* D, int dwidth, const int* xofs,
             const int16_t* alpha, int cn, int dx0, int dx1) {
    if (cn == 1) return HresizeGrey<K>(S, swidth, D, xofs, alpha, dx0, dx1);
    return HresizeColour<K>(S, swidth, D, dwidth, xofs, alpha, cn, dx0, dx1);
}

int HresizeFixed8u(const uint8_t* S, int swidth, int32_t* D, int dwidth, const int* xofs,
                   const int16_t* alpha, int ksize, int cn, int dx0, int dx1) {
    if (cn != 1 && cn != 3 && cn != 4) return dx0;
    if (dx0 % cn != 0) return dx0;
    switch (ksize) {
        case 2:
            return HresizeK<2>(S, swidth, D, dwidth, xofs, alpha, cn, dx0, dx1);
        case 4:
            return HresizeK<4>(S, swidth, D, dwidth, xofs, alpha, cn, dx0, dx1);
        case 8:
            return HresizeK<8>(S, swidth, D, dwidth, xofs, alpha, cn, dx0, dx1);
        default:
            return dx0;
    }
}
#else
int HresizeFixed8u(const uint8_t*, int, int32_t*, int, const int*, const int16_t*, int, int,
                   int dx0, int) {
    return dx0;
}
#endif
#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(VresizeFixed8u);
HWY_EXPORT(Vresize32f);
HWY_EXPORT(Vresize32f16s);
HWY_EXPORT(AreaFast2x8u);
HWY_EXPORT(AreaFast2x16s);
HWY_EXPORT(HresizeFixed8u);
HWY_EXPORT(Hresize32f);
HWY_EXPORT(Hresize16s32f);

int hresize32f(const float* src, int swidth, float* dst, int dwidth, const int* xofs,
               const float* alpha, int ksize, int cn, int dx0, int dx1) {
    return HWY_DYNAMIC_DISPATCH(Hresize32f)(src, swidth, dst, dwidth, xofs, alpha, ksize, cn, dx0,
                                            dx1);
}
int hresize16s32f(const int16_t* src, int swidth, float* dst, int dwidth, const int* xofs,
                  const float* alpha, int ksize, int cn, int dx0, int dx1) {
    return HWY_DYNAMIC_DISPATCH(Hresize16s32f)(src, swidth, dst, dwidth, xofs, alpha, ksize, cn,
                                               dx0, dx1);
}

int hresizeFixed8u(const uint8_t* src, int swidth, int32_t* dst, int dwidth, const int* xofs,
                   const int16_t* alpha, int ksize, int cn, int dx0, int dx1) {
    return HWY_DYNAMIC_DISPATCH(HresizeFixed8u)(src, swidth, dst, dwidth, xofs, alpha, ksize, cn,
                                                dx0, dx1);
}

int vresizeFixed8u(const int32_t* const* rows, const int16_t* beta, int ksize, uint8_t* dst,
                   int n) {
    return HWY_DYNAMIC_DISPATCH(VresizeFixed8u)(rows, beta, ksize, dst, n);
}
int vresize32f(const float* const* rows, const float* beta, int ksize, float* dst, int n) {
    return HWY_DYNAMIC_DISPATCH(Vresize32f)(rows, beta, ksize, dst, n);
}
int vresize32f16s(const float* const* rows, const float* beta, int ksize, int16_t* dst, int n) {
    return HWY_DYNAMIC_DISPATCH(Vresize32f16s)(rows, beta, ksize, dst, n);
}
int areaFast2x8u(const uint8_t* r0, const uint8_t* r1, uint8_t* dst, int n, int cn) {
    return HWY_DYNAMIC_DISPATCH(AreaFast2x8u)(r0, r1, dst, n, cn);
}
int areaFast2x16s(const int16_t* r0, const int16_t* r1, int16_t* dst, int n, int cn) {
    return HWY_DYNAMIC_DISPATCH(AreaFast2x16s)(r0, r1, dst, n, cn);
}
}  // namespace detail
}  // namespace tarvo
#endif
