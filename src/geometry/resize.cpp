// ip::resize: the front ends and the two-stage interpolating engine (codes 1
// to 4). The engine filters each needed source row horizontally into a small
// ring of work rows, then folds ksize ring rows vertically into each output
// row. Output rows are split over parallel_for_; every stripe rebuilds the
// rows it needs, so the result never depends on the striping.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "detail/aliasing.h"
#include "detail/checked.h"
#include "geometry/interp_coeffs.h"
#include "geometry/resize_internal.h"
#include "geometry/scale_xy.h"
#include "tarvo/autobuffer.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {
namespace detail {

bool resizeUseIntVector() {
    return checkHardwareSupport(CPU_INT_VECTORS);
}
bool resizeUseFloatVector() {
    return checkHardwareSupport(CPU_FLOAT_VECTORS);
}

namespace {

constexpr int kMaxKsize = 8;

// ---------------------------------------------------------------- coefficients

void coefficients(int code, float f, float* c) {
    if (code == ip::ResizeCubic) {
        interpolateCubic(f, c);
    } else if (code == ip::ResizeLanczos4) {
        interpolateLanczos4(f, c);
    } else {
        c[0] = 1.f - f;
        c[1] = f;
    }
}

// Stored coefficients: float as computed, bytes as round(c * 2048) in 16 bits.
inline void storeCoeff(float c, float& out) {
    out = c;
}
inline void storeCoeff(float c, short& out) {
    out = saturate_cast<short>(double(c * 2048.f));
}

// Position and fraction of output index d along one axis.
void mapPosition(int d, double scale, double invScale, bool area, int& s, float& f) {
    if (area) {
        s = tarvoutil::floor(d * scale);
        f = (float)((d + 1) - (s + 1) * invScale);
        f = f <= 0 ? 0.f : f - (float)std::floor(f);
    } else {
        f = (float)((d + 0.5) * scale - 0.5);
        s = tarvoutil::floor(f);
        f -= (float)s;
    }
}

// ---------------------------------------------------------------- casts

template <typename T, typename WT>
struct VCast;
template <>
struct VCast<unsigned char, int> {
    unsigned char operator()(int v) const { return fixedPtCast22(v); }
};
template <>
struct VCast<short, float> {
    short operator()(float v) const { return saturate_cast<short>(double(v)); }
};
template <>
struct VCast<float, float> {
    float operator()(float v) const { return v; }
};
template <>
struct VCast<double, double> {
    double operator()(double v) const { return v; }
};

// ---------------------------------------------------------------- tables

struct EngineGeometry {
    int code;
    double scaleX, scaleY, invX, invY;
};

// Everything the generic invoker needs: the column tables are built before
// the parallel loop, the row tables by the stripes (see buildRowTables).
template <typename AT>
struct GenericTables {
    std::vector<int> xofs;              // per output element: source element of tap ksize/2 - 1
    std::vector<int> yofs;              // per output row: source row of tap ksize/2 - 1
    std::vector<AT> alpha;              // per output element, ksize horizontal weights
    std::vector<AT> beta;               // per output row, ksize vertical weights
    int ksize = 2, xmin = 0, xmax = 0;  // interior [xmin, xmax), in elements
};

template <typename AT>
void buildTables(const EngineGeometry& g, int scols, int dcols, int drows, int cn,
                 GenericTables<AT>& t) {
    const int code = g.code;
    const int ksize = code == ip::ResizeCubic ? 4 : code == ip::ResizeLanczos4 ? 8 : 2;
    const int ksize2 = ksize / 2;
    const bool area = code == ip::ResizeArea;
    const bool keepOutside = code == ip::ResizeCubic || code == ip::ResizeLanczos4;
    t.ksize = ksize;
    t.xofs.resize((size_t)dcols * cn);
    t.alpha.resize((size_t)dcols * cn * ksize);
    t.yofs.resize((size_t)drows);
    t.beta.resize((size_t)drows * ksize);
    int xmin = 0, xmax = dcols;
    float c[kMaxKsize];
    for (int dx = 0; dx < dcols; dx++) {
        int sx;
        float fx;
        mapPosition(dx, g.scaleX, g.invX, area, sx, fx);
        if (sx < ksize2 - 1) {
            xmin = dx + 1;
            if (sx < 0 && !keepOutside) fx = 0, sx = 0;
        }
        if (sx + ksize2 >= scols) {
            xmax = xmax < dx ? xmax : dx;
            if (sx >= scols - 1 && !keepOutside) fx = 0, sx = scols - 1;
        }
        coefficients(code, fx, c);
        AT a[kMaxKsize];  // converted once, then repeated for every channel
        for (int j = 0; j < ksize; j++) storeCoeff(c[j], a[j]);
        for (int k = 0; k < cn; k++) {
            const size_t e = (size_t)dx * cn + k;
            t.xofs[e] = sx * cn + k;
            std::copy(a, a + ksize, &t.alpha[e * ksize]);
        }
    }
    t.xmin = xmin * cn;
    t.xmax = xmax * cn;
}

// Source row and vertical weights of output rows [dy0, dy1). Each stripe of
// the parallel loop fills its own rows, so this part of the set-up runs on
// every thread instead of before the loop.
template <typename AT>
void buildRowTables(const EngineGeometry& g, int ksize, int dy0, int dy1, int* yofs, AT* beta) {
    const bool area = g.code == ip::ResizeArea;
    float c[kMaxKsize];
    for (int dy = dy0; dy < dy1; dy++) {
        int sy;
        float fy;
        mapPosition(dy, g.scaleY, g.invY, area, sy, fy);
        yofs[dy] = sy;
        coefficients(g.code, fy, c);
        for (int j = 0; j < ksize; j++) storeCoeff(c[j], beta[(size_t)dy * ksize + j]);
    }
}

// ---------------------------------------------------------------- horizontal pass

template <typename T, typename WT, typename AT>
struct HPass {
    // One source row S into the work row D. Two-tap codes clamp their
    // positions, so only the right end needs the one-tap form; wider kernels
    // clamp each tap to the row outside [xmin, xmax).
    static void run(const T* S, WT* D, const GenericTables<AT>& t, int swidth, int dwidth, int cn) {
        const int ksize = t.ksize;
        const int* xofs = t.xofs.data();
        const AT* alpha = t.alpha.data();
        if (ksize == 2) {
            const WT one = std::is_same<T, unsigned char>::value ? WT(2048) : WT(1);
            int dx = vec(S, D, t, swidth, dwidth, cn, 0, t.xmax);
            for (; dx < t.xmax; dx++) {
                const int sx = xofs[dx];
                const AT* a = alpha + dx * 2;
                D[dx] = rAdd(rMul(WT(S[sx]), WT(a[0])), rMul(WT(S[sx + cn]), WT(a[1])));
            }
            for (; dx < dwidth; dx++) D[dx] = rMul(WT(S[xofs[dx]]), one);
            return;
        }
        const int before = (ksize / 2 - 1) * cn;
        int dx = 0, limit = t.xmin < dwidth ? t.xmin : dwidth;
        for (;;) {
            for (; dx < limit; dx++) {
                const AT* a = alpha + (size_t)dx * ksize;
                const int c = dx % cn, sx = xofs[dx] - before;
                WT v = WT(0);
                for (int j = 0; j < ksize; j++) {
                    int sxj = sx + j * cn;
                    if (sxj < 0)
                        sxj = c;
                    else if (sxj >= swidth)
                        sxj = swidth - cn + c;
                    v = rAdd(v, rMul(WT(S[sxj]), WT(a[j])));
                }
                D[dx] = v;
            }
            if (limit == dwidth) break;
            dx = vec(S, D, t, swidth, dwidth, cn, dx, t.xmax);
            if (ksize == 4)
                dx = interior<4>(S, D, xofs, alpha, dx, t.xmax, cn);
            else
                dx = interior<8>(S, D, xofs, alpha, dx, t.xmax, cn);
            limit = dwidth;
        }
    }

