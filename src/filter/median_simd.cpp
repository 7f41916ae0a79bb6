// Vector kernels of the median filter: min / max selection networks for 3 x 3
// and 5 x 5 byte windows, and the rank search over column histograms for
// larger ones.
//
// The networks first sort every column of the window (shared by the
// horizontally neighbouring outputs), then select. 5 x 5 mostly runs two
// output rows per pass (Median5Rows2 below); a single leftover row sorts the
// rows of the 5 x 5 block after its columns, which leaves 6 entries known to
// lie below the median and 6 above it, and takes the middle one of the
// remaining 13 by a pruned odd-even merge network. Min and max are exact,
// so the result equals the sorted-sample rule, ties included.
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

#if HWY_TARGET == HWY_SCALAR
int MedianRow(const uint8_t* const*, int, int, int from, int, uint8_t*) {
    return from;
}
bool HistMedianStripe(const HistStripe&) {
    return false;
}
int Median5Rows2(const uint8_t* const*, int, int from, int, uint8_t*, uint8_t*) {
    return from;
}
int Median5Clipped(const uint8_t* const*, int, int, int from, int, uint8_t*) {
    return from;
}
#else

// ---- Rank search over cumulative column histograms (16-bit counts).
// Per column, 16 coarse counts then 16 segments of 16 fine counts, each
// cumulative: coarse[k] counts the samples whose high nibble is <= k, and
// fine[16 s + j] those with high nibble s and low nibble <= j. Adding a
// sample is then one masked increment of two 16-lane groups, the window's
// cumulative coarse counts move by the difference of two columns, and the
// bin holding a rank is the number of lanes whose count stays at or below
// it: no scan, no prefix sums.
typedef hn::CappedTag<uint16_t, 16> D16;
constexpr size_t kColStride = 16 + 256;

template <class F>
HWY_INLINE void Groups16(F f) {
    const D16 d;
    const size_t N = hn::Lanes(d);
    for (size_t i = 0; i < 16; i += N) f(d, i);
}

// h[0..16) += inc where lane index >= from.
HWY_INLINE void AddFrom(uint16_t* h, int from, uint16_t inc) {
    Groups16([&](D16 d, size_t i) {
        const auto lane = hn::Add(hn::Iota(d, 0), hn::Set(d, uint16_t(i)));
        // Unsigned lane >= from as max(lane, from) == lane.
        const auto ge = hn::Eq(hn::Max(lane, hn::Set(d, uint16_t(from))), lane);
        const auto add = hn::IfThenElseZero(ge, hn::Set(d, inc));
        hn::StoreU(hn::Add(hn::LoadU(d, h + i), add), d, h + i);
    });
}

// w[0..16) += a[0..16) - s[0..16); either pointer may be null (no column).
HWY_INLINE void Move16(uint16_t* w, const uint16_t* a, const uint16_t* s) {
    Groups16([&](D16 d, size_t i) {
        auto v = hn::LoadU(d, w + i);
        if (a) v = hn::Add(v, hn::LoadU(d, a + i));
        if (s) v = hn::Sub(v, hn::LoadU(d, s + i));
        hn::StoreU(v, d, w + i);
    });
}

// Lanes of c[0..16) at or below r.
HWY_INLINE int CountAtOrBelow(const uint16_t* c, uint16_t r) {
    int n = 0;
    Groups16([&](D16 d, size_t i) {
        const auto v = hn::LoadU(d, c + i);
        n += int(hn::CountTrue(d, hn::Eq(hn::Min(v, hn::Set(d, r)), v)));
    });
    return n;
}

