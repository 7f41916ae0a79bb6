// ipHSL: shift hue, saturation and lightness on the percent HSL scale.
#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "photo/color_internal.h"
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

// The ramp levels of a saturation and lightness in percent.
void rampLevels(int S, int L, float& m1, float& m2) {
    const float l = float(L) / 100.0f, s = float(S) / 100.0f;
    m2 = l <= 0.5f ? l * (1.0f + s) : l + s - l * s;
    m1 = 2.0f * l - m2;
}

// One channel: the ramp at hue x, scaled to a byte.
unsigned char rampByte(float m1, float m2, float x) {
    return saturate_trunc<unsigned char>(ip::ramp(m1, m2, x) * 255.0f);
}

// Percent HSL back to RGB bytes. A grey (S 0) converts only with hue 170;
// with any other hue the bytes are left as they were.
void percentToRgb(int H, int S, int L, unsigned char& r, unsigned char& g, unsigned char& b) {
    float m1, m2;
    rampLevels(S, L, m1, m2);
    const float s = float(S) / 100.0f;
    if (s != 0.0f) {
        const float h = float(H);
        r = rampByte(m1, m2, h + 120.0f);
        g = rampByte(m1, m2, h);
        b = rampByte(m1, m2, h - 120.0f);
    } else if (H == 170) {
        r = g = b = saturate_trunc<unsigned char>((float(L) / 100.0f) * 255.0f);
    }
}

// Sums in 64 bits so an extreme shift cannot overflow.
int clampPercent(long long v) {
    return int(v < 0 ? 0 : v > 100 ? 100 : v);
}

// The shifted hue: one correction each way, so a shift beyond a full turn is
// not folded further.
int shiftHue(int H, int hueShift) {
    long long h = (long long)H + hueShift;
    if (h > 360) h -= 360;
    if (h < 0) h += 360;
    return h > INT_MAX ? INT_MAX : h < INT_MIN ? INT_MIN : int(h);
}

// The per-pixel adjustment, in place on one packed triple.
void adjustPixel(unsigned char* p, int hueShift, int saturationShift, int lightnessShift) {
    int H, S, L;
    rgbToPercent(p[0], p[1], p[2], H, S, L);
    H = shiftHue(H, hueShift);
    S = clampPercent((long long)S + saturationShift);
    L = clampPercent((long long)L + lightnessShift);
    percentToRgb(H, S, L, p[0], p[1], p[2]);
}

// Tables of the fast path that do not depend on the shifts, built once.
struct HslTables {
    float unit[256];                // v / 255, as the conversion computes it
    unsigned char sat[256][256];    // percent saturation by [max][min] byte
    unsigned char light[256][256];  // percent lightness by [max][min] byte
    // Channel bytes by [saturation][lightness] percent: [t] the rising ramp at
    // t degrees (0..60, the falling side reads it at 240 - hue), [61] the low
    // level m1, [62] the high level m2.
    unsigned char ramp[101][101][64];
    unsigned char grey[101];  // grey byte of a lightness (hue 170, saturation 0)

    HslTables() {
        for (int v = 0; v < 256; v++) unit[v] = float(v) / 255.0f;
        for (int mx = 0; mx < 256; mx++) {
            for (int mn = 0; mn <= mx; mn++) {
                int H, S, L;
                rgbToPercent((unsigned char)mx, (unsigned char)mn, (unsigned char)mn, H, S, L);
                sat[mx][mn] = (unsigned char)S;
                light[mx][mn] = (unsigned char)L;
            }
        }
        for (int S = 0; S <= 100; S++) {
            for (int L = 0; L <= 100; L++) {
                float m1, m2;
                rampLevels(S, L, m1, m2);
                unsigned char* row = ramp[S][L];
                for (int t = 0; t < 60; t++) row[t] = rampByte(m1, m2, float(t));
                row[60] = rampByte(m1, m2, 180.0f);
                row[61] = rampByte(m1, m2, 300.0f);
                row[62] = rampByte(m1, m2, 120.0f);
                row[63] = 0;
            }
        }
        for (int L = 0; L <= 100; L++) {
            unsigned char r = 0, g = 0, b = 0;
            percentToRgb(170, 0, L, r, g, b);
            grey[L] = r;
        }
    }
};

const HslTables& hslTables() {
    static const HslTables tables;  // thread-safe initialisation on first use
    return tables;
}

// Where a channel at hue x (before the ramp's own wrap) reads its byte in a
// ramp row, or -1 where the row does not hold it (a hue still negative after
// one wrap).
int rampIndex(float x) {
    if (x > 360.0f)
        x -= 360.0f;
    else if (x < 0.0f)
        x += 360.0f;
    if (x < 0.0f) return -1;
    if (x < 60.0f) return int(x);  // a whole number: hues are ints far below 2^24 here
    if (x < 180.0f) return 62;
    if (x < 240.0f) return int(240.0f - x);
    return 61;
}

// What the fast path needs to know of a hue before the shift.
struct HueInfo {
    int shifted;         // hue after the shift
    signed char idx[3];  // ramp row index per channel, -1: convert per pixel
    bool grey;           // shifted hue is 170: a saturation of 0 converts
};

