// Drawing into a Mat: lines with a round brush, crosses, rectangles,
// polygons, pasted matrices, and the polygon fill and line point helpers.
//
// Every shape is turned into horizontal spans first. Opaque drawing writes the
// spans directly; translucent drawing marks them in a coverage mask over the
// shape's clipped bounding box and blends each covered pixel exactly once, so
// the joints of a polyline or the centre of a cross are not blended twice.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "mat_internal.h"
#include "tarvo/mat.h"
#include "tarvo/matop.h"
#include "tarvo/saturate.h"

namespace tarvo {

using detail::withDepth;

namespace {

// Line widths above this are drawn at this width: a brush wider than this has
// no use on an image and would only cost time.
constexpr int kMaxLineWidth = 128;
// Longest line linePoints hands out; longer requests give no points.
constexpr long long kMaxLinePoints = 1LL << 26;

struct BoxL {
    long long x0, y0, x1, y1;  // inclusive
};

class Painter {
public:
    // Draws into `img` inside `region` (clipped to the image).
    Painter(Mat& img, const Point4_<double>& color, float opacity, const BoxL& region)
        : m_img(img) {
        for (int k = 0; k < 4; k++) m_color[k] = color[k];
        m_alpha = opacity;
        if (!img.isValid() || !(opacity > 0.0f)) return;
        if (m_alpha > 1.0) m_alpha = 1.0;
        // Clip in 64 bits; only a non-empty clipped box is narrowed to int.
        const long long x0 = std::max<long long>(region.x0, 0);
        const long long y0 = std::max<long long>(region.y0, 0);
        const long long x1 = std::min<long long>(region.x1, img.cols() - 1);
        const long long y1 = std::min<long long>(region.y1, img.rows() - 1);
        if (x1 < x0 || y1 < y0) return;
        m_x0 = int(x0), m_y0 = int(y0), m_x1 = int(x1), m_y1 = int(y1);
        m_opaque = m_alpha >= 1.0;
        if (!m_opaque) {
            m_cover.assign(size_t(m_x1 - m_x0 + 1) * size_t(m_y1 - m_y0 + 1), 0);
        }
        m_ok = true;
    }

    bool ok() const { return m_ok; }

    // Inclusive span on row y; clipped to the region.
    void span(long long y, long long xa, long long xb) {
        if (!m_ok || y < m_y0 || y > m_y1) return;
        if (xa > xb) std::swap(xa, xb);
        if (xa < m_x0) xa = m_x0;
        if (xb > m_x1) xb = m_x1;
        if (xa > xb) return;
        if (m_opaque) {
            write(int(y), int(xa), int(xb));
        } else {
            unsigned char* c = &m_cover[size_t(y - m_y0) * size_t(m_x1 - m_x0 + 1)];
            std::memset(c + (xa - m_x0), 1, size_t(xb - xa + 1));
        }
    }

    // Blends the covered pixels of a translucent drawing.
    void finish() {
        if (!m_ok || m_opaque) return;
        const int w = m_x1 - m_x0 + 1;
        for (int y = m_y0; y <= m_y1; y++) {
            const unsigned char* c = &m_cover[size_t(y - m_y0) * size_t(w)];
            int x = 0;
            while (x < w) {
                if (!c[x]) {
                    x++;
                    continue;
                }
                int e = x;
                while (e + 1 < w && c[e + 1]) e++;
                write(y, m_x0 + x, m_x0 + e);
                x = e + 1;
            }
        }
    }

private:
    void write(int y, int xa, int xb) {
        const int cn = m_img.channels();
        withDepth(m_img.type(), [&](auto t) {
            using T = decltype(t);
            T* row = m_img.ptr<T>(y);
            for (int x = xa; x <= xb; x++) {
                T* p = row + size_t(x) * cn;
                for (int k = 0; k < cn; k++) {
                    const double c = m_color[k < 4 ? k : 3];
                    if (m_opaque)
                        p[k] = saturate_cast<T>(c);
                    else
                        p[k] = saturate_cast<T>(double(p[k]) + (c - double(p[k])) * m_alpha);
                }
            }
        });
    }

