// Per-triangle constants of the mesh warp and the per-row kernels that turn
// them into source positions. Scalar and vector kernels evaluate the same
// float operations in the same order, so every path writes the same bytes.
#pragma once

#include <cstdint>

#include "tarvo/ip/geometry.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {

// One destination triangle, ready for the pixel walk.
struct MeshTri {
    // Edge functions E_k(x, y) = (A_k x + B_k y) + C_k; |E_k| is twice the
    // area of the pixel with the edge opposite corner k.
    float A[3], B[3], C[3];
    float limit;  // area + 1e-3 * max(area, 1): the inside test's bound on the sum
    // Barycentric constants: a = ((y1 - y2)(x - x2) - (y - y2)(x1 - x2)) d,
    // b = ((y - y2)(x0 - x2) - (y0 - y2)(x - x2)) d.
    float x2, y2, y12, x12, x02, y02, d;
    // Source corners.
    float sx0, sy0, sx1, sy1, sx2, sy2;
    int left, top, right, bottom;  // pixel box, inclusive, clamped to the image
    // The sub-areas in the triangleArea form |(vx - X)(vy - uy) + (vx - ux)(Y - vy)|
    // of the pixel with edge k from u to v (the form ip::warping tests).
    float vx[3], vy[3], hy[3], hx[3];  // hy = vy - uy, hx = vx - ux
};

// The scalar bilinear step: truncation to a byte, clamped (NaN-safe).
inline unsigned char meshTruncByte(float v) {
    // Bilinear values lie in [0, 255] up to rounding; truncInt keeps NaN safe.
    const int i = v > -1.0f && v < 256.0f ? (int)v : truncInt(v);
    return (unsigned char)(i < 0 ? 0 : i > 255 ? 255 : i);
}

// Bilinear value of channel k at (ix + fx, iy + fy): base, plus the step to
// the right times fx, plus the step down times fy, plus the cross term.
// r0 and r1 point at channel k of the base pixel and of the one below it.
inline unsigned char meshBilinearPixel(const unsigned char* r0, const unsigned char* r1, int cn,
                                       float fx, float fy) {
    const float b = r0[0], r = r0[cn], d = r1[0], rd = r1[cn];
    float v = b + (r - b) * fx;
    v = v + (d - b) * fy;
    v = v + ((b - r - d + rd) * fx) * fy;
    return meshTruncByte(v);
}

// Source positions of the pixels x0..x1-1 of row y of one triangle: for each
// pixel outside the triangle or whose source is off the interpolation area,
// ix[k] = -1; otherwise ix, iy (integer part) and fx, fy (fractions).
// maxX, maxY: cols - 1 and rows - 1 as float.
void meshRowScalar(const MeshTri& t, int y, int x0, int x1, float maxX, float maxY, int* ix,
                   int* iy, float* fx, float* fy);
// The same through vector instructions; returns the first pixel it did not
// handle (the scalar kernel completes the row), x0 when none is available.
int meshRowVector(const MeshTri& t, int y, int x0, int x1, float maxX, float maxY, int* ix, int* iy,
                  float* fx, float* fy);

// The whole vector walk of one row span: for the pixels xs..xe-1 of row y
// that pass the inside test and read inside the source, writes the bilinear
// value straight into `out` (row y of a destination of `cols` pixels of cn
// channels, cn 1, 3 or 4). The source is one continuous block of `size` bytes
// with rows `stride` bytes apart (offsets within int32). Returns false when
// no vector kernel is available (nothing written); otherwise *first and *last
// receive the first and last pixel written (*first > *last when none).
// With `area`, the inside test sums the sub-areas in the triangleArea form.
bool meshSpanVector(const MeshTri& t, int y, int xs, int xe, float maxX, float maxY,
                    const uint8_t* img, int stride, int size, int cn, uint8_t* out, int cols,
                    bool area, int* first, int* last);
// True when meshSpanVector has a vector kernel on this processor.
bool meshSpanAvailable();

}  // namespace detail
}  // namespace tarvo
