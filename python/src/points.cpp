// Point lists and named tuples shared by the shape, Hough and component bindings.
#include "points.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <map>
#include <string>

namespace tarvopy {

namespace {

// Kept for the life of the process, like the module's docstrings.
std::map<std::string, py::object>& types() {
    static auto* t = new std::map<std::string, py::object>();
    return *t;
}

py::module_& numpy() {
    static py::module_* np = new py::module_(py::module_::import("numpy"));
    return *np;
}

// The argument as an (n, 2) array of the given dtype (converted by numpy).
py::array asPairs(py::handle obj, const char* name, const char* dtype) {
    py::array a;
    try {
        a = numpy().attr("asarray")(obj);
    } catch (py::error_already_set&) {
        throw py::type_error(std::string(name) + " must be an (n, 2) array of points");
    }
    const char kind = a.dtype().kind();
    if (kind != 'i' && kind != 'u' && kind != 'f' && kind != 'b' && a.size() > 0)
        throw py::type_error(std::string(name) + ": dtype " + std::string(py::str(a.dtype())) +
                             " is not a point type (int32 or float32)");
    if (a.size() == 0 && (a.ndim() == 1 || (a.ndim() == 2 && a.shape(1) == 2)))
        return py::array(py::dtype(dtype), std::vector<py::ssize_t>{0, 2});
    if (a.ndim() != 2 || a.shape(1) != 2)
        throw py::value_error(std::string(name) + ": expected shape (n, 2), got " +
                              std::string(py::str(a.attr("shape"))));
    if (a.shape(0) > INT_MAX) throw py::value_error(std::string(name) + ": too many points");
    if (std::strcmp(dtype, "int32") == 0 && kind != 'i' && kind != 'u' && kind != 'b')
        throw py::type_error(std::string(name) +
                             ": this function takes integer points (int32), got " +
                             std::string(py::str(a.dtype())));
    if (std::strcmp(dtype, "int32") == 0 && a.dtype().itemsize() >= 4) {
        // Values beyond the int32 range would wrap in the conversion.
        py::object lo = a.attr("min")(), hi = a.attr("max")();
        if (lo.cast<double>() < INT_MIN || hi.cast<double>() > INT_MAX)
            throw py::value_error(std::string(name) + ": coordinates outside the int32 range");
    }
    return numpy().attr("ascontiguousarray")(a, "dtype"_a = dtype);
}

}  // namespace

bool pointsAreFloat(py::handle obj, const char* name) {
    py::array a;
    try {
        a = numpy().attr("asarray")(obj);
    } catch (py::error_already_set&) {
        throw py::type_error(std::string(name) + " must be an (n, 2) array of points");
    }
    return a.dtype().kind() == 'f';
}

PointsI pointsIn(py::handle obj, const char* name) {
    py::array a = asPairs(obj, name, "int32");
    PointsI pts;
    const int n = int(a.shape(0));
    if (n > 0 && pts.setSize(n)) std::memcpy(pts.getData(), a.data(), size_t(n) * 2 * sizeof(int));
    if (pts.getSize() != n) throw std::bad_alloc();
    return pts;
}

PointsF pointsInF(py::handle obj, const char* name) {
    py::array a = asPairs(obj, name, "float32");
    PointsF pts;
    const int n = int(a.shape(0));
    if (n > 0 && pts.setSize(n))
        std::memcpy(pts.getData(), a.data(), size_t(n) * 2 * sizeof(float));
    if (pts.getSize() != n) throw std::bad_alloc();
    return pts;
}

py::array pointsOut(const tarvo::Point2_<int>* pts, int n) {
    py::array_t<int> out({py::ssize_t(n > 0 ? n : 0), py::ssize_t(2)});
    if (n > 0) std::memcpy(out.mutable_data(), pts, size_t(n) * 2 * sizeof(int));
    return out;
}

py::array pointsOut(const PointsI& pts) {
    return pointsOut(pts.getData(), pts.getSize());
}

py::array pointsOut(const PointsF& pts) {
    const int n = pts.getSize();
    py::array_t<float> out({py::ssize_t(n), py::ssize_t(2)});
    if (n > 0) std::memcpy(out.mutable_data(), pts.getData(), size_t(n) * 2 * sizeof(float));
    return out;
}

py::object valueType(const char* name) {
    auto it = types().find(name);
    if (it == types().end()) throw std::runtime_error(std::string("no value type ") + name);
    return it->second;
}

py::object makeRect(const tarvo::Rect_<int>& r) {
    return valueType("Rect")(r.x, r.y, r.width, r.height);
}

py::object makeRotatedRect(const tarvo::RotatedRect& r) {
    return valueType("RotatedRect")(r.cx, r.cy, r.width, r.height, r.angle);
}

py::object makePoint(int x, int y) {
    return valueType("Point")(x, y);
}

py::object makePointF(double x, double y) {
    return valueType("Point")(x, y);
}

namespace {

// Runs before every other family (names sort after '_'): defines the named
// tuples on the extension, where the package picks them up.
void bindValues(py::module_& tarvo, py::module_&) {
    py::object namedtuple = py::module_::import("collections").attr("namedtuple");
    struct Row {
        const char* name;
        const char* fields;
        const char* doc;
    };
    const Row rows[] = {
        {"Rect", "x y width height",
         "Rectangle in pixels: left column x, top row y, width, height."},
        {"Point", "x y", "Pixel position: column x, row y."},
        {"Size", "width height", "Image size: width (columns), height (rows)."},
        {"RotatedRect", "cx cy width height angle",
         "Rotated rectangle or ellipse: centre (cx, cy), full width and height in pixels, angle "
         "in degrees."},
        {"ConnectInfo", "x y width height value count head",
         "A region of ConnectedComponent.apply: bounding box, byte value of its first pixel, "
         "pixel count, and the linear index (y * cols + x) where its pixel chain starts."},
        {"PeakInfo", "position valley value width",
         "A turning point of a signal: index, True for a minimum, the signal's value there and "
         "the width of its plateau."},
    };
    for (const Row& r : rows) {
        py::object t = namedtuple(r.name, r.fields);
        t.attr("__doc__") = r.doc;
        t.attr("__module__") = "tarvo";
        tarvo.attr(r.name) = t;
        types()[r.name] = t;
    }
}

}  // namespace

TARVO_PY_FAMILY(_values, bindValues);

}  // namespace tarvopy

namespace tarvopy {

std::mutex& randomMutex() {
    static std::mutex* m = new std::mutex();
    return *m;
}

}  // namespace tarvopy
