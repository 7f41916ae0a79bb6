// The simple scaler: byte averaging and corner-to-corner bilinear scaling.
#include "geometry/scale_xy.h"

#include <type_traits>
#include <vector>

#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {
namespace {

// Integer positions (first and second neighbour, in elements) and fractions
// along one axis. Positions come from repeated addition of the step, so that a
// long axis accumulates exactly as the row loop would.
template <typename F>
void axisTable(int srcLen, int dstLen, int mul, std::vector<int>& i0, std::vector<int>& i1,
               std::vector<F>& frac) {
    i0.resize(dstLen);
    i1.resize(dstLen);
    frac.resize(dstLen);
    const double step = dstLen > 1 ? double(srcLen - 1) / double(dstLen - 1) : 0.0;
    double pos = 0.0;
    for (int d = 0; d < dstLen; d++, pos += step) {
        int p = truncInt(pos);
        F f = F(pos - p);
        if (p >= srcLen - 1) {  // the last sample (or rounding past it) has no right neighbour
            p = srcLen - 1;
            f = F(0);
        }
        if (p < 0) p = 0;
        i0[d] = p * mul;
        i1[d] = (p + 1 < srcLen ? p + 1 : p) * mul;
        frac[d] = f;
    }
}

template <typename T>
void scaleImpl(const Mat& src, Mat& dst) {
    // Blend precision: float for short and float, double for int and double.
    typedef typename std::conditional<std::is_same<T, int>::value || std::is_same<T, double>::value,
                                      double, float>::type F;
    const int cn = src.channels(), dw = dst.cols(), dh = dst.rows();
    std::vector<int> x0, x1, y0, y1;
    std::vector<F> fx, fy;
    axisTable<F>(src.cols(), dw, cn, x0, x1, fx);
    axisTable<F>(src.rows(), dh, 1, y0, y1, fy);
    for (int y = 0; y < dh; y++) {
        const T* r0 = src.ptr<T>(y0[y]);
        const T* r1 = src.ptr<T>(y1[y]);
        const F b = fy[y], ib = F(1) - b;
        T* d = dst.ptr<T>(y);
        for (int x = 0; x < dw; x++) {
            const F a = fx[x], ia = F(1) - a;
            for (int k = 0; k < cn; k++) {
                const F top = ia * F(r0[x0[x] + k]) + a * F(r0[x1[x] + k]);
                const F bot = ia * F(r1[x0[x] + k]) + a * F(r1[x1[x] + k]);
                d[x * cn + k] = saturate_trunc<T>(double(ib * top + b * bot));
            }
        }
    }
}

}  // namespace

bool scaleXYByte(const Mat& src, Mat& dst) {
    if (!src.isValid() || !dst.isValid() || src.rows() <= 0 || src.cols() <= 0) return false;
    if (dst.rows() <= 0 || dst.cols() <= 0 || src.type1() != dst.type1()) return false;
    if (src.type() != MAT_Tuchar) return false;
    if (&src == &dst || src.data.ptr[0] == dst.data.ptr[0]) return false;
    const int cn = src.channels();
    const long long rows = src.rows(), cols = src.cols(), dr = dst.rows(), dc = dst.cols();
    const int step = int(cols / dc), rem = int(cols % dc);
    for (long long y = 0; y < dr; y++) {
        const int sy = int(rows * y / dr);
        const int count = int(rows * (y + 1) / dr) - sy;
        const unsigned char* r0 = src.ptr<unsigned char>(sy);
        const unsigned char* r1 = count >= 2 ? src.ptr<unsigned char>(sy + 1) : r0;
        unsigned char* d = dst.ptr<unsigned char>(int(y));
        long long acc = 0;
        int sx = 0;
        for (int x = 0; x < dc; x++, d += cn) {
            acc += rem;
            const int o = sx * cn;
            if (acc < dc || x == dc - 1 || sx + 1 >= cols) {
                for (int k = 0; k < cn; k++) d[k] = (unsigned char)((r0[o + k] + r1[o + k]) >> 1);
            } else {
                for (int k = 0; k < cn; k++)
                    d[k] =
                        (unsigned char)((r0[o + k] + r1[o + k] + r0[o + cn + k] + r1[o + cn + k]) >>
                                        2);
                acc -= dc;
                sx++;
            }
            sx += step;
        }
    }
    return true;
}

bool scaleXYBilinear(const Mat& src, Mat& dst) {
    if (!src.isValid() || !dst.isValid() || src.rows() <= 0 || src.cols() <= 0) return false;
    if (dst.rows() <= 0 || dst.cols() <= 0 || src.type1() != dst.type1()) return false;
    if (&src == &dst || src.data.ptr[0] == dst.data.ptr[0]) return false;
    switch (src.type()) {
        case MAT_Tshort:
            scaleImpl<short>(src, dst);
            return true;
        case MAT_Tint:
            scaleImpl<int>(src, dst);
            return true;
        case MAT_Tfloat:
            scaleImpl<float>(src, dst);
            return true;
        case MAT_Tdouble:
            scaleImpl<double>(src, dst);
            return true;
        default:
            return false;
    }
}

}  // namespace detail
}  // namespace tarvo
