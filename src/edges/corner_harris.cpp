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
#include "filter/gaussian_internal.h"
#include "filter/morph_filter.h"
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

namespace {

// Smoothing of the gradient products: sigma 5 over a radius of 10, the
// kernel ip::gaussian(m, 5) builds.
constexpr float kSmoothSigma = 5.0f;

// Planes of one Harris run. When only the corners are wanted, gradX, gradY,
// xx, yy and xy are null (the vector path then keeps them per row) and
// localMax may be empty; otherwise all are created at the image size.
struct HarrisPlanes {
    Mat_<short>* gradX;
    Mat_<short>* gradY;
    Mat_<float>* xx;
    Mat_<float>* yy;
    Mat_<float>* xy;
    Mat_<float>* strength;
    Mat_<float>* localMax;
};

// The 3 x 3 gradients of one row of a byte image, as Sobel writes them into
// shorts: frame 0, sums of at most 4 * 255 in magnitude, so nothing wraps.
void sobelRow(const Mat& image, int y, short* gx, short* gy) {
    const int rows = image.rows(), cols = image.cols();
    gx[0] = gy[0] = gx[cols - 1] = gy[cols - 1] = 0;
    if (y == 0 || y == rows - 1) {
        std::fill(gx, gx + cols, short(0));
        std::fill(gy, gy + cols, short(0));
        return;
    }
    const unsigned char* u = image.data.ptr[y - 1];
    const unsigned char* m = image.data.ptr[y];
    const unsigned char* d = image.data.ptr[y + 1];
    for (int x = 1; x < cols - 1; x++) {
        gx[x] = short(2 * (m[x + 1] - m[x - 1]) + u[x + 1] + d[x + 1] - u[x - 1] - d[x - 1]);
        gy[x] = short(2 * (u[x] - d[x]) + u[x - 1] + u[x + 1] - d[x - 1] - d[x + 1]);
    }
}

// Strength of one row from its smoothed products; masked-out pixels get none.
void strengthRow(const float* pxx, const float* pyy, const float* pxy, const unsigned char* m,
                 float* s, int cols) {
    for (int x = detail::harrisStrengthRow(pxx, pyy, pxy, m, kNoStrength, s, cols); x < cols; x++)
        s[x] = m && !m[x] ? kNoStrength
                          : (pxx[x] * pyy[x] - pxy[x] * pxy[x]) / (pxx[x] + pyy[x] + 1e-06f);
}

// Products, both Gaussian passes and the strength, row after row. The row
// pass of each needed source row goes from the products straight into a
// mirrored line and then into a ring of 2h + 1 rows; the column pass reads
// the ring through the same mirrored row indices the separate passes use,
// so every sum sees the same samples in the same order. Needs rows and
// cols of at least 2h + 1, where a row's mirror lies within h of it and the
// ring holds every row one output needs. Without gradient planes the
// gradients come from the image row by row; without product planes the
// smoothed products stay in a scratch row.
class SmoothStream {
public:
    SmoothStream(const HarrisPlanes& P, const Mat* image, const Mat* mask, const float* k, int h,
                 int firstRow)
        : P_(P),
          image_(image),
          mask_(mask),
          k_(k),
          h_(h),
          taps_(2 * h + 1),
          rows_(image->rows()),
          cols_(image->cols()),
          plane_(size_t(taps_) * cols_),
          lineLen_(size_t(cols_) + 2 * h),
          ring_(3 * plane_),
          line_(3 * lineLen_),
          own_(P.xx ? 0 : 3 * size_t(cols_)),
          grad_(P.gradX ? 0 : 2 * size_t(cols_)),
          rp_(size_t(taps_), nullptr),
          next_(std::max(0, firstRow - h)) {}

