// Vector kernels of the median filter: min / max selection networks for 3 x 3
// and 5 x 5 byte windows, and the histogram step of the rank search.
//
// The networks first sort every column of the window (shared by the
// horizontally neighbouring outputs), then select. For 5 x 5, once columns
// and then rows of the 5 x 5 block are sorted, 6 entries are known to lie
// below the median and 6 above it; the median is the middle one of the
// remaining 13, found by a pruned odd-even merge network. Min and max are
// exact, so the result equals the sorted-sample rule, ties included.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/median_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include <algorithm>

#include "filter/direct_filter.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void HistMove16(uint16_t* h, const uint16_t* add, const uint16_t* sub) {
    const hn::ScalableTag<uint16_t> d;
    const size_t N = hn::Lanes(d);
    for (size_t i = 0; i < 256; i += N)
        hn::StoreU(
            hn::Sub(hn::Add(hn::LoadU(d, h + i), hn::LoadU(d, add + i)), hn::LoadU(d, sub + i)), d,
            h + i);
}

void HistMove32(uint32_t* h, const uint32_t* add, const uint32_t* sub) {
    const hn::ScalableTag<uint32_t> d;
    const size_t N = hn::Lanes(d);
    for (size_t i = 0; i < 256; i += N)
        hn::StoreU(
            hn::Sub(hn::Add(hn::LoadU(d, h + i), hn::LoadU(d, add + i)), hn::LoadU(d, sub + i)), d,
            h + i);
}

#if HWY_TARGET == HWY_SCALAR
int MedianRow(const uint8_t* const*, int, int, int from, int, uint8_t*) {
    return from;
}
#else

typedef hn::ScalableTag<uint8_t> D8;
typedef hn::Vec<D8> V;

HWY_INLINE void Sort2(V& a, V& b) {
    const V t = hn::Min(a, b);
    b = hn::Max(a, b);
    a = t;
}

HWY_INLINE V Med3(V a, V b, V c) {
    return hn::Max(hn::Min(a, b), hn::Min(hn::Max(a, b), c));
}

// Median of a 3 x 3 block whose columns j hold c[i][j] ascending in i.
HWY_INLINE V Select3(const uint8_t* const* col, size_t q, size_t cn) {
    const D8 d;
    const V lo = hn::Max(hn::Max(hn::LoadU(d, col[0] + q), hn::LoadU(d, col[0] + q + cn)),
                         hn::LoadU(d, col[0] + q + 2 * cn));
    const V mid = Med3(hn::LoadU(d, col[1] + q), hn::LoadU(d, col[1] + q + cn),
                       hn::LoadU(d, col[1] + q + 2 * cn));
    const V hi = hn::Min(hn::Min(hn::LoadU(d, col[2] + q), hn::LoadU(d, col[2] + q + cn)),
                         hn::LoadU(d, col[2] + q + 2 * cn));
    return Med3(lo, mid, hi);
}

