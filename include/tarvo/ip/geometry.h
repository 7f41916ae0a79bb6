// Geometric transformations of whole images. Resizing:
//
//   code 0  ResizeScaleXY   the simple scaler ScaleXY (box-style averaging for
//                           bytes, corner-to-corner bilinear for other depths)
//   code 1  ResizeLinear    bilinear, pixel centres aligned; an exact halving
//                           on both axes averages 2 x 2 blocks
//   code 2  ResizeCubic     bicubic, 4 taps per axis (A = -0.75)
//   code 3  ResizeArea      pixel-area averaging when shrinking, bilinear with
//                           area weights when enlarging on either axis
//   code 4  ResizeLanczos4  Lanczos window of 8 taps per axis
//
// Byte images run in fixed point (coefficients scaled by 2048, one rounding at
// the end); 16-bit and float images in float, double images in double. Every
// channel count is served. Results do not depend on the processor or the
// number of threads.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace ip {

// Interpolation codes of ip::resize.
enum ResizeInterpolation {
    ResizeScaleXY = 0,
    ResizeLinear = 1,
    ResizeCubic = 2,
    ResizeArea = 3,
    ResizeLanczos4 = 4,
};

// Resizes src into dst (re-created at height x width with src's type word) by
// the interpolation code. src and dst may be the same matrix. An empty src,
// a non-positive or too large size (over 2^31 elements), an unknown code, or
// an int (depth 3) image with codes 1 to 4 leave dst unchanged.
TARVO_EXPORTS void resize(const Mat& src, Mat& dst, int width, int height, int interpolation);

// Resizes by a factor: width = (int)(cols * scale + 0.5), height likewise, with
// code 0 (ResizeScaleXY). Sizes that round to 0, NaN or negative factors leave
// dst unchanged.
TARVO_EXPORTS void resize(const Mat& src, Mat& dst, float scale);

// Resizes image in place with code 0 (ResizeScaleXY). Bad sizes leave it unchanged.
TARVO_EXPORTS void resize(Mat& image, int width, int height);

// Resizes image in place by a factor (sizes as in the two-matrix form) with code 0.
TARVO_EXPORTS void resize(Mat& image, float scale);

}  // namespace ip

// The simple scaler behind resize code 0. Byte images: each output pixel
// averages one or two source rows (two when the output row covers at least
// two) and one or two columns (two when the column step carries over), by
// truncating shifts. Short, int, float and double images: bilinear fit of
// corners onto corners, truncated to the element type.
class TARVO_EXPORTS ScaleXY {
public:
    virtual ~ScaleXY();
    // Scales src into dst, which must already have the wanted size and src's
    // type word and must not share pixels with src. False (dst untouched) for
    // empty images, a type mismatch or shared storage.
    static bool process(const Mat& src, Mat& dst);
    // The byte routine of process (byte images of any channel count only).
    static bool scaleByte(const Mat& src, Mat& dst);
    // The corner-to-corner routine of process (short, int, float, double only).
    static bool scaleBilinear(const Mat& src, Mat& dst);
};

}  // namespace tarvo
