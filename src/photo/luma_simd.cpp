// Vector kernels of the luminance path: packed RGB bytes to float Y, U, V and
// back. They use the very operations of histToYuv / histFromYuv in the same
// order (no contraction, IEEE division), so every float and every byte agrees
// with the scalar code.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "photo/luma_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "photo/histogram_ops_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
int PhotoToYuv(const uint8_t*, int, float*, float*, float*) {
    return 0;
}
int PhotoFromYuv(const float*, const float*, const float*, int, uint8_t*) {
    return 0;
}
int PhotoLumaMinMax(const uint8_t*, int, float*, float*) {
    return 0;
}
int PhotoAffineMap(float*, int, const double*) {
    return 0;
}
int PhotoTableMap(float*, int, const float*) {
    return 0;
}
#else

template <class DF, class V>
HWY_INLINE V LumaOf(DF df, V r, V g, V b) {
    return hn::Add(hn::Add(g, hn::Mul(hn::Set(df, 0.299f), hn::Sub(r, g))),
                   hn::Mul(hn::Set(df, 0.114f), hn::Sub(b, g)));
}

template <class DF, class D8>
HWY_INLINE void LoadRgb(DF df, D8 d8, const uint8_t* p, hn::Vec<DF>& r, hn::Vec<DF>& g,
                        hn::Vec<DF>& b) {
    const hn::RebindToSigned<DF> di;
    hn::Vec<D8> r8, g8, b8;
    hn::LoadInterleaved3(d8, p, r8, g8, b8);
    r = hn::ConvertTo(df, hn::PromoteTo(di, r8));
    g = hn::ConvertTo(df, hn::PromoteTo(di, g8));
    b = hn::ConvertTo(df, hn::PromoteTo(di, b8));
}

// Packed RGB read a whole vector at a time: the 3 N bytes of N pixels are
// spread so that each 16-byte block holds four pixels, then each pixel
// becomes a word r | g << 8 | b << 16. Reads 4 N bytes.
template <class DF>
class RgbWords {
public:
    explicit RgbWords(DF) {
        for (int i = 0; i < N_ && i < 64; i++) spread_[i] = 3 * (i / 4) + (i % 4 < 3 ? i % 4 : 2);
    }
    static int Lanes() { return int(hn::Lanes(DF())); }
    void Load(const uint8_t* p, hn::Vec<DF>& r, hn::Vec<DF>& g, hn::Vec<DF>& b) const {
        const DF df;
        const hn::RebindToSigned<DF> di;
        const hn::RebindToUnsigned<DF> du;
        const hn::Repartition<uint8_t, DF> d8;
        alignas(16) static const uint8_t kWords[16] = {0, 1, 2, 0x80, 3, 4,  5,  0x80,
                                                       6, 7, 8, 0x80, 9, 10, 11, 0x80};
        const auto blocks = hn::TableLookupLanes(hn::BitCast(du, hn::LoadU(d8, p)),
                                                 hn::SetTableIndices(du, spread_));
        const auto w = hn::BitCast(
            di, hn::TableLookupBytesOr0(hn::BitCast(d8, blocks), hn::LoadDup128(d8, kWords)));
        const auto byte = hn::Set(di, 255);
        r = hn::ConvertTo(df, hn::And(w, byte));
        g = hn::ConvertTo(df, hn::And(hn::ShiftRight<8>(w), byte));
        b = hn::ConvertTo(df, hn::ShiftRight<16>(w));
    }

private:
    const int N_ = int(hn::Lanes(DF()));
    alignas(64) int32_t spread_[64] = {};
};

int PhotoToYuv(const uint8_t* src, int n, float* Y, float* U, float* V) {
    const hn::ScalableTag<float> df;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const int N = int(hn::Lanes(df));
    const auto ku = hn::Set(df, 1.772f), kv = hn::Set(df, 1.402f);
    int x = 0;
    if (N <= 64) {
        const RgbWords<decltype(df)> words(df);
        for (; 3 * x + 4 * N <= 3 * n; x += N) {
            hn::Vec<decltype(df)> r, g, b;
            words.Load(src + 3 * x, r, g, b);
            const auto y = LumaOf(df, r, g, b);
            hn::StoreU(y, df, Y + x);
            hn::StoreU(hn::Div(hn::Sub(b, y), ku), df, U + x);
            hn::StoreU(hn::Div(hn::Sub(r, y), kv), df, V + x);
        }
    }
    for (; x + N <= n; x += N) {
        hn::Vec<decltype(df)> r, g, b;
        LoadRgb(df, d8, src + 3 * x, r, g, b);
        const auto y = LumaOf(df, r, g, b);
        hn::StoreU(y, df, Y + x);
        hn::StoreU(hn::Div(hn::Sub(b, y), ku), df, U + x);
        hn::StoreU(hn::Div(hn::Sub(r, y), kv), df, V + x);
    }
    return x;
}