    // Smoothed products of row y into the planes (or scratch), strength into
    // s. Rows come in increasing order from firstRow.
    void row(int y, float* s) {
        for (const int last = std::min(rows_ - 1, y + h_); next_ <= last; next_++) rowPass(next_);
        float* out[3];
        if (P_.xx) {
            out[0] = P_.xx->ptr<float>(y);
            out[1] = P_.yy->ptr<float>(y);
            out[2] = P_.xy->ptr<float>(y);
        } else {
            for (int c = 0; c < 3; c++) out[c] = own_.data() + size_t(c) * cols_;
        }
        for (int c = 0; c < 3; c++) {
            for (int t = 0; t < taps_; t++)
                rp_[size_t(t)] =
                    ring_.data() + c * plane_ +
                    size_t(detail::gaussMirror((long long)y - h_ + t, rows_) % taps_) * cols_;
            float* d = out[c];
            for (int j = detail::gaussColF32(rp_.data(), cols_, k_, taps_, d); j < cols_; j++) {
                float acc = 0.0f;
                for (int t = 0; t < taps_; t++) acc = acc + rp_[size_t(t)][j] * k_[t];
                d[j] = acc;
            }
        }
        strengthRow(out[0], out[1], out[2], mask_ ? mask_->data.ptr[y] : nullptr, s, cols_);
    }

private:
    void rowPass(int r) {
        float* mid[3];
        for (int c = 0; c < 3; c++) mid[c] = line_.data() + c * lineLen_ + h_;
        const short* gx;
        const short* gy;
        if (P_.gradX) {
            gx = P_.gradX->ptr<short>(r);
            gy = P_.gradY->ptr<short>(r);
        } else {
            sobelRow(*image_, r, grad_.data(), grad_.data() + cols_);
            gx = grad_.data();
            gy = grad_.data() + cols_;
        }
        for (int x = detail::harrisProductsRow(gx, gy, mid[0], mid[1], mid[2], cols_); x < cols_;
             x++) {
            mid[0][x] = float(int(gx[x]) * gx[x]);
            mid[1][x] = float(int(gy[x]) * gy[x]);
            mid[2][x] = float(int(gx[x]) * gy[x]);
        }
        for (int c = 0; c < 3; c++) {
            float* m = mid[c];
            for (int p = 1; p <= h_; p++) {
                m[-p] = m[detail::gaussMirror(-p, cols_)];
                m[cols_ - 1 + p] = m[detail::gaussMirror(cols_ - 1 + p, cols_)];
            }
            const float* l = m - h_;
            float* d = ring_.data() + c * plane_ + size_t(r % taps_) * cols_;
            for (int j = detail::gaussRowToF32(l, cols_, 1, k_, taps_, d); j < cols_; j++) {
                float acc = 0.0f;
                for (int t = 0; t < taps_; t++) acc = acc + l[j + t] * k_[t];
                d[j] = acc;
            }
        }
    }

    const HarrisPlanes& P_;
    const Mat* image_;
    const Mat* mask_;
    const float* k_;
    const int h_, taps_, rows_, cols_;
    const size_t plane_, lineLen_;
    std::vector<float> ring_, line_, own_;
    std::vector<short> grad_;
    std::vector<const float*> rp_;
    int next_;  // next source row to put through the row pass
};

void smoothStrengthStripe(const HarrisPlanes& P, const Mat* image, const Mat* mask, const float* k,
                          int h, int y0, int y1) {
    SmoothStream stream(P, image, mask, k, h, y0);
    for (int y = y0; y < y1; y++) stream.row(y, P.strength->ptr<float>(y));
}

// Whether runHarris takes the one-sweep vector path: the smoothing radius
// is 10, and the ring needs at least 2 * 10 + 1 rows and columns.
bool fusedApplies(int rows, int cols) {
    return checkHardwareSupport(CPU_FLOAT_VECTORS) && rows > 20 && cols > 20;
}

// One Harris run into the planes: gradients, smoothed products, strength and
// the local maximum of every pixel of the domain (window inside the image,
// not masked out). xx, yy and xy must be present when vector code is off.
void runHarris(const HarrisPlanes& P, const Mat* image, const Mat* mask, int window) {
    const int rows = image->rows(), cols = image->cols();
    const long long work = (long long)rows * cols;
    const GaussianFilter g(kSmoothSigma, 2.0f * kSmoothSigma);
    const int h = g.kernelRadius;
    const bool vec = checkHardwareSupport(CPU_FLOAT_VECTORS);
    const bool fused = fusedApplies(rows, cols) && g.kernel && h == 10;
    if (!fused && !P.xx) return;  // no kernel (out of memory): nothing found
    if (P.gradX) {
        Sobel::gradientMagnitudeX(image, P.gradX, false);
        Sobel::gradientMagnitudeY(image, P.gradY, false);
    }
    if (fused) {
        // Few tall stripes: each recomputes 2h rows of row pass at its top
        // and bottom, so stripes stay well above that.
        const int stripes = std::max(1, std::min(rows / (8 * h + 8), 2 * getNumThreads()));
        struct Body : ParallelLoopBody {
            void operator()(const Range& r) const override {
                const long long y0 = (long long)r.start * rows / stripes;
                const long long y1 = (long long)r.end * rows / stripes;
                smoothStrengthStripe(*P, image, mask, k, h, int(y0), int(y1));
            }
            const HarrisPlanes* P;
            const Mat* image;
            const Mat* mask;
            const float* k;
            int h, rows, stripes;
        } body;
        body.P = &P;
        body.image = image;
        body.mask = mask;
        body.k = g.kernel;
        body.h = h;
        body.rows = rows;
        body.stripes = stripes;
        parallel_for_(Range(0, stripes), body, double(work < (1 << 16) ? 1 : stripes));
    } else {
        forRowStripes(rows, work, [&](int y0, int y1) {
            for (int y = y0; y < y1; y++) {
                const short* gx = P.gradX->ptr<short>(y);
                const short* gy = P.gradY->ptr<short>(y);
                float* pxx = P.xx->ptr<float>(y);
                float* pyy = P.yy->ptr<float>(y);
                float* pxy = P.xy->ptr<float>(y);
                for (int x = detail::harrisProductsRow(gx, gy, pxx, pyy, pxy, cols); x < cols;
                     x++) {
                    pxx[x] = float(int(gx[x]) * gx[x]);
                    pyy[x] = float(int(gy[x]) * gy[x]);
                    pxy[x] = float(int(gx[x]) * gy[x]);
                }
            }
        });
        ip::gaussian(*P.xx, kSmoothSigma);
        ip::gaussian(*P.yy, kSmoothSigma);
        ip::gaussian(*P.xy, kSmoothSigma);
        forRowStripes(rows, work, [&](int y0, int y1) {
            for (int y = y0; y < y1; y++)
                strengthRow(P.xx->ptr<float>(y), P.yy->ptr<float>(y), P.xy->ptr<float>(y),
                            mask ? mask->data.ptr[y] : nullptr, P.strength->ptr<float>(y), cols);
        });
    }
    // Local maximum over window rows and columns from (y - half, x - half),
    // for pixels whose window lies inside; an even window reaches half - 1
    // past the pixel.
    const int half = window / 2;
    if (window < 1) return;
    const int ya = half + 1, yb = rows - half, xa = half + 1, xb = cols - half;
    if (ya >= yb || xa >= xb) return;
    const Mat_<float>& strength = *P.strength;
    if (vec) {
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
                float* out = P.localMax->ptr<float>(y);
                for (int x = xa; x < xb; x++)
                    if (!m || m[x]) out[x] = d[x] > 0.0f ? d[x] : 0.0f;
            }
        });
        return;
    }
    for (int y = ya; y < yb; y++) {
        const unsigned char* m = mask ? mask->data.ptr[y] : nullptr;
        float* out = P.localMax->ptr<float>(y);
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
}

}  // namespace

