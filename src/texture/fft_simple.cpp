// The plain array transforms (radix 2 and direct sum), the display transform
// built on them, and the table-driven direct two-dimensional transform.
#include <cmath>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "tarvo/ip/transforms.h"
#include "texture/dft_internal.h"

namespace tarvo {

namespace ip {

bool isPowerof2(int n) {
    return n >= 1 && (n & (n - 1)) == 0;
}

bool fft(int dir, int m, double* x, double* y) {
    if (m < 0 || m > 30 || !x || !y) return true;
    const long n = 1L << m;
    // Bit-reversal order by the running reversed index.
    long j = 0;
    const long i2 = n >> 1;
    for (long i = 0; i < n - 1; i++) {
        if (i < j) {
            std::swap(x[i], x[j]);
            std::swap(y[i], y[j]);
        }
        long k = i2;
        while (k <= j) {
            j -= k;
            k >>= 1;
        }
        j += k;
    }
    // Butterflies; the stage factor (c1, c2) halves its angle by the half-angle formulas.
    double c1 = -1.0, c2 = 0.0;
    long l2 = 1;
    for (int l = 0; l < m; l++) {
        const long l1 = l2;
        l2 <<= 1;
        double u1 = 1.0, u2 = 0.0;
        for (long jj = 0; jj < l1; jj++) {
            for (long i = jj; i < n; i += l2) {
                const long i1 = i + l1;
                const double t1 = u1 * x[i1] - u2 * y[i1];
                const double t2 = u1 * y[i1] + u2 * x[i1];
                x[i1] = x[i] - t1;
                y[i1] = y[i] - t2;
                x[i] += t1;
                y[i] += t2;
            }
            const double z = u1 * c1 - u2 * c2;
            u2 = u1 * c2 + u2 * c1;
            u1 = z;
        }
        c2 = std::sqrt((1.0 - c1) / 2.0);
        if (dir == 1) c2 = -c2;
        c1 = std::sqrt((1.0 + c1) / 2.0);
    }
    if (dir == 1) {
        for (long i = 0; i < n; i++) {
            x[i] /= double(n);
            y[i] /= double(n);
        }
    }
    return true;
}

bool dft(int dir, int n, double* x1, double* y1, double* x2, double* y2) {
    if (n < 1 || !x1 || !y1 || !x2 || !y2) return true;
    // One table of the n roots; the angle -2 dir pi i k / n is reduced exactly
    // to its index (i k dir) mod n before the lookup.
    std::vector<double> c(static_cast<size_t>(n)), s(static_cast<size_t>(n));
    for (int j = 0; j < n; j++) detail::sinCos2Pi(j, n, s[size_t(j)], c[size_t(j)]);
    const long long d = ((-(long long)dir) % n + n) % n;
    for (int i = 0; i < n; i++) {
        double ar = 0, ai = 0;
        const long long step = (long long)i * d % n;
        long long idx = 0;
        for (int k = 0; k < n; k++) {
            const double cs = c[size_t(idx)], sn = s[size_t(idx)];
            ar += x1[k] * cs - y1[k] * sn;
            ai += x1[k] * sn + y1[k] * cs;
            idx += step;
            if (idx >= n) idx -= n;
        }
        x2[i] = ar;
        y2[i] = ai;
    }
    for (int i = 0; i < n; i++) {
        x1[i] = dir == 1 ? x2[i] / double(n) : x2[i];
        y1[i] = dir == 1 ? y2[i] / double(n) : y2[i];
    }
    return true;
}

namespace {

int log2Of(int n) {
    int m = 0;
    while ((1 << m) < n) m++;
    return m;
}

int nextPow2(int n) {
    int p = 1;
    while (p < n && p < (1 << 30)) p <<= 1;
    return p;
}

// Sample (y, x) of m read as float, 128 outside it.
double sampleOr128(const Mat& m, int y, int x) {
    if (m.empty() || y >= m.rows() || x >= m.cols()) return 128.0;
    return double(float(m.value(y, x, 0)));
}

unsigned char toByte(double v) {
    if (!(v > 0)) return 0;
    if (v >= 255) return 255;
    return (unsigned char)(int)v;
}

void transformLine(int dir, int n, std::vector<double>& re, std::vector<double>& im,
                   std::vector<double>& s1, std::vector<double>& s2) {
    if (isPowerof2(n))
        fft(dir, log2Of(n), re.data(), im.data());
    else
        dft(dir, n, re.data(), im.data(), s1.data(), s2.data());
}

}  // namespace

bool fft2(const Mat& re, const Mat& im, Mat& outRe, Mat& outIm, int dir, bool pad, bool magnitude) {
    if (re.empty() && im.empty()) return true;
    const Mat& shape = re.empty() ? im : re;
    int w = shape.cols(), h = shape.rows();
    if (pad && !(isPowerof2(w) && isPowerof2(h))) {
        w = nextPow2(w);
        h = nextPow2(h);
    }
    if ((long long)w * h > (1LL << 28)) return true;
    outRe.create(re, false);
    outIm.create(im, false);
    if (!outRe.empty()) outRe.zero();
    if (!outIm.empty()) outIm.zero();
    const size_t area = static_cast<size_t>(w) * static_cast<size_t>(h);
    std::vector<double> gr(area), gi(area);
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) {
            gr[size_t(y) * size_t(w) + size_t(x)] = sampleOr128(re, y, x) - 128.0;
            gi[size_t(y) * size_t(w) + size_t(x)] = sampleOr128(im, y, x) - 128.0;
        }
    const int big = std::max(w, h);
    const size_t nb = static_cast<size_t>(big);
    std::vector<double> lr(nb), li(nb), s1(nb), s2(nb);
    for (int y = 0; y < h; y++) {
        for (int x = 0; x < w; x++)
            lr[size_t(x)] = gr[size_t(y) * w + x], li[size_t(x)] = gi[size_t(y) * w + x];
        transformLine(dir, w, lr, li, s1, s2);
        for (int x = 0; x < w; x++)
            gr[size_t(y) * w + x] = lr[size_t(x)], gi[size_t(y) * w + x] = li[size_t(x)];
    }
    for (int x = 0; x < w; x++) {
        for (int y = 0; y < h; y++)
            lr[size_t(y)] = gr[size_t(y) * w + x], li[size_t(y)] = gi[size_t(y) * w + x];
        transformLine(dir, h, lr, li, s1, s2);
        for (int y = 0; y < h; y++)
            gr[size_t(y) * w + x] = lr[size_t(y)], gi[size_t(y) * w + x] = li[size_t(y)];
    }
    double scale = double(big) / 16.0;
    if (dir == -1) scale = 1.0 / scale;
    if (magnitude) scale *= 4.0;
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) {
            const double vr = gr[size_t(y) * w + x], vi = gi[size_t(y) * w + x];
            double a, b;
            if (magnitude) {
                a = (std::log(std::sqrt(vr * vr + vi * vi)) + 3.0) * scale;
                b = std::atan(vi / (vr == 0.0 ? 1e-10 : vr)) * scale + 128.0;
            } else {
                a = vr * scale + 128.0;
                b = vi * scale + 128.0;
            }
            if (y < outRe.rows() && x < outRe.rowByteSize()) outRe.data.ptr[y][x] = toByte(a);
            if (y < outIm.rows() && x < outIm.rowByteSize()) outIm.data.ptr[y][x] = toByte(b);
        }
    return true;
}

}  // namespace ip

