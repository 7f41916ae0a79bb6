// Thresholds: the five modes at, below and above the threshold for each depth,
// out-of-range thresholds, Otsu and percentile levels, the adaptive threshold
// against a slow box-mean reference, and the grey-level criterion.
#include <cmath>
#include <initializer_list>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/segment.h"

using namespace tarvo;

namespace {

template <typename T>
Mat row(int type, std::initializer_list<double> v) {
    Mat m(1, int(v.size()), type);
    int i = 0;
    for (double x : v) m.ptr<T>(0)[i++] = T(x);
    return m;
}

template <typename T>
std::vector<double> values(const Mat& m) {
    std::vector<double> out;
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols() * m.channels(); x++) out.push_back(m.ptr<T>(y)[x]);
    return out;
}

using V = std::vector<double>;

Mat bytes(int rows, int cols, std::initializer_list<int> v) {
    Mat m(rows, cols, MAT_Tuchar);
    int i = 0;
    for (int x : v) m.data.ptr[i / cols][i % cols] = (unsigned char)x, i++;
    return m;
}

// Box mean of the part of the (2w + 1)^2 box inside the image, truncated.
int boxMean(const Mat& s, int y, int x, int k, int w) {
    long long sum = 0, n = 0;
    for (int yy = y - w; yy <= y + w; yy++)
        for (int xx = x - w; xx <= x + w; xx++)
            if (yy >= 0 && yy < s.rows() && xx >= 0 && xx < s.cols()) {
                sum += s.ptr<unsigned char>(yy)[xx * s.channels() + k];
                n++;
            }
    return int(sum / n);
}

Mat adaptiveReference(const Mat& src, double maxValue, int type, int block, double delta) {
    Mat out(src.rows(), src.cols(), src.type1());
    int m = int(std::floor(maxValue + 0.5));
    m = m < 0 ? 0 : m > 255 ? 255 : m;
    const int w = block / 2;
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols(); x++)
            for (int k = 0; k < src.channels(); k++) {
                const int diff =
                    src.ptr<unsigned char>(y)[x * src.channels() + k] - boxMean(src, y, x, k, w);
                int v;
                if (type == ip::ThreshBinary)
                    v = diff > -std::ceil(delta) ? m : 0;
                else
                    v = diff > -std::floor(delta) ? 0 : m;
                out.ptr<unsigned char>(y)[x * src.channels() + k] = (unsigned char)v;
            }
    return out;
}

}  // namespace

// ---------------------------------------------------------------- fixed modes

TEST(ThresholdModes, BytesAtBelowAndAboveTheThreshold) {
    const Mat src = row<unsigned char>(MAT_Tuchar, {99, 100, 101, 0, 255});
    const V expected[5] = {
        {0, 0, 200, 0, 200},     // binary
        {200, 200, 0, 200, 0},   // binary inverted
        {99, 100, 100, 0, 100},  // truncate
        {0, 0, 101, 0, 255},     // to zero
        {99, 100, 0, 0, 0},      // to zero inverted
    };
    for (int mode = 0; mode < 5; mode++) {
        Mat dst;
        // thresh is floored: 100.9 acts as 100.
        EXPECT_EQ(ip::Threshold(src, dst, 100.9, 200.0, mode), 100.0);
        EXPECT_EQ(dst.type1(), MAT_Tuchar);
        EXPECT_EQ(values<unsigned char>(dst), expected[mode]) << "mode " << mode;
    }
    // The maximum is rounded and keeps its low eight bits.
    Mat dst;
    ip::Threshold(src, dst, 100, 300, ip::ThreshBinary);
    EXPECT_EQ(values<unsigned char>(dst), (V{0, 0, 44, 0, 44}));
    ip::Threshold(src, dst, 100, 255.5, ip::ThreshBinary);  // 256 wraps to 0
    EXPECT_EQ(values<unsigned char>(dst), V(5, 0));
}

