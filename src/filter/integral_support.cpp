// Adapters of the integral, pyramid and border code to the shared border
// rule, the hardware switch and the parallel loop.
#include "filter/integral_internal.h"

#include <algorithm>

#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace detail {

int pyrBorderIndex(int p, int len, int mode) {
    // The shared border rule; codes outside 0..4 give "no sample" here.
    if (mode < BorderFill || mode > BorderMirrorNoEdge) return -1;
    return ip::borderInterpolate(p, len, mode);
}

bool pyrUseIntVector() {
    return checkHardwareSupport(CPU_INT_VECTORS);
}

bool pyrUseFloatVector() {
    return checkHardwareSupport(CPU_FLOAT_VECTORS);
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
    // One stripe per 65536 pixels of work, so small images stay on the calling
    // thread, but at most four per thread: each stripe refills its own ring of
    // filtered rows, and finer stripes would redo more of that work.
    const double stripes = std::min(pixels / 65536.0, 4.0 * getNumThreads());
    parallel_for_(Range(0, n), RowsBody(body), stripes);
}

}  // namespace detail
}  // namespace tarvo
