// Shared helpers for the benchmarks: throughput counters and a plain-copy
// baseline, so every figure reads as "so many megapixels per second, so many
// times the cost of copying the same bytes".
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

namespace tarvo {
namespace bench {

// Sets "Mpix/s" (pixels per second of wall time) and "xCopy" (time per
// iteration divided by the time memcpy takes to move `bytes` bytes) on `state`.
// Call after the timing loop. `bytes` is the size of the source pixels.
void setPixelCounters(benchmark::State& state, int64_t pixels, int64_t bytes);

// Median time in seconds of one memcpy of `bytes` bytes between two buffers
// allocated once per size; cached per size.
double copySeconds(int64_t bytes);

}  // namespace bench
}  // namespace tarvo
