// The sixteen interpolation kernels of the transformation operators and the
// Bessel function behind one of them.
#include <cmath>

#include "geometry/transform_sampler.h"

namespace tarvo {
namespace detail {

namespace {

constexpr float kPiF = 3.14159265358979f;

float sincF(float x) {
    if (x == 0.0f) return 1.0f;
    const float px = kPiF * x;
    return std::sin(px) / px;
}

}  // namespace

double besselJ1(double x) {
    const double ax = std::fabs(x);
    if (ax < 8.0) {
        const double y = x * x;
        const double num =
            x *
            (72362614232.0 +
             y * (-7895059235.0 +
                  y * (242396853.1 + y * (-2972611.439 + y * (15704.48260 + y * (-30.16036606))))));
        const double den =
            144725228442.0 +
            y * (2300535178.0 + y * (18583304.74 + y * (99447.43394 + y * (376.9991397 + y))));
        return num / den;
    }
    if (!(ax < HUGE_VAL)) return 0.0;  // infinities and NaN
    const double z = 8.0 / ax, y = z * z, xx = ax - 2.356194491;
    const double p =
        1.0 +
        y * (0.183105e-2 + y * (-0.3516396496e-4 + y * (0.2457520174e-5 + y * (-0.240337019e-6))));
    const double q =
        0.04687499995 +
        y * (-0.2002690873e-3 + y * (0.8449199096e-5 + y * (-0.88228987e-6 + y * 0.105787412e-6)));
    const double r = std::sqrt(0.636619772 / ax) * (std::cos(xx) * p - z * std::sin(xx) * q);
    return x < 0.0 ? -r : r;
}

float transformKernel(int method, float x) {
    const float ax = std::fabs(x);
    switch (method) {
        case InterpBSpline: {
            if (x > 2.0f) return 0.0f;
            auto p3 = [](float t) { return t > 0.0f ? t * t * t : 0.0f; };
            return (p3(x + 2.0f) - 4.0f * p3(x + 1.0f) + 6.0f * p3(x) - 4.0f * p3(x - 1.0f)) / 6.0f;
        }
        case InterpCubicSharp:
            if (ax < 1.0f) return 1.0f - 2.0f * x * x + ax * ax * ax;
            if (ax < 2.0f) return 4.0f - 8.0f * ax + 5.0f * x * x - ax * ax * ax;
            return 0.0f;
        case InterpCubicHalf: {
            const float a = -0.5f;
            if (ax < 1.0f) return (a + 2.0f) * ax * ax * ax - (a + 3.0f) * x * x + 1.0f;
            if (ax < 2.0f) return a * ax * ax * ax - 5.0f * a * x * x + 8.0f * a * ax - 4.0f * a;
            return 0.0f;
        }
        case InterpLanczos:
            if (ax > 6.0f) return 0.0f;
            return sincF(x) * sincF(x / 6.0f);
        case InterpBox:
            return x >= -0.5f && x < 0.5f ? 1.0f : 0.0f;
        case InterpHermite:
            if (x >= -1.0f && x < 0.0f) return 1.0f - (2.0f * x + 3.0f) * x * x;
            if (x >= 0.0f && x <= 1.0f) return (2.0f * x - 3.0f) * x * x + 1.0f;
            return 0.0f;
        case InterpHermiteScaled:
            if (x >= -1.0f && x < 0.0f) return 1.0f - (2.0f * x + 3.0f) * 0.92f * x * x;
            if (x >= 0.0f && x <= 1.0f) return (2.0f * x - 3.0f) * 0.92f * x * x + 1.0f;
            return 0.0f;
        case InterpSinc:
            return sincF(x);
        case InterpBlackman:
            return 0.42f + 0.5f * std::cos(kPiF * x) + 0.08f * std::cos(2.0f * kPiF * x);
        case InterpBessel:
            if (x == 0.0f) return 0.7853982f;
            return float(besselJ1(double(kPiF * x))) / (2.0f * x);
        case InterpGaussian:
            return std::exp(-2.0f * x * x) * 0.7978846f;
        case InterpQuadratic:
            if (x >= -1.5f && x < -0.5f) return (x + 1.5f) * (x + 1.5f) / 2.0f;
            if (x >= -0.5f && x < 0.5f) return 0.75f - x * x;
            if (x >= 0.5f && x <= 1.5f) return (x - 1.5f) * (x - 1.5f) / 2.0f;
            return 0.0f;
        case InterpMitchell:
            if (x >= -2.0f && x < -1.0f)
                return 1.7777778f - (-3.3333333f - (2.0f - x * (-0.38888887f)) * x) * x;
            if (x >= -1.0f && x < 0.0f) return 0.8888889f - x * x * (1.1666666f * x + 2.0f);
            if (x >= 0.0f && x < 1.0f) return x * x * (1.1666666f * x - 2.0f) + 0.8888889f;
            if (x >= 1.0f && x <= 2.0f)
                return ((2.0f - 0.38888887f * x) * x - 3.3333333f) * x + 1.7777778f;
            return 0.0f;
        case InterpCatmullRom:
            if (x >= -2.0f && x < -1.0f) return (((x + 5.0f) * x + 8.0f) * x + 4.0f) / 2.0f;
            if (x >= -1.0f && x < 0.0f) return (2.0f - x * x * (3.0f * x + 5.0f)) / 2.0f;
            if (x >= 0.0f && x < 1.0f) return (x * x * (3.0f * x - 5.0f) + 2.0f) / 2.0f;
            if (x >= 1.0f && x <= 2.0f) return (((5.0f - x) * x - 8.0f) * x + 4.0f) / 2.0f;
            return 0.0f;
        default:
            return 0.0f;
    }
}

}  // namespace detail
}  // namespace tarvo
