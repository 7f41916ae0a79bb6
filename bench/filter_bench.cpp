// Linear filter throughput on 1080p images, in source megapixels per second,
// against a plain copy of the same bytes. Each benchmark first checks that
// the vector path equals the scalar one and aborts on the first difference.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

constexpr int kW = 1920, kH = 1080;

Mat makeImage(int type) {
    Mat m(kH, kW, type);
    std::mt19937 rng(11);
    const size_t n = size_t(kW) * m.channels();
    for (int y = 0; y < kH; y++) {
        if (m.type() == MAT_Tfloat) {
            float* p = m.ptr<float>(y);
            for (size_t i = 0; i < n; i++) p[i] = float(rng() & 255);
        } else {
            for (size_t i = 0; i < n; i++) m.data.ptr[y][i] = (unsigned char)rng();
        }
    }
    return m;
}

Mat kernel(const std::vector<float>& v, int rows, int cols) {
    Mat k(rows, cols, MAT_Tfloat);
    for (int r = 0; r < rows; r++)
        for (int c = 0; c < cols; c++) k.ptr<float>(r)[c] = v[size_t(r) * cols + c];
    return k;
}

// Binomial taps over 2^(n-1): exact in float and summing to 1, so byte images
// take the fixed-point route.
std::vector<float> smoothTaps(int n) {
    std::vector<double> c(static_cast<size_t>(n), 0.0);
    c[0] = 1;
    for (int r = 1; r < n; r++)
        for (int i = r; i > 0; i--) c[size_t(i)] += c[size_t(i - 1)];
    std::vector<float> t;
    for (double v : c) t.push_back(float(v / double(1 << (n - 1))));
    return t;
}

void setPixels(benchmark::State& state, const Mat& src) {
    bench::setPixelCounters(state, int64_t(kW) * kH, int64_t(src.rowByteSize()) * kH);
}

void BM_Filter2D(benchmark::State& state, int type, int ksize) {
    const Mat src = makeImage(type);
    std::vector<float> taps(size_t(ksize) * ksize);
    for (size_t i = 0; i < taps.size(); i++) taps[i] = float(int(i % 5) - 1) / float(ksize * 2);
    const Mat k = kernel(taps, ksize, ksize);
    auto run = [&](Mat& dst) { ip::filter2D(src, dst, -1, k, Point2_<int>(-1, -1), 0.5); };
    bench::checkPaths(run, "filter2D");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, src);
}

void BM_SepFilter2D(benchmark::State& state, int type, int ksize, bool box = false) {
    const Mat src = makeImage(type);
    const std::vector<float> t =
        box ? std::vector<float>(size_t(ksize), 1.0f / float(ksize)) : smoothTaps(ksize);
    const Mat rk = kernel(t, 1, ksize), ck = kernel(t, ksize, 1);
    auto run = [&](Mat& dst) { ip::sepFilter2D(src, dst, -1, rk, ck); };
    bench::checkPaths(run, "sepFilter2D");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, src);
}

// A 3x3 gradient pair ([-1 0 1] x [1 2 1]) from bytes into signed 16-bit.
void BM_SepSobelShort(benchmark::State& state) {
    const Mat src = makeImage(MAT_Tuchar);
    const Mat rk = kernel({-1, 0, 1}, 1, 3), ck = kernel({1, 2, 1}, 3, 1);
    auto run = [&](Mat& dst) { ip::sepFilter2D(src, dst, MAT_Tshort, rk, ck); };
    bench::checkPaths(run, "sobel-like sepFilter2D");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, src);
}

// Median of a window x window square on bytes.
void BM_Median(benchmark::State& state, int type, int window) {
    const Mat src = makeImage(type);
    auto run = [&](Mat& dst) { ip::median(src, dst, window); };
    bench::checkPaths(run, "median");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, src);
}

// Direct 3x3 box of ones over 9 (the photo operators' smoothing).
void BM_Convolve2(benchmark::State& state, int type) {
    const Mat src = makeImage(type);
    const int k[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    auto run = [&](Mat& dst) { ip::convolve2(src, dst, k, 3, 9, 0, FilterSquare); };
    bench::checkPaths(run, "convolve2");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, src);
}

// Separable 5-tap binomial with undivided edges.
void BM_Convolve2Sep(benchmark::State& state, int type) {
    const Mat src = makeImage(type);
    const int k[5] = {1, 4, 6, 4, 1};
    auto run = [&](Mat& dst) { ip::convolve2sep(src, dst, k, 5, 16); };
    bench::checkPaths(run, "convolve2sep");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, src);
}

void BM_CopyBaseline(benchmark::State& state, int type) {
    const Mat src = makeImage(type);
    Mat dst(kH, kW, type);
    for (auto _ : state) {
        for (int y = 0; y < kH; y++)
            std::memcpy(dst.data.ptr[y], src.data.ptr[y], size_t(src.rowByteSize()));
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setPixels(state, src);
}

}  // namespace

BENCHMARK_CAPTURE(BM_CopyBaseline, u8c1_1080p, int(MAT_Tuchar))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_CopyBaseline, u8c3_1080p, int(MAT_Tuchar3))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_CopyBaseline, f32c1_1080p, int(MAT_Tfloat))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2D, 3x3_u8c1_1080p, int(MAT_Tuchar), 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2D, 5x5_u8c1_1080p, int(MAT_Tuchar), 5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2D, 3x3_u8c3_1080p, int(MAT_Tuchar3), 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2D, 5x5_u8c3_1080p, int(MAT_Tuchar3), 5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2D, 3x3_f32c1_1080p, int(MAT_Tfloat), 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2D, 5x5_f32c1_1080p, int(MAT_Tfloat), 5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SepFilter2D, 5tap_u8c1_1080p, int(MAT_Tuchar), 5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SepFilter2D, 11tap_u8c1_1080p, int(MAT_Tuchar), 11)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SepFilter2D, 5tap_u8c3_1080p, int(MAT_Tuchar3), 5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SepFilter2D, 11tap_u8c3_1080p, int(MAT_Tuchar3), 11)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SepFilter2D, 5tap_f32c1_1080p, int(MAT_Tfloat), 5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SepFilter2D, 11tap_f32c1_1080p, int(MAT_Tfloat), 11)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SepFilter2D, box5_u8c1_1080p, int(MAT_Tuchar), 5, true)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SepFilter2D, 7tap_f32c1_1080p, int(MAT_Tfloat), 7)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SepSobelShort)->Unit(benchmark::kMillisecond);
// Wall time, so the rates with TARVO_BENCH_THREADS=2 count both threads.
BENCHMARK_CAPTURE(BM_Median, 3x3_u8c1_1080p, int(MAT_Tuchar), 3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Median, 5x5_u8c1_1080p, int(MAT_Tuchar), 5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Median, 3x3_u8c3_1080p, int(MAT_Tuchar3), 3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Median, 5x5_u8c3_1080p, int(MAT_Tuchar3), 5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Median, 15x15_u8c1_1080p, int(MAT_Tuchar), 15)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Median, 31x31_u8c1_1080p, int(MAT_Tuchar), 31)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Convolve2, 3x3box_u8c1_1080p, int(MAT_Tuchar))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Convolve2, 3x3box_u8c3_1080p, int(MAT_Tuchar3))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Convolve2Sep, 5tap_u8c1_1080p, int(MAT_Tuchar))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
