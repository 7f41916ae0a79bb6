// Rows of the tarvo tool for the filter operations.
#include "operations.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/integral.h"
#include "tarvo/ip/morphology.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runGaussian(const Mat& in, Mat& out, const Args& a) {
    if (a.v[1] > 0)
        tarvo::ip::gaussian(in, out, a.f(0), a.f(1));
    else
        tarvo::ip::gaussian(in, out, a.f(0));
}

// --levels halvings or doublings, each from the previous level. A level the
// library refuses (a picture past its size bound) leaves the result empty.
void runPyramid(bool down, const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat level = in;
    for (int k = 0; k < a.i(0); k++) {
        Mat next;
        if (down)
            tarvo::ip::pyrDown(level, next, tarvo::Size_<int>(), a.i(1));
        else
            tarvo::ip::pyrUp(level, next, tarvo::Size_<int>(), a.i(1));
        if (next.empty()) return;
        level = next;
    }
    out = level;
}

void runPyrDown(const Mat& in, Mat& out, const Args& a) {
    runPyramid(true, in, out, a);
}
void runPyrUp(const Mat& in, Mat& out, const Args& a) {
    runPyramid(false, in, out, a);
}

// A halving reads 2 source pixels either side of its centre; each further
// level doubles the reach of the one before and adds its own 2: 2^(L+1) - 2.
int reachPyrDown(const Args& a) {
    return (2 << a.i(0)) - 2;
}

// A doubling reads its source pixel and one either side; further levels add
// halves of that, which stay within two source pixels.
int reachPyrUp(const Args& a) {
    return a.i(0) > 1 ? 2 : 1;
}

enum MorphKind { kErode, kDilate, kOpening, kClosing };

// Erosion, dilation, opening or closing with a square element of the given
// shape. The fill border takes the neutral value, so edges neither darken
// nor brighten the picture.
void runMorph(MorphKind kind, const Mat& in, Mat& out, const Args& a) {
    out.release();
    const Mat e = tarvo::ip::getStructuringElement(a.i(1), tarvo::Size_<int>(a.i(0), a.i(0)));
    if (e.empty()) return;
    const tarvo::Point2_<int> centre(-1, -1);
    switch (kind) {
        case kErode:
            tarvo::ip::erode(in, out, e, centre, a.i(2), a.i(3));
            break;
        case kDilate:
            tarvo::ip::dilate(in, out, e, centre, a.i(2), a.i(3));
            break;
        case kOpening:
            tarvo::ip::opening(in, out, e, centre, a.i(2), a.i(3));
            break;
        case kClosing: {
            // The library's element form of closing erodes first, like opening;
            // the tool gives the usual closing, dilation then erosion.
            Mat dilated;
            tarvo::ip::dilate(in, dilated, e, centre, a.i(2), a.i(3));
            if (!dilated.empty()) tarvo::ip::erode(dilated, out, e, centre, a.i(2), a.i(3));
            break;
        }
    }
}

void runErode(const Mat& in, Mat& out, const Args& a) {
    runMorph(kErode, in, out, a);
}
void runDilate(const Mat& in, Mat& out, const Args& a) {
    runMorph(kDilate, in, out, a);
}
void runOpening(const Mat& in, Mat& out, const Args& a) {
    runMorph(kOpening, in, out, a);
}
void runClosing(const Mat& in, Mat& out, const Args& a) {
    runMorph(kClosing, in, out, a);
}

// The kernel's half-width: --support, or 2 sigma, rounded to the nearest pixel.
int reachGaussian(const Args& a) {
    const float support = a.v[1] > 0 ? a.f(1) : 2.0f * a.f(0);
    return support > 0 ? int(support + 0.5f) : 0;
}

// Each pass of an element of side s reads s / 2 pixels each way; iterations
// add up, and opening and closing run two passes per iteration.
int reachMorph(const Args& a) {
    return (a.i(0) / 2) * a.i(2);
}
int reachMorphTwice(const Args& a) {
    return 2 * reachMorph(a);
}