bool HistMedianStripe(const HistStripe& S) {
    const int cols = S.cols, cn = S.cn;
    uint16_t* colh = S.scratch;
    std::fill(colh, colh + size_t(cols) * kColStride, uint16_t(0));
    auto addRow = [&](int r, uint16_t inc) {
        const uint8_t* srow = S.src[r] + S.channel;
        for (int x = 0; x < cols; x++) {
            const int v = srow[size_t(x) * cn];
            uint16_t* h = colh + size_t(x) * kColStride;
            AddFrom(h, v >> 4, inc);
            AddFrom(h + 16 + 16 * (v >> 4), v & 15, inc);
        }
    };
    auto column = [&](int x) { return colh + size_t(x) * kColStride; };
    const int start = std::max(S.ya - S.tyLo, 0), end = std::min(S.ya + S.tyHi, S.rows - 1);
    for (int r = start; r <= end; r++) addRow(r, 1);
    alignas(64) uint16_t coarse[16];
    alignas(64) uint16_t fine[256];
    int luc[16];
    const int width = S.txLo + S.txHi + 1;
    for (int y = S.ya; y < S.yb; y++) {
        if (y > S.ya) {
            if (y - S.tyLo - 1 >= 0) addRow(y - S.tyLo - 1, uint16_t(0xFFFF));
            if (y + S.tyHi < S.rows) addRow(y + S.tyHi, 1);
        }
        const int nr = std::min(y + S.tyHi, S.rows - 1) - std::max(y - S.tyLo, 0) + 1;
        std::fill(coarse, coarse + 16, uint16_t(0));
        for (int q = 0; q <= std::min(S.txHi, cols - 1); q++) Move16(coarse, column(q), nullptr);
        for (int b = 0; b < 16; b++) luc[b] = -(1 << 30);  // every segment stale
        uint8_t* drow = S.dst[y] + S.channel;
        for (int x = 0; x < cols; x++) {
            const int c0 = std::max(x - S.txLo, 0), c1 = std::min(x + S.txHi, cols - 1);
            const int rank = nr * (c1 - c0 + 1) / 2;
            const int b = CountAtOrBelow(coarse, uint16_t(rank));
            const int below = b > 0 ? coarse[b - 1] : 0;
            uint16_t* seg = fine + 16 * b;
            const size_t off = size_t(16 + 16 * b);
            if (x - luc[b] > width / 2 + 1) {
                std::fill(seg, seg + 16, uint16_t(0));
                for (int q = c0; q <= c1; q++) Move16(seg, column(q) + off, nullptr);
            } else {
                for (int j = luc[b] + 1; j <= x; j++) {
                    const int in = j + S.txHi, out = j - S.txLo - 1;
                    Move16(seg, in < cols ? column(in) + off : nullptr,
                           out >= 0 ? column(out) + off : nullptr);
                }
            }
            luc[b] = x;
            const int v = CountAtOrBelow(seg, uint16_t(rank - below));
            drow[size_t(x) * cn] = uint8_t(16 * b + v);
            const int in = x + 1 + S.txHi, out = x - S.txLo;
            if (in < cols || out >= 0)
                Move16(coarse, in < cols ? column(in) : nullptr, out >= 0 ? column(out) : nullptr);
        }
    }
    return true;
}

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

// ---- 5 x 5, two output rows per pass.
// Rows y and y + 1 share the four source rows y - 1 .. y + 2. Their 4-tall
// columns are sorted once, neighbouring sorted columns are merged in pairs
// once (each pair serves the windows two columns apart), and one pass then
// selects, from the shared 4 x 5 block of 20 samples, its ranks 7 .. 12 in
// order: whatever the five samples of the remaining row, the median of 25
// lies among them. Each output row then takes rank 5 of those six and its
// own sorted row of five. The networks are odd-even merges with every
// comparison whose result is never used removed, checked exhaustively on
// 0-1 inputs (which covers every input for min / max networks).

