// Geometric value templates and the small records every part of the library
// passes around: points, rectangles, sizes, ranges, termination criteria.
#pragma once

#include <climits>
#include <cmath>
#include <type_traits>

#include "tarvo/export.h"

namespace tarvo {

// Element depth codes of the type word (bits 0..2). Bits 3..8 hold channels - 1.
enum TYPE {
    MAT_Tuchar = 1,
    MAT_Tshort = 2,
    MAT_Tint = 3,
    MAT_Tfloat = 4,
    MAT_Tdouble = 5,
    // Common whole type words (depth | (channels - 1) << 3).
    MAT_Tbyte = 1,
    MAT_Tuchar3 = 1 | (2 << 3),
    MAT_Tuchar4 = 1 | (3 << 3),
    MAT_Tshort3 = 2 | (2 << 3),
    MAT_Tint3 = 3 | (2 << 3),
    MAT_Tfloat3 = 4 | (2 << 3),
    MAT_Tdouble3 = 5 | (2 << 3),
};

// Type word helpers.
constexpr int MAT_DEPTH_MASK = 7;
constexpr int MAT_CN_MASK = 0x1F8;
constexpr int MAT_TYPE_MASK = 0x1FF;
constexpr int MAT_MAX_CN = 64;
// Builds a type word from a depth (1..5) and a channel count (1..64).
constexpr int MAKETYPE(int depth, int cn) {
    return (depth & 7) | (((cn - 1) & 63) << 3);
}
// Depth of a type word.
constexpr int MAT_DEPTH(int type) {
    return type & MAT_DEPTH_MASK;
}
// Channel count of a type word.
constexpr int MAT_CN(int type) {
    return ((type >> 3) & 63) + 1;
}
// Size in bytes of one element of a depth; index 0 has size 1 and no use.
constexpr int depthSize(int depth) {
    return depth == 2 ? 2 : depth == 3 ? 4 : depth == 4 ? 4 : depth == 5 ? 8 : 1;
}

// Border modes of the filters, geometry and feature code.
enum BorderType {
    BorderFill = 0,
    BorderClamp = 1,
    BorderMirror = 2,
    BorderWrap = 3,
    BorderMirrorNoEdge = 4,
    BorderIsolatedBit = 16,
};

template <typename T>
struct Point2_ {
    T x, y;
    Point2_() : x(0), y(0) {}
    Point2_(T x_, T y_) : x(x_), y(y_) {}
    Point2_ operator+(const Point2_& o) const { return Point2_(T(x + o.x), T(y + o.y)); }
    Point2_ operator-(const Point2_& o) const { return Point2_(T(x - o.x), T(y - o.y)); }
    Point2_& operator+=(const Point2_& o) {
        x = T(x + o.x);
        y = T(y + o.y);
        return *this;
    }
    Point2_& operator-=(const Point2_& o) {
        x = T(x - o.x);
        y = T(y - o.y);
        return *this;
    }
    // Multiplies each member as a double and truncates towards zero for integer T.
    Point2_& operator*=(const double& s) {
        x = T(double(x) * s);
        y = T(double(y) * s);
        return *this;
    }
    bool operator==(const Point2_& o) const { return x == o.x && y == o.y; }
    bool operator!=(const Point2_& o) const { return !(*this == o); }
    // Euclidean distance; for int the squared differences are summed as integers.
    double distTo(const Point2_& o) const {
        if constexpr (sizeof(T) <= 4 && T(1) / T(2) == T(0)) {
            long long dx = (long long)x - o.x, dy = (long long)y - o.y;
            return std::sqrt(double(dx * dx + dy * dy));
        } else {
            double dx = double(x) - o.x, dy = double(y) - o.y;
            return std::sqrt(dx * dx + dy * dy);
        }
    }
    // x*x + y*y in the element precision (single precision for float).
    T sq_norm() const { return T(x * x + y * y); }
};

template <typename T>
struct Point3_ {
    T x, y, z;
    Point3_() : x(0), y(0), z(0) {}
    Point3_(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}
    explicit Point3_(const T* p) : x(p[0]), y(p[1]), z(p[2]) {}
    T& operator[](int i) { return (&x)[i]; }
    const T& operator[](int i) const { return (&x)[i]; }
    bool operator==(const Point3_& o) const { return x == o.x && y == o.y && z == o.z; }
    Point3_ operator+(const Point3_& o) const { return Point3_(x + o.x, y + o.y, z + o.z); }
    Point3_ operator-(const Point3_& o) const { return Point3_(x - o.x, y - o.y, z - o.z); }
    Point3_ operator*(T s) const { return Point3_(x * s, y * s, z * s); }
};

template <typename T>
struct Point4_ {
    T val[4];
    Point4_() : val{0, 0, 0, 0} {}
    Point4_(T v0, T v1, T v2, T v3) : val{v0, v1, v2, v3} {}
    explicit Point4_(T v) : val{v, v, v, v} {}
    explicit Point4_(const T* p) : val{p[0], p[1], p[2], p[3]} {}
    T& operator[](int i) { return val[i]; }
    const T& operator[](int i) const { return val[i]; }
    // Fills all four elements with v.
    static Point4_ All(T v) { return Point4_(v); }
    bool operator==(const Point4_& o) const {
        return val[0] == o.val[0] && val[1] == o.val[1] && val[2] == o.val[2] && val[3] == o.val[3];
    }
    bool operator!=(const Point4_& o) const { return !(*this == o); }
};

// Point3_<unsigned char> from the first three members of a drawing colour.
inline Point3_<unsigned char> toPoint3(const Point4_<unsigned char>& c) {
    return Point3_<unsigned char>(c[0], c[1], c[2]);
}

template <typename T>
struct Size_ {
    T width, height;
    Size_() : width(0), height(0) {}
    Size_(T w, T h) : width(w), height(h) {}
    T area() const { return width * height; }
    bool operator==(const Size_& o) const { return width == o.width && height == o.height; }
    bool operator!=(const Size_& o) const { return !(*this == o); }
};

template <typename T>
struct Rect_ {
    T x, y, width, height;
    Rect_() : x(0), y(0), width(0), height(0) {}
    Rect_(T x_, T y_, T w, T h) : x(x_), y(y_), width(w), height(h) {}
    T limx() const { return x + width; }
    T limy() const { return y + height; }
    // width * height; the float form gives the product as a double.
    auto area() const {
        if constexpr (std::is_floating_point<T>::value)
            return double(width * height);
        else
            return width * height;
    }
    bool operator==(const Rect_& o) const {
        return x == o.x && y == o.y && width == o.width && height == o.height;
    }
    bool operator!=(const Rect_& o) const { return !(*this == o); }
    bool contains(const Point2_<T>& p) const {
        return p.x >= x && p.y >= y && p.x < x + width && p.y < y + height;
    }
    Point2_<T> center() const { return Point2_<T>(T(x + width * 0.5f), T(y + height * 0.5f)); }
    // Intersection; rectangles that only touch give zero width or height, not
    // the zero rectangle. Disjoint rectangles give all zeros.
    // Integer ends are computed in 64 bits, so huge rectangles clip instead of wrapping.
    Rect_ intersectRect(const Rect_& o) const {
        if constexpr (std::is_integral<T>::value) {
            const long long l = x > o.x ? x : o.x, t = y > o.y ? y : o.y;
            const long long ax = (long long)x + width, bx = (long long)o.x + o.width;
            const long long ay = (long long)y + height, by = (long long)o.y + o.height;
            const long long r = ax < bx ? ax : bx, b = ay < by ? ay : by;
            if (r >= l && b >= t) return Rect_(T(l), T(t), T(r - l), T(b - t));
            return Rect_();
        }
        T l = x > o.x ? x : o.x, t = y > o.y ? y : o.y;
        T r = limx() < o.limx() ? limx() : o.limx();
        T b = limy() < o.limy() ? limy() : o.limy();
        if (r >= l && b >= t) return Rect_(l, t, T(r - l), T(b - t));
        return Rect_();
    }
    // Multiplies x and width by fx, y and height by fy in single precision,
    // truncating towards zero for integer T.
    Rect_ scale(float fx, float fy) const {
        return Rect_(T(float(x) * fx), T(float(y) * fy), T(float(width) * fx),
                     T(float(height) * fy));
    }
};

struct Slice;

// Half-open index range [start, end).
struct Range {
    int start, end;
    Range() : start(0), end(0) {}
    Range(int s, int e) : start(s), end(e) {}
    int size() const { return end - start; }
    bool empty() const { return start == end; }
    static Range all() { return Range(INT_MIN, INT_MAX); }
    bool operator==(const Range& o) const { return start == o.start && end == o.end; }
    bool operator!=(const Range& o) const { return !(*this == o); }
    inline operator Slice() const;
};

// Slice of a sequence; (0, 0x3FFFFFFF) is the whole sequence.
struct Slice {
    int start, end;
    static constexpr int WHOLE_SEQ_END = 0x3FFFFFFF;
    Slice() : start(0), end(0) {}
    Slice(int s, int e) : start(s), end(e) {}
    bool operator==(const Slice& o) const { return start == o.start && end == o.end; }
    operator Range() const {
        if (start == 0 && end == WHOLE_SEQ_END) return Range::all();
        return Range(start, end);
    }
};

inline Range::operator Slice() const {
    if (*this == Range::all()) return Slice(0, Slice::WHOLE_SEQ_END);
    return Slice(start, end);
}

// Iteration limits: type (1 count, 2 epsilon, 3 both), max iterations, epsilon.
struct TermCriteria {
    int type;
    int maxCount;
    double epsilon;
    TermCriteria() : type(1), maxCount(0), epsilon(0.0) {}
    TermCriteria(int t, int n, double e) : type(t), maxCount(n), epsilon(e) {}
};

template <typename T>
struct Complex {
    T re, im;
    Complex() : re(0), im(0) {}
    Complex(T r, T i = 0) : re(r), im(i) {}
};

// Rotated rectangle: centre, size and angle in degrees.
struct RotatedRect {
    float cx, cy, width, height, angle;
};

typedef Point2_<int> Point;
typedef Point2_<int> Point2i;
typedef Point2_<float> Point2f;
typedef Point2_<double> Point2d;
typedef Point3_<float> Point3f;
typedef Point4_<double> Scalar;
typedef Point4_<unsigned char> Color;
typedef Rect_<int> Rect;
typedef Rect_<float> Rectf;
typedef Size_<int> Size;
typedef Size_<float> Sizef;

}  // namespace tarvo
