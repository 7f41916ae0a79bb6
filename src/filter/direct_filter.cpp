// ipFilter and the direct convolution front ends: convolve2 (square,
// horizontal, vertical and rectangle forms), convolve2sep, convolve on Vec
// and kernelFactor.
//
// These are plain window loops with an integer kernel, a divisor and an
// offset. A pixel whose window crosses the image edge is not filtered: it
// keeps the source value. Kind 0 tests the top and left edges strictly (a
// pixel exactly half a window from them counts as crossing); kinds 1, 2 and
// 3 filter every pixel whose taps all lie inside.
#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "filter/direct_filter.h"
#include "detail/aliasing.h"
#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {

namespace {
class DirectRowsBody : public ParallelLoopBody {
public:
    explicit DirectRowsBody(const std::function<void(int, int)>& f) : f_(f) {}
    void operator()(const Range& r) const override { f_(r.start, r.end); }

private:
    const std::function<void(int, int)>& f_;
};
}  // namespace

void directParallelRows(int n, double pixels, const std::function<void(int, int)>& body) {
    if (n <= 0) return;
    parallel_for_(Range(0, n), DirectRowsBody(body), pixels / 65536.0);
}

}  // namespace detail

namespace {

// Kernels above this many entries are refused: 2^24 taps keep every 64-bit
// byte sum (|k| < 2^31, samples < 2^8) below 2^63.
constexpr long long kMaxKernelEntries = 1LL << 24;

long long kernelEntries(int size, filterintype kind) {
    return kind == FilterSquare ? (long long)size * size : (long long)size;
}

unsigned char clampByte(long long v) {
    return (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
}

// offset + sum / divisor with the quotient truncated, clamped to a byte.
unsigned char byteResult(long long sum, int divisor, int offset) {
    return clampByte((long long)offset + sum / divisor);
}

// Resolves the source and target of a process call: a null dst writes over
// src, and a target sharing memory with the source reads from a copy.
struct Operands {
    const Mat* src;
    Mat* dst;
    Mat copy;
};

bool resolve(const Mat* src, Mat* dst, Operands& op) {
    op.src = src;
    op.dst = dst ? dst : const_cast<Mat*>(src);
    if (detail::sharesMemory(*src, *op.dst)) {
        op.copy.create(*src, true);
        if (op.copy.empty()) return false;
        op.src = &op.copy;
    }
    return true;
}

// Kind 0 on bytes, any channel count. Only the interior rows and columns are
// summed; the rest is the source.
void square8(const Mat& s, Mat& d, const int* k, int n, int div, int off) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    const int h = n / 2, tail = n - h - 1;
    const int x0 = h + 1, x1 = cols - tail;  // interior columns [x0, x1)
    const bool vec = checkHardwareSupport(CPU_INT_VECTORS);
    long long kpos = 0, kneg = 0;
    for (long long t = 0; t < (long long)n * n; t++) (k[t] > 0 ? kpos : kneg) += k[t];
    const bool vecOk = vec && 255 * std::max(kpos, -kneg) <= detail::kConvVecSumLimit;
    const size_t rowBytes = size_t(cols) * cn;
    auto body = [&](int ya, int yb) {
        std::vector<const unsigned char*> rp(size_t(n), nullptr);
        for (int y = ya; y < yb; y++) {
            const unsigned char* srow = s.data.ptr[y];
            unsigned char* drow = d.data.ptr[y];
            if (y < h + 1 || y + tail >= rows || x0 >= x1) {
                std::memmove(drow, srow, rowBytes);
                continue;
            }
            for (int j = 0; j < n; j++) rp[size_t(j)] = s.data.ptr[y - h + j] - size_t(h) * cn;
            std::memcpy(drow, srow, size_t(x0) * cn);
            std::memcpy(drow + size_t(x1) * cn, srow + size_t(x1) * cn, size_t(cols - x1) * cn);
            int e = x0 * cn;
            const int eEnd = x1 * cn;
            if (vecOk) e = detail::vecConvolveRowU8(rp.data(), k, n, cn, div, off, e, eEnd, drow);
            for (; e < eEnd; e++) {
                long long sum = 0;
                for (int j = 0; j < n; j++) {
                    const unsigned char* r = rp[size_t(j)] + e;
                    const int* kr = k + (size_t)j * n;
                    for (int i = 0; i < n; i++) sum += (long long)kr[i] * r[i * cn];
                }
                drow[e] = byteResult(sum, div, off);
            }
        }
    };
    detail::directParallelRows(rows, double(rows) * cols * n * n / 9.0, body);
}

// Kind 0 on floats: float sums in tap order, divided by the divisor in float,
// plus the offset, no clamp.
void squareF(const Mat& s, Mat& d, const int* k, int n, int div, int off) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    const int h = n / 2, tail = n - h - 1;
    const float fdiv = float(div), foff = float(off);
    for (int y = 0; y < rows; y++) {
        const float* srow = s.ptr<float>(y);
        float* drow = d.ptr<float>(y);
        const bool rowIn = y >= h + 1 && y + tail < rows;
        for (int x = 0; x < cols; x++) {
            for (int c = 0; c < cn; c++) {
                const int e = x * cn + c;
                if (!rowIn || x < h + 1 || x + tail >= cols) {
                    drow[e] = srow[e];
                    continue;
                }
                float sum = 0.0f;
                for (int j = 0; j < n; j++) {
                    const float* r = s.ptr<float>(y - h + j);
                    for (int i = 0; i < n; i++)
                        sum = sum + float(k[(size_t)j * n + i]) * r[(x - h + i) * cn + c];
                }
                drow[e] = sum / fdiv + foff;
            }
        }
    }
}

