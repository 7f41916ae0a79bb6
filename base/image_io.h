// Private interface of the picture readers and writers behind Mat::fromImage
// and Mat::toImage. Every reader decodes from a memory block that holds the
// whole file, so the only thing that touches the disk is one bounded read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Limits a reader enforces before it allocates anything.
struct ImageLimits {
    // Largest width or height. 2^15 keeps every row byte count (width * 4
    // channels * 2 bytes) and every index product far inside 32 bits.
    int maxDim;
    // Largest width * height. 2^28 pixels is 1 GiB as 4-channel bytes, the most a
    // reader may allocate for one picture.
    long long maxPixels;
    // Largest file read into memory. A valid picture within the pixel limit is
    // smaller than this, also uncompressed.
    size_t maxFileBytes;
};

constexpr int IMAGE_MAX_DIM = 1 << 15;
constexpr long long IMAGE_MAX_PIXELS = 1LL << 28;
constexpr size_t IMAGE_MAX_FILE_BYTES = size_t(1) << 31;

// The limits fromImage uses.
constexpr ImageLimits defaultImageLimits() {
    return ImageLimits{IMAGE_MAX_DIM, IMAGE_MAX_PIXELS, IMAGE_MAX_FILE_BYTES};
}

// True when width and height are positive and inside the limits.
inline bool imageSizeOk(long long width, long long height, const ImageLimits& lim) {
    return width > 0 && height > 0 && width <= lim.maxDim && height <= lim.maxDim &&
           width * height <= lim.maxPixels;
}

// Reads a whole file into out, at most maxBytes; false when the file cannot be
// opened, cannot be read, or is larger than maxBytes. out is empty on failure.
bool readFileBounded(const char* path, size_t maxBytes, std::vector<unsigned char>& out);

// Largest file size worth reading for a picture whose first n bytes are head:
// 0 for an unknown signature or an announced size outside the limits, else the
// announced pixels' worst-case encoding plus room for metadata (at most
// lim.maxFileBytes; also when the size is announced beyond the head).
size_t announcedFileLimit(const unsigned char* head, size_t n, const ImageLimits& lim);

// Decoders. Each fills out with byte pixels in R, G, B (, A) memory order and
// 1, 3 or 4 channels: grey pictures give 1 channel, colour 3, and colour with
// an alpha channel gives 4 only when keepAlpha is true (grey with alpha becomes
// 4-channel RGBA then; without keepAlpha the alpha is dropped). On failure
// they return false and leave out empty.
bool decodePng(const unsigned char* data, size_t size, bool keepAlpha, const ImageLimits& lim,
               Mat& out);
bool decodeJpeg(const unsigned char* data, size_t size, const ImageLimits& lim, Mat& out);
bool decodeBmp(const unsigned char* data, size_t size, bool keepAlpha, const ImageLimits& lim,
               Mat& out);
bool decodePnm(const unsigned char* data, size_t size, const ImageLimits& lim, Mat& out);

// Picks the decoder by the leading bytes of the data and applies the channel
// rule of the flags (enImageReadFlags). False and an empty out on failure.
bool decodeImage(const unsigned char* data, size_t size, unsigned long flags,
                 const ImageLimits& lim, Mat& out);

// Encoders. img is a valid byte matrix whose channel count the format accepts
// (checked by the caller); rows are read through the row table, so references
// to sub-matrices work. They return false on any write error. PNG compression
// 0..9 sets the zlib level; other values keep the codec's default. Level 1
// goes to encodePngFast.
bool encodePng(const Mat& img, const char* path, int compression = -1);
// The fastest level (image_png_fast.cpp): Sub-filtered rows, one Huffman
// block per band of rows over literals and runs, bands compressed in parallel
// with bytes that do not depend on the thread count.
bool encodePngFast(const Mat& img, const char* path);
bool encodeJpeg(const Mat& img, const char* path, int quality);
bool encodeBmp(const Mat& img, const char* path);
bool encodePnm(const Mat& img, const char* path);

// Grey value of an R, G, B triple: 0.299 R + 0.587 G + 0.114 B in 14-bit
// fixed point, rounded to nearest.
inline unsigned char greyOf(unsigned r, unsigned g, unsigned b) {
    return (unsigned char)((r * 4899u + g * 9617u + b * 1868u + 8192u) >> 14);
}

}  // namespace detail
}  // namespace tarvo
