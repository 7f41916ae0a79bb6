#include "naive_hough.h"

#include <algorithm>
#include <cmath>

namespace tarvo {
namespace test {

namespace {

struct Recursion {
    Recursion(const signed char* weakMap, std::vector<unsigned char>& edgeMap, int width)
        : weak(weakMap), map(edgeMap), w(width) {}
    const signed char* weak;
    std::vector<unsigned char>& map;
    int w;
    unsigned char label = 1;
    std::vector<short> stack;
    int points = 0;
    std::vector<std::vector<short>> chains;

    void flush() {
        std::vector<short> chain(stack.end() - 2 * points, stack.end());
        stack.resize(stack.size() - 2 * size_t(points));
        if (points >= 10) chains.push_back(chain);
        label = (unsigned char)(label % 254 + 2);
        points = 0;
    }
    void follow(int x, int y) {
        static const int dx[8] = {1, 1, 1, 0, 0, -1, -1, -1};
        static const int dy[8] = {0, 1, -1, 1, -1, 0, 1, -1};
        bool found = false, branched = false;
        for (int k = 0; k < 8; k++) {
            const int nx = x + dx[k], ny = y + dy[k];
            const size_t i = size_t(ny) * w + nx;
            if (map[i] != 0 || weak[i] <= 0) continue;
            if (found) {
                flush();
                branched = true;
            }
            found = true;
            map[i] = label;
            follow(nx, ny);
        }
        stack.push_back(short(x));
        stack.push_back(short(y));
        points++;
        if (branched) flush();
    }
};

}  // namespace

std::vector<std::vector<short>> followChainsRecursive(const signed char* strong,
                                                      const signed char* weak,
                                                      std::vector<unsigned char>& edgeMap,
                                                      int width, int height) {
    Recursion r(weak, edgeMap, width);
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++) {
            const size_t i = size_t(y) * width + x;
            if (edgeMap[i] != 0 || strong[i] <= 0) continue;
            r.points = 0;
            r.follow(x, y);
            r.flush();
        }
    return r.chains;
}

int fixedPointAngleDivision(int gyIn, int gxIn) {
    static const long long kBase[8] = {-144, 92304, 184464, 92016, 368784, 276336, 184176, 276624};
    auto floorShift = [](long long v, int sh) { return v >= 0 ? v >> sh : ~((~v) >> sh); };
    long long gy = gyIn;
    const long long gx = gxIn;
    if (gx == 0 && gy < 1024) gy *= 1024;
    const long long a = gx < 0 ? -gx : gx, b = gy < 0 ? -gy : gy;
    const bool steep = b > a;
    const int i = (a == 0 && b == 0) ? 0 : int(((gx < 0) + 2 * (gy < 0)) * 2 + steep);
    const long long small = steep ? a : b, large = steep ? b : a;
    long long num = small;
    if (i == 1 || i == 2 || i == 4 || i == 7) num = ~num;
    num *= 1024;
    const long long t = num * 1048576 / ((large * 1024) | 1);
    const long long u = 62560 - floorShift(16193 * (t < 0 ? -t : t), 20);
    return int(floorShift(kBase[i] + floorShift(u * t, 20) + 511, 10));
}

void houghLinesStdDirect(const Mat& src, std::vector<Point2_<int>>& lines, float rho, float theta,
                         int threshold, int linesMax) {
    const int rows = src.rows(), cols = src.cols();
    const int a = int(3.14159265358979323846 / theta);
    const int r = int((double(cols + rows) * 2 + 1) / rho);
    const int stride = r + 2;
    std::vector<int> storage(size_t(a + 3) * stride, 0);
    int* acc = storage.data() + stride;
    std::vector<float> s(static_cast<size_t>(a)), c(static_cast<size_t>(a));
    float ang = 0.0f;
    for (int n = 0; n < a; n++) {
        s[size_t(n)] = std::sin(ang) / rho;
        c[size_t(n)] = std::cos(ang) / rho;
        ang += theta;
    }
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++)
            if (src.ptr<unsigned char>(y)[x] == 0)
                for (int n = 0; n < a; n++)
                    acc[(n + 1) * stride + int(c[size_t(n)] * float(x) + s[size_t(n)] * float(y)) +
                        1]++;
    for (int& v : storage) v = std::min(v, 255);
    struct Peak {
        int n, d, v;
    };
    std::vector<Peak> peaks;
    for (int d = 0; d <= r; d++)
        for (int n = 0; n < a; n++) {
            const int* q = acc + n * stride + d;
            if (*q > threshold && *q > q[-1] && *q > q[1] && *q > q[-stride] && *q > q[stride])
                peaks.push_back({n, d, *q});
        }
    for (size_t i = 0; i < peaks.size(); i++)
        for (size_t j = i + 1; j < peaks.size(); j++)
            if (peaks[j].v > peaks[i].v) std::swap(peaks[i], peaks[j]);
    const int count = std::min<int>(linesMax, int(peaks.size()));
    for (int i = 0; i < count; i++) {
        const float p = float(peaks[size_t(i)].d - 1) * rho,
                    q = float(peaks[size_t(i)].n - 1) * theta;
        Point2_<int> start(0, 0), end(0, 0);
        bool started = false;
        for (int t = 1000; t >= -1000; t--) {
            const int x = int(p * std::cos(q) - float(t) * std::sin(q));
            const int y = int(float(t) * std::cos(q) + p * std::sin(q));
            if (x < 0 || y < 0 || x >= cols || y >= rows) continue;
            const bool feature = src.ptr<unsigned char>(y)[x] == 0;
            if (!started && feature) {
                start = Point2_<int>(x, y);
                started = true;
            } else if (started && !feature) {
                end = Point2_<int>(x, y);
                break;
            }
        }
        lines.push_back(start);
        lines.push_back(end);
    }
}

void houghCircleDirect(const Mat& image, Point2_<int>& center, int& radius) {
    const Point2_<int> given = center;
    const int givenR = radius;
    center = Point2_<int>(-1, -1);
    radius = -1;
    const int rows = image.rows(), cols = image.cols();
    const int r0 = givenR == -1 ? cols / 8 : givenR, extra = givenR / 3;
    int xs, ys, xw, yh;
    if (given.x != -1 && given.y != -1) {
        xs = std::max(given.x - r0, 0);
        xw = std::min(cols, xs + 2 * r0) - xs;
        ys = std::max(given.y - r0 / 2, 0);
        yh = std::min(rows, ys + r0) - ys;
    } else {
        xs = ys = r0;
        xw = cols - r0;
        yh = rows - r0;
    }
    double best = 1e17;
    for (int R = r0; R <= r0 + extra; R++)
        for (int y = ys; y < ys + yh; y++)
            for (int x = xs; x < xs + xw; x++) {
                if (image.ptr<unsigned char>(y)[x] >= 101) continue;
                long long sum = 0, n = 0;
                for (int yy = std::max(y - R, 0); yy <= std::min(y + R, rows - 2); yy++)
                    for (int xx = std::max(x - R, 0); xx <= std::min(x + R, cols - 2); xx++) {
                        const int dx = xx - x, dy = yy - y;
                        if (dx * dx + dy * dy + 3 >= R * R) continue;
                        sum += image.ptr<unsigned char>(yy)[xx];
                        n++;
                    }
                if (n == 0) continue;
                const double mean = double(sum) / double(n);
                if (mean < best) {
                    best = mean;
                    center = Point2_<int>(x, y);
                    radius = R;
                }
            }
}

}  // namespace test
}  // namespace tarvo