// ---- DFT2D

DFT2D::~DFT2D() {
    release();
}

DFT2D::DFT2D(const DFT2D& other) {
    *this = other;
}

DFT2D& DFT2D::operator=(const DFT2D& other) {
    if (this == &other) return *this;
    release();
    if (other.cosTable && other.sinTable) {
        const size_t n = size_t(other.m_rows + other.m_cols);
        cosTable = new double[n];
        sinTable = new double[n];
        std::memcpy(cosTable, other.cosTable, n * sizeof(double));
        std::memcpy(sinTable, other.sinTable, n * sizeof(double));
        m_rows = other.m_rows;
        m_cols = other.m_cols;
    }
    return *this;
}

void DFT2D::release() {
    delete[] cosTable;
    delete[] sinTable;
    cosTable = sinTable = nullptr;
    m_rows = m_cols = 0;
}

void DFT2D::create(int rows, int cols) {
    release();
    if (rows < 1 || cols < 1 || (long long)rows + cols > (1 << 26)) return;
    const size_t n = size_t(rows) + size_t(cols);
    cosTable = new double[n];
    sinTable = new double[n];
    for (int i = 0; i < rows; i++) detail::sinCos2Pi(i, rows, sinTable[i], cosTable[i]);
    for (int i = 0; i < cols; i++)
        detail::sinCos2Pi(i, cols, sinTable[rows + i], cosTable[rows + i]);
    m_rows = rows;
    m_cols = cols;
}