// Per-call tables of the fast path.
struct HslShiftTables {
    HueInfo hues[361];
    unsigned char satMap[256], lightMap[256];
    int hueShift, saturationShift, lightnessShift;
};

// The truncated percent hue of a non-grey pixel: the single-precision steps
// of rgbToPercent.
int percentHue(const HslTables& T, int r, int g, int b, int mx, int mn) {
    const float d = T.unit[mx] - T.unit[mn];
    float h;
    if (r == mx)
        h = 60.0f * ((T.unit[g] - T.unit[b]) / d);
    else if (g == mx)
        h = 60.0f * ((T.unit[b] - T.unit[r]) / d + 2.0f);
    else
        h = 60.0f * ((T.unit[r] - T.unit[g]) / d + 4.0f);
    if (h < 0.0f) h += 360.0f;
    return truncInt(h);
}

// One row of packed triples, in place, in chunks: the hue and the max and min
// come from the vector kernel (no data-dependent branches), the rest from the
// tables. Everything the loops read is reached through parameters or locals,
// so byte stores cannot force reloads.
void hslRow(unsigned char* p, int n, const HslTables& T, const HslShiftTables& C, bool vec) {
    constexpr int kChunk = 256;
    unsigned char pr[kChunk], pg[kChunk], pb[kChunk];
    int32_t hue[kChunk], maxMin[kChunk];
    for (int x0 = 0; x0 < n; x0 += kChunk, p += 3 * kChunk) {
        const int len = std::min(kChunk, n - x0);
        int i = 0;
        if (vec) {
            for (int k = 0; k < len; k++) {
                pr[k] = p[3 * k];
                pg[k] = p[3 * k + 1];
                pb[k] = p[3 * k + 2];
            }
            i = detail::photoPercentHue(pr, pg, pb, hue, maxMin, len);
        }
        for (; i < len; i++) {
            const int r = p[3 * i], g = p[3 * i + 1], b = p[3 * i + 2];
            const int mx = std::max(r, std::max(g, b));
            const int mn = std::min(r, std::min(g, b));
            hue[i] = mx == mn ? 170 : percentHue(T, r, g, b, mx, mn);
            maxMin[i] = mx * 256 + mn;
        }
        unsigned char* q = p;
        for (i = 0; i < len; i++, q += 3) {
            const int H = hue[i];
            if (H < 0 || H > 360) {
                adjustPixel(q, C.hueShift, C.saturationShift, C.lightnessShift);
                continue;
            }
            const HueInfo& hi = C.hues[H];
            const int mm = maxMin[i];
            const int S = C.satMap[T.sat[mm >> 8][mm & 255]];
            const int L = C.lightMap[T.light[mm >> 8][mm & 255]];
            if (S == 0) {
                if (hi.grey) q[0] = q[1] = q[2] = T.grey[L];
            } else if ((hi.idx[0] | hi.idx[1] | hi.idx[2]) >= 0) {
                const unsigned char* row = T.ramp[S][L];
                q[0] = row[hi.idx[0]];
                q[1] = row[hi.idx[1]];
                q[2] = row[hi.idx[2]];
            } else {
                percentToRgb(hi.shifted, S, L, q[0], q[1], q[2]);
            }
        }
    }
}

// The fast path: lightness and saturation come from [max][min] tables, the
// hue from the same single-precision steps as the per-pixel path, and the way
// back from ramp rows indexed through a per-call table of the shifted hue.
void hslFast(Mat& m, int rows, int n, int hueShift, int saturationShift, int lightnessShift) {
    const HslTables& T = hslTables();
    HslShiftTables C;
    C.hueShift = hueShift;
    C.saturationShift = saturationShift;
    C.lightnessShift = lightnessShift;
    for (int H = 0; H <= 360; H++) {
        HueInfo& hi = C.hues[H];
        hi.shifted = shiftHue(H, hueShift);
        const float h = float(hi.shifted);
        hi.idx[0] = (signed char)rampIndex(h + 120.0f);
        hi.idx[1] = (signed char)rampIndex(h);
        hi.idx[2] = (signed char)rampIndex(h - 120.0f);
        hi.grey = hi.shifted == 170;
    }
    for (int v = 0; v < 256; v++) {
        C.satMap[v] = (unsigned char)clampPercent((long long)v + saturationShift);
        C.lightMap[v] = (unsigned char)clampPercent((long long)v + lightnessShift);
    }
    const bool vec = checkHardwareSupport(CPU_FLOAT_VECTORS);
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) hslRow(m.data.ptr[y], n, T, C, vec);
    };
    detail::photoParallelRows(rows, double(rows) * n, body);
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
    if (detail::useOptimized()) {
        hslFast(*m, rows, n, hueShift, saturationShift, lightnessShift);
        return true;
    }
    for (int y = 0; y < rows; y++) {
        unsigned char* p = m->data.ptr[y];
        for (int x = 0; x < n; x++, p += 3)
            adjustPixel(p, hueShift, saturationShift, lightnessShift);
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
