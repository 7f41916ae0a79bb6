#include "support/test_util.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>

#include <unistd.h>

namespace tarvo {
namespace test {

void fillRandom(Mat& m, uint32_t seed, double lo, double hi) {
    std::mt19937 rng(seed);
    int n = m.cols() * m.channels();
    for (int r = 0; r < m.rows(); r++) {
        unsigned char* row = m.data.ptr[r];
        for (int i = 0; i < n; i++) {
            switch (m.type()) {
                case MAT_Tuchar:
                    row[i] = (unsigned char)(rng() & 255);
                    break;
                case MAT_Tshort:
                    reinterpret_cast<short*>(row)[i] = (short)(rng() & 0xFFFF);
                    break;
                case MAT_Tint:
                    reinterpret_cast<int*>(row)[i] = (int)(rng() % (1u << 21)) - (1 << 20);
                    break;
                case MAT_Tfloat:
                    reinterpret_cast<float*>(row)[i] =
                        (float)(lo + (hi - lo) * (rng() / 4294967296.0));
                    break;
                case MAT_Tdouble:
                    reinterpret_cast<double*>(row)[i] = lo + (hi - lo) * (rng() / 4294967296.0);
                    break;
                default:
                    break;
            }
        }
    }
}

Mat randomMat(int rows, int cols, int type, uint32_t seed, double lo, double hi) {
    Mat m(rows, cols, type);
    fillRandom(m, seed, lo, hi);
    return m;
}

double at(const Mat& m, int r, int c, int k) {
    const unsigned char* row = m.data.ptr[r];
    int i = c * m.channels() + k;
    switch (m.type()) {
        case MAT_Tuchar:
            return row[i];
        case MAT_Tshort:
            return reinterpret_cast<const short*>(row)[i];
        case MAT_Tint:
            return reinterpret_cast<const int*>(row)[i];
        case MAT_Tfloat:
            return reinterpret_cast<const float*>(row)[i];
        case MAT_Tdouble:
            return reinterpret_cast<const double*>(row)[i];
        default:
            return 0;
    }
}

static ::testing::AssertionResult compareShapes(const Mat& a, const Mat& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols() || a.type1() != b.type1()) {
        return ::testing::AssertionFailure()
               << "shape differs: " << a.rows() << "x" << a.cols() << " type " << a.type1()
               << " vs " << b.rows() << "x" << b.cols() << " type " << b.type1();
    }
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult matEqual(const Mat& a, const Mat& b) {
    auto shape = compareShapes(a, b);
    if (!shape) return shape;
    size_t rb = (size_t)a.rowByteSize();
    for (int r = 0; r < a.rows(); r++) {
        if (std::memcmp(a.data.ptr[r], b.data.ptr[r], rb) == 0) continue;
        for (int c = 0; c < a.cols(); c++)
            for (int k = 0; k < a.channels(); k++) {
                double va = at(a, r, c, k), vb = at(b, r, c, k);
                if (!(va == vb) && !(std::isnan(va) && std::isnan(vb)))
                    return ::testing::AssertionFailure()
                           << "first difference at row " << r << ", col " << c << ", channel " << k
                           << ": " << va << " vs " << vb;
            }
        return ::testing::AssertionFailure() << "row " << r << " differs in its bit patterns";
    }
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult matNear(const Mat& a, const Mat& b, double tol) {
    auto shape = compareShapes(a, b);
    if (!shape) return shape;
    for (int r = 0; r < a.rows(); r++)
        for (int c = 0; c < a.cols(); c++)
            for (int k = 0; k < a.channels(); k++) {
                double va = at(a, r, c, k), vb = at(b, r, c, k);
                if (!(std::fabs(va - vb) <= tol))
                    return ::testing::AssertionFailure()
                           << "at row " << r << ", col " << c << ", channel " << k << ": " << va
                           << " vs " << vb << " (tolerance " << tol << ")";
            }
    return ::testing::AssertionSuccess();
}

std::string tempDir() {
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::ostringstream name;
    const char* base = std::getenv("TMPDIR");
    std::string test = info ? info->name() : "x";
    for (char& ch : test)
        if (ch == '/') ch = '_';
    name << (base && *base ? base : "/tmp") << "/tarvo-test-" << ::getpid() << "-" << test
         << "-XXXXXX";
    std::string templ = name.str();
    if (!mkdtemp(&templ[0])) return std::string();
    return templ;
}

Mat verticalStep(int rows, int cols, int split, int left, int right, int channels) {
    Mat m(rows, cols, MAKETYPE(MAT_Tuchar, channels));
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++)
            for (int k = 0; k < channels; k++)
                m.data.ptr[y][x * channels + k] = (unsigned char)(x >= split ? right : left);
    return m;
}

Mat horizontalStep(int rows, int cols, int split, int top, int bottom) {
    Mat m(rows, cols, MAT_Tuchar);
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++)
            m.data.ptr[y][x] = (unsigned char)(y >= split ? bottom : top);
    return m;
}

}  // namespace test
}  // namespace tarvo
