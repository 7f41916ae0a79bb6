// Fuzzer entries of the geometry family: resize.
#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/geometry.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

const fuzz::FuzzOp kOps[] = {
    {"resize",
     [](FuzzInput& in) {
         const int w = in.range(-2, 90), h = in.range(-2, 90), code = in.hostileInt(0, 5);
         const float scale = in.hostileFloat(0, 3);
         const bool byScale = in.flag();
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (byScale)
                 ip::resize(s, d, scale);
             else
                 ip::resize(s, d, w, h, code);
         });
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
