// Decompositions, solvers and matrix products, checked against naive loops
// and algebraic identities (reconstruction, orthogonality, residuals).
#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "support/naive_linalg.h"
#include "support/test_util.h"
#include "tarvo/linalg.h"
#include "tarvo/mat.h"

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

Mat fromRows(int rows, int cols, std::initializer_list<double> v, int depth = MAT_Tdouble) {
    Mat m(rows, cols, depth);
    int i = 0;
    for (double x : v) {
        if (depth == MAT_Tfloat)
            m.ptr<float>(i / cols)[i % cols] = (float)x;
        else
            m.ptr<double>(i / cols)[i % cols] = x;
        i++;
    }
    return m;
}

// rows x cols of rank r: a product of random rows x r and r x cols factors.
Mat rankDeficient(int rows, int cols, int r, uint32_t seed) {
    return naiveMul(randomMat(rows, r, MAT_Tdouble, seed, -1, 1),
                    randomMat(r, cols, MAT_Tdouble, seed + 1, -1, 1));
}

// ------------------------------------------------------------ SVD

void checkSvd(const Mat& a, int expectRank) {
    SingularValueDecomposition svd(a);
    ASSERT_TRUE(svd.isValid());
    const int k = std::min(a.rows(), a.cols());
    Mat u = svd.GetU(), v = svd.GetV(), s = svd.GetS();
    Vec w = svd.singularValues();
    ASSERT_EQ(u.rows(), a.rows());
    ASSERT_EQ(u.cols(), k);
    ASSERT_EQ(v.rows(), a.cols());
    ASSERT_EQ(v.cols(), k);
    ASSERT_EQ(w.length(), k);
    for (int i = 0; i < k; i++) {
        EXPECT_GE(w.data.db[i], 0.0);
        if (i > 0) {
            EXPECT_LE(w.data.db[i], w.data.db[i - 1]);
        }
        EXPECT_EQ(at(s, i, i), w.data.db[i]);
    }
    EXPECT_LT(maxDiff(naiveMul(naiveMul(u, s), v, false, true), a), 1e-10);
    EXPECT_LT(maxDiff(naiveMul(u, u, true), eye(k)), 1e-10);
    EXPECT_LT(maxDiff(naiveMul(v, v, true), eye(k)), 1e-10);
    EXPECT_EQ(svd.rank(), expectRank);
    EXPECT_DOUBLE_EQ(svd.norm2(), w.data.db[0]);
}

TEST(SingularValueDecomposition, ReconstructsEveryShape) {
    checkSvd(randomMat(6, 6, MAT_Tdouble, 1, -1, 1), 6);
    checkSvd(randomMat(9, 4, MAT_Tdouble, 2, -1, 1), 4);
    checkSvd(randomMat(4, 9, MAT_Tdouble, 3, -1, 1), 4);
    checkSvd(randomMat(1, 5, MAT_Tdouble, 4, -1, 1), 1);
    checkSvd(rankDeficient(7, 6, 3, 5), 3);
    checkSvd(rankDeficient(5, 8, 2, 7), 2);
    // Large enough to take the divide-and-conquer path.
    checkSvd(randomMat(100, 80, MAT_Tdouble, 9, -1, 1), 80);
}

TEST(SingularValueDecomposition, FloatInputAndKnownValues) {
    // diag(3, -5, 0) permuted: singular values 5, 3, 0.
    Mat a = fromRows(3, 3, {0, 3, 0, -5, 0, 0, 0, 0, 0}, MAT_Tfloat);
    SingularValueDecomposition svd(a);
    ASSERT_TRUE(svd.isValid());
    Vec w = svd.singularValues();
    EXPECT_NEAR(w.data.db[0], 5, 1e-12);
    EXPECT_NEAR(w.data.db[1], 3, 1e-12);
    EXPECT_NEAR(w.data.db[2], 0, 1e-12);
    EXPECT_EQ(svd.rank(), 2);
    EXPECT_TRUE(std::isinf(svd.condition()) || svd.condition() > 1e15);
    EXPECT_EQ(svd.GetU().type(), MAT_Tdouble);
    EXPECT_NEAR(SingularValueDecomposition(eye(4)).condition(), 1.0, 1e-12);
}

