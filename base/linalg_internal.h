// Dense solvers shared by the Mat linear algebra, tarvoutil and MatOp. Private
// to tarvobase; every result is a double matrix, inputs are one-channel
// matrices of any depth without NaN or infinite elements.
#pragma once

#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Copies a one-channel matrix into a dense row-major double buffer. False for
// an empty or multi-channel matrix, a bad depth, or a non-finite element.
bool readDense(const Mat& a, double* out);
// True when `a` is a non-empty one-channel matrix of a valid depth.
bool isPlainMatrix(const Mat& a);

// Singular value decomposition with descending values: w is k x 1 (k =
// min(m, n)); u is m x k and v is n x k, or m x m and n x n when `full`.
bool svdCompute(const Mat& a, bool full, Mat& w, Mat& u, Mat& v);

// Moore-Penrose pseudo-inverse (n x m); singular values at most
// max(m, n) * 2^-52 * largest count as zero.
bool pseudoInverse(const Mat& a, Mat& inv);

// Inverse of a square matrix by LU with partial pivoting; false when the
// matrix is singular (same test as LUDecomposition::isNonSingular) or unusable.
bool invertLU(const Mat& a, Mat& inv);

// X solving A X = B by one of the SolveMethod codes. False when the method
// refuses the system (singular, rank deficient, not SPD, wrong shapes).
bool solveSystem(const Mat& a, const Mat& b, Mat& x, int method);

// Row-major product c = a b of an m x k and a k x n buffer; each element is
// summed in double over k in ascending order.
void multiplyDense(const double* a, const double* b, double* c, int m, int k, int n);
// Reads / writes the first n elements of row r (channels interleaved) as
// doubles; writing saturates integer depths.
void readRowValues(const Mat& a, int r, int n, double* out);
void writeRowValues(const double* s, int n, Mat& dst, int r);
// Writes a row-major buffer into dst, created rows x cols of `depth` unless it
// already has that shape and type (its storage is then kept).
bool writeDense(const double* src, int rows, int cols, int depth, Mat& dst);
// A one-channel matrix as a dense row-major double buffer; empty when unusable.
std::vector<double> denseOf(const Mat& a);
// Element i of a vector as a double, and the saturating store.
double vecValue(const Vec& v, int i);
void setVecValue(Vec& v, int i, double x);

}  // namespace detail
}  // namespace tarvo
