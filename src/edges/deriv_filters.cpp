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
int derivDepth(const Mat& src, const Mat& dst) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0) return 0;
    const int depth = dst.isValid() ? dst.type() : src.type();
    return depth >= MAT_Tuchar && depth <= MAT_Tdouble ? depth : 0;
}

// Gives dst src's size and channels in `depth` and lets filter(out) write it.
// A dst that already has that shape is handed to the filter itself, so a
// refusal leaves its pixels as they were. Otherwise the filter writes a matrix
// of its own, which replaces dst; when the filter refuses (or run is false),
// dst is still created, zero-filled rather than holding bytes nobody wrote.
template <typename F>
void intoCreated(const Mat& src, Mat& dst, int depth, bool run, F filter) {
    const int type = MAKETYPE(depth, src.channels());
    if (dst.isValid() && dst.rows() == src.rows() && dst.cols() == src.cols() &&
        dst.type1() == type) {
        if (run) filter(dst);
        return;
    }
    Mat out;
    if (run) filter(out);
    if (!out.isValid() || out.type1() != type || out.rows() != src.rows() ||
        out.cols() != src.cols()) {
        if (out.create(src.rows(), src.cols(), type) < 0) return;
        out.zero();
    }
    dst = std::move(out);
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
    // The engine buffers source rows before it writes, so dst may be src.
    intoCreated(src, dst, depth, kx.isValid() && ky.isValid(), [&](Mat& out) {
        sepFilter2D(src, out, depth, kx, ky, Point2_<int>(-1, -1), 0, BorderClamp);
    });
}

void laplace(const Mat& srcIn, Mat& dst, int selector) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    const int depth = derivDepth(src, dst);
    if (depth == 0) return;
    static const float k1[9] = {0, 1, 0, 1, -4, 1, 0, 1, 0};
    static const float k3[9] = {2, 0, 2, 0, -8, 0, 2, 0, 2};
    Mat kernel;
    const bool known = selector == 1 || selector == 3;
    if (known) {
        if (kernel.create(3, 3, MAT_Tfloat) < 0) return;
        const float* k = selector == 1 ? k1 : k3;
        for (int y = 0; y < 3; y++)
            for (int x = 0; x < 3; x++) kernel.ptr<float>(y)[x] = k[y * 3 + x];
    }
    // Another selector still creates dst (cleared when created here).
    intoCreated(src, dst, depth, known, [&](Mat& out) {
        filter2D(src, out, depth, kernel, Point2_<int>(-1, -1), 0, BorderClamp);
    });
}

}  // namespace ip
}  // namespace tarvo
