// Rows of the tarvo tool for the corner detectors: corners are found on the
// grey version of the picture and drawn as crosses over the picture; the
// count is printed.
#include <cstdio>
#include <vector>

#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"

namespace tarvotool {

namespace {

using tarvo::Mat;
typedef tarvo::Array<tarvo::Point2_<int>, const tarvo::Point2_<int>&> Points;

// The grey version of a byte picture (a copy for grey input); empty for other depths.
void grey(const Mat& in, Mat& g) {
    g.release();
    if (in.type() != tarvo::MAT_Tuchar) return;
    if (in.channels() == 1)
        g = in;
    else if (in.channels() == 3)
        tarvo::ColorSpace::RGBtoGray(in, g);
}

void drawCorners(const Mat& in, const Points& pts, Mat& out, const char* what) {
    out = in;
    const tarvo::Point4_<unsigned char> red(255, 0, 0, 255);
    for (int i = 0; i < pts.getSize(); i++) out.drawCross(pts[i], 3, red);
    std::printf("%s: %d corners\n", what, pts.getSize());
}

void runFast(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g;
    grey(in, g);
    if (g.empty()) return;
    Points pts;
    tarvo::ip::cornerFast(g, a.i(0), a.i(1), a.i(2), pts);
    drawCorners(in, pts, out, "fast");
}

void runHarris(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g;
    grey(in, g);
    if (g.empty()) return;
    Points pts;
    tarvo::ip::cornerHarris(g, Mat(), pts, 0, 0.0f, a.i(0), a.f(1));
    if (a.i(2) && pts.getSize() > 0) {
        std::vector<tarvo::Point2_<float>> f;
        for (int i = 0; i < pts.getSize(); i++)
            f.push_back(tarvo::Point2_<float>(float(pts[i].x), float(pts[i].y)));
        tarvo::ip::findCornerSubPix(g, f.data(), int(f.size()), tarvo::Size_<int>(5, 5),
                                    tarvo::Size_<int>(-1, -1), tarvo::TermCriteria(3, 30, 0.01));
        for (int i = 0; i < pts.getSize(); i++)
            pts[i] = tarvo::Point2_<int>(int(f[size_t(i)].x + 0.5f), int(f[size_t(i)].y + 0.5f));
    }
    drawCorners(in, pts, out, "harris");
}

// A drawn cross reaches 3 pixels from its corner, and a corner is decided by
// its ring of radius 3 (plus, when suppressing, its neighbours' rings).
int reachFast(const Args& a) {
    return 3 + 3 + (a.i(2) ? 1 : 0);
}

// Cross 3, local-maximum window half, the strength's Gaussian (sigma 5, 10
// pixels) and the 3 x 3 gradient. The sub-pixel walk is only checked once it
// stops, so on the way it may read anywhere.
int reachHarris(const Args& a) {
    if (a.i(2)) return kWholePicture;
    return 3 + a.i(0) / 2 + 10 + 1;
}

const Choice kArcs[] = {{"9", 9}, {"10", 10}, {"11", 11}, {"12", 12}, {nullptr, 0}};

const Operation kRows[] = {
    {"fast",
     "FAST corners of the grey picture, drawn as crosses; prints the count",
     {{"threshold", "brightness difference a ring pixel must exceed", 20, -256, 256, true},
      {"arc", "consecutive ring pixels needed: 9, 10, 11 or 12", 9, 9, 12, true, kArcs},
      {"suppress", "1 keeps only corners stronger than their neighbours, 0 keeps all", 1, 0, 1,
       true}},
     runFast,
     nullptr,
     "fast --threshold 20 --arc 9 --suppress 1 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachFast, "ring radius 3, one more with --suppress, and the drawn crosses' 3"}},
    {"harris",
     "Harris corners (determinant over trace of smoothed gradient products) of the grey "
     "picture, drawn as crosses; prints the count",
     {{"window", "side of the local-maximum window in pixels", 5, 1, 255, true},
      {"threshold", "strength a corner must exceed", 1000, -1e9, 1e9, false},
      {"subpix", "1 refines each corner to sub-pixel accuracy before drawing (rounded)", 0, 0, 1,
       true}},
     runHarris,
     nullptr,
     "harris --window 5 --threshold 1000 --subpix 0 in.png out.png",
     kGreyOrColour,
     nullptr,
     {reachHarris,
      "gradient 1, Gaussian 10, --window / 2 and the crosses' 3; whole picture with --subpix, "
      "whose walk may wander anywhere before it is checked"}},
};

const DemoStep kDemo[] = {
    {"fast.png", "FAST corners (arc 9, threshold 20, suppressed)", "", "fast",
     "--threshold 20 --arc 9 --suppress 1", 450},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
