// The sampler shared by the transformation operators: sixteen kernels, the
// overflow reads, plain sampling at a real position and area sampling.
//
// A position along one axis is prepared once (AxisTaps: first tap, weights,
// inside / outside tests) so that resampling loops compute the weights of
// each output column and row once and reuse them along the other axis; the
// per-pixel path calls the same preparation, so both give identical bytes.
#pragma once

#include <cmath>
#include <vector>

#include "tarvo/export.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/mat.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {

// Bessel function of the first kind, order one (rational fits below 8, the
// asymptotic form above), evaluated in double, odd in x.
TARVO_EXPORTS double besselJ1(double x);

// The weight of kernel `method` (3 to 16; other codes give 0) at distance x.
TARVO_EXPORTS float transformKernel(int method, float x);

// Taps per axis of an interpolation code: 1 nearest, 12 Lanczos, 4 for the
// other kernels 3 to 16, 2 for bilinear (every other code).
inline int transformTaps(int method) {
    if (method == InterpNearest) return 1;
    if (method == InterpLanczos) return 12;
    if (method >= InterpBSpline && method <= InterpCatmullRom) return 4;
    return 2;
}

// Coordinates are kept within +-2^30 before integer work, so tap indices
// never overflow; such positions are far outside any image anyway.
inline float clampCoord(float v) {
    const float lim = 1073741824.0f;
    return v > lim ? lim : v < -lim ? -lim : v;  // NaN passes and truncates to 0
}

// x0 of a position: truncation, one lower for negative positions.
inline int transformFloor(float v) {
    const int t = truncInt(v);
    return v < 0.0f ? t - 1 : t;
}

// Integer overflow rule for wrap (4), clamp (5) and mirror (6); c outside 0..n-1.
inline int moveIndex(long long c, int n, int overflow) {
    if (overflow == OverflowWrap) {
        long long r = c % n;
        return int(r < 0 ? r + n : r);
    }
    if (overflow == OverflowClamp) return int(c < 0 ? 0 : c >= n ? n - 1 : c);
    if (c < 0) return int((-c) % n);
    return int(n - (c % n) - 1);
}

// Floating overflow rule used when the whole support lies outside: moves a
// coordinate into 0..n (wrap, mirror) or 0..n-1 (clamp); inside values stay.
inline float moveCoord(float v, int n, int overflow) {
    const float fn = float(n);
    if (overflow == OverflowWrap) {
        float r = std::fmod(v, fn);
        return r < 0.0f ? r + fn : r;
    }
    if (overflow == OverflowClamp) return v < 0.0f ? 0.0f : v > fn - 1.0f ? fn - 1.0f : v;
    if (v < 0.0f) return std::fmod(-v, fn);
    if (v >= fn) return fn - std::fmod(v, fn) - 1.0f;
    return v;
}

// One axis of a sampling position.
struct AxisTaps {
    float pos = 0.0f;      // the position (clamped to +-2^30)
    int i0 = 0;            // first tap (x0 - 1, x0 - 5, x0 for bilinear)
    int n = 2;             // taps
    bool outside = false;  // the whole support lies outside on this axis
    bool inside = false;   // every tap lies inside: direct reads
    float frac = 0.0f;     // pos - x0 (bilinear)
    float w[12] = {};      // kernel weights (4- and 12-tap methods)
};

// Prepares an axis of length `size`. `rowAxis` selects the row-axis form of
// the 4-tap outside test, which lets x0 == size pass.
inline void prepareAxis(AxisTaps& a, float pos, int size, int method, bool rowAxis) {
    a.pos = clampCoord(pos);
    const int x0 = transformFloor(a.pos);
    const int taps = transformTaps(method);
    a.n = taps;
    if (taps == 12) {
        a.i0 = x0 - 5;
        a.outside = x0 + 6 < 0 || x0 - 5 >= size;
        a.inside = x0 - 5 >= 0 && x0 + 6 < size;
        for (int i = 0; i < 12; i++) a.w[i] = transformKernel(method, float(a.i0 + i) - a.pos);
    } else if (taps == 4) {
        a.i0 = x0 - 1;
        a.outside = x0 + 2 < 0 || (rowAxis ? x0 > size : x0 - 1 >= size);
        a.inside = x0 >= 1 && x0 + 2 < size;
        for (int i = 0; i < 4; i++) a.w[i] = transformKernel(method, float(a.i0 + i) - a.pos);
    } else {
        a.i0 = x0;
        a.outside = x0 < -1 || x0 >= size;
        a.inside = x0 >= 0 && x0 + 1 < size;
        a.frac = a.pos - float(x0);
    }
}

// Source, overflow rule and the colour of outside reads for one call.
template <typename T>
struct SampleSource {
    const Mat* src = nullptr;
    int cols = 0, rows = 0, cn = 1;
    int method = InterpBilinear;
    int overflow = OverflowColor;
    std::vector<T> colour;  // cn values: the replacement or the operator's colour