// Kinds 2 and 3 for element type T: a pixel is filtered when all its taps
// lie inside along the filter direction.
template <typename T>
void line(const Mat& s, Mat& d, const int* k, int n, int div, int off, bool vertical) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    const int h = n / 2, tail = n - h - 1;
    for (int y = 0; y < rows; y++) {
        const T* srow = s.ptr<T>(y);
        T* drow = d.ptr<T>(y);
        for (int x = 0; x < cols; x++) {
            const int p = vertical ? y : x, len = vertical ? rows : cols;
            const bool inside = p - h >= 0 && p + tail < len;
            for (int c = 0; c < cn; c++) {
                const int e = x * cn + c;
                if (!inside) {
                    drow[e] = srow[e];
                    continue;
                }
                if constexpr (std::is_same<T, float>::value) {
                    float sum = 0.0f;
                    for (int i = 0; i < n; i++) {
                        const float v =
                            vertical ? s.ptr<float>(y - h + i)[e] : srow[(x - h + i) * cn + c];
                        sum = sum + float(k[i]) * v;
                    }
                    drow[e] = sum / float(div) + float(off);
                } else {
                    long long sum = 0;
                    for (int i = 0; i < n; i++) {
                        const T v = vertical ? s.ptr<T>(y - h + i)[e] : srow[(x - h + i) * cn + c];
                        sum += (long long)k[i] * v;
                    }
                    drow[e] = byteResult(sum, div, off);
                }
            }
        }
    }
}

// One-dimensional filter of n elements (kind 1).
template <typename T>
void vecLine(const T* s, T* d, int len, const int* k, int n, int div, int off) {
    const int h = n / 2, tail = n - h - 1;
    for (int x = 0; x < len; x++) {
        if (x - h < 0 || x + tail >= len) {
            d[x] = s[x];
            continue;
        }
        if constexpr (std::is_same<T, float>::value) {
            float sum = 0.0f;
            for (int i = 0; i < n; i++) sum = sum + float(k[i]) * s[x - h + i];
            d[x] = sum / float(div) + float(off);
        } else {
            long long sum = 0;
            for (int i = 0; i < n; i++) sum += (long long)k[i] * s[x - h + i];
            d[x] = byteResult(sum, div, off);
        }
    }
}

// True when dst can take the result of src without re-creation.
bool fits(const Mat& src, const Mat& dst) {
    return !dst.empty() && dst.type1() == src.type1() && dst.isEqualSize(src);
}

bool validKernel(const void* kernel, int size, filterintype kind) {
    return kernel && size >= 1 && kernelEntries(size, kind) <= kMaxKernelEntries;
}

}  // namespace

// ---------------------------------------------------------------- ipFilter

ipFilter::ipFilter()
    : kind(FilterSquare),
      kernel(nullptr),
      fkernel(nullptr),
      size(0),
      divisor(1),
      fdivisor(1.0f),
      offset(0),
      created(0) {}

ipFilter::~ipFilter() {
    delete[] kernel;
    delete[] fkernel;
}

void ipFilter::release() {
    delete[] kernel;
    delete[] fkernel;
    kernel = nullptr;
    fkernel = nullptr;
    created = 0;
}

