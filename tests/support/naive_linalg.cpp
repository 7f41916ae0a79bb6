#include "support/naive_linalg.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/test_util.h"

namespace tarvo {
namespace test {

Mat naiveMul(const Mat& a, const Mat& b, bool ta, bool tb) {
    const int m = ta ? a.cols() : a.rows(), k = ta ? a.rows() : a.cols();
    const int n = tb ? b.rows() : b.cols();
    Mat c(m, n, MAT_Tdouble);
    for (int i = 0; i < m; i++)
        for (int j = 0; j < n; j++) {
            double s = 0;
            for (int p = 0; p < k; p++)
                s += (ta ? at(a, p, i) : at(a, i, p)) * (tb ? at(b, j, p) : at(b, p, j));
            c.ptr<double>(i)[j] = s;
        }
    return c;
}

double maxDiff(const Mat& a, const Mat& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols() || !a.isValid() || !b.isValid())
        return std::numeric_limits<double>::infinity();
    double d = 0;
    for (int r = 0; r < a.rows(); r++)
        for (int c = 0; c < a.cols(); c++) d = std::max(d, std::fabs(at(a, r, c) - at(b, r, c)));
    return d;
}

Mat eyeDouble(int n) {
    Mat e(n, n, MAT_Tdouble);
    for (int r = 0; r < n; r++)
        for (int c = 0; c < n; c++) e.ptr<double>(r)[c] = r == c ? 1.0 : 0.0;
    return e;
}

}  // namespace test
}  // namespace tarvo
