// ipShiftRGB: add a constant to each colour channel.
#include <new>

#include "photo/color_internal.h"
#include "tarvo/ip/photo.h"

namespace tarvo {

PumpABC* ipShiftRGB::clone() const {
    ipShiftRGB* c = new (std::nothrow) ipShiftRGB();
    if (!c) return nullptr;
    for (int k = 0; k < 3; k++) c->shift[k] = shift[k];
    return c;
}

bool ipShiftRGB::process(Mat* src, Mat* dst) {
    if (!src) return false;
    // This operator never re-creates its destination; one of another shape (or
    // channel count, which would be written past its rows) is refused.
    if (dst && (!isSameShape(src, dst) || dst->channels() != src->channels())) return false;
    if (!dst) dst = src;
    if (src->empty()) return true;

    const int rows = src->rows(), cols = src->cols(), cn = src->channels();
    const int depth = src->type();
    // A shift beyond +-255 saturates every byte like +-255 does; limiting it
    // first keeps the integer sum from overflowing.
    int bshift[3];
    for (int k = 0; k < 3; k++)
        bshift[k] = shift[k] < -255 ? -255 : shift[k] > 255 ? 255 : shift[k];
    if (depth == MAT_Tuchar && detail::useOptimized()) {
        // Saturating vector adds over whole rows, rows in parallel; channels
        // past the third get 0 added.
        int adds[64] = {0};
        for (int k = 0; k < 3 && k < cn; k++) adds[k] = bshift[k];
        detail::photoAddSaturatedRows(src->data.ptr, dst->data.ptr, rows, cols * cn, cn, adds);
    } else if (cn > 1 && depth == MAT_Tuchar) {
        for (int y = 0; y < rows; y++) {
            const unsigned char* s = src->data.ptr[y];
            unsigned char* d = dst->data.ptr[y];
            for (int x = 0; x < cols; x++, s += cn, d += cn) {
                for (int k = 0; k < cn; k++) {
                    // Channels past the third are copied unchanged.
                    const int v = s[k] + (k < 3 ? bshift[k] : 0);
                    d[k] = (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
                }
            }
        }
    } else if (cn > 1 && depth == MAT_Tfloat) {
        // Indexed by column, not by column times channels: only the first cols
        // floats of a row are written, and the last shift applied is what stays
        // (in place, the shifts add up).
        const int kn = cn < 3 ? cn : 3;
        for (int y = 0; y < rows; y++) {
            const float* s = src->ptr<float>(y);
            float* d = dst->ptr<float>(y);
            for (int x = 0; x < cols; x++)
                for (int k = 0; k < kn; k++) d[x] = float(shift[k]) + s[x];
        }
    } else if (cn == 1 && depth == MAT_Tuchar) {
        for (int y = 0; y < rows; y++) {
            const unsigned char* s = src->data.ptr[y];
            unsigned char* d = dst->data.ptr[y];
            for (int x = 0; x < cols; x++) {
                const int v = s[x] + bshift[0];
                d[x] = (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
            }
        }
    } else if (cn == 1 && depth == MAT_Tfloat) {
        for (int y = 0; y < rows; y++) {
            const float* s = src->ptr<float>(y);
            float* d = dst->ptr<float>(y);
            for (int x = 0; x < cols; x++) d[x] = s[x] + float(shift[0]);
        }
    }
    return true;
}

namespace ip {

void shiftRGB(const Mat& src, Mat& dst, int shift0, int shift1, int shift2) {
    ipShiftRGB op;
    op.shift[0] = shift0;
    op.shift[1] = shift1;
    op.shift[2] = shift2;
    op.ipShiftRGB::process(const_cast<Mat*>(&src), &dst);
}

}  // namespace ip
}  // namespace tarvo