    // Vector kernel for elements [dx0, dx1); returns the first one it left.
    static int vec(const T*, WT*, const GenericTables<AT>&, int, int, int, int dx0, int) {
        return dx0;
    }

    // Interior elements [dx, xmax) of a K-tap kernel; returns the end.
    template <int K>
    static int interior(const T* S, WT* D, const int* xofs, const AT* alpha, int dx, int xmax,
                        int cn) {
        const int before = (K / 2 - 1) * cn;
        for (; dx < xmax; dx++) {
            const AT* a = alpha + (size_t)dx * K;
            const T* s = S + xofs[dx] - before;
            WT v = rMul(WT(s[0]), WT(a[0]));
            for (int j = 1; j < K; j++) v = rAdd(v, rMul(WT(s[j * cn]), WT(a[j])));
            D[dx] = v;
        }
        return dx;
    }
};

template <>
int HPass<unsigned char, int, short>::vec(const unsigned char* S, int* D,
                                          const GenericTables<short>& t, int swidth, int dwidth,
                                          int cn, int dx0, int dx1) {
    if (dx0 >= dx1 || !resizeUseIntVector()) return dx0;
    return hresizeFixed8u(S, swidth, reinterpret_cast<int32_t*>(D), dwidth, t.xofs.data(),
                          t.alpha.data(), t.ksize, cn, dx0, dx1);
}

template <>
int HPass<float, float, float>::vec(const float* S, float* D, const GenericTables<float>& t,
                                    int swidth, int dwidth, int cn, int dx0, int dx1) {
    if (dx0 >= dx1 || !resizeUseFloatVector()) return dx0;
    return hresize32f(S, swidth, D, dwidth, t.xofs.data(), t.alpha.data(), t.ksize, cn, dx0, dx1);
}
template <>
int HPass<short, float, float>::vec(const short* S, float* D, const GenericTables<float>& t,
                                    int swidth, int dwidth, int cn, int dx0, int dx1) {
    if (dx0 >= dx1 || !resizeUseFloatVector()) return dx0;
    return hresize16s32f(reinterpret_cast<const int16_t*>(S), swidth, D, dwidth, t.xofs.data(),
                         t.alpha.data(), t.ksize, cn, dx0, dx1);
}

// ---------------------------------------------------------------- vertical pass

template <typename T, typename WT, typename AT>
struct VPass {
    static void run(const WT* const* rows, T* dst, const AT* beta, int ksize, int width) {
        VCast<T, WT> cast;
        int x = vec(rows, dst, beta, ksize, width);
        if (ksize == 2) {
            const WT b0 = WT(beta[0]), b1 = WT(beta[1]);
            const WT *r0 = rows[0], *r1 = rows[1];
            for (; x < width; x++) dst[x] = cast(rAdd(rMul(r0[x], b0), rMul(r1[x], b1)));
            return;
        }
        for (; x < width; x++) {
            WT s = rMul(rows[0][x], WT(beta[0]));
            for (int k = 1; k < ksize; k++) s = rAdd(s, rMul(rows[k][x], WT(beta[k])));
            dst[x] = cast(s);
        }
    }
    static int vec(const WT* const*, T*, const AT*, int, int) { return 0; }
};

template <>
int VPass<unsigned char, int, short>::vec(const int* const* rows, unsigned char* dst,
                                          const short* beta, int ksize, int width) {
    if (!resizeUseIntVector()) return 0;
    return vresizeFixed8u(reinterpret_cast<const int32_t* const*>(rows), beta, ksize, dst, width);
}
template <>
int VPass<short, float, float>::vec(const float* const* rows, short* dst, const float* beta,
                                    int ksize, int width) {
    if (!resizeUseFloatVector()) return 0;
    return vresize32f16s(rows, beta, ksize, dst, width);
}
template <>
int VPass<float, float, float>::vec(const float* const* rows, float* dst, const float* beta,
                                    int ksize, int width) {
    if (!resizeUseFloatVector()) return 0;
    return vresize32f(rows, beta, ksize, dst, width);
}

// ---------------------------------------------------------------- invoker

template <typename T, typename WT, typename AT>
class GenericInvoker : public ParallelLoopBody {
public:
    GenericInvoker(const Mat& src, Mat& dst, GenericTables<AT>& t, const EngineGeometry& g)
        : m_src(src), m_dst(dst), m_t(t), m_g(g) {}

