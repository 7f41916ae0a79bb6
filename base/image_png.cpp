// PNG through libpng. libpng reports errors by longjmp back to the setjmp in
// the function that owns the png structures; everything those functions must
// free afterwards (the png structures, the output matrix, the FILE) lives
// outside the jumped-over frames, so nothing is leaked and no C++ destructor
// is skipped. The read and write callbacks hold no C++ objects when they call
// png_error.
#include <png.h>
#include <zlib.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "image_io.h"

namespace tarvo {
namespace detail {
namespace {

// Deflate cannot expand its input more than 1032 times; a picture whose
// filtered rows would need more than that from the whole file is truncated or
// hostile, and is refused before the pixels are allocated.
constexpr unsigned long long DEFLATE_MAX_RATIO = 1032;

struct PngSource {
    const unsigned char* data;
    size_t size;
    size_t pos;
};

void pngReadCallback(png_structp png, png_bytep out, size_t length) {
    PngSource* src = static_cast<PngSource*>(png_get_io_ptr(png));
    if (!src || length > src->size - src->pos) png_error(png, "read past the end of the data");
    std::memcpy(out, src->data + src->pos, length);
    src->pos += length;
}

void pngWarningSilent(png_structp, png_const_charp) {}
void pngErrorJump(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

// Everything the setjmp body works on lives here, in the caller's frame.
struct PngReadState {
    png_structp png = nullptr;
    png_infop info = nullptr;
    PngSource src{nullptr, 0, 0};
};

bool pngReadBody(PngReadState& st, bool keepAlpha, const ImageLimits& lim, Mat& out) {
    if (setjmp(png_jmpbuf(st.png))) return false;

    png_set_read_fn(st.png, &st.src, pngReadCallback);
    png_set_user_limits(st.png, (png_uint_32)lim.maxDim, (png_uint_32)lim.maxDim);
    // Ancillary chunks (text, ICC profiles) are capped; the image data is
    // streamed and never buffered whole by libpng.
    png_set_chunk_malloc_max(st.png, 8u << 20);
    // The embedded-profile comparison against sRGB is skipped: colour
    // profiles are never applied, and every check on the pixel data stays.
#ifdef PNG_SKIP_sRGB_CHECK_PROFILE
    png_set_option(st.png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
#endif
    png_read_info(st.png, st.info);

    png_uint_32 width = 0, height = 0;
    int bitDepth = 0, colorType = 0, interlace = 0;
    png_get_IHDR(st.png, st.info, &width, &height, &bitDepth, &colorType, &interlace, nullptr,
                 nullptr);
    if (!imageSizeOk(width, height, lim)) return false;

    // The data the file must hold for its declared size, before filtering and
    // interlacing (both only add bytes).
    const int fileChannels = colorType == PNG_COLOR_TYPE_GRAY         ? 1
                             : colorType == PNG_COLOR_TYPE_GRAY_ALPHA ? 2
                             : colorType == PNG_COLOR_TYPE_RGB        ? 3
                             : colorType == PNG_COLOR_TYPE_RGB_ALPHA  ? 4
                                                                      : 1;
    const unsigned long long rawRow =
        ((unsigned long long)width * (unsigned)fileChannels * (unsigned)bitDepth + 7) / 8;
    if (rawRow * height > DEFLATE_MAX_RATIO * (unsigned long long)st.src.size) return false;

    bool hasAlpha = (colorType & PNG_COLOR_MASK_ALPHA) != 0;
    bool colour = (colorType & PNG_COLOR_MASK_COLOR) != 0;

    if (bitDepth == 16) png_set_scale_16(st.png);
    if (colorType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(st.png);
    if (colorType == PNG_COLOR_TYPE_GRAY && bitDepth < 8) png_set_expand_gray_1_2_4_to_8(st.png);
    if (png_get_valid(st.png, st.info, PNG_INFO_tRNS)) {
        if (keepAlpha) {
            png_set_tRNS_to_alpha(st.png);
            hasAlpha = true;
        }
        // Without keepAlpha the transparency chunk is simply not applied.
    }
    if (hasAlpha && !keepAlpha) {
        png_set_strip_alpha(st.png);
        hasAlpha = false;
    }
    // Grey with alpha has no byte layout of its own here: it becomes RGBA.
    if (!colour && hasAlpha) {
        png_set_gray_to_rgb(st.png);
        colour = true;
    }
    png_set_interlace_handling(st.png);
    png_read_update_info(st.png, st.info);

    const int channels = png_get_channels(st.png, st.info);
    if (png_get_bit_depth(st.png, st.info) != 8 ||
        (channels != 1 && channels != 3 && channels != 4))
        return false;
    if (png_get_rowbytes(st.png, st.info) != (size_t)width * (size_t)channels) return false;

    if (out.create((int)height, (int)width, MAKETYPE(MAT_Tuchar, channels)) < 0) return false;
    // The matrix's own row table is exactly the row array libpng wants.
    png_read_image(st.png, out.data.ptr);
    png_read_end(st.png, nullptr);
    return true;
}

struct PngWriteState {
    png_structp png = nullptr;
    png_infop info = nullptr;
    FILE* fp = nullptr;
};

void pngWriteCallback(png_structp png, png_bytep data, size_t length) {
    FILE* fp = static_cast<FILE*>(png_get_io_ptr(png));
    if (std::fwrite(data, 1, length, fp) != length) png_error(png, "write failed");
}
void pngFlushCallback(png_structp png) {
    FILE* fp = static_cast<FILE*>(png_get_io_ptr(png));
    if (std::fflush(fp) != 0) png_error(png, "flush failed");
}

bool pngWriteBody(PngWriteState& st, const Mat& img, int compression) {
    if (setjmp(png_jmpbuf(st.png))) return false;
    png_set_write_fn(st.png, st.fp, pngWriteCallback, pngFlushCallback);
    const int cn = img.channels();
    const int colorType = cn == 1   ? PNG_COLOR_TYPE_GRAY
                          : cn == 3 ? PNG_COLOR_TYPE_RGB
                                    : PNG_COLOR_TYPE_RGB_ALPHA;
    png_set_IHDR(st.png, st.info, (png_uint_32)img.cols(), (png_uint_32)img.rows(), 8, colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (compression >= 0 && compression <= 9) {
        png_set_compression_level(st.png, compression);
        // Level 2 also takes the one cheap row filter instead of trying all
        // five on every row, and run-length matching only (distance one,
        // which after the row filter is where photographs repeat); the pixels
        // written are the same, only the file is somewhat larger. Level 1
        // never comes here: encodePngFast writes it.
        if (compression == 2) {
            png_set_filter(st.png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
            png_set_compression_strategy(st.png, Z_RLE);
        }
    }
    png_write_info(st.png, st.info);
    for (int r = 0; r < img.rows(); r++) png_write_row(st.png, img.ptr<unsigned char>(r));
    png_write_end(st.png, nullptr);
    return true;
}

}  // namespace

bool decodePng(const unsigned char* data, size_t size, bool keepAlpha, const ImageLimits& lim,
               Mat& out) {
    if (out.isRefered()) out.release();
    PngReadState st;
    st.src = PngSource{data, size, 0};
    st.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, pngErrorJump, pngWarningSilent);
    if (!st.png) return false;
    st.info = png_create_info_struct(st.png);
    if (!st.info) {
        png_destroy_read_struct(&st.png, nullptr, nullptr);
        return false;
    }
    const bool ok = pngReadBody(st, keepAlpha, lim, out);
    png_destroy_read_struct(&st.png, &st.info, nullptr);
    if (!ok) out.release();
    return ok;
}

bool encodePng(const Mat& img, const char* path, int compression) {
    if (compression == 1) return encodePngFast(img, path);
    PngWriteState st;
    st.fp = std::fopen(path, "wb");
    if (!st.fp) return false;
    st.png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, pngErrorJump, pngWarningSilent);
    if (st.png) st.info = png_create_info_struct(st.png);
    bool ok = st.png && st.info && pngWriteBody(st, img, compression);
    if (st.png) png_destroy_write_struct(&st.png, st.info ? &st.info : nullptr);
    if (std::fclose(st.fp) != 0) ok = false;
    if (!ok) std::remove(path);
    return ok;
}

}  // namespace detail
}  // namespace tarvo
