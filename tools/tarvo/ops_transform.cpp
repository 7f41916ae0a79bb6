// Rows of the tarvo tool for the transformation operators: turn, crop, pad,
// resample, shear and thumbnail.
#include "operations.h"
#include "tarvo/ip/geometry.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

const Choice kInterpolation[] = {
    {"nearest", tarvo::InterpNearest},
    {"bilinear", tarvo::InterpBilinear},
    {"bspline", tarvo::InterpBSpline},
    {"cubic-sharp", tarvo::InterpCubicSharp},
    {"cubic-half", tarvo::InterpCubicHalf},
    {"lanczos", tarvo::InterpLanczos},
    {"box", tarvo::InterpBox},
    {"hermite", tarvo::InterpHermite},
    {"hermite-scaled", tarvo::InterpHermiteScaled},
    {"sinc", tarvo::InterpSinc},
    {"blackman", tarvo::InterpBlackman},
    {"bessel", tarvo::InterpBessel},
    {"gaussian", tarvo::InterpGaussian},
    {"quadratic", tarvo::InterpQuadratic},
    {"mitchell", tarvo::InterpMitchell},
    {"catmull-rom", tarvo::InterpCatmullRom},
    {nullptr, 0},
};

const Choice kOverflow[] = {
    {"color", tarvo::OverflowColor},
    {"background", tarvo::OverflowBackground},
    {"transparent", tarvo::OverflowTransparent},
    {"wrap", tarvo::OverflowWrap},
    {"clamp", tarvo::OverflowClamp},
    {"mirror", tarvo::OverflowMirror},
    {nullptr, 0},
};

const Choice kQuarter[] = {
    {"none", 0}, {"left", 1}, {"right", 2}, {"half", 3}, {nullptr, 0},
};

#define TARVO_INTERP_HELP                                                                         \
    "interpolator: nearest pixel; bilinear (on byte pictures away from the border a fixed-point " \
    "sum of the first channel taken modulo 256 fills every channel); bspline, cubic-sharp "       \
    "(a = -1), cubic-half (a = -0.5), lanczos (12 taps), box, hermite, hermite-scaled, sinc, "    \
    "blackman, bessel, gaussian, quadratic, mitchell, catmull-rom (4 taps each, results "         \
    "clamped to 0..255)"
#define TARVO_OVERFLOW_HELP                                                                    \
    "what reads outside the picture give: color, background and transparent give black; wrap " \
    "repeats the picture, clamp repeats the edge pixel, mirror reflects without repeating it"

void runRotate(const Mat& in, Mat& out, const Args& a) {
    out.release();
    if (a.i(1) > 0) {
        tarvo::ip::rotate(in, out, tarvo::RotateType(a.i(1) - 1));
        return;
    }
    tarvo::ip::rotate(in, out, a.f(0), tarvo::InterpolationMethod(a.i(2)),
                      tarvo::OverflowMethod(a.i(3)), nullptr, false, false);
}

// A plain crop is clipped to the picture (0 reaching the edge); a turned one
// needs its turned corners inside and is refused otherwise.
void runCrop(const Mat& in, Mat& out, const Args& a) {
    out.release();
    const int x = a.i(0), y = a.i(1);
    int w = a.i(2) == 0 ? in.cols() - x : a.i(2);
    int h = a.i(3) == 0 ? in.rows() - y : a.i(3);
    if (a.f(4) == 0.0f) {
        if (w > in.cols() - x) w = in.cols() - x;
        if (h > in.rows() - y) h = in.rows() - y;
    }
    tarvo::ip::crop(in, out, x, y, w, h, a.f(4));
}

const char* checkCrop(const Mat& in, const Args& a) {
    if (a.i(0) >= in.cols() || a.i(1) >= in.rows()) return "the corner lies outside the picture";
    return nullptr;
}

tarvo::Point4_<unsigned char> fillOf(const Args& a, int first) {
    return tarvo::Point4_<unsigned char>((unsigned char)a.i(first), (unsigned char)a.i(first + 1),
                                         (unsigned char)a.i(first + 2), 0);
}

void runExpand(const Mat& in, Mat& out, const Args& a) {
    out.release();
    tarvo::ip::expand(in, out, a.i(0), a.i(1), a.i(2), a.i(3), fillOf(a, 4));
}

void runResample(const Mat& in, Mat& out, const Args& a) {
    out.release();
    tarvo::ip::resample(in, out, a.i(0), a.i(1), tarvo::InterpolationMethod(a.i(2)),
                        tarvo::OverflowMethod(a.i(3)), a.i(4) != 0);
}

void runSkew(const Mat& in, Mat& out, const Args& a) {
    out.release();
    tarvo::ip::skew(in, out, a.f(0), a.f(1), a.i(2), a.i(3), a.i(4) != 0);
}

void runThumbnail(const Mat& in, Mat& out, const Args& a) {
    out.release();
    tarvo::ip::thumbnail(in, out, a.i(0), a.i(1), fillOf(a, 2));
}

