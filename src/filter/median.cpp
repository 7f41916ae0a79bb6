// ip::median and the ipMedian operator.
//
// The result of a pixel is the sample at index count / 2 of the sorted
// samples of its window that lie inside the image. That sample is a value,
// so every method that selects the same rank gives the same bytes:
//   - the direct loop (gather, select) is the reference and runs under the
//     scalar switch, for 16-bit and int images and at the edges;
//   - 3 x 3 and 5 x 5 byte windows run min / max selection networks over
//     full vectors of interior pixels;
//   - other byte windows run a rank search over running column histograms,
//     whose cost does not grow with the window; it handles the shrinking
//     edge windows and the asymmetric even windows with the same rule.
#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "filter/direct_filter.h"
#include "detail/aliasing.h"
#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace detail {
// Vector forms of the histogram steps (median_simd.cpp): h += add - sub over
// 256 bins, for 16-bit and 32-bit bins.
void vecHistMove(uint16_t* h, const uint16_t* add, const uint16_t* sub);
void vecHistMove(uint32_t* h, const uint32_t* add, const uint32_t* sub);
}  // namespace detail

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

// Rank search over running column histograms for bytes, rows [ya, yb), one
// channel c. Bin type H must hold the window's sample count.
template <typename H>
void histRows(const Mat& s, Mat& d, Taps ty, Taps tx, int c, int ya, int yb) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    // Column histograms: 256 fine bins then 16 coarse bins per column, plus
    // an all-zero column used for the columns outside the image.
    const size_t stride = 256 + 16;
    std::vector<H> colh(size_t(cols + 1) * stride, H(0));
    const H* zero = colh.data() + size_t(cols) * stride;
    auto addRow = [&](int r, int sign) {
        const unsigned char* srow = s.data.ptr[r];
        for (int x = 0; x < cols; x++) {
            const int v = srow[x * cn + c];
            H* h = colh.data() + size_t(x) * stride;
            h[v] = H(h[v] + sign);
            h[256 + (v >> 4)] = H(h[256 + (v >> 4)] + sign);
        }
    };
    const int start = std::max(ya - ty.lo, 0), end = std::min(ya + ty.hi, rows - 1);
    for (int r = start; r <= end; r++) addRow(r, 1);
    std::vector<H> win(stride);
    const bool vec = checkHardwareSupport(CPU_INT_VECTORS);
    for (int y = ya; y < yb; y++) {
        if (y > ya) {
            if (y - ty.lo - 1 >= 0) addRow(y - ty.lo - 1, -1);
            if (y + ty.hi < rows) addRow(y + ty.hi, 1);
        }
        const int nr = std::min(y + ty.hi, rows - 1) - std::max(y - ty.lo, 0) + 1;
        std::fill(win.begin(), win.end(), H(0));
        for (int q = 0; q <= std::min(tx.hi, cols - 1); q++) {
            const H* h = colh.data() + size_t(q) * stride;
            for (size_t b = 0; b < stride; b++) win[b] = H(win[b] + h[b]);
        }
        unsigned char* drow = d.data.ptr[y];
        for (int x = 0; x < cols; x++) {
            const int nc = std::min(x + tx.hi, cols - 1) - std::max(x - tx.lo, 0) + 1;
            const long long rank = (long long)nr * nc / 2;
            long long acc = 0;
            int b = 0;
            while (acc + win[256 + b] <= rank) acc += win[256 + b++];
            int v = b << 4;
            while (acc + win[size_t(v)] <= rank) acc += win[size_t(v++)];
            drow[x * cn + c] = (unsigned char)v;
            if (x + 1 < cols) {
                const int in = x + 1 + tx.hi, out = x - tx.lo;
                const H* ha = in < cols ? colh.data() + size_t(in) * stride : zero;
                const H* hs = out >= 0 ? colh.data() + size_t(out) * stride : zero;
                if (ha == zero && hs == zero) continue;
                if (vec) {
                    detail::vecHistMove(win.data(), ha, hs);
                    for (size_t k = 256; k < stride; k++) win[k] = H(win[k] + ha[k] - hs[k]);
                } else {
                    for (size_t k = 0; k < stride; k++) win[k] = H(win[k] + ha[k] - hs[k]);
                }
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
        detail::directParallelRows(stripes, double(rows) * s.cols() * 64.0, [&](int a, int b) {
            const int ya = a * stripeRows, yb = std::min(b * stripeRows, rows);
            if (nmax <= 65535)
                histRows<uint16_t>(s, d, ty, tx, c, ya, yb);
            else
                histRows<uint32_t>(s, d, ty, tx, c, ya, yb);
        });
    }
}

// 3 x 3 and 5 x 5 windows on bytes: selection networks over the interior,
// the direct loop on the frame.
void networkAll(const Mat& s, Mat& d, int n) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    const int h = n / 2;
    const Taps t{h, h};
    detail::directParallelRows(rows, double(rows) * cols * cn * 4.0, [&](int ya, int yb) {
        std::vector<unsigned char> buf(size_t(n) * n);
        const unsigned char* rp[5];
        for (int y = ya; y < yb; y++) {
            if (y < h || y + h >= rows || cols <= 2 * h) {
                directRows<unsigned char>(s, d, t, t, y, y + 1, 0, cols, buf);
                continue;
            }
            directRows<unsigned char>(s, d, t, t, y, y + 1, 0, h, buf);
            directRows<unsigned char>(s, d, t, t, y, y + 1, cols - h, cols, buf);
            for (int j = 0; j < n; j++) rp[j] = s.data.ptr[y - h + j];
            unsigned char* drow = d.data.ptr[y];
            const int from = h * cn, to = (cols - h) * cn;
            const int done = detail::vecMedianRowU8(rp, n, cn, from, to, drow);
            const int xdone = done / cn;  // whole pixels written by the vector kernel
            if (xdone < cols - h)
                directRows<unsigned char>(s, d, t, t, y, y + 1, std::max(xdone, h), cols - h, buf);
        }
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
