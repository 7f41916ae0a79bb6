// Affine and perspective warps on 10-bit bilinear fractions, the transform
// solvers and the small point helpers.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "detail/aliasing.h"
#include "geometry/rows_parallel.h"
#include "geometry/transform_solvers.h"
#include "geometry/warp_internal.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {

namespace {

// Float position clamped to 0 .. n - 1 (NaN to 0), its two taps and fraction.
inline void floatPos(float s, int n, int& i0, int& i1, float& f) {
    const float c = !(s > 0.0f) ? 0.0f : s > float(n - 1) ? float(n - 1) : s;
    i0 = truncInt(c);
    i1 = std::min(i0 + 1, n - 1);
    f = c - float(i0);
}

// Bilinear of one pixel for depths other than bytes; W is float, or double
// for int and double images.
template <typename T, typename W>
void bilinearPixel(const Mat& src, float sx, float sy, T* d) {
    int x0, x1, y0, y1;
    float fx, fy;
    floatPos(sx, src.cols(), x0, x1, fx);
    floatPos(sy, src.rows(), y0, y1, fy);
    const int cn = src.channels();
    const T* r0 = src.ptr<T>(y0);
    const T* r1 = src.ptr<T>(y1);
    for (int k = 0; k < cn; k++) {
        const W a = W(r0[x0 * cn + k]), b = W(r0[x1 * cn + k]);
        const W c = W(r1[x0 * cn + k]), e = W(r1[x1 * cn + k]);
        const W top = a + (b - a) * W(fx), bottom = c + (e - c) * W(fx);
        d[k] = saturate_trunc<T>(double(top + (bottom - top) * W(fy)));
    }
}

void bilinearAny(const Mat& src, float sx, float sy, unsigned char* d) {
    switch (src.type()) {
        case 2:
            bilinearPixel<short, float>(src, sx, sy, reinterpret_cast<short*>(d));
            break;
        case 3:
            bilinearPixel<int, double>(src, sx, sy, reinterpret_cast<int*>(d));
            break;
        case 4:
            bilinearPixel<float, float>(src, sx, sy, reinterpret_cast<float*>(d));
            break;
        case 5:
            bilinearPixel<double, double>(src, sx, sy, reinterpret_cast<double*>(d));
            break;
        default:
            break;
    }
}

inline void byteBilinear(const Mat& src, int x, int y, unsigned char* d) {
    // x, y: 10-bit fixed-point positions inside 0 .. (n - 1) * 1024 (exclusive).
    const int cn = src.channels(), ix = x >> 10, iy = y >> 10, fx = x & 1023, fy = y & 1023;
    const unsigned char* r0 = src.ptr<unsigned char>(iy) + ix * cn;
    const unsigned char* r1 = src.ptr<unsigned char>(iy + 1) + ix * cn;
    for (int k = 0; k < cn; k++)
        d[k] = (unsigned char)bilinear10(r0[k], r0[k + cn], r1[k], r1[k + cn], fx, fy);
}

// The transform as doubles: a one-channel 2 x 3 or 3 x 3 matrix, 3 x 3 out
// (2 x 3 gets the row 0, 0, 1). False for anything else.
bool readTransform(const Mat& t, double m[9]) {
    if (t.empty() || t.channels() != 1 || t.cols() != 3 || (t.rows() != 2 && t.rows() != 3))
        return false;
    for (int k = 0; k < 9; k++) m[k] = k == 8 ? 1.0 : 0.0;
    for (int r = 0; r < t.rows(); r++)
        for (int c = 0; c < 3; c++) m[r * 3 + c] = t.value(r, c);
    return true;
}

bool sameKind(const Mat& src, const Mat& dst) {
    return !src.empty() && !dst.empty() && src.type() == dst.type() &&
           src.channels() == dst.channels() && src.type() >= 1 && src.type() <= 5;
}

}  // namespace

// One destination row of the affine warp for depths other than bytes.
template <typename T, typename W>
void affineRow(const Mat& src, unsigned char* d, int cols, float sx, float sy, float ax, float ay) {
    T* o = reinterpret_cast<T*>(d);
    const int cn = src.channels();
    for (int j = 0; j < cols; j++, o += cn, sx += ax, sy += ay) bilinearPixel<T, W>(src, sx, sy, o);
}

