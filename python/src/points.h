// Point lists and small records between Python and the library: (n, 2)
// int32 / float32 arrays for point lists, named tuples for rectangles and the
// other small structures the shape functions return.
#pragma once

#include "tarvo/array.h"
#include "tarvo/types.h"
#include "tarvo_py.h"

namespace tarvopy {

using PointsI = tarvo::Array<tarvo::Point2_<int>, const tarvo::Point2_<int>&>;
using PointsF = tarvo::Array<tarvo::Point2_<float>, const tarvo::Point2_<float>&>;

// True when a point-list argument holds floating-point coordinates (a float
// array, or a list with a non-integer number in it).
bool pointsAreFloat(py::handle obj, const char* name);

// A point list from an (n, 2) array or a sequence of pairs. Integer arrays of
// any integer dtype become int32 (values outside its range raise ValueError);
// float arrays raise TypeError for the int form. (0,) and (0, 2) are empty.
// Other shapes raise ValueError naming the argument.
PointsI pointsIn(py::handle obj, const char* name);
// The float form: any real dtype becomes float32.
PointsF pointsInF(py::handle obj, const char* name);

// (n, 2) int32 / float32 arrays holding a copy of the points.
py::array pointsOut(const PointsI& pts);
py::array pointsOut(const PointsF& pts);
py::array pointsOut(const tarvo::Point2_<int>* pts, int n);

// Named tuples of the package (made once when the module loads).
py::object makeRect(const tarvo::Rect_<int>& r);
py::object makeRotatedRect(const tarvo::RotatedRect& r);
py::object makePoint(int x, int y);
py::object makePointF(double x, double y);
// The named tuple type called name (Rect, RotatedRect, Point, Size, ConnectInfo, PeakInfo).
py::object valueType(const char* name);

}  // namespace tarvopy

#include <mutex>

namespace tarvopy {

// Serialises calls that seed and draw from the library's one random
// generator, so that a seeded call repeats whatever other threads do.
std::mutex& randomMutex();

// The usual one-image call: dst of the shape `want` (src's by default),
// run(src, dst) with the GIL released, in place from a copy of src.
template <typename Run>
py::object unaryCall(const InArray& s, py::handle dst, const Shape& want, Run&& run) {
    Dst d = makeDst(dst, "dst", s, want);
    return callInto(s, d, run);
}

}  // namespace tarvopy
