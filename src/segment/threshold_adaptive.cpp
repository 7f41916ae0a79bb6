// ip::adaptiveThreshold: each sample against the mean of its neighbourhood.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "detail/aliasing.h"
#include "segment/threshold_internal.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/segment.h"
#include "tarvo/saturate.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {
namespace ip {

namespace {

// The 768-entry decision table indexed by sample - mean + 255.
void buildTable(unsigned char table[768], double maxValue, int type, double delta) {
    int m = tarvoutil::round(maxValue);
    m = m < 0 ? 0 : m > 255 ? 255 : m;
    for (int i = 0; i < 768; i++) table[i] = 0;  // unknown types: all zero
    if (type == ThreshBinary) {
        const long long d = tarvoutil::ceil(delta);
        for (int i = 0; i < 768; i++) table[i] = (unsigned char)(i - 255 > -d ? m : 0);
    } else if (type == ThreshBinaryInv) {
        const long long d = tarvoutil::floor(delta);
        for (int i = 0; i < 768; i++) table[i] = (unsigned char)(i - 255 > -d ? 0 : m);
    }
}

inline void applyRow(const unsigned char* s, const unsigned char* mean, unsigned char* d, int n,
                     const unsigned char* table) {
    for (int j = 0; j < n; j++) d[j] = table[s[j] - mean[j] + 255];
}

// Box mean over (2w + 1)^2 samples, per channel, written row by row straight
// into the comparison. Near the edges the box is cut to the image and the mean
// is over the samples inside. Sums are in Acc, chosen so that no prefix sum
// can overflow; the quotient of two integers below 2^53 truncates exactly in
// double.
template <typename Acc>
void boxMeanRows(const Mat& src, Mat& dst, int w, const unsigned char* table, double stripes) {
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    const int n = cols * cn;
    // Columns whose box lies wholly inside the row: [xa, xb).
    const int xa = std::min(w, cols);
    const int xb = (int)std::max<long long>(xa, (long long)cols - w);
    const auto body = [&](int r0, int r1) {
        std::vector<Acc> col((size_t)n, 0), prefix((size_t)(cols + 1) * cn, 0);
        std::vector<unsigned char> mean((size_t)n);
        // Column sums over rows [lo, hi) of the current window.
        int lo = std::max(0, r0 - w), hi = lo;
        for (int y = r0; y < r1; y++) {
            const int ylo = std::max(0, y - w);
            const int yhi = (int)std::min<long long>(rows, (long long)y + w + 1);
            for (; hi < yhi; hi++) {
                const unsigned char* s = src.data.ptr[hi];
                for (int j = 0; j < n; j++) col[j] += s[j];
            }
            for (; lo < ylo; lo++) {
                const unsigned char* s = src.data.ptr[lo];
                for (int j = 0; j < n; j++) col[j] -= s[j];
            }
            for (int j = 0; j < n; j++) prefix[j + cn] = prefix[j] + col[j];
            const long long height = yhi - ylo;
            const auto edge = [&](int x) {
                const int x0 = std::max(0, x - w);
                const int x1 = (int)std::min<long long>(cols, (long long)x + w + 1);
                const double area = double(height * (x1 - x0));
                for (int k = 0; k < cn; k++) {
                    const Acc sum = prefix[(size_t)x1 * cn + k] - prefix[(size_t)x0 * cn + k];
                    mean[(size_t)x * cn + k] = (unsigned char)truncInt(double(sum) / area);
                }
            };
            for (int x = 0; x < xa; x++) edge(x);
            for (int x = xb; x < cols; x++) edge(x);
            if (xb > xa) {
                // Full boxes: one area, and a plain loop the compiler can
                // vectorise. A mean of bytes lies in 0..255, so the conversion
                // needs no range checks.
                const double area = double(height * (2LL * w + 1));
                const Acc* up = &prefix[(size_t)(xa + w + 1) * cn];
                const Acc* down = &prefix[(size_t)(xa - w) * cn];
                unsigned char* m = &mean[(size_t)xa * cn];
                const int len = (xb - xa) * cn;
                for (int j = 0; j < len; j++)
                    m[j] = static_cast<unsigned char>(
                        static_cast<int>(double(up[j] - down[j]) / area));
            }
            applyRow(src.data.ptr[y], mean.data(), dst.data.ptr[y], n, table);
        }
    };
    parallel_for_(Range(0, rows), detail::ThreshStripeBody<decltype(body)>(body), stripes);
}

void boxMeanThreshold(const Mat& src, Mat& dst, int w, const unsigned char* table) {
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    const int win = (int)std::min<long long>(2LL * w + 1, rows);
    // Each stripe rebuilds its column sums from scratch: stripes are at least a
    // window tall so that set-up stays a fraction of the work.
    const double byWork = double(rows) * cols * cn / detail::kThreshStripe;
    const double byWindow = double(rows) / std::max(win, 16);
    const double stripes = std::min(byWork, byWindow);
    // The largest prefix sum is 255 * window height * cols.
    if (255.0 * win * cols < 2147483647.0)
        boxMeanRows<int>(src, dst, w, table, stripes);
    else
        boxMeanRows<long long>(src, dst, w, table, stripes);
}

}  // namespace

void adaptiveThreshold(const Mat& srcIn, Mat& dst, double maxValue, int method, int type,
                       int blockSize, double delta) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    if (src.empty() || src.rows() <= 0 || src.cols() <= 0) return;
    const int made = &dst == &src ? 0 : dst.create(src.rows(), src.cols(), src.type1());
    if (made < 0) return;
    if (maxValue < 0) {
        dst.zero();
        return;
    }
    if ((method != AdaptiveMean && method != AdaptiveGaussian) || src.type() != MAT_Tuchar ||
        blockSize < 1) {
        if (made == 1) dst.zero();
        return;
    }
    unsigned char table[768];
    buildTable(table, maxValue, type, delta);
    const int w = blockSize / 2;
    if (method == AdaptiveMean) {
        // The box sums read rows around the one being written: in place, they
        // must come from a copy.
        if (&dst == &src) {
            const Mat copy(src);
            boxMeanThreshold(copy, dst, w, table);
        } else {
            boxMeanThreshold(src, dst, w, table);
        }
        return;
    }
    // Gaussian-weighted mean: the library's smoothing with the kernel radius
    // blockSize / 2 and the customary sigma for that size.
    const float sigma = 0.3f * ((blockSize - 1) * 0.5f - 1.0f) + 0.8f;
    Mat mean;
    gaussian(src, mean, sigma, float(w));
    if (!mean.isEqualMat(src)) {
        if (made == 1) dst.zero();
        return;
    }
    const int n = src.cols() * src.channels();
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++)
            applyRow(src.data.ptr[y], mean.data.ptr[y], dst.data.ptr[y], n, table);
    };
    parallel_for_(Range(0, src.rows()), detail::ThreshStripeBody<decltype(body)>(body),
                  double(src.rows()) * n / detail::kThreshStripe);
}

}  // namespace ip
}  // namespace tarvo
