// Picture files for the tarvo tool.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#include "tool.h"

extern const unsigned char tarvo_sample_png[];
extern const std::size_t tarvo_sample_png_size;

namespace tarvotool {

int fail(const std::string& message) {
    std::fprintf(stderr, "tarvo: %s\n", message.c_str());
    return kExitError;
}

bool loadPicture(const std::string& path, tarvo::Mat& out, std::string& error) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        error = "cannot read '" + path + "': it is a directory";
        return false;
    }
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) {
        error = "cannot open '" + path + "': " + std::strerror(errno);
        return false;
    }
    std::fclose(f);
    if (!out.fromImage(path.c_str(), tarvo::IMG_COLOR) || out.empty()) {
        error = "cannot read '" + path + "': not a PNG, JPEG, BMP, PGM or PPM picture";
        return false;
    }
    return true;
}

bool savePicture(const std::string& path, const tarvo::Mat& img, std::string& error) {
    if (img.empty()) {
        error = "nothing to write to '" + path + "': the result is empty";
        return false;
    }
    if (!img.toImage(path.c_str())) {
        std::string ext = std::filesystem::path(path).extension().string();
        error = "cannot write '" + path + "'" +
                (ext.empty() ? std::string(": give it an extension (.png, .jpg, .bmp, .ppm, .pgm)")
                             : ": unknown extension or folder not writable");
        return false;
    }
    return true;
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
    bool ok = done == tarvo_sample_png_size && out.fromImage(tmpl.c_str(), tarvo::IMG_COLOR) &&
              !out.empty();
    std::remove(tmpl.c_str());
    if (!ok) error = "cannot decode the bundled sample picture";
    return ok;
}

}  // namespace tarvotool