TEST(Decompositions, UnusableInputGivesInvalidResults) {
    Mat nanMat = eye(3);
    nanMat.ptr<double>(1)[2] = std::nan("");
    Mat color(3, 3, MAT_Tfloat3);
    color.zero();
    const Mat bad[3] = {Mat(), nanMat, color};
    for (const Mat& m : bad) {
        const Mat* a = &m;
        SingularValueDecomposition svd(*a);
        EXPECT_FALSE(svd.isValid());
        EXPECT_FALSE(svd.GetU().isValid());
        EXPECT_FALSE(svd.GetS().isValid());
        EXPECT_EQ(svd.singularValues().length(), 0);
        EXPECT_EQ(svd.rank(), 0);
        EXPECT_EQ(svd.norm2(), 0.0);
        LUDecomposition lu(*a);
        EXPECT_FALSE(lu.isValid());
        EXPECT_FALSE(lu.isNonSingular());
        EXPECT_EQ(lu.determinant(), 0.0);
        EXPECT_FALSE(lu.L().isValid());
        EXPECT_FALSE(lu.solve(eye(3)).isValid());
        QRDecomposition qr(*a);
        EXPECT_FALSE(qr.isValid());
        EXPECT_FALSE(qr.FullRank());
        EXPECT_FALSE(qr.solve(eye(3)).isValid());
        CholeskyDecomposition ch(*a);
        EXPECT_FALSE(ch.spd());
        EXPECT_FALSE(ch.solve(eye(3)).isValid());
        EigenvalueDecomposition ev(*a);
        EXPECT_FALSE(ev.isValid());
        EXPECT_FALSE(ev.D().isValid());
        EXPECT_EQ(ev.realEigenvalues().length(), 0);
        EXPECT_FALSE(a->inverted().isValid());
    }
}

// ------------------------------------------------------------ LU

TEST(LUDecomposition, DeterminantFactorsAndSolve) {
    LUDecomposition lu(fromRows(3, 3, {4, 3, 2, 2, 1, 3, 3, 2, 1}));
    ASSERT_TRUE(lu.isNonSingular());
    EXPECT_NEAR(lu.determinant(), 3.0, 1e-12);
    EXPECT_NEAR(LUDecomposition(fromRows(2, 2, {0, 1, 1, 0})).determinant(), -1.0, 0);
    EXPECT_NEAR(LUDecomposition(fromRows(1, 1, {-2.5}, MAT_Tfloat)).determinant(), -2.5, 0);

    Mat a = randomMat(8, 8, MAT_Tdouble, 11, -1, 1);
    LUDecomposition lu8(a);
    ASSERT_TRUE(lu8.isNonSingular());
    // L U is A with its rows permuted by Pivot; doublePivot agrees.
    Mat l = lu8.L(), u = lu8.U(), lu_ = naiveMul(l, u);
    Vec piv = lu8.Pivot(), dpiv = lu8.doublePivot();
    ASSERT_EQ(piv.length(), 8);
    ASSERT_EQ(piv.type(), MAT_Tint);
    for (int r = 0; r < 8; r++) {
        EXPECT_EQ(dpiv.data.db[r], (double)piv.data.i[r]);
        EXPECT_EQ(at(l, r, r), 1.0);
        for (int c = 0; c < 8; c++) {
            if (c > r) {
                EXPECT_EQ(at(l, r, c), 0.0);
            }
            if (c < r) {
                EXPECT_EQ(at(u, r, c), 0.0);
            }
            EXPECT_NEAR(at(lu_, r, c), at(a, piv.data.i[r], c), 1e-12);
        }
    }
    // The determinant matches the product of the singular values in size.
    Vec w = SingularValueDecomposition(a).singularValues();
    double prod = 1;
    for (int i = 0; i < 8; i++) prod *= w.data.db[i];
    EXPECT_NEAR(std::fabs(lu8.determinant()), prod, 1e-10);

    Mat b = randomMat(8, 3, MAT_Tdouble, 12, -1, 1);
    Mat x = lu8.solve(b);
    EXPECT_LT(maxDiff(naiveMul(a, x), b), 1e-10);
    EXPECT_FALSE(lu8.solve(randomMat(7, 1, MAT_Tdouble, 1)).isValid());
}

TEST(LUDecomposition, SingularAndNonSquare) {
    for (const Mat& s : {fromRows(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}), fromRows(2, 2, {1, 2, 2, 4}),
                         Mat(fromRows(2, 2, {0, 0, 0, 0}))}) {
        LUDecomposition lu(s);
        EXPECT_TRUE(lu.isValid());
        EXPECT_FALSE(lu.isNonSingular());
        EXPECT_NEAR(lu.determinant(), 0.0, 1e-12);
        EXPECT_FALSE(lu.solve(randomMat(s.rows(), 1, MAT_Tdouble, 3)).isValid());
    }
    EXPECT_FALSE(LUDecomposition(randomMat(3, 4, MAT_Tdouble, 1)).isValid());
    // A tiny but regular matrix is not singular: the test is relative.
    EXPECT_TRUE(LUDecomposition(fromRows(2, 2, {1e-200, 0, 0, 1e-200})).isNonSingular());
}

