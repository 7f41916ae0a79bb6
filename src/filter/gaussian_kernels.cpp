// Gaussian, derivative, LoG and disc kernel builders, the sigma-to-scale
// index, the direct float convolutions and bilinear sampling.
#include <cmath>
#include <new>

#include "filter/gaussian_internal.h"
#include "tarvo/autobuffer.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {

namespace {

// Radius (int)(3 sigma) of the detector kernels, or -1 when sigma is not
// positive and finite or the radius is over the limit.
int radius3(float sigma) {
    if (!(sigma > 0.0f) || !std::isfinite(sigma)) return -1;
    const int r = truncInt(sigma * 3.0f);
    return r > GaussianFilter::kMaxRadius ? -1 : r;
}

// exp(-q / (2 sigma^2)) in float, exactly 1 at q = 0 also where sigma^2 underflows.
float gaussExp(float q, float sigma) {
    return q == 0.0f ? 1.0f : std::exp(-q / (2.0f * sigma * sigma));
}

}  // namespace

void gaussiankernel(float sigma, float multiplier, Vec_<double>& kernel) {
    int h = truncInt(sigma * multiplier + 0.5);
    if (h < 0) h = 0;
    if (h > GaussianFilter::kMaxRadius) {
        kernel.release();
        return;
    }
    const int n = 2 * h + 1;
    if (kernel.length() != n && kernel.create(n) != 1) return;
    const double s = sigma;
    double sum = 0.0;
    for (int i = -h; i <= h; i++) {
        // The centre is exp(0) = 1 for every sigma; with sigma 0 the other taps are 0.
        const double v = i == 0 ? 1.0 : std::exp(-(double)((long long)i * i) / (2.0 * s * s));
        kernel[i + h] = v;
        sum += v;
    }
    for (int i = 0; i < n; i++) kernel[i] /= sum;
}

void gaussiankernel2D(float sigmaX, float sigmaY, float multiplier, Mat_<double>& kernel) {
    Vec_<double> kx, ky;
    gaussiankernel(sigmaX, multiplier, kx);
    gaussiankernel(sigmaY, multiplier, ky);
    if (kx.length() < 1 || ky.length() < 1) return;
    if (kernel.create(ky.length(), kx.length()) < 0) return;
    for (int y = 0; y < ky.length(); y++)
        for (int x = 0; x < kx.length(); x++) kernel.at(y, x) = ky[y] * kx[x];
}

Mat* getGaussianKernel(int size, double sigma, TYPE type) {
    if (size < 1 || size > 2 * GaussianFilter::kMaxRadius + 1) return nullptr;
    static const double kFixed[4][7] = {
        {1.0},
        {0.25, 0.5, 0.25},
        {0.0625, 0.25, 0.375, 0.25, 0.0625},
        {0.03125, 0.109375, 0.21875, 0.28125, 0.21875, 0.109375, 0.03125}};
    const bool fixed = (size & 1) && size < 8 && !(sigma > 0);
    const double s = sigma > 0 ? sigma : ((size - 1) * 0.5 - 1) * 0.3 + 0.8;
    const double scale = -0.5 / (s * s);
    const bool asFloat = type == MAT_Tfloat;
    Mat* m = new (std::nothrow) Mat(size, 1, asFloat ? MAT_Tfloat : MAT_Tdouble);
    if (!m) return nullptr;
    if (m->empty()) {
        delete m;
        return nullptr;
    }
    double sum = 0.0;
    for (int i = 0; i < size; i++) {
        const double x = i - (size - 1) * 0.5;
        const double v = fixed ? kFixed[size / 2][i] : std::exp(scale * x * x);
        if (asFloat) {
            m->ptr<float>(i)[0] = (float)v;
            sum += m->ptr<float>(i)[0];
        } else {
            m->ptr<double>(i)[0] = v;
            sum += v;
        }
    }
    const double inv = 1.0 / sum;
    for (int i = 0; i < size; i++) {
        if (asFloat)
            m->ptr<float>(i)[0] = (float)(m->ptr<float>(i)[0] * inv);
        else
            m->ptr<double>(i)[0] *= inv;
    }
    return m;
}

Vec_<float>* computeGaussianKernel(float sigma, bool normalize) {
    const int r = radius3(sigma);
    if (r < 0) return nullptr;
    Vec_<float>* k = new (std::nothrow) Vec_<float>(2 * r + 1);
    if (!k) return nullptr;
    if (k->length() != 2 * r + 1) {
        delete k;
        return nullptr;
    }
    for (int i = -r; i <= r; i++) (*k)[i + r] = gaussExp((float)((long long)i * i), sigma) / sigma;
    if (normalize) {
        float sum = 0.0f;
        for (int i = 0; i < 2 * r + 1; i++) sum += std::fabs((*k)[i]);
        for (int i = 0; i < 2 * r + 1; i++) (*k)[i] /= sum;
    }
    return k;
}

