// Pieces shared by the stylising operators.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// The stylising operators take byte images of 1 to 4 channels.
inline bool photoStyliseInput(const Mat* src) {
    return src && !src->empty() && src->rows() > 0 && src->cols() > 0 &&
           src->type() == MAT_Tuchar && src->channels() <= 4;
}

// The outline image of src into out (src's size and type, not src itself):
// each pixel's first min(3, channels) bytes get trunc(255 - min(S * gain,
// 255)) clamped to 0..255, further channels are copied from src. S sums the
// absolute differences between the first byte of the pixel and of its four
// neighbours, three times (one per colour channel), where the first and last
// rows and columns read as 0. A neighbour outside the image keeps the value it
// had for the previous pixel in row order (0 at the start). The work runs in
// strips of at most 15 rows, in parallel.
void photoEdgeImage(const Mat& src, Mat& out, float gain);

}  // namespace detail
}  // namespace tarvo
