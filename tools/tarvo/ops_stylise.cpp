// Rows of the tarvo tool for the stylising operators.
#include <new>

#include "operations.h"
#include "tarvo/ip/photo.h"
#include "tarvo/random.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runSketch(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::sketch(in, out, a.i(0));
}
tarvo::PumpABC* pumpSketch(const Args& a) {
    return new (std::nothrow) tarvo::ipSketch(a.i(0));
}

void runRough(const Mat& in, Mat& out, const Args&) {
    tarvo::ip::roughSketch(in, out);
}
tarvo::PumpABC* pumpRough(const Args&) {
    return new (std::nothrow) tarvo::ipRoughSketch();
}

void runVintage(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::vintage(in, out, a.i(0));
}
tarvo::PumpABC* pumpVintage(const Args& a) {
    return new (std::nothrow) tarvo::ipVintage(a.i(0));
}

void runPosterize(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::posterize(in, out, a.i(0));
}
tarvo::PumpABC* pumpPosterize(const Args& a) {
    return new (std::nothrow) tarvo::ipPosterize(a.i(0));
}

void runJitter(const Mat& in, Mat& out, const Args& a) {
    tarvo::detail::seedRandom(unsigned(a.v[1]));
    tarvo::ip::jitter(in, out, a.i(0));
}
tarvo::PumpABC* pumpJitter(const Args& a) {
    tarvo::detail::seedRandom(unsigned(a.v[1]));
    return new (std::nothrow) tarvo::ipJitter(a.i(0));
}

// Seed -1 keeps the clock; any other pins it for a repeatable picture.
void pinSeed(double seed) {
    tarvo::detail::pinClockSeed(seed >= 0, seed >= 0 ? unsigned(seed) : 0u);
}
void runNoise(const Mat& in, Mat& out, const Args& a) {
    pinSeed(a.v[1]);
    tarvo::ip::noise(in, out, a.i(0));
}
tarvo::PumpABC* pumpNoise(const Args& a) {
    pinSeed(a.v[1]);
    return new (std::nothrow) tarvo::ipNoise(a.i(0));
}

void runDenoise(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::denoise(in, out, a.f(0), a.i(1));
}

void runCircle(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::circleTransform(in, out, a.i(0), a.f(1), a.i(2));
}
tarvo::PumpABC* pumpCircle(const Args& a) {
    return new (std::nothrow) tarvo::ipCircleTransform(a.i(2), a.i(0), a.f(1));
}

void runBloom(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::bloom(in, out, a.f(0), a.f(1));
}

const Choice kDenoiseMethods[] = {
    {"box", 0}, {"weighted3", 1}, {"weighted5", 2}, {"median", 3}, {nullptr, 0}};
const Choice kCircleModes[] = {{"magnify", 0}, {"shrink", 1}, {"twist", 2},
                               {"polar", 3},   {"bands", 4},  {nullptr, 0}};

// The kernels leave a band one pixel wider than their half-width unfiltered
// along the picture's edges, so a tile needs that much more than they read.
int reachDenoise(const Args& a) {
    return a.i(1) == 2 ? 3 : 2;
}

