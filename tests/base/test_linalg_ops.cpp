// tarvoutil solvers and MatOp products: checked against naive loops, normal
// equations and the layouts callers read (null space in fixed rows of U).
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "support/naive_linalg.h"
#include "support/test_util.h"
#include "tarvo/linalg.h"
#include "tarvo/mat.h"

#if __has_include("tarvo/tarvoutil.h") && __has_include("tarvo/matop.h")
#include "tarvo/matop.h"
#include "tarvo/tarvoutil.h"
#define TARVO_TEST_LINALG_OPS 1
#endif

#ifdef TARVO_TEST_LINALG_OPS
namespace tarvo {
namespace {

using test::at;
using test::eyeDouble;
using test::maxDiff;
using test::naiveMul;
using test::randomMat;

Mat eye(int n) {
    return eyeDouble(n);
}

Mat diagOf(const Mat& w) {
    const int k = w.rows() * w.cols();
    Mat d(k, k, MAT_Tdouble);
    for (int r = 0; r < k; r++)
        for (int c = 0; c < k; c++) d.ptr<double>(r)[c] = r == c ? at(w, r, 0) : 0.0;
    return d;
}

// ------------------------------------------------------------ computeSVD

TEST(ComputeSVD, NullSpaceOfTwelveByTwelveIsInTheLastFourRowsOfU) {
    // M of 24 x 12 with an exact four-dimensional null space N (orthonormal).
    Mat n = QRDecomposition(randomMat(12, 4, MAT_Tdouble, 101, -1, 1)).Q();
    Mat proj = eye(12);
    Mat nnT = naiveMul(n, n, false, true);
    for (int r = 0; r < 12; r++)
        for (int c = 0; c < 12; c++) proj.ptr<double>(r)[c] -= at(nnT, r, c);
    Mat m = naiveMul(randomMat(24, 12, MAT_Tdouble, 102, -1, 1), proj);
    Mat mtm;
    MatOp::trAA(&mtm, &m);
    ASSERT_EQ(mtm.rows(), 12);

    Mat w, u, vt;
    ASSERT_EQ(tarvoutil::computeSVD(mtm, w, u, vt, SVD_MODIFY_A | SVD_U_T), 1);
    ASSERT_EQ(w.rows() * w.cols(), 12);
    for (int i = 1; i < 12; i++) EXPECT_LE(at(w, i, 0), at(w, i - 1, 0));
    EXPECT_GT(at(w, 7, 0), 1e-3);
    for (int row = 8; row < 12; row++) {
        EXPECT_LT(at(w, row, 0), 1e-12);
        // The row is a unit vector that MᵀM sends to zero and that lies in N.
        Mat x(12, 1, MAT_Tdouble);
        for (int i = 0; i < 12; i++) x.ptr<double>(i)[0] = at(u, row, i);
        EXPECT_NEAR(naiveMul(x, x, true).ptr<double>(0)[0], 1.0, 1e-12);
        Mat mx = naiveMul(mtm, x);
        for (int i = 0; i < 12; i++) EXPECT_LT(std::fabs(at(mx, i, 0)), 1e-10);
        Mat coef = naiveMul(n, x, true);
        EXPECT_NEAR(naiveMul(coef, coef, true).ptr<double>(0)[0], 1.0, 1e-10);
    }
}

TEST(ComputeSVD, LayoutsFollowTheFlags) {
    Mat a = randomMat(5, 3, MAT_Tfloat, 111, -1, 1);
    Mat w, u, v;
    ASSERT_EQ(tarvoutil::computeSVD(a, w, u, v, 0), 1);
    EXPECT_EQ(u.rows(), 5);
    EXPECT_EQ(u.cols(), 3);
    EXPECT_EQ(v.rows(), 3);
    EXPECT_EQ(u.type(), MAT_Tdouble);
    EXPECT_LT(maxDiff(naiveMul(naiveMul(u, diagOf(w)), v, false, true), a), 1e-10);

    Mat ut, vt;
    ASSERT_EQ(tarvoutil::computeSVD(a, w, ut, vt, SVD_U_T | SVD_V_T), 1);
    EXPECT_EQ(ut.rows(), 3);
    EXPECT_EQ(ut.cols(), 5);
    EXPECT_LT(maxDiff(naiveMul(naiveMul(ut, diagOf(w), true), vt), a), 1e-10);

    Mat uf, vf;
    ASSERT_EQ(tarvoutil::computeSVD(a, w, uf, vf, SVD_FULL), 1);
    EXPECT_EQ(uf.rows(), 5);
    EXPECT_EQ(uf.cols(), 5);
    EXPECT_LT(maxDiff(naiveMul(uf, uf, true), eye(5)), 1e-12);
    // The two extra columns of the full U span the orthogonal complement of A's columns.
    for (int c = 3; c < 5; c++)
        for (int j = 0; j < 3; j++) {
            double s = 0;
            for (int r = 0; r < 5; r++) s += at(uf, r, c) * at(a, r, j);
            EXPECT_NEAR(s, 0.0, 1e-6);
        }

    // Bad input: nothing is written.
    Mat keep = eye(2);
    EXPECT_EQ(tarvoutil::computeSVD(Mat(), w, keep, v, 0), 0);
    EXPECT_EQ(at(keep, 1, 1), 1.0);
}

// ------------------------------------------------------------ solve

TEST(TarvoutilSolve, LeastSquaresOverDetermined) {
    Mat a = randomMat(20, 5, MAT_Tdouble, 121, -1, 1), b = randomMat(20, 1, MAT_Tdouble, 122);
    Mat xn = LUDecomposition(naiveMul(a, a, true)).solve(naiveMul(a, b, true));
    Mat x1, x2;
    ASSERT_EQ(tarvoutil::solve(a, b, x1, SOLVE_SVD), 1);
    ASSERT_EQ(tarvoutil::solve(a, b, x2, SOLVE_QR), 1);
    EXPECT_LT(maxDiff(x1, xn), 1e-9);
    EXPECT_LT(maxDiff(x2, xn), 1e-9);
    Mat x0;
    EXPECT_EQ(tarvoutil::solve(a, b, x0, SOLVE_LU), 0);  // LU needs a square system
    EXPECT_FALSE(x0.isValid());

    // A caller's buffer wrapped as the solution receives it in place, as a
    // column or as a row vector.
    alignas(8) double buf[5 + 6];
    Mat col(buf, 5, 1, MAT_Tdouble, false);
    ASSERT_EQ(tarvoutil::solve(a, b, col, 1), 1);
    for (int i = 0; i < 5; i++) EXPECT_NEAR(buf[i], at(xn, i, 0), 1e-9);
    Mat row(buf, 1, 5, MAT_Tdouble, true);
    buf[0] = 0;
    ASSERT_EQ(tarvoutil::solve(a, b, row, 1), 1);
    EXPECT_NEAR(buf[0], at(xn, 0, 0), 1e-9);

    // Float systems give float solutions.
    Mat af = randomMat(8, 3, MAT_Tfloat, 123, -1, 1), bf = randomMat(8, 2, MAT_Tfloat, 124);
    Mat xf;
    ASSERT_EQ(tarvoutil::solve(af, bf, xf, 1), 1);
    EXPECT_EQ(xf.type1(), MAT_Tfloat);
    EXPECT_EQ(xf.rows(), 3);
    EXPECT_EQ(xf.cols(), 2);
}

TEST(TarvoutilSolve, SquareSingularUnderDeterminedAndRefusals) {
    Mat a = randomMat(6, 6, MAT_Tdouble, 131, -1, 1), b = randomMat(6, 2, MAT_Tdouble, 132);
    Mat x;
    ASSERT_EQ(tarvoutil::solve(a, b, x, SOLVE_LU), 1);
    EXPECT_LT(maxDiff(naiveMul(a, x), b), 1e-10);
    Mat spd = naiveMul(a, a, true);
    ASSERT_EQ(tarvoutil::solve(spd, b, x, SOLVE_CHOLESKY), 1);
    EXPECT_LT(maxDiff(naiveMul(spd, x), b), 1e-8);

    // Singular: LU, QR and Cholesky refuse and leave x alone; SVD gives the
    // minimum-norm least-squares solution.
    Mat s(3, 3, MAT_Tdouble);
    for (int r = 0; r < 3; r++)
        for (int c = 0; c < 3; c++) s.ptr<double>(r)[c] = 3 * r + c + 1;
    Mat bs = randomMat(3, 1, MAT_Tdouble, 133);
    Mat keep = eye(2);
    for (int method : {(int)SOLVE_LU, (int)SOLVE_QR, (int)SOLVE_CHOLESKY, 7, -1}) {
        EXPECT_EQ(tarvoutil::solve(s, bs, keep, method), 0);
        EXPECT_EQ(keep.rows(), 2);
        EXPECT_EQ(at(keep, 0, 0), 1.0);
    }
    Mat xs, pinv;
    ASSERT_EQ(tarvoutil::solve(s, bs, xs, SOLVE_SVD), 1);
    ASSERT_EQ(tarvoutil::pseudoInvert(s, pinv), 1);
    EXPECT_LT(maxDiff(xs, naiveMul(pinv, bs)), 1e-10);

    // Under-determined: an exact solution of minimum norm, x = Aᵀ (A Aᵀ)⁻¹ b.
    Mat w = randomMat(3, 5, MAT_Tdouble, 134, -1, 1), bw = randomMat(3, 1, MAT_Tdouble, 135);
    ASSERT_EQ(tarvoutil::solve(w, bw, x, SOLVE_SVD), 1);
    EXPECT_LT(maxDiff(naiveMul(w, x), bw), 1e-10);
    Mat ref = naiveMul(w, LUDecomposition(naiveMul(w, w, false, true)).solve(bw), true);
    EXPECT_LT(maxDiff(x, ref), 1e-10);

    // Mismatched or unusable operands.
    EXPECT_EQ(tarvoutil::solve(a, randomMat(5, 1, MAT_Tdouble, 1), keep, 1), 0);
    EXPECT_EQ(tarvoutil::solve(Mat(), b, keep, 1), 0);
    EXPECT_EQ(tarvoutil::solve(a, Mat(), keep, 1), 0);
    EXPECT_EQ(keep.rows(), 2);
}

TEST(TarvoutilPseudoInvert, ShapesAndPenroseIdentities) {
    Mat tall = randomMat(7, 3, MAT_Tdouble, 141, -1, 1), p;
    ASSERT_EQ(tarvoutil::pseudoInvert(tall, p), 1);
    EXPECT_EQ(p.rows(), 3);
    EXPECT_EQ(p.cols(), 7);
    EXPECT_LT(maxDiff(naiveMul(p, tall), eye(3)), 1e-12);
    Mat wide = randomMat(2, 6, MAT_Tfloat, 142, -1, 1);
    ASSERT_EQ(tarvoutil::pseudoInvert(wide, p), 1);
    EXPECT_EQ(p.type1(), MAT_Tfloat);
    EXPECT_LT(maxDiff(naiveMul(wide, p), eye(2)), 1e-5);
    Mat r = naiveMul(randomMat(5, 2, MAT_Tdouble, 143), randomMat(2, 4, MAT_Tdouble, 144));
    ASSERT_EQ(tarvoutil::pseudoInvert(r, p), 1);
    EXPECT_LT(maxDiff(naiveMul(naiveMul(r, p), r), r), 1e-9);
    EXPECT_LT(maxDiff(naiveMul(naiveMul(p, r), p), p), 1e-9);
    Mat keep = eye(2);
    EXPECT_EQ(tarvoutil::pseudoInvert(Mat(3, 3, MAT_Tuchar3), keep), 0);
    EXPECT_EQ(keep.rows(), 2);
}

// ------------------------------------------------------------ MatOp

TEST(MatOpGemm, EveryTransposeFlagAgainstNaive) {
    const double alpha = 1.5, beta = -0.75;
    for (int flags = 0; flags < 8; flags++) {
        const bool t1 = flags & 1, t2 = flags & 2, t3 = flags & 4;
        Mat a = t1 ? randomMat(4, 3, MAT_Tdouble, 151 + flags, -1, 1)
                   : randomMat(3, 4, MAT_Tdouble, 151 + flags, -1, 1);
        Mat b = t2 ? randomMat(5, 4, MAT_Tdouble, 161 + flags, -1, 1)
                   : randomMat(4, 5, MAT_Tdouble, 161 + flags, -1, 1);
        Mat c = t3 ? randomMat(5, 3, MAT_Tdouble, 171 + flags, -1, 1)
                   : randomMat(3, 5, MAT_Tdouble, 171 + flags, -1, 1);
        Mat ref = naiveMul(a, b, t1, t2);
        for (int r = 0; r < 3; r++)
            for (int cc = 0; cc < 5; cc++)
                ref.ptr<double>(r)[cc] =
                    alpha * at(ref, r, cc) + beta * (t3 ? at(c, cc, r) : at(c, r, cc));
        Mat d;
        MatOp::gemm(&a, &b, alpha, &c, beta, &d, flags);
        EXPECT_LT(maxDiff(d, ref), 1e-13) << "flags " << flags;
    }
}

TEST(MatOpGemm, NullAddendDepthsAliasingAndRefusals) {
    Mat a = randomMat(3, 4, MAT_Tfloat, 181, -1, 1), b = randomMat(4, 2, MAT_Tfloat, 182, -1, 1);
    Mat nanC(3, 2, MAT_Tdouble);
    for (int r = 0; r < 3; r++)
        for (int c = 0; c < 2; c++) nanC.ptr<double>(r)[c] = std::nan("");
    Mat d;
    MatOp::gemm(&a, &b, 2.0, &nanC, 0.0, &d, 0);  // beta 0: C is not read
    EXPECT_EQ(d.type1(), MAT_Tfloat);
    Mat ref = naiveMul(a, b);
    for (int r = 0; r < 3; r++)
        for (int c = 0; c < 2; c++) EXPECT_NEAR(at(d, r, c), 2 * at(ref, r, c), 1e-5);
    MatOp::gemm(&a, &b, 1.0, nullptr, 1.0, &d, 0);
    EXPECT_LT(maxDiff(d, ref), 1e-5);

    // The result may be one of the operands.
    Mat sq = randomMat(4, 4, MAT_Tdouble, 183, -1, 1), sqRef = naiveMul(sq, sq, true);
    MatOp::gemm(&sq, &sq, 1.0, nullptr, 0.0, &sq, 1);
    EXPECT_LT(maxDiff(sq, sqRef), 1e-13);

    // Mismatched shapes and null pointers leave the destination alone.
    Mat keep = eye(2);
    MatOp::gemm(&a, &a, 1.0, nullptr, 0.0, &keep, 0);
    MatOp::gemm(&a, &b, 1.0, &keep, 1.0, &keep, 0);
    MatOp::gemm(nullptr, &b, 1.0, nullptr, 0.0, &keep, 0);
    MatOp::gemm(&a, &b, 1.0, nullptr, 0.0, nullptr, 0);
    EXPECT_EQ(keep.rows(), 2);
    EXPECT_EQ(at(keep, 1, 1), 1.0);
}

TEST(MatOpProducts, MulTrAAABTrAAndScalarProducts) {
    Mat a = randomMat(5, 3, MAT_Tdouble, 191, -1, 1), b = randomMat(3, 4, MAT_Tdouble, 192, -1, 1);
    Mat c;
    MatOp::mul(&c, &a, &b);
    EXPECT_LT(maxDiff(c, naiveMul(a, b)), 1e-14);
    MatOp::trAA(&c, &a);
    EXPECT_EQ(c.rows(), 3);
    EXPECT_LT(maxDiff(c, naiveMul(a, a, true)), 1e-14);
    Mat e = randomMat(6, 3, MAT_Tdouble, 193, -1, 1);
    MatOp::ABTrA(&c, &a, &e);
    EXPECT_EQ(c.rows(), 5);
    EXPECT_EQ(c.cols(), 6);
    EXPECT_LT(maxDiff(c, naiveMul(a, e, false, true)), 1e-14);

    // Matrix times vector, float in and float out.
    Mat_<float> m(2, 3);
    Vec_<float> x(3), y;
    for (int i = 0; i < 6; i++) m[i / 3][i % 3] = (float)(i + 1);
    for (int i = 0; i < 3; i++) x[i] = (float)(i - 1);
    MatOp::mul(&y, &m, &x);
    ASSERT_EQ(y.length(), 2);
    EXPECT_EQ(y.type(), MAT_Tfloat);
    EXPECT_EQ(y[0], 2.0f);  // -1 + 0 + 3
    EXPECT_EQ(y[1], 2.0f);  // -4 + 0 + 6
    Vec_<float> shortX(2);
    MatOp::mul(&y, &m, &shortX);
    EXPECT_EQ(y[0], 2.0f);

    Vec_<double> u(3), v(3);
    for (int i = 0; i < 3; i++) {
        u[i] = i + 1;
        v[i] = 2 - i;
    }
    EXPECT_EQ(MatOp::dotProduct(&u, &v), 2.0 + 2.0 + 0.0);
    EXPECT_EQ(MatOp::dotProduct(&u, nullptr), 0.0);

    Mat p = randomMat(4, 5, MAT_Tfloat3, 194, -1, 1), q = randomMat(4, 5, MAT_Tfloat3, 195, -1, 1);
    double s = 0;
    for (int r = 0; r < 4; r++)
        for (int cc = 0; cc < 5; cc++)
            for (int k = 0; k < 3; k++) s += at(p, r, cc, k) * at(q, r, cc, k);
    EXPECT_NEAR(MatOp::scalarProduct(&p, &q), s, 1e-12);
    EXPECT_EQ(MatOp::scalarProduct(&p, &a), 0.0);
}

}  // namespace
}  // namespace tarvo
#endif  // TARVO_TEST_LINALG_OPS
