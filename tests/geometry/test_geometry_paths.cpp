// The vector and threaded paths of quarter turns, kernel resampling, warps
// and remap give the scalar path's bytes: odd sizes (vector tails), sources
// that are references into a larger image (rows spaced by the parent's pitch,
// the last sample at the very end of the readable rows), and positions that
// make the kernels hand groups back to the scalar code.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "support/naive_warp.h"
#include "support/test_util.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using test::matEqual;

namespace {

// run(out) with the vector paths on all threads, on one thread, and with the
// scalar switch; the three results must be identical.
template <typename F>
void expectPathsAgree(F run, const std::string& what) {
    Mat vec, ser, sca;
    run(vec);
    setNumThreads(1);
    run(ser);
    setNumThreads(0);
    detail::setUseOptimized(false);
    run(sca);
    detail::setUseOptimized(true);
    ASSERT_FALSE(vec.empty()) << what;
    EXPECT_TRUE(matEqual(vec, sca)) << what;
    EXPECT_TRUE(matEqual(vec, ser)) << what;
}

// A reference to the bottom-right part of a larger random image, so that its
// last row ends where the parent's pixels end.
Mat cornerRef(int rows, int cols, int type, uint32_t seed) {
    static Mat parents[8];
    static int used = 0;
    Mat& parent = parents[used++ % 8];
    parent = test::randomMat(rows + 5, cols + 7, type, seed, 0.0, 255.0);
    Mat part;
    parent.subRefMat(Rect_<int>(7, 5, cols, rows), part);
    return part;
}

const int kTypes[] = {int(MAT_Tuchar),  int(MAT_Tuchar) | (1 << 3),
                      int(MAT_Tuchar3), int(MAT_Tuchar4),
                      int(MAT_Tfloat),  int(MAT_Tfloat3)};

Mat turnTransform() {
    const Mat r = ip::getRotationMatrix2D(Point2_<float>(20.5f, 17.0f), 23, 1.07);
    Mat t(2, 3, MAT_Tdouble);
    for (int c = 0; c < 3; c++) {
        t.ptr<double>(0)[c] = r.value(1, c);
        t.ptr<double>(1)[c] = r.value(0, c);
    }
    return t;
}

}  // namespace

TEST(GeometryPaths, QuarterTurns) {
    for (int type : {int(MAT_Tuchar3), int(MAT_Tuchar4), int(MAT_Tfloat), int(MAT_Tshort3)})
        for (int shape = 0; shape < 3; shape++) {
            const int rows = shape == 0 ? 71 : shape == 1 ? 5 : 33;
            const int cols = shape == 0 ? 66 : shape == 1 ? 3 : 97;
            const Mat own = test::randomMat(rows, cols, type, 4 + shape);
            const Mat ref = cornerRef(rows, cols, type, 9 + shape);
            for (int turn : {RotateLeft90, RotateRight90, Rotate180}) {
                const std::string what = "type " + std::to_string(type) + " turn " +
                                         std::to_string(turn) + " " + std::to_string(rows) + "x" +
                                         std::to_string(cols);
                expectPathsAgree([&](Mat& d) { ip::rotate(own, d, RotateType(turn)); }, what);
                expectPathsAgree([&](Mat& d) { ip::rotate(ref, d, RotateType(turn)); },
                                 what + " ref");
            }
            // Left then right is the source again.
            Mat l, back;
            ip::rotate(own, l, RotateLeft90);
            ip::rotate(l, back, RotateRight90);
            EXPECT_TRUE(matEqual(back, own));
        }
}

// Images of more than 2 x 65536 pixels run on several stripes.
TEST(GeometryPaths, LargeImagesOnThreads) {
    const Mat src = test::randomMat(333, 401, MAT_Tuchar3, 40);
    for (int turn : {RotateLeft90, RotateRight90, Rotate180})
        expectPathsAgree([&](Mat& d) { ip::rotate(src, d, RotateType(turn)); }, "turn");
    expectPathsAgree(
        [&](Mat& d) { ip::resample(src, d, 230, 181, InterpCatmullRom, OverflowClamp, false); },
        "resample");
    const Mat t = turnTransform();
    Mat p(3, 3, MAT_Tdouble);
    const double v[9] = {1.1, 0.2, -6, 0.05, 0.9, 4, 2e-4, 3e-4, 1};
    for (int k = 0; k < 9; k++) p.ptr<double>(k / 3)[k % 3] = v[k];
    for (int type : {int(MAT_Tuchar3), int(MAT_Tfloat)}) {
        const Mat s = test::randomMat(333, 401, type, 41, 0, 255);
        expectPathsAgree(
            [&](Mat& d) {
                d = Mat(340, 400, type, Point4_<double>(0, 0, 0, 0));
                ip::warpAffine(s, d, t, true);
            },
            "affine");
    }
    expectPathsAgree(
        [&](Mat& d) {
            d = Mat(340, 400, MAT_Tuchar3, Point4_<double>(0, 0, 0, 0));
            ip::warpPerspective(src, d, p);
        },
        "perspective");
    Mat mx, my;
    test::rotationMaps(340, 400, 333, 401, 17.0, mx, my);
    expectPathsAgree([&](Mat& d) { ip::remap(src, d, mx, my, 1, BorderFill, Point4_<double>()); },
                     "remap");
}

