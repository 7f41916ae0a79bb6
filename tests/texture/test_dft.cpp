// Fourier and cosine transforms against hand values and the long-double
// direct sums: packed and complex layouts, round trips over many lengths,
// columns, in place, skipped rows, float and double, and bad input.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "support/naive_transforms.h"
#include "support/test_util.h"
#include "tarvo/ip/transforms.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace {

Mat rowMat(std::initializer_list<double> v, int type = MAT_Tdouble) {
    Mat m(1, int(v.size()), type);
    int i = 0;
    for (double x : v) {
        if (type == MAT_Tdouble)
            m.ptr<double>(0)[i++] = x;
        else
            m.ptr<float>(0)[i++] = float(x);
    }
    return m;
}

// Unpacks a CCS matrix (rows x cols) into the full complex spectrum, using
// the conjugate symmetry for the missing half.
std::vector<test::CLD> unpackCcs(const Mat& m) {
    const int R = m.rows(), C = m.cols();
    auto v = [&](int y, int x) { return (long double)m.value(y, x); };
    // first unpack the rows' column packing into a half spectrum per row
    std::vector<test::CLD> half(size_t(R) * size_t(C / 2 + 1));
    auto H = [&](int y, int k) -> test::CLD& { return half[size_t(y * (C / 2 + 1) + k)]; };
    auto colUnpack = [&](int x, int k) {  // column x real packed down rows -> complex per row
        for (int y = 0; y < R; y++) {
            test::CLD c;
            if (R == 1 || y == 0)
                c = v(0, x);
            else if ((R % 2) == 0 && y == R / 2)
                c = v(R - 1, x);
            else if (y < (R + 1) / 2)
                c = test::CLD(v(2 * y - 1, x), v(2 * y, x));
            else
                c = test::CLD(v(2 * (R - y) - 1, x), -v(2 * (R - y), x));
            H(y, k) = c;
        }
    };
    colUnpack(0, 0);
    if (C % 2 == 0 && C > 1) colUnpack(C - 1, C / 2);
    for (int k = 1; k < (C + 1) / 2; k++)
        for (int y = 0; y < R; y++) H(y, k) = test::CLD(v(y, 2 * k - 1), v(y, 2 * k));
    std::vector<test::CLD> full(size_t(R) * size_t(C));
    for (int y = 0; y < R; y++)
        for (int x = 0; x < C; x++)
            full[size_t(y * C + x)] = x <= C / 2 ? H(y, x) : std::conj(H((R - y) % R, C - x));
    return full;
}

void expectSpectrum(const std::vector<test::CLD>& got, const std::vector<test::CLD>& want,
                    double tol) {
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < got.size(); i++) {
        EXPECT_NEAR(double(got[i].real()), double(want[i].real()), tol) << "at " << i;
        EXPECT_NEAR(double(got[i].imag()), double(want[i].imag()), tol) << "at " << i;
    }
}

TEST(OptimalDftSize, TableEndsAndGaps) {
    EXPECT_EQ(getOptimalDFTSize(0), 1);
    EXPECT_EQ(getOptimalDFTSize(1), 1);
    EXPECT_EQ(getOptimalDFTSize(7), 8);
    EXPECT_EQ(getOptimalDFTSize(17), 18);
    EXPECT_EQ(getOptimalDFTSize(257), 270);
    EXPECT_EQ(getOptimalDFTSize(2125763999), 2125764000);
    EXPECT_EQ(getOptimalDFTSize(2125764000), -1);
    EXPECT_EQ(getOptimalDFTSize(-1), -1);
    // 3^15 is left out of the table, so the next entry with fewer threes is chosen.
    EXPECT_EQ(getOptimalDFTSize(14348907), 14400000);
}

