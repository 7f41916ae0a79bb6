// Hand-written 3x3 gradients, their magnitudes and the orientation field.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "detail/aliasing.h"
#include "tarvo/ip/edges.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

constexpr double kTwoPi = 6.283185307179586;

// Gradients at column c of the middle row, accumulated in A. u, m, d are the
// rows above, at and below the pixel. The order of the terms is the one the
// float and double destinations round in.
template <typename A, typename T>
inline A gradX(const T* u, const T* m, const T* d, int c) {
    return A(2) * (A(m[c + 1]) - A(m[c - 1])) + A(u[c + 1]) + A(d[c + 1]) - A(u[c - 1]) -
           A(d[c - 1]);
}
template <typename A, typename T>
inline A gradY(const T* u, const T* /*m*/, const T* d, int c) {
    return A(2) * (A(u[c]) - A(d[c])) + A(u[c - 1]) + A(u[c + 1]) - A(d[c - 1]) - A(d[c + 1]);
}

// Wraps an integer to the width of D (two's complement), as the
// destination's own arithmetic would.
template <typename D>
inline D wrapTo(long long v) {
    using U = typename std::make_unsigned<D>::type;
    return static_cast<D>(static_cast<U>(static_cast<unsigned long long>(v)));
}

// Gradient in the destination's arithmetic: integers wrap, floats round in
// their own precision. `absolute` takes the absolute value of what D holds.
template <typename D, typename S, bool X>
void gradientKernel(const Mat& src, Mat& dst, bool absolute) {
    int rows = src.rows(), cols = src.cols();
    for (int y = 1; y < rows - 1; y++) {
        const S* u = src.ptr<S>(y - 1);
        const S* m = src.ptr<S>(y);
        const S* d = src.ptr<S>(y + 1);
        D* out = dst.ptr<D>(y);
        for (int x = 1; x < cols - 1; x++) {
            if constexpr (std::is_floating_point<D>::value) {
                D g = X ? gradX<D>(u, m, d, x) : gradY<D>(u, m, d, x);
                out[x] = absolute ? D(std::fabs(g)) : g;
            } else {
                long long g = X ? gradX<long long>(u, m, d, x) : gradY<long long>(u, m, d, x);
                D w = wrapTo<D>(g);
                if (absolute && std::is_signed<D>::value && w < 0) w = wrapTo<D>(-(long long)w);
                out[x] = w;
            }
        }
    }
    // The frame is written as 0.
    size_t es = sizeof(D);
    for (int y = 0; y < rows; y++) {
        D* out = dst.ptr<D>(y);
        out[0] = D(0);
        out[cols - 1] = D(0);
    }
    std::memset(dst.data.ptr[0], 0, es * (size_t)cols);
    std::memset(dst.data.ptr[rows - 1], 0, es * (size_t)cols);
}

template <bool X>
void gradientDispatch(const Mat* src, Mat* dst, bool absolute) {
    if (!src || !dst || !src->isValid() || !dst->isValid()) return;
    if (!src->isEqualSize(*dst) || src->channels() != 1 || dst->channels() != 1) return;
    if (src->rows() < 1 || src->cols() < 1) return;
    int s = src->type(), d = dst->type();
    if (d < s) return;
    const Mat& S = *src;
    Mat& D = *dst;
#define TARVO_GRAD_CASE(ST, SD)                                   \
    switch (d) {                                                  \
        case MAT_Tuchar:                                          \
            gradientKernel<unsigned char, ST, X>(S, D, absolute); \
            break;                                                \
        case MAT_Tshort:                                          \
            gradientKernel<short, ST, X>(S, D, absolute);         \
            break;                                                \
        case MAT_Tint:                                            \
            gradientKernel<int, ST, X>(S, D, absolute);           \
            break;                                                \
        case MAT_Tfloat:                                          \
            gradientKernel<float, ST, X>(S, D, absolute);         \
            break;                                                \
        case MAT_Tdouble:                                         \
            gradientKernel<double, ST, X>(S, D, absolute);        \
            break;                                                \
        default:                                                  \
            break;                                                \
    }
    switch (s) {
        case MAT_Tuchar:
            TARVO_GRAD_CASE(unsigned char, 1) break;
        case MAT_Tshort:
            TARVO_GRAD_CASE(short, 2) break;
        case MAT_Tint:
            TARVO_GRAD_CASE(int, 3) break;
        case MAT_Tfloat:
            TARVO_GRAD_CASE(float, 4) break;
        case MAT_Tdouble:
            TARVO_GRAD_CASE(double, 5) break;
        default:
            break;
    }
#undef TARVO_GRAD_CASE
}

// Which intensity getIntensity computes: |gx|, |gy| or |gx| + |gy|.
enum IntensityKind { kAbsX, kAbsY, kL1 };

