// Rows of the tarvo tool for connected components and flood fill.
#include <cstdio>

#include "operations.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/shapes.h"

namespace tarvotool {

namespace {

using tarvo::Mat;

// A colour per region index, spread around the hue circle.
tarvo::Point4_<unsigned char> regionColour(int i) {
    static const unsigned char k[8][3] = {{230, 25, 75},  {60, 180, 75},  {255, 225, 25},
                                          {0, 130, 200},  {245, 130, 48}, {145, 30, 180},
                                          {70, 240, 240}, {240, 50, 230}};
    const unsigned char* c = k[i & 7];
    const int shade = 255 - 40 * ((i >> 3) % 4);
    return tarvo::Point4_<unsigned char>((unsigned char)(c[0] * shade / 255),
                                         (unsigned char)(c[1] * shade / 255),
                                         (unsigned char)(c[2] * shade / 255), 255);
}

// Pixels above the threshold form the foreground; each accepted region is
// painted in its own colour with its box drawn.
void runComponents(const Mat& in, Mat& out, const Args& a) {
    out.release();
    Mat g;
    tarvo::ColorSpace::RGBtoGray(in, g);
    if (g.channels() != 1 || g.type() != tarvo::MAT_Tuchar) return;
    for (int y = 0; y < g.rows(); y++) {
        unsigned char* p = g.ptr<unsigned char>(y);
        for (int x = 0; x < g.cols(); x++) p[x] = p[x] > a.v[0] ? 255 : 0;
    }
    tarvo::ip::ConnectedComponent cc(
        tarvo::ip::ConnectedComponent::FilterParams(a.i(2), a.i(3), a.i(1)));
    tarvo::Array<tarvo::ip::ConnectInfo, const tarvo::ip::ConnectInfo&> regions =
        cc.apply(g, 0, false, a.i(4) != 0);
    std::printf("regions: %d\n", regions.getSize());
    if (out.create(g.rows(), g.cols(), tarvo::MAT_Tuchar3) < 0) return;
    out = 0.0;
    tarvo::Array<tarvo::Point2_<int>, const tarvo::Point2_<int>&> pts;
    for (int i = 0; i < regions.getSize(); i++) {
        const tarvo::Point4_<unsigned char> c = regionColour(i);
        cc.createPointArrayFromConnect(regions[i], pts);
        for (int k = 0; k < pts.getSize(); k++) {
            unsigned char* p = out.ptr<unsigned char>(pts[k].y) + 3 * pts[k].x;
            p[0] = c[0];
            p[1] = c[1];
            p[2] = c[2];
        }
        const tarvo::ip::ConnectInfo& r = regions[i];
        out.drawRect(tarvo::Rect_<int>(r.x, r.y, r.width, r.height), c, 1);
    }
}

void runFloodfill(const Mat& in, Mat& out, const Args& a) {
    out = in;
    Mat mask;
    tarvo::ip::floodfill(out, mask, tarvo::Point2_<int>(a.i(0), a.i(1)), a.i(2),
                         tarvo::Point4_<double>(a.v[3], a.v[4], a.v[5], 255));
    std::printf("filled pixels: %d\n", mask.isValid() ? mask.countNonZero() : 0);
    if (in.type() != tarvo::MAT_Tuchar || (in.channels() != 1 && in.channels() != 3)) out.release();
}

// The region's outer border and its holes drawn over the picture.
void runSelect(const Mat& in, Mat& out, const Args& a) {
    out.release();
    const tarvo::Point2_<int> seed(a.i(0), a.i(1));
    tarvo::Array<tarvo::Point2_<int>, const tarvo::Point2_<int>&> outer, poly;
    tarvo::Matrix<tarvo::Point2_<int>, const tarvo::Point2_<int>&> holes;
    bool found = false, inside = false;
    tarvo::ip::fuzzySelection(in, seed, a.i(2), outer, holes, found);
    tarvo::ip::fuzzySelection(in, seed, a.i(2), poly, inside);
    if (!found) return;
    std::printf("border points: %d, holes: %d, seed inside: %s\n", outer.getSize(), holes.getSize(),
                inside ? "yes" : "no");
    if (in.channels() == 3)
        out = in;
    else
        tarvo::ColorSpace::GraytoRGB(in, out);
    if (out.channels() != 3) return;
    out.drawPolygon(outer.getData(), outer.getSize(),
                    tarvo::Point4_<unsigned char>(255, 230, 0, 255), 2);
    for (int i = 0; i < holes.getSize(); i++)
        out.drawPolygon(holes[i].getData(), holes[i].getSize(),
                        tarvo::Point4_<unsigned char>(0, 200, 255, 255), 1);
}

const Operation kRows[] = {
    {"components",
     "Eight-connected regions of the pixels brighter than a threshold, each in its own colour "
     "with its box; prints the count",
     {{"threshold", "grey level above which a pixel is foreground", 127, -1, 255, false},
      {"min-count", "smallest accepted region, in pixels", 1, 1, 1e9, true},
      {"min-width", "smallest accepted box width, in pixels", 1, 1, 1e9, true},
      {"min-height", "smallest accepted box height, in pixels", 1, 1, 1e9, true},
      {"sort", "1 lists larger regions first, 0 keeps scan order", 0, 0, 1, true}},
     runComponents,
     nullptr,
     "components --threshold 150 --min-count 50 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("a region may span the whole picture")},
    {"floodfill",
     "Paint-bucket fill from a seed pixel: four-connected pixels within a tolerance of its colour",
     {{"x", "seed column", 0, -1e9, 1e9, true},
      {"y", "seed row", 0, -1e9, 1e9, true},
      {"tolerance", "largest difference per channel from the seed's colour", 20, 0, 255, true},
      {"red", "fill colour, red (the grey value of grey pictures)", 255, 0, 255, false},
      {"green", "fill colour, green", 0, 0, 255, false},
      {"blue", "fill colour, blue", 0, 0, 255, false}},
     runFloodfill,
     nullptr,
     "floodfill --x 120 --y 80 --tolerance 30 --red 0 --green 200 --blue 255 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the fill spreads from the seed across the whole picture")},
    {"select",
     "Magic-wand selection around a seed: outer border (yellow) and holes (blue); prints "
     "whether the seed lies inside",
     {{"x", "seed column", 0, -1e9, 1e9, true},
      {"y", "seed row", 0, -1e9, 1e9, true},
      {"tolerance", "largest difference per byte from the seed's colour", 20, 0, 255, true}},
     runSelect,
     nullptr,
     "select --x 120 --y 80 --tolerance 30 in.png out.png",
     kGreyOrColour,
     nullptr,
     globalReach("the selection spreads from the seed across the whole picture")},
};

const DemoStep kDemo[] = {
    {"components.png", "bright regions of at least 40 pixels, each with its box", "", "components",
     "--threshold 170 --min-count 40", 740},
    {"floodfill.png", "paint-bucket fill of the cup's coffee", "", "floodfill",
     "--x 290 --y 140 --tolerance 40 --red 40 --green 200 --blue 255", 741},
    {"select.png", "magic-wand selection of the saucer with its holes", "", "select",
     "--x 120 --y 300 --tolerance 45", 742},
};

}  // namespace

TARVO_TOOL_OPERATIONS(kRows);
TARVO_DEMO_STEPS(kDemo);

}  // namespace tarvotool
