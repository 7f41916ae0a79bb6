#include "support/naive_contours.h"

#include <vector>

namespace tarvo {
namespace test {

namespace {

// Labels the components of pixels whose value is `want`, with 8 or 4
// neighbours, on a grid padded by one background pixel; returns the count.
int countComponents(const std::vector<unsigned char>& g, int W, int H, unsigned char want,
                    bool eight) {
    std::vector<char> seen(g.size(), 0);
    std::vector<int> stack;
    int n = 0;
    for (int i = 0; i < W * H; i++) {
        if (g[i] != want || seen[i]) continue;
        n++;
        seen[i] = 1;
        stack.push_back(i);
        while (!stack.empty()) {
            const int p = stack.back();
            stack.pop_back();
            const int x = p % W, y = p / W;
            for (int dy = -1; dy <= 1; dy++)
                for (int dx = -1; dx <= 1; dx++) {
                    if ((dx == 0 && dy == 0) || (!eight && dx != 0 && dy != 0)) continue;
                    const int nx = x + dx, ny = y + dy;
                    if (nx < 0 || ny < 0 || nx >= W || ny >= H) continue;
                    const int q = ny * W + nx;
                    if (g[q] == want && !seen[q]) {
                        seen[q] = 1;
                        stack.push_back(q);
                    }
                }
        }
    }
    return n;
}

}  // namespace

BorderCounts naiveBorderCounts(const Mat& mask) {
    BorderCounts c;
    if (!mask.isValid()) return c;
    const int W = mask.cols() + 2, H = mask.rows() + 2;
    std::vector<unsigned char> g((size_t)W * H, 0);
    for (int y = 0; y < mask.rows(); y++)
        for (int x = 0; x < mask.cols(); x++)
            g[(size_t)(y + 1) * W + x + 1] = mask.ptr<unsigned char>(y)[x] != 0;
    c.outer = countComponents(g, W, H, 1, true);
    // the padding makes the outside one background component
    c.holes = countComponents(g, W, H, 0, false) - 1;
    return c;
}

}  // namespace test
}  // namespace tarvo
