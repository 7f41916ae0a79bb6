// Histogram operators: hand-computed tables on small histograms (constant,
// two-level, ramp), the colour path against a slow reference built from the
// float colour-space conversions, pump against free function, refusals.
#include <cmath>
#include <initializer_list>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

using namespace tarvo;

namespace {

Mat grey(int rows, int cols, std::initializer_list<int> v) {
    Mat m(rows, cols, MAT_Tuchar);
    int i = 0;
    for (int x : v) m.data.ptr[i / cols][i % cols] = (unsigned char)x, i++;
    return m;
}

// One row of grey-coloured pixels (R = G = B = v).
Mat greyColour(std::initializer_list<int> v) {
    Mat m(1, int(v.size()), MAT_Tuchar3);
    int i = 0;
    for (int x : v) {
        unsigned char* p = m.ptr<unsigned char>(0) + 3 * i++;
        p[0] = p[1] = p[2] = (unsigned char)x;
    }
    return m;
}

std::vector<int> bytes(const Mat& m) {
    std::vector<int> out;
    for (int y = 0; y < m.rows(); y++)
        for (int i = 0; i < m.rowByteSize(); i++) out.push_back(m.ptr<unsigned char>(y)[i]);
    return out;
}

using B = std::vector<int>;

// The colour path written the slow, obvious way: float image, YUV, remap Y,
// back to RGB, rounded to bytes.
template <typename F>
Mat luminanceReference(const Mat& src, const F& map) {
    Mat work;
    src.convertTo(work, MAT_Tfloat);
    ColorSpace::RGBtoYUV(work, work);
    for (int y = 0; y < work.rows(); y++)
        for (int x = 0; x < work.cols(); x++) {
            float& Y = work.ptr<float>(y)[3 * x];
            Y = map(Y);
        }
    ColorSpace::YUVtoRGB(work, work);
    Mat out;
    work.convertTo(out, MAT_Tuchar, CT_Round);
    return out;
}

// Y channel of src converted to float YUV.
Mat lumaOf(const Mat& src) {
    Mat work;
    src.convertTo(work, MAT_Tfloat);
    ColorSpace::RGBtoYUV(work, work);
    return work;
}

}  // namespace

// ---------------------------------------------------------------- equalise

TEST(HistogramEqualize, HandMadeHistograms) {
    Mat dst;
    // Levels 10 x1, 20 x2, 30 x1: cum 1, 3, 4 -> 63, 191, 255.
    ip::histogramEqualize(grey(2, 2, {10, 20, 20, 30}), dst);
    EXPECT_EQ(bytes(dst), (B{63, 191, 191, 255}));
    // Two levels: level 0 anchors the table at 0.
    ip::histogramEqualize(grey(1, 4, {0, 0, 0, 100}), dst);
    EXPECT_EQ(bytes(dst), (B{0, 0, 0, 255}));
    // A full ramp is its own equalisation.
    Mat ramp(16, 16, MAT_Tuchar);
    for (int i = 0; i < 256; i++) ramp.data.ptr[i / 16][i % 16] = (unsigned char)i;
    ip::histogramEqualize(ramp, dst);
    EXPECT_TRUE(test::matEqual(dst, ramp));
}

TEST(HistogramEqualize, ConstantImagesDependOnWhetherLevelZeroIsOccupied) {
    // Flat at 200: cum[0] = 0, cum[255] = N, so 200 maps to 255.
    Mat dst;
    ip::histogramEqualize(Mat(3, 3, MAT_Tuchar, Point4_<double>(200.0)), dst);
    EXPECT_EQ(bytes(dst), B(9, 255));
    // Flat at 0: refused, the destination keeps its pixels.
    Mat kept(3, 3, MAT_Tuchar, Point4_<double>(7.0));
    ip::histogramEqualize(Mat(3, 3, MAT_Tuchar, Point4_<double>(0.0)), kept);
    EXPECT_EQ(bytes(kept), B(9, 7));
    ipHistogramEqualize op;
    Mat zero(2, 2, MAT_Tuchar, Point4_<double>(0.0));
    EXPECT_FALSE(op.process(&zero, nullptr));
}

