// numpy arrays in and out of Mat, destinations and small value conversions.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "tarvo_py.h"

namespace tarvopy {

namespace {

struct DtypeRow {
    char kind;
    int size;
    int depth;
    const char* name;
};
const DtypeRow kDtypes[] = {{'u', 1, tarvo::MAT_Tuchar, "uint8"},
                            {'i', 2, tarvo::MAT_Tshort, "int16"},
                            {'i', 4, tarvo::MAT_Tint, "int32"},
                            {'f', 4, tarvo::MAT_Tfloat, "float32"},
                            {'f', 8, tarvo::MAT_Tdouble, "float64"}};

// Kept for the life of the process: the interpreter may tear modules down
// before static destructors run.
py::module_& numpy() {
    static py::module_* np = new py::module_(py::module_::import("numpy"));
    return *np;
}

std::string typeName(py::handle o) {
    return py::str(py::type::handle_of(o).attr("__name__"));
}

// The dtype's byte order is the machine's (or does not matter).
bool nativeOrder(const py::dtype& dt) {
    const char bo = py::detail::array_descriptor_proxy(dt.ptr())->byteorder;
    return bo == '=' || bo == '|' || bo == '<';  // little-endian machines only
}

[[noreturn]] void typeError(const std::string& s) {
    throw py::type_error(s);
}
[[noreturn]] void valueError(const std::string& s) {
    throw py::value_error(s);
}

// Points the Mat's row table at rows `stride` bytes apart from `base`.
void borrow(tarvo::Mat& m, unsigned char* base, int rows, int cols, int type, py::ssize_t stride,
            const char* name) {
    if (m.create(base, rows, cols, type, true) < 0)
        valueError(std::string(name) + ": the array is too large for an image");
    if (rows > 1)
        for (int r = 0; r <= rows; r++) m.data.ptr[r] = base + stride * r;
}

}  // namespace

int depthOfDtype(const py::dtype& dt) {
    const char kind = dt.kind();
    const int size = int(dt.itemsize());
    for (const DtypeRow& r : kDtypes)
        if (r.kind == kind && r.size == size) return r.depth;
    return 0;
}

py::dtype dtypeOfDepth(int depth) {
    for (const DtypeRow& r : kDtypes)
        if (r.depth == depth) return py::dtype(r.name);
    return py::dtype("uint8");
}

InArray matFromArray(py::handle obj, const char* name, bool writable) {
    if (!py::isinstance<py::array>(obj))
        typeError(std::string(name) + " must be a numpy array, got " + typeName(obj));
    py::array a = py::reinterpret_borrow<py::array>(obj);
    const int depth = depthOfDtype(a.dtype());
    if (!depth)
        typeError(std::string(name) + ": dtype " + std::string(py::str(a.dtype())) +
                  " is not supported (uint8, int16, int32, float32 or float64)");
    const py::ssize_t nd = a.ndim();
    if (nd != 2 && nd != 3)
        valueError(std::string(name) +
                   ": expected shape (rows, cols) or (rows, cols, channels), got " +
                   std::to_string(nd) + " dimensions");
    const py::ssize_t rows = a.shape(0), cols = a.shape(1), cn = nd == 3 ? a.shape(2) : 1;
    if (cn < 1 || cn > 64)
        valueError(std::string(name) + ": channels must be 1 to 64, got " + std::to_string(cn));
    InArray in;
    if (rows == 0 || cols == 0) {
        in.mat.m_type = tarvo::MAKETYPE(depth, int(cn));
        in.arr = a;
        return in;
    }
    if (rows > INT_MAX || cols > INT_MAX || (long long)rows * cols * cn > tarvo::MAT_MAX_ELEMENTS)
        valueError(std::string(name) + ": " + std::to_string(rows) + " x " + std::to_string(cols) +
                   " x " + std::to_string(cn) + " is too large for an image");
    const py::ssize_t item = a.itemsize();
    // Strides of dimensions of length 1 do not matter.
    bool ok = nativeOrder(a.dtype());
    if (nd == 3 && cn > 1) ok = ok && a.strides(2) == item;
    if (cols > 1) ok = ok && a.strides(1) == item * cn;
    const py::ssize_t rowBytes = item * cn * cols;
    const py::ssize_t stride = rows > 1 ? a.strides(0) : rowBytes;
    ok = ok && stride > 0 && stride % item == 0;
    ok = ok && reinterpret_cast<std::uintptr_t>(a.data()) % std::uintptr_t(item) == 0;
    // Written rows must not overlap one another.
    if (writable) ok = ok && stride >= rowBytes && a.writeable();
    if (!ok) {
        a = numpy().attr("array")(a, "dtype"_a = dtypeOfDepth(depth), "order"_a = "C");
        in.copied = true;
    }
    unsigned char* base = static_cast<unsigned char*>(const_cast<void*>(a.data()));
    const py::ssize_t rs = in.copied ? rowBytes : stride;
    borrow(in.mat, base, int(rows), int(cols), tarvo::MAKETYPE(depth, int(cn)), rs, name);
    in.arr = a;
    in.lo = reinterpret_cast<std::uintptr_t>(base);
    in.hi = in.lo + std::uintptr_t(rs * (rows - 1) + rowBytes);
    return in;
}

InArray matFromArrayLike(py::handle obj, const char* name) {
    if (py::isinstance<py::array>(obj) &&
        depthOfDtype(py::reinterpret_borrow<py::array>(obj).dtype()))
        return matFromArray(obj, name);
    py::array a;
    try {
        a = numpy().attr("asarray")(obj, "dtype"_a = "float64");
    } catch (py::error_already_set&) {
        typeError(std::string(name) + " must be a numeric array, got " + typeName(obj));
    }
    if (a.ndim() == 1) a = a.attr("reshape")(1, -1);
    return matFromArray(a, name);
}

py::array arrayFromMat(tarvo::Mat&& m) {
    if (m.empty()) return py::array(dtypeOfDepth(m.type()), std::vector<py::ssize_t>{0, 0});
    const int rows = m.rows(), cols = m.cols(), cn = m.channels();
    const py::ssize_t item = m.step(), rowBytes = py::ssize_t(m.rowByteSize());
    py::ssize_t stride = rowBytes;
    bool uniform = m.m_mode == 0;
    if (rows > 1) {
        stride = m.data.ptr[1] - m.data.ptr[0];
        uniform = uniform && stride >= rowBytes;
        for (int r = 2; uniform && r < rows; r++)
            uniform = m.data.ptr[r] - m.data.ptr[r - 1] == stride;
    }
    if (!uniform) {
        tarvo::Mat copy(m);  // a deep copy is one contiguous block
        m.release();
        return arrayFromMat(std::move(copy));
    }
    tarvo::Mat* owned = new tarvo::Mat(std::move(m));
    py::capsule keeper(owned, [](void* p) { delete static_cast<tarvo::Mat*>(p); });
    std::vector<py::ssize_t> shape{rows, cols}, strides{stride, item * cn};
    if (cn > 1) {
        shape.push_back(cn);
        strides.push_back(item);
    }
    return py::array(dtypeOfDepth(owned->type()), shape, strides, owned->data.ptr[0], keeper);
}

Shape sameAs(const tarvo::Mat& m) {
    return Shape{m.rows(), m.cols(), m.type1()};
}

Shape shapeOf(int rows, int cols, int depth, int channels) {
    Shape s{rows, cols, depth < 0 ? -1 : tarvo::MAKETYPE(depth, channels)};
    s.anyDepthChannels = channels;
    return s;
}

namespace {

std::string describe(const Shape& s) {
    std::string t = "(" + std::to_string(s.rows) + ", " + std::to_string(s.cols);
    const int cn = s.type1 < 0 ? s.anyDepthChannels : tarvo::MAT_CN(s.type1);
    if (cn > 1) t += ", " + std::to_string(cn);
    t += ")";
    if (s.type1 >= 0) t += " " + std::string(py::str(dtypeOfDepth(s.type1 & 7)));
    return t;
}

Dst borrowDst(py::handle dst, const char* name, const Shape& want) {
    Dst d;
    d.user = py::reinterpret_borrow<py::object>(dst);
    if (dst.is_none()) return d;
    if (!py::isinstance<py::array>(dst))
        typeError(std::string(name) + " must be a numpy array or None, got " + typeName(dst));
    py::array a = py::reinterpret_borrow<py::array>(dst);
    if (!a.writeable()) valueError(std::string(name) + " is read-only");
    InArray in = matFromArray(a, name, true);
    const tarvo::Mat& m = in.mat;
    const bool fits =
        !in.copied && !m.empty() && m.rows() == want.rows && m.cols() == want.cols &&
        (want.type1 < 0 ? m.channels() == want.anyDepthChannels : m.type1() == want.type1);
    if (!fits) {
        if (in.copied)
            valueError(std::string(name) +
                       ": the array's layout cannot be written in place (pixels must be "
                       "contiguous within each row, rows a positive stride apart, native byte "
                       "order)");
        valueError(std::string(name) + " does not fit: expected " + describe(want) + ", got " +
                   std::string(py::str(a.attr("shape"))) + " " + std::string(py::str(a.dtype())));
    }
    d.mat.swap(in.mat);
    d.userData = d.mat.data.ptr[0];
    return d;
}

}  // namespace

Dst makeDst(py::handle dst, const char* name, const Shape& want) {
    return borrowDst(dst, name, want);
}

Dst makeDst(py::handle dst, const char* name, const InArray& src, const Shape& want) {
    if (dst.is_none()) return borrowDst(dst, name, want);
    if (dst.ptr() == src.arr.ptr() && !src.copied) {
        // The source itself: the in-place form, over the very same Mat.
        Dst d = borrowDst(dst, name, want);
        d.inPlace = true;
        return d;
    }
    Dst d = borrowDst(dst, name, want);
    const std::uintptr_t lo = reinterpret_cast<std::uintptr_t>(d.mat.data.ptr[0]);
    const std::uintptr_t hi =
        reinterpret_cast<std::uintptr_t>(d.mat.data.ptr[d.mat.rows() - 1]) + d.mat.rowByteSize();
    if (!src.copied && src.hi > src.lo && lo < src.hi && src.lo < hi) {
        const bool same = lo == src.lo && hi == src.hi && d.mat.rows() == src.mat.rows() &&
                          d.mat.rowByteSize() == src.mat.rowByteSize() &&
                          (d.mat.rows() < 2 || d.mat.data.ptr[1] - d.mat.data.ptr[0] ==
                                                   src.mat.data.ptr[1] - src.mat.data.ptr[0]);
        if (!same) valueError(std::string(name) + " overlaps the source partially");
        d.inPlace = true;
    }
    return d;
}

void settle(Dst& d) {
    if (d.user.is_none() || d.mat.empty() || d.mat.data.ptr[0] == d.userData) return;
    // The call replaced the borrowed block: copy the result back into the user's rows.
    InArray back = matFromArray(d.user, "dst", true);
    if (back.copied || !back.mat.isEqualMat(d.mat))
        valueError("dst: the result does not fit the array given");
    const size_t rb = size_t(d.mat.rowByteSize());
    for (int r = 0; r < d.mat.rows(); r++) std::memcpy(back.mat.data.ptr[r], d.mat.data.ptr[r], rb);
    d.mat.swap(back.mat);
    d.userData = d.mat.data.ptr[0];
}

py::object Dst::result() {
    if (!user.is_none()) {
        settle(*this);
        return user;
    }
    return arrayFromMat(std::move(mat));
}

// ---------------------------------------------------------------- values

namespace {

std::vector<double> numbers(py::handle o, const char* name, size_t lo, size_t hi) {
    std::vector<double> v;
    try {
        if (py::isinstance<py::sequence>(o) && !py::isinstance<py::str>(o)) {
            for (py::handle e : py::reinterpret_borrow<py::sequence>(o))
                v.push_back(e.cast<double>());
        } else {
            v.push_back(o.cast<double>());
        }
    } catch (py::cast_error&) {
        typeError(std::string(name) + " must be a number or a sequence of numbers");
    }
    if (v.size() < lo || v.size() > hi)
        valueError(std::string(name) + " needs " + std::to_string(lo) +
                   (hi != lo ? " to " + std::to_string(hi) : std::string()) + " numbers, got " +
                   std::to_string(v.size()));
    return v;
}

int toInt(double v, const char* name) {
    if (!(v >= INT_MIN && v <= INT_MAX) || v != double((long long)v))
        valueError(std::string(name) + " needs whole numbers in the int range");
    return int(v);
}

}  // namespace

tarvo::Point2_<int> toPoint(py::handle o, const char* name) {
    std::vector<double> v = numbers(o, name, 2, 2);
    return tarvo::Point2_<int>(toInt(v[0], name), toInt(v[1], name));
}

tarvo::Size_<int> toSize(py::handle o, const char* name) {
    std::vector<double> v = numbers(o, name, 2, 2);
    return tarvo::Size_<int>(toInt(v[0], name), toInt(v[1], name));
}

tarvo::Rect_<int> toRect(py::handle o, const char* name) {
    std::vector<double> v = numbers(o, name, 4, 4);
    return tarvo::Rect_<int>(toInt(v[0], name), toInt(v[1], name), toInt(v[2], name),
                             toInt(v[3], name));
}

tarvo::Point4_<double> toScalar(py::handle o, const char* name) {
    std::vector<double> v = numbers(o, name, 1, 4);
    if (v.size() == 1) return tarvo::Point4_<double>::All(v[0]);
    v.resize(4, 0.0);
    return tarvo::Point4_<double>(v[0], v[1], v[2], v[3]);
}

}  // namespace tarvopy