bool DFT2D::fits(const Mat* re, const Mat* im, const Mat* outRe, const Mat* outIm) const {
    if (!cosTable || !re || !im || !outRe || !outIm) return false;
    const Mat* all[4] = {re, im, outRe, outIm};
    for (const Mat* m : all) {
        if (m->empty() || m->type1() != re->type1() || m->rows() != m_rows || m->cols() != m_cols)
            return false;
    }
    for (int i = 0; i < 4; i++)
        for (int j = i + 1; j < 4; j++)
            if (detail::sharesMemory(*all[i], *all[j])) return false;
    return re->type1() == MAT_Tfloat || re->type1() == MAT_Tdouble;
}

template <typename T>
void DFT2D::run(Mat& re, Mat& im, Mat& outRe, Mat& outIm, bool inverse) {
    const int R = m_rows, C = m_cols;
    auto at = [](Mat& m, int y, int x) -> T& { return reinterpret_cast<T*>(m.data.ptr[y])[x]; };
    // Sum along columns into the outputs (table part [0, R)), then along rows (part [R, R + C)).
    auto colPass = [&](double div) {
        outRe.zero();
        outIm.zero();
        for (int u = 0; u < R; u++)
            for (int y = 0; y < R; y++) {
                const int t = int((long long)u * y % R);
                const double c = cosTable[t], s = sinTable[t];
                for (int x = 0; x < C; x++) {
                    const double a = at(re, y, x), b = at(im, y, x);
                    T& o1 = at(outRe, u, x);
                    T& o2 = at(outIm, u, x);
                    if (!inverse) {
                        o1 = T(double(o1) + (a * c + b * s));
                        o2 = T(double(o2) + (b * c - a * s));
                    } else {
                        o1 = T(double(o1) + (a * c - b * s));
                        o2 = T(double(o2) + (b * c + a * s));
                    }
                }
            }
        if (div != 1.0)
            for (int u = 0; u < R; u++)
                for (int x = 0; x < C; x++) {
                    at(outRe, u, x) = T(double(at(outRe, u, x)) / div);
                    at(outIm, u, x) = T(double(at(outIm, u, x)) / div);
                }
    };
    auto rowPass = [&](double div) {
        outRe.zero();
        outIm.zero();
        for (int y = 0; y < R; y++)
            for (int v = 0; v < C; v++) {
                T& o1 = at(outRe, y, v);
                T& o2 = at(outIm, y, v);
                for (int x = 0; x < C; x++) {
                    const int t = R + int((long long)v * x % C);
                    const double c = cosTable[t], s = sinTable[t];
                    const double a = at(re, y, x), b = at(im, y, x);
                    if (!inverse) {
                        o1 = T(double(o1) + (a * c + b * s));
                        o2 = T(double(o2) + (b * c - a * s));
                    } else {
                        o1 = T(double(o1) + (a * c - b * s));
                        o2 = T(double(o2) + (b * c + a * s));
                    }
                }
                if (div != 1.0) {
                    o1 = T(double(o1) / div);
                    o2 = T(double(o2) / div);
                }
            }
    };
    auto copyBack = [&]() {
        for (int y = 0; y < R; y++) {
            std::memcpy(re.data.ptr[y], outRe.data.ptr[y], sizeof(T) * size_t(C));
            std::memcpy(im.data.ptr[y], outIm.data.ptr[y], sizeof(T) * size_t(C));
        }
    };
    if (!inverse) {
        colPass(1.0);
        copyBack();
        rowPass(1.0);
    } else {
        rowPass(double(C));
        copyBack();
        colPass(double(R));
    }
}

void DFT2D::Process2DCart(Mat* re, Mat* im, Mat* outRe, Mat* outIm) {
    if (!fits(re, im, outRe, outIm)) return;
    if (re->type() == MAT_Tfloat)
        run<float>(*re, *im, *outRe, *outIm, false);
    else
        run<double>(*re, *im, *outRe, *outIm, false);
}

void DFT2D::IProcess2DCart(Mat* re, Mat* im, Mat* outRe, Mat* outIm) {
    if (!fits(re, im, outRe, outIm)) return;
    if (re->type() == MAT_Tfloat)
        run<float>(*re, *im, *outRe, *outIm, true);
    else
        run<double>(*re, *im, *outRe, *outIm, true);
}

}  // namespace tarvo
