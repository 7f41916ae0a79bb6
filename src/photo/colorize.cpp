// ipColorize: tint with a fixed hue and saturation, keeping lightness.
#include <new>

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
    if (src->channels() > 1) {
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

void colorize(const Mat& src, Mat& dst, unsigned char hue, unsigned char saturation, float blend) {
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
