// Kernel-based derivative front ends: ip::sobel through the separable engine
// and ip::laplace through the two-dimensional one, both with a replicated
// border and signed results in short or float destinations.
#include "detail/aliasing.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/filter.h"

namespace tarvo {
namespace ip {

namespace {

// The depth a derivative is written in: dst's present depth, or src's for an
// unallocated dst; 0 when src is empty or the depth is not a matrix depth.
// The filters create dst (src's size and channels) only once they accept the
// call, so a refused call leaves dst as it was.
int derivDepth(const Mat& src, const Mat& dst) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0) return 0;
    const int depth = dst.isValid() ? dst.type() : src.type();
    return depth >= MAT_Tuchar && depth <= MAT_Tdouble ? depth : 0;
}

}  // namespace

void sobel(const Mat& srcIn, Mat& dst, int dx, int dy, int ksize) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    const int depth = derivDepth(src, dst);
    if (depth == 0) return;
    int ktype = depth > src.type() ? depth : src.type();
    if (ktype < MAT_Tfloat) ktype = MAT_Tfloat;
    Mat kx, ky;
    getDerivKernels(kx, ky, dx, dy, ksize, false, ktype);
    if (!kx.isValid() || !ky.isValid()) return;
    // The engine buffers source rows before it writes, so dst may be src.
    sepFilter2D(src, dst, depth, kx, ky, Point2_<int>(-1, -1), 0, BorderClamp);
}

void laplace(const Mat& srcIn, Mat& dst, int selector) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    const int depth = derivDepth(src, dst);
    if (depth == 0) return;
    if (selector != 1 && selector != 3) {
        // dst is still created; one created here is cleared, never stale heap
        // bytes, and one that already fitted keeps its pixels.
        unsigned char** const before = dst.data.ptr;
        if (dst.create(src.rows(), src.cols(), MAKETYPE(depth, src.channels())) < 0) return;
        if (dst.data.ptr != before) dst.zero();
        return;
    }
    static const float k1[9] = {0, 1, 0, 1, -4, 1, 0, 1, 0};
    static const float k3[9] = {2, 0, 2, 0, -8, 0, 2, 0, 2};
    Mat kernel;
    if (kernel.create(3, 3, MAT_Tfloat) < 0 || !kernel.isValid()) return;
    const float* k = selector == 1 ? k1 : k3;
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 3; x++) kernel.ptr<float>(y)[x] = k[y * 3 + x];
    filter2D(src, dst, depth, kernel, Point2_<int>(-1, -1), 0, BorderClamp);
}

}  // namespace ip
}  // namespace tarvo
