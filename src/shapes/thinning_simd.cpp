// Vector kernel of the thinning marker: the neighbour code is assembled from
// eight shifted loads and looked up in a 256-bit table held as 32 bytes, by
// two in-register byte shuffles (byte index code >> 3, bit code & 7). Pure
// byte logic, so it matches the scalar table lookup bit for bit.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "shapes/thinning_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "shapes/thinning_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace ip {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
int ThinMark(const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, int, const uint8_t*,
             uint8_t*) {
    return 0;
}
#else
int ThinMark(const uint8_t* up, const uint8_t* c, const uint8_t* dn, uint8_t* mk, int n,
             const uint8_t* table, uint8_t* any) {
    // At most 32 lanes, so that 64-pixel chunks less their edge pixel still
    // fill vectors.
    const hn::CappedTag<uint8_t, 32> d;
    const int N = (int)hn::Lanes(d);
    if (n < N) return 0;
    alignas(16) static const uint8_t kBits[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                                  1, 2, 4, 8, 16, 32, 64, 128};
    const auto lo = hn::LoadDup128(d, table), hi = hn::LoadDup128(d, table + 16);
    const auto bits = hn::LoadDup128(d, kBits);
    const auto k7 = hn::Set(d, 7), k15 = hn::Set(d, 15), k16 = hn::Set(d, 16);
    const auto zero = hn::Zero(d), one = hn::Set(d, 1);
    auto acc = zero;
    // The last vector may overlap the one before: it rewrites the same marks.
    for (int x = 0;; x += N) {
        if (x + N > n) x = n - N;
        const auto cc = hn::LoadU(d, c + x);
        auto code = hn::LoadU(d, up + x);
        code = hn::Or(code, hn::ShiftLeft<1>(hn::LoadU(d, up + x + 1)));
        code = hn::Or(code, hn::ShiftLeft<2>(hn::LoadU(d, c + x + 1)));
        code = hn::Or(code, hn::ShiftLeft<3>(hn::LoadU(d, dn + x + 1)));
        code = hn::Or(code, hn::ShiftLeft<4>(hn::LoadU(d, dn + x)));
        code = hn::Or(code, hn::ShiftLeft<5>(hn::LoadU(d, dn + x - 1)));
        code = hn::Or(code, hn::ShiftLeft<6>(hn::LoadU(d, c + x - 1)));
        code = hn::Or(code, hn::ShiftLeft<7>(hn::LoadU(d, up + x - 1)));
        const auto idx = hn::ShiftRight<3>(code);
        const auto i15 = hn::And(idx, k15);
        const auto byte =
            hn::IfThenElse(hn::Ne(hn::And(idx, k16), zero), hn::TableLookupBytes(hi, i15),
                           hn::TableLookupBytes(lo, i15));
        const auto bit = hn::TableLookupBytes(bits, hn::And(code, k7));
        const auto m = hn::And(hn::Min(cc, one), hn::Min(hn::And(byte, bit), one));
        hn::StoreU(m, d, mk + x);
        acc = hn::Or(acc, m);
        if (x + N == n) break;
    }
    if (!hn::AllTrue(d, hn::Eq(acc, zero))) *any = 1;
    return n;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace ip {
namespace detail {
HWY_EXPORT(ThinMark);

int vecThinMark(const uint8_t* up, const uint8_t* c, const uint8_t* dn, uint8_t* mk, int n,
                const uint8_t table[32], uint8_t* any) {
    return HWY_DYNAMIC_DISPATCH(ThinMark)(up, c, dn, mk, n, table, any);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
