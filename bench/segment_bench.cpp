// Thresholds and histogram operators on 8-bit pictures. Before timing, each
// benchmark checks that the result does not change with the thread count.
#include <cstring>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/ip/photo.h"
#include "tarvo/ip/segment.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"

namespace {

using tarvo::Mat;

// A smooth gradient with noise: a realistic spread of levels for histograms.
Mat segImage(int w, int h, int cn) {
    Mat m(h, w, tarvo::MAKETYPE(tarvo::MAT_Tuchar, cn));
    unsigned state = 777u;
    for (int r = 0; r < h; r++) {
        unsigned char* p = m.ptr<unsigned char>(r);
        for (int i = 0; i < w * cn; i++) {
            state = state * 1103515245u + 12345u;
            const int v = (i / cn) * 200 / w + r * 40 / h + int((state >> 16) % 16);
            p[i] = (unsigned char)(v > 255 ? 255 : v);
        }
    }
    return m;
}

using RunFn = void (*)(const Mat&, Mat&);

void runBinary(const Mat& s, Mat& d) {
    tarvo::ip::Threshold(s, d, 100, 255, tarvo::ip::ThreshBinary);
}
void runOtsu(const Mat& s, Mat& d) {
    tarvo::ip::Threshold(s, d, 0, 255, tarvo::ip::ThreshOtsuBit | tarvo::ip::ThreshBinary);
}
void runAdaptive(const Mat& s, Mat& d) {
    tarvo::ip::adaptiveThreshold(s, d, 255, tarvo::ip::AdaptiveMean, tarvo::ip::ThreshBinary, 11,
                                 2);
}
void runEqualize(const Mat& s, Mat& d) {
    tarvo::ip::histogramEqualize(s, d);
}

// Arguments: width, height, channels.
void runSeg(benchmark::State& state, RunFn run) {
    Mat src = segImage(int(state.range(0)), int(state.range(1)), int(state.range(2)));
    Mat one, all;
    const int threads = tarvo::getNumThreads();
    tarvo::setNumThreads(1);
    run(src, one);
    tarvo::setNumThreads(threads);
    run(src, all);
    if (!tarvo::bench::sameBytes(one, all)) {
        state.SkipWithError("result depends on the thread count");
        return;
    }
    Mat dst;
    for (auto _ : state) {
        run(src, dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    tarvo::bench::setPixelCounters(state, int64_t(src.rows()) * src.cols(),
                                   int64_t(src.rows()) * src.rowByteSize());
}

void BM_SegThresholdBinary(benchmark::State& state) {
    runSeg(state, runBinary);
}
void BM_SegThresholdOtsu(benchmark::State& state) {
    runSeg(state, runOtsu);
}
void BM_SegAdaptiveThreshold(benchmark::State& state) {
    runSeg(state, runAdaptive);
}
void BM_SegHistogramEqualize(benchmark::State& state) {
    runSeg(state, runEqualize);
}

#define SEG_GREY_SIZES           \
    ->ArgNames({"w", "h", "cn"}) \
        ->Args({640, 480, 1})    \
        ->Args({1920, 1080, 1})  \
        ->Args({3840, 2160, 1})  \
        ->UseRealTime()          \
        ->Unit(benchmark::kMillisecond)

BENCHMARK(BM_SegThresholdBinary) SEG_GREY_SIZES;
BENCHMARK(BM_SegThresholdOtsu) SEG_GREY_SIZES;
BENCHMARK(BM_SegAdaptiveThreshold) SEG_GREY_SIZES;
BENCHMARK(BM_SegHistogramEqualize)
    ->ArgNames({"w", "h", "cn"})
    ->Args({640, 480, 1})
    ->Args({1920, 1080, 1})
    ->Args({1920, 1080, 3})
    ->Args({3840, 2160, 3})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
