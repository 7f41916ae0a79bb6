// The transformation operators: crop, expand, resample, rotate, skew and
// thumbnail over uchar, short, int, float and double, and their free functions.
// Every operator builds its result in a temporary that replaces the target at
// the end, and checks everything it can refuse before it touches the target.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "detail/aliasing.h"
#include "geometry/rows_parallel.h"
#include "geometry/transform_sampler.h"
#include "geometry/warp_internal.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

using detail::AxisTaps;
using detail::SampleSource;

const double kHalfPi = 1.57079632679489661923;  // acos(0)

// A result of rows x cols x cn elements that Mat can hold.
bool validSize(long long rows, long long cols, int cn) {
    // rows * cols fits in 64 bits; multiplying by cn as well might not.
    return rows >= 1 && cols >= 1 && rows <= 0x7FFFFFFF && cols <= 0x7FFFFFFF && cn >= 1 &&
           rows * cols <= MAT_MAX_ELEMENTS / cn;
}

// The temporary replaces *dst, or src when dst is null.
void finish(Mat& src, Mat* dst, Mat& tmp) {
    if (dst)
        *dst = std::move(tmp);
    else
        src = std::move(tmp);
}

// A destination that holds pixels must have src's depth and size.
bool acceptsDestination(const Mat& src, const Mat* dst) {
    return !dst || dst == &src || dst->empty() || isSameShape(src, *dst);
}

// floor of v as a 64-bit integer, clamped to +-2^40 (NaN gives 0).
long long floorLL(double v) {
    if (!(v == v)) return 0;
    const double lim = 1099511627776.0;
    v = v > lim ? lim : v < -lim ? -lim : v;
    return (long long)std::floor(v);
}

bool plainCrop(const Mat& src, const Rect_<int>& r, Mat& out) {
    if (src.empty() || r.width < 1 || r.height < 1 || r.x < 0 || r.y < 0) return false;
    if ((long long)r.x + r.width > src.cols() || (long long)r.y + r.height > src.rows())
        return false;
    src.subMat(r, out);
    return !out.empty();
}

// Copies whole pixels of a quarter turn in 32 x 32 blocks, so reads and
// writes both stay within a few cache lines.
template <int N>
struct Px {
    unsigned char b[N];
};

template <typename P>
void quarterTurn(const Mat& src, Mat& dst, int type) {
    const int rows = src.rows(), cols = src.cols();
    const int B = 32;
    // Pixels of 3 and 4 bytes turn in groups of 4 x 4 in vector registers.
    const bool vec = (sizeof(P) == 3 || sizeof(P) == 4) && checkHardwareSupport(CPU_INT_VECTORS);
    detail::forRows((rows + B - 1) / B, double(rows) * cols, [&](int b0, int b1) {
        for (int by = b0 * B; by < std::min(rows, b1 * B); by += B) {
            const int ye = std::min(rows, by + B);
            for (int bx = 0; bx < cols; bx += B) {
                const int xe = std::min(cols, bx + B);
                if (vec) {
                    detail::quarterTurnBlock(src.data.ptr, dst.data.ptr, int(sizeof(P)), type, rows,
                                             cols, by, ye, bx, xe);
                    continue;
                }
                if (type == Rotate180) {
                    for (int y = by; y < ye; y++) {
                        const P* s = src.ptr<P>(y);
                        P* d = dst.ptr<P>(rows - 1 - y);
                        for (int x = bx; x < xe; x++) d[cols - 1 - x] = s[x];
                    }
                    continue;
                }
                // Each destination row of the block is written contiguously from
                // the block's source rows, whose pointers are taken once.
                const P* s[B];
                const int n = ye - by;
                for (int y = 0; y < n; y++) s[y] = src.ptr<P>(by + y);
                for (int x = bx; x < xe; x++) {
                    if (type == RotateLeft90) {
                        P* d = dst.ptr<P>(cols - 1 - x) + by;
                        for (int y = 0; y < n; y++) d[y] = s[y][x];
                    } else {
                        P* d = dst.ptr<P>(x) + (rows - 1 - by);
                        for (int y = 0; y < n; y++) d[-y] = s[y][x];
                    }
                }
            }
        }
    });
}

void quarterTurnAny(const Mat& src, Mat& dst, int type) {
    switch (src.elemSize()) {
        case 1:
            quarterTurn<Px<1>>(src, dst, type);
            break;
        case 2:
            quarterTurn<Px<2>>(src, dst, type);
            break;
        case 3:
            quarterTurn<Px<3>>(src, dst, type);
            break;
        case 4:
            quarterTurn<Px<4>>(src, dst, type);
            break;
        case 6:
            quarterTurn<Px<6>>(src, dst, type);
            break;
        case 8:
            quarterTurn<Px<8>>(src, dst, type);
            break;
        case 12:
            quarterTurn<Px<12>>(src, dst, type);
            break;
        case 16:
            quarterTurn<Px<16>>(src, dst, type);
            break;
        case 24:
            quarterTurn<Px<24>>(src, dst, type);
            break;
        case 32:
            quarterTurn<Px<32>>(src, dst, type);
            break;
        default: {
            const int es = src.elemSize(), rows = src.rows(), cols = src.cols();
            for (int y = 0; y < rows; y++)
                for (int x = 0; x < cols; x++) {
                    unsigned char* d = type == RotateLeft90
                                           ? dst.data.ptr[cols - 1 - x] + size_t(y) * es
                                       : type == RotateRight90
                                           ? dst.data.ptr[x] + size_t(rows - 1 - y) * es
                                           : dst.data.ptr[rows - 1 - y] + size_t(cols - 1 - x) * es;
                    std::memcpy(d, src.data.ptr[y] + size_t(x) * es, size_t(es));
                }
        }
    }
}

