// Feature files and the integral images of a feature vector. File figures are
// in bytes per second of vector data; the integral image in megapixels per
// second with its ratio to a plain copy of the float values.
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_util.h"

#include "tarvo/ip/features.h"

using namespace tarvo;

namespace {

constexpr int kVectors = 10000;
constexpr int kDim = 128;

FeatureSet makeSet() {
    FeatureSet s;
    std::mt19937 rng(3);
    for (int i = 0; i < kVectors; i++) {
        FeatureVec* v = new FeatureVec();
        v->Vec::create(kDim, MAT_Tfloat);
        for (int k = 0; k < kDim; k++) v->data.fl[k] = float(rng() % 1000) * 0.01f;
        v->width = kDim;
        v->height = 1;
        s.add(v);
    }
    return s;
}

void BM_FeatureWrite(benchmark::State& state) {
    FeatureSet s = makeSet();
    for (auto _ : state) {
        XFileMem out;
        s.write(&out);
        if (out.size() < long(kVectors) * kDim * 4) state.SkipWithError("short feature file");
        benchmark::DoNotOptimize(out.getBuffer());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kVectors * kDim * 4);
}

void BM_FeatureRead(benchmark::State& state) {
    FeatureSet s = makeSet();
    XFileMem out;
    s.write(&out);
    std::vector<unsigned char> bytes(out.getBuffer(), out.getBuffer() + out.size());
    FeatureFactory* f = FeatureFactory::Instance();
    for (auto _ : state) {
        XFileMem in(bytes.data(), unsigned(bytes.size()));
        FeatureABC* r = f->readFeature(&in);
        if (!r || static_cast<FeatureSet*>(r)->getSize() != kVectors)
            state.SkipWithError("feature set did not read back");
        delete r;
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kVectors * kDim * 4);
}

void BM_FeatureIntegral(benchmark::State& state) {
    const int w = 1920, h = 1080;
    FeatureVec v;
    v.Vec::create(w * h, MAT_Tfloat);
    std::mt19937 rng(5);
    for (int i = 0; i < w * h; i++) v.data.fl[i] = float(rng() % 400);
    v.width = w;
    v.height = h;
    for (auto _ : state) {
        v.calcIntegralImage(true, true);
        benchmark::DoNotOptimize(v.integralImage);
    }
    bench::setPixelCounters(state, int64_t(w) * h, int64_t(w) * h * 4);
}

}  // namespace

BENCHMARK(BM_FeatureWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FeatureRead)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FeatureIntegral)->Unit(benchmark::kMillisecond)->UseRealTime();
