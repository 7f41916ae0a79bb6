// Vector kernel of the byte table lookup: the 256-entry table is held as
// sixteen 16-byte pieces; each byte's low nibble picks the entry inside a
// piece with a byte shuffle, and its high nibble selects which piece's answer
// is kept. Exact by construction: every lane ends up as lut[src].
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

int PhotoLutU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* lut) {
#if HWY_TARGET == HWY_SCALAR
    (void)src;
    (void)dst;
    (void)n;
    (void)lut;
    return 0;
#else
    const hn::ScalableTag<uint8_t> d;
    const int N = int(hn::Lanes(d));
    const auto nibble = hn::Set(d, uint8_t(15));
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto v = hn::LoadU(d, src + x);
        const auto lo = hn::And(v, nibble);
        const auto hi = hn::ShiftRight<4>(v);
        auto r = hn::TableLookupBytes(hn::LoadDup128(d, lut), lo);
        for (int k = 1; k < 16; k++) {
            const auto piece = hn::TableLookupBytes(hn::LoadDup128(d, lut + 16 * k), lo);
            r = hn::IfThenElse(hn::Eq(hi, hn::Set(d, uint8_t(k))), piece, r);
        }
        hn::StoreU(r, d, dst + x);
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

int photoLutU8(const uint8_t* src, uint8_t* dst, int n, const uint8_t* lut) {
    return HWY_DYNAMIC_DISPATCH(PhotoLutU8)(src, dst, n, lut);
}
}  // namespace detail
}  // namespace tarvo
#endif
