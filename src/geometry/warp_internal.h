// Internal pieces of the warps shared by the scalar loops and the vector kernel.
#pragma once

#include <cstdint>

namespace tarvo {
class Mat;
namespace detail {

// 10-bit bilinear of four bytes; fx, fy in 0..1023. The products replace the
// shifts of the textbook form so that negative factors stay defined; no
// partial sum leaves 32 bits.
inline int bilinear10(int p00, int p01, int p10, int p11, int fx, int fy) {
    const int v = ((p10 * fy + p01 * fx) * 1024 + (p11 - p10 - p01 + p00) * (fx * fy) +
                   (1024 - (fx + fy)) * 1024 * p00) >>
                  20;
    return v > 255 ? 255 : v;
}

// Fixed-point position along an axis of n samples: index and 10-bit fraction.
// Positions below 0 (and NaN) give 0, above n - 2 give n - 2; a single sample
// keeps both taps on index 0.
inline void fixedPos(float s, int n, int& i0, int& i1, int& f) {
    int x;
    if (n < 2) {
        i0 = i1 = 0;
        f = 0;
        return;
    }
    if (s < 0.0f)
        x = 0;
    else if (s > float(n - 2))
        x = (n - 1) * 1024 - 1024;
    else if (s == s)
        x = int(s * 1024.0f);  // 0 .. (n - 2) * 1024: in range
    else
        x = 0;
    i0 = x >> 10;
    i1 = i0 + 1;
    f = x & 1023;
}

// A source viewed as one block of bytes: rows `pitch` bytes apart from `base`,
// and the number of bytes from `base` that may be read (the last row's end,
// plus the padding behind owned pixels).
struct ByteImage {
    const uint8_t* base;
    int32_t pitch;
    int32_t readable;
    int cols, rows, cn;
};

// Fills `out` for a matrix whose rows are evenly spaced; false otherwise (or
// when offsets would need more than 31 bits).
bool byteImageOf(const Mat& m, ByteImage& out);

// The byte affine warp at (sx, sy): the scalar reference of one pixel.
inline void warpPixel8u(const ByteImage& s, float sx, float sy, uint8_t* d) {
    int x0, x1, y0, y1, fx, fy;
    fixedPos(sx, s.cols, x0, x1, fx);
    fixedPos(sy, s.rows, y0, y1, fy);
    const uint8_t* r0 = s.base + (long long)y0 * s.pitch;
    const uint8_t* r1 = s.base + (long long)y1 * s.pitch;
    const int cn = s.cn;
    for (int k = 0; k < cn; k++)
        d[k] = (uint8_t)bilinear10(r0[x0 * cn + k], r0[x1 * cn + k], r1[x0 * cn + k],
                                   r1[x1 * cn + k], fx, fy);
}

// One row of the byte affine warp: pixel j at the running float sums
// sx0 + ax + ... + ax and sy0 + ay + ... (j steps, each rounded, as the
// scalar loop adds them), n pixels, cn 1 to 4, source at least 2 x 2.
void warpAffineRow8u(const ByteImage& s, float sx0, float sy0, float ax, float ay, uint8_t* dst,
                     int n);

// One row of the float affine warp (edges repeated, float weights), cn 1 to 4;
// `pitch` in floats; positions as for the byte row.
void warpAffineRow32f(const float* base, int32_t pitch, int cols, int rows, int cn, float sx0,
                      float sy0, float ax, float ay, float* dst, int n);

// One row of the byte perspective warp from the running sums X, Y, W of each
// pixel: only pixels whose position lies inside are written. Source at least 2 x 2.
void warpPerspectiveRow8u(const ByteImage& s, const float* X, const float* Y, const float* W,
                          uint8_t* dst, int n);

// remap's linear byte routine on a leading part of n positions (xy pairs,
// fraction codes a or null). Taps outside the source read fill[k] (edge 1)
// or the nearest edge pixel (edge 2); with edge 0 it stops at the first group
// of positions holding one whose 2 x 2 taps are not all inside. It also stops
// at a group that would read past `readable`. `packed` holds each code's four
// weights as two (low, high) 16-bit pairs. Returns how many positions it wrote.
int remapLinearRow8u(const ByteImage& s, const short* xy, const unsigned short* a,
                     const uint32_t* packed, int edge, const uint8_t* fill, uint8_t* dst, int n);

// remap's cubic (ksize 4) or Lanczos (ksize 8) byte routine on a leading part
// of n positions: groups whose taps all lie inside, and with `fill` (the fill
// border's values) groups whose taps all lie outside. `pairs` holds each
// code's weights, row by row, as 16-bit pairs (code 0: zeros, the whole pixel).
// Returns how many positions it wrote.
int remapTapsRow8u(const ByteImage& s, int ksize, const short* xy, const unsigned short* a,
                   const uint32_t* pairs, const uint8_t* fill, uint8_t* dst, int n);

// Map coordinates to tile positions and fraction codes (round(v 32), ties up)
// for a leading part of n positions; x[i * step], y[i * step]. Stops at the
// first group holding NaN or a coordinate of 2^25 or more in magnitude.
int mapToFixed(const float* x, const float* y, int step, short* xy, unsigned short* a, int n);

// Resampling passes. Horizontal: for output columns x in [0, n), the sum over
// the taps i of w[i * wstride + x] times row[first[x] + i cn + k], channel k,
// accumulated from 0 in tap order, stored interleaved (cn 1 to 4). Vertical:
// out[e] = sum over j of wy[j] rows[j][e] in order from 0; the byte form then
// clamps to 0..255 (NaN 0) and truncates.
void resampleHorizontal(const float* row, const int32_t* first, const float* w, int wstride,
                        int taps, int cn, float* out, int n);
void resampleVertical(const float* const* rows, const float* wy, int taps, float* out, int n);
void resampleVertical8u(const float* const* rows, const float* wy, int taps, uint8_t* out, int n);

// A quarter turn (type: 0 left, 1 right, 2 half) of the source block rows
// [y0, y1), columns [x0, x1) of pixels of es bytes (3 or 4) into dst; both
// are row tables. Groups of 4 x 4 pixels are turned in vector registers, the
// rest pixel by pixel; writes stay inside the block's destination.
void quarterTurnBlock(const uint8_t* const* src, uint8_t* const* dst, int es, int type, int rows,
                      int cols, int y0, int y1, int x0, int x1);

// The constant row pitch of a matrix's rows in bytes, or -1 when the rows are
// not evenly spaced or span 2^31 bytes or more (the kernels use 32-bit offsets).
long long evenPitch(const unsigned char* const* rows, int nrows, int rowBytes);

}  // namespace detail
}  // namespace tarvo
