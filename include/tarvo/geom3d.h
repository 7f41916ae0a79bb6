// Small single-precision geometry: 3x3 and 4x4 matrices stored by column,
// quaternions, and rigid transforms.
#pragma once

#include "tarvo/export.h"
#include "tarvo/types.h"

namespace tarvo {

// 3x3 matrix stored by column: m(row, col) is element col * 3 + row.
struct TARVO_BASE_EXPORTS mat3 {
    float m[9];
    mat3() : m{1, 0, 0, 0, 1, 0, 0, 0, 1} {}
    float& operator()(int r, int c) { return m[c * 3 + r]; }
    float operator()(int r, int c) const { return m[c * 3 + r]; }
    // Row i as a point.
    Point3_<float> operator[](int i) const { return Point3_<float>(m[i], m[3 + i], m[6 + i]); }
    Point3_<float> col(int j) const { return Point3_<float>(m[j * 3], m[j * 3 + 1], m[j * 3 + 2]); }
    void set_row(int i, const Point3_<float>& p) {
        m[i] = p.x;
        m[3 + i] = p.y;
        m[6 + i] = p.z;
    }
    void set_col(int j, const Point3_<float>& p) {
        m[j * 3] = p.x;
        m[j * 3 + 1] = p.y;
        m[j * 3 + 2] = p.z;
    }
    mat3 operator*(const mat3& b) const;
    Point3_<float> operator*(const Point3_<float>& v) const;
    mat3 transposed() const;
};

// 4x4 matrix stored by column: m(row, col) is element col * 4 + row.
struct TARVO_BASE_EXPORTS mat4 {
    float m[16];
    mat4() : m{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {}
    float& operator()(int r, int c) { return m[c * 4 + r]; }
    float operator()(int r, int c) const { return m[c * 4 + r]; }
    Point4_<float> operator[](int i) const {
        return Point4_<float>(m[i], m[4 + i], m[8 + i], m[12 + i]);
    }
    Point4_<float> col(int j) const {
        return Point4_<float>(m[j * 4], m[j * 4 + 1], m[j * 4 + 2], m[j * 4 + 3]);
    }
    void set_row(int i, const Point4_<float>& p) {
        for (int j = 0; j < 4; j++) m[j * 4 + i] = p[j];
    }
    void set_col(int j, const Point4_<float>& p) {
        for (int i = 0; i < 4; i++) m[j * 4 + i] = p[i];
    }
    mat4 operator*(const mat4& b) const;
};

// Quaternion x, y, z, w (w the scalar part).
struct TARVO_BASE_EXPORTS quat {
    float x, y, z, w;
    quat() : x(0), y(0), z(0), w(1) {}
    quat(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}
    float operator[](int i) const { return i == 0 ? x : i == 1 ? y : i == 2 ? z : w; }
    quat operator-() const { return quat(-x, -y, -z, -w); }
    // The rotation of a (proper, orthonormal) rotation matrix.
    void set(const mat3& r);
    // The rotation matrix of this (normalised) quaternion.
    mat3 toMat3() const;
};

struct MatR;

// Rotation as a quaternion, then a translation. Default: identity, zero.
struct TARVO_BASE_EXPORTS MatQ {
    quat q;
    Point3_<float> t;
    void set(const MatR& r);
};

// Rotation as a 3x3 matrix, then a translation.
struct TARVO_BASE_EXPORTS MatR {
    mat3 r;
    Point3_<float> t;
    void set(const MatQ& q);
    void set(const mat3& rot, const Point3_<float>& trans) {
        r = rot;
        t = trans;
    }
    void SetRotation(const mat3& rot) { r = rot; }
    void SetTranslate(const Point3_<float>& trans) { t = trans; }
};

TARVO_BASE_EXPORTS extern const mat3 mat3Identity;
TARVO_BASE_EXPORTS extern const mat4 mat4Identity;
TARVO_BASE_EXPORTS extern const mat4 mat4Zero;
// 0.5 on the diagonal of the upper three rows, 1 in the last, 0.5 translation.
TARVO_BASE_EXPORTS extern const mat4 mat4Bias;
TARVO_BASE_EXPORTS extern const quat quatIdentity;

}  // namespace tarvo
