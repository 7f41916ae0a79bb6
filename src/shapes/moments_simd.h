// Vector kernel of the byte moment tiles.
#pragma once

#include <cstdint>

namespace tarvo {
namespace detail {

// Raw moments of `tiles` consecutive 32 x h byte tiles (h <= 32) whose rows
// start at rows[0 .. h - 1], each in its own coordinates, in the order m00,
// m10, m01, m20, m11, m02, m30, m21, m12, m03. With binary set every non-zero
// pixel counts 1. Every sum fits 32 bits. Returns false (nothing written)
// when vectors are not in use.
bool vecMomentTiles(const uint8_t* const* rows, int h, int tiles, bool binary, uint32_t* out);

}  // namespace detail
}  // namespace tarvo