    Mat& m_img;
    double m_color[4];
    double m_alpha = 0.0;
    bool m_ok = false;
    bool m_opaque = true;
    int m_x0 = 0, m_y0 = 0, m_x1 = -1, m_y1 = -1;
    std::vector<unsigned char> m_cover;
};

Point4_<double> colorOf(const Point4_<unsigned char>& c) {
    return Point4_<double>(c[0], c[1], c[2], c[3]);
}

int clampWidth(int w) {
    return w > kMaxLineWidth ? kMaxLineWidth : w;
}

// Round brush of `width` pixels: the rows lo..hi around the centre point and,
// for each, the inclusive column offsets. Odd widths are centred on the point;
// even widths extend one more pixel to the right and below.
struct Brush {
    int lo = 0, hi = 0;
    std::vector<int> xa, xb;
    explicit Brush(int width) {
        lo = -(width - 1) / 2;
        hi = width / 2;
        const double c = (width % 2 == 0) ? 0.5 : 0.0;
        const double r2 = (width / 2.0) * (width / 2.0);
        for (int j = lo; j <= hi; j++) {
            int a = hi + 1, b = lo - 1;
            for (int i = lo; i <= hi; i++) {
                if ((i - c) * (i - c) + (j - c) * (j - c) <= r2 + 1e-9) {
                    a = std::min(a, i);
                    b = std::max(b, i);
                }
            }
            xa.push_back(a);
            xb.push_back(b);
        }
    }
};

// Clips the segment to the box (Liang-Barsky, in double). False when nothing
// of it is inside; otherwise the end points are moved onto the box, rounded.
bool clipSegment(long long& x1, long long& y1, long long& x2, long long& y2, const BoxL& b) {
    auto inside = [&](long long x, long long y) {
        return x >= b.x0 && x <= b.x1 && y >= b.y0 && y <= b.y1;
    };
    if (inside(x1, y1) && inside(x2, y2)) return true;
    const double dx = double(x2) - double(x1), dy = double(y2) - double(y1);
    double t0 = 0.0, t1 = 1.0;
    const double p[4] = {-dx, dx, -dy, dy};
    const double q[4] = {double(x1) - double(b.x0), double(b.x1) - double(x1),
                         double(y1) - double(b.y0), double(b.y1) - double(y1)};
    for (int i = 0; i < 4; i++) {
        if (p[i] == 0.0) {
            if (q[i] < 0.0) return false;
            continue;
        }
        const double t = q[i] / p[i];
        if (p[i] < 0.0) {
            if (t > t1) return false;
            if (t > t0) t0 = t;
        } else {
            if (t < t0) return false;
            if (t < t1) t1 = t;
        }
    }
    const double ox = double(x1), oy = double(y1);
    x1 = std::llround(ox + t0 * dx);
    y1 = std::llround(oy + t0 * dy);
    x2 = std::llround(ox + t1 * dx);
    y2 = std::llround(oy + t1 * dy);
    return true;
}

// Calls f(x, y) for each Bresenham point from (x1, y1) to (x2, y2), both ends
// included; max(|dx|, |dy|) + 1 points.
template <typename F>
void bresenham(long long x1, long long y1, long long x2, long long y2, F&& f) {
    const long long dx = x2 > x1 ? x2 - x1 : x1 - x2, sx = x1 < x2 ? 1 : -1;
    const long long dy = -(y2 > y1 ? y2 - y1 : y1 - y2), sy = y1 < y2 ? 1 : -1;
    long long err = dx + dy;
    for (;;) {
        f(x1, y1);
        if (x1 == x2 && y1 == y2) break;
        const long long e2 = 2 * err;
        if (e2 >= dy) {
            err += dy;
            x1 += sx;
        }
        if (e2 <= dx) {
            err += dx;
            y1 += sy;
        }
    }
}

// Sends the spans of a line drawn with the round brush to the painter. The
// line is clipped to the image grown by the brush radius first, so far-away
// end points cost nothing. Each row of the swept brush is one span.
void lineSpans(Painter& p, const Mat& img, long long x1, long long y1, long long x2, long long y2,
               int width) {
    const Brush brush(width);
    const long long pad = width / 2 + 1;
    const BoxL box = {-pad, -pad, img.cols() - 1 + pad, img.rows() - 1 + pad};
    if (!clipSegment(x1, y1, x2, y2, box)) return;
    const long long top = std::min(y1, y2) + brush.lo, bottom = std::max(y1, y2) + brush.hi;
    const size_t n = size_t(bottom - top + 1);
    std::vector<long long> lo(n, LLONG_MAX), hi(n, LLONG_MIN);
    bresenham(x1, y1, x2, y2, [&](long long x, long long y) {
        for (int j = brush.lo; j <= brush.hi; j++) {
            const size_t r = size_t(y + j - top);
            const int bj = j - brush.lo;
            lo[r] = std::min(lo[r], x + brush.xa[bj]);
            hi[r] = std::max(hi[r], x + brush.xb[bj]);
        }
    });
    for (size_t r = 0; r < n; r++)
        if (lo[r] <= hi[r]) p.span(top + (long long)r, lo[r], hi[r]);
}

BoxL wholeImage(const Mat& m) {
    return {0, 0, m.cols() - 1LL, m.rows() - 1LL};
}

// Bounding box of a set of points grown by the brush reach.
BoxL pointsBox(const Point2_<int>* pts, int n, int width) {
    BoxL b = {LLONG_MAX, LLONG_MAX, LLONG_MIN, LLONG_MIN};
    for (int i = 0; i < n; i++) {
        b.x0 = std::min<long long>(b.x0, pts[i].x);
        b.y0 = std::min<long long>(b.y0, pts[i].y);
        b.x1 = std::max<long long>(b.x1, pts[i].x);
        b.y1 = std::max<long long>(b.y1, pts[i].y);
    }
    const long long pad = width / 2 + 1;
    return {b.x0 - pad, b.y0 - pad, b.x1 + pad, b.y1 + pad};
}

}  // namespace

void Mat::drawLine(const Point2_<int>& p1, const Point2_<int>& p2, Point4_<unsigned char> color,
                   int width, float opacity) {
    if (width < 1) return;
    width = clampWidth(width);
    Point2_<int> pts[2] = {p1, p2};
    Painter p(*this, colorOf(color), opacity, pointsBox(pts, 2, width));
    if (!p.ok()) return;
    lineSpans(p, *this, p1.x, p1.y, p2.x, p2.y, width);
    p.finish();
}

void Mat::drawCross(const Point2_<int>& center, int size, Point4_<unsigned char> color, int width,
                    float opacity) {
    if (width < 1 || size < 0) return;
    width = clampWidth(width);
    const long long cx = center.x, cy = center.y, s = size;
    const long long pad = width / 2 + 1;
    Painter p(*this, colorOf(color), opacity,
              {cx - s - pad, cy - s - pad, cx + s + pad, cy + s + pad});
    if (!p.ok()) return;
    lineSpans(p, *this, cx - s, cy, cx + s, cy, width);
    lineSpans(p, *this, cx, cy - s, cx, cy + s, width);
    p.finish();
}

void Mat::drawRect(const Rect_<int>& rect, Point4_<unsigned char> color, int width, float opacity) {
    if (width < 1 || rect.width <= 0 || rect.height <= 0) return;
    const long long x0 = rect.x, y0 = rect.y;
    const long long x1 = x0 + rect.width - 1, y1 = y0 + rect.height - 1;
    Painter p(*this, colorOf(color), opacity, {x0, y0, x1, y1});
    if (!p.ok()) return;
    // The border grows inwards, so the drawing never leaves the rectangle.
    const long long w = width;
    const long long ry0 = std::max<long long>(y0, 0), ry1 = std::min<long long>(y1, rows() - 1);
    for (long long y = ry0; y <= ry1; y++) {
        if (y < y0 + w || y > y1 - w) {
            p.span(y, x0, x1);
        } else {
            p.span(y, x0, std::min(x0 + w - 1, x1));
            p.span(y, std::max(x1 - w + 1, x0), x1);
        }
    }
    p.finish();
}

void Mat::drawPolygon(const Point2_<int>* pts, int n, Point4_<unsigned char> color, int width,
                      bool closed, float opacity) {
    if (!pts || n < 1 || width < 1) return;
    width = clampWidth(width);
    Painter p(*this, colorOf(color), opacity, pointsBox(pts, n, width));
    if (!p.ok()) return;
    if (n == 1) lineSpans(p, *this, pts[0].x, pts[0].y, pts[0].x, pts[0].y, width);
    for (int i = 0; i + 1 < n; i++)
        lineSpans(p, *this, pts[i].x, pts[i].y, pts[i + 1].x, pts[i + 1].y, width);
    if (closed && n > 2) lineSpans(p, *this, pts[n - 1].x, pts[n - 1].y, pts[0].x, pts[0].y, width);
    p.finish();
}

void Mat::drawMat(const Mat& src, const Point2_<int>& pt, float opacity) {
    if (empty() || src.empty() || src.type1() != type1() || !(opacity > 0.0f)) return;
    const double a = opacity > 1.0f ? 1.0 : double(opacity);
    const long long dx0 = std::max<long long>(pt.x, 0), dy0 = std::max<long long>(pt.y, 0);
    const long long dx1 = std::min<long long>((long long)pt.x + src.cols(), cols());
    const long long dy1 = std::min<long long>((long long)pt.y + src.rows(), rows());
    if (dx1 <= dx0 || dy1 <= dy0) return;
    const int sx = int(dx0 - pt.x), sy = int(dy0 - pt.y), w = int(dx1 - dx0), h = int(dy1 - dy0);
    // Matrices that may share pixels with this one are read from a copy.
    Mat tmp;
    const Mat* s = &src;
    if (&src == this || src.isRefered() || isRefered() || src.m_mode != 0 || m_mode != 0) {
        src.subMat(Rect_<int>(sx, sy, w, h), tmp);
        if (tmp.empty()) return;
        s = &tmp;
    }
    const int ox = s == &tmp ? 0 : sx, oy = s == &tmp ? 0 : sy;
    const int n = w * channels();
    withDepth(type(), [&](auto t) {
        using T = decltype(t);
        for (int y = 0; y < h; y++) {
            const T* sp = s->ptr<T>(oy + y) + size_t(ox) * channels();
            T* dp = ptr<T>(int(dy0) + y) + size_t(dx0) * channels();
            if (a >= 1.0) {
                std::memcpy(dp, sp, sizeof(T) * size_t(n));
            } else {
                for (int i = 0; i < n; i++)
                    dp[i] = saturate_cast<T>(double(dp[i]) + (double(sp[i]) - double(dp[i])) * a);
            }
        }
    });
}

void linePoints(int x1, int y1, int x2, int y2, int*& xs, int*& ys, int& n) {
    xs = ys = nullptr;
    n = 0;
    const long long dx = std::llabs((long long)x2 - x1), dy = std::llabs((long long)y2 - y1);
    const long long count = std::max(dx, dy) + 1;
    if (count > kMaxLinePoints) return;
    int* px = new (std::nothrow) int[size_t(count)];
    int* py = new (std::nothrow) int[size_t(count)];
    if (!px || !py) {
        delete[] px;
        delete[] py;
        return;
    }
    long long i = 0;
    bresenham(x1, y1, x2, y2, [&](long long x, long long y) {
        px[i] = int(x);
        py[i] = int(y);
        i++;
    });
    xs = px;
    ys = py;
    n = int(count);
}

void selectionPolygonFill(const Mat& src, Mat& dst, Rect_<int>& rect, const Point2_<int>* pts,
                          int n, int value) {
    rect = Rect_<int>();
    const int rows = src.rows(), cols = src.cols();
    if (src.empty() || !pts || n < 1) {
        if (&dst != &src) dst.release();
        return;
    }
    Mat out(rows, cols, MAT_Tuchar);
    if (out.empty()) return;
    out.zero();
    const unsigned char v = saturate_cast_int<unsigned char>(value);
    Painter p(out, Point4_<double>(v), 1.0f, wholeImage(out));
    // Interior: pixel centres on integer coordinates, crossings of each row
    // with the edges counted half-open in y, filled between pairs.
    long long miny = LLONG_MAX, maxy = LLONG_MIN, minx = LLONG_MAX, maxx = LLONG_MIN;
    for (int i = 0; i < n; i++) {
        miny = std::min<long long>(miny, pts[i].y);
        maxy = std::max<long long>(maxy, pts[i].y);
        minx = std::min<long long>(minx, pts[i].x);
        maxx = std::max<long long>(maxx, pts[i].x);
    }
    if (n >= 3) {
        std::vector<double> xs;
        const long long ya = std::max<long long>(miny, 0), yb = std::min<long long>(maxy, rows - 1);
        for (long long y = ya; y <= yb; y++) {
            xs.clear();
            for (int i = 0; i < n; i++) {
                const Point2_<int>& a = pts[i];
                const Point2_<int>& b = pts[(i + 1) % n];
                if (a.y == b.y) continue;
                const long long lo = std::min(a.y, b.y), hi = std::max(a.y, b.y);
                if (y < lo || y >= hi) continue;
                xs.push_back(double(a.x) +
                             (double(y) - a.y) * (double(b.x) - a.x) / (double(b.y) - a.y));
            }
            std::sort(xs.begin(), xs.end());
            for (size_t k = 0; k + 1 < xs.size(); k += 2) {
                const double l = std::ceil(xs[k]), r = std::floor(xs[k + 1]);
                if (l > r || r < 0 || l > cols - 1) continue;
                p.span(y, (long long)std::max(l, 0.0), (long long)std::min(r, double(cols - 1)));
            }
        }
    }
    // Outline: the boundary pixels belong to the selection too.
    for (int i = 0; i < n; i++) {
        const Point2_<int>& a = pts[i];
        const Point2_<int>& b = pts[(i + 1) % n];
        lineSpans(p, out, a.x, a.y, b.x, b.y, 1);
    }
    const long long x0 = std::max<long long>(minx, 0), y0 = std::max<long long>(miny, 0);
    const long long x1 = std::min<long long>(maxx, cols - 1),
                    y1 = std::min<long long>(maxy, rows - 1);
    if (x1 >= x0 && y1 >= y0)
        rect = Rect_<int>(int(x0), int(y0), int(x1 - x0 + 1), int(y1 - y0 + 1));
    dst = std::move(out);
}

}  // namespace tarvo
