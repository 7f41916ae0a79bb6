// The dense solvers of tarvoutil and the matrix products of MatOp. The
// factorisations themselves are in decompositions.cpp; products are the plain
// double loops of linalg.cpp.
#include <utility>
#include <vector>

#include "linalg_internal.h"
#include "tarvo/linalg.h"
#include "tarvo/mat.h"

// tarvoutil and MatOp are declared with the rest of their classes elsewhere
// in the base library; each part below is compiled once its header is present.
#if __has_include("tarvo/tarvoutil.h")
#include "tarvo/tarvoutil.h"
#define TARVO_HAVE_TARVOUTIL 1
#else
#define TARVO_HAVE_TARVOUTIL 0
#endif
#if __has_include("tarvo/matop.h")
#include "tarvo/matop.h"
#define TARVO_HAVE_MATOP 1
#else
#define TARVO_HAVE_MATOP 0
#endif

namespace tarvo {

namespace {

[[maybe_unused]] bool isFloatDepth(int depth) {
    return depth == MAT_Tfloat || depth == MAT_Tdouble;
}

// Delivers a double result into dst. dst keeps its storage when it already is
// a one-channel float or double matrix of the result's shape, or, when
// rowVectorOk and the result is a column, of the transposed shape (a caller's
// row vector). Otherwise dst is re-created in `depth`.
[[maybe_unused]] bool deliver(const Mat& res, Mat& dst, int depth, bool rowVectorOk) {
    std::vector<double> buf = detail::denseOf(res);
    if (buf.empty()) return false;
    const int rows = res.rows(), cols = res.cols();
    const bool usable = dst.isValid() && dst.channels() == 1 && isFloatDepth(dst.type());
    if (usable && dst.rows() == rows && dst.cols() == cols)
        return detail::writeDense(buf.data(), rows, cols, dst.type(), dst);
    if (usable && rowVectorOk && cols == 1 && dst.rows() == 1 && dst.cols() == rows)
        return detail::writeDense(buf.data(), 1, rows, dst.type(), dst);
    Mat fresh;
    if (!detail::writeDense(buf.data(), rows, cols, depth, fresh)) return false;
    dst = std::move(fresh);
    return true;
}

// Float stays float, every other depth gives double.
[[maybe_unused]] int resultDepth(const Mat& a) {
    return a.type() == MAT_Tfloat ? MAT_Tfloat : MAT_Tdouble;
}

// A dense double copy of op(a): a itself or its transpose.
[[maybe_unused]] bool denseOp(const Mat& a, bool t, std::vector<double>& out, int& rows,
                              int& cols) {
    std::vector<double> d = detail::denseOf(a);
    if (d.empty()) return false;
    rows = t ? a.cols() : a.rows();
    cols = t ? a.rows() : a.cols();
    if (!t) {
        out.swap(d);
        return true;
    }
    out.resize(d.size());
    for (int r = 0; r < a.rows(); r++)
        for (int c = 0; c < a.cols(); c++)
            out[(size_t)c * a.rows() + (size_t)r] = d[(size_t)r * a.cols() + (size_t)c];
    return true;
}

[[maybe_unused]] constexpr int kGemmT1 = 1;  // transpose the first factor
[[maybe_unused]] constexpr int kGemmT2 = 2;  // transpose the second factor
[[maybe_unused]] constexpr int kGemmT3 = 4;  // transpose the added matrix

// d = alpha op(a) op(b) + beta op(c); c is ignored when null or beta is 0.
// Returns false (d untouched) on unusable inputs or mismatched shapes.
[[maybe_unused]] bool gemmImpl(const Mat* a, const Mat* b, double alpha, const Mat* c, double beta,
                               Mat* d, int flags) {
    if (!a || !b || !d) return false;
    std::vector<double> da, db, dc;
    int m, k, k2, n;
    if (!denseOp(*a, (flags & kGemmT1) != 0, da, m, k) ||
        !denseOp(*b, (flags & kGemmT2) != 0, db, k2, n) || k != k2)
        return false;
    const bool useC = c != nullptr && beta != 0.0;
    if (useC) {
        int cm, cn;
        if (!denseOp(*c, (flags & kGemmT3) != 0, dc, cm, cn) || cm != m || cn != n) return false;
    }
    std::vector<double> prod((size_t)m * (size_t)n);
    detail::multiplyDense(da.data(), db.data(), prod.data(), m, k, n);
    for (size_t i = 0; i < prod.size(); i++) {
        prod[i] *= alpha;
        if (useC) prod[i] += beta * dc[i];
    }
    bool allFloat = a->type() == MAT_Tfloat && b->type() == MAT_Tfloat;
    if (useC) allFloat = allFloat && c->type() == MAT_Tfloat;
    return detail::writeDense(prod.data(), m, n, allFloat ? MAT_Tfloat : MAT_Tdouble, *d);
}

}  // namespace

// ------------------------------------------------------------ tarvoutil

#if TARVO_HAVE_TARVOUTIL

int tarvoutil::solve(const Mat& A, const Mat& b, Mat& x, int method) {
    Mat res;
    if (!detail::solveSystem(A, b, res, method)) return 0;
    return deliver(res, x, resultDepth(A), true) ? 1 : 0;
}

int tarvoutil::computeSVD(const Mat& A, Mat& W, Mat& U, Mat& Vt, int flags) {
    Mat w, u, v;
    if (!detail::svdCompute(A, (flags & SVD_FULL) != 0, w, u, v)) return 0;
    if (flags & SVD_U_T) u = u.transposed();
    if (flags & SVD_V_T) v = v.transposed();
    if (!deliver(w, W, MAT_Tdouble, true) || !deliver(u, U, MAT_Tdouble, false) ||
        !deliver(v, Vt, MAT_Tdouble, false))
        return 0;
    return 1;
}

int tarvoutil::pseudoInvert(const Mat& A, Mat& inv) {
    Mat res;
    if (!detail::pseudoInverse(A, res)) return 0;
    return deliver(res, inv, resultDepth(A), false) ? 1 : 0;
}

#endif  // TARVO_HAVE_TARVOUTIL

// ------------------------------------------------------------ MatOp

#if TARVO_HAVE_MATOP

void MatOp::mul(Mat* dst, const Mat* a, const Mat* b) {
    gemmImpl(a, b, 1.0, nullptr, 0.0, dst, 0);
}

void MatOp::mul(Vec* dst, const Mat* a, const Vec* x) {
    if (!dst || !a || !x || !detail::isPlainMatrix(*a) || x->length() != a->cols() || !x->isValid())
        return;
    std::vector<double> da = detail::denseOf(*a);
    if (da.empty()) return;
    const int m = a->rows(), n = a->cols();
    std::vector<double> xv((size_t)n), y((size_t)m);
    for (int i = 0; i < n; i++) xv[(size_t)i] = detail::vecValue(*x, i);
    detail::multiplyDense(da.data(), xv.data(), y.data(), m, n, 1);
    const int depth =
        (a->type() == MAT_Tfloat && x->type() == MAT_Tfloat) ? MAT_Tfloat : MAT_Tdouble;
    // Keep the destination's storage (it may wrap a caller's buffer) when it
    // already holds m float or double elements.
    if (!(dst->length() == m && isFloatDepth(dst->type()) && dst->isValid()) &&
        dst->create(m, depth) != 1)
        return;
    for (int i = 0; i < m; i++) detail::setVecValue(*dst, i, y[(size_t)i]);
}

void MatOp::gemm(const Mat* a, const Mat* b, double alpha, const Mat* c, double beta, Mat* d,
                 int flags) {
    gemmImpl(a, b, alpha, c, beta, d, flags);
}

double MatOp::dotProduct(const Vec* a, const Vec* b) {
    if (!a || !b || !a->isValid() || !b->isValid()) return 0.0;
    const int n = a->length() < b->length() ? a->length() : b->length();
    double s = 0.0;
    for (int i = 0; i < n; i++) s += detail::vecValue(*a, i) * detail::vecValue(*b, i);
    return s;
}

double MatOp::scalarProduct(const Mat* a, const Mat* b) {
    if (!a || !b || !a->isValid() || !b->isValid() || a->rows() != b->rows() ||
        a->cols() != b->cols() || a->channels() != b->channels())
        return 0.0;
    const int n = a->cols() * a->channels();
    std::vector<double> ra((size_t)n), rb((size_t)n);
    double s = 0.0;
    for (int r = 0; r < a->rows(); r++) {
        detail::readRowValues(*a, r, n, ra.data());
        detail::readRowValues(*b, r, n, rb.data());
        for (int i = 0; i < n; i++) s += ra[(size_t)i] * rb[(size_t)i];
    }
    return s;
}

void MatOp::trAA(Mat* dst, const Mat* a) {
    gemmImpl(a, a, 1.0, nullptr, 0.0, dst, kGemmT1);
}

void MatOp::ABTrA(Mat* dst, const Mat* a, const Mat* b) {
    gemmImpl(a, b, 1.0, nullptr, 0.0, dst, kGemmT2);
}

#endif  // TARVO_HAVE_MATOP

}  // namespace tarvo
