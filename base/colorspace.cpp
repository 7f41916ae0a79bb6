// Colour space conversions; the formulas are written out in tarvo/colorspace.h.
#include <cmath>
#include <cstring>
#include <type_traits>

#include "colorspace_simd.h"
#include "detail/aliasing.h"
#include "detail/parallel_rows.h"
#include "mat_internal.h"
#include "tarvo/colorspace.h"
#include "tarvo/saturate.h"

namespace tarvo {

using detail::withDepth;

namespace {

// Runs fill(out) on a destination of the given shape: dst itself (its
// storage kept when it fits), or a temporary swapped in afterwards when dst
// shares memory with the source.
template <typename F>
void produce(const Mat& src, Mat& dst, int type, F&& fill) {
    if (detail::sharesMemory(src, dst)) {
        Mat out(src.rows(), src.cols(), type);
        if (out.empty()) return;
        fill(out);
        dst = std::move(out);
        return;
    }
    if (dst.create(src.rows(), src.cols(), type) < 0) return;
    fill(dst);
}

bool colourSource(const Mat& src) {
    return src.isValid() && src.channels() >= 3 && detail::validDepth(src.type());
}

// floor(n / 1000) for any sign.
inline long long floorDiv1000(long long n) {
    long long q = n / 1000;
    return (n % 1000 != 0 && n < 0) ? q - 1 : q;
}

// Luminance of one pixel with the grey-preserving formulas.
template <typename T>
inline T luma(T r, T g, T b) {
    if constexpr (std::is_same<T, float>::value) {
        return g + 0.299f * (r - g) + 0.114f * (b - g);
    } else if constexpr (std::is_same<T, double>::value) {
        return g + 0.299 * (r - g) + 0.114 * (b - g);
    } else if constexpr (std::is_same<T, unsigned char>::value) {
        return T((299 * int(r) + 587 * int(g) + 114 * int(b) + 500) / 1000);
    } else {
        // The weighted mean of in-range values stays in range.
        return T(floorDiv1000(299LL * r + 587LL * g + 114LL * b + 500));
    }
}

// Vector luminance of the leading pixels of a row, for the depths that have
// a kernel; returns how many pixels it wrote.
template <typename T>
inline int greyRow(const T* s, T* d, int n, int cn, bool rgb) {
    if constexpr (std::is_same<T, unsigned char>::value)
        return detail::greyRowU8(s, d, n, cn, rgb);
    else if constexpr (std::is_same<T, float>::value)
        return detail::greyRowF32(s, d, n, cn, rgb);
    else if constexpr (std::is_same<T, double>::value)
        return detail::greyRowF64(s, d, n, cn, rgb);
    else
        return (void)s, (void)d, (void)n, (void)cn, (void)rgb, 0;
}

template <typename T>
constexpr double chromaOffset() {
    return std::is_same<T, unsigned char>::value ? 128.0 : 0.0;
}

// sRGB companding for one component in 0..1.
inline double srgbLinear(double c) {
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

inline double labF(double t) {
    const double d = 6.0 / 29.0;
    return t > d * d * d ? std::cbrt(t) : t / (3.0 * d * d) + 4.0 / 29.0;
}

inline void linearToLab(double r, double g, double b, double& L, double& A, double& B) {
    const double x = (0.4124564 * r + 0.3575761 * g + 0.1804375 * b) / 0.95047;
    const double y = 0.2126729 * r + 0.7151522 * g + 0.0721750 * b;
    const double z = (0.0193339 * r + 0.1191920 * g + 0.9503041 * b) / 1.08883;
    const double fx = labF(x), fy = labF(y), fz = labF(z);
    L = 116.0 * fy - 16.0;
    A = 500.0 * (fx - fy);
    B = 200.0 * (fy - fz);
}

}  // namespace

void ColorSpace::RGBtoGray(const Mat& src, Mat& dst, int format) {
    if (format != BMP_RGB && format != BMP_BGR) return;
    if (!src.isValid() || !detail::validDepth(src.type())) return;
    if (src.channels() == 1) {
        if (&dst != &src) dst = src;
        return;
    }
    if (!colourSource(src)) return;
    const int cn = src.channels();
    const int ri = format == BMP_RGB ? 0 : 2, bi = 2 - ri;
    const bool vec = checkHardwareSupport(CPU_FLOAT_VECTORS);
    produce(src, dst, src.type(), [&](Mat& out) {
        withDepth(src.type(), [&](auto t) {
            using T = decltype(t);
            detail::parallelRows(src.rows(), double(src.rows()) * src.cols(), [&](int y0, int y1) {
                for (int y = y0; y < y1; y++) {
                    const T* s = src.ptr<T>(y);
                    T* d = out.ptr<T>(y);
                    const int x0 = vec ? greyRow(s, d, src.cols(), cn, ri == 0) : 0;
                    s += size_t(x0) * cn;
                    for (int x = x0; x < src.cols(); x++, s += cn)
                        d[x] = luma<T>(s[ri], s[1], s[bi]);
                }
            });
        });
    });
}

void ColorSpace::GraytoRGB(const Mat& src, Mat& dst, int format) {
    if (format != BMP_RGB && format != BMP_BGR) return;
    if (!src.isValid() || !detail::validDepth(src.type())) return;
    if (src.channels() >= 3) {
        if (&dst != &src) dst = src;
        return;
    }
    if (src.channels() != 1) return;
    produce(src, dst, MAKETYPE(src.type(), 3), [&](Mat& out) {
        withDepth(src.type(), [&](auto t) {
            using T = decltype(t);
            detail::parallelRows(src.rows(), double(src.rows()) * src.cols(), [&](int y0, int y1) {
                for (int y = y0; y < y1; y++) {
                    const T* s = src.ptr<T>(y);
                    T* d = out.ptr<T>(y);
                    for (int x = 0; x < src.cols(); x++, d += 3) d[0] = d[1] = d[2] = s[x];
                }
            });
        });
    });
}

void ColorSpace::RGBtoYUV(const Mat& src, Mat& dst) {
    if (!colourSource(src)) return;
    const int cn = src.channels();
    produce(src, dst, MAKETYPE(src.type(), 3), [&](Mat& out) {
        withDepth(src.type(), [&](auto t) {
            using T = decltype(t);
            detail::parallelRows(src.rows(), double(src.rows()) * src.cols(), [&](int y0, int y1) {
                for (int y = y0; y < y1; y++) {
                    const T* s = src.ptr<T>(y);
                    T* d = out.ptr<T>(y);
                    for (int x = 0; x < src.cols(); x++, s += cn, d += 3) {
                        const T Y = luma<T>(s[0], s[1], s[2]);
                        if constexpr (std::is_same<T, float>::value) {
                            d[1] = (s[2] - Y) / 1.772f;
                            d[2] = (s[0] - Y) / 1.402f;
                        } else if constexpr (std::is_same<T, double>::value) {
                            d[1] = (s[2] - Y) / 1.772;
                            d[2] = (s[0] - Y) / 1.402;
                        } else {
                            const double o = chromaOffset<T>();
                            d[1] = saturate_cast<T>(o + (double(s[2]) - double(Y)) / 1.772);
                            d[2] = saturate_cast<T>(o + (double(s[0]) - double(Y)) / 1.402);
                        }
                        d[0] = Y;
                    }
                }
            });
        });
    });
}

void ColorSpace::YUVtoRGB(const Mat& src, Mat& dst) {
    if (!colourSource(src)) return;
    const int cn = src.channels();
    const double gu = 0.114 * 1.772 / 0.587, gv = 0.299 * 1.402 / 0.587;
    produce(src, dst, MAKETYPE(src.type(), 3), [&](Mat& out) {
        withDepth(src.type(), [&](auto t) {
            using T = decltype(t);
            detail::parallelRows(src.rows(), double(src.rows()) * src.cols(), [&](int y0, int y1) {
                for (int y = y0; y < y1; y++) {
                    const T* s = src.ptr<T>(y);
                    T* d = out.ptr<T>(y);
                    for (int x = 0; x < src.cols(); x++, s += cn, d += 3) {
                        if constexpr (std::is_same<T, float>::value) {
                            const float Y = s[0], U = s[1], V = s[2];
                            const float r = Y + 1.402f * V, b = Y + 1.772f * U;
                            const float g = Y - float(gu) * U - float(gv) * V;
                            d[0] = r, d[1] = g, d[2] = b;
                        } else if constexpr (std::is_same<T, double>::value) {
                            const double Y = s[0], U = s[1], V = s[2];
                            const double r = Y + 1.402 * V, b = Y + 1.772 * U;
                            const double g = Y - gu * U - gv * V;
                            d[0] = r, d[1] = g, d[2] = b;
                        } else {
                            const double o = chromaOffset<T>();
                            const double Y = s[0], U = double(s[1]) - o, V = double(s[2]) - o;
                            d[0] = saturate_cast<T>(Y + 1.402 * V);
                            d[1] = saturate_cast<T>(Y - gu * U - gv * V);
                            d[2] = saturate_cast<T>(Y + 1.772 * U);
                        }
                    }
                }
            });
        });
    });
}

void ColorSpace::RGBtoLab(const Mat& src, Mat& dst) {
    if (!colourSource(src)) return;
    const int depth = src.type();
    if (depth != MAT_Tuchar && depth != MAT_Tfloat && depth != MAT_Tdouble) return;
    const int cn = src.channels();
    double table[256];
    if (depth == MAT_Tuchar)
        for (int i = 0; i < 256; i++) table[i] = srgbLinear(i / 255.0);
    produce(src, dst, MAKETYPE(depth, 3), [&](Mat& out) {
        withDepth(depth, [&](auto t) {
            using T = decltype(t);
            detail::parallelRows(src.rows(), double(src.rows()) * src.cols(), [&](int y0, int y1) {
                for (int y = y0; y < y1; y++) {
                    const T* s = src.ptr<T>(y);
                    T* d = out.ptr<T>(y);
                    for (int x = 0; x < src.cols(); x++, s += cn, d += 3) {
                        double L, A, B;
                        if constexpr (std::is_same<T, unsigned char>::value) {
                            linearToLab(table[s[0]], table[s[1]], table[s[2]], L, A, B);
                            d[0] = saturate_cast<T>(L * 255.0 / 100.0);
                            d[1] = saturate_cast<T>(A + 128.0);
                            d[2] = saturate_cast<T>(B + 128.0);
                        } else if constexpr (std::is_floating_point<T>::value) {
                            linearToLab(srgbLinear(double(s[0])), srgbLinear(double(s[1])),
                                        srgbLinear(double(s[2])), L, A, B);
                            d[0] = T(L);
                            d[1] = T(A);
                            d[2] = T(B);
                        }
                    }
                }
            });
        });
    });
}

void ColorSpace::extractChannel(const Mat& src, Mat& dst, int channel) {
    if (!src.isValid() || channel < 0 || channel >= src.channels()) return;
    const int cn = src.channels();
    produce(src, dst, src.type(), [&](Mat& out) {
        withDepth(src.type(), [&](auto t) {
            using T = decltype(t);
            detail::parallelRows(src.rows(), double(src.rows()) * src.cols(), [&](int y0, int y1) {
                for (int y = y0; y < y1; y++) {
                    const T* s = src.ptr<T>(y) + channel;
                    T* d = out.ptr<T>(y);
                    for (int x = 0; x < src.cols(); x++) d[x] = s[size_t(x) * cn];
                }
            });
        });
    });
}

void ColorSpace::split(const Mat& src, Mat& c0, Mat& c1, Mat& c2) {
    if (!colourSource(src)) return;
    // Outputs that alias the source are filled last from a copy.
    if (&c0 == &src || &c1 == &src || &c2 == &src) {
        Mat copy(src);
        split(copy, c0, c1, c2);
        return;
    }
    extractChannel(src, c0, 0);
    extractChannel(src, c1, 1);
    extractChannel(src, c2, 2);
}

}  // namespace tarvo
