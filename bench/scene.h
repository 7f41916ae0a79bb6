// A synthetic photograph-like picture for the edge benchmarks: smooth
// shading, blocks and light noise, one-channel bytes.
#pragma once

#include <cmath>
#include <random>

#include "tarvo/mat.h"

namespace tarvo {
namespace bench {

inline Mat edgeScene(int w, int h) {
    Mat m(h, w, MAT_Tuchar);
    std::mt19937 rng(1);
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++)
            m.data.ptr[y][x] =
                (unsigned char)(((x / 40 + y / 30) % 2) * 120 + 60 +
                                50 * std::sin(x * 0.01) * std::cos(y * 0.013) + (rng() % 6));
    return m;
}

}  // namespace bench
}  // namespace tarvo
