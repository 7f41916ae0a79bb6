// Edge chains: 7-tap gradients, strength and angle, histogram cut,
// non-maximum suppression, double thresholds and edge following.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/parallel.h"

#include "edges/edge_chains_simd.h"
#include "edges/edge_follow.h"

namespace tarvo {

namespace {

constexpr int kNullArgument = -50100;
constexpr int kStrengthFailed = -50051;
constexpr int kSuppressFailed = -50052;
constexpr int kHysteresisFailed = -50053;
constexpr int kExtractFailed = -50054;

// v / 2^s rounded towards minus infinity, for either sign.
inline long long floorShift(long long v, int s) {
    return v >= 0 ? v >> s : ~((~v) >> s);
}

unsigned char clampPercent(int v) {
    return (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
}

// Frames of the edge following: one per pixel being followed.
struct FollowFrame {
    short x, y;
    unsigned char next, found, branched;
};

// Gradients of small size are the common case in smooth regions: their folded
// angles come from a table built once by the same function.
constexpr int kAngleTableHalf = 64;
const short* smallAngleTable() {
    static const std::vector<short> table = [] {
        std::vector<short> t(size_t(4 * kAngleTableHalf * kAngleTableHalf));
        for (int gy = -kAngleTableHalf; gy < kAngleTableHalf; gy++)
            for (int gx = -kAngleTableHalf; gx < kAngleTableHalf; gx++) {
                int a = MCEdgeExtractor::fixedPointAngle(gy, gx);
                if (a > 180) a -= 180;
                t[size_t((gy + kAngleTableHalf) * 2 * kAngleTableHalf + gx + kAngleTableHalf)] =
                    (short)a;
            }
        return t;
    }();
    return table.data();
}

// Runs fn(y0, y1) over row stripes of [0, rows) through parallel_for_; the
// passes below write disjoint rows, so the result never depends on the split.
template <typename F>
void forRowStripes(int rows, long long work, const F& fn) {
    struct Body : ParallelLoopBody {
        explicit Body(const F& f) : fn(f) {}
        void operator()(const Range& r) const override { fn(r.start, r.end); }
        const F& fn;
    } body(fn);
    const double stripes = work < (1 << 16) ? 1.0 : double(rows < 64 ? rows : 64);
    parallel_for_(Range(0, rows), body, stripes);
}

// Neighbour order of the edge following.
constexpr int kFollowDx[8] = {1, 1, 1, 0, 0, -1, -1, -1};
constexpr int kFollowDy[8] = {0, 1, -1, 1, -1, 0, 1, -1};

// The folded angle (0..180) of one gradient, small ones from the table.
inline int foldedAngle(int gx, int gy, const short* small) {
    if (unsigned(gx + kAngleTableHalf) < unsigned(2 * kAngleTableHalf) &&
        unsigned(gy + kAngleTableHalf) < unsigned(2 * kAngleTableHalf))
        return small[(gy + kAngleTableHalf) * (2 * kAngleTableHalf) + (gx + kAngleTableHalf)];
    const int angle = MCEdgeExtractor::fixedPointAngle(gy, gx);
    return angle > 180 ? angle - 180 : angle;
}

// Suppressed value of interior pixel i of the 8-bit strength s (row length
// W): its own strength when it is above k and a maximum across its gradient
// (gx, gy), else 0.
inline int suppressAt(const unsigned char* s, size_t i, int W, int gx, int gy, int k) {
    const int c = s[i];
    if (c == 0 || c <= k) return 0;
    const int ax = gx < 0 ? -gx : gx, ay = gy < 0 ? -gy : gy;
    const bool sameSign = (gx >= 0) == (gy >= 0);
    auto at = [&](int dy, int dx) { return int(s[i + ptrdiff_t(dy) * W + dx]); };
    // |numerator| < 2^24: the float quotient truncates exactly.
    auto ratio = [](int a, int b) { return int(float(a) / float(b)); };
    int w, p, q;
    if (sameSign && ax >= ay) {
        w = ratio(gy * 1024, gx);
        p = at(0, 1) * (1024 - w) + at(1, 1) * w;
        q = at(0, -1) * (1024 - w) + at(-1, -1) * w;
    } else if (sameSign) {
        w = ratio(gx * 1024, gy);
        p = at(1, 0) * (1024 - w) + at(1, 1) * w;
        q = at(-1, 0) * (1024 - w) + at(-1, -1) * w;
    } else if (ax < ay) {
        w = ratio(-gx * 1024, gy);
        p = at(1, 0) * (1024 - w) + at(1, -1) * w;
        q = at(-1, 0) * (1024 - w) + at(-1, 1) * w;
    } else {
        w = ratio(-gy * 1024, gx);
        p = at(0, -1) * (1024 - w) + at(1, -1) * w;
        q = at(0, 1) * (1024 - w) + at(-1, 1) * w;
    }
    return p < c * 1024 && q <= c * 1024 ? c : 0;
}

inline signed char thresholdOf(int v, int t) {
    return (signed char)std::min(std::max(v - t + 1, 0), 127);
}

// The cut: the first k from 1 where the share of pixels in bins 0..k passes
// the non-edge percentage (128 when it never does), 0 without any gradient.
int histogramCut(const long long* hist, long long nz, int nonEdge) {
    if (nz <= 0) return 0;
    long long sum = hist[0];
    int k = 1;
    for (; k < 128; k++) {
        sum += hist[k];
        if (sum * 100 / nz > nonEdge) break;
    }
    return k;
}

// Runs fn(i) for every i in [0, count) through parallel_for_ when the image
// is big enough; each i owns a fixed band of rows, so the split never changes
// what a band computes.
template <typename F>
void forBands(int count, long long work, const F& fn) {
    forRowStripes(count, work, [&](int i0, int i1) {
        for (int i = i0; i < i1; i++) fn(i);
    });
}

// Per-band totals of the strength pass: integer maxima, counts and
// histograms, added afterwards in any order.
struct BandStats {
    int maxS = 1;
    long long nz = 0;
    long long hist[128] = {};
};

// Gradients and strength of one band of rows [y0, y1), fused so that each row
// is filtered and measured while it is in cache. grdX and grdY are written
// whole, zero outside the interior (3 from every side).
void gradientBand(unsigned char** img, int W, int H, int y0, int y1, short* grdX, short* grdY,
                  short* strength, BandStats& st) {
    const int r = 3, x0 = r, x1 = W - r;
    std::vector<short> buf(size_t(W) * 8);
    short* vrow = buf.data();
    short* ring[7];
    for (int k = 0; k < 7; k++) ring[k] = vrow + size_t(W) * (k + 1);
    // Rows smoothed along x, kept for the seven rows around the current one.
    auto smoothRow = [&](int row) {
        const unsigned char* in = img[row];
        short* out = ring[row % 7];
        int x = x0 < x1 ? detail::edgeSmoothRow(in, out, x0, x1) : x1;
        for (; x < x1; x++)
            out[x] = (short)(in[x - 3] + in[x + 3] + 6 * (in[x - 2] + in[x + 2]) +
                             15 * (in[x - 1] + in[x + 1]) + 20 * in[x]);
    };
    int filled = -1;  // last row smoothed along x
    for (int y = y0; y < y1; y++) {
        short* gx = grdX + size_t(y) * W;
        short* gy = grdY + size_t(y) * W;
        if (y < r || y >= H - r || x0 >= x1) {
            std::memset(gx, 0, size_t(W) * sizeof(short));
            std::memset(gy, 0, size_t(W) * sizeof(short));
        } else {
            for (int x = 0; x < r; x++) gx[x] = gy[x] = gx[W - 1 - x] = gy[W - 1 - x] = 0;
            const unsigned char* rows7[7];
            for (int k = 0; k < 7; k++) rows7[k] = img[y - r + k];
            int x = detail::edgeSmoothColumns(rows7, vrow, W);
            for (; x < W; x++)
                vrow[x] = (short)(rows7[0][x] + rows7[6][x] + 6 * (rows7[1][x] + rows7[5][x]) +
                                  15 * (rows7[2][x] + rows7[4][x]) + 20 * rows7[3][x]);
            x = detail::edgeDiffRow(vrow, gx, x0, x1);
            for (; x < x1; x++)
                gx[x] = (short)((vrow[x + 3] - vrow[x - 3] + 4 * (vrow[x + 2] - vrow[x - 2]) +
                                 5 * (vrow[x + 1] - vrow[x - 1])) >>
                                5);
            for (int row = filled < y - r ? y - r : filled + 1; row <= y + r; row++) smoothRow(row);
            filled = y + r;
            const short* h7[7];
            for (int k = 0; k < 7; k++) h7[k] = ring[(y - r + k) % 7];
            x = detail::edgeDiffColumns(h7, gy, x0, x1);
            for (; x < x1; x++)
                gy[x] = (short)((h7[6][x] - h7[0][x] + 4 * (h7[5][x] - h7[1][x]) +
                                 5 * (h7[4][x] - h7[2][x])) >>
                                5);
        }
        short* so = strength + size_t(y) * W;
        int x = detail::edgeStrengthRow(gx, gy, so, W, &st.nz, &st.maxS);
        for (; x < W; x++) {
            const int v = (gx[x] < 0 ? -gx[x] : gx[x]) + (gy[x] < 0 ? -gy[x] : gy[x]);
            so[x] = (short)v;
            st.nz += v >= 1;
            if (v > st.maxS) st.maxS = v;
        }
    }
}

// Orientation (folded into 0..180) of rows [y0, y1).
void angleBand(const short* grdX, const short* grdY, short* orient, int W, int y0, int y1) {
    const short* small = smallAngleTable();
    for (int y = y0; y < y1; y++) {
        const short* gx = grdX + size_t(y) * W;
        const short* gy = grdY + size_t(y) * W;
        short* oo = orient + size_t(y) * W;
        for (int x = detail::edgeAngleRow(gx, gy, oo, W); x < W; x++)
            oo[x] = (short)foldedAngle(gx[x], gy[x], small);
    }
}

// The 8-bit strength of rows [y0, y1) and its histogram; four interleaved
// histograms keep runs of equal values from waiting on each other.
void scaleBand(const short* strength, unsigned char* s8, int W, int H, int y0, int y1, int maxS,
               BandStats& st) {
    unsigned hist[4][128] = {};
    for (int y = y0; y < y1; y++) {
        const short* in = strength + size_t(y) * W;
        unsigned char* out = s8 + size_t(y) * W;
        int x = detail::edgeScaleRow(in, out, maxS, W);
        for (; x < W; x++) out[x] = (unsigned char)(in[x] * 127 / maxS);
        x = 0;
        for (; x + 4 <= W; x += 4) {
            hist[0][out[x]]++;
            hist[1][out[x + 1]]++;
            hist[2][out[x + 2]]++;
            hist[3][out[x + 3]]++;
        }
        for (; x < W; x++) hist[0][out[x]]++;
        // The frame counts in the histogram but is cleared for the suppression.
        if (y == 0 || y == H - 1) {
            std::memset(out, 0, size_t(W));
        } else {
            out[0] = out[W - 1] = 0;
        }
    }
    for (int b = 0; b < 128; b++)
        st.hist[b] = (long long)hist[0][b] + hist[1][b] + hist[2][b] + hist[3][b];
}

// Calls fn(x), in increasing x, for the x in [begin, end) where row[x] is
// non-zero, skipping zero words; fn may change row[x] itself but nothing
// after it. The non-zero bytes of a word are found without a branch each.
template <typename F>
inline void forNonZero(const signed char* row, int begin, int end, const F& fn) {
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "byte order of the word scan");
    constexpr unsigned long long kLow7 = 0x7F7F7F7F7F7F7F7FULL, kHigh = 0x8080808080808080ULL;
    int x = begin;
    while (x + 8 <= end) {
        unsigned long long w0, w1, w2, w3;
        std::memcpy(&w0, row + x, 8);
        if (x + 32 <= end) {
            std::memcpy(&w1, row + x + 8, 8);
            std::memcpy(&w2, row + x + 16, 8);
            std::memcpy(&w3, row + x + 24, 8);
            if ((w0 | w1 | w2 | w3) == 0) {
                x += 32;
                continue;
            }
        }
        unsigned long long nz = (((w0 & kLow7) + kLow7) | w0) & kHigh;
        while (nz != 0) {
            fn(x + (__builtin_ctzll(nz) >> 3));
            nz &= nz - 1;
        }
        x += 8;
    }
    for (; x < end; x++)
        if (row[x] != 0) fn(x);
}

// One row of the staircase removal: out = the row as the in-place row-major
// pass leaves it, from the original row `a`, the original row below and the
// finished row above (left neighbours come from out, right ones from a).
// Only positive pixels can change (the maps hold no negative values).
void staircaseRow(const signed char* a, const signed char* below, const signed char* above,
                  signed char* out, int W) {
    std::memcpy(out, a, size_t(W));
    forNonZero(a, 1, W - 1, [&](int x) {
        if (a[x] > 0 && (below[x] > 0 || above[x] > 0) && ((out[x - 1] > 0) != (a[x + 1] > 0)))
            out[x] = 0;
    });
}

// The staircase removal from the original map `a` into `out`, in row bands in
// parallel. A band's first row takes the original row above in place of the
// finished one; afterwards, band by band, where the finished row above differs
// from the original, rows are redone until one comes out as it was. Every row
// then equals the serial pass's.
template <typename Bands>
void removeStaircasesBanded(const signed char* a, signed char* out, int W, int H, int nBands,
                            const Bands& bandRows) {
    auto rowOf = [&](const signed char* m, int y) { return m + size_t(y) * W; };
    auto outRow = [&](int y) { return out + size_t(y) * W; };
    forBands(nBands, (long long)W * H, [&](int i) {
        int y0, y1;
        bandRows(i, y0, y1);
        for (int y = y0; y < y1; y++) {
            if (y == 0 || y == H - 1) {
                std::memcpy(outRow(y), rowOf(a, y), size_t(W));
                continue;
            }
            const signed char* above = y == y0 ? rowOf(a, y - 1) : outRow(y - 1);
            staircaseRow(rowOf(a, y), rowOf(a, y + 1), above, outRow(y), W);
        }
    });
    std::vector<signed char> redo(size_t(W), 0);
    for (int i = 1; i < nBands; i++) {
        int y0, y1;
        bandRows(i, y0, y1);
        if (y0 < 1 || std::memcmp(outRow(y0 - 1), rowOf(a, y0 - 1), size_t(W)) == 0) continue;
        for (int y = y0; y < y1 && y < H - 1; y++) {
            staircaseRow(rowOf(a, y), rowOf(a, y + 1), outRow(y - 1), redo.data(), W);
            if (std::memcmp(redo.data(), outRow(y), size_t(W)) == 0) break;
            std::memcpy(outRow(y), redo.data(), size_t(W));
        }
    }
}

}  // namespace

// ---- MCEdgeList

MCEdgeList::~MCEdgeList() {
    freeEdgeList();
}

void MCEdgeList::addEdge(short* points, int count) {
    if (!points || count < 10) return;
    _tagEdge* e = new (std::nothrow) _tagEdge();
    if (!e) return;
    e->points = new (std::nothrow) short[size_t(count) * 2];
    if (!e->points) {
        delete e;
        return;
    }
    std::memcpy(e->points, points, sizeof(short) * size_t(count) * 2);
    e->count = count;
    if (m_pLast)
        m_pLast->next = e;
    else
        m_pFirst = e;
    m_pLast = e;
    m_nEdgeCount++;
}

void MCEdgeList::freeEdgeList() {
    _tagEdge* e = m_pFirst;
    while (e) {
        _tagEdge* next = e->next;
        delete[] e->points;
        delete e;
        e = next;
    }
    m_pFirst = m_pLast = nullptr;
    m_nEdgeCount = 0;
}

void MCEdgeList::getEdgeMap(unsigned char** rows) {
    if (!rows) return;
    for (_tagEdge* e = m_pFirst; e; e = e->next)
        for (int i = 0; i < e->count; i++) rows[e->points[2 * i + 1]][e->points[2 * i]] = 255;
}

void MCEdgeList::getEdgeIndexMap(unsigned char** rows, _tagEdge** table) {
    if (!rows || !table) return;
    std::memset(table, 0, sizeof(_tagEdge*) * 1024);
    unsigned char number = 1;
    for (_tagEdge* e = m_pFirst; e; e = e->next, number++) {
        table[number] = e;
        for (int i = 0; i < e->count; i++) rows[e->points[2 * i + 1]][e->points[2 * i]] = number;
    }
}

// ---- MCEdgeExtractor

const unsigned char MCEdgeExtractor::m_snWndRadius = 3;
const unsigned char MCEdgeExtractor::m_snWndDiameter = 7;
const short MCEdgeExtractor::m_srDiffFilter[7] = {-1, -4, -5, 0, 5, 4, 1};
const short MCEdgeExtractor::m_srSmoothFilter[7] = {1, 6, 15, 20, 15, 6, 1};

MCEdgeExtractor::MCEdgeExtractor() {}

MCEdgeExtractor::MCEdgeExtractor(unsigned char** rows, unsigned short width, unsigned short height)
    : m_nWidth(width), m_nHeight(height), m_ppGrey(rows) {}

MCEdgeExtractor::MCEdgeExtractor(unsigned char** rows, unsigned short width, unsigned short height,
                                 int nonEdge, int high, int low)
    : m_nWidth(width), m_nHeight(height), m_ppGrey(rows) {
    m_nNonEdge = clampPercent(nonEdge);
    m_nHigh = clampPercent(high);
    m_nLow = clampPercent(low);
}

MCEdgeExtractor::~MCEdgeExtractor() {
    freeResults();
}

void MCEdgeExtractor::freeResults() {
    delete[] m_pStrength8;
    if (m_ppEdgeMap) delete[] m_ppEdgeMap[0];
    delete[] m_ppEdgeMap;
    delete[] m_pGrdX;
    delete[] m_pGrdY;
    delete[] m_pEdgeStrength;
    delete[] m_pEdgeOrient;
    delete[] m_pStrong;
    delete[] m_pWeak;
    m_pStrength8 = nullptr;
    m_ppEdgeMap = nullptr;
    m_pGrdX = m_pGrdY = m_pEdgeStrength = m_pEdgeOrient = nullptr;
    m_pStrong = m_pWeak = nullptr;
    m_edgeList.freeEdgeList();
    m_nBackground = 0;
}

// Edge map and both gradients, and the label reset. Both routes clear them
// before use (the step-by-step one at once, the fused one row by row inside
// its bands): the frame outside the filter window reads as no gradient and
// the edge map starts unvisited.
void MCEdgeExtractor::init() {
    const size_t n = size_t(m_nWidth) * m_nHeight;
    unsigned char* block = new (std::nothrow) unsigned char[n];
    m_ppEdgeMap = block ? new (std::nothrow) unsigned char*[m_nHeight] : nullptr;
    if (!m_ppEdgeMap) {
        delete[] block;
    } else {
        for (int y = 0; y < m_nHeight; y++) m_ppEdgeMap[y] = block + size_t(y) * m_nWidth;
    }
    m_pGrdX = new (std::nothrow) short[n];
    m_pGrdY = new (std::nothrow) short[n];
    m_nLabel = 1;
}

int MCEdgeExtractor::fixedPointAngle(int gyIn, int gxIn) {
    static const long long kBase[8] = {-144, 92304, 184464, 92016, 368784, 276336, 184176, 276624};
    long long gy = gyIn;
    const long long gx = gxIn;
    if (gx == 0 && gy < 1024) gy *= 1024;
    const long long a = gx < 0 ? -gx : gx, b = gy < 0 ? -gy : gy;
    const bool steep = b > a;
    const int i = (a == 0 && b == 0) ? 0 : ((gx < 0) + 2 * (gy < 0)) * 2 + (steep ? 1 : 0);
    const long long small = steep ? a : b, large = steep ? b : a;
    long long num = small;
    if (i == 1 || i == 2 || i == 4 || i == 7) num = ~num;
    num *= 1024;
    const long long den = (large * 1024) | 1;
    // |num| * 2^20 stays below 2^53, so the double quotient truncates to the
    // exact integer quotient (a non-integer quotient is at least 1/den away
    // from the next integer, more than the rounding error), at a fraction of
    // the cost of a 64-bit division.
    const long long t = (long long)(double(num * 1048576) / double(den));
    const long long u = 62560 - floorShift(16193 * (t < 0 ? -t : t), 20);
    const long long v = floorShift(u * t, 20);
    return int(floorShift(kBase[i] + v + 511, 10));
}

bool MCEdgeExtractor::GaussDiffFilter() {
    const int W = m_nWidth, H = m_nHeight, r = m_snWndRadius;
    const short* S = m_srSmoothFilter;
    const short* D = m_srDiffFilter;
    std::vector<short> scratch;
    try {
        scratch.assign(size_t(W) * H, 0);
    } catch (...) {
        return false;
    }
    unsigned char** img = m_ppGrey;
    short* sc = scratch.data();
    const long long work = (long long)W * H;
    // The loops run along rows, so the compiler turns them into vector code;
    // every sum is an exact integer in any order. The shifts by 5 are
    // arithmetic (floor) on the two's-complement targets we build for.
    // Smoothed along y, differenced along x.
    forRowStripes(H, work, [&](int y0, int y1) {
        for (int y = y0 < r ? r : y0; y < y1 && y < H - r; y++) {
            short* out = sc + size_t(y) * W;
            for (int x = 0; x < W; x++) {
                int sum = 0;
                for (int k = 0; k < 7; k++) sum += img[y - r + k][x] * S[k];
                out[x] = (short)sum;
            }
        }
    });
    forRowStripes(H, work, [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const short* row = sc + size_t(y) * W;
            short* out = m_pGrdX + size_t(y) * W;
            for (int x = r; x < W - r; x++) {
                int sum = 0;
                for (int k = 0; k < 7; k++) sum += row[x - r + k] * D[k];
                out[x] = (short)(sum >> 5);
            }
        }
    });
    // Smoothed along x, differenced along y. The scratch is cleared first:
    // its border columns must read 0, not the first pass's values.
    std::fill(scratch.begin(), scratch.end(), short(0));
    forRowStripes(H, work, [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const unsigned char* in = img[y];
            short* out = sc + size_t(y) * W;
            for (int x = r; x < W - r; x++) {
                int sum = 0;
                for (int k = 0; k < 7; k++) sum += in[x - r + k] * S[k];
                out[x] = (short)sum;
            }
        }
    });
    forRowStripes(H, work, [&](int y0, int y1) {
        for (int y = y0 < r ? r : y0; y < y1 && y < H - r; y++) {
            short* out = m_pGrdY + size_t(y) * W;
            for (int x = 0; x < W; x++) {
                int sum = 0;
                for (int k = 0; k < 7; k++) sum += sc[size_t(y - r + k) * W + x] * D[k];
                out[x] = (short)(sum >> 5);
            }
        }
    });
    return true;
}