int ipFilter::create(const int* k, int n, int div, int off, filterintype kd) {
    if (created || !validKernel(k, n, kd)) return 0;
    const bool keeps = kd >= FilterSquare && kd <= FilterVertical;
    if (keeps) {
        const size_t count = size_t(kernelEntries(n, kd));
        kernel = new (std::nothrow) int[count];
        if (!kernel) return 0;
        std::memcpy(kernel, k, count * sizeof(int));
    }
    kind = kd;
    size = n;
    divisor = div == 0 ? 1 : div;
    fdivisor = 0.0f;
    offset = off;
    created = 1;
    return 1;
}

int ipFilter::create(const float* k, int n, float div, int off, filterintype kd) {
    if (created || !validKernel(k, n, kd)) return 0;
    const bool keeps = kd >= FilterSquare && kd <= FilterVertical;
    if (keeps) {
        const size_t count = size_t(kernelEntries(n, kd));
        fkernel = new (std::nothrow) float[count];
        if (!fkernel) return 0;
        std::memcpy(fkernel, k, count * sizeof(float));
    }
    kind = kd;
    size = n;
    divisor = 0;
    fdivisor = div == 0.0f ? 1.0f : div;
    offset = off;
    created = 1;
    return 1;
}

int ipFilter::create(const double* k, int n, double div, int off, filterintype kd) {
    if (created || !validKernel(k, n, kd)) return 0;
    const bool keeps = kd >= FilterSquare && kd <= FilterVertical;
    if (keeps) {
        const size_t count = size_t(kernelEntries(n, kd));
        fkernel = new (std::nothrow) float[count];
        if (!fkernel) return 0;
        for (size_t i = 0; i < count; i++) fkernel[i] = float(k[i]);
    }
    kind = kd;
    size = n;
    divisor = 0;
    const float fd = float(div);
    fdivisor = fd == 0.0f ? 1.0f : fd;
    offset = off;
    created = 1;
    return 1;
}

bool ipFilter::process(const Mat* src, Mat* dst) {
    if (!src || src->empty() || !kernel || size < 1) return false;
    if (kind != FilterSquare && kind != FilterHorizontal && kind != FilterVertical) return false;
    // Only byte and float images are filtered; others are refused before
    // the destination is touched.
    const int depth = src->type();
    if (depth != MAT_Tuchar && depth != MAT_Tfloat) return false;
    Operands op;
    if (!resolve(src, dst, op)) return false;
    const Mat& s = *op.src;
    Mat& d = *op.dst;
    if (kind == FilterSquare) {
        // A destination of another shape or channel count is re-created.
        if (!fits(s, d)) {
            d.release();
            if (d.create(s, false) < 0) return false;
        }
        if (depth == MAT_Tuchar)
            square8(s, d, kernel, size, divisor, offset);
        else
            squareF(s, d, kernel, size, divisor, offset);
        return true;
    }
    if (!fits(s, d)) {
        d.release();
        if (d.create(s, false) < 0) return false;
    }
    const bool vertical = kind == FilterVertical;
    if (depth == MAT_Tuchar)
        line<unsigned char>(s, d, kernel, size, divisor, offset, vertical);
    else
        line<float>(s, d, kernel, size, divisor, offset, vertical);
    return true;
}

bool ipFilter::process(const Vec* src, Vec* dst) {
    if (!src || !src->isValid() || src->length() < 1 || !kernel || size < 1) return false;
    if (kind != FilterVec) return false;
    Vec copy;
    const Vec* s = src;
    Vec* d = dst ? dst : const_cast<Vec*>(src);
    if (d == src) {
        if (!copy.create(*src, true)) return false;
        s = &copy;
    } else if (d->length() != s->length() || d->type() != s->type() || !d->isValid()) {
        d->release();
        if (!d->create(*s, false)) return false;
    }
    const int len = s->length();
    if (s->type() == MAT_Tuchar)
        vecLine<unsigned char>(s->data.ptr, d->data.ptr, len, kernel, size, divisor, offset);
    else if (s->type() == MAT_Tfloat)
        vecLine<float>(s->data.fl, d->data.fl, len, kernel, size, divisor, offset);
    else
        std::memcpy(d->data.ptr, s->data.ptr, size_t(len) * size_t(s->step()));
    return true;
}

