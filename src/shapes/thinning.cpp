// ip::thinning: two-step iterative thinning of a two-valued image. Each step
// marks the removable pixels of the whole image first and removes them after,
// so a step sees the image as it stood when the step began.
#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {

namespace {

// Neighbour code of a pixel: bit i holds neighbour p(i + 2) of the cycle
// p2 above, p3 upper right, p4 right, p5 lower right, p6 below, p7 lower left,
// p8 left, p9 upper left.
constexpr bool removable(int code, int step) {
    int p[8] = {};
    for (int i = 0; i < 8; i++) p[i] = (code >> i) & 1;
    int a = 0, b = 0;
    for (int i = 0; i < 8; i++) {
        a += (p[i] == 0 && p[(i + 1) & 7] == 1) ? 1 : 0;
        b += p[i];
    }
    const int p2 = p[0], p4 = p[2], p6 = p[4], p8 = p[6];
    const int m1 = step == 0 ? p2 * p4 * p6 : p2 * p4 * p8;
    const int m2 = step == 0 ? p4 * p6 * p8 : p2 * p6 * p8;
    return a == 1 && b >= 2 && b <= 6 && m1 == 0 && m2 == 0;
}

struct MarkerTable {
    // bit 0: removable in step 0; bit 1: removable in step 1.
    unsigned char t[256];
    constexpr MarkerTable() : t() {
        for (int c = 0; c < 256; c++)
            t[c] = (unsigned char)((removable(c, 0) ? 1 : 0) | (removable(c, 1) ? 2 : 0));
    }
};
constexpr MarkerTable kMarker{};

// Marks the removable pixels of interior rows of the range into mark (one
// byte per pixel) and records per row whether any was marked.
class MarkRows : public ParallelLoopBody {
public:
    MarkRows(const Mat& img, Mat& mark, std::vector<unsigned char>& hit, int step)
        : m_img(img), m_mark(mark), m_hit(hit), m_bit(step == 0 ? 1 : 2) {}
    void operator()(const Range& range) const override {
        const int cols = m_img.cols();
        for (int y = range.start; y < range.end; y++) {
            const unsigned char* up = m_img.ptr<unsigned char>(y - 1);
            const unsigned char* c = m_img.ptr<unsigned char>(y);
            const unsigned char* dn = m_img.ptr<unsigned char>(y + 1);
            unsigned char* mk = m_mark.ptr<unsigned char>(y);
            unsigned char any = 0;
            for (int x = 1; x < cols - 1; x++) {
                const int code = up[x] | up[x + 1] << 1 | c[x + 1] << 2 | dn[x + 1] << 3 |
                                 dn[x] << 4 | dn[x - 1] << 5 | c[x - 1] << 6 | up[x - 1] << 7;
                // Only foreground pixels change when the marker is applied.
                const unsigned char m = (unsigned char)(c[x] & ((kMarker.t[code] & m_bit) != 0));
                mk[x] = m;
                any |= m;
            }
            m_hit[y] = any;
        }
    }

private:
    const Mat& m_img;
    Mat& m_mark;
    std::vector<unsigned char>& m_hit;
    int m_bit;
};

class ClearRows : public ParallelLoopBody {
public:
    ClearRows(Mat& img, const Mat& mark, const std::vector<unsigned char>& hit)
        : m_img(img), m_mark(mark), m_hit(hit) {}
    void operator()(const Range& range) const override {
        const int cols = m_img.cols();
        for (int y = range.start; y < range.end; y++) {
            if (!m_hit[y]) continue;
            unsigned char* c = m_img.ptr<unsigned char>(y);
            const unsigned char* mk = m_mark.ptr<unsigned char>(y);
            for (int x = 1; x < cols - 1; x++) c[x] &= (unsigned char)~mk[x];
        }
    }

private:
    Mat& m_img;
    const Mat& m_mark;
    const std::vector<unsigned char>& m_hit;
};

// One step; true when it removed a pixel.
bool thinStep(Mat& img, Mat& mark, std::vector<unsigned char>& hit, int step) {
    const int rows = img.rows();
    if (rows < 3 || img.cols() < 3) return false;
    const double stripes = double(img.rows()) * img.cols() / 65536.0;
    parallel_for_(Range(1, rows - 1), MarkRows(img, mark, hit, step), stripes);
    bool any = false;
    for (int y = 1; y < rows - 1; y++) any = any || hit[y];
    if (any) parallel_for_(Range(1, rows - 1), ClearRows(img, mark, hit), stripes);
    return any;
}

}  // namespace

void thinning(const Mat& src, Mat& dst) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0 || src.type() != MAT_Tuchar ||
        src.channels() != 1)
        return;
    const int rows = src.rows(), cols = src.cols();
    Mat img(rows, cols, MAT_Tuchar), mark(rows, cols, MAT_Tuchar);
    if (img.empty() || mark.empty()) return;
    for (int y = 0; y < rows; y++) {
        const unsigned char* s = src.ptr<unsigned char>(y);
        unsigned char* d = img.ptr<unsigned char>(y);
        for (int x = 0; x < cols; x++) d[x] = (unsigned char)(s[x] / 255);
    }
    std::vector<unsigned char> hit(size_t(rows), 0);
    // A round that removes nothing leaves the image as the round before left
    // it, which is where the iteration stops.
    for (;;) {
        const bool a = thinStep(img, mark, hit, 0);
        const bool b = thinStep(img, mark, hit, 1);
        if (!a && !b) break;
    }
    for (int y = 0; y < rows; y++) {
        unsigned char* d = img.ptr<unsigned char>(y);
        for (int x = 0; x < cols; x++) d[x] = (unsigned char)(-d[x]);
    }
    if (dst.create(rows, cols, src.type1()) < 0) return;
    for (int y = 0; y < rows; y++)
        std::copy_n(img.ptr<unsigned char>(y), cols, dst.ptr<unsigned char>(y));
}

}  // namespace ip
}  // namespace tarvo
