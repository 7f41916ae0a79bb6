// parallel_for_ delivers every index exactly once; the feature switch.
#include <atomic>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

struct CountBody : ParallelLoopBody {
    std::vector<std::atomic<int>>* hits;
    int base;
    std::atomic<int>* calls;
    void operator()(const Range& r) const override {
        calls->fetch_add(1);
        for (int i = r.start; i < r.end; i++) (*hits)[(size_t)(i - base)].fetch_add(1);
    }
};

void expectExactlyOnce(int start, int end, double nstripes) {
    size_t n = (size_t)(end > start ? end - start : 0);
    std::vector<std::atomic<int>> hits(n);
    std::atomic<int> calls{0};
    CountBody body;
    body.hits = &hits;
    body.base = start;
    body.calls = &calls;
    parallel_for_(Range(start, end), body, nstripes);
    for (size_t i = 0; i < n; i++) {
        ASSERT_EQ(hits[i].load(), 1) << "index " << start + (int)i << " of [" << start << ", "
                                     << end << ") with " << nstripes << " stripes";
    }
    if (n == 0) {
        EXPECT_EQ(calls.load(), 0);
    }
}

}  // namespace

TEST(ParallelFor, EveryIndexExactlyOnce) {
    const int sizes[] = {0, 1, 2, 3, 7, 64, 1000, 4097};
    const double stripes[] = {-1.0, 0.0, 0.5, 1.0, 2.0, 3.0, 7.0, 100.0, 1e9};
    for (int n : sizes)
        for (double s : stripes) {
            expectExactlyOnce(0, n, s);
            expectExactlyOnce(-5, n - 5, s);
        }
}

TEST(ParallelFor, SameCoverageWithOneThreadAndAll) {
    setNumThreads(1);
    EXPECT_EQ(getNumThreads(), 1);
    expectExactlyOnce(0, 999, 16.0);
    setNumThreads(0);
    EXPECT_GE(getNumThreads(), 1);
    expectExactlyOnce(0, 999, 16.0);
}

TEST(ParallelFor, OneStripeRunsOnTheCallersThreadInOneCall) {
    std::vector<std::atomic<int>> hits(50);
    std::atomic<int> calls{0};
    CountBody body;
    body.hits = &hits;
    body.base = 0;
    body.calls = &calls;
    parallel_for_(Range(0, 50), body, 1.0);
    EXPECT_EQ(calls.load(), 1);
}

TEST(HardwareSupport, SwitchForcesScalarPaths) {
    bool any = checkHardwareSupport(CPU_FLOAT_VECTORS) || checkHardwareSupport(CPU_INT_VECTORS);
    detail::setUseOptimized(false);
    for (int code : {2, 3, 4, 10, 11}) EXPECT_FALSE(checkHardwareSupport(code));
    detail::setUseOptimized(true);
    EXPECT_EQ(checkHardwareSupport(CPU_FLOAT_VECTORS) || checkHardwareSupport(CPU_INT_VECTORS),
              any);
    EXPECT_FALSE(checkHardwareSupport(99));
    EXPECT_NE(hardwareFeatureNames(), nullptr);
}
