// Connected components, flood fill and the magic-wand selection.
#include <benchmark/benchmark.h>

#include "bench_util.h"
#include "shapes_mask.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/mat.h"

namespace {

using tarvo::Mat;

void BM_ComponentsApply(benchmark::State& state) {
    Mat src = bench::shapesDiscMask();
    tarvo::ip::ConnectedComponent cc;
    tarvo::bench::checkPaths(
        [&](Mat& d) {
            cc.apply(src, 0, false, false);
            d = cc.getWorkImage().clone();
        },
        "ConnectedComponent::apply");
    int n = 0;
    for (auto _ : state) {
        n = cc.apply(src, 0, false, false).getSize();
        benchmark::DoNotOptimize(n);
    }
    state.counters["regions"] = n;
    tarvo::bench::setPixelCounters(state, int64_t(src.total()), int64_t(src.total()));
}

// A whole 1080p RGB picture of one colour: every pixel is filled.
void BM_Floodfill(benchmark::State& state) {
    const Mat plain(1080, 1920, tarvo::MAT_Tuchar3, tarvo::Point4_<double>(90, 120, 30, 0));
    Mat img = plain, mask;
    tarvo::bench::checkPaths(
        [&](Mat& d) {
            Mat m;
            d = plain.clone();
            tarvo::ip::floodfill(d, m, tarvo::Point2_<int>(960, 540), 0,
                                 tarvo::Point4_<double>(1, 2, 3, 0));
        },
        "floodfill");
    int colour = 0;
    for (auto _ : state) {
        // Alternate the colour so every run fills the whole picture again.
        colour ^= 1;
        tarvo::ip::floodfill(img, mask, tarvo::Point2_<int>(960, 540), 0,
                             tarvo::Point4_<double>(90 + colour, 120, 30, 0));
        benchmark::DoNotOptimize(mask.data.ptr);
    }
    tarvo::bench::setPixelCounters(state, int64_t(plain.total()), int64_t(plain.total()) * 3);
}

void BM_FuzzySelection(benchmark::State& state) {
    Mat img = bench::shapesDiscMask();
    tarvo::Array<tarvo::Point2_<int>, const tarvo::Point2_<int>&> outer;
    tarvo::Matrix<tarvo::Point2_<int>, const tarvo::Point2_<int>&> holes;
    bool flag = false;
    for (auto _ : state) {
        tarvo::ip::fuzzySelection(img, tarvo::Point2_<int>(0, 0), 10, outer, holes, flag);
        benchmark::DoNotOptimize(flag);
    }
    state.counters["holes"] = holes.getSize();
    tarvo::bench::setPixelCounters(state, int64_t(img.total()), int64_t(img.total()));
}

}  // namespace

BENCHMARK(BM_ComponentsApply)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Floodfill)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FuzzySelection)->Unit(benchmark::kMillisecond)->UseRealTime();