TEST(Dft, PackedRowsByHand) {
    Mat out;
    dft(rowMat({1, 2, 3, 4}), out);
    EXPECT_TRUE(test::matEqual(out, rowMat({10, -2, 2, -2})));
    dft(rowMat({5}), out);
    EXPECT_TRUE(test::matEqual(out, rowMat({5})));
    dft(rowMat({3, 1}, MAT_Tfloat), out);
    EXPECT_TRUE(test::matEqual(out, rowMat({4, 2}, MAT_Tfloat)));
    // a column packs down the column in the same way
    Mat col(4, 1, MAT_Tdouble);
    for (int y = 0; y < 4; y++) col.ptr<double>(y)[0] = y + 1;
    dft(col, out);
    ASSERT_EQ(out.rows(), 4);
    EXPECT_EQ(out.value(0, 0), 10);
    EXPECT_EQ(out.value(1, 0), -2);
    EXPECT_EQ(out.value(2, 0), 2);
    EXPECT_EQ(out.value(3, 0), -2);
}

TEST(Dft, ThreeByFourAgainstDirectSum) {
    Mat m(3, 4, MAT_Tdouble);
    const double v[12] = {1, -2, 3, 0.5, 4, 4, -1, 2, 0, 7, 1, -3};
    for (int i = 0; i < 12; i++) m.ptr<double>(i / 4)[i % 4] = v[i];
    const auto want = test::naiveDft2(test::toComplex(m), 3, 4, -1);
    Mat packed, full;
    dft(m, packed);
    ASSERT_EQ(packed.channels(), 1);
    expectSpectrum(unpackCcs(packed), want, 1e-12);
    dft(m, full, DFT_COMPLEX_OUTPUT);
    ASSERT_EQ(full.channels(), 2);
    expectSpectrum(test::toComplex(full), want, 1e-12);
    // one row with the complex layout: the left half, the right half left zero
    Mat row = rowMat({1, 2, 3, 4, 5});
    dft(row, full, DFT_COMPLEX_OUTPUT);
    const auto r = test::naiveDft2(test::toComplex(row), 1, 5, -1);
    for (int k = 0; k < 5; k++) {
        EXPECT_NEAR(full.value(0, k, 0), k <= 2 ? double(r[size_t(k)].real()) : 0.0, 1e-12);
        EXPECT_NEAR(full.value(0, k, 1), k <= 2 ? double(r[size_t(k)].imag()) : 0.0, 1e-12);
    }
    // independent rows with the complex layout mirror inside each row
    dft(m, full, DFT_COMPLEX_OUTPUT | DFT_ROWS);
    for (int y = 0; y < 3; y++) {
        Mat one(1, 4, MAT_Tdouble);
        for (int x = 0; x < 4; x++) one.ptr<double>(0)[x] = m.value(y, x);
        const auto w = test::naiveDft2(test::toComplex(one), 1, 4, -1);
        for (int k = 0; k < 4; k++) {
            EXPECT_NEAR(full.value(y, k, 0), double(w[size_t(k)].real()), 1e-12);
            EXPECT_NEAR(full.value(y, k, 1), double(w[size_t(k)].imag()), 1e-12);
        }
    }
}

TEST(Dft, ComplexAndRealAgainstDirectSumManyShapes) {
    const int shapes[][2] = {{1, 8}, {5, 12}, {6, 30}, {7, 49}, {2, 97}, {16, 9}, {10, 25}};
    for (auto& s : shapes)
        for (int depth : {MAT_Tfloat, MAT_Tdouble}) {
            const double tol = depth == MAT_Tfloat ? 2e-3 : 1e-9;
            SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1] << " depth " << depth);
            Mat re = test::randomMat(s[0], s[1], depth, 7u + unsigned(s[1]), -10, 10);
            Mat cx = test::randomMat(s[0], s[1], MAKETYPE(depth, 2), 11u + unsigned(s[0]), -10, 10);
            Mat out;
            dft(re, out);
            expectSpectrum(unpackCcs(out), test::naiveDft2(test::toComplex(re), s[0], s[1], -1),
                           tol);
            dft(cx, out);
            expectSpectrum(test::toComplex(out),
                           test::naiveDft2(test::toComplex(cx), s[0], s[1], -1), tol);
            dft(cx, out, DFT_INVERSE);
            expectSpectrum(test::toComplex(out),
                           test::naiveDft2(test::toComplex(cx), s[0], s[1], 1), tol);
        }
}

