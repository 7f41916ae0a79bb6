// Mesh warps: barycentric coordinates, the single-triangle warp, and the
// whole-mesh warps warpMesh and warping.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "mesh_warp_internal.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

const int kByteRGB = MAT_Tuchar | (2 << 3);

bool finite3(float a, float b, float c) {
    return std::isfinite(a) && std::isfinite(b) && std::isfinite(c);
}

// Inclusive pixel box [trunc(min), trunc(max) + 1] of three coordinates,
// clamped to [0, size - 1]; false when it misses the image.
bool boxOf(float a, float b, float c, int size, int& lo, int& hi) {
    const long long l = truncInt(std::min(a, std::min(b, c)));
    const long long h = (long long)truncInt(std::max(a, std::max(b, c))) + 1;
    lo = (int)std::max(l, 0LL);
    hi = (int)std::min(h, (long long)size - 1);
    return lo <= hi;
}

// A cache hint; no effect on results.
inline void prefetch(const unsigned char* p) {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p);
#else
    (void)p;
#endif
}

bool validIndices(const Triangle* t) {
    return t && t->index[0] >= 0 && t->index[1] >= 0 && t->index[2] >= 0;
}

// Builds the walk constants of one triangle; false when it has nothing to draw
// (a non-finite corner or a box off the image).
bool prepare(const Triangle& tri, const Point2_<float>* sp, const Point2_<float>* dp, int cols,
             int rows, detail::MeshTri& t) {
    const Point2_<float>& p0 = dp[tri.index[0]];
    const Point2_<float>& p1 = dp[tri.index[1]];
    const Point2_<float>& p2 = dp[tri.index[2]];
    if (!finite3(p0.x, p1.x, p2.x) || !finite3(p0.y, p1.y, p2.y)) return false;
    if (!boxOf(p0.x, p1.x, p2.x, cols, t.left, t.right)) return false;
    if (!boxOf(p0.y, p1.y, p2.y, rows, t.top, t.bottom)) return false;
    // Edge k joins the two corners other than k.
    const Point2_<float>* ends[3][2] = {{&p1, &p2}, {&p0, &p2}, {&p0, &p1}};
    for (int k = 0; k < 3; k++) {
        const Point2_<float>& i = *ends[k][0];
        const Point2_<float>& j = *ends[k][1];
        t.A[k] = i.y - j.y;
        t.B[k] = j.x - i.x;
        t.C[k] = i.x * j.y - j.x * i.y;
        t.vx[k] = j.x;
        t.vy[k] = j.y;
        t.hy[k] = j.y - i.y;
        t.hx[k] = j.x - i.x;
    }
    const float area = ip::triangleArea(p0.x, p0.y, p1.x, p1.y, p2.x, p2.y);
    t.limit = area + 1e-3f * std::max(area, 1.0f);
    t.x2 = p2.x;
    t.y2 = p2.y;
    t.y12 = p1.y - p2.y;
    t.x12 = p1.x - p2.x;
    t.x02 = p0.x - p2.x;
    t.y02 = p0.y - p2.y;
    t.d = 1.0f / (t.y12 * t.x02 - t.y02 * t.x12);
    const Point2_<float>& s0 = sp[tri.index[0]];
    const Point2_<float>& s1 = sp[tri.index[1]];
    const Point2_<float>& s2 = sp[tri.index[2]];
    t.sx0 = s0.x;
    t.sy0 = s0.y;
    t.sx1 = s1.x;
    t.sy1 = s1.y;
    t.sx2 = s2.x;
    t.sy2 = s2.y;
    return true;
}

