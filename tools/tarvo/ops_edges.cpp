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

void runLaplace(const Mat& in, Mat& out, const Args& a) {
    out.release();
    if (a.i(0) != 1 && a.i(0) != 3) return;  // the library would leave d unwritten
    Mat d(1, 1, tarvo::MAT_Tfloat);
    tarvo::ip::laplace(in, d, a.i(0));
    if (d.isEqualSize(in)) absToBytes(d, out);
}

const Operation kRows[] = {
    {"canny",
     "Canny edge map (255 on edges, 0 elsewhere), optionally after Gaussian smoothing",
     {{"low", "lower hysteresis threshold on the gradient magnitude", 40, 0, 1e6, false},
      {"high", "upper threshold: edges start where the magnitude passes it", 120, 0, 1e6, false},
      {"sigma", "Gaussian smoothing first, 0 for none", 0, 0, 100, false},
      {"mode", "gradients used: 0 both, 1 vertical only, 2 horizontal only", 0, 0, 2, true}},
     runCanny,
     nullptr},
    {"sobel",
     "Sobel derivative of order (dx, dy), saved as its absolute value in bytes",
     {{"dx", "derivative order along x", 1, 0, 3, true},
      {"dy", "derivative order along y", 0, 0, 3, true},
      {"ksize", "kernel size 1, 3, 5 or 7", 3, 1, 7, true}},
     runSobel,
     nullptr},
    {"laplace",
     "3x3 Laplacian, saved as its absolute value in bytes",
     {{"selector", "kernel: 1 for the 4-neighbour, 3 for the diagonal form", 1, 1, 3, true}},
     runLaplace,
     nullptr},
};

const DemoStep kDemo[] = {
    {"canny.png", "Gaussian then Canny edges", "", "canny", "--low 40 --high 120 --sigma 1.5", 400},
    {"sobel-x.png", "horizontal Sobel derivative", "", "sobel", "--dx 1 --dy 0", 401},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
