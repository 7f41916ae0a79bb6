// Rows of the tarvo tool for the transforms, template matching and large
// kernels: spectra, the display transform, block cosine compression, template
// search and big box or disc blurs.
#include <cmath>
#include <cstdio>

#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/segment.h"
#include "tarvo/ip/transforms.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

// Grey float version of a grey or colour picture.
bool greyFloat(const Mat& in, Mat& g) {
    Mat grey;
    if (in.channels() == 1)
        grey = in;
    else
        tarvo::ColorSpace::RGBtoGray(in, grey);
    if (grey.channels() != 1) return false;
    grey.convertTo(g, tarvo::MAT_Tfloat, 1.0, 0.0);
    return !g.empty();
}

// Linear map of a one-channel float image onto 0..255 bytes (min to 0, max to 255).
void stretchToBytes(const Mat& f, Mat& out) {
    double lo = f.value(0, 0), hi = lo;
    for (int y = 0; y < f.rows(); y++)
        for (int x = 0; x < f.cols(); x++) {
            const double v = f.ptr<float>(y)[x];
            lo = std::min(lo, v);
            hi = std::max(hi, v);
        }
    const double s = hi > lo ? 255.0 / (hi - lo) : 0.0;
    f.convertTo(out, tarvo::MAT_Tuchar, s, -lo * s);
}

// Centred log magnitude of the grey picture's spectrum.
void runSpectrum(const Mat& in, Mat& out, const Args&) {
    out.release();
    Mat g, spec;
    if (!greyFloat(in, g)) return;
    tarvo::dft(g, spec, tarvo::DFT_COMPLEX_OUTPUT);
    if (spec.empty()) return;
    const int R = g.rows(), C = g.cols();
    Mat mag(R, C, tarvo::MAT_Tfloat);
    for (int y = 0; y < R; y++) {
        const float* s = spec.ptr<float>(y);
        float* d = mag.ptr<float>((y + R / 2) % R);
        for (int x = 0; x < C; x++) {
            const double re = s[2 * x], im = s[2 * x + 1];
            d[(x + C / 2) % C] = float(std::log1p(std::sqrt(re * re + im * im)));
        }
    }
    stretchToBytes(mag, out);
}

void runFft2(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g, im;
    if (!greyFloat(in, g)) return;
    g.convertTo(g, tarvo::MAT_Tuchar, 1.0, 0.0);
    tarvo::ip::fft2(g, Mat(), out, im, 1, a.i(1) != 0, a.i(0) != 0);
}

const char* checkDctBlocks(const Mat& in, const Args& a) {
    const int b = a.i(0);
    if (b != 1 && (b & 1)) return "--block must be even (or 1)";
    if (a.i(1) > b) return "--keep cannot exceed --block";
    if (b > in.rows() || b > in.cols()) return "--block is larger than the picture";
    return nullptr;
}

// Keeps the keep x keep lowest cosine coefficients of every full block; the
// strips at the right and bottom that do not fill a block stay as they are.
void runDctBlocks(const Mat& in, Mat& out, const Args& a) {
    out.release();
    const int b = a.i(0), keep = a.i(1);
    Mat g;
    if (!greyFloat(in, g)) return;
    Mat tile(b, b, tarvo::MAT_Tfloat), coef;
    for (int by = 0; by + b <= g.rows(); by += b)
        for (int bx = 0; bx + b <= g.cols(); bx += b) {
            for (int y = 0; y < b; y++)
                for (int x = 0; x < b; x++) tile.ptr<float>(y)[x] = g.ptr<float>(by + y)[bx + x];
            tarvo::dct(tile, coef);
            for (int y = 0; y < b; y++)
                for (int x = 0; x < b; x++)
                    if (y >= keep || x >= keep) coef.ptr<float>(y)[x] = 0;
            tarvo::idct(coef, tile);
            for (int y = 0; y < b; y++)
                for (int x = 0; x < b; x++) g.ptr<float>(by + y)[bx + x] = tile.ptr<float>(y)[x];
        }
    g.convertTo(out, tarvo::MAT_Tuchar, 1.0, 0.0);
}

const char* checkMatch(const Mat& in, const Args& a) {
    if (a.i(0) + a.i(2) > in.cols() || a.i(1) + a.i(3) > in.rows())
        return "the template rectangle leaves the picture";
    return nullptr;
}

// Scores of every placement of the cut-out, stretched to bytes (bright = good
// for the correlation modes, dark = good for the squared differences); the
// best placement is printed.
void runMatch(const Mat& in, Mat& out, const Args& a) {
    out.release();
    const int mode = a.i(4);
    Mat templ(in, tarvo::Rect_<int>(a.i(0), a.i(1), a.i(2), a.i(3))), scores;
    tarvo::ip::matchTemplate(in, templ, scores, tarvo::ip::enTemplateMatchMode(mode));
    if (scores.empty()) return;
    const bool smallest = mode == 0 || mode == 1;
    int bx = 0, by = 0;
    float best = scores.ptr<float>(0)[0];
    for (int y = 0; y < scores.rows(); y++)
        for (int x = 0; x < scores.cols(); x++) {
            const float v = scores.ptr<float>(y)[x];
            if (smallest ? v < best : v > best) best = v, bx = x, by = y;
        }
    std::printf("best placement: x %d y %d score %g\n", bx, by, double(best));
    stretchToBytes(scores, out);
}

