// The operation table of the tarvo tool: one row per operation.
#include "operations.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/ip/photo.h"
#include "tarvo/ip/segment.h"
#include "tarvo/saturate.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

// ---- run functions, one per operation

void runCopy(const Mat& in, Mat& out, const Args&) {
    out = in;
}

void runCrop(const Mat& in, Mat& out, const Args& a) {
    tarvo::Rect r(a.i(0), a.i(1), a.i(2), a.i(3));
    if (r.width == 0) r.width = in.cols() - r.x;
    if (r.height == 0) r.height = in.rows() - r.y;
    out.release();
    if (r.x >= in.cols() || r.y >= in.rows() || r.width <= 0 || r.height <= 0) return;
    in.subMat(r, out);
}

void runColorize(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::colorize(in, out, (unsigned char)a.i(0), (unsigned char)a.i(1), a.f(2));
}
tarvo::PumpABC* pumpColorize(const Args& a) {
    tarvo::ipColorize* p = new (std::nothrow) tarvo::ipColorize();
    if (p) {
        p->hue = (unsigned char)a.i(0);
        p->saturation = (unsigned char)a.i(1);
        p->blend = a.f(2);
    }
    return p;
}

void runShiftRGB(const Mat& in, Mat& out, const Args& a) {
    out.create(in, true);  // the operator never re-creates its destination
    tarvo::ip::shiftRGB(in, out, a.i(0), a.i(1), a.i(2));
}
tarvo::PumpABC* pumpShiftRGB(const Args& a) {
    tarvo::ipShiftRGB* p = new (std::nothrow) tarvo::ipShiftRGB();
    if (p)
        for (int k = 0; k < 3; k++) p->shift[k] = a.i(k);
    return p;
}

void runHSL(const Mat& in, Mat& out, const Args& a) {
    out = in;  // the operator adjusts the pixels its destination holds
    tarvo::ip::hsl(out, out, a.i(0), a.i(1), a.i(2));
}

void runTemperature(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::colorTemperature(in, out, a.i(0));
}
tarvo::PumpABC* pumpTemperature(const Args& a) {
    return new (std::nothrow) tarvo::ipColorTemperature(a.i(0));
}

void runGaussian(const Mat& in, Mat& out, const Args& a) {
    if (a.v[1] > 0)
        tarvo::ip::gaussian(in, out, a.f(0), a.f(1));
    else
        tarvo::ip::gaussian(in, out, a.f(0));
}

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

// Colour pictures are thresholded on their grey version: the threshold runs
// over one channel.
void runThreshold(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g;
    tarvo::ColorSpace::RGBtoGray(in, g);
    if (g.channels() != 1) return;
    tarvo::ip::Threshold(g, out, a.v[0], a.v[1], a.i(2));
}

void runAdaptiveThreshold(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::adaptiveThreshold(in, out, a.v[0], a.i(1), a.i(2), a.i(3), a.v[4]);
}

void runEqualize(const Mat& in, Mat& out, const Args&) {
    tarvo::ip::histogramEqualize(in, out);
}
tarvo::PumpABC* pumpEqualize(const Args&) {
    return new (std::nothrow) tarvo::ipHistogramEqualize();
}

// Only colour pictures are stretched; a grey one is reported as refused.
void runStretch(const Mat& in, Mat& out, const Args& a) {
    out.release();
    if (in.channels() != 3) return;
    tarvo::ip::histogramStretch(in, out, a.i(0));
}
tarvo::PumpABC* pumpStretch(const Args& a) {
    return new (std::nothrow) tarvo::ipHistogramStretch(a.i(0));
}

void runResize(const Mat& in, Mat& out, const Args& a) {
    out.release();
    tarvo::ip::resize(in, out, a.i(0), a.i(1), a.i(2));
}

// Erosion or dilation with a square element of the given shape; edges take
// the neutral fill, so they neither darken nor brighten the picture.
void runMorph(bool erode, const Mat& in, Mat& out, const Args& a) {
    out.release();
    const Mat e = tarvo::ip::getStructuringElement(a.i(1), tarvo::Size_<int>(a.i(0), a.i(0)));
    if (e.empty()) return;
    if (erode)
        tarvo::ip::erode(in, out, e, tarvo::Point2_<int>(-1, -1), a.i(2));
    else
        tarvo::ip::dilate(in, out, e, tarvo::Point2_<int>(-1, -1), a.i(2));
}
void runErode(const Mat& in, Mat& out, const Args& a) {
    runMorph(true, in, out, a);
}
void runDilate(const Mat& in, Mat& out, const Args& a) {
    runMorph(false, in, out, a);
}

