// Exact Euclidean distance transforms: squared column distances followed by
// the lower envelope of parabolas along each row.
#include <algorithm>
#include <cmath>
#include <vector>

#include "detail/aliasing.h"
#include "shapes/distance_internal.h"
#include "shapes/distance_simd.h"
#include "tarvo/ip/shapes.h"

namespace tarvo {
namespace ip {
namespace detail {

namespace {

// Squared distance standing for "no feature in this column"; float(1e15).
constexpr float kNoFeature = 999999986991104.0f;

// Columns handled together by one walk down the rows.
constexpr int kColumnBlock = 64;

}  // namespace

void DTColumnInvoker::operator()(const Range& range) const {
    const Mat& src = *m_src;
    Mat& dst = *m_dst;
    const int rows = src.rows();
    // d[y][j]: rows down to the nearest zero pixel at or below y (from rows on
    // when there is none), for the block's columns j.
    std::vector<int> d((size_t)rows * kColumnBlock);
    int dist[kColumnBlock];
    // Squares computed in vectors equal the table while they fit an int.
    const bool vec = checkHardwareSupport(CPU_INT_VECTORS) && rows <= 46340;
    for (int x0 = range.start; x0 < range.end; x0 += kColumnBlock) {
        const int n = std::min(kColumnBlock, range.end - x0);
        if (vec) {
            for (int y = rows - 1; y >= 0; y--)
                vecColumnUp(src.ptr<unsigned char>(y) + x0,
                            y == rows - 1 ? nullptr : d.data() + (size_t)(y + 1) * kColumnBlock,
                            rows, n, d.data() + (size_t)y * kColumnBlock);
            for (int j = 0; j < n; j++) dist[j] = rows - 1;
            for (int y = 0; y < rows; y++)
                vecColumnDown(dist, d.data() + (size_t)y * kColumnBlock, n, rows, m_sqtab[rows],
                              dst.ptr<float>(y) + x0);
            continue;
        }
        const int* below = nullptr;
        for (int y = rows - 1; y >= 0; y--) {
            const unsigned char* s = src.ptr<unsigned char>(y) + x0;
            int* dy = d.data() + (size_t)y * kColumnBlock;
            if (below) {
                for (int j = 0; j < n; j++) dy[j] = s[j] ? below[j] + 1 : 0;
            } else {
                for (int j = 0; j < n; j++) dy[j] = s[j] ? rows : 0;
            }
            below = dy;
        }
        // Going down, the running distance grows by one per row unless the
        // zero below is nearer; a zero pixel gets 0.
        for (int j = 0; j < n; j++) dist[j] = rows - 1;
        for (int y = 0; y < rows; y++) {
            const int* dy = d.data() + (size_t)y * kColumnBlock;
            float* o = dst.ptr<float>(y) + x0;
            for (int j = 0; j < n; j++) {
                const int v = std::min(dist[j] + 1, dy[j]);
                dist[j] = v;
                o[j] = m_sqtab[v];
            }
        }
    }
}

void DTRowInvoker::operator()(const Range& range) const {
    Mat& dst = *m_dst;
    const int cols = dst.cols();
    std::vector<float> f(cols), z((size_t)cols + 1);
    std::vector<int> v(cols);
    for (int y = range.start; y < range.end; y++) {
        float* d = dst.ptr<float>(y);
        std::copy_n(d, cols, f.data());
        int k = 0;
        v[0] = 0;
        z[0] = -kNoFeature;
        if (cols > 1) z[1] = kNoFeature;
        for (int q = 1; q < cols; q++) {
            const float fq = f[q], sq = m_sqr[q];
            float s;
            for (;;) {
                const int p = v[k];
                s = (sq + fq - f[p] - m_sqr[p]) * m_inv[q - p];
                if (s > z[k] || k == 0) break;
                k--;
            }
            k++;
            v[k] = q;
            z[k] = s;
            z[k + 1] = kNoFeature;
        }
        k = 0;
        for (int x = 0; x < cols; x++) {
            while (k + 1 < cols && z[k + 1] < float(x)) k++;
            const int p = v[k];
            d[x] = std::sqrt(m_sqr[std::abs(x - p)] + f[p]);
        }
    }
}

void distanceExact(const Mat& src, Mat& dst) {
    const int rows = src.rows(), cols = src.cols();
    // Running distances reach 2 * rows - 1; beyond 2^30 rows they would not fit an int.
    if (rows >= (1 << 30)) return;
    std::vector<float> sqtab((size_t)rows * 2);
    for (int i = 0; i < rows; i++) sqtab[i] = float((long long)i * i);
    for (int i = rows; i < rows * 2; i++) sqtab[i] = kNoFeature;
    parallel_for_(Range(0, cols), DTColumnInvoker(&src, &dst, sqtab.data()), -1.0);

    std::vector<float> sqr(cols), inv(cols);
    sqr[0] = inv[0] = 0.0f;
    for (int i = 1; i < cols; i++) {
        sqr[i] = float((long long)i * i);
        inv[i] = 0.5f / float(i);
    }
    parallel_for_(Range(0, rows), DTRowInvoker(&dst, sqr.data(), inv.data()), -1.0);
}

namespace {

// Squared distances of one line to its features (f 0) through the lower
// envelope of f[q] + (x - q)^2, all in float.
void envelope(const float* f, int n, float* out, int* v, float* z) {
    const float kInf = 1e17f;
    int k = 0;
    v[0] = 0;
    z[0] = -kInf;
    z[1] = kInf;
    for (int q = 1; q < n; q++) {
        const float fq = float(q);
        float s;
        for (;;) {
            const int p = v[k];
            const float fp = float(p);
            s = ((fq * fq + f[q]) - (fp * fp + f[p])) / (2.0f * float(q - p));
            if (z[k] < s || k == 0) break;
            k--;
        }
        k++;
        v[k] = q;
        z[k] = s;
        z[k + 1] = kInf;
    }
    k = 0;
    for (int x = 0; x < n; x++) {
        while (float(x) > z[k + 1]) k++;
        const float dx = float(x - v[k]);
        out[x] = dx * dx + f[v[k]];
    }
}

}  // namespace

}  // namespace detail

void distanceTransform(const Mat& src, Mat& dst) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0 || src.type() != MAT_Tuchar ||
        src.channels() != 1)
        return;
    const int rows = src.rows(), cols = src.cols();
    Mat g(rows, cols, MAT_Tfloat);
    if (g.empty()) return;
    for (int y = 0; y < rows; y++) {
        const unsigned char* s = src.ptr<unsigned char>(y);
        float* o = g.ptr<float>(y);
        for (int x = 0; x < cols; x++) o[x] = s[x] > 254 ? 0.0f : 1e17f;
    }
    const int n = std::max(rows, cols);
    std::vector<float> f(n), out(n), z((size_t)n + 1);
    std::vector<int> v(n);
    for (int x = 0; x < cols; x++) {
        for (int y = 0; y < rows; y++) f[y] = g.ptr<float>(y)[x];
        detail::envelope(f.data(), rows, out.data(), v.data(), z.data());
        for (int y = 0; y < rows; y++) g.ptr<float>(y)[x] = out[y];
    }
    for (int y = 0; y < rows; y++) {
        float* row = g.ptr<float>(y);
        std::copy_n(row, cols, f.data());
        detail::envelope(f.data(), cols, row, v.data(), z.data());
    }
    g.sqrt();
    g.swap(dst);
}

}  // namespace ip
}  // namespace tarvo
