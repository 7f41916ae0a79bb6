// Rows of the tarvo tool for the edges operations.
#include <cmath>

#include "operations.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/saturate.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runCanny(const Mat& in, Mat& out, const Args& a) {
    if (a.v[2] > 0) {
        Mat smooth;
        tarvo::ip::gaussian(in, smooth, a.f(2));
        tarvo::ip::canny(smooth, out, a.f(0), a.f(1), a.i(3));
    } else {
        tarvo::ip::canny(in, out, a.f(0), a.f(1), a.i(3));
    }
}

// Signed short or float derivatives become viewable bytes: |value|, saturated.
void absToBytes(const Mat& d, Mat& out) {
    out.release();
    if (!d.isValid() ||
        out.create(d.rows(), d.cols(), tarvo::MAKETYPE(tarvo::MAT_Tuchar, d.channels())) < 0)
        return;
    const int n = d.cols() * d.channels();
    for (int y = 0; y < d.rows(); y++) {
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < n; x++) {
            const double v = d.type() == tarvo::MAT_Tshort ? double(d.ptr<short>(y)[x])
                                                           : double(d.ptr<float>(y)[x]);
            o[x] = tarvo::saturate_cast<unsigned char>(std::fabs(v));
        }
    }
}

void runSobel(const Mat& in, Mat& out, const Args& a) {
    Mat d(1, 1, tarvo::MAT_Tshort);
    tarvo::ip::sobel(in, d, a.i(0), a.i(1), a.i(2));
    if (a.v[0] + a.v[1] > 0 && d.isEqualSize(in))
        absToBytes(d, out);
    else
        out.release();
}

const char* checkSobel(const Mat&, const Args& a) {
    return a.v[0] + a.v[1] > 0 ? nullptr : "--dx and --dy cannot both be 0";
}

// Gradient magnitude sqrt(gx^2 + gy^2) of first Sobel derivatives, rounded and
// saturated to bytes, channel by channel.
void runSobelMagnitude(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat gx(1, 1, tarvo::MAT_Tshort), gy(1, 1, tarvo::MAT_Tshort);
    tarvo::ip::sobel(in, gx, 1, 0, a.i(0));
    tarvo::ip::sobel(in, gy, 0, 1, a.i(0));
    if (!gx.isEqualSize(in) || !gy.isEqualSize(in) || gx.type() != tarvo::MAT_Tshort ||
        gy.type() != tarvo::MAT_Tshort ||
        out.create(in.rows(), in.cols(), tarvo::MAKETYPE(tarvo::MAT_Tuchar, in.channels())) < 0)
        return;
    const int n = in.cols() * in.channels();
    for (int y = 0; y < in.rows(); y++) {
        const short* px = gx.ptr<short>(y);
        const short* py = gy.ptr<short>(y);
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < n; x++)
            o[x] = tarvo::saturate_cast<unsigned char>(
                std::sqrt(double(px[x]) * px[x] + double(py[x]) * py[x]));
    }
}

void runLaplace(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat d(1, 1, tarvo::MAT_Tfloat);
    tarvo::ip::laplace(in, d, a.i(0));
    if (d.isEqualSize(in)) absToBytes(d, out);
}

const Choice kCannyModes[] = {{"both", 0}, {"vertical", 1}, {"horizontal", 2}, {nullptr, 0}};
// A Sobel kernel of size k reads k / 2 pixels each way; size 1 is a 3-tap
// derivative with no smoothing.
int sobelRadius(int ksize) {
    return ksize <= 1 ? 1 : ksize / 2;
}
int reachSobel(const Args& a) {
    return sobelRadius(a.i(2));
}
int reachSobelMagnitude(const Args& a) {
    return sobelRadius(a.i(0));
}
int reachLaplace(const Args&) {
    return 1;
}

const Choice kKernelSizes[] = {{"1", 1}, {"3", 3}, {"5", 5}, {"7", 7}, {nullptr, 0}};
const Choice kLaplaceKernels[] = {{"cross", 1}, {"diagonal", 3}, {nullptr, 0}};

const Operation kRows[] = {
    {"canny",
     "Canny edge map (255 on edges, 0 elsewhere), optionally after Gaussian smoothing",
     {{"low", "lower hysteresis threshold on the gradient magnitude", 40, 0, 1e6, false},
      {"high", "upper threshold: edges start where the magnitude passes it", 120, 0, 1e6, false},
      {"sigma", "Gaussian smoothing first, 0 for none", 0, 0, 100, false},
      {"mode", "gradients used: both, only the vertical one, or only the horizontal one", 0, 0, 2,
       true, kCannyModes}},
     runCanny,
     nullptr,
     "canny --low 40 --high 120 --sigma 1.5 in.png edges.png",
     kGreyOrColour,
     nullptr,
     globalReach("hysteresis follows edges across the whole picture")},
    {"sobel",
     "Sobel derivative of order (dx, dy), saved as its absolute value in bytes",
     {{"dx", "derivative order along x", 1, 0, 3, true},
      {"dy", "derivative order along y", 0, 0, 3, true},
      {"ksize", "kernel size", 3, 1, 7, true, kKernelSizes}},
     runSobel,
     nullptr,
     "sobel --dx 1 --dy 0 --ksize 5 in.png out.png",
     kGreyOrColour,
     checkSobel,
     {reachSobel, "--ksize / 2, at least 1"}},
    {"sobel-magnitude",
     "Gradient magnitude sqrt(gx^2 + gy^2) of the first Sobel derivatives, in bytes",
     {{"ksize", "kernel size", 3, 1, 7, true, kKernelSizes}},
     runSobelMagnitude,
     nullptr,
     "sobel-magnitude --ksize 3 grey.png magnitude.png",
     kGreyOrColour,
     nullptr,
     {reachSobelMagnitude, "--ksize / 2, at least 1"}},
    {"laplace",
     "3x3 Laplacian, saved as its absolute value in bytes",
     {{"selector", "kernel: cross (0 1 0 / 1 -4 1 / 0 1 0) or diagonal (2 0 2 / 0 -8 0 / 2 0 2)", 1,
       1, 3, true, kLaplaceKernels}},
     runLaplace,
     nullptr,
     "laplace --selector diagonal in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachLaplace, "a 3 x 3 kernel"}},
};

const DemoStep kDemo[] = {
    {"canny.png", "Gaussian (sigma 1.5) then Canny edges", "", "canny",
     "--low 40 --high 120 --sigma 1.5", 400},
    {"sobel-x.png", "horizontal Sobel derivative", "", "sobel", "--dx 1 --dy 0", 401},
    {"sobel-magnitude.png", "Sobel gradient magnitude of the grey picture", "grey.png",
     "sobel-magnitude", "", 402},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
