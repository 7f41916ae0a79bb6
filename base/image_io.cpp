// Mat::fromImage and Mat::toImage: the file-level front end of the picture
// codecs. Reading goes through one bounded fread into memory, then the decoder
// chosen by the file's leading bytes; writing picks the encoder by extension.
#include "image_io.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

namespace tarvo {
namespace detail {

bool readFileBounded(const char* path, size_t maxBytes, std::vector<unsigned char>& out) {
    out.clear();
    if (!path || !*path) return false;
    FILE* fp = std::fopen(path, "rb");
    if (!fp) return false;
    // The length reported by the file system is only a hint for the first
    // reservation; the loop below reads until EOF and enforces maxBytes itself,
    // so a file that grows or a stream without a length is handled the same way.
    size_t hint = 0;
    if (std::fseek(fp, 0, SEEK_END) == 0) {
        long len = std::ftell(fp);
        if (len > 0) hint = (size_t)len;
        if (std::fseek(fp, 0, SEEK_SET) != 0) {
            std::fclose(fp);
            return false;
        }
    }
    if (hint > maxBytes) {
        std::fclose(fp);
        return false;
    }
    bool ok = true;
    try {
        // One allocation of the announced length plus one byte (which tells a
        // file that grew since); only a longer file steps on in 1 MiB chunks.
        const size_t chunk = size_t(1) << 20;
        size_t used = 0;
        size_t want = hint + 1;
        for (;;) {
            out.resize(want);
            used += std::fread(out.data() + used, 1, want - used, fp);
            if (used < want) {
                if (std::ferror(fp)) ok = false;
                break;
            }
            if (used > maxBytes) {
                ok = false;  // more than maxBytes
                break;
            }
            want = used + std::min(chunk, maxBytes + 1 - used);
        }
        out.resize(used);
    } catch (...) {
        ok = false;
    }
    std::fclose(fp);
    if (!ok) {
        out.clear();
        out.shrink_to_fit();
    }
    return ok;
}

namespace {

bool isPng(const unsigned char* d, size_t n) {
    static const unsigned char sig[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return n >= 8 && std::memcmp(d, sig, 8) == 0;
}
bool isJpeg(const unsigned char* d, size_t n) {
    return n >= 3 && d[0] == 0xFF && d[1] == 0xD8 && d[2] == 0xFF;
}
bool isBmp(const unsigned char* d, size_t n) {
    return n >= 2 && d[0] == 'B' && d[1] == 'M';
}
bool isPnm(const unsigned char* d, size_t n) {
    return n >= 2 && d[0] == 'P' && (d[1] == '2' || d[1] == '3' || d[1] == '5' || d[1] == '6');
}

// 1 -> 3 channels by replication.
bool greyToRgb(const Mat& src, Mat& dst) {
    Mat tmp;
    if (tmp.create(src.rows(), src.cols(), MAT_Tuchar3) < 0) return false;
    for (int r = 0; r < src.rows(); r++) {
        const unsigned char* s = src.ptr<unsigned char>(r);
        unsigned char* d = tmp.ptr<unsigned char>(r);
        for (int c = 0; c < src.cols(); c++, d += 3) d[0] = d[1] = d[2] = s[c];
    }
    dst.swap(tmp);
    return true;
}

// 3 or 4 channels -> 1 channel grey (alpha ignored).
bool rgbToGrey(const Mat& src, Mat& dst) {
    Mat tmp;
    if (tmp.create(src.rows(), src.cols(), MAT_Tuchar) < 0) return false;
    const int cn = src.channels();
    for (int r = 0; r < src.rows(); r++) {
        const unsigned char* s = src.ptr<unsigned char>(r);
        unsigned char* d = tmp.ptr<unsigned char>(r);
        for (int c = 0; c < src.cols(); c++, s += cn) d[c] = greyOf(s[0], s[1], s[2]);
    }
    dst.swap(tmp);
    return true;
}

// 4 -> 3 channels (alpha dropped).
bool dropAlpha(const Mat& src, Mat& dst) {
    Mat tmp;
    if (tmp.create(src.rows(), src.cols(), MAT_Tuchar3) < 0) return false;
    for (int r = 0; r < src.rows(); r++) {
        const unsigned char* s = src.ptr<unsigned char>(r);
        unsigned char* d = tmp.ptr<unsigned char>(r);
        for (int c = 0; c < src.cols(); c++, s += 4, d += 3) {
            d[0] = s[0];
            d[1] = s[1];
            d[2] = s[2];
        }
    }
    dst.swap(tmp);
    return true;
}

enum class ChannelRule { Natural, Colour, Grey, Unchanged };

// IMG_UNCHANGED wins over IMG_GRAYSCALE, which wins over IMG_COLOR; no bit
// set is IMG_GRAY. Unknown bits are ignored.
ChannelRule ruleOf(unsigned long flags) {
    if (flags & IMG_UNCHANGED) return ChannelRule::Unchanged;
    if (flags & IMG_GRAYSCALE) return ChannelRule::Grey;
    if (flags & IMG_COLOR) return ChannelRule::Colour;
    return ChannelRule::Natural;
}

std::string lowerExtension(const char* path) {
    const char* dot = std::strrchr(path, '.');
    const char* slash = std::strrchr(path, '/');
    if (!dot || (slash && slash > dot)) return std::string();
    std::string ext(dot + 1);
    for (char& ch : ext) ch = (char)std::tolower((unsigned char)ch);
    return ext;
}

uint32_t be32(const unsigned char* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}
int32_t le32(const unsigned char* p) {
    return int32_t(uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) |
                   (uint32_t(p[3]) << 24));
}

// Next decimal token of a PNM header (comments skipped); -1 when the head ends first.
long long pnmToken(const unsigned char* d, size_t n, size_t& i) {
    for (;;) {
        while (i < n && std::isspace(d[i])) i++;
        if (i < n && d[i] == '#') {
            while (i < n && d[i] != '\n') i++;
            continue;
        }
        break;
    }
    long long v = 0;
    size_t start = i;
    while (i < n && std::isdigit(d[i]) && v < (1LL << 40)) v = v * 10 + (d[i++] - '0');
    return i > start && i < n ? v : -1;
}

// Bytes a file may hold beyond its pixels: headers, palettes, metadata. A
// JPEG's frame header must also start within this many bytes.
constexpr long long kMetadataSlack = 64LL << 20;

// How a walk through a JPEG's marker segments ended.
enum class JpegWalk {
    Frame,      // a frame header: w and h are set
    OutOfData,  // the bytes (or the reach) end before a frame header
    Invalid,    // image data, end of image, a second start or a length below 2 first
};

bool isFrameMarker(unsigned m) {
    return m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC;
}

// Walks the marker segments after the start-of-image marker by their lengths
// up to the first frame header, reading through read(offset, bytes, n), which
// returns fewer than n bytes at the end of the data. Only 9 bytes are looked
// at per segment, so a long segment costs one skip. Stray bytes between
// segments are passed over one by one, as the decoder passes over them;
// nothing beyond `reach` bytes is read.
template <typename Read>
JpegWalk walkJpegSegments(Read&& read, uint64_t reach, long long& w, long long& h) {
    unsigned char b[9];
    uint64_t at = 2;
    for (;;) {
        if (at + 9 > reach || read(at, b, 2) < 2) return JpegWalk::OutOfData;
        if (b[0] != 0xFF || b[1] == 0x00) {
            at += b[0] != 0xFF ? 1 : 2;  // a stray byte, or a stuffed 0xFF
            continue;
        }
        const unsigned m = b[1];
        if (m == 0xFF) {  // fill byte before a marker
            at++;
            continue;
        }
        if (m == 0x01 || (m >= 0xD0 && m <= 0xD7)) {  // markers without a segment
            at += 2;
            continue;
        }
        if (m == 0xD8 || m == 0xD9 || m == 0xDA) return JpegWalk::Invalid;
        if (read(at + 2, b + 2, 7) < (isFrameMarker(m) ? 7u : 2u)) return JpegWalk::OutOfData;
        const unsigned len = (unsigned(b[2]) << 8) | b[3];
        if (len < 2) return JpegWalk::Invalid;
        if (isFrameMarker(m)) {
            // Frame header: length, precision, height, width, components.
            h = ((long long)b[5] << 8) | b[6];
            w = ((long long)b[7] << 8) | b[8];
            return JpegWalk::Frame;
        }
        at += 2 + uint64_t(len);
    }
}

// A read window over an open file for the segment walk: one small buffer,
// refilled (after a seek) when a request falls outside it.
class FileWindow {
public:
    explicit FileWindow(std::FILE* fp) : fp_(fp) {}
    size_t operator()(uint64_t off, unsigned char* dst, size_t n) {
        if (off < start_ || off + n > start_ + len_) {
            len_ = 0;
            if (off > uint64_t(kMetadataSlack) * 2 || std::fseek(fp_, long(off), SEEK_SET) != 0)
                return 0;
            start_ = off;
            len_ = std::fread(buf_, 1, sizeof buf_, fp_);
        }
        if (off >= start_ + len_) return 0;
        const size_t k = std::min(n, size_t(start_ + len_ - off));
        std::memcpy(dst, buf_ + (off - start_), k);
        return k;
    }

private:
    std::FILE* fp_;
    uint64_t start_ = 0;
    size_t len_ = 0;
    unsigned char buf_[4096];
};

}  // namespace

size_t announcedFileLimit(const unsigned char* head, size_t n, const ImageLimits& lim,
                          std::FILE* file) {
    long long w = 0, h = 0;
    long long perPixel = 0;
    if (isPng(head, n)) {
        if (n < 24) return 0;
        w = be32(head + 16);
        h = be32(head + 20);
        perPixel = 9;  // 4 channels of 16 bits and the row filter bytes, stored uncompressed
    } else if (isBmp(head, n)) {
        if (n < 26) return 0;
        if (le32(head + 14) == 12) {
            w = head[18] | (head[19] << 8);
            h = head[20] | (head[21] << 8);
        } else {
            w = le32(head + 18);
            h = le32(head + 22);
            h = h < 0 ? -h : h;
        }
        perPixel = 8;  // 32-bit pixels, run-length coding at its worst
    } else if (isPnm(head, n)) {
        size_t i = 2;
        w = pnmToken(head, n, i);
        h = pnmToken(head, n, i);
        if (w < 0 || h < 0) return lim.maxFileBytes;  // header longer than the head
        perPixel = 3 * 8;                             // ASCII samples with generous separators
    } else if (isJpeg(head, n)) {
        auto fromHead = [&](uint64_t off, unsigned char* dst, size_t k) -> size_t {
            if (off >= n) return 0;
            k = std::min(k, size_t(n - off));
            std::memcpy(dst, head + off, k);
            return k;
        };
        JpegWalk walk = walkJpegSegments(fromHead, n, w, h);
        if (walk == JpegWalk::OutOfData) {
            // The frame header lies beyond the head: walk on in the file, but
            // not past the room metadata may take.
            if (!file) return lim.maxFileBytes;
            FileWindow window(file);
            walk = walkJpegSegments(window, uint64_t(kMetadataSlack), w, h);
        }
        if (walk != JpegWalk::Frame) return 0;
        perPixel = 8;
    } else {
        return 0;
    }
    if (!imageSizeOk(w, h, lim)) return 0;
    const long long bytes = w * h * perPixel + kMetadataSlack;
    return bytes < (long long)lim.maxFileBytes ? size_t(bytes) : lim.maxFileBytes;
}

bool decodeImage(const unsigned char* data, size_t size, unsigned long flags,
                 const ImageLimits& lim, Mat& out) {
    // The decoders write into the destination's own storage when its shape
    // and type already fit; a reference into another matrix is let go first.
    Mat img;
    if (out.isRefered())
        out.release();
    else
        img.swap(out);
    if (!data || size == 0) return false;
    const ChannelRule rule = ruleOf(flags);
    const bool keepAlpha = rule == ChannelRule::Unchanged;
    bool ok = false;
    if (isPng(data, size))
        ok = decodePng(data, size, keepAlpha, lim, img);
    else if (isJpeg(data, size))
        ok = decodeJpeg(data, size, lim, img);
    else if (isBmp(data, size))
        ok = decodeBmp(data, size, keepAlpha, lim, img);
    else if (isPnm(data, size))
        ok = decodePnm(data, size, lim, img);
    if (!ok || img.empty()) return false;

    const int cn = img.channels();
    switch (rule) {
        case ChannelRule::Unchanged:
            break;
        case ChannelRule::Natural:
            if (cn == 4) ok = dropAlpha(img, img);
            break;
        case ChannelRule::Colour:
            if (cn == 1)
                ok = greyToRgb(img, img);
            else if (cn == 4)
                ok = dropAlpha(img, img);
            break;
        case ChannelRule::Grey:
            if (cn != 1) ok = rgbToGrey(img, img);
            break;
    }
    if (!ok) return false;
    out.swap(img);
    return true;
}

}  // namespace detail

bool Mat::fromImage(const char* path, unsigned long flags) {
    // Storage that fits the picture is kept and decoded into; every refusal
    // leaves this matrix empty.
    Mat img;
    if (isRefered())
        release();
    else
        img.swap(*this);
    std::vector<unsigned char> bytes;
    const detail::ImageLimits lim = detail::defaultImageLimits();
    // The signature and the announced size are checked on the first bytes
    // before the rest is read, so a stream of junk costs one small read.
    unsigned char head[4096];
    size_t limit = 0;
    if (FILE* fp = path && *path ? std::fopen(path, "rb") : nullptr) {
        const size_t headLen = std::fread(head, 1, sizeof head, fp);
        limit = detail::announcedFileLimit(head, headLen, lim, fp);
        std::fclose(fp);
    }
    if (limit == 0 || !detail::readFileBounded(path, limit, bytes)) return false;
    if (!detail::decodeImage(bytes.data(), bytes.size(), flags, lim, img)) return false;
    swap(img);
    return true;
}

bool Mat::toImage(const char* path, int jpegQuality, int pngCompression) const {
    if (!path || !*path || !isValid() || type() != MAT_Tuchar || m_rows <= 0 || m_cols <= 0)
        return false;
    const int cn = channels();
    const std::string ext = detail::lowerExtension(path);
    if (ext == "png") {
        if (cn != 1 && cn != 3 && cn != 4) return false;
        return detail::encodePng(*this, path, pngCompression);
    }
    if (ext == "jpg" || ext == "jpeg") {
        if (cn != 1 && cn != 3) return false;
        return detail::encodeJpeg(*this, path, jpegQuality);
    }
    if (ext == "bmp") {
        if (cn != 1 && cn != 3) return false;
        return detail::encodeBmp(*this, path);
    }
    if (ext == "pgm") {
        if (cn != 1) return false;
        return detail::encodePnm(*this, path);
    }
    if (ext == "ppm") {
        if (cn != 3) return false;
        return detail::encodePnm(*this, path);
    }
    if (ext == "pnm") {
        if (cn != 1 && cn != 3) return false;
        return detail::encodePnm(*this, path);
    }
    return false;
}

}  // namespace tarvo