// Merges two sorted 4-tall columns a and b into the sorted p[0..8).
HWY_INLINE void Merge44(const V* a, const V* b, V* p) {
    const V m0 = hn::Min(a[0], b[0]);
    const V m1 = hn::Max(a[0], b[0]);
    const V m2 = hn::Min(a[2], b[2]);
    const V m3 = hn::Max(a[2], b[2]);
    const V m4 = hn::Min(m1, m2);
    const V m5 = hn::Max(m1, m2);
    const V m6 = hn::Min(a[1], b[1]);
    const V m7 = hn::Max(a[1], b[1]);
    const V m8 = hn::Min(a[3], b[3]);
    const V m9 = hn::Max(a[3], b[3]);
    const V m10 = hn::Min(m7, m8);
    const V m11 = hn::Max(m7, m8);
    const V m12 = hn::Min(m4, m6);
    const V m13 = hn::Max(m4, m6);
    const V m14 = hn::Min(m5, m10);
    const V m15 = hn::Max(m5, m10);
    const V m16 = hn::Min(m3, m11);
    const V m17 = hn::Max(m3, m11);
    p[0] = m0;
    p[1] = m12;
    p[2] = m13;
    p[3] = m14;
    p[4] = m15;
    p[5] = m16;
    p[6] = m17;
    p[7] = m9;
}

