// Fuzzer entries of the shapes family: contours, polygon and point-set
// geometry, connected components, flood fill and selection, distance
// transforms, thinning and moments.
#include <climits>

#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/shapes.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

// A one-channel byte image; half the time cut into 0 and 255 at a threshold
// from the input so that border following meets real regions and holes.
Mat binaryish(FuzzInput& in) {
    Mat m = in.mat(MAT_Tuchar, in.flag() ? 1 : 0);
    if (m.empty() || m.channels() != 1 || !in.flag()) return m;
    const uint8_t t = in.byte();
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols(); x++) m.data.ptr[y][x] = m.data.ptr[y][x] > t ? 255 : 0;
    return m;
}

// Up to 40 points; coordinates are usually near the image range and sometimes
// hostile (INT_MIN, INT_MAX, ...), which the geometry must survive.
ip::PointArray points(FuzzInput& in) {
    ip::PointArray p;
    const int n = in.range(0, 40);
    for (int i = 0; i < n; i++) p.add(Point2_<int>(in.hostileInt(-5, 80), in.hostileInt(-5, 80)));
    return p;
}

Point2_<int> seedPoint(FuzzInput& in) {
    return Point2_<int>(in.hostileInt(-2, 72), in.hostileInt(-2, 72));
}

const fuzz::FuzzOp kOps[] = {
    {"findContours",
     [](FuzzInput& in) {
         const int mode = in.hostileInt(0, 4), method = in.hostileInt(0, 6);
         const Point2_<int> offset(in.hostileInt(-3, 3), in.hostileInt(-3, 3));
         Matrix<Point2_<int>, const Point2_<int>&> contours;
         Mat img = in.flag() ? binaryish(in) : in.mat();
         Mat copy;
         copy.create(img, true);
         ip::findContours(img, contours, mode, method, offset);
         if (!fuzz::sameBytes(img, copy)) fuzz::fail("findContours wrote into its image");
         // The results feed the polygon routines as a real caller would.
         for (int i = 0; i < contours.getSize(); i++) {
             ip::PointArray& c = contours[i];
             ip::PointArray approx, hull;
             ip::approxPolyDP(c, approx, in.hostileDouble(0, 5), in.flag());
             ip::contourArea(c);
             ip::getBoundRect(c);
             ip::convexHull(c, hull, in.flag());
             ip::minAreaRect(c);
             ip::fitEllipse(c);
         }
     }},
    {"approxPolyDP",
     [](FuzzInput& in) {
         const ip::PointArray src = points(in);
         const double eps = in.hostileDouble(-1, 20);
         const bool closed = in.flag();
         ip::PointArray dst;
         ip::approxPolyDP(src, dst, eps, closed);
         ip::PointArrayF srcF, dstF;
         for (int i = 0; i < src.getSize(); i++)
             srcF.add(Point2_<float>(float(src[i].x), float(src[i].y)));
         ip::approxPolyDP(srcF, dstF, eps, closed);
         // The kernel with a caller's stack that is too small to start with.
         if (src.getSize() > 0) {
             ip::PointArray out(src.getSize(), Point2_<int>());
             AutoBuffer<Range, 520> stack(unsigned(in.range(0, 3)));
             const int n = ip::approxPolyDP(src.getData(), src.getSize(), out.getData(), closed,
                                            eps, in.flag() ? &stack : nullptr);
             if (n < 0 || n > src.getSize()) fuzz::fail("approxPolyDP kernel count out of range");
         }
     }},
    {"pointSets",
     [](FuzzInput& in) {
         ip::PointArray p = points(in), hull;
         const int which = in.range(0, 4);
         switch (which) {
             case 0:
                 ip::convexHull(p, hull, in.flag());
                 if (hull.getSize() > p.getSize()) fuzz::fail("hull larger than its points");
                 break;
             case 1:
                 ip::minAreaRect(p);
                 break;
             case 2:
                 ip::fitEllipse(p);
                 break;
             case 3:
                 ip::contourArea(p);
                 ip::getBoundRect(p);
                 break;
             default: {
                 const Mat img = in.mat();
                 ip::getBoundRect(img, in.hostileInt(0, 255));
             }
         }
     }},
    {"ConnectedComponent",
     [](FuzzInput& in) {
         const ip::ConnectedComponent::FilterParams params(in.hostileInt(0, 5), in.hostileInt(0, 5),
                                                           in.hostileInt(0, 20));
         const unsigned char bg = in.byte();
         const bool erase = in.flag(), sort = in.flag();
         Mat img = in.flag() ? binaryish(in) : in.mat();
         ip::ConnectedComponent cc(params);
         Array<ip::ConnectInfo, const ip::ConnectInfo&> found = cc.apply(img, bg, erase, sort);
         const int n = found.getSize() < 8 ? found.getSize() : 8;
         for (int i = 0; i < n; i++) {
             Mat region;
             ip::PointArray pts, boundary;
             cc.createImageFromConnect(found[i], region);
             cc.createPointArrayFromConnect(found[i], pts);
             cc.createBoundaryPointsFromConnect(found[i], boundary);
             fuzz::touch(region);
             if (pts.getSize() != found[i].count) fuzz::fail("region point count differs");
         }
         // A hand-made record: the chain walk must stay inside the work image.
         ip::ConnectInfo bogus;
         bogus.x = in.hostileInt(-2, 70);
         bogus.y = in.hostileInt(-2, 70);
         bogus.width = in.hostileInt(0, 70);
         bogus.height = in.hostileInt(0, 70);
         bogus.count = in.hostileInt(0, 100);
         bogus.head = in.hostileInt(-1, 5000);
         ip::PointArray pts, boundary;
         Mat region;
         cc.createPointArrayFromConnect(bogus, pts);
         cc.createBoundaryPointsFromConnect(bogus, boundary);
         cc.createImageFromConnect(bogus, region);
         cc.eraseConnect(bogus, 7);
         fuzz::touch(region);
         fuzz::touch(img);
     }},
    {"floodfill",
     [](FuzzInput& in) {
         const Point2_<int> seed = seedPoint(in);
         const int tol = in.hostileInt(-5, 80);
         const Point4_<double> colour(in.hostileDouble(-300, 300), in.hostileDouble(0, 255),
                                      in.hostileDouble(0, 255), in.hostileDouble(0, 255));
         Mat mask = in.flag() ? in.mat() : Mat();
         Mat img = in.mat(in.flag() ? MAT_Tuchar : 0, 0);
         ip::floodfill(img, mask, seed, tol, colour);
         fuzz::touch(img);
         fuzz::touch(mask);
     }},
    {"fuzzySelection",
     [](FuzzInput& in) {
         const Point2_<int> seed = seedPoint(in);
         const int tol = in.hostileInt(-5, 80);
         const bool polygonForm = in.flag();
         const Mat img = in.mat(in.flag() ? MAT_Tuchar : 0, 0);
         ip::PointArray outer;
         Matrix<Point2_<int>, const Point2_<int>&> holes;
         bool flag = false;
         if (polygonForm)
             ip::fuzzySelection(img, seed, tol, outer, flag);
         else
             ip::fuzzySelection(img, seed, tol, outer, holes, flag);
     }},
    {"distanceTransform",
     [](FuzzInput& in) {
         const int form = in.range(0, 2), type = in.hostileInt(-1, 4), mask = in.hostileInt(0, 6),
                   labelType = in.hostileInt(0, 1);
         Mat labels = in.flag() ? in.mat() : Mat();
         fuzz::withArrangement(in, binaryish(in), [&](const Mat& s, Mat& d) {
             if (form == 0)
                 ip::distanceTransform(s, d);
             else if (form == 1)
                 ip::distanceTransform(s, d, type, mask);
             else
                 ip::distanceTransform(s, d, labels, type, mask, labelType);
         });
         fuzz::touch(labels);
     }},
    {"thinning",
     [](FuzzInput& in) {
         fuzz::withArrangement(in, in.flag() ? binaryish(in) : in.mat(),
                               [&](const Mat& s, Mat& d) { ip::thinning(s, d); });
     }},
    {"calcMoments",
     [](FuzzInput& in) {
         const int binary = in.hostileInt(0, 1);
         const Mat img = in.mat();
         Moments m;
         calcMoments(img, m, binary);
         double hu[7];
         huMoments(m, hu);
         m.getSpatialMoment(in.hostileInt(-1, 3), in.hostileInt(-1, 3));
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
