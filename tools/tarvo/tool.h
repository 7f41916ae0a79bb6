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

// Loads a picture as 3-channel bytes. On failure returns false with a message
// that tells a missing file from one that is not a readable picture.
bool loadPicture(const std::string& path, tarvo::Mat& out, std::string& error);
// Saves a picture; the extension of path picks the format.
bool savePicture(const std::string& path, const tarvo::Mat& img, std::string& error);
// Decodes the sample picture built into the binary.
bool loadSample(tarvo::Mat& out, std::string& error);

// tarvo demo [--out DIR]: args are the words after "demo".
int runDemo(int argc, const char* const* argv);

}  // namespace tarvotool