// From the sorted pairs p0 (columns x - 2, x - 1) and p1 (x, x + 1), the
// sorted column c4 (x + 2) of the shared rows, and the unsorted extra rows
// e0 (above) and e1 (below), the medians r0 and r1 of the two windows.
HWY_INLINE void Window2(const V* p0, const V* p1, const V* c4, const V* e0, const V* e1, V& r0,
                        V& r1) {
    const V w0 = hn::Min(p0[0], c4[0]);
    const V w1 = hn::Max(p0[0], c4[0]);
    const V w2 = hn::Min(p0[4], w1);
    const V w3 = hn::Max(p0[4], w1);
    const V w4 = hn::Min(p0[2], c4[2]);
    const V w5 = hn::Max(p0[2], c4[2]);
    const V w6 = hn::Min(p0[6], w5);
    const V w7 = hn::Max(p0[6], w5);
    const V w8 = hn::Min(w2, w4);
    const V w9 = hn::Max(w2, w4);
    const V w10 = hn::Min(w3, w6);
    const V w11 = hn::Max(w3, w6);
    const V w12 = hn::Min(p0[1], c4[1]);
    const V w13 = hn::Max(p0[1], c4[1]);
    const V w14 = hn::Min(p0[5], w13);
    const V w15 = hn::Max(p0[5], w13);
    const V w16 = hn::Min(p0[3], c4[3]);
    const V w17 = hn::Max(p0[3], c4[3]);
    const V w18 = hn::Min(p0[7], w17);
    const V w19 = hn::Max(p0[7], w17);
    const V w20 = hn::Min(w14, w16);
    const V w21 = hn::Max(w14, w16);
    const V w22 = hn::Min(w15, w18);
    const V w23 = hn::Max(w15, w18);
    const V w24 = hn::Min(w8, w12);
    const V w25 = hn::Max(w8, w12);
    const V w26 = hn::Min(w9, w20);
    const V w27 = hn::Max(w9, w20);
    const V w28 = hn::Min(w10, w21);
    const V w29 = hn::Max(w10, w21);
    const V w30 = hn::Min(w11, w22);
    const V w31 = hn::Max(w11, w22);
    const V w32 = hn::Min(w7, w23);
    const V w33 = hn::Max(w7, w23);
    const V w34 = hn::Max(p1[0], w0);
    const V w35 = hn::Min(w31, w34);
    const V w36 = hn::Max(w31, w34);
    const V w37 = hn::Min(p1[4], w27);
    const V w38 = hn::Max(p1[4], w27);
    const V w39 = hn::Max(w35, w37);
    const V w40 = hn::Min(w36, w38);
    const V w41 = hn::Max(p1[2], w25);
    const V w42 = hn::Min(w33, w41);
    const V w43 = hn::Min(p1[6], w29);
    const V w44 = hn::Min(w42, w43);
    const V w45 = hn::Max(w42, w43);
    const V w46 = hn::Max(w39, w44);
    const V w47 = hn::Min(w40, w45);
    const V w48 = hn::Max(w40, w45);
    const V w49 = hn::Max(p1[1], w24);
    const V w50 = hn::Min(w32, w49);
    const V w51 = hn::Max(w32, w49);
    const V w52 = hn::Min(p1[5], w28);
    const V w53 = hn::Max(p1[5], w28);
    const V w54 = hn::Max(w50, w52);
    const V w55 = hn::Min(w51, w53);
    const V w56 = hn::Max(p1[3], w26);
    const V w57 = hn::Min(w19, w56);
    const V w58 = hn::Min(p1[7], w30);
    const V w59 = hn::Min(w57, w58);
    const V w60 = hn::Max(w57, w58);
    const V w61 = hn::Min(w54, w59);
    const V w62 = hn::Max(w54, w59);
    const V w63 = hn::Min(w55, w60);
    const V w64 = hn::Min(w46, w61);
    const V w65 = hn::Max(w46, w61);
    const V w66 = hn::Min(w47, w62);
    const V w67 = hn::Max(w47, w62);
    const V w68 = hn::Min(w48, w63);
    const V w69 = hn::Max(w48, w63);
    const V w70 = hn::Min(e0[0], e0[1]);
    const V w71 = hn::Max(e0[0], e0[1]);
    const V w72 = hn::Min(e0[3], e0[4]);
    const V w73 = hn::Max(e0[3], e0[4]);
    const V w74 = hn::Min(e0[2], w72);
    const V w75 = hn::Max(e0[2], w72);
    const V w76 = hn::Min(w73, w75);
    const V w77 = hn::Max(w73, w75);
    const V w78 = hn::Min(w70, w74);
    const V w79 = hn::Max(w70, w74);
    const V w80 = hn::Min(w77, w79);
    const V w81 = hn::Max(w77, w79);
    const V w82 = hn::Min(w71, w76);
    const V w83 = hn::Max(w71, w76);
    const V w84 = hn::Min(w80, w82);
    const V w85 = hn::Max(w80, w82);
    const V w86 = hn::Min(w81, w83);
    const V w87 = hn::Max(w81, w83);
    const V w88 = hn::Max(w64, w78);
    const V w89 = hn::Min(w68, w87);
    const V w90 = hn::Max(w88, w89);
    const V w91 = hn::Max(w66, w85);
    const V w92 = hn::Min(w90, w91);
    const V w93 = hn::Max(w65, w84);
    const V w94 = hn::Min(w69, w93);
    const V w95 = hn::Min(w67, w86);
    const V w96 = hn::Max(w94, w95);
    const V w97 = hn::Min(w92, w96);
    const V w98 = hn::Min(e1[0], e1[1]);
    const V w99 = hn::Max(e1[0], e1[1]);
    const V w100 = hn::Min(e1[3], e1[4]);
    const V w101 = hn::Max(e1[3], e1[4]);
    const V w102 = hn::Min(e1[2], w100);
    const V w103 = hn::Max(e1[2], w100);
    const V w104 = hn::Min(w101, w103);
    const V w105 = hn::Max(w101, w103);
    const V w106 = hn::Min(w98, w102);
    const V w107 = hn::Max(w98, w102);
    const V w108 = hn::Min(w105, w107);
    const V w109 = hn::Max(w105, w107);
    const V w110 = hn::Min(w99, w104);
    const V w111 = hn::Max(w99, w104);
    const V w112 = hn::Min(w108, w110);
    const V w113 = hn::Max(w108, w110);
    const V w114 = hn::Min(w109, w111);
    const V w115 = hn::Max(w109, w111);
    const V w116 = hn::Max(w64, w106);
    const V w117 = hn::Min(w68, w115);
    const V w118 = hn::Max(w116, w117);
    const V w119 = hn::Max(w66, w113);
    const V w120 = hn::Min(w118, w119);
    const V w121 = hn::Max(w65, w112);
    const V w122 = hn::Min(w69, w121);
    const V w123 = hn::Min(w67, w114);
    const V w124 = hn::Max(w122, w123);
    const V w125 = hn::Min(w120, w124);
    r0 = w97;
    r1 = w125;
}

