// Stylising operators on per-pixel rules: vintage, posterize, jitter, noise
// and the circle transform, with their free functions.
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "detail/aliasing.h"
#include "photo/photo_internal.h"
#include "photo/stylise_internal.h"
#include "tarvo/ip/photo.h"
#include "tarvo/random.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

// The first three values of a pixel; a grey pixel stands for three equal ones.
inline void rgbOf(const unsigned char* p, int cn, int& r, int& g, int& b) {
    r = p[0];
    g = cn >= 3 ? p[1] : p[0];
    b = cn >= 3 ? p[2] : p[0];
}

}  // namespace

// ---------------------------------------------------------------- vintage

PumpABC* ipVintage::clone() const {
    return new (std::nothrow) ipVintage(amount);
}

bool ipVintage::process(Mat* src, Mat* dst) {
    if (!detail::photoStyliseInput(src)) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    float v = float(amount) / 100.0f;
    v = v < 0.0f ? 0.0f : v > 1.0f ? 1.0f : v;
    const bool full = v > 0.999f;

    // The tint depends on the lightness alone: hue byte 27, saturation byte 67.
    int tint[256][3];
    {
        const float H = 27.0f * 360.0f / 255.0f, S = 67.0f / 255.0f;
        for (int l = 0; l < 256; l++) {
            const float L = float(l) / 255.0f;
            const float m2 = L <= 0.5f ? L * (1.0f + S) : L + S - L * S;
            const float m1 = 2.0f * L - m2;
            tint[l][0] = truncInt(ip::ramp(m1, m2, H + 120.0f) * 200.0f + 20.0f);
            tint[l][1] = truncInt(ip::ramp(m1, m2, H) * 195.0f + 15.0f);
            tint[l][2] = truncInt(ip::ramp(m1, m2, H - 120.0f) * 180.0f + 13.0f);
        }
    }
    const int rows = src->rows(), cols = src->cols(), cn = src->channels();
    Mat work(rows, cols, MAT_Tuchar3);
    if (work.empty()) return false;
    // The lightness byte of ip::RGBtoHSL: (max + min + 1) * 255 / 510.
    auto lightness = [&](const unsigned char* p) {
        int r, g, b;
        rgbOf(p, cn, r, g, b);
        const int mx = r > g ? (r > b ? r : b) : (g > b ? g : b);
        const int mn = r < g ? (r < b ? r : b) : (g < b ? g : b);
        return (mx + mn + 1) * 255 / 510;
    };
    if (full) {
        // Nothing carries over: rows are independent.
        const auto body = [&](int y0, int y1) {
            for (int y = y0; y < y1; y++) {
                const unsigned char* p = src->data.ptr[y];
                unsigned char* d = work.data.ptr[y];
                for (int x = 0; x < cols; x++, p += cn, d += 3) {
                    const int* t = tint[lightness(p)];
                    d[0] = (unsigned char)t[0];
                    d[1] = (unsigned char)t[1];
                    d[2] = (unsigned char)t[2];
                }
            }
        };
        detail::photoParallelRows(rows, double(rows) * cols * 4.0, body);
    } else {
        // The running colour is the previous output pixel: it drags along each
        // row and on into the next, so this stays serial.
        const float keep = 1.0f - v;
        int r = 0, g = 0, b = 0;
        for (int y = 0; y < rows; y++) {
            const unsigned char* p = src->data.ptr[y];
            unsigned char* d = work.data.ptr[y];
            for (int x = 0; x < cols; x++, p += cn, d += 3) {
                const int* t = tint[lightness(p)];
                r = truncInt(float(r) * keep + float(t[0]) * v);
                g = truncInt(float(g) * keep + float(t[1]) * v);
                b = truncInt(float(b) * keep + float(t[2]) * v);
                d[0] = (unsigned char)r;
                d[1] = (unsigned char)g;
                d[2] = (unsigned char)b;
            }
        }
    }
    // The result always has three channels.
    target->swap(work);
    return true;
}

// ---------------------------------------------------------------- posterize

