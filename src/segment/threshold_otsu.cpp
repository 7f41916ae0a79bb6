// ip::otsuThreshold: Otsu's threshold of the masked pixels, single precision.
#include <cstdint>

#include "segment/threshold_internal.h"
#include "tarvo/ip/segment.h"

namespace tarvo {
namespace ip {

unsigned char otsuThreshold(const Mat& src, const Mat& mask) {
    if (src.empty() || src.rows() <= 0 || src.cols() <= 0) return 0;
    const int rows = src.rows(), cols = src.cols();
    long long hist[256];
    long long n = 0;
    if (mask.empty()) {
        n = detail::byteHistogram(src, hist);
    } else {
        // A mask is read as bytes, one per pixel; it must cover the image.
        if (!mask.isEqualSize(src)) return 0;
        for (int v = 0; v < 256; v++) hist[v] = 0;
        for (int y = 0; y < rows; y++) {
            const unsigned char* s = src.data.ptr[y];
            const unsigned char* mk = mask.data.ptr[y];
            for (int x = 0; x < cols; x++)
                if (mk[x]) {
                    hist[s[x]]++;
                    n++;
                }
        }
    }
    if (n <= 0) return 0;

    // The search runs in float; the upper weight limit is compared in double.
    const float fn = float(n);
    float p[256];
    float mu = 0.0f;
    for (int i = 0; i < 256; i++) {
        p[i] = float(hist[i]) / fn;
        mu += float(i) * p[i];
    }
    float q1 = 0.0f, mu1 = 0.0f, best = 0.0f;
    int level = 0;
    for (int i = 0; i < 256; i++) {
        mu1 *= q1;
        q1 += p[i];
        const float q2 = 1.0f - q1;
        const float lo = q1 < q2 ? q1 : q2, hi = q1 < q2 ? q2 : q1;
        if (lo < 1.1920929e-7f || double(hi) > 0.9999998807907104) continue;
        mu1 = (mu1 + float(i) * p[i]) / q1;
        const float mu2 = (mu - q1 * mu1) / q2;
        const float d = mu1 - mu2;
        const float sigma = q1 * q2 * (d * d);
        if (sigma > best) {
            best = sigma;
            level = i;
        }
    }
    return (unsigned char)level;
}

}  // namespace ip
}  // namespace tarvo
