// Picture files: the sample pictures, write/read round trips for every writer,
// hand-built files for the decoder features, and a set of malformed files
// that must all load as empty matrices.
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/mat.h"

using namespace tarvo;
using Bytes = std::vector<unsigned char>;

namespace {

// ---------------------------------------------------------------- file helpers

Bytes readBytes(const std::string& path) {
    Bytes b;
    FILE* fp = std::fopen(path.c_str(), "rb");
    if (!fp) return b;
    unsigned char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, fp)) > 0) b.insert(b.end(), buf, buf + n);
    std::fclose(fp);
    return b;
}

void writeBytes(const std::string& path, const Bytes& b) {
    FILE* fp = std::fopen(path.c_str(), "wb");
    ASSERT_NE(fp, nullptr);
    if (!b.empty()) {
        EXPECT_EQ(std::fwrite(b.data(), 1, b.size(), fp), b.size());
    }
    std::fclose(fp);
}

void put16le(Bytes& b, unsigned v) {
    b.push_back((unsigned char)v);
    b.push_back((unsigned char)(v >> 8));
}
void put32le(Bytes& b, uint32_t v) {
    for (int i = 0; i < 4; i++) b.push_back((unsigned char)(v >> (8 * i)));
}
void put32be(Bytes& b, uint32_t v) {
    for (int i = 3; i >= 0; i--) b.push_back((unsigned char)(v >> (8 * i)));
}

// A matrix from explicit byte values, rows x cols x cn.
Mat bytesMat(int rows, int cols, int cn, const std::vector<int>& v) {
    Mat m(rows, cols, MAKETYPE(MAT_Tuchar, cn));
    size_t i = 0;
    for (int r = 0; r < rows; r++)
        for (int c = 0; c < cols * cn; c++) m.data.ptr[r][c] = (unsigned char)v.at(i++);
    return m;
}

// ---------------------------------------------------------------- PNG builder
// Stored (uncompressed) deflate blocks, so the test controls every byte the
// decoder sees: bit depth, colour type, palette, transparency, interlacing.

