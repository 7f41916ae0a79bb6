// Vector kernels of the flood fill's span walks.
#pragma once

#include <cstdint>

namespace tarvo {
namespace ip {
namespace detail {

// A pixel i of a row passes when mask[i] == 0 and each of its cn (1 or 3)
// bytes px[i * cn + k] lies within tol (0 to 255) of t[k].
// First i in [x, end) whose pass equals stop, or end.
int vecFillFindForward(const uint8_t* px, const uint8_t* mask, int x, int end, int cn,
                       const uint8_t* t, int tol, bool stop);
// Last i in (end, x], going down from x, whose pass equals stop, or end.
int vecFillFindBackward(const uint8_t* px, const uint8_t* mask, int x, int end, int cn,
                        const uint8_t* t, int tol, bool stop);
// Pixels [x0, x1): mask 255 and colour fill[0 .. cn).
void vecFillPaint(uint8_t* px, uint8_t* mask, int x0, int x1, int cn, const uint8_t* fill);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
