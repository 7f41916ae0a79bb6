// Float pyramids: level count and sizes, scales, reuse of frames, refusals.
#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/integral.h"

using namespace tarvo;

namespace {

Mat ramp(int w, int h, int type = MAT_Tuchar) {
    Mat m(h, w, type);
    tarvo::test::fillRandom(m, 7, 0.0, 255.0);
    return m;
}

}  // namespace

TEST(CreatePyramid, LevelCountAndSizesUseFloatDivision) {
    MatPtrList list;
    ip::createPyramid(ramp(64, 64), list, 18, 1.2f);
    const int expect[] = {64, 53, 44, 37, 30, 25, 21};
    ASSERT_EQ(list.count(), 7);
    float s = 1.0f;
    for (int i = 0; i < 7; i++) {
        ASSERT_NE(list[i], nullptr);
        EXPECT_EQ(list[i]->cols(), expect[i]) << "level " << i;
        EXPECT_EQ(list[i]->rows(), expect[i]) << "level " << i;
        EXPECT_EQ(list[i]->type1(), MAT_Tfloat);
        EXPECT_FLOAT_EQ(list.getScale(i), s);
        s *= 1.2f;
    }
}

TEST(CreatePyramid, LevelZeroIsTheSourceInFloat) {
    Mat src = ramp(40, 30);
    MatPtrList list;
    ip::createPyramid(src, list, 10, 1.5f);
    ASSERT_GE(list.count(), 2);
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols(); x++)
            ASSERT_EQ(list[0]->ptr<float>(y)[x], float(src.ptr<unsigned char>(y)[x]));
    // Corner-to-corner scaling keeps the four corners of the source.
    const Mat& l1 = *list[1];
    EXPECT_EQ(l1.ptr<float>(0)[0], float(src.ptr<unsigned char>(0)[0]));
    EXPECT_EQ(l1.ptr<float>(l1.rows() - 1)[l1.cols() - 1],
              float(src.ptr<unsigned char>(src.rows() - 1)[src.cols() - 1]));
}

TEST(CreatePyramid, SameSizeRefreshesFramesInPlace) {
    MatPtrList list;
    ip::createPyramid(ramp(50, 40), list, 12, 1.3f);
    const int n = list.count();
    ASSERT_GT(n, 2);
    Mat* frame2 = list[2];
    const unsigned char* pixels2 = frame2->data.ptr[0];
    Mat other = ramp(50, 40);
    tarvo::test::fillRandom(other, 99, 0.0, 255.0);
    ip::createPyramid(other, list, 12, 1.3f);
    EXPECT_EQ(list.count(), n);
    EXPECT_EQ(list[2], frame2);
    EXPECT_EQ(list[2]->data.ptr[0], pixels2);

    MatPtrList fresh;
    ip::createPyramid(other, fresh, 12, 1.3f);
    ASSERT_EQ(fresh.count(), n);
    for (int i = 0; i < n; i++) {
        EXPECT_TRUE(tarvo::test::matEqual(*fresh[i], *list[i])) << "level " << i;
        EXPECT_FLOAT_EQ(fresh.getScale(i), list.getScale(i));
    }
}

TEST(CreatePyramid, SmallSourcesAndBadArguments) {
    MatPtrList list;
    ip::createPyramid(ramp(10, 12), list, 18, 1.2f);  // below minSize
    EXPECT_EQ(list.count(), 1);
    ip::createPyramid(ramp(64, 64), list, 0, 1.2f);
    EXPECT_EQ(list.count(), 1);
    ip::createPyramid(ramp(64, 64), list, 18, 1.0f);
    EXPECT_EQ(list.count(), 1);
    ip::createPyramid(Mat(), list, 18, 1.2f);
    EXPECT_EQ(list.count(), 0);
}

TEST(CreatePyramid, WindowFormStartsAtTheObjectScale) {
    MatPtrList list;
    // Objects of 48 pixels in a 24-pixel window: level 0 halves the source.
    ip::createPyramid(ramp(200, 100), list, 20, 1.25f, 24, 24, 48, 48);
    ASSERT_GE(list.count(), 2);
    EXPECT_EQ(list[0]->cols(), 100);
    EXPECT_EQ(list[0]->rows(), 50);
    EXPECT_FLOAT_EQ(list.getScale(0), 2.0f);
    EXPECT_FLOAT_EQ(list.getScale(1), 2.5f);
    EXPECT_EQ(list[1]->cols(), 80);
    ip::createPyramid(ramp(200, 100), list, 20, 1.25f, 0, 24, 48, 48);
    EXPECT_EQ(list.count(), 0);
    ip::createPyramid(ramp(200, 100), list, 20, 1.25f, 24, 24, 1, 1);  // 4800 x 2400 start
    EXPECT_GE(list.count(), 1);
    ip::createPyramid(ramp(2000, 2000), list, 20, 1.25f, 100000, 100000, 1, 1);
    EXPECT_EQ(list.count(), 0);
}

TEST(MatPtrList, CopiesOwnTheirFramesAndReleaseDeletes) {
    MatPtrList a;
    EXPECT_EQ(a.addFrame(new Mat(2, 2, MAT_Tfloat, Point4_<double>(7, 0, 0, 0)), 1.0f), 0);
    EXPECT_EQ(a.addFrame(new Mat(1, 1, MAT_Tfloat), 2.0f), 1);
    EXPECT_EQ(a.getScale(5), 0.0f);
    a.setScale(5, 3.0f);  // ignored
    MatPtrList b(a);
    ASSERT_EQ(b.count(), 2);
    EXPECT_NE(b[0], a[0]);
    EXPECT_EQ(b[0]->ptr<float>(1)[1], 7.0f);
    EXPECT_FLOAT_EQ(b.getScale(1), 2.0f);
    a.release();  // b's frames stay valid
    EXPECT_EQ(a.count(), 0);
    EXPECT_EQ(b[0]->ptr<float>(0)[0], 7.0f);
    a = b;
    MatPtrList& alias = a;
    a = alias;  // self-assignment keeps the frames
    ASSERT_EQ(a.count(), 2);
    EXPECT_EQ(a[0]->ptr<float>(0)[1], 7.0f);
}
