// The averaging paths of ip::resize for shrinking (code 3, and code 1 at
// exactly half size): integer factors average whole blocks, other factors
// weight each source pixel by the part of it that an output cell covers.
#include <cstring>
#include <type_traits>
#include <vector>

#include "geometry/resize_internal.h"
#include "tarvo/autobuffer.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {
namespace detail {

namespace {

template <typename T>
inline T castTo(double v) {
    return saturate_cast<T>(v);
}

// Mean of a partial block: in float, in double for double images.
template <typename WT>
inline double partialMean(WT sum, int count) {
    if constexpr (std::is_same<WT, double>::value)
        return sum / double(count);
    else
        return double(float(sum) / float(count));
}

// ---------------------------------------------------------------- integer factors

template <typename T>
inline int areaFastVec(const T*, const T*, T*, int, int) {
    return 0;
}
template <>
inline int areaFastVec<unsigned char>(const unsigned char* r0, const unsigned char* r1,
                                      unsigned char* d, int n, int cn) {
    return resizeUseIntVector() ? areaFast2x8u(r0, r1, d, n, cn) : 0;
}
template <>
inline int areaFastVec<short>(const short* r0, const short* r1, short* d, int n, int cn) {
    return resizeUseIntVector() ? areaFast2x16s(r0, r1, d, n, cn) : 0;
}

template <typename T, typename WT>
class AreaFastInvoker : public ParallelLoopBody {
public:
    AreaFastInvoker(const Mat& src, Mat& dst, int sx, int sy) : m_src(src), m_dst(dst) {
        m_sx = sx;
        m_sy = sy;
        const int cn = src.channels();
        m_xofs.resize((size_t)dst.cols() * cn);
        for (int dx = 0; dx < dst.cols(); dx++)
            for (int k = 0; k < cn; k++) m_xofs[(size_t)dx * cn + k] = sx * dx * cn + k;
    }

    void operator()(const Range& range) const override {
        const int cn = m_src.channels(), swidth = m_src.cols() * cn, srows = m_src.rows();
        const int dwidth = m_dst.cols() * cn;
        const float scale = 1.f / float((long long)m_sx * m_sy);
        int full = (m_src.cols() / m_sx) * cn;
        if (full > dwidth) full = dwidth;
        const bool vec2 = m_sx == 2 && m_sy == 2 && (cn == 1 || cn == 3 || cn == 4);
        AutoBuffer<const T*, 64> rowsBuf((unsigned)m_sy);
        if (rowsBuf.size() < (size_t)m_sy) return;
        const T** rows = rowsBuf;
        for (int dy = range.start; dy < range.end; dy++) {
            T* D = m_dst.ptr<T>(dy);
            const long long sy0 = (long long)dy * m_sy;
            if (sy0 >= srows) {
                std::memset(static_cast<void*>(D), 0, sizeof(T) * (size_t)dwidth);
                continue;
            }
            const int w = sy0 + m_sy <= srows ? full : 0;
            int dx = 0;
            if (w > 0) {
                for (int y = 0; y < m_sy; y++) rows[y] = m_src.ptr<T>(int(sy0) + y);
                if (vec2) dx = areaFastVec<T>(rows[0], rows[1], D, w, cn);
                // Block elements are summed row by row, left to right.
                const int bw = m_sx * cn;
                for (; dx < w; dx++) {
                    const int x0 = m_xofs[dx];
                    WT sum = WT(0);
                    for (int y = 0; y < m_sy; y++) {
                        const T* S = rows[y] + x0;
                        for (int x = 0; x < bw; x += cn) sum = rAdd(sum, WT(S[x]));
                    }
                    D[dx] = castTo<T>(double(sum * scale));
                }
            }
            // Blocks cut by the image's right or bottom edge average what is inside.
            for (; dx < dwidth; dx++) {
                const int x0 = m_xofs[dx];
                WT sum = WT(0);
                int count = 0;
                for (int y = 0; y < m_sy && sy0 + y < srows && x0 < swidth; y++) {
                    const T* S = m_src.ptr<T>(int(sy0) + y);
                    for (int x = 0; x < m_sx * cn && x0 + x < swidth; x += cn) {
                        sum = rAdd(sum, WT(S[x0 + x]));
                        count++;
                    }
                }
                D[dx] = count ? castTo<T>(partialMean(sum, count)) : T(0);
            }
        }
    }

private:
    const Mat& m_src;
    Mat& m_dst;
    int m_sx, m_sy;
    std::vector<int> m_xofs;
};

template <typename T, typename WT>
void areaFastRun(const Mat& src, Mat& dst, int sx, int sy) {
    AreaFastInvoker<T, WT> body(src, dst, sx, sy);
    // Shrinking reads far more than it writes: the stripe count follows the
    // pixels read, so a 4x shrink of a large picture still uses every thread.
    parallel_for_(Range(0, dst.rows()), body,
                  (src.rows() * (double)src.cols() + dst.rows() * (double)dst.cols()) / 65536.0);
}

typedef void (*AreaFastFunc)(const Mat&, Mat&, int, int);
const AreaFastFunc kAreaFastTab[8] = {areaFastRun<unsigned char, int>,
                                      areaFastRun<unsigned char, int>,
                                      areaFastRun<short, float>,
                                      nullptr,
                                      areaFastRun<float, float>,
                                      areaFastRun<double, double>,
                                      nullptr,
                                      nullptr};

// ---------------------------------------------------------------- any factor

template <typename T, typename WT>
class AreaInvoker : public ParallelLoopBody {
public:
    AreaInvoker(const Mat& src, Mat& dst, const DecimateAlpha* xtab, int xtabSize,
                const DecimateAlpha* ytab, const int* tabofs)
        : m_src(src),
          m_dst(dst),
          m_xtab(xtab),
          m_xtabSize(xtabSize),
          m_ytab(ytab),
          m_tabofs(tabofs) {}

