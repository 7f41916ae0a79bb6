// Rectangle copies, channel split/merge/mix, raw fill values, polar
// coordinates and the small row-table helpers.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "mat_internal.h"
#include "tarvo/matop.h"
#include "tarvo/saturate.h"

namespace tarvo {

using detail::withDepth;

void MatOp::copyMat(Mat& dst, const Mat& src, const Rect_<int>& rect, const Point2_<int>& pt) {
    if (dst.empty() || src.empty() || dst.type1() != src.type1()) return;
    // Clip the source rectangle to src, carry the shift over to the target
    // corner, then clip that to dst. 64-bit sums: corners may be anywhere.
    long long sx0 = std::max<long long>(rect.x, 0), sy0 = std::max<long long>(rect.y, 0);
    long long sx1 = std::min<long long>((long long)rect.x + rect.width, src.cols());
    long long sy1 = std::min<long long>((long long)rect.y + rect.height, src.rows());
    long long dx0 = (long long)pt.x + (sx0 - rect.x), dy0 = (long long)pt.y + (sy0 - rect.y);
    if (dx0 < 0) sx0 -= dx0, dx0 = 0;
    if (dy0 < 0) sy0 -= dy0, dy0 = 0;
    sx1 = std::min<long long>(sx1, sx0 + (dst.cols() - dx0));
    sy1 = std::min<long long>(sy1, sy0 + (dst.rows() - dy0));
    if (sx1 <= sx0 || sy1 <= sy0) return;
    const Rect_<int> part(int(sx0), int(sy0), int(sx1 - sx0), int(sy1 - sy0));
    // The same matrix (or one sharing pixels through a reference) is read
    // from a copy, so overlapping rectangles copy as if from the original.
    Mat tmp;
    const Mat* s = &src;
    int ox = part.x, oy = part.y;
    if (&dst == &src || dst.isRefered() || src.isRefered()) {
        src.subMat(part, tmp);
        if (tmp.empty()) return;
        s = &tmp;
        ox = oy = 0;
    }
    const size_t es = size_t(src.elemSize()), n = es * size_t(part.width);
    for (int y = 0; y < part.height; y++)
        std::memcpy(dst.data.ptr[dy0 + y] + size_t(dx0) * es, s->data.ptr[oy + y] + size_t(ox) * es,
                    n);
}

void MatOp::split(const Mat& src, Mat* planes) {
    if (!planes || src.empty()) return;
    const int cn = src.channels();
    for (int k = 0; k < cn; k++) {
        if (&planes[k] == &src) {
            // One plane is the source: split a copy.
            Mat copy(src);
            split(copy, planes);
            return;
        }
    }
    for (int k = 0; k < cn; k++) {
        Mat& p = planes[k];
        if (p.create(src.rows(), src.cols(), src.type()) < 0) continue;
        withDepth(src.type(), [&](auto t) {
            using T = decltype(t);
            for (int y = 0; y < src.rows(); y++) {
                const T* s = src.ptr<T>(y) + k;
                T* d = p.ptr<T>(y);
                for (int x = 0; x < src.cols(); x++) d[x] = s[size_t(x) * cn];
            }
        });
    }
}

void MatOp::merge(const Mat* planes, unsigned n, Mat& dst) {
    if (!planes || n == 0) return;
    const Mat& first = planes[0];
    if (first.empty()) return;
    int total = 0;
    for (unsigned i = 0; i < n; i++) {
        const Mat& p = planes[i];
        if (p.empty() || p.rows() != first.rows() || p.cols() != first.cols() ||
            p.type() != first.type())
            return;
        total += p.channels();
        if (total > MAT_MAX_CN) return;
    }
    Mat out(first.rows(), first.cols(), MAKETYPE(first.type(), total));
    if (out.empty()) return;
    withDepth(first.type(), [&](auto t) {
        using T = decltype(t);
        int base = 0;
        for (unsigned i = 0; i < n; i++) {
            const Mat& p = planes[i];
            const int pc = p.channels();
            for (int y = 0; y < out.rows(); y++) {
                const T* s = p.ptr<T>(y);
                T* d = out.ptr<T>(y) + base;
                for (int x = 0; x < out.cols(); x++)
                    for (int k = 0; k < pc; k++) d[size_t(x) * total + k] = s[size_t(x) * pc + k];
            }
            base += pc;
        }
    });
    dst = std::move(out);
}

void mixChannels(const Mat* src, unsigned nsrc, Mat* dst, unsigned ndst, const int* fromTo,
                 unsigned npairs) {
    if (!src || !dst || !fromTo || nsrc == 0 || ndst == 0 || npairs == 0) return;
    const Mat& ref = src[0];
    if (ref.empty()) return;
    auto fits = [&](const Mat& m) {
        return m.isValid() && m.rows() == ref.rows() && m.cols() == ref.cols() &&
               m.type() == ref.type();
    };
    // Map a global channel index to (matrix, channel) for each side.
    std::vector<int> srcOwner, srcCh, dstOwner, dstCh;
    for (unsigned i = 0; i < nsrc; i++) {
        if (!fits(src[i])) return;
        for (int k = 0; k < src[i].channels(); k++) srcOwner.push_back(int(i)), srcCh.push_back(k);
    }
    for (unsigned i = 0; i < ndst; i++) {
        if (!fits(dst[i])) return;
        for (int k = 0; k < dst[i].channels(); k++) dstOwner.push_back(int(i)), dstCh.push_back(k);
    }
    for (unsigned p = 0; p < npairs; p++) {
        const int from = fromTo[2 * p], to = fromTo[2 * p + 1];
        if (from >= int(srcOwner.size()) || to < 0 || to >= int(dstOwner.size())) return;
    }
    // A destination that is also a source is read before anything is written.
    std::vector<Mat> copies;
    std::vector<const Mat*> srcs(nsrc);
    for (unsigned i = 0; i < nsrc; i++) {
        srcs[i] = &src[i];
        for (unsigned j = 0; j < ndst; j++)
            if (&src[i] == &dst[j]) {
                copies.emplace_back(src[i]);
                break;
            }
    }
    size_t ci = 0;
    for (unsigned i = 0; i < nsrc; i++)
        for (unsigned j = 0; j < ndst; j++)
            if (&src[i] == &dst[j]) {
                srcs[i] = &copies[ci++];
                break;
            }
    withDepth(ref.type(), [&](auto t) {
        using T = decltype(t);
        for (unsigned p = 0; p < npairs; p++) {
            const int from = fromTo[2 * p], to = fromTo[2 * p + 1];
            Mat& d = dst[dstOwner[size_t(to)]];
            const int dk = dstCh[size_t(to)], dcn = d.channels();
            for (int y = 0; y < ref.rows(); y++) {
                T* dp = d.ptr<T>(y) + dk;
                if (from < 0) {
                    for (int x = 0; x < ref.cols(); x++) dp[size_t(x) * dcn] = T(0);
                    continue;
                }
                const Mat& s = *srcs[size_t(srcOwner[size_t(from)])];
                const int sk = srcCh[size_t(from)], scn = s.channels();
                const T* sp = s.ptr<T>(y) + sk;
                for (int x = 0; x < ref.cols(); x++) dp[size_t(x) * dcn] = sp[size_t(x) * scn];
            }
        }
    });
}

void scalarToRawData(const Point4_<double>& s, void* buf, int type, int count) {
    const int cn = MAT_CN(type);
    if (!buf || count < 1 || cn > 4 || !detail::validDepth(MAT_DEPTH(type))) return;
    withDepth(MAT_DEPTH(type), [&](auto t) {
        using T = decltype(t);
        T v[4];
        for (int k = 0; k < cn; k++) v[k] = saturate_cast<T>(s[k]);
        T* out = static_cast<T*>(buf);
        for (int i = 0; i < count; i++) out[i] = v[i % cn];
    });
}

void cartToPolar(const Mat& x, const Mat& y, Mat& magnitude, Mat& angle, bool angleInDegrees) {
    if (x.empty() || !x.isEqualMat(y) || (x.type() != MAT_Tfloat && x.type() != MAT_Tdouble))
        return;
    // Outputs may be the inputs: compute into new matrices first.
    Mat mag(x.rows(), x.cols(), x.type1()), ang(x.rows(), x.cols(), x.type1());
    if (mag.empty() || ang.empty()) return;
    const int n = x.cols() * x.channels();
    withDepth(x.type(), [&](auto t) {
        using T = decltype(t);
        if constexpr (std::is_floating_point<T>::value) {
            const T full = angleInDegrees ? T(360) : T(2 * 3.14159265358979323846);
            const T scale = angleInDegrees ? T(180 / 3.14159265358979323846) : T(1);
            for (int r = 0; r < x.rows(); r++) {
                const T* xp = x.ptr<T>(r);
                const T* yp = y.ptr<T>(r);
                T* mp = mag.ptr<T>(r);
                T* ap = ang.ptr<T>(r);
                for (int i = 0; i < n; i++) {
                    mp[i] = std::sqrt(xp[i] * xp[i] + yp[i] * yp[i]);
                    T a = std::atan2(yp[i], xp[i]) * scale;
                    if (a < 0) a += full;
                    // Rounding can land a tiny negative angle exactly on the full turn.
                    if (a >= full) a = 0;
                    ap[i] = a;
                }
            }
        }
    });
    magnitude = std::move(mag);
    angle = std::move(ang);
}

void iMemCopy(double** dst, double** src, double** previous, int* size) {
    if (!dst || !src || !size || size[0] <= 0 || size[1] <= 0) return;
    const size_t bytes = sizeof(double) * size_t(size[1]);
    for (int r = 0; r < size[0]; r++) {
        if (!dst[r] || !src[r]) continue;
        if (previous && previous[r]) std::memcpy(previous[r], dst[r], bytes);
        std::memmove(dst[r], src[r], bytes);
    }
}

void IPDebug::addDebug(const Mat&, const char*) {}

}  // namespace tarvo