TEST(Dft, RoundTripsAcrossLengthsLayoutsAndThreads) {
    for (int n : {8, 12, 30, 49, 97, 1000}) {
        for (int rows : {1, 3, 4}) {
            SCOPED_TRACE(testing::Message() << rows << "x" << n);
            Mat src = test::randomMat(rows, n, MAT_Tdouble, unsigned(n * 3 + rows));
            Mat spec, back, cspec;
            dft(src, spec);
            idft(spec, back, DFT_SCALE);
            EXPECT_TRUE(test::matNear(back, src, 1e-9));
            dft(src, cspec, DFT_COMPLEX_OUTPUT);
            idft(cspec, back, DFT_SCALE | DFT_REAL_OUTPUT);
            EXPECT_TRUE(test::matNear(back, src, 1e-9));
            dft(src, spec, DFT_ROWS);
            idft(spec, back, DFT_SCALE | DFT_ROWS);
            EXPECT_TRUE(test::matNear(back, src, 1e-9));
        }
    }
    // a column, a float block, and in place
    Mat col = test::randomMat(30, 1, MAT_Tfloat, 3);
    Mat s, b;
    dft(col, s);
    idft(s, b, DFT_SCALE);
    EXPECT_TRUE(test::matNear(b, col, 1e-4));
    Mat block = test::randomMat(20, 18, MAT_Tfloat, 4);
    Mat work = block.clone();
    dft(work, work);
    idft(work, work, DFT_SCALE);
    EXPECT_TRUE(test::matNear(work, block, 1e-4));
}

TEST(Dft, ThreadCountDoesNotChangeBits) {
    // big enough for the row and column passes to split across threads
    const Mat re = test::randomMat(96, 720, MAT_Tfloat, 31);
    const Mat cx = test::randomMat(64, 450, MAKETYPE(MAT_Tdouble, 2), 32);
    auto runAll = [&](std::vector<Mat>& out) {
        out.assign(5, Mat());
        dft(re, out[0]);
        dft(cx, out[1], DFT_INVERSE | DFT_SCALE);
        dft(re, out[2], DFT_COMPLEX_OUTPUT);
        idft(out[0], out[3], DFT_SCALE);
        dct(re, out[4]);
    };
    std::vector<Mat> one, all;
    setNumThreads(1);
    runAll(one);
    setNumThreads(0);
    runAll(all);
    for (size_t i = 0; i < one.size(); i++) EXPECT_TRUE(test::matEqual(one[i], all[i])) << i;
}

TEST(Dft, BatchedRowsEqualSingleRows) {
    // Real rows of even length run eight at a time unless vector code is
    // switched off; odd factors, row counts and nonzeroRows off the batch size,
    // in place, both depths and the row-only flag.
    const int widths[] = {2, 6, 10, 14, 22, 256};
    for (int w : widths)
        for (int depth : {int(MAT_Tfloat), int(MAT_Tdouble)}) {
            const Mat src = test::randomMat(21, w, depth, 40 + w);
            auto runAll = [&](std::vector<Mat>& out) {
                out.assign(6, Mat());
                dft(src, out[0]);
                dft(src, out[1], DFT_ROWS | DFT_SCALE, 13);
                idft(out[0], out[2], DFT_SCALE, 11);
                idft(out[1], out[3], DFT_ROWS);
                out[4] = src.clone();
                dft(out[4], out[4], 0, 17);
                dft(src, out[5], DFT_COMPLEX_OUTPUT);
            };
            std::vector<Mat> batched, single;
            runAll(batched);
            detail::setUseOptimized(false);
            runAll(single);
            detail::setUseOptimized(true);
            for (size_t i = 0; i < batched.size(); i++)
                EXPECT_TRUE(test::matEqual(batched[i], single[i])) << w << " " << i;
        }
}

