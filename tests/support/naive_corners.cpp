#include "support/naive_corners.h"

#include <algorithm>

#include "tarvo/ip/gaussian.h"

namespace tarvo {
namespace test {

namespace {

const int kDx[16] = {0, 1, 2, 3, 3, 3, 2, 1, 0, -1, -2, -3, -3, -3, -2, -1};
const int kDy[16] = {3, 3, 2, 1, 0, -1, -2, -3, -3, -3, -2, -1, 0, 1, 2, 3};

int pix(const Mat& m, int x, int y) {
    return m.ptr<unsigned char>(y)[x];
}

bool fastAt(const Mat& m, int x, int y, int b, int n) {
    const int p = pix(m, x, y);
    for (int sign = 0; sign < 2; sign++)
        for (int start = 0; start < 16; start++) {
            int run = 0;
            while (run < n) {
                const int v = pix(m, x + kDx[(start + run) % 16], y + kDy[(start + run) % 16]);
                if (sign == 0 ? !(v > p + b) : !(v < p - b)) break;
                run++;
            }
            if (run == n) return true;
        }
    return false;
}

int fastScore(const Mat& m, int x, int y, int b, int n) {
    int lo = b, hi = 255, t = (lo + hi) / 2;
    while (true) {
        if (fastAt(m, x, y, t, n))
            lo = t;
        else
            hi = t;
        if (lo == hi || lo == hi - 1) return lo;
        t = (lo + hi) / 2;
    }
}

}  // namespace

std::vector<NaiveCorner> naiveFast(const Mat& image, int b, int arcLength, bool suppress) {
    const int n = arcLength >= 9 && arcLength <= 11 ? arcLength : 12;
    std::vector<NaiveCorner> found;
    std::vector<int> score(size_t(image.rows()) * image.cols(), -1000);
    for (int y = 3; y < image.rows() - 3; y++)
        for (int x = 3; x < image.cols() - 3; x++)
            if (fastAt(image, x, y, b, n)) {
                found.push_back({x, y});
                score[size_t(y) * image.cols() + x] = fastScore(image, x, y, b, n);
            }
    if (!suppress) return found;
    std::vector<NaiveCorner> kept;
    for (const NaiveCorner& c : found) {
        const int s = score[size_t(c.y) * image.cols() + c.x];
        bool best = true;
        for (int dy = -1; dy <= 1; dy++)
            for (int dx = -1; dx <= 1; dx++) {
                if (!dx && !dy) continue;
                const int o = score[size_t(c.y + dy) * image.cols() + c.x + dx];
                if (o != -1000 && o >= s) best = false;
            }
        if (best) kept.push_back(c);
    }
    return kept;
}

std::vector<NaiveCorner> naiveHarris(const Mat& image, const Mat& mask, int window,
                                     float threshold) {
    const int rows = image.rows(), cols = image.cols();
    Mat xx(rows, cols, MAT_Tfloat, Point4_<double>()), yy = xx, xy = xx;
    for (int y = 1; y < rows - 1; y++)
        for (int x = 1; x < cols - 1; x++) {
            auto p = [&](int dy, int dx) { return pix(image, x + dx, y + dy); };
            const int gx = 2 * (p(0, 1) - p(0, -1)) + p(-1, 1) + p(1, 1) - p(-1, -1) - p(1, -1);
            const int gy = 2 * (p(-1, 0) - p(1, 0)) + p(-1, -1) + p(-1, 1) - p(1, -1) - p(1, 1);
            xx.ptr<float>(y)[x] = float(gx * gx);
            yy.ptr<float>(y)[x] = float(gy * gy);
            xy.ptr<float>(y)[x] = float(gx * gy);
        }
    ip::gaussian(xx, 5.0f);
    ip::gaussian(yy, 5.0f);
    ip::gaussian(xy, 5.0f);
    auto on = [&](int x, int y) { return mask.empty() || mask.ptr<unsigned char>(y)[x] != 0; };
    Mat s(rows, cols, MAT_Tfloat, Point4_<double>(-1000000.0, 0, 0, 0));
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) {
            if (!on(x, y)) continue;
            const float a = xx.ptr<float>(y)[x], c = yy.ptr<float>(y)[x], b = xy.ptr<float>(y)[x];
            s.ptr<float>(y)[x] = (a * c - b * b) / (a + c + 1e-06f);
        }
    std::vector<NaiveCorner> out;
    std::vector<float> str;
    const int h = window / 2;
    for (int y = h + 1; y < rows - h && window >= 1; y++)
        for (int x = h + 1; x < cols - h; x++) {
            if (!on(x, y)) continue;
            float m = -1000000.0f;
            for (int j = 0; j < window; j++)
                for (int i = 0; i < window; i++)
                    m = std::max(m, s.ptr<float>(y - h + j)[x - h + i]);
            m = m > 0 ? m : 0;
            if (s.ptr<float>(y)[x] == m && m > threshold) {
                out.push_back({x, y});
                str.push_back(m);
            }
        }
    for (size_t i = 0; i < str.size(); i++)
        for (size_t j = i + 1; j < str.size(); j++)
            if (str[j] > str[i]) {
                std::swap(str[i], str[j]);
                std::swap(out[i], out[j]);
            }
    return out;
}

}  // namespace test
}  // namespace tarvo
