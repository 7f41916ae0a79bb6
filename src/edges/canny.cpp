// Canny edge detector: hand-written 3x3 gradients in 16-bit wrap-around
// arithmetic, integer non-maximum suppression over a ring of three magnitude
// rows, and hysteresis over an edge map with a one-cell frame.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "detail/aliasing.h"
#include "canny_simd.h"
#include "tarvo/ip/edges.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {

namespace {

inline short wrap16(int v) {
    return static_cast<short>(static_cast<unsigned short>(v));
}

// Produces the gradient rows of the detector one image row at a time, with
// the values a whole-image pass would leave after its border step: interior
// rows get gx/gy on columns 1..cols-2 (three-channel sources step three
// bytes between pixels, every other source is read as one channel), then dx
// elements 0 and cols-1 copy elements 1 and cols-2 (element indices, not
// pixels); rows 0 and rows-1 copy the first cols dx elements of rows 1 and
// rows-2 and have no dy. Streaming the rows keeps the working set small.
class GradientRows {
public:
    GradientRows(const Mat& src, int mode)
        : m_src(src),
          m_rows(src.rows()),
          m_cols(src.cols()),
          m_n(src.cols() * src.channels()),
          m_step(src.channels() == 3 ? 3 : 1),
          m_wantX(mode == 0 || mode == 2),
          m_wantY(mode == 0 || mode == 1),
          m_tmpX((size_t)m_n),
          m_tmpY((size_t)m_n) {}

    // Fills dx and dy (cols * channels elements each) for image row r.
    void row(int r, short* dx, short* dy) {
        if (r == 0 || r == m_rows - 1) {
            interior(r == 0 ? 1 : m_rows - 2, m_tmpX.data(), m_tmpY.data());
            std::memset(dx, 0, sizeof(short) * (size_t)m_n);
            std::memset(dy, 0, sizeof(short) * (size_t)m_n);
            std::memcpy(dx, m_tmpX.data(), sizeof(short) * (size_t)m_cols);
            return;
        }
        interior(r, dx, dy);
    }

private:
    void interior(int r, short* ox, short* oy) {
        const int cn = m_step, n = (m_cols - 1) * cn;
        const unsigned char* u = m_src.data.ptr[r - 1];
        const unsigned char* m = m_src.data.ptr[r];
        const unsigned char* d = m_src.data.ptr[r + 1];
        std::memset(ox, 0, sizeof(short) * (size_t)m_n);
        std::memset(oy, 0, sizeof(short) * (size_t)m_n);
        int i = cn;
        if (m_wantX && m_wantY) i = detail::cannyGradientsRow(u, m, d, ox, oy, cn, cn, n);
        for (; i < n; i++) {
            if (m_wantX)
                ox[i] = wrap16(2 * (m[i + cn] - m[i - cn]) + u[i + cn] + d[i + cn] - u[i - cn] -
                               d[i - cn]);
            if (m_wantY)
                oy[i] = wrap16(2 * (u[i] - d[i]) + u[i - cn] + u[i + cn] - d[i - cn] - d[i + cn]);
        }
        ox[0] = ox[1];
        ox[m_cols - 1] = ox[m_cols - 2];
    }

    const Mat& m_src;
    const int m_rows, m_cols, m_n, m_step;
    const bool m_wantX, m_wantY;
    std::vector<short> m_tmpX, m_tmpY;
};

// 1 when magnitude m[j] is above low and a local maximum across the gradient
// direction: near horizontal (angle below 22.5 degrees, tested in 15-bit fixed
// point without division) against left and right, near vertical (above 67.5)
// against the rows above and below, otherwise against the diagonal pair
// chosen by the signs. The diagonal compares the upper cell at j - s and the
// lower cell at j + s exactly, with dy counting upwards.
inline unsigned char isLocalMax(const int* m, const int* above, const int* below, int sx, int sy,
                                int j, int low) {
    int v = m[j];
    if (v <= low) return 0;
    long long ax = std::abs(sx);
    long long ay = (long long)std::abs(sy) << 15;
    long long t22 = ax * 13573;
    if (ay < t22) return v > m[j - 1] && v >= m[j + 1];
    long long t67 = t22 + (ax << 16);
    if (ay > t67) return v > above[j] && v >= below[j];
    int s = (sx ^ sy) < 0 ? -1 : 1;
    return v > above[j - s] && v > below[j + s];
}

}  // namespace

