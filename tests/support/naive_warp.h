// Slow references for the warps and remap.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace test {

// Bilinear sampling in double of channel k at (x, y) rounded to the nearest
// 1/32 of a pixel (the grid of remap's tables), edge pixels repeated.
double naiveBilinear32(const Mat& src, double x, double y, int k);

// Maps (two one-channel float matrices, rows x cols) that turn a picture of
// size srcRows x srcCols by `degrees` about its centre.
void rotationMaps(int rows, int cols, int srcRows, int srcCols, double degrees, Mat& mapx,
                  Mat& mapy);

}  // namespace test
}  // namespace tarvo
