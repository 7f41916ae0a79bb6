// Slow, literal references for the triangle mesh code: triangle generation by
// scanning every point against every edge, and the mesh warp pixel by pixel.
#pragma once

#include <array>
#include <vector>

#include "tarvo/ip/geometry.h"

namespace tarvo {
namespace test {

// Triangles of an edge list, found point by point from 0 to the largest
// index: neighbours gathered by scanning all edges, every joined pair tested
// by scanning all edges again, duplicates rejected by scanning the result.
// Edges from a point to itself or with a negative index are ignored.
std::vector<std::array<int, 3>> naiveTriangles(const TriangleModel::Edge* edges, int count);

// The mesh warp one pixel at a time: for each triangle its box, for each
// pixel the edge functions, the barycentric coordinates through
// ip::computeCoefficients, and the bilinear value with its terms added only
// where the fractions are non-zero.
void naiveWarpMesh(const Mat& src, Mat& dst, Rect_<int>& bounds, const Point2_<float>* srcPoints,
                   const Point2_<float>* dstPoints, const TriangleModel& model);

}  // namespace test
}  // namespace tarvo