// Turn by an angle onto the box of the turned corners; reads outside give 0.
template <typename T>
bool rotateBox(const Mat& src, float angle, Mat& out) {
    if (src.empty()) return false;
    const float a = float(double(angle) * kHalfPi / -90.0);
    const float sa = std::sin(a), ca = std::cos(a);
    const int cx = src.cols() / 2, cy = src.rows() / 2;
    const float px[4] = {float(-cx), float(cx), float(-cx), float(cx)};
    const float py[4] = {float(cy), float(cy), float(-cy), float(-cy)};
    float left = 0, right = 0, top = 0, bottom = 0;
    for (int i = 0; i < 4; i++) {
        const float xr = px[i] * ca - py[i] * sa, yr = px[i] * sa + py[i] * ca;
        if (i == 0 || xr < left) left = xr;
        if (i == 0 || xr > right) right = xr;
        if (i == 0 || yr > top) top = yr;
        if (i == 0 || yr < bottom) bottom = yr;
    }
    const long long W = floorLL(double(right) - double(left));
    const long long H = floorLL(double(top) - double(bottom));
    const int cn = src.channels();
    if (!validSize(H, W, cn)) return false;
    Mat tmp(int(H), int(W), src.type1());
    if (tmp.empty()) return false;
    const int cols = src.cols(), rows = src.rows();
    detail::forRows(int(H), double(H) * double(W), [&](int r0, int r1) {
        for (int row = r0; row < r1; row++) {
            T* d = tmp.ptr<T>(row);
            const float Y = float(truncInt(top - float(row)));
            for (int col = 0; col < int(W); col++, d += cn) {
                const float X = float(truncInt(left + float(col)));
                const long long sr = cy - floorLL(X * sa + Y * ca);
                const long long sc = cx + floorLL(X * ca - Y * sa);
                if (sr >= 0 && sr < rows && sc >= 0 && sc < cols) {
                    const T* s = src.ptr<T>(int(sr)) + size_t(sc) * cn;
                    for (int k = 0; k < cn; k++) d[k] = s[k];
                } else {
                    for (int k = 0; k < cn; k++) d[k] = T(0);
                }
            }
        }
    });
    out = std::move(tmp);
    return true;
}

// Turn by an angle onto a canvas grown to the turned corners; nearest pixel,
// clamped to the image.
template <typename T>
bool rotateCanvas(const Mat& src, float angle, Mat& out) {
    if (src.empty()) return false;
    const double a = double(angle) * kHalfPi / 90.0;
    const double c = std::cos(a), s = std::sin(a);
    const double w = src.cols(), h = src.rows();
    const double cxs[3] = {w, 0.0, w - 1.0}, cys[3] = {0.0, h, h};
    long long newX = 0, newY = 0, maxX = 0, maxY = 0;
    for (int i = 0; i < 3; i++) {
        const long long xr = roundInt(cxs[i] * c - cys[i] * s);
        const long long yr = roundInt(cxs[i] * s + cys[i] * c);
        newX = std::min(newX, xr);
        newY = std::min(newY, yr);
        maxX = std::max(maxX, xr);
        maxY = std::max(maxY, yr);
    }
    maxX += 2;
    maxY += 2;
    const int cn = src.channels();
    if (!validSize(maxY - newY, maxX - newX, cn)) return false;
    const int R = int(maxY - newY), C = int(maxX - newX);
    Mat tmp(R, C, src.type1());
    if (tmp.empty()) return false;
    const int cols = src.cols(), rows = src.rows();
    detail::forRows(R, double(R) * C, [&](int r0, int r1) {
        for (int y = r0; y < r1; y++) {
            T* d = tmp.ptr<T>(y);
            const double yy = double(y + newY);
            for (int x = 0; x < C; x++, d += cn) {
                const double xx = double(x + newX);
                int sx = roundInt(yy * s + xx * c), sy = roundInt(yy * c - xx * s);
                sx = sx < 0 ? 0 : sx >= cols ? cols - 1 : sx;
                sy = sy < 0 ? 0 : sy >= rows ? rows - 1 : sy;
                const T* p = src.ptr<T>(sy) + size_t(sx) * cn;
                for (int k = 0; k < cn; k++) d[k] = p[k];
            }
        }
    });
    out = std::move(tmp);
    return true;
}

