// Fuzzer entries of the edge family beyond gradients and Canny: corners,
// sub-pixel refinement and sampling, Hough transforms and the
// gradient-strength mask.
#include <cmath>
#include <vector>

#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/edges.h"
#include "tarvo/random.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

typedef Array<Point2_<int>, const Point2_<int>&> Points;

// One-channel bytes, half the time cut into 0 and 255 so that the Hough
// transforms see lines of zero pixels rather than noise.
Mat greyish(FuzzInput& in) {
    Mat m = in.mat(MAT_Tuchar, in.byte() < 32 ? 0 : 1);
    if (m.empty() || m.channels() != 1 || !in.flag()) return m;
    const uint8_t t = in.byte();
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols(); x++) m.data.ptr[y][x] = m.data.ptr[y][x] > t ? 255 : 0;
    return m;
}

// A Hough step: NaN, infinities, zero and negatives pass through to be
// refused, but a positive step is kept from being so fine that the vote
// table, though under the library's cap, costs seconds per input.
float houghStep(FuzzInput& in, double lo, double hi, float finest) {
    const float v = in.hostileFloat(float(lo), float(hi));
    if (std::isfinite(v) && v > 0 && v < finest) return finest;
    return v;
}

const fuzz::FuzzOp kOps[] = {
    {"cornerFast",
     [](FuzzInput& in) {
         const int threshold = in.hostileInt(-300, 300), arc = in.hostileInt(8, 13);
         const int suppress = in.hostileInt(0, 1);
         Points corners;
         ip::cornerFast(greyish(in), threshold, arc, suppress, corners);
     }},
    {"cornerHarris",
     [](FuzzInput& in) {
         // The local-maximum window costs its area per pixel and is accepted
         // at any size, so it stays small.
         const int window = in.range(-1, 11);
         const float threshold = in.hostileFloat(-10, 1000);
         const Mat img = greyish(in);
         const Mat mask = in.flag() ? in.mat(MAT_Tuchar, 1) : Mat();
         Points corners;
         ip::cornerHarris(img, mask, corners, in.hostileInt(0, 5), in.hostileFloat(0, 1), window,
                          threshold);
     }},
    {"findCornerSubPix",
     [](FuzzInput& in) {
         const int count = in.range(0, 8);
         std::vector<Point2_<float>> pts(size_t(count) + 1);
         for (int i = 0; i < count; i++)
             pts[size_t(i)] = Point2_<float>(in.hostileFloat(-5, 75), in.hostileFloat(-5, 75));
         const Size_<int> win(in.hostileInt(0, 6), in.hostileInt(0, 6));
         const Size_<int> zero(in.hostileInt(-1, 4), in.hostileInt(-1, 4));
         const TermCriteria crit(in.range(0, 4), in.hostileInt(0, 30), in.hostileDouble(0, 1));
         const Mat img = greyish(in);
         ip::findCornerSubPix(img, pts.data(), count, win, zero, crit);
     }},
    {"getRectSubPixel",
     [](FuzzInput& in) {
         const Mat img = in.mat(MAT_Tuchar, 1);
         if (img.empty()) return;
         const int w = img.cols(), h = img.rows();
         std::vector<unsigned char> src(size_t(w) * size_t(h));
         for (int y = 0; y < h; y++)
             for (int x = 0; x < w; x++)
                 src[size_t(y) * size_t(w) + size_t(x)] = img.data.ptr[y][x];
         const Size_<int> win(in.range(1, 40), in.range(1, 40));
         std::vector<float> dst(size_t(win.width) * size_t(win.height));
         const Point2_<float> centre(in.hostileFloat(-100, 170), in.hostileFloat(-100, 170));
         ip::getRectSubPixel(src.data(), w, Size_<int>(w, h), dst.data(),
                             int(sizeof(float)) * win.width, win, centre);
     }},
    {"houghLinesStd",
     [](FuzzInput& in) {
         const float rho = houghStep(in, 0, 4, 0.25f), theta = houghStep(in, 0, 0.5, 0.005f);
         const int threshold = in.hostileInt(-1, 80), linesMax = in.hostileInt(-1, 40);
         Points lines;
         ip::houghLinesStd(greyish(in), lines, rho, theta, threshold, linesMax);
         if (linesMax >= 0 && (long long)lines.getSize() > 2LL * linesMax)
             fuzz::fail("more lines than asked");
     }},
    {"houghLines",
     [](FuzzInput& in) {
         const float rho = houghStep(in, 0, 4, 0.25f), theta = houghStep(in, 0, 0.5, 0.005f);
         // The vote search starts one below the threshold, in int: INT_MIN
         // stays out.
         const int threshold = in.range(-1, 80), length = in.hostileInt(-1, 60),
                   gap = in.hostileInt(-1, 20);
         const unsigned seed = in.byte();
         const Mat img = greyish(in);
         Points lines;
         detail::seedRandom(seed);
         ip::houghLines(img, lines, rho, theta, threshold, length, gap);
     }},
    {"houghLinePoints",
     [](FuzzInput& in) {
         Points pts;
         const int n = in.range(0, 40);
         for (int i = 0; i < n; i++)
             pts.add(Point2_<int>(in.hostileInt(-5, 80), in.hostileInt(-5, 80)));
         Vec_<int> result;
         ip::houghLinePoints(pts, in.hostileInt(-1, 12), result);
         if (result.isValid())
             fuzz::observe(result.data.ptr, size_t(result.length()) * size_t(result.step()));
     }},
    {"houghCircle",
     [](FuzzInput& in) {
         // Every candidate centre walks circles of the radius tried, so legal
         // but huge radii only cost time: they stay within the image's scale.
         int radius = in.range(-3, 60);
         Point2_<int> centre(in.hostileInt(-5, 75), in.hostileInt(-5, 75));
         if (in.flag()) centre = Point2_<int>(-1, -1);
         ip::houghCircle(greyish(in), centre, radius);
     }},
    {"ipNMS",
     [](FuzzInput& in) {
         ipNMS nms;
         Mat src = in.mat(MAT_Tuchar, 0);
         if (in.flag()) {
             nms.process(&src, nullptr);
             fuzz::touch(src);
         } else {
             Mat dst = in.flag() ? Mat() : in.mat();
             nms.process(&src, &dst);
             fuzz::touch(dst);
         }
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