const Operation kRows[] = {
    {"rotate",
     "Turn a picture by quarter turns, or by an angle onto the box of its turned corners",
     {{"angle", "degrees, counter-clockwise; used when --quarter is none", 0, -36000, 36000, false},
      {"quarter",
       "quarter turn instead of the angle: none, left (counter-clockwise), right (clockwise), half",
       0, 0, 3, true, kQuarter},
      {"interpolation", "accepted for compatibility; the angle turn reads the nearest pixel", 2, 1,
       16, true, kInterpolation},
      {"overflow", "accepted for compatibility; outside the picture stays black", 1, 1, 6, true,
       kOverflow}},
     runRotate,
     nullptr,
     "rotate --angle 20 in.png out.png",
     kGreyOrColour | kAlpha,
     nullptr,
     {reachGlobal, "pixels turn about the picture's centre onto a canvas of the turned size",
      true}},
    {"crop",
     "Cut a rectangle out of a picture (clipped to it), optionally turned about its centre",
     {{"x", "left edge in pixels", 0, 0, 1e6, true},
      {"y", "top edge in pixels", 0, 0, 1e6, true},
      {"width", "width in pixels, 0 for up to the right edge", 0, 0, 1e6, true},
      {"height", "height in pixels, 0 for up to the bottom edge", 0, 0, 1e6, true},
      {"angle",
       "turn of the rectangle in degrees, counter-clockwise; its turned corners must lie inside; "
       "between 45 and 135 the result is turned upright",
       0, -360, 360, false}},
     runCrop,
     nullptr,
     "crop --x 20 --y 20 --width 120 --height 80 --angle 10 in.png out.png",
     kGreyOrColour | kAlpha,
     checkCrop,
     {reachGlobal, "the rectangle is placed in the whole picture's coordinates", true}},
    {"expand",
     "Pad a picture with margins of one colour",
     {{"left", "left margin in pixels", 0, 0, 1e5, true},
      {"top", "top margin in pixels", 0, 0, 1e5, true},
      {"right", "right margin in pixels", 0, 0, 1e5, true},
      {"bottom", "bottom margin in pixels", 0, 0, 1e5, true},
      {"red", "fill colour, red (grey pictures take this one)", 0, 0, 255, true},
      {"green", "fill colour, green", 0, 0, 255, true},
      {"blue", "fill colour, blue", 0, 0, 255, true}},
     runExpand,
     nullptr,
     "expand --left 20 --top 20 --right 20 --bottom 20 --red 255 in.png out.png",
     kGreyOrColour | kAlpha,
     nullptr,
     {reachGlobal, "the margins go around the whole picture and shift it", true}},
    {"resample",
     "Resample a picture with one of sixteen interpolators; shrinking averages pixel areas",
     {{"width", "new width in pixels", 640, 1, 32768, true},
      {"height", "new height in pixels", 480, 1, 32768, true},
      {"interpolation", TARVO_INTERP_HELP, tarvo::InterpCatmullRom, 1, 16, true, kInterpolation},
      {"overflow", TARVO_OVERFLOW_HELP, tarvo::OverflowClamp, 1, 6, true, kOverflow},
      {"no-averaging", "1 samples plainly when shrinking too (no area averaging)", 0, 0, 1, true}},
     runResample,
     nullptr,
     "resample --width 800 --height 600 --interpolation lanczos in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachGlobal, "the scale follows the whole picture's size", true}},
    {"skew",
     "Shear a picture: rows shift by slope-x per row from pivot-y, columns by slope-y per column",
     {{"slope-x", "horizontal shift per row", 0.2, -100, 100, false},
      {"slope-y", "vertical shift per column", 0, -100, 100, false},
      {"pivot-x", "column that does not move vertically", 0, -1e6, 1e6, true},
      {"pivot-y", "row that does not move horizontally", 0, -1e6, 1e6, true},
      {"interpolate",
       "1 reads bilinearly with black outside (on byte pictures the first channel fills all), 0 "
       "reads the nearest pixel and keeps the original where the read falls outside",
       0, 0, 1, true}},
     runSkew,
     nullptr,
     "skew --slope-x 0.3 --pivot-y 240 in.png out.png",
     kGreyOrColour | kAlpha,
     nullptr,
     globalReach("the shift grows with the distance from the pivot")},
    {"thumbnail",
     "Fit a picture into a box keeping its proportions, padding right and bottom",
     {{"width", "box width in pixels", 160, 1, 32768, true},
      {"height", "box height in pixels", 160, 1, 32768, true},
      {"red", "padding colour, red (grey pictures take this one)", 0, 0, 255, true},
      {"green", "padding colour, green", 0, 0, 255, true},
      {"blue", "padding colour, blue", 0, 0, 255, true}},
     runThumbnail,
     nullptr,
     "thumbnail --width 160 --height 160 --blue 255 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachGlobal, "the scale follows the whole picture's size", true}},
};

const DemoStep kDemo[] = {
    {"rotate.png", "turned by 20 degrees", "", "rotate", "--angle 20", 600},
    {"thumbnail.png", "thumbnail in a 200 x 200 box", "", "thumbnail",
     "--width 200 --height 200 --red 40 --green 40 --blue 40", 601},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