// floor(v + 0.5) clamped to 0..255, exactly: floor(v) plus one when the
// fraction v - floor(v) (exact for the values that are not clamped anyway)
// reaches one half.
template <class DF, class V>
HWY_INLINE V RoundByte(DF df, V v) {
    const auto f = hn::Floor(v);
    const auto up = hn::Ge(hn::Sub(v, f), hn::Set(df, 0.5f));
    const auto r = hn::IfThenElse(up, hn::Add(f, hn::Set(df, 1.0f)), f);
    return hn::Min(hn::Max(r, hn::Zero(df)), hn::Set(df, 255.0f));
}

int PhotoFromYuv(const float* Y, const float* U, const float* V, int n, uint8_t* dst) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::RebindToUnsigned<decltype(df)> du;
    const hn::Repartition<uint8_t, decltype(df)> d8;
    const int N = int(hn::Lanes(df));
    if (N > 64) return 0;
    const auto gu = hn::Set(df, float(0.114 * 1.772 / 0.587));
    const auto gv = hn::Set(df, float(0.299 * 1.402 / 0.587));
    const auto kr = hn::Set(df, 1.402f), kb = hn::Set(df, 1.772f);
    // Pixels as words r | g << 8 | b << 16; each 16-byte block drops its top
    // bytes (four pixels to twelve bytes), then the blocks close up.
    alignas(16) static const uint8_t kPack[16] = {0,  1,  2,  4,  5, 6, 8, 9,
                                                  10, 12, 13, 14, 0, 0, 0, 0};
    const auto pack = hn::LoadDup128(d8, kPack);
    alignas(64) int32_t close[64];
    for (int i = 0; i < N; i++) close[i] = i < 3 * N / 4 ? i + i / 3 : i;
    const auto closeUp = hn::SetTableIndices(du, close);
    int x = 0;
    // Each store writes 4 N bytes, of which 3 N are this step's pixels; the
    // rest lie within this call's n pixels and are written again later.
    for (; 3 * x + 4 * N <= 3 * n; x += N) {
        const auto y = hn::LoadU(df, Y + x), u = hn::LoadU(df, U + x), v = hn::LoadU(df, V + x);
        const auto r = hn::Add(y, hn::Mul(kr, v));
        const auto b = hn::Add(y, hn::Mul(kb, u));
        const auto g = hn::Sub(hn::Sub(y, hn::Mul(gu, u)), hn::Mul(gv, v));
        const auto ri = hn::ConvertTo(di, RoundByte(df, r));
        const auto gi = hn::ConvertTo(di, RoundByte(df, g));
        const auto bi = hn::ConvertTo(di, RoundByte(df, b));
        const auto word = hn::Or(ri, hn::Or(hn::ShiftLeft<8>(gi), hn::ShiftLeft<16>(bi)));
        const auto bytes = hn::TableLookupBytes(hn::BitCast(d8, word), pack);
        const auto packed = hn::TableLookupLanes(hn::BitCast(du, bytes), closeUp);
        hn::StoreU(hn::BitCast(d8, packed), d8, dst + 3 * x);
    }
    // The last whole vectors: bytes per channel, stored interleaved.
    const hn::Rebind<uint8_t, decltype(df)> dq;
    for (; x + N <= n; x += N) {
        const auto y = hn::LoadU(df, Y + x), u = hn::LoadU(df, U + x), v = hn::LoadU(df, V + x);
        const auto r = hn::Add(y, hn::Mul(kr, v));
        const auto b = hn::Add(y, hn::Mul(kb, u));
        const auto g = hn::Sub(hn::Sub(y, hn::Mul(gu, u)), hn::Mul(gv, v));
        const auto r8 = hn::DemoteTo(dq, hn::ConvertTo(di, RoundByte(df, r)));
        const auto g8 = hn::DemoteTo(dq, hn::ConvertTo(di, RoundByte(df, g)));
        const auto b8 = hn::DemoteTo(dq, hn::ConvertTo(di, RoundByte(df, b)));
        hn::StoreInterleaved3(r8, g8, b8, dq, dst + 3 * x);
    }
    return x;
}

