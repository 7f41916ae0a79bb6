// Vector kernel of the thinning marker.
#pragma once

#include <cstdint>

namespace tarvo {
namespace ip {
namespace detail {

// Marks pixels [0, n) of a row of a 0/1 image: mk[x] = c[x] when bit
// (code & 7) of table[code >> 3] is set, code being the pixel's 8-bit
// neighbour code, else 0. up, c and dn point at the first pixel of the rows
// above, at and below; x = -1 and x = n must be readable. Returns n, or 0
// (nothing done) when n is below the vector width or vectors are not in use;
// ORs every mark written into *any.
int vecThinMark(const uint8_t* up, const uint8_t* c, const uint8_t* dn, uint8_t* mk, int n,
                const uint8_t table[32], uint8_t* any);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
