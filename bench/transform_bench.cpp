// Transformation operators on a 1080p colour byte image: quarter turns,
// resample mode 2 to 1.5 times with Catmull-Rom and Lanczos, area shrinking to
// a third, and the simple bilinear resample. Counters use the destination
// pixels for resampling and the source pixels for turns. Each benchmark first
// checks that the scalar switch does not change the result.
#include <benchmark/benchmark.h>

#include <random>

#include "bench_util.h"
#include "tarvo/ip/geometry.h"

using namespace tarvo;

namespace {

Mat randomBytes(int w, int h, int type) {
    Mat m(h, w, type);
    std::mt19937 rng(5);
    const int n = w * m.channels();
    for (int y = 0; y < h; y++)
        for (int i = 0; i < n; i++) m.ptr<unsigned char>(y)[i] = (unsigned char)rng();
    return m;
}

void BM_QuarterTurn(benchmark::State& state, int type) {
    const Mat src = randomBytes(1920, 1080, MAT_Tuchar3);
    bench::checkPaths([&](Mat& d) { ip::rotate(src, d, RotateType(type)); }, "quarter turn");
    Mat dst;
    for (auto _ : state) {
        ip::rotate(src, dst, RotateType(type));
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, 1920LL * 1080, 1080LL * src.rowByteSize());
}

void BM_Resample(benchmark::State& state, int method, int w, int h) {
    const Mat src = randomBytes(1920, 1080, MAT_Tuchar3);
    auto run = [&](Mat& d) {
        ip::resample(src, d, w, h, InterpolationMethod(method), OverflowClamp, false);
    };
    bench::checkPaths(run, "resample");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, (int64_t)w * h, 1080LL * src.rowByteSize());
}

void BM_ResampleSimple(benchmark::State& state, int sampler) {
    const Mat src = randomBytes(1920, 1080, MAT_Tuchar3);
    auto run = [&](Mat& d) { ip::resample(src, d, 1280, 720, sampler); };
    bench::checkPaths(run, "resample simple");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, 1280LL * 720, 1080LL * src.rowByteSize());
}

}  // namespace

BENCHMARK_CAPTURE(BM_QuarterTurn, u8c3_left, int(RotateLeft90))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_QuarterTurn, u8c3_half, int(Rotate180))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Resample, u8c3_catmullrom_x1_5, int(InterpCatmullRom), 2880, 1620)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Resample, u8c3_lanczos_x1_5, int(InterpLanczos), 2880, 1620)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Resample, u8c3_area_640x360, int(InterpCatmullRom), 640, 360)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_ResampleSimple, u8c3_bilinear_1280x720, 0)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