// |g| of a byte image into an int matrix whose frame stays 0; false when the
// source cannot be read as a byte image of at least one pixel.
bool intensityInt(const Mat& src, Mat& out, IntensityKind kind) {
    if (!src.isValid() || src.rows() < 1 || src.cols() < 1) return false;
    int rows = src.rows(), cols = src.cols();
    if (out.create(rows, cols, MAT_Tint) < 0) return false;
    for (int y = 0; y < rows; y++) std::memset(out.data.ptr[y], 0, sizeof(int) * (size_t)cols);
    for (int y = 1; y < rows - 1; y++) {
        const unsigned char* u = src.data.ptr[y - 1];
        const unsigned char* m = src.data.ptr[y];
        const unsigned char* d = src.data.ptr[y + 1];
        int* o = out.ptr<int>(y);
        for (int x = 1; x < cols - 1; x++) {
            int gx = gradX<int>(u, m, d, x), gy = gradY<int>(u, m, d, x);
            o[x] = kind == kAbsX   ? std::abs(gx)
                   : kind == kAbsY ? std::abs(gy)
                                   : std::abs(gx) + std::abs(gy);
        }
    }
    return true;
}

// Brings the int intensity to bytes (truncating, saturating) and copies its
// rows into dst's rows, or src's when dst is null.
void storeBytes(Mat& tmp, Mat* src, Mat* dst) {
    tmp.convert(MAT_Tuchar, CT_Cast);
    Mat* target = dst ? dst : src;
    int cols = tmp.cols();
    for (int y = 0; y < tmp.rows(); y++) std::memcpy(target->data.ptr[y], tmp.data.ptr[y], cols);
}

bool fitsByteDst(const Mat* src, const Mat* dst) {
    return dst->isValid() && dst->isEqualSize(*src) && dst->type() == MAT_Tuchar &&
           dst->rowByteSize() >= src->cols();
}

struct OrientationTable {
    unsigned char t[64 * 64];
    OrientationTable() {
        for (int a = -32; a < 32; a++)
            for (int b = -32; b < 32; b++)
                t[(a + 32) * 64 + (b + 32)] = (unsigned char)Sobel::orientationCode(a, b);
    }
};

const OrientationTable& table() {
    static const OrientationTable tab;
    return tab;
}

}  // namespace

int Sobel::orientationCode(double gx, double gy) {
    if (gx == 0 && gy == 0) return EOF_NO_ORIENTATION;
    int code = truncInt((std::atan2(-gx, -gy) / kTwoPi + 1.25) * 36.0);
    return code % 36;
}

const unsigned char* Sobel::orientationTable() {
    return table().t;
}

void Sobel::process(Mat* src, Mat* dst) {
    if (!src) return;
    Mat tmp;
    if (!intensityInt(*src, tmp, kL1)) return;
    if (!dst || dst->data.ptr == src->data.ptr) {
        if (src->rowByteSize() < src->cols()) return;
        storeBytes(tmp, src, nullptr);
        return;
    }
    tmp.convertTo(*dst, MAT_Tuchar, CT_Cast);
}

void Sobel::getIntensityX(const Mat* src, Mat* dst) {
    if (!src || (dst && !fitsByteDst(src, dst))) return;
    Mat tmp;
    if (!intensityInt(*src, tmp, kAbsX)) return;
    if (!dst && src->rowByteSize() < src->cols()) return;
    storeBytes(tmp, const_cast<Mat*>(src), dst);
}

void Sobel::getIntensityY(const Mat* src, Mat* dst) {
    if (!src || (dst && !fitsByteDst(src, dst))) return;
    Mat tmp;
    if (!intensityInt(*src, tmp, kAbsY)) return;
    if (!dst && src->rowByteSize() < src->cols()) return;
    storeBytes(tmp, const_cast<Mat*>(src), dst);
}

void Sobel::gradientMagnitude(const Mat* src, Mat* dst) {
    if (!src || !dst || !src->isValid() || !dst->isValid()) return;
    int rows = src->rows(), cols = src->cols();
    if (rows < 3 || cols < 3 || !dst->isEqualSize(*src)) return;
    int d = dst->type();
    if (d < MAT_Tuchar || d > MAT_Tdouble) return;
    for (int y = 1; y < rows - 1; y++) {
        const unsigned char* u = src->data.ptr[y - 1];
        const unsigned char* m = src->data.ptr[y];
        const unsigned char* dn = src->data.ptr[y + 1];
        for (int x = 1; x < cols - 1; x++) {
            int gx = gradX<int>(u, m, dn, x), gy = gradY<int>(u, m, dn, x);
            int s = std::abs(gx) + std::abs(gy);
            switch (d) {
                case MAT_Tuchar:
                    dst->ptr<unsigned char>(y)[x] = (unsigned char)(s & 0xFF);
                    break;
                case MAT_Tshort:
                    dst->ptr<short>(y)[x] = wrapTo<short>(s);
                    break;
                case MAT_Tint:
                    dst->ptr<int>(y)[x] = s;
                    break;
                case MAT_Tfloat:
                    dst->ptr<float>(y)[x] = float(std::fabs(double(gx)) + std::fabs(double(gy)));
                    break;
                default:
                    dst->ptr<double>(y)[x] = std::fabs(double(gx)) + std::fabs(double(gy));
                    break;
            }
        }
    }
}

