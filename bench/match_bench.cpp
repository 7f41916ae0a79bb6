// Template matching and the spectrum route of filter2D on 1080p pictures, in
// source megapixels per second. The filter2D figures also time both routes
// on byte pictures, which is how the integer tap threshold was chosen.
#include <cmath>
#include <random>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "filter/filter2d_spectrum.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/segment.h"

using namespace tarvo;

namespace {

constexpr int kW = 1920, kH = 1080;

Mat picture(int type) {
    Mat m(kH, kW, type);
    std::mt19937 rng(3);
    // smooth content plus noise, so matching has something to find
    for (int y = 0; y < kH; y++)
        for (int x = 0; x < kW; x++) {
            const double v = 128 + 60 * std::sin(x * 0.02) * std::cos(y * 0.03) + (rng() & 31);
            if (m.type() == MAT_Tfloat)
                m.ptr<float>(y)[x] = float(v);
            else
                m.data.ptr[y][x] = (unsigned char)v;
        }
    return m;
}

void BM_MatchTemplate(benchmark::State& state, int mode) {
    const Mat img = picture(MAT_Tuchar);
    const Mat templ(img, Rect_<int>(700, 400, 32, 32));
    auto run = [&](Mat& r) { ip::matchTemplate(img, templ, r, ip::enTemplateMatchMode(mode)); };
    bench::checkPaths(run, "matchTemplate");
    Mat r;
    for (auto _ : state) {
        run(r);
        benchmark::DoNotOptimize(r.data.ptr[0]);
    }
    bench::setPixelCounters(state, int64_t(kW) * kH, int64_t(kW) * kH);
}

// route: 0 automatic, 1 direct, 2 spectrum. whole: a kernel of ones (exact
// sums, no pixel needs the direct recompute) instead of the normalised box.
void BM_Filter2DLarge(benchmark::State& state, int type, int ksize, int route, bool whole = false) {
    const Mat src = picture(type);
    const double tap = whole ? 1.0 : 1.0 / (ksize * ksize);
    Mat k(ksize, ksize, MAT_Tfloat, Point4_<double>(tap, 0, 0, 0));
    detail::setFilter2DRoute(route);
    auto run = [&](Mat& dst) { ip::filter2D(src, dst, -1, k, Point2_<int>(-1, -1), 0, 2); };
    bench::checkPaths(run, "filter2D");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    detail::setFilter2DRoute(0);
    bench::setPixelCounters(state, int64_t(kW) * kH, int64_t(src.rowByteSize()) * kH);
}

}  // namespace

BENCHMARK_CAPTURE(BM_MatchTemplate, ccorr_u8_1080p_32, 2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_MatchTemplate, ccoeff_normed_u8_1080p_32, 5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, f32_63x63_1080p, int(MAT_Tfloat), 63, 0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_25x25_1080p, int(MAT_Tuchar), 25, 0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_7x7_direct_1080p, int(MAT_Tuchar), 7, 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_7x7_spectrum_1080p, int(MAT_Tuchar), 7, 2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_9x9_direct_1080p, int(MAT_Tuchar), 9, 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_9x9_spectrum_1080p, int(MAT_Tuchar), 9, 2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_13x13_direct_1080p, int(MAT_Tuchar), 13, 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_13x13_spectrum_1080p, int(MAT_Tuchar), 13, 2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_25x25_direct_1080p, int(MAT_Tuchar), 25, 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_41x41_direct_1080p, int(MAT_Tuchar), 41, 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_41x41_spectrum_1080p, int(MAT_Tuchar), 41, 2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_25x25_exact_direct_1080p, int(MAT_Tuchar), 25, 1, true)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_25x25_exact_spectrum_1080p, int(MAT_Tuchar), 25, 2, true)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_33x33_exact_direct_1080p, int(MAT_Tuchar), 33, 1, true)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Filter2DLarge, u8_33x33_exact_spectrum_1080p, int(MAT_Tuchar), 33, 2, true)
    ->Unit(benchmark::kMillisecond);
