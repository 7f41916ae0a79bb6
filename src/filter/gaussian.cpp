// Separable Gaussian smoothing (GaussianFilter), its derivative form, the
// difference of Gaussians and the disc blur, with their free functions.
//
// Every pass computes, for an output sample, s = 0.0f then s = s + x * k[t] for
// each tap in order (x converted to float; double images keep s in float but
// add in double, as a float accumulator does in C), and stores s truncated
// toward zero and clamped to the element type. The scalar loops are the
// reference; the vector kernels of gaussian_simd.cpp do the same arithmetic
// per lane, and rows run in parallel, so neither changes a bit.
#include "detail/aliasing.h"
#include "tarvo/ip/gaussian.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <type_traits>

#include "filter/gaussian_internal.h"
#include "tarvo/autobuffer.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

using detail::gaussMirror;

// One accumulation step and the final element cast of a pass.
template <typename T>
inline float gaussAcc(float s, T v, float k) {
    return s + static_cast<float>(v) * k;
}
template <>
inline float gaussAcc<double>(float s, double v, float k) {
    return static_cast<float>(static_cast<double>(s) + v * static_cast<double>(k));
}
template <typename T>
inline T gaussCast(float s) {
    return saturate_trunc<T>(static_cast<double>(s));
}

// Type of the row pass's line copy: float for everything the kernels read as
// float, double for double images (their products are taken in double).
template <typename T>
struct LineOf {
    using type = float;
};
template <>
struct LineOf<double> {
    using type = double;
};

bool useVector() {
    return checkHardwareSupport(CPU_FLOAT_VECTORS);
}

// ---- vector hooks per element type; the generic ones do nothing.
template <typename T>
int widenVec(const T*, int, float*) {
    return 0;
}
template <>
int widenVec<unsigned char>(const unsigned char* s, int n, float* d) {
    return detail::gaussWidenU8(s, n, d);
}
template <>
int widenVec<short>(const short* s, int n, float* d) {
    return detail::gaussWidenS16(s, n, d);
}

template <typename T>
int rowVec(const float*, int, int, const float*, int, T*) {
    return 0;
}
template <>
int rowVec<unsigned char>(const float* l, int n, int cn, const float* k, int taps,
                          unsigned char* d) {
    return detail::gaussRowToU8(l, n, cn, k, taps, d);
}
template <>
int rowVec<short>(const float* l, int n, int cn, const float* k, int taps, short* d) {
    return detail::gaussRowToS16(l, n, cn, k, taps, d);
}
template <>
int rowVec<float>(const float* l, int n, int cn, const float* k, int taps, float* d) {
    return detail::gaussRowToF32(l, n, cn, k, taps, d);
}

template <typename T>
int colVec(const T* const*, int, const float*, int, T*) {
    return 0;
}
template <>
int colVec<unsigned char>(const unsigned char* const* r, int n, const float* k, int taps,
                          unsigned char* d) {
    return detail::gaussColU8(r, n, k, taps, d);
}
template <>
int colVec<short>(const short* const* r, int n, const float* k, int taps, short* d) {
    return detail::gaussColS16(r, n, k, taps, d);
}
template <>
int colVec<float>(const float* const* r, int n, const float* k, int taps, float* d) {
    return detail::gaussColF32(r, n, k, taps, d);
}

using detail::forRows;

// Row pass of one element type: each row is copied into a line with h mirrored
// pixels at each end, then every output sums its 2h + 1 taps along the line.
template <typename T>
void rowPass(const Mat& src, Mat& dst, const float* k, int h) {
    using L = typename LineOf<T>::type;
    const int cols = src.cols(), cn = src.channels(), n = cols * cn, taps = 2 * h + 1;
    const bool vec = useVector();
    forRows(src.rows(), (double)n * taps, [&](int y0, int y1) {
        const size_t need = (size_t)(cols + 2 * h) * cn;
        AutoBuffer<L> buf((unsigned)need);
        if (buf.size() < need) return;  // out of memory: leave the stripe
        L* line = buf;
        for (int y = y0; y < y1; y++) {
            const T* s = src.ptr<T>(y);
            T* d = dst.ptr<T>(y);
            L* mid = line + (size_t)h * cn;
            int i = 0;
            if constexpr (std::is_same<L, float>::value) {
                if (vec) i = widenVec<T>(s, n, mid);
            }
            for (; i < n; i++) mid[i] = static_cast<L>(s[i]);
            for (int p = 1; p <= h; p++) {
                const int left = gaussMirror(-p, cols), right = gaussMirror(cols - 1 + p, cols);
                for (int c = 0; c < cn; c++) {
                    mid[(ptrdiff_t)-p * cn + c] = mid[(size_t)left * cn + c];
                    mid[(size_t)(cols - 1 + p) * cn + c] = mid[(size_t)right * cn + c];
                }
            }
            int j = 0;
            if constexpr (std::is_same<L, float>::value) {
                if (vec) j = rowVec<T>(line, n, cn, k, taps, d);
            }
            for (; j < n; j++) {
                const L* p = line + j;
                float acc = 0.0f;
                for (int t = 0; t < taps; t++, p += cn) acc = gaussAcc<L>(acc, *p, k[t]);
                d[j] = gaussCast<T>(acc);
            }
        }
    });
}

