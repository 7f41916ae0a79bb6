// Labels of zero regions for the labelled distance transform: the borders of
// every zero region (outer borders and holes) are traced and drawn into the
// label image, one label per border.
#include "shapes/distance_internal.h"
#include "tarvo/ip/integral.h"
#include "tarvo/ip/shapes.h"

namespace tarvo {
namespace ip {
namespace detail {

void labelZeroRegions(const Mat& src, Mat& labels, int border) {
    Mat ext;
    copyMakeBorder(src, ext, border, border, border, border, BorderFill,
                   Point4_<double>(255, 255, 255, 255));
    if (ext.empty()) return;
    // Zero pixels become the object of the border search; the frame does not.
    for (int y = 0; y < ext.rows(); y++) {
        unsigned char* p = ext.ptr<unsigned char>(y);
        for (int x = 0; x < ext.cols(); x++) p[x] = p[x] == 0 ? 1 : 0;
    }
    Matrix<Point2_<int>, const Point2_<int>&> contours;
    findContours(ext, contours, RetrCComp, ChainApproxSimple, Point2_<int>(-border, -border));
    for (int i = 0; i < contours.getSize(); i++) {
        // Only the low byte of the index is kept: every 256th border gets 0.
        const unsigned char v = (unsigned char)((i & 255) + 1);
        labels.drawPolygon(contours[i].getData(), contours[i].getSize(),
                           Point4_<unsigned char>(v, v, v, 255), 1);
    }
}

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
