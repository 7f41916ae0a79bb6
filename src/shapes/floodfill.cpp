// ip::floodfill: a span fill. Each span is a run of matching pixels on one row;
// spans wait in a first-in first-out queue, and the rows above and below a
// span are searched for unmarked matching pixels that start new spans.
#include <cstdlib>
#include <vector>

#include "shapes/span_fill.h"
#include "tarvo/ip/shapes.h"
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
    void spanStep(int x, int y, detail::SpanQueue& q) const {
        paint(x, y);
        int l = x - 1, r = x + 1;
        const unsigned char* m = mask[y];
        while (l >= 0 && m[l] == 0 && matches(l, y)) paint(l--, y);
        while (r < width && m[r] == 0 && matches(r, y)) paint(r++, y);
        q.push({l + 1, r - 1, y});
    }
};

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
