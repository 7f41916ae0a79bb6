// Adapters of the integral, pyramid and border code to the shared border
// rule, the hardware switch and the parallel loop.
#include "filter/integral_internal.h"

#include "tarvo/parallel.h"

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
    return checkHardwareSupport(3);
}

bool pyrUseFloatVector() {
    return checkHardwareSupport(2);
}

namespace {
class RowsBody : public ParallelLoopBody {
public:
    explicit RowsBody(const std::function<void(int, int)>& f) : f_(f) {}
    void operator()(const Range& r) const override { f_(r.start, r.end); }

private:
    const std::function<void(int, int)>& f_;
};
}  // namespace

void pyrParallelRows(int n, double pixels, const std::function<void(int, int)>& body) {
    if (n <= 0) return;
    // One stripe per 65536 pixels of work; small images stay on the calling thread.
    parallel_for_(Range(0, n), RowsBody(body), pixels / 65536.0);
}

}  // namespace detail
}  // namespace tarvo
