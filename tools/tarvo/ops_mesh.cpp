// Row of the tarvo tool for triangle meshes: a regular grid mesh over the
// picture, its inner points moved at random, and the picture carried from the
// regular mesh onto the moved one.
#include <cstdio>
#include <vector>

#include "operations.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/random.h"

namespace tarvotool {

namespace {

using tarvo::Mat;
typedef tarvo::Point2_<float> P;

enum { kGridParam, kAmountParam, kSeedParam };

void runMeshWarp(const Mat& in, Mat& out, const Args& a) {
    out.release();
    const int n = a.i(kGridParam), w = n + 1;
    const float amount = a.f(kAmountParam);
    std::vector<P> from, to;
    from.reserve((size_t)w * w);
    tarvo::detail::seedRandom((unsigned)a.v[kSeedParam]);
    for (int j = 0; j <= n; j++)
        for (int i = 0; i <= n; i++) {
            const P p((float)i * (float)(in.cols() - 1) / (float)n,
                      (float)j * (float)(in.rows() - 1) / (float)n);
            from.push_back(p);
            P q = p;
            if (i > 0 && j > 0 && i < n && j < n) {
                // Each axis moves by a value in [-amount, amount] from the 15-bit generator.
                const float dx = (float)tarvo::detail::rand15() / 32767.0f * 2.0f - 1.0f;
                const float dy = (float)tarvo::detail::rand15() / 32767.0f * 2.0f - 1.0f;
                q = P(p.x + dx * amount, p.y + dy * amount);
            }
            to.push_back(q);
        }
    // Four edges per cell: top, left, and the diagonal from top-left; the
    // last row and column close the grid.
    tarvo::TriangleModel model;
    if (!model.create(3 * n * n + 2 * n)) return;
    int e = 0;
    for (int j = 0; j <= n; j++)
        for (int i = 0; i <= n; i++) {
            const int k = j * w + i;
            if (i < n) model.edges[e++] = {k, k + 1};
            if (j < n) model.edges[e++] = {k, k + w};
            if (i < n && j < n) model.edges[e++] = {k, k + w + 1};
        }
    model.generateTriangles();
    tarvo::Rect_<int> bounds;
    tarvo::ip::warpMesh(in, out, bounds, from.data(), to.data(), &model);
    if (out.empty()) return;
    std::printf("%d triangles, written box x %d y %d width %d height %d\n",
                model.triangleList.getSize(), bounds.x, bounds.y, bounds.width, bounds.height);
}

const char* checkMeshWarp(const Mat& in, const Args& a) {
    if (in.cols() < a.i(kGridParam) + 1 || in.rows() < a.i(kGridParam) + 1)
        return "--grid needs a picture of at least grid + 1 pixels a side";
    return nullptr;
}

const Operation kRows[] = {
    {"mesh-warp",
     "Carries the picture from a regular triangle mesh (a grid with one diagonal per cell) onto "
     "the same mesh with its inner points moved at random; prints the triangle count and the "
     "box of written pixels",
     {{"grid", "cells per side of the grid mesh", 8, 1, 256, true},
      {"amount", "largest move of an inner point along each axis, in pixels", 6, 0, 10000, false},
      {"seed", "seed of the random moves (the same seed gives the same mesh)", 1, 0, 2147483647,
       true}},
     runMeshWarp,
     nullptr,
     "mesh-warp --grid 6 --amount 15 --seed 7 in.png out.png",
     kGreyOrColour,
     checkMeshWarp,
     globalReach("the mesh spans the whole picture")},
};

const DemoStep kDemo[] = {
    {"mesh-warp.png", "carried along a 6 x 6 triangle mesh with inner points moved by up to 25", "",
     "mesh-warp", "--grid 6 --amount 25 --seed 3", 640},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
