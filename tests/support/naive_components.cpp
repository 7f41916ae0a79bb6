#include "support/naive_components.h"

#include <algorithm>
#include <cstdlib>
#include <deque>

namespace tarvo {
namespace test {

std::vector<NaiveRegion> naiveRegions(const Mat& img, unsigned char background) {
    const int rows = img.rows(), cols = img.cols();
    std::vector<char> seen(size_t(rows) * cols, 0);
    std::vector<NaiveRegion> out;
    auto fg = [&](int x, int y) { return img.ptr<unsigned char>(y)[x] != background; };
    for (int x = 0; x < cols; x++)
        for (int y = 0; y < rows; y++) {
            if (!fg(x, y) || seen[size_t(y) * cols + x]) continue;
            NaiveRegion r{x, y, x, y, img.ptr<unsigned char>(y)[x], {}};
            std::deque<std::pair<int, int>> q{{x, y}};
            seen[size_t(y) * cols + x] = 1;
            while (!q.empty()) {
                const auto p = q.front();
                q.pop_front();
                r.pixels.push_back((long long)p.second * cols + p.first);
                r.left = std::min(r.left, p.first);
                r.right = std::max(r.right, p.first);
                r.top = std::min(r.top, p.second);
                r.bottom = std::max(r.bottom, p.second);
                for (int dy = -1; dy <= 1; dy++)
                    for (int dx = -1; dx <= 1; dx++) {
                        const int nx = p.first + dx, ny = p.second + dy;
                        if (nx < 0 || ny < 0 || nx >= cols || ny >= rows) continue;
                        if (!fg(nx, ny) || seen[size_t(ny) * cols + nx]) continue;
                        seen[size_t(ny) * cols + nx] = 1;
                        q.push_back({nx, ny});
                    }
            }
            std::sort(r.pixels.begin(), r.pixels.end());
            out.push_back(r);
        }
    return out;
}

Mat naiveFill(const Mat& img, int sx, int sy, int tolerance) {
    const int rows = img.rows(), cols = img.cols(), cn = img.channels();
    Mat mask(rows, cols, MAT_Tuchar);
    mask = 0.0;
    const unsigned char* seed = img.ptr<unsigned char>(sy) + sx * cn;
    auto match = [&](int x, int y) {
        const unsigned char* p = img.ptr<unsigned char>(y) + x * cn;
        for (int k = 0; k < cn; k++)
            if (std::abs(int(p[k]) - int(seed[k])) > tolerance) return false;
        return true;
    };
    std::deque<std::pair<int, int>> q{{sx, sy}};
    mask.ptr<unsigned char>(sy)[sx] = 255;
    while (!q.empty()) {
        const auto p = q.front();
        q.pop_front();
        const int nx[4] = {p.first - 1, p.first + 1, p.first, p.first};
        const int ny[4] = {p.second, p.second, p.second - 1, p.second + 1};
        for (int k = 0; k < 4; k++) {
            if (nx[k] < 0 || ny[k] < 0 || nx[k] >= cols || ny[k] >= rows) continue;
            unsigned char& m = mask.ptr<unsigned char>(ny[k])[nx[k]];
            if (m || !match(nx[k], ny[k])) continue;
            m = 255;
            q.push_back({nx[k], ny[k]});
        }
    }
    return mask;
}

}  // namespace test
}  // namespace tarvo
