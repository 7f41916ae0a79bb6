// Shared pieces of the threshold operators: walking the samples of an image
// pair as one run or row by row, in parallel stripes, and the byte histogram.
#pragma once

#include <cstdint>

#include "tarvo/mat.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace detail {

// Samples per parallel stripe: small images stay on the calling thread.
constexpr int kThreshStripe = 1 << 16;

template <typename F>
class ThreshStripeBody : public ParallelLoopBody {
public:
    explicit ThreshStripeBody(const F& f) : f_(f) {}
    void operator()(const Range& r) const override { f_(r.start, r.end); }

private:
    const F& f_;
};

// Runs f(s, d, n) over the first cols samples of every row of a and b, typed
// S and D. When both matrices are continuous the rows are joined into one run
// of rows * cols samples starting at row 0 (which, for a multi-channel
// matrix, covers the first rows * cols elements rather than the first cols of
// each row). Work is split into disjoint stripes, so f must only write d[0..n).
template <typename S, typename D, typename F>
void forSampleRuns(const Mat& a, Mat& b, const F& f) {
    const int rows = a.rows(), cols = a.cols();
    if (rows <= 0 || cols <= 0 || a.empty() || b.empty()) return;
    if (a.isContinuous() && b.isContinuous()) {
        const long long total = (long long)rows * cols;
        const S* s = reinterpret_cast<const S*>(a.data.ptr[0]);
        D* d = reinterpret_cast<D*>(b.data.ptr[0]);
        const long long stripes = (total + kThreshStripe - 1) / kThreshStripe;
        const auto body = [&](int i0, int i1) {
            const long long b0 = (long long)i0 * kThreshStripe;
            long long b1 = (long long)i1 * kThreshStripe;
            if (b1 > total) b1 = total;
            f(s + b0, d + b0, (long long)(b1 - b0));
        };
        parallel_for_(Range(0, (int)stripes), ThreshStripeBody<decltype(body)>(body),
                      double(stripes));
        return;
    }
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++)
            f(reinterpret_cast<const S*>(a.data.ptr[y]), reinterpret_cast<D*>(b.data.ptr[y]),
              (long long)cols);
    };
    parallel_for_(Range(0, rows), ThreshStripeBody<decltype(body)>(body),
                  double(rows) * cols / kThreshStripe);
}

// 256-bin histogram of the bytes of m read as forSampleRuns reads them (the
// first cols bytes of each row, or rows * cols bytes from row 0 when m is
// continuous). Returns the number of samples counted.
long long byteHistogram(const Mat& m, long long hist[256]);

// Otsu's threshold of a histogram in double precision: the lowest level whose
// between-class variance is largest (0 when no split is valid).
int otsuFromHistogram(const long long hist[256], long long n);

}  // namespace detail
}  // namespace tarvo