// Crop of a turned rectangle, read without interpolation.
template <typename T>
bool cropTurned(const Mat& src, const Rect_<int>& r, float angle, Mat& out) {
    if (!std::isfinite(angle)) return false;
    const double a = double(angle) * kHalfPi / 90.0;
    if (std::fabs(a) < 0.0002) return plainCrop(src, r, out);
    if (src.empty() || r.width < 1 || r.height < 1) return false;
    const int hw = r.width / 2, hh = r.height / 2;
    const long long cx = (long long)r.x + hw, cy = (long long)r.y + hh;
    const double c = std::cos(a), s = std::sin(a);
    auto sx = [&](double dx, double dy) { return cx + floorLL(dx * c - dy * s); };
    auto sy = [&](double dx, double dy) { return cy - floorLL(dx * s + dy * c); };
    const double cdx[4] = {-double(hw), double(hw), -double(hw), double(hw)};
    const double cdy[4] = {double(hh), double(hh), -double(hh), -double(hh)};
    for (int i = 0; i < 4; i++) {
        const long long x = sx(cdx[i], cdy[i]), y = sy(cdx[i], cdy[i]);
        if (x < 0 || y < 0 || x >= src.cols() || y >= src.rows()) return false;
    }
    const int cn = src.channels();
    if (!validSize(r.height, r.width, cn)) return false;
    Mat tmp(r.height, r.width, src.type1());
    if (tmp.empty()) return false;
    for (int j = 0; j < r.height; j++) {
        T* d = tmp.ptr<T>(j);
        const double dy = double(hh) - j;
        for (int i = 0; i < r.width; i++, d += cn) {
            const double dx = double(i) - hw;
            const long long x = sx(dx, dy), y = sy(dx, dy);
            if (x >= 0 && y >= 0 && x < src.cols() && y < src.rows()) {
                const T* p = src.ptr<T>(int(y)) + size_t(x) * cn;
                for (int k = 0; k < cn; k++) d[k] = p[k];
            } else {
                for (int k = 0; k < cn; k++) d[k] = T(0);
            }
        }
    }
    if (angle > 45.0f && angle < 135.0f) {
        Mat turned;
        if (!rotateBox<T>(tmp, 90.0f, turned)) return false;
        tmp = std::move(turned);
    }
    out = std::move(tmp);
    return true;
}

