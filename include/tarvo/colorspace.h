// Colour space conversions. Colour pixels are interleaved R, G, B in memory
// order (BMP_RGB); BMP_BGR names the reversed order. Every conversion keeps the
// source depth unless stated, reads channels 0..2 of a 3- or 4-channel source
// (a fourth channel is ignored) and leaves dst unchanged on bad input.
// dst may be the source itself.
//
// Weights (BT.601): Y = 0.299 R + 0.587 G + 0.114 B, evaluated so that a grey
// pixel (R = G = B = v) maps to exactly v:
//   byte, short, int:  Y = floor((299 R + 587 G + 114 B + 500) / 1000)   (64-bit integers)
//   float, double:     Y = G + 0.299 (R - G) + 0.114 (B - G)  (float in float, double in double)
//
// YUV (full-range YCbCr, as JPEG uses it), with o = 128 for byte and 0 for
// the other depths:
//   Y = as above (the integer formula for the integer depths),
//   U = o + (B - Y) / 1.772,          V = o + (R - Y) / 1.402
// and back
//   R = Y + 1.402 (V - o),  B = Y + 1.772 (U - o),
//   G = Y - (0.114 * 1.772 / 0.587) (U - o) - (0.299 * 1.402 / 0.587) (V - o).
// Integer depths round to nearest and saturate. For bytes U and V stay within
// 0..255 for every RGB input, so a byte round trip is off by at most 2.
//
// Lab (sRGB, D65 white):
//   c' = c / 255 for bytes, c for float and double (nominal range 0..1);
//   linear: l = c' / 12.92 if c' <= 0.04045, else ((c' + 0.055) / 1.055)^2.4
//   X = 0.4124564 r + 0.3575761 g + 0.1804375 b
//   Y = 0.2126729 r + 0.7151522 g + 0.0721750 b
//   Z = 0.0193339 r + 0.1191920 g + 0.9503041 b
//   f(t) = cbrt(t) if t > (6/29)^3, else t / (3 (6/29)^2) + 4/29
//   L = 116 f(Y / 1) - 16,  a = 500 (f(X / 0.95047) - f(Y)),  b = 200 (f(Y) - f(Z / 1.08883))
// Float and double give L in 0..100 and a, b unscaled; bytes give
// L * 255 / 100, a + 128, b + 128, rounded and saturated. Short and int are refused.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {

class TARVO_BASE_EXPORTS ColorSpace {
public:
    // dst = one-channel luminance of a colour image, same depth. format says
    // where red is (BMP_RGB: byte 0, BMP_BGR: byte 2); other values are
    // refused. A one-channel source is copied.
    static void RGBtoGray(const Mat& src, Mat& dst, int format = BMP_RGB);
    // dst = three channels each equal to the grey source (format checked as
    // above). A source with 3 or more channels is copied.
    static void GraytoRGB(const Mat& src, Mat& dst, int format = BMP_RGB);
    // dst = Y, U, V (channel 0 is Y), same depth as src.
    static void RGBtoYUV(const Mat& src, Mat& dst);
    // dst = R, G, B from Y, U, V, same depth.
    static void YUVtoRGB(const Mat& src, Mat& dst);
    // dst = L, a, b (byte, float or double source; see above).
    static void RGBtoLab(const Mat& src, Mat& dst);
    // The first three channels of a 3- or more-channel image as one-channel
    // planes. Unchanged outputs on a source with fewer channels.
    static void split(const Mat& src, Mat& c0, Mat& c1, Mat& c2);
    // dst = channel `channel` of src as a one-channel matrix; unchanged when
    // the channel does not exist.
    static void extractChannel(const Mat& src, Mat& dst, int channel);
};

}  // namespace tarvo