// Columns [xs, xe] of row y outside which no pixel of the box can pass the
// inside test; false when none can. The test's sum f(x) = |E0| + |E1| + |E2|
// is convex and piecewise linear along the row, so the set where it stays
// within the limit is one interval, found exactly in double from the line
// pieces between the edges' zero crossings. The float evaluation may be
// below the exact sum by a few units in the last place of the terms it adds;
// the bound is raised by far more than that, and the span widened by a
// pixel each side, so every pixel the float test accepts lies inside and
// results do not change.
bool rowSpan(const detail::MeshTri& t, int y, int& xs, int& xe) {
    const double Y = y, lo = t.left, hi = t.right;
    double a[3], c[3], mag = 0.0;
    const double far = std::max(std::fabs(lo), std::fabs(hi));
    for (int k = 0; k < 3; k++) {
        a[k] = t.A[k];
        c[k] = (double)t.B[k] * Y + t.C[k];
        mag += std::fabs(a[k]) * far + std::fabs((double)t.B[k] * Y) + std::fabs((double)t.C[k]);
    }
    const double bound = (double)t.limit * (1.0 + 1e-5) + 1e-5 * mag + 1e-6;
    if (!std::isfinite(bound)) {
        xs = t.left;
        xe = t.right;
        return true;
    }
    double pts[5];
    int n = 0;
    pts[n++] = lo;
    pts[n++] = hi;
    for (int k = 0; k < 3; k++)
        if (a[k] != 0.0) {
            const double z = -c[k] / a[k];
            if (z > lo && z < hi) pts[n++] = z;
        }
    std::sort(pts, pts + n);
    auto f = [&](double x) {
        return std::fabs(a[0] * x + c[0]) + std::fabs(a[1] * x + c[1]) + std::fabs(a[2] * x + c[2]);
    };
    double first = HUGE_VAL, last = -HUGE_VAL;
    for (int i = 0; i + 1 < n; i++) {
        const double p = pts[i], q = pts[i + 1], gp = f(p) - bound, gq = f(q) - bound;
        if (gp > 0.0 && gq > 0.0) continue;
        // Linear between p and q: the part where g <= 0.
        double u = p, v = q;
        if (gp > 0.0) u = p + (q - p) * (gp / (gp - gq));
        if (gq > 0.0) v = p + (q - p) * (gp / (gp - gq));
        first = std::min(first, u);
        last = std::max(last, v);
    }
    if (!(first <= last)) return false;
    xs = (int)std::max(lo, std::floor(first) - 1.0);
    xe = (int)std::min(hi, std::ceil(last) + 1.0);
    return xs <= xe;
}

// The gathering kernels address the picture as one block with int32 offsets.
bool gatherable(const Mat& src) {
    const long long stride = src.rowByteSize();
    bool ok = (long long)src.rows() * stride < INT_MAX / 2;
    for (int y = 1; y < src.rows() && ok; y++)
        ok = src.ptr<unsigned char>(y) == src.ptr<unsigned char>(0) + y * stride;
    return ok;
}

// The whole-mesh pixel walk over a band of rows. Every band walks all
// triangles in model order over its own rows, so each pixel sees the same
// sequence of writes whatever the banding.
class MeshBody : public ParallelLoopBody {
public:
    // area: the inside test of ip::warping (sub-areas in the triangleArea
    // form, whole boxes walked), which needs meshSpanVector for every row;
    // otherwise that of warpMesh, and each band zeroes its rows first.
    MeshBody(const Mat& src, Mat& dst, const std::vector<detail::MeshTri>& tris, int* rowMin,
             int* rowMax, bool area)
        : m_src(src), m_dst(dst), m_tris(tris), m_rowMin(rowMin), m_rowMax(rowMax), m_area(area) {
        m_gatherable = gatherable(src);
    }

    void operator()(const Range& range) const override {
        const int cols = m_src.cols();
        std::vector<int> ix((size_t)cols), iy((size_t)cols);
        std::vector<float> fx((size_t)cols), fy((size_t)cols);
        // Bands of a few rows keep the destination rows and the source rows
        // they read in cache; each band starts by zeroing its rows.
        for (int band = range.start; band < range.end; band += kBand) {
            const int bandEnd = std::min(range.end, band + kBand);
            for (int y = band; y < bandEnd && !m_area; y++)
                std::memset(m_dst.ptr<unsigned char>(y), 0, (size_t)m_dst.rowByteSize());
            // Mesh warps mostly move pixels by a few rows, so the next band
            // reads about the source rows of the same numbers: asking for them
            // now hides the memory latency that otherwise stalls the gathers
            // at each new row. Only a hint: other meshes just waste it.
            const int ahead = std::min(bandEnd + kBand, m_src.rows());
            for (int y = bandEnd; y < ahead; y++) {
                const unsigned char* r = m_src.ptr<unsigned char>(y);
                for (int b = 0; b < m_src.rowByteSize(); b += 64) prefetch(r + b);
            }
            walk(band, bandEnd, ix, iy, fx, fy);
        }
    }

private:
    static const int kBand = 16;

