// ipColorTemperature: warm or cool by per-channel offsets.
#include <new>

#include "photo/color_internal.h"
#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

// The fast path. The result of a byte depends on its value and channel only.
// Each channel's 256 results are checked against a clamped whole-number offset
// (truncating v + f gives v + floor(f) or saturates for every offset a whole
// kelvin value produces); when all channels match, the rows run as vector
// saturating adds. Returns false, having written nothing, when they do not.
bool applyOffsetsFast(const Mat& src, Mat& tmp, const float offset[3]) {
    const int cn = src.channels();
    const int kn = cn < 3 ? cn : 3;
    unsigned char table[3][256];
    int adds[64] = {0};
    bool whole = cn <= 64;
    for (int k = 0; k < kn; k++) {
        for (int v = 0; v < 256; v++)
            table[k][v] = saturate_trunc<unsigned char>(float(v) + offset[k]);
        // The candidate offset from a byte that did not saturate, else the full one.
        int c = table[k][0] == 255 ? 255 : -255;
        for (int v = 0; v < 256; v++) {
            if (table[k][v] != 0 && table[k][v] != 255) {
                c = table[k][v] - v;
                break;
            }
        }
        for (int v = 0; v < 256 && whole; v++) {
            const int e = v + c;
            whole = table[k][v] == (e < 0 ? 0 : e > 255 ? 255 : e);
        }
        adds[k] = c;
    }
    if (!whole) return false;
    detail::photoAddSaturatedRows(src.data.ptr, tmp.data.ptr, src.rows(), src.rowByteSize(), cn,
                                  adds);
    return true;
}

}  // namespace

PumpABC* ipColorTemperature::clone() const {
    return new (std::nothrow) ipColorTemperature(temperature);
}

bool ipColorTemperature::process(Mat* src, Mat* dst) {
    if (!src) return false;
    Mat tmp;
    if (!src->empty()) tmp.create(src->rows(), src->cols(), src->type1());

    const double T = double(temperature);
    float offset[3];
    if (T < 6600.0) {
        const double k = (6600.0 - T) / 2600.0;
        offset[0] = float(-100.0 * k);
        offset[1] = float(-59.0 * k);
        offset[2] = float(72.0 * k);
    } else {
        const double k = (T - 6600.0) / 5400.0;
        offset[0] = float(100.0 * k);
        offset[1] = float(82.0 * k);
        offset[2] = float(-86.0 * k);
    }

    if (!tmp.empty() && !(detail::useOptimized() && applyOffsetsFast(*src, tmp, offset))) {
        // Byte depth is assumed; every element byte of the row is treated as a
        // channel value, so other depths stay within their rows.
        const int cn = src->channels();
        const int bytes = src->rowByteSize();
        for (int y = 0; y < src->rows(); y++) {
            const unsigned char* s = src->data.ptr[y];
            unsigned char* d = tmp.data.ptr[y];
            for (int i = 0, k = 0; i < bytes; i++) {
                // Channels past the third keep their value.
                const float off = k < 3 ? offset[k] : 0.0f;
                d[i] = saturate_trunc<unsigned char>(float(s[i]) + off);
                if (++k == cn) k = 0;
            }
        }
    }
    Mat* out = dst ? dst : src;
    out->release();
    out->swap(tmp);
    return true;
}

namespace ip {

void colorTemperature(const Mat& src, Mat& dst, int temperature) {
    ipColorTemperature op(temperature);
    op.ipColorTemperature::process(const_cast<Mat*>(&src), &dst);
}

}  // namespace ip
}  // namespace tarvo