// Strength, orientation and the 8-bit strength; returns the cut k (0..128), or -1.
// Rows run in stripes, each with its own maximum, count and histogram; the
// integer totals do not depend on how the rows were split.
int MCEdgeExtractor::ComputeEdgeStrength() {
    const int W = m_nWidth, H = m_nHeight;
    const size_t n = size_t(W) * H;
    m_pEdgeStrength = new (std::nothrow) short[n];
    m_pEdgeOrient = new (std::nothrow) short[n];
    if (!m_pEdgeStrength || !m_pEdgeOrient || !m_pStrength8) return -1;
    const int nStripes = H < 16 ? H : 16;
    struct StripeStats {
        int maxS = 1;
        long long nz = 0;
        long long hist[128] = {};
    };
    std::vector<StripeStats> stats(static_cast<size_t>(nStripes));
    const short* small = smallAngleTable();
    auto stripeRows = [&](int i, int& y0, int& y1) {
        y0 = int((long long)H * i / nStripes);
        y1 = int((long long)H * (i + 1) / nStripes);
    };
    const long long work = (long long)W * H;
    forRowStripes(nStripes, work, [&](int i0, int i1) {
        for (int i = i0; i < i1; i++) {
            int y0, y1;
            stripeRows(i, y0, y1);
            StripeStats& st = stats[size_t(i)];
            for (size_t p = size_t(y0) * W; p < size_t(y1) * W; p++) {
                const int gx = m_pGrdX[p], gy = m_pGrdY[p];
                m_pEdgeOrient[p] = (short)foldedAngle(gx, gy, small);
                const int v = (gx < 0 ? -gx : gx) + (gy < 0 ? -gy : gy);
                m_pEdgeStrength[p] = (short)v;
                st.nz += v >= 1;
                if (v > st.maxS) st.maxS = v;
            }
        }
    });
    int maxS = 1;
    long long nz = 0;
    for (const StripeStats& st : stats) {
        maxS = st.maxS > maxS ? st.maxS : maxS;
        nz += st.nz;
    }
    // s * 127 / maxS for every strength up to the maximum, once.
    std::vector<unsigned char> scaled;
    try {
        scaled.resize(size_t(maxS) + 1);
    } catch (...) {
        return -1;
    }
    for (int v = 0; v <= maxS; v++) scaled[size_t(v)] = (unsigned char)(v * 127 / maxS);
    forRowStripes(nStripes, work, [&](int i0, int i1) {
        for (int i = i0; i < i1; i++) {
            int y0, y1;
            stripeRows(i, y0, y1);
            StripeStats& st = stats[size_t(i)];
            for (size_t p = size_t(y0) * W; p < size_t(y1) * W; p++) {
                const int s8 = scaled[size_t(m_pEdgeStrength[p])];
                m_pStrength8[p] = (unsigned char)s8;
                st.hist[s8]++;
            }
        }
    });
    long long hist[128] = {};
    for (const StripeStats& st : stats)
        for (int b = 0; b < 128; b++) hist[b] += st.hist[b];
    const int k = histogramCut(hist, nz, m_nNonEdge);
    m_nBackground = (unsigned short)(k * maxS / 128);
    return k;
}

