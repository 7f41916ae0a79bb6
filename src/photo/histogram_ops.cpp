// The histogram operators: equalise, normalise, logarithm, square root and
// stretch, each with its free function.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

#include "detail/aliasing.h"
#include "photo/histogram_ops_internal.h"
#include "photo/photo_internal.h"
#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace detail {

void histLumaStats(const Mat& src, bool wantHist, LumaStats& stats) {
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    stats = LumaStats();
    if (src.empty() || rows <= 0 || cols <= 0) return;
    const int stripeRows = cols >= 65536 ? 1 : 65536 / cols;
    const int stripes = (rows + stripeRows - 1) / stripeRows;
    std::vector<LumaStats> part((size_t)stripes);
    const bool vec = !wantHist && cn == 3 && checkHardwareSupport(CPU_FLOAT_VECTORS);
    const auto body = [&](int i0, int i1) {
        for (int i = i0; i < i1; i++) {
            LumaStats& st = part[(size_t)i];
            const int y0 = i * stripeRows;
            const int y1 = y0 + stripeRows < rows ? y0 + stripeRows : rows;
            float lo = 0.0f, hi = 0.0f;
            bool first = true;
            for (int y = y0; y < y1; y++) {
                const unsigned char* s = src.data.ptr[y];
                int x = 0;
                if (vec) {
                    // Minimum and maximum are exact: any order gives the same.
                    float vlo, vhi;
                    x = photoLumaMinMax(s, cols, &vlo, &vhi);
                    if (x > 0) {
                        lo = first || vlo < lo ? vlo : lo;
                        hi = first || vhi > hi ? vhi : hi;
                        first = false;
                        s += 3 * x;
                    }
                }
                for (; x < cols; x++, s += cn) {
                    float Y, U, V;
                    histToYuv(s, cn, Y, U, V);
                    if (first || Y < lo) lo = Y;
                    if (first || Y > hi) hi = Y;
                    first = false;
                    if (wantHist) {
                        int k = truncInt(Y);
                        k = k < 0 ? 0 : k > 255 ? 255 : k;
                        st.hist[k]++;
                    }
                }
            }
            st.minY = lo;
            st.maxY = hi;
        }
    };
    photoParallelRows(stripes, double(rows) * cols, body);
    stats.minY = part[0].minY;
    stats.maxY = part[0].maxY;
    for (const LumaStats& st : part) {
        if (st.minY < stats.minY) stats.minY = st.minY;
        if (st.maxY > stats.maxY) stats.maxY = st.maxY;
        if (wantHist)
            for (int k = 0; k < 256; k++) stats.hist[k] += st.hist[k];
    }
}

}  // namespace detail

namespace {

// The start every process shares (detail::photoPrepare). A source that lives
// in the block of a destination about to be re-created is first copied into
// `keep` and src is pointed at the copy, since re-creating dst frees that block.
Mat* prepareAliased(Mat*& src, Mat* dst, Mat& keep) {
    if (src && dst && dst != src && !src->empty() &&
        (!isSameShape(src, dst) || dst->channels() != src->channels()) &&
        detail::sharesMemory(*src, *dst)) {
        keep = *src;
        if (keep.empty()) return nullptr;
        src = &keep;
    }
    return detail::photoPrepare(src, dst);
}

// Byte images of any channel count: one channel takes the grey paths, more
// channels the luminance paths (see histToYuv for two and four channels).
bool byteImage(const Mat& m) {
    return m.type() == MAT_Tuchar;
}

// target = lut[src] over every byte of the rows, or over the first n bytes of
// each row when n >= 0; rows in parallel.
void applyLut(const Mat& src, Mat& target, const unsigned char lut[256], int n = -1) {
    if (n < 0) {
        detail::photoLutRows(src, target, lut);
        return;
    }
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const unsigned char* s = src.data.ptr[y];
            unsigned char* d = target.data.ptr[y];
            for (int x = 0; x < n; x++) d[x] = lut[s[x]];
        }
    };
    detail::photoParallelRows(src.rows(), double(src.rows()) * n, body);
}

// A tone table over the grey levels: applied to the bytes of a grey image,
// and to the truncated, clamped luminance of a colour one.
void applyTone(const Mat& src, Mat& target, const unsigned char lut[256]) {
    if (src.channels() == 1) {
        applyLut(src, target, lut);
        return;
    }
    detail::histRemapLuma(src, target, [&](float y) {
        int k = truncInt(y);
        k = k < 0 ? 0 : k > 255 ? 255 : k;
        return float(lut[k]);
    });
}

