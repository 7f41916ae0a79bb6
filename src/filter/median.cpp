// ip::median and the ipMedian operator.
//
// The result of a pixel is the sample at index count / 2 of the sorted
// samples of its window that lie inside the image. That sample is a value,
// so every method that selects the same rank gives the same bytes:
//   - the direct loop (gather, select) is the reference and runs under the
//     scalar switch, for 16-bit and int images and at the edges;
//   - 3 x 3 and 5 x 5 byte windows run min / max selection networks over
//     full vectors of interior pixels; 5 x 5 also over the windows clipped
//     by one edge (3 or 4 rows or columns), since the direct loop on that
//     frame would otherwise cost more than the whole interior;
//   - other byte windows run a rank search over running column histograms
//     with lazily updated fine bins, whose cost does not grow with the
//     window; it handles the shrinking edge windows and the asymmetric even
//     windows with the same rule.
#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <vector>

#include "filter/direct_filter.h"
#include "detail/aliasing.h"
#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace {

// Window taps along one axis: -lo .. hi around the centre.
struct Taps {
    int lo, hi;
};

// Direct loop over rows [ya, yb): gathers the window samples inside the
// image and selects the one at index count / 2. Only elements [xa, xb) of
// pixels (columns) are written when given.
template <typename T>
void directRows(const Mat& s, Mat& d, Taps ty, Taps tx, int ya, int yb, int xa, int xb,
                std::vector<T>& buf) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    for (int y = ya; y < yb; y++) {
        const int r0 = std::max(y - ty.lo, 0), r1 = std::min(y + ty.hi, rows - 1);
        T* drow = d.ptr<T>(y);
        for (int x = xa; x < xb; x++) {
            const int c0 = std::max(x - tx.lo, 0), c1 = std::min(x + tx.hi, cols - 1);
            for (int c = 0; c < cn; c++) {
                size_t cnt = 0;
                for (int r = r0; r <= r1; r++) {
                    const T* srow = s.ptr<T>(r);
                    for (int q = c0; q <= c1; q++) buf[cnt++] = srow[q * cn + c];
                }
                std::nth_element(buf.begin(), buf.begin() + cnt / 2, buf.begin() + cnt);
                drow[x * cn + c] = buf[cnt / 2];
            }
        }
    }
}

// Scratch of the direct loop: the window clipped to the image, never the
// full window squared (which overflows for large windows).
size_t clippedCount(const Mat& s, Taps ty, Taps tx) {
    const long long h = std::min<long long>((long long)ty.lo + ty.hi + 1, s.rows());
    const long long w = std::min<long long>((long long)tx.lo + tx.hi + 1, s.cols());
    return size_t(h * w);
}

template <typename T>
void directAll(const Mat& s, Mat& d, Taps ty, Taps tx) {
    const size_t scratch = clippedCount(s, ty, tx);
    const double work = double(s.rows()) * s.cols() * s.channels() * double(scratch);
    detail::directParallelRows(s.rows(), work / 16.0, [&](int ya, int yb) {
        std::vector<T> buf(scratch);
        directRows<T>(s, d, ty, tx, ya, yb, 0, s.cols(), buf);
    });
}

// The bin of 16 holding the sample of the given rank, counting acc samples
// below the bins: the number of leading bins whose running total stays at
// or below rank. acc grows by the samples in those bins. Branch-free, as the
// exit of a scanning loop is a misprediction on nearly every pixel.
template <typename H>
inline int rankBin(const H* bins, long long rank, long long& acc) {
    long long run = acc, below = acc;
    int b = 0;
    for (int k = 0; k < 16; k++) {
        run += bins[k];
        const bool under = run <= rank;
        b += under;
        below = under ? run : below;
    }
    acc = below;
    return b;
}