void MCEdgeExtractor::ProcNonMaxSuppress(int k, unsigned char* o) {
    const int W = m_nWidth, H = m_nHeight;
    unsigned char* s = m_pStrength8;
    std::memset(o, 0, size_t(W) * H);
    for (int x = 0; x < W; x++) s[x] = s[size_t(H - 1) * W + x] = 0;
    for (int y = 0; y < H; y++) s[size_t(y) * W] = s[size_t(y) * W + W - 1] = 0;
    forRowStripes(H, (long long)W * H, [&](int ya, int yb) {
        for (int y = ya < 1 ? 1 : ya; y < yb && y < H - 1; y++)
            for (int x = 1; x < W - 1; x++) {
                const size_t i = size_t(y) * W + x;
                o[i] = (unsigned char)suppressAt(s, i, W, m_pGrdX[i], m_pGrdY[i], k);
            }
    });
}

void MCEdgeExtractor::HysteresisTr(const unsigned char* o) {
    const int W = m_nWidth, H = m_nHeight;
    const int hi = m_nHigh * 128 / 100, lo = m_nLow * 128 / 100;
    const size_t n = size_t(W) * H;
    // Local pointers: byte stores may alias anything, so going through the
    // members would reload them on every pixel and block vector code.
    signed char* strong = m_pStrong;
    signed char* weak = m_pWeak;
    for (size_t i = 0; i < n; i++) {
        strong[i] = thresholdOf(o[i], hi);
        weak[i] = thresholdOf(o[i], lo);
    }
    // With a threshold of 0 the frame would count as edge; the following
    // relies on a clear frame to stay inside the image.
    for (int x = 0; x < W; x++) {
        m_pStrong[x] = m_pWeak[x] = 0;
        m_pStrong[size_t(H - 1) * W + x] = m_pWeak[size_t(H - 1) * W + x] = 0;
    }
    for (int y = 0; y < H; y++) {
        m_pStrong[size_t(y) * W] = m_pWeak[size_t(y) * W] = 0;
        m_pStrong[size_t(y) * W + W - 1] = m_pWeak[size_t(y) * W + W - 1] = 0;
    }
}