    // colour4: the replacement colour (four values, further channels take the
    // last), or null for zero.
    SampleSource(const Mat& m, int method_, int overflow_, const T* colour4)
        : src(&m),
          cols(m.cols()),
          rows(m.rows()),
          cn(m.channels()),
          method(method_),
          overflow(overflow_),
          colour(size_t(m.channels()), T(0)) {
        if (colour4)
            for (int k = 0; k < cn; k++) colour[size_t(k)] = colour4[k < 4 ? k : 3];
    }
    bool movesInside() const {
        return overflow == OverflowWrap || overflow == OverflowClamp || overflow == OverflowMirror;
    }
    // The overflow read at integer (x, y): cn values.
    const T* read(long long x, long long y) const {
        if (x >= 0 && x < cols && y >= 0 && y < rows)
            return src->ptr<T>(int(y)) + size_t(x) * size_t(cn);
        if (!movesInside()) return colour.data();
        const int mx = x >= 0 && x < cols ? int(x) : moveIndex(x, cols, overflow);
        const int my = y >= 0 && y < rows ? int(y) : moveIndex(y, rows, overflow);
        return src->ptr<T>(my) + size_t(mx) * size_t(cn);
    }
};

// Clamp of the kernel sums: 0..255 for every element type, then truncation
// (integer types) or conversion (floating types). NaN gives 0.
template <typename T>
inline T clampKernelSum(float s) {
    if (!(s > 0.0f)) s = 0.0f;
    if (s > 255.0f) s = 255.0f;
    return saturate_trunc<T>(s);
}

template <typename T>
inline float toFloat(T v) {
    return float(v);
}

// Kernel sampling of 4 or 12 taps per axis with prepared axes; writes cn values.
template <typename T>
void sampleKernel(const SampleSource<T>& s, const AxisTaps& ax, const AxisTaps& ay, T* out) {
    const int cn = s.cn, n = ax.n;
    float acc[64];
    for (int k = 0; k < cn; k++) acc[k] = 0.0f;
    const bool direct = ax.inside && ay.inside;
    for (int j = 0; j < n; j++) {
        const int yy = ay.i0 + j;
        float row[64];
        for (int k = 0; k < cn; k++) row[k] = 0.0f;
        if (direct) {
            const T* p = s.src->template ptr<T>(yy) + size_t(ax.i0) * size_t(cn);
            for (int i = 0; i < n; i++, p += cn) {
                const float wx = ax.w[i];
                for (int k = 0; k < cn; k++) row[k] += wx * toFloat(p[k]);
            }
        } else {
            for (int i = 0; i < n; i++) {
                const T* p = s.read(ax.i0 + i, yy);
                const float wx = ax.w[i];
                for (int k = 0; k < cn; k++) row[k] += wx * toFloat(p[k]);
            }
        }
        const float wy = ay.w[j];
        for (int k = 0; k < cn; k++) acc[k] += wy * row[k];
    }
    for (int k = 0; k < cn; k++) out[k] = clampKernelSum<T>(acc[k]);
}

// Bilinear sampling with prepared axes (x0 in i0, fraction in frac).
template <typename T>
void sampleBilinear(const SampleSource<T>& s, const AxisTaps& ax, const AxisTaps& ay, T* out) {
    const int cn = s.cn, x0 = ax.i0, y0 = ay.i0;
    if (ax.inside && ay.inside) {
        // 8-bit fixed point on the first channel, modulo 256, into every channel.
        const unsigned fx = unsigned(truncInt(ax.frac * 256.0f));
        const unsigned fy = unsigned(truncInt(ay.frac * 256.0f));
        const unsigned w3 = (fx * fy) >> 8, w1 = fx - w3, w2 = fy - w3, w0 = 256u - w2 - fx;
        const T* r0 = s.src->template ptr<T>(y0) + size_t(x0) * size_t(cn);
        const T* r1 = s.src->template ptr<T>(y0 + 1) + size_t(x0) * size_t(cn);
        const unsigned p00 = unsigned(truncInt(double(r0[0])));
        const unsigned p10 = unsigned(truncInt(double(r0[cn])));
        const unsigned p01 = unsigned(truncInt(double(r1[0])));
        const unsigned p11 = unsigned(truncInt(double(r1[cn])));
        const unsigned v =
            ((w0 & 255u) * p00 + (w1 & 255u) * p10 + (w2 & 255u) * p01 + (w3 & 255u) * p11) & 255u;
        for (int k = 0; k < cn; k++) out[k] = T(v);
        return;
    }
    const float fx = ax.frac, fy = ay.frac;
    const float fxy = fx * fy;
    const float w3 = fxy, w1 = fx - fxy, w2 = fy - fxy, w0 = 1.0f - fx - fy + fxy;
    const T* p00 = s.read(x0, y0);
    const T* p10 = s.read(x0 + 1LL, y0);
    const T* p01 = s.read(x0, y0 + 1LL);
    const T* p11 = s.read(x0 + 1LL, y0 + 1LL);
    for (int k = 0; k < cn; k++) {
        const float v = w0 * toFloat(p00[k]) + w1 * toFloat(p10[k]) + w2 * toFloat(p01[k]) +
                        w3 * toFloat(p11[k]);
        out[k] = saturate_trunc<T>(v);
    }
}

