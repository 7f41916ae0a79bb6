// dft / idft on matrices: row and column passes over the one-dimensional
// kernels, packed real spectra, and the spectrum product.
#include <algorithm>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "tarvo/ip/transforms.h"
#include "texture/dft_internal.h"

namespace tarvo {

namespace {

using detail::ComplexPlan;
using detail::parallelRange;
using detail::RealPlan;

template <typename T>
T* rowOf(Mat& m, int y) {
    return reinterpret_cast<T*>(m.data.ptr[y]);
}
template <typename T>
const T* rowOf(const Mat& m, int y) {
    return reinterpret_cast<const T*>(m.data.ptr[y]);
}

// Stripes for a pass over `lines` lines of `len` samples: serial below about
// 2^15 samples of work, otherwise one stripe per 2^14.
double stripesFor(long long lines, long long len) {
    const long long work = lines * len;
    return work < (1 << 15) ? 1.0 : double(std::min<long long>(lines, work >> 14));
}

// Column pass over columns [c0, c1) of m (all rows), complex pairs of
// channels at column c when cplx, else pairs of real columns (c, c + 1) as
// one complex column (CCS middle columns), or one real column.
enum class ColKind { Complex2ch, RealPair, RealSingle };

template <typename T>
void columnPass(Mat& m, const std::vector<int>& cols, ColKind kind, bool inverse, T scale) {
    const int rows = m.rows();
    if (kind == ColKind::RealSingle) {
        RealPlan<T> rp;
        rp.init(rows);
        std::vector<T> buf(rp.workSize() + size_t(2 * rows));
        T* a = buf.data() + rp.workSize();
        T* b = a + rows;
        for (int c : cols) {
            for (int y = 0; y < rows; y++) a[y] = rowOf<T>(m, y)[c];
            if (inverse)
                rp.inverse(a, b, false, scale, buf.data());
            else
                rp.forward(a, b, false, scale, buf.data());
            for (int y = 0; y < rows; y++) rowOf<T>(m, y)[c] = b[y];
        }
        return;
    }
    // Complex columns, kBatch neighbours at a time lane by lane: the gather
    // reads kBatch adjacent complex values per row instead of one.
    constexpr int kBatch = 8;
    ComplexPlan<T> cp;
    cp.init(rows);
    std::vector<int> xs;  // first T offset of each complex column
    for (int c : cols) xs.push_back(kind == ColKind::Complex2ch ? 2 * c : c);
    std::vector<int> starts;  // batches of columns that lie next to each other
    for (size_t i = 0; i < xs.size(); i++)
        if (i == 0 || xs[i] != xs[i - 1] + 2 || int(i - size_t(starts.back())) == kBatch)
            starts.push_back(int(i));
    starts.push_back(int(xs.size()));
    const int nb = int(starts.size()) - 1;
    const size_t ws = size_t(2 * cp.maxFactor() + 8);
    parallelRange(nb, stripesFor((long long)cols.size(), rows), [&](const Range& r) {
        std::vector<T> buf(ws + size_t(4 * rows * kBatch));
        T* a = buf.data() + ws;
        T* b = a + size_t(2 * rows * kBatch);
        for (int bi = r.start; bi < r.end; bi++) {
            const int i0 = starts[size_t(bi)], B = starts[size_t(bi) + 1] - i0;
            const int x0 = xs[size_t(i0)];
            for (int y = 0; y < rows; y++) {
                const T* sr = rowOf<T>(m, y) + x0;
                T* d = a + size_t(y) * 2 * B;
                for (int k = 0; k < 2 * B; k++) d[k] = sr[k];
            }
            cp.runBatch(a, b, B, inverse, scale, buf.data());
            for (int y = 0; y < rows; y++) {
                const T* sr = b + size_t(y) * 2 * B;
                T* d = rowOf<T>(m, y) + x0;
                for (int k = 0; k < 2 * B; k++) d[k] = sr[k];
            }
        }
    });
}

// CCS column pass of a one-channel matrix: first column, last column for an
// even width, and the (Re, Im) pairs between.
template <typename T>
void ccsColumnPass(Mat& m, bool inverse, T scale) {
    const int cols = m.cols();
    std::vector<int> singles{0};
    if ((cols & 1) == 0 && cols > 1) singles.push_back(cols - 1);
    std::vector<int> pairs;
    for (int c = 1; c + 1 < cols; c += 2) pairs.push_back(c);
    columnPass<T>(m, singles, ColKind::RealSingle, inverse, scale);
    if (!pairs.empty()) columnPass<T>(m, pairs, ColKind::RealPair, inverse, scale);
}

enum class RowKind { Complex, ComplexInv, RealForward, RealForwardCx, RealInverse, RealInverseCx };

// Row pass from src to dst: rows below nz are transformed, the others zeroed.
template <typename T>
void rowPass(const Mat& src, Mat& dst, RowKind kind, int nz, T scale) {
    const int rows = dst.rows();
    const int n = kind == RowKind::RealInverseCx ? dst.cols() : src.cols();
    const bool real = kind != RowKind::Complex && kind != RowKind::ComplexInv;
    ComplexPlan<T> cp;
    RealPlan<T> rp;
    if (real)
        rp.init(n);
    else
        cp.init(n);
    // Packed real rows of even length go kRows at a time through the batched
    // plan (the same bits as one by one); the scalar switch keeps them single.
    constexpr int kRows = RealPlan<T>::kRows;
    const bool batch = (kind == RowKind::RealForward || kind == RowKind::RealInverse) && n >= 2 &&
                       (n & 1) == 0 && detail::useOptimized();
    const size_t ws = real ? std::max(rp.workSize(), batch ? rp.batchWorkSize() : size_t(0))
                           : size_t(4 * n + 2 * cp.maxFactor() + 8);
    const size_t dstBytes = size_t(dst.rowByteSize());
    const int lines = batch ? (rows + kRows - 1) / kRows : rows;
    detail::parallelRange(lines, stripesFor(lines, batch ? n * kRows : n), [&](const Range& r0) {
        std::vector<T> buf(ws + size_t(2 * n + 2));
        T* a = buf.data() + ws;
        Range r = r0;
        if (batch) {
            r = Range(r0.start * kRows, std::min(rows, r0.end * kRows));
            int y = r.start;
            for (; y + kRows <= std::min(r.end, nz); y += kRows) {
                const T* ins[kRows];
                T* outs[kRows];
                for (int l = 0; l < kRows; l++) {
                    ins[l] = rowOf<T>(src, y + l);
                    outs[l] = rowOf<T>(dst, y + l);
                }
                if (kind == RowKind::RealForward)
                    rp.forwardRows(ins, outs, false, scale, buf.data());
                else
                    rp.inverseRows(ins, outs, false, scale, buf.data());
            }
            r = Range(y, r.end);
        }
        for (int y = r.start; y < r.end; y++) {
            T* d = rowOf<T>(dst, y);
            if (y >= nz) {
                std::memset(d, 0, dstBytes);
                continue;
            }
            const T* s = rowOf<T>(src, y);
            switch (kind) {
                case RowKind::Complex:
                case RowKind::ComplexInv:
                    std::memcpy(a, s, sizeof(T) * size_t(2 * n));
                    cp.run(a, d, kind == RowKind::ComplexInv, scale, buf.data());
                    break;
                case RowKind::RealForward:
                    rp.forward(s, d, false, scale, buf.data());
                    break;
                case RowKind::RealForwardCx:
                    std::memset(a, 0, sizeof(T) * size_t(2 * n));
                    rp.forward(s, a, true, scale, buf.data());
                    std::memcpy(d, a, sizeof(T) * size_t(2 * n));
                    break;
                case RowKind::RealInverse:
                    rp.inverse(s, d, false, scale, buf.data());
                    break;
                case RowKind::RealInverseCx:
                    std::memcpy(a, s, sizeof(T) * size_t(2 * (n / 2 + 1)));
                    rp.inverse(a, d, true, scale, buf.data());
                    break;
            }
        }
    });
}

template <typename T>
void dftImpl(const Mat& src, Mat& dst, int flags, int nonzeroRows) {
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    const bool inverse = (flags & DFT_INVERSE) != 0;
    const bool realOut = inverse && (flags & DFT_REAL_OUTPUT) && cn == 2;
    const bool cxOut = !inverse && (flags & DFT_COMPLEX_OUTPUT) && cn == 1;
    const bool rowsOnly = rows == 1 || (flags & DFT_ROWS);
    const int nz = (nonzeroRows < 1 || nonzeroRows > rows) ? rows : nonzeroRows;
    T scale = T(1);
    if (flags & DFT_SCALE) scale = T(1.0 / (rowsOnly ? double(cols) : double(cols) * rows));
    const T colScale = rowsOnly ? T(1) : scale;
    const T one = T(1);

    if (cn == 2 && !realOut) {
        // Complex data: rows then columns, either way.
        rowPass<T>(src, dst, inverse ? RowKind::ComplexInv : RowKind::Complex, nz,
                   rowsOnly ? scale : one);
        if (!rowsOnly) {
            std::vector<int> all(static_cast<size_t>(cols));
            for (int c = 0; c < cols; c++) all[size_t(c)] = c;
            columnPass<T>(dst, all, ColKind::Complex2ch, inverse, colScale);
        }
        return;
    }

    if (!inverse) {
        if (!cxOut) {
            rowPass<T>(src, dst, RowKind::RealForward, nz, rowsOnly ? scale : one);
            if (!rowsOnly) ccsColumnPass<T>(dst, false, colScale);
            return;
        }
        rowPass<T>(src, dst, RowKind::RealForwardCx, nz, rowsOnly ? scale : one);
        if (rows == 1) return;  // a single row keeps its right half zero
        const int h = cols / 2;
        if (!rowsOnly) {
            std::vector<int> left(size_t(h + 1));
            for (int c = 0; c <= h; c++) left[size_t(c)] = c;
            columnPass<T>(dst, left, ColKind::Complex2ch, false, colScale);
        }
        for (int r = 0; r < rows; r++) {
            const int mr = rowsOnly ? r : (rows - r) % rows;
            T* d = rowOf<T>(dst, r);
            const T* m = rowOf<T>(dst, mr);
            for (int c = h + 1; c < cols; c++) {
                d[2 * c] = m[2 * (cols - c)];
                d[2 * c + 1] = -m[2 * (cols - c) + 1];
            }
        }
        return;
    }

    // Inverse with a real result: columns first, then rows.
    if (rowsOnly) {
        rowPass<T>(src, dst, realOut ? RowKind::RealInverseCx : RowKind::RealInverse, nz, scale);
        return;
    }
    if (!realOut) {
        Mat work(src);  // CCS copy; the column pass runs in place on it
        if (work.empty()) return;
        ccsColumnPass<T>(work, true, one);
        rowPass<T>(work, dst, RowKind::RealInverse, nz, scale);
        return;
    }
    const int h = cols / 2;
    Mat work(rows, h + 1, MAKETYPE(src.type(), 2));
    if (work.empty()) return;
    for (int y = 0; y < rows; y++)
        std::memcpy(work.data.ptr[y], src.data.ptr[y], sizeof(T) * size_t(2 * (h + 1)));
    std::vector<int> all(static_cast<size_t>(h + 1));
    for (int c = 0; c <= h; c++) all[size_t(c)] = c;
    columnPass<T>(work, all, ColKind::Complex2ch, true, one);
    rowPass<T>(work, dst, RowKind::RealInverseCx, nz, scale);
}

// A column is transformed as one long row: copy it across, run, copy back.
Mat columnAsRow(const Mat& m) {
    Mat r(1, m.rows(), m.type1());
    if (r.empty()) return r;
    const size_t es = size_t(m.elemSize());
    for (int y = 0; y < m.rows(); y++)
        std::memcpy(r.data.ptr[0] + size_t(y) * es, m.data.ptr[y], es);
    return r;
}

void rowBackToColumn(const Mat& r, Mat& m) {
    const size_t es = size_t(m.elemSize());
    for (int y = 0; y < m.rows(); y++)
        std::memcpy(m.data.ptr[y], r.data.ptr[0] + size_t(y) * es, es);
}

}  // namespace

void dft(const Mat& src0, Mat& dst, int flags, int nonzeroRows) {
    if (src0.empty()) {
        dst.release();
        return;
    }
    const int depth = src0.type(), cn = src0.channels();
    if ((depth != MAT_Tfloat && depth != MAT_Tdouble) || cn > 2) return;
    const bool inverse = (flags & DFT_INVERSE) != 0;
    int dcn = cn;
    if (inverse && (flags & DFT_REAL_OUTPUT) && cn == 2) dcn = 1;
    if (!inverse && (flags & DFT_COMPLEX_OUTPUT) && cn == 1) dcn = 2;
    Mat copy;
    const Mat* src = &src0;
    if (detail::sharesMemory(src0, dst)) {
        copy = src0;
        if (copy.empty()) return;
        src = &copy;
    }
    if (dst.create(src->rows(), src->cols(), MAKETYPE(depth, dcn)) < 0) return;
    // every element of dst is written by the passes below
    if (src->cols() == 1 && src->rows() > 1) {
        const Mat row = columnAsRow(*src);
        Mat out;
        if (row.empty()) return;
        dft(row, out, flags, 0);
        if (out.empty()) return;
        rowBackToColumn(out, dst);
        return;
    }
    if (depth == MAT_Tfloat)
        dftImpl<float>(*src, dst, flags, nonzeroRows);
    else
        dftImpl<double>(*src, dst, flags, nonzeroRows);
}

void idft(const Mat& src, Mat& dst, int flags, int nonzeroRows) {
    dft(src, dst, flags | DFT_INVERSE, nonzeroRows);
}

namespace {

template <typename T>
void mulRowComplex(const T* a, const T* b, T* d, int n, bool conjB) {
    for (int i = 0; i < n; i++) {
        const T ar = a[2 * i], ai = a[2 * i + 1], br = b[2 * i];
        const T bi = conjB ? -b[2 * i + 1] : b[2 * i + 1];
        d[2 * i] = ar * br - ai * bi;
        d[2 * i + 1] = ar * bi + ai * br;
    }
}

// CCS row product: element 0 and, for an even length, the last are real;
// the elements between are (Re, Im) pairs.
template <typename T>
void mulRowCcs(const T* a, const T* b, T* d, int n, bool conjB) {
    d[0] = a[0] * b[0];
    int j1 = n;
    if ((n & 1) == 0 && n > 1) {
        d[n - 1] = a[n - 1] * b[n - 1];
        j1 = n - 1;
    }
    for (int j = 1; j + 1 < j1; j += 2) mulRowComplex(a + j, b + j, d + j, 1, conjB);
}

template <typename T>
void mulSpectrumsImpl(const Mat& a, const Mat& b, Mat& d, int flags, bool conjB) {
    const int rows = a.rows(), cols = a.cols();
    if (a.channels() == 2) {
        for (int y = 0; y < rows; y++)
            mulRowComplex(rowOf<T>(a, y), rowOf<T>(b, y), rowOf<T>(d, y), cols, conjB);
        return;
    }
    const bool oneD = (flags & DFT_ROWS) || rows == 1 || cols == 1;
    if (oneD) {
        if (cols == 1 && rows > 1) {
            // a column is one CCS row down the column
            const size_t nr = static_cast<size_t>(rows);
            std::vector<T> ra(nr), rb(nr), rd(nr);
            for (int y = 0; y < rows; y++)
                ra[size_t(y)] = rowOf<T>(a, y)[0], rb[size_t(y)] = rowOf<T>(b, y)[0];
            mulRowCcs(ra.data(), rb.data(), rd.data(), rows, conjB);
            for (int y = 0; y < rows; y++) rowOf<T>(d, y)[0] = rd[size_t(y)];
            return;
        }
        for (int y = 0; y < rows; y++)
            mulRowCcs(rowOf<T>(a, y), rowOf<T>(b, y), rowOf<T>(d, y), cols, conjB);
        return;
    }
    // Two-dimensional CCS: first (and last, even width) column packed down the rows.
    const int ncol = (cols & 1) == 0 ? 2 : 1;
    for (int k = 0; k < ncol; k++) {
        const int c = k == 0 ? 0 : cols - 1;
        const size_t nr = static_cast<size_t>(rows);
        std::vector<T> ra(nr), rb(nr), rd(nr);
        for (int y = 0; y < rows; y++)
            ra[size_t(y)] = rowOf<T>(a, y)[c], rb[size_t(y)] = rowOf<T>(b, y)[c];
        mulRowCcs(ra.data(), rb.data(), rd.data(), rows, conjB);
        for (int y = 0; y < rows; y++) rowOf<T>(d, y)[c] = rd[size_t(y)];
    }
    const int j1 = (cols & 1) == 0 ? cols - 1 : cols;
    for (int y = 0; y < rows; y++) {
        const T* ra = rowOf<T>(a, y);
        const T* rb = rowOf<T>(b, y);
        T* rd = rowOf<T>(d, y);
        for (int j = 1; j + 1 < j1; j += 2) mulRowComplex(ra + j, rb + j, rd + j, 1, conjB);
    }
}

}  // namespace

void mulSpectrums(const Mat& a, const Mat& b, Mat& dst, int flags, bool conjB) {
    if (a.empty() || b.empty()) return;
    const int depth = a.type(), cn = a.channels();
    if (a.type1() != b.type1() || !a.isEqualSize(b)) return;
    if ((depth != MAT_Tfloat && depth != MAT_Tdouble) || cn > 2) return;
    // The product is element-local, so shared memory between inputs and dst is fine
    // as long as dst keeps its pixels; otherwise read from copies.
    Mat ca, cb;
    const Mat* pa = &a;
    const Mat* pb = &b;
    const bool keeps = dst.type1() == a.type1() && dst.isEqualSize(a);
    if (!keeps) {
        if (detail::sharesMemory(a, dst)) ca = a, pa = &ca;
        if (detail::sharesMemory(b, dst)) cb = b, pb = &cb;
    }
    if (dst.create(a.rows(), a.cols(), a.type1()) < 0) return;
    if (depth == MAT_Tfloat)
        mulSpectrumsImpl<float>(*pa, *pb, dst, flags, conjB);
    else
        mulSpectrumsImpl<double>(*pa, *pb, dst, flags, conjB);
}

}  // namespace tarvo
