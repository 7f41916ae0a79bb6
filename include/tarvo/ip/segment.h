// Binarisation: fixed thresholds with five classic modes, Otsu's automatic
// threshold, percentile thresholds, a local-mean adaptive threshold and an
// entropy-style grey threshold.
//
// Samples are compared with a strict "greater than": a sample equal to the
// threshold counts as below it.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace ip {

// Threshold type codes of ip::Threshold. For sample x, threshold t, maximum m:
enum ThresholdType {
    ThreshBinary = 0,        // x > t ? m : 0
    ThreshBinaryInv = 1,     // x > t ? 0 : m
    ThreshTrunc = 2,         // x > t ? t : x
    ThreshToZero = 3,        // x > t ? x : 0
    ThreshToZeroInv = 4,     // x > t ? 0 : x
    ThreshOtsuBit = 8,       // flag: t is Otsu's value of the image; the low 3 bits give the mode
    ThreshPercentUp = 9,     // byte result: samples below the percentile level 0, the others m
    ThreshPercentDown = 10,  // byte result: samples below the percentile level m, the others 0
};

// Local mean used by ip::adaptiveThreshold.
enum AdaptiveMethod {
    AdaptiveMean = 0,      // box mean over blockSize x blockSize
    AdaptiveGaussian = 1,  // Gaussian-weighted mean (sigma from blockSize)
};

// Thresholds src into dst and returns the threshold used.
// Byte and short sources: t = floor(thresh), m = round(maxval) kept to the low
// 8 / 16 bits (mode ThreshTrunc uses t); thresholds outside the sample range
// give a constant fill or a copy. Float sources compare with thresh as given.
// dst is re-created single-channel at src's size and depth when its size or
// depth differs; the first cols samples of each row are processed (all
// rows * cols samples as one run when both images are continuous). With
// ThreshOtsuBit the threshold is Otsu's value of src's bytes. ThreshPercentUp /
// ThreshPercentDown take thresh as a percentage, make dst src converted to
// byte and return the level k reached. Int and double sources: thresh is
// returned and dst is only prepared. An empty src returns 0 and touches nothing.
TARVO_EXPORTS double Threshold(const Mat& src, Mat& dst, double thresh, double maxval, int type);

// Local threshold of a byte image: dst = maxValue (rounded, saturated to 0..255)
// where src > mean - delta (ThreshBinary, delta rounded up) or 0 otherwise;
// ThreshBinaryInv inverts (delta rounded down). The mean is over a
// blockSize x blockSize box (AdaptiveMean; pixels nearer the edge than
// blockSize / 2 use the part of the box inside the image) or the library's
// Gaussian smoothing (AdaptiveGaussian). Channels are thresholded independently.
// dst is created with src's size and type; a negative maxValue zeroes it; other
// methods, other depths, blockSize < 1 or an empty src leave it as created
// (new pixels cleared). Other type codes give an all-zero dst.
TARVO_EXPORTS void adaptiveThreshold(const Mat& src, Mat& dst, double maxValue, int method,
                                     int type, int blockSize, double delta);

// Otsu's threshold (0..255, single-precision search) of the first cols bytes
// of each row of src, counting only pixels whose mask byte is non-zero; an
// empty mask counts all. A constant image, an empty selection, an empty src or
// a mask of another size give 0.
TARVO_EXPORTS unsigned char otsuThreshold(const Mat& src, const Mat& mask = Mat());

// Grey level k (0..255) that maximises q2 log q2 + q1 log q1 - 0.5 log s, with
// q1 / q2 the shares of samples at or below / above k and s the variance of the
// samples about their own class mean. Reads rows * cols bytes (one run when
// src is continuous, else cols bytes per row). Empty src gives 0.
TARVO_EXPORTS int thresholdOfGray(const Mat& src);

// Scores of ip::matchTemplate.
enum enTemplateMatchMode {
    TM_SQDIFF = 0,         // sum of squared differences
    TM_SQDIFF_NORMED = 1,  // squared differences over sqrt(window energy * template energy)
    TM_CCORR = 2,          // cross correlation
    TM_CCORR_NORMED = 3,   // cross correlation over sqrt(window energy * template energy)
    TM_CCOEFF = 4,         // correlation of the mean-free window and template
    TM_CCOEFF_NORMED = 5,  // that over the product of their standard deviations (times area)
};

// Correlation through the spectrum, tile by tile: corr(y, x) = delta + sum
// templ(j, i) * image(y + j - anchor.y, x + i - anchor.x), borders by borderType
// (0..4, bit 16 ignored; fill reads 0). corr is created at corrSize with
// corrType (whole type word): image channel k pairs with template channel k (or
// 0 for a one-channel template) into corr channel k, or all are summed into a
// one-channel corr (delta added once). Spectra are float for byte images (double
// when the template or corr is double), else double. Other channel combinations,
// empty inputs, a non-positive corrSize, an anchor or corrSize beyond 2^28 or no fitting
// transform size leave corr unchanged.
TARVO_EXPORTS void crossCorr(const Mat& image, const Mat& templ, Mat& corr, Size_<int> corrSize,
                             int corrType, Point2_<int> anchor = Point2_<int>(0, 0),
                             double delta = 0, int borderType = 0);

// Slides templ over image (same channel count, channels summed) and writes the
// score of every placement into result: (image rows - templ rows + 1) x (image
// cols - templ cols + 1), one float channel. Normalised scores use window sums
// from the integral images; |score| within an eighth above the norm counts as
// +-1. Mode 5 with a constant template gives all ones. A template larger than
// the image either way, channel counts that differ, or empty inputs empty result.
TARVO_EXPORTS void matchTemplate(const Mat& image, const Mat& templ, Mat& result,
                                 enTemplateMatchMode mode);

}  // namespace ip
}  // namespace tarvo