TEST(GeometryPaths, KernelResampling) {
    const int types[] = {int(MAT_Tuchar),
                         int(MAT_Tuchar) | (1 << 3),
                         int(MAT_Tuchar3),
                         int(MAT_Tuchar4),
                         int(MAT_Tshort3),
                         int(MAT_Tfloat),
                         int(MAT_Tdouble) | (4 << 3)};
    for (int type : types)
        for (int method : {InterpCatmullRom, InterpLanczos, InterpBSpline})
            for (int overflow : {OverflowClamp, OverflowColor, OverflowMirror}) {
                // 67 columns leave vector tails (the stripes are tried on larger
                // pictures by the serial-and-parallel resample test).
                const Mat src =
                    test::randomMat(43, 45, type, uint32_t(method + overflow), -20, 300);
                const std::string what = "type " + std::to_string(type) + " method " +
                                         std::to_string(method) + " overflow " +
                                         std::to_string(overflow);
                expectPathsAgree(
                    [&](Mat& d) {
                        ip::resample(src, d, 67, 97, InterpolationMethod(method),
                                     OverflowMethod(overflow), false);
                    },
                    what);
            }
    // A stretched reference source: columns shrink, rows grow without averaging.
    const Mat ref = cornerRef(30, 90, MAT_Tuchar3, 3);
    expectPathsAgree(
        [&](Mat& d) { ip::resample(ref, d, 41, 77, InterpLanczos, OverflowWrap, true); },
        "reference");
}

TEST(GeometryPaths, AffineWarp) {
    const Mat t = turnTransform();
    // A transform whose running sums overflow to infinity and NaN.
    const Mat wild = test::randomMat(2, 3, MAT_Tdouble, 1, 0, 1);
    Mat huge = wild.clone();
    huge.ptr<double>(0)[1] = 3e38;
    huge.ptr<double>(1)[1] = -3e38;
    for (int type : kTypes)
        for (int shape = 0; shape < 3; shape++) {
            const int rows = shape == 1 ? 1 : 37, cols = shape == 2 ? 2 : 41;
            const Mat own = test::randomMat(rows, cols, type, 11, 0, 255);
            const Mat ref = cornerRef(rows, cols, type, 12);
            for (const Mat* tr : {&t, static_cast<const Mat*>(&huge)})
                for (const Mat* src : {&own, &ref})
                    expectPathsAgree(
                        [&](Mat& d) {
                            d = Mat(43, 59, type, Point4_<double>(1, 2, 3, 4));
                            ip::warpAffine(*src, d, *tr, tr == &t);
                        },
                        "type " + std::to_string(type) + " " + std::to_string(rows) + "x" +
                            std::to_string(cols));
        }
}

TEST(GeometryPaths, PerspectiveWarp) {
    // A keystone that leaves parts of the destination outside the source; the
    // destination's pixels there must survive.
    Mat t(3, 3, MAT_Tdouble);
    const double v[9] = {1.1, 0.2, -6, 0.05, 0.9, 4, 2e-3, 3e-3, 1};
    for (int k = 0; k < 9; k++) t.ptr<double>(k / 3)[k % 3] = v[k];
    for (int type :
         {int(MAT_Tuchar), int(MAT_Tuchar) | (1 << 3), int(MAT_Tuchar3), int(MAT_Tuchar4)}) {
        const Mat own = test::randomMat(39, 47, type, 21);
        const Mat ref = cornerRef(39, 47, type, 22);
        const Mat before = test::randomMat(45, 53, type, 23);
        for (const Mat* src : {&own, &ref})
            expectPathsAgree(
                [&](Mat& d) {
                    d = before;
                    ip::warpPerspective(*src, d, t);
                },
                "type " + std::to_string(type));
    }
}

TEST(GeometryPaths, RemapLinearAndMapConversion) {
    Mat mx, my;
    test::rotationMaps(45, 67, 40, 50, 19.0, mx, my);
    // Ties of the 1/32 rounding on both sides of zero, NaN and huge entries.
    const float special[] = {-0.5f / 32,
                             0.5f / 32,
                             3.0f + 0.5f / 32,
                             -7.0f - 1.5f / 32,
                             std::numeric_limits<float>::quiet_NaN(),
                             4e7f,
                             -3e9f,
                             std::numeric_limits<float>::infinity()};
    for (int i = 0; i < 8; i++) {
        mx.ptr<float>(3)[i * 5] = special[i];
        my.ptr<float>(9)[i * 3 + 1] = special[7 - i];
    }
    Mat two(45, 67, MAT_Tfloat | (1 << 3));
    for (int y = 0; y < 45; y++)
        for (int x = 0; x < 67; x++) {
            two.ptr<float>(y)[2 * x] = mx.ptr<float>(y)[x];
            two.ptr<float>(y)[2 * x + 1] = my.ptr<float>(y)[x];
        }
    const int kShort2 = MAT_Tshort | (1 << 3);
    for (bool pair : {true, false}) {
        Mat xyV, frV, xyS, frS;
        ip::convertMaps(pair ? mx : two, pair ? my : Mat(), xyV, frV, kShort2, false);
        detail::setUseOptimized(false);
        ip::convertMaps(pair ? mx : two, pair ? my : Mat(), xyS, frS, kShort2, false);
        detail::setUseOptimized(true);
        EXPECT_TRUE(matEqual(xyV, xyS));
        EXPECT_TRUE(matEqual(frV, frS));
    }
    for (int type :
         {int(MAT_Tuchar), int(MAT_Tuchar) | (1 << 3), int(MAT_Tuchar3), int(MAT_Tuchar4)}) {
        const Mat own = test::randomMat(40, 50, type, 31);
        const Mat ref = cornerRef(40, 50, type, 32);
        for (const Mat* src : {&own, &ref})
            for (int border : {BorderFill, BorderClamp, BorderWrap})
                expectPathsAgree(
                    [&](Mat& d) {
                        ip::remap(*src, d, two, Mat(), 1, border, Point4_<double>(5, 6, 7, 8));
                    },
                    "type " + std::to_string(type) + " border " + std::to_string(border));
    }
}