// ------------------------------------------------------------ QR

TEST(QRDecomposition, FactorsAndLeastSquaresMatchNormalEquations) {
    Mat a = randomMat(10, 4, MAT_Tdouble, 21, -1, 1);
    QRDecomposition qr(a);
    ASSERT_TRUE(qr.FullRank());
    Mat q = qr.Q(), r = qr.R(), h = qr.H();
    ASSERT_EQ(q.rows(), 10);
    ASSERT_EQ(q.cols(), 4);
    ASSERT_EQ(r.rows(), 4);
    ASSERT_EQ(r.cols(), 4);
    EXPECT_LT(maxDiff(naiveMul(q, r), a), 1e-12);
    EXPECT_LT(maxDiff(naiveMul(q, q, true), eye(4)), 1e-12);
    for (int i = 1; i < 4; i++)
        for (int j = 0; j < i; j++) EXPECT_EQ(at(r, i, j), 0.0);
    // Q is the product of the reflections stored in H, applied to I's first columns.
    Mat qh(10, 4, MAT_Tdouble);
    for (int rr = 0; rr < 10; rr++)
        for (int c = 0; c < 4; c++) qh.ptr<double>(rr)[c] = rr == c ? 1.0 : 0.0;
    for (int j = 3; j >= 0; j--) {
        double vv = 0;
        for (int i = 0; i < 10; i++) vv += at(h, i, j) * at(h, i, j);
        if (vv == 0) continue;
        for (int c = 0; c < 4; c++) {
            double d = 0;
            for (int i = 0; i < 10; i++) d += at(h, i, j) * at(qh, i, c);
            for (int i = 0; i < 10; i++) qh.ptr<double>(i)[c] -= 2 * at(h, i, j) * d / vv;
        }
    }
    EXPECT_LT(maxDiff(qh, q), 1e-12);

    // Least squares against AᵀA x = Aᵀb.
    Mat b = randomMat(10, 2, MAT_Tdouble, 22, -1, 1);
    Mat x = qr.solve(b);
    Mat xn = LUDecomposition(naiveMul(a, a, true)).solve(naiveMul(a, b, true));
    EXPECT_LT(maxDiff(x, xn), 1e-10);
}

TEST(QRDecomposition, RankDeficientAndWide) {
    Mat a = randomMat(6, 3, MAT_Tdouble, 31, -1, 1);
    for (int r = 0; r < 6; r++) a.ptr<double>(r)[2] = 2 * a.ptr<double>(r)[0];
    QRDecomposition qr(a);
    EXPECT_TRUE(qr.isValid());
    EXPECT_FALSE(qr.FullRank());
    EXPECT_FALSE(qr.solve(randomMat(6, 1, MAT_Tdouble, 2)).isValid());
    Mat w = randomMat(3, 5, MAT_Tdouble, 32, -1, 1);
    QRDecomposition qw(w);
    ASSERT_TRUE(qw.isValid());
    EXPECT_FALSE(qw.FullRank());
    EXPECT_EQ(qw.R().rows(), 3);
    EXPECT_EQ(qw.R().cols(), 5);
    EXPECT_LT(maxDiff(naiveMul(qw.Q(), qw.R()), w), 1e-12);
}

// ------------------------------------------------------------ Cholesky

TEST(CholeskyDecomposition, FactorsSpdAndRefusesOthers) {
    Mat g = randomMat(6, 6, MAT_Tdouble, 41, -1, 1);
    Mat a = naiveMul(g, g, true);
    for (int i = 0; i < 6; i++) a.ptr<double>(i)[i] += 1.0;
    CholeskyDecomposition ch(a);
    ASSERT_TRUE(ch.spd());
    Mat l = ch.getL();
    for (int r = 0; r < 6; r++)
        for (int c = r + 1; c < 6; c++) EXPECT_EQ(at(l, r, c), 0.0);
    EXPECT_LT(maxDiff(naiveMul(l, l, false, true), a), 1e-12);
    Mat b = randomMat(6, 2, MAT_Tdouble, 42, -1, 1);
    EXPECT_LT(maxDiff(naiveMul(a, ch.solve(b)), b), 1e-10);

    // Symmetric but indefinite, and non-symmetric, and non-square.
    for (const Mat& bad : {fromRows(2, 2, {1, 2, 2, 1}), fromRows(2, 2, {2, 1, 0, 2}),
                           fromRows(2, 2, {0, 0, 0, 0}), randomMat(2, 3, MAT_Tdouble, 1)}) {
        CholeskyDecomposition c(bad);
        EXPECT_FALSE(c.spd());
        EXPECT_FALSE(c.getL().isValid());
        EXPECT_FALSE(c.solve(eye(2)).isValid());
    }
}

