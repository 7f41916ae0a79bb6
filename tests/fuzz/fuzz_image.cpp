// libFuzzer harness for the picture readers and the TMAT/TVEC records.
// The input is decoded straight from memory with limits small enough that
// the fuzzer hunts for crashes and leaks rather than for big allocations.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "image_io.h"
#include "tarvo/mat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace tarvo;
    static const detail::ImageLimits lim{4096, 1LL << 22, size_t(1) << 24};
    // The flags come from the length so that every channel rule gets exercised
    // without spending input bytes that would move the format's magic.
    static const unsigned long flagsOf[4] = {IMG_GRAY, IMG_COLOR, IMG_GRAYSCALE, IMG_UNCHANGED};
    Mat img;
    if (detail::decodeImage(data, size, flagsOf[size & 3], lim, img)) {
        // A decoded picture must be fully readable.
        unsigned sum = 0;
        for (int r = 0; r < img.rows(); r++)
            for (int i = 0; i < img.cols() * img.channels(); i++) sum += img.data.ptr[r][i];
        (void)sum;
    }
    if (size >= 4 && size < (1u << 24)) {
        // XFileMem wraps a writable block; the reader never writes, but copy anyway.
        unsigned char* copy = new unsigned char[size];
        std::memcpy(copy, data, size);
        XFileMem f(copy, (unsigned)size);
        if (std::memcmp(data, "TVEC", 4) == 0) {
            Vec v;
            v.fromFile(&f);
        } else {
            Mat m;
            m.fromFile(&f);
        }
        delete[] copy;
    }
    return 0;
}
