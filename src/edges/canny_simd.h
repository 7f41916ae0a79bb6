// Vector kernels of the Canny detector. Each returns the index where it
// stopped; the caller's scalar loop finishes the row with identical results.
// They do nothing (return their start) when vector code is switched off.
#pragma once

namespace tarvo {
namespace detail {

// Both gradients of one interior row for indices [start, n) with pixels cn
// elements apart (the 16-bit results of the scalar formulas).
int cannyGradientsRow(const unsigned char* up, const unsigned char* mid, const unsigned char* dn,
                      short* dx, short* dy, int cn, int start, int n);
// norm[j] = |dx[j]| + |dy[j]| in 32 bits for j in [0, n).
int cannyNormRow(const short* dx, const short* dy, int* norm, int n);
// flags[j] = 1 where the magnitude m[j] is above low and a local maximum
// across the gradient direction given by (dx[j], dy[j]), else 0; j in [0, n).
// above and below are the magnitude rows of the neighbouring image rows;
// m, above and below are readable at -1 and n.
int cannyMaximaRow(const int* m, const int* above, const int* below, const short* dx,
                   const short* dy, int low, unsigned char* flags, int n);
// out[j] = 255 where map[j] is 2, else 0, for j in [0, n).
int cannyOutputRow(const unsigned char* map, unsigned char* out, int n);

}  // namespace detail
}  // namespace tarvo