Vec_<float>* computeGaussianDerivationKernel(float sigma) {
    const int r = radius3(sigma);
    if (r < 0) return nullptr;
    Vec_<float>* k = new (std::nothrow) Vec_<float>(2 * r + 1);
    if (!k) return nullptr;
    if (k->length() != 2 * r + 1) {
        delete k;
        return nullptr;
    }
    const float s3 = sigma * sigma * sigma;
    for (int i = -r; i <= r; i++)
        (*k)[i + r] = (float)-i * gaussExp((float)((long long)i * i), sigma) / s3;
    return k;
}

namespace {

// A new (2r + 1)^2 one-channel matrix with element (y + r, x + r) = f(x, y).
template <typename T, class F>
Mat_<T>* squareKernel(float sigma, const F& f) {
    const int r = radius3(sigma);
    if (r < 0) return nullptr;
    Mat_<T>* m = new (std::nothrow) Mat_<T>(2 * r + 1, 2 * r + 1);
    if (!m) return nullptr;
    if (m->empty()) {
        delete m;
        return nullptr;
    }
    for (int y = -r; y <= r; y++)
        for (int x = -r; x <= r; x++) m->at(y + r, x + r) = f(x, y, r);
    return m;
}

}  // namespace

Mat_<float>* computeGaussianKernel2D(float sigma) {
    const float s2 = sigma * sigma;
    return squareKernel<float>(sigma, [&](int x, int y, int) {
        const float q = (float)((long long)x * x + (long long)y * y);
        return gaussExp(q, sigma) / s2;
    });
}

Mat_<float>* computeLoGKernel2D(float sigma) {
    const float s2 = sigma * sigma;
    return squareKernel<float>(sigma, [&](int x, int y, int) {
        const float q = (float)((long long)x * x + (long long)y * y);
        return gaussExp(q, sigma) * (q - 2.0f * s2) / (s2 * s2);
    });
}

Mat_<unsigned char>* computeCircleMask2D(float sigma) {
    return squareKernel<unsigned char>(sigma, [](int x, int y, int r) {
        return (unsigned char)((long long)x * x + (long long)y * y <= (long long)r * r ? 1 : 0);
    });
}

int convertSigma2Seq(float sigma, float baseSigma, float factor) {
    const float v = std::log(sigma / baseSigma) / std::log(factor) + 0.5f;
    return truncInt(v);
}

namespace {

// One output of the direct convolutions: taps j = 0..len-1 over samples p[j], four products per
// step summed left to right and then added to the running float sum, the remaining taps one by one.
inline float convolveTaps(const float* p, const float* k, int len) {
    float s = 0.0f;
    int j = 0;
    for (; j + 4 <= len; j += 4)
        s += p[j] * k[j] + p[j + 1] * k[j + 1] + p[j + 2] * k[j + 2] + p[j + 3] * k[j + 3];
    for (; j < len; j++) s += p[j] * k[j];
    return s;
}
// The same along a column: tap j reads rows[j][x].
inline float convolveTapsCol(const float* const* rows, size_t x, const float* k, int len) {
    float s = 0.0f;
    int j = 0;
    for (; j + 4 <= len; j += 4)
        s += rows[j][x] * k[j] + rows[j + 1][x] * k[j + 1] + rows[j + 2][x] * k[j + 2] +
             rows[j + 3][x] * k[j + 3];
    for (; j < len; j++) s += rows[j][x] * k[j];
    return s;
}

bool convolveArgsOk(const Mat_<float>* src, const Vec_<float>* kernel, const Mat_<float>* dst) {
    return src && kernel && dst && !src->empty() && src->type() == MAT_Tfloat &&
           src->channels() == 1 && kernel->length() >= 1 && kernel->type() == MAT_Tfloat;
}

// Makes dst fit src; returns the matrix to read, a copy when src is dst.
const Mat_<float>* prepareConvolve(const Mat_<float>* src, Mat_<float>* dst, Mat_<float>& copy) {
    if (src == dst) {
        copy = *src;
        return copy.empty() ? nullptr : &copy;
    }
    if (dst->rows() != src->rows() || dst->cols() != src->cols() || dst->type1() != MAT_Tfloat) {
        dst->release();
        if (dst->create(src->rows(), src->cols()) < 0) return nullptr;
    }
    return src;
}

}  // namespace

