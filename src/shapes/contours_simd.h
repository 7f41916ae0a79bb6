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
// For each block b < blocks of 64 bytes at p + 64 b and i in 0..63, with cur =
// the block's byte i and prev the byte before it (reads p[-1] to
// p[64 blocks - 1]): bit i of events[b] is set where the row scan meets a border
// start, prev 0 and cur 1 (outer) or cur 0 and prev a positive signed byte
// (hole); bit i of labels[b] where cur differs from prev and is neither 0 nor 1
// (a labelled run begins).
typedef void (*ScanBitsFn)(const uint8_t*, int, uint64_t*, uint64_t*);
ScanBitsFn scanBitsKernel();
// dst[i] = src[i] != 0 for i < n.
void vecBinarise(const uint8_t* src, uint8_t* dst, int n);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
