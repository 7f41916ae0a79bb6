#include "geometry/transform_solvers.h"

#include "tarvo/linalg.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {
namespace detail {

void affineRows(Mat& A, Mat& b, int i, double x, double y, double u, double v) {
    double* r0 = A.ptr<double>(2 * i);
    double* r1 = A.ptr<double>(2 * i + 1);
    const double a0[6] = {x, y, 1, 0, 0, 0}, a1[6] = {0, 0, 0, x, y, 1};
    for (int k = 0; k < 6; k++) {
        r0[k] = a0[k];
        r1[k] = a1[k];
    }
    b.ptr<double>(2 * i)[0] = u;
    b.ptr<double>(2 * i + 1)[0] = v;
}

void perspectiveRows(Mat& A, Mat& b, int i, double x, double y, double u, double v) {
    double* r0 = A.ptr<double>(i);
    double* r1 = A.ptr<double>(i + 4);
    const double a0[8] = {x, y, 1, 0, 0, 0, -x * u, -y * u};
    const double a1[8] = {0, 0, 0, x, y, 1, -x * v, -y * v};
    for (int k = 0; k < 8; k++) {
        r0[k] = a0[k];
        r1[k] = a1[k];
    }
    b.ptr<double>(i)[0] = u;
    b.ptr<double>(i + 4)[0] = v;
}

Mat svdSolve(const Mat& A, const Mat& b) {
    SingularValueDecomposition svd(A);
    if (!svd.isValid()) return Mat();
    const Mat U = svd.GetU(), V = svd.GetV();
    const Vec s = svd.singularValues();
    const int m = A.rows(), n = A.cols(), k = s.length();
    Mat x(n, 1, MAT_Tdouble, Point4_<double>());
    for (int j = 0; j < k; j++) {
        const double sj = s.value(j);
        if (sj == 0.0) continue;
        double ub = 0.0;  // u_j . b
        for (int r = 0; r < m; r++) ub += U.value(r, j) * b.value(r, 0);
        const double c = ub / sj;
        for (int r = 0; r < n; r++) x.ptr<double>(r)[0] += V.value(r, j) * c;
    }
    return x;
}

Mat solveAffine(const Point2_<double>* src, const Point2_<double>* dst, int n) {
    if (!src || !dst || n < 3 || n > (1 << 24)) return Mat();
    Mat A(2 * n, 6, MAT_Tdouble), b(2 * n, 1, MAT_Tdouble);
    if (A.empty() || b.empty()) return Mat();
    for (int i = 0; i < n; i++) affineRows(A, b, i, src[i].x, src[i].y, dst[i].x, dst[i].y);
    const Mat x = svdSolve(A, b);
    if (x.empty()) return Mat();
    Mat t(2, 3, MAT_Tdouble);
    for (int k = 0; k < 6; k++) t.ptr<double>(k / 3)[k % 3] = x.value(k, 0);
    return t;
}

Mat solvePerspective(const Point2_<double>* src, const Point2_<double>* dst, int n) {
    if (!src || !dst || n < 4) return Mat();
    Mat A(8, 8, MAT_Tdouble), b(8, 1, MAT_Tdouble);
    for (int i = 0; i < 4; i++) perspectiveRows(A, b, i, src[i].x, src[i].y, dst[i].x, dst[i].y);
    Mat x = LUDecomposition(A).solve(b);
    if (x.empty()) {
        Mat inv;
        if (!tarvoutil::pseudoInvert(A, inv)) return Mat();
        x.create(8, 1, MAT_Tdouble);
        for (int r = 0; r < 8; r++) {
            double v = 0.0;
            for (int c = 0; c < 8; c++) v += inv.value(r, c) * b.value(c, 0);
            x.ptr<double>(r)[0] = v;
        }
    }
    Mat t(3, 3, MAT_Tdouble);
    for (int k = 0; k < 8; k++) t.ptr<double>(k / 3)[k % 3] = x.value(k, 0);
    t.ptr<double>(2)[2] = 1.0;
    return t;
}

}  // namespace detail
}  // namespace tarvo
