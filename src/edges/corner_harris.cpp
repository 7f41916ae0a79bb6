// ipCorner (Harris-style strength, local maxima, sorted list or mask),
// ip::cornerHarris, ip::findCornerSubPix, ip::getRectSubPixel and
// ip::sepConvSmall.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include "corner_simd.h"
#include "tarvo/autobuffer.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/parallel.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {

namespace {
constexpr float kNoStrength = -1000000.0f;

bool isGreyOfSize(const Mat* m, const Size_<int>& s) {
    return m && !m->empty() && m->type1() == MAT_Tuchar && m->cols() == s.width &&
           m->rows() == s.height;
}
}  // namespace

ipCorner::ipCorner()
    : imageSize(0, 0), created(0), param1(0), param2(0.0f), window(0), threshold(0.0f) {}

ipCorner::ipCorner(const Size_<int>& size, int p1, float p2, int win, float thr) : ipCorner() {
    create(size, p1, p2, win, thr);
}

ipCorner::~ipCorner() {}

int ipCorner::create(const Size_<int>& size, int p1, float p2, int win, float thr) {
    Mat_<short>* shorts[2] = {&gradX, &gradY};
    Mat_<float>* floats[5] = {&xx, &yy, &xy, &strength, &localMax};
    for (Mat_<short>* m : shorts)
        if (m->create(size.height, size.width) < 0) return 0;
    for (Mat_<float>* m : floats)
        if (m->create(size.height, size.width) < 0) return 0;
    // Zeroed, so a frame the local maximum never reaches holds no stale value.
    for (Mat_<short>* m : shorts) m->zero();
    for (Mat_<float>* m : floats) m->zero();
    imageSize = size;
    param1 = p1;
    param2 = p2;
    window = win;
    threshold = thr;
    created = 1;
    return 1;
}

void ipCorner::release() {
    created = 0;
    gradX.release();
    gradY.release();
    xx.release();
    yy.release();
    xy.release();
    strength.release();
    localMax.release();
}

bool ipCorner::accepts(const Mat* image, const Mat* mask) const {
    if (!created || !isGreyOfSize(image, imageSize)) return false;
    return !mask || mask->empty() || isGreyOfSize(mask, imageSize);
}

namespace {

// Runs fn(y0, y1) over row stripes of [0, rows) through parallel_for_; every
// caller writes disjoint rows, so the result does not depend on the split.
template <typename F>
void forRowStripes(int rows, long long work, const F& fn) {
    struct Body : ParallelLoopBody {
        explicit Body(const F& f) : fn(f) {}
        void operator()(const Range& r) const override { fn(r.start, r.end); }
        const F& fn;
    } body(fn);
    const double stripes = work < (1 << 16) ? 1.0 : double(rows < 64 ? rows : 64);
    parallel_for_(Range(0, rows), body, stripes);
}

}  // namespace

