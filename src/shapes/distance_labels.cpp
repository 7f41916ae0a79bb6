// Labels of zero regions for the labelled distance transform.
#include "shapes/distance_internal.h"

namespace tarvo {
namespace ip {
namespace detail {

// Not written yet: needs the contour search. Labels stay zero meanwhile.
void labelZeroRegions(const Mat&, Mat&, int) {}

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