void convolveImageHoriz(const Mat_<float>* src, const Vec_<float>* kernel, Mat_<float>* dst,
                        bool keepBorder) {
    if (!convolveArgsOk(src, kernel, dst)) return;
    Mat_<float> copy;
    const Mat_<float>* in = prepareConvolve(src, dst, copy);
    if (!in) return;
    const int rows = in->rows(), cols = in->cols(), len = kernel->length(), h = len / 2;
    const float* k = kernel->ptr();
    const bool vec = checkHardwareSupport(CPU_FLOAT_VECTORS);
    detail::forRows(rows, (double)cols * len, [&](int y0, int y1) {
        AutoBuffer<const float*> rp((unsigned)len);
        if (rp.size() < (size_t)len) return;  // out of memory: leave the stripe
        for (int y = y0; y < y1; y++) {
            const float* s = (*in)[y];
            float* d = (*dst)[y];
            // Outputs [h, cols - h); output h + i reads s[i + j] for tap j.
            const int n = cols - 2 * h;
            int i = 0;
            if (vec && n > 0) {
                for (int j = 0; j < len; j++) rp[j] = s;
                i = detail::convGroupedF32(rp, 1, len, k, n, d + h);
            }
            for (; i < n; i++) d[h + i] = convolveTaps(s + i, k, len);
            for (int x = 0; x < cols && x < h; x++) d[x] = keepBorder ? s[x] : 0.0f;
            for (int x = cols - h > h ? cols - h : h; x < cols; x++)
                d[x] = keepBorder ? s[x] : 0.0f;
        }
    });
}

void convolveImageVert(const Mat_<float>* src, const Vec_<float>* kernel, Mat_<float>* dst,
                       bool keepBorder) {
    if (!convolveArgsOk(src, kernel, dst)) return;
    Mat_<float> copy;
    const Mat_<float>* in = prepareConvolve(src, dst, copy);
    if (!in) return;
    const int rows = in->rows(), cols = in->cols(), len = kernel->length(), h = len / 2;
    const float* k = kernel->ptr();
    const bool vec = checkHardwareSupport(CPU_FLOAT_VECTORS);
    detail::forRows(rows, (double)cols * len, [&](int y0, int y1) {
        AutoBuffer<const float*> rp((unsigned)len);
        if (rp.size() < (size_t)len) return;  // out of memory: leave the stripe
        for (int y = y0; y < y1; y++) {
            const float* s = (*in)[y];
            float* d = (*dst)[y];
            if (y < h || y >= rows - h) {
                for (int x = 0; x < cols; x++) d[x] = keepBorder ? s[x] : 0.0f;
                continue;
            }
            for (int j = 0; j < len; j++) rp[j] = (*in)[y - h + j];
            int x = vec ? detail::convGroupedF32(rp, 0, len, k, cols, d) : 0;
            for (; x < cols; x++) d[x] = convolveTapsCol(rp, (size_t)x, k, len);
        }
    });
}

void convolveImage(const Mat_<float>* src, const Vec_<float>* kx, const Vec_<float>* ky,
                   Mat_<float>* dst, bool keepBorder) {
    if (!convolveArgsOk(src, kx, dst) || !convolveArgsOk(src, ky, dst)) return;
    Mat_<float> tmp;
    convolveImageHoriz(src, kx, &tmp, keepBorder);
    convolveImageVert(&tmp, ky, dst, keepBorder);
}

double interpLinear(const Mat& image, double x, double y) {
    if (image.empty()) return 0.0;
    const int depth = image.type();
    if (depth != MAT_Tuchar && depth != MAT_Tdouble) return 0.0;
    const double fx = x - std::floor(x), fy = y - std::floor(y);
    const long long cols = image.cols(), rows = image.rows();
    auto clampTo = [](long long v, long long hi) { return v < 0 ? 0 : v > hi ? hi : v; };
    const long long ix = truncInt(x), iy = truncInt(y);
    const long long x0 = clampTo(ix, cols - 1), x1 = clampTo(ix + 1, cols - 1);
    const long long y0 = clampTo(iy, rows - 1), y1 = clampTo(iy + 1, rows - 1);
    const size_t cn = (size_t)image.channels();
    auto p = [&](long long cx, long long cy) -> double {
        if (depth == MAT_Tuchar) return image.ptr<unsigned char>((int)cy)[(size_t)cx * cn];
        return image.ptr<double>((int)cy)[(size_t)cx * cn];
    };
    return (1 - fy) * ((1 - fx) * p(x0, y0) + fx * p(x1, y0)) +
           fy * ((1 - fx) * p(x0, y1) + fx * p(x1, y1));
}

}  // namespace ip
}  // namespace tarvo
