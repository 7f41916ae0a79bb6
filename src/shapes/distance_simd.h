// Vector row kernels of the chamfer distance passes. Each handles a whole row
// (vectors, then a scalar tail) and gives the bytes of the scalar passes.
#pragma once

#include <cstdint>

namespace tarvo {
namespace ip {
namespace detail {

// m[x] = min(r[x-1] + dg, r[x] + hv, r[x+1] + dg) for x in [0, n), every sum
// saturating at INT_MAX; r[-1] and r[n] must be readable.
void vecChamferTerms3(const int* r, int n, int hv, int dg, int* m);
// The 5 x 5 terms from the nearer row r1 (x-2 .. x+2: kn, dg, hv, dg, kn) and
// the farther row r2 (x-1, x+1: kn); r1[-2 .. n+1] and r2[-1 .. n] readable.
void vecChamferTerms5(const int* r1, const int* r2, int n, int hv, int dg, int kn, int* m);
// Left-to-right chain: out[x] = min(s[x] ? m[x] : 0, out[x-1] + w), saturating,
// with out[-1] = carry.
void vecChamferScanForward(const int* m, const uint8_t* s, int n, int w, int carry, int* out);
// Right-to-left chain: out[x] = min(fwd[x], m[x], out[x+1] + w), saturating,
// with out[n] = carry; also d[x] = float(out[x]) * scale. fwd and d may be the
// same memory.
void vecChamferScanBackward(const int* m, const int* fwd, int n, int w, int carry, float scale,
                            int* out, float* d);

// Column pass of the exact method, bottom-up step: dy[j] = s[j] ? below[j] + 1
// : 0, or s[j] ? far : 0 when below is null, for j in [0, n).
void vecColumnUp(const uint8_t* s, const int* below, int far, int n, int* dy);
// Top-down step: dist[j] = min(dist[j] + 1, dy[j]); o[j] = float(dist[j]^2)
// when dist[j] < rows, else noFeature. rows at most 46340, so squares fit.
void vecColumnDown(int* dist, const int* dy, int n, int rows, float noFeature, float* o);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