TEST(HistogramEqualize, ColourGoesThroughLuminance) {
    // Grey-coloured pixels have Y = v exactly and come back as three equal bytes.
    Mat dst;
    ip::histogramEqualize(greyColour({10, 20, 20, 30}), dst);
    EXPECT_EQ(bytes(dst), (B{63, 63, 63, 191, 191, 191, 191, 191, 191, 255, 255, 255}));

    // Large enough for several stripes of statistics and rows.
    const Mat src = test::randomMat(480, 300, MAT_Tuchar3, 3);
    ip::histogramEqualize(src, dst);
    long long cum[256] = {};
    const Mat yuv = lumaOf(src);
    for (int y = 0; y < yuv.rows(); y++)
        for (int x = 0; x < yuv.cols(); x++) cum[truncInt(yuv.ptr<float>(y)[3 * x])]++;
    for (int i = 1; i < 256; i++) cum[i] += cum[i - 1];
    const Mat want = luminanceReference(src, [&](float Y) {
        const int k = truncInt(Y);
        return float((cum[k] - cum[0]) * 255 / (cum[255] - cum[0]));
    });
    EXPECT_TRUE(test::matEqual(dst, want));
}

TEST(HistogramEqualize, GeneralFormInterpolatesCumulativeShares) {
    // Doubles 0..3 in 4 bins of width 0.75: each bin holds one element.
    Mat d(1, 4, MAT_Tdouble);
    for (int i = 0; i < 4; i++) d.ptr<double>(0)[i] = i;
    Mat out;
    ip::histogramEqualize(d, out, 4, nullptr);
    ASSERT_EQ(out.type1(), MAT_Tdouble);
    const double want[4] = {0.0, 1.0 / 3.0, 2.0 / 3.0, 0.75};  // the top lands on bin 3's start
    for (int i = 0; i < 4; i++) EXPECT_NEAR(out.ptr<double>(0)[i], want[i], 1e-6) << i;

    // With a mask: masked-out elements become 0, the rest use the masked counts.
    Mat mask(1, 4, MAT_Tuchar, Point4_<double>(1.0));
    mask.ptr<unsigned char>(0)[1] = 0;
    ip::histogramEqualize(d, out, 3, &mask);
    EXPECT_EQ(out.ptr<double>(0)[1], 0.0);
    EXPECT_NEAR(out.ptr<double>(0)[0], 0.0, 1e-9);
    // 0 in bin 0; 2 and 3 both in bin 2 at its start, which holds 1/3 below it.
    EXPECT_NEAR(out.ptr<double>(0)[2], 1.0 / 3.0, 1e-6);
    EXPECT_NEAR(out.ptr<double>(0)[3], 1.0 / 3.0, 1e-6);

    // Bytes keep only the integer part: everything becomes 0 or 1.
    const Mat img = test::randomMat(9, 11, MAT_Tuchar, 4);
    Mat b255, b256;
    ip::histogramEqualize(img, b255, 255, nullptr);
    ip::histogramEqualize(img, b256, 256, nullptr);
    for (int v : bytes(b255)) ASSERT_TRUE(v == 0 || v == 1);
    EXPECT_FALSE(test::matEqual(b255, b256));

    // All equal: every element falls at the start of bin 0.
    Mat flat(2, 2, MAT_Tdouble, Point4_<double>(5.0));
    ip::histogramEqualize(flat, out, 10, nullptr);
    for (int i = 0; i < 4; i++) EXPECT_EQ(out.ptr<double>(i / 2)[i % 2], 0.0);

    // Refused: bins < 1, other depths, a mask of another size -> the copy stays.
    ip::histogramEqualize(d, out, 0, nullptr);
    EXPECT_TRUE(test::matEqual(out, d));
    Mat small(1, 2, MAT_Tuchar, Point4_<double>(1.0));
    ip::histogramEqualize(d, out, 4, &small);
    EXPECT_TRUE(test::matEqual(out, d));

    // The in-place form.
    Mat img2 = img;
    ip::histogramEqualize(img2, 255, nullptr);
    EXPECT_TRUE(test::matEqual(img2, b255));
}

