// Fuzzer entries of the segmentation family: thresholds.
#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/segment.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

const fuzz::FuzzOp kOps[] = {
    {"Threshold",
     [](FuzzInput& in) {
         const double t = in.hostileDouble(-300, 300), m = in.hostileDouble(-300, 300);
         const int type = in.hostileInt(0, 16);
         fuzz::withArrangement(in, in.mat(),
                               [&](const Mat& s, Mat& d) { ip::Threshold(s, d, t, m, type); });
     }},
    {"adaptiveThreshold",
     [](FuzzInput& in) {
         const double m = in.hostileDouble(-10, 300), delta = in.hostileDouble(-20, 20);
         const int method = in.hostileInt(0, 2), type = in.hostileInt(0, 2),
                   block = in.hostileInt(0, 31);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             ip::adaptiveThreshold(s, d, m, method, type, block, delta);
         });
     }},
    {"otsu",
     [](FuzzInput& in) {
         const Mat src = in.mat(), mask = in.flag() ? in.mat(MAT_Tuchar, 1) : Mat();
         ip::otsuThreshold(src, mask);
         if (src.isValid() && src.type() == MAT_Tuchar && src.channels() == 1)
             ip::thresholdOfGray(src);
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
