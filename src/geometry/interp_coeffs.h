// Coefficient rows of the cubic (A = -0.75) and 8-tap Lanczos interpolators,
// shared by resize and remap: c[0..3] or c[0..7] for the fraction x in [0, 1).
#pragma once

#include <cfloat>
#include <cmath>

namespace tarvo {
namespace detail {

constexpr double kInterpPi = 3.14159265358979323846;

inline void interpolateCubic(float x, float* c) {
    const float A = -0.75f;
    c[0] = ((A * (x + 1) - 5 * A) * (x + 1) + 8 * A) * (x + 1) - 4 * A;
    c[1] = ((A + 2) * x - (A + 3)) * x * x + 1;
    c[2] = ((A + 2) * (1 - x) - (A + 3)) * (1 - x) * (1 - x) + 1;
    c[3] = 1.f - c[0] - c[1] - c[2];
}

// Lanczos window of 8 taps at fraction x. Tap i sits at distance t = x + 3 - i;
// with y = -t pi / 4 the window is sin(4y) sin(y) / y^2 up to a constant, and
// sin(4y) only changes sign from tap to tap, so tap i is
// (a_i sin(y0) + b_i cos(y0)) / y^2 with the fixed rotation pairs below.
inline void interpolateLanczos4(float x, float* c) {
    static const double s45 = 0.7071067811865476;
    static const double cs[8][2] = {{1, 0},  {-s45, -s45}, {0, 1},  {s45, -s45},
                                    {-1, 0}, {s45, s45},   {0, -1}, {-s45, s45}};
    if (x < FLT_EPSILON) {
        for (int i = 0; i < 8; i++) c[i] = 0;
        c[3] = 1;
        return;
    }
    float sum = 0;
    const double y0 = -(x + 3) * kInterpPi * 0.25, s0 = std::sin(y0), c0 = std::cos(y0);
    for (int i = 0; i < 8; i++) {
        const double y = -(x + 3 - i) * kInterpPi * 0.25;
        c[i] = (float)((cs[i][0] * s0 + cs[i][1] * c0) / (y * y));
        sum += c[i];
    }
    sum = 1.f / sum;
    for (int i = 0; i < 8; i++) c[i] *= sum;
}

}  // namespace detail
}  // namespace tarvo
