// Rows of the tarvo tool for the photo operations.
#include <new>

#include "operations.h"
#include "tarvo/ip/photo.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

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

void runEqualize(const Mat& in, Mat& out, const Args&) {
    tarvo::ip::histogramEqualize(in, out);
}

tarvo::PumpABC* pumpEqualize(const Args&) {
    return new (std::nothrow) tarvo::ipHistogramEqualize();
}

// In place on a copy: a picture that already spans 0..255 in every channel is
// left alone by the per-channel mode, which must then give the picture back,
// not the blank destination the two-matrix form would leave.
void runStretch(const Mat& in, Mat& out, const Args& a) {
    out = in.clone();
    tarvo::ip::histogramStretch(out, a.i(0));
}

const Choice kStretchModes[] = {{"luminance", 0}, {"common", 1}, {"per-channel", 2}, {nullptr, 0}};

tarvo::PumpABC* pumpStretch(const Args& a) {
    return new (std::nothrow) tarvo::ipHistogramStretch(a.i(0));
}

const Operation kRows[] = {
    {"colorize",
     "Tint towards one hue and saturation, keeping each pixel's lightness",
     {{"hue", "hue on a 0..255 turn (0 red, 85 green, 170 blue)", 20, 0, 255, true},
      {"saturation", "saturation of the tint", 200, 0, 255, true},
      {"blend", "share of the tint, 0 keeps the picture", 0.7, 0, 1, false}},
     runColorize,
     pumpColorize,
     "colorize --hue 20 --saturation 200 --blend 0.7 in.png out.png",
     kColour,
     nullptr,
     kPointReach},
    {"shift-rgb",
     "Add a constant to the red, green and blue channels (clamped to 0..255)",
     {{"red", "added to red", 0, -255, 255, true},
      {"green", "added to green", 0, -255, 255, true},
      {"blue", "added to blue", 0, -255, 255, true}},
     runShiftRGB,
     pumpShiftRGB,
     "shift-rgb --red 40 --blue -30 in.png out.png",
     kColour,
     nullptr,
     kPointReach},
    {"hsl",
     "Shift hue, saturation and lightness (greys keep their colour under a hue shift)",
     {{"hue", "hue shift in degrees", 0, -360, 360, true},
      {"saturation", "saturation shift in percent points", 0, -100, 100, true},
      {"lightness", "lightness shift in percent points", 0, -100, 100, true}},
     runHSL,
     nullptr,
     "hsl --hue 120 --saturation 20 in.png out.png",
     kColour,
     nullptr,
     kPointReach},
    {"color-temperature",
     "Shift the colour balance: below 6600 K towards blue, above towards red and yellow",
     {{"kelvin", "colour temperature in kelvin, 6600 is neutral", 5000, 1000, 20000, true}},
     runTemperature,
     pumpTemperature,
     "color-temperature --kelvin 3500 in.png out.png",
     kColour,
     nullptr,
     kPointReach},
    {"equalize",
     "Histogram equalisation (colour pictures through their luminance)",
     {},
     runEqualize,
     pumpEqualize,
     "equalize in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the table comes from the whole picture's histogram")},
    {"stretch",
     "Stretch a colour picture's range to 0..255",
     {{"mode",
       "luminance: by the luminance range; common: one range for all channels; per-channel: "
       "each channel its own",
       0, 0, 2, true, kStretchModes}},
     runStretch,
     pumpStretch,
     "stretch --mode per-channel in.png out.png",
     kColour,
     nullptr,
     globalReach("the range is the whole picture's")},
};

const DemoStep kDemo[] = {
    {"colorize.png", "tinted towards orange", "", "colorize",
     "--hue 20 --saturation 200 --blend 0.7", 200},
    {"shift-rgb.png", "warmer by channel shifts", "", "shift-rgb",
     "--red 40 --green -10 --blue -30", 201},
    {"hsl.png", "hue turned by 120 degrees", "", "hsl", "--hue 120 --saturation 20 --lightness 5",
     202},
    {"temperature-3500.png", "colour temperature 3500 K", "", "color-temperature", "--kelvin 3500",
     203},
    {"temperature-11000.png", "colour temperature 11000 K", "", "color-temperature",
     "--kelvin 11000", 204},
    {"equalize.png", "histogram equalisation through the luminance", "", "equalize", "", 205},
    {"equalize-grey.png", "histogram equalisation of the grey picture", "grey.png", "equalize", "",
     206},
    {"stretch.png", "the 3500 K picture, each channel stretched to 0..255", "temperature-3500.png",
     "stretch", "--mode per-channel", 207},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
