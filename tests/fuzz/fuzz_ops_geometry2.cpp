// Fuzzer entries of the geometry family beyond resize: the transformation
// operators (crop, expand, resample, rotate, skew, thumbnail), the warps,
// remap and its map conversion, and the mesh warp.
#include <vector>

#include "fuzz/fuzz_ops.h"
#include "tarvo/ip/geometry.h"

using namespace tarvo;
using fuzz::FuzzInput;

namespace {

Point4_<unsigned char> fillColour(FuzzInput& in) {
    return Point4_<unsigned char>(in.byte(), in.byte(), in.byte(), in.byte());
}

// A 2 x 3 or 3 x 3 coefficient matrix near a plain copy, with hostile entries
// now and then; sometimes a matrix of another shape or type to be refused.
Mat transform(FuzzInput& in) {
    if (in.byte() < 24) return in.mat(0, 1);
    const int rows = in.flag() ? 3 : 2;
    Mat t(rows, 3, in.flag() ? MAT_Tfloat : MAT_Tdouble);
    if (t.empty()) return t;
    const double base[9] = {0, 1, 0, 1, 0, 0, 0, 0, 1};
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < 3; x++) {
            const double v = base[y * 3 + x] + (in.flag() ? in.hostileDouble(-0.5, 0.5) : 0.0);
            if (t.type() == MAT_Tfloat)
                t.ptr<float>(y)[x] = float(v);
            else
                t.ptr<double>(y)[x] = v;
        }
    return t;
}

// A destination the warps accept: src's type, a size of its own.
Mat warpTarget(FuzzInput& in, const Mat& src) {
    Mat d;
    if (src.empty()) return d;
    d.create(in.range(1, 80), in.range(1, 80), src.type1());
    if (!d.empty()) d = 9.0;
    return d;
}

// Remap coordinate maps in one of the accepted forms (or, now and then, a
// mismatched pair), with positions that run well outside the image.
void makeMaps(FuzzInput& in, Mat& map1, Mat& map2) {
    const int form = in.range(0, 4);
    const int rows = in.range(1, 60), cols = in.range(1, 60);
    switch (form) {
        case 0:
        case 1:
            map1.create(rows, cols, MAKETYPE(MAT_Tshort, 2));
            for (int y = 0; y < rows && !map1.empty(); y++)
                for (int x = 0; x < cols * 2; x++)
                    map1.ptr<short>(y)[x] = short(in.hostileInt(-10, 80));
            if (form == 1) {
                map2.create(rows, cols, MAT_Tshort);
                for (int y = 0; y < rows && !map2.empty(); y++)
                    for (int x = 0; x < cols; x++)
                        map2.ptr<short>(y)[x] = short(in.hostileInt(-2, 1100));
            }
            break;
        case 2:
            map1 = in.mat(MAT_Tfloat, 2);
            break;
        case 3:
            map1 = in.mat(MAT_Tfloat, 1);
            map2 = in.flag() ? in.mat(MAT_Tfloat, 1) : map1;
            break;
        default:
            map1 = in.mat();
            map2 = in.flag() ? in.mat() : Mat();
    }
}