// Resample mode 1 (simple): nearest, B-spline or bilinear on running sums.
template <typename T>
void resampleSimple(const Mat& src, Mat& tmp, int sampler) {
    const int cols = src.cols(), rows = src.rows(), W = tmp.cols(), H = tmp.rows();
    const int cn = src.channels();
    const float scaleX = float(cols) / float(W), scaleY = float(rows) / float(H);
    if (sampler == 1) {
        // Column and row positions are running float sums of the scale.
        std::vector<int> xs(static_cast<size_t>(W)), ys(static_cast<size_t>(H));
        float p = 0.0f;
        for (int x = 0; x < W; x++, p += scaleX) xs[size_t(x)] = std::min(truncInt(p), cols - 1);
        p = 0.0f;
        for (int y = 0; y < H; y++, p += scaleY) {
            const float q = p > float(rows - 1) ? float(rows - 1) : p;
            ys[size_t(y)] = std::max(0, std::min(truncInt(q), rows - 1));
        }
        for (int x = 0; x < W; x++) xs[size_t(x)] = std::max(0, xs[size_t(x)]);
        detail::forRows(H, double(W) * H, [&](int r0, int r1) {
            for (int y = r0; y < r1; y++) {
                const T* s = src.ptr<T>(ys[size_t(y)]);
                T* d = tmp.ptr<T>(y);
                for (int x = 0; x < W; x++, d += cn) {
                    const T* q = s + size_t(xs[size_t(x)]) * cn;
                    for (int k = 0; k < cn; k++) d[k] = q[k];
                }
            }
        });
        return;
    }
    if (sampler == 2) {
        // B-spline: weights of (fx - n) along x and (m - fy) along y, n, m = -1..2.
        std::vector<int> xi(size_t(W) * 4), yi(size_t(H) * 4);
        std::vector<float> wx(size_t(W) * 4), wy(size_t(H) * 4);
        for (int x = 0; x < W; x++) {
            const float c = float(x) * scaleX - 0.5f, fl = std::floor(c);
            const int i0 = truncInt(fl);
            const float f = c - fl;
            for (int n = -1; n <= 2; n++) {
                xi[size_t(x) * 4 + size_t(n + 1)] = std::max(0, std::min(i0 + n, cols - 1));
                wx[size_t(x) * 4 + size_t(n + 1)] =
                    detail::transformKernel(InterpBSpline, f - float(n));
            }
        }
        for (int y = 0; y < H; y++) {
            const float c = float(y) * scaleY - 0.5f, fl = std::floor(c);
            const int i0 = truncInt(fl);
            const float f = c - fl;
            for (int m = -1; m <= 2; m++) {
                yi[size_t(y) * 4 + size_t(m + 1)] = std::max(0, std::min(i0 + m, rows - 1));
                wy[size_t(y) * 4 + size_t(m + 1)] =
                    detail::transformKernel(InterpBSpline, float(m) - f);
            }
        }
        detail::forRows(H, double(W) * H, [&](int r0, int r1) {
            float acc[64];
            for (int y = r0; y < r1; y++) {
                T* d = tmp.ptr<T>(y);
                for (int x = 0; x < W; x++, d += cn) {
                    for (int k = 0; k < cn; k++) acc[k] = 0.0f;
                    for (int m = 0; m < 4; m++) {
                        const T* s = src.ptr<T>(yi[size_t(y) * 4 + size_t(m)]);
                        const float wym = wy[size_t(y) * 4 + size_t(m)];
                        for (int n = 0; n < 4; n++) {
                            const float w = wym * wx[size_t(x) * 4 + size_t(n)];
                            const T* p = s + size_t(xi[size_t(x) * 4 + size_t(n)]) * cn;
                            for (int k = 0; k < cn; k++) acc[k] += w * float(p[k]);
                        }
                    }
                    for (int k = 0; k < cn; k++) d[k] = saturate_trunc<T>(acc[k]);
                }
            }
        });
        return;
    }
    // Bilinear on running float positions; the next pixel is clamped to the edge.
    std::vector<int> x0(static_cast<size_t>(W)), x1(static_cast<size_t>(W)),
        y0(static_cast<size_t>(H)), y1(static_cast<size_t>(H));
    std::vector<float> fxs(static_cast<size_t>(W)), fys(static_cast<size_t>(H));
    float p = 0.0f;
    for (int x = 0; x < W; x++, p += scaleX) {
        const int i = std::max(0, std::min(truncInt(p), cols - 1));
        x0[size_t(x)] = i;
        x1[size_t(x)] = std::min(i + 1, cols - 1);
        fxs[size_t(x)] = p - float(i);
    }
    p = 0.0f;
    for (int y = 0; y < H; y++, p += scaleY) {
        const int i = std::max(0, std::min(truncInt(p), rows - 1));
        y0[size_t(y)] = i;
        y1[size_t(y)] = std::min(i + 1, rows - 1);
        fys[size_t(y)] = p - float(i);
    }
    detail::forRows(H, double(W) * H, [&](int r0, int r1) {
        for (int y = r0; y < r1; y++) {
            const T* s0 = src.ptr<T>(y0[size_t(y)]);
            const T* s1 = src.ptr<T>(y1[size_t(y)]);
            const float fy = fys[size_t(y)];
            T* d = tmp.ptr<T>(y);
            for (int x = 0; x < W; x++, d += cn) {
                const float fx = fxs[size_t(x)];
                const size_t a = size_t(x0[size_t(x)]) * cn, b = size_t(x1[size_t(x)]) * cn;
                for (int k = 0; k < cn; k++) {
                    // Interpolated along x, then along y: exact on flat areas.
                    const float a0 = float(s0[a + k]), a1 = float(s0[b + k]);
                    const float b0 = float(s1[a + k]), b1 = float(s1[b + k]);
                    const float top = a0 + (a1 - a0) * fx, bottom = b0 + (b1 - b0) * fx;
                    d[k] = saturate_trunc<T>(top + (bottom - top) * fy);
                }
            }
        }
    });
}

