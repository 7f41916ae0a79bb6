// Vector kernels of the point-set geometry.
#pragma once

#include "tarvo/types.h"

namespace tarvo {
namespace ip {
namespace detail {

// Minimum and maximum of x and y over the first k points of p (k > 0 is the
// return value, a multiple of the vector width in points, k <= n; n >= 9):
// mm = {min x, min y, max x, max y}.
int vecPointBounds(const Point2_<int>* p, int n, int* mm);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