const Choice kShapes[] = {{"rect", 0}, {"cross", 1}, {"ellipse", 2}, {nullptr, 0}};

// The four morphology rows share their parameters.
#define TARVO_MORPH_PARAMS(what)                                                                 \
    {                                                                                            \
        {"size", "element width and height in pixels", 3, 1, 255, true},                         \
            {"shape", "element shape", 0, 0, 2, true, kShapes},                                  \
            {"iterations", "times the " what " is applied, 0 copies", 1, 0, 1000, true}, {       \
            "border", "how pixels beyond the edge are made up (fill: neutral, no effect)", 0, 0, \
                4, true, kBorderChoices                                                          \
        }                                                                                        \
    }

const Operation kRows[] = {
    {"gaussian",
     "Gaussian smoothing (separable, mirrored edges, results truncated to the pixel type)",
     {{"sigma", "standard deviation in pixels, 0 copies", 1.5, 0, 100, false},
      {"support", "kernel half-width in pixels, 0 for 2 * sigma", 0, 0, 300, false}},
     runGaussian,
     nullptr,
     "gaussian --sigma 3 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachGaussian, "--support, or 2 sigma, rounded"}},
    {"pyr-down",
     "Gaussian pyramid down: 5-tap smoothing and halving, --levels times",
     {{"levels", "halvings, each from the one before", 1, 1, 8, true},
      {"border", "how rows and columns beyond the edge are made up (fill: zeros)", 4, 0, 4, true,
       kBorderChoices}},
     runPyrDown,
     nullptr,
     "pyr-down --levels 2 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachPyrDown, "2 source pixels per halving, doubled by each further level", true}},
    {"pyr-up",
     "Gaussian pyramid up: doubling with the 5-tap kernel, --levels times",
     {{"levels", "doublings, each from the one before", 1, 1, 3, true},
      {"border", "how rows beyond the edge are made up (columns always mirror; fill: zeros)", 4, 0,
       4, true, kBorderChoices}},
     runPyrUp,
     nullptr,
     "pyr-up --levels 1 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachPyrUp, "one source pixel, two with more than one level", true}},
    {"erode",
     "Morphological erosion: each pixel becomes the minimum under the element (darkens)",
     TARVO_MORPH_PARAMS("erosion"),
     runErode,
     nullptr,
     "erode --size 5 --shape ellipse in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachMorph, "--size / 2 times --iterations"}},
    {"dilate",
     "Morphological dilation: each pixel becomes the maximum under the element (brightens)",
     TARVO_MORPH_PARAMS("dilation"),
     runDilate,
     nullptr,
     "dilate --size 5 --shape cross --iterations 2 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachMorph, "--size / 2 times --iterations"}},
    {"opening",
     "Morphological opening: erosion then dilation (removes small bright details)",
     TARVO_MORPH_PARAMS("erosion and the dilation each"),
     runOpening,
     nullptr,
     "opening --size 7 --shape ellipse in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachMorphTwice, "--size / 2 times twice --iterations"}},
    {"closing",
     "Morphological closing: dilation then erosion (fills small dark gaps)",
     TARVO_MORPH_PARAMS("erosion and the dilation each"),
     runClosing,
     nullptr,
     "closing --size 7 --shape ellipse in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachMorphTwice, "--size / 2 times twice --iterations"}},
};

#undef TARVO_MORPH_PARAMS

const DemoStep kDemo[] = {
    {"gaussian-3.png", "Gaussian smoothing, sigma 3", "", "gaussian", "--sigma 3", 300},
    {"erode.png", "erosion, 7x7 ellipse: dark details grow", "", "erode",
     "--size 7 --shape ellipse", 301},
    {"dilate.png", "dilation, 7x7 ellipse: bright details grow", "", "dilate",
     "--size 7 --shape ellipse", 302},
    {"opening.png", "opening of the grey picture, 9x9 ellipse", "grey.png", "opening",
     "--size 9 --shape ellipse", 303},
    {"closing.png", "closing of the grey picture, 5x5 cross, twice", "grey.png", "closing",
     "--size 5 --shape cross --iterations 2", 304},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