void Sobel::gradientMagnitudeX(const Mat* src, Mat* dst, bool absolute) {
    gradientDispatch<true>(src, dst, absolute);
}

void Sobel::gradientMagnitudeY(const Mat* src, Mat* dst, bool absolute) {
    gradientDispatch<false>(src, dst, absolute);
}

void Sobel::EOField(const Mat* src, Mat* dst, Mat_<int>* strength) {
    if (!src || !dst || !src->isValid() || !dst->isValid()) return;
    int rows = dst->rows(), cols = dst->cols();
    // Destination pixel (y, x) sits over source pixel (y + 1, x + 1).
    if (rows > src->rows() - 2) rows = src->rows() - 2;
    if (cols > src->cols() - 2) cols = src->cols() - 2;
    if (cols > dst->rowByteSize()) cols = dst->rowByteSize();
    if (rows < 1 || cols < 1) return;
    bool withStrength = strength && strength->isValid() && strength->type() == MAT_Tint &&
                        strength->rows() >= rows && strength->cols() >= cols;
    const unsigned char* tab = orientationTable();
    for (int y = 0; y < rows; y++) {
        const unsigned char* u = src->data.ptr[y];
        const unsigned char* m = src->data.ptr[y + 1];
        const unsigned char* d = src->data.ptr[y + 2];
        unsigned char* out = dst->data.ptr[y];
        int* st = withStrength ? (*strength)[y] : nullptr;
        for (int x = 0; x < cols; x++) {
            int a = gradX<int>(u, m, d, x + 1) / 32, b = gradY<int>(u, m, d, x + 1) / 32;
            out[x] = tab[(a + 32) * 64 + (b + 32)];
            if (st) st[x] = std::abs(a) + std::abs(b);
        }
    }
}

void Sobel::processEOF(const Mat* src, Mat* dst, int threshold) {
    if (!src || !dst || !src->isValid() || !dst->isValid()) return;
    int srows = src->rows(), scols = src->cols();
    if (srows < 3 || scols < 3) return;
    Mat codes(srows, scols, MAT_Tint);
    if (!codes.isValid()) return;
    for (int y = 0; y < srows; y++) std::memset(codes.data.ptr[y], 0, sizeof(int) * (size_t)scols);
    for (int y = 1; y < srows - 1; y++) {
        const unsigned char* u = src->data.ptr[y - 1];
        const unsigned char* m = src->data.ptr[y];
        const unsigned char* d = src->data.ptr[y + 1];
        int* o = codes.ptr<int>(y);
        for (int x = 1; x < scols - 1; x++) {
            int gx = gradX<int>(u, m, d, x), gy = gradY<int>(u, m, d, x);
            if ((gx == 0 && gy == 0) || std::abs(gx) + std::abs(gy) < threshold)
                o[x] = EOF_NO_ORIENTATION;
            else
                o[x] = orientationCode(gx, gy);
        }
    }
    int rows = dst->rows() < srows - 2 ? dst->rows() : srows - 2;
    int cols = dst->cols() < scols - 2 ? dst->cols() : scols - 2;
    if (cols > dst->rowByteSize()) cols = dst->rowByteSize();
    for (int y = 0; y < rows; y++) {
        const int* c = codes.ptr<int>(y + 1);
        unsigned char* out = dst->data.ptr[y];
        for (int x = 0; x < cols; x++) out[x] = (unsigned char)c[x + 1];
    }
}

namespace ip {

void edgeOrientaitonField(const Mat& srcIn, Mat& dst) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    if (!src.isValid() || src.rows() < 3 || src.cols() < 3) {
        dst.release();
        return;
    }
    if (dst.create(src.rows() - 2, src.cols() - 2, MAT_Tuchar) < 0) return;
    Sobel::EOField(&src, &dst, nullptr);
}

void edgeOrientaitonField(const Mat* src, Mat* dst, Mat_<int>* strength) {
    Sobel::EOField(src, dst, strength);
}

}  // namespace ip
}  // namespace tarvo