TEST(ThresholdModes, ByteThresholdsOutsideTheRangeFillOrCopy) {
    const Mat src = row<unsigned char>(MAT_Tuchar, {0, 7, 254, 255});
    const V copy = values<unsigned char>(src);
    struct Case {
        int mode;
        double t;
        V want;
    } cases[] = {
        {ip::ThreshBinary, 300, {0, 0, 0, 0}},
        {ip::ThreshBinary, 255, {0, 0, 0, 0}},
        {ip::ThreshBinary, -1, {9, 9, 9, 9}},
        {ip::ThreshBinary, 254, {0, 0, 0, 9}},  // still in range: only 255 is above
        {ip::ThreshBinaryInv, 300, {9, 9, 9, 9}},
        {ip::ThreshBinaryInv, -1, {0, 0, 0, 0}},
        {ip::ThreshTrunc, 300, copy},
        {ip::ThreshTrunc, -5, {0, 0, 0, 0}},
        {ip::ThreshToZero, 255, {0, 0, 0, 0}},
        {ip::ThreshToZero, -1, copy},
        {ip::ThreshToZeroInv, -1, {0, 0, 0, 0}},
        {ip::ThreshToZeroInv, 256, copy},
    };
    for (const Case& c : cases) {
        Mat dst;
        EXPECT_EQ(ip::Threshold(src, dst, c.t, 9, c.mode), c.t);
        EXPECT_EQ(values<unsigned char>(dst), c.want) << "mode " << c.mode << " t " << c.t;
    }
}

TEST(ThresholdModes, ShortSamplesUseSixteenBitLimits) {
    const Mat src = row<short>(MAT_Tshort, {-32768, -1, 0, 1, 32767});
    Mat dst;
    EXPECT_EQ(ip::Threshold(src, dst, 0.5, 1000, ip::ThreshBinary), 0.0);
    EXPECT_EQ(dst.type1(), MAT_Tshort);
    EXPECT_EQ(values<short>(dst), (V{0, 0, 0, 1000, 1000}));
    EXPECT_EQ(ip::Threshold(src, dst, -2.5, 0, ip::ThreshTrunc), -3.0);
    EXPECT_EQ(values<short>(dst), (V{-32768, -3, -3, -3, -3}));
    // The maximum keeps its low 16 bits: 70000 - 65536.
    ip::Threshold(src, dst, 0, 70000, ip::ThreshBinaryInv);
    EXPECT_EQ(values<short>(dst), (V{4464, 4464, 4464, 0, 0}));
    // Outside the sample range: fills and copies.
    ip::Threshold(src, dst, -40000, 5, ip::ThreshBinary);
    EXPECT_EQ(values<short>(dst), (V{5, 5, 5, 5, 5}));
    ip::Threshold(src, dst, 40000, 5, ip::ThreshTrunc);
    EXPECT_EQ(values<short>(dst), values<short>(src));
}

TEST(ThresholdModes, FloatThresholdIsNotFloored) {
    const Mat src = row<float>(MAT_Tfloat, {0.25, 0.5, 0.75, -3});
    Mat dst;
    EXPECT_EQ(ip::Threshold(src, dst, 0.5, 2.5, ip::ThreshBinary), 0.5);
    EXPECT_EQ(values<float>(dst), (V{0, 0, 2.5, 0}));
    ip::Threshold(src, dst, 0.5, 2.5, ip::ThreshTrunc);
    EXPECT_EQ(values<float>(dst), (V{0.25, 0.5, 0.5, -3}));
    ip::Threshold(src, dst, 0.4, 0, ip::ThreshToZero);
    EXPECT_EQ(values<float>(dst), (V{0, 0.5, 0.75, 0}));
}

TEST(ThresholdModes, DestinationIsPreparedSingleChannelAndRunsJoinContinuousRows) {
    // A 2 x 2 colour image: the new destination has one channel, and the two
    // continuous images are run as one row of rows * cols samples.
    Mat src(2, 2, MAT_Tuchar3);
    for (int i = 0; i < 12; i++) src.data.ptr[0][i] = (unsigned char)(i * 20);
    Mat dst;
    ip::Threshold(src, dst, 50, 255, ip::ThreshBinary);
    ASSERT_EQ(dst.type1(), MAT_Tuchar);
    ASSERT_TRUE(dst.isEqualSize(src));
    EXPECT_EQ(values<unsigned char>(dst), (V{0, 0, 0, 255}));  // samples 0, 20, 40, 60

    // A view with gaps between rows is run row by row, cols samples each.
    Mat big(3, 4, MAT_Tuchar, Point4_<double>(0.0));
    big.ptr<unsigned char>(1)[1] = 90;
    big.ptr<unsigned char>(2)[2] = 90;
    Mat view, out;
    big.subRefMat(Rect_<int>(1, 1, 2, 2), view);
    ip::Threshold(view, out, 50, 1, ip::ThreshBinary);
    EXPECT_EQ(values<unsigned char>(out), (V{1, 0, 0, 1}));

    // In place.
    Mat same = row<unsigned char>(MAT_Tuchar, {1, 2, 3});
    ip::Threshold(same, same, 1, 8, ip::ThreshBinary);
    EXPECT_EQ(values<unsigned char>(same), (V{0, 8, 8}));
}

