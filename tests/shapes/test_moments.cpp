// Image moments: values fixed by hand, the tiled sums against direct sums over
// every pixel for every depth and odd sizes, the binary flag, the ten-value
// constructor and the Hu invariants, serial against threaded runs.
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "support/naive_distance.h"
#include "support/test_util.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

using namespace tarvo;

namespace {

void raw(const Moments& m, double r[10]) {
    const double v[10] = {m.m00, m.m10, m.m01, m.m20, m.m11, m.m02, m.m30, m.m21, m.m12, m.m03};
    for (int i = 0; i < 10; i++) r[i] = v[i];
}

TEST(Moments, SinglePixel) {
    Mat img(3, 3, MAT_Tuchar, Point4_<double>());
    img.ptr<unsigned char>(1)[2] = 1;
    Moments m;
    calcMoments(img, m, 0);
    const double want[10] = {1, 2, 1, 4, 2, 1, 8, 4, 2, 1};
    double r[10];
    raw(m, r);
    for (int i = 0; i < 10; i++) EXPECT_EQ(r[i], want[i]) << i;
    EXPECT_EQ(m.mu20, 0.0);
    EXPECT_EQ(m.mu11, 0.0);
    EXPECT_EQ(m.mu03, 0.0);
    EXPECT_EQ(m.inv_sqrt_m00, 1.0);
    EXPECT_EQ(m.nu20, 0.0);
    EXPECT_EQ(m.getSpatialMoment(1, 1), 2.0);
    EXPECT_EQ(m.getSpatialMoment(3, 0), 8.0);
    EXPECT_EQ(m.getSpatialMoment(0, 3), 1.0);
    EXPECT_EQ(m.getSpatialMoment(2, 1), 4.0);
    EXPECT_EQ(m.getSpatialMoment(2, 2), 0.0);
    EXPECT_EQ(m.getSpatialMoment(-1, 1), 0.0);

    // The binary flag counts any non-zero pixel as 1.
    img.ptr<unsigned char>(1)[2] = 200;
    Moments b;
    calcMoments(img, b, 1);
    raw(b, r);
    for (int i = 0; i < 10; i++) EXPECT_DOUBLE_EQ(r[i], want[i]) << i;
}

TEST(Moments, BlackEmptyAndRefusedImagesGiveZeros) {
    Moments m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10);
    calcMoments(Mat(5, 7, MAT_Tuchar, Point4_<double>()), m, 0);
    EXPECT_EQ(m.m00, 0.0);
    EXPECT_EQ(m.mu20, 0.0);
    EXPECT_EQ(m.inv_sqrt_m00, 0.0);
    const Mat refused[] = {Mat(), Mat(4, 4, MAT_Tuchar3, Point4_<double>(1, 1, 1, 1)),
                           Mat(4, 4, MAT_Tint, Point4_<double>(1, 1, 1, 1))};
    for (const Mat& r : refused) {
        m = Moments(1, 2, 3, 4, 5, 6, 7, 8, 9, 10);
        calcMoments(r, m, 0);
        EXPECT_EQ(m.m00, 0.0);
        EXPECT_EQ(m.m03, 0.0);
        EXPECT_EQ(m.mu02, 0.0);
    }
    // Int images are read with the binary flag.
    calcMoments(Mat(4, 4, MAT_Tint, Point4_<double>(-3, 0, 0, 0)), m, 1);
    EXPECT_DOUBLE_EQ(m.m00, 16.0);
}

TEST(Moments, TilesAddUpToTheWholeImage) {
    Mat ones(33, 40, MAT_Tuchar, Point4_<double>(1, 1, 1, 1));
    Moments m;
    calcMoments(ones, m, 0);
    EXPECT_EQ(m.m00, 1320.0);
    EXPECT_EQ(m.m10, 25740.0);
    EXPECT_EQ(m.m01, 21120.0);
    EXPECT_EQ(m.m11, 411840.0);

    const int types[] = {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble};
    for (int type : types)
        for (int binary = 0; binary <= 1; binary++) {
            if (type == MAT_Tint && !binary) continue;
            Mat img = tarvo::test::randomMat(67, 45, type, uint32_t(type * 3 + binary), -50, 200);
            if (type == MAT_Tuchar)  // some zeros, so the binary mask differs from the image
                for (int y = 0; y < 67; y += 3) img.ptr<unsigned char>(y)[y % 45] = 0;
            calcMoments(img, m, binary);
            long double ref[10];
            tarvo::test::directMoments(img, binary != 0, ref);
            double r[10];
            raw(m, r);
            for (int i = 0; i < 10; i++) {
                if (type == MAT_Tuchar && !binary) {
                    EXPECT_EQ(r[i], double(ref[i])) << i;  // integer sums: exact
                } else {
                    const double tol = 1e-12 * std::fabs(double(ref[i])) + 1e-6;
                    EXPECT_NEAR(r[i], double(ref[i]), tol) << "type " << type << " moment " << i;
                }
            }
            // Central moments agree with the direct sums about the centroid.
            const double cx = r[1] / r[0], cy = r[2] / r[0];
            long double mu20 = 0, mu11 = 0, mu03 = 0;
            for (int y = 0; y < 67; y++)
                for (int x = 0; x < 45; x++) {
                    long double v = tarvo::test::at(img, y, x);
                    if (binary) v = v != 0;
                    mu20 += v * (x - cx) * (x - cx);
                    mu11 += v * (x - cx) * (y - cy);
                    mu03 += v * (y - cy) * (y - cy) * (y - cy);
                }
            EXPECT_NEAR(m.mu20, double(mu20), 1e-7 * std::fabs(double(mu20)) + 1e-6);
            EXPECT_NEAR(m.mu11, double(mu11), 1e-7 * std::fabs(double(m.mu20)) + 1e-6);
            EXPECT_NEAR(m.mu03, double(mu03), 1e-6 * std::fabs(double(m.m03)) + 1e-6);
            EXPECT_DOUBLE_EQ(m.inv_sqrt_m00, 1.0 / std::sqrt(std::fabs(r[0])));
        }
}