// Rank search over running column histograms for bytes, rows [ya, yb), one
// channel c. Bin type H must hold the window's sample count; counts wrap
// in H only between an add and the matching subtract, so they end exact.
//
// The window histogram has 16 coarse bins (high nibble), kept current at
// every step, and 256 fine bins in 16 segments, each brought up to date only
// when the search enters it: segment b remembers the column luc[b] it was
// last valid for, and catches up by adding and removing the segments of the
// columns that entered and left since (or is summed afresh from the window's
// columns when that is cheaper). Fine bins whose coarse bin holds no
// median are never touched, so a step costs a few segments, not 256 bins.
template <typename H>
void histRows(const Mat& s, Mat& d, Taps ty, Taps tx, int c, int ya, int yb) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    // Column histograms: 256 fine bins then 16 coarse bins per column.
    const size_t stride = 256 + 16;
    std::vector<H> colh(size_t(cols) * stride, H(0));
    auto addRow = [&](int r, int sign) {
        const unsigned char* srow = s.data.ptr[r];
        for (int x = 0; x < cols; x++) {
            const int v = srow[x * cn + c];
            H* h = colh.data() + size_t(x) * stride;
            h[v] = H(h[v] + sign);
            h[256 + (v >> 4)] = H(h[256 + (v >> 4)] + sign);
        }
    };
    auto column = [&](int x) { return colh.data() + size_t(x) * stride; };
    const int start = std::max(ya - ty.lo, 0), end = std::min(ya + ty.hi, rows - 1);
    for (int r = start; r <= end; r++) addRow(r, 1);
    H coarse[16], fine[256];
    int luc[16];
    const int width = tx.lo + tx.hi + 1;
    for (int y = ya; y < yb; y++) {
        if (y > ya) {
            if (y - ty.lo - 1 >= 0) addRow(y - ty.lo - 1, -1);
            if (y + ty.hi < rows) addRow(y + ty.hi, 1);
        }
        const int nr = std::min(y + ty.hi, rows - 1) - std::max(y - ty.lo, 0) + 1;
        std::fill(coarse, coarse + 16, H(0));
        for (int q = 0; q <= std::min(tx.hi, cols - 1); q++) {
            const H* h = column(q) + 256;
            for (int b = 0; b < 16; b++) coarse[b] = H(coarse[b] + h[b]);
        }
        std::fill(luc, luc + 16, INT_MIN / 2);  // every segment stale
        unsigned char* drow = d.data.ptr[y];
        for (int x = 0; x < cols; x++) {
            const int c0 = std::max(x - tx.lo, 0), c1 = std::min(x + tx.hi, cols - 1);
            const long long rank = (long long)nr * (c1 - c0 + 1) / 2;
            long long acc = 0;
            const int b = rankBin(coarse, rank, acc);
            H* seg = fine + 16 * b;
            const size_t off = size_t(16 * b);
            if (x - luc[b] > width / 2 + 1) {
                std::fill(seg, seg + 16, H(0));
                for (int q = c0; q <= c1; q++) {
                    const H* h = column(q) + off;
                    for (int k = 0; k < 16; k++) seg[k] = H(seg[k] + h[k]);
                }
            } else {
                for (int j = luc[b] + 1; j <= x; j++) {
                    const int in = j + tx.hi, out = j - tx.lo - 1;
                    if (in < cols) {
                        const H* h = column(in) + off;
                        for (int k = 0; k < 16; k++) seg[k] = H(seg[k] + h[k]);
                    }
                    if (out >= 0) {
                        const H* h = column(out) + off;
                        for (int k = 0; k < 16; k++) seg[k] = H(seg[k] - h[k]);
                    }
                }
            }
            luc[b] = x;
            const int v = rankBin(seg, rank, acc);
            drow[x * cn + c] = (unsigned char)(16 * b + v);
            const int in = x + 1 + tx.hi, out = x - tx.lo;
            if (in < cols) {
                const H* h = column(in) + 256;
                for (int k = 0; k < 16; k++) coarse[k] = H(coarse[k] + h[k]);
            }
            if (out >= 0) {
                const H* h = column(out) + 256;
                for (int k = 0; k < 16; k++) coarse[k] = H(coarse[k] - h[k]);
            }
        }
    }
}