// Counts of the bytes of a grey image. Each stripe counts into four
// interleaved tables (neighbouring equal bytes then do not wait on each
// other's increments); counts are exact, so the sum is the serial count.
void greyHistogram(const Mat& src, long long hist[256]) {
    const int rows = src.rows(), cols = src.cols();
    for (int k = 0; k < 256; k++) hist[k] = 0;
    if (rows <= 0 || cols <= 0) return;
    const int stripeRows = cols >= 65536 ? 1 : 65536 / cols;
    const int stripes = (rows + stripeRows - 1) / stripeRows;
    std::vector<uint32_t> part((size_t)stripes * 256 * 4, 0);
    detail::photoParallelRows(stripes, double(rows) * cols, [&](int i0, int i1) {
        for (int i = i0; i < i1; i++) {
            uint32_t* h = &part[(size_t)i * 1024];
            const int y0 = i * stripeRows, y1 = std::min(rows, y0 + stripeRows);
            for (int y = y0; y < y1; y++) {
                const unsigned char* s = src.data.ptr[y];
                int x = 0;
                for (; x + 4 <= cols; x += 4) {
                    h[s[x]]++;
                    h[256 + s[x + 1]]++;
                    h[512 + s[x + 2]]++;
                    h[768 + s[x + 3]]++;
                }
                for (; x < cols; x++) h[s[x]]++;
            }
        }
    });
    for (int i = 0; i < stripes; i++) {
        const uint32_t* h = &part[(size_t)i * 1024];
        for (int k = 0; k < 256; k++)
            hist[k] += (long long)h[k] + h[256 + k] + h[512 + k] + h[768 + k];
    }
}

// Running counts of the levels of a grey image, or of trunc(Y) of a colour one.
void cumulative(const Mat& src, long long cum[256]) {
    long long hist[256] = {};
    if (src.channels() == 1) {
        greyHistogram(src, hist);
    } else {
        detail::LumaStats st;
        detail::histLumaStats(src, true, st);
        for (int k = 0; k < 256; k++) hist[k] = st.hist[k];
    }
    long long run = 0;
    for (int k = 0; k < 256; k++) cum[k] = run += hist[k];
}

// The largest level of a grey image, at least 1.
int greyMax(const Mat& src) {
    long long hist[256];
    greyHistogram(src, hist);
    int m = 255;
    while (m > 1 && hist[m] == 0) m--;
    return m;
}

// The largest Y of a colour image, truncated, at least 1.
int lumaMax(const Mat& src) {
    detail::LumaStats st;
    detail::histLumaStats(src, false, st);
    return st.maxY > 1.0f ? truncInt(st.maxY) : 1;
}

}  // namespace

// ---------------------------------------------------------------- equalise

PumpABC* ipHistogramEqualize::clone() const {
    return new (std::nothrow) ipHistogramEqualize();
}

bool ipHistogramEqualize::process(Mat* src, Mat* dst) {
    Mat keep;
    Mat* target = prepareAliased(src, dst, keep);
    if (!target || !byteImage(*src)) return false;
    long long cum[256];
    cumulative(*src, cum);
    if (cum[255] == cum[0]) return false;  // nothing above level 0
    // 64-bit products: counts times 255 overflow an int on large images.
    const long long range = cum[255] - cum[0];
    unsigned char lut[256];
    for (int i = 0; i < 256; i++) lut[i] = (unsigned char)((cum[i] - cum[0]) * 255 / range);
    applyTone(*src, *target, lut);
    return true;
}

// ---------------------------------------------------------------- normalise

PumpABC* ipHistogramNormalize::clone() const {
    return new (std::nothrow) ipHistogramNormalize();
}

bool ipHistogramNormalize::process(Mat* src, Mat* dst) {
    Mat keep;
    Mat* target = prepareAliased(src, dst, keep);
    if (!target || !byteImage(*src)) return false;
    long long cum[256];
    cumulative(*src, cum);
    if (cum[255] == cum[0]) return false;
    const double range = double(cum[255] - cum[0]);
    unsigned char lut[256];
    for (int i = 0; i < 256; i++)
        lut[i] = saturate_trunc<unsigned char>(double(cum[i] - cum[0]) * 255.0 / range);
    // A grey pixel is its own luminance (Y = v exactly, U = V = 0), and its
    // colour comes back as three equal bytes: the table applies directly.
    applyTone(*src, *target, lut);
    return true;
}