namespace ip {

namespace {

template <typename K, typename D>
void runConvolve2(const Mat& src, Mat& dst, const K* kernel, int size, D divisor, int offset,
                  filterintype kind) {
    ipFilter f;
    if (f.create(kernel, size, divisor, offset, kind)) f.process(&src, &dst);
    f.release();
}

template <typename K, typename D>
void runConvolve2InPlace(Mat& image, const K* kernel, int size, D divisor, int offset,
                         filterintype kind) {
    if (image.empty()) return;
    Mat copy(image);
    if (copy.empty()) return;
    runConvolve2(copy, image, kernel, size, divisor, offset, kind);
}

}  // namespace

void convolve2(const Mat& src, Mat& dst, const int* kernel, int size, int divisor, int offset,
               filterintype kind) {
    runConvolve2(src, dst, kernel, size, divisor, offset, kind);
}
void convolve2(const Mat& src, Mat& dst, const float* kernel, int size, float divisor, int offset,
               filterintype kind) {
    runConvolve2(src, dst, kernel, size, divisor, offset, kind);
}
void convolve2(const Mat& src, Mat& dst, const double* kernel, int size, double divisor, int offset,
               filterintype kind) {
    runConvolve2(src, dst, kernel, size, divisor, offset, kind);
}
void convolve2(Mat& image, const int* kernel, int size, int divisor, int offset,
               filterintype kind) {
    runConvolve2InPlace(image, kernel, size, divisor, offset, kind);
}
void convolve2(Mat& image, const float* kernel, int size, float divisor, int offset,
               filterintype kind) {
    runConvolve2InPlace(image, kernel, size, divisor, offset, kind);
}
void convolve2(Mat& image, const double* kernel, int size, double divisor, int offset,
               filterintype kind) {
    runConvolve2InPlace(image, kernel, size, divisor, offset, kind);
}

void convolve2(const Mat& src, Mat& dst, const int* kernel, int size, int divisor, int offset,
               const Rect_<int>& area) {
    if (src.empty() || src.type1() != MAT_Tuchar || !validKernel(kernel, size, FilterSquare))
        return;
    const int rows = src.rows(), cols = src.cols();
    const int div = divisor == 0 ? 1 : divisor;
    const int h = size / 2, tail = size - h - 1;
    // The rectangle clipped to the image, in 64 bits so huge sizes cannot wrap.
    const long long ry0 = std::max<long long>(area.y, 0);
    const long long rx0 = std::max<long long>(area.x, 0);
    const long long ry1 = std::min<long long>((long long)area.y + area.height, rows);
    const long long rx1 = std::min<long long>((long long)area.x + area.width, cols);
    Mat tmp(rows, cols, MAT_Tuchar);
    if (tmp.empty()) return;
    tmp.zero();
    for (long long y = ry0; y < ry1; y++) {
        const unsigned char* srow = src.data.ptr[y];
        unsigned char* trow = tmp.data.ptr[y];
        const bool rowIn = y >= h + 1 && y + tail < rows;
        for (long long x = rx0; x < rx1; x++) {
            if (!rowIn || x < h + 1 || x + tail >= cols) {
                trow[x] = srow[x];
                continue;
            }
            long long sum = 0;
            for (int j = 0; j < size; j++) {
                const unsigned char* r = src.data.ptr[y - h + j] + (x - h);
                const int* kr = kernel + (size_t)j * size;
                for (int i = 0; i < size; i++) sum += (long long)kr[i] * r[i];
            }
            trow[x] = byteResult(sum, div, offset);
        }
    }
    if (!fits(src, dst)) {
        dst.release();
        if (dst.create(rows, cols, MAT_Tuchar) < 0) return;
    }
    for (int y = 0; y < rows; y++) std::memcpy(dst.data.ptr[y], tmp.data.ptr[y], size_t(cols));
}

void convolve2(Mat& image, const int* kernel, int size, int divisor, int offset,
               const Rect_<int>& area) {
    if (image.empty()) return;
    Mat copy(image);
    if (copy.empty()) return;
    convolve2(copy, image, kernel, size, divisor, offset, area);
}

namespace {

// One pass of convolve2sep along rows (vertical false) or columns: taps are
// clipped to the image and the kernel index follows each tap, the divisor
// stays whole. Acc is the sum type, Div the divisor type.
template <typename T, typename K, typename Acc>
void sepPass(const Mat& s, Mat& d, const K* k, int n, Acc div, bool vertical) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels();
    const int h = n / 2, tail = n - h - 1;
    for (int y = 0; y < rows; y++) {
        T* drow = d.ptr<T>(y);
        for (int x = 0; x < cols; x++) {
            const int p = vertical ? y : x, len = vertical ? rows : cols;
            const int t0 = std::max(p - h, 0), t1 = std::min(p + tail, len - 1);
            for (int c = 0; c < cn; c++) {
                Acc sum = 0;
                for (int t = t0; t <= t1; t++) {
                    const T v = vertical ? s.ptr<T>(t)[x * cn + c] : s.ptr<T>(y)[t * cn + c];
                    sum = sum + Acc(k[t - p + h]) * Acc(v);
                }
                if constexpr (std::is_same<T, unsigned char>::value) {
                    if constexpr (std::is_floating_point<Acc>::value)
                        drow[x * cn + c] = saturate_trunc<unsigned char>(double(sum / div));
                    else
                        drow[x * cn + c] = clampByte(sum / div);
                } else {
                    drow[x * cn + c] = T(float(sum) / float(div));
                }
            }
        }
    }
}

// Whether the byte passes of an int kernel may take the vector line kernel:
// every sum (at most 255 times the sum of |k|) stays below 2^24.
bool sepVectorFits(const int* k, int n) {
    long long total = 0;
    for (int i = 0; i < n; i++) {
        total += k[i] < 0 ? -(long long)k[i] : (long long)k[i];
        if (total * 255 >= detail::kConvVecSumLimit) return false;
    }
    return true;
}

// Both byte passes of convolve2sep with an int kernel, vector code, in row
// stripes: each stripe runs the horizontal pass of the source rows it needs
// into a ring of n rows and the vertical pass from that ring, so the
// intermediate image never exists. Every output is the scalar passes' value:
// the same clipped taps, the same truncated quotient and clamp per pass.
void sepBytesVector(const Mat& s, Mat& d, const int* k, int n, int div) {
    const int rows = s.rows(), cols = s.cols(), cn = s.channels(), W = cols * cn;
    const int h = n / 2, tail = n - h - 1;
    const int stripes = std::max(1, std::min(rows / std::max(32, 4 * n), 4 * getNumThreads()));
    auto hline = [&](int r, uint8_t* o, std::vector<const uint8_t*>& ptrs) {
        const uint8_t* sp = s.ptr<uint8_t>(r);
        // Pixels whose taps all lie inside: x in [h, cols - tail).
        int done = 0;
        const int inner = cols - n + 1;
        if (inner > 0) {
            for (int i = 0; i < n; i++) ptrs[size_t(i)] = sp + size_t(i) * cn;
            done = detail::vecSepTapsU8(ptrs.data(), k, n, div, inner * cn, o + size_t(h) * cn);
        }
        for (int x = 0; x < cols; x++) {
            if (x >= h && (x - h) * cn + cn <= done) continue;
            const int t0 = std::max(x - h, 0), t1 = std::min(x + tail, cols - 1);
            for (int c = 0; c < cn; c++) {
                long long sum = 0;
                for (int t = t0; t <= t1; t++) sum += (long long)k[t - x + h] * sp[t * cn + c];
                o[x * cn + c] = clampByte(sum / div);
            }
        }
    };
    struct Body : ParallelLoopBody {
        void operator()(const Range& range) const override {
            for (int i = range.start; i < range.end; i++) (*fn)(i);
        }
        const std::function<void(int)>* fn;
    } body;
    const std::function<void(int)> stripe = [&](int i) {
        const int y0 = int((long long)i * rows / stripes),
                  y1 = int((long long)(i + 1) * rows / stripes);
        std::vector<uint8_t> ring(size_t(n) * W);
        std::vector<const uint8_t*> ptrs(size_t(n), nullptr);
        int next = std::max(0, y0 - h);
        for (int y = y0; y < y1; y++) {
            for (const int last = std::min(rows - 1, y + tail); next <= last; next++)
                hline(next, ring.data() + size_t(next % n) * W, ptrs);
            const int t0 = std::max(y - h, 0), t1 = std::min(y + tail, rows - 1);
            const int taps = t1 - t0 + 1;
            const int* kk = k + (t0 - y + h);
            for (int j = 0; j < taps; j++) ptrs[size_t(j)] = ring.data() + size_t((t0 + j) % n) * W;
            uint8_t* drow = d.ptr<uint8_t>(y);
            for (int e = detail::vecSepTapsU8(ptrs.data(), kk, taps, div, W, drow); e < W; e++) {
                long long sum = 0;
                for (int j = 0; j < taps; j++) sum += (long long)kk[j] * ptrs[size_t(j)][e];
                drow[e] = clampByte(sum / div);
            }
        }
    };
    body.fn = &stripe;
    parallel_for_(Range(0, stripes), body,
                  double((long long)rows * W * n < (1 << 16) ? 1 : stripes));
}

template <typename K, typename D>
void runSep(const Mat& src, Mat& dst, const K* kernel, int size, D divisor) {
    if (src.empty() || !validKernel(kernel, size, FilterHorizontal)) return;
    Mat copy;
    const Mat* s = &src;
    if (detail::sharesMemory(src, dst)) {
        copy.create(src, true);
        if (copy.empty()) return;
        s = &copy;
    }
    if (!fits(*s, dst)) {
        dst.release();
        if (dst.create(*s, false) < 0) return;
    }
    const int depth = s->type();
    if constexpr (!std::is_floating_point<K>::value) {
        if (depth == MAT_Tuchar && checkHardwareSupport(CPU_INT_VECTORS) &&
            sepVectorFits(kernel, size)) {
            sepBytesVector(*s, dst, kernel, size, divisor == 0 ? 1 : divisor);
            return;
        }
    }
    // The destination starts as the source: depths no pass handles keep it.
    for (int y = 0; y < s->rows(); y++)
        std::memcpy(dst.data.ptr[y], s->data.ptr[y], size_t(s->rowByteSize()));
    if (depth != MAT_Tuchar && depth != MAT_Tfloat) return;
    Mat tmp(s->rows(), s->cols(), s->type1());
    if (tmp.empty()) return;
    const D div = divisor == D(0) ? D(1) : divisor;
    if (depth == MAT_Tuchar) {
        if constexpr (std::is_floating_point<K>::value) {
            sepPass<unsigned char, K, float>(dst, tmp, kernel, size, float(div), false);
            sepPass<unsigned char, K, float>(tmp, dst, kernel, size, float(div), true);
        } else {
            sepPass<unsigned char, K, long long>(dst, tmp, kernel, size, (long long)div, false);
            sepPass<unsigned char, K, long long>(tmp, dst, kernel, size, (long long)div, true);
        }
    } else {
        sepPass<float, K, float>(dst, tmp, kernel, size, float(div), false);
        sepPass<float, K, float>(tmp, dst, kernel, size, float(div), true);
    }
}

}  // namespace