    void walk(int bandStart, int bandEnd, std::vector<int>& ix, std::vector<int>& iy,
              std::vector<float>& fx, std::vector<float>& fy) const {
        const int cols = m_src.cols(), cn = m_src.channels();
        const float maxX = (float)(m_src.cols() - 1), maxY = (float)(m_src.rows() - 1);
        const bool vec = checkHardwareSupport(CPU_FLOAT_VECTORS);
        const bool gather = vec && (cn == 1 || cn == 3 || cn == 4) && m_gatherable;
        const unsigned char* img = m_src.ptr<unsigned char>(0);
        const int stride = m_src.rowByteSize();
        const int size = (int)((long long)m_src.rows() * stride);
        for (const detail::MeshTri& t : m_tris) {
            const int y0 = std::max(t.top, bandStart), y1 = std::min(t.bottom + 1, bandEnd);
            const int x0 = t.left, x1 = t.right + 1;
            for (int y = y0; y < y1; y++) {
                // The vector path walks only the row's span of the triangle;
                // the scalar reference tests the whole box.
                int xs = x0, xe = x1 - 1;
                if (vec && !m_area && !rowSpan(t, y, xs, xe)) continue;
                int first, last;
                if ((gather || m_area) &&
                    detail::meshSpanVector(t, y, xs, xe + 1, maxX, maxY, img, stride, size, cn,
                                           m_dst.ptr<unsigned char>(y), cols, m_area, &first,
                                           &last)) {
                    if (first <= last) {
                        m_rowMin[y] = std::min(m_rowMin[y], first);
                        m_rowMax[y] = std::max(m_rowMax[y], last);
                    }
                    continue;
                }
                if (m_area) continue;  // not reached: the caller checked the kernel
                int x = xs;
                if (vec)
                    x = detail::meshRowVector(t, y, xs, xe + 1, maxX, maxY, &ix[0], &iy[0], &fx[0],
                                              &fy[0]);
                detail::meshRowScalar(t, y, x, xe + 1, maxX, maxY, &ix[0], &iy[0], &fx[0], &fy[0]);
                // Two channels, a picture that is not one block, or no span
                // kernel: bilinear pixel by pixel on the stored positions.
                unsigned char* out = m_dst.ptr<unsigned char>(y);
                int lo = m_rowMin[y], hi = m_rowMax[y];
                for (int k = xs - x0; k <= xe - x0; k++) {
                    const int sx = ix[(size_t)k], sy = iy[(size_t)k];
                    if (sx < 0) continue;
                    unsigned char* o = out + (size_t)(x0 + k) * cn;
                    const unsigned char* r0 = m_src.ptr<unsigned char>(sy) + (size_t)sx * cn;
                    const unsigned char* r1 = m_src.ptr<unsigned char>(sy + 1) + (size_t)sx * cn;
                    const float a = fx[(size_t)k], b = fy[(size_t)k];
                    for (int c = 0; c < cn; c++)
                        o[c] = detail::meshBilinearPixel(r0 + c, r1 + c, cn, a, b);
                    lo = std::min(lo, x0 + k);
                    hi = std::max(hi, x0 + k);
                }
                m_rowMin[y] = lo;
                m_rowMax[y] = hi;
            }
        }
    }

    const Mat& m_src;
    Mat& m_dst;
    const std::vector<detail::MeshTri>& m_tris;
    int* m_rowMin;
    int* m_rowMax;
    bool m_area;
    bool m_gatherable;
};