// One destination row of the byte affine warp; CN is the channel count, or 0
// for any count.
template <int CN>
void affineRowBytes(const Mat& src, unsigned char* d, int cols, float sx, float sy, float ax,
                    float ay) {
    const int cn = CN ? CN : src.channels(), sc = src.cols(), sr = src.rows();
    for (int j = 0; j < cols; j++, d += cn, sx += ax, sy += ay) {
        int x0, x1, y0, y1, fx, fy;
        fixedPos(sx, sc, x0, x1, fx);
        fixedPos(sy, sr, y0, y1, fy);
        const unsigned char* r0 = src.ptr<unsigned char>(y0);
        const unsigned char* r1 = src.ptr<unsigned char>(y1);
        const unsigned char *p00 = r0 + x0 * cn, *p01 = r0 + x1 * cn;
        const unsigned char *p10 = r1 + x0 * cn, *p11 = r1 + x1 * cn;
        for (int k = 0; k < cn; k++)
            d[k] = (unsigned char)bilinear10(p00[k], p01[k], p10[k], p11[k], fx, fy);
    }
}

// The source as one block for the vector kernels: rows evenly spaced (32-bit
// offsets), and how far reads may go. Owned pixels have padding behind them,
// so gathers may run three bytes past the last sample; other sources stop at
// the last row's end, and the kernels finish pixels near it with scalar code.
bool byteImageOf(const Mat& m, ByteImage& out) {
    const long long pitch = evenPitch(m.data.ptr, m.rows(), m.rowByteSize());
    if (pitch < 0) return false;
    const bool owned = m.m_mode == 0 && !m.isRefered();
    const long long readable =
        (long long)(m.rows() - 1) * pitch + m.rowByteSize() + (owned ? 3 : 0);
    if (readable >= 0x7FFFFFF0LL) return false;
    out = ByteImage{m.data.ptr[0], int32_t(pitch), int32_t(readable),
                    m.cols(),      m.rows(),       m.channels()};
    return true;
}

// ---------------------------------------------------------------- invokers

// Rows of an affine warp: row i starts at (a0 i + a2, a3 i + a5) and each
// column adds (a1, a4), in float.
class warpAffineInvoker : public ParallelLoopBody {
public:
    warpAffineInvoker(const Mat* src, Mat* dst, const float* a) : src_(src), dst_(dst), a_(a) {}
    void operator()(const Range& range) const override {
        const Mat& src = *src_;
        Mat& dst = *dst_;
        const float* a = a_;
        const int cols = dst.cols();
        const bool bytes = src.type() == MAT_Tuchar;
        const int cn = src.channels();
        // Vector rows: bytes on at least 2 x 2 sources, floats; 1 to 4 channels.
        ByteImage img{};
        bool vec = checkHardwareSupport(CPU_INT_VECTORS) && cn <= 4 && byteImageOf(src, img);
        if (vec && bytes) vec = src.cols() >= 2 && src.rows() >= 2;
        if (vec && !bytes) vec = src.type() == MAT_Tfloat && img.pitch % 4 == 0;
        if (vec) {
            for (int i = range.start; i < range.end; i++) {
                const float sx = a[0] * float(i) + a[2], sy = a[3] * float(i) + a[5];
                unsigned char* d = dst.data.ptr[i];
                if (bytes)
                    warpAffineRow8u(img, sx, sy, a[1], a[4], d, cols);
                else
                    warpAffineRow32f(reinterpret_cast<const float*>(img.base), img.pitch / 4,
                                     img.cols, img.rows, cn, sx, sy, a[1], a[4],
                                     reinterpret_cast<float*>(d), cols);
            }
            return;
        }
        for (int i = range.start; i < range.end; i++) {
            float sx = a[0] * float(i) + a[2], sy = a[3] * float(i) + a[5];
            unsigned char* d = dst.data.ptr[i];
            if (bytes) {
                switch (src.channels()) {
                    case 1:
                        affineRowBytes<1>(src, d, cols, sx, sy, a[1], a[4]);
                        break;
                    case 3:
                        affineRowBytes<3>(src, d, cols, sx, sy, a[1], a[4]);
                        break;
                    case 4:
                        affineRowBytes<4>(src, d, cols, sx, sy, a[1], a[4]);
                        break;
                    default:
                        affineRowBytes<0>(src, d, cols, sx, sy, a[1], a[4]);
                        break;
                }
                continue;
            }
            switch (src.type()) {
                case 2:
                    affineRow<short, float>(src, d, cols, sx, sy, a[1], a[4]);
                    break;
                case 3:
                    affineRow<int, double>(src, d, cols, sx, sy, a[1], a[4]);
                    break;
                case 4:
                    affineRow<float, float>(src, d, cols, sx, sy, a[1], a[4]);
                    break;
                default:
                    affineRow<double, double>(src, d, cols, sx, sy, a[1], a[4]);
                    break;
            }
        }
    }

private:
    const Mat* src_;
    Mat* dst_;
    const float* a_;
};