int ipCorner::iProcessHarris(const Mat* image, const Mat* mask) {
    runHarris(HarrisPlanes{&gradX, &gradY, &xx, &yy, &xy, &strength, &localMax}, image, mask,
              window);
    return 1;
}

namespace {
// Calls f(x, y, strength) for every pixel whose local maximum the last run
// computed and that passes the corner test, in row-major order.
// Calls f(x, y, s[x]) for the unmasked pixels x in [xa, xb) of row y where
// s equals the local maximum lm and that exceeds threshold; flags is scratch
// of xb - xa + 8 bytes.
template <typename F>
void rowPeaks(const float* s, const float* lm, const unsigned char* m, int xa, int xb, int y,
              float threshold, unsigned char* flags, F& f) {
    int x = xa;
    const int done = xa + detail::harrisPeaksRow(s + xa, lm + xa, threshold, flags, xb - xa);
    for (; x + 8 <= done; x += 8) {
        uint64_t w;
        std::memcpy(&w, flags + (x - xa), 8);
        if (!w) continue;
        for (int k = x; k < x + 8; k++)
            if (flags[k - xa] && (!m || m[k])) f(k, y, s[k]);
    }
    for (; x < xb; x++) {
        if (m && !m[x]) continue;
        if (s[x] == lm[x] && lm[x] > threshold) f(x, y, s[x]);
    }
}

// Calls f(x, y, strength) for every pixel whose local maximum the last run
// computed and that passes the corner test, in row-major order.
template <typename F>
void forCorners(const Mat_<float>& strength, const Mat_<float>& localMax, int window,
                float threshold, const Mat* mask, F f) {
    const int rows = strength.rows(), cols = strength.cols(), half = window / 2;
    if (window < 1) return;
    const int xa = half + 1, xb = cols - half;
    if (xa >= xb) return;
    std::vector<unsigned char> flags(size_t(xb - xa) + 8, 0);
    for (int y = half + 1; y < rows - half; y++)
        rowPeaks(strength.ptr<float>(y), localMax.ptr<float>(y), mask ? mask->data.ptr[y] : nullptr,
                 xa, xb, y, threshold, flags.data(), f);
}

// The corners of a one-channel byte image (size checked, fusedApplies true)
// without any full-size plane: row stripes in parallel, each streaming its
// strength rows through a ring of window rows, taking the local maximum as
// a column maximum then a row maximum (max is exact, so this is the window
// loop), and testing its rows. f(x, y, strength) sees the corners in
// row-major order.
template <typename F>
void streamCorners(const Mat& image, const Mat* mask, int window, float threshold, F f) {
    const int rows = image.rows(), cols = image.cols(), half = window / 2;
    if (window < 1) return;
    const int ya = half + 1, yb = rows - half, xa = half + 1, xb = cols - half;
    if (ya >= yb || xa >= xb) return;
    const GaussianFilter g(kSmoothSigma, 2.0f * kSmoothSigma);
    if (!g.kernel) return;  // out of memory
    const int h = g.kernelRadius, below = window - 1 - half;
    const int stripes = std::max(1, std::min((yb - ya) / 64, 2 * getNumThreads()));
    struct Hit {
        int x, y;
        float s;
    };
    std::vector<std::vector<Hit>> hits(static_cast<size_t>(stripes));
    const HarrisPlanes none{nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
    auto stripe = [&](int i) {
        const int y0 = ya + int((long long)i * (yb - ya) / stripes);
        const int y1 = ya + int((long long)(i + 1) * (yb - ya) / stripes);
        SmoothStream stream(none, &image, mask, g.kernel, h, y0 - half);
        std::vector<float> ring(size_t(window) * cols), colMax(static_cast<size_t>(cols), 0.0f),
            lm(static_cast<size_t>(cols), 0.0f);
        std::vector<unsigned char> flags(size_t(xb - xa) + 8, 0);
        std::vector<const float*> wp(static_cast<size_t>(window), nullptr);
        auto add = [&](int x, int y, float s) { hits[size_t(i)].push_back(Hit{x, y, s}); };
        for (int r = y0 - half; r < y1 + below; r++) {
            stream.row(r, ring.data() + size_t(r % window) * cols);
            const int y = r - below;  // the output row whose window ends at r
            if (y < y0) continue;
            for (int j = 0; j < window; j++)
                wp[size_t(j)] = ring.data() + size_t((y - half + j) % window) * cols;
            for (int x = ip::detail::vecMorphColumn(wp.data(), colMax.data(), cols * 4, 1, cols,
                                                    window, 1);
                 x < cols; x++) {
                float best = kNoStrength;
                for (int j = 0; j < window; j++) best = std::max(best, wp[size_t(j)][x]);
                colMax[size_t(x)] = best;
            }
            const float* c = colMax.data() + (xa - half);
            float* out = lm.data() + xa;
            const int n = xb - xa;
            for (int x = ip::detail::vecMorphRow(c, out, n, window, 1, 1); x < n; x++) {
                float best = kNoStrength;
                for (int k = 0; k < window; k++) best = std::max(best, c[x + k]);
                out[x] = best;
            }
            for (int x = 0; x < n; x++) out[x] = out[x] > 0.0f ? out[x] : 0.0f;
            rowPeaks(ring.data() + size_t(y % window) * cols, lm.data(),
                     mask ? mask->data.ptr[y] : nullptr, xa, xb, y, threshold, flags.data(), add);
        }
    };
    struct Body : ParallelLoopBody {
        explicit Body(const decltype(stripe)& s) : fn(s) {}
        void operator()(const Range& r) const override {
            for (int i = r.start; i < r.end; i++) fn(i);
        }
        const decltype(stripe)& fn;
    } body(stripe);
    parallel_for_(Range(0, stripes), body, double(stripes));
    for (const auto& v : hits)
        for (const Hit& c : v) f(c.x, c.y, c.s);
}

// Order in which a descending exchange sort (for i, for j > i: swap when
// s[j] > s[i]) leaves positions 0..m-1: result[i] is the original position
// that ends at i. Values end in descending order; only the order inside a
// group of equal values v needs care. Looking at the elements >= v alone
// changes nothing for that group, and there a v moves only when it heads
// the rest: it then jumps to the first larger element's place, behind the
// v's before it. So, walking the group's members in array order, each is
// appended to a queue, and every larger element met before the next member
// rotates the queue by one; the queue's final order is the group's order.
std::vector<int> exchangeSortOrder(const std::vector<float>& s) {
    const int m = int(s.size());
    std::vector<int> order(size_t(m), 0), out;
    out.reserve(size_t(m));
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](int a, int b) {
        return s[size_t(a)] > s[size_t(b)] || (!(s[size_t(b)] > s[size_t(a)]) && a < b);
    });
    // Fenwick tree over positions, holding the elements larger than the group.
    std::vector<int> fen(size_t(m) + 1, 0);
    auto prefix = [&](int n) {  // count among positions [0, n)
        int c = 0;
        for (; n > 0; n &= n - 1) c += fen[size_t(n)];
        return c;
    };
    std::vector<int> queue;
    for (int g0 = 0; g0 < m;) {
        int g1 = g0 + 1;
        while (g1 < m && !(s[size_t(order[size_t(g0)])] > s[size_t(order[size_t(g1)])])) g1++;
        queue.clear();
        for (int t = g0; t < g1; t++) {
            const int k = order[size_t(t)], end = t + 1 < g1 ? order[size_t(t) + 1] : m;
            queue.push_back(k);
            const size_t r = size_t(prefix(end) - prefix(k + 1)) % queue.size();
            std::rotate(queue.begin(), queue.begin() + std::ptrdiff_t(r), queue.end());
        }
        out.insert(out.end(), queue.begin(), queue.end());
        for (int t = g0; t < g1; t++)
            for (int n = order[size_t(t)] + 1; n <= m; n += n & -n) fen[size_t(n)]++;
        g0 = g1;
    }
    return out;
}