TEST(Dft, NonzeroRowsSkipsRowsBothWays) {
    Mat src = test::randomMat(8, 10, MAT_Tdouble, 21);
    for (int y = 3; y < 8; y++)
        for (int x = 0; x < 10; x++) src.ptr<double>(y)[x] = 0;
    Mat full, part, back;
    dft(src, full);
    dft(src, part, 0, 3);
    EXPECT_TRUE(test::matNear(part, full, 1e-12));
    // the inverse computes only the first rows and leaves the others zero
    idft(full, back, DFT_SCALE, 3);
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 10; x++)
            EXPECT_NEAR(back.value(y, x), y < 3 ? src.value(y, x) : 0.0, 1e-12);
}

TEST(Dft, RefusedAndEmptyInputs) {
    Mat dst(2, 2, MAT_Tdouble, Point4_<double>(9, 9, 9, 9));
    dft(Mat(3, 3, MAT_Tuchar, Point4_<double>(1, 1, 1, 1)), dst);  // byte depth
    EXPECT_EQ(dst.value(0, 0), 9);
    dft(Mat(3, 3, MAKETYPE(MAT_Tfloat, 3)), dst);  // three channels
    EXPECT_EQ(dst.value(1, 1), 9);
    mulSpectrums(Mat(2, 3, MAT_Tfloat), Mat(2, 4, MAT_Tfloat), dst, 0);
    EXPECT_EQ(dst.value(1, 1), 9);
    dct(Mat(1, 5, MAT_Tfloat, Point4_<double>(1, 1, 1, 1)), dst);  // odd length
    EXPECT_EQ(dst.value(1, 1), 9);
    dft(Mat(), dst);
    EXPECT_TRUE(dst.empty());
}

TEST(MulSpectrums, ProductIsCircularCorrelation) {
    for (int depth : {MAT_Tfloat, MAT_Tdouble}) {
        const int R = 6, C = 9;
        Mat a = test::randomMat(R, C, depth, 5, -2, 2), b = test::randomMat(R, C, depth, 6, -2, 2);
        Mat fa, fb, p, c;
        dft(a, fa);
        dft(b, fb);
        mulSpectrums(fa, fb, p, 0, true);
        idft(p, c, DFT_SCALE);
        for (int y = 0; y < R; y++)
            for (int x = 0; x < C; x++) {
                double s = 0;
                for (int j = 0; j < R; j++)
                    for (int i = 0; i < C; i++)
                        s += a.value((y + j) % R, (x + i) % C) * b.value(j, i);
                EXPECT_NEAR(c.value(y, x), s, depth == MAT_Tfloat ? 1e-4 : 1e-11);
            }
    }
    // a CCS row times itself, conjugated: squared magnitudes on the pairs, zero imaginary parts
    Mat s;
    dft(rowMat({1, 2, 3, 4}), s);
    Mat p;
    mulSpectrums(s, s, p, 0, true);
    EXPECT_TRUE(test::matEqual(p, rowMat({100, 8, 0, 4})));
    // two-channel data multiply element by element
    Mat ca(1, 1, MAKETYPE(MAT_Tdouble, 2)), cb(1, 1, MAKETYPE(MAT_Tdouble, 2));
    ca.ptr<double>(0)[0] = 1, ca.ptr<double>(0)[1] = 2, cb.ptr<double>(0)[0] = 3,
    cb.ptr<double>(0)[1] = 4;
    mulSpectrums(ca, cb, p, 0, false);
    EXPECT_EQ(p.value(0, 0, 0), -5);
    EXPECT_EQ(p.value(0, 0, 1), 10);
}