int PhotoLumaMinMax(const uint8_t* src, int n, float* lo, float* hi) {
    const hn::ScalableTag<float> df;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const int N = int(hn::Lanes(df));
    if (n < N) return 0;
    auto vlo = hn::Set(df, 1e30f), vhi = hn::Set(df, -1e30f);
    int x = 0;
    if (N <= 64) {
        const RgbWords<decltype(df)> words(df);
        for (; 3 * x + 4 * N <= 3 * n; x += N) {
            hn::Vec<decltype(df)> r, g, b;
            words.Load(src + 3 * x, r, g, b);
            const auto y = LumaOf(df, r, g, b);
            vlo = hn::Min(vlo, y);
            vhi = hn::Max(vhi, y);
        }
    }
    for (; x + N <= n; x += N) {
        hn::Vec<decltype(df)> r, g, b;
        LoadRgb(df, d8, src + 3 * x, r, g, b);
        const auto y = LumaOf(df, r, g, b);
        vlo = hn::Min(vlo, y);
        vhi = hn::Max(vhi, y);
    }
    *lo = hn::GetLane(hn::MinOfLanes(df, vlo));
    *hi = hn::GetLane(hn::MaxOfLanes(df, vhi));
    return x;
}

// Y = float(floor(clamp(((double(Y) - lo) * mul) / div + add, 0, 255))) for a
// prefix of n values; k = {lo, mul, div, add}. The double operations are the
// scalar ones, lane by lane; the clamped value is finite and non-negative, so
// floor is the truncation and the float conversion is exact.
int PhotoAffineMap(float* Y, int n, const double* k) {
    const hn::ScalableTag<double> dd;
    const hn::Rebind<float, decltype(dd)> df;
    const int N = int(hn::Lanes(dd));
    const auto lo = hn::Set(dd, k[0]), mul = hn::Set(dd, k[1]), div = hn::Set(dd, k[2]);
    const auto add = hn::Set(dd, k[3]), top = hn::Set(dd, 255.0), zero = hn::Zero(dd);
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto y = hn::PromoteTo(dd, hn::LoadU(df, Y + x));
        auto t = hn::Add(hn::Div(hn::Mul(hn::Sub(y, lo), mul), div), add);
        t = hn::Min(hn::Max(t, zero), top);
        hn::StoreU(hn::DemoteTo(df, hn::Floor(t)), df, Y + x);
    }
    return x;
}

// Y = table[trunc(Y) & 255] for a prefix of n values (Y from bytes lies in
// 0..255, where the vector truncation agrees with the scalar one).
int PhotoTableMap(float* Y, int n, const float* table) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const int N = int(hn::Lanes(df));
    const auto mask = hn::Set(di, 255);
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto idx = hn::And(hn::ConvertTo(di, hn::LoadU(df, Y + x)), mask);
        hn::StoreU(hn::GatherIndex(df, table, idx), df, Y + x);
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
HWY_EXPORT(PhotoToYuv);
HWY_EXPORT(PhotoFromYuv);
HWY_EXPORT(PhotoLumaMinMax);
HWY_EXPORT(PhotoAffineMap);
HWY_EXPORT(PhotoTableMap);

int photoToYuv(const uint8_t* src, int n, float* Y, float* U, float* V) {
    return HWY_DYNAMIC_DISPATCH(PhotoToYuv)(src, n, Y, U, V);
}
int photoFromYuv(const float* Y, const float* U, const float* V, int n, uint8_t* dst) {
    return HWY_DYNAMIC_DISPATCH(PhotoFromYuv)(Y, U, V, n, dst);
}
int photoAffineMap(float* Y, int n, const LumaAffine& a) {
    const double k[4] = {a.lo, a.mul, a.div, a.add};
    return HWY_DYNAMIC_DISPATCH(PhotoAffineMap)(Y, n, k);
}
int photoTableMap(float* Y, int n, const float* table) {
    return HWY_DYNAMIC_DISPATCH(PhotoTableMap)(Y, n, table);
}
int photoLumaMinMax(const uint8_t* src, int n, float* lo, float* hi) {
    return HWY_DYNAMIC_DISPATCH(PhotoLumaMinMax)(src, n, lo, hi);
}
}  // namespace detail
}  // namespace tarvo
#endif
