// Slow, obvious per-pixel forms of the photo operators, used as references by
// the photo tests: every pixel computes its formula directly, with no tables,
// no vector code and no threads.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// Exposure and light on byte or float images (every element): out =
// clamp(trunc((v - 128) * slope + offset), 0, 255) in single precision, with v
// = clamp(trunc(element), 0, 255) for float. slope = (slopeNum) / 100.
Mat naiveSlope(const Mat& src, int slopeNum, int offset);

// Level mode 2 (two passes, each stored as a clamped byte) on the first three
// bytes of each pixel, further channels copied.
Mat naiveLevel2(const Mat& src, int low, int high);

// Level mode 1 through whole-image float conversions: float RGB (grey
// replicated), Y, U, V; Y stretched from its min..max to low..high; back to
// RGB rounded to bytes, one channel again for a grey source. Empty when flat.
Mat naiveLevel1(const Mat& src, int low, int high);

// Shadows on the first three bytes of each pixel, further channels copied.
Mat naiveShadow(const Mat& src, float depth, float limit);

// Byte gamma: trunc(pow(v, g) * 255 / pow(255, g)) (g = 0: the log curve).
Mat naiveGamma(const Mat& src, double gamma);

// The outline image computed over the whole image at once, pixel by pixel in
// row order with explicit carried neighbour values: smoothed value = first
// byte, 0 on the outermost rows and columns; S = 3 * the summed absolute
// differences to the four neighbours; out = trunc(255 - min(S * gain, 255))
// clamped, in the first min(3, channels) bytes, further channels copied.
Mat naiveEdgeImage(const Mat& src, float gain);

// Noise after seeding rand15 with seed: each byte + trunc(amount * (r / 32767
// - 0.5)), clamped, in row order.
Mat naiveNoise(const Mat& src, int amount, unsigned seed);

}  // namespace test
}  // namespace tarvo
