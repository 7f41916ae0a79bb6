// Fuzzer entries of the segmentation family: template matching and
// correlation through the spectrum.
#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/segment.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

// A template, usually smaller than the image it is matched against.
Mat smallMat(FuzzInput& in, int depth, int cn) {
    Mat bytes;
    const int rows = in.range(1, 12), cols = in.range(1, 12);
    if (bytes.create(rows, cols, MAKETYPE(MAT_Tuchar, cn)) < 0) return Mat();
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < bytes.rowByteSize(); x++) bytes.data.ptr[y][x] = in.byte();
    if (depth == MAT_Tuchar) return bytes;
    Mat m;
    bytes.convertTo(m, depth, 1.0 / 64, 0.0);
    return m;
}

const fuzz::FuzzOp kOps[] = {
    {"crossCorr",
     [](FuzzInput& in) {
         const Mat img = in.mat();
         const Mat templ =
             in.flag() ? in.mat()
                       : smallMat(in, img.empty() ? 1 : img.type(), in.flag() ? 1 : img.channels());
         // The result size is the work: legal sizes stay near the image's.
         const Size_<int> size(in.refusedOrSmall(0, 90), in.refusedOrSmall(0, 90));
         const int corrType = in.flag() ? in.hostileInt(0, 40) : MAKETYPE(in.range(4, 5), 1);
         const Point2_<int> anchor(in.hostileInt(-3, 12), in.hostileInt(-3, 12));
         const double delta = in.hostileDouble(-10, 10);
         const int border = in.hostileInt(0, 20);
         Mat corr = in.flag() ? Mat() : in.mat();
         ip::crossCorr(img, templ, corr, size, corrType, anchor, delta, border);
         fuzz::touch(corr);
     }},
    {"matchTemplate",
     [](FuzzInput& in) {
         const Mat img = in.mat();
         const Mat templ = in.flag() ? in.mat()
                                     : smallMat(in, img.empty() ? 1 : img.type(),
                                                img.empty() ? 1 : img.channels());
         const int mode = in.range(0, 7);
         Mat result = in.flag() ? Mat() : in.mat();
         ip::matchTemplate(img, templ, result, ip::enTemplateMatchMode(mode));
         fuzz::touch(result);
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
