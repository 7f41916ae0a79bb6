// Matrix decompositions on top of Eigen. Eigen stays inside this file: the
// public classes keep their factors as double Mats.
#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "linalg_internal.h"
#include "tarvo/linalg.h"

namespace tarvo {

namespace {

using MatrixXd = Eigen::MatrixXd;
using VectorXd = Eigen::VectorXd;

constexpr double kEps = std::numeric_limits<double>::epsilon();  // 2^-52
// Relative asymmetry below which a matrix counts as symmetric. Products such
// as AᵀA computed in another summation order differ in the last bits only.
constexpr double kSymTol = 1e-12;
// Above this size the divide-and-conquer SVD is used; below it the one-sided
// Jacobi SVD, which is the more accurate of the two.
constexpr int kJacobiMaxDim = 64;

template <typename T>
bool readRows(const Mat& a, double* out) {
    const int cols = a.cols();
    for (int r = 0; r < a.rows(); r++) {
        const T* row = a.ptr<T>(r);
        for (int c = 0; c < cols; c++) {
            double v = static_cast<double>(row[c]);
            if (!std::isfinite(v)) return false;
            *out++ = v;
        }
    }
    return true;
}

bool toEigen(const Mat& a, MatrixXd& m) {
    if (!detail::isPlainMatrix(a)) return false;
    std::vector<double> buf((size_t)a.rows() * (size_t)a.cols());
    if (!detail::readDense(a, buf.data())) return false;
    m = Eigen::Map<Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>>(
        buf.data(), a.rows(), a.cols());
    return true;
}

// Writes an Eigen matrix into a new double Mat; a matrix with no elements
// gives an empty Mat.
void fromEigen(const MatrixXd& m, Mat& out) {
    if (m.rows() == 0 || m.cols() == 0 ||
        out.create((int)m.rows(), (int)m.cols(), MAT_Tdouble) < 0) {
        out.release();
        return;
    }
    for (int r = 0; r < (int)m.rows(); r++) {
        double* row = out.ptr<double>(r);
        for (int c = 0; c < (int)m.cols(); c++) row[c] = m(r, c);
    }
}

Mat fromEigen(const MatrixXd& m) {
    Mat out;
    fromEigen(m, out);
    return out;
}

Vec vecFromEigen(const VectorXd& v) {
    Vec out;
    if (v.size() == 0 || out.create((int)v.size(), MAT_Tdouble) != 1) return out;
    for (int i = 0; i < (int)v.size(); i++) out.data.db[i] = v(i);
    return out;
}

double maxAbs(const MatrixXd& m) {
    return m.size() == 0 ? 0.0 : m.cwiseAbs().maxCoeff();
}

bool nearlySymmetric(const MatrixXd& m) {
    if (m.rows() != m.cols()) return false;
    const double tol = kSymTol * maxAbs(m);
    for (Eigen::Index i = 0; i < m.rows(); i++)
        for (Eigen::Index j = i + 1; j < m.cols(); j++)
            if (std::fabs(m(i, j) - m(j, i)) > tol) return false;
    return true;
}

// Thin or full SVD; singular values come out descending and non-negative.
void svdEigen(const MatrixXd& a, bool full, VectorXd& s, MatrixXd& u, MatrixXd& v) {
    const unsigned opts = full ? (Eigen::ComputeFullU | Eigen::ComputeFullV)
                               : (Eigen::ComputeThinU | Eigen::ComputeThinV);
    if (std::min(a.rows(), a.cols()) <= kJacobiMaxDim) {
        Eigen::JacobiSVD<MatrixXd> svd(a, opts);
        s = svd.singularValues();
        u = svd.matrixU();
        v = svd.matrixV();
    } else {
        Eigen::BDCSVD<MatrixXd> svd(a, opts);
        s = svd.singularValues();
        u = svd.matrixU();
        v = svd.matrixV();
    }
}

// Singular values at most this count as zero.
double svdThreshold(const VectorXd& s, Eigen::Index rows, Eigen::Index cols) {
    if (s.size() == 0) return 0.0;
    return (double)std::max(rows, cols) * kEps * s(0);
}

// V diag(1/s) Uᵀ with the small singular values dropped.
MatrixXd pinvEigen(const MatrixXd& a) {
    VectorXd s;
    MatrixXd u, v;
    svdEigen(a, false, s, u, v);
    const double tol = svdThreshold(s, a.rows(), a.cols());
    VectorXd inv(s.size());
    for (Eigen::Index i = 0; i < s.size(); i++) inv(i) = s(i) > tol ? 1.0 / s(i) : 0.0;
    return v * inv.asDiagonal() * u.transpose();
}

// Pivots of magnitude at most n * eps * max|a| mark a singular matrix: this
// is the rounding-level size below which a pivot carries no information.
bool luNonSingular(const Eigen::PartialPivLU<MatrixXd>& lu, double scale) {
    const Eigen::Index n = lu.matrixLU().rows();
    const double tol = (double)n * kEps * scale;
    if (!(scale > 0)) return false;
    for (Eigen::Index i = 0; i < n; i++)
        if (!(std::fabs(lu.matrixLU()(i, i)) > tol)) return false;
    return true;
}

}  // namespace

// ------------------------------------------------------------ shared helpers

namespace detail {

bool isPlainMatrix(const Mat& a) {
    const int d = a.type();
    return a.isValid() && a.rows() > 0 && a.cols() > 0 && a.channels() == 1 && d >= 1 && d <= 5;
}

bool readDense(const Mat& a, double* out) {
    if (!isPlainMatrix(a)) return false;
    switch (a.type()) {
        case MAT_Tuchar:
            return readRows<unsigned char>(a, out);
        case MAT_Tshort:
            return readRows<short>(a, out);
        case MAT_Tint:
            return readRows<int>(a, out);
        case MAT_Tfloat:
            return readRows<float>(a, out);
        case MAT_Tdouble:
            return readRows<double>(a, out);
        default:
            return false;
    }
}

bool svdCompute(const Mat& a, bool full, Mat& w, Mat& u, Mat& v) {
    MatrixXd m;
    if (!toEigen(a, m)) return false;
    VectorXd s;
    MatrixXd um, vm;
    svdEigen(m, full, s, um, vm);
    fromEigen(MatrixXd(s), w);
    fromEigen(um, u);
    fromEigen(vm, v);
    return true;
}

bool pseudoInverse(const Mat& a, Mat& inv) {
    MatrixXd m;
    if (!toEigen(a, m)) return false;
    fromEigen(pinvEigen(m), inv);
    return true;
}

bool invertLU(const Mat& a, Mat& inv) {
    MatrixXd m;
    if (!toEigen(a, m) || m.rows() != m.cols()) return false;
    Eigen::PartialPivLU<MatrixXd> lu(m);
    if (!luNonSingular(lu, maxAbs(m))) return false;
    fromEigen(lu.inverse(), inv);
    return true;
}

bool solveSystem(const Mat& a, const Mat& b, Mat& x, int method) {
    MatrixXd am, bm;
    if (!toEigen(a, am) || !toEigen(b, bm) || am.rows() != bm.rows()) return false;
    const Eigen::Index m = am.rows(), n = am.cols();
    MatrixXd xm;
    switch (method) {
        case SOLVE_LU: {
            if (m != n) return false;
            Eigen::PartialPivLU<MatrixXd> lu(am);
            if (!luNonSingular(lu, maxAbs(am))) return false;
            xm = lu.solve(bm);
            break;
        }
        case SOLVE_SVD: {
            VectorXd s;
            MatrixXd u, v;
            svdEigen(am, false, s, u, v);
            const double tol = svdThreshold(s, m, n);
            MatrixXd utb = u.transpose() * bm;
            for (Eigen::Index i = 0; i < s.size(); i++) {
                if (s(i) > tol)
                    utb.row(i) /= s(i);
                else
                    utb.row(i).setZero();
            }
            xm = v * utb;
            break;
        }
        case SOLVE_QR: {
            if (m < n) return false;
            QRDecomposition qr(a);
            Mat xs = qr.solve(b);
            if (!xs.isValid()) return false;
            x = std::move(xs);
            return true;
        }
        case SOLVE_CHOLESKY: {
            CholeskyDecomposition ch(a);
            Mat xs = ch.solve(b);
            if (!xs.isValid()) return false;
            x = std::move(xs);
            return true;
        }
        default:
            return false;
    }
    if (!xm.allFinite()) return false;
    fromEigen(xm, x);
    return x.isValid();
}

}  // namespace detail

// ------------------------------------------------------------ SVD

SingularValueDecomposition::SingularValueDecomposition(const Mat& a) {
    MatrixXd m;
    if (!toEigen(a, m)) return;
    VectorXd s;
    MatrixXd u, v;
    svdEigen(m, false, s, u, v);
    m_rows = a.rows();
    m_cols = a.cols();
    fromEigen(u, m_U);
    fromEigen(v, m_V);
    m_s = vecFromEigen(s);
    m_valid = m_U.isValid() && m_V.isValid() && m_s.length() > 0;
}

Vec SingularValueDecomposition::singularValues() const {
    return m_s;
}

Mat SingularValueDecomposition::GetS() const {
    if (!m_valid) return Mat();
    const int k = m_s.length();
    Mat s(k, k, MAT_Tdouble);
    if (!s.isValid()) return Mat();
    s.zero();
    for (int i = 0; i < k; i++) s.ptr<double>(i)[i] = m_s.data.db[i];
    return s;
}

double SingularValueDecomposition::norm2() const {
    return m_valid ? m_s.data.db[0] : 0.0;
}

double SingularValueDecomposition::condition() const {
    if (!m_valid) return 0.0;
    const double smin = m_s.data.db[m_s.length() - 1];
    if (smin == 0.0) return std::numeric_limits<double>::infinity();
    return m_s.data.db[0] / smin;
}

int SingularValueDecomposition::rank() const {
    if (!m_valid) return 0;
    const double tol = (double)std::max(m_rows, m_cols) * kEps * m_s.data.db[0];
    int r = 0;
    for (int i = 0; i < m_s.length(); i++)
        if (m_s.data.db[i] > tol) r++;
    return r;
}

// ------------------------------------------------------------ LU

LUDecomposition::LUDecomposition(const Mat& a) {
    MatrixXd m;
    if (!toEigen(a, m) || m.rows() != m.cols()) return;
    const int n = (int)m.rows();
    Eigen::PartialPivLU<MatrixXd> lu(m);
    m_nonSingular = luNonSingular(lu, maxAbs(m));
    fromEigen(lu.matrixLU(), m_LU);
    if (m_piv.create(n, MAT_Tint) != 1 || !m_LU.isValid()) return;
    // P A = L U with (P x)[ind[i]] = x[i]: row ind[i] of L U is row i of A.
    const auto& ind = lu.permutationP().indices();
    for (int i = 0; i < n; i++) m_piv.data.i[ind(i)] = i;
    // Parity of the permutation from its cycles.
    std::vector<char> seen((size_t)n, 0);
    int sign = 1;
    for (int i = 0; i < n; i++) {
        if (seen[(size_t)i]) continue;
        int len = 0;
        for (int j = i; !seen[(size_t)j]; j = m_piv.data.i[j]) {
            seen[(size_t)j] = 1;
            len++;
        }
        if (len % 2 == 0) sign = -sign;
    }
    m_sign = sign;
    m_valid = true;
}

Vec LUDecomposition::doublePivot() const {
    Vec out;
    if (!m_valid || out.create(m_piv.length(), MAT_Tdouble) != 1) return out;
    for (int i = 0; i < m_piv.length(); i++) out.data.db[i] = (double)m_piv.data.i[i];
    return out;
}

double LUDecomposition::determinant() const {
    if (!m_valid) return 0.0;
    double d = (double)m_sign;
    for (int i = 0; i < m_LU.rows(); i++) d *= m_LU.ptr<double>(i)[i];
    return d;
}

Mat LUDecomposition::L() const {
    if (!m_valid) return Mat();
    const int n = m_LU.rows();
    Mat l(n, n, MAT_Tdouble);
    for (int r = 0; r < n; r++)
        for (int c = 0; c < n; c++)
            l.ptr<double>(r)[c] = r > c ? m_LU.ptr<double>(r)[c] : (r == c ? 1.0 : 0.0);
    return l;
}

Mat LUDecomposition::U() const {
    if (!m_valid) return Mat();
    const int n = m_LU.rows();
    Mat u(n, n, MAT_Tdouble);
    for (int r = 0; r < n; r++)
        for (int c = 0; c < n; c++) u.ptr<double>(r)[c] = r <= c ? m_LU.ptr<double>(r)[c] : 0.0;
    return u;
}

Mat LUDecomposition::solve(const Mat& b) const {
    if (!isNonSingular()) return Mat();
    const int n = m_LU.rows();
    MatrixXd bm;
    if (!toEigen(b, bm) || bm.rows() != n) return Mat();
    // Forward and back substitution on the stored factors, rows permuted first.
    const int p = (int)bm.cols();
    MatrixXd x(n, p);
    for (int i = 0; i < n; i++) x.row(i) = bm.row(m_piv.data.i[i]);
    for (int k = 0; k < n; k++) {
        const double* lu = m_LU.ptr<double>(k);
        for (int j = 0; j < k; j++) x.row(k) -= lu[j] * x.row(j);
    }
    for (int k = n - 1; k >= 0; k--) {
        const double* lu = m_LU.ptr<double>(k);
        for (int j = k + 1; j < n; j++) x.row(k) -= lu[j] * x.row(j);
        x.row(k) /= lu[k];
    }
    if (!x.allFinite()) return Mat();
    return fromEigen(x);
}

// ------------------------------------------------------------ QR

QRDecomposition::QRDecomposition(const Mat& a) {
    MatrixXd m;
    if (!toEigen(a, m)) return;
    const Eigen::Index rows = m.rows(), cols = m.cols(), k = std::min(rows, cols);
    Eigen::HouseholderQR<MatrixXd> qr(m);
    const MatrixXd& packed = qr.matrixQR();
    MatrixXd h = MatrixXd::Zero(rows, k);
    for (Eigen::Index j = 0; j < k; j++) {
        if (qr.hCoeffs()(j) == 0.0) continue;  // no reflection at this step
        h(j, j) = 1.0;
        for (Eigen::Index i = j + 1; i < rows; i++) h(i, j) = packed(i, j);
    }
    MatrixXd q = qr.householderQ() * MatrixXd::Identity(rows, k);
    MatrixXd r = packed.topRows(k).triangularView<Eigen::Upper>();
    m_rows = (int)rows;
    m_cols = (int)cols;
    fromEigen(h, m_H);
    fromEigen(q, m_Q);
    fromEigen(r, m_R);
    m_valid = m_H.isValid() && m_Q.isValid() && m_R.isValid();
}

bool QRDecomposition::FullRank() const {
    if (!m_valid || m_rows < m_cols) return false;
    double big = 0.0;
    for (int j = 0; j < m_cols; j++) big = std::max(big, std::fabs(m_R.ptr<double>(j)[j]));
    if (!(big > 0)) return false;
    const double tol = (double)std::max(m_rows, m_cols) * kEps * big;
    for (int j = 0; j < m_cols; j++)
        if (!(std::fabs(m_R.ptr<double>(j)[j]) > tol)) return false;
    return true;
}

Mat QRDecomposition::solve(const Mat& b) const {
    if (!FullRank()) return Mat();
    MatrixXd bm;
    if (!toEigen(b, bm) || bm.rows() != m_rows) return Mat();
    MatrixXd q(m_rows, m_cols), r(m_cols, m_cols);
    for (int i = 0; i < m_rows; i++)
        for (int j = 0; j < m_cols; j++) q(i, j) = m_Q.ptr<double>(i)[j];
    for (int i = 0; i < m_cols; i++)
        for (int j = 0; j < m_cols; j++) r(i, j) = m_R.ptr<double>(i)[j];
    // With orthonormal Q, the least-squares solution is R⁻¹ Qᵀ B.
    MatrixXd x = r.triangularView<Eigen::Upper>().solve(q.transpose() * bm);
    if (!x.allFinite()) return Mat();
    return fromEigen(x);
}

// ------------------------------------------------------------ Cholesky

CholeskyDecomposition::CholeskyDecomposition(const Mat& a) {
    MatrixXd m;
    if (!toEigen(a, m) || !nearlySymmetric(m)) return;
    Eigen::LLT<MatrixXd> llt(m);
    if (llt.info() != Eigen::Success) return;
    MatrixXd l = llt.matrixL();
    if (!l.allFinite()) return;
    fromEigen(l, m_L);
    m_spd = m_L.isValid();
}

Mat CholeskyDecomposition::solve(const Mat& b) const {
    if (!m_spd) return Mat();
    const int n = m_L.rows();
    MatrixXd bm;
    if (!toEigen(b, bm) || bm.rows() != n) return Mat();
    MatrixXd l(n, n);
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++) l(i, j) = m_L.ptr<double>(i)[j];
    MatrixXd y = l.triangularView<Eigen::Lower>().solve(bm);
    MatrixXd x = l.transpose().triangularView<Eigen::Upper>().solve(y);
    if (!x.allFinite()) return Mat();
    return fromEigen(x);
}

