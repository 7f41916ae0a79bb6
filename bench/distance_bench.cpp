// Distance transforms, thinning and moments on the 1080p disc mask. Before
// timing, each benchmark checks that the result does not change with the
// scalar switch.
#include <benchmark/benchmark.h>

#include "bench_util.h"
#include "shapes_mask.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/mat.h"

namespace {

using tarvo::Mat;

// Features are the zeros of the disc mask's complement (the discs themselves).
const Mat& discFeatures() {
    static const Mat m = [] {
        Mat d = bench::shapesDiscMask();
        Mat inv = d;
        for (int y = 0; y < d.rows(); y++)
            for (int x = 0; x < d.cols(); x++)
                inv.ptr<unsigned char>(y)[x] = d.ptr<unsigned char>(y)[x] ? 0 : 255;
        return inv;
    }();
    return m;
}

void runDistance(benchmark::State& state, int type, int mask) {
    const Mat& src = discFeatures();
    tarvo::bench::checkPaths([&](Mat& d) { tarvo::ip::distanceTransform(src, d, type, mask); },
                             "distanceTransform");
    Mat dst;
    for (auto _ : state) {
        tarvo::ip::distanceTransform(src, dst, type, mask);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    tarvo::bench::setPixelCounters(state, int64_t(src.total()), int64_t(src.total()));
}

void BM_DistanceExact(benchmark::State& s) {
    runDistance(s, tarvo::ip::DistL2, 0);
}
void BM_DistanceChamfer3(benchmark::State& s) {
    runDistance(s, tarvo::ip::DistL2, 3);
}
void BM_DistanceChamfer5(benchmark::State& s) {
    runDistance(s, tarvo::ip::DistL2, 5);
}

void BM_DistanceLabels5(benchmark::State& state) {
    const Mat& src = discFeatures();
    Mat dst, labels;
    for (auto _ : state) {
        tarvo::ip::distanceTransform(src, dst, labels, tarvo::ip::DistL2, 5, 1);
        benchmark::DoNotOptimize(labels.data.ptr);
    }
    tarvo::bench::setPixelCounters(state, int64_t(src.total()), int64_t(src.total()));
}

void BM_DistanceTwoArgument(benchmark::State& state) {
    const Mat& src = bench::shapesDiscMask();
    Mat dst;
    for (auto _ : state) {
        tarvo::ip::distanceTransform(src, dst);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    tarvo::bench::setPixelCounters(state, int64_t(src.total()), int64_t(src.total()));
}

void BM_Thinning(benchmark::State& state) {
    const Mat src = bench::shapesDiscMask();
    tarvo::bench::checkPaths([&](Mat& d) { tarvo::ip::thinning(src, d); }, "thinning");
    Mat dst;
    for (auto _ : state) {
        tarvo::ip::thinning(src, dst);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    tarvo::bench::setPixelCounters(state, int64_t(src.total()), int64_t(src.total()));
}

void runMoments(benchmark::State& state, int binary) {
    const Mat src = bench::shapesDiscMask();
    tarvo::Moments m;
    tarvo::bench::checkPaths(
        [&](Mat& d) {
            tarvo::calcMoments(src, m, binary);
            const double raw[10] = {m.m00, m.m10, m.m01, m.m20, m.m11,
                                    m.m02, m.m30, m.m21, m.m12, m.m03};
            d.create(1, 10, tarvo::MAT_Tdouble);
            for (int i = 0; i < 10; i++) d.ptr<double>(0)[i] = raw[i];
        },
        "calcMoments");
    for (auto _ : state) {
        tarvo::calcMoments(src, m, binary);
        benchmark::DoNotOptimize(m.m00);
    }
    tarvo::bench::setPixelCounters(state, int64_t(src.total()), int64_t(src.total()));
}
void BM_MomentsBytes(benchmark::State& s) {
    runMoments(s, 0);
}
void BM_MomentsBinary(benchmark::State& s) {
    runMoments(s, 1);
}

}  // namespace

BENCHMARK(BM_DistanceExact)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DistanceChamfer3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DistanceChamfer5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DistanceLabels5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DistanceTwoArgument)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Thinning)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MomentsBytes)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MomentsBinary)->Unit(benchmark::kMillisecond)->UseRealTime();
