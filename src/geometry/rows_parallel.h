// Runs a callable over output rows through parallel_for_, one stripe per
// 65536 output pixels, so small images stay on the caller's thread.
#pragma once

#include "tarvo/parallel.h"

namespace tarvo {
namespace detail {

template <typename F>
class RowsBody : public ParallelLoopBody {
public:
    explicit RowsBody(const F& f) : f_(f) {}
    void operator()(const Range& r) const override { f_(r.start, r.end); }

private:
    const F& f_;
};

// f(rowBegin, rowEnd) over [0, rows); each row is written by exactly one call.
template <typename F>
void forRows(int rows, double pixels, const F& f) {
    if (rows <= 0) return;
    RowsBody<F> body(f);
    parallel_for_(Range(0, rows), body, pixels / 65536.0);
}

}  // namespace detail
}  // namespace tarvo