// Kernel resampling with shared horizontal sums. The row sum of source row r
// for output column x (sum over the taps of wx[i] times the overflow read at
// (x0 + i, r)) does not depend on the output row, so each stripe keeps a ring
// of N such rows and computes every source row once; the vertical pass then
// adds wy[j] times the row sums in order. The operations are those of the
// per-pixel sampler, so the bytes are the same. Pixels whose support lies
// wholly outside take the per-pixel path.
//
// The vector passes do the same operations with one output per lane: columns
// whose taps lie inside gather from the source row converted to float, with
// the first tap and the weights of every column laid out once per call.
// Each stripe refills its ring at its start, N - 1 source rows that the
// serial walk computes only once, so stripes are few: two per thread, and
// at least max(32, 8 N) output rows each. Stripes only split the rows; the
// bytes do not depend on them.
template <typename T, int N>
void kernelRows(const SampleSource<T>& s, const std::vector<AxisTaps>& ax,
                const std::vector<AxisTaps>& ay, Mat& tmp) {
    const int W = tmp.cols(), H = tmp.rows(), cn = s.cn;
    const size_t rowLen = size_t(W) * size_t(cn), srcLen = size_t(s.cols) * size_t(cn);
    const bool vec = cn <= 4 && checkHardwareSupport(CPU_INT_VECTORS);
    std::vector<int32_t> first(vec ? size_t(W) : 0);
    std::vector<float> wcol(vec ? size_t(W) * N : 0);
    std::vector<int> outsideCols;
    for (int x = 0; x < W; x++) {
        const AxisTaps& a = ax[size_t(x)];
        if (a.outside) outsideCols.push_back(x);
        if (!vec) continue;
        first[size_t(x)] = a.inside ? a.i0 * cn : 0;
        for (int i = 0; i < N; i++) wcol[size_t(i) * W + size_t(x)] = a.w[i];
    }
    const double stripes = std::min(
        {double(W) * H * N / 65536.0, double(H / std::max(32, 8 * N)), 2.0 * getNumThreads()});
    detail::forRows(H, stripes * 65536.0, [&](int r0, int r1) {
        std::vector<float> ring(rowLen * N), srcRow(vec ? srcLen : 0);
        long long tag[N];
        for (int j = 0; j < N; j++) tag[j] = LLONG_MIN;
        auto fillScalar = [&](int r, bool rowIn, int x, float* h) {
            const AxisTaps& a = ax[size_t(x)];
            float* o = h + size_t(x) * cn;
            for (int k = 0; k < cn; k++) o[k] = 0.0f;
            if (rowIn && a.inside) {
                const T* p = s.src->template ptr<T>(r) + size_t(a.i0) * size_t(cn);
                for (int i = 0; i < N; i++, p += cn)
                    for (int k = 0; k < cn; k++) o[k] += a.w[i] * float(p[k]);
            } else {
                for (int i = 0; i < N; i++) {
                    const T* p = s.read(a.i0 + i, r);
                    for (int k = 0; k < cn; k++) o[k] += a.w[i] * float(p[k]);
                }
            }
        };
        auto fill = [&](int r, float* h) {
            const bool rowIn = r >= 0 && r < s.rows;
            // A row above or below the image under wrap, clamp or mirror reads
            // one source row at every column whose taps lie inside, so those
            // columns take the vector pass on that row (the same sums).
            const int from = rowIn             ? r
                             : s.movesInside() ? detail::moveIndex(r, s.rows, s.overflow)
                                               : -1;
            if (!vec || from < 0) {
                for (int x = 0; x < W; x++) fillScalar(r, rowIn, x, h);
                return;
            }
            const T* p = s.src->template ptr<T>(from);
            for (size_t i = 0; i < srcLen; i++) srcRow[i] = float(p[i]);
            for (int x = 0; x < W;) {
                if (!ax[size_t(x)].inside) {
                    fillScalar(r, rowIn, x++, h);
                    continue;
                }
                int e = x;
                while (e < W && ax[size_t(e)].inside) e++;
                detail::resampleHorizontal(srcRow.data(), first.data() + x, wcol.data() + x, W, N,
                                           cn, h + size_t(x) * cn, e - x);
                x = e;
            }
        };
        std::vector<float> acc(rowLen);
        for (int y = r0; y < r1; y++) {
            const AxisTaps& b = ay[size_t(y)];
            const float* rows[N];
            for (int j = 0; j < N; j++) {
                const int r = b.i0 + j;
                const int slot = int(((long long)r % N + N) % N);
                if (tag[slot] != r) {
                    fill(r, ring.data() + rowLen * size_t(slot));
                    tag[slot] = r;
                }
                rows[j] = ring.data() + rowLen * size_t(slot);
            }
            T* d = tmp.ptr<T>(y);
            if (b.outside) {
                for (int x = 0; x < W; x++, d += cn) detail::samplePrepared(s, ax[size_t(x)], b, d);
                continue;
            }
            if (std::is_same<T, unsigned char>::value && vec) {
                detail::resampleVertical8u(rows, b.w, N, reinterpret_cast<uint8_t*>(d),
                                           int(rowLen));
            } else {
                if (vec) {
                    detail::resampleVertical(rows, b.w, N, acc.data(), int(rowLen));
                } else {
                    for (size_t i = 0; i < rowLen; i++) acc[i] = 0.0f;
                    for (int j = 0; j < N; j++) {
                        const float wy = b.w[j];
                        const float* h = rows[j];
                        for (size_t i = 0; i < rowLen; i++) acc[i] += wy * h[i];
                    }
                }
                for (size_t i = 0; i < rowLen; i++) d[i] = detail::clampKernelSum<T>(acc[i]);
            }
            for (int x : outsideCols)
                detail::samplePrepared(s, ax[size_t(x)], b, d + size_t(x) * cn);
        }
    });
}