void histAll(const Mat& s, Mat& d, Taps ty, Taps tx) {
    const long long nmax =
        (long long)std::min(ty.lo + ty.hi + 1, s.rows()) * std::min(tx.lo + tx.hi + 1, s.cols());
    const int rows = s.rows();
    // Stripes of at least 32 rows: each stripe first fills its histograms.
    const int stripeRows = std::max(32, std::min(ty.lo + ty.hi + 1, rows));
    const int stripes = (rows + stripeRows - 1) / stripeRows;
    for (int c = 0; c < s.channels(); c++) {
        // Few long stripes: each one first fills the column histograms of a
        // window's height and clears cols * 272 counts, so a stripe spans at
        // least eight window heights where the image allows (at most four per
        // thread, for balance when a thread is slowed, at least one).
        const int threads = getNumThreads();
        const int wanted =
            threads > 1 ? std::min(stripes, std::max(threads, std::min(4 * threads, stripes / 8)))
                        : 1;
        detail::directParallelRows(stripes, wanted * 65536.0, [&](int a, int b) {
            const int ya = a * stripeRows, yb = std::min(b * stripeRows, rows);
            if (nmax <= 65535) {
                std::vector<uint16_t> scratch(size_t(s.cols()) * (256 + 16));
                const detail::HistStripe st{
                    s.data.ptr, d.data.ptr, scratch.data(), rows, s.cols(), s.channels(), c, ty.lo,
                    ty.hi,      tx.lo,      tx.hi,          ya,   yb};
                if (!detail::vecHistMedianStripe(st)) histRows<uint16_t>(s, d, ty, tx, c, ya, yb);
            } else
                histRows<uint32_t>(s, d, ty, tx, c, ya, yb);
        });
    }
}

// The columns next to the side edges of rows [ya, yb) under a 5 x 5 window:
// their windows hold 3 or 4 columns, which transposed are the rows of a
// clipped window, so the side bands are copied out as rows and run through
// the clipped-window kernel. Needs cols > 4; rows whose windows are clipped
// vertically are not passed here.
void sideColumns5(const Mat& s, Mat& d, int ya, int yb, std::vector<unsigned char>& buf) {
    const int cols = s.cols(), cn = s.channels();
    const Taps t{2, 2};
    const int first = ya - 2, len = yb - ya + 4;  // source rows [first, first + len)
    // band[i]: source column i of the left band, band[4 + i] column cols - 4 + i.
    // out is indexed like a band row: output row y at (y - first) * cn.
    std::vector<unsigned char> band(size_t(8) * len * cn), out(size_t(len) * cn);
    for (int i = 0; i < 8; i++) {
        const int x = i < 4 ? i : cols - 8 + i;
        unsigned char* b = band.data() + size_t(i) * len * cn;
        for (int r = 0; r < len; r++)
            std::memcpy(b + size_t(r) * cn, s.data.ptr[first + r] + size_t(x) * cn, size_t(cn));
    }
    // Output column, window rows in the band, and their count.
    const struct {
        int x, lo, r;
    } jobs[4] = {{0, 0, 3}, {1, 0, 4}, {cols - 2, 4, 4}, {cols - 1, 5, 3}};
    for (const auto& j : jobs) {
        const unsigned char* rp[4];
        for (int i = 0; i < j.r; i++) rp[i] = band.data() + size_t(j.lo + i) * len * cn;
        const int done =
            detail::vecMedian5ClippedU8(rp, j.r, cn, 2 * cn, (len - 2) * cn, out.data());
        const int ydone = ya + std::max(done / cn - 2, 0);
        for (int y = ya; y < ydone; y++)
            std::memcpy(d.data.ptr[y] + size_t(j.x) * cn, out.data() + size_t(y - first) * cn,
                        size_t(cn));
        if (ydone < yb) directRows<unsigned char>(s, d, t, t, ydone, yb, j.x, j.x + 1, buf);
    }
}

