// Vector kernels of the integral image: a running prefix sum of bytes added to
// the row above, four 32-bit lanes at a time, and the column totals of a band
// of byte rows. Integer arithmetic, so the results equal the scalar loops
// exactly.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/integral_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filter/integral_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

int IntegralRowU8(const uint8_t* src, const uint32_t* above, uint32_t* dst, int width) {
#if HWY_TARGET == HWY_SCALAR
    (void)src;
    (void)above;
    (void)dst;
    (void)width;
    return 0;
#else
    // Fixed 128-bit vectors: the in-register prefix needs whole-vector lane shifts.
    const hn::FixedTag<uint32_t, 4> d;
    const hn::FixedTag<uint8_t, 4> d8;
    auto carry = hn::Zero(d);
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        auto v0 = hn::PromoteTo(d, hn::LoadU(d8, src + x));
        auto v1 = hn::PromoteTo(d, hn::LoadU(d8, src + x + 4));
        v0 = hn::Add(v0, hn::ShiftLeftLanes<1>(d, v0));
        v1 = hn::Add(v1, hn::ShiftLeftLanes<1>(d, v1));
        v0 = hn::Add(v0, hn::ShiftLeftLanes<2>(d, v0));
        v1 = hn::Add(v1, hn::ShiftLeftLanes<2>(d, v1));
        v0 = hn::Add(v0, carry);
        v1 = hn::Add(v1, hn::Broadcast<3>(v0));
        hn::StoreU(hn::Add(v0, hn::LoadU(d, above + x)), d, dst + x);
        hn::StoreU(hn::Add(v1, hn::LoadU(d, above + x + 4)), d, dst + x + 4);
        carry = hn::Broadcast<3>(v1);
    }
    return x;
#endif
}

int IntegralRowU8Cn(const uint8_t* src, const uint32_t* above, uint32_t* dst, int width, int cn) {
#if HWY_TARGET == HWY_SCALAR
    (void)src;
    (void)above;
    (void)dst;
    (void)width;
    (void)cn;
    return 0;
#else
    // One pixel per step with the channel sums in the low lanes. With three
    // channels the 4-byte load and the 4-lane store reach one element into the
    // next pixel, so the last pixel is left to the caller; the extra lane's
    // store is overwritten by the next step.
    if (cn != 3 && cn != 4) return 0;
    const hn::FixedTag<uint32_t, 4> d;
    const hn::FixedTag<uint8_t, 4> d8;
    auto acc = hn::Zero(d);
    const int end = cn == 4 ? width : width - 1;
    int x = 0;
    for (; x < end; x++) {
        acc = hn::Add(acc, hn::PromoteTo(d, hn::LoadU(d8, src + x * cn)));
        hn::StoreU(hn::Add(acc, hn::LoadU(d, above + x * cn)), d, dst + x * cn);
    }
    return x;
#endif
}

int ColumnSumsU8(const uint8_t* const* rows, int nrows, uint32_t* col, int width) {
#if HWY_TARGET == HWY_SCALAR
    (void)rows;
    (void)nrows;
    (void)col;
    (void)width;
    return 0;
#else
    // Four vectors of 16-bit sums per column block, one byte row added per
    // step; 256 rows of 255 stay below 2^16, so the sums are flushed into the
    // 32-bit totals every 256 rows.
    const hn::ScalableTag<uint16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const hn::Rebind<uint32_t, hn::Half<decltype(d16)> > d32;
    const int N = int(hn::Lanes(d16));
    HWY_ALIGN uint16_t lanes[4 * hn::MaxLanes(d16)];
    int x = 0;
    for (; x + 4 * N <= width; x += 4 * N) {
        for (int r0 = 0; r0 < nrows; r0 += 256) {
            const int r1 = r0 + 256 < nrows ? r0 + 256 : nrows;
            auto a0 = hn::Zero(d16), a1 = hn::Zero(d16), a2 = hn::Zero(d16), a3 = hn::Zero(d16);
            for (int r = r0; r < r1; r++) {
                const uint8_t* s = rows[r] + x;
                a0 = hn::Add(a0, hn::PromoteTo(d16, hn::LoadU(d8, s)));
                a1 = hn::Add(a1, hn::PromoteTo(d16, hn::LoadU(d8, s + N)));
                a2 = hn::Add(a2, hn::PromoteTo(d16, hn::LoadU(d8, s + 2 * N)));
                a3 = hn::Add(a3, hn::PromoteTo(d16, hn::LoadU(d8, s + 3 * N)));
            }
            hn::Store(a0, d16, lanes);
            hn::Store(a1, d16, lanes + N);
            hn::Store(a2, d16, lanes + 2 * N);
            hn::Store(a3, d16, lanes + 3 * N);
            const hn::Rebind<uint16_t, decltype(d32)> dh;
            const int H = int(hn::Lanes(d32));
            for (int i = 0; i < 4 * N; i += H) {
                auto v = hn::PromoteTo(d32, hn::LoadU(dh, lanes + i));
                hn::StoreU(hn::Add(v, hn::LoadU(d32, col + x + i)), d32, col + x + i);
            }
        }
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
HWY_EXPORT(IntegralRowU8);
HWY_EXPORT(ColumnSumsU8);
HWY_EXPORT(IntegralRowU8Cn);

int integralRowU8(const uint8_t* src, const uint32_t* above, uint32_t* dst, int width) {
    return HWY_DYNAMIC_DISPATCH(IntegralRowU8)(src, above, dst, width);
}

int integralRowU8Cn(const uint8_t* src, const uint32_t* above, uint32_t* dst, int width, int cn) {
    return HWY_DYNAMIC_DISPATCH(IntegralRowU8Cn)(src, above, dst, width, cn);
}

int columnSumsU8(const uint8_t* const* rows, int nrows, uint32_t* col, int width) {
    return HWY_DYNAMIC_DISPATCH(ColumnSumsU8)(rows, nrows, col, width);
}
}  // namespace detail
}  // namespace tarvo
#endif
