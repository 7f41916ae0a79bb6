// Luminance machinery of the histogram operators: statistics of Y over a
// colour image and the Y -> Y' remapping through float Y, U, V.
#pragma once

#include <cstdint>
#include <vector>

#include "photo/color_internal.h"
#include "photo/photo_internal.h"
#include "tarvo/mat.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {

// Y, U, V of one byte pixel in float, exactly as ColorSpace::RGBtoYUV computes
// them on a float image (U and V centred on 0).
inline void histToYuv(const unsigned char* p, float& y, float& u, float& v) {
    const float r = p[0], g = p[1], b = p[2];
    y = g + 0.299f * (r - g) + 0.114f * (b - g);
    u = (b - y) / 1.772f;
    v = (r - y) / 1.402f;
}
// The same for a pixel of cn channels: channels 0..2 are R, G, B when there
// are at least three; a two-channel pixel is grey plus a second channel, its
// colour (v, v, v).
inline void histToYuv(const unsigned char* p, int cn, float& y, float& u, float& v) {
    if (cn >= 3) return histToYuv(p, y, u, v);
    const float r = p[0], g = p[0], b = p[0];
    y = g + 0.299f * (r - g) + 0.114f * (b - g);
    u = (b - y) / 1.772f;
    v = (r - y) / 1.402f;
}

// R, G, B bytes from float Y, U, V as ColorSpace::YUVtoRGB computes them in
// float, rounded to nearest and saturated.
inline void histFromYuv(float y, float u, float v, unsigned char* d) {
    const float gu = float(0.114 * 1.772 / 0.587), gv = float(0.299 * 1.402 / 0.587);
    const float r = y + 1.402f * v, b = y + 1.772f * u;
    const float g = y - gu * u - gv * v;
    d[0] = saturate_cast<unsigned char>(double(r));
    d[1] = saturate_cast<unsigned char>(double(g));
    d[2] = saturate_cast<unsigned char>(double(b));
}

// Statistics of Y over the cols pixels of each row of a byte image of two or
// more channels (see histToYuv).
struct LumaStats {
    float minY = 0.0f, maxY = 0.0f;
    long long hist[256] = {};  // counts of trunc(Y), clamped to 0..255
};

// Fills stats (the histogram only when wantHist). Stripes of rows are
// reduced separately and combined, so the result does not depend on threads.
void histLumaStats(const Mat& src, bool wantHist, LumaStats& stats);

// Rounds a float colour sample to a byte: floor(v + 0.5) saturated to 0..255,
// as saturate_cast does for finite values. Clamping before the conversion
// makes truncation equal floor and keeps the cast in range, which lets the
// compiler vectorise the loop (NaN cannot reach here: the curves are finite).
inline unsigned char histRoundByte(float v) {
    double t = double(v) + 0.5;
    t = t < 0.0 ? 0.0 : t;
    t = t > 255.0 ? 255.0 : t;
    return static_cast<unsigned char>(static_cast<int>(t));
}

// Vector forms of the conversions above over a prefix of n packed RGB pixels
// (each returns how many it did; the caller finishes with the scalar code):
// Y, U, V planes from bytes; bytes from Y, U, V planes, rounded as
// histRoundByte; the minimum and maximum of Y (left alone when it does none).
int photoToYuv(const uint8_t* src, int n, float* Y, float* U, float* V);
int photoFromYuv(const float* Y, const float* U, const float* V, int n, uint8_t* dst);
int photoLumaMinMax(const uint8_t* src, int n, float* lo, float* hi);

// What vector code needs to know of a Y curve (map stays the reference):
// with a table, map(Y) = table[trunc(Y) & 255]; without one it is
// float(trunc(clamp(((double(Y) - lo) * mul) / div + add, 0, 255))) with
// finite values. photoAffineMap applies the latter to a prefix of the n
// values of Y (in place), photoTableMap the former; both return how many they
// did. `post`, when given, is a byte table applied to the resulting bytes (a
// later whole-image table pass, done while the chunk is at hand).
struct LumaAffine {
    double lo = 0.0, mul = 1.0, div = 1.0, add = 0.0;
    const float* table = nullptr;
    const unsigned char* post = nullptr;
};
int photoTableMap(float* Y, int n, const float* table);
int photoAffineMap(float* Y, int n, const LumaAffine& a);

// dst pixel = src pixel with its Y replaced by map(Y), for byte images of
// two or more channels (see histToYuv) and the same size and layout; dst may
// be src. map must be a pure function. Rows are done in chunks: the
// conversions run as plain loops over arrays, the curve in between. On
// three-channel images `curve`, when given, lets vector code apply the curve
// (and its byte table after it).
template <typename F>
void histRemapLuma(const Mat& src, Mat& dst, const F& map, const LumaAffine* curve = nullptr) {
    const int cols = src.cols(), cn = src.channels();
    constexpr int kChunk = 256;
    // The vector kernels read and write packed RGB.
    const bool vec = cn == 3 && checkHardwareSupport(CPU_FLOAT_VECTORS);
    const bool post = cn == 3 && curve && curve->post;
    uint8_t chain[256];
    if (vec && post) photoLutChain(curve->post, chain);
    const auto body = [&](int y0, int y1) {
        float Y[kChunk], U[kChunk], V[kChunk];
        for (int y = y0; y < y1; y++) {
            const unsigned char* s = src.data.ptr[y];
            unsigned char* d = dst.data.ptr[y];
            for (int x0 = 0; x0 < cols; x0 += kChunk) {
                const int n = cols - x0 < kChunk ? cols - x0 : kChunk;
                const unsigned char* sp = s + size_t(cn) * x0;
                unsigned char* dp = d + size_t(cn) * x0;
                int i = vec ? photoToYuv(sp, n, Y, U, V) : 0;
                for (; i < n; i++) histToYuv(sp + cn * i, cn, Y[i], U[i], V[i]);
                i = 0;
                if (vec && curve)
                    i = curve->table ? photoTableMap(Y, n, curve->table)
                                     : photoAffineMap(Y, n, *curve);
                for (; i < n; i++) Y[i] = map(Y[i]);
                const float gu = float(0.114 * 1.772 / 0.587), gv = float(0.299 * 1.402 / 0.587);
                for (i = vec ? photoFromYuv(Y, U, V, n, dp) : 0; i < n; i++) {
                    const float r = Y[i] + 1.402f * V[i], b = Y[i] + 1.772f * U[i];
                    const float g = Y[i] - gu * U[i] - gv * V[i];
                    if (cn == 3) {
                        dp[3 * i] = histRoundByte(r);
                        dp[3 * i + 1] = histRoundByte(g);
                        dp[3 * i + 2] = histRoundByte(b);
                    } else if (cn == 2) {
                        // Grey plus a second channel: r = g = b, the second is kept.
                        dp[2 * i] = histRoundByte(r);
                        dp[2 * i + 1] = sp[2 * i + 1];
                    } else {
                        // Channels past B (alpha) are kept.
                        unsigned char* q = dp + cn * i;
                        const unsigned char* p = sp + cn * i;
                        q[0] = histRoundByte(r);
                        q[1] = histRoundByte(g);
                        q[2] = histRoundByte(b);
                        for (int k = 3; k < cn; k++) q[k] = p[k];
                    }
                }
                if (post) {
                    int j = vec ? photoLutU8(dp, dp, 3 * n, chain) : 0;
                    for (; j < 3 * n; j++) dp[j] = curve->post[dp[j]];
                }
            }
        }
    };
    photoParallelRows(src.rows(), double(src.rows()) * cols, body);
}

}  // namespace detail
}  // namespace tarvo