// The banded walk of warpMesh (area false: dst is zeroed band by band) or
// of ip::warping's vector path (area true: dst is drawn into as it stands);
// returns the box of the written pixels, from the running box's inverted
// start (cols - 1, rows - 1) .. (1, 1).
Rect_<int> walkMesh(const Mat& in, Mat& dst, const Point2_<float>* srcPoints,
                    const Point2_<float>* dstPoints, const TriangleModel::TriangleList& list,
                    bool area) {
    const int rows = in.rows(), cols = in.cols();
    std::vector<detail::MeshTri> tris;
    tris.reserve((size_t)list.getSize());
    for (int i = 0; i < list.getSize(); i++) {
        detail::MeshTri t;
        if (validIndices(list[i]) && prepare(*list[i], srcPoints, dstPoints, cols, rows, t))
            tris.push_back(t);
    }
    std::vector<int> rowMin((size_t)rows, INT_MAX), rowMax((size_t)rows, INT_MIN);
    if (!tris.empty()) {
        MeshBody body(in, dst, tris, rowMin.data(), rowMax.data(), area);
        parallel_for_(Range(0, rows), body, (double)rows * cols / 65536.0);
    } else if (!area) {
        dst.zero();
    }
    int left = cols - 1, top = rows - 1, right = 1, bottom = 1;
    for (int y = 0; y < rows; y++) {
        if (rowMin[(size_t)y] > rowMax[(size_t)y]) continue;
        left = std::min(left, rowMin[(size_t)y]);
        right = std::max(right, rowMax[(size_t)y]);
        top = std::min(top, y);
        bottom = std::max(bottom, y);
    }
    return Rect_<int>(left, top, right - left, bottom - top);
}

}  // namespace

namespace detail {

void meshRowScalar(const MeshTri& t, int y, int x0, int x1, float maxX, float maxY, int* ix,
                   int* iy, float* fx, float* fy) {
    const float Y = (float)y;
    const float dy = Y - t.y2;
    for (int x = x0; x < x1; x++) {
        const size_t o = (size_t)(x - t.left);
        const float X = (float)x;
        const float e0 = std::fabs((t.A[0] * X + t.B[0] * Y) + t.C[0]);
        const float e1 = std::fabs((t.A[1] * X + t.B[1] * Y) + t.C[1]);
        const float e2 = std::fabs((t.A[2] * X + t.B[2] * Y) + t.C[2]);
        ix[o] = -1;
        if (!((e0 + e1) + e2 <= t.limit)) continue;
        const float dx = X - t.x2;
        const float a = (t.y12 * dx - dy * t.x12) * t.d;
        const float b = (dy * t.x02 - t.y02 * dx) * t.d;
        const float c = (1.0f - a) - b;
        const float sx = (a * t.sx0 + b * t.sx1) + c * t.sx2;
        const float sy = (a * t.sy0 + b * t.sy1) + c * t.sy2;
        if (!(sx >= 0.0f && sy >= 0.0f && sx < maxX && sy < maxY)) continue;
        const int i = (int)sx, j = (int)sy;
        ix[o] = i;
        iy[o] = j;
        fx[o] = sx - (float)i;
        fy[o] = sy - (float)j;
    }
}

}  // namespace detail

