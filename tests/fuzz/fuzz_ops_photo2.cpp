// Fuzzer entries of the photo family's tone and stylising operators.
#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/photo.h"
#include "tarvo/random.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

// Mostly byte images (what these operators serve), sometimes another depth.
Mat photoInput(FuzzInput& in) {
    return in.mat(in.byte() < 40 ? 0 : MAT_Tuchar, 0);
}

const fuzz::FuzzOp kOps[] = {
    {"tone",
     [](FuzzInput& in) {
         const int which = in.range(0, 5);
         const int a = in.hostileInt(-300, 300), b = in.hostileInt(-300, 300),
                   mode = in.hostileInt(0, 3);
         const float f1 = in.hostileFloat(-1, 2), f2 = in.hostileFloat(-1, 2);
         const double g = in.hostileDouble(-4, 4);
         fuzz::withArrangement(in, photoInput(in), [&](const Mat& s, Mat& d) {
             switch (which) {
                 case 0:
                     ip::exposure(s, d, a);
                     break;
                 case 1:
                     ip::light(s, d, a, b);
                     break;
                 case 2:
                     ip::level(s, d, a, b, mode);
                     break;
                 case 3:
                     ip::shadow(s, d, f1, f2);
                     break;
                 case 4:
                     ip::gamma(s, d, g);
                     break;
                 default:
                     ip::bloom(s, d, f1 * 100, f2);
             }
         });
     }},
    {"stylise",
     [](FuzzInput& in) {
         const int which = in.range(0, 4);
         const int amount = in.hostileInt(-50, 300);
         fuzz::withArrangement(in, photoInput(in), [&](const Mat& s, Mat& d) {
             switch (which) {
                 case 0:
                     ip::sketch(s, d, amount);
                     break;
                 case 1:
                     ip::roughSketch(s, d);
                     break;
                 case 2:
                     ip::vintage(s, d, amount);
                     break;
                 case 3:
                     ip::posterize(s, d, amount);
                     break;
                 default:
                     ip::denoise(s, d, float(amount) / 50, in.hostileInt(0, 5));
             }
         });
     }},
    {"randomised",
     [](FuzzInput& in) {
         // Both draw from the library's generator: the seed is pinned before
         // each call so that the aliased and the separate run draw alike.
         const bool useNoise = in.flag();
         const int amount = in.hostileInt(-5, 40);
         const unsigned seed = in.byte();
         fuzz::withArrangement(in, photoInput(in), [&](const Mat& s, Mat& d) {
             detail::pinClockSeed(true, seed);
             detail::seedRandom(seed);
             if (useNoise)
                 ip::noise(s, d, amount);
             else
                 ip::jitter(s, d, amount);
         });
         detail::pinClockSeed(false);
     }},
    {"circleTransform",
     [](FuzzInput& in) {
         const int radius = in.hostileInt(-5, 100), mode = in.hostileInt(0, 5);
         const float twist = in.hostileFloat(-20, 20);
         fuzz::withArrangement(in, photoInput(in), [&](const Mat& s, Mat& d) {
             ip::circleTransform(s, d, radius, twist, mode);
         });
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
