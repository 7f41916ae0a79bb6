// A small operator used only by the tests to exercise the frame: it inverts
// byte images (255 - v per channel) and refuses every other depth.
#pragma once

#include <new>

#include "tarvo/ip/core.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace test {

class ipTestInvert : public ipCorePump {
public:
    ipTestInvert() : offset(0) {}
    // Added to every inverted value (saturated), so clones can be told apart.
    int offset;

    PumpABC* clone() const override {
        ipTestInvert* c = new (std::nothrow) ipTestInvert();
        if (c) c->offset = offset;
        return c;
    }

    bool process(Mat* src, Mat* dst) override {
        if (!src || src->empty() || src->type() != MAT_Tuchar) return false;
        if (!dst) dst = src;
        if (dst != src && !isSameShape(src, dst)) dst->release();
        if (dst != src) dst->create(*src, false);
        int n = src->cols() * src->channels();
        for (int r = 0; r < src->rows(); r++) {
            const unsigned char* s = src->ptr<unsigned char>(r);
            unsigned char* d = dst->ptr<unsigned char>(r);
            for (int i = 0; i < n; i++) {
                int v = 255 - s[i] + offset;
                d[i] = (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
            }
        }
        return true;
    }
};

// The free-function door of the test operator.
inline void testInvert(const Mat& src, Mat& dst, int offset = 0) {
    ipTestInvert op;
    op.offset = offset;
    op.ipTestInvert::process(const_cast<Mat*>(&src), &dst);
}

}  // namespace test
}  // namespace tarvo
