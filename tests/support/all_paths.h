// Runs an operation on every code path and requires identical bytes: scalar
// on one thread (the reference), scalar threaded, vector on one thread and
// vector threaded. Restores the switches afterwards.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tarvo/mat.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace test {

// True when a and b have the same shape and type and equal bytes in every row.
inline bool sameBytes(const Mat& a, const Mat& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols() || a.type1() != b.type1()) return false;
    const size_t n = size_t(a.rowByteSize());
    for (int r = 0; r < a.rows(); r++)
        if (std::memcmp(a.data.ptr[r], b.data.ptr[r], n) != 0) return false;
    return true;
}

// f(Mat& out) is called four times with a fresh matrix; the scalar one-thread
// result is returned.
template <typename F>
Mat onEveryPath(F f, const std::string& what = std::string()) {
    struct Restore {
        ~Restore() {
            detail::setUseOptimized(true);
            setNumThreads(0);
        }
    } restore;
    Mat ref;
    detail::setUseOptimized(false);
    setNumThreads(1);
    f(ref);
    const char* names[] = {"scalar threaded", "vector one thread", "vector threaded"};
    for (int p = 0; p < 3; p++) {
        detail::setUseOptimized(p > 0);
        setNumThreads(p == 1 ? 1 : 2);
        Mat out;
        f(out);
        EXPECT_TRUE(sameBytes(ref, out)) << what << ": " << names[p] << " differs from scalar";
    }
    return ref;
}

}  // namespace test
}  // namespace tarvo
