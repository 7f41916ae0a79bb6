// Colour adjustment operators on 8-bit RGB pictures, with a plain copy of the
// same bytes as the baseline.
#include <cstring>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/ip/photo.h"
#include "tarvo/mat.h"

namespace {

using tarvo::Mat;

Mat benchImage(int w, int h) {
    Mat m(h, w, tarvo::MAT_Tuchar3);
    unsigned state = 12345u;
    for (int r = 0; r < h; r++) {
        unsigned char* p = m.ptr<unsigned char>(r);
        for (int i = 0; i < w * 3; i++) {
            state = state * 1103515245u + 12345u;
            p[i] = (unsigned char)(state >> 16);
        }
    }
    return m;
}

void setCounters(benchmark::State& state, const Mat& m) {
    tarvo::bench::setPixelCounters(state, int64_t(m.rows()) * m.cols(),
                                   int64_t(m.rows()) * m.rowByteSize());
}

void BM_Copy(benchmark::State& state) {
    Mat src = benchImage(int(state.range(0)), int(state.range(1)));
    Mat dst(src.rows(), src.cols(), src.type1());
    for (auto _ : state) {
        for (int r = 0; r < src.rows(); r++)
            std::memcpy(dst.data.ptr[r], src.data.ptr[r], size_t(src.rowByteSize()));
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setCounters(state, src);
}

void BM_Colorize(benchmark::State& state) {
    Mat src = benchImage(int(state.range(0)), int(state.range(1))), dst;
    for (auto _ : state) {
        tarvo::ip::colorize(src, dst, 20, 200, 0.7f);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setCounters(state, src);
}

void BM_ShiftRGB(benchmark::State& state) {
    Mat src = benchImage(int(state.range(0)), int(state.range(1)));
    Mat dst(src.rows(), src.cols(), src.type1());
    for (auto _ : state) {
        tarvo::ip::shiftRGB(src, dst, 20, -10, 5);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setCounters(state, src);
}

void BM_HSL(benchmark::State& state) {
    Mat src = benchImage(int(state.range(0)), int(state.range(1)));
    Mat dst(src);
    for (auto _ : state) {
        tarvo::ip::hsl(dst, dst, 10, 5, -5);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setCounters(state, src);
}

void BM_ColorTemperature(benchmark::State& state) {
    Mat src = benchImage(int(state.range(0)), int(state.range(1))), dst;
    for (auto _ : state) {
        tarvo::ip::colorTemperature(src, dst, 4500);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setCounters(state, src);
}

#define PHOTO_SIZES \
    ->Args({640, 480})->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond)

BENCHMARK(BM_Copy) PHOTO_SIZES;
BENCHMARK(BM_Colorize) PHOTO_SIZES;
BENCHMARK(BM_ShiftRGB) PHOTO_SIZES;
BENCHMARK(BM_HSL) PHOTO_SIZES;
BENCHMARK(BM_ColorTemperature) PHOTO_SIZES;

}  // namespace
