// Fuzzer entries of the edge family: derivatives, Canny, orientation fields.
#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/edges.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

const fuzz::FuzzOp kOps[] = {
    {"sobel",
     [](FuzzInput& in) {
         const int dx = in.hostileInt(-1, 3), dy = in.hostileInt(-1, 3), k = in.hostileInt(-1, 8);
         fuzz::withArrangement(in, in.mat(),
                               [&](const Mat& s, Mat& d) { ip::sobel(s, d, dx, dy, k); });
     }},
    {"laplace",
     [](FuzzInput& in) {
         const int sel = in.hostileInt(0, 4);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) { ip::laplace(s, d, sel); });
     }},
    {"canny",
     [](FuzzInput& in) {
         const float lo = in.hostileFloat(-10, 200), hi = in.hostileFloat(-10, 400);
         const int mode = in.hostileInt(0, 2);
         fuzz::withArrangement(in, in.mat(MAT_Tuchar, 0),
                               [&](const Mat& s, Mat& d) { ip::canny(s, d, lo, hi, mode); });
     }},
    {"edgeOrientaitonField",
     [](FuzzInput& in) {
         fuzz::withArrangement(in, in.mat(MAT_Tuchar, 0),
                               [&](const Mat& s, Mat& d) { ip::edgeOrientaitonField(s, d); });
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
