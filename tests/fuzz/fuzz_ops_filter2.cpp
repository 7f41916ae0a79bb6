// Fuzzer entries of the filtering family's direct filters: median and the
// integer-kernel convolutions.
#include <climits>
#include <vector>

#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/filter.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

// Kernel entries for a side of `size` (size * size entries, or size for the
// separable form); nothing for sizes below 1, which must be refused.
template <typename T>
std::vector<T> kernel(FuzzInput& in, int size, bool square) {
    std::vector<T> k;
    if (size < 1) return k;
    k.resize(square ? size_t(size) * size_t(size) : size_t(size));
    for (T& v : k) v = T(in.hostileInt(-8, 8));
    return k;
}

const fuzz::FuzzOp kOps[] = {
    {"median",
     [](FuzzInput& in) {
         // Windows are accepted at any size and cost up to the image's area
         // per pixel, so legal ones stay small; zero and negatives are refused.
         const int window = in.flag() ? in.range(-2, 15) : (in.flag() ? -1 : INT_MIN);
         const int kind = in.range(0, 3);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             ip::median(s, d, window, filterintype(kind));
         });
     }},
    {"convolve2",
     [](FuzzInput& in) {
         // The kernel must hold size * size entries, so the size stays within
         // what is built here; the library sees 0 and negatives too.
         const int size = in.range(-1, 9), kind = in.range(0, 3), which = in.range(0, 3);
         const int divisor = in.hostileInt(-3, 60), offset = in.hostileInt(-100, 100);
         const std::vector<int> ki = kernel<int>(in, size, true);
         const std::vector<float> kf = kernel<float>(in, size, true);
         const std::vector<double> kd = kernel<double>(in, size, true);
         const Rect_<int> area(in.hostileInt(-5, 70), in.hostileInt(-5, 70), in.hostileInt(-5, 80),
                               in.hostileInt(-5, 80));
         const int* pi = ki.empty() ? nullptr : ki.data();
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             switch (which) {
                 case 0:
                     ip::convolve2(s, d, pi, size, divisor, offset, filterintype(kind));
                     break;
                 case 1:
                     ip::convolve2(s, d, pi, size, divisor, offset, area);
                     break;
                 case 2:
                     ip::convolve2(s, d, kf.empty() ? nullptr : kf.data(), size, float(divisor),
                                   offset, filterintype(kind));
                     break;
                 default:
                     ip::convolve2(s, d, kd.empty() ? nullptr : kd.data(), size, double(divisor),
                                   offset, filterintype(kind));
             }
         });
     }},
    {"convolve2sep",
     [](FuzzInput& in) {
         const int size = in.range(-1, 15);
         const int divisor = in.hostileInt(-3, 60);
         const float fdivisor = in.hostileFloat(-3, 60);
         const bool useFloat = in.flag();
         const std::vector<int> ki = kernel<int>(in, size, false);
         const std::vector<float> kf = kernel<float>(in, size, false);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (useFloat)
                 ip::convolve2sep(s, d, kf.empty() ? nullptr : kf.data(), size, fdivisor);
             else
                 ip::convolve2sep(s, d, ki.empty() ? nullptr : ki.data(), size, divisor);
         });
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