namespace tarvopy {

void copyPixels(const tarvo::Mat& src, tarvo::Mat& dst) {
    if (&src == &dst || src.empty()) return;
    if (!dst.empty() && dst.isEqualMat(src)) {
        if (dst.data.ptr[0] == src.data.ptr[0]) return;
        const size_t rb = size_t(src.rowByteSize());
        for (int r = 0; r < src.rows(); r++) std::memmove(dst.data.ptr[r], src.data.ptr[r], rb);
        return;
    }
    dst.create(src, true);
}

}  // namespace tarvopy

namespace tarvopy {

py::object deliver(const InArray& src, py::handle dst, tarvo::Mat&& out) {
    if (dst.is_none()) return arrayFromMat(std::move(out));
    if (out.empty()) return py::reinterpret_borrow<py::object>(dst);
    Dst d = makeDst(dst, "dst", src, sameAs(out));
    nogil([&] { copyPixels(out, d.mat); });
    return d.result();
}

tarvo::Point4_<unsigned char> toFill(py::handle o, const char* name) {
    const tarvo::Point4_<double> v = toScalar(o, name);
    for (int k = 0; k < 4; k++)
        if (!(v[k] >= 0 && v[k] <= 255) || v[k] != std::floor(v[k]))
            valueError(std::string(name) + ": components must be whole numbers 0..255");
    return tarvo::Point4_<unsigned char>((unsigned char)v[0], (unsigned char)v[1],
                                         (unsigned char)v[2], (unsigned char)v[3]);
}

}  // namespace tarvopy