uint32_t crc32(const unsigned char* p, size_t n, uint32_t crc = 0) {
    crc = ~crc;
    for (size_t i = 0; i < n; i++) {
        crc ^= p[i];
        for (int k = 0; k < 8; k++) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void pngChunk(Bytes& out, const char* type, const Bytes& payload) {
    put32be(out, (uint32_t)payload.size());
    Bytes body(type, type + 4);
    body.insert(body.end(), payload.begin(), payload.end());
    out.insert(out.end(), body.begin(), body.end());
    put32be(out, crc32(body.data(), body.size()));
}

Bytes zlibStored(const Bytes& raw) {
    Bytes z = {0x78, 0x01};
    size_t pos = 0;
    do {
        const size_t n = std::min<size_t>(65535, raw.size() - pos);
        z.push_back(pos + n == raw.size() ? 1 : 0);
        put16le(z, (unsigned)n);
        put16le(z, (unsigned)(~n & 0xFFFF));
        z.insert(z.end(), raw.begin() + (long)pos, raw.begin() + (long)(pos + n));
        pos += n;
    } while (pos < raw.size());
    uint32_t a = 1, b = 0;
    for (unsigned char c : raw) {
        a = (a + c) % 65521;
        b = (b + a) % 65521;
    }
    put32be(z, (b << 16) | a);
    return z;
}

// samples: one value per sample (bitDepth bits each), row after row.
struct PngSpec {
    int w = 0, h = 0, bitDepth = 8, colorType = 0;
    bool interlaced = false;
    std::vector<unsigned> samples;
    Bytes plte, trns;
};

int pngChannels(int colorType) {
    return colorType == 0 ? 1 : colorType == 2 ? 3 : colorType == 3 ? 1 : colorType == 4 ? 2 : 4;
}

// Packs the samples of pixels (x0 + i * dx, y) into one filtered scanline.
void packRow(const PngSpec& s, int y, int x0, int dx, Bytes& raw) {
    const int cn = pngChannels(s.colorType);
    raw.push_back(0);  // filter: none
    unsigned acc = 0;
    int bits = 0;
    for (int x = x0; x < s.w; x += dx)
        for (int k = 0; k < cn; k++) {
            const unsigned v = s.samples[((size_t)y * s.w + x) * cn + k];
            if (s.bitDepth == 16) {
                raw.push_back((unsigned char)(v >> 8));
                raw.push_back((unsigned char)v);
            } else if (s.bitDepth == 8) {
                raw.push_back((unsigned char)v);
            } else {
                acc = (acc << s.bitDepth) | v;
                bits += s.bitDepth;
                if (bits == 8) {
                    raw.push_back((unsigned char)acc);
                    acc = 0;
                    bits = 0;
                }
            }
        }
    if (bits > 0) raw.push_back((unsigned char)(acc << (8 - bits)));
}

Bytes buildPng(const PngSpec& s) {
    Bytes out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Bytes ihdr;
    put32be(ihdr, (uint32_t)s.w);
    put32be(ihdr, (uint32_t)s.h);
    ihdr.push_back((unsigned char)s.bitDepth);
    ihdr.push_back((unsigned char)s.colorType);
    ihdr.push_back(0);
    ihdr.push_back(0);
    ihdr.push_back(s.interlaced ? 1 : 0);
    pngChunk(out, "IHDR", ihdr);
    if (!s.plte.empty()) pngChunk(out, "PLTE", s.plte);
    if (!s.trns.empty()) pngChunk(out, "tRNS", s.trns);
    Bytes raw;
    if (!s.interlaced) {
        for (int y = 0; y < s.h; y++) packRow(s, y, 0, 1, raw);
    } else {
        static const int pass[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                       {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
        for (const auto& p : pass) {
            if (p[0] >= s.w || p[1] >= s.h) continue;  // empty passes are absent
            for (int y = p[1]; y < s.h; y += p[3]) packRow(s, y, p[0], p[2], raw);
        }
    }
    pngChunk(out, "IDAT", zlibStored(raw));
    pngChunk(out, "IEND", {});
    return out;
}

// A valid RGB header for w x h followed by `dataBytes` zero bytes of image data.
Bytes pngHeaderOnly(uint32_t w, uint32_t h, size_t dataBytes) {
    Bytes out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Bytes ihdr;
    put32be(ihdr, w);
    put32be(ihdr, h);
    ihdr.insert(ihdr.end(), {8, 2, 0, 0, 0});
    pngChunk(out, "IHDR", ihdr);
    pngChunk(out, "IDAT", zlibStored(Bytes(dataBytes, 0)));
    pngChunk(out, "IEND", {});
    return out;
}

// ---------------------------------------------------------------- BMP builder

struct BmpSpec {
    int32_t w = 0, h = 0;
    unsigned bpp = 24;
    uint32_t compression = 0, colorsUsed = 0;
    std::vector<uint32_t> palette;  // 0x00RRGGBB
    std::vector<uint32_t> masks;    // written right behind the 40-byte header
    Bytes pixels;                   // rows as stored, padding included
    long long offset = -1;          // override of the pixel offset
};

Bytes buildBmp(const BmpSpec& s) {
    const uint32_t off = (uint32_t)(14 + 40 + 4 * s.masks.size() + 4 * s.palette.size());
    Bytes b = {'B', 'M'};
    put32le(b, (uint32_t)(off + s.pixels.size()));
    put32le(b, 0);
    put32le(b, s.offset >= 0 ? (uint32_t)s.offset : off);
    put32le(b, 40);
    put32le(b, (uint32_t)s.w);
    put32le(b, (uint32_t)s.h);
    put16le(b, 1);
    put16le(b, s.bpp);
    put32le(b, s.compression);
    put32le(b, (uint32_t)s.pixels.size());
    put32le(b, 2835);
    put32le(b, 2835);
    put32le(b, s.colorsUsed);
    put32le(b, 0);
    for (uint32_t m : s.masks) put32le(b, m);
    for (uint32_t p : s.palette) put32le(b, p);
    b.insert(b.end(), s.pixels.begin(), s.pixels.end());
    return b;
}

// ---------------------------------------------------------------- fixture

class ImageIO : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = test::tempDir();
        ASSERT_FALSE(dir_.empty());
    }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    // Writes the bytes and loads them; the matrix must be empty whenever the
    // load fails.
    bool load(const Bytes& bytes, Mat& m, unsigned long flags = IMG_GRAY,
              const std::string& name = "in.bin") {
        const std::string p = path(name);
        writeBytes(p, bytes);
        const bool ok = m.fromImage(p.c_str(), flags);
        EXPECT_EQ(ok, m.isValid());
        return ok;
    }
    // A malformed file: refused, with an empty matrix, whatever the flags.
    void expectRefused(const Bytes& bytes, const std::string& what) {
        for (unsigned long flags : {IMG_GRAY, IMG_COLOR, IMG_UNCHANGED}) {
            Mat m(3, 3, MAT_Tuchar3);
            EXPECT_FALSE(load(bytes, m, flags)) << what << " flags " << flags;
            EXPECT_TRUE(m.empty()) << what;
            EXPECT_EQ(m.rows(), 0) << what;
        }
    }
    std::string dir_;
};

std::string dataFile(const char* name) {
    return std::string(TARVO_TEST_DATA_DIR) + "/" + name;
}

// ---------------------------------------------------------------- sample pictures

TEST_F(ImageIO, SamplePicturesLoadWithTheChannelRuleOfTheFlags) {
    Mat coffee;
    ASSERT_TRUE(coffee.fromImage(dataFile("coffee.png").c_str(), IMG_GRAY));
    EXPECT_EQ(coffee.cols(), 600);
    EXPECT_EQ(coffee.rows(), 400);
    EXPECT_EQ(coffee.type1(), MAT_Tuchar3);

    Mat camera, cameraRgb;
    ASSERT_TRUE(camera.fromImage(dataFile("camera.png").c_str(), IMG_GRAY));
    EXPECT_EQ(camera.type1(), MAT_Tuchar);
    EXPECT_EQ(camera.size(), Size_<int>(512, 512));
    ASSERT_TRUE(cameraRgb.fromImage(dataFile("camera.png").c_str(), IMG_COLOR));
    EXPECT_EQ(cameraRgb.type1(), MAT_Tuchar3);
    for (int r = 0; r < 512; r += 37)
        for (int c = 0; c < 512; c += 41)
            for (int k = 0; k < 3; k++)
                ASSERT_EQ(cameraRgb.data.ptr[r][3 * c + k], camera.data.ptr[r][c]);

    // Forced grey: 0.299 R + 0.587 G + 0.114 B, rounded (fixed point may differ by 1).
    Mat coffeeGrey;
    ASSERT_TRUE(coffeeGrey.fromImage(dataFile("coffee.png").c_str(), IMG_GRAYSCALE));
    ASSERT_EQ(coffeeGrey.type1(), MAT_Tuchar);
    for (int r = 0; r < 400; r++)
        for (int c = 0; c < 600; c++) {
            const unsigned char* p = coffee.data.ptr[r] + 3 * c;
            const double y = 0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2];
            ASSERT_NEAR(coffeeGrey.data.ptr[r][c], y, 1.0) << r << "," << c;
        }
}

TEST_F(ImageIO, MissingFileOrEmptyPathFails) {
    Mat m(2, 2, MAT_Tuchar);
    EXPECT_FALSE(m.fromImage(path("none.png").c_str()));
    EXPECT_TRUE(m.empty());
    EXPECT_FALSE(m.fromImage(""));
    EXPECT_FALSE(m.fromImage(nullptr));
}

// ---------------------------------------------------------------- round trips

TEST_F(ImageIO, LosslessWritersRoundTripBitExact) {
    struct Case {
        const char* ext;
        int cn;
    };
    const Case cases[] = {{"png", 1}, {"png", 3}, {"png", 4}, {"bmp", 1},
                          {"bmp", 3}, {"pgm", 1}, {"ppm", 3}, {"pnm", 3}};
    // Odd widths exercise the 4-byte row padding of BMP.
    for (const Case& cs : cases)
        for (int w : {1, 3, 5, 7, 64}) {
            const Mat src = test::randomMat(5, w, MAKETYPE(MAT_Tuchar, cs.cn), 7u + (unsigned)w);
            const std::string p = path(std::string("rt.") + cs.ext);
            ASSERT_TRUE(src.toImage(p.c_str())) << cs.ext << " cn " << cs.cn;
            Mat back;
            ASSERT_TRUE(back.fromImage(p.c_str(), IMG_UNCHANGED)) << cs.ext;
            EXPECT_TRUE(test::matEqual(src, back)) << cs.ext << " cn " << cs.cn << " w " << w;
        }
}

TEST_F(ImageIO, WritersWalkTheRowTableOfSubMatrixReferences) {
    const Mat big = test::randomMat(40, 50, MAT_Tuchar3, 11);
    const Mat bigGrey = test::randomMat(40, 50, MAT_Tuchar, 12);
    Mat part, partGrey;
    big.subRefMat(Rect_<int>(7, 5, 21, 13), part);
    bigGrey.subRefMat(Rect_<int>(3, 9, 17, 11), partGrey);
    ASSERT_TRUE(part.isRefered());
    for (const char* ext : {"png", "bmp", "ppm"}) {
        const std::string p = path(std::string("sub.") + ext);
        ASSERT_TRUE(part.toImage(p.c_str())) << ext;
        Mat back;
        ASSERT_TRUE(back.fromImage(p.c_str(), IMG_UNCHANGED));
        EXPECT_TRUE(test::matEqual(part, back)) << ext;
    }
    for (const char* ext : {"png", "bmp", "pgm"}) {
        const std::string p = path(std::string("subg.") + ext);
        ASSERT_TRUE(partGrey.toImage(p.c_str())) << ext;
        Mat back;
        ASSERT_TRUE(back.fromImage(p.c_str(), IMG_GRAY));
        EXPECT_TRUE(test::matEqual(partGrey, back)) << ext;
    }
}

// A smooth picture survives JPEG within a small error; lower quality gives a
// smaller file.
TEST_F(ImageIO, JpegRoundTripWithinTolerance) {
    for (int cn : {1, 3}) {
        Mat src(48, 67, MAKETYPE(MAT_Tuchar, cn));
        for (int r = 0; r < src.rows(); r++)
            for (int c = 0; c < src.cols(); c++)
                for (int k = 0; k < cn; k++)
                    src.data.ptr[r][c * cn + k] = (unsigned char)(r * 2 + c + k * 30);
        const std::string hi = path("hi.jpg"), lo = path("lo.JPEG");
        ASSERT_TRUE(src.toImage(hi.c_str(), 95));
        ASSERT_TRUE(src.toImage(lo.c_str(), 10));
        Mat back;
        ASSERT_TRUE(back.fromImage(hi.c_str(), IMG_GRAY));
        ASSERT_EQ(back.type1(), src.type1());
        ASSERT_TRUE(back.isEqualSize(src));
        double sum = 0, worst = 0;
        for (int r = 0; r < src.rows(); r++)
            for (int c = 0; c < src.cols() * cn; c++) {
                const double d = std::fabs(double(src.data.ptr[r][c]) - back.data.ptr[r][c]);
                sum += d;
                worst = std::max(worst, d);
            }
        EXPECT_LT(sum / (src.total() * cn), 1.5) << "cn " << cn;
        EXPECT_LT(worst, 12.0) << "cn " << cn;
        EXPECT_LT(readBytes(lo).size(), readBytes(hi).size());
    }
}

TEST_F(ImageIO, WriterRefusesWhatTheFormatCannotHold) {
    const Mat rgb = test::randomMat(4, 4, MAT_Tuchar3, 1);
    const Mat rgba = test::randomMat(4, 4, MAT_Tuchar4, 2);
    const Mat two = test::randomMat(4, 4, MAKETYPE(MAT_Tuchar, 2), 3);
    const Mat shorts = test::randomMat(4, 4, MAT_Tshort, 4);
    EXPECT_FALSE(rgb.toImage(path("a.tif").c_str()));
    EXPECT_FALSE(rgb.toImage(path("noext").c_str()));
    EXPECT_FALSE(rgb.toImage(path("a.pgm").c_str()));
    EXPECT_FALSE(rgba.toImage(path("a.bmp").c_str()));
    EXPECT_FALSE(rgba.toImage(path("a.jpg").c_str()));
    EXPECT_FALSE(two.toImage(path("a.png").c_str()));
    EXPECT_FALSE(shorts.toImage(path("a.png").c_str()));
    EXPECT_FALSE(Mat().toImage(path("a.png").c_str()));
    EXPECT_FALSE(rgb.toImage(path("missing-dir/a.png").c_str()));
    EXPECT_FALSE(std::filesystem::exists(path("a.tif")));
    // The extension is case-insensitive.
    EXPECT_TRUE(rgb.toImage(path("UPPER.PNG").c_str()));
    Mat back;
    EXPECT_TRUE(back.fromImage(path("UPPER.PNG").c_str(), IMG_COLOR));
    EXPECT_TRUE(test::matEqual(rgb, back));
}

// ---------------------------------------------------------------- PNG features

TEST_F(ImageIO, PngSixteenBitPaletteGreyAlphaAndInterlace) {
    Mat m;
    // 16-bit samples k * 257 scale exactly to k.
    PngSpec rgb16;
    rgb16.w = 2;
    rgb16.h = 1;
    rgb16.bitDepth = 16;
    rgb16.colorType = 2;
    rgb16.samples = {0x1212, 0xFFFF, 0, 0x8080, 0x0101, 0xFEFE};
    ASSERT_TRUE(load(buildPng(rgb16), m));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 2, 3, {0x12, 0xFF, 0, 0x80, 1, 0xFE})));

    // 2-bit palette with transparency for the first two entries only.
    PngSpec pal;
    pal.w = 3;
    pal.h = 2;
    pal.bitDepth = 2;
    pal.colorType = 3;
    pal.plte = {10, 20, 30, 40, 50, 60, 70, 80, 90};
    pal.trns = {0, 128};
    pal.samples = {0, 1, 2, 2, 1, 0};
    ASSERT_TRUE(load(buildPng(pal), m, IMG_GRAY));
    EXPECT_TRUE(test::matEqual(
        m, bytesMat(2, 3, 3,
                    {10, 20, 30, 40, 50, 60, 70, 80, 90, 70, 80, 90, 40, 50, 60, 10, 20, 30})));
    ASSERT_TRUE(load(buildPng(pal), m, IMG_UNCHANGED));
    EXPECT_TRUE(
        test::matEqual(m, bytesMat(2, 3, 4, {10, 20, 30, 0,   40, 50, 60, 128, 70, 80, 90, 255,
                                             70, 80, 90, 255, 40, 50, 60, 128, 10, 20, 30, 0})));

    // Grey with alpha: alpha dropped, or RGBA when kept.
    PngSpec ga;
    ga.w = 2;
    ga.h = 1;
    ga.colorType = 4;
    ga.samples = {100, 7, 200, 255};
    ASSERT_TRUE(load(buildPng(ga), m, IMG_GRAY));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 2, 1, {100, 200})));
    ASSERT_TRUE(load(buildPng(ga), m, IMG_UNCHANGED));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 2, 4, {100, 100, 100, 7, 200, 200, 200, 255})));

    // 1-bit grey expands to 0 / 255.
    PngSpec bits;
    bits.w = 5;
    bits.h = 2;
    bits.bitDepth = 1;
    bits.samples = {1, 0, 1, 1, 0, 0, 0, 0, 0, 1};
    ASSERT_TRUE(load(buildPng(bits), m));
    EXPECT_TRUE(test::matEqual(m, bytesMat(2, 5, 1, {255, 0, 255, 255, 0, 0, 0, 0, 0, 255})));

    // Adam7 interlacing on sizes that leave some passes empty.
    for (int size : {1, 3, 9, 17}) {
        const Mat src = test::randomMat(size, size + 2, MAT_Tuchar3, (unsigned)size);
        PngSpec il;
        il.w = size + 2;
        il.h = size;
        il.colorType = 2;
        il.interlaced = true;
        for (int r = 0; r < src.rows(); r++)
            for (int i = 0; i < src.cols() * 3; i++) il.samples.push_back(src.data.ptr[r][i]);
        ASSERT_TRUE(load(buildPng(il), m)) << size;
        EXPECT_TRUE(test::matEqual(src, m)) << size;
    }
}

