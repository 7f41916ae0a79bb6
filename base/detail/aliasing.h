// The library's one aliasing rule.
//
// A call that may re-create or write its destination first asks whether the
// destination's pixel block overlaps the source's (same object, one a
// sub-matrix reference into the other, or two references sharing rows). If it
// does, the call reads a private copy of the source, so the result equals the
// non-aliased call bit for bit and re-creating the destination cannot free
// memory that is still to be read. SourceGuard packages the rule:
//
//     detail::SourceGuard in(src, dst);
//     if (in.failed()) return;          // the copy could not be made
//     const Mat& s = in.get();          // read s, write dst freely
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>

#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Byte range [lo, hi) spanned by a matrix's rows. Row tables may point in any
// order (references, wrapped blocks), so every row is looked at.
inline void byteSpan(const Mat& m, uintptr_t& lo, uintptr_t& hi) {
    lo = UINTPTR_MAX;
    hi = 0;
    const uintptr_t rb = uintptr_t(size_t(m.rowByteSize()));
    for (int y = 0; y < m.rows(); y++) {
        const uintptr_t p = reinterpret_cast<uintptr_t>(m.data.ptr[y]);
        lo = std::min(lo, p);
        hi = std::max(hi, p + rb);
    }
}

// True when a and b are one object or the bytes of their rows may overlap.
// Empty matrices share nothing (unless they are the same object).
inline bool sharesMemory(const Mat& a, const Mat& b) {
    if (&a == &b) return true;
    if (a.empty() || b.empty()) return false;
    uintptr_t alo, ahi, blo, bhi;
    byteSpan(a, alo, ahi);
    byteSpan(b, blo, bhi);
    return alo < bhi && blo < ahi;
}

// The source a call reads: `src` itself, or a private deep copy of it when
// `dst` shares its memory. Construct it before `dst` is touched.
class SourceGuard {
public:
    SourceGuard(const Mat& src, const Mat& dst) : src_(&src) {
        if (!src.empty() && sharesMemory(src, dst)) takeCopy(src);
    }
    // Several destinations (null entries are skipped): a copy when any of them
    // shares the source's memory.
    SourceGuard(const Mat& src, std::initializer_list<const Mat*> dsts) : src_(&src) {
        if (src.empty()) return;
        for (const Mat* d : dsts)
            if (d && sharesMemory(src, *d)) {
                takeCopy(src);
                return;
            }
    }
    SourceGuard(const SourceGuard&) = delete;
    SourceGuard& operator=(const SourceGuard&) = delete;

    const Mat& get() const { return *src_; }
    const Mat& operator*() const { return *src_; }
    const Mat* operator->() const { return src_; }
    // True when a copy was needed and could not be made: refuse the call.
    bool failed() const { return failed_; }
    // True when the source is read from a copy.
    bool copied() const { return src_ == &copy_; }

private:
    void takeCopy(const Mat& src) {
        copy_ = src;
        src_ = &copy_;
        failed_ = copy_.empty();
    }

    const Mat* src_;
    Mat copy_;
    bool failed_ = false;
};

}  // namespace detail
}  // namespace tarvo
