// ipColorTemperature: warm or cool by per-channel offsets.
#include <new>

#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {

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

    if (!tmp.empty()) {
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
