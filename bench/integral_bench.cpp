// Integral image and pyramid throughput, in source megapixels per second,
// against a plain copy of the same bytes. Each benchmark first checks that
// the vector path equals the scalar one and aborts on the first difference.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/parallel.h"
#include "tarvo/ip/integral.h"

using namespace tarvo;

namespace {

Mat makeImage(int w, int h, int type) {
    Mat m(h, w, type);
    std::mt19937 rng(7);
    const size_t n = size_t(w) * m.elemSize();
    for (int y = 0; y < h; y++) {
        if (m.type() == MAT_Tfloat) {
            float* p = m.ptr<float>(y);
            for (size_t i = 0; i < n / 4; i++) p[i] = float(rng() & 255);
        } else {
            for (size_t i = 0; i < n; i++) m.data.ptr[y][i] = (unsigned char)rng();
        }
    }
    return m;
}

void setPixels(benchmark::State& state, int w, int h, int type = MAT_Tuchar) {
    const Mat probe(1, w, type);
    bench::setPixelCounters(state, int64_t(w) * h, int64_t(probe.rowByteSize()) * h);
}

void BM_Copy(benchmark::State& state, int type) {
    const int w = int(state.range(0)), h = int(state.range(1));
    Mat src = makeImage(w, h, type), dst(h, w, type);
    for (auto _ : state) {
        for (int y = 0; y < h; y++)
            std::memcpy(dst.data.ptr[y], src.data.ptr[y], size_t(src.rowByteSize()));
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, w, h, type);
}

void BM_Integral(benchmark::State& state, int type) {
    const int w = int(state.range(0)), h = int(state.range(1));
    Mat src = makeImage(w, h, type), sum;
    bench::checkPaths([&](Mat& out) { ip::integralImage(src, out); }, "integralImage");
    ip::integralImage(src, sum);  // allocate outside the timed loop
    for (auto _ : state) {
        ip::integralImage(src, sum);
        benchmark::DoNotOptimize(sum.data.ptr[0]);
    }
    setPixels(state, w, h, type);
}

void BM_PyrDown(benchmark::State& state, int type) {
    const int w = int(state.range(0)), h = int(state.range(1));
    Mat src = makeImage(w, h, type), dst;
    bench::checkPaths([&](Mat& out) { ip::pyrDown(src, out); }, "pyrDown");
    ip::pyrDown(src, dst);  // allocate outside the timed loop
    for (auto _ : state) {
        ip::pyrDown(src, dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, w, h, type);
}

void BM_PyrUp(benchmark::State& state, int type) {
    const int w = int(state.range(0)), h = int(state.range(1));
    Mat src = makeImage(w, h, type), dst;
    bench::checkPaths([&](Mat& out) { ip::pyrUp(src, out); }, "pyrUp");
    ip::pyrUp(src, dst);  // allocate outside the timed loop
    for (auto _ : state) {
        ip::pyrUp(src, dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, w, h, type);
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Args({640, 480})->Args({1920, 1080})->Args({3840, 2160});
    b->Unit(benchmark::kMicrosecond)->UseRealTime();
}

}  // namespace

BENCHMARK_CAPTURE(BM_Copy, u8, int(MAT_Tuchar))->Apply(sizes);
BENCHMARK_CAPTURE(BM_Copy, u8c3, int(MAT_Tuchar3))->Apply(sizes);
BENCHMARK_CAPTURE(BM_Copy, f32, int(MAT_Tfloat))->Apply(sizes);
BENCHMARK_CAPTURE(BM_Integral, u8, int(MAT_Tuchar))->Apply(sizes);
BENCHMARK_CAPTURE(BM_Integral, u8c3, int(MAT_Tuchar3))->Apply(sizes);
BENCHMARK_CAPTURE(BM_Integral, f32, int(MAT_Tfloat))->Apply(sizes);
BENCHMARK_CAPTURE(BM_PyrDown, u8, int(MAT_Tuchar))->Apply(sizes);
BENCHMARK_CAPTURE(BM_PyrDown, u8c3, int(MAT_Tuchar3))->Apply(sizes);
BENCHMARK_CAPTURE(BM_PyrDown, f32, int(MAT_Tfloat))->Apply(sizes);
BENCHMARK_CAPTURE(BM_PyrUp, u8, int(MAT_Tuchar))->Apply(sizes);
BENCHMARK_CAPTURE(BM_PyrUp, f32, int(MAT_Tfloat))->Apply(sizes);
