// Colour adjustment operators on 8-bit RGB (and grey) pictures, fast paths and
// the per-pixel loops they must match, with a plain copy of the same bytes as
// the baseline.
#include <cstring>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/ip/photo.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"

namespace {

using tarvo::Mat;

Mat benchImage(int w, int h, int cn = 3) {
    Mat m(h, w, tarvo::MAT_Tuchar + ((cn - 1) << 3));
    unsigned state = 12345u;
    for (int r = 0; r < h; r++) {
        unsigned char* p = m.ptr<unsigned char>(r);
        for (int i = 0; i < w * cn; i++) {
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

// Each operator runs as `op(src, out)`; hsl adjusts `out`, so it starts as a copy of src.
using RunFn = void (*)(const Mat&, Mat&);

void runColorize(const Mat& src, Mat& dst) {
    tarvo::ip::colorize(src, dst, 20, 200, 0.7f);
}
void runShiftRGB(const Mat& src, Mat& dst) {
    tarvo::ip::shiftRGB(src, dst, 20, -10, 5);
}
void runHSL(const Mat& src, Mat& dst) {
    tarvo::ip::hsl(src, dst, 10, 5, -5);
}
void runColorTemperature(const Mat& src, Mat& dst) {
    tarvo::ip::colorTemperature(src, dst, 4500);
}

// Arguments: width, height, channels, fast (1) or per-pixel loops (0). The
// fast result is compared with the per-pixel one before anything is timed.
void runOperator(benchmark::State& state, RunFn run) {
    const int cn = int(state.range(2));
    const bool fast = state.range(3) != 0;
    Mat src = benchImage(int(state.range(0)), int(state.range(1)), cn);
    Mat ref(src), got(src);
    tarvo::detail::setUseOptimized(false);
    run(src, ref);
    tarvo::detail::setUseOptimized(true);
    run(src, got);
    if (!tarvo::bench::sameBytes(ref, got)) {
        state.SkipWithError("fast path differs from the per-pixel loop");
        return;
    }
    tarvo::detail::setUseOptimized(fast);
    Mat dst(src);
    for (auto _ : state) {
        run(src, dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    tarvo::detail::setUseOptimized(true);
    setCounters(state, src);
}

void BM_Colorize(benchmark::State& state) {
    runOperator(state, runColorize);
}
void BM_ShiftRGB(benchmark::State& state) {
    runOperator(state, runShiftRGB);
}
void BM_HSL(benchmark::State& state) {
    runOperator(state, runHSL);
}
void BM_ColorTemperature(benchmark::State& state) {
    runOperator(state, runColorTemperature);
}

#define PHOTO_SIZES                      \
    ->ArgNames({"w", "h", "cn", "fast"}) \
        ->Args({640, 480, 3, 1})         \
        ->Args({1920, 1080, 3, 1})       \
        ->Args({3840, 2160, 3, 1})       \
        ->Args({1920, 1080, 1, 1})       \
        ->Args({1920, 1080, 3, 0})       \
        ->UseRealTime()                  \
        ->Unit(benchmark::kMillisecond)

BENCHMARK(BM_Copy)
    ->Args({640, 480})
    ->Args({1920, 1080})
    ->Args({3840, 2160})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Colorize) PHOTO_SIZES;
BENCHMARK(BM_ShiftRGB) PHOTO_SIZES;
BENCHMARK(BM_HSL) PHOTO_SIZES;
BENCHMARK(BM_ColorTemperature) PHOTO_SIZES;

}  // namespace
