// Decode speed of the picture readers on a 1920 x 1080 colour picture, with a
// plain copy of the same bytes as the baseline. The picture is synthetic
// (smooth gradients plus a little noise, so both codecs have real work) and is
// written to a scratch directory once.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "tarvo/mat.h"

namespace {

constexpr int W = 1920, H = 1080;

struct Pictures {
    std::string dir, png, jpg, bmp, ppm;
    bool ok = false;
    Pictures() {
        const char* base = std::getenv("TMPDIR");
        std::string templ = std::string(base && *base ? base : "/tmp") + "/tarvo-bench-XXXXXX";
        if (!mkdtemp(&templ[0])) return;
        dir = templ;
        tarvo::Mat img(H, W, tarvo::MAT_Tuchar3);
        unsigned seed = 12345;
        for (int r = 0; r < H; r++) {
            unsigned char* p = img.data.ptr[r];
            for (int c = 0; c < W; c++, p += 3) {
                seed = seed * 1103515245u + 12345u;
                const int noise = (int)((seed >> 16) & 7);
                p[0] = (unsigned char)((c * 255 / W + noise) & 255);
                p[1] = (unsigned char)((r * 255 / H + noise) & 255);
                p[2] = (unsigned char)(((r + c) * 127 / (W + H) + 64 + noise) & 255);
            }
        }
        png = dir + "/pic.png";
        jpg = dir + "/pic.jpg";
        bmp = dir + "/pic.bmp";
        ppm = dir + "/pic.ppm";
        ok = img.toImage(png.c_str()) && img.toImage(jpg.c_str(), 90) && img.toImage(bmp.c_str()) &&
             img.toImage(ppm.c_str());
    }
    ~Pictures() {
        for (const std::string* f : {&png, &jpg, &bmp, &ppm})
            if (!f->empty()) std::remove(f->c_str());
        if (!dir.empty()) rmdir(dir.c_str());
    }
};

Pictures& pictures() {
    static Pictures p;
    return p;
}

void decode(benchmark::State& state, const std::string& path) {
    if (!pictures().ok) {
        state.SkipWithError("could not write the benchmark pictures");
        return;
    }
    for (auto _ : state) {
        tarvo::Mat m;
        if (!m.fromImage(path.c_str(), tarvo::IMG_COLOR) || m.cols() != W) {
            state.SkipWithError("decode failed");
            return;
        }
        benchmark::DoNotOptimize(m.data.ptr[0][0]);
    }
    state.counters["Mpix/s"] =
        benchmark::Counter(double(W) * H * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}

// The same decode into one matrix kept across iterations, the way a video or
// batch loop reads: the storage fits after the first picture.
void decodeReused(benchmark::State& state, const std::string& path) {
    if (!pictures().ok) {
        state.SkipWithError("could not write the benchmark pictures");
        return;
    }
    tarvo::Mat m;
    for (auto _ : state) {
        if (!m.fromImage(path.c_str(), tarvo::IMG_COLOR) || m.cols() != W) {
            state.SkipWithError("decode failed");
            return;
        }
        benchmark::DoNotOptimize(m.data.ptr[0][0]);
    }
    state.counters["Mpix/s"] =
        benchmark::Counter(double(W) * H * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}

// PNG writing at compression level state.range(0).
void BM_EncodePng_1080p(benchmark::State& state) {
    if (!pictures().ok) {
        state.SkipWithError("could not write the benchmark pictures");
        return;
    }
    tarvo::Mat img;
    img.fromImage(pictures().png.c_str(), tarvo::IMG_COLOR);
    const std::string out = pictures().dir + "/encoded.png";
    for (auto _ : state) {
        if (!img.toImage(out.c_str(), 95, int(state.range(0)))) {
            state.SkipWithError("encode failed");
            return;
        }
    }
    std::remove(out.c_str());
    state.counters["Mpix/s"] =
        benchmark::Counter(double(W) * H * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}

void BM_ImageCopyBaseline_1080p(benchmark::State& state) {
    std::vector<unsigned char> src((size_t)W * H * 3, 7), dst(src.size());
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::ClobberMemory();
    }
    state.counters["Mpix/s"] =
        benchmark::Counter(double(W) * H * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}
void BM_DecodePng_1080p(benchmark::State& state) {
    decode(state, pictures().png);
}
void BM_DecodeJpeg_1080p(benchmark::State& state) {
    decode(state, pictures().jpg);
}
void BM_DecodeBmp_1080p(benchmark::State& state) {
    decode(state, pictures().bmp);
}
void BM_DecodePpm_1080p(benchmark::State& state) {
    decode(state, pictures().ppm);
}
void BM_DecodePngReused_1080p(benchmark::State& state) {
    decodeReused(state, pictures().png);
}
void BM_DecodeJpegReused_1080p(benchmark::State& state) {
    decodeReused(state, pictures().jpg);
}

}  // namespace

BENCHMARK(BM_ImageCopyBaseline_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DecodePng_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DecodeJpeg_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DecodeBmp_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DecodePpm_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DecodePngReused_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DecodeJpegReused_1080p)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EncodePng_1080p)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond)->UseRealTime();
