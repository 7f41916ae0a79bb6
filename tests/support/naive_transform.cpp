#include "support/naive_transform.h"

#include <cmath>
#include <vector>

#include "support/test_util.h"
#include "tarvo/export.h"

namespace tarvo {
namespace detail {
// The kernel weights are the library's own (checked against their formulas
// by the sampler tests); everything around them is written out here.
TARVO_EXPORTS float transformKernel(int method, float x);
}  // namespace detail

namespace test {

namespace {

struct Src {
    const Mat& m;
    int overflow;
    // Pixel (x, y) channel k through the overflow rule; colour reads give 0.
    double px(long long x, long long y, int k) const {
        const long long w = m.cols(), h = m.rows();
        if (x < 0 || x >= w || y < 0 || y >= h) {
            if (overflow < 4 || overflow > 6) return 0.0;
            auto mv = [&](long long c, long long n) -> long long {
                if (c >= 0 && c < n) return c;
                if (overflow == 4) return ((c % n) + n) % n;
                if (overflow == 5) return c < 0 ? 0 : n - 1;
                return c < 0 ? (-c) % n : n - (c % n) - 1;
            };
            x = mv(x, w);
            y = mv(y, h);
        }
        return at(m, int(y), int(x), k);
    }
};

int flo(float v) {
    int t = (int)v;
    return v < 0 ? t - 1 : t;
}

void store(Mat& dst, int y, int x, int k, double v, bool exact = false) {
    switch (dst.type()) {
        case 1:
            dst.ptr<unsigned char>(y)[x * dst.channels() + k] = (unsigned char)(int)v;
            break;
        case 2:
            dst.ptr<short>(y)[x * dst.channels() + k] = (short)(int)v;
            break;
        case 3:
            dst.ptr<int>(y)[x * dst.channels() + k] = (int)v;
            break;
        case 4:
            dst.ptr<float>(y)[x * dst.channels() + k] = (float)v;
            break;
        default:
            dst.ptr<double>(y)[x * dst.channels() + k] = exact ? v : (double)(float)v;
            break;
    }
}

// Plain sampling of channel k; returns the stored value (already clamped /
// truncated as the element conversion needs, before the store).
void samplePixel(const Src& s, float x, float y, int method, Mat& dst, int oy, int ox) {
    const Mat& m = s.m;
    const int w = m.cols(), h = m.rows(), cn = m.channels();
    if (method == 1) {
        const int xi = (int)(x + 0.5f), yi = (int)(y + 0.5f);
        for (int k = 0; k < cn; k++) store(dst, oy, ox, k, s.px(xi, yi, k), true);
        return;
    }
    const int taps = method == 6 ? 12 : (method >= 3 && method <= 16) ? 4 : 2;
    for (int pass = 0; pass < 2; pass++) {
        int x0 = flo(x), y0 = flo(y);
        bool out;
        if (taps == 12)
            out = x0 + 6 < 0 || x0 - 5 >= w || y0 + 6 < 0 || y0 - 5 >= h;
        else if (taps == 4)
            out = x0 + 2 < 0 || x0 - 1 >= w || y0 + 2 < 0 || y0 > h;
        else
            out = x0 < -1 || x0 >= w || y0 < -1 || y0 >= h;
        if (out && pass == 0) {
            if (s.overflow < 4 || s.overflow > 6) {
                for (int k = 0; k < cn; k++) store(dst, oy, ox, k, 0.0);
                return;
            }
            auto mv = [&](float v, int n) {
                const float fn = float(n);
                if (s.overflow == 4) {
                    float r = std::fmod(v, fn);
                    return r < 0 ? r + fn : r;
                }
                if (s.overflow == 5) return v < 0 ? 0.0f : v > fn - 1 ? fn - 1 : v;
                if (v < 0) return std::fmod(-v, fn);
                if (v >= fn) return fn - std::fmod(v, fn) - 1.0f;
                return v;
            };
            x = mv(x, w);
            y = mv(y, h);
            continue;
        }
        if (taps == 2) {
            const bool all = x0 >= 0 && x0 + 1 < w && y0 >= 0 && y0 + 1 < h;
            const float fx = x - float(x0), fy = y - float(y0);
            if (all) {
                const int ifx = (int)(fx * 256.0f), ify = (int)(fy * 256.0f);
                const int w3 = (ifx * ify) >> 8, w1 = ifx - w3, w2 = ify - w3, w0 = 256 - w2 - ifx;
                const long long v = (long long)(w0 & 255) * (int)at(m, y0, x0, 0) +
                                    (long long)(w1 & 255) * (int)at(m, y0, x0 + 1, 0) +
                                    (long long)(w2 & 255) * (int)at(m, y0 + 1, x0, 0) +
                                    (long long)(w3 & 255) * (int)at(m, y0 + 1, x0 + 1, 0);
                for (int k = 0; k < cn; k++) store(dst, oy, ox, k, double(v & 255));
            } else {
                const float a3 = fx * fy, a1 = fx - fx * fy, a2 = fy - fx * fy,
                            a0 = 1.0f - fx - fy + fx * fy;
                for (int k = 0; k < cn; k++) {
                    const float v = a0 * float(s.px(x0, y0, k)) + a1 * float(s.px(x0 + 1, y0, k)) +
                                    a2 * float(s.px(x0, y0 + 1, k)) +
                                    a3 * float(s.px(x0 + 1, y0 + 1, k));
                    store(dst, oy, ox, k, v);
                }
            }
            return;
        }
        const int first = taps == 12 ? 5 : 1;
        for (int k = 0; k < cn; k++) {
            float acc = 0.0f;
            for (int j = 0; j < taps; j++) {
                const int yy = y0 - first + j;
                float row = 0.0f;
                for (int i = 0; i < taps; i++) {
                    const int xx = x0 - first + i;
                    row += detail::transformKernel(method, float(xx) - x) * float(s.px(xx, yy, k));
                }
                acc += detail::transformKernel(method, float(yy) - y) * row;
            }
            if (!(acc > 0.0f)) acc = 0.0f;
            if (acc > 255.0f) acc = 255.0f;
            store(dst, oy, ox, k, acc);
        }
        return;
    }
}

}  // namespace

Mat naiveResampleFull(const Mat& src, int width, int height, int method, int overflow,
                      bool disableAveraging) {
    Mat dst(height, width, src.type1());
    const float sx = float(src.cols()) / float(width), sy = float(src.rows()) / float(height);
    const Src s{src, overflow};
    const int cn = src.channels();
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++) {
            const float cx = float(x) * sx + sx / 2.0f - 0.5f,
                        cy = float(y) * sy + sy / 2.0f - 0.5f;
            if ((sx <= 1.0f && sy <= 1.0f) || disableAveraging) {
                samplePixel(s, cx, cy, method, dst, y, x);
                continue;
            }
            // Area: every pixel of the box with its overlap, in the order
            // corners, edge rows, edge columns, interior.
            const float l = cx - sx / 2.0f, r = cx + sx / 2.0f, t = cy - sy / 2.0f,
                        b = cy + sy / 2.0f;
            const int c0 = (int)(l + 0.5f), c1 = (int)(r + 0.5f), r0 = (int)(t + 0.5f),
                      r1 = (int)(b + 0.5f);
            auto ov = [](float lo, float hi, int c) {
                float a = std::fmax(lo, float(c) - 0.5f), e = std::fmin(hi, float(c) + 0.5f);
                return e > a ? e - a : 0.0f;
            };
            std::vector<int> ec = {c0}, er = {r0};
            if (c1 != c0) ec.push_back(c1);
            if (r1 != r0) er.push_back(r1);
            for (int k = 0; k < cn; k++) {
                float acc = 0.0f;
                for (int rr : er)
                    for (int cc : ec) acc += ov(l, r, cc) * ov(t, b, rr) * float(s.px(cc, rr, k));
                for (int rr : er)
                    for (int cc = c0 + 1; cc < c1; cc++)
                        acc += ov(t, b, rr) * float(s.px(cc, rr, k));
                for (int cc : ec)
                    for (int rr = r0 + 1; rr < r1; rr++)
                        acc += ov(l, r, cc) * float(s.px(cc, rr, k));
                for (int rr = r0 + 1; rr < r1; rr++)
                    for (int cc = c0 + 1; cc < c1; cc++) acc += float(s.px(cc, rr, k));
                store(dst, y, x, k, acc / (sx * sy));
            }
        }
    return dst;
}

double seriesJ1(double x) {
    // J1(x) = sum_k (-1)^k (x/2)^(2k+1) / (k! (k+1)!)
    double term = x / 2.0, sum = term;
    const double q = -(x * x) / 4.0;
    for (int k = 1; k < 80; k++) {
        term *= q / (double(k) * double(k + 1));
        sum += term;
    }
    return sum;
}

}  // namespace test
}  // namespace tarvo
