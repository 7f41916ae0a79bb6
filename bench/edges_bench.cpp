// Gradients, Canny and corners on synthetic photographs-like images (smooth shading,
// blocks, light noise) at 1080p and 4K, one-channel bytes.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "bench_util.h"
#include "scene.h"
#include "tarvo/ip/edges.h"

using namespace tarvo;

namespace {

// The scene with a brighter 20 x 14 block in every 64 x 48 cell: each block
// gives four convex corners for the corner detectors.
Mat cornerScene(int w, int h) {
    Mat m = bench::edgeScene(w, h);
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++)
            if (x % 64 >= 22 && x % 64 < 42 && y % 48 >= 17 && y % 48 < 31) {
                unsigned char& v = m.data.ptr[y][x];
                v = (unsigned char)(v > 185 ? 255 : v + 70);
            }
    return m;
}

void BM_Canny(benchmark::State& state) {
    int w = (int)state.range(0), h = (int)state.range(1);
    Mat src = bench::edgeScene(w, h), dst;
    for (auto _ : state) {
        ip::canny(src, dst, 50, 150);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)w * h);
}
BENCHMARK(BM_Canny)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond);

void BM_SobelGradientX(benchmark::State& state) {
    int w = (int)state.range(0), h = (int)state.range(1);
    Mat src = bench::edgeScene(w, h), dst(h, w, MAT_Tshort);
    for (auto _ : state) {
        Sobel::gradientMagnitudeX(&src, &dst, false);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)w * h);
}
BENCHMARK(BM_SobelGradientX)->Args({1920, 1080})->Unit(benchmark::kMillisecond);

// ip::sobel 3x3, first derivative in x, byte source into a signed short image.
void BM_SobelShort(benchmark::State& state) {
    int w = (int)state.range(0), h = (int)state.range(1);
    Mat src = bench::edgeScene(w, h), dst(h, w, MAT_Tshort);
    for (auto _ : state) {
        ip::sobel(src, dst, 1, 0, 3);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)w * h);
}
BENCHMARK(BM_SobelShort)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond);

typedef Array<Point2_<int>, const Point2_<int>&> CornerList;

std::vector<long long> flatten(const CornerList& c) {
    std::vector<long long> v;
    for (int i = 0; i < c.getSize(); i++) v.push_back((long long)c[i].y << 32 | unsigned(c[i].x));
    return v;
}

// Runs find(list) with the vector paths and with the scalar switch and aborts
// unless both give the same corners in the same order.
template <typename F>
void requireSameCorners(F find, const char* what) {
    CornerList a, b;
    find(a);
    detail::setUseOptimized(false);
    find(b);
    detail::setUseOptimized(true);
    if (flatten(a) != flatten(b)) {
        std::fprintf(stderr, "%s: vector and scalar corners differ\n", what);
        std::abort();
    }
}

// FAST at threshold 20, arc length range(2), suppression range(3).
void BM_CornerFast(benchmark::State& state) {
    int w = (int)state.range(0), h = (int)state.range(1);
    const int arc = (int)state.range(2), sup = (int)state.range(3);
    Mat src = cornerScene(w, h);
    requireSameCorners([&](CornerList& c) { ip::cornerFast(src, 20, arc, sup, c); }, "cornerFast");
    CornerList corners;
    for (auto _ : state) {
        ip::cornerFast(src, 20, arc, sup, corners);
        benchmark::DoNotOptimize(corners.getSize());
    }
    state.counters["corners"] = corners.getSize();
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)w * h);
}
BENCHMARK(BM_CornerFast)
    ->Args({1920, 1080, 9, 1})
    ->Args({1920, 1080, 12, 1})
    ->Args({1920, 1080, 9, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Harris, window 5, threshold 1000, into a cleared list each time.
void BM_CornerHarris(benchmark::State& state) {
    int w = (int)state.range(0), h = (int)state.range(1);
    Mat src = cornerScene(w, h);
    requireSameCorners([&](CornerList& c) { ip::cornerHarris(src, Mat(), c, 0, 0.0f, 5, 1000.0f); },
                       "cornerHarris");
    CornerList corners;
    for (auto _ : state) {
        corners.removeAll();
        ip::cornerHarris(src, Mat(), corners, 0, 0.0f, 5, 1000.0f);
        benchmark::DoNotOptimize(corners.getSize());
    }
    state.counters["corners"] = corners.getSize();
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)w * h);
}
BENCHMARK(BM_CornerHarris)->Args({1920, 1080})->Unit(benchmark::kMillisecond);

// Sub-pixel refinement of 500 FAST corners of the scene, half-window 5;
// reports corners per second.
void BM_FindCornerSubPix(benchmark::State& state) {
    Mat src = cornerScene(1920, 1080);
    CornerList found;
    ip::cornerFast(src, 20, 9, 1, found);
    std::vector<Point2_<float>> start;
    for (int i = 0; i < found.getSize() && start.size() < 500; i++)
        start.push_back(Point2_<float>((float)found[i].x, (float)found[i].y));
    std::vector<Point2_<float>> pts;
    for (auto _ : state) {
        state.PauseTiming();
        pts = start;
        state.ResumeTiming();
        ip::findCornerSubPix(src, pts.data(), (int)pts.size(), Size_<int>(5, 5), Size_<int>(-1, -1),
                             TermCriteria(3, 30, 0.01));
        benchmark::DoNotOptimize(pts.data());
    }
    state.counters["corners/s"] = benchmark::Counter(
        double(state.iterations()) * double(pts.size()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_FindCornerSubPix)->Unit(benchmark::kMicrosecond);

}  // namespace