void MCEdgeExtractor::RemoveSpuriousEdgePoint_1D(signed char* m) {
    const int W = m_nWidth, H = m_nHeight;
    for (int y = 1; y < H - 1; y++)
        for (int x = 1; x < W - 1; x++) {
            signed char* p = m + size_t(y) * W + x;
            const bool vertical = p[W] > 0 || p[-W] > 0;
            if (!vertical) continue;
            if ((p[-1] <= 0 && p[1] > 0) || (p[-1] > 0 && p[1] <= 0)) *p = 0;
        }
}

void MCEdgeExtractor::RemoveSpuriousEdgePoint_2D(signed char** rows) {
    const int W = m_nWidth, H = m_nHeight;
    for (int y = 1; y < H - 1; y++)
        for (int x = 1; x < W - 1; x++) {
            const bool vertical = rows[y + 1][x] > 0 || rows[y - 1][x] > 0;
            if (!vertical) continue;
            const signed char l = rows[y][x - 1], r = rows[y][x + 1];
            if ((l <= 0 && r > 0) || (l > 0 && r <= 0)) rows[y][x] = 0;
        }
}

namespace detail {

namespace {

// One pass of chain following over a pair of maps.
class ChainFollower {
public:
    ChainFollower(const signed char* weak, unsigned char** edgeMap, int width, unsigned char& label,
                  MCEdgeList& list, short* stack, std::vector<FollowFrame>& frames)
        : m_weak(weak),
          m_map(edgeMap),
          m_width(width),
          m_label(label),
          m_list(list),
          m_stack(stack),
          m_frames(frames) {}

