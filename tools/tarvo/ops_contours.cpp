// Rows of the tarvo tool for border following.
#include <cmath>
#include <cstdio>

#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/segment.h"
#include "tarvo/ip/shapes.h"

namespace tarvotool {

namespace {

using tarvo::Mat;
typedef tarvo::Point2_<int> P;
typedef tarvo::Matrix<P, const P&> Contours;

const Choice kModes[] = {{"external", 0}, {"list", 1}, {"two-level", 2}, {"tree", 3}, {nullptr, 0}};
const Choice kMethods[] = {{"codes", 0}, {"all", 1},  {"changes", 2},
                           {"l1", 3},    {"kcos", 4}, {nullptr, 0}};
const Choice kBinarise[] = {{"nonzero", 0}, {"otsu", 1}, {"canny", 2}, {nullptr, 0}};

// A distinct, bright colour for contour i (hues spaced by the golden angle).
tarvo::Point4_<unsigned char> contourColour(int i) {
    const double h = std::fmod(i * 0.618033988749895, 1.0) * 6.0;
    const int sector = (int)h;
    const double f = h - sector;
    const unsigned char up = (unsigned char)(55 + 200 * f), down = (unsigned char)(255 - 200 * f);
    unsigned char r = 255, g = 55, b = 55;
    switch (sector) {
        case 0:
            r = 255, g = up, b = 55;
            break;
        case 1:
            r = down, g = 255, b = 55;
            break;
        case 2:
            r = 55, g = 255, b = up;
            break;
        case 3:
            r = 55, g = down, b = 255;
            break;
        case 4:
            r = up, g = 55, b = 255;
            break;
        default:
            r = 255, g = 55, b = down;
            break;
    }
    return tarvo::Point4_<unsigned char>(r, g, b, 255);
}

// The picture as one grey channel.
void toGrey(const Mat& in, Mat& grey) {
    if (in.channels() >= 3 && in.type() == tarvo::MAT_Tuchar)
        tarvo::ColorSpace::RGBtoGray(in, grey);
    else
        grey = in;
}

// The grey picture binarised: as it stands (non-zero is object), at Otsu's
// threshold, or as a Canny edge map after optional Gaussian smoothing.
void binarise(const Mat& grey, Mat& bin, int how, float low, float high, float sigma) {
    if (how == 1) {
        tarvo::ip::Threshold(grey, bin, tarvo::ip::otsuThreshold(grey), 255, 0);
    } else if (how == 2) {
        if (sigma > 0) {
            Mat smooth;
            tarvo::ip::gaussian(grey, smooth, sigma);
            tarvo::ip::canny(smooth, bin, low, high);
        } else {
            tarvo::ip::canny(grey, bin, low, high);
        }
    } else {
        bin = grey;
    }
}

void runContours(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat grey, bin;
    toGrey(in, grey);
    if (!grey.isValid() || grey.channels() != 1 || grey.type() != tarvo::MAT_Tuchar) return;
    binarise(grey, bin, a.i(2), a.f(3), a.f(4), a.f(5));
    if (!bin.isValid()) return;
    const int mode = a.i(0), method = a.i(1);
    Contours c;
    tarvo::ip::findContours(bin, c, mode, method);
    // chain codes carry no start point: take it from the same borders as points
    Contours starts;
    if (method == 0) tarvo::ip::findContours(bin, starts, mode, 1);

    // the contours over the picture dimmed to a third
    if (out.create(grey.rows(), grey.cols(), tarvo::MAKETYPE(tarvo::MAT_Tuchar, 3)) < 0) return;
    for (int y = 0; y < grey.rows(); y++) {
        const unsigned char* g = grey.ptr<unsigned char>(y);
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < grey.cols(); x++) o[3 * x] = o[3 * x + 1] = o[3 * x + 2] = g[x] / 3;
    }
    long long points = 0;
    tarvo::Array<P, const P&> pts;
    for (int i = 0; i < c.getSize(); i++) {
        const tarvo::Array<P, const P&>& row = c[i];
        points += row.getSize();
        if (method == 0) {
            static const int dx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
            static const int dy[8] = {0, -1, -1, -1, 0, 1, 1, 1};
            pts.removeAll();
            if (i >= starts.getSize() || starts[i].getSize() == 0) continue;
            P p = starts[i][0];
            pts.add(p);
            const unsigned char* codes = reinterpret_cast<const unsigned char*>(row.getData());
            for (int k = 0; k < row.getSize(); k++) {
                p.x += dx[codes[k] & 7];
                p.y += dy[codes[k] & 7];
                pts.add(p);
            }
            out.drawPolygon(pts.getData(), pts.getSize(), contourColour(i), 1, true);
        } else if (row.getSize() > 0) {
            out.drawPolygon(row.getData(), row.getSize(), contourColour(i), 1, true);
        }
    }
    std::printf("%d contours, %lld %s\n", c.getSize(), points,
                method == 0 ? "chain codes" : "points");
}

const Operation kRows[] = {
    {"contours",
     "Borders of the objects of a binarised grey picture, each drawn in its own colour over the "
     "dimmed picture; prints how many were found",
     {{"mode",
       "which borders: external = outermost borders only; list = every outer and hole border, "
       "flat; two-level = outer borders each followed by its holes; tree = the whole nesting, "
       "depth-first",
       1, 0, 3, true, kModes},
      {"method",
       "how a border is stored: codes = one chain code per step; all = every border pixel; "
       "changes = only where the direction changes; l1 / kcos = dominant points by L1 or "
       "k-cosine curvature",
       2, 0, 4, true, kMethods},
      {"binarise",
       "what counts as object: nonzero = every non-zero pixel; otsu = above Otsu's threshold; "
       "canny = the Canny edges (after Gaussian smoothing with --sigma)",
       1, 0, 2, true, kBinarise},
      {"low", "Canny lower hysteresis threshold", 40, 0, 1e6, false},
      {"high", "Canny upper hysteresis threshold", 120, 0, 1e6, false},
      {"sigma", "Gaussian smoothing before Canny, 0 for none", 1.5, 0, 100, false}},
     runContours,
     nullptr,
     "contours --mode tree --method changes --binarise otsu in.png contours.png",
     kGreyOrColour,
     nullptr,
     globalReach("a border is traced around a whole object, which may span the picture")},
};

const DemoStep kDemo[] = {
    {"contours.png", "contours of the Canny edge map, one colour each", "canny.png", "contours",
     "--mode list --method changes --binarise nonzero", 700},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
