// Polygon and point-set geometry: simplification, convex hull, minimum-area
// rectangle, bounding boxes, ellipse fit, area, line rasterisation and
// crossings, and one-dimensional peaks.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "shapes/polygons_simd.h"
#include "tarvo/autobuffer.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/linalg.h"
#include "tarvo/parallel.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {
namespace ip {

namespace {

constexpr double kPi = 3.14159265358979323846;

// ---- simplification

class RangeStack {
public:
    explicit RangeStack(AutoBuffer<Range, 520>* buf) : m_buf(buf) {
        if (!m_buf || m_buf->size() == 0) m_buf = &m_own;
        m_data = *m_buf;
        m_cap = m_buf->size();
    }
    // False when the stack cannot grow.
    bool push(const Range& r) {
        if (m_top >= m_cap) {
            m_buf->resize(m_cap + (m_cap >> 1) + 1);
            if (m_buf->size() <= m_cap) return false;
            m_data = *m_buf;
            m_cap = m_buf->size();
        }
        m_data[m_top++] = r;
        return true;
    }
    bool empty() const { return m_top == 0; }
    Range& top() { return m_data[m_top - 1]; }
    void pop() { m_top--; }

private:
    AutoBuffer<Range, 520> m_own;
    AutoBuffer<Range, 520>* m_buf;
    Range* m_data;
    unsigned m_cap;
    unsigned m_top = 0;
};

template <typename T>
int approxPolyDPImpl(const Point2_<T>* src, int n, Point2_<T>* dst, bool closed0, double eps,
                     AutoBuffer<Range, 520>* stackBuf) {
    if (!src || !dst || n <= 0) return 0;
    const double eps2 = eps * eps;
    RangeStack stack(stackBuf);
    int count = 0;
    bool closed = closed0;
    int iters = 3;
    if (!closed) {
        if (src[0].x == src[n - 1].x && src[0].y == src[n - 1].y) {
            closed = true;
            iters = 1;
        } else if (!stack.push(Range(0, n - 1))) {
            return 0;
        }
    }
    if (closed) {
        // two roughly farthest points: each round starts from the farthest
        // point of the previous one
        int start = 0, end = 0;
        bool le_eps = false;
        for (int it = 0; it < iters; it++) {
            start = (start + end) % n;
            const Point2_<T> ref = src[start];
            double maxd = 0;
            for (int j = 1; j < n; j++) {
                const Point2_<T> p = src[(start + j) % n];
                const double dx = (double)p.x - ref.x, dy = (double)p.y - ref.y;
                const double d = dx * dx + dy * dy;
                if (d > maxd) {
                    maxd = d;
                    end = j;
                }
            }
            le_eps = maxd <= eps2;
        }
        if (le_eps) {
            dst[count++] = src[start];
        } else {
            start %= n;
            end = (end + start) % n;
            if (!stack.push(Range(start, end)) || !stack.push(Range(end, start))) return 0;
        }
    }
    while (!stack.empty()) {
        const Range r = stack.top();
        const int s = r.start, e = r.end;
        const int next = s + 1 == n ? 0 : s + 1;
        bool settled = true;
        int m = -1;
        if (next != e) {
            const Point2_<T> ps = src[s], pe = src[e];
            const double dx = (double)pe.x - ps.x, dy = (double)pe.y - ps.y;
            double maxd = 0;
            for (int i = next; i != e; i = i + 1 == n ? 0 : i + 1) {
                const double d =
                    std::fabs(((double)src[i].y - ps.y) * dx - ((double)src[i].x - ps.x) * dy);
                if (d > maxd) {
                    maxd = d;
                    m = i;
                }
            }
            settled = maxd * maxd <= eps2 * (dx * dx + dy * dy);
        }
        if (settled || m < 0) {
            stack.pop();
            if (count >= n) break;  // cannot happen for sound input; keeps dst in bounds
            dst[count++] = src[s];
        } else {
            stack.top() = Range(m, e);
            if (!stack.push(Range(s, m))) return 0;
        }
    }
    if (!closed && count < n) dst[count++] = src[n - 1];

    // drop points on nearly straight stretches
    const int c = count;
    int newCount = c;
    int pos = closed0 ? c - 1 : 0;
    auto readDst = [&](Point2_<T>& p) {
        p = dst[pos];
        if (++pos >= c) pos = 0;
    };
    Point2_<T> start, pt, end;
    readDst(start);
    int wpos = pos;
    readDst(pt);
    const int steps = closed0 ? c : c - 1;
    for (int i = closed0 ? 0 : 1; i < steps && newCount > 2; i++) {
        readDst(end);
        const double dx = (double)end.x - start.x, dy = (double)end.y - start.y;
        const double dist =
            std::fabs(((double)pt.x - start.x) * dy - ((double)pt.y - start.y) * dx);
        const double inner = ((double)end.x - pt.x) * ((double)pt.x - start.x) +
                             ((double)end.y - pt.y) * ((double)pt.y - start.y);
        if (dist * dist <= 0.5 * eps2 * (dx * dx + dy * dy) && dx != 0 && dy != 0 && inner >= 0) {
            newCount--;
            dst[wpos] = start = end;
            if (++wpos >= c) wpos = 0;
            readDst(pt);
            i++;
            continue;
        }
        dst[wpos] = start = pt;
        if (++wpos >= c) wpos = 0;
        pt = end;
    }
    if (!closed0) dst[wpos] = pt;
    return newCount;
}

template <typename T>
void approxArray(const Array<Point2_<T>, const Point2_<T>&>& src,
                 Array<Point2_<T>, const Point2_<T>&>& dst, double eps, bool closed) {
    const int n = src.getSize();
    if (n <= 0) {
        dst.removeAll();
        return;
    }
    AutoBuffer<Point2_<T>, 520> out((unsigned)n);
    AutoBuffer<Range, 520> stack((unsigned)n);
    if (out.size() < (unsigned)n) {
        dst.removeAll();
        return;
    }
    const int k = approxPolyDPImpl<T>(src.getData(), n, (Point2_<T>*)out, closed, eps, &stack);
    dst.removeAll();
    dst.append((const Point2_<T>*)out, k);
}

// ---- convex hull

int signOf(long long v) {
    return (v > 0) - (v < 0);
}

// Hull order: by x, then by the mixed term b.y - a.x (its sign).
extern "C" int hullCompare(const void* pa, const void* pb) {
    const Point2_<int>* a = static_cast<const Point2_<int>*>(pa);
    const Point2_<int>* b = static_cast<const Point2_<int>*>(pb);
    if (a->x != b->x) return a->x < b->x ? -1 : 1;
    return signOf((long long)b->y - a->x);
}

// One monotone chain of the hull between start and end (indices into the
// sorted points), kept on stack; returns its length less 1.
int sklansky(const Point2_<int>* p, int start, int end, int* stack, int nsign, int sign2) {
    const int incr = end > start ? 1 : -1;
    int pprev = start, pcur = pprev + incr, pnext = pcur + incr;
    int size = 3;
    if (start == end || (p[start].x == p[end].x && p[start].y == p[end].y)) {
        stack[0] = start;
        return 1;
    }
    stack[0] = pprev;
    stack[1] = pcur;
    stack[2] = pnext;
    end += incr;
    while (pnext != end) {
        const long long cury = p[pcur].y, nexty = p[pnext].y;
        const long long by = nexty - cury;
        if (signOf(by) != nsign) {
            const long long ax = (long long)p[pcur].x - p[pprev].x;
            const long long bx = (long long)p[pnext].x - p[pcur].x;
            const long long ay = cury - p[pprev].y;
            const long long convexity = ay * bx - ax * by;
            if (signOf(convexity) == sign2 && (ax != 0 || ay != 0)) {
                pprev = pcur;
                pcur = pnext;
                pnext += incr;
                stack[size++] = pnext;
            } else if (pprev == start) {
                pcur = pnext;
                stack[1] = pcur;
                pnext += incr;
                stack[2] = pnext;
            } else {
                stack[size - 2] = pnext;
                pcur = pprev;
                pprev = stack[size - 4];
                size--;
            }
        } else {
            pnext += incr;
            stack[size - 1] = pnext;
        }
    }
    return size - 1;
}

// ---- rotating calipers

// Minimum-area enclosing rectangle of a convex polygon of n > 2 points:
// out = corner (x, y), first side vector, second side vector.
void minAreaCalipers(const Point2_<float>* pts, int n, float* out) {
    AutoBuffer<float, 1032> buf((unsigned)n * 3u);
    if (buf.size() < (unsigned)n * 3u) {
        for (int i = 0; i < 6; i++) out[i] = 0;
        return;
    }
    float* invLen = buf;
    float* vect = invLen + n;  // (x, y) pairs
    int seq[4] = {0, 0, 0, 0};
    float minY = pts[0].y, maxX = pts[0].x, maxY = pts[0].y, minX = pts[0].x;
    for (int i = 0; i < n; i++) {
        const Point2_<float> p0 = pts[i], p1 = pts[i + 1 < n ? i + 1 : 0];
        if (p0.y < minY) minY = p0.y, seq[0] = i;
        if (p0.x > maxX) maxX = p0.x, seq[1] = i;
        if (p0.y > maxY) maxY = p0.y, seq[2] = i;
        if (p0.x < minX) minX = p0.x, seq[3] = i;
        const double dx = (double)p1.x - p0.x, dy = (double)p1.y - p0.y;
        vect[2 * i] = (float)dx;
        vect[2 * i + 1] = (float)dy;
        const double len = std::sqrt(dx * dx + dy * dy);
        invLen[i] = len > 0 ? (float)(1.0 / len) : 0.0f;
    }
    float a = 0, b = 0;
    {
        double px = vect[2 * (n - 1)], py = vect[2 * (n - 1) + 1];
        for (int i = 0; i < n; i++) {
            const double ex = vect[2 * i], ey = vect[2 * i + 1];
            const double c = ey * px - ex * py;
            if (c != 0) {
                a = c > 0 ? 1.0f : -1.0f;
                break;
            }
            px = ex;
            py = ey;
        }
    }
    float minArea = FLT_MAX;
    float bestA = a, bestB = b, bestW = 0, bestH = 0;
    int left = seq[3], bottom = seq[0];
    for (int k = 0; k < n; k++) {
        const float* e0 = vect + 2 * seq[0];
        const float* e1 = vect + 2 * seq[1];
        const float* e2 = vect + 2 * seq[2];
        const float* e3 = vect + 2 * seq[3];
        const float dp[4] = {
            invLen[seq[0]] * (a * e0[0] + b * e0[1]), invLen[seq[1]] * (a * e1[1] - b * e1[0]),
            invLen[seq[2]] * (-a * e2[0] - b * e2[1]), invLen[seq[3]] * (b * e3[0] - a * e3[1])};
        int main = 0;
        float best = dp[0];
        for (int i = 1; i < 4; i++)
            if (dp[i] > best) best = dp[i], main = i;
        const int pi = seq[main];
        const float lx = vect[2 * pi] * invLen[pi], ly = vect[2 * pi + 1] * invLen[pi];
        switch (main) {
            case 0:
                a = lx, b = ly;
                break;
            case 1:
                a = ly, b = -lx;
                break;
            case 2:
                a = -lx, b = -ly;
                break;
            default:
                a = -ly, b = lx;
                break;
        }
        seq[main] = seq[main] + 1 == n ? 0 : seq[main] + 1;
        const Point2_<float> p0 = pts[seq[0]], p1 = pts[seq[1]], p2 = pts[seq[2]], p3 = pts[seq[3]];
        const float width = (p1.x - p3.x) * a + (p1.y - p3.y) * b;
        const float height = (p2.y - p0.y) * a - (p2.x - p0.x) * b;
        const float area = width * height;
        if (minArea >= area) {
            minArea = area;
            bestA = a, bestB = b, bestW = width, bestH = height;
            left = seq[3];
            bottom = seq[0];
        }
    }
    const float c1 = bestA * pts[left].x + bestB * pts[left].y;
    const float c2 = -bestB * pts[bottom].x + bestA * pts[bottom].y;
    // collinear points leave no direction: the corner then stays at the origin
    const float den = bestA * bestA + bestB * bestB;
    const float d = den > 0 ? 1.0f / den : 0.0f;
    out[0] = (bestA * c1 - bestB * c2) * d;
    out[1] = (bestA * c2 + bestB * c1) * d;
    out[2] = bestA * bestW;
    out[3] = bestB * bestW;
    out[4] = -bestB * bestH;
    out[5] = bestA * bestH;
}

// ---- peaks

template <typename T>
void peaksOf(const T* v, int n, PeakArray& peaks) {
    if (n < 3) return;
    AutoBuffer<float, 1032> dbuf((unsigned)n);
    if (dbuf.size() < (unsigned)n) return;
    float* d = dbuf;
    d[0] = 0;
    for (int i = 1; i < n; i++) d[i] = (float)((double)v[i] - (double)v[i - 1]);
    int state = 0, start = 0;
    for (int i = 1; i + 1 < n; i++) {
        if (state == 0) {
            if (d[i] * d[i + 1] < 0) {
                PeakInfo p;
                p.position = i;
                p.width = 1;
                p.valley = d[i] > 0 ? 0 : 1;
                p.value = (double)v[i];
                peaks.add(p);
            }
            if (d[i + 1] == 0) {
                start = i + 1;
                state = 1;
            }
        } else if (d[i + 1] != 0) {
            const float e = d[start - 1];
            int kind = -1;
            if (e > 0 && d[i + 1] < 0)
                kind = 0;
            else if (e < 0 && d[i + 1] > 0)
                kind = 1;
            if (kind >= 0) {
                PeakInfo p;
                p.width = i - start + 2;
                p.position = (i + start) / 2;
                p.valley = (unsigned char)kind;
                p.value = (double)v[p.position];
                peaks.add(p);
            }
            state = 0;
        }
    }
}

void keepPeaks(PeakArray& peaks, bool valleys) {
    int w = 0;
    for (int i = 0; i < peaks.getSize(); i++)
        if ((peaks[i].valley != 0) == valleys) peaks[w++] = peaks[i];
    peaks.setSize(w);
}

}  // namespace

// ---- simplification

int approxPolyDP(const Point2_<int>* src, int count, Point2_<int>* dst, bool closed, double eps,
                 AutoBuffer<Range, 520>* stack) {
    return approxPolyDPImpl<int>(src, count, dst, closed, eps, stack);
}

void approxPolyDP(const PointArray& src, PointArray& dst, double eps, bool closed) {
    approxArray<int>(src, dst, eps, closed);
}

void approxPolyDP(const PointArrayF& src, PointArrayF& dst, double eps, bool closed) {
    approxArray<float>(src, dst, eps, closed);
}

// ---- hull and rectangles

void convexHull(PointArray& points, PointArray& hull, bool clockwise) {
    const int n = points.getSize();
    if (n <= 0) return;
    Point2_<int>* p = points.getData();
    std::qsort(p, (size_t)n, sizeof(Point2_<int>), hullCompare);
    int miny = 0, maxy = 0;
    for (int i = 1; i < n; i++) {
        if (p[i].y < p[miny].y) miny = i;
        if (p[i].y > p[maxy].y) maxy = i;
    }
    if (p[0].x == p[n - 1].x && p[0].y == p[n - 1].y) {
        hull.add(p[0]);
        return;
    }
    // both chains of a half share this block; each writes at most its length + 2
    AutoBuffer<int, 1032> sbuf((unsigned)n * 2u + 8u);
    if (sbuf.size() < (unsigned)n * 2u + 8u) return;
    int* stack = sbuf;

    int* tl = stack;
    int tlCount = sklansky(p, 0, maxy, tl, -1, 1);
    int* tr = stack + tlCount;
    int trCount = sklansky(p, n - 1, maxy, tr, -1, -1);
    int *first = tl, *second = tr, firstCount = tlCount, secondCount = trCount;
    if (!clockwise) first = tr, second = tl, firstCount = trCount, secondCount = tlCount;
    for (int i = 0; i < firstCount - 1; i++) hull.add(p[first[i]]);
    for (int i = secondCount - 1; i > 0; i--) hull.add(p[second[i]]);
    const int stop = secondCount > 2 ? second[1] : firstCount > 2 ? first[firstCount - 2] : -1;

    int* bl = stack;
    int blCount = sklansky(p, 0, miny, bl, 1, -1);
    int* br = stack + blCount;
    int brCount = sklansky(p, n - 1, miny, br, 1, 1);
    if (clockwise)
        first = br, second = bl, firstCount = brCount, secondCount = blCount;
    else
        first = bl, second = br, firstCount = blCount, secondCount = brCount;
    if (stop >= 0) {
        const int check = firstCount > 2                 ? first[1]
                          : firstCount + secondCount > 2 ? second[2 - firstCount]
                                                         : -1;
        if (check == stop || (check >= 0 && p[check].x == p[stop].x && p[check].y == p[stop].y)) {
            if (firstCount > 2) firstCount = 2;
            if (secondCount > 2) secondCount = 2;
        }
    }
    for (int i = 0; i < firstCount - 1; i++) hull.add(p[first[i]]);
    for (int i = secondCount - 1; i > 0; i--) hull.add(p[second[i]]);
}

RotatedRect minAreaRect(PointArray& points) {
    RotatedRect box = {};
    PointArray hull;
    convexHull(points, hull, true);
    const int n = hull.getSize();
    if (n == 0) return box;
    float angle = 0;
    if (n == 1) {
        box.cx = (float)hull[0].x;
        box.cy = (float)hull[0].y;
    } else if (n == 2) {
        const float dx = (float)hull[1].x - (float)hull[0].x;
        const float dy = (float)hull[1].y - (float)hull[0].y;
        box.cx = ((float)hull[0].x + (float)hull[1].x) * 0.5f;
        box.cy = ((float)hull[0].y + (float)hull[1].y) * 0.5f;
        box.width = std::sqrt(dx * dx + dy * dy);
        box.height = 0;
        angle = (float)std::atan2((double)dy, (double)dx);
    } else {
        AutoBuffer<Point2_<float>, 520> fp((unsigned)n);
        if (fp.size() < (unsigned)n) return box;
        for (int i = 0; i < n; i++) fp[i] = Point2_<float>((float)hull[i].x, (float)hull[i].y);
        float out[6];
        minAreaCalipers(fp, n, out);
        box.cx = out[0] + (out[2] + out[4]) * 0.5f;
        box.cy = out[1] + (out[3] + out[5]) * 0.5f;
        box.width = std::sqrt(out[2] * out[2] + out[3] * out[3]);
        box.height = std::sqrt(out[4] * out[4] + out[5] * out[5]);
        angle = (float)std::atan2((double)out[3], (double)out[2]);
    }
    box.angle = (float)((double)(angle * 180.0f) / kPi);
    return box;
}

Rect_<int> getBoundRect(const PointArray& points) {
    const int n = points.getSize();
    if (n <= 0) return Rect_<int>();
    const Point2_<int>* p = points.getData();
    int xmin = p[0].x, xmax = p[0].x, ymin = p[0].y, ymax = p[0].y;
    int i = 1;
    if (n >= 9 && checkHardwareSupport(CPU_INT_VECTORS)) {
        int mm[4];
        i = detail::vecPointBounds(p, n, mm);
        xmin = mm[0], ymin = mm[1], xmax = mm[2], ymax = mm[3];
    }
    for (; i < n; i++) {
        if (p[i].x < xmin) xmin = p[i].x;
        if (p[i].x > xmax) xmax = p[i].x;
        if (p[i].y < ymin) ymin = p[i].y;
        if (p[i].y > ymax) ymax = p[i].y;
    }
    return Rect_<int>(xmin, ymin, (int)((long long)xmax - xmin), (int)((long long)ymax - ymin));
}

Rect_<int> getBoundRect(const Mat& image, int value) {
    if (!image.isValid() || image.type() != MAT_Tuchar || image.channels() != 1)
        return Rect_<int>();
    int x = image.cols() - 1, y = image.rows() - 1, right = 0, bottom = 0;
    if (value >= 0 && value <= 255) {
        for (int r = 0; r < image.rows(); r++) {
            const unsigned char* row = image.ptr<unsigned char>(r);
            for (int c = 0; c < image.cols(); c++) {
                if (row[c] != value) continue;
                if (c < x) x = c;
                if (c > right) right = c;
                if (r < y) y = r;
                if (r > bottom) bottom = r;
            }
        }
    }
    const int w = right - x + 1, h = bottom - y + 1;
    return Rect_<int>(x, y, w > 0 ? w : 0, h > 0 ? h : 0);
}

// ---- ellipse

RotatedRect fitEllipse(const PointArray& points) {
    RotatedRect box = {};
    const int n = points.getSize();
    if (n < 5) return box;
    AutoBuffer<double, 520> abuf((unsigned)n * 5u), bbuf((unsigned)n);
    if (abuf.size() < (unsigned)n * 5u || bbuf.size() < (unsigned)n) return box;
    double* A = abuf;
    double* B = bbuf;
    float cx = 0, cy = 0;
    for (int i = 0; i < n; i++) {
        cx += (float)points[i].x;
        cy += (float)points[i].y;
    }
    cx /= (float)n;
    cy /= (float)n;
    for (int i = 0; i < n; i++) {
        const double px = (double)((float)points[i].x - cx);
        const double py = (double)((float)points[i].y - cy);
        A[5 * i] = -px * px;
        A[5 * i + 1] = -py * py;
        A[5 * i + 2] = -px * py;
        A[5 * i + 3] = px;
        A[5 * i + 4] = py;
        B[i] = 10000.0;
    }
    double g[5] = {0, 0, 0, 0, 0};
    {
        Mat Am(A, n, 5, MAT_Tdouble, true), Bm(B, n, 1, MAT_Tdouble, true), x;
        if (!tarvoutil::solve(Am, Bm, x, 1) || x.rows() < 5) return box;
        for (int k = 0; k < 5; k++) g[k] = x.ptr<double>(k)[0];
    }
    double r[2] = {0, 0};
    {
        double M[4] = {2 * g[0], g[2], g[2], 2 * g[1]}, v[2] = {g[3], g[4]};
        Mat Mm(M, 2, 2, MAT_Tdouble, true), Vm(v, 2, 1, MAT_Tdouble, true), x;
        if (!tarvoutil::solve(Mm, Vm, x, 1) || x.rows() < 2) return box;
        r[0] = x.ptr<double>(0)[0];
        r[1] = x.ptr<double>(1)[0];
    }
    for (int i = 0; i < n; i++) {
        const double px = (double)((float)points[i].x - cx) - r[0];
        const double py = (double)((float)points[i].y - cy) - r[1];
        A[3 * i] = px * px;
        A[3 * i + 1] = py * py;
        A[3 * i + 2] = px * py;
        B[i] = 1.0;
    }
    {
        Mat Am(A, n, 3, MAT_Tdouble, true), Bm(B, n, 1, MAT_Tdouble, true), x;
        if (!tarvoutil::solve(Am, Bm, x, 1) || x.rows() < 3) return box;
        for (int k = 0; k < 3; k++) g[k] = x.ptr<double>(k)[0];
    }
    const double rot = -0.5 * std::atan2(g[2], g[1] - g[0]);
    const double t = std::fabs(g[2]) > 1e-08 ? g[2] / std::sin(-2 * rot) : g[1] - g[0];
    double a = std::fabs(g[0] + g[1] - t);
    if (a > 1e-08) a = std::sqrt(2.0 / a);
    double b = std::fabs(g[0] + g[1] + t);
    if (b > 1e-08) b = std::sqrt(2.0 / b);
    box.cx = cx + (float)r[0];
    box.cy = cy + (float)r[1];
    box.width = (float)(2 * a);
    box.height = (float)(2 * b);
    if (box.width > box.height) {
        const float w = box.width;
        box.width = box.height;
        box.height = w;
        box.angle = (float)(90 + rot * 180 / kPi);
    }
    if (box.angle < -180) box.angle += 360;
    if (box.angle > 360) box.angle -= 360;
    if (!std::isfinite(box.cx) || !std::isfinite(box.cy) || !std::isfinite(box.width) ||
        !std::isfinite(box.height) || !std::isfinite(box.angle))
        return RotatedRect{};
    return box;
}

// ---- area, lines, triangles

double contourArea(const PointArray& points) {
    const int n = points.getSize();
    double sum = 0;
    for (int i = 1; i < n; i++)
        sum += (double)((long long)points[i].y * points[i - 1].x -
                        (long long)points[i].x * points[i - 1].y);
    return 0.5 * sum;
}

void bresenham(int x0, int y0, int x1, int y1, int*& xs, int*& ys, int& count) {
    const long long dx = (long long)x1 - x0, dy = (long long)y1 - y0;
    const double len = std::sqrt((double)dx * dx + (double)dy * dy) + 3.0;
    count = 0;
    xs = ys = nullptr;
    if (!(len < 2147483647.0)) return;
    const size_t cap = (size_t)(long long)len;
    xs = static_cast<int*>(std::malloc(cap * sizeof(int)));
    ys = static_cast<int*>(std::malloc(cap * sizeof(int)));
    if (!xs || !ys) {
        std::free(xs);
        std::free(ys);
        xs = ys = nullptr;
        return;
    }
    const int sx = dx > 0 ? 1 : -1, sy = dy > 0 ? 1 : -1;
    const long long adx = dx < 0 ? -dx : dx, ady = dy < 0 ? -dy : dy;
    const bool steep = ady > adx;
    const long long major = steep ? ady : adx, minor = steep ? adx : ady;
    long long err = 2 * minor - major;
    long long x = x0, y = y0;
    for (long long i = 0; i < major && (size_t)count < cap; i++) {
        xs[count] = (int)x;
        ys[count] = (int)y;
        count++;
        while (err >= 0) {
            if (steep)
                x += sx;
            else
                y += sy;
            err -= 2 * major;
        }
        err += 2 * minor;
        if (steep)
            y += sy;
        else
            x += sx;
    }
}

void bresenham(Point2_<int>& p1, Point2_<int>& p2, PointArray& result) {
    int *xs = nullptr, *ys = nullptr, n = 0;
    bresenham(p1.x, p1.y, p2.x, p2.y, xs, ys, n);
    result.setSize(n);
    for (int i = 0; i < n && i < result.getSize(); i++) result[i] = Point2_<int>(xs[i], ys[i]);
    std::free(xs);
    std::free(ys);
}

Point2_<float> crossPointTwoLines(const Point2_<float>& a, const Point2_<float>& b,
                                  const Point2_<float>& c, const Point2_<float>& d) {
    const float d1x = b.x - a.x, d1y = b.y - a.y, d2x = d.x - c.x, d2y = d.y - c.y;
    const float den = d1x * d2y - d2x * d1y;
    if (den == 0) return Point2_<float>(0, 0);
    const float t = ((a.y - c.y) * d2x - (a.x - c.x) * d2y) / den;
    return Point2_<float>(a.x + t * d1x, a.y + t * d1y);
}

Point2_<float> crossPointTwoLines(const Point2_<int>& a, const Point2_<int>& b,
                                  const Point2_<int>& c, const Point2_<int>& d) {
    const long long d1x = (long long)b.x - a.x, d1y = (long long)b.y - a.y;
    const long long d2x = (long long)d.x - c.x, d2y = (long long)d.y - c.y;
    const long long den = d1x * d2y - d2x * d1y;
    if (den == 0) return Point2_<float>(0, 0);
    const long long num = ((long long)a.y - c.y) * d2x - ((long long)a.x - c.x) * d2y;
    const float t = (float)num / (float)den;
    return Point2_<float>((float)a.x + t * (float)d1x, (float)a.y + t * (float)d1y);
}

bool intersectPointTwoLines(const Point2_<float>& a, const Point2_<float>& b,
                            const Point2_<float>& c, const Point2_<float>& d,
                            Point2_<float>& result) {
    const float d1x = b.x - a.x, d1y = b.y - a.y, d2x = d.x - c.x, d2y = d.y - c.y;
    const float den = d1x * d2y - d2x * d1y;
    if (den == 0) return false;
    const float t = ((a.y - c.y) * d2x - (a.x - c.x) * d2y) / den;
    const float u = ((a.y - c.y) * d1x - (a.x - c.x) * d1y) / den;
    if (!(t >= 0 && t <= 1 && u >= 0 && u <= 1)) return false;
    result = Point2_<float>(a.x + t * d1x, a.y + t * d1y);
    return true;
}

float triangleArea(float x1, float y1, float x2, float y2, float x3, float y3) {
    return std::fabs((x3 - x1) * (y3 - y2) + (x3 - x2) * (y1 - y3));
}

// ---- peaks

int PeakInfo::sharp(const Vec_<unsigned char>& signal) const {
    const int n = signal.length();
    if (position < 0 || position >= n || !signal.isValid()) return 0;
    const unsigned char* v = signal.data.ptr;
    int sum = 0, count = 0;
    for (int p = position - 5; p <= position; p++) {
        if (p < 0) continue;
        sum += std::abs((int)v[p] - (int)v[position]);
        count++;
    }
    return sum / count;
}

void detectPeaks(const Vec& signal, PeakArray& peaks) {
    if (!signal.isValid()) return;
    const int n = signal.length();
    switch (signal.type()) {
        case 0:
            peaksOf(reinterpret_cast<const signed char*>(signal.data.ptr), n, peaks);
            break;
        case MAT_Tuchar:
            peaksOf(signal.data.ptr, n, peaks);
            break;
        case MAT_Tshort:
            peaksOf(signal.data.s, n, peaks);
            break;
        case MAT_Tint:
            peaksOf(signal.data.i, n, peaks);
            break;
        case MAT_Tfloat:
            peaksOf(signal.data.fl, n, peaks);
            break;
        case MAT_Tdouble:
            peaksOf(signal.data.db, n, peaks);
            break;
        default:
            break;
    }
}

void detectPeaksMax(const Vec& signal, PeakArray& peaks) {
    detectPeaks(signal, peaks);
    keepPeaks(peaks, false);
}

void detectPeaksMin(const Vec& signal, PeakArray& peaks) {
    detectPeaks(signal, peaks);
    keepPeaks(peaks, true);
}

bool fitLine(const Mat&, int, double, double, double, float*) {
    return false;
}

}  // namespace ip
}  // namespace tarvo