// ---------------------------------------------------------------- normalise

TEST(HistogramNormalize, DoubleTableOnGreyAndColour) {
    Mat dst;
    ip::histogramNormalize(grey(2, 2, {10, 20, 20, 30}), dst);
    EXPECT_EQ(bytes(dst), (B{63, 191, 191, 255}));  // 63.75 and 191.25 truncated
    ip::histogramNormalize(greyColour({10, 20, 20, 30}), dst);
    EXPECT_EQ(bytes(dst), (B{63, 63, 63, 191, 191, 191, 191, 191, 191, 255, 255, 255}));
    Mat kept(1, 3, MAT_Tuchar, Point4_<double>(9.0));
    ip::histogramNormalize(Mat(1, 3, MAT_Tuchar, Point4_<double>(0.0)), kept);
    EXPECT_EQ(bytes(kept), B(3, 9));
}

// ---------------------------------------------------------------- logarithm

TEST(HistogramLog, GreyChangesTheSourceAndOnlyShapesDst) {
    Mat src = grey(1, 5, {0, 1, 3, 254, 255});
    Mat dst(1, 5, MAT_Tuchar, Point4_<double>(7.0));
    ip::histogramLog(src, dst);
    // scale 255 / log 256: log 2 -> 255 / 8 = 31.875, log 4 -> 63.75.
    EXPECT_EQ(bytes(src), (B{0, 31, 63, 254, 255}));
    EXPECT_EQ(bytes(dst), B(5, 7));
    // A black image: scale +inf, 0 * inf truncates to 0.
    Mat black(2, 2, MAT_Tuchar, Point4_<double>(0.0)), none;
    ip::histogramLog(black, none);
    EXPECT_EQ(bytes(black), B(4, 0));
    EXPECT_TRUE(none.isEqualMat(black));
}

TEST(HistogramLog, ColourRemapsLuminanceKeepingTheLowByte) {
    Mat dst;
    ip::histogramLog(greyColour({0, 1, 3, 255}), dst);
    EXPECT_EQ(bytes(dst), (B{0, 0, 0, 31, 31, 31, 63, 63, 63, 255, 255, 255}));
    // Y = 1.701 lies above M = 1: log(2.701) / log(2) * 255 = 365.6, low byte 109.
    Mat src = greyColour({0, 0});
    src.ptr<unsigned char>(0)[3] = 1;  // (1, 2, 2)
    src.ptr<unsigned char>(0)[4] = 2;
    src.ptr<unsigned char>(0)[5] = 2;
    ip::histogramLog(src, dst);
    const double scale = 255.0 / std::log(2.0);
    const Mat want = luminanceReference(
        src, [&](float Y) { return float(truncInt(std::log(double(Y + 1.0f)) * scale) & 255); });
    EXPECT_TRUE(test::matEqual(dst, want));
}

// ---------------------------------------------------------------- square root

TEST(HistogramRoot, ScaleUsesTheLogarithmOfTheMaximum) {
    // M = 1: scale 128 / log 2 = 184.66; sqrt(1) -> 184, sqrt(2) -> 261 -> 255.
    Mat dst;
    ip::histogramRoot(grey(1, 3, {0, 1, 0}), dst);
    EXPECT_EQ(bytes(dst), (B{184, 255, 184}));
    // M = 255: scale 128 / log 256 = 23.08; sqrt(101) * 23.08 = 231.98.
    ip::histogramRoot(grey(1, 3, {0, 100, 255}), dst);
    EXPECT_EQ(bytes(dst), (B{23, 231, 255}));
    // Colour keeps Y unrounded: the result rounds 23.08 and 231.98.
    ip::histogramRoot(greyColour({0, 100, 255}), dst);
    EXPECT_EQ(bytes(dst), (B{23, 23, 23, 232, 232, 232, 255, 255, 255}));
}

// ---------------------------------------------------------------- stretch

