// Bounding rectangle of a point sequence.
#include <cmath>
#include <cstring>

#include "tarvo/ip/shapes.h"

namespace tarvo {

namespace {

// Float bits as an int that orders like the float (negative values reversed).
int orderedKey(float f) {
    int i;
    std::memcpy(&i, &f, sizeof(i));
    return i ^ ((i >> 31) & 0x7FFFFFFF);
}
float fromKey(int k) {
    const int i = k ^ ((k >> 31) & 0x7FFFFFFF);
    float f;
    std::memcpy(&f, &i, sizeof(f));
    return f;
}
int floorToInt(float f) {
    const double v = std::floor((double)f);
    if (!(v >= -2147483648.0)) return v != v ? 0 : -2147483647 - 1;
    if (v > 2147483647.0) return 2147483647;
    return (int)v;
}

}  // namespace

Rect_<int> boundingRect(void* points, int update) {
    Rect_<int> rect;
    Sequence* seq = static_cast<Sequence*>(points);
    if (!seq || (seq->flags & SEQ_MAGIC_MASK) != SEQ_MAGIC_VAL) return rect;
    const int kind = seq->flags & SEQ_ELTYPE_MASK;
    if ((kind != SEQ_ELTYPE_POINT && kind != SEQ_ELTYPE_POINT2D32F) ||
        seq->elem_size != (int)sizeof(Point2_<int>))
        return rect;
    const bool big = seq->header_size >= (int)sizeof(IPContour);
    if (big && !update) return reinterpret_cast<IPContour*>(seq)->rect;
    if (seq->total > 0) {
        SeqReader reader;
        startReadSeq(seq, &reader);
        int v[2];
        std::memcpy(v, reader.ptr, sizeof(v));
        if (kind == SEQ_ELTYPE_POINT) {
            int xmin = v[0], xmax = v[0], ymin = v[1], ymax = v[1];
            for (int i = 1; i < seq->total; i++) {
                nextSeqElem(&reader);
                std::memcpy(v, reader.ptr, sizeof(v));
                if (v[0] < xmin) xmin = v[0];
                if (v[0] > xmax) xmax = v[0];
                if (v[1] < ymin) ymin = v[1];
                if (v[1] > ymax) ymax = v[1];
            }
            rect = Rect_<int>(xmin, ymin, (int)((long long)xmax - xmin + 1),
                              (int)((long long)ymax - ymin + 1));
        } else {
            float f[2];
            std::memcpy(f, reader.ptr, sizeof(f));
            int xmin = orderedKey(f[0]), xmax = xmin, ymin = orderedKey(f[1]), ymax = ymin;
            for (int i = 1; i < seq->total; i++) {
                nextSeqElem(&reader);
                std::memcpy(f, reader.ptr, sizeof(f));
                const int kx = orderedKey(f[0]), ky = orderedKey(f[1]);
                if (kx < xmin) xmin = kx;
                if (kx > xmax) xmax = kx;
                if (ky < ymin) ymin = ky;
                if (ky > ymax) ymax = ky;
            }
            const int x0 = floorToInt(fromKey(xmin)), y0 = floorToInt(fromKey(ymin));
            const int x1 = floorToInt(fromKey(xmax)), y1 = floorToInt(fromKey(ymax));
            rect = Rect_<int>(x0, y0, (int)((long long)x1 - x0 + 1), (int)((long long)y1 - y0 + 1));
        }
    }
    if (update && big) reinterpret_cast<IPContour*>(seq)->rect = rect;
    return rect;
}

}  // namespace tarvo
