// Orthonormal cosine transforms (type II forward, type III inverse) through
// a real Fourier transform of the same length with the samples reordered.
#include <cmath>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "tarvo/ip/transforms.h"
#include "texture/dft_internal.h"

namespace tarvo {

namespace {

template <typename T>
T rootHalf();
template <>
float rootHalf<float>() {
    return 0.70710677f;
}
template <>
double rootHalf<double>() {
    return 0.70710678118654752440;
}

// One length: its real plan and the table w_k = scale * exp(-i pi k / (2 n)),
// k = 0..n/2, scale 2 / sqrt(2 n) forward and 1 / sqrt(2 n) inverse.
template <typename T>
struct DctPlan {
    int n = 0;
    bool inverse = false;
    detail::RealPlan<T> rp;
    std::vector<T> w;
    void init(int len, bool inv) {
        n = len;
        inverse = inv;
        rp.init(len);
        const int h = len / 2;
        w.assign(size_t(2 * (h + 1)), T(0));
        const double scale = (inv ? 1.0 : 2.0) / std::sqrt(2.0 * len);
        for (int k = 0; k <= h; k++) {
            double s, c;
            detail::sinCos2Pi(k, 4LL * len, s, c);
            w[size_t(2 * k)] = T(scale * c);
            w[size_t(2 * k + 1)] = T(-scale * s);
        }
    }
    size_t workSize() const { return rp.workSize() + size_t(2 * n); }

    // in and out may be the same array.
    void run(const T* in, T* out, T* work) const {
        if (n == 1) {
            out[0] = in[0];
            return;
        }
        const int h = n / 2;
        T* v = work;
        T* V = work + n;
        T* scratch = work + 2 * n;
        if (!inverse) {
            for (int k = 0; k < h; k++) {
                v[k] = in[2 * k];
                v[n - 1 - k] = in[2 * k + 1];
            }
            rp.forward(v, V, false, T(1), scratch);
            out[0] = V[0] * w[0] * rootHalf<T>();
            for (int k = 1; k < h; k++) {
                const T re = V[2 * k - 1], im = V[2 * k];
                const T c = w[size_t(2 * k)], s = w[size_t(2 * k + 1)];
                out[k] = c * re - s * im;
                out[n - k] = -s * re - c * im;
            }
            out[h] = V[n - 1] * w[size_t(2 * h)];
            return;
        }
        V[0] = T(2) * in[0] * w[0] * rootHalf<T>();
        for (int k = 1; k < h; k++) {
            const T a = in[k], b = in[n - k];
            const T c = w[size_t(2 * k)], s = -w[size_t(2 * k + 1)];  // conj(w_k)
            // (a - i b) (c + i s)
            V[2 * k - 1] = a * c + b * s;
            V[2 * k] = a * s - b * c;
        }
        V[n - 1] = T(2) * in[h] * w[size_t(2 * h)];
        rp.inverse(V, v, false, T(1), scratch);
        for (int k = 0; k < h; k++) {
            out[2 * k] = v[k];
            out[2 * k + 1] = v[n - 1 - k];
        }
    }
};

template <typename T>
void dctRows(Mat& m, bool inverse) {
    const int n = m.cols();
    DctPlan<T> p;
    p.init(n, inverse);
    detail::parallelRange(m.rows(), m.rows() * (long long)n < (1 << 15) ? 1.0 : m.rows() / 4.0,
                          [&](const Range& r) {
                              std::vector<T> work(p.workSize());
                              for (int y = r.start; y < r.end; y++) {
                                  T* row = reinterpret_cast<T*>(m.data.ptr[y]);
                                  p.run(row, row, work.data());
                              }
                          });
}

template <typename T>
void dctColumns(Mat& m, bool inverse) {
    const int n = m.rows(), cols = m.cols();
    DctPlan<T> p;
    p.init(n, inverse);
    detail::parallelRange(cols, cols * (long long)n < (1 << 15) ? 1.0 : cols / 4.0,
                          [&](const Range& r) {
                              std::vector<T> work(p.workSize() + size_t(n));
                              T* col = work.data() + p.workSize();
                              for (int x = r.start; x < r.end; x++) {
                                  for (int y = 0; y < n; y++)
                                      col[y] = reinterpret_cast<const T*>(m.data.ptr[y])[x];
                                  p.run(col, col, work.data());
                                  for (int y = 0; y < n; y++)
                                      reinterpret_cast<T*>(m.data.ptr[y])[x] = col[y];
                              }
                          });
}

bool usableLength(int n) {
    return n == 1 || (n & 1) == 0;
}

}  // namespace

void dct(const Mat& src, Mat& dst, int flags) {
    if (src.empty()) {
        dst.release();
        return;
    }
    const int depth = src.type();
    if ((depth != MAT_Tfloat && depth != MAT_Tdouble) || src.channels() != 1) return;
    const bool inverse = (flags & DFT_INVERSE) != 0;
    const int rows = src.rows(), cols = src.cols();
    const bool column = cols == 1 && rows > 1;
    const bool rowsOnly = (flags & DFT_ROWS) || rows == 1;
    if (column ? !usableLength(rows) : (!usableLength(cols) || (!rowsOnly && !usableLength(rows))))
        return;
    const bool same = dst.type1() == src.type1() && dst.isEqualSize(src);
    if (detail::sharesMemory(src, dst)) {
        if (!same) {
            Mat copy(src);
            if (copy.empty()) return;
            dst.swap(copy);
        }
    } else {
        dst = src;
        if (dst.empty()) return;
    }
    // dst now holds the samples; both passes run in place on it.
    if (column) {
        if (depth == MAT_Tfloat)
            dctColumns<float>(dst, inverse);
        else
            dctColumns<double>(dst, inverse);
        return;
    }
    if (depth == MAT_Tfloat) {
        dctRows<float>(dst, inverse);
        if (!rowsOnly) dctColumns<float>(dst, inverse);
    } else {
        dctRows<double>(dst, inverse);
        if (!rowsOnly) dctColumns<double>(dst, inverse);
    }
}

void idct(const Mat& src, Mat& dst, int flags) {
    dct(src, dst, flags | DFT_INVERSE);
}

}  // namespace tarvo