// Rows y and y + 1 of 5 x 5 medians for elements [from, to): rows[j] is
// source row y - 2 + j (j < 6). Returns the first element not written.
int Median5Rows2Impl(const uint8_t* const* rows, int cn, int from, int to, uint8_t* dst0,
                     uint8_t* dst1) {
    const D8 d;
    const int N = int(hn::Lanes(d));
    constexpr int kChunk = 512;
    constexpr int kBuf = kChunk + 4 * 64 + 64;
    // Sorted 4-tall columns and merged pairs of one chunk, indexed like the
    // source from e - 2 cn.
    alignas(64) uint8_t col4[4][kBuf];
    alignas(64) uint8_t pair[8][kBuf];
    if (N > kChunk || to - from < N) return from;
    int e = from;
    while (e < to) {
        if (to - e < N) e = to - N;  // overlap the last vector, as in MedianRowImpl
        const int len = std::min(kChunk, (to - e) / N * N);
        const int base = e - 2 * cn, count = len + 4 * cn;
        for (int p = 0; p < count; p += N) {
            const int q = std::min(p, count - N);
            V a = hn::LoadU(d, rows[1] + base + q), b = hn::LoadU(d, rows[2] + base + q),
              c = hn::LoadU(d, rows[3] + base + q), f = hn::LoadU(d, rows[4] + base + q);
            Sort2(a, b);
            Sort2(c, f);
            Sort2(a, c);
            Sort2(b, f);
            Sort2(b, c);
            hn::StoreU(a, d, col4[0] + q);
            hn::StoreU(b, d, col4[1] + q);
            hn::StoreU(c, d, col4[2] + q);
            hn::StoreU(f, d, col4[3] + q);
        }
        const int pairs = count - cn;
        for (int p = 0; p < pairs; p += N) {
            const int q = std::min(p, pairs - N);
            V a[4], b[4], m[8];
            for (int i = 0; i < 4; i++) {
                a[i] = hn::LoadU(d, col4[i] + q);
                b[i] = hn::LoadU(d, col4[i] + q + cn);
            }
            Merge44(a, b, m);
            for (int i = 0; i < 8; i++) hn::StoreU(m[i], d, pair[i] + q);
        }
        for (int q = 0; q < len; q += N) {
            V p0[8], p1[8], c4[4], e0[5], e1[5];
            for (int i = 0; i < 8; i++) {
                p0[i] = hn::LoadU(d, pair[i] + q);
                p1[i] = hn::LoadU(d, pair[i] + q + 2 * cn);
            }
            for (int i = 0; i < 4; i++) c4[i] = hn::LoadU(d, col4[i] + q + 4 * cn);
            for (int i = 0; i < 5; i++) {
                e0[i] = hn::LoadU(d, rows[0] + base + q + i * cn);
                e1[i] = hn::LoadU(d, rows[5] + base + q + i * cn);
            }
            V r0, r1;
            Window2(p0, p1, c4, e0, e1, r0, r1);
            hn::StoreU(r0, d, dst0 + e + q);
            hn::StoreU(r1, d, dst1 + e + q);
        }
        e += len;
    }
    return e;
}

int Median5Rows2(const uint8_t* const* rows, int cn, int from, int to, uint8_t* dst0,
                 uint8_t* dst1) {
    if (cn > 64) return from;
    return Median5Rows2Impl(rows, cn, from, to, dst0, dst1);
}

// ---- 5 x 5 windows clipped to 3 or 4 rows (the two rows next to the top and
// bottom edges; the columns next to the side edges, transposed). The
// columns are sorted once and each window merges its five sorted columns
// with the comparisons the middle rank does not need removed, checked
// exhaustively on 0-1 inputs like the networks above.