// ------------------------------------------------------------ eigenvalues

TEST(EigenvalueDecomposition, SymmetricGivesAscendingOrthonormal) {
    Mat g = randomMat(5, 5, MAT_Tdouble, 51, -1, 1);
    Mat a = naiveMul(g, g, false, true);
    EigenvalueDecomposition ev(a);
    ASSERT_TRUE(ev.isValid());
    EXPECT_TRUE(ev.isSymmetric());
    Mat v = ev.GetV(), d = ev.D();
    Vec re = ev.realEigenvalues(), im = ev.imagEigenvalues();
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(im.data.db[i], 0.0);
        EXPECT_EQ(at(d, i, i), re.data.db[i]);
        if (i > 0) {
            EXPECT_LE(re.data.db[i - 1], re.data.db[i]);
        }
    }
    EXPECT_LT(maxDiff(naiveMul(a, v), naiveMul(v, d)), 1e-12);
    EXPECT_LT(maxDiff(naiveMul(v, v, true), eye(5)), 1e-12);
}

TEST(EigenvalueDecomposition, NonSymmetricRealAndComplexPairs) {
    EigenvalueDecomposition tri(fromRows(2, 2, {2, 1, 0, 3}));
    ASSERT_TRUE(tri.isValid());
    EXPECT_FALSE(tri.isSymmetric());
    double e0 = tri.realEigenvalues().data.db[0], e1 = tri.realEigenvalues().data.db[1];
    EXPECT_NEAR(std::min(e0, e1), 2.0, 1e-12);
    EXPECT_NEAR(std::max(e0, e1), 3.0, 1e-12);

    // A rotation by 90 degrees: eigenvalues +i and -i, the positive one first.
    EigenvalueDecomposition rot(fromRows(2, 2, {0, -1, 1, 0}));
    ASSERT_TRUE(rot.isValid());
    EXPECT_NEAR(rot.realEigenvalues().data.db[0], 0.0, 1e-12);
    EXPECT_NEAR(rot.imagEigenvalues().data.db[0], 1.0, 1e-12);
    EXPECT_NEAR(rot.imagEigenvalues().data.db[1], -1.0, 1e-12);
    Mat d = rot.D();
    EXPECT_NEAR(at(d, 0, 1), 1.0, 1e-12);
    EXPECT_NEAR(at(d, 1, 0), -1.0, 1e-12);

    // A 4 x 4 with one complex pair and two real values; A V = V D holds.
    Mat a = fromRows(4, 4, {1, -2, 0, 0, 3, 1, 0.5, 0, 0, 0, 4, 1, 0.25, 0, 0, -1});
    EigenvalueDecomposition ev(a);
    ASSERT_TRUE(ev.isValid());
    EXPECT_LT(maxDiff(naiveMul(a, ev.GetV()), naiveMul(ev.GetV(), ev.D())), 1e-10);
    int complexCount = 0;
    double sumRe = 0;
    for (int i = 0; i < 4; i++) {
        sumRe += ev.realEigenvalues().data.db[i];
        if (ev.imagEigenvalues().data.db[i] != 0) complexCount++;
    }
    EXPECT_EQ(complexCount, 2);
    EXPECT_NEAR(sumRe, 1 + 1 + 4 - 1, 1e-10);  // the trace
    EXPECT_FALSE(EigenvalueDecomposition(randomMat(2, 3, MAT_Tdouble, 1)).isValid());
}

// ------------------------------------------------------------ Mat operations