// Resample mode 2 (full): plain sampling at output centres, or area sampling
// when shrinking.
template <typename T>
void resampleFull(const Mat& src, Mat& tmp, int method, int overflow, bool disableAveraging) {
    const int W = tmp.cols(), H = tmp.rows(), cn = src.channels();
    const float scaleX = float(src.cols()) / float(W), scaleY = float(src.rows()) / float(H);
    SampleSource<T> s(src, method, overflow, nullptr);
    auto centreX = [&](int x) { return float(x) * scaleX + scaleX / 2.0f - 0.5f; };
    auto centreY = [&](int y) { return float(y) * scaleY + scaleY / 2.0f - 0.5f; };
    if ((scaleX <= 1.0f && scaleY <= 1.0f) || disableAveraging) {
        if (method == InterpNearest) {
            detail::forRows(H, double(W) * H, [&](int r0, int r1) {
                for (int y = r0; y < r1; y++) {
                    T* d = tmp.ptr<T>(y);
                    for (int x = 0; x < W; x++, d += cn)
                        detail::sampleNearest(s, centreX(x), centreY(y), d);
                }
            });
            return;
        }
        // Weights and taps of each output column and row, computed once.
        std::vector<AxisTaps> ax(static_cast<size_t>(W)), ay(static_cast<size_t>(H));
        for (int x = 0; x < W; x++)
            detail::prepareAxis(ax[size_t(x)], centreX(x), src.cols(), method, false);
        for (int y = 0; y < H; y++)
            detail::prepareAxis(ay[size_t(y)], centreY(y), src.rows(), method, true);
        if (ax[0].n == 2) {
            detail::forRows(H, double(W) * H * 2, [&](int r0, int r1) {
                for (int y = r0; y < r1; y++) {
                    T* d = tmp.ptr<T>(y);
                    for (int x = 0; x < W; x++, d += cn)
                        detail::samplePrepared(s, ax[size_t(x)], ay[size_t(y)], d);
                }
            });
            return;
        }
        if (ax[0].n == 4)
            kernelRows<T, 4>(s, ax, ay, tmp);
        else
            kernelRows<T, 12>(s, ax, ay, tmp);
        return;
    }
    detail::forRows(H, double(src.cols()) * src.rows(), [&](int r0, int r1) {
        for (int y = r0; y < r1; y++) {
            T* d = tmp.ptr<T>(y);
            for (int x = 0; x < W; x++, d += cn)
                detail::sampleArea(s, centreX(x), centreY(y), scaleX, scaleY, d);
        }
    });
}

}  // namespace

// ---------------------------------------------------------------- operators

template <typename T>
ipTransformation<T>::ipTransformation() {
    for (int k = 0; k < 4; k++) m_background[k] = m_transparent[k] = T(0);
}

template <typename T>
ipTransformation<T>::~ipTransformation() {}

template <typename T>
bool ipCrop<T>::process(Mat& src, Mat* dst) {
    Mat tmp;
    const bool ok = mode == 2 ? cropTurned<T>(src, rect, angle, tmp) : plainCrop(src, rect, tmp);
    if (!ok) return false;
    finish(src, dst, tmp);
    return true;
}

template <typename T>
bool ipExpand<T>::process(Mat& src, Mat* dst) {
    if (src.empty() || left < 0 || top < 0 || right < 0 || bottom < 0) return false;
    if (!acceptsDestination(src, dst)) return false;
    const long long R = (long long)src.rows() + top + bottom;
    const long long C = (long long)src.cols() + left + right;
    if (!validSize(R, C, src.channels())) return false;
    Mat tmp(int(R), int(C), src.type1(), Point4_<double>(fill[0], fill[1], fill[2], 0.0));
    if (tmp.empty()) return false;
    tmp.drawMat(src, Point2_<int>(left, top), 1.0f);
    finish(src, dst, tmp);
    return true;
}

template <typename T>
bool ipResample<T>::process(Mat& src, Mat* dst) {
    if (src.empty() || newWidth < 1 || newHeight < 1) return false;
    if (!validSize(newHeight, newWidth, src.channels())) return false;
    Mat tmp;
    if (newWidth == src.cols() && newHeight == src.rows()) {
        tmp = src;
    } else {
        tmp.create(newHeight, newWidth, src.type1());
        if (tmp.empty()) return false;
        if (mode == 2)
            resampleFull<T>(src, tmp, interpolation, overflow, disableAveraging);
        else
            resampleSimple<T>(src, tmp, sampler);
    }
    finish(src, dst, tmp);
    return true;
}

template <typename T>
bool ipRotate<T>::process(Mat& src, Mat* dst) {
    if (src.empty()) return false;
    Mat tmp;
    if (mode == 0) {
        if (rotateType < RotateLeft90 || rotateType > Rotate180) return true;
        const int R = rotateType == Rotate180 ? src.rows() : src.cols();
        const int C = rotateType == Rotate180 ? src.cols() : src.rows();
        // A destination that owns pixels of the result's shape, apart from the
        // source's, is written in place: a quarter turn cannot fail past this
        // point, and fresh pages would cost more than the turn itself.
        if (dst && dst != &src && dst->m_mode == 0 && !dst->isRefered() && !dst->empty() &&
            dst->rows() == R && dst->cols() == C && dst->type1() == src.type1() &&
            !detail::sharesMemory(src, *dst)) {
            quarterTurnAny(src, *dst, rotateType);
            return true;
        }
        tmp.create(R, C, src.type1());
        if (tmp.empty()) return false;
        quarterTurnAny(src, tmp, rotateType);
    } else if (mode == 1) {
        if (!rotateCanvas<T>(src, angle, tmp)) return false;
    } else {
        if (!rotateBox<T>(src, angle, tmp)) return false;
    }
    finish(src, dst, tmp);
    return true;
}

