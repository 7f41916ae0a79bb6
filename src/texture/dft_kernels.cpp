// Plans and one-dimensional kernels of the transform engine.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "texture/dft_internal.h"

namespace tarvo {
namespace detail {

namespace {

// ---- double-double arithmetic (no fused multiply-add: Veltkamp splitting)
struct DD {
    double hi, lo;
};

DD twoSum(double a, double b) {
    const double s = a + b;
    const double bb = s - a;
    const double err = (a - (s - bb)) + (b - bb);
    return {s, err};
}

DD quickTwoSum(double a, double b) {
    const double s = a + b;
    return {s, b - (s - a)};
}

void split(double a, double& hi, double& lo) {
    const double t = 134217729.0 * a;  // 2^27 + 1
    hi = t - (t - a);
    lo = a - hi;
}

DD twoProd(double a, double b) {
    const double p = a * b;
    double ah, al, bh, bl;
    split(a, ah, al);
    split(b, bh, bl);
    const double err = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
    return {p, err};
}

DD add(DD a, DD b) {
    DD s = twoSum(a.hi, b.hi);
    s.lo += a.lo + b.lo;
    return quickTwoSum(s.hi, s.lo);
}

DD mul(DD a, DD b) {
    DD p = twoProd(a.hi, b.hi);
    p.lo += a.hi * b.lo + a.lo * b.hi;
    return quickTwoSum(p.hi, p.lo);
}

DD divd(DD a, double b) {
    const double q1 = a.hi / b;
    DD r = add(a, DD{-twoProd(q1, b).hi, -twoProd(q1, b).lo});
    const double q2 = r.hi / b;
    r = add(r, DD{-twoProd(q2, b).hi, -twoProd(q2, b).lo});
    const double q3 = r.hi / b;
    DD q = quickTwoSum(q1, q2);
    return add(q, DD{q3, 0.0});
}

// pi / 2 in double-double.
constexpr DD kHalfPi = {1.5707963267948966192e+00, 6.1232339957367660359e-17};

// sin and cos of a in [0, pi/4] by their Taylor series in double-double.
void sinCosSmall(DD a, double& s, double& c) {
    const DD a2 = mul(a, a);
    DD term = a;  // a^(2k+1) / (2k+1)!
    DD sum = a;
    for (int k = 1; k < 16 && term.hi != 0.0; k++) {
        term = mul(term, a2);
        term = divd(term, -double((2 * k) * (2 * k + 1)));
        sum = add(sum, term);
        if (std::fabs(term.hi) < 1e-36) break;  // far below the last bit of the sum
    }
    s = sum.hi + sum.lo;
    term = {1.0, 0.0};
    sum = term;
    for (int k = 1; k < 16; k++) {
        term = mul(term, a2);
        term = divd(term, -double((2 * k - 1) * (2 * k)));
        sum = add(sum, term);
        if (std::fabs(term.hi) < 1e-36) break;
    }
    c = sum.hi + sum.lo;
}

template <typename T>
inline void cmul(T ar, T ai, T br, T bi, T& r, T& i) {
    r = ar * br - ai * bi;
    i = ar * bi + ai * br;
}

}  // namespace

void sinCos2Pi(long long k, long long n, double& s, double& c) {
    if (n < 1) n = 1;
    k %= n;
    if (k < 0) k += n;
    // quadrant and position inside it: 2 pi k / n = q pi/2 + (pi/2) rem / n
    const long long q = (4 * k) / n;
    long long rem = 4 * k - q * n;
    bool swapSC = false;
    if (2 * rem > n) {
        rem = n - rem;
        swapSC = true;
    }
    double sr, cr;
    if (rem == 0) {
        sr = 0.0;
        cr = 1.0;
    } else {
        const DD a = divd(mul(kHalfPi, DD{double(rem), 0.0}), double(n));
        sinCosSmall(a, sr, cr);
    }
    if (swapSC) std::swap(sr, cr);
    switch (q & 3) {
        case 0:
            s = sr, c = cr;
            break;
        case 1:
            s = cr, c = -sr;
            break;
        case 2:
            s = -sr, c = -cr;
            break;
        default:
            s = -cr, c = sr;
            break;
    }
}

// Fills w[2k], w[2k+1] with cos, -sin of 2 pi k / n for k in [0, count):
// exact anchors every 32 entries, a short product recurrence between them.
template <typename T>
static void fillWave(T* w, int count, long long n) {
    double s1, c1;
    sinCos2Pi(1, n, s1, c1);
    for (int b = 0; b < count; b += 32) {
        double s, c;
        sinCos2Pi(b, n, s, c);
        double re = c, im = -s;
        const int e = std::min(count, b + 32);
        for (int k = b; k < e; k++) {
            w[2 * k] = T(re);
            w[2 * k + 1] = T(im);
            const double nr = re * c1 + im * s1;
            const double ni = im * c1 - re * s1;
            re = nr;
            im = ni;
        }
    }
}

template <typename T>
void ComplexPlan<T>::init(int len) {
    n = len;
    factors.clear();
    int m = len;
    if (m < 1) m = 1;
    // Power-of-two part: radix 4 stages, and one radix 2 when a factor 2 is left.
    int p2 = 0;
    while ((m & 1) == 0) {
        m >>= 1;
        p2++;
    }
    if (p2 & 1) factors.push_back(2);
    for (int i = 0; i < p2 / 2; i++) factors.push_back(4);
    for (int d = 3; (long long)d * d <= m; d += 2)
        while (m % d == 0) {
            factors.push_back(d);
            m /= d;
        }
    if (m > 1) factors.push_back(m);
    if (factors.empty()) factors.push_back(1);

    // Digit reversal: the last stage joins p sub-transforms of the samples r, r + p, ...
    perm.assign(size_t(n), 0);
    struct Frame {
        int pos, len, offset, stride, nf;
    };
    std::vector<Frame> stack;
    stack.push_back({0, n, 0, 1, int(factors.size())});
    while (!stack.empty()) {
        Frame f = stack.back();
        stack.pop_back();
        if (f.nf == 0 || f.len == 1) {
            perm[size_t(f.pos)] = f.offset;
            continue;
        }
        const int p = factors[size_t(f.nf - 1)];
        const int sub = f.len / p;
        for (int r = 0; r < p; r++)
            stack.push_back(
                {f.pos + r * sub, sub, f.offset + r * f.stride, f.stride * p, f.nf - 1});
    }
    wave.assign(size_t(2 * n), T(0));
    fillWave(wave.data(), n, n);
    double s, c;
    sinCos2Pi(1, 3, s, c);
    c3 = T(s);  // sqrt(3) / 2
    sinCos2Pi(1, 5, s, c);
    c5a = T(c), s5a = T(s);
    sinCos2Pi(2, 5, s, c);
    c5b = T(c), s5b = T(s);
}

template <typename T>
int ComplexPlan<T>::maxFactor() const {
    int m = 1;
    for (int f : factors) m = std::max(m, f);
    return m;
}

namespace {
#include "texture/dft_lanes.inl"
}  // namespace

template <typename T>
void ComplexPlan<T>::run(const T* in, T* out, bool inverse, T scale, T* work) const {
    runLanes<T, 1>(*this, in, out, 1, inverse, scale, work);
}

template <typename T>
void ComplexPlan<T>::runBatch(const T* in, T* out, int B, bool inverse, T scale, T* work) const {
    if (B == 8 && runLanes8Vector(*this, in, out, inverse, scale, work)) return;
    if (B == 8)
        runLanes<T, 8>(*this, in, out, 8, inverse, scale, work);
    else if (B == 1)
        runLanes<T, 1>(*this, in, out, 1, inverse, scale, work);
    else
        runLanes<T, 0>(*this, in, out, B, inverse, scale, work);
}

template <typename T>
void RealPlan<T>::init(int len) {
    n = len < 1 ? 1 : len;
    if (n >= 2 && (n & 1) == 0) {
        cplan.init(n / 2);
        post.assign(size_t(n / 2 + 1) * 2, T(0));
        fillWave(post.data(), n / 2 + 1, n);
    } else {
        cplan.init(n);
        post.clear();
    }
}

template <typename T>
size_t RealPlan<T>::workSize() const {
    return size_t(4 * n + 2 * cplan.maxFactor() + 8);
}

template <typename T>
void RealPlan<T>::forward(const T* in, T* out, bool complexOut, T scale, T* work) const {
    if (n == 1) {
        out[0] = in[0] * scale;
        if (complexOut) out[1] = 0;
        return;
    }
    T* z = work;           // complex input of the half (or full) plan
    T* Z = work + 2 * n;   // its transform
    T* wk = work + 4 * n;  // odd-radix scratch
    if (n & 1) {
        for (int i = 0; i < n; i++) z[2 * i] = in[i], z[2 * i + 1] = 0;
        cplan.run(z, Z, false, T(1), wk);
        const int h = n / 2;
        if (complexOut) {
            for (int k = 0; k <= h; k++)
                out[2 * k] = Z[2 * k] * scale, out[2 * k + 1] = Z[2 * k + 1] * scale;
        } else {
            out[0] = Z[0] * scale;
            for (int k = 1; k <= h; k++)
                out[2 * k - 1] = Z[2 * k] * scale, out[2 * k] = Z[2 * k + 1] * scale;
        }
        return;
    }
    const int h = n / 2;
    std::memcpy(z, in, sizeof(T) * size_t(n));
    cplan.run(z, Z, false, T(1), wk);
    const T* w = post.data();
    const T half = T(0.5) * scale;
    auto emit = [&](int k, T re, T im) {
        if (complexOut) {
            out[2 * k] = re, out[2 * k + 1] = im;
        } else if (k == 0) {
            out[0] = re;
        } else if (k == h) {
            out[n - 1] = re;
        } else {
            out[2 * k - 1] = re, out[2 * k] = im;
        }
    };
    emit(0, (Z[0] + Z[1]) * scale, T(0));
    emit(h, (Z[0] - Z[1]) * scale, T(0));
    for (int k = 1; k < h; k++) {
        const T ar = Z[2 * k], ai = Z[2 * k + 1];
        const T br = Z[2 * (h - k)], bi = -Z[2 * (h - k) + 1];  // conj(Z[h - k])
        const T er = ar + br, ei = ai + bi;                     // 2 Fe
        const T dr = ar - br, di = ai - bi;
        const T orr = di, oi = -dr;  // 2 Fo = -i (A - B)
        T tr, ti;
        cmul(orr, oi, w[2 * k], w[2 * k + 1], tr, ti);
        emit(k, (er + tr) * half, (ei + ti) * half);
    }
}

template <typename T>
void RealPlan<T>::inverse(const T* in, T* out, bool complexIn, T scale, T* work) const {
    if (n == 1) {
        out[0] = in[0] * scale;
        return;
    }
    const int h = n / 2;
    auto get = [&](int k, T& re, T& im) {
        if (complexIn) {
            re = in[2 * k], im = in[2 * k + 1];
        } else if (k == 0) {
            re = in[0], im = 0;
        } else if ((n & 1) == 0 && k == h) {
            re = in[n - 1], im = 0;
        } else {
            re = in[2 * k - 1], im = in[2 * k];
        }
    };
    T* z = work;
    T* Z = work + 2 * n;
    T* wk = work + 4 * n;
    if (n & 1) {
        for (int k = 0; k <= h; k++) {
            T re, im;
            get(k, re, im);
            if (k == 0) im = 0;
            z[2 * k] = re, z[2 * k + 1] = im;
            if (k) z[2 * (n - k)] = re, z[2 * (n - k) + 1] = -im;
        }
        cplan.run(z, Z, true, T(1), wk);
        for (int i = 0; i < n; i++) out[i] = Z[2 * i] * scale;
        return;
    }
    const T* w = post.data();
    for (int k = 0; k < h; k++) {
        T ar, ai, br, bi;
        get(k, ar, ai);
        get(h - k, br, bi);
        if (k == 0) ai = 0, bi = 0;
        bi = -bi;  // conj(X[h - k])
        const T er = ar + br, ei = ai + bi;
        T dr = ar - br, di = ai - bi;
        T tr, ti;
        cmul(dr, di, w[2 * k], -w[2 * k + 1], tr, ti);  // times conj(W^k)
        // Z = E + i O
        z[2 * k] = er - ti, z[2 * k + 1] = ei + tr;
    }
    cplan.run(z, Z, true, T(1), wk);
    for (int i = 0; i < h; i++)
        out[2 * i] = Z[2 * i] * scale, out[2 * i + 1] = Z[2 * i + 1] * scale;
}

template <typename T>
size_t RealPlan<T>::batchWorkSize() const {
    return size_t(2 * n * kRows + 2 * cplan.maxFactor() + 8);
}

// The batched forms keep the single-row arithmetic: the complex plan runs
// lane by lane, and the pre- and post-steps below are the single-row ones
// with the half spectrum read (or written) at stride kRows.
template <typename T>
void RealPlan<T>::forwardRows(const T* const* in, T* const* out, bool complexOut, T scale,
                              T* work) const {
    constexpr int B = kRows;
    const int h = n / 2;
    T* z = work;               // h complex values per lane, interleaved lane by lane
    T* Zall = work + n * B;    // their transforms
    T* wk = work + 2 * n * B;  // odd-radix scratch
    for (int l = 0; l < B; l++) {
        const T* s = in[l];
        for (int i = 0; i < h; i++) {
            z[2 * (i * B + l)] = s[2 * i];
            z[2 * (i * B + l) + 1] = s[2 * i + 1];
        }
    }
    cplan.runBatch(z, Zall, B, false, T(1), wk);
    const T* w = post.data();
    const T half = T(0.5) * scale;
    for (int l = 0; l < B; l++) {
        T* o = out[l];
        auto Z = [&](int k, int part) { return Zall[2 * (size_t(k) * B + l) + part]; };
        auto emit = [&](int k, T re, T im) {
            if (complexOut) {
                o[2 * k] = re, o[2 * k + 1] = im;
            } else if (k == 0) {
                o[0] = re;
            } else if (k == h) {
                o[n - 1] = re;
            } else {
                o[2 * k - 1] = re, o[2 * k] = im;
            }
        };
        emit(0, (Z(0, 0) + Z(0, 1)) * scale, T(0));
        emit(h, (Z(0, 0) - Z(0, 1)) * scale, T(0));
        for (int k = 1; k < h; k++) {
            const T ar = Z(k, 0), ai = Z(k, 1);
            const T br = Z(h - k, 0), bi = -Z(h - k, 1);
            const T er = ar + br, ei = ai + bi;
            const T dr = ar - br, di = ai - bi;
            const T orr = di, oi = -dr;
            T tr, ti;
            cmul(orr, oi, w[2 * k], w[2 * k + 1], tr, ti);
            emit(k, (er + tr) * half, (ei + ti) * half);
        }
    }
}

template <typename T>
void RealPlan<T>::inverseRows(const T* const* in, T* const* out, bool complexIn, T scale,
                              T* work) const {
    constexpr int B = kRows;
    const int h = n / 2;
    T* z = work;
    T* Zall = work + n * B;
    T* wk = work + 2 * n * B;
    const T* w = post.data();
    for (int l = 0; l < B; l++) {
        const T* src = in[l];
        auto get = [&](int k, T& re, T& im) {
            if (complexIn) {
                re = src[2 * k], im = src[2 * k + 1];
            } else if (k == 0) {
                re = src[0], im = 0;
            } else if (k == h) {
                re = src[n - 1], im = 0;
            } else {
                re = src[2 * k - 1], im = src[2 * k];
            }
        };
        for (int k = 0; k < h; k++) {
            T ar, ai, br, bi;
            get(k, ar, ai);
            get(h - k, br, bi);
            if (k == 0) ai = 0, bi = 0;
            bi = -bi;
            const T er = ar + br, ei = ai + bi;
            T dr = ar - br, di = ai - bi;
            T tr, ti;
            cmul(dr, di, w[2 * k], -w[2 * k + 1], tr, ti);
            z[2 * (size_t(k) * B + l)] = er - ti;
            z[2 * (size_t(k) * B + l) + 1] = ei + tr;
        }
    }
    cplan.runBatch(z, Zall, B, true, T(1), wk);
    for (int l = 0; l < B; l++) {
        T* o = out[l];
        for (int i = 0; i < h; i++) {
            o[2 * i] = Zall[2 * (size_t(i) * B + l)] * scale;
            o[2 * i + 1] = Zall[2 * (size_t(i) * B + l) + 1] * scale;
        }
    }
}

template struct ComplexPlan<float>;
template struct ComplexPlan<double>;
template struct RealPlan<float>;
template struct RealPlan<double>;

}  // namespace detail
}  // namespace tarvo