namespace {
int clampLevels(int levels) {
    return levels < 2 ? 2 : levels > 256 ? 256 : levels;
}

// Entry 1 is never given a level by the construction; it is fixed at 0.
unsigned char* posterTable(int levels) {
    unsigned char* t = new (std::nothrow) unsigned char[size_t(levels)];
    if (!t) return nullptr;
    std::memset(t, 0, size_t(levels));
    t[levels - 1] = 255;
    const int step = 255 / (levels - 1);
    for (int i = 2; i <= levels - 1; i++) t[i] = (unsigned char)((i - 1) * step);
    return t;
}

unsigned char posterLookup(const unsigned char* t, int levels, int v) {
    for (int i = 0; i <= levels - 2; i++) {
        if (t[i] <= v && v < t[i + 1]) {
            const unsigned char d1 = (unsigned char)(v - t[i]);
            const unsigned char d2 = (unsigned char)(t[i + 1] - v);
            return d1 < d2 ? t[i] : t[i + 1];
        }
    }
    return (unsigned char)v;
}
}  // namespace

ipPosterize::ipPosterize(int levels_)
    : levels(clampLevels(levels_)), table(posterTable(levels)), m_tableLevels(levels) {}

// A copy builds its own table.
ipPosterize::ipPosterize(const ipPosterize& other)
    : ipCorePump(other),
      levels(clampLevels(other.levels)),
      table(posterTable(levels)),
      m_tableLevels(levels) {}

ipPosterize::~ipPosterize() {
    delete[] table;
}

PumpABC* ipPosterize::clone() const {
    return new (std::nothrow) ipPosterize(levels);
}

bool ipPosterize::process(Mat* src, Mat* dst) {
    if (!detail::photoStyliseInput(src)) return false;
    if (!table || clampLevels(levels) != m_tableLevels) {
        // levels was changed after construction: the table follows it.
        delete[] table;
        m_tableLevels = clampLevels(levels);
        table = posterTable(m_tableLevels);
        if (!table) return false;
    }
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    // The bracket search depends on the value alone: one table of 256 answers.
    unsigned char lut[256];
    for (int v = 0; v < 256; v++) lut[v] = posterLookup(table, m_tableLevels, v);
    detail::photoLutRowsRGB(*src, *target, lut);
    return true;
}

// ---------------------------------------------------------------- jitter

PumpABC* ipJitter::clone() const {
    return new (std::nothrow) ipJitter(amount);
}

bool ipJitter::process(Mat* src, Mat* dst) {
    if (!detail::photoStyliseInput(src)) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    Mat copy;
    const Mat* from = src;
    if (target == src) {
        copy = *src;
        if (copy.empty()) return false;
        from = &copy;
    }
    const int rows = src->rows(), cols = src->cols();
    const size_t px = size_t(src->elemSize());
    const double span = 2.0 * amount;
    // One random draw per coordinate, x first, in row order: serial by nature.
    for (int y = 0; y < rows; y++) {
        unsigned char* d = target->data.ptr[y];
        for (int x = 0; x < cols; x++, d += px) {
            const float rx = float(detail::rand15()) / 32767.0f;
            const long long nx = x - (long long)truncInt(span * (0.5 - rx));
            const float ry = float(detail::rand15()) / 32767.0f;
            const long long ny = y - (long long)truncInt(span * (0.5 - ry));
            const bool inside = nx >= 0 && nx < cols && ny >= 0 && ny < rows;
            const unsigned char* s =
                inside ? from->data.ptr[ny] + size_t(nx) * px : from->data.ptr[y] + size_t(x) * px;
            std::memcpy(d, s, px);
        }
    }
    return true;
}

// ---------------------------------------------------------------- noise

PumpABC* ipNoise::clone() const {
    return new (std::nothrow) ipNoise(amount);
}

