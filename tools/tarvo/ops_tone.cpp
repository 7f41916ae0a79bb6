// Rows of the tarvo tool for the tone operators.
#include <new>

#include "operations.h"
#include "tarvo/ip/photo.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

void runExposure(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::exposure(in, out, a.i(0));
}

tarvo::PumpABC* pumpExposure(const Args& a) {
    return new (std::nothrow) tarvo::ipExposure(a.i(0));
}

void runLight(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::light(in, out, a.i(0), a.i(1));
}

tarvo::PumpABC* pumpLight(const Args& a) {
    return new (std::nothrow) tarvo::ipLight(a.i(0), a.i(1));
}

void runLevel(const Mat& in, Mat& out, const Args& a) {
    // The table mode writes only into a destination of the source's shape.
    if (a.i(2) == 2) out.create(in, false);
    tarvo::ip::level(in, out, a.i(0), a.i(1), a.i(2));
}

tarvo::PumpABC* pumpLevel(const Args& a) {
    return new (std::nothrow) tarvo::ipLevel(a.i(0), a.i(1), a.i(2));
}

void runShadow(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::shadow(in, out, a.f(0), a.f(1));
}

tarvo::PumpABC* pumpShadow(const Args& a) {
    return new (std::nothrow) tarvo::ipShadows(a.f(0), a.f(1));
}

void runGamma(const Mat& in, Mat& out, const Args& a) {
    tarvo::ip::gamma(in, out, a.v[0]);
}

const Choice kLevelModes[] = {{"luminance", 1}, {"table", 2}, {nullptr, 0}};

// Luminance levels stretch by the whole picture's range; the table mode is a
// curve on each sample.
int reachLevel(const Args& a) {
    return a.i(2) == 1 ? kWholePicture : 0;
}

const Operation kRows[] = {
    {"exposure",
     "Brightness and contrast together: amount lifts the mid grey and steepens the curve",
     {{"amount", "exposure change; -100 gives black, 0 leaves the picture, 100 doubles contrast",
       30, -100, 255, true}},
     runExposure,
     pumpExposure,
     "exposure --amount 30 in.png out.png",
     kGreyOrColour,
     nullptr,
     kPointReach},
    {"light",
     "Brightness and contrast about mid grey",
     {{"brightness", "added to mid grey, 0 keeps it", 20, -255, 255, true},
      {"contrast", "percent; -100 flattens to grey, 0 keeps, 100 doubles the slope", 10, -100, 400,
       true}},
     runLight,
     pumpLight,
     "light --brightness 20 --contrast 10 in.png out.png",
     kGreyOrColour,
     nullptr,
     kPointReach},
    {"level",
     "Levels: stretch the luminance onto low..high, or lift shadows and pull highlights",
     {{"low", "luminance mode: darkest output level; table mode: how far shadows are lifted", 20, 0,
       255, true},
      {"high",
       "luminance mode: brightest output level; table mode: 255 - high pulls the highlights", 230,
       0, 255, true},
      {"mode",
       "luminance: stretch the luminance range (grey or colour; a flat picture is refused); "
       "table: shadow and highlight table on the colour channels",
       2, 1, 2, true, kLevelModes}},
     runLevel,
     pumpLevel,
     "level --low 20 --high 230 --mode table in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachLevel, "a point in table mode; luminance mode reads the whole picture's range"}},
    {"shadow",
     "Lift the shadows, more for darker values",
     {{"depth", "how much the darkest values are raised (0 none, 1 up to half range)", 0.5, 0, 1,
       false},
      {"limit", "lowers the brightest output level by up to 50 (0 keeps 255)", 0.5, 0, 1, false}},
     runShadow,
     pumpShadow,
     "shadow --depth 0.5 --limit 0.5 in.png out.png",
     kGreyOrColour,
     nullptr,
     kPointReach},
    {"gamma",
     "Gamma curve that keeps black and white: below 1 brightens, above 1 darkens, 0 logarithmic",
     {{"gamma", "exponent; its absolute value is used", 0.8, -10, 10, false}},
     runGamma,
     nullptr,
     "gamma --gamma 0.8 in.png out.png",
     kGreyOrColour,
     nullptr,
     kPointReach},
};

// The light step is the first of a chain: the stylising steps read light.png.
const DemoStep kDemo[] = {
    {"exposure.png", "exposure +30", "", "exposure", "--amount 30", 220},
    {"exposure-dark.png", "exposure -40", "", "exposure", "--amount -40", 221},
    {"gamma-0.6.png", "gamma 0.6 (brighter)", "", "gamma", "--gamma 0.6", 222},
    {"gamma-1.8.png", "gamma 1.8 (darker)", "", "gamma", "--gamma 1.8", 223},
    {"light.png", "brightness +20, contrast +10", "", "light", "--brightness 20 --contrast 10",
     224},
    {"level.png", "levels: shadows lifted by 20, highlights pulled to 230", "", "level",
     "--low 20 --high 230 --mode table", 225},
    {"shadow.png", "shadows lifted", "", "shadow", "--depth 0.5 --limit 0.5", 226},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
