// Adapters of the integral, pyramid and border code to the shared border
// rule, the hardware switch and the parallel loop.
#include "filter/integral_internal.h"

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

bool pyrUseIntVector() {
    return true;
}

bool pyrUseFloatVector() {
    return true;
}

void pyrParallelRows(int n, double pixels, const std::function<void(int, int)>& body) {
    (void)pixels;
    if (n > 0) body(0, n);
}

}  // namespace detail
}  // namespace tarvo
