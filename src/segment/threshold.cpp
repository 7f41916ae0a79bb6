// ip::Threshold: fixed, Otsu and percentile thresholds; the double-precision
// Otsu search and the byte histogram they share.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "segment/threshold_internal.h"
#include "tarvo/ip/segment.h"
#include "tarvo/saturate.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {
namespace detail {

namespace {

// Counts n bytes into four interleaved tables (fewer store-to-load stalls on
// runs of equal bytes), then folds them into hist.
void countBytes(const unsigned char* p, long long n, long long hist[256]) {
    uint32_t h[4][256];
    std::memset(h, 0, sizeof(h));
    while (n > 0) {
        // Keep each 32-bit counter below overflow.
        const long long len = n < (1LL << 30) ? n : (1LL << 30);
        long long i = 0;
        for (; i + 4 <= len; i += 4) {
            h[0][p[i]]++;
            h[1][p[i + 1]]++;
            h[2][p[i + 2]]++;
            h[3][p[i + 3]]++;
        }
        for (; i < len; i++) h[0][p[i]]++;
        for (int v = 0; v < 256; v++) {
            hist[v] += (long long)h[0][v] + h[1][v] + h[2][v] + h[3][v];
            h[0][v] = h[1][v] = h[2][v] = h[3][v] = 0;
        }
        p += len;
        n -= len;
    }
}

}  // namespace

long long byteHistogram(const Mat& m, long long hist[256]) {
    for (int v = 0; v < 256; v++) hist[v] = 0;
    const int rows = m.rows(), cols = m.cols();
    if (m.empty() || rows <= 0 || cols <= 0) return 0;
    const long long total = (long long)rows * cols;
    // Stripes of rows (or of the joined run) count into tables of their own;
    // the tables are summed afterwards, so the result does not depend on the
    // split.
    const bool joined = m.isContinuous();
    const long long units = joined ? (total + kThreshStripe - 1) / kThreshStripe : rows;
    const long long perStripe = joined ? 1 : (kThreshStripe + cols - 1) / cols;
    const long long stripes = (units + perStripe - 1) / perStripe;
    std::vector<long long> part((size_t)stripes * 256, 0);
    const auto body = [&](int i0, int i1) {
        for (int i = i0; i < i1; i++) {
            long long* h = &part[(size_t)i * 256];
            const long long u0 = i * perStripe;
            const long long u1 = u0 + perStripe < units ? u0 + perStripe : units;
            if (joined) {
                const long long b0 = u0 * kThreshStripe;
                const long long b1 = u1 * kThreshStripe < total ? u1 * kThreshStripe : total;
                countBytes(m.data.ptr[0] + b0, b1 - b0, h);
            } else {
                for (long long y = u0; y < u1; y++) countBytes(m.data.ptr[y], cols, h);
            }
        }
    };
    parallel_for_(Range(0, (int)stripes), ThreshStripeBody<decltype(body)>(body), double(stripes));
    for (long long i = 0; i < stripes; i++)
        for (int v = 0; v < 256; v++) hist[v] += part[(size_t)i * 256 + v];
    return total;
}

int otsuFromHistogram(const long long hist[256], long long n) {
    if (n <= 0) return 0;
    double p[256];
    double mu = 0.0;
    for (int i = 0; i < 256; i++) {
        p[i] = double(hist[i]) / double(n);
        mu += i * p[i];
    }
    double q1 = 0.0, mu1 = 0.0, best = 0.0;
    int level = 0;
    for (int i = 0; i < 256; i++) {
        // A skipped level keeps the multiplied mean: the next level divides
        // by the new weight again.
        mu1 *= q1;
        q1 += p[i];
        const double q2 = 1.0 - q1;
        const double lo = q1 < q2 ? q1 : q2, hi = q1 < q2 ? q2 : q1;
        if (lo < 1.1920928955078125e-7 || hi > 0.9999998807907104) continue;
        mu1 = (mu1 + i * p[i]) / q1;
        const double mu2 = (mu - q1 * mu1) / q2;
        const double d = mu1 - mu2;
        const double sigma = q1 * q2 * (d * d);
        if (sigma > best) {
            best = sigma;
            level = i;
        }
    }
    return level;
}

}  // namespace detail