// Vector, scalar, serial and threaded runs give the same bits; a saturated
// image reaches the largest tile sums the vector code must hold.
TEST(Moments, PathsAndThreadCountsAgree) {
    Mat noise = tarvo::test::randomMat(701, 653, MAT_Tuchar, 5, 0, 255);
    for (int y = 0; y < 701; y += 2)
        for (int x = y % 7; x < 653; x += 5) noise.ptr<unsigned char>(y)[x] = 0;
    const Mat full(97, 131, MAT_Tuchar, Point4_<double>(255, 255, 255, 255));
    for (const Mat* img : {(const Mat*)&noise, &full})
        for (int binary = 0; binary <= 1; binary++) {
            double ref[10] = {}, r[10];
            for (int run = 0; run < 4; run++) {
                setNumThreads(run & 1 ? 0 : 1);
                tarvo::detail::setUseOptimized(run < 2);
                Moments m;
                calcMoments(*img, m, binary);
                raw(m, r);
                for (int i = 0; i < 10; i++) {
                    if (run == 0) ref[i] = r[i];
                    EXPECT_EQ(r[i], ref[i]) << "run " << run << " moment " << i;
                }
            }
        }
    tarvo::detail::setUseOptimized(true);
    setNumThreads(0);
}

TEST(Moments, TenValueConstructorAndHuInvariants) {
    Moments m(4, 0, 0, 2, 0, 8, 0, 0, 0, 0);
    EXPECT_EQ(m.nu20, 0.125);
    EXPECT_EQ(m.nu02, 0.5);
    EXPECT_EQ(m.nu11, 0.0);
    EXPECT_EQ(m.inv_sqrt_m00, 0.0);
    double hu[7];
    huMoments(m, hu);
    EXPECT_EQ(hu[0], 0.625);
    EXPECT_EQ(hu[1], 0.140625);
    for (int i = 2; i < 7; i++) EXPECT_EQ(hu[i], 0.0) << i;
    huMoments(m, nullptr);

    // Invariance: a shape and its copy moved and mirrored have equal Hu values.
    Mat a(40, 50, MAT_Tuchar, Point4_<double>()), b(40, 50, MAT_Tuchar, Point4_<double>());
    for (int y = 0; y < 12; y++)
        for (int x = 0; x <= y; x++) {
            a.ptr<unsigned char>(5 + y)[3 + x] = 1;
            b.ptr<unsigned char>(20 + y)[45 - x] = 1;
        }
    Moments ma, mb;
    calcMoments(a, ma, 0);
    calcMoments(b, mb, 0);
    huMoments(ma, hu);
    for (int i = 0; i < 7; i++) EXPECT_EQ(hu[i], 0.0);  // calcMoments leaves nu at 0
    const Moments na(ma.m00, ma.m10, ma.m01, ma.m20, ma.m11, ma.m02, ma.m30, ma.m21, ma.m12,
                     ma.m03);
    const Moments nb(mb.m00, mb.m10, mb.m01, mb.m20, mb.m11, mb.m02, mb.m30, mb.m21, mb.m12,
                     mb.m03);
    double ha[7], hb[7];
    huMoments(na, ha);
    huMoments(nb, hb);
    for (int i = 0; i < 6; i++) EXPECT_NEAR(ha[i], hb[i], 1e-12 + 1e-9 * std::fabs(ha[i])) << i;
    EXPECT_NEAR(ha[6], -hb[6], 1e-12 + 1e-9 * std::fabs(ha[6]));  // the skew invariant flips sign
    EXPECT_GT(ha[0], 0.0);
}

}  // namespace
