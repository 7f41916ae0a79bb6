// Point-set geometry on 10^3 to 10^6 points, and the whole shape request
// (smoothing, edges, outer contours, simplification) on the 1080p disc mask.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "bench_util.h"
#include "shapes_mask.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/shapes.h"

using namespace tarvo;

namespace {

// A noisy closed curve of n points (a wobbly circle of radius 2000), as a
// border tracer would list it.
ip::PointArray curve(int n) {
    ip::PointArray p;
    std::mt19937 rng(5);
    for (int i = 0; i < n; i++) {
        const double t = 2 * 3.14159265358979323846 * i / n;
        const double r = 2000 + 40 * std::sin(7 * t) + (double)(rng() % 5);
        p.add(Point2_<int>((int)(3000 + r * std::cos(t)), (int)(3000 + r * std::sin(t))));
    }
    return p;
}

// n points scattered over a disc.
ip::PointArray cloud(int n) {
    ip::PointArray p;
    std::mt19937 rng(9);
    while (p.getSize() < n) {
        const int x = (int)(rng() % 20001) - 10000, y = (int)(rng() % 20001) - 10000;
        if ((long long)x * x + (long long)y * y <= 100000000LL) p.add(Point2_<int>(x, y));
    }
    return p;
}

void BM_ApproxPolyDP(benchmark::State& state) {
    const ip::PointArray p = curve((int)state.range(0));
    ip::PointArray out;
    for (auto _ : state) {
        ip::approxPolyDP(p, out, 2.0, true);
        benchmark::DoNotOptimize(out.getData());
    }
    state.counters["vertices"] = out.getSize();
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ApproxPolyDP)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMicrosecond);

void BM_ConvexHull(benchmark::State& state) {
    const ip::PointArray p = cloud((int)state.range(0));
    ip::PointArray work, hull;
    for (auto _ : state) {
        work = p;  // the hull sorts its input
        hull.removeAll();
        ip::convexHull(work, hull, true);
        benchmark::DoNotOptimize(hull.getData());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ConvexHull)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMicrosecond);

void BM_MinAreaRect(benchmark::State& state) {
    const ip::PointArray p = cloud((int)state.range(0));
    ip::PointArray work;
    RotatedRect r = {};
    for (auto _ : state) {
        work = p;
        r = ip::minAreaRect(work);
        benchmark::DoNotOptimize(r);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_MinAreaRect)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMicrosecond);

void BM_FitEllipse(benchmark::State& state) {
    const ip::PointArray p = curve((int)state.range(0));
    RotatedRect r = {};
    for (auto _ : state) {
        r = ip::fitEllipse(p);
        benchmark::DoNotOptimize(r);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FitEllipse)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMicrosecond);

void BM_GetBoundRect(benchmark::State& state) {
    const ip::PointArray p = cloud((int)state.range(0));
    detail::setUseOptimized(false);
    const Rect_<int> ref = ip::getBoundRect(p);
    detail::setUseOptimized(true);
    if (!(ip::getBoundRect(p) == ref)) {
        std::fprintf(stderr, "getBoundRect: vector and scalar boxes differ\n");
        std::abort();
    }
    for (auto _ : state) benchmark::DoNotOptimize(ip::getBoundRect(p));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_GetBoundRect)->Arg(1000000)->Unit(benchmark::kMicrosecond);

// Smoothing, Canny, outer contours with every point, closed simplification.
// Argument 0: Canny with both gradients; 1: the union of the one-gradient maps
// that `tarvo shapes` traces.
void BM_ShapeRequest1080p(benchmark::State& state) {
    const Mat src = ::bench::shapesDiscMask();
    const bool axes = state.range(0) == 1;
    Mat smooth, edges, horizontal;
    Matrix<Point2_<int>, const Point2_<int>&> contours;
    ip::PointArray poly;
    long long vertices = 0;
    for (auto _ : state) {
        ip::gaussian(src, smooth, 1.5f);
        if (axes) {
            ip::canny(smooth, edges, 40, 120, 1);
            ip::canny(smooth, horizontal, 40, 120, 2);
            for (int y = 0; y < edges.rows(); y++) {
                unsigned char* e = edges.ptr<unsigned char>(y);
                const unsigned char* h = horizontal.ptr<unsigned char>(y);
                for (int x = 0; x < edges.cols(); x++) e[x] |= h[x];
            }
        } else {
            ip::canny(smooth, edges, 40, 120);
        }
        ip::findContours(edges, contours, 0, 1);
        vertices = 0;
        for (int i = 0; i < contours.getSize(); i++) {
            ip::approxPolyDP(contours[i], poly, 3.0, true);
            vertices += poly.getSize();
        }
        benchmark::DoNotOptimize(vertices);
    }
    state.counters["contours"] = contours.getSize();
    tarvo::bench::setPixelCounters(state, (int64_t)src.total(), (int64_t)src.total());
}
BENCHMARK(BM_ShapeRequest1080p)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
