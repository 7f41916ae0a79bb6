#include "support/naive_photo.h"

#include <cmath>

#include "tarvo/colorspace.h"
#include "tarvo/random.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace test {

namespace {

int clamp255(long long v) {
    return int(v < 0 ? 0 : v > 255 ? 255 : v);
}

// out = f(byte) on the first min(3, channels) bytes of every pixel.
template <typename F>
Mat perByteRGB(const Mat& src, F f) {
    Mat out(src);
    const int cn = src.channels(), use = cn < 3 ? cn : 3;
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols(); x++)
            for (int k = 0; k < use; k++) {
                const int p = src.data.ptr[y][x * cn + k];
                out.data.ptr[y][x * cn + k] = (unsigned char)f(p);
            }
    return out;
}

}  // namespace

Mat naiveSlope(const Mat& src, int slopeNum, int offset) {
    Mat out(src);
    const float slope = float(slopeNum) / 100.0f;
    const int n = src.cols() * src.channels();
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < n; x++) {
            int v;
            if (src.type() == MAT_Tuchar) {
                v = src.data.ptr[y][x];
            } else {
                const float f = src.data.fl[y][x];
                v = f != f ? 0 : f < 0 ? 0 : f >= 255 ? 255 : int(f);
            }
            const int r = clamp255(truncInt(float(v - 128) * slope + float(offset)));
            if (src.type() == MAT_Tuchar)
                out.data.ptr[y][x] = (unsigned char)r;
            else
                out.data.fl[y][x] = float(r);
        }
    return out;
}

Mat naiveLevel2(const Mat& src, int low, int high) {
    return perByteRGB(src, [&](int p) {
        const double k = 255.0 / (low + 0.0001);
        const int a = clamp255(p - (low - (long long)(p / k)) * 3);
        const int w = 255 - high;
        const double k2 = 255.0 / (w + 0.0001);
        return clamp255(a + (w - (long long)((255 - a) / k2)) * 3);
    });
}

Mat naiveLevel1(const Mat& src, int low, int high) {
    Mat rgb, f, yuv, y;
    if (src.channels() == 1)
        ColorSpace::GraytoRGB(src, rgb);
    else
        rgb = src;
    rgb.convertTo(f, MAT_Tfloat);
    ColorSpace::RGBtoYUV(f, yuv);
    ColorSpace::extractChannel(yuv, y, 0);
    const double lo = y.min(0), hi = y.max(0);
    if (lo == hi || low == high) return Mat();
    for (int r = 0; r < yuv.rows(); r++)
        for (int c = 0; c < yuv.cols(); c++) {
            float& Y = yuv.data.fl[r][c * 3];
            double t = (double(Y) - lo) * (high - low) / (hi - lo) + low;
            t = t < 0 ? 0 : t > 255 ? 255 : t;
            Y = float(int(t));
        }
    Mat back, bytes(src.rows(), src.cols(), MAT_Tuchar3);
    ColorSpace::YUVtoRGB(yuv, back);
    for (int r = 0; r < back.rows(); r++)
        for (int i = 0; i < back.cols() * 3; i++)
            bytes.data.ptr[r][i] = saturate_cast<unsigned char>(double(back.data.fl[r][i]));
    if (src.channels() == 3) return bytes;
    Mat grey;
    ColorSpace::extractChannel(bytes, grey, 0);
    return grey;
}

Mat naiveShadow(const Mat& src, float depth, float limit) {
    return perByteRGB(src, [&](int p) {
        const int m = int(depth * 255.0f);
        const int cap = int(255.0f - limit * 50.0f);
        const double k = 255.0 / (m + 0.0001);
        double v = p + (m - int(p / k)) * 0.5;
        v = v < cap ? v : cap;
        return clamp255((long long)v);
    });
}

Mat naiveGamma(const Mat& src, double gamma) {
    const double g = float(gamma);
    auto curve = [&](int i) {
        if (g > 0) return std::pow(double(i), g);
        return i == 0 ? 0.0 : std::log(double(i));
    };
    Mat out(src);
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols() * src.channels(); x++)
            out.data.ptr[y][x] =
                (unsigned char)int(curve(src.data.ptr[y][x]) * (255.0 / curve(255)));
    return out;
}

Mat naiveEdgeImage(const Mat& src, float gain) {
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    auto sm = [&](int y, int x) {
        if (y == 0 || y == rows - 1 || x == 0 || x == cols - 1) return 0;
        return int(src.data.ptr[y][x * cn]);
    };
    Mat out(src);
    int right = 0, below = 0, left = 0, above = 0;
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) {
            if (x + 1 < cols) right = sm(y, x + 1);
            if (y + 1 < rows) below = sm(y + 1, x);
            if (x > 0) left = sm(y, x - 1);
            if (y > 0) above = sm(y - 1, x);
            const int c = sm(y, x);
            const int S = 3 * (std::abs(c - right) + std::abs(c - below) + std::abs(c - left) +
                               std::abs(c - above));
            const float m = std::fmin(float(S) * gain, 255.0f);
            const int v = int(255.0f - m);
            for (int k = 0; k < cn && k < 3; k++)
                out.data.ptr[y][x * cn + k] = (unsigned char)clamp255(v);
        }
    return out;
}

Mat naiveNoise(const Mat& src, int amount, unsigned seed) {
    detail::seedRandom(seed);
    Mat out(src);
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols() * src.channels(); x++) {
            const double t = amount * (detail::rand15() / 32767.0f - 0.5);
            out.data.ptr[y][x] = (unsigned char)clamp255(src.data.ptr[y][x] + (long long)t);
        }
    return out;
}

}  // namespace test
}  // namespace tarvo
