// Slow, simple binary window morphology (dilation: any non-zero byte sets the
// window; erosion: every byte must be 255), with the same edge band and the
// same use of an existing destination as the library's version.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

void referenceBinaryMorph(bool dilation, const Mat& src, Mat& dst, int kernelWidth,
                          int kernelHeight);

}  // namespace test
}  // namespace tarvo