// ---------------------------------------------------------------- logarithm

PumpABC* ipHistogramLog::clone() const {
    return new (std::nothrow) ipHistogramLog();
}

bool ipHistogramLog::process(Mat* src, Mat* dst) {
    Mat keep;
    Mat* target = prepareAliased(src, dst, keep);
    if (!target || !byteImage(*src)) return false;
    if (src->channels() != 3) {
        // Every layout but RGB takes the grey form: the curve of channel 0's
        // largest value over the first cols bytes of each of the source's own
        // rows; a separate destination keeps only its (cleared) shape. A black
        // image has scale +inf and 0 * inf gives NaN, which truncates to 0.
        const int M = truncInt(src->max(0));
        const double scale = 255.0 / std::log(double(M + 1));
        unsigned char lut[256];
        for (int v = 0; v < 256; v++)
            lut[v] = saturate_trunc<unsigned char>(std::log(double(v + 1)) * scale);
        applyLut(*src, *src, lut, src->cols());
        return true;
    }
    const int M = lumaMax(*src);
    const double scale = 255.0 / std::log(double(M + 1));
    // Y just above M maps past 255; only the low byte is kept.
    detail::histRemapLuma(*src, *target, [&](float y) {
        return float(truncInt(std::log(double(y + 1.0f)) * scale) & 255);
    });
    return true;
}

// ---------------------------------------------------------------- square root

PumpABC* ipHistogramRoot::clone() const {
    return new (std::nothrow) ipHistogramRoot();
}

namespace {
// clamp(sqrt(v) * scale, 0, 255) with the clamp in single precision.
inline float rootCurve(double v, double scale) {
    float f = float(std::sqrt(v) * scale);
    if (f < 0.0f) f = 0.0f;
    if (f > 255.0f) f = 255.0f;
    return f;
}
}  // namespace

bool ipHistogramRoot::process(Mat* src, Mat* dst) {
    Mat keep;
    Mat* target = prepareAliased(src, dst, keep);
    if (!target || !byteImage(*src)) return false;
    if (src->channels() == 1) {
        // The scale pairs a logarithm with the root on purpose: the curve
        // reaches 255 only for bright images.
        const double scale = 128.0 / std::log(double(greyMax(*src) + 1));
        unsigned char lut[256];
        for (int v = 0; v < 256; v++)
            lut[v] = saturate_trunc<unsigned char>(rootCurve(double(v + 1), scale));
        applyLut(*src, *target, lut);
        return true;
    }
    const double scale = 128.0 / std::log(double(lumaMax(*src) + 1));
    detail::histRemapLuma(*src, *target,
                          [&](float y) { return rootCurve(double(y + 1.0f), scale); });
    return true;
}

// ---------------------------------------------------------------- stretch

PumpABC* ipHistogramStretch::clone() const {
    return new (std::nothrow) ipHistogramStretch(mode);
}

namespace {
// lut[v] = (v - lo) * 255 / (hi - lo) on lo..hi (lut[lo] = lo when flat); the
// entries outside are never looked up and are set to 0.
void stretchTable(int lo, int hi, unsigned char lut[256]) {
    for (int v = 0; v < 256; v++) lut[v] = 0;
    if (hi == lo) {
        lut[lo] = (unsigned char)lo;
        return;
    }
    for (int v = lo; v <= hi; v++) lut[v] = (unsigned char)((v - lo) * 255 / (hi - lo));
}
}  // namespace

