// Windows bitmap reader and writer. Read: 1, 4 and 8 bits with a palette, 24
// bits, 32 bits (plain or with channel masks); bottom-up and top-down rows.
// Run-length compressed files are refused. Every size in the headers is
// checked against the bytes actually present before anything is allocated.
#include <climits>
#include <cstdio>
#include <cstring>

#include "image_io.h"

namespace tarvo {
namespace detail {
namespace {

constexpr unsigned BI_RGB = 0;
constexpr unsigned BI_BITFIELDS = 3;
constexpr unsigned BI_ALPHABITFIELDS = 6;
constexpr size_t FILE_HEADER = 14;

unsigned rd16(const unsigned char* p) {
    return (unsigned)p[0] | ((unsigned)p[1] << 8);
}
uint32_t rd32(const unsigned char* p) {
    return (uint32_t)p[0] | ((uint32_t)p[1] << 8) | ((uint32_t)p[2] << 16) | ((uint32_t)p[3] << 24);
}
int32_t rds32(const unsigned char* p) {
    const uint32_t u = rd32(p);
    int32_t s;
    std::memcpy(&s, &u, 4);
    return s;
}

// A channel mask of a 32-bit bitmap: where it starts and how wide it is.
struct MaskField {
    uint32_t mask = 0;
    int shift = 0;
    int bits = 0;
};

// Accepts only a contiguous run of set bits (or an empty mask).
bool makeField(uint32_t mask, MaskField& f) {
    f.mask = mask;
    f.shift = 0;
    f.bits = 0;
    if (mask == 0) return true;
    while (!((mask >> f.shift) & 1u)) f.shift++;
    uint32_t m = mask >> f.shift;
    while (f.bits < 32 && (m & 1u)) {
        f.bits++;
        m >>= 1;
    }
    return m == 0;
}

// The field's value scaled to 0..255 with rounding.
unsigned char fieldValue(uint32_t px, const MaskField& f) {
    if (f.bits == 0) return 0;
    const uint64_t v = (px & f.mask) >> f.shift;
    const uint64_t maxv = (f.bits >= 32) ? 0xFFFFFFFFull : ((1ull << f.bits) - 1);
    return (unsigned char)((v * 255 + maxv / 2) / maxv);
}

bool putLE16(FILE* fp, unsigned v) {
    const unsigned char b[2] = {(unsigned char)v, (unsigned char)(v >> 8)};
    return std::fwrite(b, 1, 2, fp) == 2;
}
bool putLE32(FILE* fp, uint32_t v) {
    const unsigned char b[4] = {(unsigned char)v, (unsigned char)(v >> 8), (unsigned char)(v >> 16),
                                (unsigned char)(v >> 24)};
    return std::fwrite(b, 1, 4, fp) == 4;
}

}  // namespace

bool decodeBmp(const unsigned char* data, size_t size, bool keepAlpha, const ImageLimits& lim,
               Mat& out) {
    if (out.isRefered()) out.release();
    if (!data || size < FILE_HEADER + 12 || data[0] != 'B' || data[1] != 'M') return false;
    const uint32_t pixelOffset = rd32(data + 10);
    const uint32_t infoSize = rd32(data + 14);
    if (infoSize < 12 || infoSize > size - FILE_HEADER) return false;
    const unsigned char* info = data + FILE_HEADER;

    long long width, height;
    unsigned planes, bpp;
    uint32_t compression = BI_RGB, colorsUsed = 0;
    bool core = infoSize < 40;
    if (core) {
        // The old 12-byte header: 16-bit unsigned sizes, 3-byte palette entries.
        if (infoSize != 12) return false;
        width = rd16(info + 4);
        height = rd16(info + 6);
        planes = rd16(info + 8);
        bpp = rd16(info + 10);
    } else {
        width = rds32(info + 4);
        const int32_t h = rds32(info + 8);
        // Negative means top-down; INT_MIN has no positive counterpart.
        if (h == INT32_MIN) return false;
        height = h;
        planes = rd16(info + 12);
        bpp = rd16(info + 14);
        compression = rd32(info + 16);
        colorsUsed = rd32(info + 32);
    }
    const bool topDown = height < 0;
    if (topDown) height = -height;
    if (planes != 1 || !imageSizeOk(width, height, lim)) return false;
    if (bpp != 1 && bpp != 4 && bpp != 8 && bpp != 24 && bpp != 32) return false;

    // Channel masks of 32-bit pictures.
    MaskField fr, fg, fb, fa;
    bool useMasks = false;
    if (compression == BI_BITFIELDS || compression == BI_ALPHABITFIELDS) {
        if (bpp != 32) return false;
        // The masks sit inside a header of 52 bytes or more, else right behind
        // the 40-byte header; an alpha mask exists from 56 bytes on.
        const bool alphaMask = compression == BI_ALPHABITFIELDS || infoSize >= 56;
        const size_t maskPos = FILE_HEADER + 40;
        if (maskPos + (alphaMask ? 16 : 12) > size) return false;
        const uint32_t am = alphaMask ? rd32(data + maskPos + 12) : 0;
        if (!makeField(rd32(data + maskPos), fr) || !makeField(rd32(data + maskPos + 4), fg) ||
            !makeField(rd32(data + maskPos + 8), fb) || !makeField(am, fa))
            return false;
        useMasks = true;
    } else if (compression != BI_RGB) {
        return false;  // run-length and embedded JPEG/PNG bitmaps are not read
    }

    // Palette.
    unsigned char pal[256][3];
    std::memset(pal, 0, sizeof(pal));
    bool greyPalette = true;
    if (bpp <= 8) {
        const unsigned maxColors = 1u << bpp;
        unsigned n = colorsUsed == 0 ? maxColors : colorsUsed;
        if (n > maxColors) n = maxColors;
        const size_t entry = core ? 3 : 4;
        const size_t palPos = FILE_HEADER + infoSize;
        // Only entries before the pixel data and inside the file are read;
        // indices past the stored palette read black.
        size_t palEnd = pixelOffset < size ? pixelOffset : size;
        if (palPos > palEnd) return false;
        const size_t avail = (palEnd - palPos) / entry;
        if (avail < n) n = (unsigned)avail;
        for (unsigned i = 0; i < n; i++) {
            const unsigned char* e = data + palPos + i * entry;
            pal[i][0] = e[2];
            pal[i][1] = e[1];
            pal[i][2] = e[0];
        }
        for (unsigned i = 0; i < maxColors && greyPalette; i++)
            greyPalette = pal[i][0] == pal[i][1] && pal[i][1] == pal[i][2];
    }

    // Rows are padded to 4 bytes; all of them must be in the file.
    const unsigned long long stride = (((unsigned long long)width * bpp + 31) / 32) * 4;
    if (pixelOffset > size || stride * (unsigned long long)height > size - pixelOffset)
        return false;

    int cn;
    if (bpp <= 8)
        cn = greyPalette ? 1 : 3;
    else if (bpp == 32 && useMasks && fa.bits > 0 && keepAlpha)
        cn = 4;
    else
        cn = 3;
    const int w = (int)width, h = (int)height;
    if (out.create(h, w, MAKETYPE(MAT_Tuchar, cn)) < 0) return false;

    for (int y = 0; y < h; y++) {
        const unsigned char* src = data + pixelOffset + stride * (size_t)(topDown ? y : h - 1 - y);
        unsigned char* d = out.data.ptr[y];
        if (bpp <= 8) {
            const unsigned perByte = 8 / bpp;
            const unsigned mask = (1u << bpp) - 1;
            for (int x = 0; x < w; x++) {
                const unsigned byte = src[(unsigned)x / perByte];
                const unsigned shift = 8 - bpp * ((unsigned)x % perByte + 1);
                const unsigned idx = (byte >> shift) & mask;
                if (cn == 1) {
                    d[x] = pal[idx][0];
                } else {
                    d[3 * x + 0] = pal[idx][0];
                    d[3 * x + 1] = pal[idx][1];
                    d[3 * x + 2] = pal[idx][2];
                }
            }
        } else if (bpp == 24) {
            for (int x = 0; x < w; x++, src += 3, d += 3) {
                d[0] = src[2];
                d[1] = src[1];
                d[2] = src[0];
            }
        } else if (!useMasks) {
            // Plain 32-bit: B, G, R and an unused byte.
            for (int x = 0; x < w; x++, src += 4, d += 3) {
                d[0] = src[2];
                d[1] = src[1];
                d[2] = src[0];
            }
        } else {
            for (int x = 0; x < w; x++, src += 4, d += cn) {
                const uint32_t px = rd32(src);
                d[0] = fieldValue(px, fr);
                d[1] = fieldValue(px, fg);
                d[2] = fieldValue(px, fb);
                if (cn == 4) d[3] = fieldValue(px, fa);
            }
        }
    }
    return true;
}

bool encodeBmp(const Mat& img, const char* path) {
    const int cn = img.channels();
    const int w = img.cols(), h = img.rows();
    const unsigned bpp = cn == 1 ? 8 : 24;
    const unsigned long long stride = (((unsigned long long)w * bpp + 31) / 32) * 4;
    const unsigned long long palBytes = cn == 1 ? 256 * 4 : 0;
    const unsigned long long offset = FILE_HEADER + 40 + palBytes;
    const unsigned long long fileSize = offset + stride * (unsigned long long)h;
    if (fileSize > 0xFFFFFFFFull) return false;

    FILE* fp = std::fopen(path, "wb");
    if (!fp) return false;
    bool ok = std::fwrite("BM", 1, 2, fp) == 2;
    ok = ok && putLE32(fp, (uint32_t)fileSize) && putLE32(fp, 0) && putLE32(fp, (uint32_t)offset);
    ok = ok && putLE32(fp, 40) && putLE32(fp, (uint32_t)w) && putLE32(fp, (uint32_t)h);
    ok = ok && putLE16(fp, 1) && putLE16(fp, bpp) && putLE32(fp, BI_RGB);
    ok = ok && putLE32(fp, (uint32_t)(stride * (unsigned long long)h));
    // 2835 pixels per metre is 72 dots per inch.
    ok = ok && putLE32(fp, 2835) && putLE32(fp, 2835);
    ok = ok && putLE32(fp, cn == 1 ? 256 : 0) && putLE32(fp, 0);
    for (unsigned i = 0; ok && cn == 1 && i < 256; i++) {
        const unsigned char e[4] = {(unsigned char)i, (unsigned char)i, (unsigned char)i, 0};
        ok = std::fwrite(e, 1, 4, fp) == 4;
    }
    std::vector<unsigned char> row;
    if (ok) row.assign((size_t)stride, 0);
    for (int y = h - 1; ok && y >= 0; y--) {
        const unsigned char* s = img.ptr<unsigned char>(y);
        if (cn == 1) {
            std::memcpy(row.data(), s, (size_t)w);
        } else {
            unsigned char* d = row.data();
            for (int x = 0; x < w; x++, s += 3, d += 3) {
                d[0] = s[2];
                d[1] = s[1];
                d[2] = s[0];
            }
        }
        ok = std::fwrite(row.data(), 1, row.size(), fp) == row.size();
    }
    if (std::fclose(fp) != 0) ok = false;
    if (!ok) std::remove(path);
    return ok;
}

}  // namespace detail
}  // namespace tarvo