// ---------------------------------------------------------------- BMP features

TEST_F(ImageIO, BmpPaletteDepthsRowOrderAndMasks) {
    Mat m;
    // 1 bit, 10 wide (2 data bytes, 4 with padding), bottom-up, black/white palette: grey.
    BmpSpec one;
    one.w = 10;
    one.h = 2;
    one.bpp = 1;
    one.palette = {0x000000, 0xFFFFFF};
    one.pixels = {0xC0, 0x40, 0, 0,   // bottom row: 1 1 0 0 0 0 0 0 | 0 1
                  0x80, 0x80, 0, 0};  // top row:    1 0 0 0 0 0 0 0 | 1 0
    ASSERT_TRUE(load(buildBmp(one), m));
    EXPECT_TRUE(test::matEqual(m, bytesMat(2, 10, 1, {255, 0,   0, 0, 0, 0, 0, 0, 255, 0,  //
                                                      255, 255, 0, 0, 0, 0, 0, 0, 0,   255})));

    // 4 bit, top-down, colour palette: RGB in memory order.
    BmpSpec four;
    four.w = 3;
    four.h = -2;
    four.bpp = 4;
    four.palette = {0x102030, 0x405060, 0x708090};
    four.pixels = {0x01, 0x20, 0, 0, 0x22, 0x10, 0, 0};
    ASSERT_TRUE(load(buildBmp(four), m));
    EXPECT_TRUE(
        test::matEqual(m, bytesMat(2, 3, 3,
                                   {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80, 0x90, 0x70,
                                    0x80, 0x90, 0x70, 0x80, 0x90, 0x40, 0x50, 0x60})));

    // 8 bit with a 2-entry palette: indices past it read black.
    BmpSpec eight;
    eight.w = 2;
    eight.h = 1;
    eight.bpp = 8;
    eight.colorsUsed = 2;
    eight.palette = {0x00FF0000, 0x0000FF00};
    eight.pixels = {1, 200, 0, 0};
    ASSERT_TRUE(load(buildBmp(eight), m));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 2, 3, {0, 255, 0, 0, 0, 0})));

    // 32 bit plain: B, G, R, unused.
    BmpSpec plain;
    plain.w = 1;
    plain.h = 1;
    plain.bpp = 32;
    plain.pixels = {1, 2, 3, 4};
    ASSERT_TRUE(load(buildBmp(plain), m, IMG_UNCHANGED));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 1, 3, {3, 2, 1})));

    // 32 bit with masks, including 5-bit fields (31 -> 255, 16 -> 132) and alpha.
    BmpSpec masked;
    masked.w = 2;
    masked.h = 1;
    masked.bpp = 32;
    masked.compression = 6;  // masks for R, G, B and A
    masked.masks = {0x0000001F, 0x000003E0, 0x00FF0000, 0xFF000000};
    masked.pixels = {0x1F, 0x02, 0x40, 0x80,  // R 31, G 16, B 0x40, A 0x80
                     0x00, 0x00, 0x00, 0xFF};
    ASSERT_TRUE(load(buildBmp(masked), m, IMG_UNCHANGED));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 2, 4, {255, 132, 0x40, 0x80, 0, 0, 0, 255})));
    ASSERT_TRUE(load(buildBmp(masked), m, IMG_COLOR));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 2, 3, {255, 132, 0x40, 0, 0, 0})));
}