    void operator()(const Range& range) const override {
        const int cn = m_dst.channels(), width = m_dst.cols() * cn;
        AutoBuffer<WT> buffer((unsigned)width * 2);
        if (buffer.size() < (size_t)width * 2) return;
        WT* buf = buffer;
        WT* sum = buf + width;
        // Output rows without a table entry (none in practice) are cleared.
        for (int dy = range.start; dy < range.end; dy++)
            if (m_tabofs[dy] == m_tabofs[dy + 1])
                std::memset(static_cast<void*>(m_dst.ptr<T>(dy)), 0, sizeof(T) * (size_t)width);
        const int jStart = m_tabofs[range.start], jEnd = m_tabofs[range.end];
        if (jStart >= jEnd) return;
        int prevDy = m_ytab[jStart].di;
        for (int dx = 0; dx < width; dx++) sum[dx] = WT(0);
        for (int j = jStart; j < jEnd; j++) {
            const WT beta = WT(m_ytab[j].alpha);
            const int dy = m_ytab[j].di, sy = m_ytab[j].si;
            const T* S = m_src.ptr<T>(sy);
            for (int dx = 0; dx < width; dx++) buf[dx] = WT(0);
            if (cn == 1)
                accumulateRow<1>(S, buf, cn);
            else if (cn == 3)
                accumulateRow<3>(S, buf, cn);
            else if (cn == 4)
                accumulateRow<4>(S, buf, cn);
            else
                accumulateRow<0>(S, buf, cn);
            if (dy != prevDy) {
                T* D = m_dst.ptr<T>(prevDy);
                for (int dx = 0; dx < width; dx++) {
                    D[dx] = castTo<T>(double(sum[dx]));
                    sum[dx] = beta * buf[dx];
                }
                prevDy = dy;
            } else {
                for (int dx = 0; dx < width; dx++) sum[dx] += beta * buf[dx];
            }
        }
        T* D = m_dst.ptr<T>(prevDy);
        for (int dx = 0; dx < width; dx++) D[dx] = castTo<T>(double(sum[dx]));
    }

private:
    // buf[di + c] += S[si + c] * alpha over the x table; CN > 0 fixes the
    // channel count at compile time, 0 takes cn.
    template <int CN>
    void accumulateRow(const T* S, WT* buf, int cn) const {
        const int n = CN > 0 ? CN : cn;
        for (int k = 0; k < m_xtabSize; k++) {
            const int dxn = m_xtab[k].di, sxn = m_xtab[k].si;
            const WT alpha = WT(m_xtab[k].alpha);
            for (int c = 0; c < n; c++) buf[dxn + c] += WT(S[sxn + c]) * alpha;
        }
    }

