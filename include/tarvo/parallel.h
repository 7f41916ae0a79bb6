// The parallel loop and the processor-feature query.
#pragma once

#include "tarvo/export.h"
#include "tarvo/types.h"

namespace tarvo {

// Body of a parallel loop: called once per sub-range; bodies write disjoint output.
class TARVO_BASE_EXPORTS ParallelLoopBody {
public:
    virtual ~ParallelLoopBody();
    virtual void operator()(const Range& range) const = 0;
};

// Runs body over sub-ranges that together cover range, each delivered exactly
// once, possibly on several threads at once and in any order; returns when all
// are done. nstripes is the wished number of stripes (-1 for the default);
// one stripe or fewer, or a range of one index, runs serially on the caller's
// thread. Results must not depend on the thread count.
TARVO_BASE_EXPORTS void parallel_for_(const Range& range, const ParallelLoopBody& body,
                                      double nstripes = -1.0);

// Limits the threads parallel_for_ may use (n >= 1); n <= 0 restores all
// processors. Meant for benchmarks and tests.
TARVO_BASE_EXPORTS void setNumThreads(int n);
// Threads parallel_for_ may use.
TARVO_BASE_EXPORTS int getNumThreads();

// Processor feature codes asked by vector paths.
enum HardwareFeature {
    CPU_FLOAT_VECTORS = 2,  // single-precision vectors (SSE2 / NEON)
    CPU_INT_VECTORS = 3,    // integer and 8-bit vectors (SSE2 / NEON)
    CPU_SSE41 = 4,          // the vector paths of transforms and filter set-up (SSE4.1)
    CPU_AVX = 10,           // wider single-precision vectors (AVX)
    CPU_AVX2 = 11,          // wider integer vectors (AVX2)
};
// True when the processor offers `feature` (a HardwareFeature code). False for
// any other code, and for every code while vector code is switched off with
// detail::setUseOptimized(false).
TARVO_BASE_EXPORTS bool checkHardwareSupport(int feature);

// Names of the vector instruction sets in use, e.g. "AVX2 SSE4 SSSE3 SSE2".
TARVO_BASE_EXPORTS const char* hardwareFeatureNames();

namespace detail {
// Switches every vector path on (default) or off, so scalar and vector
// results can be compared. Not thread-safe: set it between calls.
TARVO_BASE_EXPORTS void setUseOptimized(bool on);
TARVO_BASE_EXPORTS bool useOptimized();
}  // namespace detail

}  // namespace tarvo