// ---------------------------------------------------------------- PGM / PPM features

TEST_F(ImageIO, PnmTextBinaryCommentsAndMaxval) {
    Mat m;
    const std::string p2 = "P2\n# comment\n3 2 # trailing\n4\n0 1 2\n3 4 4\n";
    ASSERT_TRUE(load(Bytes(p2.begin(), p2.end()), m));
    EXPECT_TRUE(test::matEqual(m, bytesMat(2, 3, 1, {0, 64, 128, 191, 255, 255})));

    const std::string p3 = "P3 2 1 255 255 0 0   0 0 255";
    ASSERT_TRUE(load(Bytes(p3.begin(), p3.end()), m));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 2, 3, {255, 0, 0, 0, 0, 255})));

    // 16-bit big-endian samples.
    std::string p5 = "P5 3 1 65535\n";
    Bytes b(p5.begin(), p5.end());
    b.insert(b.end(), {0x00, 0x00, 0xFF, 0xFF, 0x80, 0x80});
    ASSERT_TRUE(load(b, m));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 3, 1, {0, 255, 128})));

    // maxval 1; a sample above maxval is clamped to it.
    std::string p5one = "P5 3 1 1\n";
    b.assign(p5one.begin(), p5one.end());
    b.insert(b.end(), {0, 1, 7});
    ASSERT_TRUE(load(b, m));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 3, 1, {0, 255, 255})));

    // Flags turn grey into colour and colour into grey.
    ASSERT_TRUE(load(Bytes(p2.begin(), p2.end()), m, IMG_COLOR));
    EXPECT_EQ(m.type1(), MAT_Tuchar3);
    ASSERT_TRUE(load(Bytes(p3.begin(), p3.end()), m, IMG_GRAYSCALE));
    EXPECT_TRUE(test::matEqual(m, bytesMat(1, 2, 1, {76, 29})));
}