template <typename T>
bool ipSkew<T>::process(Mat& src, Mat* dst) {
    if (src.empty() || !acceptsDestination(src, dst)) return false;
    Mat tmp(src);
    if (tmp.empty()) return false;
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    const float sX = slopeX, sY = slopeY;
    const long long pX = pivotX, pY = pivotY;
    SampleSource<T> s(src, InterpBilinear, OverflowBackground, nullptr);
    const bool interp = interpolate;
    detail::forRows(rows, double(rows) * cols, [&](int r0, int r1) {
        for (int y = r0; y < r1; y++) {
            T* d = tmp.ptr<T>(y);
            for (int x = 0; x < cols; x++, d += cn) {
                const float fx = float(y - pY) * sX + float(x);
                const float fy = float(x - pX) * sY + float(y);
                if (interp) {
                    detail::sampleAt(s, fx, fy, d);
                } else {
                    const int ix = truncInt(fx), iy = truncInt(fy);
                    if (ix >= 0 && ix < cols && iy >= 0 && iy < rows) {
                        const T* p = src.ptr<T>(iy) + size_t(ix) * cn;
                        for (int k = 0; k < cn; k++) d[k] = p[k];
                    }
                }
            }
        }
    });
    finish(src, dst, tmp);
    return true;
}

template <typename T>
bool ipThumbnail<T>::process(Mat& src, Mat* dst) {
    if (src.empty() || newWidth < 1 || newHeight < 1) return false;
    if (!acceptsDestination(src, dst)) return false;
    const int cols = src.cols(), rows = src.rows();
    Mat fitted;
    if (cols <= newWidth && rows <= newHeight) {
        fitted = src;
    } else {
        const float scale = float(rows) * (float(newWidth) / float(newHeight)) > float(cols)
                                ? float(newHeight) / float(rows)
                                : float(newWidth) / float(cols);
        // A very thin picture keeps at least one row or column.
        const int w = std::max(1, std::min(newWidth, truncInt(float(cols) * scale)));
        const int h = std::max(1, std::min(newHeight, truncInt(float(rows) * scale)));
        ipResample<T> r;
        r.mode = 1;
        r.sampler = 0;
        r.newWidth = w;
        r.newHeight = h;
        if (!r.process(src, &fitted)) return false;
    }
    ipExpand<T> e;
    e.right = newWidth - fitted.cols();
    e.bottom = newHeight - fitted.rows();
    e.fill = fill;
    Mat out;
    if (!e.process(fitted, &out)) return false;
    finish(src, dst, out);
    return true;
}

#define TARVO_TRANSFORM_INSTANTIATE(T)  \
    template class ipTransformation<T>; \
    template class ipCrop<T>;           \
    template class ipExpand<T>;         \
    template class ipResample<T>;       \
    template class ipRotate<T>;         \
    template class ipSkew<T>;           \
    template class ipThumbnail<T>;
TARVO_TRANSFORM_INSTANTIATE(unsigned char)
TARVO_TRANSFORM_INSTANTIATE(short)
TARVO_TRANSFORM_INSTANTIATE(int)
TARVO_TRANSFORM_INSTANTIATE(float)
TARVO_TRANSFORM_INSTANTIATE(double)
#undef TARVO_TRANSFORM_INSTANTIATE

// ---------------------------------------------------------------- free functions

namespace {

// Builds Op<T> for src's depth, lets `setup` fill its fields and runs it into
// dst; other depths leave dst untouched.
template <template <typename> class Op, typename F>
void runTransform(const Mat& src, Mat& dst, const F& setup) {
    Mat& s = const_cast<Mat&>(src);  // with a destination, process only reads src
    switch (src.type()) {
        case 1: {
            Op<unsigned char> op;
            setup(op);
            op.process(s, &dst);
            break;
        }
        case 2: {
            Op<short> op;
            setup(op);
            op.process(s, &dst);
            break;
        }
        case 3: {
            Op<int> op;
            setup(op);
            op.process(s, &dst);
            break;
        }
        case 4: {
            Op<float> op;
            setup(op);
            op.process(s, &dst);
            break;
        }
        case 5: {
            Op<double> op;
            setup(op);
            op.process(s, &dst);
            break;
        }
        default:
            break;
    }
}

}  // namespace