    void operator()(const Range& range) const override {
        // Disjoint stripes write disjoint entries of the row tables.
        buildRowTables(m_g, m_t.ksize, range.start, range.end, m_t.yofs.data(), m_t.beta.data());
        const int cn = m_src.channels(), swidth = m_src.cols() * cn, srows = m_src.rows();
        const int dwidth = m_dst.cols() * cn, ksize = m_t.ksize, first = ksize / 2 - 1;
        const size_t bufstep = ((size_t)dwidth + 15) & ~(size_t)15;
        AutoBuffer<WT, 1032> buffer((unsigned)(bufstep * ksize));
        if (buffer.size() < bufstep * ksize) return;  // no memory: rows stay unwritten
        WT* ring[kMaxKsize];
        int tag[kMaxKsize];
        for (int k = 0; k < ksize; k++) {
            ring[k] = (WT*)buffer + bufstep * k;
            tag[k] = -1;
        }
        for (int dy = range.start; dy < range.end; dy++) {
            int need[kMaxKsize];
            const WT* rows[kMaxKsize];
            bool used[kMaxKsize] = {false, false, false, false, false, false, false, false};
            bool have[kMaxKsize];
            for (int k = 0; k < ksize; k++) {
                need[k] = ip::borderInterpolate(m_t.yofs[dy] - first + k, srows, 1);
                have[k] = false;
                // A row computed for an earlier output row is reused.
                for (int j = 0; j < ksize; j++)
                    if (tag[j] == need[k]) {
                        rows[k] = ring[j];
                        used[j] = have[k] = true;
                        break;
                    }
            }
            for (int k = 0; k < ksize; k++) {
                if (have[k]) continue;
                int j = 0;
                for (; j < ksize; j++)  // the same row may be needed twice at the border
                    if (used[j] && tag[j] == need[k]) break;
                if (j == ksize) {
                    for (j = 0; j < ksize - 1 && used[j]; j++) {
                    }
                    HPass<T, WT, AT>::run(m_src.ptr<T>(need[k]), ring[j], m_t, swidth, dwidth, cn);
                    tag[j] = need[k];
                    used[j] = true;
                }
                rows[k] = ring[j];
            }
            VPass<T, WT, AT>::run(rows, m_dst.ptr<T>(dy), m_t.beta.data() + (size_t)dy * ksize,
                                  ksize, dwidth);
        }
    }

private:
    const Mat& m_src;
    Mat& m_dst;
    GenericTables<AT>& m_t;
    const EngineGeometry& m_g;
};

template <typename T, typename WT, typename AT>
void resizeGeneric(const Mat& src, Mat& dst, const EngineGeometry& g) {
    GenericTables<AT> t;
    buildTables(g, src.cols(), dst.cols(), dst.rows(), src.channels(), t);
    GenericInvoker<T, WT, AT> body(src, dst, t, g);
    // Stripes by the pixels read and written (a strong shrink reads many
    // source rows per output row), but at most four per thread: each stripe
    // filters the ksize - 1 source rows above its first output row again, which
    // on a 1.5x Lanczos shrink in stripes of 16 output rows was 30% more work.
    const double work = src.rows() * (double)src.cols() + dst.rows() * (double)dst.cols();
    parallel_for_(Range(0, dst.rows()), body, std::min(work / 65536.0, 4.0 * getNumThreads()));
}

typedef void (*GenericFunc)(const Mat&, Mat&, const EngineGeometry&);

// Indexed by depth; int images (3) have no routine.
const GenericFunc kGenericTab[8] = {resizeGeneric<unsigned char, int, short>,
                                    resizeGeneric<unsigned char, int, short>,
                                    resizeGeneric<short, float, float>,
                                    nullptr,
                                    resizeGeneric<float, float, float>,
                                    resizeGeneric<double, double, float>,
                                    nullptr,
                                    nullptr};

// Largest coefficient table (entries) the engine builds: 2^28, a gigabyte of floats.
constexpr long long kMaxTableEntries = 1LL << 28;

}  // namespace

// Runs codes 1 to 4 from src into dst, which has its final size and src's type.
void resizeEngine(const Mat& src, Mat& dst, int code) {
    EngineGeometry g;
    g.code = code;
    g.invX = (double)dst.cols() / src.cols();
    g.invY = (double)dst.rows() / src.rows();
    g.scaleX = 1.0 / g.invX;
    g.scaleY = 1.0 / g.invY;
    const int isx = tarvoutil::round(g.scaleX), isy = tarvoutil::round(g.scaleY);
    const bool areaFast =
        std::fabs(g.scaleX - isx) < DBL_EPSILON && std::fabs(g.scaleY - isy) < DBL_EPSILON;
    if (g.code == ip::ResizeLinear && areaFast && isx == 2 && isy == 2) g.code = ip::ResizeArea;
    if (g.code == ip::ResizeArea && g.scaleX >= 1 && g.scaleY >= 1) {
        if (areaFast)
            resizeAreaFast(src, dst, isx, isy);
        else
            resizeArea(src, dst, g.scaleX, g.scaleY);
        return;
    }
    const GenericFunc f = kGenericTab[src.type() & 7];
    if (f) f(src, dst, g);
}

// Whether codes 1 to 4 can serve this input without tables beyond the limit.
bool resizeEngineAccepts(int depth, int width, int height, int cn) {
    if (!kGenericTab[depth & 7]) return false;
    int64_t wTaps, hTaps;
    return tarvo::detail::checkedMul(width, cn, kMaxKsize, wTaps) && wTaps <= kMaxTableEntries &&
           tarvo::detail::checkedMul(height, kMaxKsize, hTaps) && hTaps <= kMaxTableEntries;
}

}  // namespace detail