bool ipHistogramStretch::process(Mat* src, Mat* dst) {
    Mat keep;
    Mat* target = prepareAliased(src, dst, keep);
    if (!target || src->type() != MAT_Tuchar) return false;
    if (src->channels() != 3) return true;  // not colour: nothing to stretch

    const int rows = src->rows(), cols = src->cols();
    if (mode == 1 || mode == 2) {
        // Channel extremes per stripe, combined afterwards (min and max do
        // not depend on the order).
        const int stripeRows = cols >= 65536 ? 1 : 65536 / cols;
        const int stripes = (rows + stripeRows - 1) / stripeRows;
        std::vector<unsigned char> ext((size_t)stripes * 6);
        detail::photoParallelRows(stripes, double(rows) * cols, [&](int i0, int i1) {
            for (int i = i0; i < i1; i++) {
                unsigned char l[3] = {255, 255, 255}, h[3] = {0, 0, 0};
                const int y0 = i * stripeRows, y1 = std::min(rows, y0 + stripeRows);
                for (int y = y0; y < y1; y++) {
                    const unsigned char* s = src->data.ptr[y];
                    for (int x = 0; x < cols; x++, s += 3)
                        for (int k = 0; k < 3; k++) {
                            l[k] = std::min(l[k], s[k]);
                            h[k] = std::max(h[k], s[k]);
                        }
                }
                for (int k = 0; k < 3; k++) {
                    ext[(size_t)i * 6 + k] = l[k];
                    ext[(size_t)i * 6 + 3 + k] = h[k];
                }
            }
        });
        int lo[3] = {255, 255, 255}, hi[3] = {0, 0, 0};
        for (int i = 0; i < stripes; i++)
            for (int k = 0; k < 3; k++) {
                lo[k] = std::min(lo[k], int(ext[(size_t)i * 6 + k]));
                hi[k] = std::max(hi[k], int(ext[(size_t)i * 6 + 3 + k]));
            }
        unsigned char lut[3][256];
        if (mode == 1) {
            const int l = std::min(lo[0], std::min(lo[1], lo[2]));
            const int h = std::max(hi[0], std::max(hi[1], hi[2]));
            stretchTable(l, h, lut[0]);
            for (int v = 0; v < 256; v++) lut[1][v] = lut[2][v] = lut[0][v];
        } else {
            if (lo[0] == 0 && hi[0] >= 255 && lo[1] == 0 && lo[2] == 0 && hi[1] == hi[0] &&
                hi[2] == hi[0])
                return true;  // already full range
            for (int k = 0; k < 3; k++) stretchTable(lo[k], hi[k], lut[k]);
        }
        const auto body = [&](int y0, int y1) {
            for (int y = y0; y < y1; y++) {
                const unsigned char* s = src->data.ptr[y];
                unsigned char* d = target->data.ptr[y];
                for (int x = 0; x < cols; x++, s += 3, d += 3) {
                    d[0] = lut[0][s[0]];
                    d[1] = lut[1][s[1]];
                    d[2] = lut[2][s[2]];
                }
            }
        };
        detail::photoParallelRows(rows, double(rows) * cols, body);
        return true;
    }

    detail::LumaStats st;
    detail::histLumaStats(*src, false, st);
    const double lo = st.minY, hi = st.maxY;
    if (hi == lo) return false;
    const double scale = 255.0 / (hi - lo);
    // Dividing by 1 and adding 0 leave the product as it is (a -0 becomes +0,
    // which the clamp and truncation turn into 0 either way).
    detail::LumaAffine curve;
    curve.lo = lo;
    curve.mul = scale;
    detail::histRemapLuma(
        *src, *target,
        [&](float y) {
            double v = (double(y) - lo) * scale;
            v = v < 0.0 ? 0.0 : v > 255.0 ? 255.0 : v;
            // Y, lo and the scale are finite, so v is too and converts directly.
            return float(static_cast<int>(v));
        },
        &curve);
    return true;
}

// ---------------------------------------------------------------- free functions

namespace ip {

void histogramLog(const Mat& src, Mat& dst) {
    ipHistogramLog op;
    op.ipHistogramLog::process(const_cast<Mat*>(&src), &dst);
}

void histogramNormalize(const Mat& srcIn, Mat& dst) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    ipHistogramNormalize op;
    op.ipHistogramNormalize::process(const_cast<Mat*>(&src), &dst);
}

void histogramRoot(const Mat& srcIn, Mat& dst) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    ipHistogramRoot op;
    op.ipHistogramRoot::process(const_cast<Mat*>(&src), &dst);
}

void histogramStretch(const Mat& srcIn, Mat& dst, int mode) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    ipHistogramStretch op(mode);
    op.ipHistogramStretch::process(const_cast<Mat*>(&src), &dst);
}

void histogramStretch(Mat& image, int mode) {
    ipHistogramStretch op(mode);
    op.ipHistogramStretch::process(&image, nullptr);
}

}  // namespace ip
}  // namespace tarvo
