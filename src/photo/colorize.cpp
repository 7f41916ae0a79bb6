// ipColorize: tint with a fixed hue and saturation, keeping lightness.
#include <algorithm>
#include <new>

#include "detail/aliasing.h"
#include "photo/color_internal.h"
#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {

PumpABC* ipColorize::clone() const {
    ipColorize* c = new (std::nothrow) ipColorize();
    if (!c) return nullptr;
    c->hue = hue;
    c->saturation = saturation;
    c->blend = blend;
    return c;
}

namespace {

// One row of packed triples, in chunks: the lightness bytes come from the
// vector kernel (max and min without data-dependent branches), the tint from
// the table, and the blend is the per-pixel expression. Everything the loop
// needs is a parameter or a local, so byte stores cannot force reloads.
// (max + min + 1) * 255 / 510 is exactly (max + min + 1) / 2.
template <bool kFull>
void colorizeRow(const unsigned char* s, unsigned char* d, int n, const unsigned char (*tint)[3],
                 int weight, int inverse, bool vec) {
    constexpr int kChunk = 512;
    unsigned char light[kChunk];
    for (int x0 = 0; x0 < n; x0 += kChunk) {
        const int len = std::min(kChunk, n - x0);
        int i = vec ? detail::photoLightnessU8C3(s, light, len) : 0;
        for (; i < len; i++) {
            const int r = s[3 * i], g = s[3 * i + 1], b = s[3 * i + 2];
            const int mx = std::max(r, std::max(g, b));
            const int mn = std::min(r, std::min(g, b));
            light[i] = (unsigned char)((mx + mn + 1) >> 1);
        }
        for (i = 0; i < len; i++, s += 3, d += 3) {
            const unsigned char* t = tint[light[i]];
            if (kFull) {
                d[0] = t[0];
                d[1] = t[1];
                d[2] = t[2];
            } else {
                // Read the whole pixel first: d may be s.
                const int r = s[0], g = s[1], b = s[2];
                d[0] = (unsigned char)((r * inverse + t[0] * weight) >> 8);
                d[1] = (unsigned char)((g * inverse + t[1] * weight) >> 8);
                d[2] = (unsigned char)((b * inverse + t[2] * weight) >> 8);
            }
        }
    }
}

// The fast path. The tint depends on the pixel's lightness byte only, so it
// becomes a 256-entry table built once per call; the blend is the same integer
// expression as the per-pixel path.
void colorizeFast(const Mat& src, Mat& dst, unsigned char hue, unsigned char saturation, int weight,
                  int inverse, bool full) {
    const int rows = src.rows();
    if (src.channels() > 1) {
        unsigned char tint[256][3];
        for (int l = 0; l < 256; l++)
            ip::HSLtoRGB(hue, saturation, (unsigned char)l, tint[l][0], tint[l][1], tint[l][2]);
        int n = src.cols();
        const int triples = src.rowByteSize() / 3;
        if (n > triples) n = triples;
        const bool vec = checkHardwareSupport(CPU_INT_VECTORS);
        const auto body = [&](int y0, int y1) {
            for (int y = y0; y < y1; y++) {
                unsigned char* s = src.data.ptr[y];
                unsigned char* d = dst.data.ptr[y];
                if (full)
                    colorizeRow<true>(s, d, n, tint, weight, inverse, vec);
                else
                    colorizeRow<false>(s, d, n, tint, weight, inverse, vec);
            }
        };
        detail::photoParallelRows(rows, double(rows) * n, body);
    } else {
        // One channel: the result depends on the byte alone.
        unsigned char lut[256];
        for (int v = 0; v < 256; v++) {
            unsigned char h, sat, l, nr, ng, nb;
            ip::RGBtoHSL((unsigned char)v, (unsigned char)v, (unsigned char)v, h, sat, l);
            ip::HSLtoRGB(hue, saturation, l, nr, ng, nb);
            lut[v] = full ? nb : (unsigned char)((v * inverse + nr * weight) >> 8);
        }
        const int n = src.cols();
        const auto body = [&](int y0, int y1) {
            for (int y = y0; y < y1; y++) {
                const unsigned char* s = src.data.ptr[y];
                unsigned char* d = dst.data.ptr[y];
                for (int x = 0; x < n; x++) d[x] = lut[s[x]];
            }
        };
        detail::photoParallelRows(rows, double(rows) * n, body);
    }
}

}  // namespace

bool ipColorize::process(Mat* src, Mat* dst) {
    if (!src) return false;
    // The clamped value stays in the object.
    if (!(blend >= 0.0f)) blend = 0.0f;  // NaN too
    if (blend > 1.0f) blend = 1.0f;
    const int weight = truncInt(blend * 256.0f);
    const int inverse = 256 - weight;
    const bool full = blend > 0.999f;

    // A destination with another channel count would be written past its rows:
    // it is treated like one of another shape.
    if (dst && dst != src && (!isSameShape(src, dst) || dst->channels() != src->channels())) {
        dst->release();
        dst->create(*src, true);
    }
    if (!dst) dst = src;
    if (src->empty() || dst->empty()) return true;

    const int rows = src->rows();
    if (detail::useOptimized()) {
        colorizeFast(*src, *dst, hue, saturation, weight, inverse, full);
    } else if (src->channels() > 1) {
        // Packed triples whatever the channel count; a two-channel row holds
        // fewer whole triples than pixels, so the count is bounded by the row.
        int n = src->cols();
        const int triples = src->rowByteSize() / 3;
        if (n > triples) n = triples;
        for (int y = 0; y < rows; y++) {
            const unsigned char* s = src->data.ptr[y];
            unsigned char* d = dst->data.ptr[y];
            for (int x = 0; x < n; x++, s += 3, d += 3) {
                unsigned char h, sat, l, nr, ng, nb;
                ip::RGBtoHSL(s[0], s[1], s[2], h, sat, l);
                if (full) {
                    ip::HSLtoRGB(hue, saturation, l, d[0], d[1], d[2]);
                } else {
                    ip::HSLtoRGB(hue, saturation, l, nr, ng, nb);
                    const unsigned char r0 = s[0], g0 = s[1], b0 = s[2];
                    d[0] = (unsigned char)((r0 * inverse + nr * weight) >> 8);
                    d[1] = (unsigned char)((g0 * inverse + ng * weight) >> 8);
                    d[2] = (unsigned char)((b0 * inverse + nb * weight) >> 8);
                }
            }
        }
    } else {
        const int n = src->cols();
        for (int y = 0; y < rows; y++) {
            const unsigned char* s = src->data.ptr[y];
            unsigned char* d = dst->data.ptr[y];
            for (int x = 0; x < n; x++) {
                const unsigned char v = s[x];
                unsigned char h, sat, l, nr, ng, nb;
                ip::RGBtoHSL(v, v, v, h, sat, l);
                ip::HSLtoRGB(hue, saturation, l, nr, ng, nb);
                // The full path keeps the last of the three results: blue.
                d[x] = full ? nb : (unsigned char)((v * inverse + nr * weight) >> 8);
            }
        }
    }
    return true;
}

namespace ip {

void colorize(const Mat& srcIn, Mat& dst, unsigned char hue, unsigned char saturation,
              float blend) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    ipColorize op;
    op.hue = hue;
    op.saturation = saturation;
    op.blend = blend;
    op.ipColorize::process(const_cast<Mat*>(&src), &dst);
}

void colorize(Mat& image, unsigned char hue, unsigned char saturation, float blend) {
    Mat tmp(image);
    colorize(tmp, image, hue, saturation, blend);
}

}  // namespace ip
}  // namespace tarvo
