// Rows of the tarvo tool for distance maps, skeletons and moments.
#include <cmath>
#include <cstdio>

#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/saturate.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

const Choice kDistTypes[] = {{"l1", 1}, {"l2", 2}, {"c", 3}, {nullptr, 0}};
const Choice kMasks[] = {{"exact", 0}, {"3x3", 3}, {"5x5", 5}, {nullptr, 0}};

// Grey version of a picture, or an empty matrix for pictures that have none.
Mat greyOf(const Mat& in) {
    Mat g;
    tarvo::ColorSpace::RGBtoGray(in, g);
    if (g.channels() != 1 || g.type() != tarvo::MAT_Tuchar) g.release();
    return g;
}

// Pixels at or below the threshold are the features (zeros of the mask).
void runDistance(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g = greyOf(in);
    if (g.empty()) return;
    const double t = a.v[2];
    bool anyFeature = false;
    for (int y = 0; y < g.rows(); y++) {
        unsigned char* p = g.ptr<unsigned char>(y);
        for (int x = 0; x < g.cols(); x++) {
            const bool f = p[x] <= t;
            anyFeature = anyFeature || f;
            p[x] = f ? 0 : 255;
        }
    }
    Mat d;
    tarvo::ip::distanceTransform(g, d, a.i(0), a.i(1));
    if (!d.isEqualSize(g)) return;
    // Without features every distance is the "none" value, not a finite one.
    const double largest = anyFeature ? d.max() : 0.0;
    std::printf("largest distance: %.6g\n", largest);
    if (out.create(d.rows(), d.cols(), tarvo::MAT_Tuchar) < 0) return;
    const double scale = largest > 0 ? 255.0 / largest : 0.0;
    for (int y = 0; y < d.rows(); y++) {
        const float* s = d.ptr<float>(y);
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < d.cols(); x++) o[x] = tarvo::saturate_cast<unsigned char>(s[x] * scale);
    }
}

// Pixels above the threshold are the foreground.
void runThinning(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g = greyOf(in);
    if (g.empty()) return;
    for (int y = 0; y < g.rows(); y++) {
        unsigned char* p = g.ptr<unsigned char>(y);
        for (int x = 0; x < g.cols(); x++) p[x] = p[x] > a.v[0] ? 255 : 0;
    }
    tarvo::ip::thinning(g, out);
}

void runMoments(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g = greyOf(in);
    if (g.empty()) return;
    tarvo::Moments m;
    tarvo::calcMoments(g, m, a.i(0));
    std::printf("m00 %.10g m10 %.10g m01 %.10g\nm20 %.10g m11 %.10g m02 %.10g\n", m.m00, m.m10,
                m.m01, m.m20, m.m11, m.m02);
    std::printf("m30 %.10g m21 %.10g m12 %.10g m03 %.10g\n", m.m30, m.m21, m.m12, m.m03);
    const tarvo::Moments n(m.m00, m.m10, m.m01, m.m20, m.m11, m.m02, m.m30, m.m21, m.m12, m.m03);
    double hu[7];
    tarvo::huMoments(n, hu);
    std::printf("hu %.6g %.6g %.6g %.6g %.6g %.6g %.6g\n", hu[0], hu[1], hu[2], hu[3], hu[4], hu[5],
                hu[6]);
    if (in.channels() == 3)
        out = in;
    else
        tarvo::ColorSpace::GraytoRGB(g, out);
    if (out.channels() != 3) return;
    if (m.m00 == 0) {
        std::printf("centroid: none (the picture is black)\n");
        return;
    }
    const double cx = m.m10 / m.m00, cy = m.m01 / m.m00;
    std::printf("centroid %.4f %.4f\n", cx, cy);
    // Principal axis: direction of the largest second central moment.
    const double angle = 0.5 * std::atan2(2 * m.mu11, m.mu20 - m.mu02);
    const double len = 0.25 * (out.cols() < out.rows() ? out.cols() : out.rows());
    const tarvo::Point2_<int> c(tarvo::roundInt(cx), tarvo::roundInt(cy));
    const tarvo::Point2_<int> p1(tarvo::roundInt(cx - len * std::cos(angle)),
                                 tarvo::roundInt(cy - len * std::sin(angle)));
    const tarvo::Point2_<int> p2(tarvo::roundInt(cx + len * std::cos(angle)),
                                 tarvo::roundInt(cy + len * std::sin(angle)));
    std::printf("principal axis %.4f degrees\n", angle * 180.0 / 3.14159265358979323846);
    out.drawLine(p1, p2, tarvo::Point4_<unsigned char>(255, 40, 40, 255), 3);
    out.drawCross(c, 12, tarvo::Point4_<unsigned char>(40, 255, 40, 255), 3);
}

const Operation kRows[] = {
    {"distance",
     "Distance of every pixel to the nearest dark pixel, scaled so the largest is 255 (printed)",
     {{"type", "distance: l1 city block, l2 Euclidean, c chessboard", 2, 1, 3, true, kDistTypes},
      {"mask", "L2 mask: exact, 3x3 or 5x5 chamfer (l1 and c always use 3x3)", 0, 0, 5, true,
       kMasks},
      {"threshold", "grey level at or below which a pixel is a feature", 127, -1, 255, false}},
     runDistance,
     nullptr,
     "distance --type l2 --mask exact --threshold 100 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the nearest dark pixel may be anywhere, and the scale is the largest distance")},
    {"thinning",
     "One-pixel skeleton of the pixels brighter than a threshold",
     {{"threshold", "grey level above which a pixel is foreground", 127, -1, 255, false}},
     runThinning,
     nullptr,
     "thinning --threshold 127 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("peeling repeats until nothing changes, however far that reaches")},
    {"moments",
     "Prints raw moments, centroid and Hu invariants; draws the centroid and principal axis",
     {{"binary", "1 counts every non-zero pixel as 1, 0 weighs pixels by grey level", 0, 0, 1,
       true}},
     runMoments,
     nullptr,
     "moments --binary 0 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("moments sum over the whole picture")},
};

const DemoStep kDemo[] = {
    {"distance.png", "exact Euclidean distance to the dark pixels", "", "distance",
     "--type l2 --mask exact --threshold 90", 760},
    {"skeleton.png", "skeleton of the bright regions", "", "thinning", "--threshold 160", 761},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
