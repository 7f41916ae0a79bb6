// Rows of the tarvo tool for the warps and remap: a turn, a keystone and
// two map effects.
#include <cmath>

#include "operations.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/types.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

const Choice kEffect[] = {{"swirl", 0}, {"ripple", 1}, {nullptr, 0}};
const Choice kRemapInterpolation[] = {
    {"nearest", 0}, {"linear", 1}, {"cubic", 2}, {"lanczos", 4}, {nullptr, 0}};
// The turn about the picture's centre as warpAffine takes it: the rotation
// matrix on (x, y) with its two rows exchanged, inverted inside the call.
void runWarpAffine(const Mat& in, Mat& out, const Args& a) {
    out.release();
    if (in.empty()) return;
    const Mat r = tarvo::ip::getRotationMatrix2D(
        tarvo::Point2_<float>(float(in.cols()) / 2.0f, float(in.rows()) / 2.0f), a.v[0], a.v[1]);
    Mat t(2, 3, tarvo::MAT_Tdouble);
    for (int c = 0; c < 3; c++) {
        t.ptr<double>(0)[c] = r.value(1, c);
        t.ptr<double>(1)[c] = r.value(0, c);
    }
    Mat dst(in.rows(), in.cols(), in.type1());
    tarvo::ip::warpAffine(in, dst, t, true);
    out = std::move(dst);
}

void runWarpPerspective(const Mat& in, Mat& out, const Args& a) {
    out.release();
    if (in.empty()) return;
    const float w = float(in.cols() - 1), h = float(in.rows() - 1), p = a.f(0) / 100.0f * w;
    tarvo::Array<tarvo::Point2_<float>> s, d;
    s.add(tarvo::Point2_<float>(0, 0));
    s.add(tarvo::Point2_<float>(w, 0));
    s.add(tarvo::Point2_<float>(w, h));
    s.add(tarvo::Point2_<float>(0, h));
    d.add(tarvo::Point2_<float>(p, 0));
    d.add(tarvo::Point2_<float>(w - p, 0));
    d.add(tarvo::Point2_<float>(w, h));
    d.add(tarvo::Point2_<float>(0, h));
    const Mat t = tarvo::ip::getPerspectiveTransform(s, d);
    Mat dst(in.rows(), in.cols(), in.type1(), tarvo::Point4_<double>());
    tarvo::ip::warpPerspective(in, dst, t);
    out = std::move(dst);
}

void runRemap(const Mat& in, Mat& out, const Args& a) {
    out.release();
    if (in.empty()) return;
    const int rows = in.rows(), cols = in.cols();
    Mat mx(rows, cols, tarvo::MAT_Tfloat), my(rows, cols, tarvo::MAT_Tfloat);
    const double cx = (cols - 1) / 2.0, cy = (rows - 1) / 2.0;
    const double radius = (rows < cols ? rows : cols) / 2.0, s = a.v[1];
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) {
            double sx, sy;
            if (a.i(0) == 0) {  // swirl: the turn fades with the distance from the centre
                const double dx = x - cx, dy = y - cy, r = std::sqrt(dx * dx + dy * dy);
                const double t = s * 3.14159265358979323846 / 180.0 * std::exp(-r / radius);
                sx = cx + dx * std::cos(t) - dy * std::sin(t);
                sy = cy + dx * std::sin(t) + dy * std::cos(t);
            } else {  // ripple: waves of 32 pixels, `strength` pixels high
                sx = x + s * std::sin(2 * 3.14159265358979323846 * y / 32.0);
                sy = y + s * std::sin(2 * 3.14159265358979323846 * x / 32.0);
            }
            mx.ptr<float>(y)[x] = float(sx);
            my.ptr<float>(y)[x] = float(sy);
        }
    const tarvo::Point4_<double> black;
    if (a.i(4)) {
        Mat m1, m2;
        tarvo::ip::convertMaps(mx, my, m1, m2, tarvo::MAT_Tshort | (1 << 3), a.i(2) == 0);
        tarvo::ip::remap(in, out, m1, m2, a.i(2), a.i(3), black);
    } else {
        tarvo::ip::remap(in, out, mx, my, a.i(2), a.i(3), black);
    }
}

const Operation kRows[] = {
    {"warp-affine",
     "Turn and scale a picture about its centre with the 10-bit bilinear affine warp",
     {{"angle", "degrees, counter-clockwise", 17, -36000, 36000, false},
      {"scale", "scale factor", 1, 0.01, 100, false}},
     runWarpAffine,
     nullptr,
     "warp-affine --angle 17 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("pixels turn about the picture's centre")},
    {"warp-perspective",
     "Keystone: move the top corners inwards with a perspective warp",
     {{"tilt", "how far each top corner moves in, percent of the width", 20, -49, 49, false}},
     runWarpPerspective,
     nullptr,
     "warp-perspective --tilt 20 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the keystone is set by the picture's corners")},
    {"remap",
     "Distort a picture through a per-pixel map: a swirl or a ripple",
     {{"effect", "swirl (turn fading from the centre) or ripple (waves of 32 pixels)", 0, 0, 1,
       true, kEffect},
      {"strength", "swirl: degrees at the centre; ripple: wave height in pixels", 90, -3600, 3600,
       false},
      {"interpolation", "nearest pixel, linear (2 x 2), cubic (4 x 4), lanczos (8 x 8)", 1, 0, 4,
       true, kRemapInterpolation},
      {"border",
       "reads outside: fill (black), clamp (edge pixel), mirror (edge repeated), wrap, "
       "mirror-no-edge",
       tarvo::BorderFill, 0, 4, true, kBorderChoices},
      {"fixed", "1 converts the map to 16-bit positions and 1/32 fractions first", 0, 0, 1, true}},
     runRemap,
     nullptr,
     "remap --effect swirl --strength 120 --interpolation cubic in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the map is built in the whole picture's coordinates (the swirl turns about its "
                 "centre, the ripple's phase starts at its corner)")},
};

const DemoStep kDemo[] = {
    {"warp-affine.png", "turned by 17 degrees (affine warp)", "", "warp-affine", "--angle 17", 620},
    {"warp-perspective.png", "keystone (perspective warp)", "", "warp-perspective", "--tilt 20",
     621},
    {"remap-swirl.png", "swirl through a remap", "", "remap",
     "--effect swirl --strength 120 --interpolation cubic --border mirror", 622},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
