// Shapes: contours and the sequence store they live in, polygon and point-set
// geometry, connected components and flood fill, distance transforms and
// thinning, image moments.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {

// ---- contours

// ---- polygon and point-set geometry

// ---- connected components, flood fill and selection

// ---- distance transforms and thinning

// ---- image moments

}  // namespace tarvo