// Median of a 5 x 5 block whose columns j hold cij ascending in i.
HWY_INLINE V Select5(const uint8_t* const* col, size_t q, size_t cn) {
    const D8 d;
#define TARVO_LOAD_ROW(i)                                \
    const V c##i##0 = hn::LoadU(d, col[i] + q);          \
    const V c##i##1 = hn::LoadU(d, col[i] + q + cn);     \
    const V c##i##2 = hn::LoadU(d, col[i] + q + 2 * cn); \
    const V c##i##3 = hn::LoadU(d, col[i] + q + 3 * cn); \
    const V c##i##4 = hn::LoadU(d, col[i] + q + 4 * cn);
    TARVO_LOAD_ROW(0)
    TARVO_LOAD_ROW(1)
    TARVO_LOAD_ROW(2)
    TARVO_LOAD_ROW(3)
    TARVO_LOAD_ROW(4)
#undef TARVO_LOAD_ROW
    const V r0_1 = hn::Min(c00, c01);
    const V r0_2 = hn::Max(c00, c01);
    const V r0_3 = hn::Min(c03, c04);
    const V r0_4 = hn::Max(c03, c04);
    const V r0_5 = hn::Min(c02, r0_4);
    const V r0_6 = hn::Max(c02, r0_4);
    const V r0_7 = hn::Max(r0_5, r0_3);
    const V r0_8 = hn::Max(r0_1, r0_7);
    const V r0_9 = hn::Min(r0_2, r0_6);
    const V r0_10 = hn::Max(r0_2, r0_6);
    const V r0_11 = hn::Max(r0_9, r0_8);
    const V r1_1 = hn::Min(c10, c11);
    const V r1_2 = hn::Max(c10, c11);
    const V r1_3 = hn::Min(c13, c14);
    const V r1_4 = hn::Max(c13, c14);
    const V r1_5 = hn::Min(c12, r1_4);
    const V r1_6 = hn::Max(c12, r1_4);
    const V r1_7 = hn::Min(r1_5, r1_3);
    const V r1_8 = hn::Max(r1_5, r1_3);
    const V r1_9 = hn::Min(r1_1, r1_8);
    const V r1_10 = hn::Max(r1_1, r1_8);
    const V r1_11 = hn::Max(r1_9, r1_7);
    const V r1_12 = hn::Min(r1_2, r1_6);
    const V r1_13 = hn::Max(r1_2, r1_6);
    const V r1_14 = hn::Min(r1_12, r1_10);
    const V r1_15 = hn::Max(r1_12, r1_10);
    const V r1_16 = hn::Max(r1_14, r1_11);
    const V r2_1 = hn::Min(c20, c21);
    const V r2_2 = hn::Max(c20, c21);
    const V r2_3 = hn::Min(c23, c24);
    const V r2_4 = hn::Max(c23, c24);
    const V r2_5 = hn::Min(c22, r2_4);
    const V r2_6 = hn::Max(c22, r2_4);
    const V r2_7 = hn::Min(r2_5, r2_3);
    const V r2_8 = hn::Max(r2_5, r2_3);
    const V r2_9 = hn::Min(r2_1, r2_8);
    const V r2_10 = hn::Max(r2_1, r2_8);
    const V r2_11 = hn::Max(r2_9, r2_7);
    const V r2_12 = hn::Min(r2_2, r2_6);
    const V r2_13 = hn::Min(r2_12, r2_10);
    const V r2_14 = hn::Max(r2_12, r2_10);
    const V r2_15 = hn::Min(r2_13, r2_11);
    const V r2_16 = hn::Max(r2_13, r2_11);
    const V r3_1 = hn::Min(c30, c31);
    const V r3_2 = hn::Max(c30, c31);
    const V r3_3 = hn::Min(c33, c34);
    const V r3_4 = hn::Max(c33, c34);
    const V r3_5 = hn::Min(c32, r3_4);
    const V r3_6 = hn::Max(c32, r3_4);
    const V r3_7 = hn::Min(r3_5, r3_3);
    const V r3_8 = hn::Max(r3_5, r3_3);
    const V r3_9 = hn::Min(r3_1, r3_8);
    const V r3_10 = hn::Max(r3_1, r3_8);
    const V r3_11 = hn::Min(r3_9, r3_7);
    const V r3_12 = hn::Max(r3_9, r3_7);
    const V r3_13 = hn::Min(r3_2, r3_6);
    const V r3_14 = hn::Min(r3_13, r3_10);
    const V r3_15 = hn::Min(r3_14, r3_12);
    const V r3_16 = hn::Max(r3_14, r3_12);
    const V r4_1 = hn::Min(c40, c41);
    const V r4_2 = hn::Max(c40, c41);
    const V r4_3 = hn::Min(c43, c44);
    const V r4_4 = hn::Max(c43, c44);
    const V r4_5 = hn::Min(c42, r4_4);
    const V r4_6 = hn::Max(c42, r4_4);
    const V r4_7 = hn::Min(r4_5, r4_3);
    const V r4_8 = hn::Max(r4_5, r4_3);
    const V r4_9 = hn::Min(r4_1, r4_8);
    const V r4_10 = hn::Max(r4_1, r4_8);
    const V r4_11 = hn::Min(r4_9, r4_7);
    const V r4_12 = hn::Max(r4_9, r4_7);
    const V r4_13 = hn::Min(r4_2, r4_6);
    const V r4_14 = hn::Min(r4_13, r4_10);
    const V r4_15 = hn::Min(r4_14, r4_12);
    const V m1 = hn::Min(r0_11, r0_10);
    const V m2 = hn::Max(r0_11, r0_10);
    const V m3 = hn::Min(r1_16, r1_15);
    const V m4 = hn::Max(r1_16, r1_15);
    const V m5 = hn::Min(r1_13, r2_15);
    const V m6 = hn::Max(r1_13, r2_15);
    const V m7 = hn::Min(r2_16, r2_14);
    const V m8 = hn::Max(r2_16, r2_14);
    const V m9 = hn::Min(r3_11, r3_15);
    const V m10 = hn::Max(r3_11, r3_15);
    const V m11 = hn::Min(r3_16, r4_11);
    const V m12 = hn::Max(r3_16, r4_11);
    const V m13 = hn::Min(m1, m3);
    const V m14 = hn::Max(m1, m3);
    const V m15 = hn::Min(m2, m4);
    const V m16 = hn::Max(m2, m4);
    const V m17 = hn::Min(m5, m7);
    const V m18 = hn::Max(m5, m7);
    const V m19 = hn::Min(m6, m8);
    const V m20 = hn::Max(m6, m8);
    const V m21 = hn::Min(m9, m11);
    const V m22 = hn::Max(m9, m11);
    const V m23 = hn::Min(m10, m12);
    const V m24 = hn::Max(m10, m12);
    const V m25 = hn::Min(m15, m14);
    const V m26 = hn::Max(m15, m14);
    const V m27 = hn::Min(m19, m18);
    const V m28 = hn::Max(m19, m18);
    const V m29 = hn::Min(m23, m22);
    const V m30 = hn::Max(m23, m22);
    const V m31 = hn::Min(m13, m17);
    const V m32 = hn::Max(m13, m17);
    const V m33 = hn::Min(m25, m27);
    const V m34 = hn::Max(m25, m27);
    const V m35 = hn::Min(m26, m28);
    const V m36 = hn::Max(m26, m28);
    const V m37 = hn::Min(m16, m20);
    const V m38 = hn::Min(m21, r4_15);
    const V m39 = hn::Max(m21, r4_15);
    const V m40 = hn::Min(m35, m32);
    const V m41 = hn::Max(m35, m32);
    const V m42 = hn::Min(m37, m34);
    const V m43 = hn::Max(m37, m34);
    const V m44 = hn::Min(m30, m39);
    const V m45 = hn::Max(m30, m39);
    const V m46 = hn::Min(m33, m40);
    const V m47 = hn::Max(m33, m40);
    const V m48 = hn::Min(m42, m41);
    const V m49 = hn::Max(m42, m41);
    const V m50 = hn::Min(m43, m36);
    const V m51 = hn::Max(m43, m36);
    const V m52 = hn::Min(m29, m44);
    const V m53 = hn::Max(m29, m44);
    const V m54 = hn::Min(m24, m45);
    const V m55 = hn::Max(m24, m45);
    const V m56 = hn::Max(m31, m38);
    const V m57 = hn::Max(m46, m52);
    const V m58 = hn::Max(m47, m53);
    const V m59 = hn::Min(m48, m54);
    const V m60 = hn::Min(m49, m55);
    const V m61 = hn::Max(m60, m56);
    const V m62 = hn::Min(m50, m57);
    const V m63 = hn::Min(m51, m58);
    const V m64 = hn::Max(m59, m62);
    const V m65 = hn::Min(m63, m61);
    const V m66 = hn::Max(m64, m65);
    return m66;
}