// 3 x 3 and 5 x 5 windows on bytes: selection networks over the interior;
// for 5 x 5 also over the windows clipped by one edge. The direct loop does
// the rest.
void networkAll(const Mat& s, Mat& d, int n) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    const int h = n / 2;
    const Taps t{h, h};
    // Stripes of at least 64 rows (a few per thread): the side columns of a
    // stripe run as rows of its height, which need a full vector of them.
    const int stripes = std::max(1, std::min(rows / 64, 4 * getNumThreads()));
    detail::directParallelRows(rows, stripes * 65536.0, [&](int ya, int yb) {
        std::vector<unsigned char> buf(size_t(n) * n);
        const unsigned char* rp[6];
        const int from = h * cn, to = (cols - h) * cn;
        for (int y = ya; y < yb; y++) {
            const int r0 = std::max(y - h, 0), r1 = std::min(y + h, rows - 1);
            const int r = r1 - r0 + 1;
            if (cols <= 2 * h || (r < n && (n != 5 || r < 3))) {
                directRows<unsigned char>(s, d, t, t, y, y + 1, 0, cols, buf);
                continue;
            }
            unsigned char* drow = d.data.ptr[y];
            int done, pairRows = 1;
            if (r < n) {
                for (int j = 0; j < r; j++) rp[j] = s.data.ptr[r0 + j];
                done = detail::vecMedian5ClippedU8(rp, r, cn, from, to, drow);
                directRows<unsigned char>(s, d, t, t, y, y + 1, 0, h, buf);
                directRows<unsigned char>(s, d, t, t, y, y + 1, cols - h, cols, buf);
            } else {
                // 5 x 5 takes two interior rows at once where it can: they
                // share four source rows.
                pairRows = n == 5 && y + 1 < yb && y + 1 + h < rows ? 2 : 1;
                if (n != 5) {
                    directRows<unsigned char>(s, d, t, t, y, y + 1, 0, h, buf);
                    directRows<unsigned char>(s, d, t, t, y, y + 1, cols - h, cols, buf);
                }
                for (int j = 0; j < n + pairRows - 1; j++) rp[j] = s.data.ptr[y - h + j];
                done = pairRows == 2
                           ? detail::vecMedian5Rows2U8(rp, cn, from, to, drow, d.data.ptr[y + 1])
                           : detail::vecMedianRowU8(rp, n, cn, from, to, drow);
            }
            const int xdone = done / cn;  // whole pixels written by the vector kernel
            if (xdone < cols - h)
                directRows<unsigned char>(s, d, t, t, y, y + pairRows, std::max(xdone, h), cols - h,
                                          buf);
            y += pairRows - 1;
        }
        // Side columns of the rows whose windows have all five rows.
        const int ia = std::max(ya, h), ib = std::min(yb, rows - h);
        if (n == 5 && cols > 2 * h && ia < ib) sideColumns5(s, d, ia, ib, buf);
    });
}

}  // namespace

namespace ip {

void median(const Mat& src, Mat& dst, int window, filterintype kind) {
    if (src.empty() || window < 1) return;
    const int depth = src.type();
    if (depth != MAT_Tuchar && depth != MAT_Tshort && depth != MAT_Tint) return;
    const bool line = kind == FilterHorizontal || kind == FilterVertical;
    if (line && src.channels() != 1) return;
    const Taps full{window / 2, window - window / 2 - 1}, none{0, 0};
    const Taps ty = kind == FilterHorizontal ? none : full;
    const Taps tx = kind == FilterVertical ? none : full;

    // A destination that shares memory with the source reads from a copy, so
    // no result feeds a later window.
    Mat copy;
    const Mat* s = &src;
    if (detail::sharesMemory(src, dst)) {
        copy.create(src, true);
        if (copy.empty()) return;
        s = &copy;
    }
    if (dst.empty() || dst.type1() != s->type1() || !dst.isEqualSize(*s)) {
        dst.release();
        if (dst.create(*s, false) < 0) return;
    }
    const bool vec = checkHardwareSupport(CPU_INT_VECTORS);
    if (depth == MAT_Tuchar && vec) {
        if (!line && (window == 3 || window == 5))
            networkAll(*s, dst, window);
        else if (window > 1)
            histAll(*s, dst, ty, tx);
        else
            directAll<unsigned char>(*s, dst, ty, tx);
    } else if (depth == MAT_Tuchar) {
        directAll<unsigned char>(*s, dst, ty, tx);
    } else if (depth == MAT_Tshort) {
        directAll<short>(*s, dst, ty, tx);
    } else {
        directAll<int>(*s, dst, ty, tx);
    }
}

void median(Mat& image, int window, filterintype kind) {
    if (image.empty()) return;
    Mat copy(image);
    if (!copy.empty()) median(copy, image, window, kind);
}

}  // namespace ip

PumpABC* ipMedian::clone() const {
    return new (std::nothrow) ipMedian(window);
}

bool ipMedian::process(Mat* src, Mat* dst) {
    if (!src || src->empty() || window < 1) return false;
    const int depth = src->type();
    if (depth != MAT_Tuchar && depth != MAT_Tshort && depth != MAT_Tint) return false;
    if (dst)
        ip::median(*src, *dst, window, FilterSquare);
    else
        ip::median(*src, window, FilterSquare);
    return true;
}

}  // namespace tarvo
