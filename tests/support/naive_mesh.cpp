#include "support/naive_mesh.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "tarvo/ip/shapes.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace test {

namespace {

bool usable(const TriangleModel::Edge& e) {
    return e.a >= 0 && e.b >= 0 && e.a != e.b;
}

bool joined(const TriangleModel::Edge* edges, int count, int a, int b) {
    for (int i = 0; i < count; i++)
        if (usable(edges[i]) &&
            ((edges[i].a == a && edges[i].b == b) || (edges[i].a == b && edges[i].b == a)))
            return true;
    return false;
}

bool known(const std::vector<std::array<int, 3>>& list, int a, int b, int c) {
    std::array<int, 3> want = {a, b, c};
    std::sort(want.begin(), want.end());
    for (std::array<int, 3> t : list) {
        std::sort(t.begin(), t.end());
        if (t == want) return true;
    }
    return false;
}

float edgeValue(const Point2_<float>& i, const Point2_<float>& j, float x, float y) {
    return std::fabs(((i.y - j.y) * x + (j.x - i.x) * y) + (i.x * j.y - j.x * i.y));
}

void box(float a, float b, float c, int size, int& lo, int& hi) {
    lo = std::max(truncInt(std::min(a, std::min(b, c))), 0);
    hi = (int)std::min((long long)truncInt(std::max(a, std::max(b, c))) + 1, (long long)size - 1);
}

}  // namespace

std::vector<std::array<int, 3>> naiveTriangles(const TriangleModel::Edge* edges, int count) {
    std::vector<std::array<int, 3>> out;
    int maxIndex = -1;
    for (int i = 0; i < count; i++)
        if (usable(edges[i])) maxIndex = std::max(maxIndex, std::max(edges[i].a, edges[i].b));
    for (int p = 0; p <= maxIndex; p++) {
        std::vector<int> nb;
        for (int i = 0; i < count; i++) {
            if (!usable(edges[i])) continue;
            int other = -1;
            if (edges[i].a == p) other = edges[i].b;
            if (edges[i].b == p) other = edges[i].a;
            if (other >= 0 && std::find(nb.begin(), nb.end(), other) == nb.end())
                nb.push_back(other);
        }
        for (size_t i = 0; i < nb.size(); i++)
            for (size_t j = i + 1; j < nb.size(); j++)
                if (joined(edges, count, nb[i], nb[j]) && !known(out, p, nb[i], nb[j]))
                    out.push_back({p, nb[i], nb[j]});
    }
    return out;
}

void naiveWarpMesh(const Mat& src, Mat& dst, Rect_<int>& bounds, const Point2_<float>* srcPoints,
                   const Point2_<float>* dstPoints, const TriangleModel& model) {
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    dst.create(rows, cols, src.type1());
    dst.zero();
    int left = cols - 1, top = rows - 1, right = 1, bottom = 1;
    for (int i = 0; i < model.triangleList.getSize(); i++) {
        const Triangle* t = model.triangleList[i];
        if (t->index[0] < 0 || t->index[1] < 0 || t->index[2] < 0) continue;
        const Point2_<float>&p0 = dstPoints[t->index[0]], &p1 = dstPoints[t->index[1]],
              &p2 = dstPoints[t->index[2]];
        const Point2_<float>&s0 = srcPoints[t->index[0]], &s1 = srcPoints[t->index[1]],
              &s2 = srcPoints[t->index[2]];
        if (!std::isfinite(p0.x + p1.x + p2.x + p0.y + p1.y + p2.y)) continue;
        int x0, x1, y0, y1;
        box(p0.x, p1.x, p2.x, cols, x0, x1);
        box(p0.y, p1.y, p2.y, rows, y0, y1);
        const float area = ip::triangleArea(p0.x, p0.y, p1.x, p1.y, p2.x, p2.y);
        for (int y = y0; y <= y1; y++)
            for (int x = x0; x <= x1; x++) {
                const float X = (float)x, Y = (float)y;
                const float sum =
                    (edgeValue(p1, p2, X, Y) + edgeValue(p0, p2, X, Y)) + edgeValue(p0, p1, X, Y);
                if (sum > area + 1e-3f * std::max(area, 1.0f)) continue;
                if (!(sum == sum)) continue;
                float a = 0.1f, b = 0.5f, c = 0.39999998f;
                ip::computeCoefficients(dstPoints, t, X, Y, &a, &b, &c);
                const float sx = (a * s0.x + b * s1.x) + c * s2.x;
                const float sy = (a * s0.y + b * s1.y) + c * s2.y;
                if (!(sx >= 0 && sy >= 0 && sx < cols - 1 && sy < rows - 1)) continue;
                const int ix = (int)sx, iy = (int)sy;
                const float fx = sx - ix, fy = sy - iy;
                for (int k = 0; k < cn; k++) {
                    const float base = src.ptr<unsigned char>(iy)[ix * cn + k];
                    const float r = src.ptr<unsigned char>(iy)[(ix + 1) * cn + k];
                    const float d = src.ptr<unsigned char>(iy + 1)[ix * cn + k];
                    const float rd = src.ptr<unsigned char>(iy + 1)[(ix + 1) * cn + k];
                    float v = base;
                    if (fx != 0) v = v + (r - base) * fx;
                    if (fy != 0) v = v + (d - base) * fy;
                    if (fx != 0 && fy != 0) v = v + ((base - r - d + rd) * fx) * fy;
                    const int iv = truncInt(v);
                    dst.ptr<unsigned char>(y)[x * cn + k] =
                        (unsigned char)std::min(std::max(iv, 0), 255);
                }
                left = std::min(left, x);
                right = std::max(right, x);
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
    }
    bounds = Rect_<int>(left, top, right - left, bottom - top);
}

}  // namespace test
}  // namespace tarvo