// Column pass of one element type, run row by row: output row y sums rows
// mirror(y - h .. y + h) sample by sample, so every read is along a row.
template <typename T>
void colPass(const Mat& src, Mat& dst, const float* k, int h) {
    const int rows = src.rows(), n = src.cols() * src.channels(), taps = 2 * h + 1;
    const bool vec = useVector();
    forRows(rows, (double)n * taps, [&](int y0, int y1) {
        AutoBuffer<const T*> rp((unsigned)taps);
        if (rp.size() < (size_t)taps) return;  // out of memory: leave the stripe
        for (int y = y0; y < y1; y++) {
            for (int t = 0; t < taps; t++)
                rp[t] = src.ptr<T>(gaussMirror((long long)y - h + t, rows));
            T* d = dst.ptr<T>(y);
            int j = vec ? colVec<T>(rp, n, k, taps, d) : 0;
            for (; j < n; j++) {
                float acc = 0.0f;
                for (int t = 0; t < taps; t++) acc = gaussAcc<T>(acc, rp[t][j], k[t]);
                d[j] = gaussCast<T>(acc);
            }
        }
    });
}

// The table of routines by depth (index 0 has none).
using PassFn = void (*)(const Mat&, Mat&, const float*, int);
const PassFn kRowPass[6] = {nullptr,      rowPass<unsigned char>, rowPass<short>,
                            rowPass<int>, rowPass<float>,         rowPass<double>};
const PassFn kColPass[6] = {nullptr,      colPass<unsigned char>, colPass<short>,
                            colPass<int>, colPass<float>,         colPass<double>};

void copyInto(const Mat& src, Mat& dst) {
    if (&src != &dst) dst = src;
}

bool sameShapeAndType(const Mat& a, const Mat& b) {
    return a.rows() == b.rows() && a.cols() == b.cols() && a.type1() == b.type1();
}

// Shapes dst like src, keeping its storage when it already fits. Returns -1
// for an empty source or destination or a failed allocation, 1 when sigma is
// too small to smooth and dst has become a copy of src, else 0.
int startOutput(const Mat& src, Mat& dst, float sigma) {
    if (src.empty() || dst.empty()) return -1;
    if (dst.create(src.rows(), src.cols(), src.type1()) < 0) return -1;
    if (!(std::fabs(sigma) > 1e-5)) {
        copyInto(src, dst);
        return 1;
    }
    return 0;
}

// One pass from src into dst (same shape and type). A pass the line cannot
// hold (2h over the column count) or without a kernel copies its input, so the
// target never keeps stale pixels. A column pass in place goes through a copy.
void runPass(bool rows, const Mat& src, Mat& dst, const float* k, int h) {
    if (!k || h < 0 || 2LL * h > src.cols()) {
        copyInto(src, dst);
        return;
    }
    const PassFn fn = (rows ? kRowPass : kColPass)[src.type()];
    if (!fn) return;
    if (!rows && &src == &dst) {
        Mat copy(src);
        if (copy.empty()) return;
        fn(copy, dst, k, h);
        return;
    }
    fn(src, dst, k, h);
}

// Float Gaussian of 2r + 1 taps exp(-i^2 / (2 sigma^2)), computed in float; the
// centre is exp(0) = 1 also for sigma 0, where the other taps are 0. Returns
// the sum of the taps in index order.
float gaussTaps(float sigma, int r, float* k) {
    const float twoS2 = 2.0f * sigma * sigma;
    float sum = 0.0f;
    for (int i = -r; i <= r; i++) {
        float v = i == 0 ? 1.0f : std::exp(-(float)((long long)i * i) / twoS2);
        k[i + r] = v;
        sum += v;
    }
    return sum;
}

}  // namespace

// ---------------------------------------------------------------- GaussianFilter

