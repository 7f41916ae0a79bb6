// Row stripes for the per-pixel loops of both libraries: rows [0, n) are cut
// into stripes of about kPixelsPerStripe pixels each and run through
// parallel_for_, so small images stay on the caller's thread. Every row is
// delivered exactly once, and each row's result may only depend on that row,
// so results never depend on the thread count.
#pragma once

#include <cstdint>

#include "tarvo/parallel.h"

namespace tarvo {
namespace detail {

constexpr double kPixelsPerStripe = 65536.0;

template <typename F>
class RowStripes : public ParallelLoopBody {
public:
    explicit RowStripes(const F& f) : m_f(f) {}
    void operator()(const Range& r) const override { m_f(r.start, r.end); }

private:
    const F& m_f;
};

// Calls body(r0, r1) over stripes covering [0, n); pixels is the amount of
// work (elements touched), which sets the stripe count.
template <typename F>
void parallelRows(int n, double pixels, const F& body) {
    if (n <= 0) return;
    double stripes = pixels / kPixelsPerStripe;
    if (stripes > n) stripes = n;
    if (stripes < 2.0) {
        body(0, n);
        return;
    }
    parallel_for_(Range(0, n), RowStripes<F>(body), stripes);
}

}  // namespace detail
}  // namespace tarvo
