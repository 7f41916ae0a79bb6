// Shared pieces of the Python module: numpy arrays in and out of Mat without
// copies, destination handling, small value conversions, docstrings built
// from the tool's operation table, and the registry of binding files.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tarvo/mat.h"
#include "tarvo/types.h"

namespace tarvopy {

namespace py = pybind11;
using namespace pybind11::literals;

// ---------------------------------------------------------------- registry

// Each bind_<family>.cpp adds its functions through one registrar; the module
// runs them in name order, so a new family is a new file and nothing else.
using BindFn = void (*)(py::module_& tarvo, py::module_& ip);
struct FamilyRegistrar {
    FamilyRegistrar(const char* name, BindFn fn);
};
#define TARVO_PY_FAMILY(name, fn) \
    static const ::tarvopy::FamilyRegistrar tarvoPyFamily_##name(#name, fn)

void bindAllFamilies(py::module_& tarvo, py::module_& ip);

// ---------------------------------------------------------------- arrays in

// A Mat over an argument's pixels. Borrowed when the array's layout allows it
// (see matFromArray), else over a private contiguous copy that `arr` keeps alive.
struct InArray {
    tarvo::Mat mat;
    py::array arr;        // the array the Mat points into (the argument or its copy)
    bool copied = false;  // true when arr is a private copy
    // Byte range [lo, hi) that the pixels span in memory (0, 0 when empty).
    std::uintptr_t lo = 0, hi = 0;
    bool empty() const { return mat.empty(); }
};

// Depth (1..5) of a numpy dtype, or 0 when the library has no such element type.
int depthOfDtype(const py::dtype& dt);
py::dtype dtypeOfDepth(int depth);

// Turns argument `name` into a Mat. uint8, int16, int32, float32 and float64
// arrays of shape (rows, cols) or (rows, cols, 1..64) whose pixels are
// contiguous within each row and whose rows lie a positive stride apart are
// borrowed; other layouts (and read-only arrays when `writable`) are copied
// once. Other dtypes raise TypeError, other shapes ValueError. A zero-size
// array gives an empty Mat.
InArray matFromArray(py::handle obj, const char* name, bool writable = false);
// The same for small numeric arguments (kernels, masks): array-likes such as
// nested lists are accepted and converted to float64 when their own dtype is
// not one of the five.
InArray matFromArrayLike(py::handle obj, const char* name);

// ---------------------------------------------------------------- arrays out

// A numpy array over the Mat's pixels without a copy: the Mat moves into a
// capsule that frees it with the array. Strides come from the row table; a
// Mat without one uniform positive row stride, or one over foreign pixels, is
// copied first. One channel gives shape (rows, cols), more (rows, cols, cn);
// an empty Mat gives a (0, 0) array of its depth.
py::array arrayFromMat(tarvo::Mat&& m);

// ---------------------------------------------------------------- destinations

// What a destination must look like to be written in place. A negative field
// accepts any value (e.g. depth -1 for sobel, whose dst picks its own depth).
struct Shape {
    int rows, cols, type1;  // type1: whole type word; depth -1 accepts any depth
    int anyDepthChannels = 0;
};
Shape sameAs(const tarvo::Mat& m);
Shape shapeOf(int rows, int cols, int depth, int channels);

// The destination of one call. Without a dst argument the Mat starts empty
// (or as set up by the caller) and the result is a new array. With one, the
// argument must fit `want` and be writable with a borrowable layout, else
// ValueError; passing the source itself selects the in-place form (inPlace),
// any other overlap with the source raises ValueError.
struct Dst {
    py::object user;  // the dst argument, or None
    tarvo::Mat mat;
    bool inPlace = false;
    void* userData = nullptr;
    // The value to return: the user's array, or a new array over mat.
    py::object result();
};
Dst makeDst(py::handle dst, const char* name, const InArray& src, const Shape& want);
// As makeDst for functions with no source array to compare against.
Dst makeDst(py::handle dst, const char* name, const Shape& want);
// Copies mat into the user's pixels when a call replaced the borrowed block
// (it should not; the shape was checked) so the user's array holds the result.
void settle(Dst& d);

// Runs body with the GIL released.
template <typename F>
void nogil(F&& body) {
    py::gil_scoped_release release;
    body();
}

// ---------------------------------------------------------------- values

tarvo::Point2_<int> toPoint(py::handle o, const char* name);
tarvo::Size_<int> toSize(py::handle o, const char* name);
tarvo::Rect_<int> toRect(py::handle o, const char* name);
tarvo::Point4_<double> toScalar(py::handle o, const char* name);

// ---------------------------------------------------------------- docstrings

// Builds a manual-page docstring. Parameters that the tool's table also has
// take their help, range and named choices from the table row (so both
// front ends read the same text); the rest are described here.
class Doc {
public:
    // signature: e.g. "gaussian(src, sigma, support=None, *, dst=None) -> ndarray".
    // tool: the row of `tarvo` that runs this function, or null.
    Doc(const char* signature, const char* tool = nullptr);
    // Description; without one the tool row's summary is used.
    Doc& what(const char* text);
    // An argument described here.
    Doc& arg(const char* name, const char* help);
    // An argument described by the tool row's parameter `param`, plus an optional note.
    Doc& argFromTool(const char* name, const char* param, const char* note = nullptr);
    Doc& returns(const char* text);
    Doc& refused(const char* text);
    Doc& note(const char* text);
    const char* c_str();

private:
    std::string m_signature, m_tool, m_what, m_returns, m_refused, m_notes, m_text;
    std::vector<std::pair<std::string, std::string>> m_args;
};

// Standard text of the dst argument.
extern const char* const kDstHelp;

}  // namespace tarvopy

namespace tarvopy {

// Calls run(src, dst) with the GIL released. In place (dst is src) it runs
// from a private copy of the source into the source's own pixels, which is
// what the library's own in-place forms do.
template <typename Run>
py::object callInto(const InArray& s, Dst& d, Run&& run) {
    nogil([&] {
        if (d.inPlace) {
            tarvo::Mat copy(s.mat);
            run(copy, d.mat);
        } else {
            run(s.mat, d.mat);
        }
    });
    return d.result();
}

// Copies src's pixels into dst's (same shape and type) or makes dst a copy.
void copyPixels(const tarvo::Mat& src, tarvo::Mat& dst);

}  // namespace tarvopy

namespace tarvopy {

// For functions that build their result in a matrix of their own (the
// geometry operators work in a temporary and swap it in at the end): the
// result as a new array, or copied into `dst` when one is given, which must
// then have the result's shape and dtype. A refused call (empty result)
// leaves dst unchanged.
py::object deliver(const InArray& src, py::handle dst, tarvo::Mat&& out);

// Runs run(src, out) with the GIL released into a fresh matrix and delivers it.
template <typename Run>
py::object produce(const InArray& s, py::handle dst, Run&& run) {
    tarvo::Mat out;
    nogil([&] { run(s.mat, out); });
    return deliver(s, dst, std::move(out));
}

// Four fill components 0..255 from one number (every channel) or up to four.
tarvo::Point4_<unsigned char> toFill(py::handle o, const char* name);

}  // namespace tarvopy
