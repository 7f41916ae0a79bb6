// ip::distanceTransform (chamfer and labelled forms) and the byte city-block
// pass. Chamfer distances run in 16.16 fixed point over an int image with a
// frame of "far" cells, so the passes need no bounds tests.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <vector>

#include "shapes/distance_internal.h"
#include "detail/aliasing.h"
#include "shapes/distance_simd.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {
namespace detail {

namespace {

// Frame value: large enough never to win against a real distance, small
// enough that adding a weight cannot overflow.
constexpr int kFar = 0x1fffffff;

// One 16.16 step: a + w, saturating at INT_MAX (w >= 0). Only images more than
// about 24,000 pixels across can reach the limit.
inline int addSat(int a, int w) {
    return std::min(a, INT_MAX - w) + w;
}

// 2^-16 exactly as a float, so a stored distance is float(t) / 65536.
constexpr float kFixScale = 1.5258789e-5f;

// Frame-padded int image of the chamfer passes.
struct Padded {
    std::vector<int> cells;
    long long stride = 0;
    int border = 0;
    int* row(int y) { return cells.data() + (long long)(y + border) * stride + border; }
    bool init(int rows, int cols, int b, int fill) {
        border = b;
        stride = (long long)cols + 2 * b;
        const long long n = stride * ((long long)rows + 2 * b);
        if (n <= 0 || n > (1LL << 40)) return false;
        cells.assign(size_t(n), fill);
        return true;
    }
};

// 3 x 3 chamfer: forward and backward passes, distances written to dst.
void chamfer3(const Mat& src, Mat& dst, const int w[3]) {
    const int rows = src.rows(), cols = src.cols();
    Padded t;
    if (!t.init(rows, cols, 1, kFar)) return;
    const int hv = w[0], dg = w[1];
    std::vector<int> m(size_t(cols) + 1);
    for (int y = 0; y < rows; y++) {
        const unsigned char* s = src.ptr<unsigned char>(y);
        const int* up = t.row(y - 1);
        int* cur = t.row(y);
        // Terms from the finished row above first (vectorisable), then the
        // left-to-right chain.
        for (int x = 0; x < cols; x++)
            m[x] =
                std::min(std::min(addSat(up[x - 1], dg), addSat(up[x], hv)), addSat(up[x + 1], dg));
        int left = cur[-1];
        for (int x = 0; x < cols; x++) {
            const int v = s[x] ? std::min(addSat(left, hv), m[x]) : 0;
            cur[x] = v;
            left = v;
        }
    }
    for (int y = rows - 1; y >= 0; y--) {
        const int* dn = t.row(y + 1);
        int* cur = t.row(y);
        float* d = dst.ptr<float>(y);
        for (int x = 0; x < cols; x++)
            m[x] =
                std::min(std::min(addSat(dn[x + 1], dg), addSat(dn[x], hv)), addSat(dn[x - 1], dg));
        int right = cur[cols];
        for (int x = cols - 1; x >= 0; x--) {
            int v = cur[x];
            if (v > hv) v = std::min(v, std::min(m[x], addSat(right, hv)));
            cur[x] = v;
            right = v;
            d[x] = float(v) * kFixScale;
        }
    }
}

// 5 x 5 chamfer; each pass also takes the four knight moves already visited.
void chamfer5(const Mat& src, Mat& dst, const int w[3]) {
    const int rows = src.rows(), cols = src.cols();
    Padded t;
    if (!t.init(rows, cols, 2, kFar)) return;
    const int hv = w[0], dg = w[1], kn = w[2];
    std::vector<int> m(size_t(cols) + 1);
    for (int y = 0; y < rows; y++) {
        const unsigned char* s = src.ptr<unsigned char>(y);
        const int* u2 = t.row(y - 2);
        const int* u1 = t.row(y - 1);
        int* cur = t.row(y);
        for (int x = 0; x < cols; x++) {
            int a = std::min(addSat(u2[x - 1], kn), addSat(u2[x + 1], kn));
            a = std::min(a, std::min(addSat(u1[x - 2], kn), addSat(u1[x + 2], kn)));
            a = std::min(a, std::min(addSat(u1[x - 1], dg), addSat(u1[x + 1], dg)));
            m[x] = std::min(a, addSat(u1[x], hv));
        }
        int left = cur[-1];
        for (int x = 0; x < cols; x++) {
            const int v = s[x] ? std::min(addSat(left, hv), m[x]) : 0;
            cur[x] = v;
            left = v;
        }
    }
    for (int y = rows - 1; y >= 0; y--) {
        const int* d1 = t.row(y + 1);
        const int* d2 = t.row(y + 2);
        int* cur = t.row(y);
        float* d = dst.ptr<float>(y);
        for (int x = 0; x < cols; x++) {
            int a = std::min(addSat(d2[x - 1], kn), addSat(d2[x + 1], kn));
            a = std::min(a, std::min(addSat(d1[x - 2], kn), addSat(d1[x + 2], kn)));
            a = std::min(a, std::min(addSat(d1[x - 1], dg), addSat(d1[x + 1], dg)));
            m[x] = std::min(a, addSat(d1[x], hv));
        }
        int right = cur[cols];
        for (int x = cols - 1; x >= 0; x--) {
            int v = cur[x];
            if (v > hv) v = std::min(v, std::min(m[x], addSat(right, hv)));
            cur[x] = v;
            right = v;
            d[x] = float(v) * kFixScale;
        }
    }
}

// Chamfer passes on the vector path, for border 1 (3 x 3) or 2 (5 x 5). The
// forward pass keeps only the rows it still reads, in a ring of framed rows,
// and parks each finished row in dst's memory as int; the backward pass reads
// it from there and overwrites it with the distance. Same values as chamfer3
// and chamfer5: the backward test "v > hv" can be left out because every
// weight set has diagonal and knight weights of at least hv, so a value at or
// below hv already is the minimum.
void chamferFast(const Mat& src, Mat& dst, const int w[3], int border) {
    const int rows = src.rows(), cols = src.cols();
    const int hv = w[0], dg = w[1], kn = w[2];
    const size_t width = size_t(cols) + 2 * size_t(border);
    std::vector<int> ring(size_t(border + 2) * width, kFar);
    std::vector<int> m((size_t)cols);
    // Buffer 0 stays all "far": the rows outside the image.
    auto framed = [&](int i) { return ring.data() + size_t(i) * width + border; };
    const int nbuf = border + 1;
    auto rowBuf = [&](int y) -> int* {
        if (y < 0 || y >= rows) return framed(0);
        return framed(1 + y % nbuf);
    };
    for (int y = 0; y < rows; y++) {
        if (border == 1)
            vecChamferTerms3(rowBuf(y - 1), cols, hv, dg, m.data());
        else
            vecChamferTerms5(rowBuf(y - 1), rowBuf(y - 2), cols, hv, dg, kn, m.data());
        int* cur = rowBuf(y);
        vecChamferScanForward(m.data(), src.ptr<unsigned char>(y), cols, hv, kFar, cur);
        std::copy_n(cur, cols, dst.ptr<int>(y));
    }
    for (int y = rows - 1; y >= 0; y--) {
        if (border == 1)
            vecChamferTerms3(rowBuf(y + 1), cols, hv, dg, m.data());
        else
            vecChamferTerms5(rowBuf(y + 1), rowBuf(y + 2), cols, hv, dg, kn, m.data());
        // Row y's ring slot still holds its forward values only if no later
        // row reused it; dst holds them in any case.
        vecChamferScanBackward(m.data(), dst.ptr<int>(y), cols, hv, kFar, kFixScale, rowBuf(y),
                               dst.ptr<float>(y));
    }
}

// Candidate of the labelled pass: replaces the best only when strictly smaller,
// so among equal distances the first candidate in the pass's order wins.
inline void take(int v, int lab, int& best, int& bestLab) {
    if (v < best) {
        best = v;
        bestLab = lab;
    }
}

// 5 x 5 chamfer that carries the label of the winning neighbour. Candidates
// are taken in raster order of their positions; going backward the pixel
// itself comes first.
void chamfer5Labels(const Mat& src, Mat& dst, Mat& labels, const int w[3]) {
    const int rows = src.rows(), cols = src.cols();
    Padded t, l;
    if (!t.init(rows, cols, 2, kFar) || !l.init(rows, cols, 2, 0)) return;
    for (int y = 0; y < rows; y++) std::copy_n(labels.ptr<int>(y), cols, l.row(y));
    const int hv = w[0], dg = w[1], kn = w[2];
    std::vector<int> m(size_t(cols) + 1), ml(size_t(cols) + 1);
    for (int y = 0; y < rows; y++) {
        const unsigned char* s = src.ptr<unsigned char>(y);
        const int *u2 = t.row(y - 2), *u1 = t.row(y - 1);
        const int *v2 = l.row(y - 2), *v1 = l.row(y - 1);
        int* cur = t.row(y);
        int* lab = l.row(y);
        for (int x = 0; x < cols; x++) {
            int b = addSat(u2[x - 1], kn), bl = v2[x - 1];
            take(addSat(u2[x + 1], kn), v2[x + 1], b, bl);
            take(addSat(u1[x - 2], kn), v1[x - 2], b, bl);
            take(addSat(u1[x - 1], dg), v1[x - 1], b, bl);
            take(addSat(u1[x], hv), v1[x], b, bl);
            take(addSat(u1[x + 1], dg), v1[x + 1], b, bl);
            take(addSat(u1[x + 2], kn), v1[x + 2], b, bl);
            m[x] = b;
            ml[x] = bl;
        }
        for (int x = 0; x < cols; x++) {
            if (!s[x]) {
                cur[x] = 0;
                continue;
            }
            int b = m[x], bl = ml[x];
            take(addSat(cur[x - 1], hv), lab[x - 1], b, bl);
            cur[x] = b;
            lab[x] = bl;
        }
    }
    for (int y = rows - 1; y >= 0; y--) {
        const int *d1 = t.row(y + 1), *d2 = t.row(y + 2);
        const int *e1 = l.row(y + 1), *e2 = l.row(y + 2);
        int* cur = t.row(y);
        int* lab = l.row(y);
        float* d = dst.ptr<float>(y);
        for (int x = 0; x < cols; x++) {
            int b = addSat(d1[x - 2], kn), bl = e1[x - 2];
            take(addSat(d1[x - 1], dg), e1[x - 1], b, bl);
            take(addSat(d1[x], hv), e1[x], b, bl);
            take(addSat(d1[x + 1], dg), e1[x + 1], b, bl);
            take(addSat(d1[x + 2], kn), e1[x + 2], b, bl);
            take(addSat(d2[x - 1], kn), e2[x - 1], b, bl);
            take(addSat(d2[x + 1], kn), e2[x + 1], b, bl);
            m[x] = b;
            ml[x] = bl;
        }
        int* lo = labels.ptr<int>(y);
        for (int x = cols - 1; x >= 0; x--) {
            int b = cur[x], bl = lab[x];
            if (b > hv) {
                take(addSat(cur[x + 1], hv), lab[x + 1], b, bl);
                take(m[x], ml[x], b, bl);
            }
            cur[x] = b;
            lab[x] = bl;
            lo[x] = bl;
            d[x] = float(b) * kFixScale;
        }
    }
}

// One-channel byte source that the distance forms accept.
bool acceptedSource(const Mat& src) {
    return src.isValid() && src.rows() > 0 && src.cols() > 0 && src.type() == MAT_Tuchar &&
           src.channels() == 1;
}

}  // namespace

void chamferWeights(int type, int maskSize, int w[3]) {
    w[0] = w[1] = w[2] = 0;
    long long code;
    if (type == DistC)
        code = (long long)maskSize * 10;
    else if (type == DistL1 || type == DistL2)
        code = (long long)maskSize * 10 + type;
    else
        return;  // caller weights (type -1) never arrive; unknown codes stay 0
    double a = 0, b = 0, c = 0;
    switch (code) {
        case 30:
            a = 1, b = 1;
            break;
        case 31:
            a = 1, b = 2;
            break;
        case 32:
            a = 0.955, b = 1.3693;
            break;
        case 50:
            a = 1, b = 1, c = 2;
            break;
        case 51:
            a = 1, b = 2, c = 3;
            break;
        case 52:
            a = 1, b = 1.4, c = 2.1969;
            break;
        default:
            return;
    }
    w[0] = roundInt(a * 65536.0);
    w[1] = roundInt(b * 65536.0);
    w[2] = roundInt(c * 65536.0);
}

bool distanceL1Byte(const Mat& src, Mat& dst) {
    if (!acceptedSource(src)) return false;
    const int rows = src.rows(), cols = src.cols();
    Mat out(rows, cols, MAT_Tuchar);
    if (out.empty()) return false;
    unsigned char lut[256];
    for (int i = 0; i < 256; i++) lut[i] = (unsigned char)(i + 1);
    for (int y = 0; y < rows; y++) {
        const unsigned char* s = src.ptr<unsigned char>(y);
        unsigned char* d = out.ptr<unsigned char>(y);
        if (y == 0) {
            d[0] = s[0] > 0 ? 255 : 0;
            for (int x = 1; x < cols; x++) d[x] = s[x] ? lut[d[x - 1]] : 0;
        } else {
            const unsigned char* a = out.ptr<unsigned char>(y - 1);
            d[0] = s[0] ? lut[a[0]] : 0;
            for (int x = 1; x < cols; x++) d[x] = s[x] ? lut[std::min(a[x], d[x - 1])] : 0;
        }
    }
    for (int y = rows - 1; y >= 0; y--) {
        unsigned char* d = out.ptr<unsigned char>(y);
        unsigned char a;
        if (y == rows - 1) {
            a = d[cols - 1];
            for (int x = cols - 2; x >= 0; x--) {
                a = std::min(lut[a], d[x]);
                d[x] = a;
            }
        } else {
            const unsigned char* b = out.ptr<unsigned char>(y + 1);
            a = std::min(lut[b[cols - 1]], d[cols - 1]);
            d[cols - 1] = a;
            for (int x = cols - 2; x >= 0; x--) {
                a = std::min(lut[std::min(a, b[x])], d[x]);
                d[x] = a;
            }
        }
    }
    dst = out;
    return true;
}

}  // namespace detail

