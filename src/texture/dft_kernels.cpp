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

// Every butterfly runs lane by lane over B interleaved transforms
// (element i of lane l at complex index i * B + l), each lane in exactly the
// order of a single transform, so batching never changes a bit.
template <typename T, int kLanes>
static void runLanes(const ComplexPlan<T>& P, const T* in, T* out, int lanes, bool inverse, T scale,
                     T* work) {
    // kLanes > 0 fixes the lane count at compile time (1 for single rows, 8
    // for column batches) so the lane loops unroll; the arithmetic is the same.
    const int B = kLanes > 0 ? kLanes : lanes;
    const int n = P.n;
    const std::vector<int>& perm = P.perm;
    const std::vector<int>& factors = P.factors;
    const T c3 = P.c3, c5a = P.c5a, c5b = P.c5b, s5a = P.s5a, s5b = P.s5b;
    const T sg = inverse ? T(-1) : T(1);
    const size_t B2 = size_t(2 * B);
    for (int i = 0; i < n; i++) {
        const T* s = in + size_t(perm[size_t(i)]) * B2;
        T* d = out + size_t(i) * B2;
        for (int l = 0; l < B; l++) {
            d[2 * l] = s[2 * l];
            d[2 * l + 1] = sg * s[2 * l + 1];
        }
    }
    const T* w = P.wave.data();
    int L = 1;
    T wr[64], wi[64];
    for (int p : factors) {
        if (p == 1) break;
        const int len = L * p;
        const int tw = n / len;
        const size_t st = size_t(L) * B2;  // distance between the butterfly's inputs, in T
        const bool small = p <= 64;
        for (int j = 0; j < L; j++) {
            // twiddles of this j: index j k tw stays below n for k < p
            if (j && small)
                for (int k = 1; k < p; k++) {
                    wr[k] = w[2 * size_t(j) * k * tw];
                    wi[k] = w[2 * size_t(j) * k * tw + 1];
                }
            for (int b = 0; b < n; b += len) {
                T* a0 = out + size_t(b + j) * B2;
                if (p == 2) {
                    for (int l = 0; l < B; l++) {
                        T* a = a0 + 2 * l;
                        T xr = a[st], xi = a[st + 1];
                        if (j) cmul(xr, xi, wr[1], wi[1], xr, xi);
                        const T ar = a[0], ai = a[1];
                        a[0] = ar + xr, a[1] = ai + xi;
                        a[st] = ar - xr, a[st + 1] = ai - xi;
                    }
                } else if (p == 4) {
                    for (int l = 0; l < B; l++) {
                        T* a = a0 + 2 * l;
                        T r0 = a[0], i0 = a[1], r1 = a[st], i1 = a[st + 1];
                        T r2 = a[2 * st], i2 = a[2 * st + 1], r3 = a[3 * st], i3 = a[3 * st + 1];
                        if (j) {
                            cmul(r1, i1, wr[1], wi[1], r1, i1);
                            cmul(r2, i2, wr[2], wi[2], r2, i2);
                            cmul(r3, i3, wr[3], wi[3], r3, i3);
                        }
                        const T t0r = r0 + r2, t0i = i0 + i2, t1r = r0 - r2, t1i = i0 - i2;
                        const T t2r = r1 + r3, t2i = i1 + i3;
                        const T t3r = i1 - i3, t3i = r3 - r1;  // (a1 - a3) * -i
                        a[0] = t0r + t2r, a[1] = t0i + t2i;
                        a[2 * st] = t0r - t2r, a[2 * st + 1] = t0i - t2i;
                        a[st] = t1r + t3r, a[st + 1] = t1i + t3i;
                        a[3 * st] = t1r - t3r, a[3 * st + 1] = t1i - t3i;
                    }
                } else if (p == 3) {
                    for (int l = 0; l < B; l++) {
                        T* a = a0 + 2 * l;
                        T r0 = a[0], i0 = a[1], r1 = a[st], i1 = a[st + 1];
                        T r2 = a[2 * st], i2 = a[2 * st + 1];
                        if (j) {
                            cmul(r1, i1, wr[1], wi[1], r1, i1);
                            cmul(r2, i2, wr[2], wi[2], r2, i2);
                        }
                        const T tr = r1 + r2, ti = i1 + i2, dr = r1 - r2, di = i1 - i2;
                        const T mr = r0 - T(0.5) * tr, mi = i0 - T(0.5) * ti;
                        a[0] = r0 + tr, a[1] = i0 + ti;
                        a[st] = mr + c3 * di, a[st + 1] = mi - c3 * dr;
                        a[2 * st] = mr - c3 * di, a[2 * st + 1] = mi + c3 * dr;
                    }
                } else if (p == 5) {
                    for (int l = 0; l < B; l++) {
                        T* a = a0 + 2 * l;
                        T r[5], im[5];
                        for (int k = 0; k < 5; k++) {
                            r[k] = a[k * st], im[k] = a[k * st + 1];
                            if (j && k) cmul(r[k], im[k], wr[k], wi[k], r[k], im[k]);
                        }
                        const T t1r = r[1] + r[4], t1i = im[1] + im[4], d1r = r[1] - r[4],
                                d1i = im[1] - im[4];
                        const T t2r = r[2] + r[3], t2i = im[2] + im[3], d2r = r[2] - r[3],
                                d2i = im[2] - im[3];
                        const T m1r = r[0] + c5a * t1r + c5b * t2r,
                                m1i = im[0] + c5a * t1i + c5b * t2i;
                        const T m2r = r[0] + c5b * t1r + c5a * t2r,
                                m2i = im[0] + c5b * t1i + c5a * t2i;
                        const T n1r = s5a * d1r + s5b * d2r, n1i = s5a * d1i + s5b * d2i;
                        const T n2r = s5b * d1r - s5a * d2r, n2i = s5b * d1i - s5a * d2i;
                        a[0] = r[0] + t1r + t2r, a[1] = im[0] + t1i + t2i;
                        // m - i n = (m.re + n.im, m.im - n.re)
                        a[st] = m1r + n1i, a[st + 1] = m1i - n1r;
                        a[4 * st] = m1r - n1i, a[4 * st + 1] = m1i + n1r;
                        a[2 * st] = m2r + n2i, a[2 * st + 1] = m2i - n2r;
                        a[3 * st] = m2r - n2i, a[3 * st + 1] = m2i + n2r;
                    }
                } else {
                    const int step = n / p;
                    for (int l = 0; l < B; l++) {
                        T* a = a0 + 2 * l;
                        for (int k = 0; k < p; k++) {
                            T xr = a[k * st], xi = a[k * st + 1];
                            if (j && k) {
                                const size_t wi2 = 2 * size_t(j) * k * tw;
                                cmul(xr, xi, w[wi2], w[wi2 + 1], xr, xi);
                            }
                            work[2 * k] = xr, work[2 * k + 1] = xi;
                        }
                        for (int q = 0; q < p; q++) {
                            T sr = work[0], si = work[1];
                            int idx = 0;
                            const int inc = int((long long)q * step % n);
                            for (int k = 1; k < p; k++) {
                                idx += inc;
                                if (idx >= n) idx -= n;
                                T pr, pi;
                                cmul(work[2 * k], work[2 * k + 1], w[2 * idx], w[2 * idx + 1], pr,
                                     pi);
                                sr = sr + pr, si = si + pi;
                            }
                            a[q * st] = sr, a[q * st + 1] = si;
                        }
                    }
                }
            }
        }
        L = len;
    }
    if (inverse || scale != T(1)) {
        const size_t total = size_t(n) * size_t(B);
        for (size_t i = 0; i < total; i++) {
            out[2 * i] = out[2 * i] * scale;
            out[2 * i + 1] = sg * out[2 * i + 1] * scale;
        }
    }
}

template <typename T>
void ComplexPlan<T>::run(const T* in, T* out, bool inverse, T scale, T* work) const {
    runLanes<T, 1>(*this, in, out, 1, inverse, scale, work);
}

template <typename T>
void ComplexPlan<T>::runBatch(const T* in, T* out, int B, bool inverse, T scale, T* work) const {
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

template struct ComplexPlan<float>;
template struct ComplexPlan<double>;
template struct RealPlan<float>;
template struct RealPlan<double>;

}  // namespace detail
}  // namespace tarvo
