// Detects matrices whose pixel memory overlaps, so the filters can fall back
// to a serial or copied run when a destination shares memory with its source.
#pragma once

#include <algorithm>
#include <cstdint>

#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Bounding byte range [lo, hi) of a matrix's rows (row tables may be in any order).
inline void byteSpan(const Mat& m, uintptr_t& lo, uintptr_t& hi) {
    lo = UINTPTR_MAX;
    hi = 0;
    const size_t rb = size_t(m.rowByteSize());
    for (int y = 0; y < m.rows(); y++) {
        const uintptr_t p = reinterpret_cast<uintptr_t>(m.data.ptr[y]);
        lo = std::min(lo, p);
        hi = std::max(hi, p + rb);
    }
}

// True when a and b are one object or their row ranges overlap.
inline bool sharesMemory(const Mat& a, const Mat& b) {
    if (&a == &b) return true;
    if (a.empty() || b.empty()) return false;
    uintptr_t alo, ahi, blo, bhi;
    byteSpan(a, alo, ahi);
    byteSpan(b, blo, bhi);
    return alo < bhi && blo < ahi;
}

}  // namespace detail
}  // namespace tarvo
