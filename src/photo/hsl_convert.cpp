// Byte-scale HSL conversions shared by the colour operators.
#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {

void RGBtoHSL(unsigned char r, unsigned char g, unsigned char b, unsigned char& h, unsigned char& s,
              unsigned char& l) {
    const int mx = r > g ? (r > b ? r : b) : (g > b ? g : b);
    const int mn = r < g ? (r < b ? r : b) : (g < b ? g : b);
    const int sum = mx + mn;
    l = (unsigned char)((sum + 1) * 255 / 510);
    if (mx == mn) {
        // Grey: hue 170 is what the way back (and ipHSL) expects.
        s = 0;
        h = 170;
        return;
    }
    const int delta = mx - mn;
    // delta <= d always holds, so s stays within 0..255.
    const int d = l > 127 ? 510 - sum : sum;
    s = (unsigned char)((d / 2 + delta * 255) / d);
    const unsigned char rc = (unsigned char)(((mx - r) * 42 + delta / 2) / delta);
    const unsigned char gc = (unsigned char)(((mx - g) * 42 + delta / 2) / delta);
    const unsigned char bc = (unsigned char)(((mx - b) * 42 + delta / 2) / delta);
    int hh;
    if (r == mx)
        hh = bc - gc;
    else if (g == mx)
        hh = rc - bc + 85;
    else
        hh = gc - rc + 170;
    h = (unsigned char)(hh & 255);
}

float ramp(float m1, float m2, float x) {
    if (x > 360.0f)
        x -= 360.0f;
    else if (x < 0.0f)
        x += 360.0f;
    if (x < 60.0f) return (m2 - m1) * x / 60.0f + m1;
    if (x < 180.0f) return m2;
    if (x < 240.0f) return (m2 - m1) * (240.0f - x) / 60.0f + m1;
    return m1;
}

void HSLtoRGB(unsigned char h, unsigned char s, unsigned char l, unsigned char& r, unsigned char& g,
              unsigned char& b) {
    const float H = float(h) * 360.0f / 255.0f;
    const float L = float(l) / 255.0f;
    const float S = float(s) / 255.0f;
    if (S == 0.0f) {
        r = g = b = saturate_trunc<unsigned char>(L * 255.0f);
        return;
    }
    const float m2 = L <= 0.5f ? L * (1.0f + S) : L + S - L * S;
    const float m1 = 2.0f * L - m2;
    r = saturate_trunc<unsigned char>(ramp(m1, m2, H + 120.0f) * 255.0f);
    g = saturate_trunc<unsigned char>(ramp(m1, m2, H) * 255.0f);
    b = saturate_trunc<unsigned char>(ramp(m1, m2, H - 120.0f) * 255.0f);
}

}  // namespace ip
}  // namespace tarvo
