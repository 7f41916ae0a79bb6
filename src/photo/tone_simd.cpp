// Vector kernel of the byte table lookup: the 256-entry table is held as
// sixteen 16-byte pieces, looked up with byte shuffles that give 0 for
// indices with the top bit set. Each half of the table is a chain of eight
// pieces holding differences (piece k exclusive-or piece k - 1), so that the
// pieces a value reaches combine to its own entry. Exact by construction:
// every lane ends up as lut[src].
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "photo/tone_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "photo/photo_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

int PhotoLutU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* chain) {
#if HWY_TARGET == HWY_SCALAR
    (void)src;
    (void)dst;
    (void)n;
    (void)chain;
    return 0;
#else
    const hn::ScalableTag<uint8_t> d;
    const hn::RebindToSigned<decltype(d)> di;
    const int N = int(hn::Lanes(d));
    const auto step = hn::Set(di, int8_t(16));
    const auto flip = hn::Set(d, uint8_t(0x80));
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto v = hn::LoadU(d, src + x);
        // Values below 128 through pieces 0..7, the others (top bit flipped)
        // through pieces 8..15; piece k sees the value minus 16 k, which is
        // negative (looked up as 0) below the piece and keeps its low nibble
        // from there on, so the differences add up to lut[v] by exclusive or.
        auto lo = hn::BitCast(di, v), hi = hn::BitCast(di, hn::Xor(v, flip));
        auto a = hn::TableLookupBytesOr0(hn::LoadDup128(d, chain), hn::BitCast(d, lo));
        auto b = hn::TableLookupBytesOr0(hn::LoadDup128(d, chain + 128), hn::BitCast(d, hi));
        for (int k = 1; k < 8; k++) {
            lo = hn::SaturatedSub(lo, step);
            hi = hn::SaturatedSub(hi, step);
            a = hn::Xor(
                a, hn::TableLookupBytesOr0(hn::LoadDup128(d, chain + 16 * k), hn::BitCast(d, lo)));
            b = hn::Xor(b, hn::TableLookupBytesOr0(hn::LoadDup128(d, chain + 128 + 16 * k),
                                                   hn::BitCast(d, hi)));
        }
        hn::StoreU(hn::Xor(a, b), d, dst + x);
    }
    return x;
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(PhotoLutU8);

int photoLutU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* chain) {
    return HWY_DYNAMIC_DISPATCH(PhotoLutU8)(src, dst, n, chain);
}

void photoLutChain(const uint8_t* lut, uint8_t* chain) {
    for (int k = 0; k < 16; k++)
        for (int i = 0; i < 16; i++)
            chain[16 * k + i] = uint8_t(lut[16 * k + i] ^ (k % 8 ? lut[16 * (k - 1) + i] : 0));
}
}  // namespace detail
}  // namespace tarvo
#endif