// Plain sampling with prepared axes (method not nearest).
template <typename T>
void samplePrepared(const SampleSource<T>& s, const AxisTaps& ax, const AxisTaps& ay, T* out) {
    if (ax.outside || ay.outside) {
        if (!s.movesInside()) {
            for (int k = 0; k < s.cn; k++) out[k] = s.colour[size_t(k)];
            return;
        }
        AxisTaps mx, my;
        prepareAxis(mx, moveCoord(ax.pos, s.cols, s.overflow), s.cols, s.method, false);
        prepareAxis(my, moveCoord(ay.pos, s.rows, s.overflow), s.rows, s.method, true);
        if (mx.n == 2)
            sampleBilinear(s, mx, my, out);
        else
            sampleKernel(s, mx, my, out);
        return;
    }
    if (ax.n == 2)
        sampleBilinear(s, ax, ay, out);
    else
        sampleKernel(s, ax, ay, out);
}

// Nearest: trunc(x + 0.5), trunc(y + 0.5) through the overflow read.
template <typename T>
void sampleNearest(const SampleSource<T>& s, float x, float y, T* out) {
    const int xi = truncInt(clampCoord(x) + 0.5f), yi = truncInt(clampCoord(y) + 0.5f);
    const T* p = s.read(xi, yi);
    for (int k = 0; k < s.cn; k++) out[k] = p[k];
}

// Plain sampling at (x, y) with the source's method and overflow rule.
template <typename T>
void sampleAt(const SampleSource<T>& s, float x, float y, T* out) {
    if (s.method == InterpNearest) {
        sampleNearest(s, x, y, out);
        return;
    }
    AxisTaps ax, ay;
    prepareAxis(ax, x, s.cols, s.method, false);
    prepareAxis(ay, y, s.rows, s.method, true);
    samplePrepared(s, ax, ay, out);
}

// Area sampling of a w x h box centred at (x, y); boxes of at most one pixel
// both ways sample plainly. Sum order: corners, edge rows, edge columns,
// interior; divided by w h and truncated.
template <typename T>
void sampleArea(const SampleSource<T>& s, float x, float y, float w, float h, T* out) {
    if (w <= 1.0f && h <= 1.0f) {
        sampleAt(s, x, y, out);
        return;
    }
    const int cn = s.cn;
    const float left = clampCoord(x - w / 2.0f), right = clampCoord(x + w / 2.0f);
    const float top = clampCoord(y - h / 2.0f), bottom = clampCoord(y + h / 2.0f);
    const int c0 = truncInt(left + 0.5f), c1 = truncInt(right + 0.5f);
    const int r0 = truncInt(top + 0.5f), r1 = truncInt(bottom + 0.5f);
    auto overlap = [](float lo, float hi, int c) {
        const float a = std::fmax(lo, float(c) - 0.5f), b = std::fmin(hi, float(c) + 0.5f);
        return b > a ? b - a : 0.0f;
    };
    float acc[64];
    for (int k = 0; k < cn; k++) acc[k] = 0.0f;
    auto add = [&](int c, int r, float wt) {
        const T* p = s.read(c, r);
        for (int k = 0; k < cn; k++) acc[k] += wt * toFloat(p[k]);
    };
    const int edgeCols[2] = {c0, c1}, edgeRows[2] = {r0, r1};
    const int nec = c1 != c0 ? 2 : 1, ner = r1 != r0 ? 2 : 1;
    float ocol[2], orow[2];
    for (int i = 0; i < nec; i++) ocol[i] = overlap(left, right, edgeCols[i]);
    for (int j = 0; j < ner; j++) orow[j] = overlap(top, bottom, edgeRows[j]);
    for (int j = 0; j < ner; j++)
        for (int i = 0; i < nec; i++) add(edgeCols[i], edgeRows[j], ocol[i] * orow[j]);
    for (int j = 0; j < ner; j++)
        for (int c = c0 + 1; c < c1; c++) add(c, edgeRows[j], orow[j]);
    for (int i = 0; i < nec; i++)
        for (int r = r0 + 1; r < r1; r++) add(edgeCols[i], r, ocol[i]);
    for (int r = r0 + 1; r < r1; r++) {
        if (r >= 0 && r < s.rows && c0 + 1 >= 0 && c1 - 1 < s.cols) {
            const T* p = s.src->template ptr<T>(r) + size_t(c0 + 1) * size_t(cn);
            for (int c = c0 + 1; c < c1; c++, p += cn)
                for (int k = 0; k < cn; k++) acc[k] += toFloat(p[k]);
        } else {
            for (int c = c0 + 1; c < c1; c++) add(c, r, 1.0f);
        }
    }
    const float area = w * h;
    for (int k = 0; k < cn; k++) out[k] = saturate_trunc<T>(acc[k] / area);
}

}  // namespace detail
}  // namespace tarvo
