// Rows of the tarvo tool for edge chains and Hough transforms.
#include <cmath>
#include <vector>

#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/random.h"

namespace tarvotool {

namespace {

using tarvo::Mat;
using tarvo::Point2_;
using tarvo::Point4_;
using PointArray = tarvo::Array<Point2_<int>, const Point2_<int>&>;

// The grey version of a byte picture of 1, 3 or 4 channels; empty otherwise.
bool greyOf(const Mat& in, Mat& grey) {
    if (!in.isValid() || in.type() != tarvo::MAT_Tuchar) return false;
    if (in.channels() == 1)
        grey.create(in, true);
    else if (in.channels() == 3 || in.channels() == 4)
        tarvo::ColorSpace::RGBtoGray(in, grey);
    return grey.isValid() && grey.channels() == 1;
}

// A colour copy of the picture to draw on.
bool colourCopy(const Mat& in, Mat& out) {
    if (in.channels() == 3) {
        out.create(in, true);
        return out.isValid();
    }
    Mat grey;
    if (!greyOf(in, grey)) return false;
    tarvo::ColorSpace::GraytoRGB(grey, out);
    return out.isValid() && out.channels() == 3;
}

// Features of the Hough forms are zero pixels: the inverted Canny map of the
// smoothed grey picture.
bool houghFeatures(const Mat& in, Mat& features) {
    Mat grey, smooth;
    if (!greyOf(in, grey)) return false;
    tarvo::ip::gaussian(grey, smooth, 1.5f);
    tarvo::ip::canny(smooth, features, 40, 120);
    if (!features.isValid()) return false;
    for (int y = 0; y < features.rows(); y++) {
        unsigned char* p = features.ptr<unsigned char>(y);
        for (int x = 0; x < features.cols(); x++) p[x] ^= 255;
    }
    return true;
}

void runNMS(const Mat& in, Mat& out, const Args&) {
    out.release();
    Mat src;
    src.create(in, true);
    tarvo::ipNMS nms;
    if (!nms.process(&src, &out)) out.release();
}

void runEdgeChains(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat grey;
    if (!greyOf(in, grey) || grey.rows() > 32767 || grey.cols() > 32767) return;
    std::vector<unsigned char*> rows(static_cast<size_t>(grey.rows()));
    for (int y = 0; y < grey.rows(); y++) rows[size_t(y)] = grey.ptr<unsigned char>(y);
    tarvo::MCEdgeExtractor ex(rows.data(), (unsigned short)grey.cols(), (unsigned short)grey.rows(),
                              a.i(1), a.i(2), a.i(3));
    if (ex.GetEdgeData() != 0) return;
    if (out.create(grey.rows(), grey.cols(), tarvo::MAT_Tuchar) < 0) return;
    std::vector<unsigned char*> orows(static_cast<size_t>(out.rows()));
    for (int y = 0; y < out.rows(); y++) {
        orows[size_t(y)] = out.ptr<unsigned char>(y);
        for (int x = 0; x < out.cols(); x++) orows[size_t(y)][x] = 0;
    }
    ex.GetEdgeMapFromEdgeList(orows.data(), a.i(0));
}

void drawSegments(const PointArray& lines, Mat& out) {
    for (int i = 0; i + 1 < lines.getSize(); i += 2)
        out.drawLine(lines[i], lines[i + 1], Point4_<unsigned char>(80, 255, 60, 0), 2);
}

void runHoughLines(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat features, canvas;
    if (!houghFeatures(in, features) || !colourCopy(in, canvas)) return;
    PointArray lines;
    tarvo::ip::houghLinesStd(features, lines, 1.0f, 3.14159265f / 180, a.i(0), a.i(1));
    drawSegments(lines, canvas);
    out = canvas;
}

void runHoughSegments(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat features, canvas;
    if (!houghFeatures(in, features) || !colourCopy(in, canvas)) return;
    PointArray lines;
    tarvo::detail::pinClockSeed(true, unsigned(a.i(3)));
    tarvo::ip::houghLines(features, lines, 1.0f, 3.14159265f / 180, a.i(0), a.i(1), a.i(2));
    tarvo::detail::pinClockSeed(false);
    drawSegments(lines, canvas);
    out = canvas;
}

void runHoughCircle(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat grey, canvas;
    if (!greyOf(in, grey) || !colourCopy(in, canvas)) return;
    Point2_<int> c(-1, -1);
    int r = a.i(0);
    tarvo::ip::houghCircle(grey, c, r);
    if (r > 0) {
        Point2_<int> pts[72];
        for (int k = 0; k < 72; k++) {
            const double t = k * 3.14159265358979 / 36;
            pts[k] = Point2_<int>(c.x + int(std::lround(r * std::cos(t))),
                                  c.y + int(std::lround(r * std::sin(t))));
        }
        canvas.drawPolygon(pts, 72, Point4_<unsigned char>(80, 255, 60, 0), 2);
    }
    out = canvas;
}

const Operation kRows[] = {
    {"nms",
     "Gradient map of the edge-chain extractor: black wherever a gradient was seen, white "
     "elsewhere",
     {},
     runNMS,
     nullptr,
     "nms photo.png gradients.png",
     kGrey | kColour | kAlpha,
     nullptr,
     globalReach("the edge-chain extractor scans the whole picture")},
    {"edge-chains",
     "Connected edge chains of the grey picture, white on black",
     {{"min-length", "draw only chains longer than this many points", 10, 0, 1e6, true},
      {"non-edge", "percentage of the weakest gradients cut as background", 35, 0, 100, true},
      {"high", "percentage of the 8-bit strength range a chain must reach to start", 12, 0, 100,
       true},
      {"low", "percentage it must keep to continue", 10, 0, 100, true}},
     runEdgeChains,
     nullptr,
     "edge-chains --min-length 20 photo.png chains.png",
     kGreyOrColour,
     nullptr,
     globalReach("chains follow edges anywhere; thresholds rank the whole picture's gradients")},
    {"hough-lines",
     "Straight lines found by voting over the Canny edges (smoothed, sigma 1.5, 40/120), drawn "
     "in green",
     {{"threshold", "votes a line needs (counted up to 255)", 100, 0, 255, true},
      {"lines", "most lines drawn, strongest first", 20, 0, 10000, true}},
     runHoughLines,
     nullptr,
     "hough-lines --threshold 80 --lines 10 photo.png lines.png",
     kGreyOrColour,
     nullptr,
     globalReach("votes are counted over the whole picture")},
    {"hough-segments",
     "Line segments found by randomised voting over the Canny edges, drawn in green",
     {{"threshold", "votes a segment's line needs", 50, 1, 1e6, true},
      {"length", "shortest segment, in pixels along x or y", 30, 0, 1e6, true},
      {"gap", "longest gap bridged inside a segment, in pixels", 5, 0, 1e6, true},
      {"seed", "seed of the random order, so runs repeat", 1, 0, 2147483647, true}},
     runHoughSegments,
     nullptr,
     "hough-segments --threshold 40 --length 25 --gap 4 --seed 7 photo.png segments.png",
     kGreyOrColour,
     nullptr,
     globalReach("votes are counted over the whole picture")},
    {"hough-circle",
     "The darkest disc whose centre pixel is dark (below 101), drawn in green",
     {{"radius", "radius to try in pixels, searched up to a third larger; -1 for width / 8", -1, -1,
       1e6, true}},
     runHoughCircle,
     nullptr,
     "hough-circle --radius 30 photo.png disc.png",
     kGreyOrColour,
     nullptr,
     globalReach("the darkest disc is chosen over the whole picture")},
};

const DemoStep kDemo[] = {
    {"edge-chains.png", "edge chains longer than 20 points", "", "edge-chains", "--min-length 20",
     470},
    {"hough-segments.png", "straight pieces of the Canny edges, found by randomised voting", "",
     "hough-segments", "--threshold 20 --length 15 --gap 3 --seed 1", 471},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
