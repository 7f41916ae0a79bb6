// ip::floodfill: a span fill. Each span is a run of matching pixels on one row;
// spans wait in a first-in first-out queue, and the rows above and below a
// span are searched for unmarked matching pixels that start new spans.
#include <cstdlib>
#include <vector>

#include "shapes/floodfill_simd.h"
#include "shapes/span_fill.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {
namespace detail {

bool SpanQueue::push(const Span& s) {
    if (head + count >= (long long)buf.size()) {
        // Keep the live entries, in order, in a buffer of twice the capacity.
        std::vector<Span> next(buf.size() * 2 + 16);
        for (long long i = 0; i < count; i++) next[size_t(i)] = buf[size_t(head + i)];
        buf.swap(next);
        head = 0;
    }
    buf[size_t(head + count)] = s;
    count++;
    return true;
}

Span SpanQueue::pop() {
    const Span s = buf[size_t(head)];
    head++;
    count--;
    return s;
}

}  // namespace detail

namespace {

struct FillState {
    unsigned char* const* img;
    unsigned char* const* mask;
    int width, height, cn, tolerance;
    unsigned char target[3], fill[3];

    bool matches(int x, int y) const {
        const unsigned char* p = img[y] + (long long)x * cn;
        for (int k = 0; k < cn; k++) {
            const int d = std::abs(int(p[k]) - int(target[k]));
            if (d > tolerance) return false;
        }
        return true;
    }
    void paint(int x, int y) const {
        mask[y][x] = 255;
        unsigned char* p = img[y] + (long long)x * cn;
        for (int k = 0; k < cn; k++) p[k] = fill[k];
    }
    // The same walk with vector tests and runs painted at once.
    void spanStepVec(int x, int y, detail::SpanQueue& q) const {
        unsigned char* px = img[y];
        unsigned char* m = mask[y];
        const int l = detail::vecFillFindBackward(px, m, x - 1, -1, cn, target, tolerance, false);
        const int r = detail::vecFillFindForward(px, m, x + 1, width, cn, target, tolerance, false);
        detail::vecFillPaint(px, m, l + 1, r, cn, fill);
        q.push({l + 1, r - 1, y});
    }
    void spanStep(int x, int y, detail::SpanQueue& q) const {
        paint(x, y);
        int l = x - 1, r = x + 1;
        const unsigned char* m = mask[y];
        while (l >= 0 && m[l] == 0 && matches(l, y)) paint(l--, y);
        while (r < width && m[r] == 0 && matches(r, y)) paint(r++, y);
        q.push({l + 1, r - 1, y});
    }
};

// The fill on the vector path: the same spans in the same order. Along a
// span, the next pixel above or below that starts a span is found by vector
// search; above goes before below at the same x, as in the plain loop.
void fillVec(const FillState& st, const Point2_<int>& seed, detail::SpanQueue& q) {
    const int tol = st.tolerance > 255 ? 255 : st.tolerance;
    FillState s = st;
    s.tolerance = tol;
    s.spanStepVec(seed.x, seed.y, q);
    auto next = [&](int yy, int x, int end) {
        if (yy < 0 || yy >= s.height) return end;
        return detail::vecFillFindForward(s.img[yy], s.mask[yy], x, end, s.cn, s.target, tol, true);
    };
    while (q.count > 0) {
        const detail::Span sp = q.pop();
        const int end = sp.right + 1;
        int a = next(sp.y - 1, sp.left, end), b = next(sp.y + 1, sp.left, end);
        while (a < end || b < end) {
            if (a <= b) {
                s.spanStepVec(a, sp.y - 1, q);
                if (b == a) s.spanStepVec(b, sp.y + 1, q);
                const int x = a + 1;
                a = next(sp.y - 1, x, end);
                if (b < x) b = next(sp.y + 1, x, end);
            } else {
                s.spanStepVec(b, sp.y + 1, q);
                b = next(sp.y + 1, b + 1, end);
            }
        }
    }
}

unsigned char toByte(double v) {
    const int i = truncInt(v);
    return (unsigned char)(i < 0 ? 0 : i > 255 ? 255 : i);
}

}  // namespace

void floodfill(Mat& image, Mat& mask, const Point2_<int>& seed, int tolerance,
               Point4_<double> color) {
    if (!image.isValid() || image.rows() <= 0 || image.cols() <= 0) return;
    mask = Mat::zeros(image.size(), MAT_Tuchar);
    if (mask.empty()) return;
    const int cn = image.channels();
    if (image.type() != MAT_Tuchar || (cn != 1 && cn != 3) || !image.isInside(seed.x, seed.y))
        return;
    FillState st;
    st.img = image.data.ptr;
    st.mask = mask.data.ptr;
    st.width = image.cols();
    st.height = image.rows();
    st.cn = cn;
    st.tolerance = tolerance;
    const unsigned char* s = image.ptr<unsigned char>(seed.y) + (long long)seed.x * cn;
    const double c[3] = {color[0], color[1], color[2]};
    for (int k = 0; k < 3; k++) {
        st.target[k] = k < cn ? s[k] : 0;
        st.fill[k] = toByte(c[k]);
    }
    detail::SpanQueue q((long long)(st.width + st.height) / 2 * 5);
    if (checkHardwareSupport(CPU_INT_VECTORS) && tolerance >= 0) {
        fillVec(st, seed, q);
        return;
    }
    st.spanStep(seed.x, seed.y, q);
    while (q.count > 0) {
        const detail::Span sp = q.pop();
        for (int x = sp.left; x <= sp.right; x++) {
            if (sp.y > 0 && st.mask[sp.y - 1][x] == 0 && st.matches(x, sp.y - 1))
                st.spanStep(x, sp.y - 1, q);
            if (sp.y < st.height - 1 && st.mask[sp.y + 1][x] == 0 && st.matches(x, sp.y + 1))
                st.spanStep(x, sp.y + 1, q);
        }
    }
}

}  // namespace ip
}  // namespace tarvo