// Rows of a perspective warp (or of its mask when mask_ is set). Row bases
// are running float sums from row 0, so every stripe rebuilds its first base
// by the same additions and the result does not depend on the striping.
class warpPerspectiveInvokerMask : public ParallelLoopBody {
public:
    warpPerspectiveInvokerMask(const Mat* src, Mat* dst, Mat* mask, const double* m)
        : src_(src), dst_(dst), mask_(mask), m_(m) {}
    void operator()(const Range& range) const override {
        const Mat& src = *src_;
        const Mat& out = mask_ ? *mask_ : *dst_;
        const float m0 = float(m_[0]), m1 = float(m_[1]), m3 = float(m_[3]), m4 = float(m_[4]);
        const float m6 = float(m_[6]), m7 = float(m_[7]);
        float bx = float(m_[2]), by = float(m_[5]), bw = float(m_[8]);
        for (int i = 0; i < range.start; i++) {
            bx += m1;
            by += m4;
            bw += m7;
        }
        const float limX = float((src.cols() - 1) * 1024), limY = float((src.rows() - 1) * 1024);
        const int cols = out.cols();
        const bool bytes = src.type() == MAT_Tuchar;
        ByteImage img{};
        const bool vec = !mask_ && bytes && src.channels() <= 4 && src.cols() >= 2 &&
                         src.rows() >= 2 && checkHardwareSupport(CPU_INT_VECTORS) &&
                         byteImageOf(src, img);
        std::vector<float> sums(vec ? size_t(cols) * 3 : 0);
        for (int i = range.start; i < range.end; i++, bx += m1, by += m4, bw += m7) {
            float X = bx, Y = by, Wt = bw;
            if (vec) {
                float *xs = sums.data(), *ys = xs + cols, *ws = ys + cols;
                for (int j = 0; j < cols; j++, X += m0, Y += m3, Wt += m6) {
                    xs[j] = X;
                    ys[j] = Y;
                    ws[j] = Wt;
                }
                warpPerspectiveRow8u(img, xs, ys, ws, dst_->data.ptr[i], cols);
                continue;
            }
            unsigned char* d = mask_ ? mask_->data.ptr[i] : dst_->data.ptr[i];
            const int es = mask_ ? 1 : dst_->elemSize();
            for (int j = 0; j < cols; j++, d += es, X += m0, Y += m3, Wt += m6) {
                const float w = Wt != 0.0f ? 1.0f / Wt : 0.0f;
                const float xf = X * w * 1024.0f, yf = Y * w * 1024.0f;
                const bool inside = xf >= 0.0f && xf < limX && yf >= 0.0f && yf < limY;
                if (mask_) {
                    *d = inside ? 0 : 255;
                } else if (inside) {
                    if (bytes)
                        byteBilinear(src, int(xf), int(yf), d);  // in range by the test
                    else
                        bilinearAny(src, X * w, Y * w, d);
                }
            }
        }
    }

private:
    const Mat* src_;
    Mat* dst_;
    Mat* mask_;
    const double* m_;
};

long long evenPitch(const unsigned char* const* rows, int nrows, int rowBytes) {
    if (nrows < 2) return rowBytes;
    const long long p = (long long)(rows[1] - rows[0]);
    if (p < rowBytes || p * nrows >= 0x7FFFFFF0LL) return -1;
    for (int r = 2; r < nrows; r++)
        if (rows[r] - rows[0] != p * r) return -1;
    return p;
}

}  // namespace detail