// Rank 7 of a 3 x 5 block whose columns c[j] are sorted.
HWY_INLINE V SelectClipped(const V (*c)[3]) {
    const V s0 = hn::Min(c[0][0], c[1][0]);
    const V s1 = hn::Max(c[0][0], c[1][0]);
    const V s2 = hn::Min(c[0][2], c[1][2]);
    const V s3 = hn::Max(c[0][2], c[1][2]);
    const V s4 = hn::Min(s1, s2);
    const V s5 = hn::Max(s1, s2);
    const V s6 = hn::Min(c[0][1], c[1][1]);
    const V s7 = hn::Max(c[0][1], c[1][1]);
    const V s8 = hn::Min(s4, s6);
    const V s9 = hn::Max(s4, s6);
    const V s10 = hn::Min(s5, s7);
    const V s11 = hn::Max(s5, s7);
    const V s12 = hn::Min(c[4][0], s0);
    const V s13 = hn::Max(c[4][0], s0);
    const V s14 = hn::Min(s11, s13);
    const V s15 = hn::Max(s11, s13);
    const V s16 = hn::Min(c[4][2], s9);
    const V s17 = hn::Max(c[4][2], s9);
    const V s18 = hn::Min(s14, s16);
    const V s19 = hn::Max(s14, s16);
    const V s20 = hn::Min(s15, s17);
    const V s21 = hn::Max(s15, s17);
    const V s22 = hn::Min(c[4][1], s8);
    const V s23 = hn::Max(c[4][1], s8);
    const V s24 = hn::Min(s3, s23);
    const V s25 = hn::Max(s3, s23);
    const V s26 = hn::Min(s10, s24);
    const V s27 = hn::Max(s10, s24);
    const V s28 = hn::Min(s18, s22);
    const V s29 = hn::Max(s18, s22);
    const V s30 = hn::Min(s19, s26);
    const V s31 = hn::Max(s19, s26);
    const V s32 = hn::Min(s20, s27);
    const V s33 = hn::Max(s20, s27);
    const V s34 = hn::Min(s21, s25);
    const V s35 = hn::Max(s21, s25);
    const V s36 = hn::Min(c[2][0], c[3][0]);
    const V s37 = hn::Max(c[2][0], c[3][0]);
    const V s38 = hn::Min(c[2][2], c[3][2]);
    const V s39 = hn::Max(c[2][2], c[3][2]);
    const V s40 = hn::Min(s37, s38);
    const V s41 = hn::Max(s37, s38);
    const V s42 = hn::Min(c[2][1], c[3][1]);
    const V s43 = hn::Max(c[2][1], c[3][1]);
    const V s44 = hn::Min(s40, s42);
    const V s45 = hn::Max(s40, s42);
    const V s46 = hn::Min(s41, s43);
    const V s47 = hn::Max(s41, s43);
    const V s48 = hn::Max(s12, s36);
    const V s49 = hn::Min(s35, s48);
    const V s50 = hn::Min(s31, s47);
    const V s51 = hn::Max(s49, s50);
    const V s52 = hn::Max(s29, s45);
    const V s53 = hn::Min(s33, s52);
    const V s54 = hn::Max(s51, s53);
    const V s55 = hn::Max(s28, s44);
    const V s56 = hn::Min(s32, s39);
    const V s57 = hn::Max(s55, s56);
    const V s58 = hn::Max(s30, s46);
    const V s59 = hn::Min(s34, s58);
    const V s60 = hn::Min(s57, s59);
    const V s61 = hn::Min(s54, s60);
    return s61;
}

