// Fuzzer entries of the photo family: colour and histogram operators.
#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/photo.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

const fuzz::FuzzOp kOps[] = {
    {"colour",
     [](FuzzInput& in) {
         const int which = in.range(0, 3), a = in.hostileInt(-300, 300),
                   b = in.hostileInt(-300, 300), c = in.hostileInt(-300, 300);
         const float blend = in.hostileFloat(-1, 2);
         fuzz::withArrangement(in, in.mat(MAT_Tuchar, 0), [&](const Mat& s, Mat& d) {
             switch (which) {
                 case 0:
                     ip::colorize(s, d, (unsigned char)a, (unsigned char)b, blend);
                     break;
                 case 1:
                     ip::shiftRGB(s, d, a, b, c);
                     break;
                 case 2:
                     ip::hsl(s, d, a, b, c);
                     break;
                 default:
                     ip::colorTemperature(s, d, a);
             }
         });
     }},
    {"histogram",
     [](FuzzInput& in) {
         const int which = in.range(0, 5), bins = in.hostileInt(0, 300), mode = in.hostileInt(0, 3);
         Mat mask = in.flag() ? in.mat(MAT_Tuchar, 1) : Mat();
         const bool useMask = in.flag();
         fuzz::withArrangement(
             in, in.mat(in.flag() ? MAT_Tuchar : 0, 0), [&](const Mat& s, Mat& d) {
                 switch (which) {
                     case 0:
                         ip::histogramEqualize(s, d, 256, nullptr);
                         break;
                     case 1:
                         ip::histogramEqualize(s, d, bins, useMask ? &mask : nullptr);
                         break;
                     case 2:
                         ip::histogramLog(s, d);
                         break;
                     case 3:
                         ip::histogramNormalize(s, d);
                         break;
                     case 4:
                         ip::histogramRoot(s, d);
                         break;
                     default:
                         ip::histogramStretch(s, d, mode);
                 }
             });
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