// ------------------------------------------------------------ eigenvalues

EigenvalueDecomposition::EigenvalueDecomposition(const Mat& a) {
    MatrixXd m;
    if (!toEigen(a, m) || m.rows() != m.cols()) return;
    const Eigen::Index n = m.rows();
    VectorXd re(n), im = VectorXd::Zero(n);
    MatrixXd v, d;
    if (nearlySymmetric(m)) {
        // Symmetrise exactly so the solver sees the matrix it is told about.
        MatrixXd sym = (m + m.transpose()) * 0.5;
        Eigen::SelfAdjointEigenSolver<MatrixXd> es(sym);
        if (es.info() != Eigen::Success) return;
        re = es.eigenvalues();
        v = es.eigenvectors();
        d = re.asDiagonal();
        m_symmetric = true;
    } else {
        Eigen::EigenSolver<MatrixXd> es(m, true);
        if (es.info() != Eigen::Success) return;
        re = es.eigenvalues().real();
        im = es.eigenvalues().imag();
        v = es.pseudoEigenvectors();
        d = es.pseudoEigenvalueMatrix();
    }
    fromEigen(v, m_V);
    fromEigen(d, m_D);
    m_re = vecFromEigen(re);
    m_im = vecFromEigen(im);
    m_valid = m_V.isValid() && m_D.isValid();
}

}  // namespace tarvo