int ipCorner::iProcessHarris(const Mat* image, const Mat* mask) {
    const int rows = imageSize.height, cols = imageSize.width;
    const long long work = (long long)rows * cols;
    Sobel::gradientMagnitudeX(image, &gradX, false);
    Sobel::gradientMagnitudeY(image, &gradY, false);
    forRowStripes(rows, work, [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const short* gx = gradX.ptr<short>(y);
            const short* gy = gradY.ptr<short>(y);
            float* pxx = xx.ptr<float>(y);
            float* pyy = yy.ptr<float>(y);
            float* pxy = xy.ptr<float>(y);
            for (int x = detail::harrisProductsRow(gx, gy, pxx, pyy, pxy, cols); x < cols; x++) {
                pxx[x] = float(int(gx[x]) * gx[x]);
                pyy[x] = float(int(gy[x]) * gy[x]);
                pxy[x] = float(int(gx[x]) * gy[x]);
            }
        }
    });
    ip::gaussian(xx, 5.0f);
    ip::gaussian(yy, 5.0f);
    ip::gaussian(xy, 5.0f);
    forRowStripes(rows, work, [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const unsigned char* m = mask ? mask->data.ptr[y] : nullptr;
            const float* pxx = xx.ptr<float>(y);
            const float* pyy = yy.ptr<float>(y);
            const float* pxy = xy.ptr<float>(y);
            float* s = strength.ptr<float>(y);
            for (int x = detail::harrisStrengthRow(pxx, pyy, pxy, m, kNoStrength, s, cols);
                 x < cols; x++)
                s[x] = m && !m[x]
                           ? kNoStrength
                           : (pxx[x] * pyy[x] - pxy[x] * pxy[x]) / (pxx[x] + pyy[x] + 1e-06f);
        }
    });
    // Local maximum over window rows and columns from (y - half, x - half),
    // for pixels whose window lies inside; an even window reaches half - 1
    // past the pixel.
    const int half = window / 2;
    if (window < 1) return 1;
    const int ya = half + 1, yb = rows - half, xa = half + 1, xb = cols - half;
    if (ya >= yb || xa >= xb) return 1;
    if (checkHardwareSupport(CPU_FLOAT_VECTORS)) {
        // The same maxima from the morphology's running maxima: max is exact,
        // and every window of the domain lies inside the image, so the
        // border rule never enters.
        Mat element(window, window, MAT_Tuchar);
        element = 1.0;
        Mat dilated;
        ip::dilate(strength, dilated, element, Point2_<int>(half, half));
        forRowStripes(yb - ya, work, [&](int r0, int r1) {
            for (int y = ya + r0; y < ya + r1; y++) {
                const unsigned char* m = mask ? mask->data.ptr[y] : nullptr;
                const float* d = dilated.ptr<float>(y);
                float* out = localMax.ptr<float>(y);
                for (int x = xa; x < xb; x++)
                    if (!m || m[x]) out[x] = d[x] > 0.0f ? d[x] : 0.0f;
            }
        });
        return 1;
    }
    for (int y = ya; y < yb; y++) {
        const unsigned char* m = mask ? mask->data.ptr[y] : nullptr;
        float* out = localMax.ptr<float>(y);
        for (int x = xa; x < xb; x++) {
            if (m && !m[x]) continue;
            float best = kNoStrength;
            for (int j = 0; j < window; j++) {
                const float* s = strength.ptr<float>(y - half + j) + (x - half);
                for (int i = 0; i < window; i++) best = std::max(best, s[i]);
            }
            out[x] = best > 0.0f ? best : 0.0f;
        }
    }
    return 1;
}

namespace {
// Calls f(x, y) for every pixel whose local maximum the last run computed
// and that passes the corner test, in row-major order.
template <typename F>
void forCorners(const ipCorner& c, const Mat* mask, F f) {
    const int rows = c.imageSize.height, cols = c.imageSize.width, half = c.window / 2;
    if (c.window < 1) return;
    const int xa = half + 1, xb = cols - half;
    if (xa >= xb) return;
    std::vector<unsigned char> flags(size_t(xb - xa) + 8, 0);
    for (int y = half + 1; y < rows - half; y++) {
        const unsigned char* m = mask ? mask->data.ptr[y] : nullptr;
        const float* s = c.strength.ptr<float>(y);
        const float* lm = c.localMax.ptr<float>(y);
        int x = xa;
        const int done =
            xa + detail::harrisPeaksRow(s + xa, lm + xa, c.threshold, flags.data(), xb - xa);
        for (; x + 8 <= done; x += 8) {
            uint64_t w;
            std::memcpy(&w, flags.data() + (x - xa), 8);
            if (!w) continue;
            for (int k = x; k < x + 8; k++)
                if (flags[size_t(k - xa)] && (!m || m[k])) f(k, y, s[k]);
        }
        for (; x < xb; x++) {
            if (m && !m[x]) continue;
            if (s[x] == lm[x] && lm[x] > c.threshold) f(x, y, s[x]);
        }
    }
}
}  // namespace

