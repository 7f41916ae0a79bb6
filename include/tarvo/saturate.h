// The element conversions everybody needs: defined truncation of floating
// values, rounding to nearest, and saturating casts to each element type.
// Operator code converts through these helpers only, never ad hoc.
#pragma once

#include <climits>
#include <cmath>
#include <cstdint>
#include <type_traits>

namespace tarvo {

// Truncation towards zero that is defined for every input: NaN gives 0,
// values beyond the int range (infinities included) clamp to INT_MIN/INT_MAX.
inline int truncInt(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return INT_MAX;
    if (v <= -2147483648.0) return INT_MIN;
    return static_cast<int>(v);
}
inline int truncInt(float v) {
    return truncInt(static_cast<double>(v));
}

// Round to nearest, ties upwards: floor(v + 0.5), clamped like truncInt.
inline int roundInt(double v) {
    if (!(v == v)) return 0;
    // floor without a library call: truncate, then step down for negative
    // non-integers. Equal to truncInt(std::floor(v + 0.5)) everywhere.
    const double t = v + 0.5;
    if (t >= 2147483647.0) return INT_MAX;
    if (t <= -2147483648.0) return INT_MIN;
    const int i = static_cast<int>(t);
    return i - (static_cast<double>(i) > t ? 1 : 0);
}

// saturate_cast<T>(v): rounds floating values to nearest (ties upwards) and
// clamps to the range of T. Integer to integer conversions clamp.
template <typename T>
inline T saturate_cast(double v);

template <>
inline unsigned char saturate_cast<unsigned char>(double v) {
    int i = roundInt(v);
    return (unsigned char)(i < 0 ? 0 : i > 255 ? 255 : i);
}
template <>
inline signed char saturate_cast<signed char>(double v) {
    int i = roundInt(v);
    return (signed char)(i < -128 ? -128 : i > 127 ? 127 : i);
}
template <>
inline short saturate_cast<short>(double v) {
    int i = roundInt(v);
    return (short)(i < SHRT_MIN ? SHRT_MIN : i > SHRT_MAX ? SHRT_MAX : i);
}
template <>
inline unsigned short saturate_cast<unsigned short>(double v) {
    int i = roundInt(v);
    return (unsigned short)(i < 0 ? 0 : i > 65535 ? 65535 : i);
}
template <>
inline int saturate_cast<int>(double v) {
    return roundInt(v);
}
template <>
inline float saturate_cast<float>(double v) {
    return static_cast<float>(v);
}
template <>
inline double saturate_cast<double>(double v) {
    return v;
}

// Integer sources: clamp without rounding.
template <typename T>
inline T saturate_cast_int(long long v) {
    if constexpr (std::is_floating_point<T>::value) {
        return static_cast<T>(v);
    } else {
        constexpr long long lo = std::is_same<T, unsigned char>::value    ? 0
                                 : std::is_same<T, signed char>::value    ? -128
                                 : std::is_same<T, short>::value          ? SHRT_MIN
                                 : std::is_same<T, unsigned short>::value ? 0
                                                                          : INT_MIN;
        constexpr long long hi = std::is_same<T, unsigned char>::value    ? 255
                                 : std::is_same<T, signed char>::value    ? 127
                                 : std::is_same<T, short>::value          ? SHRT_MAX
                                 : std::is_same<T, unsigned short>::value ? 65535
                                                                          : INT_MAX;
        return static_cast<T>(v < lo ? lo : v > hi ? hi : v);
    }
}

// Truncating saturating cast: truncation towards zero (the library's default
// float to integer rule), then clamping to the range of T.
template <typename T>
inline T saturate_trunc(double v) {
    if constexpr (std::is_floating_point<T>::value)
        return static_cast<T>(v);
    else
        return saturate_cast_int<T>(truncInt(v));
}

}  // namespace tarvo
