// Statistics, mask and element operations of Mat, and the element access of Vec.
#include <cmath>
#include <cstring>
#include <type_traits>

#include <limits>
#include <vector>

#include "detail/aliasing.h"
#include "detail/parallel_rows.h"
#include "mat_internal.h"
#include "tarvo/mat.h"
#include "tarvo/saturate.h"

namespace tarvo {

using detail::withDepth;

namespace {

// True when `mask` can steer an element loop over `m`: a byte matrix of m's
// rows and cols with one channel (per pixel) or m's channel count (per element).
bool usableMask(const Mat& m, const Mat& mask) {
    return mask.isValid() && mask.type() == MAT_Tuchar && mask.rows() == m.rows() &&
           mask.cols() == m.cols() && (mask.channels() == 1 || mask.channels() == m.channels());
}

// Calls f(value) for every element of channel `ch` of rows [r0, r1) of m.
template <typename T, typename F>
void forChannel(const Mat& m, int ch, int r0, int r1, F&& f) {
    const int cn = m.channels();
    for (int r = r0; r < r1; r++) {
        const T* p = m.ptr<T>(r) + ch;
        for (int c = 0; c < m.cols(); c++) f(double(p[c * cn]));
    }
}

// Largest magnitude an element of depth T can have, for integer depths; 0 for
// floating depths (whose sums depend on their order).
template <typename T>
constexpr double integerBound() {
    return std::is_integral<T>::value ? double(std::numeric_limits<T>::max()) + 1.0 : 0.0;
}

// True when a double sum of `count` terms of magnitude up to `bound` is exact
// at every step, whatever the order: the terms are integers and every partial
// sum stays below 2^53. Such sums may run in row stripes on several threads.
bool exactSum(double count, double bound) {
    return bound > 0.0 && count * bound < 9007199254740992.0;
}

// Runs body(r0, r1, part) over row stripes of m (on several threads for large
// matrices), each stripe writing its partial result into part, and returns
// the partials in row order. `elements` is the work per row.
template <typename P, typename F>
std::vector<P> rowPartials(const Mat& m, double elements, const F& body) {
    std::vector<P> parts(size_t(m.rows()));
    std::vector<char> used(size_t(m.rows()), 0);
    detail::parallelRows(m.rows(), double(m.rows()) * elements, [&](int r0, int r1) {
        body(r0, r1, parts[size_t(r0)]);
        used[size_t(r0)] = 1;
    });
    std::vector<P> out;
    for (size_t r = 0; r < parts.size(); r++)
        if (used[r]) out.push_back(parts[r]);
    return out;
}

// The first extreme of channel `ch` in scan order: the first element, then
// each element strictly better (`better(v, best)`) than the best so far, so
// NaN never replaces a value and among equal values (0 and -0) the first
// stays. Stripes after the first start at their first non-NaN element and
// are folded in row order by the same strict test, which gives the serial
// result bit for bit.
template <typename Better>
double firstExtreme(const Mat& m, int ch, Better better) {
    struct Part {
        bool has = false;
        double best = 0.0;
    };
    Part first;
    first.has = true;
    first.best = m.value(0, 0, ch);
    std::vector<Part> parts;
    withDepth(m.type(), [&](auto t) {
        using T = decltype(t);
        parts = rowPartials<Part>(m, m.cols(), [&](int r0, int r1, Part& part) {
            if (r0 == 0) part = first;
            forChannel<T>(m, ch, r0, r1, [&](double v) {
                if (!part.has) {
                    if (v == v) part.has = true, part.best = v;
                } else if (better(v, part.best)) {
                    part.best = v;
                }
            });
        });
    });
    double best = first.best;
    for (const Part& p : parts)
        if (p.has && better(p.best, best)) best = p.best;
    return best;
}

}  // namespace

double Mat::min(int channel) const {
    if (empty() || channel < 0 || channel >= channels()) return 0.0;
    return firstExtreme(*this, channel, [](double v, double best) { return v < best; });
}

double Mat::max(int channel) const {
    if (empty() || channel < 0 || channel >= channels()) return 0.0;
    return firstExtreme(*this, channel, [](double v, double best) { return v > best; });
}

Point4_<double> Mat::mean() const {
    Point4_<double> res;
    if (empty()) return res;
    const double n = double(m_rows) * double(m_cols);
    const int cn = channels() < 4 ? channels() : 4;
    for (int k = 0; k < cn; k++) {
        double s = 0.0;
        withDepth(type(), [&](auto t) {
            using T = decltype(t);
            if (!exactSum(n, integerBound<T>())) {
                forChannel<T>(*this, k, 0, m_rows, [&](double v) { s += v; });
                return;
            }
            // Integer sums below 2^53 are exact in any order: stripes, each
            // summing in 64-bit integers (the same value as the double sum).
            const int step = channels();
            for (double part : rowPartials<double>(*this, m_cols, [&](int r0, int r1, double&p) {
                     long long acc = 0;
                     for (int r = r0; r < r1; r++) {
                         const T* row = ptr<T>(r) + k;
                         for (int c = 0; c < m_cols; c++) acc += (long long)row[c * step];
                     }
                     p = double(acc);
                 }))
                s += part;
        });
        res[k] = s / n;
    }
    return res;
}

Point4_<double> Mat::std() const {
    Point4_<double> res;
    if (empty()) return res;
    // Two passes (mean, then squared deviations) keep the result accurate
    // for large offsets, where sum(x^2) - n * mean^2 would cancel. The
    // deviations are not integers, so this sum keeps its one order.
    const Point4_<double> mu = mean();
    const double n = double(m_rows) * double(m_cols);
    const int cn = channels() < 4 ? channels() : 4;
    for (int k = 0; k < cn; k++) {
        double s = 0.0;
        const double m = mu[k];
        withDepth(type(), [&](auto t) {
            forChannel<decltype(t)>(*this, k, 0, m_rows, [&](double v) { s += (v - m) * (v - m); });
        });
        res[k] = std::sqrt(s / n);
    }
    return res;
}

double Mat::norm(int code, const Mat& mask) const {
    if (empty() || code < 1 || code > 4) return 0.0;
    const bool masked = mask.isValid();
    if (masked && !usableMask(*this, mask)) return 0.0;
    const int cn = channels(), mcn = masked ? mask.channels() : 1;
    double acc = 0.0;
    withDepth(type(), [&](auto t) {
        using T = decltype(t);
        auto rows = [&](int r0, int r1, double& a) {
            for (int r = r0; r < r1; r++) {
                const T* p = ptr<T>(r);
                const unsigned char* mp = masked ? mask.ptr<unsigned char>(r) : nullptr;
                for (int i = 0; i < m_cols * cn; i++) {
                    if (mp && !mp[mcn == 1 ? i / cn : i]) continue;
                    const double v = double(p[i]);
                    switch (code) {
                        case 1:
                            a += std::fabs(v);
                            break;
                        case 3:
                            if (std::fabs(v) > a) a = std::fabs(v);
                            break;
                        default:
                            a += v * v;
                            break;
                    }
                }
            }
        };
        // The largest magnitude is the same in any order; integer sums below
        // 2^53 are exact in any order. Other sums keep their one order.
        const double bound = integerBound<T>();
        const double count = double(m_rows) * m_cols * cn;
        if (code != 3 && !exactSum(count, code == 1 ? bound : bound * bound)) {
            rows(0, m_rows, acc);
            return;
        }
        for (double part : rowPartials<double>(*this, double(m_cols) * cn, rows))
            acc = code == 3 ? (part > acc ? part : acc) : acc + part;
    });
    return code == 2 ? std::sqrt(acc) : acc;
}

int Mat::countNonZero() const {
    if (empty()) return 0;
    long long n = 0;
    withDepth(type(), [&](auto t) {
        using T = decltype(t);
        // A count is exact in any order: row stripes.
        for (double part :
             rowPartials<double>(*this, double(m_cols) * channels(), [&](int r0, int r1, double&c) {
                 long long k = 0;
                 for (int r = r0; r < r1; r++) {
                     const T* p = ptr<T>(r);
                     for (int i = 0; i < m_cols * channels(); i++) k += p[i] != T(0);
                 }
                 c = double(k);
             }))
            n += (long long)part;
    });
    return int(n);
}

void Mat::ne(double v, Mat& mask) const {
    if (empty()) {
        if (&mask != this) mask.release();
        return;
    }
    Mat out(m_rows, m_cols, MAKETYPE(MAT_Tuchar, channels()));
    if (out.empty()) return;
    withDepth(type(), [&](auto t) {
        using T = decltype(t);
        for (int r = 0; r < m_rows; r++) {
            const T* p = ptr<T>(r);
            unsigned char* d = out.ptr<unsigned char>(r);
            for (int i = 0; i < m_cols * channels(); i++) d[i] = double(p[i]) != v ? 255 : 0;
        }
    });
    mask = std::move(out);
}

Mat& Mat::operator&=(const Mat& o) {
    if (empty() || &o == this || !isEqualMat(o)) return *this;
    const size_t n = size_t(rowByteSize());
    for (int r = 0; r < m_rows; r++) {
        unsigned char* d = data.ptr[r];
        const unsigned char* s = o.data.ptr[r];
        for (size_t i = 0; i < n; i++) d[i] &= s[i];
    }
    return *this;
}

Mat operator~(const Mat& a) {
    Mat out(a);
    if (out.empty()) return out;
    withDepth(a.type(), [&](auto t) {
        using T = decltype(t);
        if constexpr (std::is_integral<T>::value) {
            for (int r = 0; r < out.rows(); r++) {
                T* p = out.ptr<T>(r);
                for (int i = 0; i < out.cols() * out.channels(); i++) p[i] = T(~p[i]);
            }
        }
    });
    return out;
}

void Mat::sqrt() {
    if (empty()) return;
    withDepth(type(), [&](auto t) {
        using T = decltype(t);
        for (int r = 0; r < m_rows; r++) {
            T* p = ptr<T>(r);
            for (int i = 0; i < m_cols * channels(); i++) {
                if constexpr (std::is_floating_point<T>::value)
                    p[i] = std::sqrt(p[i]);
                else
                    p[i] = p[i] > 0 ? T(truncInt(std::sqrt(double(p[i])))) : T(0);
            }
        }
    });
}

int Mat::checkVector(int cn, int depth, bool requireContinuous) const {
    if (empty() || cn < 1) return -1;
    if (depth > 0 && type() != (depth & MAT_DEPTH_MASK)) return -1;
    if (requireContinuous && !isContinuous()) return -1;
    if (channels() == cn && (m_rows == 1 || m_cols == 1)) return m_rows * m_cols;
    if (channels() == 1 && m_cols == cn) return m_rows;
    return -1;
}

void Mat::copyTo(Mat& dst, const Mat& mask) const {
    if (&dst == this) return;
    if (empty()) {
        dst.release();
        return;
    }
    if (!mask.isValid()) {
        dst = *this;
        return;
    }
    if (!usableMask(*this, mask)) return;
    // The source or the mask may live in the destination's block: read copies.
    detail::SourceGuard in(*this, dst), mg(mask, dst);
    if (in.failed() || mg.failed()) return;
    const Mat* mk = &mg.get();
    const Mat& srcm = in.get();
    if (!dst.isEqualMat(*this)) {
        if (dst.create(m_rows, m_cols, type1()) < 0) return;
        dst.zero();
    }
    const int cn = channels(), mcn = mk->channels(), es = m_step;
    for (int r = 0; r < m_rows; r++) {
        const unsigned char* s = srcm.data.ptr[r];
        unsigned char* d = dst.data.ptr[r];
        const unsigned char* mp = mk->data.ptr[r];
        if (mcn == 1) {
            const size_t px = size_t(elemSize());
            for (int c = 0; c < m_cols; c++)
                if (mp[c]) std::memcpy(d + c * px, s + c * px, px);
        } else {
            for (int i = 0; i < m_cols * cn; i++)
                if (mp[i]) std::memcpy(d + size_t(i) * es, s + size_t(i) * es, size_t(es));
        }
    }
}

double Vec::value(int i) const {
    if (!data.ptr || !isInside(i)) return 0.0;
    double v = 0.0;
    withDepth(m_type,
              [&](auto t) { v = double(reinterpret_cast<const decltype(t)*>(data.ptr)[i]); });
    return v;
}

}  // namespace tarvo