// Appends the corners of a finished run, strongest first.
// Orders the first str.size() array entries as the exchange sort on their
// strengths does, swapping strengths and array entries together.
void sortNewCorners(const std::vector<float>& str,
                    Array<Point2_<int>, const Point2_<int>&>& corners) {
    const std::vector<int> idx = exchangeSortOrder(str);
    std::vector<Point2_<int>> tmp(idx.size());
    for (size_t i = 0; i < idx.size(); i++) tmp[i] = corners[idx[i]];
    for (size_t i = 0; i < idx.size(); i++) corners[int(i)] = tmp[i];
}

void appendCorners(const Mat_<float>& strength, const Mat_<float>& localMax, int window,
                   float threshold, const Mat* mask,
                   Array<Point2_<int>, const Point2_<int>&>& corners) {
    std::vector<float> str;
    forCorners(strength, localMax, window, threshold, mask, [&](int x, int y, float s) {
        corners.add(Point2_<int>(x, y));
        str.push_back(s);
    });
    sortNewCorners(str, corners);
}
}  // namespace

int ipCorner::processHarris(const Mat* image, Array<Point2_<int>, const Point2_<int>&>& corners,
                            const Mat* mask) {
    if (!accepts(image, mask)) return 0;
    if (mask && mask->empty()) mask = nullptr;
    iProcessHarris(image, mask);
    appendCorners(strength, localMax, window, threshold, mask, corners);
    return 1;
}

