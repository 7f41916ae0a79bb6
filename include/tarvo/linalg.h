// Matrix decompositions: singular value, LU, QR, Cholesky and eigenvalue.
//
// Each class factors a one-channel Mat (any depth; float and double are the
// usual ones) once, in double precision, at construction, and hands out the
// factors as new double matrices and vectors. A decomposition built from an
// unusable matrix (empty, several channels, a NaN or infinite element, or a
// shape the factorisation does not take) is "invalid": isValid() is false,
// matrix accessors give empty matrices, vectors are empty and scalars are 0.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {

// Flags of tarvoutil::computeSVD (combine with |).
enum SVDFlags {
    SVD_MODIFY_A = 1,  // accepted for compatibility; the source is never modified
    SVD_U_T = 2,       // U is delivered transposed: row i is the i-th left singular vector
    SVD_V_T = 4,       // the Vt argument gets V transposed (row i = i-th right vector), else V
    SVD_FULL = 8,      // square U (m x m) and V (n x n) instead of the thin m x k and n x k
};

// Method codes of tarvoutil::solve.
enum SolveMethod {
    SOLVE_LU = 0,        // square system, LU with partial pivoting; fails when singular
    SOLVE_SVD = 1,       // any shape: minimum-norm least squares through the SVD; never singular
    SOLVE_QR = 2,        // rows >= cols, Householder QR least squares; fails without full rank
    SOLVE_CHOLESKY = 3,  // symmetric positive definite system; fails otherwise
};

// A = U diag(s) V^T with k = min(rows, cols) singular values in descending
// order. U is rows x k, V is cols x k, both with orthonormal columns (thin form).
class TARVO_BASE_EXPORTS SingularValueDecomposition {
public:
    explicit SingularValueDecomposition(const Mat& a);

    bool isValid() const { return m_valid; }
    // The k singular values, descending, as a double vector.
    Vec singularValues() const;
    // k x k diagonal matrix of the singular values.
    Mat GetS() const;
    // rows x k left singular vectors as columns.
    Mat GetU() const { return m_U; }
    // cols x k right singular vectors as columns.
    Mat GetV() const { return m_V; }
    // Two-norm: the largest singular value (0 when invalid).
    double norm2() const;
    // Largest over smallest singular value; +infinity when the smallest is 0.
    double condition() const;
    // Number of singular values above max(rows, cols) * 2^-52 * largest.
    int rank() const;

private:
    bool m_valid = false;
    int m_rows = 0;
    int m_cols = 0;
    Mat m_U;
    Mat m_V;
    Vec m_s;
};

// P A = L U of a square matrix with partial (row) pivoting. L is unit lower
// triangular, U upper triangular. Non-square input gives an invalid decomposition.
class TARVO_BASE_EXPORTS LUDecomposition {
public:
    explicit LUDecomposition(const Mat& a);

    bool isValid() const { return m_valid; }
    // Row permutation: row i of L U is row Pivot()[i] of A (int vector).
    Vec Pivot() const { return m_piv; }
    // The same permutation as a double vector.
    Vec doublePivot() const;
    // Determinant of A (0 when invalid).
    double determinant() const;
    // False when some pivot is at most n * 2^-52 * max|a_ij| in magnitude
    // (exactly or numerically singular), or when invalid.
    bool isNonSingular() const { return m_valid && m_nonSingular; }
    // X with A X = B (B has n rows, any number of columns), as a double matrix.
    // Empty when A is singular, B has the wrong shape or B is unusable.
    Mat solve(const Mat& b) const;
    // Unit lower triangular factor, n x n.
    Mat L() const;
    // Upper triangular factor, n x n.
    Mat U() const;

private:
    bool m_valid = false;
    bool m_nonSingular = false;
    int m_sign = 1;
    Mat m_LU;  // L below the diagonal (unit diagonal implied), U on and above
    Vec m_piv;
};

// A = Q R by Householder reflections, k = min(rows, cols): Q is rows x k with
// orthonormal columns, R is k x cols upper triangular.
class TARVO_BASE_EXPORTS QRDecomposition {
public:
    explicit QRDecomposition(const Mat& a);

    bool isValid() const { return m_valid; }
    // True when rows >= cols and no diagonal element of R is at most
    // max(rows, cols) * 2^-52 * max|r_jj| in magnitude.
    bool FullRank() const;
    // rows x k: column j is the Householder vector v_j (v_j[j] = 1, zeros above);
    // the reflection is I - 2 v vᵀ / (vᵀ v), or the identity for a zero column.
    // Q is the product of the reflections 0..k-1 applied to the first k columns of I.
    Mat H() const { return m_H; }
    Mat Q() const { return m_Q; }
    Mat R() const { return m_R; }
    // Least-squares X minimising |A X - B| (B has `rows` rows). Empty when
    // A is not of full rank or B has the wrong shape.
    Mat solve(const Mat& b) const;

private:
    bool m_valid = false;
    int m_rows = 0;
    int m_cols = 0;
    Mat m_H;
    Mat m_Q;
    Mat m_R;
};

// A = L Lᵀ of a symmetric positive definite matrix.
class TARVO_BASE_EXPORTS CholeskyDecomposition {
public:
    explicit CholeskyDecomposition(const Mat& a);

    // Lower triangular factor, n x n; empty when the matrix is not SPD.
    Mat getL() const { return m_L; }
    // True when the matrix is square, symmetric (to a relative 1e-12) and
    // positive definite.
    bool spd() const { return m_spd; }
    // X with A X = B; empty when the matrix is not SPD or B has the wrong shape.
    Mat solve(const Mat& b) const;

private:
    bool m_spd = false;
    Mat m_L;
};

// A V = V D of a square matrix. A symmetric matrix (to a relative 1e-12) gets
// real eigenvalues in ascending order, an orthonormal V and a diagonal D.
// Otherwise D is block diagonal: a complex pair re ± i·im (im > 0 listed first)
// is the 2 x 2 block [re im; -im re], and V is real (the real and imaginary
// parts of the pair's eigenvector in two columns).
class TARVO_BASE_EXPORTS EigenvalueDecomposition {
public:
    explicit EigenvalueDecomposition(const Mat& a);

    bool isValid() const { return m_valid; }
    bool isSymmetric() const { return m_symmetric; }
    // n x n eigenvectors as columns (see above).
    Mat GetV() const { return m_V; }
    // n x n (block) diagonal eigenvalue matrix.
    Mat D() const { return m_D; }
    // Real and imaginary parts of the eigenvalues, double vectors of length n.
    Vec realEigenvalues() const { return m_re; }
    Vec imagEigenvalues() const { return m_im; }

private:
    bool m_valid = false;
    bool m_symmetric = false;
    Mat m_V;
    Mat m_D;
    Vec m_re;
    Vec m_im;
};

}  // namespace tarvo