// ---- the table

const Operation kOperations[] = {
    {"copy",
     "Re-encode a picture; the output format follows the extension of OUT",
     {},
     runCopy,
     nullptr},
    {"crop",
     "Cut a rectangle out of a picture (clipped to the picture)",
     {{"x", "left edge in pixels", 0, 0, 1e6, true},
      {"y", "top edge in pixels", 0, 0, 1e6, true},
      {"width", "width in pixels, 0 for up to the right edge", 0, 0, 1e6, true},
      {"height", "height in pixels, 0 for up to the bottom edge", 0, 0, 1e6, true}},
     runCrop,
     nullptr},
    {"colorize",
     "Tint towards one hue and saturation, keeping each pixel's lightness",
     {{"hue", "hue on a 0..255 turn (0 red, 85 green, 170 blue)", 20, 0, 255, true},
      {"saturation", "saturation of the tint", 200, 0, 255, true},
      {"blend", "share of the tint, 0 keeps the picture", 0.7, 0, 1, false}},
     runColorize,
     pumpColorize},
    {"shift-rgb",
     "Add a constant to the red, green and blue channels (clamped to 0..255)",
     {{"red", "added to red", 0, -255, 255, true},
      {"green", "added to green", 0, -255, 255, true},
      {"blue", "added to blue", 0, -255, 255, true}},
     runShiftRGB,
     pumpShiftRGB},
    {"hsl",
     "Shift hue, saturation and lightness (greys keep their colour under a hue shift)",
     {{"hue", "hue shift in degrees", 0, -360, 360, true},
      {"saturation", "saturation shift in percent points", 0, -100, 100, true},
      {"lightness", "lightness shift in percent points", 0, -100, 100, true}},
     runHSL,
     nullptr},
    {"color-temperature",
     "Shift the colour balance: below 6600 K towards blue, above towards red and yellow",
     {{"kelvin", "colour temperature in kelvin, 6600 is neutral", 5000, 1000, 20000, true}},
     runTemperature,
     pumpTemperature},
    {"gaussian",
     "Gaussian smoothing (separable, mirrored edges, results truncated to the pixel type)",
     {{"sigma", "standard deviation in pixels, 0 copies", 1.5, 0, 100, false},
      {"support", "kernel half-width in pixels, 0 for 2 * sigma", 0, 0, 300, false}},
     runGaussian,
     nullptr},
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
    {"threshold",
     "Fixed, Otsu or percentile threshold of the grey version of a picture",
     {{"value", "threshold level (floored), or a percentage for types 9 and 10", 128, -1e6, 1e6,
       false},
      {"max", "value given to samples on the 'on' side", 255, 0, 255, false},
      {"type",
       "0 binary, 1 inverted, 2 truncate, 3 to zero, 4 to zero inverted; +8 takes Otsu's level "
       "(8, 11, 12); 9 / 10 percentile up / down",
       0, 0, 12, true}},
     runThreshold,
     nullptr},
    {"adaptive-threshold",
     "Threshold each sample against the mean of its neighbourhood (each channel on its own)",
     {{"max", "value given to samples on the 'on' side", 255, 0, 255, false},
      {"method", "0 box mean, 1 Gaussian-weighted mean", 0, 0, 1, true},
      {"type", "0 on above mean - delta, 1 the reverse", 0, 0, 1, true},
      {"block", "neighbourhood size in pixels", 11, 1, 1001, true},
      {"delta", "offset subtracted from the mean", 5, -255, 255, false}},
     runAdaptiveThreshold,
     nullptr},
    {"equalize",
     "Histogram equalisation (colour pictures through their luminance)",
     {},
     runEqualize,
     pumpEqualize},
    {"stretch",
     "Stretch a colour picture's range to 0..255",
     {{"mode", "0 luminance range, 1 one range for all channels, 2 each channel its own", 0, 0, 2,
       true}},
     runStretch,
     pumpStretch},
    {"resize",
     "Scale a picture to a new width and height",
     {{"width", "new width in pixels", 640, 1, 32768, true},
      {"height", "new height in pixels", 480, 1, 32768, true},
      {"interpolation",
       "0 simple averaging, 1 bilinear, 2 bicubic, 3 pixel area, 4 Lanczos (8 taps)", 1, 0, 4,
       true}},
     runResize,
     nullptr},
    {"erode",
     "Morphological erosion: each pixel becomes the minimum under the element (darkens)",
     {{"size", "element width and height in pixels", 3, 1, 255, true},
      {"shape", "element shape: 0 rectangle, 1 cross, 2 ellipse", 0, 0, 2, true},
      {"iterations", "times the erosion is applied, 0 copies", 1, 0, 1000, true}},
     runErode,
     nullptr},
    {"dilate",
     "Morphological dilation: each pixel becomes the maximum under the element (brightens)",
     {{"size", "element width and height in pixels", 3, 1, 255, true},
      {"shape", "element shape: 0 rectangle, 1 cross, 2 ellipse", 0, 0, 2, true},
      {"iterations", "times the dilation is applied, 0 copies", 1, 0, 1000, true}},
     runDilate,
     nullptr},
};

