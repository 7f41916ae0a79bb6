// The feature framework: feature values, descriptors and sets, their files,
// the factory that reads them back, and the bases of the detectors.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {

}  // namespace tarvo