    // Rewinds the point stack by the chain, adds the chain and advances the label.
    void flush() {
        m_stack -= 2 * size_t(m_points);
        m_list.addEdge(m_stack, m_points);
        m_label = (unsigned char)(m_label % 254 + 2);
        m_points = 0;
    }

    // Depth-first following on an explicit stack of frames; visits, marks,
    // pushes and flushes in the order of the recursive description, so a
    // chain of any length costs no call depth. The seed itself is not marked.
    void follow(int x0, int y0) {
        std::vector<FollowFrame>& frames = m_frames;
        frames.clear();
        frames.push_back(FollowFrame{(short)x0, (short)y0, 0, 0, 0});
        while (!frames.empty()) {
            FollowFrame& f = frames.back();
            if (f.next < 8) {
                const int k = f.next++;
                const int nx = f.x + kFollowDx[k], ny = f.y + kFollowDy[k];
                if (m_map[ny][nx] == 0 && m_weak[size_t(ny) * m_width + nx] > 0) {
                    if (f.found) {
                        flush();
                        f.branched = 1;
                    }
                    f.found = 1;
                    m_map[ny][nx] = m_label;
                    frames.push_back(FollowFrame{(short)nx, (short)ny, 0, 0, 0});
                }
                continue;
            }
            m_stack[0] = f.x;
            m_stack[1] = f.y;
            m_stack += 2;
            m_points++;
            const bool branched = f.branched != 0;
            frames.pop_back();
            if (branched) flush();
        }
    }

