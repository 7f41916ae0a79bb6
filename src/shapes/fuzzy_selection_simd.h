// Vector kernel of the selection's mask conversions.
#pragma once

#include <cstdint>

namespace tarvo {
namespace ip {
namespace detail {

// Bytes [0, n) of p become 1 where they equal value, else 0.
void vecMaskEquals(uint8_t* p, int n, uint8_t value);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
