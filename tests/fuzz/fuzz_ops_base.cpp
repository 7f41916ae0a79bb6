// Fuzzer entries of the base library: Mat copies, references, conversions,
// colour spaces and rectangle copies.
#include "fuzz/fuzz_ops.h"
#include "tarvo/colorspace.h"
#include "tarvo/matop.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

Rect_<int> rect(FuzzInput& in) {
    return Rect_<int>(in.hostileInt(-5, 70), in.hostileInt(-5, 70), in.hostileInt(-5, 70),
                      in.hostileInt(-5, 70));
}

const fuzz::FuzzOp kOps[] = {
    {"Mat::assignSubRef",
     [](FuzzInput& in) {
         Mat a = in.mat(), s;
         a.subRefMat(rect(in), s);
         Mat want(s);
         switch (in.range(0, 2)) {
             case 0:
                 a = s;
                 break;
             case 1:
                 a.create(s, true);
                 break;
             default:
                 a = Mat(a, Range(in.hostileInt(-2, 70), in.hostileInt(-2, 70)), false);
         }
         fuzz::touch(a);
         if (in.range(0, 1) == 0 && !want.empty() && !fuzz::sameBytes(a, want) && a.isValid() &&
             a.isEqualMat(want))
             fuzz::fail("sub-reference assignment lost pixels");
     }},
    {"Mat::rectCopy",
     [](FuzzInput& in) {
         Mat a = in.mat();
         Mat b(a, rect(in));
         fuzz::touch(b);
     }},
    {"Mat::copyTo",
     [](FuzzInput& in) {
         const bool masked = in.flag();
         Mat mask = masked ? in.mat(MAT_Tuchar, in.range(1, 2)) : Mat();
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) { s.copyTo(d, mask); });
     }},
    {"Mat::convertTo",
     [](FuzzInput& in) {
         const int depth = in.range(0, 6);
         const double scale = in.hostileDouble(-4, 4), shift = in.hostileDouble(-300, 300);
         const bool scaled = in.flag();
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (scaled)
                 s.convertTo(d, depth, scale, shift);
             else
                 s.convertTo(d, depth, CT_Round);
         });
     }},
    {"ColorSpace",
     [](FuzzInput& in) {
         const int which = in.range(0, 5), ch = in.hostileInt(-1, 4);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             switch (which) {
                 case 0:
                     ColorSpace::RGBtoGray(s, d, BMP_RGB);
                     break;
                 case 1:
                     ColorSpace::GraytoRGB(s, d, BMP_BGR);
                     break;
                 case 2:
                     ColorSpace::RGBtoYUV(s, d);
                     break;
                 case 3:
                     ColorSpace::YUVtoRGB(s, d);
                     break;
                 case 4:
                     ColorSpace::RGBtoLab(s, d);
                     break;
                 default:
                     ColorSpace::extractChannel(s, d, ch);
             }
         });
     }},
    {"MatOp::copyMat",
     [](FuzzInput& in) {
         Mat d = in.mat(), s = in.flag() ? d : in.mat();
         const Rect_<int> r = rect(in);
         MatOp::copyMat(d, in.flag() ? d : s, r,
                        Point2_<int>(in.hostileInt(-5, 70), in.hostileInt(-5, 70)));
         fuzz::touch(d);
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