const Operation kRows[] = {
    {"sketch",
     "Pencil outline: dark lines where neighbouring pixels differ",
     {{"amount", "line strength; 0 gives white, 50 is the natural strength", 50, 0, 255, true}},
     runSketch,
     pumpSketch,
     "sketch --amount 50 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the first column of each row reads the end of the row before")},
    {"rough-sketch",
     "Pencil outline with hand hatching chosen by the grey level",
     {},
     runRough,
     pumpRough,
     "rough-sketch in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the hatching pattern is anchored at the picture's corner")},
    {"vintage",
     "Sepia tint by lightness; below 100 each pixel mixes into the colour before it",
     {{"amount", "percent of the tint taken per pixel; 0 gives black", 80, 0, 100, true}},
     runVintage,
     pumpVintage,
     "vintage --amount 80 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("a running colour carries along each row")},
    {"posterize",
     "Snap each colour channel to a few levels",
     {{"levels", "number of levels, 2..256", 4, 2, 256, true}},
     runPosterize,
     pumpPosterize,
     "posterize --levels 4 in.png out.png",
     kGreyOrColour,
     nullptr,
     kPointReach},
    {"jitter",
     "Move every pixel by a random offset",
     {{"amount", "largest offset in pixels", 3, 0, 1000, true},
      {"seed", "seed of the random generator", 1, 0, 2147483647, true}},
     runJitter,
     pumpJitter,
     "jitter --amount 3 --seed 1 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the random offsets are drawn in scan order over the whole picture")},
    {"noise",
     "Add uniform noise to every channel",
     {{"amount", "peak-to-peak noise in levels", 40, 0, 1000, true},
      {"seed", "seed of the random generator, -1 for the clock", -1, -1, 2147483647, true}},
     runNoise,
     pumpNoise,
     "noise --amount 40 --seed 1 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the noise is drawn in scan order over the whole picture")},
    {"denoise",
     "Smooth with a small kernel or a 3 x 3 median, optionally brightening",
     {{"strength", "brightness added by the kernels, 50 levels per unit", 0, 0, 5, false},
      {"method",
       "box: 3 x 3 mean, weighted3 / weighted5: centre-weighted 3 x 3 / 5 x 5, median: 3 x 3 "
       "median; pixels whose window crosses the edge keep their value",
       0, 0, 3, true, kDenoiseMethods}},
     runDenoise,
     nullptr,
     "denoise --strength 0 --method median in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachDenoise, "kernel half-width plus the unfiltered edge band: 3 for weighted5, else 2"}},
    {"circle-transform",
     "Lens-like remapping inside a circle about the centre",
     {{"radius", "circle radius in pixels, 0 for the half diagonal", 0, 0, 100000, true},
      {"twist", "twist mode: pixels per radian of turn (0 acts as 1)", 1, -10000, 10000, false},
      {"mode",
       "magnify: enlarge the middle, shrink: shrink it, twist: swirl, polar: unroll to "
       "polar coordinates, bands: shift columns in 32-pixel bands; outside the circle the top "
       "left pixel",
       0, 0, 4, true, kCircleModes}},
     runCircle,
     pumpCircle,
     "circle-transform --radius 0 --twist 1 --mode magnify in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("pixels move about the picture's centre")},
    {"bloom",
     "Glow: raise the luminance, brighten, stretch and soften",
     {{"lift", "luminance added, 1 adds about 78 levels", 0.1, -2, 2, false},
      {"gain", "luminance multiplied by 1 + gain", 0.3, -1, 4, false}},
     runBloom,
     nullptr,
     "bloom --lift 0.1 --gain 0.3 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the stretch uses the whole picture's range")},
};

// vintage-light.png chains onto the tone family's light.png.
const DemoStep kDemo[] = {
    {"sketch.png", "pencil sketch", "", "sketch", "--amount 50", 240},
    {"rough-sketch.png", "sketch with hatching", "", "rough-sketch", "", 241},
    {"vintage.png", "vintage 80%", "", "vintage", "--amount 80", 242},
    {"vintage-light.png", "brighter, then vintage", "light.png", "vintage", "--amount 100", 243},
    {"posterize.png", "posterized to 4 levels", "", "posterize", "--levels 4", 244},
    {"bloom.png", "bloom", "", "bloom", "--lift 0.1 --gain 0.3", 245},
    {"circle-twist.png", "twisted about the centre", "", "circle-transform",
     "--radius 0 --twist 60 --mode twist", 246},
    {"denoise.png", "3 x 3 median", "", "denoise", "--method median", 247},
    {"noise.png", "noise 40 (seed 1)", "", "noise", "--amount 40 --seed 1", 248},
    {"jitter.png", "jitter 3 (seed 1)", "", "jitter", "--amount 3 --seed 1", 249},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
