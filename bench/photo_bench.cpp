// Colour adjustment operators on 8-bit RGB (and grey) pictures, fast paths and
// the per-pixel loops they must match, with a plain copy of the same bytes as
// the baseline.
#include <cstring>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/ip/photo.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"
#include "tarvo/random.h"

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

// Tone and stylising operators at 1080p: RGB and grey with the fast paths,
// RGB with the scalar ones.
void runExposure(const Mat& s, Mat& d) {
    tarvo::ip::exposure(s, d, 30);
}
void runLight(const Mat& s, Mat& d) {
    tarvo::ip::light(s, d, 20, 10);
}
void runLevel1(const Mat& s, Mat& d) {
    tarvo::ip::level(s, d, 20, 230, 1);
}
void runLevel2(const Mat& s, Mat& d) {
    tarvo::ip::level(s, d, 20, 230, 2);
}
void runShadow(const Mat& s, Mat& d) {
    tarvo::ip::shadow(s, d, 0.5f, 0.5f);
}
void runGamma(const Mat& s, Mat& d) {
    tarvo::ip::gamma(s, d, 0.8);
}
void runSketch(const Mat& s, Mat& d) {
    tarvo::ip::sketch(s, d, 50);
}
void runRoughSketch(const Mat& s, Mat& d) {
    tarvo::ip::roughSketch(s, d);
}
void runVintage(const Mat& s, Mat& d) {
    tarvo::ip::vintage(s, d, 80);
}
void runVintageFull(const Mat& s, Mat& d) {
    tarvo::ip::vintage(s, d, 100);
}
void runPosterize(const Mat& s, Mat& d) {
    tarvo::ip::posterize(s, d, 4);
}
void runJitter(const Mat& s, Mat& d) {
    tarvo::detail::seedRandom(1);
    tarvo::ip::jitter(s, d, 3);
}
void runNoise(const Mat& s, Mat& d) {
    tarvo::detail::pinClockSeed(true, 1);
    tarvo::ip::noise(s, d, 40);
}
void runCircle(const Mat& s, Mat& d) {
    tarvo::ip::circleTransform(s, d, 0, 60.0f, 2);
}
void runBloom(const Mat& s, Mat& d) {
    tarvo::ip::bloom(s, d, 0.1f, 0.3f);
}
void runDenoise(const Mat& s, Mat& d) {
    tarvo::ip::denoise(s, d, 0.0f, 0);
}

// Float gamma: a float copy of the RGB picture.
void BM_GammaFloat(benchmark::State& state) {
    Mat src = benchImage(int(state.range(0)), int(state.range(1)), 3), f, dst;
    src.convertTo(f, tarvo::MAT_Tfloat);
    for (auto _ : state) {
        tarvo::ip::gamma(f, dst, 0.8);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    setCounters(state, src);
}

#define PHOTO_1080                       \
    ->ArgNames({"w", "h", "cn", "fast"}) \
        ->Args({1920, 1080, 3, 1})       \
        ->Args({1920, 1080, 1, 1})       \
        ->Args({1920, 1080, 3, 0})       \
        ->UseRealTime()                  \
        ->Unit(benchmark::kMillisecond)

#define PHOTO_OP(name, fn)                    \
    void BM_##name(benchmark::State& state) { \
        runOperator(state, fn);               \
    }                                         \
    BENCHMARK(BM_##name) PHOTO_1080;

PHOTO_OP(Exposure, runExposure)
PHOTO_OP(Light, runLight)
PHOTO_OP(Level1, runLevel1)
PHOTO_OP(Level2, runLevel2)
PHOTO_OP(Shadow, runShadow)
PHOTO_OP(Gamma, runGamma)
PHOTO_OP(Sketch, runSketch)
PHOTO_OP(RoughSketch, runRoughSketch)
PHOTO_OP(Vintage, runVintage)
PHOTO_OP(VintageFull, runVintageFull)
PHOTO_OP(Posterize, runPosterize)
PHOTO_OP(Jitter, runJitter)
PHOTO_OP(Noise, runNoise)
PHOTO_OP(CircleTransform, runCircle)
PHOTO_OP(Bloom, runBloom)
PHOTO_OP(Denoise, runDenoise)
BENCHMARK(BM_GammaFloat)->Args({1920, 1080})->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
