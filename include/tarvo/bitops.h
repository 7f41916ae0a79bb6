// Bit counts of words of a given bit length (the texture descriptors use them).
#pragma once

#include "tarvo/export.h"

namespace tarvo {

class TARVO_BASE_EXPORTS BitOperation {
public:
    // Number of 1 bits among the low `bits` bits of v (bits clamped to 0..32).
    static int oneCount(unsigned v, int bits);
    // Number of 0-1 and 1-0 changes going round the low `bits` bits circularly.
    static int transitions(unsigned v, int bits);
    // The smallest value among the circular rotations of the low `bits` bits.
    static unsigned rotMin(unsigned v, int bits);
};

// Distances between feature vectors.
class TARVO_BASE_EXPORTS Distance {
public:
    // 1 - Pearson correlation of a[0..n) and b[0..n), in 0..2; 1 when either
    // vector is constant or n < 1.
    static float distanceCorrelation(const float* a, const float* b, int n);
};

}  // namespace tarvo
