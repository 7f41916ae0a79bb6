// Fuzzer entries of the filtering family: linear filters, Gaussian, integral
// images, pyramids, borders and morphology.
#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/integral.h"
#include "tarvo/ip/morphology.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

Point2_<int> anchor(FuzzInput& in) {
    return Point2_<int>(in.hostileInt(-2, 8), in.hostileInt(-2, 8));
}

const fuzz::FuzzOp kOps[] = {
    {"filter2D",
     [](FuzzInput& in) {
         const Mat k = in.mat(in.range(3, 5), 1);
         const int ddepth = in.hostileInt(-1, 6), border = in.hostileInt(0, 20);
         const Point2_<int> a = anchor(in);
         const double delta = in.hostileDouble(-10, 10);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             ip::filter2D(s, d, ddepth, k, a, delta, border);
         });
     }},
    {"sepFilter2D",
     [](FuzzInput& in) {
         const int kd = in.range(3, 5);
         Mat kx(1, in.range(1, 9), kd), ky(in.range(1, 9), 1, kd);
         kx = 0.25, ky = 0.5;
         const int ddepth = in.hostileInt(-1, 6), border = in.hostileInt(0, 20);
         const Point2_<int> a = anchor(in);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             ip::sepFilter2D(s, d, ddepth, kx, ky, a, 0.0, border);
         });
     }},
    {"engineRing",
     [](FuzzInput& in) {
         const Mat src = in.mat(MAT_Tuchar, 1);
         Mat k(3, 3, MAT_Tfloat, Point4_<double>(1.0 / 9));
         Ptr<ip::FilterEngine> e = ip::createLinearFilter(
             MAT_Tuchar, MAT_Tuchar, k, Point2_<int>(-1, -1), 0.0, BorderClamp, -1, {});
         if (!e.empty() && src.isValid())
             e->start(src, Rect_<int>(0, 0, -1, -1), false, in.hostileInt(-1, 200));
     }},
    {"gaussian",
     [](FuzzInput& in) {
         const float sigma = in.hostileFloat(0, 6), support = in.hostileFloat(0, 12);
         const int which = in.range(0, 5);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             switch (which) {
                 case 0:
                     ip::gaussian(s, d, sigma, support);
                     break;
                 case 1:
                     ip::gaussianX(s, d, sigma);
                     break;
                 case 2:
                     ip::gaussianY(s, d, sigma);
                     break;
                 case 3:
                     ip::gaussianDiffX(s, d, sigma, support);
                     break;
                 case 4:
                     ip::gaussianDiffY(s, d, sigma, support);
                     break;
                 default:
                     ip::dogfilter(s, d, sigma, support, 3.0f);
             }
         });
     }},
    {"blurringCircle",
     [](FuzzInput& in) {
         // a and b stay modest: each disc pixel builds a kernel of that support.
         const int r = in.hostileInt(-3, 40), a = in.range(-3, 9), b = in.range(-3, 9);
         const Point2_<int> c(in.hostileInt(-5, 70), in.hostileInt(-5, 70));
         fuzz::withArrangement(in, in.mat(MAT_Tuchar, 3),
                               [&](const Mat& s, Mat& d) { ip::blurringCircle(s, d, r, a, b, c); });
     }},
    {"integralImage",
     [](FuzzInput& in) {
         const int which = in.range(0, 2);
         Mat extra1 = in.flag() ? Mat() : in.mat(), extra2;
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (which == 0) ip::integralImage(s, d);
             if (which == 1) ip::integralImage(s, d, extra1);
             if (which == 2) ip::integralImage(s, d, extra1, extra2);
         });
         fuzz::touch(extra1);
         fuzz::touch(extra2);
     }},
    {"pyramids",
     [](FuzzInput& in) {
         // Size hints stay near the source: any size is accepted and sets the work.
         const Size_<int> size(in.range(-1, 150), in.range(-1, 150));
         const int border = in.hostileInt(0, 20);
         const bool down = in.flag();
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (down)
                 ip::pyrDown(s, d, size, border);
             else
                 ip::pyrUp(s, d, size, border);
         });
     }},
    {"createPyramid",
     [](FuzzInput& in) {
         const Mat src = in.mat();
         MatPtrList list;
         ip::createPyramid(src, list, in.hostileInt(0, 20), in.hostileFloat(0.5f, 2.5f));
         for (int i = 0; i < list.count(); i++)
             if (list[i]) fuzz::touch(*list[i]);
     }},
    {"copyMakeBorder",
     [](FuzzInput& in) {
         const int t = in.refusedOrSmall(0, 9), b = in.refusedOrSmall(0, 9),
                   l = in.refusedOrSmall(0, 9), r = in.refusedOrSmall(0, 9),
                   mode = in.hostileInt(0, 20);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             ip::copyMakeBorder(s, d, t, b, l, r, mode, Point4_<double>(3.0));
         });
     }},
    {"morphology",
     [](FuzzInput& in) {
         const Mat el = in.flag() ? Mat() : in.mat(MAT_Tuchar, 1);
         const Point2_<int> a = anchor(in);
         const int it = in.range(-1, 3), border = in.hostileInt(0, 20), op = in.range(0, 3);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             switch (op) {
                 case 0:
                     ip::erode(s, d, el, a, it, border);
                     break;
                 case 1:
                     ip::dilate(s, d, el, a, it, border);
                     break;
                 case 2:
                     ip::opening(s, d, el, a, it, border);
                     break;
                 default:
                     ip::closing(s, d, el, a, it, border);
             }
         });
     }},
    {"binaryMorphology",
     [](FuzzInput& in) {
         const int w = in.hostileInt(-1, 9), h = in.hostileInt(-1, 9), op = in.range(0, 3);
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             switch (op) {
                 case 0:
                     ip::erode(s, d, w, h);
                     break;
                 case 1:
                     ip::dilate(s, d, w, h);
                     break;
                 case 2:
                     ip::opening(s, d, w, h);
                     break;
                 default:
                     ip::closing(s, d, w, h);
             }
         });
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