TEST(MatLinalg, InvertedRegularAndSingular) {
    Mat a = randomMat(5, 5, MAT_Tdouble, 61, -1, 1);
    Mat inv = a.inverted();
    ASSERT_EQ(inv.type(), MAT_Tdouble);
    EXPECT_LT(maxDiff(naiveMul(a, inv), eye(5)), 1e-10);

    Mat af = randomMat(3, 3, MAT_Tfloat, 62, -1, 1);
    Mat invf = af.inverted();
    EXPECT_EQ(invf.type1(), MAT_Tfloat);
    EXPECT_LT(maxDiff(naiveMul(af, invf), eye(3)), 1e-4);

    // Singular: the pseudo-inverse, which satisfies the Penrose identities.
    Mat s = fromRows(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    Mat p = s.inverted();
    ASSERT_TRUE(p.isValid());
    EXPECT_LT(maxDiff(naiveMul(naiveMul(s, p), s), s), 1e-10);
    EXPECT_LT(maxDiff(naiveMul(naiveMul(p, s), p), p), 1e-10);
    Mat z = fromRows(2, 2, {0, 0, 0, 0});
    EXPECT_EQ(maxDiff(z.inverted(), z), 0.0);

    EXPECT_FALSE(randomMat(2, 3, MAT_Tdouble, 1).inverted().isValid());
    EXPECT_FALSE(Mat().inverted().isValid());
}

TEST(MatLinalg, ProductSumAgainstNaive) {
    Mat a = randomMat(4, 7, MAT_Tdouble, 71, -1, 1), b = randomMat(7, 3, MAT_Tdouble, 72, -1, 1);
    Mat c = a * b;
    EXPECT_EQ(c.type1(), MAT_Tdouble);
    EXPECT_LT(maxDiff(c, naiveMul(a, b)), 1e-14);
    Mat af = randomMat(4, 7, MAT_Tfloat, 73), bf = randomMat(7, 3, MAT_Tfloat, 74);
    Mat cf = af * bf;
    EXPECT_EQ(cf.type1(), MAT_Tfloat);
    EXPECT_LT(maxDiff(cf, naiveMul(af, bf)), 1e-2);
    EXPECT_EQ((af * b).type1(), MAT_Tdouble);
    EXPECT_FALSE((a * a).isValid());
    EXPECT_FALSE((Mat() * b).isValid());

    Mat s = a + a;
    EXPECT_LT(maxDiff(s, naiveMul(a, eye(7)) + naiveMul(a, eye(7))), 1e-15);
    for (int r = 0; r < 4; r++)
        for (int cc = 0; cc < 7; cc++) EXPECT_EQ(at(s, r, cc), 2 * at(a, r, cc));
    EXPECT_FALSE((a + b).isValid());
    // Byte sums saturate; colour matrices add channel by channel.
    Mat u8(2, 2, MAT_Tuchar3);
    for (int r = 0; r < 2; r++)
        for (int i = 0; i < 6; i++) u8.ptr<unsigned char>(r)[i] = (unsigned char)(100 + 20 * i);
    Mat su = u8 + u8;
    EXPECT_EQ(su.type1(), MAT_Tuchar3);
    EXPECT_EQ(at(su, 0, 0, 0), 200);
    EXPECT_EQ(at(su, 1, 1, 2), 255);
}

TEST(MatLinalg, TransposeDiagAndWrappedStorage) {
    Mat a = randomMat(3, 5, MAT_Tshort3, 81);
    Mat t = a.transposed();
    ASSERT_EQ(t.rows(), 5);
    ASSERT_EQ(t.cols(), 3);
    EXPECT_EQ(t.type1(), MAT_Tshort3);
    for (int r = 0; r < 3; r++)
        for (int c = 0; c < 5; c++)
            for (int k = 0; k < 3; k++) EXPECT_EQ(at(t, c, r, k), at(a, r, c, k));
    Mat b = a.clone();
    b.transpose();
    EXPECT_TRUE(test::matEqual(b, t));
    EXPECT_FALSE(Mat().transposed().isValid());

    // Transposing a matrix that wraps foreign memory leaves that memory alone.
    alignas(8) unsigned char block[4 * sizeof(float) + 3 * sizeof(void*)];
    float* px = reinterpret_cast<float*>(block);
    for (int i = 0; i < 4; i++) px[i] = (float)i;
    Mat_<float> w(px, 2, 2, false);
    w.transpose();
    EXPECT_EQ(w[0][1], 2.0f);
    EXPECT_EQ(px[1], 1.0f);

    Vec v(3, MAT_Tint);
    v.data.i[0] = 4;
    v.data.i[1] = -1;
    v.data.i[2] = 7;
    Mat d = diag(v);
    EXPECT_EQ(d.type1(), MAT_Tint);
    for (int r = 0; r < 3; r++)
        for (int c = 0; c < 3; c++) EXPECT_EQ(at(d, r, c), r == c ? v.data.i[r] : 0);
    EXPECT_FALSE(diag(Vec()).isValid());
}

TEST(MatLinalg, TypedProductsRowsAndColumns) {
    Mat_<float> a(3, 4), b(4, 2);
    test::fillRandom(a, 91, -2, 2);
    test::fillRandom(b, 92, -2, 2);
    Mat_<float> c = a * b;
    Mat ref = naiveMul(a, b);
    EXPECT_LT(maxDiff(c, ref), 1e-5);
    // eqProd writes into the existing result, also when it is one of the inputs.
    Mat_<float> sq(4, 4), sqRef;
    test::fillRandom(sq, 93, -1, 1);
    Mat ref2 = naiveMul(sq, sq);
    float* before = sq[0];
    sq.eqProd(sq, sq);
    EXPECT_EQ(sq[0], before);
    EXPECT_LT(maxDiff(sq, ref2), 1e-5);
    Mat_<float> wrongShape(2, 2);
    wrongShape = 5.0;
    wrongShape.eqProd(a, b);
    EXPECT_EQ(wrongShape[1][1], 5.0f);
    EXPECT_TRUE((a * a).empty());

    Vec_<float> x(4);
    for (int i = 0; i < 4; i++) x[i] = (float)(i + 1);
    Vec_<float> y = a * x;
    ASSERT_EQ(y.length(), 3);
    for (int r = 0; r < 3; r++) {
        double s = 0;
        for (int k = 0; k < 4; k++) s += (double)a[r][k] * x[k];
        EXPECT_EQ(y[r], (float)s);
    }
    Vec_<float> y2;
    y2.eqProd(a, x);
    EXPECT_EQ(y2[2], y[2]);
    EXPECT_EQ((a * y).length(), 0);

    Mat_<float> at_ = a.transposed();
    EXPECT_EQ(at_.rows(), 4);
    EXPECT_EQ(at_[3][2], a[2][3]);
    Vec_<float> r1 = a.row(1);
    ASSERT_EQ(r1.length(), 4);
    EXPECT_EQ(r1[3], a[1][3]);
    EXPECT_EQ(a.row(3).length(), 0);
    Vec_<float> col(7);
    a.col(2, col);
    ASSERT_EQ(col.length(), 3);
    EXPECT_EQ(col[2], a[2][2]);
    Mat_<double> ad(2, 2);
    ad = 1.5;
    EXPECT_EQ((ad * ad)[0][0], 4.5);
}

TEST(VecLinalg, NormsExtremesAndLinspace) {
    Vec_<double> v(4);
    v[0] = 3;
    v[1] = -4;
    v[2] = 0;
    v[3] = 0;
    EXPECT_EQ(v.sq_norm(), 25.0);
    int idx = -2;
    EXPECT_EQ(v.min(idx), -4.0);
    EXPECT_EQ(idx, 1);
    EXPECT_EQ(v.max(idx), 3.0);
    EXPECT_EQ(idx, 0);
    EXPECT_EQ(v.unit(), 5.0);
    EXPECT_DOUBLE_EQ(v[0], 0.6);
    EXPECT_NEAR(v.sq_norm(), 1.0, 1e-15);
    Vec_<float> zero(3);
    zero = 0.0f;
    EXPECT_EQ(zero.unit(), 0.0);
    EXPECT_EQ(zero[0], 0.0f);
    Vec empty;
    EXPECT_EQ(empty.max(idx), 0.0);
    EXPECT_EQ(idx, -1);

    Vec l;
    l.linspace(-1, 2, 7);
    ASSERT_EQ(l.length(), 7);
    EXPECT_EQ(l.type(), MAT_Tdouble);
    EXPECT_EQ(l.data.db[0], -1.0);
    EXPECT_DOUBLE_EQ(l.data.db[2], 0.0);
    EXPECT_EQ(l.data.db[6], 2.0);
    Vec_<float> lf(2);
    lf.linspace(0, 1, 5);
    EXPECT_EQ(lf.type(), MAT_Tfloat);
    EXPECT_EQ(lf.length(), 5);
    EXPECT_EQ(lf[1], 0.25f);
    l.linspace(3, 9, 1);
    EXPECT_EQ(l.data.db[0], 9.0);
    l.linspace(0, 1, 0);
    EXPECT_EQ(l.length(), 0);
}

}  // namespace
}  // namespace tarvo
