// ip::ConnectedComponent: one pass over the image with an explicit stack, each
// region kept as a chain of pixel indices in the work image.
//
// The labelling reads a private copy stored transposed with a frame of
// background: the column-by-column scan then walks memory forward, and
// neighbours need no bounds tests.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "tarvo/ip/shapes.h"

namespace tarvo {
namespace ip {

ConnectInfo::ConnectInfo() : x(0), y(0), width(0), height(0), value(0), count(0), head(0) {}

ConnectedComponent::FilterParams::FilterParams(int w, int h, int c)
    : minWidth(w), minHeight(h), minCount(c) {}

ConnectedComponent::ConnectedComponent(const FilterParams& params)
    : m_params(params), m_image(nullptr) {}

Mat& ConnectedComponent::getWorkImage() {
    return m_work;
}

namespace {

bool isByteGrey(const Mat& m) {
    return m.isValid() && m.rows() > 0 && m.cols() > 0 && m.type() == MAT_Tuchar &&
           m.channels() == 1;
}

// First index at or after i in t[0..n) whose byte differs from bg (n if none).
inline long long findOther(const unsigned char* t, long long i, long long n, unsigned char bg) {
    const uint64_t pattern = 0x0101010101010101ULL * bg;
    while (i < n && (i & 7)) {
        if (t[i] != bg) return i;
        i++;
    }
    while (i + 8 <= n) {
        uint64_t w;
        std::memcpy(&w, t + i, 8);
        if (w != pattern) break;
        i += 8;
    }
    while (i < n && t[i] == bg) i++;
    return i;
}

}  // namespace

Array<ConnectInfo, const ConnectInfo&> ConnectedComponent::apply(Mat& image,
                                                                 unsigned char background,
                                                                 bool eraseRejected,
                                                                 bool sortByCount) {
    Array<ConnectInfo, const ConnectInfo&> result;
    m_image = nullptr;
    if (!image.isValid() || image.rows() <= 0 || image.cols() <= 0) {
        m_work.release();
        return result;
    }
    if (m_work.create(image.rows(), image.cols(), MAT_Tint) < 0) return result;
    if (!isByteGrey(image)) return result;
    m_image = &image;

    const int rows = image.rows(), cols = image.cols();
    // Transposed copy: column x of the image is row x + 1 of t, with one
    // background entry above, below, left and right of the image.
    const long long H = (long long)rows + 2;
    const long long tsize = H * ((long long)cols + 2);
    // Only the frame needs filling: the copy below writes every other entry.
    std::unique_ptr<unsigned char[]> tbuf(new unsigned char[size_t(tsize)]);
    unsigned char* const t = tbuf.get();
    std::memset(t, background, size_t(H));
    std::memset(t + (long long)(cols + 1) * H, background, size_t(H));
    for (long long c = 1; c <= cols; c++) t[c * H] = t[c * H + H - 1] = background;
    // Copied in 64 x 64 blocks, so that both the rows read and the columns
    // written stay in cache.
    constexpr int kBlock = 64;
    for (int y0 = 0; y0 < rows; y0 += kBlock) {
        const int y1 = std::min(rows, y0 + kBlock);
        const unsigned char* rp[kBlock];
        for (int y = y0; y < y1; y++) rp[y - y0] = image.ptr<unsigned char>(y);
        for (int x0 = 0; x0 < cols; x0 += kBlock) {
            const int x1 = std::min(cols, x0 + kBlock);
            for (int x = x0; x < x1; x++) {
                unsigned char* d = t + (long long)(x + 1) * H + 1 + y0;
                for (int y = 0; y < y1 - y0; y++) d[y] = rp[y][x];
            }
        }
    }
    // Never read before written: left uninitialised, so only the pages a
    // large region needs are ever touched.
    std::unique_ptr<int[]> stack(new int[size_t(rows) * cols * 2]);
    std::vector<_tagConnectInfo> records;
    int* const* work = m_work.data.i;

    // Neighbour order: (x-1,y-1), (x,y-1), (x+1,y-1), (x-1,y), (x+1,y), (x,y+1),
    // (x+1,y+1), (x-1,y+1); offsets in t (x steps by H, y by 1) and in (x, y).
    const long long toff[8] = {-H - 1, -1, H - 1, -H, H, 1, H + 1, -H + 1};
    const int dx[8] = {-1, 0, 1, -1, 1, 0, 1, -1};
    const int dy[8] = {-1, -1, -1, 0, 0, 1, 1, 1};

    for (int x = 0; x < cols; x++) {
        const long long colStart = (long long)(x + 1) * H + 1, colEnd = colStart + rows;
        long long p = colStart;
        for (;;) {
            p = findOther(t, p, colEnd, background);
            if (p >= colEnd) break;
            const int y = int(p - colStart);
            _tagConnectInfo r;
            r.value = t[p];
            t[p] = background;
            work[y][x] = -1;
            r.left = r.right = x;
            r.top = r.bottom = y;
            r.count = 1;
            long long sp = 0;
            int cx = x, cy = y;
            long long cp = p;
            for (;;) {
                for (int k = 0; k < 8; k++) {
                    const long long np = cp + toff[k];
                    if (t[np] == background) continue;
                    t[np] = background;
                    const int nx = cx + dx[k], ny = cy + dy[k];
                    stack[sp++] = nx;
                    stack[sp++] = ny;
                    r.count++;
                    r.left = std::min(r.left, nx);
                    r.right = std::max(r.right, nx);
                    r.top = std::min(r.top, ny);
                    r.bottom = std::max(r.bottom, ny);
                }
                if (sp == 0) break;
                const int ny = stack[--sp], nx = stack[--sp];
                work[ny][nx] = cy * cols + cx;
                cx = nx;
                cy = ny;
                cp = (long long)(nx + 1) * H + ny + 1;
            }
            r.head = cy * cols + cx;
            if (r.count >= m_params.minCount && r.right - r.left + 1 >= m_params.minWidth &&
                r.bottom - r.top + 1 >= m_params.minHeight) {
                records.push_back(r);
            } else if (eraseRejected) {
                ConnectInfo info;
                info.count = r.count;
                info.head = r.head;
                eraseConnect(info, background);
            }
            p++;
        }
    }
    if (sortByCount)
        std::stable_sort(
            records.begin(), records.end(),
            [](const _tagConnectInfo& a, const _tagConnectInfo& b) { return a.count > b.count; });
    if (!result.setSize(int(records.size()))) return result;
    for (size_t i = 0; i < records.size(); i++) {
        const _tagConnectInfo& r = records[i];
        ConnectInfo& c = result[int(i)];
        c.x = r.left;
        c.y = r.top;
        c.width = r.right - r.left + 1;
        c.height = r.bottom - r.top + 1;
        c.value = r.value;
        c.count = r.count;
        c.head = r.head;
    }
    return result;
}

template <typename F>
void ConnectedComponent::walkChain(const ConnectInfo& info, F&& f) const {
    // The work image is handed out mutable and the image may have changed
    // since apply: only chains that stay inside both are followed.
    if (!m_image || !isByteGrey(*m_image) || !m_image->isEqualSize(m_work) ||
        m_work.type() != MAT_Tint)
        return;
    const int cols = m_work.cols();
    const long long total = (long long)m_work.rows() * cols;
    long long idx = info.head;
    // A chain visits each pixel once, so no more than the image holds.
    const long long steps = std::min<long long>(info.count, total);
    for (long long i = 0; i < steps; i++) {
        if (idx < 0 || idx >= total) return;
        const int y = int(idx / cols), x = int(idx - (long long)y * cols);
        f(x, y);
        idx = m_work.ptr<int>(y)[x];
    }
}

void ConnectedComponent::createImageFromConnect(const ConnectInfo& info, Mat& image) {
    if (!m_image) return;
    if (image.create(info.height, info.width, MAT_Tuchar) < 0) return;
    image = 255.0;
    walkChain(info, [&](int x, int y) {
        const int bx = x - info.x, by = y - info.y;
        if (bx >= 0 && by >= 0 && bx < info.width && by < info.height)
            image.ptr<unsigned char>(by)[bx] = 0;
    });
}

void ConnectedComponent::createPointArrayFromConnect(
    const ConnectInfo& info, Array<Point2_<int>, const Point2_<int>&>& points) {
    points.removeAll();
    if (!m_image || info.count <= 0) return;
    // A chain never holds more pixels than the image.
    const long long total = (long long)m_work.rows() * m_work.cols();
    if (!points.setSize(int(std::min<long long>(info.count, total)))) return;
    int n = 0;
    const int room = points.getSize();
    walkChain(info, [&](int x, int y) {
        if (n < room) points[n++] = Point2_<int>(x, y);
    });
    points.setSize(n);
}

void ConnectedComponent::eraseConnect(const ConnectInfo& info, unsigned char value) {
    if (!m_image) return;
    Mat& img = *m_image;
    walkChain(info, [&](int x, int y) { img.ptr<unsigned char>(y)[x] = value; });
}

void ConnectedComponent::createBoundaryPointsFromConnect(
    const ConnectInfo& info, Array<Point2_<int>, const Point2_<int>&>& points) {
    points.removeAll();
    if (!m_image || !isByteGrey(*m_image) || !m_image->isEqualSize(m_work)) return;
    const Mat& img = *m_image;
    const int rows = img.rows(), cols = img.cols();
    if (info.head < 0 || (long long)info.head >= (long long)rows * cols) return;
    const long long cap = (long long)info.width * info.height * 2;
    if (cap <= 0 || cap > INT32_MAX) return;
    if (!points.setSize(int(cap))) return;
    // Directions clockwise from the right.
    static const int ddx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
    static const int ddy[8] = {0, 1, 1, 1, 0, -1, -1, -1};
    auto value = [&](int x, int y) -> int {
        return img.isInside(x, y) ? img.ptr<unsigned char>(y)[x] : 128;
    };
    const int sx = info.head % cols, sy = info.head / cols;
    int n = 0;
    points[n++] = Point2_<int>(sx, sy);
    int nb[8];
    for (int d = 0; d < 8; d++) nb[d] = value(sx + ddx[d], sy + ddy[d]);
    int cx = sx, cy = sy, dir = 0;
    for (int d = 7; d >= 0; d--) {
        const int j = (d + 1) & 7;
        if (nb[d] != nb[j] && nb[j] == 255) {
            // The first move is not stored: it lands on the pixel clockwise of
            // the first background-to-255 change around the start.
            cx = sx + ddx[j];
            cy = sy + ddy[j];
            dir = (j + 5) & 7;
            break;
        }
    }
    while ((cx != sx || cy != sy) && n < cap) {
        int found = -1;
        for (int k = 0; k < 8; k++) {
            const int d = (dir + k) & 7;
            const int nx = cx + ddx[d], ny = cy + ddy[d];
            if (img.isInside(nx, ny) && img.ptr<unsigned char>(ny)[nx] == info.value) {
                found = d;
                break;
            }
        }
        // Without a neighbour of the region's value the walk cannot go on.
        if (found < 0) break;
        cx += ddx[found];
        cy += ddy[found];
        points[n++] = Point2_<int>(cx, cy);
        dir = (found + 5) & 7;
    }
    points.setSize(n);
}

}  // namespace ip
}  // namespace tarvo
