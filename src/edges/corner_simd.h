// Vector kernels of the corner detectors. Each returns the index where it
// stopped; the caller's scalar loop finishes the row with identical results.
// They do nothing (return their start) when vector code is switched off.
#pragma once

namespace tarvo {
namespace detail {

// FAST predicate and score of the centres x in [start, end) of one row:
// where arcLength (9..12) consecutive ring pixels are all above p + b or all
// below p - b, flags[x] becomes the score plus one (the smallest difference
// to p on the best arc, so at least b + 1), else 0. rows holds the seven rows y - 3 ..
// y + 3; each is read at x - 3 .. x + 3. Only 0 <= b: the caller handles
// negative barriers.
int fastCornerRow(const unsigned char* const* rows, int b, int arcLength, unsigned char* flags,
                  int start, int end);

}  // namespace detail
}  // namespace tarvo