namespace ip {

void warpAffine(const Mat& src, Mat& dst, const Mat& transform, bool invert) {
    double m[9];
    if (!detail::sameKind(src, dst) || !detail::readTransform(transform, m)) return;
    float a[9];
    if (!invert) {
        for (int k = 0; k < 9; k++) a[k] = float(m[k]);
    } else if (transform.rows() == 2) {
        for (int k = 0; k < 6; k++) a[k] = float(m[k]);
        float D = a[0] * a[4] - a[1] * a[3];
        D = D != 0.0f ? 1.0f / D : 0.0f;
        const float b0 = a[4] * D, b1 = -a[1] * D, b3 = -a[3] * D, b4 = a[0] * D;
        const float b2 = -b0 * a[2] - b1 * a[5], b5 = -b3 * a[2] - b4 * a[5];
        const float b[6] = {b0, b1, b2, b3, b4, b5};
        for (int k = 0; k < 6; k++) a[k] = b[k];
    } else {
        Mat t(3, 3, MAT_Tdouble);
        for (int k = 0; k < 9; k++) t.ptr<double>(k / 3)[k % 3] = m[k];
        const Mat inv = t.inverted();
        if (inv.empty()) return;
        for (int k = 0; k < 9; k++) a[k] = float(inv.value(k / 3, k % 3));
    }
    Mat copy;
    const Mat* s = &src;
    if (detail::sharesMemory(src, dst)) {
        copy = src;
        s = &copy;
    }
    dst.zero();
    detail::warpAffineInvoker body(s, &dst, a);
    parallel_for_(Range(0, dst.rows()), body, double(dst.rows()) * dst.cols() / 65536.0);
}

namespace {

// The inverse of the transform as nine doubles; false when unusable.
bool inverseOf(const Mat& transform, double inv[9]) {
    double m[9];
    if (!detail::readTransform(transform, m)) return false;
    Mat t(3, 3, MAT_Tdouble);
    for (int k = 0; k < 9; k++) t.ptr<double>(k / 3)[k % 3] = m[k];
    const Mat i = t.inverted();
    if (i.empty()) return false;
    for (int k = 0; k < 9; k++) inv[k] = i.value(k / 3, k % 3);
    return true;
}

}  // namespace

void warpPerspective(const Mat& src, Mat& dst, const Mat& transform) {
    double m[9];
    if (!detail::sameKind(src, dst) || !inverseOf(transform, m)) return;
    Mat copy;
    const Mat* s = &src;
    if (detail::sharesMemory(src, dst)) {
        copy = src;
        s = &copy;
    }
    detail::warpPerspectiveInvokerMask body(s, &dst, nullptr, m);
    parallel_for_(Range(0, dst.rows()), body, double(dst.rows()) * dst.cols() / 65536.0);
}

void warpPerspectiveMask(const Mat& src, Mat& mask, const Mat& transform) {
    double m[9];
    if (src.empty() || !inverseOf(transform, m)) return;
    if (mask.empty() || mask.type1() != MAT_Tuchar) {
        Mat fresh(src.rows(), src.cols(), MAT_Tuchar);
        if (fresh.empty()) return;
        mask = std::move(fresh);
    }
    detail::warpPerspectiveInvokerMask body(&src, nullptr, &mask, m);
    parallel_for_(Range(0, mask.rows()), body, double(mask.rows()) * mask.cols() / 65536.0);
}

// ---------------------------------------------------------------- solvers

namespace {

std::vector<Point2_<double>> toDouble(const Point2_<float>* p, int n) {
    std::vector<Point2_<double>> v(static_cast<size_t>(n));
    for (int i = 0; i < n; i++) v[size_t(i)] = Point2_<double>(p[i].x, p[i].y);
    return v;
}

}  // namespace

Mat getAffineTransform(const Array<Point2_<float>>& src, const Array<Point2_<float>>& dst) {
    const int n = src.getSize();
    if (n < 3 || dst.getSize() != n) return Mat();
    const auto s = toDouble(&src[0], n), d = toDouble(&dst[0], n);
    return detail::solveAffine(s.data(), d.data(), n);
}

Mat getAffineTransform(const Point2_<float>* src, const Point2_<float>* dst) {
    if (!src || !dst) return Mat();
    const Array<Point2_<float>> s(src, 3, false), d(dst, 3, false);
    return getAffineTransform(s, d);
}

Mat getPerspectiveTransform(const Array<Point2_<float>>& src, const Array<Point2_<float>>& dst) {
    const int n = src.getSize();
    if (n < 4 || dst.getSize() != n) return Mat();
    const auto s = toDouble(&src[0], 4), d = toDouble(&dst[0], 4);
    return detail::solvePerspective(s.data(), d.data(), 4);
}

Mat getPerspectiveTransform(const Array<Point2_<int>>& src, const Array<Point2_<int>>& dst) {
    const int n = src.getSize();
    if (n < 4 || dst.getSize() != n) return Mat();
    Array<Point2_<float>> s, d;
    s.setSize(n);
    d.setSize(n);
    for (int i = 0; i < n; i++) {
        s[i] = Point2_<float>(float(src[i].x), float(src[i].y));
        d[i] = Point2_<float>(float(dst[i].x), float(dst[i].y));
    }
    return getPerspectiveTransform(s, d);
}

Mat getRotationMatrix2D(Point2_<float> centre, double angle, double scale) {
    const double a = angle * 0.017453292519943295;
    const double alpha = std::cos(a) * scale, beta = std::sin(a) * scale;
    const double cx = centre.x, cy = centre.y;
    Mat m(2, 3, MAT_Tdouble);
    double* r0 = m.ptr<double>(0);
    double* r1 = m.ptr<double>(1);
    r0[0] = alpha;
    r0[1] = beta;
    r0[2] = (1 - alpha) * cx - beta * cy;
    r1[0] = -beta;
    r1[1] = alpha;
    r1[2] = beta * cx + (1 - alpha) * cy;
    return m;
}

void initWarp(Mat& transform, float a, float b, float c, float d, float e, float f) {
    if (transform.create(3, 3, MAT_Tfloat) < 0) return;
    const float v[9] = {a + 1.0f, b, e, c, d + 1.0f, f, 0.0f, 0.0f, 1.0f};
    for (int k = 0; k < 9; k++) transform.ptr<float>(k / 3)[k % 3] = v[k];
}

namespace {

// (x, y, 1) through a 3 x 3 float or double matrix: sums in double, stored in
// the matrix's precision; `divide` divides by the third coordinate.
bool mapPoint(const Mat& t, double x, double y, bool divide, float& u, float& v) {
    if (t.empty() || t.rows() != 3 || t.cols() != 3 || t.channels() != 1 ||
        (t.type() != MAT_Tfloat && t.type() != MAT_Tdouble))
        return false;
    double r[3];
    for (int i = 0; i < 3; i++) r[i] = t.value(i, 0) * x + t.value(i, 1) * y + t.value(i, 2);
    if (t.type() == MAT_Tfloat) {
        const float a = float(r[0]), b = float(r[1]), c = float(r[2]);
        u = divide ? a / c : a;
        v = divide ? b / c : b;
    } else {
        u = float(divide ? r[0] / r[2] : r[0]);
        v = float(divide ? r[1] / r[2] : r[1]);
    }
    return true;
}

}  // namespace

Point2_<float> warpPoint(const Point2_<float>& p, const Mat& transform) {
    float u, v;
    if (!mapPoint(transform, p.x, p.y, true, u, v)) return Point2_<float>(0.0f, 0.0f);
    return Point2_<float>(u, v);
}

void warpPoint(const Array<Point2_<int>>& src, Array<Point2_<int>>& dst, const Mat& transform) {
    const int n = src.getSize();
    if (!dst.setSize(n)) return;
    for (int i = 0; i < n; i++) {
        const Point2_<float> q =
            warpPoint(Point2_<float>(float(src[i].x), float(src[i].y)), transform);
        dst[i] = Point2_<int>(truncInt(q.x), truncInt(q.y));
    }
}

void warpPoint(const Array<Point2_<float>>& src, Array<Point2_<float>>& dst, const Mat& transform) {
    const int n = src.getSize();
    if (!dst.setSize(n)) return;
    for (int i = 0; i < n; i++) dst[i] = warpPoint(src[i], transform);
}

void drawWarpRect(Mat& image, const Rect_<int>& rect, const Mat& transform) {
    const double x = rect.x, y = rect.y, w = rect.width, h = rect.height;
    const double cx[4] = {x, x, x + w, x + w}, cy[4] = {y, y + h, y + h, y};
    Point2_<int> p[4];
    for (int i = 0; i < 4; i++) {
        float u, v;
        if (!mapPoint(transform, cx[i], cy[i], false, u, v)) return;
        p[i] = Point2_<int>(truncInt(u), truncInt(v));
    }
    const Point4_<unsigned char> white(255, 255, 255, 0);
    // top-left -> bottom-left -> bottom-right -> top-right -> top-left
    for (int i = 0; i < 4; i++) image.drawLine(p[i], p[(i + 1) % 4], white, 1, 1.0f);
}

}  // namespace ip
}  // namespace tarvo
