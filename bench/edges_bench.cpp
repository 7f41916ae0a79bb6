// Gradients and Canny on synthetic photographs-like images (smooth shading,
// blocks, light noise) at 1080p and 4K, one-channel bytes.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "bench_util.h"
#include "tarvo/ip/edges.h"

using namespace tarvo;

namespace {

Mat scene(int w, int h) {
    Mat m(h, w, MAT_Tuchar);
    std::mt19937 rng(1);
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++)
            m.data.ptr[y][x] =
                (unsigned char)(((x / 40 + y / 30) % 2) * 120 + 60 +
                                50 * std::sin(x * 0.01) * std::cos(y * 0.013) + (rng() % 6));
    return m;
}

void BM_Canny(benchmark::State& state) {
    int w = (int)state.range(0), h = (int)state.range(1);
    Mat src = scene(w, h), dst;
    for (auto _ : state) {
        ip::canny(src, dst, 50, 150);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)w * h);
}
BENCHMARK(BM_Canny)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond);

void BM_SobelGradientX(benchmark::State& state) {
    int w = (int)state.range(0), h = (int)state.range(1);
    Mat src = scene(w, h), dst(h, w, MAT_Tshort);
    for (auto _ : state) {
        Sobel::gradientMagnitudeX(&src, &dst, false);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)w * h);
}
BENCHMARK(BM_SobelGradientX)->Args({1920, 1080})->Unit(benchmark::kMillisecond);

// ip::sobel 3x3, first derivative in x, byte source into a signed short image.
void BM_SobelShort(benchmark::State& state) {
    int w = (int)state.range(0), h = (int)state.range(1);
    Mat src = scene(w, h), dst(h, w, MAT_Tshort);
    for (auto _ : state) {
        ip::sobel(src, dst, 1, 0, 3);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)w * h);
}
BENCHMARK(BM_SobelShort)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond);

}  // namespace