GaussianFilter::GaussianFilter()
    : sigma(0.0f),
      support(0.0f),
      kernel(nullptr),
      ikernel(nullptr),
      ikernelSum(0),
      kernelRadius(-1),
      m_kernelStore(nullptr),
      m_ikernelStore(nullptr),
      m_capacity(0) {
    setup(1.0f, 2.0f);
}

GaussianFilter::GaussianFilter(float s, float sup)
    : sigma(0.0f),
      support(0.0f),
      kernel(nullptr),
      ikernel(nullptr),
      ikernelSum(0),
      kernelRadius(-1),
      m_kernelStore(nullptr),
      m_ikernelStore(nullptr),
      m_capacity(0) {
    setup(s, sup);
}

GaussianFilter::~GaussianFilter() {
    freeKernels();
}

void GaussianFilter::freeKernels() {
    delete[] m_kernelStore;
    delete[] m_ikernelStore;
    m_kernelStore = nullptr;
    m_ikernelStore = nullptr;
    m_capacity = 0;
    kernel = nullptr;
    ikernel = nullptr;
    ikernelSum = 0;
    kernelRadius = -1;
}

int GaussianFilter::passHalfWidth() const {
    int h = truncInt(support + 0.5);
    return h < 0 ? 0 : h;
}

void GaussianFilter::setup(float s, float sup) {
    sigma = s;
    support = sup;
    kernel = nullptr;
    ikernel = nullptr;
    ikernelSum = 0;
    kernelRadius = -1;
    int r = roundInt(sup);
    if (r < 0) r = 0;
    // The pass half-width (int)(support + 0.5) equals r for every support
    // that is not negative; negative ones give 0 for both.
    if (r > kMaxRadius || r != passHalfWidth()) {
        freeKernels();
        return;
    }
    const int n = 2 * r + 1;
    // Storage is kept between set-ups, so re-setting per pixel allocates only
    // when the kernel grows.
    if (n > m_capacity) {
        freeKernels();
        m_kernelStore = new (std::nothrow) float[(size_t)n];
        m_ikernelStore = new (std::nothrow) int[(size_t)n];
        if (!m_kernelStore || !m_ikernelStore) {
            freeKernels();
            return;
        }
        m_capacity = n;
    }
    kernel = m_kernelStore;
    const float sum = gaussTaps(s, r, kernel);
    for (int i = 0; i < n; i++) kernel[i] /= sum;
    kernelRadius = r;

    // Integer kernel, scaled by 2^n; computed in 64 bits and left out when an
    // entry or the sum would not fit an int.
    if (n > 62) return;
    const long long factor = 1LL << n;
    long long isum = 0;
    int* ik = m_ikernelStore;
    for (int i = 0; i < n; i++) {
        const double v = std::floor((double)(kernel[i] * (float)factor) + 0.5);
        if (!(v >= -2147483648.0 && v <= 2147483647.0)) return;
        ik[i] = (int)v;
        isum += ik[i];
        if (isum > 2147483647LL || isum < -2147483648LL) return;
    }
    ikernel = ik;
    ikernelSum = (int)isum;
}

int GaussianFilter::apply(const Mat& src, Mat& dst) {
    const int start = startOutput(src, dst, sigma);
    if (start != 0) return start < 0 ? -1 : 0;
    if (!sameShapeAndType(tmp, src) && tmp.create(src.rows(), src.cols(), src.type1()) < 0)
        return -1;
    runPass(true, src, tmp, kernel, kernelRadius);
    runPass(false, tmp, dst, kernel, kernelRadius);
    return 0;
}

int GaussianFilter::applyX(const Mat& src, Mat& dst) {
    const int start = startOutput(src, dst, sigma);
    if (start != 0) return start < 0 ? -1 : 0;
    runPass(true, src, dst, kernel, kernelRadius);
    return 0;
}

int GaussianFilter::applyY(const Mat& src, Mat& dst) {
    const int start = startOutput(src, dst, sigma);
    if (start != 0) return start < 0 ? -1 : 0;
    runPass(false, src, dst, kernel, kernelRadius);
    return 0;
}

namespace {

template <typename T>
void filterPixel(const Mat& src, Mat& dst, int x, int y, const float* k, int h) {
    const int cn = src.channels(), rows = src.rows(), cols = src.cols();
    for (int c = 0; c < cn; c++) {
        float col = 0.0f;
        for (int t = -h; t <= h; t++) {
            const T* s = src.ptr<T>(gaussMirror((long long)y + t, rows));
            float acc = 0.0f;
            for (int u = -h; u <= h; u++)
                acc = gaussAcc<T>(acc, s[(size_t)gaussMirror((long long)x + u, cols) * cn + c],
                                  k[u + h]);
            col = gaussAcc<T>(col, gaussCast<T>(acc), k[t + h]);
        }
        dst.ptr<T>(y)[(size_t)x * cn + c] = gaussCast<T>(col);
    }
}

}  // namespace

