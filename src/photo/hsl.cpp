// ipHSL: shift hue, saturation and lightness on the percent HSL scale.
#include <climits>
#include <cstring>
#include <new>

#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

// RGB bytes to hue 0..360, saturation and lightness 0..100 (truncated).
void rgbToPercent(unsigned char rb, unsigned char gb, unsigned char bb, int& H, int& S, int& L) {
    const float r = float(rb) / 255.0f, g = float(gb) / 255.0f, b = float(bb) / 255.0f;
    const float mx = r > g ? (r > b ? r : b) : (g > b ? g : b);
    const float mn = r < g ? (r < b ? r : b) : (g < b ? g : b);
    const float l = (mx + mn) * 0.5f;
    float h, s;
    if (mx == mn) {
        // The byte-scale grey hue; the way back recognises grey by it.
        h = 170.0f;
        s = 0.0f;
    } else {
        const float d = mx - mn;
        s = d / (l <= 0.5f ? mx + mn : 2.0f - mx - mn);
        if (r == mx)
            h = 60.0f * ((g - b) / d);
        else if (g == mx)
            h = 60.0f * ((b - r) / d + 2.0f);
        else
            h = 60.0f * ((r - g) / d + 4.0f);
        if (h < 0.0f) h += 360.0f;
    }
    H = truncInt(h);
    S = truncInt(s * 100.0f);
    L = truncInt(l * 100.0f);
}

// Percent HSL back to RGB bytes. A grey (S 0) converts only with hue 170;
// with any other hue the bytes are left as they were.
void percentToRgb(int H, int S, int L, unsigned char& r, unsigned char& g, unsigned char& b) {
    const float l = float(L) / 100.0f, s = float(S) / 100.0f;
    const float m2 = l <= 0.5f ? l * (1.0f + s) : l + s - l * s;
    const float m1 = 2.0f * l - m2;
    if (s != 0.0f) {
        const float h = float(H);
        r = saturate_trunc<unsigned char>(ip::ramp(m1, m2, h + 120.0f) * 255.0f);
        g = saturate_trunc<unsigned char>(ip::ramp(m1, m2, h) * 255.0f);
        b = saturate_trunc<unsigned char>(ip::ramp(m1, m2, h - 120.0f) * 255.0f);
    } else if (H == 170) {
        r = g = b = saturate_trunc<unsigned char>(l * 255.0f);
    }
}

// Sums in 64 bits so an extreme shift cannot overflow.
int clampPercent(long long v) {
    return int(v < 0 ? 0 : v > 100 ? 100 : v);
}

}  // namespace

PumpABC* ipHSL::clone() const {
    ipHSL* c = new (std::nothrow) ipHSL();
    if (!c) return nullptr;
    c->hueShift = hueShift;
    c->saturationShift = saturationShift;
    c->lightnessShift = lightnessShift;
    return c;
}

bool ipHSL::process(Mat* src, Mat* dst) {
    if (!src) return false;
    if (dst && dst != src && !isSameShape(src, dst)) {
        dst->release();
        // Shape without pixels; cleared so the adjustment below reads defined values.
        if (dst->create(*src, false) >= 0 && !dst->empty()) {
            const int bytes = dst->rowByteSize();
            for (int y = 0; y < dst->rows(); y++) std::memset(dst->data.ptr[y], 0, size_t(bytes));
        }
    }
    // The adjustment runs over the chosen matrix in place: the destination's
    // pixels when one is given, the source's otherwise.
    Mat* m = dst ? dst : src;
    if (m->empty()) return true;
    int rows = src->rows(), n = src->cols();
    if (rows > m->rows()) rows = m->rows();
    // Packed triples: never more than a row of the chosen matrix holds.
    const int triples = m->rowByteSize() / 3;
    if (n > triples) n = triples;
    for (int y = 0; y < rows; y++) {
        unsigned char* p = m->data.ptr[y];
        for (int x = 0; x < n; x++, p += 3) {
            int H, S, L;
            rgbToPercent(p[0], p[1], p[2], H, S, L);
            // One correction each way: a shift beyond a full turn is not folded further.
            long long h = (long long)H + hueShift;
            if (h > 360) h -= 360;
            if (h < 0) h += 360;
            H = h > INT_MAX ? INT_MAX : h < INT_MIN ? INT_MIN : int(h);
            S = clampPercent((long long)S + saturationShift);
            L = clampPercent((long long)L + lightnessShift);
            percentToRgb(H, S, L, p[0], p[1], p[2]);
        }
    }
    return true;
}

namespace ip {

void hsl(const Mat& src, Mat& dst, int hueShift, int saturationShift, int lightnessShift) {
    ipHSL op;
    op.hueShift = hueShift;
    op.saturationShift = saturationShift;
    op.lightnessShift = lightnessShift;
    op.ipHSL::process(const_cast<Mat*>(&src), &dst);
}

}  // namespace ip
}  // namespace tarvo