bool ipNoise::process(Mat* src, Mat* dst) {
    if (!detail::photoStyliseInput(src)) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    detail::seedFromClock();
    const int rows = src->rows(), n = src->cols() * src->channels();
    const double a = amount;
    for (int y = 0; y < rows; y++) {
        const unsigned char* s = src->data.ptr[y];
        unsigned char* d = target->data.ptr[y];
        for (int x = 0; x < n; x++) {
            const float r = float(detail::rand15()) / 32767.0f;
            const long long v = s[x] + (long long)truncInt(a * (r - 0.5));
            d[x] = (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
        }
    }
    return true;
}

// ---------------------------------------------------------------- circle transform

PumpABC* ipCircleTransform::clone() const {
    return new (std::nothrow) ipCircleTransform(mode, radius, twist);
}

bool ipCircleTransform::process(Mat* src, Mat* dst) {
    if (!detail::photoStyliseInput(src)) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    Mat copy;
    const Mat* from = src;
    if (target == src) {
        copy = *src;
        if (copy.empty()) return false;
        from = &copy;
    }
    const int rows = src->rows(), cols = src->cols();
    const int cx = cols / 2, cy = rows / 2;
    if (radius == 0) radius = truncInt(std::sqrt(double(cx) * cx + double(cy) * cy));
    if (twist == 0.0f) twist = 1.0f;
    const int R = radius, M = mode;
    const float T = twist;
    const size_t px = size_t(src->elemSize());
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            unsigned char* d = target->data.ptr[y];
            const long long dy = (long long)cy - y;
            for (int x = 0; x < cols; x++, d += px) {
                const long long dx = (long long)cx - x;
                const float dist = float(std::sqrt(double(dx * dx + dy * dy)));
                long long nx = -1, ny = -1;
                if (dist < float(R)) {
                    double a = std::atan2(double(dy), double(dx));
                    double r = dist;
                    if (M == 0) {
                        r = dist * dist / float(R);
                    } else if (M == 1) {
                        r = std::sqrt(double(float(R) * dist));
                    } else if (M == 2) {
                        a = double(dist / T) + a;
                    }
                    if (M >= 0 && M <= 2) {
                        nx = (long long)truncInt(std::cos(a) * r) + cx;
                        ny = cy - (long long)truncInt(std::sin(a) * r);
                    } else if (M == 3) {
                        nx = truncInt(std::fabs(cols * a / 6.2831852));
                        ny = truncInt(std::fabs(double(float(rows) * dist / float(R))));
                    } else {
                        ny = y;
                        nx = x - 16 + (x & 31);
                    }
                }
                const bool inside = nx >= 0 && nx < cols && ny >= 0 && ny < rows;
                const unsigned char* s =
                    inside ? from->data.ptr[ny] + size_t(nx) * px : from->data.ptr[0];
                std::memcpy(d, s, px);
            }
        }
    };
    detail::photoParallelRows(rows, double(rows) * cols * 8.0, body);
    return true;
}

// ---------------------------------------------------------------- free functions

namespace ip {

void vintage(const Mat& src, Mat& dst, int amount) {
    // A destination that owns the source's pixels is re-created before
    // they are read: work from a copy then.
    detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    ipVintage op(amount);
    op.ipVintage::process(const_cast<Mat*>(&guard.get()), &dst);
}

void posterize(const Mat& src, Mat& dst, int levels) {
    // A destination that owns the source's pixels is re-created before
    // they are read: work from a copy then.
    detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    ipPosterize op(levels);
    op.ipPosterize::process(const_cast<Mat*>(&guard.get()), &dst);
}

void jitter(const Mat& src, Mat& dst, int amount) {
    // A destination that owns the source's pixels is re-created before
    // they are read: work from a copy then.
    detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    ipJitter op(amount);
    op.ipJitter::process(const_cast<Mat*>(&guard.get()), &dst);
}

void noise(const Mat& src, Mat& dst, int amount) {
    // A destination that owns the source's pixels is re-created before
    // they are read: work from a copy then.
    detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    ipNoise op(amount);
    op.ipNoise::process(const_cast<Mat*>(&guard.get()), &dst);
}

void circleTransform(const Mat& src, Mat& dst, int radius, float twist, int mode) {
    // A destination that owns the source's pixels is re-created before
    // they are read: work from a copy then.
    detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    ipCircleTransform op(mode, radius, twist);
    op.ipCircleTransform::process(const_cast<Mat*>(&guard.get()), &dst);
}

}  // namespace ip
}  // namespace tarvo