namespace ip {

namespace {

// Fills the whole of dst (every channel) with v.
void fillAll(Mat& dst, double v) {
    dst.setValue(v);
}

void applyByte(const Mat& src, Mat& dst, int mode, int t, int m) {
    unsigned char lut[256];
    for (int x = 0; x < 256; x++) {
        const bool above = x > t;
        int v;
        switch (mode) {
            case ThreshBinary:
                v = above ? m : 0;
                break;
            case ThreshBinaryInv:
                v = above ? 0 : m;
                break;
            case ThreshTrunc:
                v = above ? t : x;
                break;
            case ThreshToZero:
                v = above ? x : 0;
                break;
            default:
                v = above ? 0 : x;
                break;  // ThreshToZeroInv
        }
        lut[x] = (unsigned char)v;
    }
    detail::forSampleRuns<unsigned char, unsigned char>(
        src, dst, [&](const unsigned char* s, unsigned char* d, long long n) {
            for (long long i = 0; i < n; i++) d[i] = lut[s[i]];
        });
}

// Direct comparisons for short and float samples, one loop per mode so the
// compiler can vectorise each select.
template <typename T>
void applyCompare(const Mat& src, Mat& dst, int mode, T t, T m) {
    const auto run = [&](auto op) {
        detail::forSampleRuns<T, T>(src, dst, [&](const T* s, T* d, long long n) {
            for (long long i = 0; i < n; i++) d[i] = op(s[i]);
        });
    };
    const T zero = T(0);
    switch (mode) {
        case ThreshBinary:
            run([&](T x) { return x > t ? m : zero; });
            break;
        case ThreshBinaryInv:
            run([&](T x) { return x > t ? zero : m; });
            break;
        case ThreshTrunc:
            run([&](T x) { return x > t ? t : x; });
            break;
        case ThreshToZero:
            run([&](T x) { return x > t ? x : zero; });
            break;
        default:
            run([&](T x) { return x > t ? zero : x; });
            break;  // ThreshToZeroInv
    }
}

// Byte and short thresholds: t is the floored threshold, [lo, hi] the sample
// range. Thresholds outside lo..hi-1 make every sample fall on one side.
template <typename T>
void thresholdInteger(const Mat& src, Mat& dst, int mode, int t, int m, int lo, int hi) {
    if (mode > ThreshToZeroInv) {
        // Modes 5..7 have no mapping: the samples pass unchanged.
        src.copyTo(dst);
        return;
    }
    if (t >= lo && t < hi) {
        if constexpr (sizeof(T) == 1)
            applyByte(src, dst, mode, t, m);
        else
            applyCompare<T>(src, dst, mode, T(t), T(m));
        return;
    }
    const bool allAbove = t < lo;  // otherwise every sample is at or below t
    switch (mode) {
        case ThreshBinary:
            fillAll(dst, allAbove ? m : 0);
            return;
        case ThreshBinaryInv:
            fillAll(dst, allAbove ? 0 : m);
            return;
        case ThreshTrunc:
        case ThreshToZeroInv:
            if (allAbove) {
                fillAll(dst, 0);
                return;
            }
            break;
        case ThreshToZero:
            if (!allAbove) {
                fillAll(dst, 0);
                return;
            }
            break;
        default:
            break;
    }
    src.copyTo(dst);
}

// Percentile modes: dst is src as bytes, k the first level at which the
// running count passes thresh percent of the samples.
double thresholdPercentile(const Mat& src, Mat& dst, double thresh, double maxval, int type) {
    src.convertTo(dst, MAT_Tuchar, CT_Cast);
    if (dst.empty() || dst.type() != MAT_Tuchar) return 0.0;
    long long hist[256];
    detail::byteHistogram(dst, hist);
    const float limit = float(double((long long)src.rows() * src.cols()) * thresh / 100.0);
    long long sum = 0;
    int k = 0;
    for (; k < 256; k++) {
        sum += hist[k];
        if (float(sum) > limit) break;
    }
    // The maximum as a byte: truncated, low eight bits kept.
    const unsigned char m = (unsigned char)(truncInt(maxval) & 255);
    unsigned char lut[256];
    for (int v = 0; v < 256; v++) {
        const bool below = v < k;
        lut[v] = type == ThreshPercentUp ? (below ? 0 : m) : (below ? m : 0);
    }
    detail::forSampleRuns<unsigned char, unsigned char>(
        dst, dst, [&](const unsigned char* s, unsigned char* d, long long len) {
            for (long long i = 0; i < len; i++) d[i] = lut[s[i]];
        });
    return double(k);
}

}  // namespace

double Threshold(const Mat& srcIn, Mat& dst, double thresh, double maxval, int type) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return 0.0;
    const Mat& src = guard.get();
    if (src.empty()) return 0.0;
    if (type == ThreshPercentUp || type == ThreshPercentDown)
        return thresholdPercentile(src, dst, thresh, maxval, type);

