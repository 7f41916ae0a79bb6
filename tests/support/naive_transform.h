// Slow, direct references for the transformation operators: one pixel at a
// time, written from the sampling rules without any precomputed tables.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// Full resample (interpolator + overflow rule, area averaging when
// shrinking unless disableAveraging) of a one- or multi-channel image of any
// depth; the result has src's type word.
Mat naiveResampleFull(const Mat& src, int width, int height, int method, int overflow,
                      bool disableAveraging);

// Double-precision J1 by its power series (accurate to ~1e-12 for |x| <= 20).
double seriesJ1(double x);

}  // namespace test
}  // namespace tarvo