namespace ip {

void computeCoefficients(const Point2_<float>* points, const Triangle* triangle, float x, float y,
                         float* a, float* b, float* c) {
    if (!points || !validIndices(triangle) || !a || !b || !c) return;
    const Point2_<float>& p0 = points[triangle->index[0]];
    const Point2_<float>& p1 = points[triangle->index[1]];
    const Point2_<float>& p2 = points[triangle->index[2]];
    const float y12 = p1.y - p2.y, x12 = p1.x - p2.x, x02 = p0.x - p2.x, y02 = p0.y - p2.y;
    const float d = 1.0f / (y12 * x02 - y02 * x12);
    const float dx = x - p2.x, dy = y - p2.y;
    *a = (y12 * dx - dy * x12) * d;
    *b = (dy * x02 - y02 * dx) * d;
    *c = (1.0f - *a) - *b;
}

void warpTriangle(const Mat& src, Mat& dst, const Array<Point2_<float>>& srcTriangle,
                  const Array<Point2_<float>>& dstTriangle) {
    if (src.empty() || src.type1() != kByteRGB) return;
    if (srcTriangle.getSize() < 3 || dstTriangle.getSize() < 3) return;
    Mat copy;
    const Mat* in = &src;
    if (detail::sharesMemory(src, dst)) {
        copy = src;
        in = &copy;
    }
    if (dst.empty() || dst.type1() != src.type1() || !dst.isEqualSize(src)) {
        if (dst.create(src.rows(), src.cols(), src.type1()) < 0) return;
        dst.zero();
    }
    const Point2_<float>* s = srcTriangle.getData();
    const Point2_<float>* p = dstTriangle.getData();
    const int cols = in->cols(), rows = in->rows();
    int left, right, top, bottom;
    if (!finite3(p[0].x, p[1].x, p[2].x) || !finite3(p[0].y, p[1].y, p[2].y)) return;
    if (!boxOf(p[0].x, p[1].x, p[2].x, cols, left, right)) return;
    if (!boxOf(p[0].y, p[1].y, p[2].y, rows, top, bottom)) return;
    const float total = triangleArea(p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
    if (!(total != 0.0f)) return;
    for (int y = top; y <= bottom; y++) {
        unsigned char* out = dst.ptr<unsigned char>(y);
        const float Y = (float)y;
        for (int x = left; x <= right; x++) {
            const float X = (float)x;
            const float t0 = triangleArea(X, Y, p[1].x, p[1].y, p[2].x, p[2].y);
            const float t1 = triangleArea(X, Y, p[0].x, p[0].y, p[2].x, p[2].y);
            const float t2 = triangleArea(X, Y, p[0].x, p[0].y, p[1].x, p[1].y);
            if (!((t0 + t1) + t2 - total <= 0.001f)) continue;
            const float w0 = t0 / total, w1 = t1 / total, w2 = t2 / total;
            if (w0 < 0 || w1 < 0 || w2 < 0) continue;
            const float sxf = (w0 * s[0].x + w1 * s[1].x) + w2 * s[2].x;
            const float syf = (w0 * s[0].y + w1 * s[1].y) + w2 * s[2].y;
            // Below 0 is outside: truncation would otherwise read column -1.
            if (!(sxf >= 0.0f && syf >= 0.0f)) continue;
            const int sx = truncInt(sxf), sy = truncInt(syf);
            if (sx >= cols - 1 || sy >= rows - 1) continue;
            const float fx = sxf - (float)sx, fy = syf - (float)sy;
            const unsigned char* r0 = in->ptr<unsigned char>(sy) + 3 * (size_t)sx;
            const unsigned char* r1 = in->ptr<unsigned char>(sy + 1) + 3 * (size_t)sx;
            // The x fraction weights the row below, the y fraction the next column.
            const float wb = (1.0f - fx) * (1.0f - fy), wr = (1.0f - fx) * fy,
                        wd = (1.0f - fy) * fx, wrd = fx * fy;
            for (int c = 0; c < 3; c++) {
                const float v = ((wb * r0[c] + wr * r0[3 + c]) + wd * r1[c]) + wrd * r1[3 + c];
                out[3 * x + c] = detail::meshTruncByte(v);
            }
        }
    }
}

void warpMesh(const Mat& src, Mat& dst, Rect_<int>& bounds, const Point2_<float>* srcPoints,
              const Point2_<float>* dstPoints, const TriangleModel* model) {
    if (!srcPoints || !dstPoints || !model) return;
    if (src.empty() || src.type() != MAT_Tuchar) return;
    Mat copy;
    const Mat* in = &src;
    if (detail::sharesMemory(src, dst)) {
        copy = src;
        if (copy.empty()) return;
        in = &copy;
    }
    const int rows = in->rows(), cols = in->cols();
    if (dst.create(rows, cols, in->type1()) < 0) return;

    bounds = walkMesh(*in, dst, srcPoints, dstPoints, model->triangleList, false);
}

void warping(const Mat& src, Mat& dst, Rect_<int>* bounds, Point2_<float>* srcPoints,
             Point2_<float>* dstPoints, TriangleModel* model) {
    if (!srcPoints || !dstPoints || !model) return;
    if (src.empty() || src.type() != MAT_Tuchar) return;
    Mat copy;
    const Mat* in = &src;
    if (detail::sharesMemory(src, dst)) {
        copy = src;
        if (copy.empty()) return;
        in = &copy;
    }
    const int rows = in->rows(), cols = in->cols(), cn = in->channels();
    if (dst.empty() || dst.type1() != in->type1() || !dst.isEqualSize(*in)) {
        if (dst.create(rows, cols, in->type1()) < 0) return;
        dst.zero();
    }
    const TriangleModel::TriangleList& list = model->triangleList;
    // The vector walk: the same tests and arithmetic, in bands that may run
    // in parallel, each walking all triangles in order over its own rows.
    if (checkHardwareSupport(CPU_FLOAT_VECTORS) && (cn == 1 || cn == 3 || cn == 4) &&
        (long long)rows * in->rowByteSize() >= 8 && gatherable(*in) &&
        detail::meshSpanAvailable()) {
        const Rect_<int> box = walkMesh(*in, dst, srcPoints, dstPoints, list, true);
        if (bounds) *bounds = box;
        return;
    }
    int left = cols - 1, top = rows - 1, right = 1, bottom = 1;
    const float maxX = (float)(cols - 1), maxY = (float)(rows - 1);
    for (int i = 0; i < list.getSize(); i++) {
        const Triangle* tri = list[i];
        if (!validIndices(tri)) continue;
        const Point2_<float>& p0 = dstPoints[tri->index[0]];
        const Point2_<float>& p1 = dstPoints[tri->index[1]];
        const Point2_<float>& p2 = dstPoints[tri->index[2]];
        const Point2_<float>& s0 = srcPoints[tri->index[0]];
        const Point2_<float>& s1 = srcPoints[tri->index[1]];
        const Point2_<float>& s2 = srcPoints[tri->index[2]];
        int x0, x1, y0, y1;
        if (!finite3(p0.x, p1.x, p2.x) || !finite3(p0.y, p1.y, p2.y)) continue;
        if (!boxOf(p0.x, p1.x, p2.x, cols, x0, x1) || !boxOf(p0.y, p1.y, p2.y, rows, y0, y1))
            continue;
        const float area = triangleArea(p0.x, p0.y, p1.x, p1.y, p2.x, p2.y);
        const float limit = area + 1e-3f * std::max(area, 1.0f);
        for (int y = y0; y <= y1; y++) {
            const float Y = (float)y;
            unsigned char* out = dst.ptr<unsigned char>(y);
            for (int x = x0; x <= x1; x++) {
                const float X = (float)x;
                const float t0 = triangleArea(X, Y, p1.x, p1.y, p2.x, p2.y);
                const float t1 = triangleArea(X, Y, p0.x, p0.y, p2.x, p2.y);
                const float t2 = triangleArea(X, Y, p0.x, p0.y, p1.x, p1.y);
                if (!((t0 + t1) + t2 <= limit)) continue;
                float a = 0.1f, b = 0.5f, c = 0.39999998f;
                computeCoefficients(dstPoints, tri, X, Y, &a, &b, &c);
                const float sx = (a * s0.x + b * s1.x) + c * s2.x;
                const float sy = (a * s0.y + b * s1.y) + c * s2.y;
                if (!(sx >= 0.0f && sy >= 0.0f && sx < maxX && sy < maxY)) continue;
                const int ix = (int)sx, iy = (int)sy;
                const float fx = sx - (float)ix, fy = sy - (float)iy;
                const unsigned char* r0 = in->ptr<unsigned char>(iy) + (size_t)ix * cn;
                const unsigned char* r1 = in->ptr<unsigned char>(iy + 1) + (size_t)ix * cn;
                unsigned char* o = out + (size_t)x * cn;
                for (int k = 0; k < cn; k++)
                    o[k] = detail::meshBilinearPixel(r0 + k, r1 + k, cn, fx, fy);
                left = std::min(left, x);
                right = std::max(right, x);
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
        }
    }
    if (bounds) *bounds = Rect_<int>(left, top, right - left, bottom - top);
}

}  // namespace ip
}  // namespace tarvo
