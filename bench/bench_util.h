// Shared helpers for the benchmarks: throughput counters and a plain-copy
// baseline, so every figure reads as "so many megapixels per second, so many
// times the cost of copying the same bytes".
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

#include "tarvo/mat.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace bench {

// Sets "Mpix/s" (pixels per second of wall time) and "xCopy" (time per
// iteration divided by the time memcpy takes to move `bytes` bytes) on `state`.
// Call after the timing loop. `bytes` is the size of the source pixels.
void setPixelCounters(benchmark::State& state, int64_t pixels, int64_t bytes);

// Median time in seconds of one memcpy of `bytes` bytes between two buffers
// allocated once per size; cached per size.
double copySeconds(int64_t bytes);

// True when a and b have the same shape and type word and equal bytes in
// every row.
bool sameBytes(const Mat& a, const Mat& b);

// Aborts the run with a message naming `what` unless a and b are sameBytes:
// a benchmark must never time a result that differs from the reference.
void requireSame(const Mat& a, const Mat& b, const char* what);

// Runs run(dst) with the vector paths and with the scalar switch, and
// requires both results to be identical.
template <typename F>
void checkPaths(F run, const char* what) {
    Mat a, b;
    run(a);
    detail::setUseOptimized(false);
    run(b);
    detail::setUseOptimized(true);
    requireSame(a, b, what);
}

}  // namespace bench
}  // namespace tarvo
