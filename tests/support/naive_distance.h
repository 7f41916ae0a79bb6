// Slow, obvious references of the distance transforms and moments: shortest
// paths over the chamfer moves, brute-force nearest features, and moments as
// direct sums over all pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// Shortest path lengths (int, fixed point as given) from every pixel to the
// nearest zero pixel of a one-channel byte image, moving between pixels of the
// image by the steps of a 3 x 3 (w[2] unused) or 5 x 5 chamfer mask: adjacent
// w[0], diagonal w[1], knight w[2]. Pixels that reach no zero get INT64_MAX.
std::vector<int64_t> chamferShortestPaths(const Mat& src, const int w[3], int maskSize);

// Chamfer length of the shortest path from (0, 0) to (dx, dy) on an unbounded
// grid, for |dx|, |dy| <= radius; table[(dy + radius) * (2 radius + 1) + dx + radius].
std::vector<int64_t> chamferOffsets(const int w[3], int maskSize, int radius);

// Smallest squared Euclidean distance from every pixel to a pixel for which
// isFeature is true (-1 when there is none), row-major.
std::vector<int64_t> nearestSquared(const Mat& src, bool (*isFeature)(unsigned char));

// The ten raw moments m00, m10, m01, m20, m11, m02, m30, m21, m12, m03 as
// direct sums over the pixels of a one-channel image, in long double. With
// binary, every non-zero pixel counts 1.
void directMoments(const Mat& img, bool binary, long double m[10]);

}  // namespace test
}  // namespace tarvo
