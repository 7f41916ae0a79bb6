// Matrix basics in megapixels per second against a plain copy of the same
// bytes: allocating and releasing an image, depth conversions, grey conversion.
#include <cstdlib>
#include <cstring>
#include <random>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/colorspace.h"
#include "tarvo/mat.h"

using namespace tarvo;

namespace {

Mat randomImage(int w, int h, int type) {
    Mat m(h, w, type);
    std::mt19937 rng(11);
    for (int y = 0; y < h; y++)
        for (int i = 0; i < m.rowByteSize(); i++) m.data.ptr[y][i] = (unsigned char)rng();
    return m;
}

int64_t bytesOf(int w, int h, int type) {
    return int64_t(w) * h * MAT_CN(type) * depthSize(MAT_DEPTH(type));
}

void BM_MatCreateRelease(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    for (auto _ : state) {
        Mat m(h, w, MAT_Tuchar3);
        benchmark::DoNotOptimize(m.data.ptr);
        m.release();
    }
    bench::setPixelCounters(state, int64_t(w) * h, bytesOf(w, h, MAT_Tuchar3));
}

void BM_ConvertByteToFloat(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    Mat src = randomImage(w, h, MAT_Tuchar3), dst;
    src.convertTo(dst, MAT_Tfloat);  // allocate outside the timed loop
    for (auto _ : state) {
        src.convertTo(dst, MAT_Tfloat);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    bench::setPixelCounters(state, int64_t(w) * h, bytesOf(w, h, MAT_Tuchar3));
}

void BM_ConvertFloatToByte(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const Mat bytes = randomImage(w, h, MAT_Tuchar3);
    Mat src, dst;
    bytes.convertTo(src, MAT_Tfloat);
    // The conversion must give back the bytes it came from.
    src.convertTo(dst, MAT_Tuchar, CT_Round);
    for (int y = 0; y < h; y++)
        if (std::memcmp(dst.data.ptr[y], bytes.data.ptr[y], size_t(bytes.rowByteSize())) != 0)
            std::abort();
    for (auto _ : state) {
        src.convertTo(dst, MAT_Tuchar, CT_Round);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    bench::setPixelCounters(state, int64_t(w) * h, bytesOf(w, h, MAT_Tfloat3));
}

// The same on one channel: the figure quoted for float-to-byte speed.
void BM_ConvertFloatToByteGrey(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const Mat bytes = randomImage(w, h, MAT_Tuchar);
    Mat src, dst;
    bytes.convertTo(src, MAT_Tfloat);
    bench::checkPaths([&](Mat& d) { src.convertTo(d, MAT_Tuchar, CT_Round); }, "float to byte");
    for (auto _ : state) {
        src.convertTo(dst, MAT_Tuchar, CT_Round);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    bench::setPixelCounters(state, int64_t(w) * h, bytesOf(w, h, MAT_Tfloat));
}

// Scaled conversions of colour pictures: bytes to 0..1 floats and back.
void BM_ConvertScaledByteToFloat(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const Mat src = randomImage(w, h, MAT_Tuchar3);
    Mat dst;
    bench::checkPaths([&](Mat& d) { src.convertTo(d, MAT_Tfloat, 1.0 / 255, 0.0); },
                      "scaled byte to float");
    for (auto _ : state) {
        src.convertTo(dst, MAT_Tfloat, 1.0 / 255, 0.0);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    bench::setPixelCounters(state, int64_t(w) * h, bytesOf(w, h, MAT_Tuchar3));
}

void BM_ConvertScaledFloatToByte(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    Mat src, dst;
    randomImage(w, h, MAT_Tuchar3).convertTo(src, MAT_Tfloat, 1.0 / 255, 0.0);
    bench::checkPaths([&](Mat& d) { src.convertTo(d, MAT_Tuchar, 255.0, 0.0); },
                      "scaled float to byte");
    for (auto _ : state) {
        src.convertTo(dst, MAT_Tuchar, 255.0, 0.0);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    bench::setPixelCounters(state, int64_t(w) * h, bytesOf(w, h, MAT_Tfloat3));
}

void BM_RGBtoGray(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    Mat src = randomImage(w, h, MAT_Tuchar3), dst;
    bench::checkPaths([&](Mat& d) { ColorSpace::RGBtoGray(src, d, BMP_RGB); }, "grey");
    for (auto _ : state) {
        ColorSpace::RGBtoGray(src, dst, BMP_RGB);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    bench::setPixelCounters(state, int64_t(w) * h, bytesOf(w, h, MAT_Tuchar3));
}

// Per-channel mean of a colour byte picture: integer sums in row stripes.
void BM_MatMean(benchmark::State& state) {
    const int w = int(state.range(0)), h = int(state.range(1));
    const Mat src = randomImage(w, h, MAT_Tuchar3);
    for (auto _ : state) benchmark::DoNotOptimize(src.mean());
    bench::setPixelCounters(state, int64_t(w) * h, bytesOf(w, h, MAT_Tuchar3));
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Args({640, 480})->Args({1920, 1080})->Args({3840, 2160});
    b->Unit(benchmark::kMicrosecond)->UseRealTime();
}

}  // namespace

BENCHMARK(BM_MatCreateRelease)->Apply(sizes);
BENCHMARK(BM_ConvertByteToFloat)->Apply(sizes);
BENCHMARK(BM_ConvertFloatToByte)->Apply(sizes);
BENCHMARK(BM_ConvertFloatToByteGrey)->Apply(sizes);
BENCHMARK(BM_ConvertScaledByteToFloat)->Apply(sizes);
BENCHMARK(BM_ConvertScaledFloatToByte)->Apply(sizes);
BENCHMARK(BM_RGBtoGray)->Apply(sizes);
BENCHMARK(BM_MatMean)->Apply(sizes);