// Normalised box or disc of side size, correlated with every channel.
void runFilter2d(const Mat& in, Mat& out, const Args& a) {
    const int n = a.i(0);
    Mat k(n, n, tarvo::MAT_Tfloat);
    const double r = n / 2.0;
    int count = 0;
    for (int y = 0; y < n; y++)
        for (int x = 0; x < n; x++) {
            const double dy = y + 0.5 - r, dx = x + 0.5 - r;
            const bool on = a.i(1) == 0 || dx * dx + dy * dy <= r * r;
            k.ptr<float>(y)[x] = on ? 1.0f : 0.0f;
            count += on;
        }
    for (int y = 0; y < n; y++)
        for (int x = 0; x < n; x++) k.ptr<float>(y)[x] /= float(count);
    tarvo::ip::filter2D(in, out, -1, k, tarvo::Point2_<int>(-1, -1), 0, tarvo::BorderMirror);
}

// The kernel is centred: it reads size / 2 pixels each way (an even size one
// less on one side).
int reachKernel(const Args& a) {
    return a.i(0) / 2;
}

const Choice kMatchModes[] = {{"sqdiff", 0},       {"sqdiff-normed", 1}, {"ccorr", 2},
                              {"ccorr-normed", 3}, {"ccoeff", 4},        {"ccoeff-normed", 5},
                              {nullptr, 0}};
const Choice kShapes[] = {{"box", 0}, {"disc", 1}, {nullptr, 0}};

const Operation kRows[] = {
    {"spectrum",
     "Centred log magnitude of the Fourier spectrum of the grey picture",
     {},
     runSpectrum,
     nullptr,
     "spectrum in.png spectrum.png",
     kGreyOrColour,
     nullptr,
     globalReach("every frequency sums the whole picture, and the display is stretched by its "
                 "range")},
    {"fft2",
     "Display transform of the grey picture: spectrum as bytes around 128, or log magnitude",
     {{"magnitude", "1: log magnitude; 0: real part around 128", 1, 0, 1, true},
      {"pad", "1: pad the sizes to powers of two (fast); 0: any size (slow direct sums)", 1, 0, 1,
       true}},
     runFft2,
     nullptr,
     "fft2 --magnitude 1 --pad 1 in.png fft.png",
     kGreyOrColour,
     nullptr,
     globalReach("every frequency sums the whole picture")},
    {"dct-blocks",
     "Cosine compression of the grey picture: keeps the lowest coefficients of each block",
     {{"block", "block side in pixels (even, or 1)", 8, 1, 256, true},
      {"keep", "coefficients kept per block side", 3, 0, 256, true}},
     runDctBlocks,
     nullptr,
     "dct-blocks --block 8 --keep 3 in.png blocks.png",
     kGreyOrColour,
     checkDctBlocks,
     globalReach("the blocks are anchored at the picture's corner")},
    {"match",
     "Searches the picture for a rectangle cut from it: writes the score map, prints the best "
     "placement",
     {{"x", "left of the template in pixels", 0, 0, 1e6, true},
      {"y", "top of the template in pixels", 0, 0, 1e6, true},
      {"width", "template width in pixels", 32, 1, 1e6, true},
      {"height", "template height in pixels", 32, 1, 1e6, true},
      {"mode", "score: squared difference, cross correlation or correlation coefficient", 5, 0, 5,
       true, kMatchModes}},
     runMatch,
     nullptr,
     "match --x 100 --y 60 --width 40 --height 30 --mode ccoeff-normed in.png scores.png",
     kGreyOrColour,
     checkMatch,
     {reachGlobal,
      "the template is cut at the whole picture's coordinates and the scores are stretched by "
      "the whole map's range",
      true}},
    {"filter2d",
     "Mean over a large box or disc, mirrored edges",
     {{"size", "kernel side in pixels", 25, 1, 255, true},
      {"shape", "box or disc", 0, 0, 1, true, kShapes}},
     runFilter2d,
     nullptr,
     "filter2d --size 25 --shape disc in.png blur.png",
     kGreyOrColour,
     nullptr,
     {reachKernel, "--size / 2 (the kernel is centred)"}},
};

const DemoStep kDemo[] = {
    {"spectrum.png", "centred log magnitude spectrum of the grey picture", "grey.png", "spectrum",
     "", 800},
    {"match-scores.png", "normalised correlation with a 48x40 cut-out (bright = alike)", "",
     "match", "--x 260 --y 150 --width 48 --height 40 --mode ccoeff-normed", 801},
    {"disc-blur.png", "mean over a disc 31 pixels across", "", "filter2d", "--size 31 --shape disc",
     802},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
