// The lane-by-lane complex butterflies of the transform engine, included
// once for the baseline build and once per vector target (inside that
// target's namespace), so plain loops are compiled for each instruction set.
// Deliberately without an include guard. Needs <vector> and ComplexPlan.

template <typename T>
inline void laneCmul(T ar, T ai, T br, T bi, T& r, T& i) {
    r = ar * br - ai * bi;
    i = ar * bi + ai * br;
}

// Every butterfly runs lane by lane over B interleaved transforms
// (element i of lane l at complex index i * B + l), each lane in exactly the
// order of a single transform, so batching never changes a bit.
template <typename T, int kLanes>
void runLanes(const ComplexPlan<T>& P, const T* in, T* out, int lanes, bool inverse, T scale,
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
                        if (j) laneCmul(xr, xi, wr[1], wi[1], xr, xi);
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
                            laneCmul(r1, i1, wr[1], wi[1], r1, i1);
                            laneCmul(r2, i2, wr[2], wi[2], r2, i2);
                            laneCmul(r3, i3, wr[3], wi[3], r3, i3);
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
                            laneCmul(r1, i1, wr[1], wi[1], r1, i1);
                            laneCmul(r2, i2, wr[2], wi[2], r2, i2);
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
                            if (j && k) laneCmul(r[k], im[k], wr[k], wi[k], r[k], im[k]);
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
                                laneCmul(xr, xi, w[wi2], w[wi2 + 1], xr, xi);
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
                                laneCmul(work[2 * k], work[2 * k + 1], w[2 * idx], w[2 * idx + 1],
                                         pr, pi);
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
