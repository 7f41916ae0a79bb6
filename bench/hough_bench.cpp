// Edge chains and Hough transforms on a synthetic 1080p scene (shading,
// blocks, light noise), one-channel bytes, beside Canny on the same picture.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "bench_util.h"
#include "scene.h"
#include "tarvo/ip/edges.h"

using namespace tarvo;

namespace {

void BM_EdgeChains(benchmark::State& state) {
    const int w = 1920, h = 1080;
    Mat src = bench::edgeScene(w, h);
    std::vector<unsigned char*> rows(static_cast<size_t>(h));
    for (int y = 0; y < h; y++) rows[size_t(y)] = src.ptr<unsigned char>(y);
    for (auto _ : state) {
        MCEdgeExtractor ex(rows.data(), (unsigned short)w, (unsigned short)h);
        if (ex.GetEdgeData() != 0) state.SkipWithError("GetEdgeData failed");
        benchmark::DoNotOptimize(ex.GetEdgeList()->getEdgeCount());
    }
    bench::setPixelCounters(state, int64_t(w) * h, int64_t(w) * h);
}

void BM_HoughLinesStd(benchmark::State& state) {
    const int w = 1920, h = 1080;
    Mat edges;
    ip::canny(bench::edgeScene(w, h), edges, 50, 150);
    // Features are the zero pixels: invert the edge map.
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) edges.ptr<unsigned char>(y)[x] ^= 255;
    Array<Point2_<int>, const Point2_<int>&> lines;
    for (auto _ : state) {
        ip::houghLinesStd(edges, lines, 1.0f, 3.14159265f / 180, 100, 50);
        benchmark::DoNotOptimize(lines.getSize());
    }
    bench::setPixelCounters(state, int64_t(w) * h, int64_t(w) * h);
}

void BM_HoughCircle(benchmark::State& state) {
    const int w = 640, h = 480;
    Mat src = bench::edgeScene(w, h);
    for (auto _ : state) {
        Point2_<int> c(-1, -1);
        int r = -1;
        ip::houghCircle(src, c, r);
        benchmark::DoNotOptimize(r);
    }
    bench::setPixelCounters(state, int64_t(w) * h, int64_t(w) * h);
}

}  // namespace

BENCHMARK(BM_EdgeChains)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_HoughLinesStd)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_HoughCircle)->Unit(benchmark::kMillisecond)->UseRealTime();
