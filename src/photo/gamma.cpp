// Gamma correction: a normalised power-law table for bytes, the curve itself
// for float and double elements.
#include <cmath>
#include <limits>

#include "detail/aliasing.h"
#include "photo/photo_internal.h"
#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

// The byte table of the last gamma this thread used. One record per thread:
// concurrent calls with different gammas cannot disturb each other, and a
// repeated gamma reuses the table. NaN never compares equal, so the first call
// builds it.
struct GammaTable {
    float gamma = std::numeric_limits<float>::quiet_NaN();
    unsigned char lut[256] = {};
};

thread_local GammaTable t_gammaTable;

// Rebuilds the table unless it was made for the same single-precision gamma.
// The table is computed from that float, so it depends on nothing but the key.
const unsigned char* gammaTable(double gamma) {
    GammaTable& t = t_gammaTable;
    const float g = float(gamma);
    if (g == t.gamma) return t.lut;
    const double gd = g;
    double v[256];
    for (int i = 0; i < 256; i++) {
        if (gd > 0)
            v[i] = std::pow(double(i), gd);
        else
            v[i] = std::log(double(i + ((i > 1 ? i : 1) >> 8)));
    }
    // log 0 is -infinity; black stays black.
    if (!(gd > 0)) v[0] = 0.0;
    const double s = 255.0 / v[255];
    for (int i = 0; i < 256; i++) t.lut[i] = (unsigned char)(truncInt(v[i] * s) & 255);
    t.gamma = g;
    return t.lut;
}

template <typename T>
void gammaRows(const Mat& src, Mat& dst, double gamma) {
    const int rows = src.rows(), cols = src.cols();
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const T* s = reinterpret_cast<const T*>(src.data.ptr[y]);
            T* d = reinterpret_cast<T*>(dst.data.ptr[y]);
            // Only the first cols elements of each row: a colour row is left
            // two thirds unprocessed, as the curve has always done here.
            for (int x = 0; x < cols; x++) {
                const double v = s[x];
                if (gamma > 0)
                    d[x] = T(std::pow(v, gamma));
                else if (gamma == 0)
                    d[x] = T(std::log((v > 1.0 ? v : 1.0) * 0.00390625 + v));
                else
                    d[x] = s[x];
            }
        }
    };
    detail::photoParallelRows(rows, double(rows) * cols * 8.0, body);
}

}  // namespace

int GammaCorrection::process(const Mat* src, Mat* dst) {
    if (!src || !dst || src->empty() || src->rows() <= 0 || src->cols() <= 0) return -1;
    const int depth = src->type();
    if (depth != MAT_Tuchar && depth != MAT_Tfloat && depth != MAT_Tdouble) return -1;
    if (dst != src && (dst->rows() != src->rows() || dst->cols() != src->cols() ||
                       dst->type1() != src->type1())) {
        dst->release();
        if (dst->create(src->rows(), src->cols(), src->type1()) < 0) return -1;
        dst->zero();
    }
    if (depth == MAT_Tuchar) {
        unsigned char lut[256];
        const unsigned char* t = gammaTable(gamma);
        for (int i = 0; i < 256; i++) lut[i] = t[i];
        detail::photoLutRows(*src, *dst, lut);
    } else if (depth == MAT_Tfloat) {
        gammaRows<float>(*src, *dst, gamma);
    } else {
        gammaRows<double>(*src, *dst, gamma);
    }
    return 0;
}

namespace ip {

void gamma(const Mat& src, Mat& dst, double gamma) {
    // A destination that owns the source's pixels: work from a copy.
    detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    GammaCorrection g;
    g.setGamma(gamma);
    g.GammaCorrection::process(&guard.get(), &dst);
}

}  // namespace ip
}  // namespace tarvo
