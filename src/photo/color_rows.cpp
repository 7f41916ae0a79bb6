// Row driver of the per-channel saturating byte offsets.
#include <cstring>

#include "photo/color_internal.h"

namespace tarvo {
namespace detail {

void photoAddSaturatedRows(unsigned char* const* srcRows, unsigned char* const* dstRows, int rows,
                           int rowBytes, int period, const int* adds) {
    if (rows <= 0 || rowBytes <= 0 || period < 1 || period > 64) return;
    // Offsets beyond +-255 saturate every byte exactly like +-255 does.
    int add[64];
    for (int k = 0; k < period; k++) add[k] = adds[k] < -255 ? -255 : adds[k] > 255 ? 255 : adds[k];

    // Patterns for the vector kernel and one table per position for the tails.
    uint8_t plus[64 + kPhotoMaxVectorBytes], minus[64 + kPhotoMaxVectorBytes];
    for (int i = 0; i < period + kPhotoMaxVectorBytes; i++) {
        const int a = add[i % period];
        plus[i] = uint8_t(a > 0 ? a : 0);
        minus[i] = uint8_t(a < 0 ? -a : 0);
    }
    const bool vec = checkHardwareSupport(CPU_INT_VECTORS);

    const auto body = [&](int y0, int y1) {
        for (int y = y0; y < y1; y++) {
            const unsigned char* s = srcRows[y];
            unsigned char* d = dstRows[y];
            int x = vec ? photoAddSatU8(s, d, rowBytes, plus, minus, period) : 0;
            for (int k = x % period; x < rowBytes; x++) {
                const int v = s[x] + add[k];
                d[x] = (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
                if (++k == period) k = 0;
            }
        }
    };
    photoParallelRows(rows, double(rows) * rowBytes / 3.0, body);
}

}  // namespace detail
}  // namespace tarvo
