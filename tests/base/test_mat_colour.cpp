// ColorSpace conversions, channel operations of MatOp and the free helpers,
// MatND and the matrix lists.
#include <cmath>
#include <cstdlib>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/colorspace.h"
#include "tarvo/matlist.h"
#include "tarvo/matnd.h"
#include "tarvo/matop.h"

namespace tarvo {
namespace {

using test::at;
using test::matEqual;
using test::randomMat;

TEST(ColorSpaceGray, GreyPixelsMapToThemselvesAtEveryDepth) {
    Mat b(1, 256, MAT_Tuchar3);
    for (int v = 0; v < 256; v++)
        for (int k = 0; k < 3; k++) b.ptr<unsigned char>(0)[v * 3 + k] = (unsigned char)v;
    Mat g;
    ColorSpace::RGBtoGray(b, g, BMP_RGB);
    ASSERT_EQ(g.type1(), MAT_Tuchar);
    for (int v = 0; v < 256; v++) EXPECT_EQ(at(g, 0, v), v);
    for (int depth : {MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble}) {
        Mat one = randomMat(7, 9, depth, 40 + depth, -1000, 1000), three;
        ColorSpace::GraytoRGB(one, three);
        ASSERT_EQ(three.channels(), 3);
        Mat back;
        ColorSpace::RGBtoGray(three, back);
        EXPECT_TRUE(matEqual(back, one)) << "depth " << depth;
    }
}

TEST(ColorSpaceGray, WeightsAndChannelOrder) {
    Mat px(1, 3, MAT_Tuchar3, Point4_<double>(0.0));
    px.ptr<unsigned char>(0)[0] = 255;  // pixel 0: R (or B when read as BGR)
    px.ptr<unsigned char>(0)[4] = 255;  // pixel 1: G
    px.ptr<unsigned char>(0)[6] = 10, px.ptr<unsigned char>(0)[7] = 20,
                    px.ptr<unsigned char>(0)[8] = 30;
    Mat rgb, bgr;
    ColorSpace::RGBtoGray(px, rgb, BMP_RGB);
    ColorSpace::RGBtoGray(px, bgr, BMP_BGR);
    EXPECT_EQ(at(rgb, 0, 0), (299 * 255 + 500) / 1000);
    EXPECT_EQ(at(bgr, 0, 0), (114 * 255 + 500) / 1000);
    EXPECT_EQ(at(rgb, 0, 1), (587 * 255 + 500) / 1000);
    EXPECT_EQ(at(rgb, 0, 2), (299 * 10 + 587 * 20 + 114 * 30 + 500) / 1000);
    // Negative shorts round down consistently (floor of the weighted mean + 0.5).
    Mat s(1, 1, MAT_Tshort3);
    s.ptr<short>(0)[0] = -1, s.ptr<short>(0)[1] = -2, s.ptr<short>(0)[2] = -2;
    Mat sg;
    ColorSpace::RGBtoGray(s, sg);
    EXPECT_EQ(at(sg, 0, 0), -2);  // -1.701 rounds to -2
    // In place, four channels, refusals.
    Mat rgba(2, 2, MAT_Tuchar4, Point4_<double>(50, 50, 50, 7));
    ColorSpace::RGBtoGray(rgba, rgba);
    EXPECT_EQ(rgba.type1(), MAT_Tuchar);
    EXPECT_EQ(at(rgba, 1, 1), 50);
    Mat keep(1, 1, MAT_Tfloat, Point4_<double>(3.0));
    ColorSpace::RGBtoGray(px, keep, 3);
    ColorSpace::RGBtoGray(Mat(2, 2, MAKETYPE(MAT_Tuchar, 2)), keep);
    ColorSpace::GraytoRGB(Mat(2, 2, MAKETYPE(MAT_Tuchar, 2)), keep);
    ColorSpace::RGBtoGray(Mat(), keep);
    EXPECT_EQ(keep.type1(), MAT_Tfloat);
    EXPECT_EQ(at(keep, 0, 0), 3.0);
}

TEST(ColorSpaceYUV, RoundTripsWithinTheStatedError) {
    // Byte: every 5th level of each component, off by at most 2.
    const int n = 52;
    Mat b(n * n, n, MAT_Tuchar3);
    for (int i = 0; i < n * n; i++)
        for (int j = 0; j < n; j++) {
            unsigned char* p = b.ptr<unsigned char>(i) + j * 3;
            p[0] = (unsigned char)(5 * (i / n));
            p[1] = (unsigned char)(5 * (i % n));
            p[2] = (unsigned char)(5 * j);
        }
    Mat yuv, back;
    ColorSpace::RGBtoYUV(b, yuv);
    ASSERT_EQ(yuv.type1(), MAT_Tuchar3);
    ColorSpace::YUVtoRGB(yuv, back);
    int worst = 0;
    for (int r = 0; r < b.rows(); r++)
        for (int i = 0; i < n * 3; i++)
            worst = std::max(worst, std::abs(int(b.ptr<unsigned char>(r)[i]) -
                                             int(back.ptr<unsigned char>(r)[i])));
    EXPECT_LE(worst, 2);
    // Y is channel 0 and equals RGBtoGray; grey has neutral chroma.
    Mat g;
    ColorSpace::RGBtoGray(b, g);
    for (int r = 0; r < b.rows(); r += 97)
        for (int c = 0; c < n; c++) EXPECT_EQ(at(yuv, r, c, 0), at(g, r, c));
    Mat grey(1, 1, MAT_Tuchar3, Point4_<double>(77.0)), gy;
    ColorSpace::RGBtoYUV(grey, gy);
    EXPECT_EQ(at(gy, 0, 0, 0), 77);
    EXPECT_EQ(at(gy, 0, 0, 1), 128);
    EXPECT_EQ(at(gy, 0, 0, 2), 128);

    for (int depth : {MAT_Tfloat, MAT_Tdouble}) {
        Mat f = randomMat(20, 20, MAKETYPE(depth, 3), 90 + depth, 0, 255), fy, fb;
        ColorSpace::RGBtoYUV(f, fy);
        EXPECT_EQ(fy.type(), depth);
        ColorSpace::YUVtoRGB(fy, fb);
        EXPECT_TRUE(test::matNear(fb, f, depth == MAT_Tfloat ? 1e-3 : 1e-9));
    }
    Mat fg(1, 1, MAT_Tfloat3, Point4_<double>(0.25));
    ColorSpace::RGBtoYUV(fg, fg);  // in place
    EXPECT_EQ(at(fg, 0, 0, 0), 0.25);
    EXPECT_EQ(at(fg, 0, 0, 1), 0.0);
    EXPECT_EQ(at(fg, 0, 0, 2), 0.0);
    // Short keeps its depth with chroma centred on 0.
    Mat s(1, 1, MAT_Tshort3, Point4_<double>(-300.0)), sy;
    ColorSpace::RGBtoYUV(s, sy);
    EXPECT_EQ(sy.type1(), MAT_Tshort3);
    EXPECT_EQ(at(sy, 0, 0, 0), -300);
    EXPECT_EQ(at(sy, 0, 0, 1), 0);
}

TEST(ColorSpaceLab, KnownColours) {
    Mat f(1, 4, MAT_Tfloat3, Point4_<double>(0.0));
    float* p = f.ptr<float>(0);
    p[0] = p[1] = p[2] = 1.0f;  // white
    p[3] = 1.0f;                // red
    p[6] = p[7] = p[8] = 0.5f;  // grey
    // pixel 3 stays black
    Mat lab;
    ColorSpace::RGBtoLab(f, lab);
    ASSERT_EQ(lab.type1(), MAT_Tfloat3);
    EXPECT_NEAR(at(lab, 0, 0, 0), 100.0, 1e-3);
    EXPECT_NEAR(at(lab, 0, 0, 1), 0.0, 1e-3);
    EXPECT_NEAR(at(lab, 0, 0, 2), 0.0, 1e-3);
    EXPECT_NEAR(at(lab, 0, 1, 0), 53.24, 0.02);
    EXPECT_NEAR(at(lab, 0, 1, 1), 80.09, 0.02);
    EXPECT_NEAR(at(lab, 0, 1, 2), 67.20, 0.02);
    EXPECT_NEAR(at(lab, 0, 2, 0), 53.39, 0.02);
    EXPECT_NEAR(at(lab, 0, 2, 1), 0.0, 1e-3);
    EXPECT_NEAR(at(lab, 0, 2, 2), 0.0, 1e-3);
    EXPECT_EQ(at(lab, 0, 3, 0), 0.0);

    Mat b(1, 2, MAT_Tuchar3, Point4_<double>(255.0));
    b.ptr<unsigned char>(0)[3] = 255, b.ptr<unsigned char>(0)[4] = 0,
                   b.ptr<unsigned char>(0)[5] = 0;
    Mat lb;
    ColorSpace::RGBtoLab(b, lb);
    EXPECT_EQ(at(lb, 0, 0, 0), 255);
    EXPECT_EQ(at(lb, 0, 0, 1), 128);
    EXPECT_EQ(at(lb, 0, 0, 2), 128);
    EXPECT_EQ(at(lb, 0, 1, 0), 136);  // 53.24 * 2.55 = 135.8
    EXPECT_EQ(at(lb, 0, 1, 1), 208);  // 80.09 + 128
    EXPECT_EQ(at(lb, 0, 1, 2), 195);  // 67.20 + 128
    Mat keep(1, 1, MAT_Tuchar);
    ColorSpace::RGBtoLab(Mat(2, 2, MAT_Tshort3), keep);
    EXPECT_EQ(keep.type1(), MAT_Tuchar);
}

TEST(ColorSpaceChannels, SplitAndExtract) {
    Mat m = randomMat(4, 5, MAKETYPE(MAT_Tfloat, 4), 70), a, b, c, e;
    ColorSpace::split(m, a, b, c);
    ColorSpace::extractChannel(m, e, 3);
    ASSERT_EQ(a.type1(), MAT_Tfloat);
    EXPECT_EQ(at(b, 3, 4), at(m, 3, 4, 1));
    EXPECT_EQ(at(c, 2, 1), at(m, 2, 1, 2));
    EXPECT_EQ(at(e, 0, 3), at(m, 0, 3, 3));
    Mat keep(1, 1, MAT_Tint);
    ColorSpace::extractChannel(m, keep, 4);
    ColorSpace::extractChannel(m, keep, -1);
    EXPECT_EQ(keep.type1(), MAT_Tint);
    ColorSpace::split(m, m, b, c);  // the source may be an output
    EXPECT_EQ(m.channels(), 1);
}

TEST(MatOpChannels, SplitMergeAndMix) {
    Mat src = randomMat(3, 4, MAT_Tshort3, 80);
    Mat planes[3];
    MatOp::split(src, planes);
    EXPECT_EQ(at(planes[2], 2, 3), at(src, 2, 3, 2));
    Mat merged;
    MatOp::merge(planes, 3, merged);
    EXPECT_TRUE(matEqual(merged, src));
    Mat two[2] = {planes[0], src};  // a 1- and a 3-channel plane give 4 channels
    MatOp::merge(two, 2, merged);
    ASSERT_EQ(merged.channels(), 4);
    EXPECT_EQ(at(merged, 1, 1, 3), at(src, 1, 1, 2));
    Mat keep(1, 1, MAT_Tuchar);
    Mat bad[2] = {planes[0], Mat(3, 5, MAT_Tshort)};
    MatOp::merge(bad, 2, keep);
    Mat badDepth[2] = {planes[0], Mat(3, 4, MAT_Tint)};
    MatOp::merge(badDepth, 2, keep);
    MatOp::merge(nullptr, 2, keep);
    EXPECT_EQ(keep.rows(), 1);

    // Reverse the channel order and zero one channel of a second output.
    Mat rev(3, 4, MAT_Tshort3), extra(3, 4, MAT_Tshort, Point4_<double>(5.0));
    const int pairs[8] = {0, 2, 1, 1, 2, 0, -1, 3};
    mixChannels(&src, 1, &rev, 1, pairs, 3);
    EXPECT_EQ(at(rev, 1, 2, 0), at(src, 1, 2, 2));
    EXPECT_EQ(at(rev, 1, 2, 2), at(src, 1, 2, 0));
    Mat outs[2] = {rev.clone(), extra};
    mixChannels(&src, 1, outs, 2, pairs, 4);
    EXPECT_EQ(outs[1].countNonZero(), 0);
    // An index past the channels writes nothing at all.
    const int badPairs[4] = {0, 0, 3, 1};
    Mat before = rev.clone();
    mixChannels(&src, 1, &rev, 1, badPairs, 2);
    EXPECT_TRUE(matEqual(rev, before));
    // In place: swap two channels of one matrix.
    Mat sw = src.clone();
    const int swap01[4] = {0, 1, 1, 0};
    mixChannels(&sw, 1, &sw, 1, swap01, 2);
    EXPECT_EQ(at(sw, 2, 2, 0), at(src, 2, 2, 1));
    EXPECT_EQ(at(sw, 2, 2, 1), at(src, 2, 2, 0));
}

TEST(MatOpCopyMat, RectanglesClippedOnBothSides) {
    Mat src = randomMat(6, 6, MAT_Tuchar, 90), dst(4, 4, MAT_Tuchar, Point4_<double>(0.0));
    MatOp::copyMat(dst, src, Rect_<int>(1, 2, 3, 3), Point2_<int>(2, -1));
    // Source rows 3..4 (row 2 falls above dst), columns 1..2 (column 3 falls right of dst).
    EXPECT_EQ(at(dst, 0, 2), at(src, 3, 1));
    EXPECT_EQ(at(dst, 1, 3), at(src, 4, 2));
    EXPECT_EQ(dst.countNonZero(), 4 - (at(src, 3, 1) == 0) - (at(src, 3, 2) == 0) -
                                      (at(src, 4, 1) == 0) - (at(src, 4, 2) == 0));
    const Mat before = dst.clone();
    MatOp::copyMat(dst, Mat(6, 6, MAT_Tshort), Rect_<int>(0, 0, 2, 2), Point2_<int>(0, 0));
    MatOp::copyMat(dst, src, Rect_<int>(0, 0, 2, 2), Point2_<int>(INT_MAX, 0));
    MatOp::copyMat(dst, src, Rect_<int>(INT_MAX, 0, INT_MAX, 2), Point2_<int>(0, 0));
    EXPECT_TRUE(matEqual(dst, before));
    // Overlapping copy within one matrix behaves as a copy from the original.
    Mat row(1, 5, MAT_Tint);
    for (int i = 0; i < 5; i++) row.ptr<int>(0)[i] = i;
    MatOp::copyMat(row, row, Rect_<int>(0, 0, 4, 1), Point2_<int>(1, 0));
    EXPECT_EQ(row.ptr<int>(0)[4], 3);
    EXPECT_EQ(row.ptr<int>(0)[1], 0);
}

TEST(MatHelpers, RawDataPolarAndRowCopies) {
    unsigned char b[7] = {0};
    scalarToRawData(Point4_<double>(1.4, 300, -5, 9), b, MAT_Tuchar3, 6);
    const unsigned char eb[7] = {1, 255, 0, 1, 255, 0, 0};
    for (int i = 0; i < 7; i++) EXPECT_EQ(b[i], eb[i]);
    double d[4] = {0};
    scalarToRawData(Point4_<double>(0.5, 1, 2, 3), d, MAKETYPE(MAT_Tdouble, 4), 4);
    EXPECT_EQ(d[3], 3.0);
    scalarToRawData(Point4_<double>(1.0), d, MAKETYPE(MAT_Tdouble, 5), 4);  // 5 channels: refused
    scalarToRawData(Point4_<double>(1.0), d, 6, 4);                         // bad depth
    EXPECT_EQ(d[0], 0.5);

    Mat x(1, 5, MAT_Tdouble), y(1, 5, MAT_Tdouble), mag, ang;
    const double xs[5] = {1, 0, -1, 0, 3}, ys[5] = {0, 1, 0, -1, 4};
    for (int i = 0; i < 5; i++) x.ptr<double>(0)[i] = xs[i], y.ptr<double>(0)[i] = ys[i];
    cartToPolar(x, y, mag, ang, true);
    EXPECT_EQ(at(mag, 0, 4), 5.0);
    EXPECT_NEAR(at(ang, 0, 0), 0.0, 1e-12);
    EXPECT_NEAR(at(ang, 0, 1), 90.0, 1e-12);
    EXPECT_NEAR(at(ang, 0, 2), 180.0, 1e-12);
    EXPECT_NEAR(at(ang, 0, 3), 270.0, 1e-12);
    Mat fx(1, 1, MAT_Tfloat, Point4_<double>(-1.0)), fy(1, 1, MAT_Tfloat, Point4_<double>(-1.0));
    cartToPolar(fx, fy, fx, fy, false);  // outputs may be the inputs
    EXPECT_EQ(fx.type1(), MAT_Tfloat);
    EXPECT_NEAR(at(fx, 0, 0), std::sqrt(2.0), 1e-6);
    EXPECT_NEAR(at(fy, 0, 0), 5 * M_PI / 4, 1e-6);
    Mat keep(1, 1, MAT_Tuchar);
    cartToPolar(Mat(1, 1, MAT_Tuchar), Mat(1, 1, MAT_Tuchar), keep, keep);
    cartToPolar(x, Mat(1, 4, MAT_Tdouble), keep, keep);
    EXPECT_EQ(keep.type1(), MAT_Tuchar);

    double a0[3] = {1, 2, 3}, a1[3] = {4, 5, 6}, b0[3] = {0}, b1[3] = {0}, p0[3], p1[3];
    double *src[2] = {a0, a1}, *dst[2] = {b0, b1}, *prev[2] = {p0, p1};
    b1[2] = 42;
    int size[2] = {2, 3};
    iMemCopy(dst, src, prev, size);
    EXPECT_EQ(b1[1], 5.0);
    EXPECT_EQ(p1[2], 42.0);
    int none[2] = {0, 3};
    b0[0] = -1;
    iMemCopy(dst, src, nullptr, none);
    EXPECT_EQ(b0[0], -1.0);
    IPDebug::addDebug(x, "ignored");
}

TEST(MatNDStore, CreateAccessConvertAndSizes) {
    const int sizes[3] = {2, 3, 4};
    MatND h(3, sizes, MAT_Tfloat);
    ASSERT_TRUE(h.isValid());
    EXPECT_EQ(h.dims(), 3);
    EXPECT_EQ(h.type(), MAT_Tfloat);
    EXPECT_EQ(h.size.p[-1], 3);
    EXPECT_EQ(h.size[2], 4);
    EXPECT_EQ(h.step[2], 4);
    EXPECT_EQ(h.step[0], 48);
    EXPECT_EQ(h.total(), 24);
    EXPECT_EQ(h.at<float>(1, 2, 3), 0.0f);  // cleared
    h.at<float>(1, 2, 3) = 7.6f;
    h.at<float>(0, 1, 0) = -2.5f;
    MatND copy(h);
    EXPECT_TRUE(copy.size == h.size);
    EXPECT_EQ(copy.at<float>(1, 2, 3), 7.6f);
    copy.convert(MAT_Tint);
    EXPECT_EQ(copy.type(), MAT_Tint);
    EXPECT_EQ(copy.at<int>(1, 2, 3), 7);
    EXPECT_EQ(copy.at<int>(0, 1, 0), -2);
    const int idx[3] = {1, 2, 3};
    EXPECT_EQ(copy.at<int>(idx), 7);

    const int s2[2] = {5, 6}, s2b[2] = {5, 7};
    MatND a(2, s2, MAT_Tint), b(2, s2b, MAT_Tint), c(3, sizes, MAT_Tint);
    EXPECT_EQ(a.size(), Size_<int>(6, 5));
    EXPECT_FALSE(a.size == b.size);
    EXPECT_FALSE(a.size == c.size);
    // Custom strides with a gap, then zero and release.
    const int steps[2] = {64, 4};
    MatND g;
    EXPECT_EQ(g.create(2, s2, MAT_Tint, steps, true), 1);
    EXPECT_EQ(g.step[0], 64);
    g.at<int>(4, 5) = 3;
    g.zero();
    EXPECT_EQ(g.at<int>(4, 5), 0);
    // One dimension reports 1 as its second size.
    const int s1[1] = {9};
    MatND one(1, s1, MAT_Tdouble);
    EXPECT_EQ(one.size(), Size_<int>(1, 9));
    // Refusals leave an empty store.
    const int badSizes[2] = {0, 3}, hugeSizes[2] = {1 << 16, 1 << 16};
    EXPECT_EQ(g.create(2, badSizes, MAT_Tint), -1);
    EXPECT_FALSE(g.isValid());
    EXPECT_EQ(g.create(2, hugeSizes, MAT_Tdouble), -1);
    EXPECT_EQ(g.create(0, s2, MAT_Tint), -1);
    EXPECT_EQ(g.create(2, s2, 7), -1);
    EXPECT_EQ(g.size.p[-1], 0);
    MatND::MStep st(12);
    EXPECT_EQ(st[0], 12);
    EXPECT_EQ(st[1], 0);
    MatND::MStep st2 = st;
    EXPECT_EQ(st2.p, st2.buf);
}

// Counts destructions so the lists' ownership can be checked.
int g_destroyed = 0;
struct CountedMat : Mat {
    CountedMat() : Mat(2, 2, MAT_Tuchar) {}
    ~CountedMat() override { g_destroyed++; }
};

TEST(MatLists, OwnershipOfEachList) {
    g_destroyed = 0;
    {
        ImagePtrList l;
        l.add(new CountedMat);
        l.add(nullptr);
        l.add(new CountedMat);
        EXPECT_EQ(l.getSize(), 3);
    }
    EXPECT_EQ(g_destroyed, 2);
    CountedMat* kept = new CountedMat;
    {
        MatDescPtrList l;
        l.add(kept);
        l.detachAll();
        EXPECT_EQ(l.getSize(), 0);
    }
    EXPECT_EQ(g_destroyed, 2);
    delete kept;
    EXPECT_EQ(g_destroyed, 3);
    {
        ImageDescPtrList d;
        EXPECT_EQ(d.add(new CountedMat, String("first")), 0);
        EXPECT_EQ(d.add(new CountedMat, String("second")), 1);
        EXPECT_EQ(d.count(), 2);
        EXPECT_TRUE(d.getDesc(1) == String("second"));
        EXPECT_TRUE(d.getDesc(5) == String());
        EXPECT_NE(d.getImage(0), nullptr);
        EXPECT_EQ(d.getImage(-1), nullptr);
        d.release();
        EXPECT_EQ(d.count(), 0);
    }
    EXPECT_EQ(g_destroyed, 5);

    ImageList list(3, 4, 5, MAT_Tfloat3), other;
    EXPECT_EQ(list.count(), 3u);
    EXPECT_TRUE(other.empty());
    EXPECT_TRUE(list[2].isEqualMat(Mat(4, 5, MAT_Tfloat3)));
    EXPECT_EQ(list(3), nullptr);
    list.swapList(other);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(other.count(), 3u);
    EXPECT_NE(other(0), nullptr);
}

}  // namespace
}  // namespace tarvo
