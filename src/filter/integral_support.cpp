// Adapters of the integral, pyramid and border code to the shared border
// rule, the hardware switch and the parallel loop.
#include "filter/integral_internal.h"

#include <atomic>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

namespace tarvo {
namespace detail {

int pyrBorderIndex(int p, int len, int mode) {
    if ((unsigned)p < (unsigned)len) return p;
    if (len <= 0) return -1;
    switch (mode) {
        case BorderClamp:
            return p < 0 ? 0 : len - 1;
        case BorderMirror:
        case BorderMirrorNoEdge: {
            if (len == 1) return 0;
            const int delta = mode == BorderMirrorNoEdge ? 1 : 0;
            // 64-bit to keep the reflections of far-away coordinates defined.
            long long q = p;
            while ((unsigned long long)q >= (unsigned long long)len) {
                if (q < 0)
                    q = delta - q - 1;
                else
                    q = 2LL * len - delta - q - 1;
            }
            return int(q);
        }
        case BorderWrap: {
            long long q = p;
            if (q < 0) q -= ((q - len + 1) / len) * len;
            if (q >= len) q %= len;
            return int(q);
        }
        default:
            return -1;
    }
}

namespace {
std::atomic<bool> g_vectorEnabled{true};
}  // namespace

void pyrSetVectorEnabled(bool on) {
    g_vectorEnabled.store(on);
}

bool pyrUseIntVector() {
    return g_vectorEnabled.load(std::memory_order_relaxed);
}

bool pyrUseFloatVector() {
    return g_vectorEnabled.load(std::memory_order_relaxed);
}

void pyrParallelRows(int n, double pixels, const std::function<void(int, int)>& body) {
    if (n <= 0) return;
    // One stripe per 65536 pixels of work; small images stay on the calling thread.
    double stripes = pixels / 65536.0;
    if (stripes > n) stripes = n;
    if (stripes < 2.0) {
        body(0, n);
        return;
    }
    const int grain = int((n + int(stripes) - 1) / int(stripes));
    tbb::parallel_for(
        tbb::blocked_range<int>(0, n, grain),
        [&](const tbb::blocked_range<int>& r) { body(r.begin(), r.end()); },
        tbb::simple_partitioner());
}

}  // namespace detail
}  // namespace tarvo
