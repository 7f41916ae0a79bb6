// Shared pieces of the tarvo tool: picture loading and saving with one-line
// error messages, the bundled sample, and the demo.
#pragma once

#include <string>

#include "tarvo/mat.h"

namespace tarvotool {

// Exit status of every failure: bad arguments, missing or unreadable files.
constexpr int kExitError = 2;

// Prints "tarvo: <message>" on stderr and returns kExitError.
int fail(const std::string& message);

// How OUT is encoded: -1 keeps each codec's default.
struct WriteOptions {
    int jpegQuality = -1;     // 1..100
    int pngCompression = -1;  // 0..9
};

// Loads a picture as it is: grey stays one channel, colour three, colour with
// transparency four. On failure returns false with a message that names the
// cause: missing, unreadable, a directory, empty, truncated, corrupt, too
// large or of an unknown format.
bool loadPicture(const std::string& path, tarvo::Mat& out, std::string& error);
// Saves a picture; the extension of path picks the format. On failure returns
// false with the cause: unknown extension, a format that cannot hold the
// picture's channels or depth, a missing or unwritable folder, a full disk.
bool savePicture(const std::string& path, const tarvo::Mat& img, std::string& error,
                 const WriteOptions& options = WriteOptions());
// Decodes the sample picture built into the binary.
bool loadSample(tarvo::Mat& out, std::string& error);
// The bytes of the sample picture built into the binary (a PNG file).
const unsigned char* sampleBytes(std::size_t* size);

// tarvo demo [--out DIR]: args are the words after "demo".
int runDemo(int argc, const char* const* argv);

// tarvo batch [options] IN_DIR OUT_DIR -- OP [options] ...: args are the
// words after "batch". Exit status 0, 1 when any picture failed, 130 when
// interrupted, kExitError on bad arguments.
int runBatch(int argc, const char* const* argv);

// tarvo features FILE: args are the words after "features".
int runFeatures(int argc, const char* const* argv);

}  // namespace tarvotool