// ---------------------------------------------------------------- ScaleXY

ScaleXY::~ScaleXY() {}

bool ScaleXY::process(const Mat& src, Mat& dst) {
    if (src.type() == MAT_Tuchar) return scaleByte(src, dst);
    return scaleBilinear(src, dst);
}

bool ScaleXY::scaleByte(const Mat& src, Mat& dst) {
    return detail::scaleXYByte(src, dst);
}

bool ScaleXY::scaleBilinear(const Mat& src, Mat& dst) {
    return detail::scaleXYBilinear(src, dst);
}

// ---------------------------------------------------------------- front ends

namespace ip {
namespace {

bool sizeAccepted(int width, int height, int cn) {
    int64_t n;
    return width > 0 && height > 0 && tarvo::detail::checkedMul(width, height, cn, n) &&
           n <= MAT_MAX_ELEMENTS;
}

// (int)(n * scale + 0.5), computed so that NaN and huge values give 0 or a refusal.
int scaledSize(int n, float scale) {
    return truncInt(double(float(n) * scale) + 0.5);
}

}  // namespace

void resize(const Mat& src, Mat& dst, int width, int height, int interpolation) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0) return;
    if (interpolation < ResizeScaleXY || interpolation > ResizeLanczos4) return;
    const int cn = src.channels();
    if (!sizeAccepted(width, height, cn)) return;
    if (!tarvo::detail::outputAreaFits(src.cols(), src.rows(), width, height)) return;
    if (interpolation != ResizeScaleXY &&
        !detail::resizeEngineAccepts(src.type(), width, height, cn))
        return;
    // The destination is about to be re-created or written: a source that
    // shares its memory is read from a copy.
    tarvo::detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    const Mat* s = &guard.get();
    if (dst.create(height, width, src.type1()) < 0) return;
    if (interpolation == ResizeScaleXY)
        ScaleXY::process(*s, dst);
    else
        detail::resizeEngine(*s, dst, interpolation);
}

void resize(const Mat& src, Mat& dst, float scale) {
    if (!src.isValid()) return;
    resize(src, dst, scaledSize(src.cols(), scale), scaledSize(src.rows(), scale), ResizeScaleXY);
}

void resize(Mat& image, int width, int height) {
    if (!image.isValid() || image.rows() <= 0 || image.cols() <= 0) return;
    if (!sizeAccepted(width, height, image.channels())) return;
    if (!tarvo::detail::outputAreaFits(image.cols(), image.rows(), width, height)) return;
    Mat copy(image);
    if (!copy.isValid()) return;
    if (image.create(height, width, copy.type1()) < 0) return;
    ScaleXY::process(copy, image);
}

void resize(Mat& image, float scale) {
    if (!image.isValid()) return;
    resize(image, scaledSize(image.cols(), scale), scaledSize(image.rows(), scale));
}

}  // namespace ip
}  // namespace tarvo