bool GaussianFilter::applyPixel(const Mat& src, Mat& dst, int x, int y) const {
    if (src.empty() || &src == &dst || !sameShapeAndType(src, dst) || !src.isInside(x, y))
        return false;
    const int h = kernelRadius;
    if (!(std::fabs(sigma) > 1e-5) || !kernel || 2LL * h > src.cols()) {
        const size_t es = (size_t)src.elemSize();
        std::memcpy(dst.data.ptr[y] + (size_t)x * es, src.data.ptr[y] + (size_t)x * es, es);
        return true;
    }
    switch (src.type()) {
        case MAT_Tuchar:
            filterPixel<unsigned char>(src, dst, x, y, kernel, h);
            break;
        case MAT_Tshort:
            filterPixel<short>(src, dst, x, y, kernel, h);
            break;
        case MAT_Tint:
            filterPixel<int>(src, dst, x, y, kernel, h);
            break;
        case MAT_Tfloat:
            filterPixel<float>(src, dst, x, y, kernel, h);
            break;
        case MAT_Tdouble:
            filterPixel<double>(src, dst, x, y, kernel, h);
            break;
        default:
            return false;
    }
    return true;
}

// ------------------------------------------------------------ GaussianDiffFilter

GaussianDiffFilter::GaussianDiffFilter()
    : GaussianFilter(1.0f, 3.0f),
      diffSigma(0.0f),
      multiplier(0.0f),
      gkernel(nullptr),
      dkernel(nullptr),
      diffRadius(-1) {}

GaussianDiffFilter::~GaussianDiffFilter() {
    delete[] gkernel;
    delete[] dkernel;
}

void GaussianDiffFilter::setupDiff(float s, float mult) {
    delete[] gkernel;
    delete[] dkernel;
    gkernel = dkernel = nullptr;
    diffRadius = -1;
    diffSigma = s;
    multiplier = mult;
    int h = truncInt(s * mult + 0.5);
    if (h < 0) h = 0;
    if (h > kMaxRadius) return;
    const int n = 2 * h + 1;
    gkernel = new (std::nothrow) float[(size_t)n];
    dkernel = new (std::nothrow) float[(size_t)n];
    if (!gkernel || !dkernel) {
        delete[] gkernel;
        delete[] dkernel;
        gkernel = dkernel = nullptr;
        return;
    }
    const double pi = 3.14159265358979323846;
    const float c = (float)(-1.0 / std::sqrt(2.0 * pi) / ((double)s * s * s));
    const float sum = gaussTaps(s, h, gkernel);
    for (int i = -h; i <= h; i++) dkernel[i + h] = (float)i * c * gkernel[i + h];
    for (int i = 0; i < n; i++) gkernel[i] /= sum;
    diffRadius = h;
}

int GaussianDiffFilter::applyDiff(const Mat& src, Mat& dst, bool dx) {
    if (src.empty()) return -1;
    if (src.type() != MAT_Tuchar && src.type() != MAT_Tfloat) return -1;
    if (!sameShapeAndType(src, dst) && dst.create(src.rows(), src.cols(), src.type1()) < 0)
        return -1;
    if (!sameShapeAndType(tmp, src) && tmp.create(src.rows(), src.cols(), src.type1()) < 0)
        return -1;
    // Smooth across the derivative's direction first, then differentiate.
    runPass(!dx, src, tmp, gkernel, diffRadius);
    runPass(dx, tmp, dst, dkernel, diffRadius);
    return 0;
}

// ---------------------------------------------------------------------- DoGFilter

DoGFilter::~DoGFilter() {}

int DoGFilter::apply(const Mat& src, Mat& dst) const {
    if (src.empty()) return -1;
    Mat f;
    src.convertTo(f, MAT_Tfloat);
    if (f.empty()) return -1;
    Mat a(f.rows(), f.cols(), f.type1()), b(f.rows(), f.cols(), f.type1());
    if (a.empty() || b.empty()) return -1;
    GaussianFilter g1(sigma1, multiplier * sigma1);
    GaussianFilter g2(sigma2, multiplier * sigma2);
    g1.apply(f, a);
    g2.apply(f, b);
    if (dst.create(f.rows(), f.cols(), f.type1()) < 0) return -1;
    const int n = f.cols() * f.channels();
    for (int y = 0; y < f.rows(); y++) {
        const float* pa = a.ptr<float>(y);
        const float* pb = b.ptr<float>(y);
        float* d = dst.ptr<float>(y);
        for (int j = 0; j < n; j++) d[j] = pa[j] - pb[j];
    }
    return 0;
}

