// Linear algebra on Mat, Mat_ and Vec: transposes, products, sums, inverse,
// diagonal matrices and the vector helpers. Products are plain loops that sum
// each output element in double in index order, so results do not depend on
// blocking or on the instruction set.
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "linalg_internal.h"
#include "tarvo/mat.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace detail {

// The product of an m x k and a k x n row-major double buffer, summing each
// element over k in ascending order.
void multiplyDense(const double* a, const double* b, double* c, int m, int k, int n) {
    for (int i = 0; i < m; i++) {
        double* ci = c + (size_t)i * n;
        for (int j = 0; j < n; j++) ci[j] = 0.0;
        const double* ai = a + (size_t)i * k;
        for (int p = 0; p < k; p++) {
            const double aip = ai[p];
            const double* bp = b + (size_t)p * n;
            for (int j = 0; j < n; j++) ci[j] += aip * bp[j];
        }
    }
}

// Reads the first n elements of row r (channels interleaved) as doubles.
void readRowValues(const Mat& a, int r, int n, double* out) {
    switch (a.type()) {
        case MAT_Tuchar: {
            const unsigned char* s = a.ptr<unsigned char>(r);
            for (int i = 0; i < n; i++) out[i] = s[i];
            break;
        }
        case MAT_Tshort: {
            const short* s = a.ptr<short>(r);
            for (int i = 0; i < n; i++) out[i] = s[i];
            break;
        }
        case MAT_Tint: {
            const int* s = a.ptr<int>(r);
            for (int i = 0; i < n; i++) out[i] = s[i];
            break;
        }
        case MAT_Tfloat: {
            const float* s = a.ptr<float>(r);
            for (int i = 0; i < n; i++) out[i] = s[i];
            break;
        }
        default: {
            const double* s = a.ptr<double>(r);
            for (int i = 0; i < n; i++) out[i] = s[i];
            break;
        }
    }
}

// Stores n doubles into row r of dst in its depth, saturating integer depths.
void writeRowValues(const double* s, int n, Mat& dst, int r) {
    switch (dst.type()) {
        case MAT_Tuchar: {
            unsigned char* d = dst.ptr<unsigned char>(r);
            for (int i = 0; i < n; i++) d[i] = saturate_cast<unsigned char>(s[i]);
            break;
        }
        case MAT_Tshort: {
            short* d = dst.ptr<short>(r);
            for (int i = 0; i < n; i++) d[i] = saturate_cast<short>(s[i]);
            break;
        }
        case MAT_Tint: {
            int* d = dst.ptr<int>(r);
            for (int i = 0; i < n; i++) d[i] = saturate_cast<int>(s[i]);
            break;
        }
        case MAT_Tfloat: {
            float* d = dst.ptr<float>(r);
            for (int i = 0; i < n; i++) d[i] = static_cast<float>(s[i]);
            break;
        }
        default: {
            double* d = dst.ptr<double>(r);
            for (int i = 0; i < n; i++) d[i] = s[i];
            break;
        }
    }
}

// Writes a row-major double buffer into dst (created rows x cols of `depth`,
// keeping its storage when it already has that shape and type), saturating for
// integer depths. False when dst could not be created.
bool writeDense(const double* src, int rows, int cols, int depth, Mat& dst) {
    if (dst.create(rows, cols, depth) < 0) return false;
    for (int r = 0; r < rows; r++) writeRowValues(src + (size_t)r * cols, cols, dst, r);
    return true;
}

// A one-channel matrix as a dense double buffer; empty when unusable.
std::vector<double> denseOf(const Mat& a) {
    std::vector<double> buf;
    if (!isPlainMatrix(a)) return buf;
    buf.resize((size_t)a.rows() * (size_t)a.cols());
    if (!readDense(a, buf.data())) buf.clear();
    return buf;
}

double vecValue(const Vec& v, int i) {
    switch (v.type()) {
        case MAT_Tuchar:
            return v.data.ptr[i];
        case MAT_Tshort:
            return v.data.s[i];
        case MAT_Tint:
            return v.data.i[i];
        case MAT_Tfloat:
            return v.data.fl[i];
        default:
            return v.data.db[i];
    }
}

