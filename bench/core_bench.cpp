// The baselines every other figure is read against: a plain copy of an image's
// bytes, and the fixed cost of one parallel_for_ call.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstring>

#include "bench_util.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

void BM_PlainCopy(benchmark::State& state, int type) {
    const int w = int(state.range(0)), h = int(state.range(1));
    Mat src(h, w, type), dst(h, w, type);
    src = 7.0;
    for (auto _ : state) {
        for (int y = 0; y < h; y++)
            std::memcpy(dst.data.ptr[y], src.data.ptr[y], size_t(src.rowByteSize()));
        benchmark::DoNotOptimize(dst.data.ptr[0]);
        benchmark::ClobberMemory();
    }
    bench::setPixelCounters(state, int64_t(w) * h, int64_t(src.rowByteSize()) * h);
}

struct TouchRows : ParallelLoopBody {
    std::atomic<int>* count;
    void operator()(const Range& r) const override {
        count->fetch_add(r.end - r.start, std::memory_order_relaxed);
    }
};

// Cost of dispatching a loop of n near-empty iterations.
void BM_ParallelForOverhead(benchmark::State& state) {
    const int n = int(state.range(0));
    std::atomic<int> count{0};
    TouchRows body;
    body.count = &count;
    for (auto _ : state) {
        parallel_for_(Range(0, n), body);
        benchmark::DoNotOptimize(count.load());
    }
    state.counters["calls/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Args({640, 480})->Args({1920, 1080})->Args({3840, 2160});
    b->Unit(benchmark::kMicrosecond)->UseRealTime();
}

}  // namespace

BENCHMARK_CAPTURE(BM_PlainCopy, u8, int(MAT_Tuchar))->Apply(sizes);
BENCHMARK_CAPTURE(BM_PlainCopy, u8c3, int(MAT_Tuchar3))->Apply(sizes);
BENCHMARK_CAPTURE(BM_PlainCopy, f32, int(MAT_Tfloat))->Apply(sizes);
BENCHMARK(BM_ParallelForOverhead)->Arg(1)->Arg(64)->Arg(1080)->Arg(100000)->UseRealTime();
