// Triangle meshes: warpMesh and warping on 1080p RGB with a jittered 16 x 9
// grid mesh, triangle generation on a 300 x 300 grid (about 270,000 edges), and loading
// the edge file of that grid.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <vector>

#include "bench_util.h"
#include "tarvo/ip/geometry.h"

using namespace tarvo;

namespace {

typedef Point2_<float> P;

// A grid of nx x ny cells over w x h pixels, one diagonal per cell.
TriangleModel grid(int nx, int ny, float w, float h, std::vector<P>* pts, float jitter,
                   unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-jitter, jitter);
    if (pts) pts->clear();
    std::vector<TriangleModel::Edge> e;
    const int W = nx + 1;
    for (int j = 0; j <= ny; j++)
        for (int i = 0; i <= nx; i++) {
            if (pts) {
                P p(i * w / nx, j * h / ny);
                if (i > 0 && j > 0 && i < nx && j < ny) p = P(p.x + u(rng), p.y + u(rng));
                pts->push_back(p);
            }
            const int k = j * W + i;
            if (i < nx) e.push_back({k, k + 1});
            if (j < ny) e.push_back({k, k + W});
            if (i < nx && j < ny) e.push_back({k, k + W + 1});
        }
    TriangleModel m;
    m.create((int)e.size());
    for (size_t i = 0; i < e.size(); i++) m.edges[i] = e[i];
    return m;
}

// A 1080p RGB pattern and a 16 x 9 grid mesh, its inner points moved at
// random for the source and the destination.
struct MeshScene {
    Mat src{1080, 1920, MAT_Tuchar | (2 << 3)};
    std::vector<P> sp, dp;
    TriangleModel m;
    MeshScene() {
        for (int y = 0; y < 1080; y++)
            for (int x = 0; x < 1920 * 3; x++)
                src.ptr<unsigned char>(y)[x] = (unsigned char)(x ^ y);
        m = grid(16, 9, 1919, 1079, &sp, 10, 1);
        grid(16, 9, 1919, 1079, &dp, 10, 2);
        m.generateTriangles();
    }
};

void BM_WarpMesh(benchmark::State& state) {
    MeshScene scene;
    const Mat& src = scene.src;
    std::vector<P>&sp = scene.sp, &dp = scene.dp;
    TriangleModel& m = scene.m;
    Rect_<int> box;
    bench::checkPaths([&](Mat& d) { ip::warpMesh(src, d, box, sp.data(), dp.data(), &m); },
                      "warpMesh");
    Mat dst;
    for (auto _ : state) {
        ip::warpMesh(src, dst, box, sp.data(), dp.data(), &m);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, 1920LL * 1080, 1920LL * 1080 * 3);
}
BENCHMARK(BM_WarpMesh)->Unit(benchmark::kMillisecond)->UseRealTime();

// warping draws into the destination as it stands; the same scene.
void BM_Warping(benchmark::State& state) {
    MeshScene scene;
    const Mat& src = scene.src;
    std::vector<P>&sp = scene.sp, &dp = scene.dp;
    TriangleModel& m = scene.m;
    Rect_<int> box;
    bench::checkPaths(
        [&](Mat& d) {
            d = Mat(1080, 1920, MAT_Tuchar | (2 << 3), Point4_<double>(7, 7, 7, 0));
            ip::warping(src, d, &box, sp.data(), dp.data(), &m);
        },
        "warping");
    Mat dst(1080, 1920, MAT_Tuchar | (2 << 3));
    for (auto _ : state) {
        ip::warping(src, dst, &box, sp.data(), dp.data(), &m);
        benchmark::DoNotOptimize(dst.data.ptr);
    }
    bench::setPixelCounters(state, 1920LL * 1080, 1920LL * 1080 * 3);
}
BENCHMARK(BM_Warping)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_GenerateTriangles(benchmark::State& state) {
    TriangleModel m = grid(300, 300, 300, 300, nullptr, 0, 0);
    for (auto _ : state) {
        m.generateTriangles();
        benchmark::DoNotOptimize(m.triangleList.getData());
    }
    state.counters["edges"] = m.edgeCount;
    state.counters["triangles"] = m.triangleList.getSize();
}
BENCHMARK(BM_GenerateTriangles)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LoadEdgeFile(benchmark::State& state) {
    TriangleModel m = grid(300, 300, 300, 300, nullptr, 0, 0);
    FILE* f = std::tmpfile();
    if (!f || !m.Save(f)) {
        state.SkipWithError("cannot write the edge file");
        return;
    }
    TriangleModel back;
    for (auto _ : state) {
        std::rewind(f);
        if (!back.load(f)) state.SkipWithError("load refused the file");
        benchmark::DoNotOptimize(back.triangleList.getData());
    }
    std::fclose(f);
    state.counters["triangles"] = back.triangleList.getSize();
}
BENCHMARK(BM_LoadEdgeFile)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