void setVecValue(Vec& v, int i, double x) {
    switch (v.type()) {
        case MAT_Tuchar:
            v.data.ptr[i] = saturate_cast<unsigned char>(x);
            break;
        case MAT_Tshort:
            v.data.s[i] = saturate_cast<short>(x);
            break;
        case MAT_Tint:
            v.data.i[i] = saturate_cast<int>(x);
            break;
        case MAT_Tfloat:
            v.data.fl[i] = static_cast<float>(x);
            break;
        default:
            v.data.db[i] = x;
            break;
    }
}

}  // namespace detail

namespace {

// Float when both operands are float, otherwise double.
int productDepth(const Mat& a, const Mat& b) {
    return (a.type() == MAT_Tfloat && b.type() == MAT_Tfloat) ? MAT_Tfloat : MAT_Tdouble;
}

// Depth an inverse is delivered in: float stays float, the rest is double.
int inverseDepth(const Mat& a) {
    return a.type() == MAT_Tfloat ? MAT_Tfloat : MAT_Tdouble;
}

Mat convertedDouble(const Mat& dbl, int depth) {
    if (depth == MAT_Tdouble || !dbl.isValid()) return dbl;
    std::vector<double> buf = detail::denseOf(dbl);
    Mat out;
    if (buf.empty() || !detail::writeDense(buf.data(), dbl.rows(), dbl.cols(), depth, out))
        return Mat();
    return out;
}

}  // namespace

// ------------------------------------------------------------ Mat

Mat Mat::transposed() const {
    Mat t;
    if (!isValid() || m_rows <= 0 || m_cols <= 0) return t;
    if (t.create(m_cols, m_rows, type1()) < 0) return Mat();
    const size_t es = (size_t)elemSize();
    for (int r = 0; r < m_rows; r++) {
        const unsigned char* src = data.ptr[r];
        for (int c = 0; c < m_cols; c++) std::memcpy(t.data.ptr[c] + es * r, src + es * c, es);
    }
    return t;
}

void Mat::transpose() {
    if (!isValid()) return;
    Mat t = transposed();
    if (!t.isValid()) return;
    *this = std::move(t);
}

Mat Mat::inverted() const {
    if (!detail::isPlainMatrix(*this) || m_rows != m_cols) return Mat();
    Mat inv;
    if (!detail::invertLU(*this, inv) && !detail::pseudoInverse(*this, inv)) return Mat();
    return convertedDouble(inv, inverseDepth(*this));
}

Mat operator*(const Mat& a, const Mat& b) {
    if (!detail::isPlainMatrix(a) || !detail::isPlainMatrix(b) || a.cols() != b.rows())
        return Mat();
    std::vector<double> da = detail::denseOf(a), db = detail::denseOf(b);
    if (da.empty() || db.empty()) return Mat();
    std::vector<double> dc((size_t)a.rows() * (size_t)b.cols());
    detail::multiplyDense(da.data(), db.data(), dc.data(), a.rows(), a.cols(), b.cols());
    Mat c;
    if (!detail::writeDense(dc.data(), a.rows(), b.cols(), productDepth(a, b), c)) return Mat();
    return c;
}

Mat operator+(const Mat& a, const Mat& b) {
    if (!a.isValid() || !b.isValid() || a.rows() != b.rows() || a.cols() != b.cols() ||
        a.channels() != b.channels() || a.rows() <= 0 || a.cols() <= 0)
        return Mat();
    const int cn = a.channels(), n = a.cols() * cn;
    const int depth = a.type() == b.type() ? a.type() : MAT_Tdouble;
    Mat c;
    if (c.create(a.rows(), a.cols(), MAKETYPE(depth, cn)) < 0) return Mat();
    std::vector<double> ra((size_t)n), rb((size_t)n);
    for (int r = 0; r < a.rows(); r++) {
        detail::readRowValues(a, r, n, ra.data());
        detail::readRowValues(b, r, n, rb.data());
        for (int i = 0; i < n; i++) ra[(size_t)i] += rb[(size_t)i];
        detail::writeRowValues(ra.data(), n, c, r);
    }
    return c;
}