TEST(ThresholdModes, BadInputs) {
    Mat empty, dst(2, 2, MAT_Tuchar, Point4_<double>(7.0));
    EXPECT_EQ(ip::Threshold(empty, dst, 10, 20, ip::ThreshBinary), 0.0);
    EXPECT_EQ(values<unsigned char>(dst), (V{7, 7, 7, 7}));

    // Depths without a threshold: thresh comes back, dst is only prepared.
    Mat ints = row<int>(MAT_Tint, {1, 100});
    Mat out;
    EXPECT_EQ(ip::Threshold(ints, out, 12.75, 1, ip::ThreshBinary), 12.75);
    EXPECT_EQ(out.type1(), MAT_Tint);
    EXPECT_EQ(values<int>(out), (V{0, 0}));

    // Modes 5..7 map nothing: the samples pass unchanged.
    const Mat src = row<unsigned char>(MAT_Tuchar, {3, 200});
    ip::Threshold(src, out, 100, 255, 5);
    EXPECT_EQ(values<unsigned char>(out), (V{3, 200}));
    // A NaN threshold on floats compares false everywhere.
    const Mat f = row<float>(MAT_Tfloat, {1, 2});
    ip::Threshold(f, out, std::numeric_limits<double>::quiet_NaN(), 5, ip::ThreshBinary);
    EXPECT_EQ(values<float>(out), (V{0, 0}));
}

TEST(ThresholdModes, LargeImagesRunInStripes) {
    // Continuous (one joined run in many stripes) and a view with row gaps.
    const Mat src = test::randomMat(517, 389, MAT_Tuchar, 11);
    Mat view;
    src.subRefMat(Rect_<int>(3, 0, 380, 517), view);
    for (const Mat* m : {&src, static_cast<const Mat*>(&view)}) {
        Mat out;
        ip::Threshold(*m, out, 127, 255, ip::ThreshToZero);
        for (int y = 0; y < m->rows(); y++)
            for (int x = 0; x < m->cols(); x++) {
                const int v = m->ptr<unsigned char>(y)[x];
                ASSERT_EQ(out.ptr<unsigned char>(y)[x], v > 127 ? v : 0);
            }
    }
}

// ---------------------------------------------------------------- Otsu

TEST(Otsu, BimodalImageSplitsBetweenTheModes) {
    // Two clusters around 60 and 180.
    Mat src(40, 50, MAT_Tuchar);
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 50; x++)
            src.ptr<unsigned char>(y)[x] =
                (unsigned char)((x < 25 ? 60 : 180) + (x * 7 + y) % 9 - 4);
    Mat dst;
    const double t = ip::Threshold(src, dst, 0, 255, ip::ThreshOtsuBit | ip::ThreshBinary);
    EXPECT_GE(t, 64);
    EXPECT_LT(t, 176);
    for (int y = 0; y < 40; y++)
        for (int x = 0; x < 50; x++) ASSERT_EQ(dst.ptr<unsigned char>(y)[x], x < 25 ? 0 : 255);
    // The single-precision search lands in the same gap.
    const int ft = ip::otsuThreshold(src);
    EXPECT_GE(ft, 64);
    EXPECT_LT(ft, 176);
}

TEST(Otsu, PlateauConstantImageAndTheFlag) {
    // Half 50, half 200: every level 50..199 splits alike; the strict
    // comparison keeps the first.
    Mat src = bytes(1, 4, {50, 200, 50, 200});
    Mat out;
    EXPECT_EQ(ip::Threshold(src, out, 0, 1, ip::ThreshOtsuBit), 50.0);
    EXPECT_EQ(values<unsigned char>(out), (V{0, 1, 0, 1}));
    EXPECT_EQ(ip::otsuThreshold(src), 50);
    Mat flat(4, 4, MAT_Tuchar, Point4_<double>(100.0));
    EXPECT_EQ(ip::otsuThreshold(flat), 0);
    Mat dst;
    // Otsu's 0 replaces the given 150: every sample of 100 is above it.
    EXPECT_EQ(ip::Threshold(flat, dst, 150, 9, ip::ThreshOtsuBit | ip::ThreshBinary), 0.0);
    EXPECT_EQ(values<unsigned char>(dst), V(16, 9));
}