    const int mode = type & 7;
    if (type & ThreshOtsuBit) {
        // The bytes of the rows, whatever the depth.
        long long hist[256];
        const long long n = detail::byteHistogram(src, hist);
        thresh = detail::otsuFromHistogram(hist, n);
    }

    // The whole type word is compared: a destination with another channel
    // count is re-created as one channel of the source's depth.
    if (&dst != &src && (dst.empty() || !dst.isEqualSize(src) || dst.type1() != src.type1())) {
        dst.release();
        if (dst.create(src.rows(), src.cols(), src.type()) < 0) return thresh;
        // Depths that are not thresholded leave the new pixels as they are:
        // cleared rather than indeterminate.
        if (src.type() != MAT_Tuchar && src.type() != MAT_Tshort && src.type() != MAT_Tfloat)
            dst.zero();
    }

    switch (src.type()) {
        case MAT_Tuchar: {
            const int t = tarvoutil::floor(thresh);
            const int m = (mode == ThreshTrunc ? t : tarvoutil::round(maxval)) & 255;
            thresholdInteger<unsigned char>(src, dst, mode, t, m, 0, 255);
            return double(t);
        }
        case MAT_Tshort: {
            const int t = tarvoutil::floor(thresh);
            const int raw = (mode == ThreshTrunc ? t : tarvoutil::round(maxval)) & 0xFFFF;
            const int m = raw >= 0x8000 ? raw - 0x10000 : raw;  // low 16 bits, signed
            thresholdInteger<short>(src, dst, mode, t, m, -32768, 32767);
            return double(t);
        }
        case MAT_Tfloat:
            if (mode > ThreshToZeroInv)
                src.copyTo(dst);
            else
                applyCompare<float>(src, dst, mode, float(thresh), float(maxval));
            return thresh;
        default:
            return thresh;
    }
}

int thresholdOfGray(const Mat& src) {
    long long hist[256];
    const long long n = detail::byteHistogram(src, hist);
    if (n <= 0) return 0;
    double p[256];
    double mu = 0.0;
    for (int i = 0; i < 256; i++) {
        p[i] = double(hist[i]) / double(n);
        mu += i * p[i];
    }
    double q1 = 0.0, mu1 = 0.0, best = 0.0;
    bool first = true;
    int result = 0;
    for (int k = 0; k < 256; k++) {
        mu1 *= q1;
        q1 += p[k];
        if (q1 == 0.0) continue;
        if (q1 == 1.0) break;
        const double q2 = 1.0 - q1;
        mu1 = (mu1 + k * p[k]) / q1;
        const double mu2 = (mu - mu1 * q1) / q2;
        double s = 0.0;
        for (int i = 0; i < 256; i++) {
            const double d = i - (i > k ? mu2 : mu1);
            s += d * d * p[i];
        }
        const double J = q2 * std::log(q2) + q1 * std::log(q1) - 0.5 * std::log(s);
        if (first || J > best) {
            best = J;
            result = k;
            first = false;
        }
    }
    return result;
}

}  // namespace ip
}  // namespace tarvo