TEST(HistogramStretch, CommonAndPerChannelRanges) {
    Mat src(1, 2, MAT_Tuchar3);
    const int v[6] = {10, 20, 30, 40, 50, 60};
    for (int i = 0; i < 6; i++) src.data.ptr[0][i] = (unsigned char)v[i];
    Mat dst;
    ip::histogramStretch(src, dst, 1);  // one range 10..60
    EXPECT_EQ(bytes(dst), (B{0, 51, 102, 153, 204, 255}));
    ip::histogramStretch(src, dst, 2);  // each channel its own
    EXPECT_EQ(bytes(dst), (B{0, 0, 0, 255, 255, 255}));
    // A flat range maps onto itself.
    Mat flat(2, 2, MAT_Tuchar3, Point4_<double>(77.0));
    ip::histogramStretch(flat, dst, 1);
    EXPECT_EQ(bytes(dst), B(12, 77));
}

TEST(HistogramStretch, FullRangeInEveryChannelWritesNothing) {
    Mat src(1, 2, MAT_Tuchar3);
    const int v[6] = {0, 0, 0, 255, 255, 255};
    for (int i = 0; i < 6; i++) src.data.ptr[0][i] = (unsigned char)v[i];
    Mat dst(1, 2, MAT_Tuchar3, Point4_<double>(9.0));
    ip::histogramStretch(src, dst, 2);
    EXPECT_EQ(bytes(dst), B(6, 9));
    // Channel 1 not starting at 0: stretched.
    src.data.ptr[0][1] = 5;
    ip::histogramStretch(src, dst, 2);
    EXPECT_EQ(bytes(dst), (B{0, 0, 0, 255, 255, 255}));
}

TEST(HistogramStretch, LuminanceMode) {
    Mat dst;
    // Y 50..150, scale 255 / 100 (just below 2.55 in double): 100 -> 127.49..
    // -> 127, and the top 150 -> 254.99.. -> 254.
    ip::histogramStretch(greyColour({50, 100, 150}), dst, 0);
    EXPECT_EQ(bytes(dst), (B{0, 0, 0, 127, 127, 127, 254, 254, 254}));
    // Flat luminance: refused, dst keeps its pixels.
    Mat kept(1, 2, MAT_Tuchar3, Point4_<double>(4.0));
    ip::histogramStretch(greyColour({80, 80}), kept, 0);
    EXPECT_EQ(bytes(kept), B(6, 4));
    // In place equals the two-matrix form.
    const Mat rnd = test::randomMat(23, 19, MAT_Tuchar3, 8);
    ip::histogramStretch(rnd, dst, 5);
    Mat img = rnd;
    ip::histogramStretch(img, 5);
    EXPECT_TRUE(test::matEqual(img, dst));
    // Grey images: true with nothing written.
    Mat g = grey(1, 2, {10, 20}), gd(1, 2, MAT_Tuchar, Point4_<double>(3.0));
    ipHistogramStretch op(1);
    EXPECT_TRUE(op.process(&g, &gd));
    EXPECT_EQ(bytes(gd), (B{3, 3}));
}

// ---------------------------------------------------------------- frame

TEST(HistogramOperators, PumpPathEqualsFreeFunction) {
    const Mat grey1 = test::randomMat(40, 33, MAT_Tuchar, 1);
    const Mat colour = test::randomMat(40, 33, MAT_Tuchar3, 2);
    ipHistogramEqualize eq;
    ipHistogramNormalize no;
    ipHistogramRoot ro;
    ipHistogramStretch st(2);
    ipCorePump* ops[] = {&eq, &no, &ro, &st};
    for (const Mat* src : {&grey1, &colour})
        for (int i = 0; i < 4; i++) {
            Mat free;
            if (i == 0) ip::histogramEqualize(*src, free);
            if (i == 1) ip::histogramNormalize(*src, free);
            if (i == 2) ip::histogramRoot(*src, free);
            if (i == 3) ip::histogramStretch(*src, free, 2);
            Mat in = *src;
            Mat* out = ops[i]->pumpProcess(&in);
            ASSERT_NE(out, nullptr);
            if (i == 3 && src == &grey1) {
                EXPECT_TRUE(out->isEqualSize(*src));  // not colour: shaped only
            } else {
                EXPECT_TRUE(test::matEqual(*out, free)) << "operator " << i;
            }
            delete out;
        }
    PumpABC* c = st.clone();
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(static_cast<ipHistogramStretch*>(c)->mode, 2);
    delete c;
    EXPECT_EQ(eq.getMethodCount(), 1);
    EXPECT_EQ(eq.getParamCount(0), 0);
}

