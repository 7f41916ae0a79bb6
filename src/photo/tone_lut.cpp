// Row drivers of the byte tables: whole rows through the vector lookup with a
// scalar tail, rows in parallel.
#include "photo/photo_internal.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {

void photoLutRows(const Mat& src, Mat& dst, const unsigned char lut[256]) {
    const int n = src.cols() * src.channels();
    const bool vec = checkHardwareSupport(CPU_INT_VECTORS);
    uint8_t chain[256];
    if (vec) photoLutChain(lut, chain);
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const unsigned char* s = src.data.ptr[y];
            unsigned char* d = dst.data.ptr[y];
            int x = vec ? photoLutU8(s, d, n, chain) : 0;
            for (; x < n; x++) d[x] = lut[s[x]];
        }
    };
    photoParallelRows(src.rows(), double(src.rows()) * n / 2.0, body);
}

void photoLutRowsRGB(const Mat& src, Mat& dst, const unsigned char lut[256]) {
    const int cn = src.channels();
    if (cn <= 3) {
        photoLutRows(src, dst, lut);
        return;
    }
    const int cols = src.cols();
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const unsigned char* s = src.data.ptr[y];
            unsigned char* d = dst.data.ptr[y];
            for (int x = 0; x < cols; x++, s += cn, d += cn) {
                d[0] = lut[s[0]];
                d[1] = lut[s[1]];
                d[2] = lut[s[2]];
                for (int k = 3; k < cn; k++) d[k] = s[k];
            }
        }
    };
    photoParallelRows(src.rows(), double(src.rows()) * cols, body);
}

void photoLutRowsF32(const Mat& src, Mat& dst, const unsigned char lut[256]) {
    const int n = src.cols() * src.channels();
    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const float* s = src.data.fl[y];
            float* d = dst.data.fl[y];
            for (int x = 0; x < n; x++) {
                int k = truncInt(s[x]);
                k = k < 0 ? 0 : k > 255 ? 255 : k;
                d[x] = float(lut[k]);
            }
        }
    };
    photoParallelRows(src.rows(), double(src.rows()) * n, body);
}

}  // namespace detail
}  // namespace tarvo
