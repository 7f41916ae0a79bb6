// Fuzzer entries of the transform family: Fourier and cosine transforms,
// spectrum products and the display transform.
#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/transforms.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

// Float or double, one or two channels: the types the transforms take, with
// the occasional other type to be refused.
Mat spectrumInput(FuzzInput& in) {
    if (in.byte() < 24) return in.mat();
    return in.mat(in.flag() ? MAT_Tfloat : MAT_Tdouble, in.range(1, 2));
}

const fuzz::FuzzOp kOps[] = {
    {"dft",
     [](FuzzInput& in) {
         const int flags = in.flag() ? in.hostileInt(0, 63) : in.range(0, 63);
         const int nonzero = in.hostileInt(-1, 72);
         const bool inverse = in.flag();
         fuzz::withArrangement(in, spectrumInput(in), [&](const Mat& s, Mat& d) {
             if (inverse)
                 idft(s, d, flags, nonzero);
             else
                 dft(s, d, flags, nonzero);
         });
     }},
    {"dct",
     [](FuzzInput& in) {
         const int flags = in.hostileInt(0, 7);
         const bool inverse = in.flag();
         fuzz::withArrangement(in, spectrumInput(in), [&](const Mat& s, Mat& d) {
             if (inverse)
                 idct(s, d, flags);
             else
                 dct(s, d, flags);
         });
     }},
    {"mulSpectrums",
     [](FuzzInput& in) {
         const int flags = in.hostileInt(0, 7);
         const bool conj = in.flag();
         const Mat a = spectrumInput(in);
         // Usually b matches a, so the product itself runs.
         Mat b;
         if (in.flag() || a.empty()) {
             b = spectrumInput(in);
         } else {
             b.create(a, true);
             if (!b.empty() && b.rows() > 1 && b.type() == MAT_Tfloat) b.ptr<float>(1)[0] = -3.5f;
         }
         const int which = in.range(0, 2);
         fuzz::withArrangement(in, a, [&](const Mat& s, Mat& d) {
             if (which == 0)
                 mulSpectrums(s, b, d, flags, conj);
             else if (which == 1)
                 mulSpectrums(b, s, d, flags, conj);
             else
                 mulSpectrums(s, s, d, flags, conj);
         });
     }},
    {"fft2",
     [](FuzzInput& in) {
         const int dir = in.hostileInt(-1, 1);
         const bool pad = in.flag(), magnitude = in.flag();
         const Mat re = in.mat();
         const Mat im = in.flag() ? in.mat() : re;
         Mat outRe = in.flag() ? Mat() : in.mat(), outIm;
         ip::fft2(re, im, outRe, outIm, dir, pad, magnitude);
         fuzz::touch(outRe);
         fuzz::touch(outIm);
     }},
    {"getOptimalDFTSize",
     [](FuzzInput& in) {
         const int n = in.hostileInt(-2, 5000);
         const int r = getOptimalDFTSize(n);
         if (n >= 0 && r >= 0 && r < n) fuzz::fail("optimal size below the request");
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
