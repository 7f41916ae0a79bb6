// The rows of the linear systems behind the affine and perspective solvers,
// and the singular-value least-squares solve. Kept in one place so that every
// estimator (the closed-form solvers here, robust estimation later) builds
// the same systems.
#pragma once

#include "tarvo/mat.h"
#include "tarvo/types.h"

namespace tarvo {
namespace detail {

// Writes rows 2i and 2i + 1 of the affine system for the pair (x, y) -> (u, v):
// (x, y, 1, 0, 0, 0 | u) and (0, 0, 0, x, y, 1 | v). A is n x 6 double, b n x 1.
void affineRows(Mat& A, Mat& b, int i, double x, double y, double u, double v);

// Writes rows i and i + 4 of the 8 x 8 perspective system for the pair
// (x, y) -> (u, v): (x, y, 1, 0, 0, 0, -x u, -y u | u) and
// (0, 0, 0, x, y, 1, -x v, -y v | v).
void perspectiveRows(Mat& A, Mat& b, int i, double x, double y, double u, double v);

// Least squares x = V diag(1/s) U^T b by the singular values of A; a singular
// value of exactly zero contributes nothing. Empty on an unusable A.
Mat svdSolve(const Mat& A, const Mat& b);

// The 2 x 3 affine transform that best maps src[i] to dst[i] over all n pairs
// (n >= 3), and the 3 x 3 perspective transform of the first four pairs
// (n >= 4; LU, or the pseudo-inverse when LU finds the system singular).
// Empty Mat for too few pairs.
Mat solveAffine(const Point2_<double>* src, const Point2_<double>* dst, int n);
Mat solvePerspective(const Point2_<double>* src, const Point2_<double>* dst, int n);

}  // namespace detail
}  // namespace tarvo