    void startChain() { m_points = 0; }

private:
    const signed char* m_weak;
    unsigned char** m_map;
    int m_width;
    unsigned char& m_label;
    MCEdgeList& m_list;
    short* m_stack;
    std::vector<FollowFrame>& m_frames;
    int m_points = 0;
};

// Pixels still to take (weak positive and unvisited) as one bit per pixel:
// rows of `words` 64-bit words, one more than the width needs so that a word
// after the one holding any column can be read. At an eighth of the byte map
// it stays in cache while chains wander over the picture. Two more bit maps
// say where chains start: unvisited strong pixels that can never be taken
// (weak not positive), and unvisited strong pixels that can, which start a
// chain only while they are still to take.
struct AvailBits {
    std::vector<unsigned long long> bits, seedAlways, seedWhileFree;
    size_t words = 0;
};

// Builds the bits from the strong and weak maps and, when given, the edge map
// (0 is unvisited; without one every pixel counts as unvisited).
void buildAvailBits(const signed char* strong, const signed char* weak,
                    unsigned char* const* edgeMap, int W, int H, AvailBits& out) {
    out.words = size_t(W + 63) / 64 + 1;
    out.bits.assign(out.words * size_t(H), 0);
    out.seedAlways.assign(out.words * size_t(H), 0);
    out.seedWhileFree.assign(out.words * size_t(H), 0);
    constexpr unsigned long long kLow7 = 0x7F7F7F7F7F7F7F7FULL, kHigh = 0x8080808080808080ULL;
    // High bit of each byte that is positive: non-zero with the sign bit clear.
    auto positive = [&](unsigned long long v) { return (((v & kLow7) + kLow7) | v) & ~v & kHigh; };
    auto nonZero = [&](unsigned long long v) { return (((v & kLow7) + kLow7) | v) & kHigh; };
    // The eight byte flags (high bits) as eight consecutive bits.
    auto gather = [](unsigned long long flags) {
        return ((flags >> 7) * 0x0102040810204080ULL) >> 56;
    };
    forRowStripes(H, (long long)W * H, [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const signed char* w = weak + size_t(y) * W;
            const signed char* st = strong + size_t(y) * W;
            const unsigned char* m = edgeMap ? edgeMap[y] : nullptr;
            const size_t row = out.words * size_t(y);
            unsigned long long* o = out.bits.data() + row;
            unsigned long long* sa = out.seedAlways.data() + row;
            unsigned long long* sf = out.seedWhileFree.data() + row;
            int x = 0;
            for (; x + 8 <= W; x += 8) {
                unsigned long long v, sv, mv = 0;
                std::memcpy(&v, w + x, 8);
                std::memcpy(&sv, st + x, 8);
                if (m) std::memcpy(&mv, m + x, 8);
                const unsigned long long free = ~nonZero(mv);
                const unsigned long long take = positive(v) & free;
                const unsigned long long seed = positive(sv) & free;
                o[x >> 6] |= gather(take) << (x & 63);
                sa[x >> 6] |= gather(seed & ~take) << (x & 63);
                sf[x >> 6] |= gather(seed & take) << (x & 63);
            }
            for (; x < W; x++) {
                const bool free = !m || m[x] == 0;
                const bool take = w[x] > 0 && free, seed = st[x] > 0 && free;
                const unsigned long long bit = 1ULL << (x & 63);
                if (take) o[x >> 6] |= bit;
                if (seed && !take) sa[x >> 6] |= bit;
                if (seed && take) sf[x >> 6] |= bit;
            }
        }
    });
}

// The same following over the availability bits: a pixel's eight neighbour
// tests are three word reads and a table, the state of the pixel being
// followed stays in registers, and seeds come from the seed bits a word at a
// time.
class FastChainFollower {
public:
    FastChainFollower(AvailBits& avail, unsigned char** edgeMap, int width, int height,
                      unsigned char& label, MCEdgeList& list, short* stack)
        : m_avail(avail),
          m_map(edgeMap),
          m_width(width),
          m_height(height),
          m_label(label),
          m_list(list),
          m_stack(stack),
          m_bits(avail.bits.data()),
          m_words(avail.words) {}

    // Row-major over every pixel that starts a chain at the moment the scan
    // reaches it: a chain may take pixels further along the same word, so the
    // word's candidates are taken again after each chain.
    void run() {
        const size_t used = size_t(m_width + 63) / 64;
        for (int y = 0; y < m_height; y++) {
            const size_t row = m_words * size_t(y);
            for (size_t i = 0; i < used; i++) {
                const unsigned long long always = m_avail.seedAlways[row + i];
                const unsigned long long whileFree = m_avail.seedWhileFree[row + i];
                if ((always | whileFree) == 0) continue;
                unsigned long long seeds = always | (whileFree & m_bits[row + i]);
                while (seeds != 0) {
                    const int bit = __builtin_ctzll(seeds);
                    m_points = 0;
                    follow(int(i * 64) + bit, y);
                    flush();
                    const unsigned long long later = bit == 63 ? 0 : ~0ULL << (bit + 1);
                    seeds = (always | (whileFree & m_bits[row + i])) & later;
                }
            }
        }
    }

private:
    // A suspended pixel: x, y, the neighbours that were still free after the
    // one being followed, and whether the chain branched there, in one word.
    // A suspended pixel has always found a neighbour.
    typedef unsigned long long Frame;
    static Frame pack(int x, int y, unsigned rest, unsigned branched) {
        return Frame(unsigned(x)) | Frame(unsigned(y)) << 16 | Frame(rest) << 32 |
               Frame(branched) << 40;
    }

    // Bit k of entry (above | middle << 3 | below << 6), each three bits for
    // columns x - 1, x, x + 1, is set when neighbour k (following order) is.
    static const unsigned char* aroundTable() {
        static const std::vector<unsigned char> table = [] {
            std::vector<unsigned char> t(512);
            for (unsigned i = 0; i < 512; i++) {
                auto bit = [&](int row, int col) { return (i >> (3 * row + col)) & 1u; };
                unsigned m = 0;
                for (int k = 0; k < 8; k++) m |= bit(1 + kFollowDy[k], 1 + kFollowDx[k]) << k;
                t[i] = (unsigned char)m;
            }
            return t;
        }();
        return table.data();
    }

    // Whole aligned words are read, the words the marking writes: a read
    // straddling a freshly written word would wait for the write to settle.
    unsigned availableAround(int x, int y) const {
        const unsigned long long* r = m_bits + m_words * size_t(y) + size_t((x - 1) >> 6);
        const int shift = (x - 1) & 63;
        auto three = [&](const unsigned long long* p) {
            unsigned long long w = p[0] >> shift;
            if (shift > 61) w |= p[1] << (64 - shift);
            return unsigned(w) & 7u;
        };
        return m_around[three(r - m_words) | three(r) << 3 | three(r + m_words) << 6];
    }

    void flush() {
        m_stack -= 2 * size_t(m_points);
        m_list.addEdge(m_stack, m_points);
        m_label = (unsigned char)(m_label % 254 + 2);
        m_points = 0;
    }