void convolve2sep(const Mat& src, Mat& dst, const int* kernel, int size, int divisor) {
    runSep(src, dst, kernel, size, divisor);
}
void convolve2sep(const Mat& src, Mat& dst, const float* kernel, int size, float divisor) {
    runSep(src, dst, kernel, size, divisor);
}
void convolve2sep(Mat& image, const int* kernel, int size, int divisor) {
    if (image.empty()) return;
    Mat copy(image);
    if (!copy.empty()) runSep(copy, image, kernel, size, divisor);
}
void convolve2sep(Mat& image, const float* kernel, int size, float divisor) {
    if (image.empty()) return;
    Mat copy(image);
    if (!copy.empty()) runSep(copy, image, kernel, size, divisor);
}

void convolve(const Vec& src, Vec& dst, const int* kernel, int size, int divisor, int offset) {
    ipFilter f;
    if (f.create(kernel, size, divisor, offset, FilterVec)) f.process(&src, &dst);
    f.release();
}

void convolve(Vec& vec, const int* kernel, int size, int divisor, int offset) {
    if (!vec.isValid()) return;
    Vec copy(vec);
    if (copy.isValid()) convolve(copy, vec, kernel, size, divisor, offset);
}

int kernelFactor(const int* kernel, int count) {
    if (!kernel || count < 1) return 0;
    unsigned sum = 0;
    for (int i = 0; i < count; i++) sum += unsigned(kernel[i]);
    return int(sum);
}

float kernelFactor(const float* kernel, int count) {
    if (!kernel || count < 1) return 0.0f;
    float sum = 0.0f;
    for (int i = 0; i < count; i++) sum += kernel[i];
    return sum;
}

double kernelFactor(const double* kernel, int count) {
    if (!kernel || count < 1) return 0.0;
    double sum = 0.0;
    for (int i = 0; i < count; i++) sum += kernel[i];
    return sum;
}

}  // namespace ip
}  // namespace tarvo