int ipCorner::processHarris(const Mat* image, Array<Point2_<int>, const Point2_<int>&>& corners,
                            const Mat* mask) {
    if (!accepts(image, mask)) return 0;
    if (mask && mask->empty()) mask = nullptr;
    iProcessHarris(image, mask);
    std::vector<float> str;
    forCorners(*this, mask, [&](int x, int y, float s) {
        corners.add(Point2_<int>(x, y));
        str.push_back(s);
    });
    // Descending exchange sort over the first str.size() positions of the
    // array, swapping strengths and array entries together. With distinct
    // strengths the resulting permutation is the unique descending order, so
    // a fast sort gives the same array; with ties the exchange loop decides.
    const int m = int(str.size());
    std::vector<float> sorted(str);
    std::sort(sorted.begin(), sorted.end());
    const bool distinct = std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
    if (distinct) {
        std::vector<int> idx(static_cast<size_t>(m));
        std::iota(idx.begin(), idx.end(), 0);
        std::sort(idx.begin(), idx.end(),
                  [&](int a, int b) { return str[size_t(a)] > str[size_t(b)]; });
        std::vector<Point2_<int>> tmp(static_cast<size_t>(m));
        for (int i = 0; i < m; i++) tmp[size_t(i)] = corners[idx[size_t(i)]];
        for (int i = 0; i < m; i++) corners[i] = tmp[size_t(i)];
    } else {
        for (int i = 0; i < m; i++)
            for (int j = i + 1; j < m; j++)
                if (str[size_t(j)] > str[size_t(i)]) {
                    std::swap(str[size_t(i)], str[size_t(j)]);
                    std::swap(corners[i], corners[j]);
                }
    }
    return 1;
}

int ipCorner::processHarris(const Mat* image, Mat* result, const Mat* mask) {
    if (!accepts(image, mask) || !isGreyOfSize(result, imageSize)) return 0;
    if (mask && mask->empty()) mask = nullptr;
    iProcessHarris(image, mask);
    for (int y = 0; y < imageSize.height; y++)
        std::memset(result->data.ptr[y], 0, size_t(imageSize.width));
    forCorners(*this, mask, [&](int x, int y, float) { result->data.ptr[y][x] = 255; });
    return 1;
}