std::string formatNumber(double v, bool integer) {
    char buf[64];
    if (integer)
        std::snprintf(buf, sizeof(buf), "%.0f", v);
    else
        std::snprintf(buf, sizeof(buf), "%g", v);
    return buf;
}

}  // namespace

const Operation* operationTable(std::size_t* count) {
    *count = sizeof(kOperations) / sizeof(kOperations[0]);
    return kOperations;
}

const Operation* findOperation(const char* name) {
    if (!name) return nullptr;
    std::size_t n;
    const Operation* t = operationTable(&n);
    for (std::size_t i = 0; i < n; i++)
        if (std::strcmp(t[i].name, name) == 0) return &t[i];
    return nullptr;
}

int paramCount(const Operation& op) {
    int n = 0;
    while (n < kMaxParams && op.params[n].name) n++;
    return n;
}

bool parseArgs(const Operation& op, int n, const char* const* words, Args& args,
               std::string* positional, int maxPositional, int* positionalCount,
               std::string& error) {
    const int np = paramCount(op);
    for (int k = 0; k < kMaxParams; k++) args.v[k] = k < np ? op.params[k].def : 0.0;
    int npos = 0;
    for (int w = 0; w < n; w++) {
        const char* word = words[w];
        if (std::strncmp(word, "--", 2) != 0 || word[2] == 0) {
            if (npos >= maxPositional) {
                error = std::string("unexpected argument '") + word + "'";
                return false;
            }
            positional[npos++] = word;
            continue;
        }
        std::string name(word + 2), value;
        bool haveValue = false;
        std::size_t eq = name.find('=');
        if (eq != std::string::npos) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            haveValue = true;
        }
        int k = 0;
        while (k < np && name != op.params[k].name) k++;
        if (k == np) {
            error = std::string("unknown option '--") + name + "' for " + op.name + " (see tarvo " +
                    op.name + " --help)";
            return false;
        }
        if (!haveValue) {
            if (w + 1 >= n) {
                error = "option '--" + name + "' needs a value";
                return false;
            }
            value = words[++w];
        }
        const ParamSpec& p = op.params[k];
        errno = 0;
        char* end = nullptr;
        double v = std::strtod(value.c_str(), &end);
        if (value.empty() || *end != 0 || errno == ERANGE || !std::isfinite(v)) {
            error = "option '--" + name + "' needs a number, got '" + value + "'";
            return false;
        }
        if (p.integer && v != std::floor(v)) {
            error = "option '--" + name + "' needs a whole number, got '" + value + "'";
            return false;
        }
        if (v < p.lo || v > p.hi) {
            error = "option '--" + name + "' must lie in " + formatNumber(p.lo, p.integer) + ".." +
                    formatNumber(p.hi, p.integer) + ", got '" + value + "'";
            return false;
        }
        args.v[k] = v;
    }
    *positionalCount = npos;
    return true;
}

std::string operationHelp(const Operation& op) {
    std::string s = std::string("usage: tarvo ") + op.name + (paramCount(op) ? " [options]" : "") +
                    " IN OUT\n" + op.summary + ".\n";
    const int np = paramCount(op);
    if (np) s += "options:\n";
    for (int k = 0; k < np; k++) {
        const ParamSpec& p = op.params[k];
        char line[256];
        std::snprintf(line, sizeof(line), "  --%-12s %s (%s %s..%s, default %s)\n", p.name, p.help,
                      p.integer ? "whole number" : "number", formatNumber(p.lo, p.integer).c_str(),
                      formatNumber(p.hi, p.integer).c_str(),
                      formatNumber(p.def, p.integer).c_str());
        s += line;
    }
    s += "IN is a PNG, JPEG, BMP, PGM or PPM picture; OUT's extension picks the format.\n";
    return s;
}

}  // namespace tarvotool