// ---------------------------------------------------------------- malformed files

TEST_F(ImageIO, TruncatedPngIsRefusedAtEveryCut) {
    const Mat src = test::randomMat(48, 64, MAT_Tuchar3, 5);
    ASSERT_TRUE(src.toImage(path("full.png").c_str()));
    const Bytes full = readBytes(path("full.png"));
    ASSERT_GT(full.size(), 200u);
    for (size_t cut : {size_t(0), size_t(4), size_t(8), size_t(20), size_t(33), size_t(60),
                       full.size() / 2, full.size() - 40, full.size() - 12, full.size() - 1})
        expectRefused(Bytes(full.begin(), full.begin() + (long)cut),
                      "png cut " + std::to_string(cut));

    // A bad chunk length, a bad CRC on a critical chunk, absurd dimensions.
    Bytes badLen = full;
    badLen[33] = 0x7F;  // first chunk after IHDR claims ~2 GiB
    expectRefused(badLen, "png chunk length");
    Bytes badCrc = full;
    badCrc[29] ^= 0xFF;  // IHDR CRC
    expectRefused(badCrc, "png ihdr crc");
    expectRefused(pngHeaderOnly(40000, 40000, 100), "png width over the limit");
    expectRefused(pngHeaderOnly(0x7FFFFFFF, 1, 100), "png width 2^31-1");
    // Inside the limits, but far more than the data can inflate to.
    expectRefused(pngHeaderOnly(16000, 16000, 100), "png 16000x16000 from a few bytes");
}