template <int n>
int MedianRowImpl(const uint8_t* const* rows, int cn, int from, int to, uint8_t* dst) {
    const D8 d;
    const int N = int(hn::Lanes(d));
    constexpr int kChunk = 512;
    const int h = n / 2;
    // Sorted columns of one chunk: kChunk outputs plus h * cn positions on
    // each side (cn <= 64), plus room for the last vector.
    alignas(64) uint8_t buf[n][kChunk + 4 * 64 + 64];
    const uint8_t* col[n];
    for (int i = 0; i < n; i++) col[i] = buf[i];
    if (N > kChunk) return from;
    if (to - from < N) return from;
    int e = from;
    while (e < to) {
        // The last vector ends at `to`, overlapping the one before: its
        // lanes are recomputed from the same source and get the same bytes,
        // and no row tail is left to the direct loop.
        if (to - e < N) e = to - N;
        const int len = std::min(kChunk, (to - e) / N * N);
        const int base = e - h * cn, count = len + 2 * h * cn;
        // Column sorts over positions [base, base + count); the last vector is
        // moved back so no load passes the row end.
        for (int p = 0; p < count; p += N) {
            const int q = std::min(p, count - N);
            if constexpr (n == 3) {
                V a = hn::LoadU(d, rows[0] + base + q), b = hn::LoadU(d, rows[1] + base + q),
                  c = hn::LoadU(d, rows[2] + base + q);
                Sort2(a, b);
                Sort2(b, c);
                Sort2(a, b);
                hn::StoreU(a, d, buf[0] + q);
                hn::StoreU(b, d, buf[1] + q);
                hn::StoreU(c, d, buf[2] + q);
            } else {
                V v[5];
                for (int j = 0; j < 5; j++) v[j] = hn::LoadU(d, rows[j] + base + q);
                Sort2(v[0], v[1]);
                Sort2(v[3], v[4]);
                Sort2(v[2], v[4]);
                Sort2(v[2], v[3]);
                Sort2(v[0], v[3]);
                Sort2(v[0], v[2]);
                Sort2(v[1], v[4]);
                Sort2(v[1], v[3]);
                Sort2(v[1], v[2]);
                for (int j = 0; j < 5; j++) hn::StoreU(v[j], d, buf[j] + q);
            }
        }
        for (int q = 0; q < len; q += N) {
            V m;
            if constexpr (n == 3)
                m = Select3(col, size_t(q), size_t(cn));
            else
                m = Select5(col, size_t(q), size_t(cn));
            hn::StoreU(m, d, dst + e + q);
        }
        e += len;
    }
    return e;
}

int MedianRow(const uint8_t* const* rows, int n, int cn, int from, int to, uint8_t* dst) {
    if (cn > 64) return from;
    return n == 3 ? MedianRowImpl<3>(rows, cn, from, to, dst)
                  : MedianRowImpl<5>(rows, cn, from, to, dst);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(HistMove16);
HWY_EXPORT(HistMove32);
HWY_EXPORT(MedianRow);

void vecHistMove(uint16_t* h, const uint16_t* add, const uint16_t* sub) {
    HWY_DYNAMIC_DISPATCH(HistMove16)(h, add, sub);
}
void vecHistMove(uint32_t* h, const uint32_t* add, const uint32_t* sub) {
    HWY_DYNAMIC_DISPATCH(HistMove32)(h, add, sub);
}
int vecMedianRowU8(const uint8_t* const* rows, int n, int cn, int from, int to, uint8_t* dst) {
    if (n != 3 && n != 5) return from;
    return HWY_DYNAMIC_DISPATCH(MedianRow)(rows, n, cn, from, to, dst);
}
}  // namespace detail
}  // namespace tarvo
#endif  // HWY_ONCE
