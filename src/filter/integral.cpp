// Summed-area tables: upright, square and 45-degree tilted.
//
// One templated routine serves every depth: it walks the source rows once and
// fills whichever of the three tables the caller asked for. Int tables are
// accumulated as uint32_t (the same storage viewed unsigned), so that running
// sums wrap modulo 2^32 instead of overflowing; box sums read back through
// four corners are then exact whenever the box itself fits in an int.
#include <climits>
#include <cstdint>
#include <cstring>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

#include "detail/aliasing.h"
#include "detail/parallel_rows.h"
#include "filter/integral_internal.h"
#include "tarvo/ip/integral.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {
namespace {

// Accumulator of the upright and tilted tables for a source element type:
// uint32_t (stored in int tables) for byte and int, double otherwise.
template <typename T>
struct SumType {
    typedef double type;
    static constexpr int depth = MAT_Tdouble;
};
template <>
struct SumType<unsigned char> {
    typedef uint32_t type;
    static constexpr int depth = MAT_Tint;
};
template <>
struct SumType<int> {
    typedef uint32_t type;
    static constexpr int depth = MAT_Tint;
};

template <typename ST, typename T>
inline ST toSum(T v) {
    return static_cast<ST>(v);
}
// Negative ints enter the wrapping sum as their two's complement pattern.
template <>
inline uint32_t toSum<uint32_t, int>(int v) {
    return static_cast<uint32_t>(v);
}

#if defined(__GNUC__)
#define TARVO_NOINLINE __attribute__((noinline))
#else
#define TARVO_NOINLINE
#endif

// One short pause in a wait loop.
inline void cpuRelax() {
#if defined(__x86_64__) || defined(__i386__)
    _mm_pause();
#endif
}

template <typename ST>
inline ST* rowOf(Mat& m, int r) {
    return reinterpret_cast<ST*>(m.data.ptr[r]);
}

// Upright sums of one row: d[(x+1)cn+k] = a[(x+1)cn+k] + running sum of channel k.
template <typename T, typename ST>
void sumRow(const T* s, const ST* a, ST* d, int width, int cn, bool vec) {
    for (int k = 0; k < cn; k++) d[k] = ST(0);
    if (cn == 1) {
        int x = 0;
        if constexpr (std::is_same<T, unsigned char>::value) {
            if (vec) {
                x = detail::integralRowU8(s, a + 1, d + 1, width);
                if (x > width) x = width;
            }
        }
        ST acc = x > 0 ? ST(d[x] - a[x]) : ST(0);
        for (; x < width; x++) {
            acc += toSum<ST>(s[x]);
            d[x + 1] = a[x + 1] + acc;
        }
        return;
    }
    int x0 = 0;
    if constexpr (std::is_same<T, unsigned char>::value) {
        if (vec) x0 = std::min(detail::integralRowU8Cn(s, a + cn, d + cn, width, cn), width);
    }
    for (int k = 0; k < cn; k++) {
        // The vector part leaves each channel's running sum in its last entry.
        ST acc = x0 > 0 ? ST(d[x0 * cn + k] - a[x0 * cn + k]) : ST(0);
        for (int x = x0; x < width; x++) {
            acc += toSum<ST>(s[x * cn + k]);
            d[(x + 1) * cn + k] = a[(x + 1) * cn + k] + acc;
        }
    }
}

// Square sums of one row, always in double.
template <typename T>
void sqRow(const T* s, const double* a, double* d, int width, int cn) {
    for (int k = 0; k < cn; k++) {
        d[k] = 0.0;
        double acc = 0.0;
        for (int x = 0; x < width; x++) {
            double v = static_cast<double>(s[x * cn + k]);
            acc += v * v;
            d[(x + 1) * cn + k] = a[(x + 1) * cn + k] + acc;
        }
    }
}

// Tilted table row y >= 1 (table coordinates) from rows y-1 and y-2 of the
// table (t1, t2; t2 null for y = 1) and source rows y-1 and y-2 (s1, s2; s2
// null for y = 1). With x in 1..W-1 the triangle of (y, x) is the union of the
// triangles of (y-1, x-1) and (y-1, x+1), less their overlap, the triangle of
// (y-2, x), plus the two pixels of column x-1 that neither holds: its apex
// src(y-1, x-1) and src(y-2, x-1). Clipping at the image edges does not break
// the identity; the two edge columns have their own forms below.
template <typename T, typename ST>
void tiltedRow(const T* s1, const T* s2, const ST* t1, const ST* t2, ST* d, int width, int cn) {
    for (int k = 0; k < cn; k++) {
        auto S1 = [&](int x) { return toSum<ST>(s1[x * cn + k]); };
        auto S2 = [&](int x) { return s2 ? toSum<ST>(s2[x * cn + k]) : ST(0); };
        auto T1 = [&](int x) { return t1[x * cn + k]; };
        auto T2 = [&](int x) { return t2 ? t2[x * cn + k] : ST(0); };
        // Column 0: the triangle of (y, 0) clipped at x' >= 0 is that of (y-1, 1).
        d[k] = width >= 1 ? T1(1) : ST(0);
        for (int x = 1; x < width; x++)
            d[x * cn + k] = T1(x - 1) + T1(x + 1) - T2(x) + S1(x - 1) + S2(x - 1);
        // Column W: the triangle of (y-1, W-1) lacks only column W-1 in rows y-1, y-2.
        if (width >= 1) d[width * cn + k] = T1(width - 1) + S1(width - 1) + S2(width - 1);
    }
}

// Running sum terms: the value itself for upright tables, its square in
// double for square tables.
template <typename ST, bool SQ, typename T>
inline ST term(T v) {
    if constexpr (SQ) {
        const double d = static_cast<double>(v);
        return d * d;
    } else {
        return toSum<ST>(v);
    }
}

// Rows y .. y + m - 1 (m <= 8) of a table, columns x0 .. x1 - 1, channel by
// channel. The rows run side by side: their running sums are independent
// chains, so the processor overlaps them instead of waiting on one addition
// after another, and each entry is still above + running sum, the serial
// loop's one addition of the same two values. (About twice the speed of the
// row loop on float pictures, whose additions are the slow part.) `start`
// holds each row's running sums over the columns left of x0 (row-major, cn per
// row; null when x0 is 0); `end`, when given, receives them over the columns
// left of x1.
//
// Kept out of line: inlined into the column-block worker below, its loop
// compiled to slower code and two threads ran a fifth slower.
constexpr int kGroupRows = 8;

template <typename T, typename ST, bool SQ>
TARVO_NOINLINE void tableRowGroup(const Mat& src, Mat& tab, int y, int m, int x0, int x1,
                                  const ST* start, ST* end) {
    constexpr int R = kGroupRows;
    const int cn = src.channels();
    const T* s[R];
    ST* d[R + 1];
    d[0] = rowOf<ST>(tab, y);
    for (int r = 0; r < R; r++) {
        s[r] = src.ptr<T>(y + std::min(r, m - 1));
        d[r + 1] = rowOf<ST>(tab, y + 1 + std::min(r, m - 1));
    }
    for (int k = 0; k < cn; k++) {
        if (x0 == 0)
            for (int r = 0; r < m; r++) d[r + 1][k] = ST(0);
        ST a[R];
        for (int r = 0; r < R; r++) a[r] = start ? start[std::min(r, m - 1) * cn + k] : ST(0);
        if (m < R) {
            for (int r = 0; r < m; r++) {
                for (int x = x0; x < x1; x++) {
                    const size_t i = size_t(x + 1) * cn + k;
                    a[r] += term<ST, SQ>(s[r][size_t(x) * cn + k]);
                    d[r + 1][i] = d[r][i] + a[r];
                }
            }
        } else {
            for (int x = x0; x < x1; x++) {
                const size_t j = size_t(x) * cn + k, i = j + cn;
                for (int r = 0; r < R; r++) a[r] += term<ST, SQ>(s[r][j]);
                ST v = d[0][i];
                for (int r = 0; r < R; r++) {
                    v = v + a[r];
                    d[r + 1][i] = v;
                }
            }
        }
        if (end)
            for (int r = 0; r < m; r++) end[r * cn + k] = a[r];
    }
}

template <typename T, typename ST, bool SQ>
void tableInRowGroups(const Mat& src, Mat& tab) {
    for (int y = 0; y < src.rows(); y += kGroupRows)
        tableRowGroup<T, ST, SQ>(src, tab, y, std::min(kGroupRows, src.rows() - y), 0, src.cols(),
                                 nullptr, nullptr);
}

// Tables that add in rounding order, on several threads: the columns are cut
// into one block per thread, and each block runs the row groups above over its
// columns, down the whole table. A block's rows start from the running sums
// its left neighbour ended them with, which that neighbour publishes group by
// group; a block that finds them missing waits a little, then adds up the
// source left of it itself. Either way the running sum is the same sequence of
// additions from column 0, so results never depend on timing. (Waiting only a
// bounded time keeps a block whose neighbour never gets a thread, or runs after
// it on the same thread, from stalling.) A block keeps two groups behind its
// left neighbour, so the two never write the same table rows at once: they
// share only the cache line at their edge in each row.
template <typename T, typename ST, bool SQ>
void tableInColumnBlocks(const Mat& src, Mat& tab, int blocks) {
    constexpr int R = kGroupRows;
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    const size_t perBlock = size_t(rows) * cn;
    std::vector<ST> carry(size_t(blocks - 1) * perBlock);
    struct alignas(64) Progress {
        std::atomic<int> rows{0};
    };
    std::unique_ptr<Progress[]> progress(new Progress[blocks]);
    auto edge = [&](int k) { return int(int64_t(cols) * k / blocks); };
    auto runBlock = [&](int b) {
        const int x0 = edge(b), x1 = edge(b + 1);
        // With few rows, running behind the left block would leave little to
        // do side by side: each block adds up the columns left of it instead.
        const bool alone = rows < 4 * R;
        bool patient = b > 0 && !alone;
        std::vector<ST> own(b > 0 ? size_t(R) * cn : 0);
        for (int y = 0; y < rows; y += R) {
            const int m = std::min(R, rows - y);
            const ST* start = nullptr;
            if (b > 0) {
                const Progress& left = progress[b - 1];
                // The left block's next group starts from the table row this
                // group ends with.
                const int need = std::min(rows, y + m + R);
                if (left.rows.load(std::memory_order_acquire) < need && patient) {
                    const auto until =
                        std::chrono::steady_clock::now() + std::chrono::microseconds(200);
                    for (int spin = 1; left.rows.load(std::memory_order_acquire) < need; spin++) {
                        cpuRelax();
                        if (spin % 64 == 0 && std::chrono::steady_clock::now() > until) {
                            patient = false;
                            break;
                        }
                    }
                }
                if (!alone && left.rows.load(std::memory_order_acquire) >= y + m) {
                    start = &carry[size_t(b - 1) * perBlock + size_t(y) * cn];
                } else {
                    for (int r = 0; r < m; r++) {
                        const T* s = src.ptr<T>(y + r);
                        for (int k = 0; k < cn; k++) {
                            ST a = ST(0);
                            for (int x = 0; x < x0; x++) a += term<ST, SQ>(s[size_t(x) * cn + k]);
                            own[size_t(r) * cn + k] = a;
                        }
                    }
                    start = own.data();
                }
            }
            ST* end = b + 1 < blocks ? &carry[size_t(b) * perBlock + size_t(y) * cn] : nullptr;
            tableRowGroup<T, ST, SQ>(src, tab, y, m, x0, x1, start, end);
            if (end) progress[b].rows.store(y + m, std::memory_order_release);
        }
    };
    const auto body = [&](int b0, int b1) {
        for (int b = b0; b < b1; b++) runBlock(b);
    };
    parallel_for_(Range(0, blocks), tarvo::detail::RowStripes<decltype(body)>(body), blocks);
}

// One pass on several threads for tables whose sums are exact in any order
// (wrapping 32-bit sums; square sums of bytes while they stay below 2^53):
// the rows are cut into stripes, a first pass adds up each stripe's source
// columns (reading only the source), the column totals of the stripes above
// give each stripe the table row it starts from, and every stripe then runs
// the serial row loop from there. Integer and exact double additions do not
// depend on their order, so every entry equals the serial loop's bit for bit,
// and the table is written once. Returns false when the tables do not qualify.
template <typename T>
bool integralCarry(const Mat& src, Mat* sum, Mat* sqsum, bool vec) {
    typedef typename SumType<T>::type ST;
    if (!std::is_same<ST, uint32_t>::value) return false;
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    if (sqsum && (!std::is_same<T, unsigned char>::value ||
                  double(rows) * double(cols) * 65025.0 >= 9007199254740992.0))
        return false;
    const size_t n = size_t(cols + 1) * cn, e = size_t(cols) * cn;
    // One stripe per thread: the column totals cost a read of every row above
    // the last stripe, so fewer stripes leave less of that work.
    const int threads = getNumThreads();
    const int stripes = std::max(1, std::min(rows, threads));
    auto first = [&](int k) { return int(int64_t(rows) * k / stripes); };
    // The rows above the last stripe, in chunks (several per thread) whose
    // boundaries include every stripe's first row.
    const int per = stripes > 1 ? (4 * threads + stripes - 2) / (stripes - 1) : 0;
    const int chunks = (stripes - 1) * per;
    auto chunkFirst = [&](int c) {
        const int k = c / per, y0 = first(k);
        return y0 + int(int64_t(first(k + 1) - y0) * (c % per) / per);
    };
    std::vector<ST> col(sum ? size_t(chunks) * e : 0, ST(0));
    std::vector<double> colSq(sqsum ? size_t(chunks) * e : 0, 0.0);
    const double work = double(rows) * double(e);
    tarvo::detail::parallelRows(
        chunks, double(first(stripes - 1)) * double(e), [&](int c0, int c1) {
            std::vector<const unsigned char*> band;
            for (int c = c0; c < c1; c++) {
                const int y0 = chunkFirst(c), y1 = chunkFirst(c + 1);
                ST* cs = sum ? &col[size_t(c) * e] : nullptr;
                double* cq = sqsum ? &colSq[size_t(c) * e] : nullptr;
                size_t done = 0;
                if constexpr (std::is_same<T, unsigned char>::value) {
                    if (sum && vec && e <= size_t(INT_MAX)) {
                        band.clear();
                        for (int y = y0; y < y1; y++) band.push_back(src.ptr<T>(y));
                        done =
                            size_t(detail::columnSumsU8(band.data(), int(band.size()),
                                                        reinterpret_cast<uint32_t*>(cs), int(e)));
                    }
                }
                for (int y = y0; y < y1; y++) {
                    const T* s = src.ptr<T>(y);
                    if (sum)
                        for (size_t i = done; i < e; i++) cs[i] += toSum<ST>(s[i]);
                    if (sqsum)
                        for (size_t i = 0; i < e; i++) cq[i] += double(s[i]) * double(s[i]);
                }
            }
        });
    // tot row k: the table row of every row above stripe k + 1, that is the
    // running sums along each channel of the column totals so far.
    std::vector<ST> tot(sum ? size_t(stripes) * n : 0, ST(0));
    std::vector<double> totSq(sqsum ? size_t(stripes) * n : 0, 0.0);
    for (int k = 0; k + 1 < stripes; k++) {
        for (int c = k * per + 1; c < (k + 1) * per; c++) {
            for (size_t i = 0; i < e; i++) {
                if (sum) col[size_t(k * per) * e + i] += col[size_t(c) * e + i];
                if (sqsum) colSq[size_t(k * per) * e + i] += colSq[size_t(c) * e + i];
            }
        }
        if (k > 0) {
            for (size_t i = 0; i < e; i++) {
                if (sum) col[size_t(k * per) * e + i] += col[size_t((k - 1) * per) * e + i];
                if (sqsum) colSq[size_t(k * per) * e + i] += colSq[size_t((k - 1) * per) * e + i];
            }
        }
        for (int ch = 0; ch < cn; ch++) {
            ST acc = ST(0);
            double accSq = 0.0;
            for (int x = 0; x < cols; x++) {
                const size_t i = size_t(x) * cn + ch, o = size_t(k) * n + size_t(x + 1) * cn + ch;
                if (sum) tot[o] = acc += col[size_t(k * per) * e + i];
                if (sqsum) totSq[o] = accSq += colSq[size_t(k * per) * e + i];
            }
        }
    }
    tarvo::detail::parallelRows(stripes, work, [&](int k0, int k1) {
        for (int k = k0; k < k1; k++) {
            const int y0 = first(k);
            for (int y = y0; y < first(k + 1); y++) {
                const T* s = src.ptr<T>(y);
                if (sum) {
                    const ST* a = y == y0 && k > 0 ? &tot[size_t(k - 1) * n] : rowOf<ST>(*sum, y);
                    sumRow<T, ST>(s, a, rowOf<ST>(*sum, y + 1), cols, cn, vec);
                }
                if (sqsum) {
                    const double* a =
                        y == y0 && k > 0 ? &totSq[size_t(k - 1) * n] : rowOf<double>(*sqsum, y);
                    sqRow<T>(s, a, rowOf<double>(*sqsum, y + 1), cols, cn);
                }
            }
        }
    });
    return true;
}

template <typename T>
void integralAll(const Mat& src, Mat* sum, Mat* sqsum, Mat* tilted) {
    typedef typename SumType<T>::type ST;
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    const int ttype = MAKETYPE(SumType<T>::depth, cn);
    if (sum && sum->create(rows + 1, cols + 1, ttype) < 0) return;
    if (tilted && tilted->create(rows + 1, cols + 1, ttype) < 0) return;
    if (sqsum && sqsum->create(rows + 1, cols + 1, MAKETYPE(MAT_Tdouble, cn)) < 0) return;
    const size_t n = size_t(cols + 1) * cn;
    if (sum) std::memset(sum->data.ptr[0], 0, n * sizeof(ST));
    if (tilted) std::memset(tilted->data.ptr[0], 0, n * sizeof(ST));
    if (sqsum) std::memset(sqsum->data.ptr[0], 0, n * sizeof(double));
    // Asked once per call: the feature query is not meant for inner loops.
    const bool vec = detail::pyrUseIntVector();
    if (!tilted) {
        const bool threaded =
            getNumThreads() > 1 && double(rows) * n >= 2.0 * tarvo::detail::kPixelsPerStripe;
        if (threaded && integralCarry<T>(src, sum, sqsum, vec)) return;
        // The byte table's row loop has its own vector row kernel; the plain
        // row loop below is the reference the other paths are tested against.
        const bool byteRows = std::is_same<T, unsigned char>::value && !sqsum;
        // Column blocks of at least 256 columns each.
        const int blocks = std::min(getNumThreads(), cols / 256);
        if (threaded && blocks > 1) {
            if (sum) tableInColumnBlocks<T, ST, false>(src, *sum, blocks);
            if (sqsum) tableInColumnBlocks<T, double, true>(src, *sqsum, blocks);
            return;
        }
        if (threaded || (vec && !byteRows)) {
            if (sum) tableInRowGroups<T, ST, false>(src, *sum);
            if (sqsum) tableInRowGroups<T, double, true>(src, *sqsum);
            return;
        }
    }
    for (int y = 0; y < rows; y++) {
        const T* s = src.ptr<T>(y);
        if (sum) sumRow<T, ST>(s, rowOf<ST>(*sum, y), rowOf<ST>(*sum, y + 1), cols, cn, vec);
        if (sqsum) sqRow<T>(s, rowOf<double>(*sqsum, y), rowOf<double>(*sqsum, y + 1), cols, cn);
        if (tilted) {
            const T* s2 = y >= 1 ? src.ptr<T>(y - 1) : nullptr;
            const ST* t2 = y >= 1 ? rowOf<ST>(*tilted, y - 1) : nullptr;
            tiltedRow<T, ST>(s, s2, rowOf<ST>(*tilted, y), t2, rowOf<ST>(*tilted, y + 1), cols, cn);
        }
    }
}

void integralDispatch(const Mat& src, Mat* sum, Mat* sqsum, Mat* tilted) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0) return;
    if (src.rows() == INT_MAX || src.cols() == INT_MAX) return;
    // The tables must not be the source itself: they are created before it is read.
    if (sum == &src || sqsum == &src || tilted == &src) return;
    if ((sum && (sum == sqsum || sum == tilted)) || (sqsum && sqsum == tilted)) return;
    switch (src.type()) {
        case MAT_Tuchar:
            integralAll<unsigned char>(src, sum, sqsum, tilted);
            break;
        case MAT_Tshort:
            integralAll<short>(src, sum, sqsum, tilted);
            break;
        case MAT_Tint:
            integralAll<int>(src, sum, sqsum, tilted);
            break;
        case MAT_Tfloat:
            integralAll<float>(src, sum, sqsum, tilted);
            break;
        case MAT_Tdouble:
            integralAll<double>(src, sum, sqsum, tilted);
            break;
        default:
            break;
    }
}

}  // namespace

