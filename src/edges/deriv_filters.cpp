// Kernel-based derivative front ends: ip::sobel through the separable engine
// and ip::laplace through the two-dimensional one, both with a replicated
// border and signed results in short or float destinations.
#include "detail/aliasing.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/filter.h"

namespace tarvo {
namespace ip {

namespace {

// Gives dst the source's size and channel count and keeps its present depth
// (an unallocated dst takes the source's). Returns that depth, or 0 when src
// is empty or the allocation failed.
int prepareDerivDst(const Mat& src, Mat& dst) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0) return 0;
    const int depth = dst.isValid() ? dst.type() : src.type();
    if (depth < MAT_Tuchar || depth > MAT_Tdouble) return 0;
    const int want = MAKETYPE(depth, src.channels());
    return dst.create(src.rows(), src.cols(), want) >= 0 ? depth : 0;
}

}  // namespace

void sobel(const Mat& srcIn, Mat& dst, int dx, int dy, int ksize) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    const int depth = prepareDerivDst(src, dst);
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
    unsigned char** const before = dst.data.ptr;
    const int depth = prepareDerivDst(src, dst);
    if (depth == 0) return;
    if (selector != 1 && selector != 3) {
        // A destination created here but not filtered is cleared, never stale
        // heap bytes; one that already fitted keeps its pixels.
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