TEST(Otsu, MaskSelectsThePixels) {
    // Left half 10 / 20, right half 200 / 250.
    Mat src(2, 4, MAT_Tuchar), mask(2, 4, MAT_Tuchar, Point4_<double>(0.0));
    const int v[8] = {10, 20, 200, 250, 20, 10, 250, 200};
    for (int i = 0; i < 8; i++) src.data.ptr[i / 4][i % 4] = (unsigned char)v[i];
    for (int y = 0; y < 2; y++) mask.ptr<unsigned char>(y)[0] = mask.ptr<unsigned char>(y)[1] = 1;
    EXPECT_EQ(ip::otsuThreshold(src, mask), 10);
    EXPECT_EQ(ip::otsuThreshold(src), 20);  // the gap between 20 and 200
    Mat none(2, 4, MAT_Tuchar, Point4_<double>(0.0));
    EXPECT_EQ(ip::otsuThreshold(src, none), 0);
    EXPECT_EQ(ip::otsuThreshold(src, Mat(3, 4, MAT_Tuchar, Point4_<double>(1.0))), 0);
    EXPECT_EQ(ip::otsuThreshold(Mat()), 0);
}

// ---------------------------------------------------------------- percentiles

TEST(Percentile, LevelWhereTheRunningCountPassesThePercentage) {
    Mat src = bytes(1, 10, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    Mat dst;
    // Limit 5: the running count passes it at level 5 (6 samples).
    EXPECT_EQ(ip::Threshold(src, dst, 50, 200, ip::ThreshPercentUp), 5.0);
    EXPECT_EQ(values<unsigned char>(dst), (V{0, 0, 0, 0, 0, 200, 200, 200, 200, 200}));
    EXPECT_EQ(ip::Threshold(src, dst, 50, 200, ip::ThreshPercentDown), 5.0);
    EXPECT_EQ(values<unsigned char>(dst), (V{200, 200, 200, 200, 200, 0, 0, 0, 0, 0}));
    // 100 percent is never passed: k reaches 256 and every sample is below.
    EXPECT_EQ(ip::Threshold(src, dst, 100, 200, ip::ThreshPercentUp), 256.0);
    EXPECT_EQ(values<unsigned char>(dst), V(10, 0));
    // Type 9 is a percentile, not Otsu with the inverted mode.
    EXPECT_EQ(ip::Threshold(src, dst, 0, 1, ip::ThreshPercentUp), 0.0);

    // Floats become bytes 3, 1, 255, 0; limit 1 is passed at level 1.
    const Mat f = row<float>(MAT_Tfloat, {3.7f, 1.2f, 300.0f, -4.0f});
    EXPECT_EQ(ip::Threshold(f, dst, 25, 300.9, ip::ThreshPercentUp), 1.0);
    ASSERT_EQ(dst.type1(), MAT_Tuchar);
    EXPECT_EQ(values<unsigned char>(dst), (V{44, 44, 44, 0}));  // 300 & 255
}

// ---------------------------------------------------------------- adaptive

TEST(Adaptive, MeanMatchesTheBoxReferenceWithItsBorderRule) {
    // Colour channels are each thresholded against their own mean.
    for (int type : {ip::ThreshBinary, ip::ThreshBinaryInv})
        for (int block : {1, 4, 7, 101})
            for (double delta : {3.2, -2.7}) {
                const Mat src = test::randomMat(37, 53, block == 7 ? MAT_Tuchar3 : MAT_Tuchar, 5);
                Mat dst;
                ip::adaptiveThreshold(src, dst, 200.4, ip::AdaptiveMean, type, block, delta);
                ASSERT_TRUE(test::matEqual(dst, adaptiveReference(src, 200.4, type, block, delta)))
                    << "type " << type << " block " << block << " delta " << delta;
            }
}

TEST(Adaptive, LargeImageStripesAgreeWithTheReference) {
    // Several stripes, with windows spanning stripe edges.
    const Mat src = test::randomMat(300, 240, MAT_Tuchar, 7);
    Mat dst;
    ip::adaptiveThreshold(src, dst, 255, ip::AdaptiveMean, ip::ThreshBinary, 9, 2);
    EXPECT_TRUE(test::matEqual(dst, adaptiveReference(src, 255, ip::ThreshBinary, 9, 2)));
}

TEST(Adaptive, GaussianMethodComparesWithTheSmoothedImage) {
    const Mat src = test::randomMat(30, 41, MAT_Tuchar, 8);
    Mat dst, mean;
    ip::adaptiveThreshold(src, dst, 9, ip::AdaptiveGaussian, ip::ThreshBinaryInv, 7, 1.5);
    const float sigma = 0.3f * ((7 - 1) * 0.5f - 1.0f) + 0.8f;
    ip::gaussian(src, mean, sigma, 3.0f);
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 41; x++) {
            const int diff = src.ptr<unsigned char>(y)[x] - mean.ptr<unsigned char>(y)[x];
            ASSERT_EQ(dst.ptr<unsigned char>(y)[x], diff > -1 ? 0 : 9);
        }
}