int ipCorner::processHarris(const Mat* image, Mat* result, const Mat* mask) {
    if (!accepts(image, mask) || !isGreyOfSize(result, imageSize)) return 0;
    if (mask && mask->empty()) mask = nullptr;
    iProcessHarris(image, mask);
    for (int y = 0; y < imageSize.height; y++)
        std::memset(result->data.ptr[y], 0, size_t(imageSize.width));
    forCorners(strength, localMax, window, threshold, mask,
               [&](int x, int y, float) { result->data.ptr[y][x] = 255; });
    return 1;
}

namespace ip {

void cornerHarris(const Mat& image, const Mat& mask,
                  Array<Point2_<int>, const Point2_<int>&>& corners, int param1, float param2,
                  int window, float threshold) {
    if (image.empty()) return;
    const Mat* m = mask.empty() ? nullptr : &mask;
    if (!fusedApplies(image.rows(), image.cols())) {
        ipCorner c(Size_<int>(image.cols(), image.rows()), param1, param2, window, threshold);
        c.processHarris(&image, corners, m);
        return;
    }
    // The input checks are those of ipCorner::processHarris.
    const int rows = image.rows(), cols = image.cols();
    if (image.type1() != MAT_Tuchar ||
        (m && (m->type1() != MAT_Tuchar || m->rows() != rows || m->cols() != cols)))
        return;
    std::vector<float> str;
    streamCorners(image, m, window, threshold, [&](int x, int y, float s) {
        corners.add(Point2_<int>(x, y));
        str.push_back(s);
    });
    sortNewCorners(str, corners);
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
    if (zeroZone.width >= 0 && zeroZone.height >= 0 && 2LL * zeroZone.width + 1 < ww &&
        2LL * zeroZone.height + 1 < wh)
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