namespace ip {

void crop(const Mat& src, Mat& dst, const Rect_<int>& r) {
    runTransform<ipCrop>(src, dst, [&](auto& op) {
        op.rect = r;
        op.mode = 1;
    });
}

void crop(const Mat& src, Mat& dst, int left, int top, int right, int bottom) {
    const long long w = (long long)right - left, h = (long long)bottom - top;
    if (w < 1 || h < 1 || w > 0x7FFFFFFF || h > 0x7FFFFFFF) return;
    crop(src, dst, Rect_<int>(left, top, int(w), int(h)));
}

void crop(const Mat& src, Mat& dst, int topX, int topY, int width, int height, float angle) {
    runTransform<ipCrop>(src, dst, [&](auto& op) {
        op.rect = Rect_<int>(topX, topY, width, height);
        op.angle = angle;
        op.mode = 2;
    });
}

void cropEx(const Mat& src, Mat& dst, const Rect_<int>& r, const Point4_<double>& fill) {
    if (src.empty() || r.width < 1 || r.height < 1) return;
    const long long padX =
        std::max<long long>({0LL, -(long long)r.x, (long long)r.x + r.width - src.cols()});
    const long long padY =
        std::max<long long>({0LL, -(long long)r.y, (long long)r.y + r.height - src.rows()});
    if (padX == 0 && padY == 0) {
        Mat out;
        src.subMat(r, out);
        if (!out.empty()) dst = std::move(out);
        return;
    }
    // The padded picture a rectangle is cut from must be a size a matrix can
    // hold, else the call is refused. The result is then made directly, so the
    // work follows the result's size, not how far the rectangle lies outside.
    const long long R = src.rows() + 2 * padY, C = src.cols() + 2 * padX;
    if (!validSize(R, C, src.channels()) || !validSize(r.height, r.width, src.channels())) return;
    Mat out(r.height, r.width, src.type1(), fill);
    if (out.empty()) return;
    const long long x0 = std::max<long long>(r.x, 0);
    const long long x1 = std::min<long long>((long long)r.x + r.width, src.cols());
    const long long y0 = std::max<long long>(r.y, 0);
    const long long y1 = std::min<long long>((long long)r.y + r.height, src.rows());
    if (x0 < x1 && y0 < y1) {
        const size_t esz = size_t(src.elemSize());
        for (long long y = y0; y < y1; y++)
            std::memcpy(out.ptr<unsigned char>(int(y - r.y)) + size_t(x0 - r.x) * esz,
                        src.ptr<unsigned char>(int(y)) + size_t(x0) * esz, size_t(x1 - x0) * esz);
    }
    dst = std::move(out);
}

void expand(const Mat& src, Mat& dst, int left, int top, int right, int bottom,
            Point4_<unsigned char> fill) {
    runTransform<ipExpand>(src, dst, [&](auto& op) {
        op.left = left;
        op.top = top;
        op.right = right;
        op.bottom = bottom;
        op.fill = fill;
    });
}

void expand(const Mat& src, Mat& dst, int newWidth, int newHeight, Point4_<unsigned char> fill) {
    const long long r = (long long)newWidth - src.cols(), b = (long long)newHeight - src.rows();
    if (r < 0 || b < 0) return;
    expand(src, dst, 0, 0, int(r), int(b), fill);
}

void resample(const Mat& src, Mat& dst, int newWidth, int newHeight, int mode) {
    runTransform<ipResample>(src, dst, [&](auto& op) {
        op.newWidth = newWidth;
        op.newHeight = newHeight;
        op.sampler = mode;
        op.mode = 1;
    });
}

void resample(const Mat& src, Mat& dst, int newWidth, int newHeight,
              InterpolationMethod interpolation, OverflowMethod overflow, bool disableAveraging) {
    runTransform<ipResample>(src, dst, [&](auto& op) {
        op.newWidth = newWidth;
        op.newHeight = newHeight;
        op.interpolation = interpolation;
        op.overflow = overflow;
        op.disableAveraging = disableAveraging;
        op.mode = 2;
    });
}

void rotate(const Mat& src, Mat& dst, float angle) {
    runTransform<ipRotate>(src, dst, [&](auto& op) {
        op.angle = angle;
        op.mode = 1;
    });
}

void rotate(const Mat& src, Mat& dst, float angle, InterpolationMethod interpolation,
            OverflowMethod overflow, Point4_<unsigned char>* replacement, bool flag1, bool flag2) {
    runTransform<ipRotate>(src, dst, [&](auto& op) {
        op.angle = angle;
        op.interpolation = interpolation;
        op.overflow = overflow;
        op.color = replacement;
        op.flag1 = flag1;
        op.flag2 = flag2;
        op.mode = 2;
    });
}

void rotate(const Mat& src, Mat& dst, RotateType type) {
    runTransform<ipRotate>(src, dst, [&](auto& op) {
        op.rotateType = type;
        op.mode = 0;
    });
}

void skew(const Mat& src, Mat& dst, float slopeX, float slopeY, int pivotX, int pivotY,
          bool interpolate) {
    runTransform<ipSkew>(src, dst, [&](auto& op) {
        op.slopeX = slopeX;
        op.slopeY = slopeY;
        op.pivotX = pivotX;
        op.pivotY = pivotY;
        op.interpolate = interpolate;
    });
}

void thumbnail(const Mat& src, Mat& dst, int newWidth, int newHeight, Point4_<unsigned char> fill) {
    runTransform<ipThumbnail>(src, dst, [&](auto& op) {
        op.newWidth = newWidth;
        op.newHeight = newHeight;
        op.fill = fill;
    });
}

}  // namespace ip
}  // namespace tarvo