Mat diag(const Vec& v) {
    const int n = v.length();
    Mat d;
    if (n < 1 || !v.isValid() || d.create(n, n, v.type()) < 0) return Mat();
    d.zero();
    const size_t es = (size_t)v.step();
    for (int i = 0; i < n; i++) std::memcpy(d.data.ptr[i] + es * i, v.data.ptr + es * i, es);
    return d;
}

// ------------------------------------------------------------ Vec

double Vec::sq_norm() const {
    double s = 0.0;
    for (int i = 0; i < m_length; i++) {
        const double x = detail::vecValue(*this, i);
        s += x * x;
    }
    return s;
}

double Vec::unit() {
    const double norm = std::sqrt(sq_norm());
    if (norm == 0.0 || !std::isfinite(norm)) return norm;
    if (m_type == MAT_Tfloat) {
        for (int i = 0; i < m_length; i++) data.fl[i] = (float)(data.fl[i] / norm);
    } else if (m_type == MAT_Tdouble) {
        for (int i = 0; i < m_length; i++) data.db[i] /= norm;
    }
    return norm;
}

double Vec::min(int& index) const {
    index = -1;
    if (m_length < 1 || !data.ptr) return 0.0;
    index = 0;
    double best = detail::vecValue(*this, 0);
    for (int i = 1; i < m_length; i++) {
        const double x = detail::vecValue(*this, i);
        if (x < best || (std::isnan(best) && !std::isnan(x))) {
            best = x;
            index = i;
        }
    }
    return best;
}

double Vec::max(int& index) const {
    index = -1;
    if (m_length < 1 || !data.ptr) return 0.0;
    index = 0;
    double best = detail::vecValue(*this, 0);
    for (int i = 1; i < m_length; i++) {
        const double x = detail::vecValue(*this, i);
        if (x > best || (std::isnan(best) && !std::isnan(x))) {
            best = x;
            index = i;
        }
    }
    return best;
}

void Vec::linspace(double a, double b, int n) {
    const int depth = (m_type == MAT_Tfloat) ? MAT_Tfloat : MAT_Tdouble;
    if (n < 1) {
        release();
        m_type = depth;
        m_step = depthSize(depth);
        return;
    }
    if (!(m_length == n && m_type == depth && !m_external) && create(n, depth) != 1) return;
    const double stepSize = n > 1 ? (b - a) / (double)(n - 1) : 0.0;
    for (int i = 0; i < n - 1; i++) detail::setVecValue(*this, i, a + stepSize * (double)i);
    detail::setVecValue(*this, n - 1, b);
}

// ------------------------------------------------------------ Mat_ and Vec_

template <typename T>
Mat_<T> Mat_<T>::operator*(const Mat_<T>& b) const {
    Mat_<T> c;
    if (!isValid() || !b.isValid() || m_cols != b.m_rows) return c;
    std::vector<double> da = detail::denseOf(*this), db = detail::denseOf(b);
    if (da.empty() || db.empty()) return c;
    std::vector<double> dc((size_t)m_rows * (size_t)b.m_cols);
    detail::multiplyDense(da.data(), db.data(), dc.data(), m_rows, m_cols, b.m_cols);
    if (!detail::writeDense(dc.data(), m_rows, b.m_cols, detail::DepthOf<T>::value, c)) c.release();
    return c;
}

template <typename T>
Vec_<T> Mat_<T>::operator*(const Vec_<T>& v) const {
    Vec_<T> y;
    if (!isValid() || v.length() != m_cols || m_cols < 1 || y.create(m_rows) != 1) return y;
    y.eqProd(*this, v);
    return y;
}

