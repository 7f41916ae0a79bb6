// ip::gaussian at sigma 1, 2, 3 and 5 on 1080p bytes (1 and 3 channels) and
// floats. Each benchmark first checks that the vector path gives the scalar
// path's pixels and refuses to time a differing result.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "bench_util.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

Mat randomImage(int w, int h, int type) {
    Mat m(h, w, type);
    std::mt19937 rng(7);
    const int n = w * m.channels();
    for (int y = 0; y < h; y++)
        for (int i = 0; i < n; i++) {
            if (m.type() == MAT_Tfloat)
                m.ptr<float>(y)[i] = (float)(rng() % 100000) * 0.01f;
            else
                m.ptr<unsigned char>(y)[i] = (unsigned char)rng();
        }
    return m;
}

void BM_Gaussian(benchmark::State& state, int type) {
    const int w = 1920, h = 1080;
    const float sigma = (float)state.range(0);
    Mat src = randomImage(w, h, type), dst, scalar;
    detail::setUseOptimized(false);
    ip::gaussian(src, scalar, sigma);
    detail::setUseOptimized(true);
    ip::gaussian(src, dst, sigma);
    if (!bench::sameBytes(scalar, dst)) {
        state.SkipWithError("vector result differs from the scalar result");
        return;
    }
    for (auto _ : state) {
        ip::gaussian(src, dst, sigma);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)h * src.rowByteSize());
}

BENCHMARK_CAPTURE(BM_Gaussian, u8, int(MAT_Tuchar))
    ->Arg(1)
    ->Arg(2)
    ->Arg(3)
    ->Arg(5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Gaussian, u8c3, int(MAT_Tuchar3))
    ->Arg(1)
    ->Arg(2)
    ->Arg(3)
    ->Arg(5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Gaussian, f32, int(MAT_Tfloat))
    ->Arg(1)
    ->Arg(2)
    ->Arg(3)
    ->Arg(5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