// Rank 10 of a 4 x 5 block whose columns c[j] are sorted.
HWY_INLINE V SelectClipped(const V (*c)[4]) {
    const V s0 = hn::Min(c[0][0], c[1][0]);
    const V s1 = hn::Max(c[0][0], c[1][0]);
    const V s2 = hn::Min(c[0][2], c[1][2]);
    const V s3 = hn::Max(c[0][2], c[1][2]);
    const V s4 = hn::Min(s1, s2);
    const V s5 = hn::Max(s1, s2);
    const V s6 = hn::Min(c[0][1], c[1][1]);
    const V s7 = hn::Max(c[0][1], c[1][1]);
    const V s8 = hn::Min(c[0][3], c[1][3]);
    const V s9 = hn::Max(c[0][3], c[1][3]);
    const V s10 = hn::Min(s7, s8);
    const V s11 = hn::Max(s7, s8);
    const V s12 = hn::Min(s4, s6);
    const V s13 = hn::Max(s4, s6);
    const V s14 = hn::Min(s5, s10);
    const V s15 = hn::Max(s5, s10);
    const V s16 = hn::Min(s3, s11);
    const V s17 = hn::Max(s3, s11);
    const V s18 = hn::Min(c[4][0], s0);
    const V s19 = hn::Max(c[4][0], s0);
    const V s20 = hn::Min(s15, s19);
    const V s21 = hn::Max(s15, s19);
    const V s22 = hn::Min(c[4][2], s13);
    const V s23 = hn::Max(c[4][2], s13);
    const V s24 = hn::Min(s17, s23);
    const V s25 = hn::Max(s17, s23);
    const V s26 = hn::Min(s20, s22);
    const V s27 = hn::Max(s20, s22);
    const V s28 = hn::Min(s21, s24);
    const V s29 = hn::Max(s21, s24);
    const V s30 = hn::Min(c[4][1], s12);
    const V s31 = hn::Max(c[4][1], s12);
    const V s32 = hn::Min(s16, s31);
    const V s33 = hn::Max(s16, s31);
    const V s34 = hn::Min(c[4][3], s14);
    const V s35 = hn::Max(c[4][3], s14);
    const V s36 = hn::Min(s9, s35);
    const V s37 = hn::Max(s9, s35);
    const V s38 = hn::Min(s32, s34);
    const V s39 = hn::Max(s32, s34);
    const V s40 = hn::Min(s33, s36);
    const V s41 = hn::Max(s33, s36);
    const V s42 = hn::Min(s26, s30);
    const V s43 = hn::Max(s26, s30);
    const V s44 = hn::Min(s27, s38);
    const V s45 = hn::Max(s27, s38);
    const V s46 = hn::Min(s28, s39);
    const V s47 = hn::Max(s28, s39);
    const V s48 = hn::Min(s29, s40);
    const V s49 = hn::Max(s29, s40);
    const V s50 = hn::Min(s25, s41);
    const V s51 = hn::Max(s25, s41);
    const V s52 = hn::Min(c[2][0], c[3][0]);
    const V s53 = hn::Max(c[2][0], c[3][0]);
    const V s54 = hn::Min(c[2][2], c[3][2]);
    const V s55 = hn::Max(c[2][2], c[3][2]);
    const V s56 = hn::Min(s53, s54);
    const V s57 = hn::Max(s53, s54);
    const V s58 = hn::Min(c[2][1], c[3][1]);
    const V s59 = hn::Max(c[2][1], c[3][1]);
    const V s60 = hn::Min(c[2][3], c[3][3]);
    const V s61 = hn::Max(c[2][3], c[3][3]);
    const V s62 = hn::Min(s59, s60);
    const V s63 = hn::Max(s59, s60);
    const V s64 = hn::Min(s56, s58);
    const V s65 = hn::Max(s56, s58);
    const V s66 = hn::Min(s57, s62);
    const V s67 = hn::Max(s57, s62);
    const V s68 = hn::Min(s55, s63);
    const V s69 = hn::Max(s55, s63);
    const V s70 = hn::Max(s18, s52);
    const V s71 = hn::Max(s49, s70);
    const V s72 = hn::Max(s45, s67);
    const V s73 = hn::Min(s71, s72);
    const V s74 = hn::Max(s43, s65);
    const V s75 = hn::Min(s51, s74);
    const V s76 = hn::Min(s47, s69);
    const V s77 = hn::Max(s75, s76);
    const V s78 = hn::Min(s73, s77);
    const V s79 = hn::Max(s42, s64);
    const V s80 = hn::Min(s50, s79);
    const V s81 = hn::Min(s46, s68);
    const V s82 = hn::Max(s80, s81);
    const V s83 = hn::Max(s44, s66);
    const V s84 = hn::Min(s37, s83);
    const V s85 = hn::Min(s48, s61);
    const V s86 = hn::Min(s84, s85);
    const V s87 = hn::Max(s82, s86);
    const V s88 = hn::Max(s78, s87);
    return s88;
}