TEST(Adaptive, RefusalsAndDegenerateArguments) {
    const Mat src = test::randomMat(6, 7, MAT_Tuchar, 9);
    Mat dst;
    // Negative maximum: all zero, whatever the method.
    ip::adaptiveThreshold(src, dst, -1, 7, ip::ThreshBinary, 3, 0);
    ASSERT_TRUE(dst.isEqualMat(src));
    EXPECT_EQ(dst.countNonZero(), 0);
    // Unknown type code: the decision table holds zeros.
    Mat other(6, 7, MAT_Tuchar, Point4_<double>(5.0));
    ip::adaptiveThreshold(src, other, 255, ip::AdaptiveMean, 5, 3, 0);
    EXPECT_EQ(other.countNonZero(), 0);
    // Unknown method, bad block, other depths: dst created and left alone.
    Mat kept(6, 7, MAT_Tuchar, Point4_<double>(5.0));
    ip::adaptiveThreshold(src, kept, 255, 2, ip::ThreshBinary, 3, 0);
    EXPECT_EQ(values<unsigned char>(kept), V(42, 5));
    Mat fsrc = test::randomMat(4, 4, MAT_Tfloat, 1), fdst;
    ip::adaptiveThreshold(fsrc, fdst, 255, ip::AdaptiveMean, ip::ThreshBinary, 3, 0);
    EXPECT_EQ(fdst.type1(), MAT_Tfloat);
    EXPECT_EQ(fdst.countNonZero(), 0);
    // Huge deltas do not overflow the table arithmetic.
    ip::adaptiveThreshold(src, dst, 255, ip::AdaptiveMean, ip::ThreshBinary, 3, 1e300);
    EXPECT_EQ(dst.countNonZero(), 42);
    // In place.
    Mat img = src;
    ip::adaptiveThreshold(img, img, 255, ip::AdaptiveMean, ip::ThreshBinary, 3, 0);
    EXPECT_TRUE(test::matEqual(img, adaptiveReference(src, 255, ip::ThreshBinary, 3, 0)));
}

// ---------------------------------------------------------------- grey criterion

TEST(ThresholdOfGray, TwoLevelsThreeClustersAndFlat) {
    // At k = 30 both classes have no spread: log s = -inf makes J = +inf.
    Mat src = bytes(2, 2, {30, 200, 200, 30});
    EXPECT_EQ(ip::thresholdOfGray(src), 30);
    EXPECT_EQ(ip::thresholdOfGray(bytes(1, 8, {10, 10, 20, 40, 40, 40, 90, 90})), 40);
    EXPECT_EQ(ip::thresholdOfGray(bytes(1, 8, {10, 11, 12, 200, 201, 202, 203, 100})), 100);
    Mat flat(3, 3, MAT_Tuchar, Point4_<double>(77.0));
    EXPECT_EQ(ip::thresholdOfGray(flat), 0);  // q1 reaches 1 at once
    EXPECT_EQ(ip::thresholdOfGray(Mat()), 0);
}

// The destination test compares whole type words: a destination of another
// channel count is replaced by one channel of the source's depth, never
// written into its first bytes with the rest left stale.
TEST(Threshold, DestinationWithOtherChannelsIsRecreatedAsOneChannel) {
    for (int srcCn = 1; srcCn <= 4; srcCn++)
        for (int dstCn = 1; dstCn <= 4; dstCn++) {
            SCOPED_TRACE(testing::Message() << srcCn << " -> " << dstCn);
            const Mat src = test::randomMat(3, 4, MAKETYPE(MAT_Tuchar, srcCn), 9, 0.0, 255.0);
            Mat dst(3, 4, MAKETYPE(MAT_Tuchar, dstCn), Point4_<double>(77.0));
            ip::Threshold(src, dst, 100, 200, ip::ThreshBinary);
            EXPECT_EQ(dst.channels(), srcCn == dstCn ? dstCn : 1);
            // Both are continuous: rows * cols samples from row 0 as one run.
            const unsigned char* s = src.ptr<unsigned char>(0);
            const unsigned char* d = dst.ptr<unsigned char>(0);
            for (int i = 0; i < 12; i++) EXPECT_EQ(d[i], s[i] > 100 ? 200 : 0) << i;
        }
}