// ------------------------------------------------------------------ free functions

namespace ip {

void gaussian(const Mat& src, Mat& dst, float sigma) {
    gaussian(src, dst, sigma, 2.0f * sigma);
}

void gaussian(const Mat& srcIn, Mat& dst, float sigma, float support) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    if (src.empty()) return;
    if (&src != &dst && dst.create(src.rows(), src.cols(), src.type1()) < 0) return;
    GaussianFilter f(sigma, support);
    f.apply(src, dst);
}

void gaussian(Mat& image, float sigma) {
    gaussian(image, sigma, 2.0f * sigma);
}

void gaussian(Mat& image, float sigma, float support) {
    if (image.empty()) return;
    Mat copy(image);
    if (copy.empty()) return;
    gaussian(copy, image, sigma, support);
}

void gaussianX(const Mat& srcIn, Mat& dst, float sigma) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    if (src.empty()) return;
    if (&src != &dst && dst.create(src.rows(), src.cols(), src.type1()) < 0) return;
    GaussianFilter f(sigma, 2.0f * sigma);
    f.applyX(src, dst);
}

void gaussianY(const Mat& srcIn, Mat& dst, float sigma) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    if (src.empty()) return;
    if (&src != &dst && dst.create(src.rows(), src.cols(), src.type1()) < 0) return;
    GaussianFilter f(sigma, 2.0f * sigma);
    f.applyY(src, dst);
}

void gaussianDiffX(const Mat& srcIn, Mat& dst, float sigma, float multiplier) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    GaussianDiffFilter f;
    f.setupDiff(sigma, multiplier);
    f.applyDiff(src, dst, true);
}

void gaussianDiffY(const Mat& srcIn, Mat& dst, float sigma, float multiplier) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    GaussianDiffFilter f;
    f.setupDiff(sigma, multiplier);
    f.applyDiff(src, dst, false);
}

void dogfilter(const Mat& srcIn, Mat& dst, float s1, float s2, float multiplier) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    DoGFilter f;
    f.sigma1 = s1;
    f.sigma2 = s2;
    f.multiplier = multiplier;
    f.apply(src, dst);
}

int blurringCircle(const Mat& srcIn, Mat& dst, int radius, int a, int b,
                   const Point2_<int>& centre) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return 0;
    const Mat& src = guard.get();
    if (src.empty()) return 0;
    // The disc reads neighbours of pixels it has already written when src is
    // dst; filtering from a copy keeps every pixel a blur of the original.
    Mat copy;
    const Mat* in = &src;
    if (&src == &dst) {
        copy = src;
        if (copy.empty()) return 0;
        in = &copy;
    } else if (!sameShapeAndType(src, dst)) {
        dst = src;
        if (dst.empty()) return 0;
    }
    GaussianFilter f(1.0f, 3.0f);
    // Only the part of the disc inside the image is visited; the rest is skipped.
    const long long r2 = (long long)radius * radius;
    const long long dy0 = std::max<long long>(-(long long)radius, -(long long)centre.y);
    const long long dy1 = std::min<long long>(radius, (long long)in->rows() - 1 - centre.y);
    for (long long dy = dy0; dy <= dy1; dy++) {
        const long long w = (long long)std::sqrt((double)(r2 - dy * dy));
        const long long dx0 = std::max<long long>(-w, -(long long)centre.x);
        const long long dx1 = std::min<long long>(w - 1, (long long)in->cols() - 1 - centre.x);
        for (long long dx = dx0; dx <= dx1; dx++) {
            const float t = (float)radius - std::sqrt((float)(dx * dx + dy * dy));
            const float sg = (float)(t * (float)a / (float)radius + 0.1);
            const float sp = (float)(t * (float)b / (float)radius + 0.1);
            const int px = (int)(centre.x + dx), py = (int)(centre.y + dy);
            // A kernel wider than the image leaves the pixel as it is; skip
            // building it, which for a huge b would cost millions of taps per pixel.
            if (2LL * roundInt(sp) > in->cols()) {
                const size_t es = (size_t)in->elemSize();
                std::memcpy(dst.data.ptr[py] + (size_t)px * es, in->data.ptr[py] + (size_t)px * es,
                            es);
                continue;
            }
            f.setup(sg, sp);
            f.applyPixel(*in, dst, px, py);
        }
    }
    return 1;
}

}  // namespace ip
}  // namespace tarvo