    void follow(int x0, int y0) {
        int x = x0, y = y0;
        unsigned found = 0, branched = 0;
        // All eight neighbours at once, without a branch per neighbour.
        unsigned mask = availableAround(x, y);
        size_t top = 0;  // suspended pixels
        for (;;) {
            if (mask != 0) {
                const int k = __builtin_ctz(mask);
                if (found) {
                    flush();
                    branched = 1;
                }
                if (top == m_frames.size()) m_frames.resize(top < 1024 ? 1024 : 2 * top);
                m_frames[top++] = pack(x, y, mask & (mask - 1), branched);
                x += kFollowDx[k];
                y += kFollowDy[k];
                m_map[y][x] = m_label;
                m_bits[m_words * size_t(y) + size_t(x >> 6)] &= ~(1ULL << (x & 63));
                found = branched = 0;
                mask = availableAround(x, y);
                continue;
            }
            m_stack[0] = (short)x;
            m_stack[1] = (short)y;
            m_stack += 2;
            m_points++;
            if (branched) flush();
            if (top == 0) break;
            const Frame f = m_frames[--top];
            x = int(f & 0xFFFF);
            y = int((f >> 16) & 0xFFFF);
            const unsigned rest = unsigned(f >> 32) & 0xFFu;
            branched = unsigned(f >> 40) & 1u;
            found = 1;
            // Following takes pixels and never frees one: a neighbour not free
            // when the pixel was suspended is not free now, so only those that
            // were need a look (none, along a plain chain).
            mask = rest != 0 ? availableAround(x, y) & rest : 0;
        }
    }

    AvailBits& m_avail;
    unsigned char** m_map;
    int m_width, m_height;
    unsigned char& m_label;
    MCEdgeList& m_list;
    short* m_stack;
    unsigned long long* m_bits;
    size_t m_words;
    const unsigned char* m_around = aroundTable();
    std::vector<Frame> m_frames;
    int m_points = 0;
};

// Follows every chain over prepared availability bits; false when memory runs out.
bool followAvailable(AvailBits& avail, unsigned char** edgeMap, int width, int height,
                     unsigned char& label, MCEdgeList& list, short* stack) {
    try {
        FastChainFollower(avail, edgeMap, width, height, label, list, stack).run();
    } catch (...) {
        return false;
    }
    return true;
}

}  // namespace

bool followEdgeChains(const signed char* strong, const signed char* weak, unsigned char** edgeMap,
                      int width, int height, unsigned char& label, MCEdgeList& list) {
    if (!strong || !weak || !edgeMap || width < 1 || height < 1) return false;
    // A pixel is pushed once when it is taken, plus once more as a seed.
    short* stack = new (std::nothrow) short[(size_t(width) * height + 1) * 2];
    if (!stack) return false;
    bool ok = true;
    std::vector<FollowFrame> frames;
    try {
        if (useOptimized()) {
            AvailBits avail;
            buildAvailBits(strong, weak, edgeMap, width, height, avail);
            FastChainFollower(avail, edgeMap, width, height, label, list, stack).run();
            delete[] stack;
            return true;
        }
        ChainFollower f(weak, edgeMap, width, label, list, stack, frames);
        for (int y = 0; y < height; y++)
            for (int x = 0; x < width; x++) {
                if (edgeMap[y][x] != 0 || strong[size_t(y) * width + x] <= 0) continue;
                f.startChain();
                f.follow(x, y);
                f.flush();
            }
    } catch (...) {
        ok = false;
    }
    delete[] stack;
    return ok;
}

}  // namespace detail

int MCEdgeExtractor::GetEdgeData() {
    if (!m_ppGrey || m_nWidth < 1 || m_nHeight < 1 || m_nWidth > 32767 || m_nHeight > 32767)
        return kNullArgument;
    freeResults();
    init();
    if (!m_ppEdgeMap || !m_pGrdX || !m_pGrdY) return kNullArgument;
    if (detail::useOptimized()) return edgeDataFused();
    const size_t n = size_t(m_nWidth) * m_nHeight;
    std::memset(m_ppEdgeMap[0], 0, n);
    std::memset(m_pGrdX, 0, n * sizeof(short));
    std::memset(m_pGrdY, 0, n * sizeof(short));
    if (!GaussDiffFilter()) return kStrengthFailed;
    m_pStrength8 = new (std::nothrow) unsigned char[n];
    const int k = ComputeEdgeStrength();
    if (k < 0) return kStrengthFailed;
    std::vector<unsigned char> suppressed;
    try {
        suppressed.resize(n);
    } catch (...) {
        return kSuppressFailed;
    }
    ProcNonMaxSuppress(k, suppressed.data());
    m_pStrong = new (std::nothrow) signed char[n];
    m_pWeak = new (std::nothrow) signed char[n];
    if (!m_pStrong || !m_pWeak) return kHysteresisFailed;
    HysteresisTr(suppressed.data());
    RemoveSpuriousEdgePoint_1D(m_pWeak);
    suppressed.clear();
    suppressed.shrink_to_fit();
    delete[] m_pGrdX;
    delete[] m_pGrdY;
    m_pGrdX = m_pGrdY = nullptr;
    const bool ok = detail::followEdgeChains(m_pStrong, m_pWeak, m_ppEdgeMap, m_nWidth, m_nHeight,
                                             m_nLabel, m_edgeList);
    delete[] m_pStrong;
    delete[] m_pWeak;
    m_pStrong = m_pWeak = nullptr;
    return ok ? 0 : kExtractFailed;
}