TEST(Dct, ValuesRoundTripsAndTwoDimensions) {
    Mat out, back;
    dct(rowMat({1, 2, 3, 4}), out);
    const auto want = test::naiveDct2({1, 2, 3, 4}, 1, 4);
    for (int k = 0; k < 4; k++) EXPECT_NEAR(out.value(0, k), double(want[size_t(k)]), 1e-14);
    EXPECT_NEAR(out.value(0, 0), 5.0, 1e-15);
    for (int n : {1, 2, 8, 64}) {
        Mat ones(1, n, MAT_Tdouble, Point4_<double>(1, 1, 1, 1));
        dct(ones, out);
        EXPECT_NEAR(out.value(0, 0), std::sqrt(double(n)), 1e-13);
        for (int k = 1; k < n; k++) EXPECT_NEAR(out.value(0, k), 0.0, 1e-13);
    }
    for (int depth : {MAT_Tfloat, MAT_Tdouble}) {
        Mat m = test::randomMat(6, 10, depth, 9, -5, 5);
        dct(m, out);
        std::vector<long double> in;
        for (int y = 0; y < 6; y++)
            for (int x = 0; x < 10; x++) in.push_back(m.value(y, x));
        const auto w = test::naiveDct2(in, 6, 10);
        for (int i = 0; i < 60; i++)
            EXPECT_NEAR(out.value(i / 10, i % 10), double(w[size_t(i)]),
                        depth == MAT_Tfloat ? 1e-4 : 1e-12);
        idct(out, back);
        EXPECT_TRUE(test::matNear(back, m, depth == MAT_Tfloat ? 1e-4 : 1e-12));
        Mat inplace = m.clone();
        dct(inplace, inplace, DFT_ROWS);
        idct(inplace, inplace, DFT_ROWS);
        EXPECT_TRUE(test::matNear(inplace, m, depth == MAT_Tfloat ? 1e-4 : 1e-12));
    }
}

TEST(PlainTransforms, RadixTwoAndDirectSumScaleOnlyForward) {
    double x[8], y[8], x2[8], y2[8], dx[8], dy[8];
    for (int i = 0; i < 8; i++) x[i] = dx[i] = i + 1, y[i] = dy[i] = (i % 3) - 1;
    ip::fft(1, 3, x, y);
    ip::dft(1, 8, dx, dy, x2, y2);
    EXPECT_NEAR(x[0], 4.5, 1e-15);  // mean of 1..8
    for (int i = 0; i < 8; i++) {
        EXPECT_NEAR(x[i], dx[i], 1e-14);
        EXPECT_NEAR(y[i], dy[i], 1e-14);
    }
    // dir -1 inverts without scaling: back to the input
    ip::fft(-1, 3, x, y);
    ip::dft(-1, 8, dx, dy, x2, y2);
    for (int i = 0; i < 8; i++) {
        EXPECT_NEAR(x[i], i + 1, 1e-13);
        EXPECT_NEAR(dx[i], i + 1, 1e-13);
        EXPECT_NEAR(dy[i], (i % 3) - 1, 1e-13);
    }
    // a forward unscaled transform of a delta is all ones; odd length through the direct sum
    double a[5] = {1, 0, 0, 0, 0}, b[5] = {0}, s1[5], s2[5];
    ip::dft(-1, 5, a, b, s1, s2);
    for (int i = 0; i < 5; i++) EXPECT_NEAR(a[i], 1.0, 1e-15);
    EXPECT_TRUE(ip::fft(1, 31, x, y));  // refused, nothing written
    EXPECT_TRUE(ip::fft(1, 3, nullptr, y));
    EXPECT_TRUE(ip::dft(1, 0, a, b, s1, s2));
    EXPECT_TRUE(ip::isPowerof2(1));
    EXPECT_TRUE(ip::isPowerof2(1024));
    EXPECT_FALSE(ip::isPowerof2(0));
    EXPECT_FALSE(ip::isPowerof2(-4));
    EXPECT_FALSE(ip::isPowerof2(12));
}