template <int R>
int Median5ClippedImpl(const uint8_t* const* rows, int cn, int from, int to, uint8_t* dst) {
    const D8 d;
    const int N = int(hn::Lanes(d));
    constexpr int kChunk = 512;
    alignas(64) uint8_t buf[R][kChunk + 4 * 64 + 64];
    if (N > kChunk || to - from < N) return from;
    int e = from;
    while (e < to) {
        if (to - e < N) e = to - N;  // overlap the last vector, as in MedianRowImpl
        const int len = std::min(kChunk, (to - e) / N * N);
        const int base = e - 2 * cn, count = len + 4 * cn;
        for (int p = 0; p < count; p += N) {
            const int q = std::min(p, count - N);
            V v[R];
            for (int i = 0; i < R; i++) v[i] = hn::LoadU(d, rows[i] + base + q);
            if constexpr (R == 3) {
                Sort2(v[0], v[1]);
                Sort2(v[1], v[2]);
                Sort2(v[0], v[1]);
            } else {
                Sort2(v[0], v[1]);
                Sort2(v[2], v[3]);
                Sort2(v[0], v[2]);
                Sort2(v[1], v[3]);
                Sort2(v[1], v[2]);
            }
            for (int i = 0; i < R; i++) hn::StoreU(v[i], d, buf[i] + q);
        }
        for (int q = 0; q < len; q += N) {
            V c[5][R];
            for (int j = 0; j < 5; j++)
                for (int i = 0; i < R; i++) c[j][i] = hn::LoadU(d, buf[i] + q + j * cn);
            hn::StoreU(SelectClipped(c), d, dst + e + q);
        }
        e += len;
    }
    return e;
}

int Median5Clipped(const uint8_t* const* rows, int r, int cn, int from, int to, uint8_t* dst) {
    if (cn > 64) return from;
    return r == 3 ? Median5ClippedImpl<3>(rows, cn, from, to, dst)
                  : Median5ClippedImpl<4>(rows, cn, from, to, dst);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(MedianRow);
HWY_EXPORT(HistMedianStripe);
HWY_EXPORT(Median5Rows2);
HWY_EXPORT(Median5Clipped);

int vecMedian5ClippedU8(const uint8_t* const* rows, int r, int cn, int from, int to, uint8_t* dst) {
    if (r != 3 && r != 4) return from;
    return HWY_DYNAMIC_DISPATCH(Median5Clipped)(rows, r, cn, from, to, dst);
}

int vecMedian5Rows2U8(const uint8_t* const* rows, int cn, int from, int to, uint8_t* dst0,
                      uint8_t* dst1) {
    return HWY_DYNAMIC_DISPATCH(Median5Rows2)(rows, cn, from, to, dst0, dst1);
}

bool vecHistMedianStripe(const HistStripe& s) {
    return HWY_DYNAMIC_DISPATCH(HistMedianStripe)(s);
}

int vecMedianRowU8(const uint8_t* const* rows, int n, int cn, int from, int to, uint8_t* dst) {
    if (n != 3 && n != 5) return from;
    return HWY_DYNAMIC_DISPATCH(MedianRow)(rows, n, cn, from, to, dst);
}
}  // namespace detail
}  // namespace tarvo
#endif  // HWY_ONCE
