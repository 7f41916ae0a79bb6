// Warps and remap on 1080p images: a 17-degree turn about the centre as an
// affine warp, a mild perspective, and remap through the turn's map (a
// two-channel float map) with linear, cubic and Lanczos tables. Counters use
// the destination pixels. Each benchmark first checks that the scalar switch
// does not change the result.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "bench_util.h"
#include "tarvo/ip/geometry.h"

using namespace tarvo;

namespace {

const int kW = 1920, kH = 1080;

Mat randomImage(int type) {
    Mat m(kH, kW, type);
    std::mt19937 rng(9);
    const int n = kW * m.channels();
    for (int y = 0; y < kH; y++)
        for (int i = 0; i < n; i++) {
            if (m.type() == MAT_Tfloat)
                m.ptr<float>(y)[i] = float(rng() % 25600) * 0.01f;
            else
                m.ptr<unsigned char>(y)[i] = (unsigned char)rng();
        }
    return m;
}

// The turn in warpAffine's roles: the rotation's rows exchanged, inverted.
Mat turn() {
    const Mat r = ip::getRotationMatrix2D(Point2_<float>(kW / 2.0f, kH / 2.0f), 17, 1);
    Mat t(2, 3, MAT_Tdouble);
    for (int c = 0; c < 3; c++) {
        t.ptr<double>(0)[c] = r.value(1, c);
        t.ptr<double>(1)[c] = r.value(0, c);
    }
    return t;
}

Mat turnMap() {
    Mat m(kH, kW, MAT_Tfloat | (1 << 3));
    const double a = 17 * 3.14159265358979323846 / 180, c = std::cos(a), s = std::sin(a);
    for (int y = 0; y < kH; y++)
        for (int x = 0; x < kW; x++) {
            const double dx = x - kW / 2.0, dy = y - kH / 2.0;
            m.ptr<float>(y)[2 * x] = float(kW / 2.0 + c * dx + s * dy);
            m.ptr<float>(y)[2 * x + 1] = float(kH / 2.0 - s * dx + c * dy);
        }
    return m;
}

void BM_WarpAffine(benchmark::State& state, int type) {
    const Mat src = randomImage(type), t = turn();
    auto run = [&](Mat& d) {
        if (d.empty()) d.create(kH, kW, type);
        ip::warpAffine(src, d, t, true);
    };
    bench::checkPaths(run, "warpAffine");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, int64_t(kW) * kH, int64_t(kH) * src.rowByteSize());
}

void BM_WarpPerspective(benchmark::State& state, int type) {
    const Mat src = randomImage(type);
    Mat t(3, 3, MAT_Tdouble);
    const double v[9] = {1.02, 0.1, -40, 0.03, 0.98, 10, 2e-5, 1e-5, 1};
    for (int k = 0; k < 9; k++) t.ptr<double>(k / 3)[k % 3] = v[k];
    auto run = [&](Mat& d) {
        // Only pixels that land inside are written: start from zeros.
        if (d.empty()) d = Mat(kH, kW, type, Point4_<double>(0, 0, 0, 0));
        ip::warpPerspective(src, d, t);
    };
    bench::checkPaths(run, "warpPerspective");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, int64_t(kW) * kH, int64_t(kH) * src.rowByteSize());
}

void BM_Remap(benchmark::State& state, int type, int code) {
    const Mat src = randomImage(type), map = turnMap();
    auto run = [&](Mat& d) { ip::remap(src, d, map, Mat(), code, BorderFill, Point4_<double>()); };
    bench::checkPaths(run, "remap");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, int64_t(kW) * kH, int64_t(kH) * src.rowByteSize());
}

}  // namespace

BENCHMARK_CAPTURE(BM_WarpAffine, u8c1, int(MAT_Tuchar))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_WarpAffine, u8c3, int(MAT_Tuchar3))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_WarpAffine, f32c3, int(MAT_Tfloat3))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_WarpPerspective, u8c3, int(MAT_Tuchar3))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Remap, u8c1_linear, int(MAT_Tuchar), 1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Remap, u8c3_linear, int(MAT_Tuchar3), 1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Remap, u8c3_cubic, int(MAT_Tuchar3), 2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Remap, u8c3_lanczos, int(MAT_Tuchar3), 4)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