TEST(PlainTransforms, Fft2OfFlatGreyAndPadding) {
    Mat grey(8, 8, MAT_Tuchar, Point4_<double>(128, 128, 128, 128));
    Mat oR, oI;
    EXPECT_TRUE(ip::fft2(grey, grey, oR, oI, 1, false, false));
    ASSERT_EQ(oR.rows(), 8);
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 8; x++) {
            EXPECT_EQ(oR.value(y, x), 128);
            EXPECT_EQ(oI.value(y, x), 128);
        }
    // a bright dot: the forward transform spreads it evenly (dc term everywhere)
    Mat dot = grey.clone();
    dot.ptr<unsigned char>(0)[0] = 160;  // +32 over the mid level
    ip::fft2(dot, Mat(), oR, oI, 1, false, false);
    // scale 8/16, dir 1 divides each pass by 8: 32/64 * 0.5 + 128
    EXPECT_EQ(oR.value(3, 5), 128);
    // padding a 5 x 6 picture reads mid grey outside and keeps the outputs' own size
    Mat odd(5, 6, MAT_Tuchar, Point4_<double>(128, 128, 128, 128));
    ip::fft2(odd, odd, oR, oI, -1, true, true);
    EXPECT_EQ(oR.rows(), 5);
    EXPECT_EQ(oR.cols(), 6);
    EXPECT_EQ(oI.value(4, 5), 128);  // phase of zero is zero
    EXPECT_EQ(oR.value(0, 0), 0);    // log of zero clamps to 0
    Mat untouched;
    EXPECT_TRUE(ip::fft2(Mat(), Mat(), untouched, untouched, 1, false, false));
    EXPECT_TRUE(untouched.empty());
}

TEST(Dft2dObject, SmallMatrixTablesAndCopies) {
    DFT2D t;
    t.create(2, 2);
    Mat re(2, 2, MAT_Tdouble), im(2, 2, MAT_Tdouble, Point4_<double>()), oR(2, 2, MAT_Tdouble),
        oI(2, 2, MAT_Tdouble);
    re.ptr<double>(0)[0] = 1, re.ptr<double>(0)[1] = 2, re.ptr<double>(1)[0] = 3,
    re.ptr<double>(1)[1] = 4;
    DFT2D copy(t);
    copy.Process2DCart(&re, &im, &oR, &oI);
    EXPECT_EQ(oR.value(0, 0), 10);
    EXPECT_EQ(oR.value(0, 1), -2);
    EXPECT_EQ(oR.value(1, 0), -4);
    EXPECT_EQ(oR.value(1, 1), 0);
    for (int i = 0; i < 4; i++) EXPECT_EQ(oI.value(i / 2, i % 2), 0);
    re = oR;
    im = oI;
    t.IProcess2DCart(&re, &im, &oR, &oI);
    EXPECT_EQ(oR.value(1, 0), 3);
    EXPECT_EQ(oR.value(1, 1), 4);
    // a float 3 x 5 against the direct sum, and bad calls
    DFT2D f;
    f.create(3, 5);
    Mat fr = test::randomMat(3, 5, MAT_Tfloat, 2, -3, 3),
        fi = test::randomMat(3, 5, MAT_Tfloat, 3, -3, 3);
    Mat both(3, 5, MAKETYPE(MAT_Tdouble, 2));
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 5; x++)
            both.ptr<double>(y)[2 * x] = fr.value(y, x),
                                    both.ptr<double>(y)[2 * x + 1] = fi.value(y, x);
    const auto want = test::naiveDft2(test::toComplex(both), 3, 5, -1);
    Mat fo(3, 5, MAT_Tfloat), fo2(3, 5, MAT_Tfloat);
    f.Process2DCart(&fr, &fi, &fo, &fo2);
    for (int i = 0; i < 15; i++) {
        EXPECT_NEAR(fo.value(i / 5, i % 5), double(want[size_t(i)].real()), 1e-4);
        EXPECT_NEAR(fo2.value(i / 5, i % 5), double(want[size_t(i)].imag()), 1e-4);
    }
    Mat keep = fo.clone();
    f.Process2DCart(&fr, &fi, &fo, nullptr);
    f.Process2DCart(&fr, &fi, &fo, &fo);
    t.Process2DCart(&fr, &fi, &fo, &fo2);  // sizes differ from the tables
    EXPECT_TRUE(test::matEqual(fo, keep));
    f.release();
    EXPECT_EQ(f.cosTable, nullptr);
}

}  // namespace
}  // namespace tarvo