const fuzz::FuzzOp kOps[] = {
    {"crop",
     [](FuzzInput& in) {
         const int which = in.range(0, 3);
         const int a = in.hostileInt(-5, 75), b = in.hostileInt(-5, 75), c = in.hostileInt(-5, 75),
                   e = in.hostileInt(-5, 75);
         const float angle = in.hostileFloat(-400, 400);
         // cropEx fills outside the image: its size is the work, so it stays small.
         const Rect_<int> outside(in.hostileInt(-40, 80), in.hostileInt(-40, 80),
                                  in.refusedOrSmall(0, 90), in.refusedOrSmall(0, 90));
         const Point4_<double> fill(in.hostileDouble(-10, 300));
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             switch (which) {
                 case 0:
                     ip::crop(s, d, Rect_<int>(a, b, c, e));
                     break;
                 case 1:
                     ip::crop(s, d, a, b, c, e);
                     break;
                 case 2:
                     ip::crop(s, d, a, b, c, e, angle);
                     break;
                 default:
                     ip::cropEx(s, d, outside, fill);
             }
         });
     }},
    {"expand",
     [](FuzzInput& in) {
         // Margins are legal at any positive size and only cost memory and
         // time, so large ones are the refused kind.
         const int l = in.refusedOrSmall(0, 20), t = in.refusedOrSmall(0, 20),
                   r = in.refusedOrSmall(0, 20), b = in.refusedOrSmall(0, 20);
         const int w = in.refusedOrSmall(0, 100), h = in.refusedOrSmall(0, 100);
         const Point4_<unsigned char> fill = fillColour(in);
         const bool margins = in.flag();
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (margins)
                 ip::expand(s, d, l, t, r, b, fill);
             else
                 ip::expand(s, d, w, h, fill);
         });
     }},
    {"resample",
     [](FuzzInput& in) {
         // Output sizes are legal up to memory; they stay near the source.
         const int w = in.refusedOrSmall(0, 100), h = in.refusedOrSmall(0, 100);
         const int mode = in.hostileInt(0, 3);
         const int interp = in.hostileInt(0, 17), overflow = in.hostileInt(0, 7);
         const bool full = in.flag(), noAverage = in.flag();
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (full)
                 ip::resample(s, d, w, h, InterpolationMethod(interp), OverflowMethod(overflow),
                              noAverage);
             else
                 ip::resample(s, d, w, h, mode);
         });
     }},
    {"rotate",
     [](FuzzInput& in) {
         const int which = in.range(0, 2);
         const float angle = in.hostileFloat(-400, 400);
         const int type = in.hostileInt(-1, 3);
         const int interp = in.hostileInt(0, 17), overflow = in.hostileInt(0, 7);
         Point4_<unsigned char> colour = fillColour(in);
         const bool withColour = in.flag();
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (which == 0)
                 ip::rotate(s, d, angle);
             else if (which == 1)
                 ip::rotate(s, d, angle, InterpolationMethod(interp), OverflowMethod(overflow),
                            withColour ? &colour : nullptr, false, true);
             else
                 ip::rotate(s, d, RotateType(type));
         });
     }},
    {"skew",
     [](FuzzInput& in) {
         const float sx = in.hostileFloat(-3, 3), sy = in.hostileFloat(-3, 3);
         const int px = in.hostileInt(-10, 80), py = in.hostileInt(-10, 80);
         const bool interp = in.flag();
         fuzz::withArrangement(
             in, in.mat(), [&](const Mat& s, Mat& d) { ip::skew(s, d, sx, sy, px, py, interp); });
     }},
    {"thumbnail",
     [](FuzzInput& in) {
         const int w = in.refusedOrSmall(0, 100), h = in.refusedOrSmall(0, 100);
         const Point4_<unsigned char> fill = fillColour(in);
         fuzz::withArrangement(in, in.mat(),
                               [&](const Mat& s, Mat& d) { ip::thumbnail(s, d, w, h, fill); });
     }},
    {"warps",
     [](FuzzInput& in) {
         const Mat t = transform(in);
         const int which = in.range(0, 2);
         const bool invert = in.flag(), prepared = in.flag();
         const Mat src = in.mat();
         auto run = [&](const Mat& s, Mat& d) {
             if (which == 0)
                 ip::warpAffine(s, d, t, invert);
             else if (which == 1)
                 ip::warpPerspective(s, d, t);
             else
                 ip::warpPerspectiveMask(s, d, t);
         };
         if (prepared) {
             Mat d = warpTarget(in, src);
             run(src, d);
             fuzz::touch(d);
         } else {
             fuzz::withArrangement(in, src, run);
         }
     }},
    {"remap",
     [](FuzzInput& in) {
         Mat map1, map2;
         makeMaps(in, map1, map2);
         const bool swap = in.flag();
         const int interp = in.hostileInt(0, 5), border = in.hostileInt(0, 20);
         const Point4_<double> value(in.hostileDouble(-10, 300));
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (swap)
                 ip::remap(s, d, map2, map1, interp, border, value);
             else
                 ip::remap(s, d, map1, map2, interp, border, value);
         });
     }},
    {"convertMaps",
     [](FuzzInput& in) {
         Mat map1, map2;
         makeMaps(in, map1, map2);
         const int type = in.hostileInt(0, 13);
         const bool nearest = in.flag();
         Mat out1 = in.flag() ? Mat() : in.mat(), out2;
         ip::convertMaps(map1, map2, out1, out2, type, nearest);
         fuzz::touch(out1);
         fuzz::touch(out2);
         // The converted maps must be usable by remap as they stand.
         Mat src = in.mat(), dst;
         ip::remap(src, dst, out1, out2, 1, 0, Point4_<double>(0.0));
         fuzz::touch(dst);
     }},
    {"warpMesh",
     [](FuzzInput& in) {
         // A small mesh over a few points; indices stay inside the point arrays,
         // which carry no length of their own.
         const int nPoints = in.range(3, 12);
         TriangleModel model;
         const int nEdges = in.range(0, 24);
         if (!model.create(nEdges)) return;
         for (int i = 0; i < nEdges; i++) {
             model.edges[i].a = in.range(0, nPoints - 1);
             model.edges[i].b = in.range(0, nPoints - 1);
         }
         model.generateTriangles();
         std::vector<Point2_<float>> sp(static_cast<size_t>(nPoints)),
             dp(static_cast<size_t>(nPoints));
         for (int i = 0; i < nPoints; i++) {
             sp[size_t(i)] = Point2_<float>(in.hostileFloat(-10, 80), in.hostileFloat(-10, 80));
             dp[size_t(i)] = Point2_<float>(in.hostileFloat(-10, 80), in.hostileFloat(-10, 80));
         }
         const bool warping = in.flag();
         Rect_<int> bounds;
         fuzz::withArrangement(in, in.mat(), [&](const Mat& s, Mat& d) {
             if (warping)
                 ip::warping(s, d, &bounds, sp.data(), dp.data(), &model);
             else
                 ip::warpMesh(s, d, bounds, sp.data(), dp.data(), &model);
         });
     }},
};
TARVO_FUZZ_OPS(kOps);

}  // namespace
