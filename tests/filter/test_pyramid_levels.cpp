// The scale pyramid's plan and the corner-to-corner bilinear scaler.
#include <gtest/gtest.h>

#include "filter/pyramid_levels.h"
#include "geometry/scale_xy.h"
#include "support/test_util.h"

using namespace tarvo;
using tarvo::test::at;

TEST(PyramidPlan, LevelCountUsesFloatDivision) {
    auto levels = detail::planPyramid(64, 64, 18, 1.2f);
    const int want[] = {64, 53, 44, 37, 30, 25, 21};
    ASSERT_EQ(levels.size(), 7u);
    float s = 1.0f;
    for (int i = 0; i < 7; i++) {
        EXPECT_EQ(levels[i].size, Size_<int>(want[i], want[i])) << i;
        EXPECT_FLOAT_EQ(levels[i].scale, s);
        s *= 1.2f;
    }
    // The smaller side rules; the other follows the same factor.
    levels = detail::planPyramid(100, 40, 18, 2.0f);
    ASSERT_EQ(levels.size(), 2u);
    EXPECT_EQ(levels[1].size, Size_<int>(50, 20));
}

TEST(PyramidPlan, DegenerateArgumentsKeepLevelZeroOnly) {
    EXPECT_EQ(detail::planPyramid(10, 10, 18, 1.2f).size(), 1u);  // already below minSize
    EXPECT_EQ(detail::planPyramid(64, 64, 0, 1.2f).size(), 1u);
    EXPECT_EQ(detail::planPyramid(64, 64, 18, 1.0f).size(), 1u);
    EXPECT_EQ(detail::planPyramid(64, 64, 18, 0.5f).size(), 1u);
    EXPECT_TRUE(detail::planPyramid(0, 64, 18, 1.2f).empty());
}

TEST(PyramidPlan, WorkIsBoundedByLevelCountAndTotalArea) {
    // 271 levels would be due; the plan stops at the level cap.
    auto levels = detail::planPyramid(40000, 40000, 1, 1.04f);
    ASSERT_EQ(levels.size(), size_t(detail::kMaxPyramidLevels));
    EXPECT_EQ(levels.back().size, Size_<int>(1, 1));
    // A factor barely above 1 is stopped by the total area instead.
    levels = detail::planPyramid(70, 70, 1, 1.000001f);
    long long area = 0;
    for (const auto& l : levels) area += (long long)l.size.width * l.size.height;
    EXPECT_GT(levels.size(), 1u);
    EXPECT_LE(area, 70LL * 70 * detail::kMaxPyramidAreaFactor);
    EXPECT_GT(area + 70 * 70, 70LL * 70 * detail::kMaxPyramidAreaFactor);
}

TEST(ScaleXYBilinear, CornersMapToCornersAndRampsStayLinear) {
    Mat src(5, 7, MAT_Tfloat);
    for (int y = 0; y < 5; y++)
        for (int x = 0; x < 7; x++) src.ptr<float>(y)[x] = float(2 * x + 3 * y);
    Mat dst(9, 13, MAT_Tfloat);
    ASSERT_TRUE(detail::scaleXYBilinear(src, dst));
    EXPECT_EQ(at(dst, 0, 0), at(src, 0, 0));
    EXPECT_EQ(at(dst, 0, 12), at(src, 0, 6));
    EXPECT_EQ(at(dst, 8, 0), at(src, 4, 0));
    EXPECT_NEAR(at(dst, 8, 12), at(src, 4, 6), 1e-4);
    for (int y = 0; y < 9; y++)
        for (int x = 0; x < 13; x++)
            EXPECT_NEAR(at(dst, y, x), 2.0 * x * 6 / 12 + 3.0 * y * 4 / 8, 1e-4);
    // Same size: an exact copy.
    Mat same(5, 7, MAT_Tfloat);
    ASSERT_TRUE(detail::scaleXYBilinear(src, same));
    EXPECT_TRUE(test::matEqual(same, src));
}

TEST(ScaleXYBilinear, IntegerElementsTruncateAndBytesAreRefused) {
    Mat src(1, 2, MAT_Tint);
    src.ptr<int>(0)[0] = 0;
    src.ptr<int>(0)[1] = 10;
    Mat dst(1, 4, MAT_Tint);
    ASSERT_TRUE(detail::scaleXYBilinear(src, dst));
    EXPECT_EQ(dst.ptr<int>(0)[1], 3);
    EXPECT_EQ(dst.ptr<int>(0)[2], 6);
    EXPECT_EQ(dst.ptr<int>(0)[3], 10);
    Mat one(1, 1, MAT_Tint);  // a one-pixel target takes the first corner
    ASSERT_TRUE(detail::scaleXYBilinear(src, one));
    EXPECT_EQ(one.ptr<int>(0)[0], 0);
    Mat b(2, 2, MAT_Tuchar), bd(3, 3, MAT_Tuchar);
    EXPECT_FALSE(detail::scaleXYBilinear(b, bd));
    Mat wrongType(3, 3, MAT_Tdouble);
    EXPECT_FALSE(detail::scaleXYBilinear(src, wrongType));
}

TEST(PyramidPlan, LevelsAreBuiltFromFloatLevelZero) {
    Mat level0 = test::randomMat(64, 64, MAT_Tfloat, 4, 0.0, 255.0);
    Mat level;
    ASSERT_TRUE(detail::makePyramidLevel(level0, level, Size_<int>(53, 53)));
    EXPECT_EQ(level.size(), Size_<int>(53, 53));
    EXPECT_EQ(at(level, 52, 52), at(level0, 63, 63));
    Mat bytes = test::randomMat(8, 8, MAT_Tuchar, 4);
    EXPECT_FALSE(detail::makePyramidLevel(bytes, level, Size_<int>(4, 4)));
}
