// The typical shape request: a picture, Gaussian smoothing, Canny edges, the
// outer contours, each simplified to a polygon and drawn back onto the picture.
// The edge map joins Canny on the vertical and on the horizontal gradient alone:
// each suppresses along one axis, so slanted outlines stay closed.
//   shapes IN.png OUT.png [sigma] [eps]
#include <cstdio>
#include <cstdlib>

#include "tarvo/tarvoip.h"

int main(int argc, char** argv) {
    using namespace tarvo;
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s IN OUT [sigma] [eps]\n", argv[0]);
        return 2;
    }
    const float sigma = argc > 3 ? (float)std::atof(argv[3]) : 1.5f;
    const double eps = argc > 4 ? std::atof(argv[4]) : 3.0;
    Mat picture, grey, smooth, edges, horizontal;
    if (!picture.fromImage(argv[1])) {
        std::fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }
    ColorSpace::RGBtoGray(picture, grey);
    ip::gaussian(grey, smooth, sigma);
    ip::canny(smooth, edges, 40, 120, 1);
    ip::canny(smooth, horizontal, 40, 120, 2);
    for (int y = 0; y < edges.rows(); y++)
        for (int x = 0; x < edges.cols(); x++)
            edges.ptr<unsigned char>(y)[x] |= horizontal.ptr<unsigned char>(y)[x];
    Matrix<Point2_<int>, const Point2_<int>&> contours;
    ip::findContours(edges, contours, 0, 1);  // outer borders, every border pixel
    int polygons = 0;
    for (int i = 0; i < contours.getSize(); i++) {
        Array<Point2_<int>, const Point2_<int>&> polygon;
        ip::approxPolyDP(contours[i], polygon, eps, true);
        if (polygon.getSize() < 3) continue;
        picture.drawPolygon(polygon.getData(), polygon.getSize(),
                            Point4_<unsigned char>(255, 0, 0, 255), 2);
        polygons++;
    }
    std::printf("%d contours, %d polygons drawn\n", contours.getSize(), polygons);
    return picture.toImage(argv[2]) ? 0 : 1;
}
