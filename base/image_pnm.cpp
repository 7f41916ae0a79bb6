// Portable grey and pixel maps: P2/P5 (grey) and P3/P6 (RGB), text or binary,
// any maxval from 1 to 65535 (samples scaled to bytes). Writing gives binary
// P5/P6 with maxval 255.
#include <cstdio>
#include <cstring>

#include "image_io.h"

namespace tarvo {
namespace detail {
namespace {

struct PnmCursor {
    const unsigned char* p;
    const unsigned char* end;
};

bool isSpace(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// Skips white space and '#' comments (up to the end of the line).
void skipSpaceAndComments(PnmCursor& cur) {
    while (cur.p < cur.end) {
        if (isSpace(*cur.p)) {
            cur.p++;
        } else if (*cur.p == '#') {
            while (cur.p < cur.end && *cur.p != '\n' && *cur.p != '\r') cur.p++;
        } else {
            break;
        }
    }
}

// A decimal number up to maxValue; false when there is none or it is larger.
bool readNumber(PnmCursor& cur, long long maxValue, long long& value) {
    skipSpaceAndComments(cur);
    if (cur.p >= cur.end || *cur.p < '0' || *cur.p > '9') return false;
    long long v = 0;
    while (cur.p < cur.end && *cur.p >= '0' && *cur.p <= '9') {
        v = v * 10 + (*cur.p - '0');
        if (v > maxValue) return false;
        cur.p++;
    }
    value = v;
    return true;
}

// A sample of 0..maxval scaled to 0..255, rounded to nearest. Samples above
// maxval (invalid) are clamped to it.
inline unsigned char scaleSample(unsigned v, unsigned maxval) {
    if (v > maxval) v = maxval;
    if (maxval == 255) return (unsigned char)v;
    return (unsigned char)((v * 255u + maxval / 2) / maxval);
}

}  // namespace

bool decodePnm(const unsigned char* data, size_t size, const ImageLimits& lim, Mat& out) {
    if (out.isRefered()) out.release();
    if (!data || size < 3 || data[0] != 'P') return false;
    const char kind = (char)data[1];
    const bool binary = kind == '5' || kind == '6';
    const int cn = (kind == '3' || kind == '6') ? 3 : 1;
    if (kind != '2' && kind != '3' && kind != '5' && kind != '6') return false;
    if (!isSpace(data[2]) && data[2] != '#') return false;

    PnmCursor cur{data + 2, data + size};
    long long width = 0, height = 0, maxval = 0;
    if (!readNumber(cur, lim.maxDim, width) || !readNumber(cur, lim.maxDim, height) ||
        !readNumber(cur, 65535, maxval))
        return false;
    if (maxval < 1 || !imageSizeOk(width, height, lim)) return false;
    // Exactly one white-space character ends the header.
    if (cur.p >= cur.end || !isSpace(*cur.p)) return false;
    cur.p++;

    const unsigned long long samples = (unsigned long long)width * height * cn;
    const size_t remaining = (size_t)(cur.end - cur.p);
    const unsigned bytesPerSample = maxval > 255 ? 2 : 1;
    if (binary) {
        if (samples * bytesPerSample > remaining) return false;
    } else {
        // Each text sample takes a digit and, except the last, a separator.
        if (samples > (remaining + 1) / 2) return false;
    }

    const int w = (int)width, h = (int)height;
    if (out.create(h, w, MAKETYPE(MAT_Tuchar, cn)) < 0) return false;
    const unsigned mv = (unsigned)maxval;
    const size_t rowSamples = (size_t)w * cn;
    unsigned char lut[256];
    for (unsigned v = 0; v < 256; v++) lut[v] = scaleSample(v, mv);
    for (int y = 0; y < h; y++) {
        unsigned char* d = out.data.ptr[y];
        if (binary && bytesPerSample == 1) {
            if (mv == 255)
                std::memcpy(d, cur.p, rowSamples);
            else
                for (size_t i = 0; i < rowSamples; i++) d[i] = lut[cur.p[i]];
            cur.p += rowSamples;
        } else if (binary) {
            for (size_t i = 0; i < rowSamples; i++)
                d[i] = scaleSample(((unsigned)cur.p[2 * i] << 8) | cur.p[2 * i + 1], mv);
            cur.p += 2 * rowSamples;
        } else {
            for (size_t i = 0; i < rowSamples; i++) {
                long long v = 0;
                // A sample larger than 65535 is not a valid sample at all.
                if (!readNumber(cur, 65535, v)) {
                    out.release();
                    return false;
                }
                d[i] = scaleSample((unsigned)v, mv);
            }
        }
    }
    return true;
}

bool encodePnm(const Mat& img, const char* path) {
    const int cn = img.channels();
    const int w = img.cols(), h = img.rows();
    FILE* fp = std::fopen(path, "wb");
    if (!fp) return false;
    bool ok = std::fprintf(fp, "P%c\n%d %d\n255\n", cn == 1 ? '5' : '6', w, h) > 0;
    const size_t rowBytes = (size_t)w * cn;
    for (int y = 0; ok && y < h; y++)
        ok = std::fwrite(img.ptr<unsigned char>(y), 1, rowBytes, fp) == rowBytes;
    if (std::fclose(fp) != 0) ok = false;
    if (!ok) std::remove(path);
    return ok;
}

}  // namespace detail
}  // namespace tarvo