    const Mat& m_src;
    Mat& m_dst;
    const DecimateAlpha* m_xtab;
    int m_xtabSize;
    const DecimateAlpha* m_ytab;
    const int* m_tabofs;
};

template <typename T, typename WT>
void areaRun(const Mat& src, Mat& dst, double scaleX, double scaleY) {
    const int cn = src.channels(), scols = src.cols(), srows = src.rows();
    const int dcols = dst.cols(), drows = dst.rows();
    std::vector<DecimateAlpha> xtab(2 * ((size_t)scols + dcols)), ytab(2 * ((size_t)srows + drows));
    const int xn = computeResizeAreaTab(scols, dcols, cn, scaleX, xtab.data());
    const int yn = computeResizeAreaTab(srows, drows, 1, scaleY, ytab.data());
    // tabofs[dy]: the first y entry of output row dy (entries come in row order).
    std::vector<int> tabofs((size_t)drows + 1);
    int k = 0;
    for (int dy = 0; dy <= drows; dy++) {
        while (k < yn && ytab[k].di < dy) k++;
        tabofs[dy] = k;
    }
    tabofs[drows] = yn;
    AreaInvoker<T, WT> body(src, dst, xtab.data(), xn, ytab.data(), tabofs.data());
    // Stripes by the pixels read and written (see areaFastRun).
    parallel_for_(Range(0, drows), body,
                  (src.rows() * (double)src.cols() + drows * (double)dcols) / 65536.0);
}

typedef void (*AreaFunc)(const Mat&, Mat&, double, double);
const AreaFunc kAreaTab[8] = {areaRun<unsigned char, float>,
                              areaRun<unsigned char, float>,
                              areaRun<short, float>,
                              nullptr,
                              areaRun<float, float>,
                              areaRun<double, double>,
                              nullptr,
                              nullptr};

}  // namespace

int computeResizeAreaTab(int ssize, int dsize, int cn, double scale, DecimateAlpha* tab) {
    int k = 0;
    for (int dx = 0; dx < dsize; dx++) {
        const double fsx1 = dx * scale, fsx2 = fsx1 + scale;
        const double cellWidth = scale < ssize - fsx1 ? scale : ssize - fsx1;
        int sx1 = tarvoutil::ceil(fsx1), sx2 = tarvoutil::floor(fsx2);
        sx2 = sx2 < ssize - 1 ? sx2 : ssize - 1;
        sx1 = sx1 < sx2 ? sx1 : sx2;
        if (sx1 - fsx1 > 1e-3) {
            tab[k].di = dx * cn;
            tab[k].si = (sx1 - 1) * cn;
            tab[k++].alpha = (float)((sx1 - fsx1) / cellWidth);
        }
        for (int sx = sx1; sx < sx2; sx++) {
            tab[k].di = dx * cn;
            tab[k].si = sx * cn;
            tab[k++].alpha = float(1.0 / cellWidth);
        }
        if (fsx2 - sx2 > 1e-3) {
            const double part = fsx2 - sx2 < 1.0 ? fsx2 - sx2 : 1.0;
            tab[k].di = dx * cn;
            tab[k].si = sx2 * cn;
            tab[k++].alpha = (float)((part < cellWidth ? part : cellWidth) / cellWidth);
        }
    }
    return k;
}

bool resizeAreaFast(const Mat& src, Mat& dst, int scaleX, int scaleY) {
    const AreaFastFunc f = kAreaFastTab[src.type() & 7];
    if (!f || scaleX < 1 || scaleY < 1) return false;
    f(src, dst, scaleX, scaleY);
    return true;
}

bool resizeArea(const Mat& src, Mat& dst, double scaleX, double scaleY) {
    const AreaFunc f = kAreaTab[src.type() & 7];
    if (!f) return false;
    f(src, dst, scaleX, scaleY);
    return true;
}

}  // namespace detail
}  // namespace tarvo
