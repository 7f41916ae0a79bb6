// Small geometry types.
#include "tarvo/geom3d.h"

#include <cmath>

namespace tarvo {

namespace {
mat4 makeZero() {
    mat4 z;
    for (float& v : z.m) v = 0;
    return z;
}
mat4 makeBias() {
    mat4 b = makeZero();
    b(0, 0) = b(1, 1) = b(2, 2) = 0.5f;
    b(3, 3) = 1.0f;
    b(0, 3) = b(1, 3) = b(2, 3) = 0.5f;
    return b;
}
}  // namespace

const mat3 mat3Identity;
const mat4 mat4Identity;
const mat4 mat4Zero = makeZero();
const mat4 mat4Bias = makeBias();
const quat quatIdentity(0, 0, 0, 1);

mat3 mat3::operator*(const mat3& b) const {
    mat3 r;
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) {
            float s = 0;
            for (int k = 0; k < 3; k++) s += (*this)(i, k) * b(k, j);
            r(i, j) = s;
        }
    return r;
}

Point3_<float> mat3::operator*(const Point3_<float>& v) const {
    return Point3_<float>((*this)(0, 0) * v.x + (*this)(0, 1) * v.y + (*this)(0, 2) * v.z,
                          (*this)(1, 0) * v.x + (*this)(1, 1) * v.y + (*this)(1, 2) * v.z,
                          (*this)(2, 0) * v.x + (*this)(2, 1) * v.y + (*this)(2, 2) * v.z);
}

mat3 mat3::transposed() const {
    mat3 r;
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) r(i, j) = (*this)(j, i);
    return r;
}

mat4 mat4::operator*(const mat4& b) const {
    mat4 r;
    for (int i = 0; i < 4; i++)
        for (int j = 0; j < 4; j++) {
            float s = 0;
            for (int k = 0; k < 4; k++) s += (*this)(i, k) * b(k, j);
            r(i, j) = s;
        }
    return r;
}

void quat::set(const mat3& m) {
    // Shepperd's method: pivot on the largest of the trace and the diagonal.
    float tr = m(0, 0) + m(1, 1) + m(2, 2);
    if (tr > 0) {
        float s = std::sqrt(tr + 1.0f) * 2.0f;
        w = 0.25f * s;
        x = (m(2, 1) - m(1, 2)) / s;
        y = (m(0, 2) - m(2, 0)) / s;
        z = (m(1, 0) - m(0, 1)) / s;
    } else if (m(0, 0) > m(1, 1) && m(0, 0) > m(2, 2)) {
        float s = std::sqrt(1.0f + m(0, 0) - m(1, 1) - m(2, 2)) * 2.0f;
        w = (m(2, 1) - m(1, 2)) / s;
        x = 0.25f * s;
        y = (m(0, 1) + m(1, 0)) / s;
        z = (m(0, 2) + m(2, 0)) / s;
    } else if (m(1, 1) > m(2, 2)) {
        float s = std::sqrt(1.0f + m(1, 1) - m(0, 0) - m(2, 2)) * 2.0f;
        w = (m(0, 2) - m(2, 0)) / s;
        x = (m(0, 1) + m(1, 0)) / s;
        y = 0.25f * s;
        z = (m(1, 2) + m(2, 1)) / s;
    } else {
        float s = std::sqrt(1.0f + m(2, 2) - m(0, 0) - m(1, 1)) * 2.0f;
        w = (m(1, 0) - m(0, 1)) / s;
        x = (m(0, 2) + m(2, 0)) / s;
        y = (m(1, 2) + m(2, 1)) / s;
        z = 0.25f * s;
    }
}

mat3 quat::toMat3() const {
    mat3 r;
    r(0, 0) = 1 - 2 * (y * y + z * z);
    r(0, 1) = 2 * (x * y - z * w);
    r(0, 2) = 2 * (x * z + y * w);
    r(1, 0) = 2 * (x * y + z * w);
    r(1, 1) = 1 - 2 * (x * x + z * z);
    r(1, 2) = 2 * (y * z - x * w);
    r(2, 0) = 2 * (x * z - y * w);
    r(2, 1) = 2 * (y * z + x * w);
    r(2, 2) = 1 - 2 * (x * x + y * y);
    return r;
}

void MatQ::set(const MatR& m) {
    q.set(m.r);
    t = m.t;
}

void MatR::set(const MatQ& m) {
    r = m.q.toMat3();
    t = m.t;
}

}  // namespace tarvo
