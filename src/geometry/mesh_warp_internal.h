// Per-triangle constants of the mesh warp and the per-row kernels that turn
// them into source positions. Scalar and vector kernels evaluate the same
// float operations in the same order, so every path writes the same bytes.
#pragma once

#include <cstdint>

#include "tarvo/ip/geometry.h"

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
};

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

// Bilinear values of n pixels of cn channels (1, 3 or 4; others: none) at
// (ix[k] + fx[k], iy[k] + fy[k]) of a continuous byte image of `size` bytes
// (rows stride bytes apart, offsets within int32) into vals[cn k + c], as the
// scalar step computes them; entries with ix < 0 are left meaningless.
// Returns how many pixels it handled.
int meshBilinear(const uint8_t* img, int stride, int size, int cn, const int* ix, const int* iy,
                 const float* fx, const float* fy, int n, uint8_t* vals);

}  // namespace detail
}  // namespace tarvo
