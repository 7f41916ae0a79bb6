// JPEG through libjpeg(-turbo). The library's default error handler calls
// exit(); ours jumps back to the setjmp of the function that owns the codec
// structure, which then destroys it. Warnings are counted, and a file that
// ends before its image data does is refused rather than padded with grey.
#include <cstddef>
#include <cstdio>
// jpeglib.h needs size_t and FILE declared before it.
#include <jerror.h>
#include <jpeglib.h>

#include <csetjmp>
#include <cstring>

#include "image_io.h"

namespace tarvo {
namespace detail {
namespace {

struct JpegError {
    jpeg_error_mgr mgr;
    jmp_buf jump;
    bool truncated;
};

void jpegErrorExit(j_common_ptr cinfo) {
    JpegError* err = reinterpret_cast<JpegError*>(cinfo->err);
    std::longjmp(err->jump, 1);
}

void jpegEmitMessage(j_common_ptr cinfo, int level) {
    JpegError* err = reinterpret_cast<JpegError*>(cinfo->err);
    if (level < 0) {
        err->mgr.num_warnings++;
        if (err->mgr.msg_code == JWRN_JPEG_EOF) err->truncated = true;
    }
}

void jpegOutputSilent(j_common_ptr) {}

void setupError(JpegError& err) {
    jpeg_std_error(&err.mgr);
    err.mgr.error_exit = jpegErrorExit;
    err.mgr.emit_message = jpegEmitMessage;
    err.mgr.output_message = jpegOutputSilent;
    err.truncated = false;
}

struct JpegReadState {
    jpeg_decompress_struct cinfo;
    JpegError err;
};

bool jpegReadBody(JpegReadState& st, const unsigned char* data, size_t size, const ImageLimits& lim,
                  Mat& out) {
    if (setjmp(st.err.jump)) return false;
    jpeg_create_decompress(&st.cinfo);
    jpeg_mem_src(&st.cinfo, data, (unsigned long)size);
    if (jpeg_read_header(&st.cinfo, TRUE) != JPEG_HEADER_OK) return false;
    if (!imageSizeOk(st.cinfo.image_width, st.cinfo.image_height, lim)) return false;

    // A sequential Huffman-coded scan spends at least two bits per 8 x 8 block
    // (a one-bit DC code and a one-bit end-of-block code), and the component
    // with the largest sampling factors has at least one block per 8 x 8
    // pixels. A file too short for that cannot hold the picture it declares.
    if (!st.cinfo.progressive_mode && !st.cinfo.arith_code) {
        const unsigned long long blocks = ((unsigned long long)st.cinfo.image_width + 7) / 8 *
                                          (((unsigned long long)st.cinfo.image_height + 7) / 8);
        if (blocks > 4ULL * (unsigned long long)size) return false;
    }

    bool cmyk = false;
    switch (st.cinfo.jpeg_color_space) {
        case JCS_GRAYSCALE:
            st.cinfo.out_color_space = JCS_GRAYSCALE;
            break;
        case JCS_CMYK:
        case JCS_YCCK:
            st.cinfo.out_color_space = JCS_CMYK;
            cmyk = true;
            break;
        default:
            st.cinfo.out_color_space = JCS_RGB;
            break;
    }
    // The accurate integer inverse DCT and the smooth chroma upsampling are
    // the codec's defaults; they are named here because they define the
    // decoded bytes (the faster integer DCT is not exact).
    st.cinfo.dct_method = JDCT_ISLOW;
    st.cinfo.do_fancy_upsampling = TRUE;
    jpeg_start_decompress(&st.cinfo);
    const int outCn = st.cinfo.output_components;
    if ((int)st.cinfo.output_width != (int)st.cinfo.image_width ||
        (int)st.cinfo.output_height != (int)st.cinfo.image_height)
        return false;
    if ((cmyk && outCn != 4) || (!cmyk && outCn != 1 && outCn != 3)) return false;

    const int w = (int)st.cinfo.output_width, h = (int)st.cinfo.output_height;
    const int cn = cmyk ? 3 : outCn;
    if (out.create(h, w, MAKETYPE(MAT_Tuchar, cn)) < 0) return false;
    JSAMPROW cmykRow = nullptr;
    if (cmyk) {
        // Pool memory: freed with the codec structure, also after an error.
        cmykRow = (JSAMPROW)(*st.cinfo.mem->alloc_large)((j_common_ptr)&st.cinfo, JPOOL_IMAGE,
                                                         (size_t)w * 4);
    }
    while (st.cinfo.output_scanline < st.cinfo.output_height) {
        const int r = (int)st.cinfo.output_scanline;
        if (!cmyk) {
            // Straight into the matrix rows, as many as the codec hands out at once.
            const JDIMENSION got =
                jpeg_read_scanlines(&st.cinfo, out.data.ptr + r, (JDIMENSION)(h - r));
            if (got == 0 || st.err.truncated) return false;
            continue;
        }
        JSAMPROW row = cmykRow;
        if (jpeg_read_scanlines(&st.cinfo, &row, 1) != 1) return false;
        if (cmyk) {
            // Inverted CMYK as Adobe writes it: each stored value is 255 - ink.
            unsigned char* d = out.data.ptr[r];
            for (int c = 0; c < w; c++, d += 3) {
                const unsigned k = cmykRow[c * 4 + 3];
                d[0] = (unsigned char)((cmykRow[c * 4 + 0] * k + 127) / 255);
                d[1] = (unsigned char)((cmykRow[c * 4 + 1] * k + 127) / 255);
                d[2] = (unsigned char)((cmykRow[c * 4 + 2] * k + 127) / 255);
            }
        }
        if (st.err.truncated) return false;
    }
    jpeg_finish_decompress(&st.cinfo);
    return !st.err.truncated;
}

struct JpegWriteState {
    jpeg_compress_struct cinfo;
    JpegError err;
    FILE* fp = nullptr;
};

bool jpegWriteBody(JpegWriteState& st, const Mat& img, int quality) {
    if (setjmp(st.err.jump)) return false;
    jpeg_create_compress(&st.cinfo);
    jpeg_stdio_dest(&st.cinfo, st.fp);
    st.cinfo.image_width = (JDIMENSION)img.cols();
    st.cinfo.image_height = (JDIMENSION)img.rows();
    st.cinfo.input_components = img.channels();
    st.cinfo.in_color_space = img.channels() == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&st.cinfo);
    jpeg_set_quality(&st.cinfo, quality, TRUE);
    jpeg_start_compress(&st.cinfo, TRUE);
    while (st.cinfo.next_scanline < st.cinfo.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(img.ptr<unsigned char>((int)st.cinfo.next_scanline));
        if (jpeg_write_scanlines(&st.cinfo, &row, 1) != 1) return false;
    }
    jpeg_finish_compress(&st.cinfo);
    return true;
}

}  // namespace

bool decodeJpeg(const unsigned char* data, size_t size, const ImageLimits& lim, Mat& out) {
    if (out.isRefered()) out.release();
    if (!data || size == 0 || size > 0xFFFFFFFFul) return false;
    JpegReadState st;
    std::memset(&st.cinfo, 0, sizeof(st.cinfo));
    setupError(st.err);
    st.cinfo.err = &st.err.mgr;
    const bool ok = jpegReadBody(st, data, size, lim, out);
    // Safe also when jpeg_create_decompress itself failed: the structure was zeroed.
    jpeg_destroy_decompress(&st.cinfo);
    if (!ok) out.release();
    return ok;
}

bool encodeJpeg(const Mat& img, const char* path, int quality) {
    if (quality < 1) quality = 1;
    if (quality > 100) quality = 100;
    JpegWriteState st;
    std::memset(&st.cinfo, 0, sizeof(st.cinfo));
    setupError(st.err);
    st.cinfo.err = &st.err.mgr;
    st.fp = std::fopen(path, "wb");
    if (!st.fp) return false;
    bool ok = jpegWriteBody(st, img, quality);
    jpeg_destroy_compress(&st.cinfo);
    if (std::fclose(st.fp) != 0) ok = false;
    if (!ok) std::remove(path);
    return ok;
}

}  // namespace detail
}  // namespace tarvo