void integralImage(const Mat& srcIn, Mat& sum) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, {&sum});
    if (guard.failed()) return;
    const Mat& src = guard.get();
    integralDispatch(src, &sum, nullptr, nullptr);
}

void integralImage(const Mat& srcIn, Mat& sum, Mat& sqsum) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, {&sum, &sqsum});
    if (guard.failed()) return;
    const Mat& src = guard.get();
    integralDispatch(src, &sum, &sqsum, nullptr);
}

void integralImage(const Mat& srcIn, Mat& sum, Mat& tilted, Mat& sqsum) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, {&sum, &tilted, &sqsum});
    if (guard.failed()) return;
    const Mat& src = guard.get();
    integralDispatch(src, &sum, &sqsum, &tilted);
}

void integralSquareImage(const Mat& srcIn, Mat& sqsum) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, {&sqsum});
    if (guard.failed()) return;
    const Mat& src = guard.get();
    integralDispatch(src, nullptr, &sqsum, nullptr);
}

void integralTiltedImage(const Mat& srcIn, Mat& sum, Mat& tilted) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, {&sum, &tilted});
    if (guard.failed()) return;
    const Mat& src = guard.get();
    integralDispatch(src, &sum, nullptr, &tilted);
}

double sumIntegralImage(const Mat& sum, const Rect_<int>& r) {
    if (!sum.isValid()) return 0.0;
    if (r.x < 0 || r.y < 0 || r.width < 0 || r.height < 0) return 0.0;
    if ((long long)r.x + r.width >= sum.cols() || (long long)r.y + r.height >= sum.rows())
        return 0.0;
    const int cn = sum.channels();
    const int x0 = r.x * cn, x1 = (r.x + r.width) * cn;
    const int y0 = r.y, y1 = r.y + r.height;
    if (sum.type() == MAT_Tint) {
        const uint32_t* a = reinterpret_cast<const uint32_t*>(sum.data.ptr[y0]);
        const uint32_t* b = reinterpret_cast<const uint32_t*>(sum.data.ptr[y1]);
        uint32_t v = a[x0] + b[x1] - a[x1] - b[x0];
        return static_cast<double>(static_cast<int32_t>(v));
    }
    if (sum.type() == MAT_Tdouble) {
        const double* a = sum.ptr<double>(y0);
        const double* b = sum.ptr<double>(y1);
        return a[x0] + b[x1] - a[x1] - b[x0];
    }
    return 0.0;
}

}  // namespace ip
}  // namespace tarvo
