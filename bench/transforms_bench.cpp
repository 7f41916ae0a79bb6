// Fourier and cosine transform throughput, in megapixels of the source per
// second. Each benchmark first checks that one thread and all threads give
// the same bytes.
#include <random>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/ip/transforms.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

Mat randomImage(int rows, int cols, int type) {
    Mat m(rows, cols, type);
    std::mt19937 rng(5);
    const int n = cols * m.channels();
    for (int y = 0; y < rows; y++)
        for (int i = 0; i < n; i++) {
            const double v = double(rng() & 255);
            if (m.type() == MAT_Tfloat)
                m.ptr<float>(y)[i] = float(v);
            else
                m.ptr<double>(y)[i] = v;
        }
    return m;
}

template <typename F>
void checkThreads(F run, const char* what) {
    Mat a, b;
    const int saved = getNumThreads();
    setNumThreads(1);
    run(a);
    setNumThreads(saved);
    run(b);
    bench::requireSame(a, b, what);
}

// kind: 0 forward dft, 1 inverse dft of a spectrum, 2 dct.
void BM_Transform(benchmark::State& state, int rows, int cols, int type, int kind) {
    const Mat src = randomImage(rows, cols, type);
    Mat spectrum;
    if (kind == 1) dft(src, spectrum);
    auto run = [&](Mat& dst) {
        if (kind == 0)
            dft(src, dst);
        else if (kind == 1)
            idft(spectrum, dst, DFT_SCALE);
        else
            dct(src, dst);
    };
    checkThreads(run, "transform");
    Mat dst;
    for (auto _ : state) {
        run(dst);
        benchmark::DoNotOptimize(dst.data.ptr[0]);
    }
    bench::setPixelCounters(state, int64_t(rows) * cols, int64_t(src.rowByteSize()) * rows);
}

}  // namespace

BENCHMARK_CAPTURE(BM_Transform, dft_f32_1280x1024, 1024, 1280, int(MAT_Tfloat), 0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Transform, dft_f32_1080p, 1080, 1920, int(MAT_Tfloat), 0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Transform, idft_f32_1080p, 1080, 1920, int(MAT_Tfloat), 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Transform, dft_c32_1080p, 1080, 1920, int(MAKETYPE(MAT_Tfloat, 2)), 0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Transform, dft_f64_1080p, 1080, 1920, int(MAT_Tdouble), 0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Transform, dct_f32_1080p, 1080, 1920, int(MAT_Tfloat), 2)
    ->Unit(benchmark::kMillisecond);