namespace ip {

void cornerHarris(const Mat& image, const Mat& mask,
                  Array<Point2_<int>, const Point2_<int>&>& corners, int param1, float param2,
                  int window, float threshold) {
    if (image.empty()) return;
    ipCorner c(Size_<int>(image.cols(), image.rows()), param1, param2, window, threshold);
    c.processHarris(&image, corners, mask.empty() ? nullptr : &mask);
}

bool getRectSubPixel(const unsigned char* src, int srcStep, Size_<int> srcSize, float* dst,
                     int dstStepBytes, Size_<int> win, Point2_<float> center) {
    const float ipxf = center.x - float(win.width - 1) * 0.5f;
    const float ipyf = center.y - float(win.height - 1) * 0.5f;
    const long long ipx = tarvoutil::floor(ipxf), ipy = tarvoutil::floor(ipyf);
    const float a = ipxf - float(ipx), b = ipyf - float(ipy);
    const float a11 = (1.f - a) * (1.f - b), a12 = a * (1.f - b), a21 = (1.f - a) * b, a22 = a * b;
    const float b1 = 1.f - b, b2 = b;
    const long long dstep = dstStepBytes / 4;
    auto px = [&](long long r, long long c) { return float(src[r * srcStep + c]); };
    if (ipx >= 0 && ipx + win.width < srcSize.width && ipy >= 0 &&
        ipy + win.height < srcSize.height) {
        for (int i = 0; i < win.height; i++, dst += dstep)
            for (int j = 0; j < win.width; j++) {
                const long long r = ipy + i, c = ipx + j;
                dst[j] = px(r, c) * a11 + px(r, c + 1) * a12 + px(r + 1, c) * a21 +
                         px(r + 1, c + 1) * a22;
            }
        return true;
    }
    // Clipped path: columns before rx and from rw on, and rows before ry or
    // from rh on, replicate the nearest border sample; limits in 64 bits.
    long long col0, rx, rw, row, ry, rh;
    if (ipx >= 0) {
        col0 = ipx;
        rx = 0;
    } else {
        col0 = 0;
        rx = std::min<long long>(-ipx, win.width);
    }
    if (ipx + win.width < srcSize.width) {
        rw = win.width;
    } else {
        rw = srcSize.width - ipx - 1;
        if (rw < 0) {
            col0 += rw;
            rw = 0;
        }
    }
    if (ipy >= 0) {
        row = ipy;
        ry = 0;
    } else {
        row = 0;
        ry = -ipy;
    }
    if (ipy + win.height < srcSize.height) {
        rh = win.height;
    } else {
        rh = srcSize.height - ipy - 1;
        if (rh < 0) {
            row += rh;
            rh = 0;
        }
    }
    col0 -= rx;  // column of output j is col0 + j
    for (int i = 0; i < win.height; i++, dst += dstep) {
        const long long row2 = (i < ry || i >= rh) ? row : row + 1;
        int j = 0;
        for (; j < rx && j < win.width; j++)
            dst[j] = px(row, col0 + rx) * b1 + px(row2, col0 + rx) * b2;
        for (; j < rw; j++) {
            const long long c = col0 + j;
            dst[j] =
                px(row, c) * a11 + px(row, c + 1) * a12 + px(row2, c) * a21 + px(row2, c + 1) * a22;
        }
        for (; j < win.width; j++) dst[j] = px(row, col0 + rw) * b1 + px(row2, col0 + rw) * b2;
        if (i < rh) row = row2;
    }
    return true;
}

void sepConvSmall(float* src, int srcStepBytes, float* dst, int dstStepBytes, Size_<int> srcSize,
                  const float* kx, const float* ky, float* buffer) {
    const int w = srcSize.width, h = srcSize.height;
    const long long ss = srcStepBytes / 4, ds = dstStepBytes / 4;
    if (!kx && !ky) return;
    if (kx && ky) {
        // Columns into the buffer ((h - 2) rows of w), then rows from it.
        for (int y = 0; y < h - 2; y++)
            for (int x = 0; x < w; x++)
                buffer[y * w + x] = ky[0] * src[y * ss + x] + ky[1] * src[(y + 1) * ss + x] +
                                    ky[2] * src[(y + 2) * ss + x];
        for (int y = 0; y < h - 2; y++)
            for (int x = 0; x < w - 2; x++)
                dst[y * ds + x] = kx[0] * buffer[y * w + x] + kx[1] * buffer[y * w + x + 1] +
                                  kx[2] * buffer[y * w + x + 2];
    } else if (kx) {
        for (int y = 0; y < h; y++)
            for (int x = 0; x < w - 2; x++)
                dst[y * ds + x] = kx[0] * src[y * ss + x] + kx[1] * src[y * ss + x + 1] +
                                  kx[2] * src[y * ss + x + 2];
    } else {
        for (int y = 0; y < h - 2; y++)
            for (int x = 0; x < w; x++)
                dst[y * ds + x] = ky[0] * src[y * ss + x] + ky[1] * src[(y + 1) * ss + x] +
                                  ky[2] * src[(y + 2) * ss + x];
    }
}

void findCornerSubPix(const Mat& image, Point2_<float>* corners, int count, Size_<int> win,
                      Size_<int> zeroZone, TermCriteria criteria) {
    if (count <= 0 || !corners || image.empty() || image.type1() != MAT_Tuchar) return;
    if (win.width < 1 || win.height < 1 || win.width > 1024 || win.height > 1024) return;
    // The sampler walks rows by one byte step: a matrix whose rows are not
    // evenly spaced is read from a compact copy.
    const int rows = image.rows(), cols = image.cols();
    Mat compact;
    const Mat* img = &image;
    long long step = cols;
    if (rows > 1) step = image.data.ptr[1] - image.data.ptr[0];
    bool even = step >= cols;
    for (int y = 1; y < rows && even; y++) even = image.data.ptr[y] - image.data.ptr[0] == step * y;
    if (!even) {
        compact.create(rows, cols, MAT_Tuchar);
        if (compact.empty()) return;
        for (int y = 0; y < rows; y++)
            std::memcpy(compact.data.ptr[y], image.data.ptr[y], size_t(cols));
        img = &compact;
        step = rows > 1 ? compact.data.ptr[1] - compact.data.ptr[0] : cols;
    }
    double eps = 0.0;
    int maxIter = 10;
    if (criteria.type == 1) {
        maxIter = criteria.maxCount;
    } else if (criteria.type == 2) {
        eps = criteria.epsilon;
        maxIter = 100;
    } else if (criteria.type == 3) {
        eps = criteria.epsilon;
        maxIter = criteria.maxCount;
    }
    eps = std::max(eps, 0.0);
    eps *= eps;
    maxIter = std::min(std::max(maxIter, 1), 100);

    const int ww = 2 * win.width + 1, wh = 2 * win.height + 1;
    const size_t area = size_t(ww) * wh, big = size_t(ww + 2) * (wh + 2);
    AutoBuffer<float, 1032> buf(unsigned(ww + wh + area + big + 2 * area));
    float* maskX = buf;
    float* maskY = maskX + ww;
    float* mask = maskY + wh;
    float* sub = mask + area;
    float* gx = sub + big;
    float* gy = gx + area;
    for (int i = -win.width; i <= win.width; i++)
        maskX[i + win.width] = float(std::exp(-double(i) * i / (double(win.width) * win.width)));
    for (int i = -win.height; i <= win.height; i++)
        maskY[i + win.height] = float(std::exp(-double(i) * i / (double(win.height) * win.height)));
    for (int y = 0; y < wh; y++)
        for (int x = 0; x < ww; x++) mask[y * ww + x] = maskX[x] * maskY[y];
    if (zeroZone.width >= 0 && zeroZone.height >= 0 && 2 * zeroZone.width + 1 < ww &&
        2 * zeroZone.height + 1 < wh)
        for (int y = win.height - zeroZone.height; y <= win.height + zeroZone.height; y++)
            for (int x = win.width - zeroZone.width; x <= win.width + zeroZone.width; x++)
                mask[y * ww + x] = 0.0f;

    static const float drv[3] = {-1.0f, 0.0f, 1.0f};
    const Size_<int> size(cols, rows);
    for (int k = 0; k < count; k++) {
        const Point2_<float> start = corners[k];
        Point2_<float> cI = start;
        int iter = 0;
        double err;
        do {
            getRectSubPixel(img->data.ptr[0], int(step), size, sub, (ww + 2) * 4,
                            Size_<int>(ww + 2, wh + 2), cI);
            sepConvSmall(sub + ww + 2, (ww + 2) * 4, gx, ww * 4, Size_<int>(ww + 2, wh), drv,
                         nullptr, nullptr);
            sepConvSmall(sub + 1, (ww + 2) * 4, gy, ww * 4, Size_<int>(ww, wh + 2), nullptr, drv,
                         nullptr);
            double a = 0, b = 0, c = 0, bb1 = 0, bb2 = 0;
            for (int i = 0, q = 0; i < wh; i++) {
                const double py = i - win.height;
                for (int j = 0; j < ww; j++, q++) {
                    const double m = mask[q], tgx = gx[q], tgy = gy[q];
                    const double gxx = tgx * tgx * m, gxy = tgx * tgy * m, gyy = tgy * tgy * m;
                    const double pxv = j - win.width;
                    a += gxx;
                    b += gxy;
                    c += gyy;
                    bb1 += gxx * pxv + gxy * py;
                    bb2 += gxy * pxv + gyy * py;
                }
            }
            const double det = a * c - b * b;
            Point2_<float> next = cI;
            if (std::fabs(det) > DBL_EPSILON * DBL_EPSILON) {
                next.x = float(cI.x + (c * bb1 - b * bb2) / det);
                next.y = float(cI.y + (-b * bb1 + a * bb2) / det);
            }
            const double dx = double(next.x) - cI.x, dy = double(next.y) - cI.y;
            err = dx * dx + dy * dy;
            cI = next;
        } while (++iter < maxIter && err > eps);
        if (std::fabs(cI.x - start.x) > float(win.width) ||
            std::fabs(cI.y - start.y) > float(win.height) || std::isnan(cI.x) || std::isnan(cI.y))
            cI = start;
        corners[k] = cI;
    }
}

}  // namespace ip
}  // namespace tarvo
