// Border following on the shared 1080p disc mask and on the Canny map of the
// sample photograph. Before timing, the contour lists of the vector and
// scalar paths are compared.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench_util.h"
#include "shapes_mask.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/shapes.h"

using namespace tarvo;

namespace {

typedef Matrix<Point2_<int>, const Point2_<int>&> Contours;

bool sameContours(const Contours& a, const Contours& b) {
    if (a.getSize() != b.getSize()) return false;
    for (int i = 0; i < a.getSize(); i++) {
        if (a[i].getSize() != b[i].getSize()) return false;
        if (a[i].getSize() &&
            std::memcmp(a[i].getData(), b[i].getData(), sizeof(Point2_<int>) * a[i].getSize()))
            return false;
    }
    return true;
}

void requirePaths(const Mat& img, int mode, int method, const char* what) {
    Contours a, b;
    ip::findContours(img, a, mode, method);
    detail::setUseOptimized(false);
    ip::findContours(img, b, mode, method);
    detail::setUseOptimized(true);
    if (!sameContours(a, b)) {
        std::fprintf(stderr, "%s: vector and scalar contours differ\n", what);
        std::abort();
    }
}

const Mat& discMask() {
    static const Mat m = ::bench::shapesDiscMask();
    return m;
}

const Mat& coffeeEdges() {
    static Mat edges;
    if (!edges.isValid()) {
        Mat src, grey, smooth;
#ifdef TARVO_BENCH_DATA_DIR
        src.fromImage(TARVO_BENCH_DATA_DIR "/coffee.png");
#endif
        if (src.isValid()) {
            ColorSpace::RGBtoGray(src, grey);
            ip::gaussian(grey, smooth, 1.5f);
            ip::canny(smooth, edges, 40, 120);
        }
    }
    return edges;
}

void run(benchmark::State& state, const Mat& img, const char* what) {
    const int mode = (int)state.range(0), method = (int)state.range(1);
    if (!img.isValid()) {
        state.SkipWithError("no image");
        return;
    }
    requirePaths(img, mode, method, what);
    Contours c;
    for (auto _ : state) {
        ip::findContours(img, c, mode, method);
        benchmark::DoNotOptimize(c.getData());
    }
    state.counters["contours"] = c.getSize();
    tarvo::bench::setPixelCounters(state, (int64_t)img.total(), (int64_t)img.total());
}

void BM_ContoursDiscMask(benchmark::State& state) {
    run(state, discMask(), "disc mask");
}
BENCHMARK(BM_ContoursDiscMask)
    ->ArgNames({"mode", "method"})
    ->Args({3, 1})
    ->Args({0, 2})
    ->Args({1, 0})
    ->Args({3, 3})
    ->Args({3, 4})
    ->Unit(benchmark::kMicrosecond);

void BM_ContoursCoffeeCanny(benchmark::State& state) {
    run(state, coffeeEdges(), "coffee canny");
}
BENCHMARK(BM_ContoursCoffeeCanny)
    ->ArgNames({"mode", "method"})
    ->Args({3, 1})
    ->Args({1, 2})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
