// Discrete transforms: Fourier and cosine transforms of matrices and arrays,
// spectrum products, and the two-dimensional transform object.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {

}  // namespace tarvo