void distanceTransform(const Mat& src, Mat& dst, int type, int maskSize) {
    if (!detail::acceptedSource(src)) return;
    Mat copy;
    const Mat& in = tarvo::detail::sharesMemory(src, dst) ? (copy = src) : src;
    if (type == DistL1 || type == DistC) maskSize = 3;
    if (dst.create(in.rows(), in.cols(), MAT_Tfloat) < 0) return;
    if (type == DistL2 && maskSize == 0) {
        detail::distanceExact(in, dst);
        return;
    }
    int w[3];
    detail::chamferWeights(type, maskSize, w);
    if (checkHardwareSupport(CPU_INT_VECTORS) && w[1] >= w[0] && (maskSize != 5 || w[2] >= w[0]) &&
        in.cols() < (1 << 29))
        detail::chamferFast(in, dst, w, maskSize == 5 ? 2 : 1);
    else if (maskSize == 5)
        detail::chamfer5(in, dst, w);
    else
        detail::chamfer3(in, dst, w);
}

void distanceTransform(const Mat& src, Mat& dst, Mat& labels, int type, int maskSize,
                       int labelType) {
    if (!detail::acceptedSource(src)) return;
    Mat copy;
    const Mat& in =
        tarvo::detail::sharesMemory(src, dst) || tarvo::detail::sharesMemory(src, labels)
            ? (copy = src)
            : src;
    if (type == DistL1 || type == DistC || type == DistL2) maskSize = 5;
    const int rows = in.rows(), cols = in.cols();
    if (dst.create(rows, cols, MAT_Tfloat) < 0) return;
    if (labels.create(rows, cols, MAT_Tint) < 0) return;
    labels.zero();
    if (labelType != 0) {
        unsigned next = 1;  // at most 2^31 pixels: the last label may wrap
        for (int y = 0; y < rows; y++) {
            const unsigned char* s = in.ptr<unsigned char>(y);
            int* l = labels.ptr<int>(y);
            for (int x = 0; x < cols; x++)
                if (!s[x]) l[x] = int(next++);
        }
    } else {
        detail::labelZeroRegions(in, labels, maskSize == 5 ? 2 : 1);
    }
    int w[3];
    detail::chamferWeights(type, maskSize, w);
    if (maskSize == 5)
        detail::chamfer5Labels(in, dst, labels, w);
    else
        detail::chamfer3(in, dst, w);
}

}  // namespace ip
}  // namespace tarvo
