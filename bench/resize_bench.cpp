// ip::resize on a 1080p colour byte image: bilinear down to 720p and up to
// 2160p, area down to 960x540 (exact halving), bicubic down to 720p, and
// Lanczos4 down to 720p; float and 16-bit pictures through the same kernels. Counters use the
// source pixels. Each benchmark first checks that the vector path gives the
// scalar path's pixels; the "scalar" variants time the reference loops.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "bench_util.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

Mat randomImage(int w, int h, int type) {
    Mat m(h, w, type);
    std::mt19937 rng(11);
    const int n = w * m.channels();
    for (int y = 0; y < h; y++)
        for (int i = 0; i < n; i++) {
            if (m.type() == MAT_Tfloat)
                m.ptr<float>(y)[i] = (float)(rng() % 25600) * 0.01f;
            else if (m.type() == MAT_Tshort)
                m.ptr<short>(y)[i] = (short)(rng() % 60000 - 30000);
            else
                m.ptr<unsigned char>(y)[i] = (unsigned char)rng();
        }
    return m;
}

void BM_Resize(benchmark::State& state, int type, int dw, int dh, int code, bool vector) {
    const int w = 1920, h = 1080;
    Mat src = randomImage(w, h, type), dst, scalar;
    detail::setUseOptimized(false);
    ip::resize(src, scalar, dw, dh, code);
    detail::setUseOptimized(true);
    ip::resize(src, dst, dw, dh, code);
    if (!bench::sameBytes(scalar, dst)) {
        state.SkipWithError("vector result differs from the scalar result");
        return;
    }
    detail::setUseOptimized(vector);
    for (auto _ : state) {
        ip::resize(src, dst, dw, dh, code);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    detail::setUseOptimized(true);
    bench::setPixelCounters(state, (int64_t)w * h, (int64_t)h * src.rowByteSize());
}

#define RESIZE_BENCH(name, type, dw, dh, code)                                       \
    BENCHMARK_CAPTURE(BM_Resize, name, int(type), dw, dh, int(code), true)           \
        ->Unit(benchmark::kMillisecond)                                              \
        ->UseRealTime();                                                             \
    BENCHMARK_CAPTURE(BM_Resize, name##_scalar, int(type), dw, dh, int(code), false) \
        ->Unit(benchmark::kMillisecond)                                              \
        ->UseRealTime()

RESIZE_BENCH(u8c3_linear_1280x720, MAT_Tuchar3, 1280, 720, ip::ResizeLinear);
RESIZE_BENCH(u8c3_linear_3840x2160, MAT_Tuchar3, 3840, 2160, ip::ResizeLinear);
RESIZE_BENCH(u8c3_area_960x540, MAT_Tuchar3, 960, 540, ip::ResizeArea);
RESIZE_BENCH(u8c3_area_1280x720, MAT_Tuchar3, 1280, 720, ip::ResizeArea);
RESIZE_BENCH(u8c3_cubic_1280x720, MAT_Tuchar3, 1280, 720, ip::ResizeCubic);
RESIZE_BENCH(u8c3_lanczos4_1280x720, MAT_Tuchar3, 1280, 720, ip::ResizeLanczos4);
RESIZE_BENCH(u8c3_scalexy_1280x720, MAT_Tuchar3, 1280, 720, ip::ResizeScaleXY);
RESIZE_BENCH(f32_linear_1280x720, MAT_Tfloat, 1280, 720, ip::ResizeLinear);
RESIZE_BENCH(f32_lanczos4_1280x720, MAT_Tfloat, 1280, 720, ip::ResizeLanczos4);
RESIZE_BENCH(f32c3_linear_1280x720, MAT_Tfloat3, 1280, 720, ip::ResizeLinear);
RESIZE_BENCH(f32c3_cubic_1280x720, MAT_Tfloat3, 1280, 720, ip::ResizeCubic);
RESIZE_BENCH(f32c3_lanczos4_1280x720, MAT_Tfloat3, 1280, 720, ip::ResizeLanczos4);
RESIZE_BENCH(s16c3_cubic_1280x720, MAT_Tshort3, 1280, 720, ip::ResizeCubic);

}  // namespace