TEST(HistogramOperators, BadInputsAreRefused) {
    ipHistogramEqualize eq;
    ipHistogramLog lg;
    ipHistogramRoot ro;
    ipHistogramNormalize no;
    ipCorePump* ops[] = {&eq, &lg, &ro, &no};
    Mat empty, shorts(2, 2, MAT_Tshort, Point4_<double>(3.0));
    for (ipCorePump* op : ops) {
        Mat dst(1, 1, MAT_Tuchar, Point4_<double>(6.0));
        EXPECT_FALSE(op->process(nullptr, &dst));
        EXPECT_FALSE(op->process(&empty, &dst));
        EXPECT_EQ(bytes(dst), B{6});
        EXPECT_FALSE(op->process(&shorts, nullptr));
    }
    // A destination with the wrong channel count is re-created, not overrun.
    const Mat colour = test::randomMat(5, 6, MAT_Tuchar3, 4);
    Mat narrow(5, 6, MAT_Tuchar);
    ip::histogramRoot(colour, narrow);
    EXPECT_EQ(narrow.type1(), MAT_Tuchar3);
}

// Every channel count is served: grey paths for one channel (and for every
// layout but RGB in the log operator, over the first cols bytes of a row),
// luminance paths otherwise, where a two-channel pixel is grey plus a kept
// second channel and a fourth channel (alpha) is kept.
TEST(HistogramOperators, EveryChannelCountFollowsItsPath) {
    for (int cn = 1; cn <= 4; cn++) {
        SCOPED_TRACE(cn);
        const Mat src = test::randomMat(4, 5, MAKETYPE(MAT_Tuchar, cn), 40 + cn, 0.0, 255.0);
        Mat eq, lg, srcCopy(src);
        ip::histogramEqualize(src, eq, 256, nullptr);
        ASSERT_EQ(eq.type1(), src.type1());
        // Log of a non-RGB layout rewrites the first cols bytes of the source's rows.
        Mat lgSrc(src);
        ip::histogramLog(lgSrc, lg);
        ASSERT_EQ(lg.type1(), src.type1());
        if (cn != 3) {
            const int M = int(src.max(0));
            for (int y = 0; y < src.rows(); y++)
                for (int x = 0; x < src.cols() * cn; x++) {
                    const int v = src.ptr<unsigned char>(y)[x];
                    const int want =
                        x < src.cols() ? int(std::log(v + 1.0) * (255.0 / std::log(M + 1.0))) : v;
                    EXPECT_EQ(lgSrc.ptr<unsigned char>(y)[x], want) << y << "," << x;
                }
            EXPECT_EQ(lg.countNonZero(), 0);  // the separate destination keeps its cleared shape
        }
        if (cn == 2 || cn == 4) {
            // The extra channel passes through; a two-channel pixel is grey, so
            // its first channel follows the grey table of the same levels.
            Mat grey(4, 5, MAT_Tuchar), greyEq;
            for (int y = 0; y < 4; y++)
                for (int x = 0; x < 5; x++)
                    grey.ptr<unsigned char>(y)[x] = src.ptr<unsigned char>(y)[x * cn];
            ip::histogramEqualize(grey, greyEq, 256, nullptr);
            for (int y = 0; y < 4; y++)
                for (int x = 0; x < 5; x++) {
                    EXPECT_EQ(eq.ptr<unsigned char>(y)[x * cn + cn - 1],
                              src.ptr<unsigned char>(y)[x * cn + cn - 1]);
                    if (cn == 2) {
                        EXPECT_EQ(eq.ptr<unsigned char>(y)[x * 2], greyEq.ptr<unsigned char>(y)[x]);
                    }
                }
        }
        EXPECT_EQ(bytes(src), bytes(srcCopy));
    }
}