// The same pipeline with the passes fused into sweeps over row bands
// (gradients with strength; the 8-bit strength with its histogram;
// suppression with both thresholds; staircase removal) and vector kernels
// inside; the following stays serial, with the orientation computed beside
// it. The results are those of the step-by-step route.
int MCEdgeExtractor::edgeDataFused() {
    const int W = m_nWidth, H = m_nHeight;
    const size_t n = size_t(W) * H;
    m_pStrength8 = new (std::nothrow) unsigned char[n];
    m_pEdgeStrength = new (std::nothrow) short[n];
    m_pEdgeOrient = new (std::nothrow) short[n];
    if (!m_pStrength8 || !m_pEdgeStrength || !m_pEdgeOrient) return kStrengthFailed;
    const long long work = (long long)n;
    // Bands of at least 32 rows: each band smooths its six halo rows again.
    const int nBands = std::max(1, std::min(16, H / 32));
    auto bandRows = [&](int i, int& y0, int& y1) {
        y0 = int((long long)H * i / nBands);
        y1 = int((long long)H * (i + 1) / nBands);
    };
    std::vector<BandStats> stats;
    try {
        stats.resize(size_t(nBands));
        forBands(nBands, work, [&](int i) {
            int y0, y1;
            bandRows(i, y0, y1);
            gradientBand(m_ppGrey, W, H, y0, y1, m_pGrdX, m_pGrdY, m_pEdgeStrength,
                         stats[size_t(i)]);
        });
    } catch (...) {
        return kStrengthFailed;
    }
    int maxS = 1;
    long long nz = 0;
    for (const BandStats& st : stats) {
        maxS = std::max(maxS, st.maxS);
        nz += st.nz;
    }
    forBands(nBands, work, [&](int i) {
        int y0, y1;
        bandRows(i, y0, y1);
        scaleBand(m_pEdgeStrength, m_pStrength8, W, H, y0, y1, maxS, stats[size_t(i)]);
    });
    long long hist[128] = {};
    for (const BandStats& st : stats)
        for (int b = 0; b < 128; b++) hist[b] += st.hist[b];
    const int k = histogramCut(hist, nz, m_nNonEdge);
    m_nBackground = (unsigned short)(k * maxS / 128);

    const unsigned char* s = m_pStrength8;
    m_pStrong = new (std::nothrow) signed char[n];
    m_pWeak = new (std::nothrow) signed char[n];
    if (!m_pStrong || !m_pWeak) return kHysteresisFailed;
    const int hi = m_nHigh * 128 / 100, lo = m_nLow * 128 / 100;
    signed char* strong = m_pStrong;
    signed char* weak = m_pWeak;
    const short* gxs = m_pGrdX;
    const short* gys = m_pGrdY;
    // Suppressed values go straight into both maps; the frame of both is 0.
    forRowStripes(H, work, [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            signed char* so = strong + size_t(y) * W;
            signed char* wo = weak + size_t(y) * W;
            std::memset(m_ppEdgeMap[y], 0, size_t(W));
            so[0] = so[W - 1] = wo[0] = wo[W - 1] = 0;
            if (y == 0 || y == H - 1) {
                std::memset(so, 0, size_t(W));
                std::memset(wo, 0, size_t(W));
                continue;
            }
            const size_t row = size_t(y) * W;
            int x = W > 2 ? detail::edgeSuppressRow(s + row - W, s + row, s + row + W, gxs + row,
                                                    gys + row, k, hi, lo, so, wo, 1, W - 1)
                          : W - 1;
            for (; x < W - 1; x++) {
                const int o = suppressAt(s, row + x, W, gxs[row + x], gys[row + x], k);
                so[x] = thresholdOf(o, hi);
                wo[x] = thresholdOf(o, lo);
            }
        }
    });
    {
        // The suppression wrote the weak map before staircase removal into
        // m_pWeak; the finished map goes to a second buffer that takes its place.
        signed char* done = new (std::nothrow) signed char[n];
        if (!done) return kHysteresisFailed;
        try {
            removeStaircasesBanded(weak, done, W, H, nBands, bandRows);
        } catch (...) {
            delete[] done;
            return kHysteresisFailed;
        }
        delete[] m_pWeak;
        m_pWeak = done;
    }
    // The edge map is all unvisited here: the weak map alone says what may be
    // taken. The following is serial; the orientation, which nothing after it
    // reads, is computed in bands meanwhile by the other threads.
    detail::AvailBits avail;
    short* stack = nullptr;
    try {
        detail::buildAvailBits(m_pStrong, m_pWeak, nullptr, W, H, avail);
        stack = new short[(n + 1) * 2];
    } catch (...) {
        return kExtractFailed;
    }
    bool ok = true;
    forBands(nBands + 1, work, [&](int i) {
        if (i == 0) {
            ok = detail::followAvailable(avail, m_ppEdgeMap, W, H, m_nLabel, m_edgeList, stack);
            return;
        }
        int y0, y1;
        bandRows(i - 1, y0, y1);
        angleBand(m_pGrdX, m_pGrdY, m_pEdgeOrient, W, y0, y1);
    });
    delete[] stack;
    delete[] m_pGrdX;
    delete[] m_pGrdY;
    m_pGrdX = m_pGrdY = nullptr;
    delete[] m_pStrong;
    delete[] m_pWeak;
    m_pStrong = m_pWeak = nullptr;
    return ok ? 0 : kExtractFailed;
}

int MCEdgeExtractor::GetEdgeMapFromEdgeList(unsigned char** rows, int minLength) {
    if (!rows) return kNullArgument;
    for (_tagEdge* e = m_edgeList.getFirstEdge(); e; e = e->next)
        if (e->count > minLength)
            for (int i = 0; i < e->count; i++) rows[e->points[2 * i + 1]][e->points[2 * i]] = 255;
    return 0;
}

int MCEdgeExtractor::RemoveEdgeByLength(unsigned char** rows, int minLength) {
    if (!rows) return kNullArgument;
    for (_tagEdge* e = m_edgeList.getFirstEdge(); e; e = e->next)
        if (e->count < minLength)
            for (int i = 0; i < e->count; i++) rows[e->points[2 * i + 1]][e->points[2 * i]] = 0;
    return 0;
}

int MCEdgeExtractor::getEdgeCount() {
    int sum = 0;
    for (_tagEdge* e = m_edgeList.getFirstEdge(); e; e = e->next)
        if (e->count > 10) sum += e->count;
    return sum;
}

// ---- ipNMS

bool ipNMS::process(Mat* src, Mat* dst) {
    if (!src || !src->isValid() || src->type() != MAT_Tuchar) return false;
    const int ch = src->channels();
    if (ch != 1 && ch != 3 && ch != 4) return false;
    if (src->rows() < 1 || src->cols() < 1 || src->rows() > 32767 || src->cols() > 32767)
        return false;
    Mat grey;
    if (ch == 1)
        grey.create(*src, true);
    else
        ColorSpace::RGBtoGray(*src, grey);
    if (grey.channels() != 1 || !grey.isEqualSize(*src)) return false;
    std::vector<unsigned char*> rows(size_t(grey.rows()));
    for (int y = 0; y < grey.rows(); y++) rows[size_t(y)] = grey.ptr<unsigned char>(y);
    MCEdgeExtractor ex(rows.data(), (unsigned short)grey.cols(), (unsigned short)grey.rows());
    if (ex.GetEdgeData() != 0 || !ex.GetStrength8()) return false;
    Mat* out = dst ? dst : src;
    if (dst && (!dst->isEqualSize(*src) || dst->type1() != src->type1())) {
        dst->release();
        if (dst->create(src->rows(), src->cols(), src->type1()) < 0) return false;
    }
    const unsigned char* s8 = ex.GetStrength8();
    const int W = src->cols();
    for (int y = 0; y < src->rows(); y++) {
        unsigned char* o = out->ptr<unsigned char>(y);
        for (int x = 0; x < W; x++) {
            const unsigned char v = s8[size_t(y) * W + x] == 0 ? 255 : 0;
            for (int c = 0; c < ch; c++) o[x * ch + c] = v;
        }
    }
    return true;
}

PumpABC* ipNMS::clone() const {
    return new (std::nothrow) ipNMS(*this);
}

}  // namespace tarvo
