#include "support/naive_distance.h"

#include <functional>
#include <queue>
#include <utility>

#include "support/test_util.h"

namespace tarvo {
namespace test {

namespace {

struct Move {
    int dx, dy, w;
};

std::vector<Move> moves(const int w[3], int maskSize) {
    std::vector<Move> m;
    for (int dy = -2; dy <= 2; dy++)
        for (int dx = -2; dx <= 2; dx++) {
            const int ax = dx < 0 ? -dx : dx, ay = dy < 0 ? -dy : dy;
            if (ax + ay == 0) continue;
            if (ax <= 1 && ay <= 1)
                m.push_back({dx, dy, ax + ay == 1 ? w[0] : w[1]});
            else if (maskSize == 5 && ax + ay == 3)
                m.push_back({dx, dy, w[2]});
        }
    return m;
}

// Dijkstra over a width x height grid from the given sources.
std::vector<int64_t> dijkstra(int width, int height, const std::vector<int>& sources,
                              const std::vector<Move>& mv) {
    std::vector<int64_t> d(size_t(width) * height, INT64_MAX);
    typedef std::pair<int64_t, int> Item;
    std::priority_queue<Item, std::vector<Item>, std::greater<Item>> q;
    for (int s : sources) {
        d[s] = 0;
        q.push({0, s});
    }
    while (!q.empty()) {
        const Item it = q.top();
        q.pop();
        if (it.first != d[it.second]) continue;
        const int x = it.second % width, y = it.second / width;
        for (const Move& m : mv) {
            const int nx = x + m.dx, ny = y + m.dy;
            if (nx < 0 || ny < 0 || nx >= width || ny >= height) continue;
            const int n = ny * width + nx;
            if (it.first + m.w < d[n]) {
                d[n] = it.first + m.w;
                q.push({d[n], n});
            }
        }
    }
    return d;
}

}  // namespace

std::vector<int64_t> chamferShortestPaths(const Mat& src, const int w[3], int maskSize) {
    std::vector<int> sources;
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols(); x++)
            if (src.ptr<unsigned char>(y)[x] == 0) sources.push_back(y * src.cols() + x);
    return dijkstra(src.cols(), src.rows(), sources, moves(w, maskSize));
}

std::vector<int64_t> chamferOffsets(const int w[3], int maskSize, int radius) {
    const int n = 2 * radius + 1;
    return dijkstra(n, n, {radius * n + radius}, moves(w, maskSize));
}

std::vector<int64_t> nearestSquared(const Mat& src, bool (*isFeature)(unsigned char)) {
    const int rows = src.rows(), cols = src.cols();
    std::vector<std::pair<int, int>> f;
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++)
            if (isFeature(src.ptr<unsigned char>(y)[x])) f.push_back({x, y});
    std::vector<int64_t> out(size_t(rows) * cols, -1);
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) {
            int64_t best = -1;
            for (const auto& p : f) {
                const int64_t dx = x - p.first, dy = y - p.second, d = dx * dx + dy * dy;
                if (best < 0 || d < best) best = d;
            }
            out[size_t(y) * cols + x] = best;
        }
    return out;
}

void directMoments(const Mat& img, bool binary, long double m[10]) {
    for (int i = 0; i < 10; i++) m[i] = 0;
    for (int y = 0; y < img.rows(); y++)
        for (int x = 0; x < img.cols(); x++) {
            long double v = at(img, y, x);
            if (binary) v = v != 0 ? 1 : 0;
            const long double X = x, Y = y;
            m[0] += v;
            m[1] += v * X;
            m[2] += v * Y;
            m[3] += v * X * X;
            m[4] += v * X * Y;
            m[5] += v * Y * Y;
            m[6] += v * X * X * X;
            m[7] += v * X * X * Y;
            m[8] += v * X * Y * Y;
            m[9] += v * Y * Y * Y;
        }
}

}  // namespace test
}  // namespace tarvo
