// ip::fuzzySelection: the magic wand. A span fill marks the region around the
// seed, then its borders are traced into polygons.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "shapes/fuzzy_selection_simd.h"
#include "shapes/span_fill.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/matop.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {

namespace {

typedef Array<Point2_<int>, const Point2_<int>&> PointArray;
typedef Matrix<Point2_<int>, const Point2_<int>&> PointMatrix;

// Marks in mask (zeroed byte image of the image's size) the four-connected
// region around the seed whose three consecutive bytes at each pixel lie
// within tolerance of the three at the seed. The three bytes are compared
// whatever the channel count, so a grey pixel is compared with its two right
// neighbours too; the image is read from a contiguous copy with two zero bytes
// after the last pixel so that the last pixels stay in bounds.
void selectRegion(const Mat& image, const Point2_<int>& seed, int tolerance, Mat& mask) {
    const int width = image.cols(), height = image.rows(), cn = image.channels();
    const size_t rowBytes = size_t(width) * cn;
    std::vector<unsigned char> pix(rowBytes * height + 2, 0);
    for (int y = 0; y < height; y++)
        std::memcpy(pix.data() + rowBytes * y, image.ptr<unsigned char>(y), rowBytes);
    const unsigned char* s = pix.data() + rowBytes * seed.y + size_t(seed.x) * cn;
    const int t0 = s[0], t1 = s[1], t2 = s[2];
    auto matches = [&](int x, int y) {
        const unsigned char* p = pix.data() + rowBytes * y + size_t(x) * cn;
        return std::abs(p[0] - t0) <= tolerance && std::abs(p[1] - t1) <= tolerance &&
               std::abs(p[2] - t2) <= tolerance;
    };
    unsigned char* const* m = mask.data.ptr;
    detail::SpanQueue q((long long)(width + height) / 2 * 5);
    auto spanStep = [&](int x, int y) {
        unsigned char* row = m[y];
        row[x] = 255;
        int l = x - 1, r = x + 1;
        while (l >= 0 && row[l] == 0 && matches(l, y)) row[l--] = 255;
        while (r < width && row[r] == 0 && matches(r, y)) row[r++] = 255;
        q.push({l + 1, r - 1, y});
    };
    spanStep(seed.x, seed.y);
    while (q.count > 0) {
        const detail::Span sp = q.pop();
        for (int x = sp.left; x <= sp.right; x++) {
            if (sp.y > 0 && m[sp.y - 1][x] == 0 && matches(x, sp.y - 1)) spanStep(x, sp.y - 1);
            if (sp.y < height - 1 && m[sp.y + 1][x] == 0 && matches(x, sp.y + 1))
                spanStep(x, sp.y + 1);
        }
    }
}

bool accepted(const Mat& image, const Point2_<int>& seed) {
    return image.isValid() && image.rows() > 0 && image.cols() > 0 && image.type() == MAT_Tuchar &&
           image.isInside(seed.x, seed.y);
}

bool selectMask(const Mat& image, const Point2_<int>& seed, int tolerance, Mat& mask) {
    if (mask.create(image.rows(), image.cols(), MAT_Tuchar) < 0) return false;
    mask.zero();
    selectRegion(image, seed, tolerance, mask);
    return true;
}

// Replaces every byte of mask by 1 where it equals value, else 0.
void toBinary(Mat& mask, unsigned char value) {
    const bool vec = checkHardwareSupport(CPU_INT_VECTORS);
    for (int y = 0; y < mask.rows(); y++) {
        unsigned char* p = mask.ptr<unsigned char>(y);
        if (vec) {
            detail::vecMaskEquals(p, mask.cols(), value);
            continue;
        }
        for (int x = 0; x < mask.cols(); x++) p[x] = p[x] == value ? 1 : 0;
    }
}

}  // namespace

void fuzzySelection(const Mat& image, const Point2_<int>& seed, int tolerance, PointArray& outer,
                    PointMatrix& holes, bool& flag) {
    if (!accepted(image, seed)) {
        flag = false;
        return;
    }
    Mat mask;
    if (!selectMask(image, seed, tolerance, mask)) {
        flag = false;
        return;
    }
    toBinary(mask, 255);
    PointMatrix contours;
    findContours(mask, contours, RetrList, ChainApproxNone, Point2_<int>(0, 0));
    flag = true;
    if (contours.getSize() == 0) return;
    // The outer border is the contour with the largest box; the first one on ties.
    int best = 0;
    long long bestArea = -1;
    for (int i = 0; i < contours.getSize(); i++) {
        const PointArray& c = contours[i];
        if (c.getSize() == 0) continue;
        int x0 = c[0].x, x1 = c[0].x, y0 = c[0].y, y1 = c[0].y;
        for (int k = 1; k < c.getSize(); k++) {
            x0 = std::min(x0, c[k].x);
            x1 = std::max(x1, c[k].x);
            y0 = std::min(y0, c[k].y);
            y1 = std::max(y1, c[k].y);
        }
        const long long area = ((long long)x1 - x0 + 1) * ((long long)y1 - y0 + 1);
        if (area > bestArea) {
            bestArea = area;
            best = i;
        }
    }
    outer = contours[best];
    holes.removeAll();
    for (int i = 0; i < contours.getSize(); i++)
        if (i != best) holes.add(contours[i]);
}

void fuzzySelection(const Mat& image, const Point2_<int>& seed, int tolerance, PointArray& polygon,
                    bool& flag) {
    if (!accepted(image, seed)) {
        flag = false;
        return;
    }
    Mat mask;
    if (!selectMask(image, seed, tolerance, mask)) {
        flag = false;
        return;
    }
    toBinary(mask, 255);
    PointMatrix contours;
    findContours(mask, contours, RetrExternal, ChainApproxNone, Point2_<int>(0, 0));
    if (contours.getSize() == 1) {
        polygon = contours[0];
        flag = true;
    } else {
        toBinary(mask, 0);
        findContours(mask, contours, RetrList, ChainApproxSimple, Point2_<int>(0, 0));
        flag = false;
        if (contours.getSize() == 0) {
            polygon.removeAll();
            return;
        }
        polygon = contours[0];
    }
    Mat filled;
    Rect_<int> box;
    selectionPolygonFill(image, filled, box, polygon.getData(), polygon.getSize(), 255);
    flag = filled.isValid() && filled.isInside(seed.x, seed.y) &&
           filled.ptr<unsigned char>(seed.y)[seed.x] != 0;
}

}  // namespace ip
}  // namespace tarvo
