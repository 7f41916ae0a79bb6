// Picture files for the tarvo tool. The library's reader and writer answer
// yes or no; when they say no, the tool looks at the file or the folder itself
// to tell the user why in one line.
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "tool.h"

extern const unsigned char tarvo_sample_png[];
extern const std::size_t tarvo_sample_png_size;

namespace tarvotool {

namespace {

// Whole file, or false with errno set.
bool readAll(const std::string& path, std::vector<unsigned char>& bytes) {
    bytes.clear();
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    unsigned char buf[1 << 16];
    std::size_t got;
    while ((got = std::fread(buf, 1, sizeof(buf), f)) > 0)
        bytes.insert(bytes.end(), buf, buf + got);
    const bool ok = !std::ferror(f);
    std::fclose(f);
    return ok;
}

uint32_t be32(const unsigned char* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}
uint32_t le32(const unsigned char* p) {
    return uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}

// Pictures wider or taller than this are refused by the readers.
constexpr uint32_t kLargestSide = 1u << 15;

// Why a PNG the reader refused is bad: its chunks are walked up to IEND.
std::string whyPng(const std::vector<unsigned char>& b) {
    std::size_t at = 8;
    bool first = true;
    while (at + 8 <= b.size()) {
        const uint32_t len = be32(&b[at]);
        const unsigned char* type = &b[at + 4];
        if (first) {
            if (std::memcmp(type, "IHDR", 4) != 0 || len != 13) return "corrupt PNG (no header)";
            if (at + 16 <= b.size() &&
                (be32(&b[at + 8]) > kLargestSide || be32(&b[at + 12]) > kLargestSide))
                return "PNG too large (over 32768 pixels a side)";
            first = false;
        }
        if (uint64_t(at) + 12 + len > b.size()) return "truncated PNG (the file ends mid-chunk)";
        if (std::memcmp(type, "IEND", 4) == 0) return "corrupt PNG data";
        at += 12 + std::size_t(len);
    }
    return "truncated PNG (the file ends before its last chunk)";
}

std::string whyJpeg(const std::vector<unsigned char>& b) {
    const std::size_t n = b.size();
    if (n < 4 || b[n - 2] != 0xFF || b[n - 1] != 0xD9)
        return "truncated JPEG (no end-of-image marker)";
    return "corrupt JPEG data";
}

std::string whyBmp(const std::vector<unsigned char>& b) {
    if (b.size() < 26) return "truncated BMP (the header is incomplete)";
    if (le32(&b[2]) > b.size()) return "truncated BMP (shorter than its header says)";
    return "corrupt BMP data";
}

// Skips blanks and comments of a PNM header, then reads a number; -1 when none.
long long pnmNumber(const std::vector<unsigned char>& b, std::size_t& at) {
    for (;;) {
        while (at < b.size() && std::isspace(b[at])) at++;
        if (at < b.size() && b[at] == '#') {
            while (at < b.size() && b[at] != '\n') at++;
            continue;
        }
        break;
    }
    if (at >= b.size() || !std::isdigit(b[at])) return -1;
    long long v = 0;
    while (at < b.size() && std::isdigit(b[at]) && v < (1LL << 40)) v = v * 10 + (b[at++] - '0');
    return v;
}

std::string whyPnm(const std::vector<unsigned char>& b) {
    std::size_t at = 2;
    const long long w = pnmNumber(b, at), h = pnmNumber(b, at), maxval = pnmNumber(b, at);
    if (w < 0 || h < 0 || maxval < 0)
        return at >= b.size() ? "truncated PGM/PPM (the header is incomplete)"
                              : "corrupt PGM/PPM header";
    if (w == 0 || h == 0 || maxval == 0 || maxval > 65535) return "corrupt PGM/PPM header";
    if (w > kLargestSide || h > kLargestSide) return "PGM/PPM too large (over 32768 pixels a side)";
    if (b[1] == '5' || b[1] == '6') {
        const long long need = w * h * (b[1] == '6' ? 3 : 1) * (maxval > 255 ? 2 : 1);
        if ((long long)(b.size() - std::min(b.size(), at + 1)) < need)
            return "truncated PGM/PPM (fewer pixels than its header says)";
    }
    return "corrupt PGM/PPM data";
}

// Why the reader refused bytes: empty, unknown format, truncated or corrupt.
std::string whyUnreadable(const std::vector<unsigned char>& b) {
    if (b.empty()) return "empty file (zero bytes)";
    const std::size_t n = b.size();
    static const unsigned char pngSig[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (n >= 8 && std::memcmp(b.data(), pngSig, 8) == 0) return whyPng(b);
    if (n >= 1 && b[0] == 0x89 && n < 8 && std::memcmp(b.data(), pngSig, n) == 0)
        return "truncated PNG (the file ends inside its signature)";
    if (n >= 3 && b[0] == 0xFF && b[1] == 0xD8 && b[2] == 0xFF) return whyJpeg(b);
    if (n >= 2 && b[0] == 'B' && b[1] == 'M') return whyBmp(b);
    if (n >= 2 && b[0] == 'P' && (b[1] == '2' || b[1] == '3' || b[1] == '5' || b[1] == '6'))
        return whyPnm(b);
    return "unknown format (not a PNG, JPEG, BMP, PGM or PPM picture)";
}

std::string lowerExtension(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    if (!ext.empty()) ext.erase(0, 1);
    for (char& c : ext) c = char(std::tolower((unsigned char)c));
    return ext;
}

// Channel counts a format holds, as a bit per count (bit 1, 3, 4); 0 when the
// extension names no format.
unsigned formatChannels(const std::string& ext, const char** name) {
    if (ext == "png") return *name = "PNG", 1u << 1 | 1u << 3 | 1u << 4;
    if (ext == "jpg" || ext == "jpeg") return *name = "JPEG", 1u << 1 | 1u << 3;
    if (ext == "bmp") return *name = "BMP", 1u << 1 | 1u << 3;
    if (ext == "pgm") return *name = "PGM", 1u << 1;
    if (ext == "ppm") return *name = "PPM", 1u << 3;
    if (ext == "pnm") return *name = "PNM", 1u << 1 | 1u << 3;
    return *name = "", 0u;
}

const char* channelsAdvice(int cn) {
    return cn == 1   ? "a grey picture: use .png, .pgm, .jpg or .bmp"
           : cn == 3 ? "a colour picture: use .png, .ppm, .jpg or .bmp"
                     : "a picture with transparency: use .png";
}

}  // namespace

int fail(const std::string& message) {
    std::fprintf(stderr, "tarvo: %s\n", message.c_str());
    return kExitError;
}

bool loadPicture(const std::string& path, tarvo::Mat& out, std::string& error) {
    out.release();
    const std::string what = "cannot read '" + path + "': ";
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        error = what + (errno == ENOENT ? std::string("no such file") : std::strerror(errno));
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        error = what + "it is a directory";
        return false;
    }
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        std::fclose(f);
    } else {
        error = what + (errno == EACCES ? std::string("permission denied") : std::strerror(errno));
        return false;
    }
    if (out.fromImage(path.c_str(), tarvo::IMG_UNCHANGED) && !out.empty()) return true;
    out.release();
    std::vector<unsigned char> bytes;
    if (!readAll(path, bytes)) {
        error = what + std::strerror(errno);
        return false;
    }
    error = what + whyUnreadable(bytes);
    return false;
}