void canny(const Mat& srcIn, Mat& dst, float lowThreshold, float highThreshold, int mode) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    if (!src.isValid()) {
        dst.release();
        return;
    }
    const int rows = src.rows(), cols = src.cols();
    const int low = truncInt(lowThreshold);
    const int high = truncInt(highThreshold);
    if (dst.create(rows, cols, MAT_Tuchar) < 0) return;
    // Sources under 3 x 3 have no interior: the result is all zero. Larger
    // ones get every pixel written by the output pass below.
    if (rows < 3 || cols < 3) {
        for (int y = 0; y < rows; y++) std::memset(dst.data.ptr[y], 0, (size_t)cols);
        return;
    }

    const int cn = src.channels();
    const size_t n = (size_t)cols * cn;
    GradientRows gradients(src, mode);
    // Gradient rows of the current and the previous image row.
    std::vector<short> gradBuf(n * 4);
    short* gx[2] = {gradBuf.data(), gradBuf.data() + n};
    short* gy[2] = {gradBuf.data() + 2 * n, gradBuf.data() + 3 * n};

    // Three magnitude rows of (cols + 2) * cn ints and the edge map with a
    // one-cell frame: 0 may be an edge, 1 no edge, 2 edge.
    const size_t magLen = (size_t)(cols + 2) * cn;
    const int mapstep = cols + 2;
    std::vector<int> magBuf(magLen * 3);
    std::unique_ptr<unsigned char[]> map(new unsigned char[(size_t)(rows + 2) * mapstep]);
    int* mag[3] = {magBuf.data(), magBuf.data() + magLen, magBuf.data() + 2 * magLen};
    std::memset(map.get(), 1, (size_t)mapstep);
    std::memset(map.get() + (size_t)mapstep * (rows + 1), 1, (size_t)mapstep);

    std::vector<unsigned char> maxFlags((size_t)cols);
    std::vector<unsigned char*> stack;
    stack.reserve(std::max<size_t>(1024, (size_t)rows * cols / 10));

    for (int i = 0; i <= rows; i++) {
        int* norm = mag[i > 0 ? 2 : 1] + 1;
        if (i < rows) {
            short* x = gx[i & 1];
            short* y = gy[i & 1];
            gradients.row(i, x, y);
            int len = cols * cn;
            int j = detail::cannyNormRow(x, y, norm, len);
            for (; j < len; j++) norm[j] = std::abs(int(x[j])) + std::abs(int(y[j]));
            if (cn > 1) {
                // Each pixel keeps its strongest channel; earlier channels win ties.
                for (int p = 0, jn = 0; p < cols; p++, jn += cn) {
                    int best = norm[jn];
                    short bx = x[jn], by = y[jn];
                    for (int k = 1; k < cn; k++) {
                        if (norm[jn + k] > best) {
                            best = norm[jn + k];
                            bx = x[jn + k];
                            by = y[jn + k];
                        }
                    }
                    norm[p] = best;
                    x[p] = bx;
                    y[p] = by;
                }
            }
            norm[-1] = norm[cols] = 0;
        } else {
            std::memset(norm - 1, 0, sizeof(int) * (size_t)(cols + 2));
        }
        if (i == 0) continue;

        // Suppression of image row i - 1.
        unsigned char* rowMap = map.get() + (size_t)mapstep * i + 1;
        rowMap[-1] = 1;
        rowMap[cols] = 1;
        const int* m = mag[1] + 1;
        const int* above = mag[0] + 1;
        const int* below = mag[2] + 1;
        const short* xs = gx[(i - 1) & 1];
        const short* ys = gy[(i - 1) & 1];
        if (stack.capacity() - stack.size() < (size_t)cols)
            stack.reserve(std::max(stack.capacity() * 3 / 2, stack.size() + cols));

        // Local maxima above low, then the sequential seeding along the row.
        unsigned char* flags = maxFlags.data();
        int j = detail::cannyMaximaRow(m, above, below, xs, ys, low, flags, cols);
        for (; j < cols; j++) flags[j] = isLocalMax(m, above, below, xs[j], ys[j], j, low);
        int prev = 0;
        for (j = 0; j < cols; j++) {
            if (j + 8 <= cols) {
                uint64_t word;
                std::memcpy(&word, flags + j, 8);
                if (word == 0) {
                    std::memset(rowMap + j, 1, 8);
                    prev = 0;
                    j += 7;
                    continue;
                }
            }
            if (!flags[j]) {
                prev = 0;
                rowMap[j] = 1;
            } else if (!prev && m[j] > high && rowMap[j - mapstep] != 2) {
                rowMap[j] = 2;
                stack.push_back(rowMap + j);
                prev = 1;
            } else {
                rowMap[j] = 0;
            }
        }

        int* t = mag[0];
        mag[0] = mag[1];
        mag[1] = mag[2];
        mag[2] = t;
    }

    // Hysteresis: grow edges into connected candidate cells.
    const ptrdiff_t offs[8] = {-1,           1,           -mapstep - 1, -mapstep,
                               -mapstep + 1, mapstep - 1, mapstep,      mapstep + 1};
    while (!stack.empty()) {
        if (stack.size() + 8 > stack.capacity()) stack.reserve(stack.capacity() * 3 / 2 + 8);
        unsigned char* c = stack.back();
        stack.pop_back();
        for (ptrdiff_t o : offs) {
            if (c[o] == 0) {
                c[o] = 2;
                stack.push_back(c + o);
            }
        }
    }

    // 255 where the map says edge; the frame is always cleared.
    for (int y = 0; y < rows; y++) {
        const unsigned char* mr = map.get() + (size_t)mapstep * (y + 1) + 1;
        unsigned char* out = dst.data.ptr[y];
        int j = detail::cannyOutputRow(mr, out, cols);
        for (; j < cols; j++) out[j] = (unsigned char)-(mr[j] >> 1);
        out[0] = 0;
        out[cols - 1] = 0;
    }
    std::memset(dst.data.ptr[0], 0, (size_t)cols);
    std::memset(dst.data.ptr[rows - 1], 0, (size_t)cols);
}

void canny(Mat& image, float lowThreshold, float highThreshold, int mode) {
    Mat copy(image);
    canny(copy, image, lowThreshold, highThreshold, mode);
}

}  // namespace ip
}  // namespace tarvo
