// Morphology throughput on a 1080p one-channel byte image, in megapixels per
// second, against a plain copy of the same bytes. Each benchmark first checks
// that the vector path equals the scalar one and aborts on the first
// difference.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/ip/morphology.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

constexpr int kW = 1920, kH = 1080;

Mat makeImage() {
    Mat m(kH, kW, MAT_Tuchar);
    std::mt19937 rng(5);
    for (int y = 0; y < kH; y++)
        for (int x = 0; x < kW; x++) m.data.ptr[y][x] = (unsigned char)rng();
    return m;
}

void BM_Morph(benchmark::State& state, bool erode, int shape, int size) {
    const Mat src = makeImage();
    const Mat e = ip::getStructuringElement(shape, Size_<int>(size, size));
    auto run = [&](Mat& dst) {
        if (erode)
            ip::erode(src, dst, e);
        else
            ip::dilate(src, dst, e);
    };
    Mat a, b;
    run(a);
    detail::setUseOptimized(false);
    run(b);
    detail::setUseOptimized(true);
    bench::requireSame(a, b, "morphology");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    tarvo::bench::setPixelCounters(state, int64_t(kW) * kH, int64_t(kW) * kH);
}

// The binary window forms (integer window sizes) on a 0/255 picture with
// blobs, the destination reused across iterations.
void BM_BinaryWindow(benchmark::State& state, bool erode, int size) {
    Mat src = makeImage();
    for (int y = 0; y < kH; y++)
        for (int x = 0; x < kW; x++) src.data.ptr[y][x] = src.data.ptr[y][x] < 40 ? 0 : 255;
    Mat dst;
    for (auto _ : state) {
        if (erode)
            ip::erode(src, dst, size, size);
        else
            ip::dilate(src, dst, size, size);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    tarvo::bench::setPixelCounters(state, int64_t(kW) * kH, int64_t(kW) * kH);
}

}  // namespace

BENCHMARK_CAPTURE(BM_BinaryWindow, erode3x3_1080p, true, 3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_BinaryWindow, dilate5x5_1080p, false, 5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Morph, erode_rect3x3_u8c1_1080p, true, int(ip::MorphRect), 3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Morph, erode_rect5x5_u8c1_1080p, true, int(ip::MorphRect), 5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Morph, dilate_ellipse5x5_u8c1_1080p, false, int(ip::MorphEllipse), 5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