TEST_F(ImageIO, CorruptOrTruncatedJpegIsRefused) {
    const Mat src = test::randomMat(40, 56, MAT_Tuchar3, 6);
    ASSERT_TRUE(src.toImage(path("full.jpg").c_str(), 90));
    const Bytes full = readBytes(path("full.jpg"));
    size_t sof = 0;
    for (size_t i = 0; i + 1 < full.size(); i++)
        if (full[i] == 0xFF && full[i + 1] == 0xC0) {
            sof = i;
            break;
        }
    ASSERT_GT(sof, 0u);
    // SOF0: FF C0, length (2), precision, height (2), width (2), components.
    Bytes zeroHeight = full;
    zeroHeight[sof + 5] = zeroHeight[sof + 6] = 0;
    expectRefused(zeroHeight, "jpeg height 0");
    Bytes badPrecision = full;
    badPrecision[sof + 4] = 3;
    expectRefused(badPrecision, "jpeg precision 3");
    Bytes noComponents = full;
    noComponents[sof + 9] = 0;
    expectRefused(noComponents, "jpeg 0 components");
    Bytes hugeDims = full;
    hugeDims[sof + 5] = hugeDims[sof + 7] = 0xFF;  // 65xxx x 65xxx from a small file
    expectRefused(hugeDims, "jpeg huge dims");
    for (size_t cut : {size_t(3), size_t(100), sof + 4, full.size() / 2, full.size() - 2})
        expectRefused(Bytes(full.begin(), full.begin() + (long)cut),
                      "jpeg cut " + std::to_string(cut));
}

