// ipDenoise and ip::bloom: the stylising operators built on the direct
// convolution and median filters.
#include "photo/histogram_ops_internal.h"
#include "photo/photo_internal.h"
#include "photo/stylise_internal.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/photo.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {
const int kBox3[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
const int kBinom3[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
const int kBinom5[25] = {0, 1, 2, 1, 0, 1, 3, 4, 3, 1, 2, 4, 8, 4, 2, 1, 3, 4, 3, 1, 0, 1, 2, 1, 0};
}  // namespace

bool ipDenoise::process(Mat* src, Mat* dst) {
    if (!detail::photoStyliseInput(src)) return false;
    // The work matrix keeps the source's channels: the filters write whole
    // pixels, and a one-channel work matrix would be overrun by a colour source.
    Mat work(src->rows(), src->cols(), src->type1());
    if (work.empty()) return false;
    work.zero();
    const int offset = truncInt(strength * 50.0f);
    switch (method) {
        case 0:
            ip::convolve2(*src, work, kBox3, 3, 9, offset, FilterSquare);
            break;
        case 1:
            ip::convolve2(*src, work, kBinom3, 3, 16, offset, FilterSquare);
            break;
        case 2:
            ip::convolve2(*src, work, kBinom5, 5, 52, offset, FilterSquare);
            break;
        case 3:
            ip::median(*src, work, 3, FilterSquare);
            break;
        default:
            break;  // zeros of the right size
    }
    Mat* target = dst ? dst : src;
    target->swap(work);
    return true;
}

namespace ip {

void denoise(const Mat& src, Mat& dst, float strength, int method) {
    ipDenoise op(strength, method);
    op.ipDenoise::process(const_cast<Mat*>(&src), &dst);
}

void bloom(const Mat& src, Mat& dst, float lift, float gain) {
    if (!detail::photoStyliseInput(&src) || src.channels() == 2) return;
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    Mat out(rows, cols, src.type1());
    if (out.empty()) return;
    const float raise = lift * 0.2f / 0.65f * 255.0f;
    // The luminance lift as one pass per pixel: Y, U, V in float, Y mapped,
    // back to bytes rounded, as the float colour conversions would do.
    auto mapY = [&](float y) {
        const int q = truncInt(y) & 255;
        const float w = float(q) * gain + float(q) + raise;
        return w > 255.0f ? 255.0f : float(truncInt(w) & 255);
    };
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const unsigned char* s = src.data.ptr[y];
            unsigned char* d = out.data.ptr[y];
            for (int x = 0; x < cols; x++, s += cn, d += cn) {
                if (cn == 1) {
                    // A grey pixel is its own Y and comes back unchanged in colour.
                    d[0] = saturate_cast<unsigned char>(double(mapY(float(s[0]))));
                    continue;
                }
                float Y, U, V;
                detail::histToYuv(s, Y, U, V);
                detail::histFromYuv(mapY(Y), U, V, d);
                for (int k = 3; k < cn; k++) d[k] = s[k];
            }
        }
    };
    if (!detail::useOptimized() || cn == 4) {
        detail::photoParallelRows(rows, double(rows) * cols * 4.0, body);
        light(out, 40, 0);
    } else {
        // The brightening that follows is a byte table: light's own result on
        // a ramp of all 256 values, applied while each chunk is at hand.
        Mat ramp(1, 256, MAT_Tuchar), lifted;
        if (ramp.empty()) return;
        for (int v = 0; v < 256; v++) ramp.data.ptr[0][v] = (unsigned char)v;
        light(ramp, lifted, 40, 0);
        if (lifted.empty()) return;
        const unsigned char* lift = lifted.data.ptr[0];
        if (cn == 3) {
            // The conversions a chunk of the row at a time, in vector code; the
            // map depends on trunc(Y) (0..255) alone, so it is a table.
            float mapped[256];
            for (int v = 0; v < 256; v++) mapped[v] = mapY(float(v));
            detail::LumaAffine curve;
            curve.table = mapped;
            curve.post = lift;
            detail::histRemapLuma(
                src, out, [&](float y) { return mapped[truncInt(y) & 255]; }, &curve);
        } else {
            unsigned char lut[256];
            for (int v = 0; v < 256; v++)
                lut[v] = lift[saturate_cast<unsigned char>(double(mapY(float(v))))];
            detail::photoLutRows(src, out, lut);
        }
    }
    histogramStretch(out, 0);
    convolve2(out, kBox3, 3, 9, 0, FilterSquare);
    // The glow is for colour: an alpha channel comes through as it was.
    for (int y = 0; y < rows && cn == 4; y++)
        for (int x = 0; x < cols; x++) out.data.ptr[y][4 * x + 3] = src.data.ptr[y][4 * x + 3];
    dst.swap(out);
}

}  // namespace ip
}  // namespace tarvo