bool savePicture(const std::string& path, const tarvo::Mat& img, std::string& error,
                 const WriteOptions& options) {
    const std::string what = "cannot write '" + path + "': ";
    if (img.empty()) {
        error = what + "the result is empty";
        return false;
    }
    const std::string ext = lowerExtension(path);
    const char* format = "";
    const unsigned holds = formatChannels(ext, &format);
    if (!holds) {
        error = what +
                (ext.empty() ? std::string("no extension") : "unknown extension '." + ext + "'") +
                " (use .png, .jpg, .bmp, .pgm or .ppm)";
        return false;
    }
    const int cn = img.channels();
    if (img.type() != tarvo::MAT_Tuchar) {
        error = what + format + " holds 8-bit pictures only, and this one has " +
                std::to_string(8 * tarvo::depthSize(img.type())) + "-bit samples";
        return false;
    }
    if (cn > 4 || !(holds >> cn & 1u)) {
        error = what + format + " cannot hold " + std::to_string(cn) + " channel" +
                (cn == 1 ? "" : "s") + "; this is " + channelsAdvice(cn);
        return false;
    }
    std::filesystem::path p(path);
    std::filesystem::path folder = p.has_parent_path() ? p.parent_path() : ".";
    std::error_code ec;
    if (std::filesystem::is_directory(p, ec)) {
        error = what + "it is a directory";
        return false;
    }
    if (!std::filesystem::exists(folder, ec)) {
        error = what + "folder '" + folder.string() + "' does not exist";
        return false;
    }
    if (!std::filesystem::is_directory(folder, ec)) {
        error = what + "'" + folder.string() + "' is not a folder";
        return false;
    }
    if (::access(folder.c_str(), W_OK) != 0 ||
        (std::filesystem::exists(p, ec) && ::access(path.c_str(), W_OK) != 0)) {
        error = what + "not writable (" + std::strerror(errno) + ")";
        return false;
    }
    errno = 0;
    const int quality = options.jpegQuality >= 1 ? options.jpegQuality : 95;
    if (img.toImage(path.c_str(), quality, options.pngCompression)) return true;
    const int err = errno;
    error = what + (err == ENOSPC ? std::string("disk full")
                    : err != 0    ? std::string(std::strerror(err))
                                  : std::string("the ") + format + " encoder failed");
    return false;
}

const unsigned char* sampleBytes(std::size_t* size) {
    *size = tarvo_sample_png_size;
    return tarvo_sample_png;
}

bool loadSample(tarvo::Mat& out, std::string& error) {
    // The readers take a path: give them the bytes through a private temp file.
    std::string dir = std::filesystem::temp_directory_path().string();
    std::string tmpl = dir + "/tarvo-sample-XXXXXX.png";
    int fd = mkstemps(&tmpl[0], 4);
    if (fd < 0) {
        error = "cannot create a temporary file in '" + dir + "': " + std::strerror(errno);
        return false;
    }
    std::size_t done = 0;
    while (done < tarvo_sample_png_size) {
        ssize_t w = write(fd, tarvo_sample_png + done, tarvo_sample_png_size - done);
        if (w <= 0) break;
        done += std::size_t(w);
    }
    close(fd);
    bool ok = done == tarvo_sample_png_size && out.fromImage(tmpl.c_str(), tarvo::IMG_UNCHANGED) &&
              !out.empty();
    std::remove(tmpl.c_str());
    if (!ok) error = "cannot decode the bundled sample picture";
    return ok;
}

}  // namespace tarvotool
