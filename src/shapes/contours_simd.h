// Vector kernels of the contour scan and their scalar references.
#pragma once

#include <cstdint>

namespace tarvo {
namespace ip {
namespace detail {

// First index i in [x, end) with row[i] != prev, or end.
inline int findNextDiffScalar(const uint8_t* row, int x, int end, uint8_t prev) {
    while (x < end && row[x] == prev) x++;
    return x;
}
// The same with vector compares; identical result.
int vecFindNextDiff(const uint8_t* row, int x, int end, uint8_t prev);
typedef int (*FindNextDiffFn)(const uint8_t*, int, int, uint8_t);
// The vector search chosen for this processor, to call without dispatch per call.
FindNextDiffFn findNextDiffKernel();
// dst[i] = src[i] != 0 for i < n.
void vecBinarise(const uint8_t* src, uint8_t* dst, int n);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