// Metadata segments push the frame header far from the start: the size it
// announces is still found by walking the segments, and still checked.
TEST_F(ImageIO, JpegFrameHeaderBehindLargeMetadataSegments) {
    const Mat src = test::randomMat(24, 40, MAT_Tuchar3, 7);
    ASSERT_TRUE(src.toImage(path("plain.jpg").c_str(), 90));
    const Bytes plain = readBytes(path("plain.jpg"));
    Mat want;
    ASSERT_TRUE(load(plain, want, IMG_COLOR, "plain.jpg"));
    // Three APP1 segments of 60000 bytes right after the start-of-image marker,
    // with stray fill bytes between two of them.
    Bytes big(plain.begin(), plain.begin() + 2);
    for (int k = 0; k < 3; k++) {
        if (k == 2) big.insert(big.end(), {0xFF, 0xFF});
        big.insert(big.end(), {0xFF, 0xE1, 60000 >> 8, 60000 & 0xFF});
        big.insert(big.end(), 60000 - 2, (unsigned char)(0xD8 + k));
    }
    big.insert(big.end(), plain.begin() + 2, plain.end());
    size_t sof = 0;
    for (size_t i = 180000; i + 1 < big.size(); i++)
        if (big[i] == 0xFF && big[i + 1] == 0xC0) {
            sof = i;
            break;
        }
    ASSERT_GT(sof, 180000u);
    Mat got;
    ASSERT_TRUE(load(big, got, IMG_COLOR, "big.jpg"));
    EXPECT_TRUE(test::matEqual(got, want));

    Bytes huge = big;
    huge[sof + 5] = huge[sof + 6] = huge[sof + 7] = huge[sof + 8] = 0xFF;  // 65535 x 65535
    expectRefused(huge, "jpeg huge size behind metadata");
}

