// Sobel and Scharr derivative kernels.
#include <cstring>

#include "tarvo/ip/edges.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {

namespace {

// Largest kernel size and order: binomial coefficients of higher sizes do
// not fit the integer scratch.
constexpr int kMaxKernel = 31;

// Writes the integer kernel k[0..n) times scale into a column of depth ktype,
// rounding like Mat::convertTo with a scale.
void storeKernel(Mat& dst, const int* k, int n, int ktype, double scale) {
    if (dst.create(n, 1, ktype) < 0) return;
    for (int i = 0; i < n; i++) {
        double v = k[i] * scale;
        unsigned char* p = dst.data.ptr[i];
        switch (ktype) {
            case MAT_Tuchar:
                *p = saturate_cast<unsigned char>(v);
                break;
            case MAT_Tshort:
                *reinterpret_cast<short*>(p) = saturate_cast<short>(v);
                break;
            case MAT_Tint:
                *reinterpret_cast<int*>(p) = saturate_cast<int>(v);
                break;
            case MAT_Tfloat:
                *reinterpret_cast<float*>(p) = (float)v;
                break;
            default:
                *reinterpret_cast<double*>(p) = v;
                break;
        }
    }
}

void scharrKernel(Mat& dst, int order, bool normalize, int ktype) {
    // Orders above 1 use the second difference 1, -2, 1.
    static const int smooth[3] = {3, 10, 3}, diff[3] = {-1, 0, 1}, second[3] = {1, -2, 1};
    const int* k = order == 0 ? smooth : order == 1 ? diff : second;
    double scale = (!normalize || order == 1) ? 1.0 : 1.0 / 32;
    storeKernel(dst, k, 3, ktype, scale);
}

void sobelKernel(Mat& dst, int n, int order, bool normalize, int ktype) {
    int k[kMaxKernel + 2] = {0};
    if (n == 1) {
        k[0] = 1;
    } else if (n == 3) {
        static const int s0[3] = {1, 2, 1}, s1[3] = {-1, 0, 1}, s2[3] = {1, -2, 1};
        std::memcpy(k, order == 0 ? s0 : order == 1 ? s1 : s2, sizeof(s0));
    } else {
        k[0] = 1;
        // Smoothing: each element plus its (old) left neighbour.
        for (int it = 0; it < n - order - 1; it++)
            for (int i = n; i >= 1; i--) k[i] += k[i - 1];
        // Differencing: first element negated, each later one its old left
        // neighbour minus its old value.
        for (int it = 0; it < order; it++) {
            int old = k[0];
            k[0] = -k[0];
            for (int i = 1; i <= n; i++) {
                int cur = k[i];
                k[i] = old - cur;
                old = cur;
            }
        }
    }
    double scale = 1.0;
    if (normalize) {
        int e = n - order - 1;
        scale = e > 0 ? 1.0 / double(1u << e) : 1.0;
    }
    storeKernel(dst, k, n, ktype, scale);
}

}  // namespace

void getDerivKernels(Mat& kx, Mat& ky, int dx, int dy, int ksize, bool normalize, int ktype) {
    int depth = ktype & 7;
    if (depth < MAT_Tuchar || depth > MAT_Tdouble || dx < 0 || dy < 0 || dx > kMaxKernel ||
        dy > kMaxKernel || ksize > kMaxKernel) {
        kx.release();
        ky.release();
        return;
    }
    if (ksize <= 0) {
        scharrKernel(kx, dx, normalize, depth);
        scharrKernel(ky, dy, normalize, depth);
        return;
    }
    int nx = ksize, ny = ksize;
    if (nx == 1 && dx > 0) nx = 3;
    if (ny == 1 && dy > 0) ny = 3;
    sobelKernel(kx, nx, dx, normalize, depth);
    sobelKernel(ky, ny, dy, normalize, depth);
}

}  // namespace ip
}  // namespace tarvo