template <typename T>
void Mat_<T>::eqProd(const Mat_<T>& a, const Mat_<T>& b) {
    if (!a.isValid() || !b.isValid() || a.m_cols != b.m_rows) return;
    if (!isValid()) {
        if (create(a.m_rows, b.m_cols) < 0) return;
    } else if (m_rows != a.m_rows || m_cols != b.m_cols) {
        return;
    }
    // Inputs are read in full before anything is written, so the result may
    // share storage with either of them.
    std::vector<double> da = detail::denseOf(a), db = detail::denseOf(b);
    if (da.empty() || db.empty()) return;
    std::vector<double> dc((size_t)m_rows * (size_t)m_cols);
    detail::multiplyDense(da.data(), db.data(), dc.data(), a.m_rows, a.m_cols, b.m_cols);
    for (int r = 0; r < m_rows; r++) {
        T* row = (*this)[r];
        for (int c = 0; c < m_cols; c++)
            row[c] = saturate_cast<T>(dc[(size_t)r * (size_t)m_cols + (size_t)c]);
    }
}

template <typename T>
void Vec_<T>::eqProd(const Mat_<T>& m, const Vec_<T>& v) {
    if (!m.isValid() || v.length() != m.cols()) return;
    if (m_length == 0) {
        if (create(m.rows()) != 1) return;
    } else if (m_length != m.rows()) {
        return;
    }
    std::vector<double> x((size_t)v.length());
    for (int i = 0; i < v.length(); i++) x[(size_t)i] = (double)v[i];
    std::vector<double> y((size_t)m.rows());
    for (int r = 0; r < m.rows(); r++) {
        const T* row = m[r];
        double s = 0.0;
        for (int c = 0; c < m.cols(); c++) s += (double)row[c] * x[(size_t)c];
        y[(size_t)r] = s;
    }
    for (int r = 0; r < m.rows(); r++) ptr()[r] = saturate_cast<T>(y[(size_t)r]);
}

template <typename T>
Mat_<T> Mat_<T>::transposed() const {
    Mat_<T> t;
    if (!isValid() || t.create(m_cols, m_rows) < 0) return t;
    for (int r = 0; r < m_rows; r++) {
        const T* src = (*this)[r];
        for (int c = 0; c < m_cols; c++) t[c][r] = src[c];
    }
    return t;
}

template <typename T>
void Mat_<T>::transpose() {
    Mat::transpose();
}

template <typename T>
Vec_<T> Mat_<T>::row(int r) const {
    Vec_<T> v;
    if (!isValid() || r < 0 || r >= m_rows || v.create(m_cols) != 1) return v;
    std::memcpy(v.ptr(), (*this)[r], sizeof(T) * (size_t)m_cols);
    return v;
}

template <typename T>
void Mat_<T>::col(int c, Vec_<T>& v) const {
    if (!isValid() || c < 0 || c >= m_cols) return;
    if (v.length() != m_rows) {
        if (v.length() == 0)
            v.create(m_rows);
        else
            v.resize(m_rows);
    }
    // An external vector that could not grow receives what fits.
    const int n = v.length() < m_rows ? v.length() : m_rows;
    for (int r = 0; r < n; r++) v[r] = (*this)[r][c];
}

#define TARVO_INSTANTIATE_MAT_LINALG(T)                                               \
    template TARVO_BASE_EXPORTS Mat_<T> Mat_<T>::operator*(const Mat_<T>&) const;     \
    template TARVO_BASE_EXPORTS Vec_<T> Mat_<T>::operator*(const Vec_<T>&) const;     \
    template TARVO_BASE_EXPORTS void Mat_<T>::eqProd(const Mat_<T>&, const Mat_<T>&); \
    template TARVO_BASE_EXPORTS void Vec_<T>::eqProd(const Mat_<T>&, const Vec_<T>&); \
    template TARVO_BASE_EXPORTS Mat_<T> Mat_<T>::transposed() const;                  \
    template TARVO_BASE_EXPORTS void Mat_<T>::transpose();                            \
    template TARVO_BASE_EXPORTS Vec_<T> Mat_<T>::row(int) const;                      \
    template TARVO_BASE_EXPORTS void Mat_<T>::col(int, Vec_<T>&) const;

TARVO_INSTANTIATE_MAT_LINALG(unsigned char)
TARVO_INSTANTIATE_MAT_LINALG(short)
TARVO_INSTANTIATE_MAT_LINALG(int)
TARVO_INSTANTIATE_MAT_LINALG(float)
TARVO_INSTANTIATE_MAT_LINALG(double)

#undef TARVO_INSTANTIATE_MAT_LINALG

}  // namespace tarvo