TEST_F(ImageIO, HostileBmpHeadersAreRefused) {
    BmpSpec ok;
    ok.w = 3;
    ok.h = 2;
    ok.pixels.assign(24, 9);
    Mat m;
    ASSERT_TRUE(load(buildBmp(ok), m));  // the baseline the variants break

    auto variant = [&](auto change, const char* what) {
        BmpSpec s = ok;
        change(s);
        expectRefused(buildBmp(s), what);
    };
    variant([](BmpSpec& s) { s.h = INT32_MIN; }, "height INT_MIN");
    variant([](BmpSpec& s) { s.h = -2000000000; }, "huge negative height");
    variant([](BmpSpec& s) { s.h = 2000000000; }, "huge height");
    variant([](BmpSpec& s) { s.w = -3; }, "negative width");
    variant([](BmpSpec& s) { s.w = 0x7FFFFFFF; }, "huge width");
    variant([](BmpSpec& s) { s.w = 0; }, "zero width");
    variant([](BmpSpec& s) { s.h = 3; }, "more rows than the data holds");
    variant([](BmpSpec& s) { s.offset = 100000; }, "offset beyond the file");
    variant([](BmpSpec& s) { s.offset = 0xFFFFFFFF; }, "offset 4 GiB");
    variant([](BmpSpec& s) { s.compression = 1; }, "RLE8");
    variant([](BmpSpec& s) { s.bpp = 16; }, "16 bit");
    variant([](BmpSpec& s) { s.bpp = 0; }, "0 bit");
    variant(
        [](BmpSpec& s) {
            s.bpp = 32;
            s.compression = 3;
            s.masks = {0xF0F00000, 0xFF00, 0xFF};  // not a contiguous run
        },
        "broken mask");
    Bytes shortFile = buildBmp(ok);
    shortFile.resize(20);
    expectRefused(shortFile, "cut inside the header");
    Bytes hugeInfo = buildBmp(ok);
    hugeInfo[14] = 0xFF;
    hugeInfo[17] = 0x7F;
    expectRefused(hugeInfo, "header size past the file");
}

TEST_F(ImageIO, HostilePnmHeadersAreRefused) {
    auto text = [](const std::string& s) { return Bytes(s.begin(), s.end()); };
    expectRefused(text("P5 2 2 0\n\1\1\1\1"), "maxval 0");
    expectRefused(text("P5 2 2 65536\n\1\1\1\1\1\1\1\1"), "maxval 65536");
    expectRefused(text("P6 100000 100000 255\n"), "dims over the limit");
    expectRefused(text("P6 99999999999999999999 1 255\n"), "number overflow");
    expectRefused(text("P6 30000 30000 255\nabc"), "dims the data cannot fill");
    expectRefused(text("P2 30000 30000 255\n1 2 3"), "text dims the data cannot fill");
    expectRefused(text("P5 2 2 255\n\1\1\1"), "one byte short");
    expectRefused(text("P2 2 1 255\n1 x"), "text garbage");
    expectRefused(text("P5 -2 2 255\n\1\1\1\1"), "negative width");
    expectRefused(text("P5 0 2 255\n"), "zero width");
    expectRefused(text("P5 2 2 255"), "no data");
    expectRefused(text("P7 2 2 255\n\1\1\1\1"), "unknown kind");
    expectRefused(text("P5"), "magic only");
}

}  // namespace
